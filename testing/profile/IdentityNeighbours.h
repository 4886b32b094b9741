// Test support: whoever the switch identity reports to, written down in order.
#pragma once

#include "profile/OrvConfigListener.h"
#include "profile/OrvIdentityListener.h"

#include <functional>
#include <string>
#include <vector>

class IdentityNeighbours final : public OrvConfigListener, public OrvIdentityListener {
public:
    void configComplete(unsigned bit) override {
        calls.push_back("complete " + std::to_string(bit));
        if (onComplete) {
            onComplete();
        }
    }
    void identityAddressRead(const std::string& address) override { calls.push_back("address " + address); }
    void identityWwnRead(const std::string& wwn) override { calls.push_back("wwn " + wwn); }

    std::vector<std::string> calls;
    std::function<void()> onComplete;  // may be empty
};
