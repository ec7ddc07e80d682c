// Calls of SQLite and what its result codes mean here.
#include "host/store/database.h"

#include <sqlite3.h>

#include <utility>

namespace host {
namespace {

StoreFault fault_of(int result) {
    switch (result & 0xff) {
        case SQLITE_FULL:
            return StoreFault::kFull;
        // A write-ahead log that cannot be made shows as a file that cannot be opened.
        case SQLITE_READONLY:
        case SQLITE_CANTOPEN:
        case SQLITE_PERM:
            return StoreFault::kReadOnly;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_PROTOCOL:
            return StoreFault::kBusy;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return StoreFault::kDamaged;
        case SQLITE_INTERRUPT:
            return StoreFault::kInterrupt;
        default:
            return StoreFault::kOther;
    }
}

[[noreturn]] void fail(sqlite3* database, int result) {
    throw StoreError(fault_of(result),
                     database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(result));
}

}  // namespace

Statement::Statement(sqlite3* database, std::string_view sql) : database_(database) {
    check(sqlite3_prepare_v2(database_, sql.data(), static_cast<int>(sql.size()), &statement_,
                             nullptr));
}

Statement::~Statement() {
    sqlite3_finalize(statement_);
}

Statement::Statement(Statement&& other) noexcept
    : database_(other.database_), statement_(std::exchange(other.statement_, nullptr)) {}

bool Statement::step() {
    const int result = sqlite3_step(statement_);
    if (result == SQLITE_ROW) return true;
    if (result == SQLITE_DONE) return false;
    fail(database_, result);
}

int Statement::columns() const {
    return sqlite3_column_count(statement_);
}

std::string Statement::name(int column) const {
    return sqlite3_column_name(statement_, column);
}

bool Statement::is_null(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

bool Statement::is_text(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_TEXT;
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

double Statement::real(int column) const {
    return sqlite3_column_double(statement_, column);
}

std::string Statement::text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    if (text == nullptr) return "";
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

Blob Statement::blob(int column) const {
    const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
    if (bytes == nullptr) return {};
    return {bytes, bytes + sqlite3_column_bytes(statement_, column)};
}

void Statement::reset() {
    // It repeats the error of the last step, which has been thrown.
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

void Statement::bind_one(int index, std::int64_t value) {
    check(sqlite3_bind_int64(statement_, index, value));
}

void Statement::bind_one(int index, const std::string& value) {
    check(sqlite3_bind_text64(statement_, index, value.data(), value.size(), SQLITE_TRANSIENT,
                              SQLITE_UTF8));
}

void Statement::bind_one(int index, const char* value) {
    bind_one(index, std::string(value));
}

void Statement::bind_one(int index, const Blob& value) {
    check(sqlite3_bind_blob64(statement_, index, value.data(), value.size(), SQLITE_TRANSIENT));
}

void Statement::bind_one(int index, std::nullptr_t) {
    check(sqlite3_bind_null(statement_, index));
}

void Statement::check(int result) const {
    if (result != SQLITE_OK) fail(database_, result);
}

Database::Database(const std::string& path, Access access, int busy_ms) {
    int flags = SQLITE_OPEN_READWRITE;
    if (access == Access::kRead) flags = SQLITE_OPEN_READONLY;
    if (access == Access::kCreate) flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int result =
        sqlite3_open_v2(path.c_str(), &database_, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result != SQLITE_OK) {
        sqlite3_close(database_);
        fail(nullptr, result);
    }
    sqlite3_busy_timeout(database_, busy_ms);
}

Database::~Database() {
    sqlite3_close(database_);
}

void Database::execute(const std::string& sql) const {
    const int result = sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) fail(database_, result);
}

std::int64_t Database::integer(std::string_view sql) const {
    Statement statement = prepare(sql);
    return statement.step() ? statement.integer(0) : 0;
}

std::string Database::text(std::string_view sql) const {
    Statement statement = prepare(sql);
    return statement.step() ? statement.text(0) : "";
}

void Database::interrupt() const {
    sqlite3_interrupt(database_);
}

Transaction::Transaction(Database& database) : database_(database) {
    database_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (!open_) return;
    try {
        database_.execute("ROLLBACK");
    } catch (const StoreError&) {
        // A grave fault has rolled everything back by itself.
    }
}

void Transaction::commit() {
    database_.execute("COMMIT");
    open_ = false;
}

}  // namespace host
