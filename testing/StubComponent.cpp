#include "testing/StubComponent.h"

#include "Cns.h"
#include "MessageCodes.h"

#include <cstring>
#include <stdexcept>
#include <utility>

void StubComponent::insert() {
    if (slot_.insert(this) < 0 || Cns_Registration(this, 1, 0).add() < 0 || ds_.init(this, this) == 0) {
        throw std::runtime_error("StubComponent: " + name_ + " cannot be inserted");
    }
}

std::vector<Hsb_Message> StubComponent::take() {
    return std::exchange(messages_, {});
}

int StubComponent::component_name(char* buffer, int length) {
    if (length < static_cast<int>(name_.size())) {
        return -1;
    }
    std::memcpy(buffer, name_.data(), name_.size());
    return static_cast<int>(name_.size());
}

int StubComponent::handle_message(Hsb_Message* message) {
    messages_.push_back(*message);
    if (onMessage) {
        onMessage(*message);
    }
    if (message->format() == MessageFormat::DS) {
        handOut(*message);
    }
    return 0;
}

void StubComponent::handOut(const Hsb_Message& message) {
    DsAttrReply attribute;
    DsBulkReply bulk;
    DsStatusReply status;
    if (message.code() == DsCode::ATTRIBUTE_REPLY && onAttribute && ds_.attrData(message, attribute) == 0) {
        onAttribute(attribute);
    } else if (message.code() == DsCode::BULK_REPLY && onBulk && ds_.bulkAttr(message, bulk) == 0) {
        onBulk(bulk);
    } else if (message.code() == DsCode::STATUS_REPLY && onStatus && ds_.statusMsg(message, status) == 0) {
        onStatus(status);
    }
}
