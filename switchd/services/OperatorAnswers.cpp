#include "switchd/services/OperatorAnswers.h"

void OperatorAnswers::done(const OperatorCaller& caller, WireSpan body) const {
    const OperatorReply reply{caller.tag, OperatorStatus::OK, {}, body};
    send_(caller.address, OperatorCode::replyTo(caller.code), encodeFields(reply));
}

void OperatorAnswers::refuse(const OperatorCaller& caller, OperatorStatus status, const std::string& reason) const {
    const OperatorReply reply{caller.tag, status, reason, {}};
    send_(caller.address, OperatorCode::replyTo(caller.code), encodeFields(reply));
}

void OperatorAnswers::push(const OperatorCaller& caller, std::uint16_t code, WireSpan body) const {
    send_(caller.address, code, encodeFields(OperatorPush{caller.tag, body}));
}
