// A connection to an SQLite database file and its prepared statements, each freed by its own object.
//
// Errors are texts that name the file. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

class SqliteDatabase {
public:
    SqliteDatabase() = default;
    ~SqliteDatabase();
    SqliteDatabase(const SqliteDatabase&) = delete;
    SqliteDatabase& operator=(const SqliteDatabase&) = delete;

    // Opens or creates the file. 0, or -1.
    [[nodiscard]] int open(const std::string& file);
    // Runs statements that give no rows. 0, or -1.
    [[nodiscard]] int execute(const char* sql);
    // Why the last operation failed, naming the file.
    const std::string& error() const { return error_; }
    // Takes the connection's own words for the last failure; returns -1.
    int fail();

    sqlite3* handle() { return handle_; }

private:
    std::string file_;
    std::string error_;
    sqlite3* handle_ = nullptr;
};

// One prepared statement, bound and run again and again. Dies before its database.
class SqliteStatement {
public:
    explicit SqliteStatement(SqliteDatabase& database) : database_(database) {}
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    [[nodiscard]] int prepare(const char* sql);

    // Parameters count from 1. Bytes must live until the next reset.
    SqliteStatement& bind(int parameter, std::int64_t number);
    SqliteStatement& bind(int parameter, std::string_view bytes);

    enum class Step { ROW, DONE, FAILED };
    [[nodiscard]] Step step();
    // Runs a statement that gives no row, and resets it. 0, or -1.
    [[nodiscard]] int run();
    // Ready to be bound and run anew.
    void reset();

    // Columns count from 0.
    std::int64_t number(int column);
    std::string bytes(int column) { return std::string(view(column)); }
    // Good until the next step.
    std::string_view view(int column);

private:
    SqliteDatabase& database_;
    sqlite3_stmt* statement_ = nullptr;
    bool bound_ = true;  // false once a binding failed: the next step fails
};

// Undoes everything since it began unless it was committed.
class SqliteTransaction {
public:
    explicit SqliteTransaction(SqliteDatabase& database) : database_(database) {}
    ~SqliteTransaction();
    SqliteTransaction(const SqliteTransaction&) = delete;
    SqliteTransaction& operator=(const SqliteTransaction&) = delete;

    [[nodiscard]] int begin();
    [[nodiscard]] int commit();

private:
    SqliteDatabase& database_;
    bool open_ = false;
};
