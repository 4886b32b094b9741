// The start: what the files of the last run say is put on the lists, the queue opens for business, and what waited is
// let in. Main thread only.
#pragma once

#include "mesgq/OrvCHAttachmentFiles.h"
#include "mesgq/OrvCHMesgQAdmission.h"
#include "mesgq/OrvCHMesgQHousekeeping.h"
#include "mesgq/OrvCHMesgQLists.h"

#include <cstdint>
#include <cstdio>
#include <string>

class OrvCHMesgQRestore {
public:
    // All four are referred to for this object's life.
    OrvCHMesgQRestore(OrvCHMesgQLists& lists, const OrvCHQuotas& quotas, OrvCHMesgQAdmission& admission,
                      OrvCHMesgQHousekeeping& housekeeping)
        : lists_(lists), quotas_(quotas), admission_(admission), housekeeping_(housekeeping) {}

    // Once. Whatever fails, the rest is restored and the queue opens.
    void init();

private:
    void readPersistentData();
    void reconstituteQueue(OrvCHMesgQQueue& queue, const char* dir);
    void reconstituteInOrder(OrvCHMesgQQueue& queue, const char* dir, const std::string& path, std::FILE& orderFile,
                             std::uint32_t count);
    void reconstituteQueueTheHardWay(OrvCHMesgQQueue& queue, const char* dir);
    void reconstituteListed(OrvCHMesgQQueue& queue, const char* dir, const char* line);
    void reconstituteNumber(OrvCHMesgQQueue& queue, const char* dir, std::uint32_t uniqueId);
    void reconstituteMsgFromFile(OrvCHMesgQQueue& queue, const std::string& path, std::uint32_t uniqueId);
    void saveMovedEntries();
    void processInitQueue();

    OrvCHMesgQLists& lists_;
    const OrvCHQuotas& quotas_;
    OrvCHMesgQAdmission& admission_;
    OrvCHMesgQHousekeeping& housekeeping_;
    OrvCHAttachmentFiles attachments_;
};
