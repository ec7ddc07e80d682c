// SQLite behind a few small classes: whatever goes wrong is thrown, and says what kind of fault it
// is, because a full disk is waited for while a damaged file is replaced.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace host {

enum class StoreFault {
    kFull,       // no room on the disk
    kReadOnly,   // or no right to write
    kBusy,       // locked by another program
    kDamaged,    // not a database, or not any more
    kInterrupt,  // Database::interrupt()
    kOther,      // reading or writing failed
};

struct StoreError : std::runtime_error {
    StoreError(StoreFault kind, const std::string& text) : std::runtime_error(text), fault(kind) {}
    StoreFault fault;
};

using Blob = std::vector<std::uint8_t>;

// A prepared statement; the database must outlive it.
class Statement {
  public:
    Statement(sqlite3* database, std::string_view sql);
    ~Statement();
    Statement(Statement&& other) noexcept;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Begins anew with these values for ?1, ?2 ...
    template <typename... Values>
    Statement& bind(const Values&... values) {
        reset();
        [[maybe_unused]] int index = 0;
        (bind_one(++index, values), ...);
        return *this;
    }
    // True while there is a row to look at. Throws StoreError.
    bool step();
    // To the end; for statements without rows. Throws StoreError.
    template <typename... Values>
    void run(const Values&... values) {
        bind(values...);
        while (step()) {
        }
        reset();
    }

    int columns() const;
    std::string name(int column) const;
    bool is_null(int column) const;
    bool is_text(int column) const;
    std::int64_t integer(int column) const;  // 0 for null
    double real(int column) const;
    std::string text(int column) const;  // empty for null
    Blob blob(int column) const;

  private:
    void reset();
    void bind_one(int index, std::int64_t value);
    void bind_one(int index, int value) { bind_one(index, std::int64_t{value}); }
    void bind_one(int index, const std::string& value);
    void bind_one(int index, const char* value);
    void bind_one(int index, const Blob& value);
    void bind_one(int index, std::nullptr_t);
    template <typename Value>
    void bind_one(int index, const std::optional<Value>& value) {
        if (value) {
            bind_one(index, *value);
        } else {
            bind_one(index, nullptr);
        }
    }
    void check(int result) const;

    sqlite3* database_;
    sqlite3_stmt* statement_ = nullptr;
};

class Database {
  public:
    enum class Access { kRead, kWrite, kCreate };

    // Throws StoreError, as its calls do. Another program's lock is waited for as long as this.
    Database(const std::string& path, Access access, int busy_ms);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    Statement prepare(std::string_view sql) const { return {database_, sql}; }
    // Any number of statements without results.
    void execute(const std::string& sql) const;
    // The first value of the first row; 0 when there is none.
    std::int64_t integer(std::string_view sql) const;
    std::string text(std::string_view sql) const;
    // Makes a statement that runs in another thread throw StoreFault::kInterrupt.
    void interrupt() const;

  private:
    sqlite3* database_ = nullptr;
};

// Everything or nothing: what is not committed is rolled back.
class Transaction {
  public:
    // Takes the right to write at once, so that nothing fails later because another one has it.
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

  private:
    Database& database_;
    bool open_ = true;
};

}  // namespace host
