// Collects attachment files that no message names any more.
//
// Attachment files and the messages that name them live in different directories. At each start all files are moved
// to a stage directory, the restored messages link theirs back, and what is left on the stage goes. A state file
// tells a start that was interrupted in between: the stage then still holds the full set. Main thread only.
#pragma once

#include "Descriptor.h"

#include <cstdint>
#include <string>

class OrvCHMesg;

class OrvCHAttachmentFiles {
public:
    // Moves the files to the stage; does nothing more when the state file cannot be opened. The file stays open.
    void stageAttachments();
    // Links the files that message names back from the stage.
    static void linkAttachments(OrvCHMesg& message);
    // Removes the stage and what is left on it.
    void cleanAttachments();
    // Removes the state file and all attachment files, staged or not.
    static void purgeAttachments();

    // Both take directories ending in "/". Failures are reported, and the rest goes on. Links are neither followed nor
    // linked; directories in each other are left from a depth on at which they would take too many descriptors.
    static void linkDirEntries(const std::string& from, const std::string& to);
    static void cleanDir(const std::string& dir);

private:
    void readState();
    void writeState(std::uint32_t state);

    static constexpr std::uint32_t kStaged = 0;
    static constexpr std::uint32_t kNotStaged = 1;

    Descriptor stateFile_;
    std::uint32_t attachmentState_ = kNotStaged;  // as last read or written
};
