// A subscriber has every event once, in order, whatever is restarted, removed or restored.
#include "host/store/subscription.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/store/backup.h"
#include "host/store/retention.h"
#include "tests/host/store/store_folder.h"

namespace {

using host::Store;
using host::Subscription;
using test::batch_of;
using test::crossing;
using test::kMonday_us;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Subscribing : public test::StoreFolder {
  protected:
    Subscription::Setup of(const std::string& name = "hub") const {
        Subscription::Setup setup;
        setup.database = path();
        setup.subscriber = name;
        setup.save = std::chrono::hours(1);  // the first time, and then no more
        return setup;
    }
    void count(int from, int to) {
        Store store(setup());
        for (int i = from; i < to; ++i)
            store.commit(batch_of({crossing(kMonday_us + i)}));
        store.close();
    }
    static std::vector<std::int64_t> times(const std::vector<host::ToldEvent>& events) {
        std::vector<std::int64_t> list;
        for (const host::ToldEvent& event : events)
            list.push_back(event.time_us - kMonday_us);
        return list;
    }
};

TEST_F(Subscribing, EverythingComesInOrderAndOnce) {
    count(0, 5);
    Subscription hub(of());
    EXPECT_THAT(times(hub.take(2)), ElementsAre(0, 1));
    EXPECT_THAT(times(hub.take(10)), ElementsAre(2, 3, 4));
    EXPECT_THAT(times(hub.take(10)), IsEmpty());
    count(5, 7);
    EXPECT_THAT(times(hub.take(10)), ElementsAre(5, 6));
    hub.go_back();
    EXPECT_EQ(hub.take(100).size(), 7u) << "nothing was confirmed";
    EXPECT_EQ(hub.lost(), 0);
}

TEST_F(Subscribing, GoesOnBehindWhatWasConfirmedAndSaved) {
    count(0, 5);
    {
        Subscription hub(of());
        const auto events = hub.take(3);
        hub.confirm(events[0].number);
        hub.confirm(events[2].number);
    }
    EXPECT_EQ(integer("SELECT sequence FROM cursors"), 1) << "saved at most once in that time";
    {
        Subscription hub(of());
        const auto events = hub.take(3);
        EXPECT_THAT(times(events), ElementsAre(1, 2, 3));
        hub.confirm(events[0].number);
        hub.confirm(events[2].number);
        EXPECT_TRUE(hub.save());
    }
    EXPECT_THAT(times(Subscription(of()).take(9)), ElementsAre(4));
    EXPECT_EQ(Subscription(of("other")).take(9).size(), 5u);
}

TEST_F(Subscribing, BeginsNowWhereThatIsAsked) {
    count(0, 5);
    Subscription::Setup now = of();
    now.begin = Subscription::Begin::kNow;
    EXPECT_THAT(Subscription(now).take(9), IsEmpty());
    count(5, 6);
    EXPECT_THAT(times(Subscription(now).take(9)), ElementsAre(5)) << "since it was there first";
}

TEST_F(Subscribing, IsKnownToWaitFromItsBeginning) {
    count(0, 5);
    host::Retention keep;
    keep.events = 0;
    host::prune(path(), keep, kMonday_us + 2);
    Subscription hub(of());
    EXPECT_EQ(host::StoreReader(path()).subscribers().front().waiting, 3);
    EXPECT_THAT(times(hub.take(9)), ElementsAre(2, 3, 4));
    EXPECT_EQ(hub.lost(), 0) << "what went before it was there";
}

TEST_F(Subscribing, OthersAreForgotten) {
    count(0, 5);
    for (const char* const name : {"hub", "webhook:old", "webhook:new"})
        Subscription(of(name));
    host::forget_subscribers(path(), "webhook:", {"webhook:new"});
    EXPECT_EQ(text("SELECT group_concat(subscriber) FROM cursors"), "hub,webhook:new");
    host::forget_subscribers(path("none"), "webhook:", {});
}

TEST_F(Subscribing, IsToldWhatIsGone) {
    count(0, 5);
    Subscription hub(of());
    hub.confirm(hub.take(1).front().number);
    host::Retention keep;
    keep.events = 0;
    const host::Pruned pruned = host::prune(path(), keep, kMonday_us + 3);
    EXPECT_EQ(pruned.lost.size(), 1u);
    EXPECT_THAT(times(hub.take(9)), ElementsAre(3, 4));
    EXPECT_EQ(hub.lost(), 2);
    EXPECT_EQ(host::StoreReader(path()).subscribers().front().waiting, 2);
}

TEST_F(Subscribing, GoesOnWithARestoredDatabase) {
    count(0, 3);
    Subscription hub(of());
    hub.confirm(hub.take(2).back().number);
    host::back_up(path(), path("copy"));
    EXPECT_THAT(times(hub.take(9)), ElementsAre(2));
    host::restore(path("copy"), path(), true, kMonday_us);
    count(10, 11);
    EXPECT_THAT(times(hub.take(9)), ElementsAre(2, 10)) << "what was confirmed in the copy";
    EXPECT_EQ(hub.lost(), 0);
}

TEST_F(Subscribing, ADatabaseThatCannotBeWrittenOnlyCostsRepeats) {
    count(0, 2);
    Subscription::Setup often = of();
    often.save = std::chrono::milliseconds(0);
    Subscription hub(often);
    const auto events = hub.take(2);
    host::Database locked(path(), host::Database::Access::kWrite, 50);
    {
        const host::Transaction lock(locked);
        hub.confirm(events[1].number);
        EXPECT_FALSE(hub.save());
    }
    EXPECT_TRUE(hub.save());
    EXPECT_EQ(integer("SELECT sequence FROM cursors"), 2);
}

}  // namespace
