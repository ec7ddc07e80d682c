// The master's merge, case by case: who takes part, which people become one, and what becomes of
// their boxes and attributes. The squares are 60 pixels wide here (a camera at 6 m) unless a test
// says otherwise: two of them a distance d apart in one direction overlap by (60 - d) / (60 + d).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>

#include "tests/cascade/merge_model.h"

namespace {

using cascade::delivered;
using cascade::receive;
using cascade::Report;
using cascade::report_at;
using fix::Rect;
using fix::rect;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr uint32_t kMergedWord = 0x01000000u;  // 1 in the record's last byte

struct Merge : testing::Test {
    std::vector<TRACKER_RSLT_S> tracks;
    std::unique_ptr<VCA_NN_RESULT_S> result;

    void SetUp() override {
        fix::set_up_device();
        fix::cfg().devWorkMode = VCA_WORK_MASTER;
        fix::cfg().InstallHeight = 6000;
    }

    // A track of the master's own with its feet and its box at one place.
    TRACKER_RSLT_S& own(int32_t x, int32_t y) {
        TRACKER_RSLT_S& trk = tracks.emplace_back();
        cascade::set_own(trk, x, y, x, y);
        return trk;
    }

    void merge() { result = cascade::merge(tracks); }
    const DET_OBJECTS_S& out() const { return result->objects; }

    // Centre and device of every merged person.
    struct Spot {
        int32_t x, y;
        uint32_t device;
        bool operator==(const Spot&) const = default;
    };
    std::vector<Spot> spots() {
        merge();
        std::vector<Spot> list;
        for (int i = 0; i < out().num; ++i) {
            const POINT_POS_S at = fix::centre(out().objs[i]);
            list.push_back({at.x, at.y, out().objs[i].aux0});
        }
        return list;
    }
};

void PrintTo(const Merge::Spot& spot, std::ostream* os) {
    *os << '(' << spot.x << ", " << spot.y << ") of " << spot.device;
}

// ---- Who takes part ----

TEST_F(Merge, NobodyGivesAnEmptyResult) {
    merge();
    EXPECT_EQ(cascade::difference(*result, cascade::Merged{}), "");
}

TEST_F(Merge, ReturnsZeroAndLeavesTheTracks) {
    own(300, 200).trackId = 4;
    const DET_OBJ_S cur = tracks[0].curObj, foot = tracks[0].footBox;
    VCA_NN_RESULT_S rslt{};
    EXPECT_EQ(dev_cascade_local_master_merge_slave_obj(&rslt, tracks), 0);
    EXPECT_TRUE(fix::same(tracks[0].curObj, cur));
    EXPECT_TRUE(fix::same(tracks[0].footBox, foot));
    EXPECT_THAT(tracks, SizeIs(1));
}

TEST_F(Merge, OwnTrackGivesSquaresAroundFeetAndBox) {
    TRACKER_RSLT_S& trk = tracks.emplace_back();
    trk.age = 1;
    trk.lastFrm = 0xFFFF0001u;
    trk.trackId = 17;
    trk.height = 1234.0f;
    trk.footBox = fix::patterned(1);
    trk.curObj = fix::patterned(2);
    trk.footBox.reserved3 = trk.curObj.reserved3 = 0;
    merge();
    ASSERT_EQ(out().num, 1);
    for (const auto& [box, seed] :
         {std::pair{out().objs[0], 1u}, std::pair{out().raw_objs[0], 2u}}) {
        DET_OBJ_S want = fix::patterned(seed);  // 40 x 50 at (100 + seed, 60 + seed)
        const auto shift = static_cast<int32_t>(seed);
        want.aux0 = 0;
        want.reserved1 = 0xFFFF0001u;
        want.x = 120 + shift - 30;
        want.y = 85 + shift - 30;
        want.w = want.h = 60;
        want.area = 3600;
        want.reserved3 = kMergedWord;
        EXPECT_TRUE(fix::same(box, want)) << seed;
    }
}

TEST_F(Merge, OnlyTracksThatAreExchangedTakePart) {
    own(100, 100);
    own(200, 100).lostCnt = 3;
    own(300, 100).age = 0;
    own(400, 100).curObj.w = 10;
    own(500, 100).lostCnt = 2;
    own(600, 100).footBox.w = 10;  // only curObj is measured
    EXPECT_THAT(spots(), ElementsAre(Spot{100, 100, 0}, Spot{500, 100, 0}, Spot{566, 100, 0}));
}

TEST_F(Merge, ReportByteForByte) {
    Report report;
    report.id = 0x01020304;
    report.class_id = VCA_CLASS_SMALL;
    report.score = 0.8125f;
    report.gender = VCA_GENDER_FEMALE;
    report.height = 1734.5f;
    report.staff = 1;
    report.cx = 400;
    report.cy = -5;
    report.foot_x = -17;
    report.foot_y = 300;
    receive(delivered(6, {report}, 0xA1B2C3D4u));
    merge();
    ASSERT_EQ(out().num, 1);
    fix::BytePayload want(64);
    want.u32(0, 0x01020304);
    want.u32(4, 7);
    want.u32(8, 0xA1B2C3D4u);
    want.i32(12, -47);
    want.i32(16, 270);
    want.i32(20, 60);
    want.i32(24, 60);
    want.i32(28, 3600);
    want.u8(32, 2);
    want.u32(36, std::bit_cast<uint32_t>(0.8125f));
    want.i32(48, 2);
    want.u32(52, std::bit_cast<uint32_t>(1734.5f));
    want.i32(56, 1);
    want.u8(63, 1);
    EXPECT_EQ(std::memcmp(&out().objs[0], want.bytes().data(), 64), 0);
    want.i32(12, 370);
    want.i32(16, -35);
    EXPECT_EQ(std::memcmp(&out().raw_objs[0], want.bytes().data(), 64), 0);
}

TEST_F(Merge, ReservedBytesOfAReportAreNotRead) {
    fix::BytePayload message = delivered(0, {report_at(1, 100, 100)});
    for (const size_t at : {0u, 8u, 13u, 14u, 15u, 48u, 67u})
        message.u8(24 + at, 0x77);
    const fix::BytePayload plain = delivered(1, {report_at(1, 500, 100)});
    receive(message);
    receive(plain);
    merge();
    ASSERT_EQ(out().num, 2);
    DET_OBJ_S second = out().objs[1];
    second.aux0 = 1;
    second.x -= 400;
    EXPECT_TRUE(fix::same(out().objs[0], second));
}

TEST_F(Merge, SquaresShrinkWithTheInstallationHeight) {
    const struct {
        int height_mm, side;
    } rows[] = {{INT_MIN, 240}, {0, 240},    {2000, 240}, {2010, 240}, {2100, 236}, {2400, 222},
                {3000, 195},    {4000, 150}, {5089, 101}, {5890, 65},  {6000, 60},  {INT_MAX, 60}};
    own(400, 300);
    receive(delivered(0, {report_at(1, 800, 10)}));
    for (const auto& row : rows) {
        fix::cfg().InstallHeight = row.height_mm;
        merge();
        const int32_t half = row.side / 2;
        ASSERT_EQ(out().num, 2);
        EXPECT_EQ(rect(out().objs[0]), Rect({400 - half, 300 - half, row.side, row.side}))
            << row.height_mm;
        EXPECT_EQ(rect(out().raw_objs[0]), rect(out().objs[0]));
        EXPECT_EQ(rect(out().objs[1]), Rect({800 - half, 10 - half, row.side, row.side}));
        EXPECT_EQ(out().objs[1].area, row.side * row.side);
        EXPECT_EQ(cascade::square_side(row.height_mm), row.side);
    }
}

TEST_F(Merge, OwnPeopleFirstThenTheSlavesInTheirOrder) {
    receive(delivered(9, {report_at(1, 500, 0)}));
    receive(delivered(2, {report_at(2, 300, 0), report_at(3, 200, 0)}));
    receive(delivered(14, {report_at(4, 400, 0)}));
    own(100, 0);
    own(0, 0);
    EXPECT_THAT(spots(), ElementsAre(Spot{100, 0, 0}, Spot{0, 0, 0}, Spot{300, 0, 3},
                                     Spot{200, 0, 3}, Spot{500, 0, 10}, Spot{400, 0, 15}));
}

TEST_F(Merge, LastReportTakesPartUntilTheNext) {
    receive(delivered(0, {report_at(1, 300, 0)}, 11));
    for (int pass = 0; pass < 50; ++pass)
        ASSERT_THAT(spots(), ElementsAre(Spot{300, 0, 1}));
    EXPECT_EQ(out().objs[0].reserved1, 11u);
    receive(delivered(0, {report_at(1, 310, 0)}));
    EXPECT_THAT(spots(), ElementsAre(Spot{310, 0, 1}));
    receive(delivered(0, {}));
    EXPECT_THAT(spots(), IsEmpty());
}

TEST_F(Merge, CountsOutOfRangeAreBroughtIntoIt) {
    std::vector<Report> many;
    for (int i = 0; i < 90; ++i)
        many.push_back(report_at(static_cast<uint32_t>(i), 100 * i, 0));
    const struct {
        int32_t count;
        int people;
    } rows[] = {{INT_MIN, 0}, {-1, 0}, {0, 0}, {1, 1}, {89, 89}, {90, 90}, {91, 90}, {INT_MAX, 90}};
    for (const auto& row : rows) {
        receive(delivered(14, many, 0, row.count));
        EXPECT_THAT(spots(), SizeIs(static_cast<size_t>(row.people))) << row.count;
    }
}

TEST_F(Merge, HundredAndTwentyEightAtMost) {
    std::vector<Report> many;
    for (int i = 0; i < 90; ++i)
        many.push_back(report_at(static_cast<uint32_t>(i), 100 * i, 1000));
    receive(delivered(0, many));
    const struct {
        int own;
        int of_first, of_second;
    } rows[] = {{0, 90, 38}, {37, 90, 1}, {38, 90, 0}, {39, 89, 0},
                {127, 1, 0}, {128, 0, 0}, {130, 0, 0}};
    for (const Report& report : many)
        many[report.id].cy = many[report.id].foot_y = 3000;
    receive(delivered(1, many));
    for (const auto& row : rows) {
        tracks.clear();
        for (int i = 0; i < row.own; ++i)
            own(100 * i, 0);
        int people[3] = {};
        for (const Spot& spot : spots())
            ++people[spot.device];
        EXPECT_EQ(people[0], std::min(row.own, 128)) << row.own;
        EXPECT_EQ(people[1], row.of_first) << row.own;
        EXPECT_EQ(people[2], row.of_second) << row.own;
        EXPECT_EQ(out().objs[out().num - 1].reserved3, kMergedWord);
    }
}

TEST_F(Merge, LeftOutPeopleJoinNobody) {
    for (int i = 0; i < 128; ++i)
        own(100 * i, 0);
    receive(delivered(0, {report_at(1, 10, 0)}));
    EXPECT_EQ(spots()[0], (Spot{0, 0, 0}));
    EXPECT_EQ(out().num, 128);
}

// ---- Who becomes one ----

TEST_F(Merge, PeopleOfOneDeviceStayApart) {
    own(100, 100);
    own(100, 100);
    own(101, 100);
    receive(delivered(4, {report_at(1, 500, 100), report_at(2, 500, 100)}));
    EXPECT_THAT(spots(), ElementsAre(Spot{100, 100, 0}, Spot{100, 100, 0}, Spot{101, 100, 0},
                                     Spot{500, 100, 5}, Spot{500, 100, 5}));
}

TEST_F(Merge, FeetDecideAndNotTheBoxes) {
    Report near_feet = report_at(1, 300, 200);
    near_feet.cx = 900;
    Report near_box = report_at(2, 600, 400);
    near_box.foot_x = 100;
    receive(delivered(0, {near_feet, near_box}));
    own(300, 200);
    own(600, 400);
    merge();
    ASSERT_EQ(out().num, 3);
    EXPECT_EQ(fix::centre(out().objs[0]).x, 300);
    EXPECT_EQ(fix::centre(out().raw_objs[0]).x, 600) << "between 300 and 900";
    EXPECT_EQ(fix::centre(out().objs[1]).x, 600);
    EXPECT_EQ(fix::centre(out().objs[2]).x, 100);
}

TEST_F(Merge, OverlapMustExceedOneHundredth) {
    const struct {
        int height_mm;
        int dx, dy;
        bool one;
    } rows[] = {// 60 pixels: an overlap of 1 column is 1 / 119, of 2 columns 2 / 118
                {6000, 61, 0, false},
                {6000, 60, 0, false},
                {6000, 59, 0, false},
                {6000, 58, 0, true},
                {6000, 0, -60, false},
                {6000, 0, -58, true},
                // of 9 x 8 pixels 72 / 7128 (0.0101), of 8 x 8 pixels 64 / 7136 (0.0090)
                {6000, 51, 52, true},
                {6000, 52, 52, false},
                // 101 pixels: an overlap of 2 columns is 2 / 200, exactly one hundredth
                {5089, 99, 0, false},
                {5089, 98, 0, true},
                // 240 pixels: of 4 columns 4 / 476, of 5 columns 5 / 475
                {2000, 240, 0, false},
                {2000, -236, 0, false},
                {2000, -235, 0, true}};
    own(400, 300);
    for (const auto& row : rows) {
        fix::cfg().InstallHeight = row.height_mm;
        receive(delivered(3, {report_at(1, 400 + row.dx, 300 + row.dy)}));
        merge();
        EXPECT_EQ(out().num, row.one ? 1 : 2) << row.height_mm << ": " << row.dx << ", " << row.dy;
    }
}

TEST_F(Merge, ThreeDevicesSeeOnePerson) {
    own(400, 300);
    receive(delivered(0, {report_at(1, 420, 300)}));
    receive(delivered(1, {report_at(2, 404, 308)}));
    // The master and slave 2 are the best pair; then slave 1 weighs one half:
    // ((400 + 404) / 2 + 420) / 2 for the left edges 370, 374 and 390, (304 + 300) / 2.
    EXPECT_THAT(spots(), ElementsAre(Spot{411, 302, 0}));
    EXPECT_EQ(rect(out().objs[0]), Rect({381, 272, 60, 60}));
}

TEST_F(Merge, JoiningDevicesComeInTheOrderOfTheirNumbers) {
    // 0 and 3 are the pair; then 1, 2 and 4, whatever their overlap.
    own(400, 300);
    receive(delivered(3, {report_at(1, 440, 300)}));
    receive(delivered(1, {report_at(2, 404, 300)}));
    receive(delivered(0, {report_at(3, 424, 300)}));
    receive(delivered(2, {report_at(4, 400, 300)}));
    // 370, then 370 -> 370, 394 -> 382, 374 -> 378, 410 -> 394
    EXPECT_THAT(spots(), ElementsAre(Spot{424, 300, 0}));
}

TEST_F(Merge, SixteenDevicesBecomeOne) {
    for (uint32_t slave = 0; slave < 15; ++slave)
        receive(delivered(slave, {report_at(slave, 402, 300)}));
    own(400, 300);
    merge();
    EXPECT_EQ(out().num, 1);
    EXPECT_EQ(out().objs[0].aux0, 1u) << "the slaves agree better than the master with any of them";
    EXPECT_EQ(out().objs[0].reserved0, 0u);
}

TEST_F(Merge, JoiningComparesWithTheFirstPersonsOwnSquare) {
    own(400, 300);
    receive(delivered(0, {report_at(1, 440, 300)}));  // overlap 20 / 100
    // Overlaps the second by 40 x 15, and what became of the two, but not the first.
    receive(delivered(1, {report_at(2, 460, 345)}));
    EXPECT_THAT(spots(), ElementsAre(Spot{420, 300, 0}, Spot{460, 345, 2}));
}

TEST_F(Merge, BestOfADeviceJoins) {
    own(400, 300);
    receive(delivered(0, {report_at(1, 402, 300)}));
    receive(delivered(1, {report_at(2, 430, 300), report_at(3, 390, 300), report_at(4, 420, 300)}));
    merge();
    ASSERT_EQ(out().num, 3);
    // (370 + 372) / 2 = 371, (371 + 360) / 2 = 365.5
    EXPECT_EQ(out().objs[0].x, 365);
    EXPECT_EQ(out().objs[1].reserved0, 2u);
    EXPECT_EQ(out().objs[2].reserved0, 4u);
}

TEST_F(Merge, FirstOfEqualsJoins) {
    own(400, 300);
    receive(delivered(0, {report_at(1, 402, 300)}));
    receive(delivered(1, {report_at(2, 420, 300), report_at(3, 380, 300)}));
    merge();
    ASSERT_EQ(out().num, 2);
    EXPECT_EQ(out().objs[0].x, 380);  // (371 + 390) / 2 = 380.5
    EXPECT_EQ(out().objs[1].reserved0, 3u);
}

TEST_F(Merge, BestPairIsTakenFirst) {
    own(400, 300);
    own(430, 300);
    receive(delivered(0, {report_at(1, 425, 300)}));
    EXPECT_THAT(spots(), ElementsAre(Spot{427, 300, 0}, Spot{400, 300, 0}));
}

TEST_F(Merge, FirstOfEqualPairsIsTaken) {
    own(400, 300);
    own(420, 300);
    receive(delivered(0, {report_at(1, 410, 300)}));
    EXPECT_THAT(spots(), ElementsAre(Spot{405, 300, 0}, Spot{420, 300, 0}));
    receive(delivered(0, {report_at(1, 430, 300), report_at(2, 390, 300)}));
    // (0, 2): 30 apart, (0, 3): 10, (1, 2): 10, (1, 3): 30
    EXPECT_THAT(spots(), ElementsAre(Spot{395, 300, 0}, Spot{425, 300, 0}));
}

TEST_F(Merge, MergedPeopleAreUsedUp) {
    own(400, 300);
    receive(delivered(0, {report_at(1, 400, 300), report_at(2, 401, 300)}));
    receive(delivered(1, {report_at(3, 400, 301), report_at(4, 402, 300)}));
    merge();
    ASSERT_EQ(out().num, 2);
    EXPECT_EQ(out().objs[1].reserved0, 2u);
    EXPECT_EQ(out().objs[1].aux0, 1u);
    EXPECT_EQ(out().objs[1].x, 371);  // (371 + 372) / 2
}

TEST_F(Merge, GroupsComeBeforeThoseAlone) {
    own(100, 100);
    own(400, 300);
    own(700, 100);
    receive(delivered(0, {report_at(1, 900, 100), report_at(2, 400, 300), report_at(3, 720, 100)}));
    EXPECT_THAT(spots(), ElementsAre(Spot{400, 300, 0}, Spot{710, 100, 0}, Spot{100, 100, 0},
                                     Spot{900, 100, 1}));
}

// ---- What they become ----

TEST_F(Merge, IdsAreThoseOfTheFirst) {
    for (const uint32_t slave : {3u, 8u}) {
        Report report = report_at(100 + slave, 400, 300);
        report.class_id = static_cast<uint8_t>(slave);
        receive(delivered(slave, {report}, 1000 + slave));
    }
    merge();
    ASSERT_EQ(out().num, 1);
    for (const DET_OBJ_S& box : {out().objs[0], out().raw_objs[0]}) {
        EXPECT_EQ(box.reserved0, 103u);
        EXPECT_EQ(box.aux0, 4u);
        EXPECT_EQ(box.reserved1, 1003u);
        EXPECT_EQ(box.class_id, 3);
        EXPECT_EQ(box.area, 3600);
        EXPECT_EQ(box.reserved3, kMergedWord);
    }
}

struct Attributes {
    int32_t a, b, c, merged;
};

TEST_F(Merge, StaffIsTakenFromTheNextUntilItSaysStaff) {
    for (const Attributes& row : {Attributes{0, 0, 0, 0},
                                  {0, 1, 0, 1},
                                  {1, 0, 0, 1},
                                  {0, 0, 1, 1},
                                  {2, 0, 3, 3},
                                  {1, 2, 3, 1},
                                  {2, 3, 0, 0},
                                  {0, 2, 1, 1},
                                  {-1, 5, 5, 5}}) {
        const int32_t values[] = {row.a, row.b, row.c};
        for (uint32_t slave = 0; slave < 3; ++slave) {
            Report report = report_at(slave, 400, 300);
            report.staff = values[slave];
            receive(delivered(slave, {report}));
        }
        merge();
        ASSERT_EQ(out().num, 1);
        EXPECT_EQ(out().objs[0].staff, row.merged) << row.a << row.b << row.c;
        EXPECT_EQ(out().raw_objs[0].staff, row.merged);
    }
}

TEST_F(Merge, GenderIsTheFirstKnown) {
    for (const Attributes& row : {Attributes{0, 0, 0, 0},
                                  {0, 1, 2, 1},
                                  {1, 2, 2, 1},
                                  {0, 0, 2, 2},
                                  {2, 0, 1, 2},
                                  {0, -3, 1, -3},
                                  {3, 1, 1, 3}}) {
        const int32_t values[] = {row.a, row.b, row.c};
        for (uint32_t slave = 0; slave < 3; ++slave) {
            Report report = report_at(slave, 400, 300);
            report.gender = values[slave];
            receive(delivered(slave, {report}));
        }
        merge();
        ASSERT_EQ(out().num, 1);
        EXPECT_EQ(out().objs[0].gender, row.merged) << row.a << row.b << row.c;
        EXPECT_EQ(out().raw_objs[0].gender, row.merged);
    }
}

TEST_F(Merge, HeightAndScoreAreTheLargest) {
    const float heights[] = {1500.0f, 1800.0f, 1600.0f, -5.0f};
    const float scores[] = {0.25f, 0.125f, 0.75f, 2.0f};
    for (int first = 0; first < 4; ++first) {
        for (uint32_t slave = 0; slave < 4; ++slave) {
            Report report = report_at(slave, 400, 300);
            report.height = heights[(slave + static_cast<uint32_t>(first)) % 4];
            report.score = scores[(slave + static_cast<uint32_t>(first)) % 4];
            receive(delivered(slave, {report}));
        }
        merge();
        ASSERT_EQ(out().num, 1);
        for (const DET_OBJ_S& box : {out().objs[0], out().raw_objs[0]}) {
            EXPECT_EQ(box.height, 1800.0f);
            EXPECT_EQ(box.score, 2.0f);
        }
    }
}

TEST_F(Merge, HalvesAreTruncatedTowardZero) {
    const struct {
        int32_t own_x, slave_x, left;  // of the merged box
    } rows[] = {{30, 33, 1},
                {30, 31, 0},
                {30, 29, 0},
                {30, 27, -1},
                {27, 30, -1},
                {20, 15, -12},
                {-400, -405, -432},
                // single precision: 2^24 + 1 is not a number there
                {16777216 + 30, 16777216 + 31, 16777216},
                {16777217 + 30, 16777217 + 30, 16777216},
                {-16777216 + 30, -16777216 + 29, -16777216}};
    for (const auto& row : rows) {
        tracks.clear();
        own(row.own_x, row.own_x);
        receive(delivered(0, {report_at(1, row.slave_x, row.slave_x)}));
        merge();
        ASSERT_EQ(out().num, 1) << row.own_x;
        EXPECT_EQ(rect(out().objs[0]), Rect({row.left, row.left, 60, 60})) << row.own_x;
        EXPECT_EQ(rect(out().raw_objs[0]), rect(out().objs[0]));
    }
}

TEST_F(Merge, NegativeCoordinatesAreKept) {
    receive(delivered(0, {report_at(1, -500, -20)}));
    EXPECT_THAT(spots(), ElementsAre(Spot{-500, -20, 1}));
}

TEST_F(Merge, CascadeMapIsNotApplied) {
    fix::cfg().cscdMapSize[0] = 100;
    fix::cfg().cscdMapSize[1] = 50;
    fix::cfg().cscdMapSize[2] = 1920;
    fix::cfg().cscdMapSize[3] = 1088;
    receive(delivered(0, {report_at(1, 300, 200)}));
    EXPECT_THAT(spots(), ElementsAre(Spot{300, 200, 1}));
}

TEST_F(Merge, ResultOfTheCallBeforeIsForgotten) {
    receive(delivered(0, {report_at(1, 300, 200), report_at(2, 500, 200)}));
    const auto rslt = std::make_unique<VCA_NN_RESULT_S>();
    dev_cascade_local_master_merge_slave_obj(rslt.get(), tracks);
    EXPECT_EQ(rslt->objects.num, 2);
    receive(delivered(0, {}));
    dev_cascade_local_master_merge_slave_obj(rslt.get(), tracks);
    EXPECT_TRUE(fix::same(*rslt, VCA_NN_RESULT_S{}));
}

// ---- What is logged ----

TEST_F(Merge, EveryPlaceOfTheTableIsLoggedBehindItsSwitch) {
    std::vector<std::string> want;
    for (int slave = 1; slave <= 15; ++slave)
        want.push_back("Slave[" + std::to_string(slave) + "] Recv");
    receive(delivered(4, {report_at(1, 300, 200)}));
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number != cascade::kSwCascade);
    EXPECT_EQ(fix::output_of([this] { merge(); }), "");
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number == cascade::kSwCascade);
    const auto expect_fifteen = [&] {
        std::vector<std::string> have;
        for (const fix::Line& line : fix::lines_of(fix::output_of([this] { merge(); }))) {
            EXPECT_EQ(line.function, "dev_cascade_local_master_merge_slave_obj");
            have.push_back(line.text);
        }
        EXPECT_EQ(have, want);
    };
    expect_fifteen();
    expect_fifteen();  // messages that were read already
    for (int i = 0; i < 128; ++i)
        own(100 * i, 0);
    expect_fifteen();
    EXPECT_THAT(fix::take_messages(), IsEmpty());
}

}  // namespace
