// The total of the heat maps: how tracks' grids get into it, its messages and debug texts.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "tests/event/heat_model.h"

namespace {

bool out_of_memory = false;

// While there is none, the library gets no memory, but its host does.
bool is_refused(void* caller) {
    Dl_info info{};
    return out_of_memory && dladdr(caller, &info) != 0 && info.dli_fname != nullptr &&
           std::strstr(info.dli_fname, "libvca.so") != nullptr;
}

void* allocate(size_t size, void* caller) {
    return is_refused(caller) ? nullptr : std::malloc(size > 0 ? size : 1);
}

}  // namespace

void* operator new(size_t size) {
    if (void* memory = allocate(size, __builtin_return_address(0))) return memory;
    throw std::bad_alloc();
}
// Another exception than above: of two equal bodies GCC lets one call the other, which would then
// be called from here and no longer from the library.
void* operator new[](size_t size) {
    if (void* memory = allocate(size, __builtin_return_address(0))) return memory;
    throw std::bad_array_new_length();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, __builtin_return_address(0));
}
// Where these are inlined and the others are not, GCC takes them for a mismatch.
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, size_t) noexcept {
    std::free(memory);
}

namespace {

using fix::centred;
using fix::difference;
using fix::Grids;
using fix::grids_of;
using fix::put_cell;
using fix::take_messages;
using fix::total_grids;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kHeatMap = 6081;
constexpr size_t kReplyLength = 259224;

size_t cell_at(int row, int col) {
    return static_cast<size_t>(row * fix::kHeatCols + col);
}

struct HeatTotal : fix::HeatFixture {
    // A track with a few cells of its own.
    TRACKER_RSLT_S& add_with_cells(int seed = 0) {
        TRACKER_RSLT_S& trk = add(centred(480, 272));
        trk.age = 120;
        put_cell(trk.heatDwell, 0, 0, 1000 + seed);
        put_cell(trk.heatDwell, 134, 239, 2000 + seed);
        put_cell(trk.heatDwell, 50, 100 + seed, 300);
        put_cell(trk.heatMotion, 50, 100, 4 + seed);
        put_cell(trk.heatMotion, 0, 239, 5);
        put_cell(trk.heatMotion, 134, 0, 6);
        return trk;
    }

    static void fold(TRACKER_RSLT_S& trk) { EXPECT_EQ(vca_trker_heat_map_update_result(&trk), 0); }

    void refresh() { EXPECT_EQ(vca_event_heat_map_refresh_total_result(tracks), 0); }

    static void expect_total(const Grids& want) { EXPECT_EQ(difference(total_grids(), want), ""); }

    static void expect_cleared(const TRACKER_RSLT_S& trk) {
        EXPECT_EQ(difference(grids_of(trk), Grids{}), "");
        EXPECT_TRUE(fix::rectangle_empty(trk.heatDwell));
        EXPECT_TRUE(fix::rectangle_empty(trk.heatMotion));
    }
};

// ---- Folding ----

TEST_F(HeatTotal, StartsEmpty) {
    ASSERT_NE(vca_dev_get_heat_map_rslt(), nullptr);
    expect_total({});
}

TEST_F(HeatTotal, FoldingMovesTheGrids) {
    Grids want;
    for (int seed = 0; seed < 3; ++seed) {
        TRACKER_RSLT_S& trk = add_with_cells(seed);
        want.add(grids_of(trk));
        fold(trk);
        expect_total(want);
        expect_cleared(trk);
        fold(trk);  // nothing is left to be added
        expect_total(want);
    }
}

TEST_F(HeatTotal, DroppedGridsAreClearedAllTheSame) {
    for (const bool false_detection : {false, true}) {
        TRACKER_RSLT_S& trk = add_with_cells();
        (false_detection ? trk.staticFalseDet : trk.heightExceed) = 1;
        fold(trk);
        expect_total({});
        expect_cleared(trk);
    }
}

TEST_F(HeatTotal, FoldingLooksAtNothingElse) {
    fix::cfg().HtmpEn = 0;
    TRACKER_RSLT_S& trk = add_with_cells();
    trk.age = 1;
    trk.lostCnt = 5;
    trk.curObj = fix::box(0, 0, 5, 5, 0.5f, 2);
    trk.htmpMoved = 1;
    const Grids want = grids_of(trk);
    fold(trk);
    expect_total(want);
    EXPECT_EQ(trk.htmpMoved, 1);
}

TEST_F(HeatTotal, SumsWrap) {
    TRACKER_RSLT_S& trk = add_with_cells();
    for (int i = 0; i < 2; ++i) {
        put_cell(trk.heatDwell, 20, 20, 0x7FFFFFFF);
        put_cell(trk.heatMotion, 20, 20, 0x7FFFFFFF);
        fold(trk);
    }
    EXPECT_EQ(total_grids().dwell[cell_at(20, 20)], -2);
    EXPECT_EQ(total_grids().motion[cell_at(20, 20)], -2);
}

TEST_F(HeatTotal, ClearedGridsFillAgain) {
    add(centred(480, 272));
    accumulate();
    const Grids once = grids_of(tracks[0]);
    fold(tracks[0]);
    accumulate();
    EXPECT_EQ(difference(grids_of(tracks[0]), once), "");
    fold(tracks[0]);
    Grids twice = once;
    twice.add(once);
    expect_total(twice);
}

// ---- The periodic fold ----

TEST_F(HeatTotal, EveryHundredTwentiethUpdateFolds) {
    for (const int age : {1, 60, 119, 120, 121, 180, 239, 240, 241, 360, 1200}) {
        SCOPED_TRACE(age);
        tracks.clear();
        vca_dev_reset_heat_map_rslt();
        add_with_cells().age = age;
        const Grids before = grids_of(tracks[0]);
        refresh();
        expect_total(age % 120 == 0 ? before : Grids{});
        EXPECT_EQ(difference(grids_of(tracks[0]), age % 120 == 0 ? Grids{} : before), "");
    }
}

TEST_F(HeatTotal, LostTracksKeepTheirGrids) {
    for (const int lost : {0, 1, 2, 4}) {
        SCOPED_TRACE(lost);
        tracks.clear();
        vca_dev_reset_heat_map_rslt();
        add_with_cells().lostCnt = lost;
        const Grids before = grids_of(tracks[0]);
        refresh();
        expect_total(lost == 0 ? before : Grids{});
        EXPECT_EQ(difference(grids_of(tracks[0]), lost == 0 ? Grids{} : before), "");
    }
}

TEST_F(HeatTotal, PeriodicFoldDoesNothingWhenOff) {
    fix::cfg().HtmpEn = 0;
    const Grids before = grids_of(add_with_cells());
    refresh();
    expect_total({});
    EXPECT_EQ(difference(grids_of(tracks[0]), before), "");
}

TEST_F(HeatTotal, PeriodicFoldTakesEveryDueTrackOfAnySizeAndClass) {
    Grids want;
    for (int i = 0; i < 5; ++i)
        add_with_cells(i).age = i == 2 ? 121 : 120 * (i + 1);
    tracks[0].curObj = fix::box(0, 0, 5, 5, 0.5f, 2);
    tracks[3].heightExceed = 1;
    for (const size_t i : {0u, 1u, 4u})
        want.add(grids_of(tracks[i]));
    refresh();
    expect_total(want);
    for (const size_t i : {0u, 1u, 3u, 4u})
        expect_cleared(tracks[i]);
    EXPECT_NE(difference(grids_of(tracks[2]), Grids{}), "");
}

// ---- The end of a track ----

struct HeatEnd : HeatTotal {
    // A person is seen once, gets cells and is missing for `missing` passes.
    Grids end_track(fix::Scene& scene, int missing) {
        scene.pass({{1, centred(480, 272)}});
        put_cell(scene.track(1).heatDwell, 10, 20, 777);
        put_cell(scene.track(1).heatMotion, 30, 40, 7);
        const Grids cells = grids_of(scene.track(1));
        for (int i = 0; i < missing; ++i)
            scene.pass({});
        return cells;
    }
};

TEST_F(HeatEnd, GridsOfAnEndedTrackAreAdded) {
    fix::Scene scene;
    const Grids cells = end_track(scene, 4);
    expect_total({});
    EXPECT_THAT(scene.list, SizeIs(1));
    scene.pass({});
    EXPECT_THAT(scene.list, IsEmpty());
    expect_total(cells);
}

TEST_F(HeatEnd, GridsOfAnEndedTrackAreLostWhenOff) {
    fix::cfg().HtmpEn = 0;
    fix::Scene scene;
    end_track(scene, 5);
    EXPECT_THAT(scene.list, IsEmpty());
    expect_total({});
}

TEST_F(HeatEnd, MasterAddsItsMergedTracksOnly) {
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    fix::Scene local, merged(true);
    end_track(local, 5);
    EXPECT_THAT(local.list, IsEmpty());
    expect_total({});
    const Grids cells = end_track(merged, 5);
    EXPECT_THAT(merged.list, IsEmpty());
    expect_total(cells);
}

TEST_F(HeatEnd, SlaveAddsNothing) {
    fix::cfg().devWorkMode = VCA_WORK_SLAVE;
    fix::Scene scene;
    end_track(scene, 5);
    EXPECT_THAT(scene.list, IsEmpty());
    expect_total({});
}

TEST_F(HeatEnd, FalseDetectionIsDroppedAtItsEnd) {
    fix::Scene scene;
    end_track(scene, 4);
    scene.track(1).staticFalseDet = 1;
    scene.pass({});
    EXPECT_THAT(scene.list, IsEmpty());
    expect_total({});
}

// ---- Reset and request ----

struct HeatMessages : HeatTotal {
    uint8_t request[24];

    void SetUp() override {
        HeatTotal::SetUp();
        for (size_t i = 0; i < sizeof(request); ++i)
            request[i] = static_cast<uint8_t>(200 + i);
    }

    // The answer: the request, the motion grid at 24, the dwell grid at 129624.
    fix::BytePayload reply(const Grids& total) const {
        fix::BytePayload want(kReplyLength);
        want.copy(0, request, sizeof(request));
        for (size_t i = 0; i < total.dwell.size(); ++i) {
            want.i32(24 + 4 * i, total.motion[i]);
            want.i32(129624 + 4 * i, total.dwell[i]);
        }
        return want;
    }

    void ask() { vca_heat_map_update_rslt(0, request); }

    void expect_reply(const Grids& total) {
        const auto sent = take_messages();
        ASSERT_THAT(sent, SizeIs(1));
        EXPECT_EQ(difference(sent[0], kHeatMap, reply(total)), "");
    }
};

TEST_F(HeatMessages, AccessorClearsTheTotal) {
    fold(add_with_cells());
    EXPECT_EQ(fix::output_of([] { vca_dev_reset_heat_map_rslt(); }), "");
    expect_total({});
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(HeatMessages, ResetClearsTheTotalAndSaysSo) {
    fold(add_with_cells());
    const auto lines = fix::lines_of(fix::output_of([] { vca_heat_map_reset_rslt(0, nullptr); }));
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].text, "reset_heat_map rslt");
    EXPECT_EQ(lines[0].function, "vca_heat_map_reset_rslt");
    expect_total({});
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(HeatMessages, RequestIsAnsweredWithTheTotalWhichStartsAgain) {
    for (int seed = 0; seed < 2; ++seed)
        fold(add_with_cells(seed));
    const Grids total = total_grids();
    ASSERT_NE(difference(total, Grids{}), "");
    const auto lines = fix::lines_of(fix::output_of([this] { ask(); }));
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].text, "send_heat_map rslt");
    EXPECT_EQ(lines[0].function, "vca_heat_map_update_rslt");
    expect_reply(total);
    expect_total({});
    ask();
    expect_reply({});
}

TEST_F(HeatMessages, EveryCellHasItsPlace) {
    TRACKER_RSLT_S& trk = add(centred(480, 272));
    for (int row = 0; row < fix::kHeatRows; ++row)
        for (int col = 0; col < fix::kHeatCols; ++col) {
            const auto n = static_cast<int32_t>(cell_at(row, col));
            put_cell(trk.heatDwell, row, col, 0x01000000 + n);
            put_cell(trk.heatMotion, row, col, -n);
        }
    const Grids total = grids_of(trk);
    fold(trk);
    expect_cleared(trk);
    ask();
    expect_reply(total);
}

TEST_F(HeatMessages, RequestAfterAResetIsAllZero) {
    fold(add_with_cells());
    vca_heat_map_reset_rslt(0, nullptr);
    ask();
    expect_reply({});
}

TEST_F(HeatMessages, RequestIsNotChanged) {
    uint8_t before[24];
    std::memcpy(before, request, sizeof(before));
    ask();
    EXPECT_EQ(std::memcmp(before, request, sizeof(before)), 0);
}

TEST_F(HeatMessages, GridsOfLivingTracksAreUntouched) {
    const Grids own = grids_of(add_with_cells());
    ask();
    vca_heat_map_reset_rslt(0, nullptr);
    EXPECT_EQ(difference(grids_of(tracks[0]), own), "");
}

TEST_F(HeatMessages, WorkWhileOff) {
    fold(add_with_cells());
    const Grids total = total_grids();
    fix::cfg().HtmpEn = 0;
    ask();
    expect_reply(total);
}

TEST_F(HeatMessages, HostReachesThemThroughTheHandlerTable) {
    test::start_library();
    fold(add_with_cells());
    const Grids total = total_grids();
    test::host().clear_messages();
    ASSERT_TRUE(test::host().deliver(6081, request));
    expect_reply(total);
    fold(add_with_cells());
    ASSERT_TRUE(test::host().deliver(6082, nullptr));
    expect_total({});
    test::stop_library();
}

TEST_F(HeatMessages, TakeNoLock) {
    fold(add_with_cells());
    ask();
    vca_heat_map_reset_rslt(0, nullptr);
    EXPECT_EQ(test::host().locks(), 0);
    EXPECT_EQ(test::host().count_calls("tq_"), test::host().count_calls("tq_sock_send_msg"));
}

TEST_F(HeatMessages, TotalSurvivesARestart) {
    fold(add_with_cells());
    const Grids total = total_grids();
    for (int i = 0; i < 2; ++i) {
        test::start_library();
        test::stop_library();
    }
    expect_total(total);
}

// ---- Debug switches ----

TEST_F(HeatTotal, FoldIsSilent) {
    TRACKER_RSLT_S& trk = add_with_cells();
    EXPECT_EQ(fix::output_of([&] { fold(trk); }), "");
}

TEST_F(HeatTotal, HeatMapSwitchPrintsTheTotal) {
    fix::set_debug(fix::kSwHeatMap, true);
    TRACKER_RSLT_S& trk = add_with_cells();
    put_cell(trk.heatDwell, 64, 120, 1999);
    put_cell(trk.heatMotion, 64, 120, 12345);
    Grids total = grids_of(trk);
    EXPECT_EQ(fix::output_of([&] { fold(trk); }), "$Htmp Total:" + fix::dump(total));
    put_cell(trk.heatDwell, 64, 120, 1);
    trk.heightExceed = 1;  // printed also when nothing was added
    EXPECT_EQ(fix::output_of([&] { fold(trk); }), "$Htmp Total:" + fix::dump(total));
}

// A clock that is 7 ms later each time it is read.
int64_t ticking_clock(void* ctx) {
    return *static_cast<int64_t*>(ctx) += 7000;
}

TEST_F(HeatTotal, TimingSwitchLogsTheTimeOfEveryFold) {
    fix::set_debug(fix::kSwTiming, true);
    TRACKER_RSLT_S& trk = add_with_cells();
    vca_feed_frm_cnt_set(5);  // not only on every twelfth frame
    EXPECT_THAT(fix::printed_by([&] { fold(trk); }), ElementsAre("log: Tm: htmp rslt=0"));
    int64_t now_us = 0;
    vca_set_time_source(ticking_clock, &now_us);
    std::vector<fix::Line> lines = fix::lines_of(fix::output_of([&] { fold(trk); }));
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].text, "Tm: htmp rslt=7");
    EXPECT_EQ(lines[0].function, "vca_trker_heat_map_update_result");
}

TEST_F(HeatTotal, TimingFollowsTheGrids) {
    fix::set_debug(fix::kSwHeatMap, true);
    fix::set_debug(fix::kSwTiming, true);
    TRACKER_RSLT_S& trk = add_with_cells();
    const std::string text = fix::output_of([&] { fold(trk); });
    const size_t grids = text.find("$Htmp Total:"), timing = text.find("Tm: htmp rslt=0");
    EXPECT_EQ(grids, 0u);
    EXPECT_NE(timing, std::string::npos);
    EXPECT_GT(timing, grids);
}

TEST_F(HeatTotal, OtherSwitchesPrintNothing) {
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number != fix::kSwHeatMap && number != fix::kSwTiming);
    TRACKER_RSLT_S& trk = add_with_cells();
    EXPECT_EQ(fix::output_of([&] {
                  fold(trk);
                  refresh();
              }),
              "");
}

// ---- Memory ----

TEST_F(HeatMessages, WithoutMemoryTheAnswerIsStillSent) {
    fold(add_with_cells());
    const Grids total = total_grids();
    out_of_memory = true;
    ask();
    out_of_memory = false;
    expect_reply(total);
    expect_total({});
}

// The test above would see an allocation: what needs one fails.
TEST_F(HeatMessages, WithoutMemoryATrackGetsNoCells) {
    TRACKER_RSLT_S& trk = add(centred(480, 272));
    trk.age = 3;
    out_of_memory = true;
    EXPECT_THROW(vca_event_heat_map_dwell_and_motion(tracks), std::bad_alloc);
    out_of_memory = false;
}

}  // namespace
