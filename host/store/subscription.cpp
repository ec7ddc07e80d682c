// The cursor between two numbers.
#include "host/store/subscription.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/base/utc.h"
#include "host/store/database.h"

namespace host {
namespace {

constexpr int kBusy_ms = 1000;

}  // namespace

void forget_subscribers(const std::string& database, const std::string& begin,
                        const std::vector<std::string>& but) {
    std::error_code error;
    if (!std::filesystem::exists(database, error)) return;
    std::vector<std::string> stale;
    for (const Subscriber& subscriber : StoreReader(database).subscribers()) {
        const bool stays = std::find(but.begin(), but.end(), subscriber.name) != but.end();
        if (subscriber.name.starts_with(begin) && !stays) stale.push_back(subscriber.name);
    }
    if (stale.empty()) return;
    Database writer(database, Database::Access::kWrite, kBusy_ms);
    for (const std::string& name : stale)
        writer.prepare("DELETE FROM cursors WHERE subscriber = ?1").run(name);
}

Subscription::Subscription(Setup setup) : setup_(std::move(setup)), store_(setup_.database) {
    begin();
}

void Subscription::begin() {
    const std::optional<Committed> cursor = store_.cursor(setup_.subscriber);
    confirmed_ =
        cursor.value_or(setup_.begin == Begin::kNow ? store_.last() : store_.before_first());
    taken_ = confirmed_;
    // From now on it is known how much waits for it.
    unsaved_ = !cursor;
    save();
    saved_.reset();
}

std::vector<ToldEvent> Subscription::take(int most) {
    if (store_.replaced()) {
        store_ = StoreReader(setup_.database);
        begin();
    }
    std::vector<ToldEvent> events = store_.events_after(taken_, most);
    for (const ToldEvent& event : events) {
        note_lost(taken_, event.number);
        taken_ = event.number;
    }
    if (unsaved_) confirm(confirmed_);
    return events;
}

// Sequences have no gaps of their own.
void Subscription::note_lost(const Committed& before, const Committed& next) {
    const std::int64_t expected = before.epoch == next.epoch ? before.sequence + 1 : 1;
    lost_ += next.sequence - expected;
}

void Subscription::confirm(const Committed& number) {
    if (number.epoch.empty()) return;
    unsaved_ = true;
    confirmed_ = number;
    if (!saved_ || Clock::now() - *saved_ >= setup_.save) save();
}

bool Subscription::save() {
    if (!unsaved_ || confirmed_.epoch.empty()) return true;
    saved_ = Clock::now();
    try {
        Database database(setup_.database, Database::Access::kWrite, kBusy_ms);
        database
            .prepare(
                "INSERT OR REPLACE INTO cursors (subscriber, epoch, sequence, saved_us) "
                "SELECT ?1, id, ?2, ?3 FROM epochs WHERE epoch = ?4")
            .run(setup_.subscriber, confirmed_.sequence, utc_now_us(), confirmed_.epoch);
        unsaved_ = false;
        return true;
    } catch (const StoreError&) {
        return false;
    }
}

}  // namespace host
