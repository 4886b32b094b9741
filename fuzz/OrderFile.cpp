// A queue's order file, the state block behind a message, and the listing of a queue's directory. The first byte says
// which of them the others are, or what order to write.
#include "base/OrvNumber.h"
#include "fuzz/Stage.h"
#include "fuzz/Target.h"
#include "mesgq/OrvCHQueueFiles.h"
#include "mesgq/OrvCHQueueListing.h"
#include "word_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <iterator>

namespace orv_fuzz {

namespace {

constexpr char kPath[] = "/ostrel/conf/orv/callHome/queues/send/order";
constexpr std::size_t kWord = 4;

OrvFilePtr streamOf(const std::string& bytes) {
    OrvFilePtr file(std::tmpfile());
    if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
        std::perror("a file for the fuzzer");
        std::exit(1);
    }
    std::rewind(file.get());
    return file;
}

// The bytes behind the count, as the restore goes on to read them.
std::string restOf(std::FILE& file) {
    std::string rest;
    char piece[4096];
    for (std::size_t got = 0; (got = std::fread(piece, 1, sizeof piece, &file)) > 0;) {
        rest.append(piece, got);
    }
    return rest;
}

void readOrder(Bytes data) {
    std::remove(Stage::get().root().at(kPath).c_str());  // some file systems make a truncated file wait for the disk
    Stage::get().root().write(kPath, textOf(data));
    std::uint32_t count = 0;
    std::size_t length = SIZE_MAX;
    OrvFilePtr file = orvOpenOrderFile(kPath, count, length);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(length, std::min(data.size(), kWord));
    std::array<std::uint8_t, kWord> word{};
    std::copy_n(data.begin(), length, word.begin());
    EXPECT_EQ(count, native32(word));
    EXPECT_EQ(restOf(*file), textOf(data.subspan(length)));
    orvCloseOrderFile(std::move(file), kPath);
}

// What stands in the order file's place before it is written, and whether the queue can put its own there.
enum class Place : std::uint8_t {
    kFile,
    kNothing,
    kHalfOfANewOne,
    kLink,
    kSecondName,
    kDirectory,
    kDirectoryOfNewOnes
};

bool prepare(Place place) {
    namespace fs = std::filesystem;
    const fs::path path = Stage::get().root().at(kPath);
    const fs::path newPath = path.string() + ".new";
    const fs::path other = path.string() + ".other";
    for (const fs::path& each : {path, newPath, other}) {
        fs::remove_all(each);
    }
    switch (place) {
        case Place::kNothing:
            return true;
        case Place::kHalfOfANewOne:
            Stage::get().root().write(std::string(kPath) + ".new", "half");
            return true;
        case Place::kLink:
            fs::create_symlink("order.other", path);
            return false;
        case Place::kSecondName:
            Stage::get().root().write(std::string(kPath) + ".other", "foreign");
            fs::create_hard_link(other, path);
            return false;
        case Place::kDirectory:
            fs::create_directory(path);
            return false;
        case Place::kDirectoryOfNewOnes:
            fs::create_directory(newPath);
            return false;
        default:
            Stage::get().root().write(kPath, std::string(2000, 'x'));
            return true;
    }
}

// The first byte is the place. Every other one is an entry: its number, and whether it is a test, which has a zero at
// the end.
void writeOrder(Bytes data) {
    const Place place{static_cast<std::uint8_t>(data.empty() ? 0 : data[0] % 7)};
    const bool possible = prepare(place);
    data = data.subspan(std::min<std::size_t>(1, data.size()));
    constexpr std::uint8_t kFirstTest = 0xC0;
    OrvCHMesgQQueue queue(ORV_CH_MESG_Q_SEND);
    std::vector<std::uint32_t> expected;
    for (const std::uint8_t byte : data) {
        auto entry = std::make_unique<OrvCHMesgQEntry>();
        entry->uniqueId = byte;
        entry->posting.testMsg = byte >= kFirstTest;
        entry->message = std::make_unique<OrvCHMesg>();
        queue.append(std::move(entry));
        if (byte < kFirstTest) {
            expected.push_back(byte);
        }
    }
    updateOrderFile(queue);
    std::uint32_t count = 0;
    std::size_t length = 0;
    const OrvFilePtr file = orvOpenOrderFile(kPath, count, length);
    ASSERT_EQ(file != nullptr, possible);
    if (!possible) {
        EXPECT_FALSE(Stage::get().takeSent().empty()) << "the event log has not been told";
        static_cast<void>(prepare(Place::kNothing));
        return;
    }
    EXPECT_EQ(count, expected.size());
    expected.resize(data.size(), 0);
    const std::string rest = restOf(*file);
    ASSERT_EQ(rest.size(), expected.size() * kWord);
    EXPECT_TRUE(data.empty() || std::memcmp(rest.data(), expected.data(), rest.size()) == 0);
}

// Kept: the block as it is written is never recognised. One without line feeds is, and its numbers hold to their
// limits.
void readState(Bytes data) {
    const OrvCHQueueState state = orvReadState(*streamOf(textOf(data)));
    EXPECT_LE(state.markedForDeletion, kOrvMarkedForTime);
    OrvCHMesgQEntry entry;
    entry.duplicatesPending = state.duplicatesPending;
    entry.markedForDeletion = state.markedForDeletion;
    entry.posting = {false, state.persist, state.persistRepostPeriod, state.expire};
    const OrvCHQueueState again = orvReadState(*streamOf(orvStateText(entry)));
    const OrvCHQueueState defaults;
    EXPECT_EQ(again.duplicatesPending, defaults.duplicatesPending);
    EXPECT_EQ(again.persist, defaults.persist);
    EXPECT_EQ(again.persistRepostPeriod, defaults.persistRepostPeriod);
    EXPECT_EQ(again.markedForDeletion, defaults.markedForDeletion);
    EXPECT_EQ(again.expire, defaults.expire);
}

// No byte is read twice, and none is left out; a number that stands in a name is the file's own.
void readListing(Bytes data) {
    const OrvFilePtr file = streamOf(textOf(data));
    char line[kOrvListLine];
    std::size_t lines = 0;
    while (orvNextListed(*file, line) != nullptr) {
        ASSERT_LT(std::strlen(line), sizeof line);
        ASSERT_LE(++lines, data.size());
        const std::string name(line);
        const OrvUnsignedNumber number = orvToUnsigned(name.substr(std::min<std::size_t>(1, name.size())));
        if (number.complete && !number.outOfRange && name[0] == 'm' && name[1] >= '1' && name[1] <= '9') {
            EXPECT_EQ("m" + std::to_string(number.value), name);
        }
    }
    EXPECT_NE(std::feof(file.get()), 0);
}

void run(Bytes data) {
    constexpr void (*kReaders[])(Bytes) = {readOrder, writeOrder, readState, readListing};
    Stage& stage = Stage::get();
    if (!data.empty()) {
        kReaders[data[0] % std::size(kReaders)](data.subspan(1));
        stage.takeSent();
    }
}

std::string orderFile(std::initializer_list<std::uint32_t> words, bool bigEndian) {
    std::string bytes(1, '\0');
    for (const std::uint32_t word : words) {
        for (unsigned i = 0; i < kWord; ++i) {
            bytes += static_cast<char>(word >> 8 * (bigEndian ? 3 - i : i));
        }
    }
    return bytes;
}

// A NUL before each line feed makes the tags what they are compared with.
std::string seenBlock(const std::string& block) {
    std::string seen;
    for (const char each : block) {
        seen.append(each == '\n' ? 1 : 0, '\0').push_back(each);
    }
    return seen;
}

std::vector<Seed> seeds() {
    OrvCHMesgQEntry entry;
    entry.duplicatesPending = 3;
    entry.posting = {false, true, 3600, 12};
    entry.markedForDeletion = kOrvMarkedForSpace;
    const std::string block = orvStateText(entry);
    return {{"order_big_endian", orderFile({3, 7, 8, 0x01020304}, true)},
            {"order_little_endian", orderFile({3, 7, 8, 0x01020304}, false)},
            {"order_many_big_endian", orderFile({0xFFFFFFFF, 1}, true)},
            {"order_cut_in_its_count", orderFile({2, 1}, true).substr(0, 3)},
            {"order_empty", std::string(1, '\0')},
            {"written", std::string("\1\0\5\6\7\xC1\4", 7)},
            {"written_first", std::string("\1\1\5\6\7\xC1\4", 7)},
            {"written_after_a_kill", "\1\2\5"},
            {"written_to_a_link", "\1\3\5"},
            {"written_to_a_second_name", "\1\4\5"},
            {"written_to_a_directory", "\1\5\5"},
            {"written_beside_a_directory", "\1\6\5"},
            {"state", '\2' + block},
            {"state_without_line_feeds", '\2' + seenBlock(block)},
            {"listing", "\3m12\nm7\nm4294967295\nm42949672950\nm-1\nmx\n"}};
}

}  // namespace

const Target kOrderFile{"order_file", run, seeds};

}  // namespace orv_fuzz
