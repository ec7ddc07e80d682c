// A loss of power at any moment: whoever was told of a count finds it, once, and totals equal the
// events.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/store/store_writer.h"
#include "tests/host/store/store_folder.h"
#include "tests/support/fault_disk.h"

namespace {

using host::Store;
using test::batch_of;
using test::crossing;
using test::DiskOperation;
using test::kMonday_us;

constexpr int kCrossings = 150;
constexpr int kPrefixes = 200;

class PowerLoss : public test::StoreFolder {
  protected:
    // Crossings in batches of one to four, checkpoints of the log among them.
    std::vector<DiskOperation> count_and_remember() {
        test::FaultDisk disk;
        disk.remember(true);
        Store store(setup());
        std::mt19937 random(1);
        for (int next = 0; next < kCrossings;) {
            host::Batch batch;
            const auto size = static_cast<int>(1 + random() % 4);
            for (const int end = std::min(next + size, kCrossings); next < end; ++next)
                batch.events.push_back(crossing(kMonday_us + next * host::kMinute_us / 3));
            // So that the log is written back many times.
            batch.people.push_back({0, 0, next, false, "why", std::string(400'000, 'x')});
            batch.watched_minutes = {host::minute_of(kMonday_us) + next / 3};
            disk.mark(store.commit(batch).sequence);
        }
        return disk.operations();
    }
};

TEST_F(PowerLoss, LosesNothingThatWasTold) {
    const std::vector<DiskOperation> operations = count_and_remember();
    const auto syncs = std::count_if(operations.begin(), operations.end(), [](const auto& o) {
        return o.kind == DiskOperation::Kind::kSync && o.path.ends_with(".db");
    });
    ASSERT_GT(syncs, 3) << "the log was not written back often enough for this test";
    std::mt19937 random(2026);
    for (int i = 0; i < kPrefixes; ++i) {
        const std::size_t count = (operations.size() * static_cast<std::size_t>(i + 1)) / kPrefixes;
        SCOPED_TRACE("after operation " + std::to_string(count));
        std::int64_t told = 0;
        for (std::size_t k = 0; k < count; ++k)
            if (operations[k].kind == DiskOperation::Kind::kMark) told = operations[k].mark;

        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
        test::write_after_power_loss(operations, count, folder_, random);
        const host::Committed last = Store(setup()).opened().last;
        EXPECT_GE(last.sequence, told);
        EXPECT_EQ(integer("SELECT count(*) FROM events"), last.sequence);
        EXPECT_EQ(integer("SELECT count(*) FROM events WHERE time_us != " +
                          std::to_string(kMonday_us) + " + (sequence - 1) * 20000000"),
                  0);
        EXPECT_EQ(integer("SELECT adult FROM totals WHERE direction = 1"), last.sequence);
        EXPECT_EQ(integer("SELECT coalesce(sum(adult), 0) FROM minutes"), last.sequence);
        EXPECT_EQ(text("PRAGMA quick_check"), "ok");
        if (HasFailure()) return;
    }
}

}  // namespace
