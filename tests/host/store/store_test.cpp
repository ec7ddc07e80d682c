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
    host::StoreSetup unsure = setup("unsure.db");
    unsure.clock_synchronised = false;
    Store(unsure).commit(batch);
    EXPECT_EQ(integer("SELECT sum(provisional) FROM minutes", "unsure.db"), 6);
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
