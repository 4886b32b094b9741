// Test support: a daemon whose controller and send queue a test looks into.
#pragma once

#include "MessageCodes.h"
#include "testing/app/DaemonFixture.h"

#include "Hsb_Message.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

class ControllerFixture : public DaemonFixture {
protected:
    // The start of a state dump taken now: from "ReadyForMessage" to "ConfigRequestsPending".
    std::vector<std::string> state() {
        switch_->send(MessageFormat::PROBE, ProbeCode::DUMP_STATE);
        const std::vector<std::string> lines = mainTrace();
        const auto last = std::find_if(lines.rbegin(), lines.rend(), [](const std::string& line) {
            return line.find("CallHome State Information:") != std::string::npos;
        });
        return last == lines.rend() ? std::vector<std::string>()
                                    : std::vector<std::string>(last.base(), last.base() + 6);
    }
    std::string stateValue(const std::string& name) {
        for (const std::string& line : state()) {
            if (line.starts_with(name + " = ")) {
                return line.substr(name.size() + 3);
            }
        }
        return "not found";
    }
    std::size_t count(const std::string& trace) { return traced(trace).size(); }

    void changeProfiles() { switch_->manage(ManagementCode::PROFILE_CHANGE); }

    // Nothing is sent: what is queued stays where it can be looked at.
    void startWithoutSending() {
        primary_.refuseConnections();
        startReady();
        before_ = entries().size();
    }
    // The files of the send queue's entries.
    std::vector<std::string> entries() const {
        std::vector<std::string> names = root_.list("/ostrel/conf/orv/callHome/queues/send");
        std::erase(names, "order");
        return names;
    }
    // How many entries came since startWithoutSending().
    std::size_t queued() const { return entries().size() - before_; }
    std::string entry(std::size_t index) const {
        return root_.read("/ostrel/conf/orv/callHome/queues/send/m" + std::to_string(index));
    }
    // The profiles named by an entry's envelopes, each with a blank behind it.
    std::string profilesOf(std::size_t index) const {
        std::string names;
        const std::string file = entry(index);
        for (std::size_t at = 0; (at = file.find("<Profile>\n", at)) != std::string::npos;) {
            at += 10;
            names += file.substr(at, file.find('\n', at) - at) + " ";
        }
        return names;
    }

    // A probe is answered.
    [[nodiscard]] bool alive() {
        bool answered = false;
        switch_->bus().observe([&answered](const Hsb_Message& message) {
            answered |= message.format() == MessageFormat::PROBE && message.code() == ProbeCode::REPLY;
        });
        switch_->send(MessageFormat::PROBE, ProbeCode::DUMP_STATE);
        switch_->bus().observe(nullptr);
        return answered;
    }

    // Answers of the attribute store under this request id.
    static LoopbackBus::Match answers(std::uint16_t code, std::uint8_t id) {
        return [code, id](const Hsb_Message& message) {
            return message.format() == MessageFormat::DS && message.code() == code && message.payload().size() > 3 &&
                   message.payload()[3] == id;
        };
    }
    // Lets everything go on that the bus has held.
    void releaseAll() {
        switch_->bus().clearFaults();
        switch_->bus().release();
        switch_->pump();
    }

    std::size_t before_ = 0;
};
