// The body of a capture mail: a readable part that says what was captured, and the captured files as attachments.
#pragma once

#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvMailSource.h"

#include <string>
#include <vector>

// What is needed of a capture once its identity and message have been let go.
struct OrvMimeAttachments {
    std::string boundary;
    std::string captureId;  // names the files of this capture
    std::vector<std::string> names;
};

// Preamble and readable part. The message holds a capture.
void orvAddMimeTextPart(OrvMailBuffer& buffer, const OrvMailSource& source);

// A part for each attachment, the copy of the mail below "/tmp/", and the closing boundary. Reads files.
void orvAddMimeAttachments(OrvMailBuffer& buffer, const OrvMimeAttachments& attachments);
