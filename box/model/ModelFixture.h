// A configured switch on the model, a clock, and mail servers that say what a test wants.
#pragma once

#include "box/model/Model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace model {

class ModelFixture : public testing::Test {
protected:
    // CallHome on, one IPv4 server, one profile "Ops" of level Alarm: what the daemon itself raises stays below it.
    static Attributes configured() {
        return {{"Default.Mfg.AllowCallhome", "True"},
                {"Global.Services.CallhomeEnable", "True"},
                {"Config.Switch.AdminState", "Online"},
                {"Config.Switch.SymName", "sw1"},
                {"Config.Mfg.ChassisSerialNum", "SN1"},
                {"Global.Switch.WWN", "10:00"},
                {"Global.Callhome.FromAddr", "sw@x.example"},
                {"Global.Callhome.ReplyToAddr", "<undefined>"},
                {"Global.Callhome.EmailAddr", "<undefined>"},
                {"Global.Callhome.PhoneNumber", "<undefined>"},
                {"Global.Callhome.StreetAddr", "<undefined>"},
                {"Global.Snmp.Contact", "<sysContact undefined>"},
                {"Global.Snmp.Location", "<sysLocation undefined>"},
                {"Global.Network.Eth.0.NF-IPAddress", "1-C0A80001"},
                {"Global.Network.Eth.0.IPv6IPAddress", ""},
                {"Global.Network.DNSLocalHostname", "3-switch"},
                {"Global.Network.DNSClientEnable", "False"},
                {"Global.Callhome.SMTPGatewayEnable", "False"},
                {"Global.Callhome.NF-SMTPAddr", "1-192.0.2.1"},
                {"Global.Callhome.SMTPPort", "25"},
                {"Global.Callhome.SMTPEnable", "True"},
                {"Global.Callhome.NF-SMTPAddr1", "0-"},
                {"Global.Callhome.SMTPPort1", "25"},
                {"Global.Callhome.SMTPEnable1", "False"},
                {"Global.Callhome.ThrottleDupsEnable", "True"},
                {"Global.Callhome.ThrottleDupsPeriod", "15"},
                {"Global.Callhome.DiscardPeriod", "86400"},
                {"Global.Callhome.FileSystemSpaceAllowed", "5120000"},
                {"Global.Callhome.FilesAllowed", "100"},
                {"Global.CallhomeDB.NumberOfProfiles", "1"},
                {"Global.CallhomeDB.ProfileList.0", "Ops"},
                {"Global.CallhomeDB.Profile.0.Level", "Alarm"},
                {"Global.CallhomeDB.Profile.0.Format", "FullText"},
                {"Global.CallhomeDB.Profile.0.MaxSize", "2000000"},
                {"Global.CallhomeDB.Profile.0.EmailSubject", "lab"},
                {"Global.CallhomeDB.Profile.0.NumberOfEmails", "1"},
                {"Global.CallhomeDB.Profile.0.EmailList.0", "a@x.example"},
                {"Global.CallhomeDB.Profile.0.CaptureEnable", "False"},
                {"Global.CallhomeDB.Profile.0.CaptureEntries", "0"}};
    }

    void set(const std::string& key, const std::string& value) { model_.setAttribute(key, value); }
    void addSecondServer() {
        set("Global.Callhome.NF-SMTPAddr1", "1-192.0.2.2");
        set("Global.Callhome.SMTPEnable1", "True");
    }
    void setRecipients(const std::vector<std::string>& addresses) {
        set("Global.CallhomeDB.Profile.0.NumberOfEmails", std::to_string(addresses.size()));
        for (std::size_t at = 0; at < addresses.size(); ++at) {
            set("Global.CallhomeDB.Profile.0.EmailList." + std::to_string(at), addresses[at]);
        }
    }
    // The daemon runs and its queue is open; what it told until then is forgotten.
    void run() {
        model_.start(now_);
        tick();
        forget();
    }
    void forget() {
        model_.takeLog();
        model_.takeResponses();
        model_.takeWrites();
    }
    void tick(unsigned times = 1) {
        for (; times > 0; --times) {
            ++now_.uptime;
            ++now_.seconds;
            model_.tick(now_);
        }
    }

    static Sw_Log_Type record(const std::string& text, int kind = 0) {
        Sw_Log_Type record;
        record.kind = kind;
        record.number = 0x00010002;
        record.seconds = 1700000000;
        record.microseconds = 123456;
        record.text = text;
        return record;
    }
    void event(const std::string& text, int kind = 0) { model_.event(now_, record(text, kind)); }

    // Plays the dialogue under way: the server takes everything but what reply has other words for. What was said.
    using Replies = std::function<std::string(const std::string& said)>;
    std::string play(const Replies& reply = [](const std::string&) { return ""; }) {
        std::string said;
        if (model_.wire().kind == WireStep::kConnect) {
            model_.connected(now_);
        }
        bool quit = false;
        while (!quit && model_.wire().kind == WireStep::kSpeak) {
            const std::string bytes = model_.wire().bytes;
            quit = bytes == "QUIT\r\n";
            said += bytes;
            const std::string words = reply(bytes);
            words == "closed" ? model_.closed(now_) : model_.replied(now_, words.empty() ? "250 ok\r\n" : words);
        }
        return said;
    }
    // Refuses recipients: words by address.
    static Replies recipients(const std::map<std::string, std::string>& words) {
        return [words](const std::string& said) {
            for (const auto& [address, reply] : words) {
                if (said == "RCPT TO:<" + address + ">\r\n") {
                    return reply;
                }
            }
            return std::string();
        };
    }
    void failToConnect() { model_.connectFailed(now_, "Connect Error", "Connection refused"); }

    std::vector<std::string> told() {
        std::vector<std::string> texts;
        for (const LogEntry& entry : model_.takeLog()) {
            texts.push_back(entry.text);
        }
        return texts;
    }
    std::string file(const std::string& name) const {
        const std::string* const bytes = model_.flash().read("/ostrel/conf/orv/callHome/queues/" + name);
        return bytes == nullptr ? "none" : *bytes;
    }
    std::vector<std::uint32_t> order(const std::string& list) const {
        const std::string bytes = file(list + "/order");
        std::vector<std::uint32_t> words(bytes.size() / 4);
        std::memcpy(words.data(), bytes.data(), 4 * words.size());
        return words;
    }
    std::size_t entries(List list) const { return model_.queue()->list(list).size(); }

    Now now_{.uptime = 100, .seconds = 1700000000, .microseconds = 0};
    Model model_{configured()};
};

}  // namespace model
