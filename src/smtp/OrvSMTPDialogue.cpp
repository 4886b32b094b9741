#include "smtp/OrvSMTPDialogue.h"

const OrvSMTPDialogue* orvDialogueNamed(std::string_view name) {
    for (const OrvSMTPDialogue* dialogue : {&orvRequiredDialogue(), &orvConformingDialogue()}) {
        if (name == dialogue->name()) {
            return dialogue;
        }
    }
    return nullptr;
}
