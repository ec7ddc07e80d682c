// Whatever happens to the disk: what was told as safe is there, and everything is there once.
#include "host/store/store_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>

#include "host/base/input_error.h"
#include "host/store/recovery.h"
#include "host/store/schema.h"
#include "tests/host/store/store_folder.h"
#include "tests/support/fault_disk.h"

namespace {

using host::Committed;
using host::HealthLevel;
using host::StoreWriter;
using host::StoreWriterSetup;
using test::batch_of;
using test::crossing;
using test::kMonday_us;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using namespace std::chrono_literals;

// Waits for what another thread does; the limit only ends a test that has failed.
bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(5ms);
    }
    return condition();
}

class StoreWriting : public test::StoreFolder {
  protected:
    StoreWriterSetup writer_setup() {
        StoreWriterSetup setup;
        setup.store = this->setup();
        setup.gather = 1ms;
        setup.retry = 2ms;
        setup.committed = [this](const Committed& done) {
            const std::lock_guard lock(mutex_);
            told_.push_back(done);
        };
        setup.told = [this](const host::HealthNote& note) {
            const std::lock_guard lock(mutex_);
            faults_.push_back(std::string(host::health_level_name(note.level)) + " " + note.fault);
            sentences_ += note.text + "\n";
        };
        return setup;
    }
    static void count(StoreWriter& writer, int from, int to) {
        for (int i = from; i < to; ++i)
            writer.add(batch_of({crossing(kMonday_us + i)}));
    }
    std::vector<Committed> told() {
        const std::lock_guard lock(mutex_);
        return told_;
    }
    std::vector<std::string> faults() {
        const std::lock_guard lock(mutex_);
        return faults_;
    }
    std::string sentences() {
        const std::lock_guard lock(mutex_);
        return sentences_;
    }
    // Each of them once, in their order, and totals that equal them.
    void expect_all(int count) {
        EXPECT_EQ(integer("SELECT count(*) FROM events"), count);
        EXPECT_EQ(integer("SELECT count(DISTINCT time_us) FROM events"), count);
        EXPECT_EQ(integer("SELECT count(*) FROM events WHERE sequence != time_us - " +
                          std::to_string(kMonday_us - 1)),
                  0);
        EXPECT_EQ(integer("SELECT adult FROM totals WHERE direction = 1"), count);
        EXPECT_EQ(integer("SELECT sum(adult) FROM minutes"), count);
    }
    void damage_from(std::int64_t offset) {
        std::fstream file(path(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(offset);
        const auto size = static_cast<std::int64_t>(std::filesystem::file_size(path()));
        for (std::int64_t i = offset; i < size; ++i)
            file.put('\x5a');
    }

  private:
    std::mutex mutex_;
    std::vector<Committed> told_;
    std::vector<std::string> faults_;
    std::string sentences_;
};

TEST_F(StoreWriting, TellsWhatIsSafe) {
    StoreWriter writer(writer_setup());
    count(writer, 0, 3);
    ASSERT_TRUE(eventually([&] { return !told().empty() && told().back().sequence == 3; }));
    EXPECT_EQ(integer("SELECT count(*) FROM events"), 3);
    count(writer, 3, 5);
    writer.finish();
    EXPECT_EQ(told().back().sequence, 5);
    expect_all(5);
    EXPECT_THAT(faults(), ElementsAre());
    EXPECT_EQ(integer("SELECT clean FROM store"), 1);
}

TEST_F(StoreWriting, GathersWhatComesTogether) {
    StoreWriterSetup setup = writer_setup();
    setup.gather = 1h;
    StoreWriter writer(setup);
    count(writer, 0, 50);
    writer.finish();
    EXPECT_EQ(told().size(), 1u);
    expect_all(50);
}

TEST_F(StoreWriting, GoesOnInMemoryWhileTheDiskIsFull) {
    test::FaultDisk disk;
    StoreWriter writer(writer_setup());
    count(writer, 0, 2);
    ASSERT_TRUE(eventually([&] { return !told().empty() && told().back().sequence == 2; }));
    disk.fail_always(SQLITE_FULL);
    count(writer, 2, 9);
    ASSERT_TRUE(eventually([&] { return !faults().empty(); }));
    EXPECT_THAT(faults(), ElementsAre("degraded disk_full"));
    EXPECT_THAT(sentences(), HasSubstr("counts are kept in memory until it is over"));
    EXPECT_EQ(told().back().sequence, 2);
    count(writer, 9, 12);
    disk.fail_always(SQLITE_OK);
    writer.finish();
    EXPECT_EQ(told().back().sequence, 12);
    EXPECT_THAT(faults(), ElementsAre("degraded disk_full", "ok disk_full"));
    expect_all(12);
    EXPECT_EQ(text("SELECT group_concat(level || ' ' || fault) FROM health"),
              "degraded disk_full,ok disk_full");
}

TEST_F(StoreWriting, BeginsOnADiskThatMustNotBeWrittenTo) {
    test::FaultDisk disk;
    disk.fail_always(SQLITE_READONLY);
    StoreWriter writer(writer_setup());
    count(writer, 0, 4);
    ASSERT_TRUE(eventually([&] { return !faults().empty(); }));
    EXPECT_THAT(faults(), ElementsAre("degraded disk_read_only"));
    disk.fail_always(SQLITE_OK);
    writer.finish();
    expect_all(4);
}

TEST_F(StoreWriting, WaitsForAnotherProgramsLock) {
    StoreWriter writer(writer_setup());
    count(writer, 0, 1);
    ASSERT_TRUE(eventually([&] { return !told().empty(); }));
    {
        host::Database other(path(), host::Database::Access::kWrite, 1000);
        const host::Transaction locked(other);
        count(writer, 1, 6);
        ASSERT_TRUE(eventually([&] { return !faults().empty(); }));
        EXPECT_THAT(faults(), ElementsAre("degraded database_locked"));
        EXPECT_EQ(told().back().sequence, 1);
    }
    writer.finish();
    expect_all(6);
}

// Whichever write, sync or removal fails once, and however: the promise is the same.
TEST_F(StoreWriting, SurvivesTheFailureOfAnyStep) {
    test::FaultDisk disk;
    for (const int result : {SQLITE_FULL, SQLITE_IOERR_FSYNC}) {
        for (std::int64_t n = 1;; ++n) {
            std::filesystem::remove_all(folder_);
            std::filesystem::create_directories(folder_);
            disk.fail_once(n, result);
            {
                StoreWriter writer(writer_setup());
                count(writer, 0, 3);
                ASSERT_TRUE(eventually([&] { return !told().empty(); }));
                count(writer, 3, 6);
                writer.finish();
            }
            SCOPED_TRACE("step " + std::to_string(n) + " failed with " + std::to_string(result));
            const bool failed = disk.has_failed();
            disk.fail_once(0, SQLITE_OK);
            expect_all(6);
            if (HasFailure()) return;
            if (!failed) {
                EXPECT_GT(n, 20);
                break;
            }
        }
    }
}

TEST_F(StoreWriting, WhatWaitsIsBounded) {
    test::FaultDisk disk;
    StoreWriterSetup setup = writer_setup();
    setup.most_waiting = 10;
    StoreWriter writer(setup);
    disk.fail_always(SQLITE_FULL);
    count(writer, 0, 1);
    ASSERT_TRUE(eventually([&] { return !faults().empty(); }));
    std::atomic<int> added{1};
    std::thread counting([&] {
        for (int i = 1; i < 40; ++i) {
            count(writer, i, i + 1);
            ++added;
        }
    });
    // The note about the fault is one of the ten.
    EXPECT_TRUE(eventually([&] { return added == 10; }));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(added, 10);
    disk.fail_always(SQLITE_OK);
    counting.join();
    writer.finish();
    expect_all(40);
}

TEST_F(StoreWriting, SaysWhatItHadToGiveUp) {
    test::FaultDisk disk;
    StoreWriterSetup setup = writer_setup();
    setup.patience = 5ms;
    StoreWriter writer(setup);
    disk.fail_always(SQLITE_FULL);
    count(writer, 0, 3);
    try {
        writer.finish();
        ADD_FAILURE() << "three counts were lost without a word";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("could not be written"), HasSubstr("full"),
                                        HasSubstr("its last 3 events are lost")));
    }
    EXPECT_THROW(count(writer, 3, 4), std::runtime_error);
}

TEST_F(StoreWriting, MovesADamagedDatabaseAsideAndKeepsItsTotals) {
    {
        StoreWriter writer(writer_setup());
        count(writer, 0, 7);
        writer.finish();
    }
    const std::string epoch = told().back().epoch;
    std::filesystem::copy(path(), path("entrance.db-2026.backup"));
    damage_from(0);
    StoreWriter writer(writer_setup());
    writer.add(batch_of({crossing(kMonday_us)}));
    writer.finish();
    EXPECT_THAT(faults(), ElementsAre("failed database_damaged", "ok totals_carried_over"));
    EXPECT_NE(told().back().epoch, epoch);
    EXPECT_EQ(told().back().sequence, 1);
    EXPECT_EQ(integer("SELECT adult FROM totals WHERE direction = 1"), 8);
    EXPECT_EQ(integer("SELECT count(*) FROM events"), 1);
    int aside = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder_))
        aside += entry.path().string().ends_with(host::kDamagedEnding) ? 1 : 0;
    EXPECT_EQ(aside, 1);
}

TEST_F(StoreWriting, TotalsThatNobodyCanReadBeginAtZero) {
    {
        StoreWriter writer(writer_setup());
        count(writer, 0, 7);
        writer.finish();
    }
    damage_from(0);
    StoreWriter writer(writer_setup());
    count(writer, 0, 1);
    writer.finish();
    EXPECT_THAT(faults(), ElementsAre("failed database_damaged"));
    EXPECT_EQ(integer("SELECT adult FROM totals WHERE direction = 1"), 1);
}

// After a crash the whole file is looked through while counting goes on.
TEST_F(StoreWriting, FindsDamageThatNoCountHasMet) {
    {
        StoreWriter writer(writer_setup());
        // Stories are on pages of their own, which no count reads.
        for (int i = 0; i < 40; ++i) {
            host::Batch batch = batch_of({crossing(kMonday_us + i)});
            batch.people.push_back({i, i, i, false, "was counted", std::string(3000, 'x')});
            writer.add(std::move(batch));
        }
        writer.finish();
    }
    host::Database(path(), host::Database::Access::kWrite, 50)
        .execute("UPDATE store SET clean = 0; PRAGMA wal_checkpoint(TRUNCATE)");
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(path()));
    damage_from(size - 8 * 4096);
    StoreWriter writer(writer_setup());
    for (int i = 0; i < 1000 && faults().empty(); ++i) {
        count(writer, 40 + i, 41 + i);
        std::this_thread::sleep_for(2ms);
    }
    writer.finish();
    EXPECT_THAT(faults(), Contains("failed database_damaged"));
    EXPECT_THAT(sentences(), HasSubstr("the check after an unclean end found damage"));
}

TEST_F(StoreWriting, RefusesWhatIsNotItsOwn) {
    const auto refusal = [&](const std::string& name) -> std::string {
        StoreWriterSetup other = writer_setup();
        other.store.path = path(name);
        try {
            const StoreWriter writer(other);
        } catch (const host::InputError& error) {
            return error.what();
        }
        return "";
    };
    std::ofstream(path("letter.txt")) << std::string(5000, 'x');
    EXPECT_THAT(refusal("letter.txt"), HasSubstr("is not a database; name another file"));
    EXPECT_EQ(std::filesystem::file_size(path("letter.txt")), 5000u);
    host::Database(path("photos.db"), host::Database::Access::kCreate, 50)
        .execute("CREATE TABLE photos (name TEXT)");
    EXPECT_THAT(refusal("photos.db"), HasSubstr("belongs to another program"));
    EXPECT_EQ(integer("SELECT count(*) FROM sqlite_schema", "photos.db"), 1);
    EXPECT_THAT(refusal("nowhere/entrance.db"), HasSubstr("there is no folder"));
    EXPECT_THAT(refusal("."), HasSubstr("is a folder"));
    const StoreWriter first(writer_setup());
    EXPECT_THAT(refusal("entrance.db"), HasSubstr("another program writes to"));
}

TEST_F(StoreWriting, TheTimeInBetweenIsAGap) {
    const auto watch = [&](std::int64_t from_us, std::int64_t until_us) {
        StoreWriter writer(writer_setup());
        host::Batch batch;
        batch.watched_from_us = kMonday_us + from_us;
        batch.watched_until_us = kMonday_us + until_us;
        writer.add(std::move(batch));
        writer.finish();
    };
    watch(0, 10'000'000);
    watch(10'066'667, 20'000'000);
    EXPECT_EQ(integer("SELECT count(*) FROM gaps"), 0);
    watch(80'000'000, 90'000'000);
    EXPECT_EQ(integer("SELECT to_us - from_us FROM gaps"), 60'000'000);
    // A recording that is counted again.
    watch(0, 10'000'000);
    EXPECT_EQ(integer("SELECT count(*) FROM gaps"), 1);
}

TEST_F(StoreWriting, SaysWhenOtherSettingsAreInForce) {
    for (const char* settings : {"a = 1", "a = 1", "a = 2"}) {
        StoreWriterSetup setup = writer_setup();
        setup.store.settings = settings;
        StoreWriter(setup).finish();
    }
    EXPECT_EQ(text("SELECT group_concat(kind) FROM events"), "settings");
}

}  // namespace
