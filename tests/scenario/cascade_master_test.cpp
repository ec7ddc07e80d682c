// Whole passes of a cascade's master: people of the slaves' messages and its own become the merged
// list, and everything the host is told comes from that list alone.
//
// At 3 m the squares of the merge are 195 pixels wide, those of the events 78. The tracker reports
// the nth object of the local pass as n + 1 and the nth of the merged pass as n + 101.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>

#include "tests/cascade/candidates.h"
#include "tests/scenario/scene.h"
#include "tests/support/stdout_capture.h"
#include "vca/decision.h"

namespace {

using cascade::delivered;
using cascade::Report;
using cascade::report_at;
using fix::BytePayload;
using test::Frame;
using test::frame_of;
using test::host;
using test::person_at;
using test::Point;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kSide = 195;
constexpr int64_t kFrameUs = 100'000;

class Master : public testing::Test {
  protected:
    Master() {
        cfg_.devWorkMode = VCA_WORK_MASTER;
        host().use_clock(1'000'000'000);
        host().clock_step_us = kFrameUs;
        host().on_update = [](int inst, const std::vector<IOU_TRK_OBJ_S>& added) {
            IOU_TRK_RSLT_S rslt{};
            for (const IOU_TRK_OBJ_S& obj : added) {
                if (rslt.num == VCA_TRK_MAX) break;
                rslt.objs[rslt.num] = obj;
                rslt.objs[rslt.num++].id = obj.det_idx + (inst == 0 ? 1 : 101);
            }
            return rslt;
        };
    }

    ~Master() override {
        if (running_) stop();
        EXPECT_EQ(host().images_alive(), 0u);
        EXPECT_THAT(host().errors(), IsEmpty());
    }

    void start() {
        vca_base_init();
        test::apply_config(cfg_);
        vca_algo_init();
        running_ = true;
    }

    void stop() {
        test::stop_library();
        running_ = false;
    }

    static void tell(uint32_t slave, const std::vector<Report>& reports) {
        const BytePayload message = delivered(slave, reports);
        ASSERT_TRUE(host().deliver(VCA_MSG_SLAVE_TRACKS, message.bytes().data()));
    }

    // One pass; its number is its frame.
    static void pass(Frame frame = {}) { ASSERT_TRUE(host().run({std::move(frame)})); }
    static void passes(int count, const Frame& frame = {}) {
        ASSERT_TRUE(host().run(std::vector<Frame>(static_cast<size_t>(count), frame)));
    }

    static std::vector<uint8_t> last(int id) {
        const auto sent = host().messages(id);
        return sent.empty() ? std::vector<uint8_t>(30000) : sent.back().bytes;
    }

    static int32_t i32_at(const std::vector<uint8_t>& bytes, size_t at) {
        int32_t value = 0;
        std::memcpy(&value, bytes.data() + at, sizeof(value));
        return value;
    }

    // Ids of the last snapshot, and a word of its nth entry.
    static std::vector<int32_t> shown_ids(int id = VCA_MSG_TRACKS) {
        const auto bytes = last(id);
        std::vector<int32_t> ids;
        for (int32_t i = 0; i < i32_at(bytes, 12); ++i)
            ids.push_back(i32_at(bytes, 16 + 300 * static_cast<size_t>(i)));
        return ids;
    }
    static int32_t shown(size_t nth, size_t at) {
        return i32_at(last(VCA_MSG_TRACKS), 16 + 300 * nth + at);
    }

    VCA_ALGO_CFG_S cfg_ = test::line_config();

  private:
    bool running_ = false;
};

// ---- Events come from the merged list alone ----

TEST_F(Master, PersonOfASlaveIsCounted) {
    start();
    for (int k = 0; k < 30; ++k) {
        Report report = report_at(9, 480, 100 + 12 * k);
        report.gender = VCA_GENDER_FEMALE;
        report.staff = 1;
        report.height = 1623.0f;
        tell(4, {report});
        Frame frame;
        frame.flag = test::kFirstStamp + static_cast<uint32_t>(k);
        pass(frame);
    }
    const auto sent = host().messages(VCA_MSG_LINE_COUNT);
    ASSERT_THAT(sent, SizeIs(1));
    // 32 rows past the line; people count once they are 78 * 0.5 * 0.6667 = 26 past it.
    EXPECT_EQ(sent[0].frame, 17);
    BytePayload want(104);
    want.u32(0, test::kFirstStamp + 17);
    want.i32(8, 101);
    want.i32(12 + 4, 5);  // device
    want.i32(12 + 12, 480 - kSide / 2);
    want.i32(12 + 16, 304 - kSide / 2);
    want.i32(12 + 20, kSide);
    want.i32(12 + 24, kSide);
    want.i32(12 + 28, kSide * kSide);
    want.u8(12 + 32, 1);
    want.u32(12 + 36, std::bit_cast<uint32_t>(0.9f));
    want.i32(12 + 48, 2);
    want.u32(12 + 52, std::bit_cast<uint32_t>(1623.0f));
    want.i32(12 + 56, 1);
    want.i32(96, 2);  // line 0, direction 2
    EXPECT_EQ(sent[0].bytes, want.bytes());
}

TEST_F(Master, OwnPersonIsCountedWhereTheFeetAre) {
    start();
    auto frames = test::walk({{.id = 1}}, 30);
    for (auto& frame : frames)
        pass(frame);
    ASSERT_THAT(test::counts(), SizeIs(1));
    // The feet are at 272 + (1 - 1700 / 3000) * (y - 272): 26 rows past the line above y = 332,
    // which is frame 20; a stand-alone device counts the box in frame 17.
    EXPECT_EQ(test::counts()[0], (test::Count{20, 101, 0, 2}));
}

TEST_F(Master, PersonSeenByAllIsCountedOnce) {
    start();
    auto frames = test::walk({{.id = 1}}, 30);
    for (int k = 0; k < 30; ++k) {
        const int y = 100 + 12 * k;
        const int foot_y = 272 + 13 * (y - 272) / 30;
        for (uint32_t slave = 0; slave < 15; ++slave)
            tell(slave, {report_at(slave, 480, foot_y)});
        pass(frames[static_cast<size_t>(k)]);
        EXPECT_THAT(shown_ids(), ElementsAre(101)) << k;
    }
    ASSERT_THAT(test::counts(), SizeIs(1));
    EXPECT_EQ(test::counts()[0].id, 101);
}

// The merged person is told to be the master's track 1 and the slave's track 9, once each.
TEST_F(Master, ObserverHearsOfWhomAMergedPersonConsists) {
    static std::vector<VCA_DECISION_S> told;
    vca_set_decision_observer([](void*, const VCA_DECISION_S* d) { told.push_back(*d); }, nullptr);
    start();
    for (int k = 0; k < 3; ++k) {
        tell(4, {report_at(9, 480, 272), report_at(7, 100, 100)});
        pass(frame_of({person_at(1, {480, 272})}));
    }
    stop();
    vca_set_decision_observer(nullptr, nullptr);
    std::vector<std::array<int32_t, 4>> merged;
    std::vector<std::array<int32_t, 2>> born;
    for (const VCA_DECISION_S& d : told) {
        if (d.kind == VCA_DECISION_MERGED) merged.push_back({d.list, d.track, d.detail, d.place});
        if (d.kind == VCA_DECISION_BORN) born.push_back({d.list, d.track});
    }
    using Merged = std::array<int32_t, 4>;
    using Born = std::array<int32_t, 2>;
    EXPECT_THAT(merged,
                ElementsAre(Merged{VCA_LIST_MERGED, 101, 0, 1}, Merged{VCA_LIST_MERGED, 101, 5, 9},
                            Merged{VCA_LIST_MERGED, 102, 5, 7}));
    EXPECT_THAT(born, ElementsAre(Born{VCA_LIST_LOCAL, 1}, Born{VCA_LIST_MERGED, 101},
                                  Born{VCA_LIST_MERGED, 102}));
}

TEST_F(Master, PeopleApartAreCountedApart) {
    start();
    auto frames = test::walk({{.id = 1, .from = {300, 100}}}, 30);
    for (int k = 0; k < 30; ++k) {
        tell(0, {report_at(7, 700, 440 - 12 * k)});
        pass(frames[static_cast<size_t>(k)]);
    }
    const auto counts = test::counts();
    ASSERT_THAT(counts, SizeIs(2));
    EXPECT_EQ(counts[0].id, 102);
    EXPECT_EQ(counts[0].cross, 1);
    EXPECT_EQ(counts[1].id, 101);
    EXPECT_EQ(counts[1].cross, 2);
}

TEST_F(Master, SnapshotAndRegionReportListTheMergedPeople) {
    test::set_region(cfg_, 0, {{0, 0}, {959, 0}, {959, 543}, {0, 543}});
    start();
    tell(2, {report_at(31, 800, 400)});
    passes(3, frame_of({person_at(1, {480, 272})}));
    EXPECT_THAT(shown_ids(), ElementsAre(101, 102));
    // Feet of a person in the middle are in the middle; squares instead of boxes.
    EXPECT_EQ(shown(0, 4), 480 - kSide / 2);
    EXPECT_EQ(shown(0, 8), 272 - kSide / 2);
    EXPECT_EQ(shown(0, 12), kSide);
    EXPECT_EQ(shown(1, 4), 800 - kSide / 2);
    EXPECT_EQ(shown(1, 276) & 0xFFFF, 52) << "26 pixels past a line, doubled";
    const auto report = last(VCA_MSG_REGIONS);
    EXPECT_EQ(i32_at(report, 8), 2);
    EXPECT_EQ(i32_at(report, 12), 101);
    EXPECT_EQ(i32_at(report, 12 + 96), 102);
    EXPECT_EQ(i32_at(report, 12 + 96 + 4), 3) << "device of the second";
    EXPECT_EQ(i32_at(report, 8652), 2) << "both are inside";
}

TEST_F(Master, DetectionDisplayListsTheOwnPeople) {
    start();
    int32_t on = 1;
    host().deliver(VCA_MSG_SHOW_DETECTION, &on);
    tell(2, {report_at(31, 800, 400)});
    passes(3, frame_of({person_at(1, {480, 272})}));
    EXPECT_THAT(shown_ids(VCA_MSG_DETECTED_TRACKS), ElementsAre(1));
    EXPECT_THAT(shown_ids(), ElementsAre(101, 102));
}

TEST_F(Master, AppearanceAndRemovalAreThoseOfMergedPeople) {
    cfg_.ShowHistoryBox = 1;
    start();
    tell(0, {report_at(31, 800, 400)});
    pass(frame_of({person_at(1, {480, 272})}));
    tell(0, {});
    passes(12);
    const auto born = host().messages(VCA_MSG_TRACK_BORN);
    ASSERT_THAT(born, SizeIs(2));
    EXPECT_EQ(test::difference(born[0], TRK_SHOW_MSG_S{101, 0, 0, 480, 272}), "");
    EXPECT_EQ(test::difference(born[1], TRK_SHOW_MSG_S{102, 0, 0, 800, 400}), "");
    EXPECT_EQ(born[0].frame, 0);
    const auto removed = host().messages(VCA_MSG_TRACK_REMOVED);
    ASSERT_THAT(removed, SizeIs(2));
    EXPECT_EQ(test::difference(removed[0], TRK_SHOW_MSG_S{102, 0, 0, 800, 400}), "");
    EXPECT_EQ(removed[0].frame, 5);
    // The own track took part for two more passes, because it stood still.
    EXPECT_EQ(test::difference(removed[1], TRK_SHOW_MSG_S{101, 0, 0, 480, 272}), "");
    EXPECT_EQ(removed[1].frame, 7);
}

TEST_F(Master, HeatMapIsThatOfTheMergedPeople) {
    cfg_.HtmpEn = 1;
    start();
    for (int k = 0; k < 20; ++k) {
        tell(0, {report_at(31, 100 + 30 * k, 500)});
        pass(frame_of({person_at(1, {480, 150})}));
    }
    tell(0, {});
    passes(12);
    const HEAT_MAP_S& heat = *vca_dev_get_heat_map_rslt();
    const int row = 500 * 135 / 544;
    int64_t walked = 0, stood = 0;
    for (int y = 0; y < 135; ++y)
        for (int x = 0; x < 240; ++x) {
            (std::abs(y - row) < 8 ? walked : stood) += heat.motion[y][x];
        }
    EXPECT_GT(walked, 0);
    EXPECT_EQ(stood, 0) << "the one who stands walks nowhere";
}

TEST_F(Master, SilentSlaveKeepsItsPeople) {
    start();
    tell(0, {report_at(31, 800, 400)});
    passes(60);
    EXPECT_THAT(shown_ids(), ElementsAre(101));
    EXPECT_THAT(host().messages(VCA_MSG_TRACKS), SizeIs(60));
    tell(0, {});
    passes(5);
    EXPECT_THAT(shown_ids(), IsEmpty());
}

TEST_F(Master, SlavesMessagesAreNotPassedOn) {
    start();
    tell(0, {report_at(31, 800, 400)});
    passes(3, frame_of({person_at(1, {480, 272})}));
    EXPECT_THAT(host().messages(VCA_MSG_SLAVE_TRACKS), IsEmpty());
    EXPECT_THAT(host().messages(VCA_MSG_FRAME_COUNT), IsEmpty());
}

TEST_F(Master, StandAloneDeviceDoesNotUseWhatItReceived) {
    cfg_.devWorkMode = VCA_WORK_ALONE;
    start();
    tell(0, {report_at(31, 800, 400)});
    passes(3, frame_of({person_at(1, {480, 272})}));
    EXPECT_THAT(shown_ids(), ElementsAre(1));
    EXPECT_EQ(host().count_calls("ioutracker_update(1)"), 0);
}

// ---- The second pass ----

TEST_F(Master, NegativeCoordinatesAreKept) {
    start();
    tell(0, {report_at(31, -50, 30)});
    passes(3);
    EXPECT_EQ(shown(0, 4), -50 - kSide / 2);
    EXPECT_EQ(shown(0, 8), 30 - kSide / 2);
}

TEST_F(Master, SquaresGoToTheTrackerAsTheyAre) {
    start();
    tell(0, {report_at(31, 600, 300)});
    pass(frame_of({person_at(1, {200, 100})}));
    const auto added = host().added_objects(1);
    ASSERT_THAT(added, SizeIs(2));
    EXPECT_EQ(added[1].x, 600 - kSide / 2);
    EXPECT_EQ(added[1].w, kSide);
    EXPECT_EQ(added[1].h, kSide);
    EXPECT_EQ(added[1].class_id, 1);
    EXPECT_EQ(added[1].score, 0.9f);
    EXPECT_EQ(added[1].det_idx, 1);
}

TEST_F(Master, AttributesOfASlaveStick) {
    ASSERT_EQ(cfg_.GenderRecognize, 0);  // neither switch concerns what slaves decided
    ASSERT_EQ(cfg_.StaffDetection, 0);
    start();
    const struct {
        int32_t staff, gender;
        float height;
        int32_t shown_staff, shown_gender;
    } rows[] = {{0, 0, 1700, 0, 0}, {1, 0, 1650, 1, 0}, {0, 2, 1700, 1, 2}, {0, 0, 1500, 1, 2},
                {0, 1, 900, 1, 1},  {1, 0, 1900, 1, 1}, {0, 3, 1700, 1, 1}};
    for (const auto& row : rows) {
        Report report = report_at(31, 600, 300);
        report.staff = row.staff;
        report.gender = row.gender;
        report.height = row.height;
        tell(0, {report});
        pass();
        EXPECT_EQ(shown(0, 264), static_cast<int32_t>(row.height));
        EXPECT_EQ(shown(0, 268), row.shown_gender);
        EXPECT_EQ(shown(0, 272), row.shown_staff);
    }
}

TEST_F(Master, HeightRangeIsKeptForMergedPeople) {
    start();
    test::StdoutCapture out;
    Report report = report_at(31, 600, 300);
    report.height = 300;  // 200 mm below the range
    tell(0, {report});
    passes(3);
    EXPECT_NE(out.text().find("===Obj[101] H=300.00 exceed=(500 2500) ! \n"), std::string::npos);
}

TEST_F(Master, OnlyOwnTracksHaveImages) {
    start();
    tell(0, {report_at(31, 800, 400), report_at(32, 200, 400)});
    pass(frame_of({person_at(1, {480, 150})}));
    EXPECT_EQ(host().images_created(), 1);
    EXPECT_EQ(host().count_calls("vca_create_image"), 1);
    EXPECT_THAT(shown_ids(), SizeIs(3));
    EXPECT_EQ(host().count_calls("vca_destroy_image"), 0);
    tell(0, {});
    passes(12);
    // A removed record is handed over whether it had an image or not.
    EXPECT_EQ(host().images_destroyed(), 1);
    EXPECT_EQ(host().zero_images_destroyed(), 3);
}

TEST_F(Master, MergedPeopleAtTheEndAreNotHandedOver) {
    start();
    tell(0, {report_at(31, 800, 400)});
    pass(frame_of({person_at(1, {480, 150})}));
    stop();
    EXPECT_EQ(host().images_destroyed(), 1);
    EXPECT_EQ(host().zero_images_destroyed(), 0);
}

TEST_F(Master, MergedPeopleOutliveTheBaseStage) {
    cfg_.ShowHistoryBox = 1;
    start();
    const Frame frame = frame_of({person_at(1, {480, 150})});
    tell(0, {report_at(31, 800, 400)});
    passes(6, frame);
    EXPECT_EQ(host().images_created(), 1);
    vca_base_uninit();
    avs_mdelay(900);
    EXPECT_EQ(host().images_alive(), 0u) << "the own tracks are gone";
    EXPECT_EQ(host().zero_images_destroyed(), 0);
    vca_base_init();
    passes(3, frame);
    EXPECT_EQ(host().images_created(), 2);
    EXPECT_THAT(shown_ids(), ElementsAre(101, 102));
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_BORN), SizeIs(2)) << "nobody appeared anew";
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_REMOVED), IsEmpty());
}

TEST_F(Master, MergedPeopleOutliveAChangeOfTheWorkMode) {
    cfg_.ShowHistoryBox = 1;
    start();
    tell(0, {report_at(31, 800, 400)});
    passes(3);
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_BORN), SizeIs(1));
    for (const int mode : {0, 2}) {
        cfg_.devWorkMode = mode;
        host().deliver(VCA_MSG_CONFIG, &cfg_);
        passes(20);
        EXPECT_EQ(host().count_calls("ioutracker_update(1)"), mode == 0 ? 3 : 5);
        cfg_.devWorkMode = VCA_WORK_MASTER;
        host().deliver(VCA_MSG_CONFIG, &cfg_);
        passes(2);
        EXPECT_THAT(shown_ids(), ElementsAre(101));
    }
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_BORN), SizeIs(1));
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_REMOVED), IsEmpty());
}

TEST_F(Master, FailedAcquisitionMergesNothing) {
    start();
    tell(0, {report_at(31, 800, 400)});
    Frame missing;
    missing.has_raw = false;
    passes(4, missing);
    EXPECT_EQ(host().count_calls("ioutracker_"), 2 + 2) << "the start of both instances";
    EXPECT_THAT(host().messages(VCA_MSG_TRACKS), IsEmpty());
}

TEST_F(Master, HundredAndTwentyEightPeopleOfEightSlaves) {
    start();
    for (uint32_t slave = 0; slave < 8; ++slave) {
        std::vector<Report> reports;
        for (int i = 0; i < 16; ++i)
            reports.push_back(
                report_at(static_cast<uint32_t>(i), 200 * i, static_cast<int32_t>(slave) * 200));
        tell(slave, reports);
    }
    passes(3);
    EXPECT_THAT(host().added_objects(1), SizeIs(128));
    EXPECT_EQ(i32_at(last(VCA_MSG_TRACKS), 12), 90) << "a snapshot's room";
}

}  // namespace
