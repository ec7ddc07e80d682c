// What is read: counts of spans, visitors, people inside, events in order; copies and retention.
#include "host/store/store_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "host/base/input_error.h"
#include "host/store/backup.h"
#include "host/store/recovery.h"
#include "host/store/result_table.h"
#include "host/store/visitors.h"
#include "tests/host/store/store_folder.h"

namespace {

using host::Committed;
using host::kHour_us;
using host::kMinute_us;
using host::LineCount;
using host::PersonKind;
using host::Store;
using host::StoreReader;
using host::TimeZone;
using host::ToldEvent;
using test::batch_of;
using test::crossing;
using test::kMonday_us;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::int64_t people(const host::PeopleCount& p) {
    return p.adult + p.child + p.staff;
}

host::StoredEvent group(std::int64_t time_us, int members) {
    host::StoredEvent event = crossing(time_us);
    event.kind = host::EventKind::kGroup;
    event.person.reset();
    event.people = members;
    return event;
}

class StoreReading : public test::StoreFolder {
  protected:
    void write(std::vector<host::StoredEvent> events, std::vector<std::int64_t> watched = {}) {
        Store store(setup());
        host::Batch batch = batch_of(std::move(events));
        batch.watched_minutes = std::move(watched);
        store.commit(batch);
    }
};

TEST_F(StoreReading, CountsASpanOfWholeMinutes) {
    const std::int64_t minute = host::minute_of(kMonday_us);
    write({crossing(kMonday_us - 1), crossing(kMonday_us), crossing(kMonday_us + kMinute_us - 1),
           crossing(kMonday_us + kMinute_us), crossing(kMonday_us, "door", 2)},
          {minute, minute + 1, minute + 2});
    const StoreReader reader(path());
    const std::vector<LineCount> counts = reader.counts({kMonday_us, kMonday_us + kMinute_us});
    ASSERT_EQ(counts.size(), 2u);
    EXPECT_EQ(people(counts[0].people), 2);
    EXPECT_EQ(people(counts[1].people), 1);
    EXPECT_EQ(counts[0].watched_minutes, 1);
    // Nothing was watched there, and the lines are named all the same.
    const std::vector<LineCount> later = reader.counts({kMonday_us + kHour_us, kMonday_us * 2});
    ASSERT_EQ(later.size(), 2u);
    EXPECT_EQ(later[0].watched_minutes + people(later[0].people), 0);
    EXPECT_EQ(people(reader.totals()[0].people), 4);
}

// An event in every minute of a year's two special days, counted hour by hour.
TEST_F(StoreReading, HoursOfAChangedDayHoldEverybodyOnce) {
    for (const char* name : {"Europe/Berlin", "America/St_Johns", "Australia/Lord_Howe"}) {
        const TimeZone zone(name);
        for (int month = 1; month <= 12; ++month) {
            for (host::Date date{2026, month, 1}; date.month == month; date = zone.next(date)) {
                const host::TimeSpan day = zone.day(date);
                if (day.to_us - day.from_us == 24 * kHour_us) continue;
                std::filesystem::remove(path());
                std::vector<host::StoredEvent> events;
                for (std::int64_t t = day.from_us - kHour_us; t < day.to_us + kHour_us;
                     t += kMinute_us)
                    events.push_back(crossing(t + 30'000'000));
                write(std::move(events));
                const StoreReader reader(path());
                std::int64_t sum = 0;
                for (const host::LocalHour& hour : zone.hours(date)) {
                    const std::int64_t counted = people(reader.counts(hour.span)[0].people);
                    EXPECT_EQ(counted * kMinute_us, hour.span.to_us - hour.span.from_us)
                        << name << " " << hour.label;
                    sum += counted;
                }
                EXPECT_EQ(sum * kMinute_us, day.to_us - day.from_us) << host::date_text(date);
            }
        }
    }
}

TEST_F(StoreReading, VisitorsAreWithoutStaff) {
    write({crossing(kMonday_us), crossing(kMonday_us),
           crossing(kMonday_us, "door", 1, PersonKind::kChild),
           crossing(kMonday_us, "door", 1, PersonKind::kStaff), group(kMonday_us, 3),
           crossing(kMonday_us, "door", 2), crossing(kMonday_us, "back", 2)});
    const StoreReader reader(path());
    const auto counts = reader.counts({kMonday_us, kMonday_us + kMinute_us});
    const host::Visitors door = host::visitors_of("entrance", counts, {{"door", 1}});
    EXPECT_EQ(door.adults, 2);
    EXPECT_EQ(door.children, 1);
    EXPECT_EQ(door.together, 1);
    EXPECT_EQ(host::visitors_of("entrance", counts, {{"door", 1}, {"back", 2}}).all(), 4);
    EXPECT_EQ(host::visitors_of("entrance", counts, {{"back", 1}}).all(), 0);
    EXPECT_EQ(host::visitors_of("entrance", counts, {{"door", 1, "other"}}).all(), 0);
    EXPECT_EQ(host::visitors_of("entrance", counts, {{"door", 1, "entrance"}}).all(), 3);
}

TEST_F(StoreReading, InsideIsCountedFromTheReset) {
    const TimeZone berlin("Europe/Berlin");
    host::Area area{"hall", {{"door", 1}, {"back", 2}}, 4 * 60, 3};
    const std::int64_t reset = berlin.at({2026, 3, 2}, 4 * 60);
    EXPECT_EQ(host::last_reset_us(area, berlin, reset), reset);
    EXPECT_EQ(host::last_reset_us(area, berlin, reset - 1), reset - 24 * kHour_us);
    // The day before three came and one went, and two of them were never seen to leave.
    write({crossing(reset - kHour_us), crossing(reset - kHour_us), crossing(reset - kHour_us),
           crossing(reset - kMinute_us, "door", 2), crossing(reset), crossing(reset + kMinute_us),
           crossing(reset + kMinute_us, "back", 2),
           crossing(reset + kMinute_us, "door", 1, PersonKind::kStaff),
           crossing(reset + 2 * kMinute_us, "back", 1)});
    host::correct(path(), "hall", -1, "anna", "somebody hid", reset + kMinute_us);
    host::correct(path(), "yard", 5, "anna", "elsewhere", reset + kMinute_us);
    host::correct(path(), "hall", 7, "anna", "before", reset - 1);
    std::vector<StoreReader> stores;
    stores.emplace_back(path());
    const host::AreaBalance now = host::area_balance(stores, area, berlin, reset + 3 * kMinute_us);
    EXPECT_EQ(now.in, 4);
    EXPECT_EQ(now.out, 1);
    EXPECT_EQ(now.inside(), 3);
    EXPECT_EQ(now.drift, 2);
    EXPECT_EQ(now.corrections, -1);
    EXPECT_EQ(now.since.from_us, reset);
}

// People who were there before the cameras have left.
TEST_F(StoreReading, NobodyIsInsideMoreOftenThanNever) {
    const TimeZone utc("UTC");
    write({crossing(kMonday_us, "door", 2), crossing(kMonday_us, "door", 2)});
    std::vector<StoreReader> stores;
    stores.emplace_back(path());
    const host::Area area{"hall", {{"door", 1}}, 0, 3};
    const host::AreaBalance now = host::area_balance(stores, area, utc, kMonday_us + kMinute_us);
    EXPECT_EQ(now.balance(), -2);
    EXPECT_EQ(now.inside(), 0);
}

TEST_F(StoreReading, EventsComeInTheirOrder) {
    Store store(setup());
    const Committed last = store.commit(
        batch_of({crossing(kMonday_us + 2), crossing(kMonday_us + 1), group(kMonday_us + 3, 4)}));
    const StoreReader reader(path());
    const std::int64_t version = reader.version();
    EXPECT_EQ(reader.last(), last);
    const std::vector<ToldEvent> all = reader.events_after({}, 10);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].number, (Committed{last.epoch, 1}));
    EXPECT_EQ(all[0].kind, "crossing");
    EXPECT_EQ(all[0].place, "door");
    EXPECT_EQ(all[0].person, "adult");
    EXPECT_EQ(all[2].people, 4);
    EXPECT_EQ(reader.events_after({}, 2).size(), 2u);
    EXPECT_EQ(reader.events_after({last.epoch, 2}, 10).size(), 1u);
    EXPECT_THAT(reader.events_after(last, 10), IsEmpty());
    EXPECT_THROW(reader.events_after({"0000000000000000", 1}, 10), host::InputError);
    std::vector<std::int64_t> times;
    reader.events_in({kMonday_us + 1, kMonday_us + 3},
                     [&](const ToldEvent& event) { times.push_back(event.time_us - kMonday_us); });
    EXPECT_THAT(times, ElementsAre(1, 2));
    EXPECT_EQ(reader.version(), version);
    store.commit(batch_of({crossing(kMonday_us)}));
    EXPECT_NE(reader.version(), version);
}

TEST_F(StoreReading, RefusesOtherFiles) {
    EXPECT_THROW(StoreReader(path("none.db")), host::InputError);
    std::ofstream(path("letter.db")) << std::string(5000, 'x');
    EXPECT_THROW(StoreReader(path("letter.db")), host::InputError);
    host::Database(path("other.db"), host::Database::Access::kCreate, 50)
        .execute("CREATE TABLE t (a)");
    EXPECT_THROW(StoreReader(path("other.db")), host::InputError);
}

TEST_F(StoreReading, ABackupIsAnEpochOfItsOwn) {
    Store store(setup());
    const Committed before = store.commit(batch_of({crossing(kMonday_us)}));
    host::back_up(path(), path("copy"));
    EXPECT_THROW(host::back_up(path(), path("copy")), host::InputError);
    store.commit(batch_of({crossing(kMonday_us), crossing(kMonday_us)}));
    // On another device.
    EXPECT_EQ(host::restore(path("copy"), path("new.db"), false, kMonday_us), "");
    const Committed restored = StoreReader(path("new.db")).last();
    EXPECT_NE(restored.epoch, before.epoch);
    EXPECT_EQ(restored.sequence, 0);
    EXPECT_EQ(StoreReader(path("new.db")).events_after({}, 10).size(), 1u);
    EXPECT_EQ(text("SELECT device FROM store", "new.db"), "entrance");
    // A copy that was put in place by hand begins an epoch too.
    std::filesystem::copy(path("copy"), path("hand.db"));
    EXPECT_NE(Store(setup("hand.db")).last().epoch, before.epoch);
    EXPECT_EQ(text("PRAGMA quick_check", "new.db"), "ok");
}

TEST_F(StoreReading, RestoringOverADatabaseKeepsItAndItsTotals) {
    {
        Store store(setup());
        store.commit(batch_of({crossing(kMonday_us)}));
        host::back_up(path(), path("copy"));
        store.commit(batch_of({crossing(kMonday_us), crossing(kMonday_us, "door", 2)}));
    }
    EXPECT_THROW(host::restore(path("copy"), path(), false, kMonday_us), host::InputError);
    const std::string before = host::restore(path("copy"), path(), true, kMonday_us);
    EXPECT_THAT(before, HasSubstr(host::kReplacedEnding));
    EXPECT_EQ(StoreReader(before).events_after({}, 10).size(), 3u);
    const StoreReader reader(path());
    EXPECT_EQ(reader.events_after({}, 10).size(), 1u);
    EXPECT_EQ(people(reader.totals()[0].people), 2);
    EXPECT_EQ(people(reader.totals()[1].people), 1);
}

TEST(ResultTable, HasThreeForms) {
    host::ResultTable table;
    table.columns = {"line", "people"};
    table.rows = {{std::string("say \"ä\", b"), std::int64_t{12}}, {{}, std::int64_t{-1}}};
    EXPECT_EQ(host::as_csv(table), "line,people\n\"say \"\"ä\"\", b\",12\n,-1\n");
    EXPECT_EQ(host::as_json(table),
              "[{\"line\":\"say \\\"ä\\\", b\",\"people\":12},\n {\"line\":null,\"people\":-1}]\n");
    EXPECT_EQ(host::as_table(table),
              "  line        people\n  say \"ä\", b      12\n  –               -1\n");
}

}  // namespace
