// The program vca as a user runs it: results of a short scene, and answers to wrong input.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/base/result_files.h"
#include "tests/support/program.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

using test::json_lines;
using test::Outcome;
using test::read_file;

class Program : public test::Program {
  protected:
    // Starts a run and returns when it is feeding frames.
    pid_t start(const std::string& arguments) const {
        const pid_t child = start_vca(arguments);
        // The log appears when the run begins.
        while (!fs::exists(work_ / "result/library.log")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        return child;
    }

    // The exit status of a run whose files may have so many blocks of 512 bytes.
    int run_limited(int blocks, const std::string& arguments) const {
        const std::string command = "cd '" + work_.string() +
                                    "' && exec >out.txt 2>err.txt && trap '' XFSZ && ulimit -f " +
                                    std::to_string(blocks) + " && '" + VCA_PROGRAM +
                                    "' run --quiet --output result " + arguments;
        return WEXITSTATUS(std::system(command.c_str()));
    }

    nlohmann::json summary(const std::string& folder) const {
        return json(folder + "/summary.json");
    }

    // Rows of a CSV file without quoted fields, by the names of its first line.
    std::vector<std::map<std::string, std::string>> table(const std::string& file) const {
        const auto fields = [](const std::string& line) {
            std::vector<std::string> parts;
            std::istringstream in(line + ',');
            for (std::string part; std::getline(in, part, ',');)
                parts.push_back(part);
            return parts;
        };
        std::istringstream in(read_file(work_ / file));
        std::string line;
        EXPECT_TRUE(std::getline(in, line)) << file;
        const std::vector<std::string> names = fields(line);
        std::vector<std::map<std::string, std::string>> rows;
        while (std::getline(in, line)) {
            const std::vector<std::string> values = fields(line);
            EXPECT_EQ(values.size(), names.size()) << line;
            rows.emplace_back();
            for (std::size_t i = 0; i < std::min(names.size(), values.size()); ++i)
                rows.back()[names[i]] = values[i];
        }
        return rows;
    }

    void expect_refused(const std::string& arguments, const ::testing::Matcher<std::string>& text) {
        test::Program::expect_refused("run --output refused " + arguments, text, "refused");
    }
};

int count_messages(const std::vector<nlohmann::json>& events, const std::string& name) {
    return static_cast<int>(
        std::count_if(events.begin(), events.end(),
                      [&name](const nlohmann::json& event) { return event["message"] == name; }));
}

TEST_F(Program, CountsAShortSceneAndLeavesItsFiles) {
    const Outcome outcome = vca("run --scene doorway --seconds 12 --output result");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("doorway"), HasSubstr("direction"),
                                   HasSubstr("identity switches"), HasSubstr("0 blocks")));
    EXPECT_THAT(outcome.out, ::testing::Not(HasSubstr("vca_base")));
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(work_ / "result")) {
        names.push_back(entry.path().filename().string());
    }
    EXPECT_THAT(names, ::testing::UnorderedElementsAre(
                           "events.jsonl", "crossings.csv", "true_crossings.csv", "summary.json",
                           "people.jsonl", "regions.csv", "stays.csv", "library.log", "picture.png",
                           "heat_dwell.png", "heat_motion.png", "live.mp4"));
    EXPECT_THAT(read_file(work_ / "result/library.log"), HasSubstr("vca_algo uninit 111"));
    EXPECT_THAT(read_file(work_ / "result/picture.png"), ::testing::StartsWith("\x89PNG"));

    const nlohmann::json run = summary("result");
    EXPECT_EQ(run["run"]["frames"], 180);
    const int counted = run["totals"]["direction_1"]["counted"].get<int>() +
                        run["totals"]["direction_2"]["counted"].get<int>();
    EXPECT_GE(counted, 2);
    EXPECT_EQ(run["totals"]["direction_1"]["error"], 0);
    EXPECT_EQ(run["totals"]["direction_2"]["error"], 0);
    EXPECT_EQ(table("result/crossings.csv").size(), static_cast<std::size_t>(counted));
    EXPECT_EQ(table("result/true_crossings.csv").size(), static_cast<std::size_t>(counted));
    for (const char* left : {"blocks", "mappings", "images", "wrong_returns",
                             "undelivered_messages", "refused_messages"}) {
        EXPECT_EQ(run["left_over"][left], 0) << left;
    }
    EXPECT_EQ(run["regions"].size(), 2u);  // the scene's own
    EXPECT_GT(run["detection"]["recall"], 0.95);
    EXPECT_LT(run["heights"]["error_size_median_mm"], 40.0);

    const std::vector<nlohmann::json> events = json_lines(read_file(work_ / "result/events.jsonl"));
    EXPECT_EQ(events.at(0)["message"], "config_request");
    EXPECT_EQ(count_messages(events, "person_counted"), counted);
    EXPECT_EQ(count_messages(events, "unknown"), 0);
}

TEST_F(Program, MeasuresRegionsAndTheHeatMap) {
    const Outcome outcome =
        vca("run --quiet --no-live --scene shop --seconds 12 --output result "
            "--region '0,0 480,0 480,543 0,543' --name left "
            "--region '480,0 959,0 959,543 480,543' --name 'right, all'");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("left"), HasSubstr("(inside)"),
                                   HasSubstr("time in regions"), HasSubstr("heat map")));
    EXPECT_FALSE(fs::exists(work_ / "result/live.mp4"));
    const nlohmann::json run = summary("result");
    ASSERT_EQ(run["regions"].size(), 2u);
    EXPECT_EQ(run["regions"][1]["name"], "right, all");
    double people = 0.0;
    for (const nlohmann::json& region : run["regions"]) {
        people += region["people_mean"].get<double>();
        EXPECT_LT(region["mean_abs_error"].get<double>(), 0.25);
    }
    EXPECT_GT(people, 0.3);
    EXPECT_LT(run["stay_time"]["error_size_median_s"], 0.5);
    const std::string table = read_file(work_ / "result/regions.csv");
    EXPECT_THAT(table, HasSubstr("\n11,\"right, all\","));
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 1 + 2 * 12);
    const std::string stays = read_file(work_ / "result/stays.csv");
    EXPECT_GT(std::count(stays.begin(), stays.end(), '\n'), 2);

    const auto events = json_lines(read_file(work_ / "result/events.jsonl"));
    EXPECT_EQ(count_messages(events, "heat_map"), 1);
    EXPECT_EQ(events.back()["message"], "heat_map");
    EXPECT_GT(events.back()["dwell_ms"], 0);
    EXPECT_GT(count_messages(events, "regions"), 50);
    EXPECT_GT(count_messages(events, "tracks"), 50);
    EXPECT_EQ(count_messages(events, "detected_tracks"), 0);
}

TEST_F(Program, FollowsNobodyInAnExclusionArea) {
    const std::string run = "run --quiet --no-live --scene doorway --seconds 7 --output ";
    ASSERT_EQ(vca(run + "all").status, 0);
    ASSERT_EQ(vca(run + "none --exclude '0,0 959,0 959,543 0,543'").status, 0);
    EXPECT_GT(summary("all")["tracking"]["tracks"], 0);
    EXPECT_EQ(summary("none")["tracking"]["tracks"], 0);
    EXPECT_EQ(summary("none")["detection"]["true_boxes"], 0);
}

TEST_F(Program, ShowsTheDetectedTracksWhenAsked) {
    ASSERT_EQ(vca("run --quiet --no-live --scene doorway --seconds 7 --show-detected "
                  "--output result")
                  .status,
              0);
    const auto events = json_lines(read_file(work_ / "result/events.jsonl"));
    EXPECT_GT(count_messages(events, "detected_tracks"), 20);
    EXPECT_EQ(count_messages(events, "detected_tracks"), count_messages(events, "tracks"));
}

TEST_F(Program, EventsAreWrittenWhileItRuns) {
    const pid_t child = start("run --scene crowd --no-live --output result");
    for (int i = 0; i < 500 && fs::file_size(work_ / "result/events.jsonl") == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_GT(fs::file_size(work_ / "result/events.jsonl"), 0u);
    EXPECT_FALSE(fs::exists(work_ / "result/summary.json"));
    ::kill(child, SIGINT);
    EXPECT_EQ(end_of(child), 0) << err();
    EXPECT_GT(json_lines(read_file(work_ / "result/events.jsonl")).size(), 1u);
}

// A limit on the size of files stands for a full disk.
TEST_F(Program, AFullDiskCostsNoCount) {
    EXPECT_EQ(run_limited(16, "--no-live --scene doorway"), 3) << err();
    EXPECT_THAT(out(), AllOf(HasSubstr("all lines"), HasSubstr("missing: events.jsonl: "),
                             HasSubstr("missing: people.jsonl: ")));
    EXPECT_GT(fs::file_size(work_ / "result/events.jsonl"), 0u) << "what was written stays";
    EXPECT_GT(summary("result")["totals"]["direction_1"]["counted"], 0);
}

TEST_F(Program, WhatIsNoCountMayFailByItself) {
    EXPECT_EQ(run_limited(400, "--scene doorway --seconds 20"), 3) << err();
    EXPECT_THAT(out(), AllOf(HasSubstr("all lines"), HasSubstr("missing: live.mp4: "),
                             HasSubstr("missing: picture.png: ")));
    EXPECT_EQ(summary("result")["run"]["frames"], 300);
    EXPECT_THAT(summary("result")["run"]["missing"].dump(), HasSubstr("live.mp4"));
    for (const char* name : {"live.mp4", "live.mp4.part", "picture.png", "picture.png.part"})
        EXPECT_FALSE(fs::exists(work_ / "result" / name)) << name;
    EXPECT_EQ(vca("why result").status, 0);
}

TEST_F(Program, AFolderTellsOfOneRun) {
    ASSERT_EQ(vca("run --quiet --scene doorway --frames 3 --output result").status, 0);
    EXPECT_TRUE(fs::exists(work_ / "result/live.mp4"));
    write("result/notes.txt", "mine");
    ASSERT_EQ(vca("run --quiet --no-live --scene doorway --frames 3 --output result").status, 0);
    EXPECT_FALSE(fs::exists(work_ / "result/live.mp4"));
    EXPECT_TRUE(fs::exists(work_ / "result/notes.txt"));
    const std::string before = read_file(work_ / "result/summary.json");
    EXPECT_EQ(vca("run --scene moon --output result").status, 2);
    EXPECT_EQ(read_file(work_ / "result/summary.json"), before);
}

TEST_F(Program, OnlyTheEndOfTheSourceEndsTheTracks) {
    std::string walk = "# framerate: 16 fps\n";
    for (int i = 0; i < 20; ++i)
        walk += "3 " + std::to_string(i) + " 0.1 " + std::to_string(-0.9 + 0.09 * i) + " 1.75\n";
    write("walk.txt", walk);
    const std::string run = "run --quiet --trajectories walk.txt --height 4000 --camera-at 0,0 ";
    const auto open_tracks = [this](const std::string& folder) {
        const auto events = json_lines(read_file(work_ / folder / "events.jsonl"));
        EXPECT_GT(count_messages(events, "track_appeared"), 0);
        return count_messages(events, "track_appeared") - count_messages(events, "track_removed");
    };
    ASSERT_EQ(vca(run + "--output whole").status, 0);
    ASSERT_EQ(vca(run + "--output cut --frames 15").status, 0);
    const std::string all = summary("whole")["run"]["frames"].dump();
    ASSERT_EQ(vca(run + "--output just --frames " + all).status, 0);
    EXPECT_EQ(open_tracks("whole"), 0);
    EXPECT_EQ(open_tracks("just"), 0);
    EXPECT_EQ(open_tracks("cut"), 1);
}

TEST_F(Program, TheSameRunGivesTheSameEvents) {
    ASSERT_EQ(vca("run --quiet --scene doorway --seconds 7 --output a").status, 0);
    ASSERT_EQ(vca("run --quiet --scene doorway --seconds 7 --output b").status, 0);
    const std::string first = read_file(work_ / "a/events.jsonl");
    EXPECT_THAT(first, HasSubstr("person_counted"));
    EXPECT_EQ(first, read_file(work_ / "b/events.jsonl"));
}

TEST_F(Program, MeasuresTheHeightWhenAsked) {
    const Outcome outcome =
        vca("run --quiet --scene doorway --height auto --frames 5 --output result");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const nlohmann::json run = summary("result");
    EXPECT_TRUE(run["run"]["height_measured"]);
    EXPECT_THAT(outcome.out, ::testing::StartsWith("doorway: "));
    EXPECT_NEAR(run["run"]["install_height_mm"].get<double>(), 3000.0, 30.0);
    EXPECT_EQ(run["run"]["frames"], 5);
    const auto events = json_lines(read_file(work_ / "result/events.jsonl"));
    EXPECT_EQ(count_messages(events, "config_request"), 1);
}

TEST_F(Program, LevelsACrookedCamera) {
    const std::string run = "run --quiet --no-live --scene doorway --seconds 15 --output ";
    ASSERT_EQ(vca(run + "level").status, 0);
    const Outcome outcome = vca(run + "crooked --roll 7 --pitch -7 --height auto");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("hangs crooked by roll"));
    const nlohmann::json level = summary("level");
    const nlohmann::json crooked = summary("crooked");
    EXPECT_FALSE(level["run"]["levelled"]);
    EXPECT_NEAR(level["run"]["tilt_deg"]["roll"].get<double>(), 0.0, 0.3);
    EXPECT_TRUE(crooked["run"]["levelled"]);
    EXPECT_NEAR(crooked["run"]["tilt_deg"]["roll"].get<double>(), 7.0, 0.3);
    EXPECT_NEAR(crooked["run"]["tilt_deg"]["pitch"].get<double>(), -7.0, 0.3);
    EXPECT_NEAR(crooked["run"]["install_height_mm"].get<double>(), 3000.0, 30.0);
    EXPECT_EQ(crooked["run"]["frames"], level["run"]["frames"]);
    EXPECT_EQ(crooked["totals"], level["totals"]);
    EXPECT_GT(level["totals"]["direction_1"]["true"].get<int>(), 1);

    ASSERT_EQ(vca(run + "taken --roll 7 --pitch -7 --tilt none").status, 0);
    EXPECT_TRUE(summary("taken")["run"]["tilt_deg"].is_null());
    write("tilt.toml", "tilt = [7, -7]\n");
    ASSERT_EQ(vca(run + "set --roll 7 --pitch -7 --config tilt.toml").status, 0);
    EXPECT_EQ(summary("set")["run"]["tilt_deg"]["pitch"], -7.0);
    EXPECT_EQ(summary("set")["totals"], level["totals"]);
}

TEST_F(Program, FollowsTheConfigurationFile) {
    write("door.toml",
          "detect = \"depth\"\n[[line]]\nname = \"mine\"\n"
          "points = [[100, 272], [860, 272]]\nflip = true\n");
    ASSERT_EQ(
        vca("run --quiet --scene doorway --seconds 7 --output flipped --config door.toml").status,
        0);
    ASSERT_EQ(vca("run --quiet --scene doorway --seconds 7 --output plain "
                  "--line '100,272 860,272'")
                  .status,
              0);
    const nlohmann::json flipped = summary("flipped")["lines"][0];
    const nlohmann::json plain = summary("plain")["lines"][0];
    EXPECT_EQ(flipped["name"], "mine");
    EXPECT_EQ(flipped["direction_1"], plain["direction_2"]);
    EXPECT_EQ(flipped["direction_2"], plain["direction_1"]);
    EXPECT_NE(plain["direction_1"], plain["direction_2"]);
}

TEST_F(Program, WalksFromAFile) {
    std::string walk = "# framerate: 16 fps\n";
    for (int i = 0; i < 40; ++i) {
        walk += "3 " + std::to_string(i) + " 0.1 " + std::to_string(-1.8 + 0.09 * i) + " 1.75\n";
    }
    write("walk.txt", walk);
    const Outcome outcome =
        vca("run --quiet --source walks --trajectories walk.txt --height 4000 --camera-at 0,0 "
            "--output result");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const nlohmann::json run = summary("result");
    EXPECT_EQ(run["run"]["frames_per_second"], 16.0);
    const auto crossings = table("result/crossings.csv");
    const auto true_crossings = table("result/true_crossings.csv");
    ASSERT_EQ(crossings.size(), 1u);
    ASSERT_EQ(true_crossings.size(), 1u);
    EXPECT_EQ(crossings[0].at("direction"), true_crossings[0].at("direction"));
    EXPECT_EQ(crossings[0].at("person"), "3");
}

TEST_F(Program, RunsWithoutAnyFrame) {
    const Outcome outcome = vca("run --source null --output result");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(summary("result")["run"]["frames"], 0);
}

TEST_F(Program, CtrlCEndsWithTheResultsSoFar) {
    const pid_t child = start("run --scene crowd --output result");
    ::kill(child, SIGINT);
    EXPECT_EQ(end_of(child), 0) << err();
    const nlohmann::json run = summary("result");
    EXPECT_TRUE(run["run"]["interrupted"]);
    EXPECT_LT(run["run"]["frames"], 900);
    EXPECT_EQ(run["left_over"]["blocks"], 0);
    EXPECT_THAT(read_file(work_ / "out.txt"), HasSubstr("ended early"));
}

TEST_F(Program, HangUpEndsWithTheResultsSoFar) {
    const pid_t child = start("run --scene crowd --output result");
    ::kill(child, SIGHUP);
    EXPECT_EQ(end_of(child), 0) << err();
    EXPECT_TRUE(summary("result")["run"]["interrupted"]);
}

TEST_F(Program, ASecondCtrlCLeavesWhatWasCounted) {
    const pid_t child = start("run --scene crowd --output result");
    // Both are pending at once when the program goes on, whatever it has got to.
    ::kill(child, SIGSTOP);
    ::kill(child, SIGINT);
    ::kill(child, SIGTERM);
    ::kill(child, SIGCONT);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    for (const auto& entry : fs::directory_iterator(work_ / "result"))
        EXPECT_TRUE(host::grows(entry.path().filename().string())) << entry.path();
    EXPECT_TRUE(fs::exists(work_ / "result/events.jsonl"));
}

TEST_F(Program, AReaderThatGoesAwayDoesNotStopTheResults) {
    const int status = std::system(
        ("cd '" + work_.string() + "' && { '" + VCA_PROGRAM +
         "' run --scene doorway --frames 10 --output result; echo $? >status; } 2>err.txt | true")
            .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(read_file(work_ / "status"), "1\n");
    EXPECT_THAT(err(), HasSubstr("cannot write to standard output"));
    EXPECT_EQ(summary("result")["run"]["frames"], 10);
    EXPECT_FALSE(fs::exists(work_ / "result/summary.json.part"));
}

TEST_F(Program, StandardOutputMayBeFullOrClosed) {
    for (const char* what : {"run --frames 3 --output full", "scenes", "run --help"}) {
        const Outcome outcome = vca(std::string(what) + " >/dev/full");
        EXPECT_EQ(outcome.status, 1) << what;
        EXPECT_THAT(outcome.err, HasSubstr("cannot write to standard output"));
    }
    EXPECT_EQ(vca("run --frames 3 --output closed <&- >&-").status, 0);
    EXPECT_THAT(read_file(work_ / "closed/library.log"), HasSubstr("vca_algo uninit 111"));
    EXPECT_THAT(read_file(work_ / "closed/library.log"), ::testing::Not(HasSubstr("speed")));
    EXPECT_EQ(vca("scenes >&-").status, 0);
}

TEST_F(Program, RefusesAFolderInTheWayOfAResult) {
    fs::create_directories(work_ / "result/picture.png");
    const Outcome outcome = vca("run --scene doorway --frames 1 --output result");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("picture.png"));
    EXPECT_EQ(std::distance(fs::directory_iterator(work_ / "result"), {}), 1);
}

TEST_F(Program, RefusesWrongInputInOneSentence) {
    write("letters.txt", "1 0 0.5 0.5 1.7\nhello walker\n");
    expect_refused("--source walks --trajectories letters.txt",
                   AllOf(HasSubstr("letters.txt"), HasSubstr("2")));
    expect_refused("--source walks --trajectories none.txt", HasSubstr("none.txt"));
    expect_refused("--source walks", HasSubstr("--trajectories FILE"));
    expect_refused("--scene moon", AllOf(HasSubstr("moon"), HasSubstr("doorway")));
    expect_refused("--source usb", HasSubstr("known are scene, walks"));
    expect_refused("--line 5,6", HasSubstr("1 point"));
    expect_refused("--line '5,6 970,6'", HasSubstr("959,543"));
    expect_refused("--height -3", HasSubstr("-3"));
    expect_refused("--config none.toml", HasSubstr("none.toml"));
    expect_refused("--tilt steep", HasSubstr("auto, none, or roll and pitch"));
    expect_refused("--roll 30", HasSubstr("-20 to 20 degrees"));
    expect_refused("--folder x --pitch 3", HasSubstr("--pitch belongs to --source scene or walks"));
    write("tilt.toml", "\ntilt = [0, 25]\n");
    expect_refused("--config tilt.toml", AllOf(HasSubstr("line 2"), HasSubstr("-20 to 20")));
    expect_refused("--staff vests", AllOf(HasSubstr("\"vests\""), HasSubstr("vest or none")));
    write("words.onnx", "no network");
    expect_refused("--gender words.onnx", HasSubstr("not an ONNX file, or not a complete one"));
    write("key.toml", "hieght = 3\n");
    expect_refused("--config key.toml", AllOf(HasSubstr("key.toml"), HasSubstr("line 1")));
    const std::string line = " --line '1,1 9,9'";
    expect_refused(line + line + line + line + line, HasSubstr("at most 4"));
    expect_refused("--source depth-folder --folder nowhere", HasSubstr("nowhere"));
    expect_refused("--what", HasSubstr("--what"));
    expect_refused("--scene doorway --height 3000",
                   AllOf(HasSubstr("--height goes with walks"), HasSubstr("at 3000 mm")));
    write("height.toml", "\nheight_mm = 3000\n");
    expect_refused("--config height.toml",
                   AllOf(HasSubstr("height.toml"), HasSubstr("line 2: height_mm goes with")));
    write("outside.toml", "[[line]]\npoints = [[1, 1], [970, 9]]\n");
    expect_refused("--config outside.toml",
                   AllOf(HasSubstr("outside.toml"), HasSubstr("line 2"), HasSubstr("970,9")));
    expect_refused("--region '5,6 970,6 9,9'", AllOf(HasSubstr("--region \"5,6 970,6 9,9\""),
                                                     HasSubstr("970,6"), HasSubstr("959,543")));
    expect_refused("--exclude '5,6 90,6 9,600'", AllOf(HasSubstr("9,600"), HasSubstr("959,543")));
    write("region.toml", "[[region]]\npoints = [[1, 1], [970, 9], [9, 9]]\n");
    expect_refused("--config region.toml",
                   AllOf(HasSubstr("line 2: the region has the point"), HasSubstr("970,9")));
    fs::create_directory_symlink("loop", work_ / "loop");
    expect_refused("--config loop", HasSubstr("\"loop\""));
}

TEST_F(Program, ChecksAnInstallationFile) {
    write("door.toml",
          "height_mm = 3500\n[[line]]\nname = \"door\"\npoints = [[1, 1], [301, 1]]\n");
    const Outcome sound = vca("check door.toml");
    EXPECT_EQ(sound.status, 0) << sound.err;
    EXPECT_EQ(sound.err, "");
    EXPECT_THAT(sound.out, AllOf(HasSubstr("installation \"door.toml\""),
                                 HasSubstr("line \"door\": 2 points, 300 pixels long"),
                                 HasSubstr("camera height: 3500 mm")));
    write("wide.toml", "[[line]]\npoints = [[1, 1], [970, 9]]\n");
    EXPECT_THAT(vca("check wide.toml").out,
                HasSubstr("warning: \"wide.toml\" line 2: the line has the point 970,9"));
    EXPECT_EQ(std::distance(fs::directory_iterator(work_), {}), 4) << "two files, two outputs";
}

// Whatever a run would say about the file by itself.
TEST_F(Program, CheckAnswersAsARunDoes) {
    write("words.onnx", "no network");
    for (const char* text :
         {"hieght = 3\n", "x = = 3\n", "\nheight_mm = 3\n", "[[line]]\npoints = [[1, 1]]\n",
          "[[region]]\npoints = [[1, 1], [2, 2], [3, 3]]\n", "target_height_mm = [3, 2]\n",
          "[group]\nmin = 9\n", "gender = \"words.onnx\"\n", "staff = \"vests\"\n"}) {
        write("file.toml", text);
        const Outcome check = vca("check file.toml");
        const Outcome run = vca("run --scene doorway --frames 1 --config file.toml --output none");
        EXPECT_EQ(check.status, 2) << text;
        EXPECT_EQ(check.out, "") << text;
        EXPECT_EQ(check.err, run.err) << text;
        EXPECT_EQ(std::count(check.err.begin(), check.err.end(), '\n'), 1) << check.err;
    }
    const std::string master =
        "[[device]]\nname = \"b\"\nrole = \"master\"\nx_m = 0\ny_m = 0\nheight_mm = 6000\n";
    for (const std::string& text :
         {std::string("[[device]]\nname = \"b\"\n"), std::string("stale_s = 1\n"),
          "[scene]\nname = \"yard\"\n" + master, "frames_per_second = 30\n" + master,
          master + "focal_px = 600\n"}) {
        write("site.toml", "name = \"a\"\n" + text);
        const Outcome check = vca("check site.toml");
        EXPECT_EQ(check.status, 2) << text;
        EXPECT_THAT(check.err, HasSubstr("\"site.toml\"")) << text;
        EXPECT_EQ(check.err, vca("site check site.toml").err);
        EXPECT_EQ(check.err, vca("run --site site.toml").err);
    }
    write("escape.toml", "detect = \"a\\n\\u001b[31m\"\n");
    EXPECT_THAT(vca("check escape.toml").err, HasSubstr("\"a\\x0a\\x1b[31m\""));
    EXPECT_THAT(vca("check none.toml").err, HasSubstr("there is no file \"none.toml\""));
    write("door.toml", "height_mm = 3500\n");
    EXPECT_THAT(vca("check door.toml --output plans").err, HasSubstr("the plan of a site"));
}

TEST_F(Program, RefusesAFolderItCannotWrite) {
    write("file", "");
    const Outcome outcome = vca("run --scene doorway --frames 1 --output file/below");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write into the output folder"));
}

TEST_F(Program, ADamagedFrameIsToldAndMostOfThemAreRefused) {
    fs::create_directories(work_ / "recording");
    for (const char* name : {"recording/1.png", "recording/2.png", "recording/3.png"}) {
        cv::imwrite((work_ / name).string(), cv::Mat(32, 32, CV_16UC1, cv::Scalar::all(2000)));
    }
    const auto damage = [this](const char* name) {
        std::fstream(work_ / name, std::ios::in | std::ios::out | std::ios::binary).seekp(45)
            << "broken";
    };
    damage("recording/2.png");
    write("recording/camera.toml",
          "width=32\nheight=32\nfx=30\nfy=30\ncx=16\ncy=16\nframes_per_second=10\n"
          "height_mm=3000\n");
    const Outcome outcome = vca("run --source depth-folder --folder recording --output result");
    EXPECT_EQ(outcome.status, 3) << "a third is too much";
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("warning: 1 of 3 frames could not be read"),
                                   HasSubstr("missing: 1 of 3 frames could not be read")));
    EXPECT_EQ(summary("result")["run"]["frames"], 3);
    damage("recording/3.png");
    expect_refused("--source depth-folder --folder recording",
                   AllOf(HasSubstr("2.png"), HasSubstr("damaged"), HasSubstr("2 of 3")));
    EXPECT_EQ(vca("run --folder recording --output result").status, 2);
    EXPECT_EQ(summary("result")["run"]["frames"], 3) << "the former run is still there";
}

TEST_F(Program, ListsScenesAndHelps) {
    const Outcome scenes = vca("scenes");
    EXPECT_EQ(scenes.status, 0);
    for (const char* name : {"doorway", "entrance", "uturn", "groups", "crowd"}) {
        EXPECT_THAT(scenes.out, HasSubstr(name));
    }
    EXPECT_THAT(vca("--version").out, HasSubstr("commit"));
    EXPECT_THAT(vca("run --help").out, HasSubstr("counting line"));
    EXPECT_EQ(vca("dance").status, 2);
}

}  // namespace
