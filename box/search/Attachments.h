// Whether the mail of a capture is whole: every part between its boundaries, every attachment what the box's compressor
// has made.
#pragma once

#include <string>
#include <string_view>

namespace box {

// A mail with attachments.
bool hasAttachments(std::string_view mail);
// What is wrong with it; "" when nothing is, or it has none.
std::string attachmentsProblem(std::string_view mail);

}  // namespace box
