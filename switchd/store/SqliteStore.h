// Both stores in one SQLite database file, in WAL mode.
//
// A change of attributes is on the disk when apply() returns. Event log entries may reach the disk a little later:
// a power loss can cost the newest of them, never the file's order or an attribute. A file that is not ours or
// that is damaged is reported and left as it is. Main thread only.
#pragma once

#include "switchd/store/AttributeStore.h"
#include "switchd/store/EventLogStore.h"
#include "switchd/store/LogIndex.h"
#include "switchd/store/SqliteDatabase.h"

#include <memory>

class SqliteStore final : public AttributeStore, public EventLogStore {
public:
    // Opens the file, or creates it when it does not exist. Null, with a reason that names the file, when that cannot
    // be done.
    static std::unique_ptr<SqliteStore> open(const std::string& file, std::string& reason,
                                             std::size_t logCapacity = EventLogStore::CAPACITY);

    [[nodiscard]] StoreStatus get(std::string_view key, Attribute& attribute) override;
    [[nodiscard]] int list(std::string_view prefix, std::vector<Attribute>& attributes) override;
    [[nodiscard]] int apply(const AttributeChange& change) override;
    [[nodiscard]] int append(LogEntry& entry) override;
    [[nodiscard]] int read(const LogSelection& selection, std::size_t limit, std::vector<LogEntry>& entries) override;
    [[nodiscard]] int readSeries(const LogSelection& selection, std::size_t bytes, LogSeries& series) override;
    const std::string& reason() const override { return reason_; }

private:
    explicit SqliteStore(std::size_t logCapacity) : logCapacity_(logCapacity) {}

    int openFile(const std::string& file);
    int openAttributes(const std::string& file);
    int checkOwner(const std::string& file);
    int openLog(const std::string& file);
    int indexLog();
    int fail(const SqliteDatabase& database);
    int writeChange(const AttributeChange& change);
    int writeEntry(LogEntry& entry);
    int readEntry(std::uint64_t id, LogEntry& entry);
    // Which of what the index knows is selected, a flag each. 0, or -1.
    int selectWhats(const LogSelection& selection, std::vector<bool>& selected);
    int takeSeries(const LogSelection& selection, const std::vector<bool>& selected, std::size_t bytes,
                   LogSeries& series);

    std::size_t logCapacity_;
    std::string reason_;

    // Two connections to the same file, because how soon a commit reaches the disk is a connection's property.
    SqliteDatabase attributes_;
    SqliteDatabase log_;

    SqliteStatement get_{attributes_};
    SqliteStatement list_{attributes_};
    SqliteStatement set_{attributes_};
    SqliteStatement unset_{attributes_};
    SqliteStatement append_{log_};
    SqliteStatement prune_{log_};
    SqliteStatement read_{log_};
    SqliteStatement readBack_{log_};
    SqliteStatement readOne_{log_};
    LogIndex index_;
};
