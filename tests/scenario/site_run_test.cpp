// A site of three cameras as a user runs it: results, Ctrl-C, the loss of a camera, wrong input.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
namespace fs = std::filesystem;
using Json = nlohmann::json;
using test::eventually;
using test::Outcome;
using test::read_file;

// Processes whose command line holds a text: here always the path of the test's own folder.
std::vector<pid_t> processes_with(const std::string& text) {
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        if (!std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; }))
            continue;
        const pid_t pid = static_cast<pid_t>(std::stol(name));
        const std::string line = read_file(entry.path() / "cmdline");
        if (pid != ::getpid() && line.find(text) != std::string::npos) found.push_back(pid);
    }
    return found;
}

class SiteRun : public test::Program {
  protected:
    // The results go below the test's folder, by which its processes are known.
    std::string site(const std::string& more) const {
        return std::string("run --site ") + VCA_EXAMPLES + "/hall.toml --output '" +
               result().string() + "' " + more;
    }
    fs::path result() const { return work_ / "result"; }

    // Starts the site and returns when all its devices are at work.
    pid_t start(const std::string& more) const {
        const pid_t child = start_vca(site(more));
        EXPECT_TRUE(
            eventually([this] { return at_work("middle") && at_work("west") && at_work("east"); }));
        return child;
    }
    bool at_work(const std::string& device) const {
        const std::string events = read_file(result() / device / "events.jsonl");
        return events.find("\"frame\":10,") != events.npos;
    }
    // The process of one device of the site that was started.
    pid_t device(const std::string& name) const {
        const std::vector<pid_t> found = processes_with((result() / name).string());
        EXPECT_EQ(found.size(), 1u);
        return found.empty() ? -1 : found.front();
    }
    // Of these processes those of this test.
    std::vector<pid_t> ours(const std::vector<pid_t>& processes) const {
        std::vector<pid_t> found;
        for (const pid_t pid : processes_with(result().string())) {
            if (std::find(processes.begin(), processes.end(), pid) != processes.end())
                found.push_back(pid);
        }
        return found;
    }
    void expect_refused(const std::string& arguments, const ::testing::Matcher<std::string>& text) {
        Program::expect_refused(arguments, text, "out");
    }
};

TEST_F(SiteRun, EndsWithTheTableAndTheFilesOfTheSite) {
    const Outcome outcome = vca(site("--seconds 5 --quiet"));
    ASSERT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("merged"), HasSubstr("seam"), HasSubstr("seen by two cameras"),
                      HasSubstr("messages of"), HasSubstr("site hall, 75 frames")));
    for (const char* name : {"events.jsonl", "summary.json", "site_picture.png", "site_plan.png",
                             "middle/library.log", "west/events.jsonl", "east/alone/summary.json"})
        EXPECT_TRUE(fs::exists(result() / name)) << name;
    EXPECT_EQ(read_file(result() / "events.jsonl"), read_file(result() / "middle/events.jsonl"));

    const Json site_summary = json(result() / "summary.json");
    EXPECT_EQ(site_summary["frames"], 75);
    EXPECT_EQ(site_summary["alone"].size(), 3u);
    EXPECT_GT(site_summary["seen_by_two"]["people"], 0);
    EXPECT_GT(site_summary["seen_by_two"]["one_object"], 0);
    const Json master = json(result() / "middle/summary.json");
    ASSERT_EQ(master["link"]["slaves"].size(), 2u);
    for (const Json& slave : master["link"]["slaves"]) {
        EXPECT_GT(slave["delivered"], 0);
        EXPECT_GT(slave["counting"]["messages"], 0);
        EXPECT_GE(slave["counting"]["median_ms"], slave["delivery"]["median_ms"]);
    }
    for (const char* name : {"middle", "west", "east"}) {
        const Json summary = json(result() / name / "summary.json");
        EXPECT_EQ(summary["run"]["frames"], 75) << name;
        EXPECT_EQ(summary["pace"]["frames"], 75) << name;
        EXPECT_EQ(summary["left_over"]["undelivered_messages"], 0) << name;
        // By the wall clock, not as fast as it goes.
        EXPECT_GT(summary["wall_seconds"], 4.8) << name;
    }
    // The tracks of the master's own camera, not once more those of the merged scene.
    const Json alone = json(result() / "middle/alone/summary.json");
    EXPECT_EQ(master["tracking"]["tracks"], alone["tracking"]["tracks"]);
    EXPECT_GT(master["tracking"]["tracks"], 0);
    EXPECT_EQ(json(result() / "west/summary.json")["lines"].size(), 0u);  // its master counts
    EXPECT_TRUE(processes_with(result().string()).empty());
}

TEST_F(SiteRun, CtrlCEndsAllProcessesAndKeepsTheResults) {
    const pid_t child = start("");
    EXPECT_EQ(processes_with(result().string()).size(), 5u);  // with the broker
    ::kill(child, SIGINT);
    EXPECT_EQ(end_of(child), 0) << out() << err();
    EXPECT_TRUE(processes_with(result().string()).empty());
    EXPECT_THAT(out(), HasSubstr("merged"));
    EXPECT_THAT(err(), Not(HasSubstr("by itself")));
    EXPECT_LT(json(result() / "summary.json")["frames"], 900);
    EXPECT_TRUE(json(result() / "west/summary.json")["run"]["interrupted"]);
}

TEST_F(SiteRun, NothingIsLeftOfASiteThatIsKilled) {
    const pid_t child = start("");
    ::kill(child, SIGKILL);
    EXPECT_EQ(end_of(child), -1);
    EXPECT_TRUE(eventually([this] { return processes_with(result().string()).empty(); }));
}

TEST_F(SiteRun, AKilledSlaveIsReportedAndTheOthersGoOn) {
    const pid_t child = start("--seconds 9");
    const auto before = read_file(result() / "middle/events.jsonl").size();
    // Once it follows somebody, the master has people to lose.
    EXPECT_TRUE(eventually([this] {
        const std::string events = read_file(result() / "west/events.jsonl");
        return events.find("slave_tracks") != events.npos;
    }));
    ::kill(device("west"), SIGKILL);
    EXPECT_EQ(end_of(child), 3);
    EXPECT_THAT(err(), AllOf(HasSubstr("west: ended with signal 9; the others go on"),
                             HasSubstr("middle: the device west is missing")));
    EXPECT_THAT(out(), HasSubstr("site hall, 135 frames"));
    EXPECT_GT(read_file(result() / "events.jsonl").size(), before);
    const Json slaves = json(result() / "middle/summary.json")["link"]["slaves"];
    EXPECT_EQ(slaves[0]["name"], "west");
    EXPECT_GE(slaves[0]["stale_periods"], 1);
    EXPECT_GT(slaves[1]["received"], slaves[0]["received"]);
    EXPECT_FALSE(fs::exists(result() / "west/summary.json"));
}

TEST_F(SiteRun, ABrokerThatDiesIsStartedAgain) {
    const pid_t child = start("--seconds 9");
    const auto broker = [this] { return processes_with("mosquitto.conf"); };
    for (int death = 0; death < 3; ++death) {
        const std::vector<pid_t> before = ours(broker());
        ASSERT_EQ(before.size(), 1u);
        ::kill(before.front(), SIGKILL);
        EXPECT_TRUE(eventually([&] {
            const std::vector<pid_t> now = ours(broker());
            return now.size() == 1 && now != before;
        }));
    }
    const int status = end_of(child);
    EXPECT_THAT(out(), HasSubstr("the broker died and was restarted"));
    const Json summary = json(result() / "summary.json");
    EXPECT_GE(summary["broker_restarts"], 3);
    EXPECT_EQ(status, 3) << out() << err();
    // Both came back.
    const Json of_master = json(result() / "middle/summary.json");
    for (const Json& slave : of_master["link"]["slaves"])
        EXPECT_GT(slave["received"], 60) << slave;
}

TEST_F(SiteRun, ADeviceThatHangsIsEnded) {
    const pid_t child = start("--seconds 5");
    ::kill(device("west"), SIGSTOP);
    EXPECT_EQ(end_of(child), 3);
    EXPECT_THAT(err(), HasSubstr("west: gave no sign of life for 20 s and is ended"));
    EXPECT_THAT(out(), HasSubstr("site hall, 75 frames"));
    EXPECT_TRUE(processes_with(result().string()).empty());
}

TEST_F(SiteRun, ADeviceRunsWithoutItsBroker) {
    // Nobody listens on a port of the system's own.
    const Outcome outcome = vca(site("--device west --broker 127.0.0.1:1 --frames 20"));
    ASSERT_EQ(outcome.status, 3) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("vca: this device had no part in the site: no connection to "
                                       "the broker at 127.0.0.1:1"));
    EXPECT_EQ(outcome.out, "");
    const Json summary = json(result() / "summary.json");
    EXPECT_EQ(summary["run"]["frames"], 20);
    EXPECT_FALSE(summary["link"]["reached"]);
    EXPECT_EQ(summary["link"]["sent"], 0);
}

TEST_F(SiteRun, CheckDrawsThePlan) {
    const Outcome outcome =
        vca(std::string("site check ") + VCA_EXAMPLES + "/hall.toml --output plans");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("site hall"), HasSubstr("middle, master"),
                                   HasSubstr("plan in plans/site_plan.png")));
    EXPECT_THAT(read_file(work_ / "plans/site_plan.png"), ::testing::StartsWith("\x89PNG"));
    const std::string text = outcome.out;
    EXPECT_EQ(vca(std::string("check ") + VCA_EXAMPLES + "/hall.toml --output plans").out, text);
    fs::copy_file(fs::path(VCA_EXAMPLES) / "hall.toml", work_ / "mine.toml");
    EXPECT_THAT(vca("site check mine.toml").out, HasSubstr("plan in site_plan.png"));
    EXPECT_TRUE(fs::exists(work_ / "site_plan.png"));
}

TEST_F(SiteRun, RefusesWhatDoesNotGoTogether) {
    const std::string hall = std::string("run --site ") + VCA_EXAMPLES + "/hall.toml ";
    for (const char* option :
         {"--scene entrance", "--seed 2", "--source scene", "--height 3000", "--box",
          "--line \"10,10 90,90\"", "--detect both", "--no-live", "--config a.toml"}) {
        const std::string name = std::string(option).substr(0, std::string(option).find(' '));
        expect_refused(hall + option, AllOf(HasSubstr(name), HasSubstr("does not go with --site")));
    }
    for (const char* option : {"--broker a:1", "--start-at 1", "--alone"})
        expect_refused(hall + option, HasSubstr("belongs to --device"));
    for (const char* option : {"--device west", "--broker a:1", "--start-at 1", "--alone"})
        expect_refused(std::string("run ") + option, HasSubstr("belongs to --site"));
    expect_refused(hall + "--device west --alone --broker a:1", HasSubstr("exclude each other"));
    expect_refused(hall + "--device nobody",
                   AllOf(HasSubstr("no device \"nobody\""), HasSubstr("middle, west, east")));
    for (const char* broker : {"host", "host:", ":1883", "host:0", "host:70000", "host:1x"})
        expect_refused(hall + "--device west --broker " + broker, HasSubstr("host and port"));
    expect_refused(hall + "--device west --start-at soon", HasSubstr("milliseconds since 1970"));
    expect_refused(hall + "--device west --start-at 1000", HasSubstr("within the last minute"));
    expect_refused(hall + "--seconds 0", HasSubstr("above 0"));
    expect_refused(hall + "--device west --device east", HasSubstr("2 times"));
    expect_refused("run --site ''", HasSubstr("--site is empty"));
    expect_refused("run --site nowhere.toml", HasSubstr("no site file"));
    expect_refused("site check nowhere.toml", HasSubstr("no site file"));
    expect_refused("site check", HasSubstr("vca site check --help"));
    expect_refused("site", HasSubstr("vca site --help"));
}

}  // namespace
