// The fixture of the restore: files on flash with ages, and starts from them. With it stand the parts that it calls.
#pragma once

#include "mesgq/OrvCHMesgQAdmission.h"
#include "mesgq/OrvCHMesgQHousekeeping.h"
#include "mesgq/OrvCHMesgQRestore.h"
#include "mesgq/OrvCHMesgQSending.h"
#include "mesgq/OrvCHQueueFiles.h"
#include "testing/mesgq/MesgQGround.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

class MesgQRestoreTest : public MesgQGround {
protected:
    struct Parts {
        explicit Parts(orvClient& responses) : lists(responses, quotas) {}

        OrvCHQuotas quotas;
        OrvCHMesgQLists lists;
        OrvCHMesgQAdmission admission{lists, quotas};
        OrvCHMesgQSending sending{lists, quotas};
        OrvCHMesgQHousekeeping housekeeping{lists, quotas, sending};
        OrvCHMesgQRestore restore{lists, quotas, admission, housekeeping};
    };

    MesgQRestoreTest() { restart(); }

    const OrvCHMesgQQueue& list(ORV_CH_MESG_Q_TYPE type) const override { return parts_->lists.queue(type); }
    const OrvCHMesgQStatistics& statistics() const override { return parts_->lists.statistics(); }
    std::uint32_t spaceInUse() const override { return parts_->lists.spaceInUse(); }
    bool isOpenForBusiness() const override { return parts_->lists.isOpenForBusiness(); }
    int post(std::unique_ptr<OrvCHMesg> message, const OrvCHPosting& posting) override {
        return parts_->admission.add(std::move(message), posting, false);
    }

    // A file of a queue; files written later are newer.
    void file(const std::string& path, const std::string& bytes) {
        switch_.root().write(path, bytes);
        const timespec times[2] = {{++written_, 0}, {written_, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, switch_.root().at(path).c_str(), times, 0), 0);
    }
    void sendFile(const std::string& name, const std::string& text) {
        file(std::string(kSendDir) + "/" + name, messageFile(text) + stateBlock());
    }
    // The daemon ends, or is killed, and a new one begins.
    void restart() {
        parts_.reset();
        parts_ = std::make_unique<Parts>(responses_);
        orvMakeQueueDirectories();
    }
    // A life that began with nothing to restore.
    void open() { parts_->lists.openForBusiness(); }
    // Restored and open for business, log and trace still to be taken.
    void start(std::uint32_t filesAllowed = 100) {
        parts_->quotas = {.throttleDuplicatesPeriod = 15,
                          .spaceAllowed = 5120000,
                          .filesAllowed = filesAllowed,
                          .discardPeriod = 86400};
        takeLog();
        takeTrace();
        parts_->restore.init();
    }
    static std::pair<int, std::string> cannotOpenOrder(const char* directory) {
        return {16, std::string("Unable to open file ") + directory + "/order"};
    }

    std::unique_ptr<Parts> parts_;
    std::time_t written_ = 1600000000;
};
