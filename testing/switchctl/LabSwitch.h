// Test support: attributes of a switch with one mail server, for whoever looks ahead.
#pragma once

#include "switchd/services/FactoryAttributes.h"
#include "switchd/store/Attribute.h"

#include <algorithm>
#include <string>
#include <vector>

class LabSwitch {
public:
    LabSwitch() {
        for (const FactoryAttribute& attribute : factoryAttributes()) {
            attributes.push_back({attribute.key, attribute.type, attribute.value});
        }
        set("Global.Services.CallhomeEnable", "True");
        set("Global.Callhome.FromAddr", "switch@example.com");
        set("Global.Callhome.NF-SMTPAddr", "1-192.0.2.25");
        set("Global.Callhome.SMTPPort", "25");
        set("Global.Callhome.SMTPEnable", "True");
    }

    void set(const std::string& key, const std::string& value) {
        const auto known = std::ranges::find(attributes, key, &Attribute::key);
        if (known != attributes.end()) {
            known->value = value;
        } else {
            attributes.push_back({key, 0, value});
        }
    }

    void addProfile(const std::string& name, const std::string& level, const std::string& format,
                    const std::vector<std::string>& recipients) {
        const std::string key = field("");
        set("Global.CallhomeDB.ProfileList." + std::to_string(profiles_), name);
        set(key + "Level", level);
        set(key + "Format", format);
        set(key + "MaxSize", "2000000");
        set(key + "EmailSubject", "Lab switch");
        set(key + "NumberOfEmails", std::to_string(recipients.size()));
        for (std::size_t i = 0; i < recipients.size(); ++i) {
            set(key + "EmailList." + std::to_string(i), recipients[i]);
        }
        set("Global.CallhomeDB.NumberOfProfiles", std::to_string(++profiles_));
    }
    // Of the profile that was added last.
    void addCapture(const std::string& day, const std::string& time, const std::string& weeks) {
        --profiles_;
        set(field("CaptureEnable"), "True");
        set(field("CaptureEntries"), "1");
        set(field("Capture.0.Type"), "Cron");
        set(field("Capture.0.DayOfWeek"), day);
        set(field("Capture.0.TimeOfDay"), time);
        set(field("Capture.0.Interval"), weeks);
        ++profiles_;
    }

    std::vector<Attribute> attributes;

private:
    std::string field(const std::string& suffix) const {
        return "Global.CallhomeDB.Profile." + std::to_string(profiles_) + "." + suffix;
    }

    unsigned profiles_ = 0;
};
