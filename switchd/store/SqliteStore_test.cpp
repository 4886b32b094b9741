#include "switchd/store/SqliteStore.h"
#include "testing/switchd/StoreContract.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

class TempDirectory {
public:
    TempDirectory() {
        std::string pattern = ::testing::TempDir() + "/switch-store-XXXXXX";
        path_ = mkdtemp(pattern.data());
    }
    ~TempDirectory() { std::filesystem::remove_all(path_); }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    std::string file(const char* name = "switch.db") const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

class SqliteStoreUnderTest final : public StoreUnderTest {
public:
    explicit SqliteStoreUnderTest(std::size_t logCapacity) {
        std::string reason;
        store_ = SqliteStore::open(directory_.file(), reason, logCapacity);
        EXPECT_NE(store_, nullptr) << reason;
    }
    AttributeStore& attributes() override { return *store_; }
    EventLogStore& log() override { return *store_; }

private:
    TempDirectory directory_;
    std::unique_ptr<SqliteStore> store_;
};

std::unique_ptr<StoreUnderTest> makeSqliteStore(std::size_t logCapacity) {
    return std::make_unique<SqliteStoreUnderTest>(logCapacity);
}

void writeFile(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

std::string readFile(const std::string& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

std::string reasonForRefusing(const std::string& file) {
    std::string reason;
    EXPECT_EQ(SqliteStore::open(file, reason), nullptr);
    return reason;
}

std::unique_ptr<SqliteStore> opened(const std::string& file) {
    std::string reason;
    std::unique_ptr<SqliteStore> store = SqliteStore::open(file, reason);
    EXPECT_NE(store, nullptr) << reason;
    return store;
}

void runSql(const std::string& file, const char* sql) {
    SqliteDatabase database;
    ASSERT_EQ(database.open(file), 0);
    ASSERT_EQ(database.execute(sql), 0) << database.error();
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Sqlite, StoreContract, ::testing::Values(StoreKind{"Sqlite", makeSqliteStore}));

TEST(SqliteStore, keepsAttributesAndLogOverAReopening) {
    TempDirectory directory;
    {
        const std::unique_ptr<SqliteStore> store = opened(directory.file());
        ASSERT_EQ(store->set("Key", 2, "value"), 0);
        LogEntry entry;
        entry.text = "kept";
        ASSERT_EQ(store->append(entry), 0);
    }

    const std::unique_ptr<SqliteStore> again = opened(directory.file());
    Attribute attribute;
    std::vector<LogEntry> entries;
    ASSERT_EQ(again->get("Key", attribute), StoreStatus::OK);
    ASSERT_EQ(again->readSince(0, 10, entries), 0);

    EXPECT_EQ(attribute, (Attribute{"Key", 2, "value"}));
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].text, "kept");
}

TEST(SqliteStore, countsLogEntriesOnOverAReopening) {
    TempDirectory directory;
    LogEntry entry;
    ASSERT_EQ(opened(directory.file())->append(entry), 0);

    ASSERT_EQ(opened(directory.file())->append(entry), 0);

    EXPECT_EQ(entry.id, 2u);
}

TEST(SqliteStore, keepsWhatWasSetWhenItsProcessIsKilled) {
    TempDirectory directory;
    const pid_t child = fork();
    if (child == 0) {
        std::string reason;
        const std::unique_ptr<SqliteStore> store = SqliteStore::open(directory.file(), reason);
        const bool done = store != nullptr && store->set("Key", 1, "kept") == 0;
        kill(getpid(), done ? SIGKILL : SIGTERM);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(WTERMSIG(status), SIGKILL);

    Attribute attribute;
    ASSERT_EQ(opened(directory.file())->get("Key", attribute), StoreStatus::OK);

    EXPECT_EQ(attribute.value, "kept");
}

TEST(SqliteStore, usesAWriteAheadLog) {
    TempDirectory directory;
    const std::unique_ptr<SqliteStore> store = opened(directory.file());

    ASSERT_EQ(store->set("Key", 1, "value"), 0);

    EXPECT_TRUE(std::filesystem::exists(directory.file("switch.db-wal")));
}

TEST(SqliteStore, reportsAFileThatIsNoDatabaseAndLeavesItAlone) {
    TempDirectory directory;
    const std::string garbage(5000, 'g');
    writeFile(directory.file(), garbage);

    EXPECT_EQ(reasonForRefusing(directory.file()), directory.file() + ": file is not a database");

    EXPECT_EQ(readFile(directory.file()), garbage);
}

TEST(SqliteStore, reportsAForeignDatabaseAndLeavesItAlone) {
    TempDirectory directory;
    runSql(directory.file(), "CREATE TABLE mine (x)");
    const std::string before = readFile(directory.file());

    EXPECT_EQ(reasonForRefusing(directory.file()), directory.file() + ": is a database, but not a switch's store");

    EXPECT_EQ(readFile(directory.file()), before);
}

TEST(SqliteStore, reportsALayoutThatItDoesNotKnow) {
    TempDirectory directory;
    opened(directory.file());
    runSql(directory.file(), "PRAGMA user_version = 2");

    EXPECT_EQ(reasonForRefusing(directory.file()), directory.file() + ": has layout 2, this program knows layout 1");
}

TEST(SqliteStore, reportsADamagedFileAndLeavesItAlone) {
    TempDirectory directory;
    {
        const std::unique_ptr<SqliteStore> store = opened(directory.file());
        for (int number = 0; number < 200; ++number) {
            ASSERT_EQ(store->set("Key." + std::to_string(number), 1, std::string(300, 'v')), 0);
        }
    }
    std::string bytes = readFile(directory.file());
    ASSERT_GT(bytes.size(), 5u * 4096);
    std::fill(bytes.begin() + 4 * 4096, bytes.begin() + 5 * 4096, '\xEE');
    writeFile(directory.file(), bytes);

    EXPECT_THAT(reasonForRefusing(directory.file()), StartsWith(directory.file() + ": "));

    EXPECT_EQ(readFile(directory.file()), bytes);
}

TEST(SqliteStore, opensOrReportsAFileCutAtAnyLengthAndNeverChangesWhatItReports) {
    TempDirectory directory;
    ASSERT_EQ(opened(directory.file())->set("Key", 1, "value"), 0);
    const std::string whole = readFile(directory.file());

    for (std::size_t length = 0; length < whole.size(); length += 509) {
        const std::string cut = directory.file("cut.db");
        writeFile(cut, whole.substr(0, length));
        std::string reason;
        const std::unique_ptr<SqliteStore> store = SqliteStore::open(cut, reason);
        if (store == nullptr) {
            EXPECT_THAT(reason, StartsWith(cut + ": ")) << length;
            EXPECT_EQ(readFile(cut), whole.substr(0, length)) << length;
        } else if (length > 0) {
            Attribute attribute;
            EXPECT_EQ(store->get("Key", attribute), StoreStatus::OK) << "opened although cut at " << length;
            EXPECT_EQ(attribute.value, "value");
        }
        std::filesystem::remove(cut);
    }
}

TEST(SqliteStore, reportsAPlaceWhereNoFileCanBe) {
    TempDirectory directory;

    EXPECT_EQ(reasonForRefusing(directory.path()), directory.path() + ": unable to open database file");
    EXPECT_EQ(reasonForRefusing(directory.file("no/such/switch.db")),
              directory.file("no/such/switch.db") + ": unable to open database file");
}

TEST(SqliteStore, reportsAFileThatItMayNotWrite) {
    TempDirectory directory;
    opened(directory.file());
    ASSERT_EQ(chmod(directory.file().c_str(), 0444), 0);
    ASSERT_EQ(chmod(directory.path().c_str(), 0555), 0);
    const uid_t user = geteuid();
    if (user == 0) {
        ASSERT_EQ(seteuid(65534), 0);  // file modes do not bind root
    }

    const std::string reason = reasonForRefusing(directory.file());

    ASSERT_EQ(seteuid(user), 0);
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
    EXPECT_EQ(reason, directory.file() + ": is not writable");
}

TEST(SqliteStore, changesNothingWhenTheDatabaseRefusesOneOfSeveral) {
    TempDirectory directory;
    const std::unique_ptr<SqliteStore> store = opened(directory.file());
    ASSERT_EQ(store->set("Key", 1, "before"), 0);
    runSql(directory.file(),
           "CREATE TRIGGER refuse BEFORE INSERT ON attribute BEGIN SELECT RAISE(ABORT, 'no more rows');"
           " END");
    AttributeChange change;
    change.unset = {"Key"};
    change.set = {{"Other", 1, "x"}};

    EXPECT_EQ(store->apply(change), -1);

    EXPECT_THAT(store->reason(), HasSubstr("no more rows"));
    Attribute attribute;
    EXPECT_EQ(store->get("Key", attribute), StoreStatus::OK);
}

TEST(SqliteStore, tellsTheSameSeriesWhenItIsOpenedAgain) {
    TempDirectory directory;
    LogSeries before;
    LogSeries after;
    {
        const std::unique_ptr<SqliteStore> store = opened(directory.file());
        for (const char* text : {"failed", "tried", "failed"}) {
            LogEntry entry{0, 1, 2, 3, 4, 0, "orvApp", text};
            ASSERT_EQ(store->append(entry), 0);
        }
        ASSERT_EQ(store->readSeries({}, 1000, before), 0);
    }
    ASSERT_EQ(opened(directory.file())->readSeries({}, 1000, after), 0);

    EXPECT_EQ(after.texts, before.texts);
    EXPECT_EQ(after.entries, before.entries);
    EXPECT_EQ(after.last, 3u);
    EXPECT_EQ(after.texts.size(), 2u);
}

TEST(SqliteStore, tellsASeriesOfMoreTextsThanItLooksForOneByOne) {
    TempDirectory directory;
    const std::unique_ptr<SqliteStore> store = opened(directory.file());
    constexpr std::size_t TEXTS = 2100;
    for (std::size_t number = 0; number < TEXTS; ++number) {
        LogEntry entry{0, 1, 2, 3, 4, 0, "orvApp", std::to_string(number)};
        ASSERT_EQ(store->append(entry), 0);
    }
    LogSeries series;

    ASSERT_EQ(store->readSeries({}, 1000000, series), 0);

    EXPECT_EQ(series.texts.size(), TEXTS);
    EXPECT_EQ(series.entries.size(), TEXTS);
}

TEST(SqliteStore, tellsASeriesOfWhatIsThereWhenSomebodyElseTookEntriesAway) {
    TempDirectory directory;
    const std::unique_ptr<SqliteStore> store = opened(directory.file());
    for (const char* text : {"failed", "tried", "failed"}) {
        LogEntry entry{0, 1, 2, 3, 4, 0, "orvApp", text};
        ASSERT_EQ(store->append(entry), 0);
    }
    runSql(directory.file(), "DELETE FROM event WHERE id = 1");
    LogSeries series;

    ASSERT_EQ(store->readSeries({}, 1000, series), 0);

    EXPECT_EQ(series.texts.size(), 2u);
    EXPECT_EQ(series.entries.size(), 2u);
}

TEST(SqliteStore, reportsFailingReads) {
    TempDirectory directory;
    const std::unique_ptr<SqliteStore> store = opened(directory.file());
    LogEntry logged;
    ASSERT_EQ(store->append(logged), 0);
    runSql(directory.file(), "DROP TABLE attribute");
    runSql(directory.file(), "DROP TABLE event");
    Attribute attribute;
    std::vector<Attribute> attributes;
    std::vector<LogEntry> entries;
    LogEntry entry;

    EXPECT_EQ(store->get("Key", attribute), StoreStatus::FAILED);
    EXPECT_EQ(store->reason(), directory.file() + ": no such table: attribute");
    EXPECT_EQ(store->list("", attributes), -1);
    EXPECT_EQ(store->set("Key", 1, "value"), -1);
    EXPECT_EQ(store->readSince(0, 10, entries), -1);
    LogSeries series;
    EXPECT_EQ(store->readSeries({}, 1000, series), -1);
    EXPECT_EQ(store->append(entry), -1);
    EXPECT_EQ(store->reason(), directory.file() + ": no such table: event");
}
