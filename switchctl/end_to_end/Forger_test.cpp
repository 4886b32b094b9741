// A stranger on the daemon's bus that says it is the switch's services.
#include "Dispatcher.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/transport/dbus/DbusTransport.h"
#include "platform/wire/CnsWire.h"
#include "platform/wire/DsWire.h"
#include "platform/wire/EnsWire.h"
#include "platform/wire/ManagementWire.h"
#include "switchd/services/OperatorWire.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <algorithm>
#include <chrono>

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

using Bytes = std::vector<std::uint8_t>;

// One party on the bus that anybody may join; it finds the daemon and talks to it.
class Stranger final : private TransportReceiver {
public:
    explicit Stranger(const std::string& bus) : transport_(options(bus)) {
        if (transport_.join() < 0 || transport_.attach(*this, address_) < 0) {
            throw std::runtime_error("the stranger does not come onto the bus");
        }
    }

    const Hsb_Address& address() const { return address_; }

    // Every slot that the daemon may stand in hears it.
    void say(std::uint16_t format, std::uint16_t code, const Hsb_Address& pretended, const Bytes& payload) {
        for (std::uint16_t slot = 1; slot <= 2; ++slot) {
            Hsb_Message message(format, code, payload);
            message.source(pretended);
            message.destination({daemon_.node, daemon_.process, slot});
            ASSERT_EQ(transport_.send(message), 0);
        }
    }
    void findDaemon() {
        Hsb_Message message(OperatorCode::FORMAT, OperatorCode::COMPONENTS, encodeFields(OperatorRequest{1, {}}));
        message.source(address_);
        message.destination(ServiceAddress::OPERATOR);
        ASSERT_EQ(transport_.send(message), 0);
        awaitCode(OperatorCode::replyTo(OperatorCode::COMPONENTS));
        const auto reply = decodeFields<OperatorReply>(messages.back().payload());
        ASSERT_TRUE(reply);
        const auto list = decodeFields<ComponentList>(reply->body);
        ASSERT_TRUE(list && list->components.size() == 1);
        daemon_ = {list->components[0].node, list->components[0].process, 0};
    }
    // What was said before has been dealt with: the daemon answers a probe, which it does for anybody.
    void untilAllIsHeard() {
        say(MessageFormat::PROBE, 5, address_, {});
        awaitCode(ProbeCode::REPLY);
    }
    std::vector<std::uint16_t> codes() const {
        std::vector<std::uint16_t> result;
        std::ranges::transform(messages, std::back_inserter(result), &Hsb_Message::code);
        return result;
    }

    std::vector<Hsb_Message> messages;

private:
    static DbusTransport::Options options(const std::string& bus) {
        DbusTransport::Options result;
        result.address = bus;
        return result;
    }
    void receive(Hsb_Message& message) override { messages.push_back(message); }
    void awaitCode(std::uint16_t code) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        const Timeval step(0, 50000);
        while (std::ranges::find(messages, code, &Hsb_Message::code) == messages.end()) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "no answer with code " << code;
            ASSERT_GE(Dispatcher::instance()->handle_events(&step), 0);
        }
    }

    DbusTransport transport_;
    Hsb_Address address_;
    Hsb_Address daemon_;
};

class Forger : public SwitchProcesses {
protected:
    void SetUp() override {
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        configureWithDeadServer();
        stranger_ = std::make_unique<Stranger>(bus_.address());
        stranger_->findDaemon();
    }

    // What the daemon's probe shows of them.
    std::string conditions() const {
        const std::string shown = done({"callhome", "probe"});
        const std::size_t at = shown.find("Condition");
        return at == std::string::npos ? "" : shown.substr(at, shown.find('\n', at) - at);
    }

    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
    std::unique_ptr<Stranger> stranger_;
};

constexpr std::uint32_t FEATURE_FLAG = 6;  // the request of this number asks whether CallHome is allowed at all
constexpr std::uint32_t LOG_EVENT = 1;

}  // namespace

TEST_F(Forger, cannotAnswerForTheAttributeStore) {
    const std::string before = conditions();
    ASSERT_NE(before, "");

    const DsAttributeAnswer forbidden{FEATURE_FLAG, {"Default.Mfg.AllowCallhome", 1, 0, "False"}};
    stranger_->say(MessageFormat::DS, DsCode::ATTRIBUTE_REPLY, ServiceAddress::ATTRIBUTES, encodeFields(forbidden));
    stranger_->untilAllIsHeard();

    EXPECT_EQ(conditions(), before);
}

TEST_F(Forger, cannotMakeAnEvent) {
    const std::string before = done({"callhome", "queue"});

    stranger_->say(MessageFormat::ENS_EVENT, EnsEventCode::EVENT, ServiceAddress::EVENTS,
                   encodeFields(EnsEventData{LOG_EVENT, 0, Bytes(312)}));
    stranger_->untilAllIsHeard();

    EXPECT_EQ(done({"callhome", "queue"}), before);
}

TEST_F(Forger, cannotTakeTheServicesPlaces) {
    for (const std::uint32_t tag : {1u, 2u, 3u}) {
        stranger_->say(MessageFormat::CNS, CnsCode::LOOKUP_RESPONSE, ServiceAddress::NAMES,
                       encodeFields(CnsLookupResponse{tag, stranger_->address()}));
    }
    stranger_->untilAllIsHeard();

    EXPECT_THAT(stranger_->codes(), Not(Contains(EnsCode::SUBSCRIBE)));
    EXPECT_THAT(done({"callhome", "queue"}), HasSubstr("waiting")) << "the answer goes to the true component";
}

TEST_F(Forger, cannotMakeTheDaemonReadItsConfiguration) {
    const std::string before = done({"log", "--all"});

    stranger_->say(MessageFormat::CMON, CmonCode::READ_CONF, ServiceAddress::MONITOR, {});
    stranger_->untilAllIsHeard();

    const std::string after = done({"log", "--all"});
    ASSERT_TRUE(after.starts_with(before));
    EXPECT_THAT(after.substr(before.size()), Not(HasSubstr("request for")));
}
