#include "switchctl/input/CallhomeSetup.h"

#include "dsClient.h"
#include "switchctl/input/MailServer.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Rules.h"

namespace {

constexpr std::uint32_t STRING = dsClient::TYPE_STRING;
constexpr std::uint32_t INTEGER = dsClient::TYPE_INTEGER;
constexpr const char* OFF = "off";

using Check = void (*)(const std::string& option, const std::string& text);

struct TextSetting {
    std::optional<std::string> CallhomeSettings::*member;
    const char* option;
    const char* key;
    Check check;
};

constexpr TextSetting TEXTS[] = {
    {&CallhomeSettings::from, "--from", "Global.Callhome.FromAddr", Rules::sender},
    {&CallhomeSettings::replyTo, "--reply-to", "Global.Callhome.ReplyToAddr", Rules::sender},
    {&CallhomeSettings::contact, "--contact", "Global.Snmp.Contact", Rules::identity},
    {&CallhomeSettings::contactEmail, "--contact-email", "Global.Callhome.EmailAddr", Rules::sender},
    {&CallhomeSettings::phone, "--phone", "Global.Callhome.PhoneNumber", Rules::identity},
    {&CallhomeSettings::street, "--street", "Global.Callhome.StreetAddr", Rules::identity},
    {&CallhomeSettings::location, "--location", "Global.Snmp.Location", Rules::identity},
};

// The second server's keys end in 1.
void addServer(const std::optional<std::string>& text, const std::string& suffix, std::vector<Attribute>& attributes) {
    if (!text) {
        return;
    }
    if (*text != OFF) {
        const MailServer server = MailServer::parse(*text);
        attributes.push_back({"Global.Callhome.NF-SMTPAddr" + suffix, STRING, server.value});
        attributes.push_back({"Global.Callhome.SMTPPort" + suffix, INTEGER, std::to_string(server.port)});
    }
    attributes.push_back({"Global.Callhome.SMTPEnable" + suffix, STRING, *text == OFF ? "False" : "True"});
}

}  // namespace

std::vector<Attribute> CallhomeSettings::attributes() const {
    std::vector<Attribute> result;
    for (const TextSetting& setting : TEXTS) {
        const auto& value = this->*setting.member;
        if (value) {
            setting.check(setting.option, *value);
            result.push_back({setting.key, STRING, *value});
        }
    }
    addServer(smtp, "", result);
    addServer(smtp2, "1", result);
    if (enable || disable) {
        result.push_back({"Global.Services.CallhomeEnable", STRING, enable ? "True" : "False"});
    }
    if (result.empty()) {
        throw UsageError("there is nothing to set; name at least one option");
    }
    return result;
}
