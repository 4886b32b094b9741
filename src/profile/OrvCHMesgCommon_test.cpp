#include "profile/OrvCHMesgCommon.h"

#include "testing/profile/IdentityNeighbours.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kRequest[] =
    "bulk 0: Global.Callhome.EmailAddr Global.Callhome.FromAddr Global.Callhome.ReplyToAddr "
    "Global.Callhome.PhoneNumber Global.Callhome.StreetAddr Global.Snmp.Contact Global.Snmp.Location "
    "Config.Switch.SymName Global.Network.Eth.0.NF-IPAddress Global.Network.Eth.0.IPv6IPAddress "
    "Global.Network.DNSLocalHostname Global.Network.DNSClientEnable Global.Switch.WWN Config.Mfg.ChassisSerialNum";

constexpr std::chrono::seconds kDeadline{20};

class OrvCHMesgCommonTest : public testing::Test {
protected:
    using Attributes = std::vector<std::pair<std::string, std::string>>;

    int answer(const Attributes& attributes) {
        return answer(attributes, std::vector<std::int32_t>(attributes.size(), 0));
    }

    int answer(const Attributes& attributes, const std::vector<std::int32_t>& statuses) {
        std::vector<DsEntry> entries;
        for (const auto& [name, value] : attributes) {
            entries.push_back({name, dsClient::TYPE_STRING, value});
        }
        return common_.processConfigBulk(entries, statuses);
    }

    // Changes the identity until another thread has read it often enough; false when that thread ever saw something
    // else than it should.
    bool readersAlwaysSee(const std::function<bool(const OrvIdentity&)>& right,
                          const std::function<void(int)>& change) {
        constexpr int kRounds = 200;
        constexpr int kReads = 10;
        std::atomic<bool> stop = false;
        std::atomic<int> reads = 0;
        std::atomic<bool> wrong = false;
        std::thread reader([&] {
            while (!stop) {
                const OrvCHMesgCommon::Reader identity(common_);
                wrong = wrong || !right(*identity);
                ++reads;
            }
        });
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        for (int round = 1; round <= kRounds || reads < kReads; ++round) {
            change(round);
            if (std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "the reader read only " << reads << " times";
                break;
            }
        }
        stop = true;
        reader.join();
        return !wrong;
    }

    // An interface-change event with one address whose last byte is given.
    static std::vector<std::uint8_t> ipv6Event(std::uint8_t last) {
        std::vector<std::uint8_t> event{0, 0, 0, 1, 0, 10};
        event.resize(4 + 128, 0x11);
        event[4 + 8 + 15] = last;
        return event;
    }

    OrvIdentity readByAnotherThread() {
        OrvIdentity identity;
        std::thread([&] { identity = *OrvCHMesgCommon::Reader(common_); }).join();
        return identity;
    }

    RecordingSwitch switch_;
    IdentityNeighbours neighbours_;
    OrvCHMesgCommon common_{switch_.store(), neighbours_, neighbours_};
};

TEST_F(OrvCHMesgCommonTest, startsEmpty) {
    const OrvIdentity identity = common_.current();

    for (const std::string* text :
         {&identity.From, &identity.ReplyTo, &identity.ContactName, &identity.ContactEmail, &identity.PhoneNumber,
          &identity.StreetAddress, &identity.Location, &identity.SymName, &identity.IPv4Address, &identity.IPv6Address,
          &identity.Hostname, &identity.WWN, &identity.SerialNum}) {
        EXPECT_EQ(*text, "");
    }
    EXPECT_FALSE(identity.DNSClientEnable);
}

TEST_F(OrvCHMesgCommonTest, announcesAndAsksForFourteenAttributesInOneRequest) {
    EXPECT_EQ(common_.readConfig(), 0);

    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 17 8b000001 build request for Global.Callhome.EmailAddr",
                            "log 17 8b000001 build request for Global.Callhome.FromAddr",
                            "log 17 8b000001 build request for Global.Callhome.ReplyToAddr",
                            "log 17 8b000001 build request for Global.Callhome.PhoneNumber",
                            "log 17 8b000001 build request for Global.Callhome.StreetAddr",
                            "log 17 8b000001 build request for Global.Snmp.Contact",
                            "log 17 8b000001 build request for Global.Snmp.Location",
                            "log 17 8b000001 build request for Config.Switch.SymName",
                            "log 17 8b000001 build request for Global.Network.Eth.0.NF-IPAddress",
                            "log 17 8b000001 build request for Global.Network.Eth.0.IPv6IPAddress",
                            "log 17 8b000001 build request for Global.Network.DNSLocalHostname",
                            "log 17 8b000001 build request for Global.Network.DNSClientEnable",
                            "log 17 8b000001 build request for Global.Switch.WWN",
                            "log 17 8b000001 build request for Config.Mfg.ChassisSerialNum", kRequest));
    EXPECT_THAT(neighbours_.calls, IsEmpty());
}

TEST_F(OrvCHMesgCommonTest, storesEveryAttributeInItsField) {
    EXPECT_EQ(answer({{"Global.Callhome.EmailAddr", "contact@x"},
                      {"Global.Callhome.FromAddr", "from@x"},
                      {"Global.Callhome.ReplyToAddr", "reply@x"},
                      {"Global.Callhome.PhoneNumber", "0123"},
                      {"Global.Callhome.StreetAddr", "Street 1"},
                      {"Global.Snmp.Contact", "Ann"},
                      {"Global.Snmp.Location", "Rack 2"},
                      {"Config.Switch.SymName", "edge-7"},
                      {"Global.Network.Eth.0.NF-IPAddress", "1-10.0.0.7"},
                      {"Global.Network.Eth.0.IPv6IPAddress", "2-fe80::7"},
                      {"Global.Network.DNSLocalHostname", "h-sw01"},
                      {"Global.Network.DNSClientEnable", "True"},
                      {"Global.Switch.WWN", "10:00:00:c0:dd:00:00:01"},
                      {"Config.Mfg.ChassisSerialNum", "SN1"}}),
              0);

    const OrvIdentity identity = common_.current();
    EXPECT_EQ(identity.ContactEmail, "contact@x");
    EXPECT_EQ(identity.From, "from@x");
    EXPECT_EQ(identity.ReplyTo, "reply@x");
    EXPECT_EQ(identity.PhoneNumber, "0123");
    EXPECT_EQ(identity.StreetAddress, "Street 1");
    EXPECT_EQ(identity.ContactName, "Ann");
    EXPECT_EQ(identity.Location, "Rack 2");
    EXPECT_EQ(identity.SymName, "edge-7");
    EXPECT_EQ(identity.IPv4Address, "10.0.0.7");
    EXPECT_EQ(identity.IPv6Address, "fe80::7");
    EXPECT_EQ(identity.Hostname, "sw01");
    EXPECT_TRUE(identity.DNSClientEnable);
    EXPECT_EQ(identity.WWN, "10:00:00:c0:dd:00:00:01");
    EXPECT_EQ(identity.SerialNum, "SN1");
}

TEST_F(OrvCHMesgCommonTest, tellsAddressesAndWwnAndThenReportsItsEnd) {
    answer({{"Global.Switch.WWN", "10:00"},
            {"Global.Network.Eth.0.IPv6IPAddress", ""},
            {"Global.Network.Eth.0.NF-IPAddress", "1-0A000007"},
            {"Global.Callhome.FromAddr", "from@x"}});

    EXPECT_THAT(neighbours_.calls, ElementsAre("wwn 10:00", "address ", "address 10.0.0.7", "complete 3"));
}

TEST_F(OrvCHMesgCommonTest, takesTheTextBetweenSectionSignsFromTheFourWrappedAttributesOnly) {
    struct Case {
        const char* value;
        const char* unwrapped;
    };
    const Case cases[] = {
        {"\xC2\xA7"
         "a@x"
         "\xC2\xA7",
         "a@x"},
        {"Ops \xC2\xA7"
         "a@x"
         "\xC2\xA7 team",
         "a@x"},
        {"\xC2\xA7"
         "a"
         "\xC2\xA7"
         "b"
         "\xC2\xA7",
         "a"},
        {"\xC2\xA7"
         "a@x",
         "\xC2\xA7"
         "a@x"},
        {"a@x\xC2\xA7", "a@x\xC2\xA7"},
        {"\xC2\xA7\xC2\xA7", "\xC2\xA7\xC2\xA7"},
        {"\xC2\xA7\xC2\xA7"
         "a"
         "\xC2\xA7",
         "\xC2\xA7\xC2\xA7"
         "a"
         "\xC2\xA7"},
        {"\xA7"
         "a@x"
         "\xA7",
         "\xA7"
         "a@x"
         "\xA7"},
        {"", ""},
    };
    for (const Case& wrapped : cases) {
        answer({{"Global.Callhome.EmailAddr", wrapped.value},
                {"Global.Callhome.FromAddr", wrapped.value},
                {"Global.Callhome.ReplyToAddr", wrapped.value},
                {"Global.Callhome.StreetAddr", wrapped.value},
                {"Global.Callhome.PhoneNumber", wrapped.value},
                {"Global.Snmp.Contact", wrapped.value}});
        const OrvIdentity identity = common_.current();
        EXPECT_EQ(identity.ContactEmail, wrapped.unwrapped);
        EXPECT_EQ(identity.From, wrapped.unwrapped);
        EXPECT_EQ(identity.ReplyTo, wrapped.unwrapped);
        EXPECT_EQ(identity.StreetAddress, wrapped.unwrapped);
        EXPECT_EQ(identity.PhoneNumber, wrapped.value);
        EXPECT_EQ(identity.ContactName, wrapped.value);
    }
}

TEST_F(OrvCHMesgCommonTest, cutsTwoCharactersOffTheHostNameWhateverTheyAre) {
    const std::pair<const char*, const char*> cases[] = {{"h-sw01", "sw01"}, {"3-sw01", "sw01"}, {"sw01", "01"},
                                                         {"3-", ""},         {"x", ""},          {"", ""}};
    for (const auto& [value, name] : cases) {
        answer({{"Global.Network.DNSLocalHostname", value}});
        EXPECT_EQ(common_.current().Hostname, name) << value;
    }
}

TEST_F(OrvCHMesgCommonTest, enablesTheNameClientForExactlyTrue) {
    for (const char* value : {"true", "TRUE", "True ", "1", "", "False"}) {
        answer({{"Global.Network.DNSClientEnable", "True"}});
        ASSERT_TRUE(common_.current().DNSClientEnable);
        answer({{"Global.Network.DNSClientEnable", value}});
        EXPECT_FALSE(common_.current().DNSClientEnable) << value;
    }
}

TEST_F(OrvCHMesgCommonTest, logsAndCountsUnknownKeysAndStoresTheOthers) {
    EXPECT_EQ(answer({{"Global.Callhome.Colour", "blue"},
                      {"Global.Callhome.FromAddr", "from@x"},
                      {"global.callhome.fromaddr", "other@x"},
                      {"Global.Callhome.FromAddr2", "more@x"}}),
              -3);

    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 17 8b000001 Unrecognized attribute from DS (OrvCHMesgCommon:299): blue",
                            "log 17 8b000001 Unrecognized attribute from DS (OrvCHMesgCommon:299): other@x",
                            "log 17 8b000001 Unrecognized attribute from DS (OrvCHMesgCommon:299): more@x"));
    EXPECT_EQ(common_.current().From, "from@x");
    EXPECT_THAT(neighbours_.calls, ElementsAre("complete 3"));
}

TEST_F(OrvCHMesgCommonTest, tracesEveryEntryAndReportsBadStatusesInTheQueuesWords) {
    switch_.takeTraces();

    EXPECT_EQ(answer({{"Global.Callhome.FromAddr", "a"}, {"Global.Snmp.Contact", "b"}, {"Unknown", "c"}},
                     {0, 0x12, static_cast<std::int32_t>(0x80000021)}),
              0);

    EXPECT_THAT(
        switch_.takeTraces(),
        ElementsAre(
            "OrvCHMesgCommon processConfigBulk: name = Global.Callhome.FromAddr, type = 1, value = a\n",
            "OrvCHMesgCommon processConfigBulk: name = Global.Snmp.Contact, type = 1, value = b\n",
            "OrvCHMesgCommon processConfigBulk: Error getting Message Queue Config from DS - bad status array[1] = "
            "0x000012\n",
            "OrvCHMesgCommon processConfigBulk: name = Unknown, type = 1, value = c\n",
            "OrvCHMesgCommon processConfigBulk: Error getting Message Queue Config from DS - bad status array[2] = "
            "0x80000021\n"));
    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 15 8b000001 Error getting Message Queue Config from DS - bad status array[1] = 0x000012",
                    "log 15 8b000001 Error getting Message Queue Config from DS - bad status array[2] = 0x80000021"));
    EXPECT_EQ(common_.current().From, "a");
    EXPECT_EQ(common_.current().ContactName, "");
}

TEST_F(OrvCHMesgCommonTest, takesStatusZeroAndWhateverHasFiftyTwoInItsLowHalf) {
    const std::pair<std::int32_t, bool> cases[] = {
        {0, true},        {0x34, true}, {0x70034, true}, {static_cast<std::int32_t>(0x80000034), true},
        {1, false},       {-1, false},  {0x35, false},   {0x134, false},
        {0x340000, false}};
    for (const auto& [status, isGood] : cases) {
        answer({{"Global.Callhome.FromAddr", "before"}});
        answer({{"Global.Callhome.FromAddr", "after"}}, {status});
        EXPECT_EQ(common_.current().From, isGood ? "after" : "before") << std::hex << status;
    }
}

TEST_F(OrvCHMesgCommonTest, takesNoEntryThatHasNoStatus) {
    EXPECT_EQ(answer({{"Global.Callhome.FromAddr", "a"}, {"Global.Snmp.Contact", "b"}}, {0}), 0);

    EXPECT_EQ(common_.current().From, "a");
    EXPECT_EQ(common_.current().ContactName, "");
}

TEST_F(OrvCHMesgCommonTest, keepsFieldsThatTheAnswerDoesNotName) {
    answer({{"Global.Callhome.FromAddr", "from@x"}});

    EXPECT_EQ(answer({}), 0);

    EXPECT_EQ(common_.current().From, "from@x");
}

TEST_F(OrvCHMesgCommonTest, reportsARequestThatCannotBeSentAndItsOwnEnd) {
    switch_.refuseRequest(1);
    switch_.takeTraces();

    EXPECT_EQ(common_.readConfig(), -1);

    EXPECT_EQ(switch_.takeSent().back(), "log 15 8b000001 OrvCHMesgCommon::readConfig DS Get Attribute Request error");
    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHMesgCommon readConfig: Error readng DS bulk data entries\n"));
    EXPECT_THAT(neighbours_.calls, ElementsAre("complete 3"));
    EXPECT_EQ(readByAnotherThread().From, "");
}

TEST_F(OrvCHMesgCommonTest, hasEndedItsReadWhenItReportsIt) {
    ASSERT_EQ(common_.readConfig(), 0);
    std::string seen;
    neighbours_.onComplete = [&] {
        seen = readByAnotherThread().From;
        EXPECT_EQ(common_.readConfig(), 0);  // the next cycle starts at once
    };

    answer({{"Global.Callhome.FromAddr", "from@x"}});

    EXPECT_EQ(seen, "from@x");
    neighbours_.onComplete = nullptr;
    answer({});
    EXPECT_EQ(readByAnotherThread().From, "from@x");
}

TEST_F(OrvCHMesgCommonTest, tracesASingleChangedAttribute) {
    switch_.takeTraces();

    EXPECT_EQ(common_.processConfig("Global.Callhome.FromAddr", 2, "100%s"), 0);

    EXPECT_THAT(
        switch_.takeTraces(),
        ElementsAre("OrvCHMesgCommon processConfig: name = Global.Callhome.FromAddr, type = 2, value = 100%s\n"));
    EXPECT_EQ(common_.current().From, "");
}

TEST_F(OrvCHMesgCommonTest, probesItsFirstSevenFields) {
    answer({{"Global.Callhome.EmailAddr", "contact@x"},
            {"Global.Callhome.FromAddr", "from@x"},
            {"Global.Callhome.ReplyToAddr", "reply@x"},
            {"Global.Callhome.PhoneNumber", "0123"},
            {"Global.Callhome.StreetAddr", "Street 1"},
            {"Global.Snmp.Contact", "Ann"},
            {"Global.Snmp.Location", "Rack 2"}});
    switch_.takeTraces();

    common_.probe();

    EXPECT_THAT(switch_.takeTraces(),
                ElementsAre("OrvCHMesgCommon probe:   From = from@x\n  ReplyTo = reply@x\n  ContactName = Ann\n"
                            "  ContactEmail = contact@x\n  PhoneNumber = 0123\n  StreetAddress = Street 1\n"
                            "  Location = Rack 2\n"));
}

TEST_F(OrvCHMesgCommonTest, storesAHostNameEventWithoutItsKindPrefix) {
    const std::pair<const char*, const char*> cases[] = {{"3-sw01", "sw01"}, {"sw01", "sw01"}, {"h-sw01", "h-sw01"},
                                                         {"3-", ""},         {"3", "3"},       {"", ""}};
    for (const auto& [text, name] : cases) {
        common_.setHostname(text);
        EXPECT_EQ(common_.current().Hostname, name) << text;
    }
}

TEST(OrvCHMesgCommonSender, isTheDefaultWhenUndefinedOrEmpty) {
    EXPECT_TRUE(orvIsDefaultSender("<undefined>"));
    EXPECT_TRUE(orvIsDefaultSender(""));
    EXPECT_FALSE(orvIsDefaultSender("ops@x"));
    EXPECT_FALSE(orvIsDefaultSender("<undefined> "));
}

// The main thread goes on working between request and answer; only other threads wait.
TEST_F(OrvCHMesgCommonTest, keepsReadersWaitingFromRequestToAnswerButNeverItsOwnThread) {
    ASSERT_EQ(common_.readConfig(), 0);
    std::atomic<bool> started = false;
    std::atomic<bool> done = false;
    OrvIdentity seen;
    std::thread reader([&] {
        started = true;
        const OrvCHMesgCommon::Reader identity(common_);
        seen = *identity;
        done = true;
    });
    while (!started) {
        std::this_thread::yield();
    }

    common_.setHostname("event");
    common_.probe();
    EXPECT_EQ(common_.current().Hostname, "event");
    EXPECT_EQ(common_.readConfig(), 0);
    EXPECT_FALSE(done);
    answer({{"Global.Callhome.FromAddr", "from@x"}, {"Global.Network.DNSLocalHostname", "h-sw01"}});

    reader.join();
    EXPECT_EQ(seen.From, "from@x");
    EXPECT_EQ(seen.Hostname, "sw01");
}

TEST_F(OrvCHMesgCommonTest, letsReadersGoOnWhenTheAnswerIsLost) {
    answer({{"Global.Callhome.FromAddr", "from@x"}});
    ASSERT_EQ(common_.readConfig(), 0);
    std::future<std::string> seen =
        std::async(std::launch::async, [&] { return std::string(OrvCHMesgCommon::Reader(common_)->From); });

    common_.abandonRead();

    EXPECT_EQ(seen.wait_for(kDeadline), std::future_status::ready);
    answer({});  // in any case the reader ends
    EXPECT_EQ(seen.get(), "from@x");
}

TEST_F(OrvCHMesgCommonTest, appliesAnAnswerThatNobodyAskedFor) {
    EXPECT_EQ(answer({{"Global.Callhome.FromAddr", "from@x"}}), 0);

    EXPECT_EQ(readByAnotherThread().From, "from@x");
}

// From and ReplyTo always change together.
TEST_F(OrvCHMesgCommonTest, neverShowsHalfOfAReRead) {
    answer({{"Global.Callhome.FromAddr", "0"}, {"Global.Callhome.ReplyToAddr", "0"}});

    EXPECT_TRUE(
        readersAlwaysSee([](const OrvIdentity& identity) { return identity.From == identity.ReplyTo; },
                         [this](int round) {
                             const std::string value = std::to_string(round);
                             EXPECT_EQ(common_.readConfig(), 0);
                             answer({{"Global.Callhome.FromAddr", value}, {"Global.Callhome.ReplyToAddr", value}});
                             common_.setHostname(value);
                         }));
}

// The names are too long to be kept in place, and differ in length.
TEST_F(OrvCHMesgCommonTest, holdsBackHostNameEventsWhileAReaderLives) {
    const auto unchanged = [](const OrvIdentity& identity) {
        const std::string hostname = identity.Hostname;
        std::this_thread::yield();
        return identity.Hostname == hostname;
    };

    EXPECT_TRUE(readersAlwaysSee(unchanged, [this](int round) {
        common_.setHostname("a-switch-with-a-long-name-" + std::string(static_cast<std::size_t>(round) % 50, 'x'));
    }));
}

TEST_F(OrvCHMesgCommonTest, holdsBackAddressEventsWhileAReaderLives) {
    const auto unchanged = [](const OrvIdentity& identity) {
        const std::string address = identity.IPv6Address;
        std::this_thread::yield();
        return identity.IPv6Address == address;
    };

    EXPECT_TRUE(readersAlwaysSee(
        unchanged, [this](int round) { common_.setSwitchAddr(ipv6Event(static_cast<std::uint8_t>(round))); }));
}

}  // namespace
