// What OrvCHClient and its thread tell each other. None of them owns the message it carries: that is the queue's.
#pragma once

#include "thread/OrvMesg.h"

#include <string>
#include <utility>

class OrvCHMesg;

// How a dialogue failed.
struct OrvSendFailure {
    std::string reason;       // name of the SMTP error
    std::string description;  // the system's, the resolver's or a fixed text
    std::string response;     // the last refusing reply
};

// To the thread: mail this.
class OrvCHClientSend final : public OrvToThreadMesg {
public:
    static constexpr std::uint32_t kCode = 1;

    explicit OrvCHClientSend(OrvCHMesg* message) : OrvToThreadMesg(kCode), message_(message) {}
    OrvCHMesg* message() const { return message_; }

private:
    OrvCHMesg* const message_;
};

// To the main thread: what became of a message. Made before it is sent, and filled in afterwards.
class OrvCHClientOutcome : public OrvToMainMesg {
public:
    OrvCHMesg* message() const { return message_; }
    void setMessage(OrvCHMesg* message) { message_ = message; }

protected:
    using OrvToMainMesg::OrvToMainMesg;

private:
    OrvCHMesg* message_ = nullptr;
};

// The dialogue failed.
class OrvCHClientFail final : public OrvCHClientOutcome {
public:
    static constexpr std::uint32_t kCode = 1;

    OrvCHClientFail() : OrvCHClientOutcome(kCode) {}
    const OrvSendFailure& failure() const { return failure_; }
    void setFailure(OrvSendFailure&& failure) { failure_ = std::move(failure); }

private:
    OrvSendFailure failure_;
};

// The dialogue went to its end; the message's marks tell what became of each recipient.
class OrvCHClientSucceed final : public OrvCHClientOutcome {
public:
    static constexpr std::uint32_t kCode = 2;

    OrvCHClientSucceed() : OrvCHClientOutcome(kCode) {}
};
