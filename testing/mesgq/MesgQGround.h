// What every test of the message queue stands on: a switch, messages, and the words to talk about queues and their
// files.
#pragma once

#include "dbg/OrvDbg.h"
#include "mesgq/OrvCHMesgQLists.h"
#include "orvClient.h"
#include "testing/LoopbackSwitch.h"
#include "testing/StubComponent.h"
#include "testing/TempRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

inline constexpr char kSendDir[] = "/ostrel/conf/orv/callHome/queues/send";
inline const std::string kOrderFile = std::string(kSendDir) + "/order";
inline const std::string kFirstEntry = std::string(kSendDir) + "/m0";
inline constexpr char kDuplicateDir[] = "/ostrel/conf/orv/callHome/queues/duplicate";
inline constexpr char kPersistDir[] = "/ostrel/conf/orv/callHome/queues/persist";
inline constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments";
inline constexpr char kStage[] = "/ostrel/conf/orv/callHome/attachments.stage";
inline constexpr char kAttachmentState[] = "/ostrel/conf/orv/callHome/attachments.state";
inline constexpr char kListing[] = "/tmp/orv-queue-order";

// Why a message goes before it is mailed, what counts it, and what a test message reports.
struct Deletion {
    OrvDeletionReason reason;
    std::uint32_t OrvCHMesgQStatistics::*counter;
    std::uint32_t result;
};
inline constexpr Deletion kDeletions[] = {{kOrvMarkedByClear, &OrvCHMesgQStatistics::deletedForClearReq, 2},
                                          {kOrvMarkedForSpace, &OrvCHMesgQStatistics::deletedForSpace, 1},
                                          {kOrvMarkedForFileLimit, &OrvCHMesgQStatistics::deletedForFileLimit, 1},
                                          {kOrvMarkedForTime, &OrvCHMesgQStatistics::deletedForTime, 1}};

class MesgQGround : public testing::Test {
protected:
    using Texts = std::vector<std::string>;
    using Ids = std::vector<std::uint32_t>;
    using Words = std::vector<std::uint32_t>;
    // An event log entry: level and text.
    using Log = std::vector<std::pair<int, std::string>>;

    MesgQGround();
    ~MesgQGround() override;

    // --- The queues that are talked about ---
    virtual const OrvCHMesgQQueue& list(ORV_CH_MESG_Q_TYPE type) const = 0;
    virtual const OrvCHMesgQStatistics& statistics() const = 0;
    virtual std::uint32_t spaceInUse() const = 0;
    virtual bool isOpenForBusiness() const = 0;
    // A message comes; how is the test's matter. 0 or -1.
    virtual int post(std::unique_ptr<OrvCHMesg> message, const OrvCHPosting& posting) = 0;

    void seconds(std::uint32_t count) { switch_.clock().advance(count * 1000ull); }

    // --- Messages ---
    static std::unique_ptr<OrvCHMesg> message(const std::string& text);
    // What message(text) is charged.
    static std::uint32_t charge(const std::string& text);
    // The file of message(text) without a state block.
    static std::string messageFile(const std::string& text, int duplicates = 0, const std::string& duplicateTime = "");
    static std::string stateBlock(unsigned duplicatesPending = 0, unsigned marked = 0,
                                  const std::string& persist = "false", unsigned period = 86400, int expire = -1);

    int add(const std::string& text) { return post(message(text), {}); }
    int addTest(const std::string& text, const std::string& profile);
    int addPersistent(const std::string& text, std::uint32_t period, std::int32_t expire);

    // --- What is seen ---
    Texts texts(ORV_CH_MESG_Q_TYPE type) const;
    Ids ids(ORV_CH_MESG_Q_TYPE type) const;
    OrvCHMesgQEntry& entry(ORV_CH_MESG_Q_TYPE type, std::size_t position) const;
    Texts files(const std::string& directory) { return switch_.root().list(directory); }
    // Fails the test when lists, charges, counters or files contradict each other.
    void checkConsistency(bool files = true);
    // The event log since the last call.
    Log takeLog();
    // "method: text" of every trace of the queue since the last call.
    Texts takeTrace();
    // Of them those that the method has traced.
    Texts traceOf(const std::string& method);
    // Count and bytes of the init, send, duplicate and persist queue as the fill table shows them, and their sums.
    static std::string fillTable(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& fill);
    // The profile and result of each test result sent since the last call.
    std::vector<std::pair<std::string, std::uint32_t>> takeTestResults();
    static std::string wordsToBytes(const Words& words);

    LoopbackSwitch switch_;
    OrvDbg logger_{"mesgq"};
    StubComponent component_;
    orvClient responses_;

private:
    std::size_t traced_ = 0;  // bytes of the trace file already seen
};
