// Recordings by the program: the same counts again, parts of them, clips, and what is said about
// damage.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "host/media/png_file.h"
#include "host/media/recording_reader.h"
#include "tests/scenario/recording_fixture.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
namespace fs = std::filesystem;
using test::Outcome;
using test::read_file;
using test::read_recording;
using test::Recorded;
using test::RoundTrip;
using Recording = test::RecordingProgram;

// ---- The same bytes again ----

TEST_P(RoundTrip, GivesTheSameEvents) {
    expect_same_again(GetParam());
}

#define DEPTH_WALK                                                          \
    "--folder '" VCA_SHARED_DATA_DIR "/depth_walk' --camera '" VCA_EXAMPLES \
    "/tof_512x424.toml' --box --line '256,0 256,423'"

INSTANTIATE_TEST_SUITE_P(OfTheBeginning, RoundTrip,
                         ::testing::Values("--scene doorway --seconds 10",
                                           "--scene uturn --seconds 10",
                                           "--scene groups --seconds 10",
                                           "--scene shop --seconds 10 --noise time-of-flight",
                                           "--scene crowd --seconds 3",
                                           "--scene gallery --seconds 10",
                                           "--scene clutter --seconds 6"));

class DirectRoundTrip : public RoundTrip {};

TEST_P(DirectRoundTrip, GivesTheSameEvents) {
    expect_same_as_direct(GetParam());
}

// The walk to its end.
INSTANTIATE_TEST_SUITE_P(Of, DirectRoundTrip,
                         ::testing::Values("--scene entrance --seconds 6 --roll 5 --pitch -4",
                                           DEPTH_WALK));

class ColourRoundTrip : public RoundTrip {};

TEST_P(ColourRoundTrip, GivesTheSameEvents) {
    expect_same_as_direct(GetParam(), "--colour lossless");
}

INSTANTIATE_TEST_SUITE_P(
    Of, ColourRoundTrip,
    ::testing::Values("--scene gallery --seconds 6 --detect colour --staff vest",
                      "--scene entrance --seconds 4 --detect both --roll 5"));

TEST_F(Recording, KeepsThePicturesAndTimesOfASensor) {
    if (!fs::exists(VCA_SHARED_DATA_DIR "/depth_walk")) GTEST_SKIP() << "no recordings";
    record(DEPTH_WALK " --frames 40");
    host::RecordingReader reader(host::RecordingReader::file(only_file().string()));
    EXPECT_EQ(reader.info().width, 512);
    EXPECT_EQ(reader.info().height, 424);
    host::MediaFrame frame;
    std::vector<std::uint16_t> pixels;
    for (int number = 1; number <= 40; ++number) {
        ASSERT_TRUE(reader.next(frame));
        EXPECT_EQ(frame.number, number);
        EXPECT_EQ(frame.time_us, std::llround((number - 1) * 1e6 / 30.0));
        char name[32];
        std::snprintf(name, sizeof name, "/image%04d.png", number);
        ASSERT_TRUE(host::decode_grey16(
            host::read_bytes(VCA_SHARED_DATA_DIR "/depth_walk" + std::string(name)), 512, 424,
            pixels));
        EXPECT_EQ(frame.depth_mm, pixels) << number;
    }
}

TEST_F(Recording, TheSameInputGivesTheSameFile) {
    record("--seconds 2", "a");
    record("--seconds 2", "b");
    EXPECT_EQ(read_file(files("a").front()), read_file(files("b").front()));
    EXPECT_EQ(files("a").front().filename(), "2026-01-01T00-00-00.000Z.mkv");
}

// A recording of a recording, and a folder of its pictures, count the same.
TEST_F(Recording, CopiesCountTheSame) {
    record("--scene doorway --seconds 6");
    replay("rec/*.mkv", "first");
    record("--recording rec/*.mkv", "copy");
    replay("copy/*.mkv", "second");
    EXPECT_EQ(events("first"), events("second"));
    record("--recording rec/*.mkv --to-folder", "pictures");
    EXPECT_EQ(files("pictures").size(), 92u);  // 90 frames, camera and settings
    const Outcome folder = vca(
        "run --no-live --quiet --output third --folder pictures --config pictures/settings.toml "
        "--seconds 6");
    ASSERT_EQ(folder.status, 0) << folder.err;
    // The folder's end is that of the scene, so more follows.
    EXPECT_EQ(events("third").substr(0, events("first").size() / 2),
              events("first").substr(0, events("first").size() / 2));
    EXPECT_EQ(vca("record --quiet --output pictures --to-folder --seconds 1").status, 1);
}

// ---- Options ----

TEST_F(Recording, OptionsOverrideWhatItCarries) {
    record("--scene entrance --seconds 4 --line '100,272 860,272' --name door");
    replay("rec/*.mkv");
    EXPECT_EQ(json("replay/summary.json")["lines"][0]["name"], "door");
    replay("rec/*.mkv --line '100,100 860,100' --name shelf --region none", "other");
    EXPECT_EQ(json("other/summary.json")["lines"].size(), 1u);
    EXPECT_EQ(json("other/summary.json")["lines"][0]["name"], "shelf");
    EXPECT_EQ(json("other/summary.json")["regions"].size(), 0u);
    write("till.toml", "[[line]]\nname = \"till\"\npoints = [[100, 272], [860, 272]]\n");
    replay("rec/*.mkv --config till.toml", "file");
    EXPECT_EQ(json("file/summary.json")["lines"][0]["name"], "till");
    write("camera.toml",
          "width = 320\nheight = 256\nfx = 240\nfy = 240\ncx = 100\ncy = 100\n"
          "frames_per_second = 15\nheight_mm = 3000\n");
    expect_refused("run --output refused --recording rec/*.mkv --camera camera.toml",
                   AllOf(HasSubstr("480 x 256"), HasSubstr("320 x 256")), "refused");
    expect_refused("run --output refused --recording rec/*.mkv --detect colour",
                   HasSubstr("must be depth"), "refused");
    expect_refused("run --output refused --recording rec/*.mkv --scene entrance",
                   HasSubstr("--scene belongs to --source scene"), "refused");
}

TEST_F(Recording, EntersAndLeavesAtATime) {
    record("--scene doorway --seconds 6");
    replay("rec/*.mkv --from 2 --to 4");
    EXPECT_EQ(json("replay/summary.json")["run"]["frames"], 30);
    record("--recording rec/*.mkv --from 2 --to 4", "part");
    const std::vector<host::MediaFrame> frames = read_recording(files("part").front()).frames;
    ASSERT_EQ(frames.size(), 30u);
    EXPECT_EQ(frames.front().number, 30);
    EXPECT_EQ(frames.front().time_us, 2'000'000);
    EXPECT_EQ(frames.back().time_us, 3'933'333);
}

// Two stretches of a scene: the second begins where the first has ended, or after a gap.
TEST_F(Recording, SeveralFilesAreOne) {
    record("--scene doorway --seconds 6");
    record("--recording rec/*.mkv --to 2", "a");
    record("--recording rec/*.mkv --from 2 --to 4", "b");
    record("--recording rec/*.mkv --from 4", "c");
    replay("rec/*.mkv", "whole");
    replay("a/*.mkv b/*.mkv c/*.mkv", "parts");
    EXPECT_EQ(events("whole"), events("parts"));
    const std::string told = replay("a/*.mkv c/*.mkv", "gap");
    EXPECT_EQ(json("gap/summary.json")["run"]["frames"], 60);
    expect_refused("run --no-live --output refused --recording c/*.mkv a/*.mkv",
                   HasSubstr("in the order in which they were recorded"), "refused");
}

TEST_F(Recording, CarriesPlaceCameraAndVersion) {
    record("--seconds 1 --place 'Main hall'");
    const auto tags = read_recording(only_file()).info.tags;
    EXPECT_EQ(tags.at("VCA_PLACE"), "Main hall");
    EXPECT_EQ(tags.at("VCA_CAMERA"), "entrance");
    EXPECT_EQ(tags.at("VCA_START_US"), "1767225600000000");
    EXPECT_EQ(tags.at("VCA_TIME_US"), "0");
    EXPECT_THAT(tags.at("VCA_PROGRAM"), HasSubstr("vca "));
}

TEST_F(Recording, RefusesWhatDoesNotGoTogether) {
    for (const auto& [arguments, words] : std::vector<std::pair<std::string, std::string>>{
             {"--colour pretty", "known are none, lossless and small"},
             {"--clips 0", "write a number from 1 to 300"},
             {"--keep -1", "write a number from 0 to"},
             {"--to-folder --colour small", "leave out --colour"},
             {"--source null --height 3000", "no pictures"},
             {"--from 3", "belongs to --source recording"},
             {"--source recording", "needs --recording FILE"}}) {
        expect_refused("record --quiet --output refused " + arguments, HasSubstr(words), "refused");
    }
    record("--seconds 1");
    EXPECT_THAT(vca("record --quiet --seconds 1 --output rec").err, HasSubstr("already"));
}

// ---- Files come and go ----

TEST_F(Recording, AnInterruptedOneIsWhole) {
    const pid_t child = start_vca("record --quiet --scene gallery --seconds 600 --output rec");
    ASSERT_TRUE(test::eventually([&] {
        return fs::exists(work_ / "rec") && !files().empty() &&
               fs::file_size(files().front()) > 2'000'000;
    }));
    EXPECT_EQ(only_file().extension(), ".part");
    ::kill(child, SIGINT);
    // The shell passes the program's own end on.
    EXPECT_EQ(end_of(child), 0);
    EXPECT_EQ(only_file().extension(), ".mkv");
    const Recorded recorded = read_recording(only_file());
    EXPECT_EQ(recorded.end, "stopped");
    EXPECT_GT(recorded.frames.size(), 20u);
}

TEST_F(Recording, AKilledOneKeepsWhatWasWhole) {
    const pid_t child = start_vca("record --quiet --scene gallery --seconds 600 --output rec");
    ASSERT_TRUE(test::eventually([&] {
        return fs::exists(work_ / "rec") && !files().empty() &&
               fs::file_size(files().front()) > 2'000'000;
    }));
    ::kill(child, SIGKILL);
    end_of(child);
    const Recorded recorded = read_recording(only_file());
    EXPECT_THAT(recorded.damage, IsEmpty());
    ASSERT_GT(recorded.frames.size(), 20u);
    for (std::size_t i = 0; i < recorded.frames.size(); ++i)
        EXPECT_EQ(recorded.frames[i].number, static_cast<std::int64_t>(i));
    EXPECT_THAT(replay("rec/*.part"), HasSubstr("lacks its end"));
}

TEST_F(Recording, KeepsTheNewestHours) {
    record("--seconds 1");
    const fs::path file = only_file();
    fs::copy(file, work_ / "rec/2025-12-31T20-00-00.000Z.mkv");
    fs::copy(file, work_ / "rec/2025-12-31T22-30-00.000Z.mkv");
    write("rec/notes.txt", "mine");
    fs::rename(file, work_ / "rec/2025-12-31T23-30-00.000Z.mkv");
    record("--seconds 1 --keep 1");
    std::vector<std::string> left;
    for (const fs::path& each : files())
        left.push_back(each.filename().string());
    // The one of 22:30 may reach to 23:30.
    EXPECT_THAT(
        left, ::testing::ElementsAre("2025-12-31T22-30-00.000Z.mkv", "2025-12-31T23-30-00.000Z.mkv",
                                     "2026-01-01T00-00-00.000Z.mkv", "notes.txt"));
}

// Every count, and everybody who turned back at the line, is in a clip with the seconds around it,
// and the pictures are those of the whole recording.
TEST_F(Recording, ClipsHoldWhatMatters) {
    const std::string scene = "--scene uturn --seconds 22 ";
    record(scene);
    record(scene + "--clips 1", "clips");
    const Recorded whole = read_recording(only_file());
    std::vector<std::pair<std::int64_t, std::int64_t>> spans;
    std::size_t frames = 0;
    for (const fs::path& file : files("clips")) {
        ASSERT_EQ(file.extension(), ".mkv") << file;
        const Recorded clip = read_recording(file);
        EXPECT_THAT(clip.damage, IsEmpty());
        EXPECT_EQ(clip.end, "stopped");
        ASSERT_FALSE(clip.frames.empty());
        spans.emplace_back(clip.frames.front().time_us, clip.frames.back().time_us);
        frames += clip.frames.size();
        for (const host::MediaFrame& frame : clip.frames) {
            const auto same = std::find_if(
                whole.frames.begin(), whole.frames.end(),
                [&frame](const host::MediaFrame& each) { return each.number == frame.number; });
            ASSERT_NE(same, whole.frames.end());
            EXPECT_EQ(same->time_us, frame.time_us);
        }
    }
    EXPECT_LT(frames, whole.frames.size());
    EXPECT_GT(spans.size(), 1u);
    int counts = 0;
    for (const auto& line : test::json_lines(whole.events)) {
        if (line["message"] != "person_counted") continue;
        ++counts;
        const auto at_us = static_cast<std::int64_t>(line["time_s"].get<double>() * 1e6);
        EXPECT_TRUE(std::any_of(spans.begin(), spans.end(), [at_us](const auto& span) {
            return span.first <= at_us - 900'000 && span.second >= at_us + 900'000;
        })) << line;
    }
    EXPECT_GT(counts, 1);
    std::string clips;
    for (const fs::path& file : files("clips"))
        clips += "'" + file.string() + "' ";
    replay(clips, "of_clips");
    EXPECT_EQ(json("of_clips/summary.json")["run"]["frames"], frames);
}

TEST_F(Recording, NothingHappensNothingIsKept) {
    record("--scene gallery --seconds 1 --clips 5", "clips");
    EXPECT_THAT(files("clips"), IsEmpty());
}

// ---- Damage ----

TEST_F(Recording, TellsDamageInOneSentenceAndGoesOn) {
    record("--scene doorway --seconds 6");
    std::string bytes = read_file(only_file());
    std::mt19937 random(5);
    for (int i = 0; i < 3; ++i)
        bytes[bytes.size() / 4 + random() % (bytes.size() / 2)] ^= 0x55;
    std::ofstream(work_ / "bad.mkv", std::ios::binary).write(bytes.data(), std::ssize(bytes));
    const std::string told = replay("bad.mkv", "bad");
    EXPECT_THAT(told, AllOf(HasSubstr("bad.mkv"), HasSubstr("left out, the first at")));
    EXPECT_GE(json("bad/summary.json")["run"]["frames"], 86);
    std::ofstream(work_ / "cut.mkv", std::ios::binary).write(bytes.data(), std::ssize(bytes) / 5);
    EXPECT_THAT(replay("cut.mkv", "cut"), HasSubstr("it was cut off"));
    write("empty.mkv", "");
    expect_refused("run --output refused --recording empty.mkv", HasSubstr("empty.mkv"), "refused");
    expect_refused("run --output refused --recording nowhere.mkv", HasSubstr("nowhere.mkv"),
                   "refused");
    expect_refused("run --output refused --recording '" VCA_EXAMPLES "/hall.toml'",
                   HasSubstr("hall.toml"), "refused");
}

}  // namespace
