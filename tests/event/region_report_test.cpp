// Message 6070 byte for byte, when it is sent, and the text of its debug switch.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/event/byte_payload.h"

namespace {

using fix::BytePayload;
using fix::difference;
using fix::take_messages;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kRegions = 6070;
constexpr size_t kLength = 8672;

constexpr size_t entry_at(size_t index) {
    return 12 + 96 * index;
}

// State of one person in one region.
struct Stay {
    uint8_t inside;
    int32_t time_ms;
};

struct RegionReport : testing::Test {
    std::vector<TRACKER_RSLT_S> tracks;

    void SetUp() override {
        fix::set_up_device();
        fix::set_stamp();
        fix::cfg().RgnEn = 1;
    }

    // A listed person whose record has no zero byte in the padding of its region state.
    TRACKER_RSLT_S& add(int32_t id, const std::array<uint8_t, 64>& box,
                        const std::array<Stay, 4>& stays = {}) {
        TRACKER_RSLT_S& trk = tracks.emplace_back();
        trk.trackId = id;
        trk.age = 10;
        trk.curObj = fix::box_of(box);
        std::memset(static_cast<void*>(trk.rgnStay), 0xAB, sizeof(trk.rgnStay));
        for (size_t r = 0; r < stays.size(); ++r) {
            auto* at = reinterpret_cast<uint8_t*>(&trk.rgnStay[r]);
            at[0] = stays[r].inside;
            std::memcpy(at + 4, &stays[r].time_ms, 4);
        }
        return trk;
    }

    TRACKER_RSLT_S& add(int32_t id) { return add(id, fix::box_bytes(100, 100, 40, 50)); }

    void report() { EXPECT_EQ(vca_event_counting_refresh_rgn_result(tracks), 0); }

    static BytePayload empty_payload() {
        BytePayload want(kLength);
        want.u64(0, fix::kStamp);
        return want;
    }

    static void put_entry(BytePayload& want, size_t index, int32_t id,
                          const std::array<uint8_t, 64>& box,
                          const std::array<Stay, 4>& stays = {}) {
        const size_t at = entry_at(index);
        want.i32(at, id);
        want.copy(at + 4, box.data() + 4, 60);
        for (size_t r = 0; r < stays.size(); ++r) {
            want.u8(at + 64 + 8 * r, stays[r].inside);
            want.i32(at + 68 + 8 * r, stays[r].time_ms);
        }
    }

    static void put_counts(BytePayload& want, const std::array<int32_t, 4>& counts) {
        for (size_t r = 0; r < counts.size(); ++r)
            want.i32(8652 + 4 * r, counts[r]);
    }

    void expect_sent(const BytePayload& want) {
        const auto sent = take_messages();
        ASSERT_THAT(sent, SizeIs(1));
        EXPECT_EQ(difference(sent[0], kRegions, want), "");
    }

    void expect_empty_report() { expect_sent(empty_payload()); }
};

TEST_F(RegionReport, PeopleAreSentWhole) {
    const auto box_a = fix::box_bytes(100, 110, 40, 50, 1);
    const auto box_b = fix::box_bytes(-3, 500, 11, 11, 2);
    const auto box_c = fix::box_bytes(700, 20, 90, 80, 3);
    const std::array<Stay, 4> stays_a{{{1, 100}, {0, 0}, {1, 0x01020304}, {0, 0}}};
    const std::array<Stay, 4> stays_c{{{1, 5}, {0, 77}, {0, 0}, {1, -1}}};
    add(0x12345678, box_a, stays_a);
    add(-2, box_b);  // outside all regions
    add(7, box_c, stays_c);
    report();

    BytePayload want = empty_payload();
    want.u32(8, 3);
    put_entry(want, 0, 0x12345678, box_a, stays_a);
    put_entry(want, 1, -2, box_b);
    put_entry(want, 2, 7, box_c, stays_c);
    put_counts(want, {2, 0, 1, 1});
    expect_sent(want);
}

TEST_F(RegionReport, StampIsThatOfTheFrame) {
    add(1);
    fix::set_stamp(0xFFEEDDCCBBAA9988u);
    report();
    const auto sent = take_messages();
    ASSERT_THAT(sent, SizeIs(1));
    const std::vector<uint8_t> stamp(sent[0].bytes.begin(), sent[0].bytes.begin() + 8);
    EXPECT_THAT(stamp, ElementsAre(0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF));
}

TEST_F(RegionReport, OnlyThoseWhoTakePartAreListed) {
    const auto box = fix::box_bytes(100, 100, 40, 50);
    const std::array<Stay, 4> inside{{{1, 10}, {1, 10}, {1, 10}, {1, 10}}};
    add(1, box, inside).lostCnt = 5;
    add(2, box, inside).lostCnt = 4;
    add(3, box, inside).heightExceed = 1;
    add(4, fix::box_bytes(1, 1, 10, 50), inside);
    add(5, fix::box_bytes(1, 1, 50, 10), inside);
    add(6, box, inside);
    report();

    BytePayload want = empty_payload();
    want.u32(8, 2);
    put_entry(want, 0, 2, box, inside);
    put_entry(want, 1, 6, box, inside);
    put_counts(want, {2, 2, 2, 2});
    expect_sent(want);
}

TEST_F(RegionReport, NothingIsCarriedOverFromTheReportBefore) {
    const std::array<Stay, 4> inside{{{1, 10}, {1, 10}, {1, 10}, {1, 10}}};
    for (int id = 1; id <= 5; ++id)
        add(id, fix::box_bytes(100, 100, 40, 50), inside);
    report();
    take_messages();
    tracks.resize(1);
    report();
    BytePayload want = empty_payload();
    want.u32(8, 1);
    put_entry(want, 0, 1, fix::box_bytes(100, 100, 40, 50), inside);
    put_counts(want, {1, 1, 1, 1});
    expect_sent(want);
}

TEST_F(RegionReport, StayTimeIsNotResetByAReport) {
    add(1, fix::box_bytes(100, 100, 40, 50), {{{1, 4200}, {}, {}, {}}});
    report();
    EXPECT_EQ(tracks[0].rgnStay[0].inRgn, 1);
    EXPECT_EQ(tracks[0].rgnStay[0].stayTime, 4200);
}

// ---- Capacity ----

struct RegionCapacity : RegionReport, testing::WithParamInterface<int> {};

TEST_P(RegionCapacity, ListEndsAtNinetyPeople) {
    const int people = GetParam();
    const int listed = std::min(people, 90);
    BytePayload want = empty_payload();
    want.u32(8, static_cast<uint32_t>(listed));
    std::array<int32_t, 4> counts{};
    for (int i = 0; i < people; ++i) {
        const auto box = fix::box_bytes(i, 2 * i, 20, 30, static_cast<uint8_t>(i));
        std::array<Stay, 4> stays{};
        const auto rgn = static_cast<size_t>(i % 4);
        stays[rgn] = {1, 100 * i};
        add(1000 + i, box, stays);
        if (i >= listed) continue;
        put_entry(want, static_cast<size_t>(i), 1000 + i, box, stays);
        ++counts[rgn];
    }
    put_counts(want, counts);
    report();
    expect_sent(want);
}

INSTANTIATE_TEST_SUITE_P(People, RegionCapacity, testing::Values(89, 90, 91, 127, 128, 129, 200));

// ---- When it is sent ----

TEST_F(RegionReport, NothingIsSentBeforeAnybodyTookPart) {
    report();
    add(1).heightExceed = 1;
    report();
    tracks[0].heightExceed = 0;
    tracks[0].lostCnt = 5;
    report();
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(RegionReport, OneEmptyReportFollowsTheLastPerson) {
    add(1);
    report();
    report();
    EXPECT_THAT(take_messages(), SizeIs(2));
    tracks.clear();
    report();
    expect_empty_report();
    for (int i = 0; i < 3; ++i)
        report();
    EXPECT_THAT(take_messages(), IsEmpty());

    add(2);
    report();
    EXPECT_THAT(take_messages(), SizeIs(1));
    tracks[0].lostCnt = 5;  // still there, but takes no part
    report();
    expect_empty_report();
    report();
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(RegionReport, PersonOutsideTheTargetHeightsEndsTheReports) {
    add(1);
    report();
    take_messages();
    tracks[0].heightExceed = 1;
    report();
    expect_empty_report();
    report();
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(RegionReport, NothingIsSentWhileCountingIsOff) {
    fix::cfg().RgnEn = 0;
    add(1);
    report();
    tracks.clear();
    report();
    report();
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(RegionReport, PeopleAreRememberedWhileCountingIsOff) {
    fix::cfg().RgnEn = 0;
    add(1);
    report();
    EXPECT_THAT(take_messages(), IsEmpty());
    tracks.clear();
    fix::cfg().RgnEn = 1;
    report();
    expect_empty_report();
}

TEST_F(RegionReport, EmptyReportIsNotMadeUpForLater) {
    add(1);
    report();
    take_messages();
    tracks.clear();
    fix::cfg().RgnEn = 0;
    report();
    fix::cfg().RgnEn = 1;
    report();
    EXPECT_THAT(take_messages(), IsEmpty());
}

// ---- Debug switch ----

struct RegionDebug : RegionReport {
    std::string printed() {
        return fix::output_of([this] { report(); });
    }
};

TEST_F(RegionDebug, NothingIsPrintedWithoutTheSwitch) {
    add(1);
    EXPECT_EQ(printed(), "");
}

TEST_F(RegionDebug, PeopleAndCountsArePrinted) {
    fix::set_debug(fix::kSwRegion, true);
    add(12, fix::box_bytes(100, -110, 40, 50), {{{1, 100}, {0, 0}, {1, 2500}, {0, 0}}});
    add(13, fix::box_bytes(5, 6, 17, 18), {{{1, 7}, {0, 8}, {0, 0}, {0, 0}}});
    EXPECT_EQ(printed(),
              "~~~~~~~~~~~~~~~~~~~~~~~~~~~ RgnPeopleCnt=2\n"
              "\tObj-12=(100, -110, 40, 50) \n"
              "\t\tRgn[0]=(1, 100) [1]=(0, 0) [2]=(1, 2500) [3]=(0, 0) \n"
              "\tObj-13=(5, 6, 17, 18) \n"
              "\t\tRgn[0]=(1, 7) [1]=(0, 8) [2]=(0, 0) [3]=(0, 0) \n"
              "\tRgn People Count: [2, 0, 1, 0, ]\n");
}

TEST_F(RegionDebug, EmptyReportIsPrintedToo) {
    fix::set_debug(fix::kSwRegion, true);
    add(1);
    printed();
    tracks.clear();
    EXPECT_EQ(printed(),
              "~~~~~~~~~~~~~~~~~~~~~~~~~~~ RgnPeopleCnt=0\n"
              "\tRgn People Count: [0, 0, 0, 0, ]\n");
    EXPECT_EQ(printed(), "");
}

TEST_F(RegionDebug, NothingIsPrintedUnlessSent) {
    fix::set_debug(fix::kSwRegion, true);
    fix::cfg().RgnEn = 0;
    add(1);
    EXPECT_EQ(printed(), "");
}

TEST_F(RegionDebug, OtherSwitchesPrintNothing) {
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number != fix::kSwRegion);
    add(1);
    EXPECT_EQ(printed(), "");
}

}  // namespace
