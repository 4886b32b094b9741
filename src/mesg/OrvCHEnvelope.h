// What one receiving profile contributes to a message: limits, texts and recipients with their delivery marks.
//
// Plain data. A recipient whose first character is one of "!", "#", "$", "%" carries that character as its mark.
// One thread at a time, except under the lock of the message that owns it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

struct OrvCHEnvelope {
    bool Done = false;
    std::uint32_t MaxSize = 0;  // bytes
    std::string Type;           // the profile's format name
    std::string ProfileName;
    std::string Subject;
    std::vector<std::string> Recipients;
    std::size_t RecipientCursor = 0;  // index into Recipients

    static constexpr char kNoMark = 0;
    static constexpr char kDelivered = '!';
    static constexpr char kGivenUp = '#';
    static constexpr char kRefusedOnce = '$';
    static constexpr char kRefusedTwice = '%';

    // The mark of the recipient under the cursor; kNoMark when it has none.
    char recipientMark() const;
    // Inserts, replaces or (kNoMark) removes the mark of the recipient under the cursor.
    void setRecipientMark(char mark);
    // The address under the cursor without its mark.
    std::string recipientAddress() const;

    // The mark that a recipient carries; kNoMark when it has none.
    static char markOf(const std::string& recipient);
    // Removes every mark and clears the done flag; returns how many recipients were not delivered.
    std::uint32_t resetRecipients();

    // Bytes that this envelope takes in a message file, estimated.
    std::int32_t bytesToSave() const;
    void save(std::string& file) const;
    // Reads an envelope whose first line, or a line before it, has been read already. 0, or -1 (traced) with what
    // has been read.
    [[nodiscard]] int restore(std::string line, std::istream& stream);

    void probe() const;
};
