// Removal in small transactions.
#include "host/store/retention.h"

#include "host/store/database.h"
#include "host/store/records.h"
#include "host/store/schema.h"

namespace host {
namespace {

using Stop = std::function<bool()>;

constexpr int kBusy_ms = 60'000;
constexpr std::int64_t kDay_us = 24 * kHour_us;
// Some 10 ms of work on a slow card.
constexpr int kAtOnce = 1000;

std::string health_sql() {
    return "INSERT INTO health (time_us, level, fault, text) VALUES (?1, ?2, ?3, ?4)";
}

// What a cursor has not reached when events before this time go.
void note_lost(Database& db, std::int64_t before_us, std::int64_t now_us, Pruned& pruned) {
    Statement waiting = db.prepare(
        "SELECT cursors.subscriber, (SELECT count(*) FROM events WHERE events.time_us < ?1 "
        "AND (events.epoch, events.sequence) > (cursors.epoch, cursors.sequence)) AS lost "
        "FROM cursors WHERE lost > 0");
    waiting.bind(before_us);
    Transaction transaction(db);
    while (waiting.step()) {
        pruned.lost.push_back("the subscriber \"" + waiting.text(0) + "\" has lost " +
                              waiting.text(1) + " events that were too old to be kept");
        db.prepare(health_sql())
            .run(now_us, health_level_name(HealthLevel::kDegraded), "events_lost",
                 pruned.lost.back());
    }
    transaction.commit();
}

// `condition` has ?1 for the limit; `key` is what rows of the table are found by.
void remove(Database& db, const std::string& table, const std::string& key,
            const std::string& condition, std::int64_t limit, const Stop& stop, Pruned& pruned) {
    Statement some = db.prepare("DELETE FROM " + table + " WHERE (" + key + ") IN (SELECT " + key +
                                " FROM " + table + " WHERE " + condition + " LIMIT ?2)");
    Statement changes = db.prepare("SELECT changes()");
    while (!stop || !stop()) {
        Transaction transaction(db);
        some.run(limit, kAtOnce);
        changes.bind().step();
        const std::int64_t removed = changes.integer(0);
        changes.bind();
        transaction.commit();
        pruned.rows += removed;
        if (removed < kAtOnce) return;
    }
}

}  // namespace

Pruned prune(const std::string& database, const Retention& retention, std::int64_t now_us,
             const Stop& stop) {
    Database db(database, Database::Access::kWrite, kBusy_ms);
    Pruned pruned;
    // It is being made.
    if (schema_version(db) == 0) return pruned;
    const auto before = [&](int days) { return now_us - days * kDay_us; };
    if (retention.events) {
        note_lost(db, before(*retention.events), now_us, pruned);
        remove(db, "events", "epoch, sequence", "time_us < ?1", before(*retention.events), stop,
               pruned);
    }
    if (retention.minutes) {
        const std::int64_t minute = minute_of(before(*retention.minutes));
        remove(db, "minutes", "minute", "minute < ?1", minute, stop, pruned);
        remove(db, "region_minutes", "minute", "minute < ?1", minute, stop, pruned);
    }
    if (retention.people)
        remove(db, "people", "id", "to_us < ?1", before(*retention.people), stop, pruned);
    if (retention.heat)
        remove(db, "heat", "hour", "hour < ?1", hour_of(before(*retention.heat)), stop, pruned);
    if (retention.gaps)
        remove(db, "gaps", "id", "to_us < ?1", before(*retention.gaps), stop, pruned);
    if (retention.health)
        remove(db, "health", "id", "time_us < ?1", before(*retention.health), stop, pruned);
    if (retention.settings) {
        remove(db, "settings", "id", "applied_us < ?1 AND id < (SELECT max(id) FROM settings)",
               before(*retention.settings), stop, pruned);
    }
    return pruned;
}

}  // namespace host
