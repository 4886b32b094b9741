// What the queue charges an entry with, held against the file that the entry has on flash.
//
// An estimate is prescribed: the length of the saved message, but with ten digits for each number in it and with the
// tags of an event's attributes that are empty and so not written; the sizes of a capture's attachments; and as much
// for the state behind the message, whatever stands there. It is made once, when the entry comes.
#pragma once

#include "box/search/Books.h"

#include <cstdint>
#include <optional>
#include <string>

namespace box {

struct Charge {
    std::uint64_t asNew = 0;       // in bytes: of a message of which no repeat was counted and that nobody was offered
    std::uint64_t repeatTime = 0;  // what the time of its last repeat adds
    std::uint64_t recipients = 0;  // each of them may have a mark, which adds one byte
};

// What an entry with these bytes in its file is to be charged with. attachments: the directory where they are staged.
// None when the message does not come to its end, or one of its attachments is gone.
std::optional<Charge> chargeFor(const std::string& file, const std::string& attachments);

// What is wrong with the charges of entries, of those whose files were written since books were asked last; "" when
// nothing is. root: of the switch's files.
std::string chargesProblem(const std::string& root, Books& books);

}  // namespace box
