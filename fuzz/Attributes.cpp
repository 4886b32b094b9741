// The attribute store's answers: a line an attribute, KEY=VALUE; a "!" before it, and the store could not give it. All
// who read attributes are given all of them. A first line of "?" and a digit, and of each
// reader's requests the one of that number cannot be sent.
#include "MessageCodes.h"
#include "fuzz/Stage.h"
#include "fuzz/Target.h"
#include "mesgq/OrvCHMesgQConfig.h"
#include "profile/OrvCHMesgCommon.h"
#include "profile/OrvProfileReader.h"
#include "smtp/OrvServerSettings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

namespace orv_fuzz {

namespace {

constexpr std::int32_t kCannotBeGiven = static_cast<std::int32_t>(0x80000021);

struct Answer {
    std::vector<DsEntry> entries;
    std::vector<std::int32_t> statuses;

    explicit Answer(const std::string& text) {
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            take(text.substr(at, end - at));
            at = end + 1;
        }
    }

private:
    void take(const std::string& line) {
        const bool bad = line.starts_with('!');
        const std::size_t equals = std::min(line.find('='), line.size());
        entries.push_back({line.substr(bad ? 1 : 0, bad && equals > 0 ? equals - 1 : equals), dsClient::TYPE_STRING,
                           line.substr(std::min(equals + 1, line.size()))});
        statuses.push_back(bad ? kCannotBeGiven : 0);
    }
};

class Listener final : public OrvConfigListener, public OrvIdentityListener {
public:
    void configComplete(unsigned /*bit*/) override { ++completed; }
    void identityAddressRead(const std::string& /*address*/) override {}
    void identityWwnRead(const std::string& /*wwn*/) override {}

    unsigned completed = 0;
};

auto fieldsOf(const OrvIdentity& identity) {
    return std::tie(identity.From, identity.ReplyTo, identity.ContactName, identity.ContactEmail, identity.PhoneNumber,
                    identity.StreetAddress, identity.Location, identity.SymName, identity.IPv4Address,
                    identity.IPv6Address, identity.Hostname, identity.WWN, identity.SerialNum,
                    identity.DNSClientEnable);
}

void readIdentity(const Answer& answer) {
    Listener listener;
    OrvCHMesgCommon common(Stage::get().store(), listener, listener);
    const int unknown = common.processConfigBulk(answer.entries, answer.statuses);
    EXPECT_LE(unknown, 0);
    EXPECT_GE(unknown, -static_cast<int>(answer.entries.size()));
    const OrvIdentity first = common.current();
    EXPECT_EQ(common.processConfigBulk(answer.entries, answer.statuses), unknown);
    EXPECT_EQ(fieldsOf(common.current()), fieldsOf(first));
    EXPECT_EQ(listener.completed, 2u);
}

void readServers(const Answer& answer, std::size_t refused) {
    Stage::get().refuseRequest(refused);
    OrvSendState state;
    OrvServerSettings settings(Stage::get().store(), state);
    const int unknown = settings.apply(answer.entries, answer.statuses);
    EXPECT_LE(unknown, 0);
    EXPECT_EQ(settings.usable(), settings.active().valid());
    const OrvMailServer before = settings.active();
    if (settings.changeover() == 0) {
        EXPECT_TRUE(settings.active().valid());
        EXPECT_EQ(settings.validCount() == 2, settings.changeover() == 0);
    }
    EXPECT_EQ(settings.apply(answer.entries, answer.statuses), unknown);
    EXPECT_EQ(settings.active().Address, before.Address);
    EXPECT_EQ(settings.processDsStatus(DsRequestId::ACTIVE_SERVER, 0), 0);
    EXPECT_EQ(settings.processDsStatus(DsRequestId::ACTIVE_SERVER, kCannotBeGiven), -1);
    EXPECT_EQ(settings.processDsStatus(DsRequestId::QUEUE, 0), -1);
    settings.probe();
    Stage::get().refuseRequest(refused);
    EXPECT_EQ(settings.request(), refused == 1 ? -1 : 0);
}

void readQuotas(const Answer& answer, std::size_t refused) {
    Listener listener;
    OrvCHMesgQConfig config(Stage::get().store(), listener);
    EXPECT_EQ(config.processConfigBulk(answer.entries, answer.statuses), 0);
    const OrvCHQuotas first = config.quotas();
    EXPECT_EQ(config.processConfigBulk(answer.entries, answer.statuses), 0);
    Stage::get().refuseRequest(refused);
    EXPECT_EQ(config.readConfig(), refused == 1 ? -1 : 0);
    const OrvCHQuotas& second = config.quotas();
    EXPECT_EQ(second.throttleDuplicates, first.throttleDuplicates);
    EXPECT_EQ(second.throttleDuplicatesPeriod, first.throttleDuplicatesPeriod);
    EXPECT_EQ(second.spaceAllowed, first.spaceAllowed);
    EXPECT_EQ(second.filesAllowed, first.filesAllowed);
    EXPECT_EQ(second.discardPeriod, first.discardPeriod);
    EXPECT_EQ(listener.completed, refused == 1 ? 3u : 2u);
}

void checkProfile(OrvCHProfile& profile) {
    EXPECT_LE(profile.name().size(), 32u);
    EXPECT_GE(profile.maxSize(), 650u);
    EXPECT_LE(profile.maxSize(), 2000000u);
    EXPECT_LE(profile.emails().size(), 10u);
    if (const CronCaptureItem* item = profile.capture()) {
        EXPECT_LE(item->dayOfWeek(), 6u);
        EXPECT_LE(item->hour(), 23u);
        EXPECT_LE(item->minute(), 59u);
        EXPECT_EQ(item->interval(), item->intervalWeeks() * CronCaptureItem::kSecondsPerWeek);
    }
    if (const auto envelope = profile.envelopeFor(profile.level(), true)) {
        EXPECT_EQ(envelope->Recipients, profile.emails());
        EXPECT_LE(envelope->Subject.size(), 64u);
        EXPECT_LE(envelope->Type.size(), 32u);
    }
    profile.dumpProfileInfo(profile.capture());
}

// Each request asks for what the profile said, and for no more than travels in one.
void readProfile(const Answer& answer, std::size_t refused) {
    Stage::get().refuseRequest(refused);
    OrvCHProfile profile(0);
    OrvProfileReader reader(profile, Stage::get().store());
    EXPECT_EQ(reader.readInitialConfig(), refused == 1 ? -1 : 0);
    static_cast<void>(reader.processInitialConfigBulk(answer.entries, answer.statuses));
    checkProfile(profile);
    static_cast<void>(reader.processEmailConfigBulk(answer.entries, answer.statuses));
    static_cast<void>(reader.processCaptureTypesBulk(answer.entries, answer.statuses));
    static_cast<void>(reader.processCaptureAttrsBulk(answer.entries, answer.statuses));
    checkProfile(profile);
    for (const std::string& line : Stage::get().takeSent()) {
        if (line.starts_with("bulk ")) {
            EXPECT_LE(static_cast<std::size_t>(std::ranges::count(line, ' ')), 1 + dsClient::MAX_BULK_NAMES);
        }
    }
}

// Takes the first line away when it says so.
std::size_t refusedRequest(std::string& text) {
    if (text.size() < 2 || text[0] != '?' || text[1] < '0' || text[1] > '9') {
        return 0;
    }
    const auto number = static_cast<std::size_t>(text[1] - '0');
    text.erase(0, std::min(text.find('\n'), text.size() - 1) + 1);
    return number;
}

void run(Bytes data) {
    std::string text = textOf(data);
    const std::size_t refused = refusedRequest(text);
    const Answer answer(text);
    readIdentity(answer);
    readServers(answer, refused);
    readQuotas(answer, refused);
    Stage::get().takeSent();
    readProfile(answer, refused);
    Stage::get().refuseRequest(0);
}

constexpr char kIdentity[] =
    "Global.Callhome.FromAddr=switch@example.com\n"
    "Global.Callhome.ReplyToAddr=ops@example.com\n"
    "Global.Callhome.PhoneNumber=+1 555 0100\n"
    "Global.Callhome.StreetAddr=\"1 Fabric Road\"\n"
    "Global.Snmp.Contact=Ann\n"
    "!Global.Snmp.Location=\n"
    "Config.Switch.SymName=sw-core-1\n"
    "Global.Network.Eth.0.NF-IPAddress=1-0A010203\n"
    "Global.Network.Eth.0.IPv6IPAddress=2-20010DB8000000000000000000000001\n"
    "Global.Network.DNSLocalHostname=3-sw-core-1.example.com\n"
    "Global.Network.DNSClientEnable=True\n"
    "Global.Switch.WWN=10:00:00:05:1e:00:00:01\n"
    "Config.Mfg.ChassisSerialNum=ABC0123456\n";

constexpr char kServers[] =
    "Global.Callhome.SMTPGatewayEnable=True\n"
    "Global.Callhome.NF-SMTPAddr=1-0A010219\n"
    "Global.Callhome.SMTPPort=25\n"
    "Global.Callhome.SMTPEnable=True\n"
    "Global.Callhome.NF-SMTPAddr1=3-mx2.example.com\n"
    "Global.Callhome.SMTPPort1=4294967296\n"
    "Global.Callhome.SMTPEnable1=True\n";

constexpr char kQuotas[] =
    "Global.Callhome.ThrottleDupsEnable=False\n"
    "Global.Callhome.ThrottleDupsPeriod=60\n"
    "Global.Callhome.DiscardPeriod=99999999999\n"
    "Global.Callhome.FileSystemSpaceAllowed=-1\n"
    "!Global.Callhome.FilesAllowed=100\n";

constexpr char kProfile[] =
    "Global.CallhomeDB.ProfileList.0=noc\n"
    "Global.CallhomeDB.Profile.0.Level=Warning\n"
    "Global.CallhomeDB.Profile.0.Format=FullText\n"
    "Global.CallhomeDB.Profile.0.MaxSize=1000000\n"
    "Global.CallhomeDB.Profile.0.EmailSubject=Core\n"
    "Global.CallhomeDB.Profile.0.NumberOfEmails=2\n"
    "Global.CallhomeDB.Profile.0.EmailList.0=ann@example.com\n"
    "Global.CallhomeDB.Profile.0.EmailList.1=bob@example.com\n"
    "Global.CallhomeDB.Profile.0.CaptureEnable=True\n"
    "Global.CallhomeDB.Profile.0.CaptureEntries=1\n";

constexpr char kCaptures[] =
    "Global.CallhomeDB.Profile.0.Capture.0.Type=Cron\n"
    "Global.CallhomeDB.Profile.0.Capture.0.DayOfWeek=Mon\n"
    "Global.CallhomeDB.Profile.0.Capture.0.TimeOfDay=02:30\n"
    "Global.CallhomeDB.Profile.0.Capture.0.Interval=4\n";

std::vector<Seed> seeds() {
    const std::string large =
        "Global.CallhomeDB.Profile.0.NumberOfEmails=4294967295\n"
        "Global.CallhomeDB.Profile.0.CaptureEntries=4294967295\nCron\nCron\nCron\n";
    return {{"identity", kIdentity},
            {"servers", kServers},
            {"quotas", kQuotas},
            {"profile", kProfile},
            {"captures", kCaptures},
            {"all", kIdentity + std::string(kServers) + kQuotas},
            {"types", "Cron\n=Cron\n!=Cron\n=Event\n=None\n=cron\n"},
            {"large_counts", large},
            {"none_is_given",
             "!Global.Callhome.ThrottleDupsEnable=\n!Global.CallhomeDB.Profile.0.CaptureEnable=\n"
             "!Global.CallhomeDB.Profile.0.CaptureEntries=\n!Global.Callhome.SMTPPort=\n"},
            {"servers_unasked", "?1\n" + std::string(kServers)},
            {"quotas_unasked", "?1\n" + std::string(kQuotas)},
            {"emails_unasked", "?2\n" + std::string(kProfile)},
            {"captures_unasked", "?3\n" + std::string(kProfile)}};
}

}  // namespace

const Target kAttributes{"attributes", run, seeds};

}  // namespace orv_fuzz
