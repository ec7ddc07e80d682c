// Renaming, and reading of what can still be read.
#include "host/store/recovery.h"

#include <stdexcept>
#include <system_error>

#include "host/base/utc.h"
#include "host/store/database.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr int kBusy_ms = 1000;

}  // namespace

std::string beside(const std::string& database, std::int64_t time_us, const char* ending) {
    return database + "-" + utc_name(time_us) + ending;
}

std::string set_aside(const std::string& database, std::int64_t now_us, const char* ending) {
    std::string to = beside(database, now_us, ending);
    std::error_code error;
    // The log first: without it the database is older, but never mixed with another one's log.
    for (const char* part : {"-wal", "-shm", "-journal"}) {
        if (fs::exists(database + part, error)) fs::rename(database + part, to + part, error);
        if (error) break;
    }
    if (!error) fs::rename(database, to, error);
    if (error) {
        throw std::runtime_error("cannot move \"" + database + "\" aside: " + error.message());
    }
    return to;
}

std::optional<CarriedTotals> read_totals(const std::string& database) {
    try {
        // A log beside it can only be read by one who may write.
        const Database db(database, Database::Access::kWrite, kBusy_ms);
        CarriedTotals totals;
        totals.from = database;
        Statement state = db.prepare("SELECT device, written_us FROM store");
        if (!state.step()) return std::nullopt;
        totals.device = state.text(0);
        totals.written_us = state.integer(1);
        Statement rows = db.prepare(
            "SELECT places.kind, places.name, direction, adult, child, staff, groups, "
            "group_members, since_us FROM totals JOIN places ON places.id = totals.place");
        while (rows.step()) {
            totals.rows.push_back({rows.text(0), rows.text(1), static_cast<int>(rows.integer(2)),
                                   rows.integer(3), rows.integer(4), rows.integer(5),
                                   rows.integer(6), rows.integer(7), rows.integer(8)});
        }
        return totals;
    } catch (const StoreError&) {
        return std::nullopt;
    }
}

std::optional<CarriedTotals> newest_totals(const std::string& database) {
    std::optional<CarriedTotals> newest;
    const std::string stem = fs::path(database).filename().string() + "-";
    const fs::path parent = fs::path(database).parent_path();
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(parent.empty() ? "." : parent, error)) {
        const std::string name = entry.path().filename().string();
        const bool copy = name.ends_with(kBackupEnding) || name.ends_with(kDamagedEnding);
        if (!name.starts_with(stem) || !copy) continue;
        std::optional<CarriedTotals> totals = read_totals(entry.path().string());
        if (totals && (!newest || totals->written_us > newest->written_us))
            newest = std::move(totals);
    }
    return newest;
}

}  // namespace host
