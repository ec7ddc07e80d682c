// A run's memory does not grow with its length: the sinks that keep something, over hours of frames
// whose people are always new ones.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "host/sinks/people_file.h"
#include "host/sinks/score_sink.h"
#include "host/sinks/snapshot_sink.h"
#include "host/sinks/timing_sink.h"
#include "tests/host/told_frame.h"

namespace {

constexpr std::int64_t kFrames = 200000;  // 28 hours
constexpr double kFps = 2.0;              // what is forgotten after a minute is 120 frames old

std::size_t live_bytes() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Every second frame somebody appears, whose number is new, walks through the region for four
// frames, is counted in their middle and is gone for good. Now and then a track changes over to the
// next person, so that people and tracks hang together in chains.
class Passers {
  public:
    const test::ToldFrame& frame(std::int64_t number) {
        frame_.pass = {};
        frame_.pass.number = number;
        frame_.pass.time_s = static_cast<double>(number) / kFps;
        frame_.pass.source_ms = 3.0 + static_cast<double>(number % 7);
        frame_.pass.detection_ms = 2.0 + static_cast<double>(number % 5);
        frame_.pass.tracker_ms = 0.5;
        frame_.pass.pass_ms = 9.0 + static_cast<double>(number % 11);
        frame_.people.clear();
        frame_.crossings.clear();
        frame_.events.clear();
        frame_.planes.colour_nv12.assign(100, static_cast<std::uint8_t>(number));
        shown_ = {};
        regions_ = {};
        for (std::int64_t person = number / 2 - 1; person <= number / 2; ++person)
            if (person >= 0) add_person(person, number);
        send(6069, shown_);
        send(6070, regions_);
        return frame_;
    }

  private:
    void send(int id, const host::Payload& payload) {
        frame_.events.push_back({id, frame_.pass.number, frame_.pass.time_s, payload});
    }

    void decide(VCA_DECISION_E kind, int track) {
        host::Decision decision{};
        decision.kind = kind;
        decision.track = track;
        send(host::kDecisionId, decision);
    }

    void add_person(std::int64_t person, std::int64_t number) {
        const int step = static_cast<int>(number - 2 * person);  // 0 to 3
        const int id = static_cast<int>(person) + 1;
        const bool changes = person % 10 == 3 && step == 3;
        const int track = static_cast<int>(2 * person) + (changes ? 3 : 1);
        const host::PixelBox box{50 + 100 * static_cast<int>(person % 4), 100 * step, 60, 60};
        const host::PicturePoint place{box.x + 30.0, box.y + 30.0};
        frame_.people.push_back({id, box, 1700.0, true, place, true, person % 9 == 0});
        frame_.pass.detections.push_back(box);
        frame_.pass.tracks.push_back({track, box});
        host::ShownTrack shown;
        shown.track = track;
        shown.staff = person % 9 == 0 ? 1 : 0;
        shown.trail.assign(static_cast<std::size_t>(step) + 1, {box.x, box.y});
        shown_.tracks.push_back(shown);
        host::RegionPerson inside;
        inside.track = track;
        const bool in = step == 1 || step == 2;
        inside.regions[0] = {in ? 1 : 0, in ? step * 500 : 0};
        regions_.people.push_back(inside);
        regions_.inside[0] += in ? 1 : 0;
        if (step == 0) decide(VCA_DECISION_BORN, track);
        if (step == 2) decide(VCA_DECISION_COUNTED, track);
        if (step == 3) decide(VCA_DECISION_ENDED, static_cast<int>(2 * person) + 1);
        if (step != 2) return;
        frame_.crossings.push_back({0, id, number, 1});
        host::PersonCounted counted;
        counted.track = track;
        counted.direction = VCA_DIR_1;
        counted.box.height_mm = 1690.0f + static_cast<float>(person % 20);
        send(6045, counted);
    }

    test::ToldFrame frame_;
    host::TracksShown shown_;
    host::RegionsReported regions_;
};

// The most that lives after the first tenth, over what lives at its end.
std::int64_t growth(host::Sink& sink) {
    Passers passers;
    std::size_t settled = 0;
    std::size_t most = 0;
    for (std::int64_t n = 0; n < kFrames; ++n) {
        test::tell(sink, passers.frame(n));
        if (n < kFrames / 10 || n % 100 != 0) continue;
        const std::size_t bytes = live_bytes();
        if (settled == 0) settled = bytes;
        most = std::max(most, bytes);
    }
    return static_cast<std::int64_t>(most) - static_cast<std::int64_t>(settled);
}

// What is forgotten comes and goes: up to two minutes of new people and tracks.
constexpr std::int64_t kTide = 100000;

TEST(SinkMemory, OfScoresStaysFlat) {
    host::ScoreSetup setup;
    setup.lines.resize(1);
    setup.regions = {{"all", {{0, 0}, {900, 0}, {900, 500}, {0, 500}}}};
    setup.frames_per_second = kFps;
    setup.has_truth = true;
    host::ScoreSink sink(setup, {});
    EXPECT_LT(growth(sink), kTide);
    sink.finish();
    // All of it was scored.
    const host::Scores& scores = sink.scores();
    EXPECT_EQ(scores.totals[0].truth, kFrames / 2 - 1);
    EXPECT_EQ(scores.totals[0].counted, kFrames / 2 - 1);
    EXPECT_EQ(scores.tracking.misses, 0);
    EXPECT_NEAR(static_cast<double>(scores.tracking.switches), kFrames / 20.0, 2.0);
    EXPECT_GT(scores.tracking.idf1(), 0.9);
    EXPECT_GT(scores.regions.at(0).stays, kFrames / 2 - 10);
}

TEST(SinkMemory, OfStoriesStaysFlat) {
    host::PeopleFile sink("/dev/null", {{"gate"}, {}});
    EXPECT_LT(growth(sink), 50000);
}

TEST(SinkMemory, OfTheSnapshotStaysFlat) {
    host::SnapshotSink sink;
    EXPECT_LT(growth(sink), 50000);
    sink.finish();
    EXPECT_GT(sink.evidence().frame, 0);
}

TEST(SinkMemory, OfTimesStaysFlat) {
    host::TimingSink sink;
    EXPECT_LT(growth(sink), 10000);
    EXPECT_EQ(sink.timings().frames, kFrames);
}

}  // namespace
