// What is too old goes, whatever is not stays, and a subscriber that has missed something is named.
#include "host/store/retention.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "host/service/retention_task.h"
#include "tests/host/store/store_folder.h"

namespace {

using host::Store;
using test::batch_of;
using test::crossing;
using test::kMonday_us;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::int64_t kDay_us = 24 * host::kHour_us;

class Keeping : public test::StoreFolder {
  protected:
    // Something of each kind on each of ten days.
    void fill() {
        Store store(setup());
        for (int day = 0; day < 10; ++day) {
            const std::int64_t time_us = kMonday_us + day * kDay_us;
            host::Batch batch = batch_of({crossing(time_us), crossing(time_us + 1)});
            batch.regions = {{host::minute_of(time_us), "till", 1, 1, 1, 1, 1}};
            batch.people = {{time_us, time_us, 1, false, "was counted", "{}"}};
            batch.gaps = {{time_us, time_us, "not running"}};
            batch.health = {{time_us, host::HealthLevel::kOk, "test", "a sentence"}};
            batch.heat = {
                {host::hour_of(time_us), host::HeatGrid::Cells(1, 1), host::HeatGrid::Cells(1, 1)}};
            store.commit(batch);
        }
    }
    std::int64_t rows(const std::string& table) const {
        return integer("SELECT count(*) FROM " + table);
    }
    const std::int64_t now_us_ = kMonday_us + 9 * kDay_us + 2;
};

TEST_F(Keeping, ADatabaseThatIsBeingMadeIsLeftAlone) {
    host::Database(path(), host::Database::Access::kCreate, 50)
        .execute("PRAGMA journal_mode = WAL");
    host::Retention keep;
    keep.events = 0;
    EXPECT_EQ(host::prune(path(), keep, now_us_).rows, 0);
}

TEST_F(Keeping, EachKindForItsOwnTime) {
    fill();
    host::Retention keep;
    keep.events = 4;
    keep.minutes = 5;
    keep.people = 0;
    keep.heat = 1;
    keep.gaps = 2;
    keep.health = 3;
    const host::Pruned pruned = host::prune(path(), keep, now_us_);
    EXPECT_EQ(rows("events"), 8);
    EXPECT_EQ(rows("minutes"), 6);
    EXPECT_EQ(rows("region_minutes"), 6);
    EXPECT_EQ(rows("people"), 0);
    EXPECT_EQ(rows("heat"), 2);
    EXPECT_EQ(rows("gaps"), 2);
    EXPECT_EQ(rows("health"), 3);
    EXPECT_EQ(pruned.rows, 12 + 4 + 4 + 10 + 8 + 8 + 7);
    EXPECT_THAT(pruned.lost, IsEmpty());
    EXPECT_EQ(integer("SELECT adult FROM totals WHERE direction = 1"), 20);
    EXPECT_EQ(host::prune(path(), keep, now_us_).rows, 0);
}

TEST_F(Keeping, MoreThanGoesAtOnce) {
    Store store(setup());
    for (int i = 0; i < 5; ++i)
        store.commit(batch_of(std::vector<host::StoredEvent>(900, crossing(kMonday_us + i))));
    host::Retention keep;
    keep.events = 1;
    EXPECT_EQ(host::prune(path(), keep, kMonday_us + kDay_us + 4).rows, 3600);
    EXPECT_EQ(rows("events"), 900);
}

TEST_F(Keeping, NobodyLosesAnythingWithoutAWord) {
    fill();
    host::Database(path(), host::Database::Access::kWrite, 50)
        .execute("INSERT INTO cursors VALUES ('hub', 1, 9, 0), ('webhook', 1, 20, 0)");
    host::Retention keep;
    keep.events = 4;
    const host::Pruned pruned = host::prune(path(), keep, now_us_);
    EXPECT_THAT(pruned.lost, ElementsAre(HasSubstr("\"hub\" has lost 3 events")));
    EXPECT_THAT(text("SELECT text FROM health WHERE fault = 'events_lost'"), HasSubstr("hub"));
}

TEST_F(Keeping, EndsWhenItIsToldTo) {
    fill();
    host::Retention keep;
    keep.events = 0;
    EXPECT_EQ(host::prune(path(), keep, now_us_ + kDay_us, [] { return true; }).rows, 0);
    EXPECT_EQ(rows("events"), 20);
}

// Everything in the database is years old, so the first time in the background removes it.
TEST_F(Keeping, HappensInTheBackground) {
    fill();
    std::ofstream(path("other.db")) << "this is no database";
    host::ServiceFile file;
    file.folder = std::filesystem::path(path()).parent_path().string();
    file.cameras.resize(3);
    file.cameras[0].name = "none";
    file.cameras[1].name = "other";
    file.cameras[2].name = "entrance";
    file.keep.events = 1;
    std::mutex mutex;
    std::string told;
    {
        const host::RetentionTask task(
            file, [&](host::LogLevel, const std::string&, const std::string& sentence) {
                const std::lock_guard lock(mutex);
                told = sentence;
            });
        for (int i = 0; i < 6000 && rows("events") > 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(rows("events"), 0);
    EXPECT_EQ(rows("minutes"), 10);
    EXPECT_THAT(told, HasSubstr("other.db"));
}

TEST_F(Keeping, TheSettingsInForceStay) {
    for (const char* settings : {"a = 1", "a = 2"}) {
        host::StoreSetup with = setup();
        with.settings = settings;
        const Store store(with);
    }
    host::Retention keep;
    keep.settings = 0;
    host::prune(path(), keep, INT64_MAX / 2);
    EXPECT_EQ(text("SELECT group_concat(text) FROM settings"), "a = 2");
}

}  // namespace
