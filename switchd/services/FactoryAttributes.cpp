#include "switchd/services/FactoryAttributes.h"

#include "dsClient.h"
#include "switchd/store/AttributeStore.h"

namespace {

constexpr unsigned STRING = dsClient::TYPE_STRING;
constexpr unsigned INTEGER = dsClient::TYPE_INTEGER;

// In the order of the keys' bytes.
constexpr FactoryAttribute FACTORY[] = {
    {"Config.Mfg.ChassisSerialNum", STRING, "SW0000000001"},
    {"Config.Switch.AdminState", STRING, "Online"},
    {"Config.Switch.SymName", STRING, "switch"},
    {"Default.Mfg.AllowCallhome", STRING, "True"},
    {"Global.Callhome.DiscardPeriod", INTEGER, "86400"},
    {"Global.Callhome.EmailAddr", STRING, "<undefined>"},
    {"Global.Callhome.FileSystemSpaceAllowed", INTEGER, "5120000"},
    {"Global.Callhome.FilesAllowed", INTEGER, "100"},
    {"Global.Callhome.FromAddr", STRING, "<undefined>"},
    {"Global.Callhome.NF-SMTPAddr", STRING, "0-"},
    {"Global.Callhome.NF-SMTPAddr1", STRING, "0-"},
    {"Global.Callhome.PhoneNumber", STRING, "<undefined>"},
    {"Global.Callhome.ReplyToAddr", STRING, "<undefined>"},
    {"Global.Callhome.SMTPEnable", STRING, "False"},
    {"Global.Callhome.SMTPEnable1", STRING, "False"},
    {"Global.Callhome.SMTPGatewayEnable", STRING, "False"},
    {"Global.Callhome.SMTPPort", INTEGER, "25"},
    {"Global.Callhome.SMTPPort1", INTEGER, "25"},
    {"Global.Callhome.StreetAddr", STRING, "<undefined>"},
    {"Global.Callhome.ThrottleDupsEnable", STRING, "True"},
    {"Global.Callhome.ThrottleDupsPeriod", INTEGER, "15"},
    {"Global.CallhomeDB.NumberOfProfiles", INTEGER, "0"},
    {"Global.Network.DNSClientEnable", STRING, "False"},
    {"Global.Network.DNSLocalHostname", STRING, "3-switch"},
    {"Global.Network.Eth.0.IPv6IPAddress", STRING, ""},
    {"Global.Network.Eth.0.NF-IPAddress", STRING, "1-C0A80001"},
    {"Global.Services.CallhomeEnable", STRING, "False"},
    {"Global.Snmp.Contact", STRING, "<sysContact undefined>"},
    {"Global.Snmp.Location", STRING, "<sysLocation undefined>"},
    {"Global.Switch.WWN", STRING, "10:00:02:00:00:00:00:01"},
    {"Oper.Callhome.ActiveSMTPAddr", STRING, "00000000"},
    {"Oper.Callhome.ActiveSMTPPort", INTEGER, "25"},
    {"Oper.Callhome.MarkerData", STRING, ""},
    {"Oper.Callhome.NF-ActiveSMTPAddr", STRING, "0-"},
};

}  // namespace

std::span<const FactoryAttribute> factoryAttributes() {
    return FACTORY;
}

int seedFactoryAttributes(AttributeStore& store) {
    std::vector<Attribute> present;
    if (store.list("", present) < 0) {
        return -1;
    }
    if (!present.empty()) {
        return 0;
    }
    AttributeChange change;
    for (const FactoryAttribute& attribute : FACTORY) {
        change.set.push_back({attribute.key, attribute.type, attribute.value});
    }
    return store.apply(change);
}
