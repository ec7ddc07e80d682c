// Loans of frame sets, and what happens when they are given back wrongly.
#include "host/platform/frame_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "host/platform/pass_observer.h"

namespace {

using host::FramePlanes;
using host::FramePool;

void submit(FramePool& pool, std::int64_t number) {
    const int slot = pool.acquire();
    FramePlanes& planes = pool.planes(slot);
    planes.colour_nv12.assign(960 * 544 * 3 / 2, 1);
    planes.depth_nv12.assign(480 * 256 * 3 / 2, 2);
    planes.raw_mm.assign(480 * 256, static_cast<std::uint16_t>(number));
    pool.submit(slot, number);
}

void give_back(FramePool& pool, const AVS_IVE_FRAME_S& frame) {
    EXPECT_EQ(pool.unmap(reinterpret_cast<void*>(frame.vir_addr), frame.map_size), 0);
    EXPECT_EQ(pool.release_block(frame.vb_blk), 0);
}

void give_back(FramePool& pool, const AVS_IVE_ALL_S& set) {
    give_back(pool, set.real);
    give_back(pool, set.depth);
    give_back(pool, set.raw);
}

TEST(FramePool, LendsDepthInThePlaceOfTheSensorsWhereThereIsAny) {
    FramePool pool(1);
    const int slot = pool.acquire();
    pool.planes(slot).raw_mm.assign(480 * 256, 3000);
    pool.planes(slot).lent_mm.assign(480 * 256, 3060);
    pool.submit(slot, 1);
    const AVS_IVE_ALL_S set = pool.take();
    EXPECT_EQ(*reinterpret_cast<const std::uint16_t*>(set.raw.vir_addr), 3060);
    EXPECT_EQ(pool.on_loan(set.raw.word0)->raw_mm[0], 3000);
    give_back(pool, set);
    EXPECT_EQ(pool.loans().errors, 0);
}

TEST(FramePool, HandsOutNothingWhenNothingIsReady) {
    FramePool pool(2);
    const AVS_IVE_ALL_S set = pool.take();
    EXPECT_EQ(set.flag, 0u);
    for (const AVS_IVE_FRAME_S* frame : {&set.real, &set.depth, &set.raw}) {
        EXPECT_EQ(frame->vb_blk, VCA_VB_NONE);
        EXPECT_EQ(frame->vir_addr, 0u);
    }
    EXPECT_EQ(pool.loans().blocks, 0);
}

TEST(FramePool, HandsOutThreeMappedFramesInOrder) {
    FramePool pool(3);
    submit(pool, 0);
    submit(pool, 1);
    const AVS_IVE_ALL_S first = pool.take();
    EXPECT_EQ(first.flag, 1u);
    EXPECT_EQ(first.real.word0, 1u);
    EXPECT_EQ(first.real.map_size, 783360u);
    EXPECT_EQ(first.depth.map_size, 184320u);
    EXPECT_EQ(first.raw.map_size, 245760u);
    EXPECT_EQ(pool.loans().blocks, 3);
    EXPECT_EQ(pool.loans().mappings, 3);
    const AVS_IVE_ALL_S second = pool.take();
    EXPECT_EQ(second.flag, 2u);
    EXPECT_EQ(*reinterpret_cast<const std::uint16_t*>(second.raw.vir_addr), 1);
    give_back(pool, first);
    EXPECT_EQ(pool.loans().blocks, 3);
    give_back(pool, second);
    EXPECT_EQ(pool.loans().blocks, 0);
    EXPECT_EQ(pool.loans().mappings, 0);
    EXPECT_EQ(pool.loans().errors, 0);
}

TEST(FramePool, FlagIsTheLow32BitsOfTheFrameNumberPlusOne) {
    FramePool pool(1);
    submit(pool, 0x1'0000'0006LL);
    EXPECT_EQ(pool.take().flag, 7u);
}

TEST(FramePool, FindsThePixelsOfALoanByItsWord) {
    FramePool pool(2);
    submit(pool, 41);
    EXPECT_EQ(pool.on_loan(42), nullptr);  // queued, not on loan
    const AVS_IVE_ALL_S set = pool.take();
    ASSERT_NE(pool.on_loan(42), nullptr);
    EXPECT_EQ(pool.on_loan(42)->raw_mm[0], 41);
    EXPECT_EQ(pool.on_loan(43), nullptr);
    give_back(pool, set);
    EXPECT_EQ(pool.on_loan(42), nullptr);
}

TEST(FramePool, CountsWhatIsMissing) {
    FramePool pool(1);
    submit(pool, 0);
    const AVS_IVE_ALL_S set = pool.take();
    give_back(pool, set.real);
    EXPECT_EQ(pool.unmap(reinterpret_cast<void*>(set.raw.vir_addr), set.raw.map_size), 0);
    EXPECT_EQ(pool.loans().blocks, 2);
    EXPECT_EQ(pool.loans().mappings, 1);
}

TEST(FramePool, TakesNoHarmFromWrongReturns) {
    FramePool pool(1);
    submit(pool, 0);
    const AVS_IVE_ALL_S old = pool.take();
    give_back(pool, old);
    EXPECT_EQ(pool.release_block(old.real.vb_blk), -1);  // twice
    EXPECT_EQ(pool.release_block(VCA_VB_NONE), -1);      // none
    EXPECT_EQ(pool.release_block(12345u << 8), -1);      // never lent
    int local = 0;
    EXPECT_EQ(pool.unmap(&local, 4), -1);
    EXPECT_EQ(pool.unmap(reinterpret_cast<void*>(old.raw.vir_addr), old.raw.map_size), -1);
    EXPECT_EQ(pool.loans().errors, 5);
    submit(pool, 1);
    const AVS_IVE_ALL_S fresh = pool.take();
    EXPECT_EQ(pool.release_block(old.real.vb_blk), -1);  // the same slot, an earlier loan
    EXPECT_EQ(pool.unmap(reinterpret_cast<void*>(fresh.raw.vir_addr), 1), -1);  // wrong length
    EXPECT_EQ(pool.loans().blocks, 3);
    give_back(pool, fresh);
    EXPECT_EQ(pool.loans().blocks, 0);
}

// Lists the passes of a pool while it lives; at the end of each the pixels must still be there.
class PassList final : public host::PassObserver {
  public:
    explicit PassList(FramePool& pool) : pool_(pool) { host::set_pass_observer(this); }
    ~PassList() override { host::set_pass_observer(nullptr); }
    PassList(const PassList&) = delete;
    PassList& operator=(const PassList&) = delete;

    void begin_pass(std::int64_t number) override {
        begun.push_back(number);
        pool_.hold(number);
    }
    void detected(std::chrono::nanoseconds) override {}
    void tracked(int, const std::vector<IOU_TRK_OBJ_S>&, const IOU_TRK_RSLT_S&,
                 std::chrono::nanoseconds) override {}
    void end_pass(std::int64_t number) override {
        ended.push_back(number);
        EXPECT_EQ(pool_.held(number).raw_mm[0], number);
        pool_.let_go(number);
    }

    std::vector<std::int64_t> begun;
    std::vector<std::int64_t> ended;

  private:
    FramePool& pool_;
};

TEST(FramePool, ReportsEachSetOnceAndBeforeItsSlotIsFree) {
    FramePool pool(1);
    const PassList passes(pool);
    for (const std::int64_t number : {5, 6}) {
        submit(pool, number);
        const AVS_IVE_ALL_S set = pool.take();
        give_back(pool, set.raw);
        give_back(pool, set.depth);
        EXPECT_EQ(passes.ended.size() + 1, passes.begun.size());
        give_back(pool, set.real);
    }
    EXPECT_EQ(passes.begun, (std::vector<std::int64_t>{5, 6}));
    EXPECT_EQ(passes.ended, passes.begun);
}

TEST(FramePool, MakesTheProducerWaitForAFreeSlot) {
    FramePool pool(1);
    submit(pool, 0);
    std::atomic<bool> got_slot{false};
    std::thread producer([&] {
        pool.give_up(pool.acquire());
        got_slot = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(got_slot);
    give_back(pool, pool.take());
    producer.join();
    EXPECT_TRUE(got_slot);
    pool.wait_drained();
}

TEST(FramePool, KeepsThePixelsOfAHeldSetUntilItIsLetGo) {
    FramePool pool(1);
    submit(pool, 7);
    const AVS_IVE_ALL_S set = pool.take();
    pool.hold(7);
    give_back(pool, set);
    std::atomic<bool> got_slot{false};
    std::thread producer([&] {
        submit(pool, 8);
        got_slot = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(got_slot);
    EXPECT_EQ(pool.held(7).raw_mm[0], 7);
    EXPECT_EQ(pool.on_loan(8), nullptr);  // the library has given it back
    EXPECT_EQ(pool.loans().blocks, 0);
    pool.let_go(7);
    producer.join();
    EXPECT_THROW(pool.held(7), std::logic_error);
    EXPECT_THROW(pool.hold(7), std::logic_error);
    EXPECT_THROW(pool.let_go(7), std::logic_error);
}

TEST(FramePool, ASetLetGoBeforeItComesBackIsFreeWhenItDoes) {
    FramePool pool(1);
    submit(pool, 7);
    const AVS_IVE_ALL_S set = pool.take();
    pool.hold(7);
    pool.let_go(7);
    EXPECT_EQ(pool.held(7).raw_mm[0], 7);  // still on loan
    give_back(pool, set);
    pool.wait_drained();
    pool.give_up(pool.acquire());
}

std::optional<std::int64_t> submit_newest(FramePool& pool, std::int64_t number) {
    const int slot = pool.acquire();
    pool.planes(slot).raw_mm.assign(480 * 256, static_cast<std::uint16_t>(number));
    return pool.submit_newest(slot, number);
}

TEST(FramePool, TheNewestTakesThePlaceOfTheOneThatWaits) {
    FramePool pool(3);
    EXPECT_EQ(submit_newest(pool, 1), std::nullopt);
    EXPECT_EQ(submit_newest(pool, 2), 1);
    EXPECT_EQ(submit_newest(pool, 3), 2);
    const AVS_IVE_ALL_S third = pool.take();
    EXPECT_EQ(third.flag, 4u);
    EXPECT_EQ(*reinterpret_cast<const std::uint16_t*>(third.raw.vir_addr), 3);
    EXPECT_EQ(pool.take().raw.vb_blk, VCA_VB_NONE);
    // One on loan is not left out.
    EXPECT_EQ(submit_newest(pool, 4), std::nullopt);
    EXPECT_EQ(submit_newest(pool, 5), 4);
    EXPECT_EQ(pool.loans().blocks, 3);
    give_back(pool, third);
    const AVS_IVE_ALL_S fifth = pool.take();
    EXPECT_EQ(fifth.flag, 6u);
    give_back(pool, fifth);
    pool.wait_drained();
    for (int i = 0; i < 3; ++i)
        pool.acquire();  // the places of those that were left out are free again
    EXPECT_EQ(pool.loans().errors, 0);
}

TEST(FramePool, RefusesAbsurdSizes) {
    EXPECT_THROW(FramePool(0), std::invalid_argument);
    EXPECT_THROW(FramePool(65), std::invalid_argument);
}

TEST(PlatformFrames, WithoutAPoolThereIsNothing) {
    host::set_frame_pool(nullptr);
    EXPECT_EQ(avs_read_all_ive().raw.vb_blk, VCA_VB_NONE);
    EXPECT_EQ(ss_mpi_vb_release_blk(0), -1);
    EXPECT_EQ(ss_mpi_sys_munmap(nullptr, 0), -1);
}

TEST(PlatformFrames, GoThroughTheActivePool) {
    FramePool pool(1);
    host::set_frame_pool(&pool);
    submit(pool, 9);
    const AVS_IVE_ALL_S set = avs_read_all_ive();
    EXPECT_EQ(set.flag, 10u);
    EXPECT_EQ(ss_mpi_sys_munmap(reinterpret_cast<void*>(set.real.vir_addr), set.real.map_size), 0);
    EXPECT_EQ(ss_mpi_vb_release_blk(set.real.vb_blk), 0);
    host::set_frame_pool(nullptr);
}

}  // namespace
