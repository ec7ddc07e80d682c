// VACUUM INTO writes a copy that is whole and as small as it can be.
#include "host/store/backup.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "host/base/input_error.h"
#include "host/store/database.h"
#include "host/store/recovery.h"
#include "host/store/schema.h"
#include "host/store/store.h"
#include "host/store/store_reader.h"
#include "host/store/writer_lock.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr int kBusy_ms = 60'000;

void sync_file(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return;
    ::fsync(file);
    ::close(file);
}

// Under its name only when it is whole and on the disk.
void copy_database(const std::string& from, const std::string& to) {
    const std::string part = to + ".part";
    std::error_code error;
    fs::remove(part, error);
    try {
        const Database source(from, Database::Access::kWrite, kBusy_ms);
        source.prepare("VACUUM INTO ?1").run(part);
        const Database copy(part, Database::Access::kWrite, kBusy_ms);
        copy.execute("PRAGMA journal_mode = DELETE; UPDATE store SET copied = 1");
    } catch (const StoreError&) {
        fs::remove(part, error);
        throw;
    }
    sync_file(part);
    fs::rename(part, to, error);
    if (error) throw InputError("cannot write \"" + to + "\": " + error.message());
    sync_file(fs::absolute(to).parent_path().string());
}

// A total of the one that was replaced that is further on than the copy's.
void keep_greater_totals(const std::string& database, const std::string& replaced) {
    const std::optional<CarriedTotals> before = read_totals(replaced);
    if (!before) return;
    Database db(database, Database::Access::kWrite, kBusy_ms);
    Transaction transaction(db);
    Statement put = db.prepare(
        "INSERT INTO totals (place, direction, adult, child, staff, groups, group_members, "
        "since_us) SELECT id, ?3, ?4, ?5, ?6, ?7, ?8, ?9 FROM places WHERE kind = ?1 AND name = ?2 "
        "ON CONFLICT DO UPDATE SET adult = max(adult, ?4), child = max(child, ?5), "
        "staff = max(staff, ?6), groups = max(groups, ?7), "
        "group_members = max(group_members, ?8), since_us = min(since_us, ?9)");
    Statement add_place =
        db.prepare("INSERT INTO places (kind, name) VALUES (?1, ?2) ON CONFLICT DO NOTHING");
    for (const CarriedTotal& row : before->rows) {
        add_place.run(row.place_kind, row.place);
        put.run(row.place_kind, row.place, row.direction, row.adult, row.child, row.staff,
                row.groups, row.group_members, row.since_us);
    }
    transaction.commit();
}

}  // namespace

void back_up(const std::string& database, const std::string& copy) {
    if (fs::exists(copy)) throw InputError("there is a file \"" + copy + "\" already");
    // Says what is wrong with the database, if something is.
    const StoreReader reader(database);
    copy_database(database, copy);
}

std::string restore(const std::string& copy, const std::string& database, bool replace,
                    std::int64_t now_us) {
    const StoreReader reader(copy);
    const WriterLock lock(database);
    std::string replaced;
    if (fs::exists(database)) {
        if (!replace) {
            throw InputError("there is a database \"" + database +
                             "\" already; with --replace it is renamed");
        }
        replaced = set_aside(database, now_us, kReplacedEnding);
    }
    copy_database(copy, database);
    StoreSetup setup;
    setup.path = database;
    Store(setup).close();
    if (!replaced.empty()) keep_greater_totals(database, replaced);
    return replaced;
}

void correct(const std::string& database, const std::string& area, int people,
             const std::string& who, const std::string& why, std::int64_t now_us) {
    const StoreReader reader(database);
    Database db(database, Database::Access::kWrite, kBusy_ms);
    Transaction transaction(db);
    db.prepare("INSERT INTO places (kind, name) VALUES ('area', ?1) ON CONFLICT DO NOTHING")
        .run(area);
    db.prepare(
          "INSERT INTO corrections (time_us, place, people, who, why) "
          "SELECT ?1, id, ?2, ?3, ?4 FROM places WHERE kind = 'area' AND name = ?5")
        .run(now_us, people, who, why, area);
    transaction.commit();
}

}  // namespace host
