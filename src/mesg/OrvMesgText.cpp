#include "mesg/OrvMesgText.h"

#include "mesg/OrvMesgTags.h"

void orvAppendElement(std::string& file, std::string_view tag, std::string_view value) {
    orvAppendLine(file, tag);
    orvAppendLine(file, value);
    orvAppendLine(file, orv_mesg_tags::kEndOfRecord);
}
