// The fixture of the whole message queue: configured, restored and open for business as the daemon has it.
#pragma once

#include "mesgq/OrvCHMesgQ.h"
#include "profile/OrvConfigListener.h"
#include "testing/mesgq/MesgQGround.h"

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class MesgQTest : public MesgQGround {
protected:
    using Attributes = std::map<std::string, std::string>;

    MesgQTest();
    ~MesgQTest() override;

    const OrvCHMesgQQueue& list(ORV_CH_MESG_Q_TYPE type) const override { return queue_->queue(type); }
    const OrvCHMesgQStatistics& statistics() const override { return queue_->statistics(); }
    std::uint32_t spaceInUse() const override { return queue_->spaceInUse(); }
    bool isOpenForBusiness() const override { return queue_->openForBusiness(); }
    int post(std::unique_ptr<OrvCHMesg> message, const OrvCHPosting& posting) override {
        return queue_->add(std::move(message), posting.testMsg, posting.persist, posting.persistRepostPeriod,
                           posting.expire, false);
    }

    // --- The queue's life ---
    // The daemon ends (or is killed: nothing is written at the end) and a new one starts.
    void restart();
    // Quotas as the attribute store answers them, what is not named by default.
    void configure(const Attributes& quotas = {});
    // Configured, restored and open for business. Directories without a file are not listed.
    void open(const Attributes& quotas = {});
    void restartAndOpen(const Attributes& quotas = {});
    // Seconds pass, each with its chores.
    void chores(std::uint32_t count = 1);

    // --- Messages ---
    // Opens the next message and finishes it.
    void mailNext(int result = 0);
    // Mails the next message and lets the throttle period begin for it.
    void park(const std::string& text);

    struct Controller final : OrvConfigListener {
        void configComplete(unsigned bit) override { settled.push_back(bit); }
        std::vector<unsigned> settled;  // parts of the configuration
    };
    Controller controller_;
    std::unique_ptr<OrvCHMesgQ> queue_;

private:
    Texts sayThatNothingIsThere();
};
