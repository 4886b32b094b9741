#include "switchd/store/SqliteDatabase.h"

#include <sqlite3.h>

SqliteDatabase::~SqliteDatabase() {
    sqlite3_close(handle_);
}

int SqliteDatabase::open(const std::string& file) {
    file_ = file;
    if (sqlite3_open_v2(file.c_str(), &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK) {
        return fail();
    }
    sqlite3_extended_result_codes(handle_, 1);
    sqlite3_busy_timeout(handle_, 5000);
    return 0;
}

int SqliteDatabase::execute(const char* sql) {
    return sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) == SQLITE_OK ? 0 : fail();
}

int SqliteDatabase::fail() {
    error_ = file_ + ": " + (handle_ == nullptr ? "out of memory" : sqlite3_errmsg(handle_));
    return -1;
}

SqliteStatement::~SqliteStatement() {
    sqlite3_finalize(statement_);
}

int SqliteStatement::prepare(const char* sql) {
    if (sqlite3_prepare_v3(database_.handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr) != SQLITE_OK) {
        return database_.fail();
    }
    return 0;
}

SqliteStatement& SqliteStatement::bind(int parameter, std::int64_t number) {
    bound_ = sqlite3_bind_int64(statement_, parameter, number) == SQLITE_OK && bound_;
    return *this;
}

SqliteStatement& SqliteStatement::bind(int parameter, std::string_view bytes) {
    // An empty view may have no address, and a blob without address would be stored as NULL.
    const char* address = bytes.empty() ? "" : bytes.data();
    bound_ = sqlite3_bind_blob64(statement_, parameter, address, bytes.size(), SQLITE_STATIC) == SQLITE_OK && bound_;
    return *this;
}

SqliteStatement::Step SqliteStatement::step() {
    const int result = bound_ ? sqlite3_step(statement_) : SQLITE_ERROR;
    if (result == SQLITE_ROW) {
        return Step::ROW;
    }
    if (result == SQLITE_DONE) {
        return Step::DONE;
    }
    (void)database_.fail();
    return Step::FAILED;
}

int SqliteStatement::run() {
    const Step result = step();
    reset();
    return result == Step::DONE ? 0 : -1;
}

void SqliteStatement::reset() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
    bound_ = true;
}

std::int64_t SqliteStatement::number(int column) {
    return sqlite3_column_int64(statement_, column);
}

std::string_view SqliteStatement::view(int column) {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    const int size = sqlite3_column_bytes(statement_, column);
    return data == nullptr ? std::string_view() : std::string_view(data, static_cast<std::size_t>(size));
}

SqliteTransaction::~SqliteTransaction() {
    if (open_) {
        // The reason that counts has been taken already; a roll-back that fails has been done by the failure itself.
        sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

int SqliteTransaction::begin() {
    if (database_.execute("BEGIN IMMEDIATE") < 0) {
        return -1;
    }
    open_ = true;
    return 0;
}

int SqliteTransaction::commit() {
    if (database_.execute("COMMIT") < 0) {
        return -1;
    }
    open_ = false;
    return 0;
}
