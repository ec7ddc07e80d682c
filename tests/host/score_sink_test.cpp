// Counts, heights and times of cases small enough to work out by hand.
#include "host/sinks/score_sink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/sinks/timing_sink.h"
#include "tests/host/told_frame.h"
#include "tests/support/unique_path.h"

namespace {

using test::tell;
using test::ToldFrame;

host::Event counted(std::int64_t frame, int track, int line, int direction, float height_mm) {
    host::PersonCounted payload;
    payload.track = track;
    payload.line = line;
    payload.direction = direction;
    payload.box.height_mm = height_mm;
    return {6045, frame, static_cast<double>(frame) / 10.0, payload};
}

ToldFrame empty_frame(std::int64_t number) {
    ToldFrame frame;
    frame.pass.number = number;
    frame.pass.time_s = static_cast<double>(number) / 10.0;
    return frame;
}

ToldFrame frame_with(std::int64_t number, int person, int track) {
    ToldFrame frame = empty_frame(number);
    frame.people = {{person, {100, 100, 40, 40}, 1600.0 + person, true}};
    frame.pass.tracks = {{track, {100, 100, 40, 40}}};
    frame.pass.detections = {{100, 100, 40, 40}};
    frame.pass.source_ms = 5.0;
    frame.pass.detection_ms = 2.0;
    frame.pass.tracker_ms = 0.5;
    frame.pass.pass_ms = 4.0 + static_cast<double>(number);
    return frame;
}

host::ScoreSetup two_lines() {
    host::ScoreSetup setup;
    setup.lines.resize(2);
    setup.frames_per_second = 10.0;
    setup.has_truth = true;
    return setup;
}

std::string text_of(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

class Tables : public ::testing::Test {
  protected:
    void TearDown() override {
        std::filesystem::remove(crossings_);
        std::filesystem::remove(true_crossings_);
    }

    host::ScoreTables tables() const { return {crossings_, true_crossings_, "", ""}; }

    std::string crossings_ = test::unique_path("vca-crossings-test", ".csv").string();
    std::string true_crossings_ = test::unique_path("vca-true-crossings-test", ".csv").string();
};

using ScoreSink = Tables;

TEST_F(ScoreSink, CountsPerLineAndDirection) {
    host::ScoreSink sink(two_lines(), tables());
    const host::Event counts[] = {counted(1, 1, 0, 1, 1700.0f), counted(2, 2, 0, 1, 1700.0f),
                                  counted(3, 3, 1, 2, 1700.0f), counted(4, 4, 7, 2, 1700.0f)};
    for (std::int64_t n = 1; n <= 6; ++n) {
        ToldFrame frame = empty_frame(n);
        if (n <= 4) frame.events = {counts[n - 1]};
        if (n == 4) frame.events.push_back({6077, 4, 0.4, host::InstallHeight{3000}});
        if (n == 1) frame.crossings = {{0, 1, 1, 1}};
        if (n == 5) frame.crossings = {{1, 2, 5, 2}};
        if (n == 6) frame.crossings = {{1, 3, 6, 2}};
        tell(sink, frame);
    }
    sink.finish();
    const host::Scores& scores = sink.scores();
    ASSERT_EQ(scores.counts.size(), 2u);
    EXPECT_EQ(scores.counts[0][0].counted, 2);
    EXPECT_EQ(scores.counts[0][0].truth, 1);
    EXPECT_EQ(scores.counts[0][1].counted, 0);
    EXPECT_EQ(scores.counts[1][1].counted, 1);
    EXPECT_EQ(scores.counts[1][1].truth, 2);
    EXPECT_EQ(scores.totals[0].counted, 2);
    EXPECT_EQ(scores.totals[0].truth, 1);
    EXPECT_EQ(scores.totals[1].counted, 1);
    EXPECT_EQ(scores.totals[1].truth, 2);
    EXPECT_EQ(scores.crossings, 4);  // listed also when the line is not known
    EXPECT_EQ(text_of(crossings_),
              "frame,time_s,line,direction,track,height_mm,staff,person,true_height_mm\n"
              "1,0.100,0,1,1,1700,0,,\n"
              "2,0.200,0,1,2,1700,0,,\n"
              "3,0.300,1,2,3,1700,0,,\n"
              "4,0.400,7,2,4,1700,0,,\n");
    EXPECT_EQ(text_of(true_crossings_), "frame,line,direction,person\n1,0,1,1\n5,1,2,2\n6,1,2,3\n");
}

TEST_F(ScoreSink, WhoIsCountedIsInTheFileAtOnce) {
    host::ScoreSink sink(two_lines(), tables());
    ToldFrame frame = empty_frame(1);
    frame.events = {counted(1, 1, 0, 1, 1700.0f)};
    tell(sink, frame);
    EXPECT_NE(text_of(crossings_).find("1,0.100,0,1,1,1700"), std::string::npos);
}

TEST_F(ScoreSink, HeightsAreComparedWithThePersonUnderTheTrack) {
    host::ScoreSink sink(two_lines(), tables());
    tell(sink, frame_with(0, 5, 50));
    ToldFrame second = frame_with(1, 6, 50);
    // At frame 1 track 50 lies on person 6, who is 1606 mm tall.
    second.events = {counted(1, 50, 0, 1, 1616.0f), counted(1, 99, 0, 1, 1000.0f)};
    tell(sink, second);
    tell(sink, frame_with(2, 7, 50));
    sink.on_event(counted(9, 50, 0, 2, 1600.0f));
    sink.finish();
    const host::Scores& scores = sink.scores();
    EXPECT_EQ(scores.crossings, 3);
    // The last one is compared with the last person known before the end.
    EXPECT_EQ(text_of(crossings_),
              "frame,time_s,line,direction,track,height_mm,staff,person,true_height_mm\n"
              "1,0.100,0,1,50,1616,0,6,1606\n"
              "1,0.100,0,1,99,1000,0,,\n"
              "9,0.900,0,2,50,1600,0,7,1607\n");
    EXPECT_EQ(scores.height_errors_mm.count(), 2);
    EXPECT_EQ(scores.height_errors_mm.quantile(1.0), 10.0);
    EXPECT_EQ(scores.height_errors_mm.quantile(0.0), -7.0);
    EXPECT_EQ(scores.height_error_sizes_mm.quantile(0.0), 7.0);
    EXPECT_EQ(scores.heights_mm.count(), 3);
}

TEST_F(ScoreSink, StaffAndGroupsAreCountedToo) {
    host::ScoreSink sink(two_lines(), {});
    ToldFrame frame = empty_frame(0);
    frame.events = {counted(0, 1, 0, 1, 1700.0f),
                    counted(0, 2, 0, 1, 1700.0f),
                    {6080, 0, 0.0, host::GroupCounted{0, 3, 0, 1}},
                    {6080, 0, 0.0, host::GroupCounted{0, 2, 1, 2}}};
    std::get<host::PersonCounted>(frame.events[1].payload).box.staff = 1;
    tell(sink, frame);
    sink.finish();
    EXPECT_EQ(sink.scores().staff_crossings, 1);
    EXPECT_EQ(sink.scores().groups.groups, 2);
    EXPECT_EQ(sink.scores().groups.members, 5);
}

TEST_F(ScoreSink, BlankFramesAreNotMeasured) {
    host::ScoreSink sink(two_lines(), {});
    host::TimingSink timing;
    ToldFrame frames[] = {frame_with(0, 1, 3), frame_with(1, 1, 3), frame_with(2, 1, 4)};
    frames[2].pass.blank = frames[2].planes.blank = true;
    for (const ToldFrame& frame : frames) {
        tell(sink, frame);
        tell(timing, frame);
    }
    sink.finish();
    const host::Timings& timings = timing.timings();
    EXPECT_EQ(timings.frames, 2);
    EXPECT_DOUBLE_EQ(timings.source_ms.mean(), 5.0);
    EXPECT_DOUBLE_EQ(timings.detection_ms.mean(), 2.0);
    EXPECT_DOUBLE_EQ(timings.tracker_ms.mean(), 0.5);
    EXPECT_DOUBLE_EQ(timings.pass_ms.mean(), 4.5);
    EXPECT_DOUBLE_EQ(timings.library_ms.mean(), 4.5 - 2.5);
    const host::Scores& scores = sink.scores();
    EXPECT_EQ(scores.tracking.truths, 2);
    EXPECT_EQ(scores.tracking.switches, 0);
    EXPECT_EQ(scores.detection.found, 2);
    EXPECT_EQ(scores.tracks, 2);
}

TEST_F(ScoreSink, NothingAtAllIsNotAnError) {
    host::ScoreSink sink({}, {});
    sink.finish();
    EXPECT_TRUE(sink.scores().counts.empty());
    EXPECT_EQ(host::TimingSink().timings().pass_ms.mean(), 0.0);
}

TEST_F(ScoreSink, SaysThatATableCannotBeWritten) {
    EXPECT_THROW(host::ScoreSink(two_lines(), {"/nonexistent/a.csv", "", "", ""}),
                 std::runtime_error);
    host::ScoreSink sink(two_lines(), {"/dev/full", "", "", ""});
    tell(sink, frame_with(0, 1, 3));
    EXPECT_THROW(sink.finish(), std::runtime_error);
}

}  // namespace
