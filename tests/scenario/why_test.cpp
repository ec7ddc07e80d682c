// Why: that every track, count and group of a run has its story, and that the command tells it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/program.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
namespace fs = std::filesystem;
using Json = nlohmann::json;
using test::json_lines;
using test::Outcome;
using test::read_file;

// How often somebody was counted: by frame, track, line and direction.
using Counts = std::map<std::tuple<std::int64_t, int, std::string, int>, int>;
// How many groups there were, by line, direction and members.
using Groups = std::map<std::tuple<std::string, int, int>, int>;

struct Results {
    std::vector<Json> events;
    std::vector<Json> people;
    Json summary;

    std::string line_name(const Json& event) const {
        return summary["lines"].at(event["line"].get<std::size_t>())["name"];
    }
};

Results results_of(const fs::path& folder) {
    return {json_lines(read_file(folder / "events.jsonl")),
            json_lines(read_file(folder / "people.jsonl")),
            Json::parse(read_file(folder / "summary.json"))};
}

Counts sent_counts(const Results& run) {
    Counts counts;
    for (const Json& e : run.events) {
        if (e["message"] != "person_counted") continue;
        ++counts[{e["frame"], e["track"], run.line_name(e), e["direction"]}];
    }
    return counts;
}

Counts told_counts(const Results& run) {
    Counts counts;
    for (const Json& person : run.people) {
        for (const Json& step : person["story"]) {
            if (step["what"] == "counted")
                ++counts[{step["frame"], person["track"], step["line"], step["detail"]}];
        }
    }
    return counts;
}

Groups sent_groups(const Results& run) {
    Groups groups;
    for (const Json& e : run.events) {
        if (e["message"] == "group_counted")
            ++groups[{run.line_name(e), e["direction"], e["members"]}];
    }
    return groups;
}

// Groups as the stories of their members tell them; one alone is none.
Groups told_groups(const Results& run) {
    std::map<std::tuple<int, std::string, int>, int> members;
    for (const Json& person : run.people) {
        for (const Json& step : person["story"]) {
            if (step["what"] != "counted" || !step.contains("value") || step["value"] < 0) continue;
            ++members[{step["value"], step["line"], step["detail"]}];
        }
    }
    Groups groups;
    for (const auto& [group, count] : members) {
        if (count >= 2) ++groups[{std::get<1>(group), std::get<2>(group), count}];
    }
    return groups;
}

// Every track has one line, every count its decision and every decision its count, and the members
// of every group tell of it.
void expect_conserved(const Results& run) {
    std::set<std::pair<bool, int>> told;
    for (const Json& person : run.people) {
        EXPECT_TRUE(told.emplace(person["merged"].get<bool>(), person["track"].get<int>()).second)
            << person["track"];
        EXPECT_EQ(person["story"].front()["what"], "born");
        EXPECT_EQ(person["story"].back()["what"], "ended");
        EXPECT_NE(person["why"], "");
    }
    const auto local =
        std::count_if(told.begin(), told.end(), [](const auto& track) { return !track.first; });
    EXPECT_EQ(run.summary["tracking"]["tracks"], local);
    const bool merged = told.rbegin() != told.rend() && told.rbegin()->first;
    for (const Json& e : run.events) {
        if (e["message"] != "track_appeared") continue;
        EXPECT_EQ(told.count({merged, e["track"].get<int>()}), 1u) << e["track"];
    }
    EXPECT_EQ(told_counts(run), sent_counts(run));
    EXPECT_EQ(told_groups(run), sent_groups(run));
}

class Conserves : public test::Program, public ::testing::WithParamInterface<const char*> {};

TEST_P(Conserves, TracksCountsAndGroups) {
    const std::string arguments = GetParam();
    const std::size_t data = arguments.find(VCA_SHARED_DATA_DIR);
    if (data != arguments.npos && !fs::exists(VCA_SHARED_DATA_DIR)) GTEST_SKIP() << "no recordings";
    const Outcome outcome = vca("run --no-live --quiet --output r " + arguments);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Results run = results_of(work_ / "r");
    EXPECT_FALSE(run.people.empty());
    expect_conserved(run);
}

INSTANTIATE_TEST_SUITE_P(Scene, Conserves,
                         ::testing::Values("--scene doorway", "--scene entrance", "--scene uturn",
                                           "--scene groups", "--scene shop", "--scene crowd",
                                           "--scene gallery --staff vest"));

#define WALKS "--trajectories '" VCA_SHARED_DATA_DIR "/trajectories/"
#define DEPTH_WALK                                                          \
    "--folder '" VCA_SHARED_DATA_DIR "/depth_walk' --camera '" VCA_EXAMPLES \
    "/tof_512x424.toml' --box --line '256,0 256,423'"

INSTANTIATE_TEST_SUITE_P(
    Recording, Conserves,
    ::testing::Values(WALKS "bidirectional_corridor_400_b_03.txt' --seconds 60",
                      WALKS "bottleneck_030_c_56_h0.txt' --camera-at 0,-1.3 --seconds 60",
                      WALKS "unidirectional_uo_180_180_070.txt' --fps 16 --seconds 60",
                      DEPTH_WALK));

class SiteConserves : public test::Program {};

TEST_F(SiteConserves, TracksCountsAndGroups) {
    const Outcome outcome =
        vca("run --quiet --seconds 12 --output r --site '" VCA_EXAMPLES "/hall.toml'");
    ASSERT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    for (const char* const device : {"middle", "west", "east"}) {
        const Results run = results_of(work_ / "r" / device);
        EXPECT_FALSE(run.people.empty()) << device;
        expect_conserved(run);
        EXPECT_EQ(sent_counts(run).empty(), std::string(device) != "middle") << device;
    }
}

// ---- The command ----

class Why : public test::Program {};

TEST_F(Why, TellsWhoWasNotCounted) {
    ASSERT_EQ(vca("run --scene uturn --no-live --quiet --output r").status, 0);
    const Results run = results_of(work_ / "r");
    const Outcome missed = vca("why r --line gate");
    EXPECT_EQ(missed.status, 0) << missed.err;
    EXPECT_THAT(missed.out, HasSubstr("turned back on line gate"));
    EXPECT_EQ(std::count(missed.out.begin(), missed.out.end(), '\n'),
              static_cast<long>(run.people.size() - sent_counts(run).size()));
    const std::string first = run.people.front()["track"].dump();
    EXPECT_THAT(vca("why r --track " + first).out,
                AllOf(HasSubstr("track " + first + ", "), HasSubstr(" appeared with a score of "),
                      HasSubstr(": the track ended")));
    EXPECT_THAT(vca("why r --track 9999").out, HasSubstr("no track 9999"));
    EXPECT_THAT(vca("why r --time 9999").out, HasSubstr("nobody around 9999 s"));
}

TEST_F(Why, RefusesWhatItCannotTell) {
    expect_refused("why nowhere", HasSubstr("cannot read \"nowhere/people.jsonl\": No such file"),
                   "nowhere");
    fs::create_directories(work_ / "r");
    write("r/people.jsonl", "");
    write("r/summary.json", R"({"lines": [{"name": "door"}, {"name": "gate"}]})");
    EXPECT_EQ(vca("why r --line door").out, "nobody came to line door without being counted\n");
    expect_refused("why r --line dor",
                   HasSubstr("the run has no line \"dor\"; its lines are \"door\", \"gate\""),
                   "nothing");
    fs::remove(work_ / "r/summary.json");
    EXPECT_EQ(vca("why r --line dor").out,
              "nobody came to line dor without being counted\n"
              "the run goes on or was cut off; people whose track had not ended are missing\n");
    write("r/summary.json", R"({"lines": 5})");
    EXPECT_EQ(vca("why r --line dor").status, 0);
    write("r/people.jsonl", "{}\n");
    expect_refused("why r --time 3", HasSubstr("line 1 is not a story"), "nothing");
    fs::remove(work_ / "r/people.jsonl");
    ASSERT_EQ(::mkfifo((work_ / "r/people.jsonl").c_str(), 0600), 0);
    expect_refused("why r", HasSubstr("it is not a regular file"), "nothing");
}

const char* const kStory =
    R"({"track": 3, "merged": false, "from_s": 1.0, "to_s": 2.0, "why": "went", "story": []})";

// As a run leaves it that was cut off, or whose disk was full.
TEST_F(Why, TellsWhatIsWholeOfAFileThatWasCut) {
    fs::create_directories(work_ / "r");
    write("r/summary.json", "{}");
    write("r/people.jsonl", std::string(kStory) + "\n{\"track\": 4, ");
    EXPECT_EQ(vca("why r").out, "track 3, 1.0 to 2.0 s: went\n");
    write("r/people.jsonl", std::string("{\"track\": 4, \n") + kStory + "\n");
    expect_refused("why r", HasSubstr("line 1 is not a story"), "nothing");
}

TEST_F(Why, NothingInAFileReachesTheTerminal) {
    fs::create_directories(work_ / "r");
    write("r/summary.json", "{}");
    std::string evil = kStory;
    evil.replace(evil.find("went"), 4, "\\u001b[31m\\ntrack 9");
    write("r/people.jsonl", evil + "\n");
    EXPECT_EQ(vca("why r").out, "track 3, 1.0 to 2.0 s: \\x1b[31m\\x0atrack 9\n");
}

}  // namespace
