// Occupancy, stays, heat map seconds and staff decisions of cases small enough to work out by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "host/score/region_meter.h"
#include "host/score/staff_meter.h"
#include "host/score/stay_meter.h"
#include "host/sinks/score_sink.h"
#include "tests/host/told_frame.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::ElementsAre;

constexpr host::PixelBox kBox{100, 100, 40, 40};
constexpr double kFps = 10.0;
constexpr std::int64_t kMemory = 600;  // frames

const std::vector<host::CountingRegion> kTill = {
    {"till", {{0, 0}, {100, 0}, {100, 100}, {0, 100}}}};

// A report of one track's state in region 0 (and outside all others).
host::RegionsReported report(int track, int inside, int stay_ms) {
    host::RegionsReported out;
    host::RegionPerson person;
    person.track = track;
    person.regions[0] = {inside, stay_ms};
    out.people.push_back(person);
    out.inside = {inside, 0, 0, 0};
    return out;
}

// What a recording without truth makes of reports.
class Reports {
  public:
    void add(std::int64_t frame, double time_s, const host::RegionsReported& report) {
        running_.push_back(stays_.add_report(frame, time_s, report)[0]);
        people_.push_back(report.inside[0]);
    }
    // The stays that are settled after a frame; all of them without one.
    std::vector<host::RegionStay> stays() { return stays_.take_settled(true); }
    std::vector<host::RegionStay> stays_after(std::int64_t frame) {
        stays_.add_frame(frame, {}, host::Identities(kMemory));
        return stays_.take_settled();
    }
    const std::vector<int>& people() const { return people_; }
    const std::vector<int>& running() const { return running_; }

  private:
    host::StayMeter stays_{kTill, kFps, false, kMemory};
    std::vector<int> people_;
    std::vector<int> running_;
};

TEST(StayMeter, JoinsReportsToStays) {
    Reports reports;
    reports.add(10, 1.0, report(7, 1, 100));
    reports.add(11, 1.1, report(7, 1, 200));
    reports.add(12, 1.2, report(7, 1, 200));  // on the edge: inside, but time stands still
    reports.add(13, 1.3, report(7, 0, 0));
    reports.add(20, 2.0, report(7, 1, 100));
    const std::vector<host::RegionStay> stays = reports.stays();
    ASSERT_EQ(stays.size(), 2u);
    const host::RegionStay& first = stays[0];
    EXPECT_EQ(first.track, 7);
    EXPECT_EQ(first.region, 0);
    EXPECT_EQ(first.first_frame, 10);
    EXPECT_EQ(first.last_frame, 12);
    EXPECT_DOUBLE_EQ(first.entered_s, 1.0);
    EXPECT_DOUBLE_EQ(first.stay_s, 0.2);
    EXPECT_DOUBLE_EQ(stays[1].entered_s, 2.0);
}

TEST(StayMeter, InsideAreThoseWhoseTimeRuns) {
    Reports reports;
    reports.add(10, 1.0, report(7, 1, 100));
    reports.add(11, 1.1, report(7, 1, 200));
    reports.add(12, 1.2, report(7, 1, 200));
    reports.add(13, 1.3, report(7, 1, 300));
    reports.add(14, 1.4, report(7, 0, 0));
    EXPECT_THAT(reports.running(), ElementsAre(1, 1, 0, 1, 0));
}

TEST(StayMeter, ATrackThatWasNotReportedGoesOnUnlessItsTimeStartedAgain) {
    Reports reports;
    reports.add(1, 0.1, report(7, 1, 100));
    reports.add(2, 0.2, report(8, 1, 100));
    reports.add(9, 0.9, report(7, 1, 200));
    EXPECT_TRUE(reports.stays_after(9).empty());
    reports.add(30, 3.0, report(7, 1, 100));
    const std::vector<host::RegionStay> first = reports.stays_after(30);
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].track, 7);
    EXPECT_EQ(first[0].last_frame, 9);
    const std::vector<host::RegionStay> others = reports.stays();
    ASSERT_EQ(others.size(), 2u);
    EXPECT_EQ(others[0].track, 7);
    EXPECT_EQ(others[0].first_frame, 30);
    EXPECT_EQ(others[1].track, 8);
}

TEST(StayMeter, ATrackThatIsNotReportedForLongHasEnded) {
    Reports reports;
    reports.add(1, 0.1, report(7, 1, 100));
    EXPECT_TRUE(reports.stays_after(1 + kMemory).empty());
    const std::vector<host::RegionStay> ended = reports.stays_after(2 + kMemory);
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].last_frame, 1);
}

// Each frame is a second of its own here.
TEST(RegionMeter, PeopleAndThoseInsideAreThoseOfTheFramesReport) {
    host::RegionMeter meter(kTill);
    const int people[] = {1, 2, 0, 1, 0};
    const int inside[] = {1, 1, 0, 1, 0};
    std::vector<double> seen;
    for (int i = 0; i < 5; ++i) {
        if (i != 2) meter.add_report({people[i], 9, 9, 9}, {inside[i], 9, 9, 9});
        meter.add_frame(i, {});
    }
    for (const host::RegionSecond& second : meter.take_seconds(true)) {
        seen.push_back(second.people);
        seen.push_back(second.inside);
    }
    EXPECT_THAT(seen, ElementsAre(1, 1, 2, 1, 0, 0, 1, 1, 0, 0));
    EXPECT_TRUE(meter.take_seconds(true).empty());
}

class Shown : public ::testing::Test {
  protected:
    // Track 5 lies on somebody who is staff.
    Shown() { identities_.add_frame(0, {{1, 5}}, {{1, kBox, 1700.0, true, {}, true, true}}); }

    void show(double time_s, bool staff, bool detected = false) {
        host::TracksShown shown;
        shown.detected = detected;
        shown.tracks.resize(1);
        shown.tracks[0].track = 5;
        shown.tracks[0].staff = staff ? 1 : 0;
        meter_.add_shown(static_cast<std::int64_t>(time_s * kFps), time_s, shown);
    }

    host::StaffScore judged() {
        meter_.judge_ended(0, identities_, true);
        return meter_.score();
    }

    host::Identities identities_{kMemory};
    host::StaffMeter meter_{kMemory};
};

TEST_F(Shown, TheLastDecisionOnATrackCounts) {
    show(1.0, true);
    show(2.0, true);
    show(3.5, false);
    EXPECT_EQ(judged().missed, 1);
    EXPECT_EQ(judged().tracks(), 1);
}

TEST_F(Shown, ATracksSpanGoesFromItsFirstToItsLastTime) {
    show(1.0, true);
    show(2.9, true);
    EXPECT_EQ(judged().tracks(), 0);
    show(1.0, true);
    show(3.0, true);
    EXPECT_EQ(judged().right_staff, 1);
}

TEST_F(Shown, DetectedBoxesAreNoTracks) {
    show(1.0, true, true);
    show(5.0, true, true);
    EXPECT_EQ(judged().tracks(), 0);
}

TEST_F(Shown, IsJudgedWhenItHasNotBeenShownForLong) {
    show(1.0, true);
    show(5.0, true);
    meter_.judge_ended(50 + kMemory, identities_);
    EXPECT_EQ(meter_.score().tracks(), 0);
    meter_.judge_ended(51 + kMemory, identities_);
    EXPECT_EQ(meter_.score().right_staff, 1);
}

// Ten frames a second of one person under track 7, in the region from frame 5 to 24.
class OnePerson : public ::testing::Test {
  protected:
    void SetUp() override {
        setup_ = {{}, kTill, kFps, true};
        for (int i = 0; i < 30; ++i) {
            test::ToldFrame frame;
            frame.pass.number = i;
            frame.pass.time_s = i / kFps;
            const host::PicturePoint place{i >= 5 && i < 25 ? 50.0 : 500.0, 50.0};
            frame.people = {{1, kBox, 1700.0, true, place, true, false}};
            frame.pass.tracks = {{7, kBox}};
            frames_.push_back(frame);
        }
    }

    void send(int frame, int id, const host::Payload& payload) {
        frames_.at(static_cast<std::size_t>(frame))
            .events.push_back({id, frame, frame / kFps, payload});
    }

    void report_inside(int first, int last) {
        for (int i = first; i <= last; ++i)
            send(i, 6070, report(7, 1, (i - first + 1) * 100));
        if (last + 1 < 30) send(last + 1, 6070, report(7, 0, 0));
    }

    void show_track(int last, bool staff) {
        for (test::ToldFrame& frame : frames_) {
            std::erase_if(frame.events, [](const host::Event& event) { return event.id == 6069; });
        }
        for (int i = 0; i <= last; ++i) {
            host::TracksShown shown;
            shown.tracks.resize(1);
            shown.tracks[0].track = 7;
            shown.tracks[0].staff = staff ? 1 : 0;
            send(i, 6069, shown);
        }
    }

    const host::Scores& evaluate(const host::ScoreTables& tables = {}) {
        sink_ = std::make_unique<host::ScoreSink>(setup_, tables);
        for (const test::ToldFrame& frame : frames_)
            test::tell(*sink_, frame);
        sink_->finish();
        return sink_->scores();
    }

    host::ScoreSetup setup_;
    std::vector<test::ToldFrame> frames_;
    std::unique_ptr<host::ScoreSink> sink_;
};

TEST_F(OnePerson, OccupancyIsComparedFrameByFrame) {
    report_inside(8, 25);  // enters 3 frames late, leaves 1 frame late
    const host::Scores& scores = evaluate();
    const host::Occupancy& o = scores.regions.at(0);
    EXPECT_DOUBLE_EQ(o.mean, 18.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.true_mean, 20.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.mean_abs_error, 4.0 / 30.0);
    EXPECT_EQ(o.peak, 1);
    EXPECT_EQ(o.true_peak, 1);
    EXPECT_EQ(o.stays, 1);
    EXPECT_DOUBLE_EQ(host::mean_of_regions(scores.regions, &host::Occupancy::mean_abs_error),
                     4.0 / 30.0);
}

TEST_F(OnePerson, WhoIsOnTheEdgeIsReportedButNotInside) {
    report_inside(5, 24);
    for (int i = 25; i < 30; ++i)
        send(i, 6070, report(8, 1, 0));  // time stands still
    const host::Occupancy o = evaluate().regions.at(0);
    EXPECT_DOUBLE_EQ(o.mean, 25.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.mean_abs_error, 5.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.inside_mean, 20.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.inside_abs_error, 0.0);
}

TEST_F(OnePerson, StaysAreComparedWithThePersonUnderTheTrack) {
    report_inside(8, 25);
    const host::StayScore& stays = evaluate().stays;
    EXPECT_EQ(stays.errors_s.count(), 1);
    EXPECT_NEAR(stays.errors_s.quantile(0.5), -0.2, 1e-12);
    EXPECT_NEAR(stays.error_sizes_s.quantile(0.5), 0.2, 1e-12);
    EXPECT_EQ(stays.true_long_stays, 1);
    EXPECT_EQ(stays.true_long_stays_missed, 0);
}

TEST_F(OnePerson, AStayThatNobodyReportedIsMissed) {
    const host::Scores& scores = evaluate();
    EXPECT_EQ(scores.regions.at(0).stays, 0);
    EXPECT_EQ(scores.stays.true_long_stays, 1);
    EXPECT_EQ(scores.stays.true_long_stays_missed, 1);
    EXPECT_DOUBLE_EQ(scores.regions[0].mean_abs_error, 20.0 / 30.0);
}

TEST_F(OnePerson, ATruthInPiecesIsSummedUnderOneStay) {
    frames_[15].people[0].place = {500, 50};
    report_inside(5, 24);
    const host::Scores& scores = evaluate();
    EXPECT_EQ(scores.stays.errors_s.count(), 1);
    EXPECT_NEAR(scores.stays.errors_s.quantile(0.5), 2.0 - 1.9, 1e-12);
    EXPECT_EQ(scores.stays.true_long_stays, 1);  // 1.0 s and 0.9 s
}

TEST_F(OnePerson, OnlyPeopleInViewCount) {
    for (test::ToldFrame& frame : frames_)
        frame.people[0].in_view = frame.pass.number < 10;
    frames_.back().pass.blank = true;
    const host::Scores& scores = evaluate();
    EXPECT_DOUBLE_EQ(scores.true_view_s, 1.0);
    EXPECT_DOUBLE_EQ(scores.regions.at(0).true_mean, 5.0 / 29.0);
}

TEST_F(OnePerson, StaffDecisionsOfLongTracksAreScored) {
    show_track(25, true);
    EXPECT_FALSE(evaluate().staff);  // nobody is staff
    for (test::ToldFrame& frame : frames_)
        frame.people[0].staff = true;
    ASSERT_TRUE(evaluate().staff);
    EXPECT_EQ(sink_->scores().staff->right_staff, 1);
    show_track(25, false);
    EXPECT_EQ(evaluate().staff->missed, 1);
    EXPECT_DOUBLE_EQ(sink_->scores().staff->recall(), 0.0);
    show_track(19, false);
    EXPECT_EQ(evaluate().staff->tracks(), 0);
}

TEST(StaffScore, IsTheUsualOne) {
    const host::StaffScore score{6, 2, 3, 9};
    EXPECT_DOUBLE_EQ(score.precision(), 6.0 / 8.0);
    EXPECT_DOUBLE_EQ(score.recall(), 6.0 / 9.0);
    EXPECT_DOUBLE_EQ(score.accuracy(), 15.0 / 20.0);
    EXPECT_TRUE(std::isnan(host::StaffScore{}.accuracy()));
}

TEST(Heat, SecondsAreThoseOfWholeContributions) {
    host::HeatMapReported heat;
    heat.dwell_ms.assign(240 * 135, 0);
    EXPECT_EQ(host::heat_seconds(heat), 0.0);
    // Two contributions of 150 ms, each to the cells within 4 of the middle.
    for (int y = -4; y <= 4; ++y)
        for (int x = -4; x <= 4; ++x)
            if (x * x + y * y <= 16) {
                heat.dwell_ms[static_cast<std::size_t>((60 + y) * 240 + 100 + x)] += 150;
                heat.dwell_ms[static_cast<std::size_t>((60 + y) * 240 + 102 + x)] += 150;
            }
    EXPECT_DOUBLE_EQ(host::heat_seconds(heat), 0.3);
}

class Csv : public OnePerson {
  protected:
    void TearDown() override {
        std::filesystem::remove(regions_);
        std::filesystem::remove(stays_);
    }

    void write() { evaluate({"", "", regions_, stays_}); }

    static std::string text(const std::string& path) {
        std::ifstream in(path);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::string regions_ = test::unique_path("vca-regions-test", ".csv").string();
    std::string stays_ = test::unique_path("vca-stays-test", ".csv").string();
};

TEST_F(Csv, HoldsEachSecondAndEachStay) {
    setup_.regions[0].name = "till, \"left\"";
    report_inside(8, 25);
    write();
    EXPECT_EQ(text(regions_),
              "second,region,people,inside,true_people\n"
              "0,\"till, \"\"left\"\"\",0.2,0.2,0.5\n"
              "1,\"till, \"\"left\"\"\",1,1,1\n"
              "2,\"till, \"\"left\"\"\",0.6,0.6,0.5\n");
    EXPECT_EQ(text(stays_),
              "track,region,entered_s,stay_s,person,true_stay_s\n"
              "7,\"till, \"\"left\"\"\",0.800,1.800,1,2\n");
}

TEST_F(Csv, SecondsTellWhoIsInsideFromWhoIsOnTheEdge) {
    report_inside(5, 24);
    for (int i = 25; i < 30; ++i)
        send(i, 6070, report(8, 1, 0));
    write();
    EXPECT_THAT(text(regions_), ::testing::EndsWith("\n2,till,1,0.5,0.5\n"));
}

TEST_F(Csv, ATrackOnNobodyHasNoTruth) {
    for (test::ToldFrame& frame : frames_)
        frame.pass.tracks.clear();
    report_inside(5, 24);
    write();
    EXPECT_EQ(text(stays_),
              "track,region,entered_s,stay_s,person,true_stay_s\n7,till,0.500,2.000,,\n");
    EXPECT_TRUE(sink_->scores().stays.errors_s.empty());
}

TEST_F(Csv, LeavesTheTruthEmptyWhereThereIsNone) {
    setup_.has_truth = false;
    for (test::ToldFrame& frame : frames_)
        frame.people.clear();
    report_inside(8, 9);
    write();
    EXPECT_EQ(
        text(regions_),
        "second,region,people,inside,true_people\n0,till,0.2,0.2,\n1,till,0,0,\n2,till,0,0,\n");
    EXPECT_EQ(text(stays_),
              "track,region,entered_s,stay_s,person,true_stay_s\n7,till,0.800,0.200,,\n");
}

TEST_F(Csv, SaysThatItCannotBeWritten) {
    EXPECT_THROW(evaluate({"", "", "/nonexistent/a.csv", ""}), std::runtime_error);
    EXPECT_THROW(evaluate({"", "", "", "/dev/full"}), std::runtime_error);
}

}  // namespace
