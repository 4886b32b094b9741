#include "box/StateFields.h"

#include "box/World.h"

#include <gmock/gmock.h>

#include <map>
#include <set>
#include <string>

using testing::ElementsAre;
using testing::Pair;

namespace {

struct Collections {
    std::set<std::string> names;
    std::map<std::string, std::uint64_t> counts;
    std::vector<std::string> lines;

    static void fields(auto& io, auto& all) {
        box::texts(io, all.names);
        box::items(io, all.counts, [](auto& each, auto& count) {
            each.text32(count.first);
            each(count.second);
        });
        box::texts(io, all.lines);
    }
};

}  // namespace

TEST(StateFields, bringsCollectionsAcrossInPlaceOfWhatWasThere) {
    const auto bytes = encodeFields(Collections{{"b", "a"}, {{"one", 1}, {"many", 1ull << 40}}, {"y", "x"}});
    Collections known{{"old"}, {{"old", 7}}, {"old"}};
    FieldReader reader(bytes);

    Collections::fields(reader, known);

    EXPECT_TRUE(reader.done());
    EXPECT_THAT(known.names, ElementsAre("a", "b"));
    EXPECT_THAT(known.counts, ElementsAre(Pair("many", 1ull << 40), Pair("one", 1)));
    EXPECT_THAT(known.lines, ElementsAre("y", "x"));
}

TEST(StateFields, readsNoMoreItemsThanThereAre) {
    const std::vector<std::uint8_t> bytes{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1, 'a'};
    FieldReader reader(bytes);
    std::vector<std::string> lines;

    box::texts(reader, lines);

    EXPECT_FALSE(reader.ok());
    EXPECT_THAT(lines, ElementsAre("a", ""));
}

// Whoever adds something to the world and forgets to hand it on finds the next life without it.
TEST(StateFields, aWorldGoesFromLifeToLifeWhole) {
    box::World world(7);
    world.set("Global.Callhome.FromAddr", "switch@example.com");
    world.now = 3'000'000'000'000;
    world.chance = 11;
    world.networkChance = 12;
    world.lives = 2;
    world.troubles = 3;
    world.failedCalls = 4;
    world.failedAllocations = 5;
    world.kills = 6;
    world.calls = 1ull << 33;
    world.mails = 8;
    world.entries = 9;
    world.timeline.take("something");
    world.log = {{0, 1, 2, 3, 4, 5, "orvApp", "a text"}};
    world.servers = {{"primary", "10.0.0.1", 2525, {1, 2, 3, 4, 5, 6, 7}}};
    FieldWriter out;
    box::World::fields(out, world);
    const auto bytes = out.take();

    box::World next(8);
    FieldReader in(bytes);
    box::World::fields(in, next);
    FieldWriter again;
    box::World::fields(again, next);

    EXPECT_TRUE(in.done());
    EXPECT_EQ(again.take(), bytes);
    EXPECT_EQ(next.now, world.now);
    EXPECT_EQ(next.kills, 6u);
    EXPECT_EQ(next.timeline.digest(), world.timeline.digest());
    EXPECT_EQ(next.attributes, world.attributes);
    EXPECT_EQ(next.log, world.log);
    ASSERT_EQ(next.servers.size(), 1u);
    EXPECT_EQ(next.servers[0].port, 2525);
    EXPECT_EQ(next.servers[0].manner.splits, 7u);
}
