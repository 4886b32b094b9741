#include "switchd/store/SqliteStore.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace {

// Marks a database file as a switch's store ("SWST").
constexpr std::int64_t APPLICATION_ID = 0x53575354;
constexpr std::int64_t SCHEMA_VERSION = 1;

// AUTOINCREMENT: a number is never given twice, even when the log has been emptied.
constexpr const char* CREATE =
    "BEGIN IMMEDIATE;"
    "PRAGMA application_id = 1398231892;"
    "PRAGMA user_version = 1;"
    "CREATE TABLE attribute (key BLOB PRIMARY KEY NOT NULL, type INTEGER NOT NULL, value BLOB NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE event (id INTEGER PRIMARY KEY AUTOINCREMENT, seconds INTEGER NOT NULL, microseconds INTEGER NOT NULL,"
    " level INTEGER NOT NULL, number INTEGER NOT NULL, flags INTEGER NOT NULL, component BLOB NOT NULL,"
    " text BLOB NOT NULL);"
    "COMMIT;";
constexpr const char* FIELDS = "SELECT id, seconds, microseconds, level, number, flags, component, text FROM event";
constexpr const char* BETWEEN = " WHERE id > ?1 AND id < ?2 AND level <= ?3";
// A log that says more different things than that is read through; each of them alone costs a look for it.
constexpr std::ptrdiff_t MANY = 2000;
static_assert(APPLICATION_ID == 1398231892);

int readNumber(SqliteDatabase& database, const char* sql, std::int64_t& number) {
    SqliteStatement statement(database);
    if (statement.prepare(sql) < 0 || statement.step() != SqliteStatement::Step::ROW) {
        return -1;
    }
    number = statement.number(0);
    return 0;
}

LogEntry entryOf(SqliteStatement& row) {
    LogEntry entry;
    entry.id = static_cast<std::uint64_t>(row.number(0));
    entry.seconds = row.number(1);
    entry.microseconds = static_cast<std::int32_t>(row.number(2));
    entry.level = static_cast<std::int32_t>(row.number(3));
    entry.number = static_cast<std::uint32_t>(row.number(4));
    entry.flags = static_cast<std::uint32_t>(row.number(5));
    entry.component = row.bytes(6);
    entry.text = row.bytes(7);
    return entry;
}

Attribute attributeOf(SqliteStatement& row) {
    return Attribute{row.bytes(0), static_cast<std::uint32_t>(row.number(1)), row.bytes(2)};
}

// Collects rows until there are no more; resets the statement. 0, or -1 (rows unchanged).
template <typename Row, typename Convert>
int collect(SqliteStatement& statement, std::vector<Row>& rows, Convert convert) {
    std::vector<Row> result;
    SqliteStatement::Step step = statement.step();
    for (; step == SqliteStatement::Step::ROW; step = statement.step()) {
        result.push_back(convert(statement));
    }
    statement.reset();
    if (step == SqliteStatement::Step::FAILED) {
        return -1;
    }
    rows = std::move(result);
    return 0;
}

// Only what is selected is copied: of a long log that is little.
bool isSelected(const LogSelection& selection, SqliteStatement& row) {
    const auto number = static_cast<std::uint32_t>(row.number(4));
    const bool known = selection.kinds.empty() ||
                       std::ranges::find(selection.kinds, number, &LogSelection::Kind::number) != selection.kinds.end();
    return known && selection.wantsFrom(row.view(6)) && selection.wantsKind(number, row.view(7));
}

// As above, of the rows that are selected no more than limit.
int collect(SqliteStatement& statement, const LogSelection& selection, std::size_t limit,
            std::vector<LogEntry>& entries) {
    std::vector<LogEntry> result;
    bool failed = false;
    while (result.size() < limit) {
        const SqliteStatement::Step step = statement.step();
        if (step != SqliteStatement::Step::ROW) {
            failed = step == SqliteStatement::Step::FAILED;
            break;
        }
        if (isSelected(selection, statement)) {
            result.push_back(entryOf(statement));
        }
    }
    statement.reset();
    if (failed) {
        return -1;
    }
    entries = std::move(result);
    return 0;
}

}  // namespace

std::unique_ptr<SqliteStore> SqliteStore::open(const std::string& file, std::string& reason, std::size_t logCapacity) {
    std::unique_ptr<SqliteStore> store(new SqliteStore(logCapacity));
    if (store->openFile(file) < 0) {
        reason = store->reason();
        return nullptr;
    }
    return store;
}

int SqliteStore::openFile(const std::string& file) {
    return openAttributes(file) < 0 ? -1 : openLog(file);
}

int SqliteStore::openAttributes(const std::string& file) {
    if (attributes_.open(file) < 0) {
        return fail(attributes_);
    }
    if (sqlite3_db_readonly(attributes_.handle(), "main") != 0) {
        reason_ = file + ": is not writable";
        return -1;
    }
    // Looked at before anything is written: the switch to WAL mode already changes a file.
    if (checkOwner(file) < 0) {
        return -1;
    }
    if (attributes_.execute("PRAGMA journal_mode = WAL") < 0 || attributes_.execute("PRAGMA synchronous = FULL") < 0 ||
        get_.prepare("SELECT key, type, value FROM attribute WHERE key = ?1") < 0 ||
        list_.prepare("SELECT key, type, value FROM attribute WHERE substr(key, 1, length(?1)) = ?1 AND key >= ?1"
                      " ORDER BY key") < 0 ||
        set_.prepare("INSERT OR REPLACE INTO attribute (key, type, value) VALUES (?1, ?2, ?3)") < 0 ||
        unset_.prepare("DELETE FROM attribute WHERE key = ?1") < 0) {
        return fail(attributes_);
    }
    return 0;
}

// A new file gets our tables; any other must be ours, of this version, and sound.
int SqliteStore::checkOwner(const std::string& file) {
    std::int64_t tables = 0;
    std::int64_t owner = 0;
    std::int64_t version = 0;
    if (readNumber(attributes_, "SELECT count(*) FROM sqlite_master", tables) < 0 ||
        readNumber(attributes_, "PRAGMA application_id", owner) < 0 ||
        readNumber(attributes_, "PRAGMA user_version", version) < 0) {
        return fail(attributes_);
    }
    if (tables == 0 && owner == 0) {
        return attributes_.execute(CREATE) < 0 ? fail(attributes_) : 0;
    }
    if (owner != APPLICATION_ID) {
        reason_ = file + ": is a database, but not a switch's store";
        return -1;
    }
    if (version != SCHEMA_VERSION) {
        reason_ = file + ": has layout " + std::to_string(version) + ", this program knows layout " +
                  std::to_string(SCHEMA_VERSION);
        return -1;
    }
    SqliteStatement check(attributes_);
    if (check.prepare("PRAGMA quick_check(1)") < 0 || check.step() != SqliteStatement::Step::ROW) {
        return fail(attributes_);
    }
    if (const std::string verdict = check.bytes(0); verdict != "ok") {
        reason_ = file + ": is damaged: " + verdict;
        return -1;
    }
    return 0;
}

int SqliteStore::openLog(const std::string& file) {
    if (log_.open(file) < 0 || log_.execute("PRAGMA synchronous = NORMAL") < 0 ||
        append_.prepare("INSERT INTO event (seconds, microseconds, level, number, flags, component, text)"
                        " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)") < 0 ||
        prune_.prepare("DELETE FROM event WHERE id <= ?1") < 0 ||
        read_.prepare((std::string(FIELDS) + BETWEEN + " ORDER BY id").c_str()) < 0 ||
        readBack_.prepare((std::string(FIELDS) + BETWEEN + " ORDER BY id DESC").c_str()) < 0 ||
        readOne_.prepare((std::string(FIELDS) + " WHERE id = ?1").c_str()) < 0) {
        return fail(log_);
    }
    return indexLog() < 0 ? fail(log_) : 0;
}

int SqliteStore::indexLog() {
    SqliteStatement all(log_);
    if (all.prepare((std::string(FIELDS) + " ORDER BY id").c_str()) < 0) {
        return -1;
    }
    SqliteStatement::Step step = all.step();
    for (; step == SqliteStatement::Step::ROW; step = all.step()) {
        index_.add(entryOf(all));
    }
    return step == SqliteStatement::Step::DONE ? 0 : -1;
}

int SqliteStore::fail(const SqliteDatabase& database) {
    reason_ = database.error();
    return -1;
}

StoreStatus SqliteStore::get(std::string_view key, Attribute& attribute) {
    std::vector<Attribute> rows;
    get_.bind(1, key);
    if (collect(get_, rows, attributeOf) < 0) {
        (void)fail(attributes_);
        return StoreStatus::FAILED;
    }
    if (rows.empty()) {
        return StoreStatus::MISSING;
    }
    attribute = std::move(rows.front());
    return StoreStatus::OK;
}

int SqliteStore::list(std::string_view prefix, std::vector<Attribute>& attributes) {
    list_.bind(1, prefix);
    return collect(list_, attributes, attributeOf) < 0 ? fail(attributes_) : 0;
}

int SqliteStore::apply(const AttributeChange& change) {
    if (!acceptable(change, reason_)) {
        return -1;
    }
    return writeChange(change) < 0 ? fail(attributes_) : 0;
}

int SqliteStore::writeChange(const AttributeChange& change) {
    SqliteTransaction transaction(attributes_);
    if (transaction.begin() < 0) {
        return -1;
    }
    for (const std::string& key : change.unset) {
        if (unset_.bind(1, key).run() < 0) {
            return -1;
        }
    }
    for (const Attribute& attribute : change.set) {
        if (set_.bind(1, attribute.key).bind(2, std::int64_t{attribute.type}).bind(3, attribute.value).run() < 0) {
            return -1;
        }
    }
    return transaction.commit();
}

int SqliteStore::append(LogEntry& entry) {
    return writeEntry(entry) < 0 ? fail(log_) : 0;
}

int SqliteStore::writeEntry(LogEntry& entry) {
    SqliteTransaction transaction(log_);
    if (transaction.begin() < 0) {
        return -1;
    }
    append_.bind(1, entry.seconds).bind(2, std::int64_t{entry.microseconds}).bind(3, std::int64_t{entry.level});
    append_.bind(4, std::int64_t{entry.number}).bind(5, std::int64_t{entry.flags});
    append_.bind(6, entry.component).bind(7, entry.text);
    if (append_.run() < 0) {
        return -1;
    }
    const std::int64_t id = sqlite3_last_insert_rowid(log_.handle());
    const std::int64_t pruned = id - static_cast<std::int64_t>(logCapacity_);
    if (prune_.bind(1, pruned).run() < 0 || transaction.commit() < 0) {
        return -1;
    }
    entry.id = static_cast<std::uint64_t>(id);
    index_.add(entry);
    index_.dropUpTo(static_cast<std::uint64_t>(std::max<std::int64_t>(pruned, 0)));
    return 0;
}

int SqliteStore::read(const LogSelection& selection, std::size_t limit, std::vector<LogEntry>& entries) {
    constexpr std::uint64_t GREATEST = INT64_MAX;
    SqliteStatement& read = selection.newestFirst ? readBack_ : read_;
    read.bind(1, static_cast<std::int64_t>(std::min(selection.after, GREATEST)));
    read.bind(2, static_cast<std::int64_t>(std::min(selection.before, GREATEST)));
    read.bind(3, std::int64_t{selection.maxLevel});
    return collect(read, selection, limit, entries) < 0 ? fail(log_) : 0;
}

int SqliteStore::readEntry(std::uint64_t id, LogEntry& entry) {
    std::vector<LogEntry> rows;
    readOne_.bind(1, static_cast<std::int64_t>(id));
    if (collect(readOne_, rows, entryOf) < 0 || rows.empty()) {
        return -1;
    }
    entry = std::move(rows.front());
    return 0;
}

int SqliteStore::selectWhats(const LogSelection& selection, std::vector<bool>& selected) {
    for (const LogIndex::What& what : index_.whats()) {
        std::optional<bool> is = LogIndex::isSelected(what, selection);
        LogEntry whole;
        if (!is && readEntry(what.latest, whole) < 0) {
            return -1;
        }
        selected.push_back(is ? *is : selection.wantsKind(whole.number, whole.text));
    }
    return 0;
}

// Where the index does not help, or is not of this file any more, the log is read through.
int SqliteStore::readSeries(const LogSelection& selection, std::size_t bytes, LogSeries& series) {
    std::vector<bool> selected;
    LogSeries result;
    if (selectWhats(selection, selected) < 0 || std::ranges::count(selected, true) > MANY ||
        takeSeries(selection, selected, bytes, result) < 0) {
        return EventLogStore::readSeries(selection, bytes, series);
    }
    series = std::move(result);
    return 0;
}

int SqliteStore::takeSeries(const LogSelection& selection, const std::vector<bool>& selected, std::size_t bytes,
                            LogSeries& series) {
    constexpr std::uint32_t NOWHERE = UINT32_MAX;
    std::vector<std::uint32_t> places(selected.size(), NOWHERE);
    const auto begin = std::ranges::upper_bound(index_.entries(), selection.after, {}, &LogIndex::Entry::id);
    for (auto next = begin; next != index_.entries().end() && next->id < selection.before; ++next) {
        if (!selected[next->what]) {
            continue;
        }
        std::uint32_t& place = places[next->what];
        if (place == NOWHERE) {
            LogEntry entry;
            if (readEntry(next->id, entry) < 0) {
                return -1;
            }
            place = static_cast<std::uint32_t>(series.texts.size());
            series.more = !takeText(entry, bytes, series);
        }
        if (series.more) {
            return 0;
        }
        series.entries.push_back({place, next->time});
        series.last = next->id;
    }
    return 0;
}
