// How the operator's callers are answered: the rooms behind OperatorService's door all answer in this way.
//
// Main thread only.
#pragma once

#include "switchd/services/OperatorWire.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

// Who has asked, and what for.
struct OperatorCaller {
    Hsb_Address address;
    std::uint16_t code = 0;  // of the request
    std::uint32_t tag = 0;
};
// Which callers are meant.
using OperatorCallers = std::function<bool(const OperatorCaller&)>;

// A request that has no body.
struct NoBody {
    static void fields(auto& /*io*/, auto& /*message*/) {}
};

class OperatorAnswers {
public:
    // Sends a message of the operator's format from the service's address.
    using Send = std::function<void(const Hsb_Address& to, std::uint16_t code, WireBytes payload)>;

    explicit OperatorAnswers(Send send) : send_(std::move(send)) {}

    void done(const OperatorCaller& caller, WireSpan body = {}) const;
    void refuse(const OperatorCaller& caller, OperatorStatus status, const std::string& reason) const;
    // Something that a caller has asked to be told, with a code of its own.
    void push(const OperatorCaller& caller, std::uint16_t code, WireSpan body) const;

private:
    Send send_;
};
