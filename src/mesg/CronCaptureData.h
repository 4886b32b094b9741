// The type data of a scheduled capture message: the schedule item that ran and the attachments it left.
//
// Owns its staged attachment files, "<name>.<Sequence>" in the attachments directory: destruction unlinks them, and
// a copy has hard links of its own under a sequence number of its own. One thread at a time, except under the lock
// of the message that owns it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

class OrvSequenceSource;

class CronCaptureData {
public:
    static constexpr std::uint8_t kAllMissing = 127;

    CronCaptureData();
    // Throws OrvFileError when there is no new sequence number, std::bad_alloc when there is no memory: nothing is
    // staged then.
    CronCaptureData(const CronCaptureData& other);
    CronCaptureData& operator=(const CronCaptureData&) = delete;
    ~CronCaptureData();

    // Where copies draw their sequence numbers from, process-wide; it must outlive the last copying. To be set
    // before any copy is made.
    static void useSequences(OrvSequenceSource* source);

    // Stages a capture output file as Base64 and lists it under its name without directory; the input stays. 0 or
    // -1 (traced), then the partial output has been removed if it could be.
    [[nodiscard]] int insertAttachment(const std::string& path);
    // Unlinks one staged file and drops its name, also when the file could not be unlinked (-1). 0 for an unknown
    // name.
    int eraseAttachment(const std::string& name);
    // Unlinks every staged file; the list stays.
    void eraseAttachments();
    // Gives this object's sequence hard links to the files staged under another one. 0, or -1 when any failed.
    int copyAttachments(const std::string& oldSequence);
    // The switch's path of an attachment staged under this object's sequence.
    std::string stagedPath(const std::string& name) const;

    // Moves the cursor one step on: "<name>.<Sequence>" of the attachment now under it, empty at the list's end.
    std::string nextAttachmentFile();

    // Bytes that this part takes in a message file and its attachments take beside it, estimated.
    // Kept: every call adds the attachments' sizes to AttachmentBytes once more.
    std::int32_t bytesToSave();
    void save(std::string& file) const;
    // Reads the element that tag opens, if it is one of this part's. False when it is not, or when a list has no
    // end; a failed read of a text is true with RestoreStatus -1.
    bool restore(std::string_view tag, std::istream& stream);

    void probe() const;

    std::string Sequence;  // decimal
    std::string DayOfWeek;
    std::string TimeOfDay;
    std::string Interval;
    std::string Shell;
    std::string Command;
    std::string Boundary;  // MIME boundary of the mail; never saved
    std::vector<std::string> Attachments;
    std::ptrdiff_t AttachmentCursor = -1;  // index into Attachments; -1 before the first
    std::int32_t AttachmentBytes = 0;
    std::uint8_t MissingAttributes = kAllMissing;  // bits 0 Sequence to 5 Command, 6 the list: not read back yet
    std::int32_t RestoreStatus = 0;                // -1 once reading back an element has failed

private:
    // Every field of other but the sequence, and nothing staged under it yet.
    CronCaptureData(const CronCaptureData& other, std::string sequence);

    bool restoreAttachments(std::istream& stream);
    bool restoreText(std::string_view tag, std::istream& stream);
};
