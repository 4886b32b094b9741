#include "switchd/services/FactoryAttributes.h"

#include "switchd/store/MemoryStore.h"

#include <gmock/gmock.h>

#include <algorithm>

using ::testing::SizeIs;

namespace {

std::vector<Attribute> all(AttributeStore& store) {
    std::vector<Attribute> attributes;
    EXPECT_EQ(store.list("", attributes), 0);
    return attributes;
}

std::string value(AttributeStore& store, const char* key) {
    Attribute attribute;
    return store.get(key, attribute) == StoreStatus::OK ? attribute.value : "<missing>";
}

}  // namespace

TEST(FactoryAttributes, fillAnEmptyStore) {
    MemoryStore store;

    ASSERT_EQ(seedFactoryAttributes(store), 0);

    EXPECT_THAT(all(store), SizeIs(factoryAttributes().size()));
    for (const FactoryAttribute& attribute : factoryAttributes()) {
        EXPECT_EQ(value(store, attribute.key), attribute.value) << attribute.key;
    }
}

TEST(FactoryAttributes, leaveAStoreAloneThatHoldsAnything) {
    MemoryStore store;
    ASSERT_EQ(store.set("Global.Services.CallhomeEnable", 1, "True"), 0);

    ASSERT_EQ(seedFactoryAttributes(store), 0);

    EXPECT_THAT(all(store), SizeIs(1));
    EXPECT_EQ(value(store, "Global.Services.CallhomeEnable"), "True");
}

TEST(FactoryAttributes, keepCallHomeOffAndUnconfigured) {
    MemoryStore store;
    ASSERT_EQ(seedFactoryAttributes(store), 0);

    const std::pair<const char*, const char*> expected[] = {
        {"Default.Mfg.AllowCallhome", "True"},
        {"Global.Services.CallhomeEnable", "False"},
        {"Global.Callhome.NF-SMTPAddr", "0-"},
        {"Global.Callhome.NF-SMTPAddr1", "0-"},
        {"Global.Callhome.SMTPPort", "25"},
        {"Global.Callhome.SMTPPort1", "25"},
        {"Global.Callhome.SMTPEnable", "False"},
        {"Global.Callhome.SMTPEnable1", "False"},
        {"Global.Callhome.FromAddr", "<undefined>"},
        {"Global.Callhome.ReplyToAddr", "<undefined>"},
        {"Global.Snmp.Contact", "<sysContact undefined>"},
        {"Global.Snmp.Location", "<sysLocation undefined>"},
        {"Global.CallhomeDB.NumberOfProfiles", "0"},
        {"Config.Switch.AdminState", "Online"},
        {"Global.Network.DNSLocalHostname", "3-switch"},
    };
    for (const auto& [key, text] : expected) {
        EXPECT_EQ(value(store, key), text) << key;
    }
}

TEST(FactoryAttributes, agreeWithTheQuotasOfTheMessageQueue) {
    MemoryStore store;
    ASSERT_EQ(seedFactoryAttributes(store), 0);

    EXPECT_EQ(value(store, "Global.Callhome.ThrottleDupsEnable"), "True");
    EXPECT_EQ(value(store, "Global.Callhome.ThrottleDupsPeriod"), "15");
    EXPECT_EQ(value(store, "Global.Callhome.DiscardPeriod"), "86400");
    EXPECT_EQ(value(store, "Global.Callhome.FileSystemSpaceAllowed"), "5120000");
    EXPECT_EQ(value(store, "Global.Callhome.FilesAllowed"), "100");
}

TEST(FactoryAttributes, standInTheOrderOfTheirKeys) {
    EXPECT_TRUE(std::ranges::is_sorted(factoryAttributes(), {},
                                       [](const FactoryAttribute& each) { return std::string(each.key); }));
}
