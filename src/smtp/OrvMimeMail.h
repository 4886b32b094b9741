// The body of a capture mail: a readable part that says what was captured, and the captured files, which hold Base64
// text already, as attachments.
#pragma once

#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvTextMail.h"

#include <string>
#include <vector>

// What is needed of a capture once its identity and message have been let go.
struct OrvMimeAttachments {
    std::string boundary;
    std::string captureId;  // names the files of this capture
    std::vector<std::string> names;
};

// Preamble and readable part. The message holds a capture.
void orvAddMimeTextPart(OrvMailBuffer& buffer, const OrvMailSource& source) ORV_REQUIRES(source.message.lock());

// A part for each attachment, a copy of the mail below "/tmp/" for the developers, and the closing boundary. Reads
// files. One that cannot be read, or that would take the mail to its limit, is replaced by a readable part that says
// so; a link in its place is a file that cannot be read. A copy that cannot be written is traced and left out.
void orvAddMimeAttachments(OrvMailBuffer& buffer, const OrvMimeAttachments& attachments);
