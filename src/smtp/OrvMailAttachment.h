// Puts a staged capture file into a mail. The file already holds Base64 text.
#pragma once

#include "smtp/OrvMailBuffer.h"

#include <string>
#include <vector>

// Makes room in the buffer for these attachments, as far as their mail may grow.
void orvMakeRoomForAttachments(OrvMailBuffer& buffer, const std::vector<std::string>& names,
                               const std::string& captureId);

// Adds the boundary line and the attachment's part. A file that cannot be read, or that would take the mail to its
// limit, is replaced by a readable part that says so; a link in its place is a file that cannot be read. 0 when the
// file was added, else -1.
int compileAttachment(OrvMailBuffer& buffer, const std::string& boundary, const std::string& name,
                      const std::string& captureId);
