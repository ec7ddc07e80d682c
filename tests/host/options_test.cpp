// The command line: what is understood, and what is said about the rest.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/settings/command_line.h"
#include "tests/host/command_words.h"
#include "tests/support/unique_path.h"

namespace {

using test::error_of;
using test::parse;
using test::run_options;
using ::testing::AllOf;
using ::testing::HasSubstr;

TEST(CommandLine, HasDefaults) {
    const host::RunOptions options = run_options({});
    EXPECT_EQ(options.source.source, "scene");
    EXPECT_EQ(options.source.scene, "entrance");
    EXPECT_EQ(options.detect.value, host::DetectMode::kDepth);
    EXPECT_TRUE(options.source.foot_point);
    EXPECT_FALSE(options.measure_height);
    EXPECT_FALSE(options.source.height_mm);
    EXPECT_EQ(options.target_min_mm, 800);
    EXPECT_EQ(options.target_max_mm, 2200);
    EXPECT_TRUE(options.lines.empty());
}

TEST(CommandLine, AnOptionIsNoValueOfAnother) {
    EXPECT_EQ(error_of({"--output", "--no-live"}),
              "--output is followed by --no-live; write DIR after it");
    EXPECT_EQ(run_options({"--output", "-"}).output, "-");
}

// In vca record the shorter name says what is recorded of colour.
TEST(CommandLine, TakesColourBesideLiveDepth) {
    const host::RunOptions run = run_options({"--depth", "pipe", "--colour", "tcp://camera:1"});
    EXPECT_EQ(run.source.source, "live");
    EXPECT_EQ(run.source.live_colour, "tcp://camera:1");
    EXPECT_THAT(error_of({"--colour", "pipe"}), HasSubstr("--colour belongs to --source live"));
    const host::RecordOptions record =
        parse({"record", "--depth", "pipe", "--colour-url", "other", "--colour", "small"}).record;
    EXPECT_EQ(record.run.source.live_colour, "other");
    EXPECT_EQ(record.colour, host::RecordedColour::kSmall);
}

TEST(CommandLine, CameraCheckTakesWhatARunTakesAndSomebodysHeight) {
    const host::CommandLine command =
        parse({"camera", "check", "--depth", "pipe", "--line", "0,0 9,9", "--person-height", "1.75",
               "--output", "look"});
    EXPECT_EQ(command.command, host::Command::kCameraCheck);
    EXPECT_EQ(command.camera_check.run.source.live_depth, "pipe");
    EXPECT_EQ(command.camera_check.run.lines.size(), 1u);
    EXPECT_EQ(command.camera_check.run.output, "look");
    EXPECT_EQ(command.camera_check.person_mm, 1750.0);
    for (const char* wrong : {"1750", "0", "tall"})
        EXPECT_THROW(parse({"camera", "check", "--person-height", wrong}), host::InputError);
    EXPECT_THROW(parse({"camera"}), host::InputError);
}

// What a live stream carries comes before what was written, and after nothing else.
TEST(CommandLine, CarriedSettingsGiveWayToWhatIsWritten) {
    const std::string carried =
        "height_mm = 2500\nsensor = \"reads-low\"\n"
        "[[line]]\nname = \"door\"\npoints = [[0, 9], [99, 9]]\n";
    host::RunOptions live = run_options({"--depth", "pipe", "--height", "4000"});
    host::take_carried_settings(carried, "pipe", live);
    EXPECT_EQ(live.source.live_depth, "pipe");
    EXPECT_EQ(live.source.height_mm->value, 4000.0);
    EXPECT_EQ(live.sensor, host::Sensor::kReadsLow);
    EXPECT_EQ(live.lines.at(0).value.name, "door");
    host::RunOptions own_line = run_options({"--depth", "pipe", "--line", "0,50 99,50"});
    host::take_carried_settings(carried, "pipe", own_line);
    ASSERT_EQ(own_line.lines.size(), 1u);
    EXPECT_EQ(own_line.lines[0].value.name, "line 1");
    EXPECT_EQ(own_line.source.height_mm->value, 2500.0);
    host::RunOptions scene = run_options({});
    host::take_carried_settings(carried, "pipe", scene);
    EXPECT_TRUE(scene.lines.empty());
    EXPECT_THROW(host::take_carried_settings("height_mm = 1", "pipe", live), host::InputError);
}

TEST(CommandLine, WhyTakesNumbersThatCanBe) {
    const auto error = [](std::vector<const char*> words) -> std::string {
        words.insert(words.begin(), {"why", "run"});
        try {
            parse(std::move(words));
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "";
    };
    EXPECT_EQ(error({"--time", "3.5", "--line", "door"}), "");
    EXPECT_THAT(error({"--track", "7", "--line", "door"}), HasSubstr("one whole story"));
    EXPECT_EQ(error({"--track", "1e10"}), "--track is \"1e10\"; write the number of a track");
    EXPECT_EQ(error({"--track", "-1"}), "--track is \"-1\"; write the number of a track");
    EXPECT_EQ(error({"--time", "nan"}), "--time is \"nan\"; write a scene time in seconds");
    EXPECT_THAT(error({"--line", "a", "--line", "b"}), HasSubstr("--line is given 2 times"));
    EXPECT_THAT(error({"--line", ""}), HasSubstr("--line is empty"));
    EXPECT_EQ(parse({"why", "run", "--track", "7"}).why.track, 7);
    EXPECT_EQ(parse({"why", "run", "--time", "3.5"}).why.time_s, 3.5);
}

TEST(CommandLine, NoRegions) {
    EXPECT_TRUE(run_options({"--region", "none"}).no_regions);
    EXPECT_FALSE(run_options({}).no_regions);
    const char* area = "1,1 9,1 9,9";
    for (const auto& words : {std::vector<const char*>{"--region", "none", "--region", area},
                              std::vector<const char*>{"--region", area, "--region", "none"}})
        EXPECT_THAT(error_of(words),
                    HasSubstr("--region none cannot be combined with another --region"));
}

// Only files that are there are named, as the test's program lies in the tree.
TEST(CommandLine, ExamplesNameNoFileThatIsNotThere) {
    std::istringstream words(parse({"--help"}).text);
    for (std::string word; words >> word;) {
        if (!word.ends_with(".toml")) continue;
        EXPECT_TRUE(word == "SITE.toml" || word == "DOOR.toml" || word == "CAMERA.toml" ||
                    word == "PLACE.toml" || std::filesystem::exists(word))
            << word;
    }
}

TEST(CommandLine, LineOptionsBelongToTheLineBefore) {
    const host::RunOptions options =
        run_options({"--line", "1,2 3,4", "--flip", "--name", "door", "--line", "5,6 7,8 9,10",
                     "--uturn", "0,0 9,0 9,9 0,9", "--line", "1,1 2,2", "--uturn", "none"});
    ASSERT_EQ(options.lines.size(), 3u);
    EXPECT_TRUE(options.lines[0].value.flip);
    EXPECT_EQ(options.lines[0].value.name, "door");
    EXPECT_FALSE(options.lines[0].value.uturn_filter);
    EXPECT_EQ(options.lines[1].value.points.size(), 3u);
    EXPECT_EQ(options.lines[1].value.points[2].y, 10.0);
    EXPECT_FALSE(options.lines[1].value.flip);
    EXPECT_TRUE(options.lines[1].value.uturn_filter);
    EXPECT_EQ(options.lines[1].value.uturn_area.size(), 4u);
    EXPECT_EQ(options.lines[1].value.name, "line 2");
    EXPECT_TRUE(options.lines[2].value.uturn_filter);
    EXPECT_TRUE(options.lines[2].value.uturn_area.empty());
}

TEST(CommandLine, RegionsAndExclusionAreasStandBesideLines) {
    const host::RunOptions options =
        run_options({"--region", "1,1 9,1 9,9", "--line", "1,2 3,4", "--flip", "--name", "door",
                     "--region", "10,10 90,10 90,90 10,90", "--name", "till", "--exclude",
                     "0,0 5,0 5,5", "--exclude", "50,50 55,50 55,55"});
    ASSERT_EQ(options.regions.size(), 2u);
    EXPECT_EQ(options.regions[0].value.name, "region 1");
    EXPECT_EQ(options.regions[0].value.points.size(), 3u);
    EXPECT_EQ(options.regions[1].value.name, "till");
    EXPECT_EQ(options.regions[1].value.points[2].x, 90.0);
    EXPECT_EQ(options.lines.at(0).value.name, "door");
    EXPECT_TRUE(options.lines[0].value.flip);
    ASSERT_EQ(options.exclusions.size(), 2u);
    EXPECT_EQ(options.exclusions[1].value[2].y, 55.0);
}

TEST(CommandLine, ChoosesWhatIsWritten) {
    EXPECT_TRUE(run_options({}).live);
    EXPECT_FALSE(run_options({}).show_detected);
    EXPECT_FALSE(run_options({"--no-live"}).live);
    EXPECT_TRUE(run_options({"--show-detected"}).show_detected);
    EXPECT_NE(error_of({"--no-live=false"}), "");
    EXPECT_NE(error_of({"--show-detected=7"}), "");
}

TEST(CommandLine, SaysWhatIsWrongWithRegionsAndExclusionAreas) {
    EXPECT_THAT(error_of({"--region", "1,1 9,9"}),
                AllOf(HasSubstr("--region \"1,1 9,9\" has 2 points"), HasSubstr("3 to 10")));
    EXPECT_THAT(error_of({"--region", "1,1 9,1 9,9 8,9 7,9 6,9 5,9 4,9 3,9 2,9 1,9"}),
                HasSubstr("11 points"));
    EXPECT_THAT(error_of({"--region", "1,1 5,5 9,9"}), HasSubstr("encloses nothing"));
    EXPECT_THAT(error_of({"--region", "1,1 9,1 1,1 9,9 1.2,1"}), HasSubstr("3 points at 1,1"));
    EXPECT_THAT(error_of({"--region", "1,1 9,1 x,9"}), HasSubstr("\"x,9\" is not a point"));
    EXPECT_THAT(error_of({"--exclude", "1,1 9,9"}), HasSubstr("an exclusion area needs 3 to 10"));
    EXPECT_THAT(error_of({"--exclude", "1,1 5,5 9,9"}), HasSubstr("encloses nothing"));
    const char* area = "1,1 9,1 9,9";
    EXPECT_THAT(error_of({"--region", area, "--region", area, "--region", area, "--region", area,
                          "--region", area}),
                AllOf(HasSubstr("5 counting regions"), HasSubstr("at most 4")));
    EXPECT_THAT(error_of({"--exclude", area, "--exclude", area, "--exclude", area, "--exclude",
                          area, "--exclude", area}),
                AllOf(HasSubstr("5 exclusion areas"), HasSubstr("at most 4")));
    EXPECT_THAT(error_of({"--region", area, "--name", "a", "--region", area, "--name", "a"}),
                HasSubstr("--region \"1,1 9,1 9,9\" is called \"a\", as is --region"));
    EXPECT_EQ(error_of({"--line", "1,1 9,9", "--name", "a", "--region", area, "--name", "a"}), "");
    EXPECT_THAT(error_of({"--region", area, "--name", "a", "--name", "b"}), HasSubstr("twice"));
    EXPECT_THAT(error_of({"--region", area, "--name", ""}), HasSubstr("is empty"));
    EXPECT_THAT(error_of({"--region", area, "--name", "  "}), HasSubstr("is empty"));
    EXPECT_THAT(error_of({"--region", area, "--exclude", area, "--name", "a"}),
                HasSubstr("after its --line or --region"));
    EXPECT_THAT(error_of({"--line", "1,1 9,9", "--region", area, "--flip"}),
                HasSubstr("after its --line"));
    EXPECT_THAT(error_of({"--name", "a"}), HasSubstr("after its --line or --region"));
    for (const std::vector<const char*>& option :
         {std::vector{"--flip"}, std::vector{"--uturn", "none"}}) {
        std::vector<const char*> words{"--line", "1,1 9,9", "--region", area};
        words.insert(words.end(), option.begin(), option.end());
        EXPECT_THAT(error_of(words), HasSubstr("belongs to a counting line"));
    }
}

TEST(CommandLine, ReadsNumbersAndChoices) {
    const host::RunOptions options =
        run_options({"--source",  "walks",       "--trajectories", "a.txt",     "--height",
                     "5200",      "--camera-at", "-1.5,2",         "--fps",     "16",
                     "--seconds", "2.5",         "--frames",       "9",         "--detect",
                     "both",      "--box",       "--seed",         "7",         "--output",
                     "here",      "--quiet",     "--sensor",       "reads-low", "--late-counts",
                     "keep"});
    EXPECT_EQ(options.late_counts, host::LateCounts::kKeep);
    EXPECT_EQ(options.sensor, host::Sensor::kReadsLow);
    EXPECT_EQ(options.source.height_mm->value, 5200.0);
    EXPECT_EQ(options.source.camera_at->x, -1.5);
    EXPECT_EQ(*options.source.frames_per_second, 16.0);
    EXPECT_EQ(options.source.noise, "plain");
    EXPECT_EQ(run_options({"--noise", "stereo"}).source.noise, "stereo");
    EXPECT_EQ(*options.seconds, 2.5);
    EXPECT_EQ(*options.frames, 9);
    EXPECT_EQ(options.detect.value, host::DetectMode::kBoth);
    EXPECT_FALSE(options.source.foot_point);
    EXPECT_EQ(options.source.seed, 7u);
    EXPECT_EQ(options.output, "here");
    EXPECT_TRUE(options.quiet);
    EXPECT_TRUE(run_options({"--height", "auto"}).measure_height);
}

TEST(CommandLine, ReadsTilts) {
    using Kind = host::TiltSetting::Kind;
    EXPECT_EQ(run_options({}).tilt.kind, Kind::kAuto);
    EXPECT_EQ(run_options({"--tilt", "auto"}).tilt.kind, Kind::kAuto);
    EXPECT_EQ(run_options({"--tilt", "none"}).tilt.kind, Kind::kNone);
    const host::TiltSetting given = run_options({"--tilt", "-3.5,2"}).tilt;
    EXPECT_EQ(given.kind, Kind::kGiven);
    EXPECT_EQ(given.given.roll_deg, -3.5);
    EXPECT_EQ(given.given.pitch_deg, 2.0);
    const host::RunOptions crooked = run_options({"--roll", "-20", "--pitch", "7.5"});
    EXPECT_EQ(crooked.source.camera_tilt.roll_deg, -20.0);
    EXPECT_EQ(crooked.source.camera_tilt.pitch_deg, 7.5);
    for (const char* wrong : {"level", "3", "3,", "3,x", "1,2,3", "nan,1"})
        EXPECT_THAT(error_of({"--tilt", wrong}), HasSubstr("auto, none, or roll and pitch"));
    EXPECT_THAT(error_of({"--tilt", "0,20.5"}),
                AllOf(HasSubstr("20.5"), HasSubstr("from -20 to 20")));
    EXPECT_THAT(error_of({"--roll", "21"}), HasSubstr("--roll is 21; it must be -20 to 20"));
    EXPECT_THAT(error_of({"--pitch", "-20.1"}), HasSubstr("--pitch is -20.1"));
    EXPECT_THAT(error_of({"--pitch", "steep"}), HasSubstr("write a number"));
    for (const char* source : {"depth-folder", "null"}) {
        EXPECT_THAT(error_of({"--source", source, "--roll", "2"}),
                    HasSubstr("--roll belongs to --source scene or walks"));
    }
    EXPECT_EQ(error_of({"--source", "walks", "--pitch", "2"}), "");
}

TEST(CommandLine, SaysWhatIsWrong) {
    EXPECT_THAT(error_of({"--line", "5,6"}), AllOf(HasSubstr("1 point"), HasSubstr("2 to 5")));
    EXPECT_THAT(error_of({"--line", "1,1 2,2 3,3 4,4 5,5 6,6"}), HasSubstr("6 points"));
    EXPECT_THAT(error_of({"--line", "1,1 2;2"}), HasSubstr("\"2;2\" is not a point"));
    EXPECT_THAT(error_of({"--line", "1,1 nan,2"}), HasSubstr("\"nan,2\" is not a point"));
    EXPECT_THAT(error_of({"--line", "1,1 1,1"}), HasSubstr("twice in a row"));
    EXPECT_THAT(error_of({"--line", "1,1 2,2", "--uturn", "1,1 2,2"}), HasSubstr("3 to 10"));
    EXPECT_THAT(error_of({"--uturn", "none"}), HasSubstr("after its --line"));
    EXPECT_THAT(error_of({"--flip"}), HasSubstr("after its --line"));
    EXPECT_THAT(error_of({"--height", "-3"}), AllOf(HasSubstr("-3"), HasSubstr("millimetres")));
    EXPECT_THAT(error_of({"--height", "tall"}), HasSubstr("\"tall\""));
    EXPECT_THAT(error_of({"--height", "3"}), HasSubstr("1500 to 15000"));
    EXPECT_THAT(error_of({"--detect", "radar"}), HasSubstr("both, colour and depth"));
    EXPECT_THAT(error_of({"--noise", "sonar"}), HasSubstr("plain, time-of-flight, stereo"));
    EXPECT_THAT(error_of({"--sensor", "sonar"}), HasSubstr("exact and reads-low"));
    EXPECT_THAT(error_of({"--late-counts", "maybe"}), HasSubstr("drop and keep"));
    EXPECT_THAT(error_of({"--seconds", "0"}), HasSubstr("above 0"));
    EXPECT_THAT(error_of({"--frames", "-1"}), HasSubstr("whole number from 1"));
    EXPECT_THAT(error_of({"--source", "walks", "--fps", "1000"}), HasSubstr("1 to 240"));
    EXPECT_THAT(error_of({"--source", "walks", "--camera-at", "1,2 3,4"}), HasSubstr("one point"));
    EXPECT_THAT(error_of({"--nonsense"}), HasSubstr("--nonsense"));
    EXPECT_THAT(error_of({"--foot", "--box"}), HasSubstr("--box"));
    EXPECT_THAT(error_of({"--source", "depth-folder", "--detect", "colour"}),
                HasSubstr("must be depth"));
    const char* line = "1,1 2,2";
    EXPECT_THAT(
        error_of({"--line", line, "--line", line, "--line", line, "--line", line, "--line", line}),
        AllOf(HasSubstr("5 counting lines"), HasSubstr("at most 4")));
}

TEST(CommandLine, OptionsBelongToTheirSource) {
    const char* folder = "--source depth-folder";
    EXPECT_THAT(error_of({"--source", "scene", "--folder", "x"}),
                AllOf(HasSubstr("--folder"), HasSubstr(folder)));
    EXPECT_THAT(error_of({"--source", "scene", "--camera", "x"}), HasSubstr(folder));
    EXPECT_THAT(error_of({"--source", "scene", "--trajectories", "x"}),
                HasSubstr("--source walks"));
    EXPECT_THAT(error_of({"--camera-at", "1,2"}), HasSubstr("--source walks"));
    EXPECT_THAT(error_of({"--source", "null", "--fps", "20"}),
                HasSubstr("--source scene or walks or depth-folder"));
    EXPECT_THAT(error_of({"--folder", "x", "--noise", "stereo"}),
                HasSubstr("--source scene or walks"));
    for (const char* source : {"depth-folder", "null", "walks"}) {
        EXPECT_THAT(error_of({"--source", source, "--scene", "crowd"}),
                    HasSubstr("--source scene"));
    }
    EXPECT_THAT(error_of({"--source", "depth-folder", "--seed", "2"}), HasSubstr("--seed"));
    EXPECT_THAT(error_of({"--source", "null", "--seed", "2"}), HasSubstr("--seed"));
    EXPECT_EQ(error_of({"--source", "walks", "--seed", "2"}), "");
    EXPECT_EQ(error_of({"--source", "walks", "--fps", "20"}), "");
    EXPECT_EQ(error_of({"--fps", "20"}), "");
}

TEST(CommandLine, AFileOrFolderImpliesItsSource) {
    EXPECT_EQ(run_options({"--trajectories", "x"}).source.source, "walks");
    EXPECT_EQ(run_options({"--folder", "x"}).source.source, "depth-folder");
    EXPECT_EQ(run_options({"--folder", "x", "--fps", "9"}).source.source, "depth-folder");
    EXPECT_THAT(error_of({"--folder", "x", "--trajectories", "y"}), HasSubstr("belongs to"));
    EXPECT_THAT(parse({"run", "--help"}).text, HasSubstr("--folder alone implies"));
}

TEST(CommandLine, ReadsNumbersStrictly) {
    for (const char* text : {"inf", "1e400", "nan", "5s", "0x10", " 5"}) {
        EXPECT_THAT(error_of({"--seconds", text}),
                    AllOf(HasSubstr("--seconds is"), HasSubstr("write a number")));
    }
    EXPECT_THAT(error_of({"--fps", "nan", "--source", "walks"}), HasSubstr("--fps is"));
    for (const char* text : {"99999999999999999999", "2.5", "0", "-4"}) {
        EXPECT_THAT(error_of({"--frames", text}), HasSubstr("write a whole number from 1 to"));
    }
    EXPECT_THAT(error_of({"--seed", "-1"}), HasSubstr("write a whole number from 0 to"));
    EXPECT_EQ(run_options({"--seed", "18446744073709551615"}).source.seed, UINT64_MAX);
}

TEST(CommandLine, TakesEachOptionOnceAndWithAValue) {
    EXPECT_EQ(error_of({"--height", "3000", "--height", "3100"}),
              "--height is given 2 times; give it once");
    EXPECT_THAT(error_of({"--output", ""}), HasSubstr("--output is empty"));
    EXPECT_THAT(error_of({"--config", ""}), HasSubstr("--config is empty"));
    EXPECT_THAT(error_of({"--height"}), HasSubstr("--height needs a value"));
    const char* line = "1,1 9,9";
    EXPECT_THAT(error_of({"--line", line, "--name", "a", "--name", "b"}), HasSubstr("twice"));
    EXPECT_THAT(error_of({"--line", line, "--uturn", "0,0 9,0 9,9", "--uturn", "none"}),
                AllOf(HasSubstr("--uturn"), HasSubstr("twice")));
    EXPECT_EQ(error_of({"--line", line, "--name", "a", "--line", "1,1 8,9", "--name", "b"}), "");
}

TEST(CommandLine, AClosedLineHasFourCornersThatStickOut) {
    const auto closed = [](const char* points) { return error_of({"--closed-line", points}); };
    const host::RunOptions options =
        run_options({"--closed-line", "10,10 90,12 88,90 9,91 10,10", "--name", "hall"});
    ASSERT_EQ(options.lines.size(), 1u);
    EXPECT_EQ(options.lines[0].value.name, "hall");
    EXPECT_TRUE(host::is_closed(options.lines[0].value.points));
    EXPECT_EQ(closed("10,10 10,90 90,90 90,10 10,10"), "") << "either way round";
    EXPECT_EQ(closed("10,10 90,10 90,90 10,90"),
              "--closed-line \"10,10 90,10 90,90 10,90\" has 4 points and does not end where it "
              "begins; a closed line has four corners and the first point again as the last");
    EXPECT_THAT(closed("10,10 90,10 90,90 10,90 10,20"), HasSubstr("does not end where it begins"));
    EXPECT_THAT(closed("10,10 90,10 90,90 10,10"), HasSubstr("has 4 points; a closed line"));
    EXPECT_THAT(closed("10,10 90,10 90,90 50,95 10,90 10,10"), HasSubstr("has 6 points; a closed"));
    EXPECT_THAT(closed("10,10 90,90 90,10 10,90 10,10"), HasSubstr("crosses itself; give"));
    EXPECT_THAT(closed("10,10 90,10 30,30 10,90 10,10"), HasSubstr("a corner that points inwards"));
    EXPECT_THAT(closed("10,10 50,10 90,10 90,90 10,10"), HasSubstr("does not bend at 50,10"));
    EXPECT_THAT(closed("10,10 90,10 10,10 90,90 10,10"), HasSubstr("returns to the point 10,10"));
    EXPECT_THAT(error_of({"--line", "10,10 90,10 90,90 10,90 10,10"}),
                HasSubstr("unless it is a closed line"));
}

TEST(CommandLine, ChecksTheShapeOfLinesAndAreas) {
    EXPECT_THAT(error_of({"--line", "1,1 9,9 1.2,1"}), HasSubstr("returns to the point 1.2,1"));
    const char* line = "10,10 90,90";
    EXPECT_THAT(error_of({"--line", line, "--uturn", "0,0 5,5 9,9"}),
                HasSubstr("encloses nothing"));
    EXPECT_THAT(error_of({"--line", line, "--uturn", "0,9 5,9 9,9"}),
                HasSubstr("encloses nothing"));
    EXPECT_THAT(error_of({"--line", line, "--uturn", "200,200 300,200 300,300"}),
                HasSubstr("does not touch"));
    // Across the line, around it, with a corner on it, and one whose halves meet in a point.
    for (const char* area : {"20,0 30,0 30,99 20,99", "0,0 99,0 99,99 0,99", "50,50 60,0 70,0",
                             "0,0 99,99 99,0 0,99"}) {
        EXPECT_EQ(error_of({"--line", line, "--uturn", area}), "") << area;
    }
}

TEST(CommandLine, ChecksNames) {
    const auto error_with = [](const char* name) {
        return error_of({"--line", "1,1 9,9", "--name", name});
    };
    EXPECT_THAT(error_with(""), HasSubstr("is empty"));
    for (const char* bad : {"\xff", "a\xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
        EXPECT_THAT(error_with(bad), HasSubstr("UTF-8"));
    }
    for (const char* bad : {"a\tb", "a\nb", "\x1b[0m", "\x7f", "\xc2\x85"}) {
        EXPECT_THAT(error_with(bad), HasSubstr("control character"));
    }
    for (const char* good : {"Tür", "入口", "\xf0\x9f\x9a\xaa", "a b"}) {
        EXPECT_EQ(error_with(good), "") << good;
    }
    const std::string longest(60, 'n');
    EXPECT_EQ(error_of({"--line", "1,1 9,9", "--name", longest.c_str()}), "");
    EXPECT_THAT(error_of({"--line", "1,1 9,9", "--name", (longest + "n").c_str()}),
                HasSubstr("longer than 60 characters"));
    EXPECT_THAT(error_of({"--line", "1,1 9,9", "--name", "a", "--line", "1,1 9,8", "--name", "a"}),
                HasSubstr("--line \"1,1 9,8\" is called \"a\", as is --line \"1,1 9,9\""));
}

TEST(CommandLine, HelpShowsNothingOfTheParser) {
    const std::string help = parse({"run", "--help"}).text;
    EXPECT_THAT(help, HasSubstr("Usage: vca run [OPTIONS]"));
    EXPECT_THAT(help, ::testing::Not(HasSubstr("Excludes")));
}

TEST(CommandLine, HelpAndVersionAreTexts) {
    EXPECT_THAT(parse({}).text, HasSubstr("vca run"));
    EXPECT_THAT(parse({"--help"}).text, HasSubstr("Examples"));
    EXPECT_THAT(parse({"run", "--help"}).text, HasSubstr("--trajectories"));
    EXPECT_THAT(parse({"--version"}).text, AllOf(HasSubstr("commit"), HasSubstr("build")));
    EXPECT_EQ(parse({"scenes"}).command, host::Command::kScenes);
    EXPECT_THROW(parse({"walk"}), host::InputError);
}

TEST(CommandLine, ChecksFilesOfBothKinds) {
    const host::CommandLine check = parse({"check", "door.toml"});
    EXPECT_EQ(check.command, host::Command::kCheck);
    EXPECT_EQ(check.check.file, "door.toml");
    EXPECT_EQ(check.check.output, "");
    EXPECT_FALSE(check.check.as_site);
    const host::CommandLine site = parse({"site", "check", "hall.toml", "--output", "plans"});
    EXPECT_EQ(site.command, host::Command::kCheck);
    EXPECT_EQ(site.check.file, "hall.toml");
    EXPECT_EQ(site.check.output, "plans");
    EXPECT_TRUE(site.check.as_site);
    EXPECT_THAT(parse({"check", "--help"}).text, HasSubstr("Usage: vca check [OPTIONS] FILE"));
    EXPECT_THAT(parse({"site", "check", "--help"}).text,
                HasSubstr("Usage: vca site check [OPTIONS] FILE"));
    const auto said = [](std::vector<const char*> words) -> std::string {
        try {
            parse(std::move(words));
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "";
    };
    EXPECT_THAT(said({"check"}), HasSubstr("see vca check --help"));
    EXPECT_THAT(said({"site", "check"}), HasSubstr("see vca site check --help"));
    EXPECT_THAT(said({"site"}), HasSubstr("see vca site --help"));
    EXPECT_THAT(said({"check", "a.toml", "--output", ""}), HasSubstr("--output is empty"));
    EXPECT_THAT(said({"check", "a.toml", "b.toml"}), HasSubstr("b.toml"));
}

TEST(CommandLine, ChoosesTheAttributeModels) {
    EXPECT_EQ(run_options({}).gender, "none");
    EXPECT_EQ(run_options({}).staff, "none");
    const host::RunOptions options = run_options({"--gender", "g.onnx", "--staff", "vest"});
    EXPECT_EQ(options.gender, "g.onnx");
    EXPECT_EQ(options.staff, "vest");
    EXPECT_THAT(error_of({"--folder", "x", "--staff", "vest"}),
                AllOf(HasSubstr("staff model is \"vest\""), HasSubstr("must be none")));
    EXPECT_THAT(error_of({"--folder", "x", "--gender", "g.onnx"}), HasSubstr("gender model"));
    EXPECT_EQ(error_of({"--folder", "x", "--staff", "none"}), "");
    EXPECT_THAT(error_of({"--staff", ""}), HasSubstr("--staff is empty"));
}

TEST(Options, AreCheckedTogether) {
    host::RunOptions options;
    options.target_min_mm = 2300;
    EXPECT_THROW(host::check_options(options), host::InputError);
    options = {};
    options.group_min = 9;
    EXPECT_THROW(host::check_options(options), host::InputError);
    options = {};
    EXPECT_NO_THROW(host::check_options(options));
}

}  // namespace
