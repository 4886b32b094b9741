// Vocabulary of the command tests: a whole switch in this program, a component that answers as the daemon does, and
// runs of switchctl against them.
#pragma once

#include "MessageCodes.h"
#include "app_log.h"
#include "platform/transport/loopback/LoopbackTransport.h"
#include "platform/wire/ManagementWire.h"
#include "switchctl/Switchctl.h"
#include "switchctl/text/Errors.h"
#include "testing/LoopbackSwitch.h"
#include "testing/StubComponent.h"
#include "testing/switchctl/FilledEntry.h"

#include <gmock/gmock.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

class SwitchctlTest : public testing::Test {
protected:
    // One run of switchctl.
    Outcome run(const std::vector<std::string>& arguments) {
        LoopbackTransport transport(switch_.bus());
        const auto connect = [&](std::chrono::milliseconds) -> Transport* {
            return transport.join() < 0 ? nullptr : &transport;
        };
        std::ostringstream out;
        std::ostringstream err;
        Outcome result;
        result.status = runSwitchctl(arguments, connect, out, err);
        result.out = out.str();
        result.err = err.str();
        return result;
    }
    // A run that does what it is told and says nothing on stderr; returns what it prints.
    std::string done(const std::vector<std::string>& arguments) {
        const Outcome result = run(arguments);
        EXPECT_EQ(result.status, ExitStatus::DONE) << result.err;
        EXPECT_EQ(result.err, "");
        return result.out;
    }
    // What status prints; its exit status tells whether a person is needed.
    std::string status(const std::vector<std::string>& options = {}) {
        std::vector<std::string> words = {"status"};
        words.insert(words.end(), options.begin(), options.end());
        const Outcome result = run(words);
        const bool json = result.out.starts_with("{");
        const bool fine = json ? result.out.find("\"state\":\"ok\"") != std::string::npos
                               : result.out.starts_with("CallHome can send.\ncomponents ");
        EXPECT_EQ(result.status, fine ? ExitStatus::DONE : ExitStatus::REFUSED) << result.err;
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    LoopbackSwitch switch_;
};

// With a component that is registered, as orvApp is, and answers management requests with a status.
class SwitchctlDaemonTest : public SwitchctlTest {
protected:
    void SetUp() override {
        daemon_.insert();
        switch_.pump();
        daemon_.onMessage = [this](Hsb_Message& message) { answer(message); };
    }

    virtual void answer(Hsb_Message& message) {
        if (message.format() == MessageFormat::MANAGEMENT) {
            requests_.push_back(message);
            const auto handle = decodeFields<ManagementRequest>(message.payload().first(8))->handle;
            respond(message, encodeFields(ManagementResponse{handle, status_}));
        }
    }
    static void respond(Hsb_Message& request, std::vector<std::uint8_t> payload) {
        EXPECT_EQ(request.reply(request.format(), static_cast<std::uint16_t>(request.code() + 100), std::move(payload)),
                  0);
    }
    // Writes into the event log as the daemon does.
    template <typename... Arguments>
    void write(const OrvLogEntry<Arguments...>& kind, std::type_identity_t<Arguments>... arguments) {
        app_log(kind.level, kind.id, -1, -1, -1, -1, kOrvOwnEntryFlags, &daemon_, "%s",
                filledText(kind, arguments...).c_str());
    }
    // The same, and it is there.
    template <typename... Arguments>
    void log(const OrvLogEntry<Arguments...>& kind, std::type_identity_t<Arguments>... arguments) {
        write(kind, arguments...);
        switch_.pump();
    }
    // Codes of the management requests so far.
    std::vector<std::uint16_t> requestCodes() const {
        std::vector<std::uint16_t> codes;
        for (const Hsb_Message& request : requests_) {
            codes.push_back(request.code());
        }
        return codes;
    }

    StubComponent daemon_;
    std::uint32_t status_ = 0;
    std::vector<Hsb_Message> requests_;
};
