// What a batch leaves in the tables, and what opening a database again finds.
#include "host/store/store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/store/store_folder.h"

namespace {

using host::Batch;
using host::Committed;
using host::EventKind;
using host::PersonKind;
using host::Store;
using test::batch_of;
using test::crossing;
using test::kMonday_us;

class StoreTables : public test::StoreFolder {};

TEST_F(StoreTables, OneTransactionHoldsEventsMinutesAndTotals) {
    Store store(setup());
    EXPECT_TRUE(store.opened().created);
    host::StoredEvent group = crossing(kMonday_us + 3, "door", 2);
    group.kind = EventKind::kGroup;
    group.people = 3;
    group.person.reset();
    const Committed done = store.commit(batch_of({
        crossing(kMonday_us),
        crossing(kMonday_us + 1, "door", 1, PersonKind::kChild),
        crossing(kMonday_us + 2, "door", 2, PersonKind::kStaff),
        group,
        crossing(kMonday_us + host::kMinute_us),
    }));
    EXPECT_EQ(done.sequence, 5);
    EXPECT_EQ(integer("SELECT count(*) FROM events"), 5);
    EXPECT_EQ(text("SELECT group_concat((minute - " + std::to_string(host::minute_of(kMonday_us)) +
                   ") || ':' || direction || '=' || adult || child || staff || groups || "
                   "group_members, ' ') FROM minutes"),
              "0:1=11000 0:2=00113 1:1=10000");
    EXPECT_EQ(text("SELECT group_concat(direction || '=' || adult || child || staff || groups, "
                   "' ') FROM totals"),
              "1=2100 2=0011");
    EXPECT_EQ(text("SELECT epoch FROM epochs"), done.epoch);
}

// Nobody came, and not running, are not the same.
TEST_F(StoreTables, WatchedMinutesHaveZeros) {
    Store store(setup());
    Batch batch = batch_of({crossing(kMonday_us)});
    const std::int64_t minute = host::minute_of(kMonday_us);
    batch.watched_minutes = {minute, minute + 1, minute + 3};
    store.commit(batch);
    store.commit(batch);  // a minute in two parts
    EXPECT_EQ(integer("SELECT count(*) FROM minutes"), 6);
    EXPECT_EQ(integer("SELECT count(*) FROM minutes WHERE minute = " + std::to_string(minute + 2)),
              0);
    EXPECT_EQ(integer("SELECT sum(adult) FROM minutes"), 2);
    EXPECT_EQ(integer("SELECT sum(watched_minutes) FROM crossings_by_hour"), 6);
    EXPECT_EQ(integer("SELECT sum(adult) FROM crossings_by_day"), 2);
    EXPECT_EQ(integer("SELECT sum(provisional) FROM minutes"), 0);
}

TEST_F(StoreTables, MinutesOfAClockThatIsNotSynchronisedAreProvisional) {
    const std::int64_t minute = host::minute_of(kMonday_us);
    Batch batch = batch_of({crossing(kMonday_us)});
    batch.watched_minutes = {minute, minute + 1};
    batch.regions = {{minute, "till", 1, 0, 0, 0, 0}, {minute + 1, "till", 1, 0, 0, 0, 0}};
    batch.unsure_minutes = {minute};
    Store store(setup());
    store.commit(batch);
    store.commit(batch_of({crossing(kMonday_us)}));
    for (const char* table : {"minutes", "region_minutes"})
        EXPECT_EQ(text(std::string("SELECT group_concat(DISTINCT minute - ") +
                       std::to_string(minute) + ") FROM " + table + " WHERE provisional"),
                  "0");
}

TEST_F(StoreTables, TotalsOfALineBeginAtZero) {
    const Store store(setup());
    EXPECT_EQ(integer("SELECT count(*) FROM totals"), 2);
    EXPECT_EQ(integer("SELECT sum(adult + child + staff) FROM totals"), 0);
}

TEST_F(StoreTables, LeftOutCountsAreEventsAndNoMore) {
    Store store(setup());
    host::StoredEvent late = crossing(kMonday_us);
    late.kind = EventKind::kCrossingLeftOut;
    store.commit(batch_of({late}));
    EXPECT_EQ(integer("SELECT count(*) FROM events"), 1);
    EXPECT_EQ(integer("SELECT count(*) FROM crossings"), 0);
    EXPECT_EQ(integer("SELECT sum(adult) FROM totals"), 0);
}

TEST_F(StoreTables, PartsOfAMinuteAndAnHourAddUp) {
    Store store(setup());
    Batch batch;
    batch.regions = {{5, "till", 10, 20, 3, 1, 4000}};
    host::HeatGrid grid{7, host::HeatGrid::Cells(48 * 27, 2), host::HeatGrid::Cells(48 * 27, -1)};
    batch.heat = {grid};
    store.commit(batch);
    batch.regions = {{5, "till", 10, 5, 2, 0, 0}};
    batch.heat.front().dwell_ms.assign(48 * 27, INT32_MAX);
    store.commit(batch);
    EXPECT_EQ(text("SELECT frames || ' ' || people_frames || ' ' || most || ' ' || stays || ' ' || "
                   "stay_ms FROM region_minutes"),
              "20 25 3 1 4000");
    EXPECT_EQ(text("SELECT hex(substr(dwell_ms, 1, 4)) || hex(substr(passages, -4)) FROM heat"),
              "FFFFFF7FFEFFFFFF");
    EXPECT_EQ(text("SELECT people || ' ' || stay_s FROM regions_by_hour"), "1.25 4.0");
}

TEST_F(StoreTables, KeepsStoriesGapsAndHealth) {
    Store store(setup());
    Batch batch;
    batch.people = {{1, 2, 7, false, "was counted", "{}"}};
    batch.gaps = {{10, 20, "no frames"}};
    batch.health = {{15, host::HealthLevel::kDegraded, "disk_full", "the disk is full"}};
    batch.watched_until_us = 30;
    store.commit(batch);
    EXPECT_EQ(text("SELECT why FROM people"), "was counted");
    EXPECT_EQ(integer("SELECT to_us - from_us FROM gaps"), 10);
    EXPECT_EQ(text("SELECT level || ' ' || fault FROM health"), "degraded disk_full");
    EXPECT_EQ(integer("SELECT watched_until_us FROM store"), 30);
    store.commit({});
    EXPECT_EQ(integer("SELECT watched_until_us FROM store"), 30);
}

// The time between two programs is a gap, and says how the first one ended.
TEST_F(StoreTables, TimeBetweenTwoRunsIsAGap) {
    const auto watch = [](Store& store, std::int64_t minute) {
        Batch batch;
        batch.watched_from_us = kMonday_us + minute * host::kMinute_us;
        batch.watched_until_us = *batch.watched_from_us + 1000;
        store.commit(batch);
    };
    {
        Store store(setup());
        watch(store, 0);
        store.close();
    }
    {
        Store store(setup());
        watch(store, 5);  // and is killed
    }
    {
        Store store(setup());
        watch(store, 7);
        store.close();
    }
    host::Database(path(), host::Database::Access::kWrite, 50)
        .execute("UPDATE store SET copied = 1");
    Store store(setup());
    watch(store, 9);
    EXPECT_EQ(text("SELECT group_concat((from_us - " + std::to_string(kMonday_us) +
                   ") || '-' || "
                   "(to_us - " +
                   std::to_string(kMonday_us) + ") || ' ' || why, '; ') FROM gaps"),
              "1000-300000000 not running; 300001000-420000000 not running: killed, or without "
              "power; 420001000-540000000 restored from a backup");
    EXPECT_EQ(text("SELECT group_concat(kind || ' ' || (json ->> 'why'), '; ') FROM events"),
              "gap not running; gap not running: killed, or without power; "
              "gap restored from a backup");
}

TEST_F(StoreTables, GoesOnWhereItEnded) {
    Committed before;
    {
        Store store(setup());
        before = store.commit(batch_of({crossing(kMonday_us)}));
        store.close();
    }
    {
        Store store(setup());
        EXPECT_FALSE(store.opened().created);
        EXPECT_FALSE(store.opened().unclean);
        EXPECT_EQ(store.opened().last, before);
        EXPECT_EQ(store.commit(batch_of({crossing(kMonday_us)})),
                  (Committed{before.epoch, before.sequence + 1}));
    }
    EXPECT_TRUE(Store(setup()).opened().unclean);
    EXPECT_EQ(integer("SELECT adult FROM totals WHERE direction = 1"), 2);
}

TEST_F(StoreTables, WhoeverWritesToACopyBeginsAnEpoch) {
    Committed before;
    {
        Store store(setup());
        before = store.commit(batch_of({crossing(kMonday_us)}));
    }
    host::Database(path(), host::Database::Access::kWrite, 50)
        .execute("UPDATE store SET copied = 1");
    {
        Store store(setup());
        EXPECT_TRUE(store.opened().copied);
        const Committed after = store.commit(batch_of({crossing(kMonday_us)}));
        EXPECT_NE(after.epoch, before.epoch);
        EXPECT_EQ(after.sequence, 1);
    }
    EXPECT_FALSE(Store(setup()).opened().copied);
    EXPECT_EQ(integer("SELECT count(*) FROM events"), 2);
    EXPECT_EQ(integer("SELECT adult FROM totals WHERE direction = 1"), 2);
}

TEST_F(StoreTables, KeepsEachVersionOfTheSettings) {
    host::StoreSetup with = setup();
    with.author = "anna";
    for (const char* text : {"a = 1", "a = 1", "a = 2", "a = 1"}) {
        with.settings = text;
        const Store store(with);
    }
    EXPECT_EQ(text("SELECT group_concat(text, '; ') FROM settings"), "a = 1; a = 2; a = 1");
    EXPECT_EQ(text("SELECT author FROM settings"), "anna");
}

}  // namespace
