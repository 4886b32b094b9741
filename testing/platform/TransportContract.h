// What every transport promises, as one suite of tests.
//
// A test program includes this header once and instantiates the suite with its own bus:
//     INSTANTIATE_TEST_SUITE_P(Loopback, TransportContract, testing::Values(...), contractName);
#pragma once

#include "Dispatcher.h"
#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/transport/Transport.h"

#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// A bus of its own for one test. Destroyed after every transport on it.
class ContractBus {
public:
    virtual ~ContractBus() = default;
    // A transport that has not joined yet, as another process on this bus would have it.
    virtual std::unique_ptr<Transport> process() = 0;
};

struct TransportContractParam {
    std::string name;
    std::function<std::unique_ptr<ContractBus>()> bus;
};

inline std::string contractName(const testing::TestParamInfo<TransportContractParam>& info) {
    return info.param.name;
}

// Keeps what it is given, and does what its test says.
class ContractParty final : public TransportReceiver {
public:
    void receive(Hsb_Message& message) override {
        messages.push_back(message);
        onReceive(message);
    }
    void peerLeft(const Hsb_Address& process) override { left.push_back(process); }

    std::vector<std::uint16_t> codes() const {
        std::vector<std::uint16_t> result;
        for (const Hsb_Message& message : messages) {
            result.push_back(message.code());
        }
        return result;
    }

    Hsb_Address address;
    std::vector<Hsb_Message> messages;
    std::vector<Hsb_Address> left;
    std::function<void(const Hsb_Message&)> onReceive = [](const Hsb_Message&) {};
};

// Two processes, "here" and "there", with a party each.
class TransportContract : public testing::TestWithParam<TransportContractParam> {
protected:
    static constexpr std::uint16_t FORMAT = 0x4015;
    static constexpr std::uint16_t LAST = 0xFFFF;  // the code of a message that shows that all before it have arrived

    void SetUp() override {
        ASSERT_EQ(here_->join(), 0);
        ASSERT_EQ(there_->join(), 0);
        ASSERT_EQ(here_->attach(sender_, sender_.address), 0);
        ASSERT_EQ(there_->attach(receiver_, receiver_.address), 0);
    }

    static Hsb_Message message(const Hsb_Address& from, const Hsb_Address& to, std::uint16_t code,
                               std::vector<std::uint8_t> payload = {}) {
        Hsb_Message result(FORMAT, code, std::move(payload));
        result.source(from);
        result.destination(to);
        return result;
    }
    int send(Transport& transport, const ContractParty& from, const Hsb_Address& to, std::uint16_t code,
             std::vector<std::uint8_t> payload = {}) {
        return transport.send(message(from.address, to, code, std::move(payload)));
    }

    // Runs the loop until the condition holds; fails the test when it never does.
    static void runUntil(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        const Timeval step(0, 100000);
        while (!condition()) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "the awaited did not happen";
            ASSERT_GE(Dispatcher::instance()->handle_events(&step), 0);
        }
    }
    static void runUntilReceived(const ContractParty& party, std::size_t count) {
        runUntil([&] { return party.messages.size() >= count; });
    }
    // Sends a last message from sender to receiver and waits for it: nothing that was sent before can still come.
    void runUntilAllHaveArrived() {
        ASSERT_EQ(send(*here_, sender_, receiver_.address, LAST), 0);
        runUntil([this] { return !receiver_.messages.empty() && receiver_.messages.back().code() == LAST; });
    }

    std::unique_ptr<ContractBus> bus_ = GetParam().bus();
    ContractParty sender_;
    ContractParty receiver_;
    ContractParty third_;
    std::unique_ptr<Transport> here_ = bus_->process();
    std::unique_ptr<Transport> there_ = bus_->process();
};

TEST_P(TransportContract, carriesAMessageToAnotherProcess) {
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 7, {1, 2, 3}), 0);

    runUntilReceived(receiver_, 1);

    EXPECT_EQ(receiver_.messages[0].format(), FORMAT);
    EXPECT_EQ(receiver_.messages[0].code(), 7);
    EXPECT_EQ(receiver_.messages[0].source(), sender_.address);
    EXPECT_EQ(receiver_.messages[0].destination(), receiver_.address);
    EXPECT_THAT(receiver_.messages[0].payload(), testing::ElementsAre(1, 2, 3));
}

TEST_P(TransportContract, carriesAMessageWithinAProcess) {
    ASSERT_EQ(here_->attach(third_, third_.address), 0);

    ASSERT_EQ(send(*here_, sender_, third_.address, 7, {1}), 0);

    runUntilReceived(third_, 1);
    EXPECT_EQ(third_.messages[0].source(), sender_.address);
    EXPECT_THAT(third_.messages[0].payload(), testing::ElementsAre(1));
}

TEST_P(TransportContract, carriesAMessageFromAPartyToItself) {
    ASSERT_EQ(send(*here_, sender_, sender_.address, 7), 0);

    runUntilReceived(sender_, 1);

    EXPECT_THAT(sender_.codes(), testing::ElementsAre(7));
}

TEST_P(TransportContract, carriesEveryFormatAndCode) {
    for (const auto& [format, code] : {std::pair<int, int>{0, 0}, {2, 4}, {0x4015, 107}, {0xFFFF, 0xFFFE}}) {
        Hsb_Message each(static_cast<std::uint16_t>(format), static_cast<std::uint16_t>(code));
        each.source(sender_.address);
        each.destination(receiver_.address);
        ASSERT_EQ(here_->send(each), 0);
        const std::size_t before = receiver_.messages.size();
        runUntilReceived(receiver_, before + 1);
        EXPECT_EQ(receiver_.messages.back().format(), format);
        EXPECT_EQ(receiver_.messages.back().code(), code);
    }
}

TEST_P(TransportContract, keepsTheOrderOfEachSender) {
    ASSERT_EQ(there_->attach(third_, third_.address), 0);
    for (std::uint16_t code = 1; code <= 200; ++code) {
        ASSERT_EQ(send(*here_, sender_, receiver_.address, code), 0);
        ASSERT_EQ(send(*there_, third_, receiver_.address, static_cast<std::uint16_t>(1000 + code)), 0);
    }

    runUntilReceived(receiver_, 400);

    std::uint16_t nextOfSender = 1;
    std::uint16_t nextOfThird = 1001;
    for (const Hsb_Message& each : receiver_.messages) {
        std::uint16_t& next = each.source() == sender_.address ? nextOfSender : nextOfThird;
        EXPECT_EQ(each.code(), next);
        ++next;
    }
}

TEST_P(TransportContract, keepsTheOrderOfLargeAndSmallMessages) {
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 1, std::vector<std::uint8_t>(1 << 20, 1)), 0);
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 2), 0);
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 3, std::vector<std::uint8_t>(1 << 20, 3)), 0);
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 4), 0);

    runUntilReceived(receiver_, 4);

    EXPECT_THAT(receiver_.codes(), testing::ElementsAre(1, 2, 3, 4));
}

TEST_P(TransportContract, neverDeliversFromWithinSend) {
    ASSERT_EQ(here_->attach(third_, third_.address), 0);
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 1), 0);
    ASSERT_EQ(send(*here_, sender_, third_.address, 1), 0);
    ASSERT_EQ(send(*here_, sender_, sender_.address, 1), 0);

    EXPECT_THAT(receiver_.messages, testing::IsEmpty());
    EXPECT_THAT(third_.messages, testing::IsEmpty());
    EXPECT_THAT(sender_.messages, testing::IsEmpty());
}

TEST_P(TransportContract, neverDeliversFromWithinASendOfAReceiver) {
    bool answering = false;
    bool nested = false;
    ASSERT_EQ(there_->attach(third_, third_.address), 0);
    third_.onReceive = [&](const Hsb_Message&) { nested = nested || answering; };
    receiver_.onReceive = [&](const Hsb_Message&) {
        answering = true;
        EXPECT_EQ(send(*there_, receiver_, third_.address, 2), 0);
        answering = false;
    };
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 1), 0);

    runUntilReceived(third_, 1);

    EXPECT_FALSE(nested);
}

TEST_P(TransportContract, letsAReceiverAnswer) {
    receiver_.onReceive = [this](const Hsb_Message& request) {
        EXPECT_EQ(send(*there_, receiver_, request.source(), static_cast<std::uint16_t>(request.code() + 100)), 0);
    };
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 1), 0);

    runUntilReceived(sender_, 1);

    EXPECT_EQ(sender_.messages[0].code(), 101);
    EXPECT_EQ(sender_.messages[0].source(), receiver_.address);
}

TEST_P(TransportContract, carriesPayloadsFromNothingToAMegabyte) {
    for (const std::size_t size : {0u, 1u, 3u, 255u, 4096u, 65536u, 1u << 20}) {
        std::vector<std::uint8_t> payload(size);
        for (std::size_t i = 0; i < size; ++i) {
            payload[i] = static_cast<std::uint8_t>(i * 31 + size);
        }
        const std::size_t before = receiver_.messages.size();
        ASSERT_EQ(send(*here_, sender_, receiver_.address, 1, payload), 0) << size;
        runUntilReceived(receiver_, before + 1);
        const auto arrived = receiver_.messages.back().payload();
        EXPECT_EQ(std::vector<std::uint8_t>(arrived.begin(), arrived.end()), payload) << size;
    }
}

TEST_P(TransportContract, givesEveryPartyAnAddressOfItsOwn) {
    ContractParty fourth;
    ASSERT_EQ(here_->attach(third_, third_.address), 0);
    ASSERT_EQ(there_->attach(fourth, fourth.address), 0);

    const std::vector<Hsb_Address> all{sender_.address, receiver_.address, third_.address, fourth.address};
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_NE(all[i], Hsb_Address{});
        EXPECT_NE(all[i].node, 0u) << "services stand there";
        for (std::size_t j = i + 1; j < all.size(); ++j) {
            EXPECT_NE(all[i], all[j]) << i << " and " << j;
        }
    }
    there_->detach(fourth.address);
}

TEST_P(TransportContract, givesThePartiesOfAProcessOneProcessNumber) {
    ASSERT_EQ(here_->attach(third_, third_.address), 0);

    EXPECT_EQ(third_.address.node, sender_.address.node);
    EXPECT_EQ(third_.address.process, sender_.address.process);
    EXPECT_NE(std::pair(receiver_.address.node, receiver_.address.process),
              std::pair(sender_.address.node, sender_.address.process));
}

TEST_P(TransportContract, reachesAServiceAtItsFixedAddress) {
    ASSERT_EQ(there_->attachService(third_, ServiceAddress::ATTRIBUTES), 0);

    ASSERT_EQ(send(*here_, sender_, ServiceAddress::ATTRIBUTES, 1), 0);
    runUntilReceived(third_, 1);

    EXPECT_EQ(third_.messages[0].destination(), ServiceAddress::ATTRIBUTES);
    EXPECT_EQ(third_.messages[0].source(), sender_.address);
}

TEST_P(TransportContract, carriesAServicesAddressAsSource) {
    third_.address = ServiceAddress::EVENTS;
    ASSERT_EQ(there_->attachService(third_, third_.address), 0);

    ASSERT_EQ(send(*there_, third_, sender_.address, 1), 0);
    runUntilReceived(sender_, 1);

    EXPECT_EQ(sender_.messages[0].source(), ServiceAddress::EVENTS);
}

TEST_P(TransportContract, reachesManyServicesInOneProcess) {
    ContractParty other;
    ASSERT_EQ(there_->attachService(third_, ServiceAddress::NAMES), 0);
    ASSERT_EQ(there_->attachService(other, ServiceAddress::MONITOR), 0);

    ASSERT_EQ(send(*here_, sender_, ServiceAddress::MONITOR, 1), 0);
    ASSERT_EQ(send(*here_, sender_, ServiceAddress::NAMES, 2), 0);
    runUntilReceived(third_, 1);
    runUntilReceived(other, 1);

    EXPECT_THAT(third_.codes(), testing::ElementsAre(2));
    EXPECT_THAT(other.codes(), testing::ElementsAre(1));
    there_->detach(ServiceAddress::MONITOR);
}

TEST_P(TransportContract, refusesAServiceAddressThatIsTaken) {
    ContractParty other;
    ASSERT_EQ(there_->attachService(third_, ServiceAddress::NAMES), 0);

    EXPECT_EQ(here_->attachService(other, ServiceAddress::NAMES), -1);
    EXPECT_EQ(there_->attachService(other, ServiceAddress::NAMES), -1);

    ASSERT_EQ(send(*here_, sender_, ServiceAddress::NAMES, 1), 0);
    runUntilReceived(third_, 1);
    EXPECT_THAT(other.messages, testing::IsEmpty());
}

TEST_P(TransportContract, freesTheAddressOfADetachedService) {
    ContractParty former;
    ASSERT_EQ(there_->attachService(former, ServiceAddress::NAMES), 0);
    there_->detach(ServiceAddress::NAMES);

    ASSERT_EQ(here_->attachService(third_, ServiceAddress::NAMES), 0);

    ASSERT_EQ(send(*there_, receiver_, ServiceAddress::NAMES, 1), 0);
    runUntilReceived(third_, 1);
    EXPECT_THAT(former.messages, testing::IsEmpty());
}

TEST_P(TransportContract, vouchesForServices) {
    ASSERT_EQ(there_->attachService(third_, ServiceAddress::ATTRIBUTES), 0);

    for (const Hsb_Address& service : {ServiceAddress::ATTRIBUTES, ServiceAddress::NAMES}) {
        ASSERT_EQ(there_->send(message(service, sender_.address, 1)), 0);
        const std::size_t before = sender_.messages.size();
        runUntilReceived(sender_, before + 1);
        EXPECT_EQ(sender_.messages.back().source(), service);
    }
}

TEST_P(TransportContract, letsNobodyElseSpeakForAService) {
    ASSERT_EQ(there_->attachService(third_, ServiceAddress::ATTRIBUTES), 0);

    ASSERT_EQ(here_->send(message(ServiceAddress::ATTRIBUTES, receiver_.address, 1)), 0);
    ASSERT_EQ(here_->send(message(ServiceAddress::ATTRIBUTES, sender_.address, 2)), 0);
    runUntilReceived(receiver_, 1);
    runUntilReceived(sender_, 1);

    const Hsb_Address truth{sender_.address.node, sender_.address.process, ServiceAddress::ATTRIBUTES.slot};
    EXPECT_EQ(receiver_.messages[0].source(), truth);
    EXPECT_EQ(sender_.messages[0].source(), truth);
}

TEST_P(TransportContract, letsNobodyWhoHasGivenUpItsServiceSpeakForIt) {
    ASSERT_EQ(here_->attachService(third_, ServiceAddress::ATTRIBUTES), 0);
    here_->detach(ServiceAddress::ATTRIBUTES);

    ASSERT_EQ(here_->send(message(ServiceAddress::ATTRIBUTES, receiver_.address, 1)), 0);
    runUntilReceived(receiver_, 1);

    EXPECT_EQ(receiver_.messages[0].source().process, sender_.address.process);
}

TEST_P(TransportContract, letsNobodySpeakForAnotherProcess) {
    ASSERT_EQ(here_->send(message(receiver_.address, receiver_.address, 1)), 0);
    runUntilReceived(receiver_, 1);

    EXPECT_EQ(receiver_.messages[0].source(),
              (Hsb_Address{sender_.address.node, sender_.address.process, receiver_.address.slot}));
}

TEST_P(TransportContract, givesADetachedPartyNothing) {
    ASSERT_EQ(there_->attach(third_, third_.address), 0);
    ASSERT_EQ(send(*here_, sender_, third_.address, 1), 0);
    there_->detach(third_.address);
    // Where the loss is certain it may be refused at once: both are true to "dropped".
    [[maybe_unused]] const int sent = send(*here_, sender_, third_.address, 2);

    runUntilAllHaveArrived();

    EXPECT_THAT(third_.messages, testing::IsEmpty());
}

TEST_P(TransportContract, letsAPartyDetachItselfWhileItReceives) {
    receiver_.onReceive = [this](const Hsb_Message&) { there_->detach(receiver_.address); };
    ASSERT_EQ(there_->attach(third_, third_.address), 0);
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 1), 0);
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 2), 0);
    ASSERT_EQ(send(*here_, sender_, third_.address, 3), 0);

    runUntilReceived(third_, 1);

    EXPECT_THAT(receiver_.codes(), testing::ElementsAre(1));
}

TEST_P(TransportContract, dropsAMessageToAnAddressThatNobodyHolds) {
    Hsb_Address nobody = receiver_.address;
    nobody.slot = static_cast<std::uint16_t>(nobody.slot + 1000);

    EXPECT_EQ(send(*here_, sender_, nobody, 1), 0);
    runUntilAllHaveArrived();

    EXPECT_THAT(receiver_.codes(), testing::ElementsAre(LAST));
    EXPECT_THAT(sender_.messages, testing::IsEmpty());
}

TEST_P(TransportContract, survivesAMessageToAProcessThatDoesNotExist) {
    Hsb_Address nobody = receiver_.address;
    nobody.process += 100000;
    [[maybe_unused]] const int process = send(*here_, sender_, nobody, 1);
    [[maybe_unused]] const int service = send(*here_, sender_, ServiceAddress::OPERATOR, 1);

    runUntilAllHaveArrived();

    EXPECT_THAT(receiver_.codes(), testing::ElementsAre(LAST));
    EXPECT_FALSE(here_->lost());
}

TEST_P(TransportContract, tellsEveryServiceThatAProcessHasLeft) {
    ContractParty other;
    const Hsb_Address gone{receiver_.address.node, receiver_.address.process, 0xFFFF};
    ASSERT_EQ(here_->attachService(third_, ServiceAddress::NAMES), 0);
    ASSERT_EQ(here_->attachService(other, ServiceAddress::EVENTS), 0);
    // The services have heard of the process before.
    ASSERT_EQ(send(*there_, receiver_, ServiceAddress::NAMES, 1), 0);
    runUntilReceived(third_, 1);

    there_->leave();
    runUntil([&] { return !third_.left.empty() && !other.left.empty(); });

    EXPECT_THAT(third_.left, testing::ElementsAre(gone));
    EXPECT_THAT(other.left, testing::ElementsAre(gone));
    EXPECT_THAT(sender_.left, testing::IsEmpty()) << "no service";
    here_->detach(ServiceAddress::EVENTS);
}

TEST_P(TransportContract, tellsServicesThatAProcessHasDied) {
    const Hsb_Address gone{receiver_.address.node, receiver_.address.process, 0xFFFF};
    ASSERT_EQ(here_->attachService(third_, ServiceAddress::NAMES), 0);

    there_.reset();
    runUntil([this] { return !third_.left.empty(); });

    EXPECT_THAT(third_.left, testing::ElementsAre(gone));
}

TEST_P(TransportContract, givesNothingToAPartyWhoseProcessHasLeft) {
    ASSERT_EQ(send(*here_, sender_, receiver_.address, 1), 0);

    there_->leave();
    [[maybe_unused]] const int sent = send(*here_, sender_, receiver_.address, 2);
    ASSERT_EQ(send(*here_, sender_, sender_.address, 3), 0);
    runUntilReceived(sender_, 1);

    EXPECT_THAT(receiver_.messages, testing::IsEmpty());
}

TEST_P(TransportContract, sendsNothingBeforeItHasJoinedOrOnceItHasLeft) {
    const std::unique_ptr<Transport> outside = bus_->process();
    Hsb_Address address;

    EXPECT_EQ(outside->send(message(sender_.address, receiver_.address, 1)), -1);
    EXPECT_EQ(outside->attach(third_, address), -1);
    EXPECT_EQ(outside->attachService(third_, ServiceAddress::NAMES), -1);
    here_->leave();
    EXPECT_EQ(send(*here_, sender_, receiver_.address, 1), -1);
    EXPECT_EQ(here_->attach(third_, address), -1);
    EXPECT_EQ(here_->attachService(third_, ServiceAddress::NAMES), -1);

    EXPECT_EQ(address, Hsb_Address{}) << "written on success only";
    EXPECT_FALSE(here_->lost()) << "it has left by its own wish";
}

TEST_P(TransportContract, mayLeaveTwiceAndJoinAgain) {
    there_->leave();
    there_->leave();

    ASSERT_EQ(there_->join(), 0);
    ASSERT_EQ(there_->attach(third_, third_.address), 0);
    ASSERT_EQ(send(*here_, sender_, third_.address, 1), 0);
    runUntilReceived(third_, 1);

    EXPECT_THAT(third_.codes(), testing::ElementsAre(1));
}

TEST_P(TransportContract, ignoresTheDetachmentOfAnAddressThatIsNotItsOwn) {
    here_->detach(receiver_.address);
    here_->detach(ServiceAddress::NAMES);
    here_->detach(Hsb_Address{});

    runUntilAllHaveArrived();

    EXPECT_THAT(receiver_.codes(), testing::ElementsAre(LAST));
}
