// Occupancy, stays, heat map seconds and staff decisions of cases small enough to work out by hand.
#include "host/score/region_stats.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/report/report.h"
#include "host/report/run_result.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr host::PixelBox kBox{100, 100, 40, 40};

// A report of one track's state in region 0 (and outside all others).
host::RegionsReported report(int track, int inside, int stay_ms) {
    host::RegionsReported out;
    RGN_PERSON_S person{};
    person.obj.reserved0 = static_cast<std::uint32_t>(track);
    person.rgn[0] = {static_cast<std::uint8_t>(inside), stay_ms};
    out.people.push_back(person);
    out.inside = {inside, 0, 0, 0};
    return out;
}

TEST(RegionLog, JoinsReportsToStays) {
    host::RegionLog log;
    log.add(10, 1.0, report(7, 1, 100));
    log.add(11, 1.1, report(7, 1, 200));
    log.add(12, 1.2, report(7, 1, 200));  // on the edge: inside, but time stands still
    log.add(13, 1.3, report(7, 0, 0));
    log.add(20, 2.0, report(7, 1, 100));
    ASSERT_EQ(log.stays().size(), 2u);
    const host::RegionStay& first = log.stays()[0];
    EXPECT_EQ(first.track, 7);
    EXPECT_EQ(first.region, 0);
    EXPECT_EQ(first.first_frame, 10);
    EXPECT_EQ(first.last_frame, 12);
    EXPECT_DOUBLE_EQ(first.entered_s, 1.0);
    EXPECT_DOUBLE_EQ(first.stay_s, 0.2);
    EXPECT_DOUBLE_EQ(log.stays()[1].entered_s, 2.0);
    EXPECT_EQ(log.counts().size(), 5u);
    EXPECT_EQ(log.counts()[3].people[0], 0);
}

TEST(RegionLog, InsideAreThoseWhoseTimeRuns) {
    host::RegionLog log;
    log.add(10, 1.0, report(7, 1, 100));
    log.add(11, 1.1, report(7, 1, 200));
    log.add(12, 1.2, report(7, 1, 200));
    log.add(13, 1.3, report(7, 1, 300));
    log.add(14, 1.4, report(7, 0, 0));
    std::vector<int> people;
    std::vector<int> inside;
    for (const host::RegionCount& count : log.counts()) {
        people.push_back(count.people[0]);
        inside.push_back(count.inside[0]);
    }
    EXPECT_THAT(people, ElementsAre(1, 1, 1, 1, 0));
    EXPECT_THAT(inside, ElementsAre(1, 1, 0, 1, 0));
}

TEST(RegionLog, ATrackThatWasNotReportedGoesOnUnlessItsTimeStartedAgain) {
    host::RegionLog log;
    log.add(1, 0.1, report(7, 1, 100));
    log.add(2, 0.2, report(8, 1, 100));
    log.add(9, 0.9, report(7, 1, 200));
    ASSERT_EQ(log.stays().size(), 2u);
    EXPECT_EQ(log.stays()[0].last_frame, 9);
    log.add(30, 3.0, report(7, 1, 100));
    ASSERT_EQ(log.stays().size(), 3u);
    EXPECT_EQ(log.stays()[2].first_frame, 30);
}

TEST(ShownTracks, KeepTheirSpanAndTheLastDecision) {
    host::ShownTracks tracks;
    host::TracksShown shown;
    shown.tracks.resize(1);
    shown.tracks[0].trackId = 5;
    shown.tracks[0].staff = 1;
    host::add_shown(1.0, shown, tracks);
    host::add_shown(2.0, shown, tracks);
    EXPECT_TRUE(tracks.at(5).staff);
    shown.tracks[0].staff = 0;
    host::add_shown(3.5, shown, tracks);
    EXPECT_FALSE(tracks.at(5).staff);
    EXPECT_DOUBLE_EQ(tracks.at(5).first_s, 1.0);
    EXPECT_DOUBLE_EQ(tracks.at(5).last_s, 3.5);
}

// Ten frames a second of one person under track 7, in the region from frame 5 to 24.
class OnePerson : public ::testing::Test {
  protected:
    void SetUp() override {
        result_.source.has_truth = true;
        result_.source.frames_per_second = 10.0;
        result_.regions = {{"till", {{0, 0}, {100, 0}, {100, 100}, {0, 100}}}};
        for (int i = 0; i < 30; ++i) {
            host::FrameRecord frame;
            frame.number = i;
            frame.time_s = i / 10.0;
            const host::PicturePoint place{i >= 5 && i < 25 ? 50.0 : 500.0, 50.0};
            frame.people = {{1, kBox, 1700.0, true, place, true, false}};
            frame.tracks = {{7, kBox}};
            result_.frames.push_back(frame);
        }
    }

    void report_inside(int first, int last) {
        for (int i = first; i <= last; ++i)
            result_.region_log.add(i, i / 10.0, report(7, 1, (i - first + 1) * 100));
        result_.region_log.add(last + 1, (last + 1) / 10.0, report(7, 0, 0));
    }

    void show_track(double last_s, bool staff) { result_.shown_tracks[7] = {0.0, last_s, staff}; }

    host::RunResult result_;
};

TEST_F(OnePerson, OccupancyIsComparedFrameByFrame) {
    report_inside(8, 25);  // enters 3 frames late, leaves 1 frame late
    host::evaluate(result_);
    const host::Occupancy& o = result_.region_stats.regions.at(0);
    EXPECT_DOUBLE_EQ(o.mean, 18.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.true_mean, 20.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.mean_abs_error, 4.0 / 30.0);
    EXPECT_EQ(o.peak, 1);
    EXPECT_EQ(o.true_peak, 1);
    EXPECT_EQ(o.stays, 1);
    EXPECT_DOUBLE_EQ(host::mean_of_regions(result_.region_stats, &host::Occupancy::mean_abs_error),
                     4.0 / 30.0);
    ASSERT_EQ(result_.region_stats.seconds.size(), 3u);
    EXPECT_DOUBLE_EQ(result_.region_stats.seconds[0].people, 0.2);
    EXPECT_DOUBLE_EQ(result_.region_stats.seconds[0].true_people, 0.5);
    EXPECT_DOUBLE_EQ(result_.region_stats.seconds[2].people, 0.6);
    EXPECT_DOUBLE_EQ(result_.region_stats.seconds[2].true_people, 0.5);
}

TEST_F(OnePerson, WhoIsOnTheEdgeIsReportedButNotInside) {
    report_inside(5, 24);
    for (int i = 25; i < 30; ++i)
        result_.region_log.add(i, i / 10.0, report(8, 1, 0));  // time stands still
    host::evaluate(result_);
    const host::Occupancy& o = result_.region_stats.regions.at(0);
    EXPECT_DOUBLE_EQ(o.mean, 25.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.mean_abs_error, 5.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.inside_mean, 20.0 / 30.0);
    EXPECT_DOUBLE_EQ(o.inside_abs_error, 0.0);
    EXPECT_DOUBLE_EQ(result_.region_stats.seconds[2].people, 1.0);
    EXPECT_DOUBLE_EQ(result_.region_stats.seconds[2].inside, 0.5);
}

TEST_F(OnePerson, StaysAreComparedWithThePersonUnderTheTrack) {
    report_inside(8, 25);
    host::evaluate(result_);
    const host::RegionStats& stats = result_.region_stats;
    ASSERT_EQ(stats.stays.size(), 1u);
    EXPECT_EQ(stats.stays[0].person, 1);
    EXPECT_DOUBLE_EQ(*stats.stays[0].true_stay_s, 2.0);
    EXPECT_NEAR(stats.stay_errors_s.at(0), -0.2, 1e-12);
    EXPECT_NEAR(stats.stay_error_sizes_s.at(0), 0.2, 1e-12);
    EXPECT_EQ(stats.true_long_stays, 1);
    EXPECT_EQ(stats.true_long_stays_missed, 0);
}

TEST_F(OnePerson, AStayThatNobodyReportedIsMissed) {
    host::evaluate(result_);
    EXPECT_TRUE(result_.region_stats.stays.empty());
    EXPECT_EQ(result_.region_stats.true_long_stays, 1);
    EXPECT_EQ(result_.region_stats.true_long_stays_missed, 1);
    EXPECT_DOUBLE_EQ(result_.region_stats.regions[0].mean_abs_error, 20.0 / 30.0);
}

TEST_F(OnePerson, ATruthInPiecesIsSummedUnderOneStay) {
    result_.frames[15].people[0].place = {500, 50};
    report_inside(5, 24);
    host::evaluate(result_);
    EXPECT_NEAR(result_.region_stats.stay_errors_s.at(0), 2.0 - 1.9, 1e-12);
    EXPECT_EQ(result_.region_stats.true_long_stays, 1);  // 1.0 s and 0.9 s
}

TEST_F(OnePerson, ATrackOnNobodyHasNoTruth) {
    for (host::FrameRecord& frame : result_.frames)
        frame.tracks.clear();
    report_inside(5, 24);
    host::evaluate(result_);
    EXPECT_FALSE(result_.region_stats.stays.at(0).person);
    EXPECT_FALSE(result_.region_stats.stays.at(0).true_stay_s);
    EXPECT_TRUE(result_.region_stats.stay_errors_s.empty());
}

TEST_F(OnePerson, OnlyPeopleInViewCount) {
    for (host::FrameRecord& frame : result_.frames)
        frame.people[0].in_view = frame.number < 10;
    result_.frames.back().blank = true;
    host::evaluate(result_);
    EXPECT_DOUBLE_EQ(result_.region_stats.true_view_s, 1.0);
    EXPECT_DOUBLE_EQ(result_.region_stats.regions[0].true_mean, 5.0 / 29.0);
}

TEST_F(OnePerson, StaffDecisionsOfLongTracksAreScored) {
    show_track(2.5, true);
    host::evaluate(result_);
    EXPECT_FALSE(result_.region_stats.staff);  // nobody is staff
    for (host::FrameRecord& frame : result_.frames)
        frame.people[0].staff = true;
    host::evaluate(result_);
    ASSERT_TRUE(result_.region_stats.staff);
    EXPECT_EQ(result_.region_stats.staff->right_staff, 1);
    show_track(2.5, false);
    host::evaluate(result_);
    EXPECT_EQ(result_.region_stats.staff->missed, 1);
    EXPECT_DOUBLE_EQ(result_.region_stats.staff->recall(), 0.0);
    show_track(1.9, false);
    host::evaluate(result_);
    EXPECT_EQ(result_.region_stats.staff->tracks(), 0);
}

TEST(StaffScore, IsTheUsualOne) {
    const host::StaffScore score{6, 2, 3, 9};
    EXPECT_DOUBLE_EQ(score.precision(), 6.0 / 8.0);
    EXPECT_DOUBLE_EQ(score.recall(), 6.0 / 9.0);
    EXPECT_DOUBLE_EQ(score.accuracy(), 15.0 / 20.0);
    EXPECT_DOUBLE_EQ(host::StaffScore{}.accuracy(), 1.0);
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

TEST(Report, ShowsRegionsHeatAndStaffWhereTheyAreKnown) {
    host::RunResult result;
    result.source.frames_per_second = 10.0;
    EXPECT_THAT(host::summary_text(result), Not(HasSubstr("region")));
    EXPECT_THAT(host::summary_text(result), Not(HasSubstr("heat map")));
    EXPECT_THAT(host::summary_text(result), Not(HasSubstr("staff")));
    result.regions = {{"till", {{0, 0}, {9, 0}, {9, 9}}}};
    result.heat.emplace().dwell_ms.assign(49, 3000);
    result.options.staff = "vest";
    host::evaluate(result);
    EXPECT_THAT(host::summary_text(result), HasSubstr("till"));
    EXPECT_THAT(host::summary_text(result), Not(HasSubstr("(inside)")));
    EXPECT_THAT(host::summary_text(result),
                HasSubstr("heat map             3 s as the map counts them\n"));
    EXPECT_THAT(host::summary_text(result), HasSubstr("0 of 0 counted\n"));
    result.source.has_truth = true;
    host::evaluate(result);
    EXPECT_THAT(host::summary_text(result), HasSubstr("(inside)"));
    EXPECT_THAT(host::summary_text(result),
                HasSubstr("3 s as the map counts them; people were in view for 0 s"));
}

class Csv : public OnePerson {
  protected:
    void TearDown() override { std::filesystem::remove(path_); }

    std::string text() const {
        std::ifstream in(path_);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::string path_ = test::unique_path("vca-csv-test", ".csv").string();
};

TEST_F(Csv, HoldsEachSecondAndEachStay) {
    result_.regions[0].name = "till, \"left\"";
    report_inside(8, 25);
    host::evaluate(result_);
    host::write_regions_csv(result_, path_);
    EXPECT_EQ(text(),
              "second,region,people,inside,true_people\n"
              "0,\"till, \"\"left\"\"\",0.2,0.2,0.5\n"
              "1,\"till, \"\"left\"\"\",1,1,1\n"
              "2,\"till, \"\"left\"\"\",0.6,0.6,0.5\n");
    host::write_stays_csv(result_, path_);
    EXPECT_EQ(text(),
              "track,region,entered_s,stay_s,person,true_stay_s\n"
              "7,\"till, \"\"left\"\"\",0.8,1.8,1,2\n");
}

TEST_F(Csv, LeavesTheTruthEmptyWhereThereIsNone) {
    result_.source.has_truth = false;
    for (host::FrameRecord& frame : result_.frames)
        frame.people.clear();
    report_inside(8, 9);
    host::evaluate(result_);
    host::write_regions_csv(result_, path_);
    EXPECT_EQ(
        text(),
        "second,region,people,inside,true_people\n0,till,0.2,0.2,\n1,till,0,0,\n2,till,0,0,\n");
    host::write_stays_csv(result_, path_);
    EXPECT_EQ(text(), "track,region,entered_s,stay_s,person,true_stay_s\n7,till,0.8,0.2,,\n");
}

TEST_F(Csv, SaysThatItCannotBeWritten) {
    EXPECT_THROW(host::write_regions_csv(result_, "/nonexistent/a.csv"), std::runtime_error);
    EXPECT_THROW(host::write_stays_csv(result_, "/dev/full"), std::runtime_error);
}

}  // namespace
