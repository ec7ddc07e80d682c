// The merge against its plain form on random sets of people.
#include "tests/cascade/merge_model.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <random>

namespace {

using cascade::Report;
using cascade::SlaveState;

// How coordinates are drawn.
enum Places {
    kCrowd,     // all within a few squares
    kImage,     // over the image
    kLattice,   // multiples of a quarter square: many equal overlaps
    kTouching,  // neighbours at a square's side, give or take 3 pixels
    kExtreme,   // also at the ends of i32
    kPlacesNum
};

struct Case {
    const char* name;
    Places places;
    int own, slaves, reports;  // at most
    int rounds;
};

void PrintTo(const Case& row, std::ostream* os) {
    *os << row.name;
}

class MergeModel : public testing::TestWithParam<Case> {
  protected:
    void SetUp() override {
        fix::set_up_device();
        fix::cfg().devWorkMode = VCA_WORK_MASTER;
        tracks_.reserve(140);
    }

    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }
    uint32_t word() { return static_cast<uint32_t>(random_()); }
    bool chance(int one_in) { return below(one_in) == 0; }

    int32_t height_mm() {
        const int32_t ends[] = {INT_MIN, 0, 1999, 2000, 2399, 2400, 5089, 6000, 6001, INT_MAX};
        return chance(3) ? ends[below(10)] : 1800 + below(4600);
    }

    int32_t place(int32_t extent) {
        const int32_t side = cascade::square_side(fix::cfg().InstallHeight);
        switch (GetParam().places) {
            case kCrowd:
                return 200 + below(3 * side);
            case kLattice:
                return (below(9) - 2) * std::max(1, side / 4);
            case kTouching:
                return below(5) * side + below(4) * (below(3) - 1);
            case kExtreme:
                if (chance(3)) return INT_MAX - below(2 * side);
                if (chance(3)) return INT_MIN + below(2 * side);
                if (chance(3)) return below(2) == 0 ? (1 << 24) + below(200) : -below(200);
                return below(extent);
            default:
                return below(extent);
        }
    }

    float number(float usual) {
        const float ends[] = {std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              0.0f,
                              -0.0f,
                              -1.0f,
                              1e38f};
        return chance(6) ? ends[below(7)] : usual * static_cast<float>(below(4));
    }

    int32_t flag() {
        const int32_t values[] = {0, 0, 1, 2, -1, INT_MAX};
        return values[below(6)];
    }

    Report report() {
        Report r;
        r.id = word();
        r.class_id = static_cast<uint8_t>(below(256));
        r.score = number(0.25f);
        r.gender = flag();
        r.height = number(600.0f);
        r.staff = flag();
        r.cx = place(960);
        r.cy = place(544);
        r.foot_x = place(960);
        r.foot_y = place(544);
        return r;
    }

    DET_OBJ_S box() {
        DET_OBJ_S obj = fix::patterned(static_cast<uint32_t>(below(1000)));
        obj.x = place(960);
        obj.y = place(544);
        obj.w = 11 + below(90);
        obj.h = 11 + below(90);
        obj.class_id = static_cast<uint8_t>(below(256));
        obj.score = number(0.25f);
        obj.gender = flag();
        obj.height = number(600.0f);
        obj.staff = flag();
        obj.reserved3 = 0;
        return obj;
    }

    void draw_own() {
        tracks_.resize(static_cast<size_t>(below(GetParam().own + 1)));
        for (TRACKER_RSLT_S& trk : tracks_) {
            trk.footBox = box();
            trk.curObj = box();
            trk.lastFrm = word();
            trk.age = chance(8) ? below(3) - 1 : 1 + below(20);
            trk.lostCnt = chance(4) ? below(4) : 0;
            trk.moveIoU = chance(8) ? number(0.5f) : 0.01f * static_cast<float>(below(101));
            if (chance(8)) trk.curObj.w = 9 + below(4);
            if (chance(8)) trk.curObj.h = 9 + below(4);
        }
    }

    void draw_slaves() {
        slaves_.assign(15, {});
        for (uint32_t index = 0; index < 15; ++index) {
            SlaveState& slave = slaves_[index];
            if (static_cast<int>(index) < GetParam().slaves) {
                slave.reports.resize(static_cast<size_t>(below(GetParam().reports + 1)));
                for (Report& r : slave.reports)
                    r = report();
            }
            slave.frame = word();
            slave.count = static_cast<int32_t>(slave.reports.size());
            const int32_t wrong[] = {-1, INT_MIN, 91, 5000, INT_MAX, slave.count + 2};
            if (chance(40)) slave.count = wrong[below(6)];
            cascade::receive(cascade::delivered(index, slave.reports, slave.frame, slave.count));
        }
    }

    std::mt19937 random_{20261120};
    std::vector<TRACKER_RSLT_S> tracks_;
    std::vector<SlaveState> slaves_;
};

TEST_P(MergeModel, GivesTheSameBytes) {
    int grouped = 0, full = 0;
    for (int round = 0; round < GetParam().rounds; ++round) {
        fix::cfg().InstallHeight = height_mm();
        draw_own();
        draw_slaves();
        const auto all = cascade::collect(tracks_, slaves_, fix::cfg().InstallHeight);
        const auto want = cascade::merge_plainly(all);
        const auto have = cascade::merge(tracks_);
        ASSERT_EQ(cascade::difference(*have, want), "") << "round " << round;
        grouped += static_cast<size_t>(want.num) < all.size();
        full += all.size() == 128;
    }
    // The sets are worth their time.
    EXPECT_GT(grouped, GetParam().rounds / 3);
    const int most = GetParam().own + GetParam().slaves * GetParam().reports;
    EXPECT_GE(full, most >= 400 ? 10 : 0);
}

INSTANTIATE_TEST_SUITE_P(Random, MergeModel,
                         testing::Values(Case{"TwoDevices", kCrowd, 5, 1, 5, 2000},
                                         Case{"FewPeopleOfManyDevices", kCrowd, 2, 15, 2, 1000},
                                         Case{"Image", kImage, 8, 4, 8, 1000},
                                         Case{"Ties", kLattice, 6, 5, 6, 2000},
                                         Case{"TiesOfSixteenDevices", kLattice, 3, 15, 3, 500},
                                         Case{"Touching", kTouching, 8, 4, 8, 1500},
                                         Case{"EndsOfTheNumbers", kExtreme, 5, 4, 5, 2000},
                                         Case{"FullHouse", kImage, 40, 15, 30, 60},
                                         Case{"FullCrowd", kCrowd, 20, 15, 30, 60},
                                         Case{"FullLattice", kLattice, 140, 15, 90, 60},
                                         Case{"SlavesOnly", kImage, 0, 15, 8, 300},
                                         Case{"OwnPeopleAndOneSlave", kTouching, 60, 1, 90, 100}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
