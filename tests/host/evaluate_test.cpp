// Counts, heights and times that follow from what was recorded.
#include <gtest/gtest.h>

#include "host/report/report.h"
#include "host/report/run_result.h"

namespace {

host::Event counted(std::int64_t frame, int track, int line, int direction, float height_mm) {
    host::PersonCounted payload;
    payload.track_id = track;
    payload.line = line;
    payload.direction = direction;
    payload.box.height = height_mm;
    return {6045, frame, static_cast<double>(frame) / 10.0, payload};
}

host::FrameRecord frame_with(std::int64_t number, int person, int track) {
    host::FrameRecord frame;
    frame.number = number;
    frame.people = {{person, {100, 100, 40, 40}, 1600.0 + person, true}};
    frame.tracks = {{track, {100, 100, 40, 40}}};
    frame.detections = {{100, 100, 40, 40}};
    frame.simulation_ms = 5.0;
    frame.detection_ms = 2.0;
    frame.tracker_ms = 0.5;
    frame.pass_ms = 4.0 + static_cast<double>(number);
    return frame;
}

host::RunResult two_line_run() {
    host::RunResult result;
    result.source.has_truth = true;
    result.source.frames_per_second = 10.0;
    result.lines.resize(2);
    return result;
}

TEST(Report, NamesWhatWasNotGivenBack) {
    host::RunResult result;
    EXPECT_EQ(host::left_over_text(result), "");
    result.undelivered_messages = 1;
    EXPECT_EQ(host::left_over_text(result), "");
    for (int* count : {&result.loans.blocks, &result.loans.mappings, &result.images_left,
                       &result.loans.errors}) {
        *count = 7;
        EXPECT_NE(host::left_over_text(result).find(" 7 "), std::string::npos);
        *count = 0;
    }
}

TEST(Evaluate, CountsPerLineAndDirection) {
    host::RunResult result = two_line_run();
    result.events = {counted(1, 1, 0, 1, 1700.0f),
                     counted(2, 2, 0, 1, 1700.0f),
                     counted(3, 3, 1, 2, 1700.0f),
                     counted(4, 4, 7, 2, 1700.0f),
                     {6077, 4, 0.4, host::InstallHeight{3000}}};
    result.true_crossings = {{0, 1, 1, 1}, {1, 2, 5, 2}, {1, 3, 6, 2}};
    host::evaluate(result);
    ASSERT_EQ(result.counts.size(), 2u);
    EXPECT_EQ(result.counts[0][0].counted, 2);
    EXPECT_EQ(result.counts[0][0].truth, 1);
    EXPECT_EQ(result.counts[0][1].counted, 0);
    EXPECT_EQ(result.counts[1][1].counted, 1);
    EXPECT_EQ(result.counts[1][1].truth, 2);
    EXPECT_EQ(result.totals[0].counted, 2);
    EXPECT_EQ(result.totals[0].truth, 1);
    EXPECT_EQ(result.totals[1].counted, 1);
    EXPECT_EQ(result.totals[1].truth, 2);
    EXPECT_EQ(result.crossings.size(), 4u);  // listed also when the line is not known
}

TEST(Evaluate, HeightsAreComparedWithThePersonUnderTheTrack) {
    host::RunResult result = two_line_run();
    result.frames = {frame_with(0, 5, 50), frame_with(1, 6, 50), frame_with(2, 7, 50)};
    // At frame 1 track 50 lies on person 6, who is 1606 mm tall.
    result.events = {counted(1, 50, 0, 1, 1616.0f), counted(9, 50, 0, 2, 1600.0f),
                     counted(1, 99, 0, 1, 1000.0f)};
    host::evaluate(result);
    ASSERT_EQ(result.crossings.size(), 3u);
    EXPECT_EQ(result.crossings[0].person, 6);
    EXPECT_EQ(result.crossings[1].person, 7);  // the last one known before the end
    EXPECT_FALSE(result.crossings[2].person);
    EXPECT_EQ(result.height_errors_mm, (std::vector<double>{10.0, -7.0}));
}

TEST(Evaluate, BlankFramesAreNotMeasured) {
    host::RunResult result = two_line_run();
    result.frames = {frame_with(0, 1, 3), frame_with(1, 1, 3), frame_with(2, 1, 4)};
    result.frames[2].blank = true;
    host::evaluate(result);
    EXPECT_EQ(result.source_frames(), 2);
    EXPECT_DOUBLE_EQ(result.scene_s, 0.2);
    EXPECT_DOUBLE_EQ(result.simulation.mean, 5.0);
    EXPECT_DOUBLE_EQ(result.pass.mean, 4.5);
    EXPECT_DOUBLE_EQ(result.library.mean, 4.5 - 2.5);
    EXPECT_EQ(result.tracking.truths, 2);
    EXPECT_EQ(result.tracking.switches, 0);
    EXPECT_EQ(result.detection.found, 2);
    EXPECT_EQ(result.tracks, 2);
}

TEST(Evaluate, NothingAtAllIsNotAnError) {
    host::RunResult result;
    host::evaluate(result);
    EXPECT_TRUE(result.counts.empty());
    EXPECT_EQ(result.pass.mean, 0.0);
}

}  // namespace
