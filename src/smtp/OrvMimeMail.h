// The body of a capture mail: a readable part that says what was captured, and the captured files, which hold Base64
// text already, as attachments.
#pragma once

#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvTextMail.h"

#include <string>
#include <vector>

// How the parts of a mail are kept apart: a boundary behind whatever stands before it, with what is told behind it; and
// what stands where a part was broken off.
struct OrvMimeParts {
    void (*bound)(OrvMailBuffer& buffer, const std::string& boundary, const char* behind);
    void (*resume)(OrvMailBuffer& buffer, const std::string& boundary);
};
// Kept: a boundary is added without looking at what stands before it, and none where a file cannot be read to its end.
extern const OrvMimeParts kOrvRequiredParts;

// What is needed of a capture once its identity and message have been let go.
struct OrvMimeAttachments {
    std::string boundary;
    std::string captureId;  // names the files of this capture
    std::vector<std::string> names;
    const OrvMimeParts* parts = &kOrvRequiredParts;
};

// Preamble and readable part. The message holds a capture.
void orvAddMimeTextPart(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock());

// What stands before the first part, and the lines of the readable one. The message holds a capture.
void orvAddMimePreamble(OrvMailBuffer& buffer);
void orvAddCaptureText(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock());

// A part for each attachment, a copy of the mail below "/tmp/" for the developers, and the closing boundary. Reads
// files. One that cannot be read, or that would take the mail to its limit, is replaced by a readable part that says
// so; a link in its place is a file that cannot be read. A copy that cannot be written is traced and left out.
void orvAddMimeAttachments(OrvMailBuffer& buffer, const OrvMimeAttachments& attachments);
