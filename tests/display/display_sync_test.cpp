// Messages 6069 and 6090: who is shown, byte for byte, and when they are sent.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

#include "tests/event/byte_payload.h"
#include "tests/support/scripted_host.h"

namespace {

using fix::BytePayload;
using fix::difference;
using fix::take_messages;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kTracking = 6069;
constexpr int kDetected = 6090;
constexpr size_t kLength = 27016;

constexpr size_t entry_at(size_t index) {
    return 16 + 300 * index;
}

std::vector<TRK_POINT_S> points(int count, int base) {
    std::vector<TRK_POINT_S> list;
    for (int i = 0; i < count; ++i)
        list.push_back({base + i, -base - 2 * i, {7, 8, 9}});
    return list;
}

// Both messages: which function sends, and which trail.
struct Kind {
    int id;
    int (*show)(std::vector<TRACKER_RSLT_S>& tracks);
};

void PrintTo(const Kind& kind, std::ostream* os) {
    *os << kind.id;
}

const Kind kKinds[] = {{kTracking, vca_local_dev_sync_tracking_info_show},
                       {kDetected, vca_local_dev_sync_detect_obj_show}};

struct Display : testing::TestWithParam<Kind> {
    std::vector<TRACKER_RSLT_S> tracks;

    void SetUp() override {
        fix::set_up_device();
        fix::set_stamp();
    }

    TRACKER_RSLT_S& add(int32_t id) {
        TRACKER_RSLT_S& trk = tracks.emplace_back();
        trk.trackId = id;
        trk.age = 10;
        trk.curObj = fix::box_of(fix::box_bytes(100 + id, 200 + id, 40, 50));
        return trk;
    }

    void show() { EXPECT_EQ(GetParam().show(tracks), 0); }

    static BytePayload empty_payload(int32_t num = 0) {
        BytePayload want(kLength);
        want.u64(0, fix::kStamp);
        want.i32(12, num);
        return want;
    }

    static void put_box(BytePayload& want, size_t index, int32_t id, const fix::Rect& rect,
                        uint8_t class_id = VCA_CLASS_PERSON) {
        const size_t at = entry_at(index);
        want.i32(at, id);
        for (size_t i = 0; i < rect.size(); ++i)
            want.i32(at + 4 + 4 * i, rect[i]);
        want.u8(at + 20, class_id);
    }

    // Points in the order in which they are to be sent.
    static void put_trail(BytePayload& want, size_t index, const std::vector<TRK_POINT_S>& trail) {
        const size_t at = entry_at(index);
        want.u16(at + 22, static_cast<uint16_t>(trail.size()));
        for (size_t i = 0; i < trail.size(); ++i) {
            want.i32(at + 24 + 8 * i, trail[i].x);
            want.i32(at + 28 + 8 * i, trail[i].y);
        }
    }

    void expect_sent(const BytePayload& want) {
        const auto sent = take_messages();
        ASSERT_THAT(sent, SizeIs(1));
        EXPECT_EQ(difference(sent[0], GetParam().id, want), "");
    }

    // The payload of one track, sent now.
    std::vector<uint8_t> entry_of(const TRACKER_RSLT_S& trk) {
        std::vector<TRACKER_RSLT_S> one(1, trk);
        GetParam().show(one);
        const auto sent = take_messages();
        if (sent.size() != 1 || sent[0].bytes.size() != kLength) return {};
        return {sent[0].bytes.begin() + 16, sent[0].bytes.begin() + 316};
    }

    template <class T>
    static T number_at(const std::vector<uint8_t>& entry, size_t at) {
        T value{};
        std::memcpy(&value, entry.data() + at, sizeof(T));
        return value;
    }
};

INSTANTIATE_TEST_SUITE_P(Messages, Display, testing::ValuesIn(kKinds),
                         [](const auto& kind) { return std::to_string(kind.param.id); });

// ---- Who is shown ----

TEST(DisplayEligibility, LossAgeAndSizeDecide) {
    const struct {
        int lost, age, w, h;
        bool shown;
    } rows[] = {
        {0, 0, 11, 11, true},   {0, 1, 80, 80, true},  {4, 9, 11, 11, true},
        {5, 9, 11, 11, false},  {6, 9, 80, 80, false}, {0, -1, 80, 80, false},
        {4, -1, 80, 80, false}, {0, 9, 10, 11, false}, {0, 9, 11, 10, false},
        {0, 9, 10, 10, false},  {0, 9, 900, 11, true}, {0, 9, -80, 80, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << row.lost << ' ' << row.age << ' ' << row.w << 'x' << row.h);
        auto trk = fix::new_track();
        trk->lostCnt = row.lost;
        trk->age = row.age;
        trk->curObj = fix::box(300, 200, row.w, row.h);
        trk->heightExceed = 1;  // people of any height are shown
        EXPECT_EQ(vca_check_obj_show_update(trk.get()), row.shown);
    }
}

TEST_P(Display, OnlyShownTracksAreSent) {
    add(1).lostCnt = 5;
    add(2).lostCnt = 4;
    add(3).age = -1;
    add(4).age = 0;
    add(5).curObj.w = 10;
    add(6).curObj.h = 10;
    add(7).heightExceed = 1;
    add(8).curObj.class_id = VCA_CLASS_SMALL;
    show();
    BytePayload want = empty_payload(4);
    put_box(want, 0, 2, {102, 202, 40, 50});
    put_box(want, 1, 4, {104, 204, 40, 50});
    put_box(want, 2, 7, {107, 207, 40, 50});
    put_box(want, 3, 8, {108, 208, 40, 50}, 2);
    expect_sent(want);
}

TEST_P(Display, TrackMissingForFiveFramesIsNoLongerListed) {
    add(1);
    for (int lost = 0; lost <= 6; ++lost) {
        tracks[0].lostCnt = lost;
        show();
        BytePayload want = empty_payload(lost <= 4 ? 1 : 0);
        if (lost <= 4) put_box(want, 0, 1, {101, 201, 40, 50});
        expect_sent(want);
    }
}

// ---- The payload ----

TEST_P(Display, TracksAreSentWhole) {
    const auto smooth = points(7, 1000), centres = points(6, 5000);
    for (const int id : {0x12345678, -2, 7}) {
        TRACKER_RSLT_S& trk = add(id);
        trk.curObj = fix::box_of(fix::box_bytes(-5, 430, 0x01020304, 99, static_cast<uint8_t>(id)));
        trk.headBox = trk.footBox = trk.evtObj = fix::box_of(fix::box_bytes(1, 2, 3, 4));
        trk.trailSmooth = smooth;
        trk.objTrail = centres;
        trk.trail = points(20, 9000);
        trk.height = 1734.9f;
        trk.genderKeep = 2;
        trk.staffKeep = 1;
        trk.crossDist = 26;
    }
    tracks[1].curObj.class_id = 255;
    tracks[2].trailSmooth.clear();
    tracks[2].objTrail.clear();
    show();

    BytePayload want = empty_payload(3);
    const bool detected = GetParam().id == kDetected;
    const auto trail =
        detected ? std::vector<TRK_POINT_S>(centres.rbegin(), centres.rend()) : smooth;
    const int32_t ids[] = {0x12345678, -2, 7};
    for (size_t i = 0; i < 3; ++i) {
        put_box(want, i, ids[i], {-5, 430, 0x01020304, 99}, i == 1 ? 255 : 1);
        if (i < 2) put_trail(want, i, trail);
        want.u32(entry_at(i) + 264, 1734);
        want.i32(entry_at(i) + 268, 2);
        want.i32(entry_at(i) + 272, 1);
        want.u16(entry_at(i) + 276, 52);
    }
    expect_sent(want);
}

TEST_P(Display, TrailsEndAtThirtyPoints) {
    for (const int count : {0, 1, 2, 7, 29, 30, 31, 45}) {
        SCOPED_TRACE(count);
        tracks.clear();
        TRACKER_RSLT_S& trk = add(1);
        const auto all = points(count, 300);
        (GetParam().id == kDetected ? trk.objTrail : trk.trailSmooth) = all;
        (GetParam().id == kDetected ? trk.trailSmooth : trk.objTrail) = points(5, -700);
        show();
        // the first 30 in list order, or the last 30 from the last one backwards
        auto sent =
            GetParam().id == kDetected ? std::vector<TRK_POINT_S>(all.rbegin(), all.rend()) : all;
        sent.resize(static_cast<size_t>(std::min(count, 30)));
        BytePayload want = empty_payload(1);
        put_box(want, 0, 1, {101, 201, 40, 50});
        put_trail(want, 0, sent);
        expect_sent(want);
    }
}

TEST_P(Display, NothingIsCarriedOverFromTheSnapshotBefore) {
    for (int id = 1; id <= 3; ++id) {
        TRACKER_RSLT_S& trk = add(id);
        trk.trailSmooth = trk.objTrail = points(7, 400);
        trk.height = 1700.0f;
    }
    show();
    take_messages();
    tracks.resize(1);
    tracks[0].trailSmooth = tracks[0].objTrail = points(1, 10);
    tracks[0].height = 0.0f;
    show();
    BytePayload want = empty_payload(1);
    put_box(want, 0, 1, {101, 201, 40, 50});
    put_trail(want, 0, points(1, 10));
    expect_sent(want);
}

TEST_P(Display, StampIsThatOfTheFrame) {
    add(1);
    fix::set_stamp(0xFFEEDDCCBBAA9988u);
    show();
    BytePayload want = empty_payload(1);
    want.u64(0, 0xFFEEDDCCBBAA9988u);
    put_box(want, 0, 1, {101, 201, 40, 50});
    expect_sent(want);
}

TEST_P(Display, HeightIsTruncated) {
    const struct {
        float height;
        uint32_t sent;
    } rows[] = {{0.0f, 0},
                {0.99f, 0},
                {1734.9f, 1734},
                {1500.0f, 1500},
                {2499.9998f, 2499},
                {-1.0f, 0},
                {-5e9f, 0},
                {3e9f, 3000000000u},
                {5e9f, 0xFFFFFFFFu},
                {std::numeric_limits<float>::infinity(), 0xFFFFFFFFu},
                {-std::numeric_limits<float>::infinity(), 0},
                {std::nanf(""), 0}};
    TRACKER_RSLT_S& trk = add(1);
    for (const auto& row : rows) {
        trk.height = row.height;
        EXPECT_EQ(number_at<uint32_t>(entry_of(trk), 264), row.sent) << row.height;
    }
}

TEST_P(Display, HeightIsTheSmoothedOne) {
    TRACKER_RSLT_S& trk = add(1);
    trk.height = 1600.0f;
    trk.rawHeight = 1800.0f;
    trk.curObj.height = 1900.0f;
    EXPECT_EQ(number_at<uint32_t>(entry_of(trk), 264), 1600u);
}

TEST_P(Display, GenderIsTheDecidedOne) {
    TRACKER_RSLT_S& trk = add(1);
    trk.curObj.gender = VCA_GENDER_MALE;
    for (const int gender : {INT32_MIN, -1, 0, 1, 2, 3, 257, 258, INT32_MAX}) {
        trk.genderKeep = gender;
        EXPECT_EQ(
            number_at<int32_t>(entry_of(trk), 268),
            gender == VCA_GENDER_MALE || gender == VCA_GENDER_FEMALE ? gender : VCA_GENDER_UNKNOWN);
    }
}

TEST_P(Display, StaffIsTheDecidedOne) {
    TRACKER_RSLT_S& trk = add(1);
    trk.curObj.staff = 1;
    for (const int staff : {0, 1}) {
        trk.staffKeep = staff;
        EXPECT_EQ(number_at<int32_t>(entry_of(trk), 272), staff);
    }
}

TEST_P(Display, CrossDistanceIsDoubled) {
    TRACKER_RSLT_S& trk = add(1);
    for (const int distance : {0, 1, 26, 150, 320, 16384, 32767}) {
        trk.crossDist = distance;
        EXPECT_EQ(number_at<uint16_t>(entry_of(trk), 276), 2 * distance);
    }
}

TEST_P(Display, FirstNinetyTracksAreSent) {
    for (const int count : {89, 90, 91, 100, 128, 200}) {
        SCOPED_TRACE(count);
        tracks.clear();
        const int listed = std::min(count, 90);
        BytePayload want = empty_payload(listed);
        for (int id = 1; id <= count; ++id) {
            add(1000 + id).trailSmooth = points(7, id);
            tracks.back().objTrail = tracks.back().trailSmooth;
            if (id > listed) continue;
            const auto index = static_cast<size_t>(id - 1);
            put_box(want, index, 1000 + id, {1100 + id, 1200 + id, 40, 50});
            const auto& list = tracks.back().objTrail;
            put_trail(want, index,
                      GetParam().id == kDetected
                          ? std::vector<TRK_POINT_S>(list.rbegin(), list.rend())
                          : list);
        }
        show();
        expect_sent(want);
    }
}

// ---- When it is sent ----

TEST_P(Display, NothingIsSentBeforeAnybodyWasShown) {
    show();
    add(1).lostCnt = 5;
    add(2).age = -1;
    show();
    show();
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_P(Display, EveryFrameIsSentOnceSomebodyWasShown) {
    add(1);
    show();
    EXPECT_THAT(take_messages(), SizeIs(1));
    for (int i = 0; i < 5; ++i) {
        tracks[0].lostCnt = 5;
        show();
        expect_sent(empty_payload());
    }
    tracks.clear();
    for (int i = 0; i < 100; ++i) {
        show();
        expect_sent(empty_payload());
    }
}

TEST_P(Display, TheTwoMessagesStartOnTheirOwn) {
    add(1);
    show();
    take_messages();
    tracks.clear();
    const Kind& other = GetParam().id == kTracking ? kKinds[1] : kKinds[0];
    other.show(tracks);
    EXPECT_THAT(take_messages(), IsEmpty());
    show();
    expect_sent(empty_payload());
}

TEST_P(Display, SendingGoesOnAfterARestart) {
    add(1);
    show();
    tracks.clear();
    test::start_library();
    test::stop_library();
    take_messages();
    fix::set_stamp();
    show();
    expect_sent(empty_payload());
}

TEST_P(Display, ShowsTheSameInEveryMode) {
    add(1).headBox = fix::box(1, 2, 33, 44);
    tracks[0].footBox = fix::box(5, 6, 77, 88);
    for (const int work_mode : {0, 1, 2})
        for (const int trk_mode : {0, 1, 2}) {
            fix::cfg().devWorkMode = work_mode;
            fix::cfg().StandAloneTrkMd = trk_mode;
            show();
            BytePayload want = empty_payload(1);
            put_box(want, 0, 1, {101, 201, 40, 50});
            expect_sent(want);
        }
}

TEST_P(Display, PrintsNothing) {
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, true);
    add(1);
    EXPECT_EQ(fix::output_of([this] { show(); }), "");
}

TEST_P(Display, LeavesTheTracksAsTheyAre) {
    TRACKER_RSLT_S& trk = add(1);
    trk.trailSmooth = trk.objTrail = points(7, 50);
    show();
    EXPECT_EQ(tracks[0].trailSmooth.size(), 7u);
    EXPECT_EQ(tracks[0].objTrail.size(), 7u);
    EXPECT_EQ(tracks[0].objTrail[0].x, 50);
    EXPECT_EQ(tracks[0].lostCnt, 0);
}

}  // namespace
