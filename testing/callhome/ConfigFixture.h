// Test support: a controller whose reads of the attribute store go wrong.
#pragma once

#include "testing/callhome/ControllerFixture.h"

#include <cstdint>
#include <string>

class OrvCallHomeConfig : public ControllerFixture {
protected:
    static constexpr std::uint32_t kId = 0x8B000001u;  // of entries that have no number of their own

    void failReply(const std::string& key, std::int32_t status, FaultOperation operation = FaultOperation::GET) {
        switch_->faults().add({FaultKind::BAD_STATUS, operation, key, 1, 0, status});
    }
    // Refuses the daemon's requests to the store that ask for this key; every request for an empty one.
    void refuseRequest(const std::string& key) {
        switch_->bus().refuse([key](const Hsb_Message& message) {
            const std::string text(message.payload().begin(), message.payload().end());
            return message.format() == MessageFormat::DS &&
                   (message.code() == DsCode::GET || message.code() == DsCode::BULK_GET) &&
                   text.find(key) != std::string::npos;
        });
    }
};
