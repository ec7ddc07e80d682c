// A frame pass allocates no memory once its lists have grown to what the scene needs, although
// people come and go: a camera that runs for months must not fragment its memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "bench/quiet_host.h"
#include "tests/support/allocation_watch.h"
#include "vca/event.h"
#include "vca/heat_map.h"
#include "vca/messages.h"

namespace {

using bench::Crowd;
using testing::Ge;
using testing::IsEmpty;

constexpr int kPeople = 30;
constexpr int kWarmUpFrames = 2 * bench::kStayFrames;
constexpr int kWatchedFrames = 2 * bench::kStayFrames;

// Watches what the library allocates in the passes after the warm-up; the host's inference is left
// out.
class PassWatch : public bench::PassObserver {
  public:
    void begin() override { test::watch_allocations(++passes_ > kWarmUpFrames); }
    void end() override { test::watch_allocations(false); }
    void pause() override { test::watch_allocations(false); }
    void resume() override { test::watch_allocations(passes_ > kWarmUpFrames); }

    int watched_passes() const { return passes_ - kWarmUpFrames; }

  private:
    int passes_ = 0;
};

class PassAllocations : public testing::TestWithParam<VCA_WORK_MODE_E> {
  protected:
    // Returns the number of passes that were watched.
    static int run(VCA_ALGO_CFG_S (Crowd::*config)() const) {
        test::forget_allocations();
        const Crowd crowd(kPeople, GetParam());
        PassWatch watch;
        const bench::Muted muted;
        bench::run_library(crowd, (crowd.*config)(), kWarmUpFrames + kWatchedFrames, watch);
        return watch.watched_passes();
    }
};

TEST_P(PassAllocations, NoneWithEverythingOn) {
    EXPECT_EQ(run(&Crowd::everything_config), kWatchedFrames);
    EXPECT_EQ(test::watched_allocations(), 0);
    EXPECT_THAT(test::allocation_stacks(), IsEmpty());
}

TEST_P(PassAllocations, NoneWhenCountingOnly) {
    EXPECT_EQ(run(&Crowd::counting_config), kWatchedFrames);
    EXPECT_EQ(test::watched_allocations(), 0);
    EXPECT_THAT(test::allocation_stacks(), IsEmpty());
}

// The watched run would prove little if hardly anything happened in it.
TEST_P(PassAllocations, SceneIsBusy) {
    EXPECT_EQ(run(&Crowd::everything_config), kWatchedFrames);
    constexpr int kFrames = kWarmUpFrames + kWatchedFrames;
    EXPECT_EQ(bench::messages_sent(VCA_MSG_DETECTIONS), kFrames);
    EXPECT_EQ(bench::messages_sent(VCA_MSG_DETECTED_TRACKS), kFrames);
    if (GetParam() == VCA_WORK_SLAVE) {
        EXPECT_EQ(bench::messages_sent(VCA_MSG_SLAVE_TRACKS), kFrames);
        return;
    }
    constexpr int kTurns = kFrames / bench::kStayFrames;
    EXPECT_EQ(bench::messages_sent(VCA_MSG_TRACKS), kFrames);
    EXPECT_EQ(bench::messages_sent(VCA_MSG_REGIONS), kFrames);
    EXPECT_THAT(bench::messages_sent(VCA_MSG_LINE_COUNT), Ge(kFrames / 8));
    EXPECT_THAT(bench::messages_sent(VCA_MSG_GROUP_COUNT), Ge(kFrames / 32));
    EXPECT_THAT(bench::messages_sent(VCA_MSG_TRACK_BORN), Ge(kTurns * kPeople));
    EXPECT_THAT(bench::messages_sent(VCA_MSG_TRACK_REMOVED), Ge((kTurns - 1) * kPeople));
}

std::string name_of_mode(const testing::TestParamInfo<VCA_WORK_MODE_E>& mode) {
    constexpr const char* kNames[] = {"StandAlone", "Master", "Slave"};
    return kNames[static_cast<int>(mode.param)];
}

INSTANTIATE_TEST_SUITE_P(Modes, PassAllocations,
                         testing::Values(VCA_WORK_ALONE, VCA_WORK_MASTER, VCA_WORK_SLAVE),
                         name_of_mode);

// Keeps the compiler from leaving out an allocation that nobody uses.
void* kept(void* memory) {
    static void* volatile last;
    last = memory;
    return last;
}

template <typename Step>
int allocations_of(Step step) {
    const int before = test::watched_allocations();
    test::watch_allocations(true);
    step();
    test::watch_allocations(false);
    return test::watched_allocations() - before;
}

TEST(AllocationWatch, CountsEachWayToMemory) {
    EXPECT_EQ(allocations_of([] {}), 0);
    EXPECT_EQ(allocations_of([] { std::free(kept(std::malloc(8))); }), 1);
    EXPECT_EQ(allocations_of([] { std::free(kept(std::calloc(2, 8))); }), 1);
    EXPECT_EQ(allocations_of([] { std::free(std::realloc(kept(std::malloc(8)), 4096)); }), 2);
    EXPECT_EQ(allocations_of([] { std::free(kept(std::aligned_alloc(64, 64))); }), 1);
    EXPECT_EQ(allocations_of([] { delete static_cast<int*>(kept(new int(1))); }), 1);
}

// The answer has its storage before it is asked for.
TEST(AllocationWatch, HeatMapsAreSentWithoutAny) {
    const auto answer = [] {
        uint8_t request[VCA_HEAT_REQUEST_BYTES] = {};
        vca_heat_map_update_rslt(0, request);
    };
    answer();  // the first print allocates
    EXPECT_EQ(allocations_of(answer), 0);
}

// The first crossing that is ever counted makes the queue's storage.
TEST(AllocationWatch, SeesWhatTheLibraryAllocates) {
    TRACKER_RSLT_S trk{};
    vca_heat_map_reset_rslt(0, nullptr);  // the first print allocates too
    EXPECT_EQ(allocations_of([&] { vca_dev_add_counting_line_group(&trk, 0, VCA_DIR_1); }), 1);
    EXPECT_THAT(test::allocation_stacks(), testing::HasSubstr("vca_dev_add_counting_line_group"));
}

}  // namespace
