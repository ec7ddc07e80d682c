// Audits by the program: planted errors are found and named, runs over a recording are compared,
// and what is wrong with labels is said.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/scenario/recording_fixture.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
namespace fs = std::filesystem;
using Json = nlohmann::json;
using test::Outcome;
using test::read_file;

struct Seen {
    double time_s = 0.0;
    std::string line;
    int direction = 0;
    bool gone = false;
};

class AuditProgram : public test::RecordingProgram {
  protected:
    // Every crossing that a run over the recording counts.
    std::vector<Seen> counted() const {
        replay("rec/*.mkv", "counted");
        const Json lines = json("counted/summary.json")["lines"];
        std::vector<Seen> list;
        for (const Json& event : test::json_lines(events("counted"))) {
            if (event["message"] != "person_counted") continue;
            list.push_back({event["time_s"], lines[event["line"].get<std::size_t>()]["name"],
                            event["direction"]});
        }
        return list;
    }

    void write_labels(const std::vector<Seen>& list, const std::string& name = "seen.csv") const {
        std::string text = "time_s,line,direction,note,labeller\n";
        for (const Seen& seen : list)
            text += std::to_string(seen.time_s) + "," + seen.line + "," +
                    std::to_string(seen.direction) + ",,Ann\n";
        write(name, text);
    }

    Json audit(const std::string& more = "") const {
        const Outcome outcome = vca("audit rec/*.mkv --quiet --labels seen.csv --output a " + more);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json("a/audit.json");
    }
};

// ---- Planted errors ----

constexpr double kApart_s = 2.2;  // between two planted errors, so that none is part of another

// Labels as somebody would have written them who saw other things than were counted.
class Planter {
  public:
    explicit Planter(std::vector<Seen> list) : list_(std::move(list)) {}

    // Somebody seen on a line where nobody was counted.
    bool missed(std::size_t i) {
        Seen seen = list_[i];
        seen.line = other(seen.line);
        if (!is_alone(seen, 1) || !is_alone(seen, 2)) return false;
        added_.push_back(seen);
        return true;
    }
    bool extra(std::size_t i) {
        if (so_near(list_[i], list_[i].direction) > 1) return false;
        list_[i].gone = true;
        return true;
    }
    // One seen of two counted.
    bool twice(std::size_t i) {
        if (so_near(list_[i], list_[i].direction) != 2) return false;
        list_[i].gone = true;
        return true;
    }
    bool turned(std::size_t i) {
        Seen seen = list_[i];
        if (so_near(seen, seen.direction) > 1 || !is_alone(seen, 3 - seen.direction)) return false;
        list_[i].direction = 3 - seen.direction;
        return true;
    }
    bool elsewhere(std::size_t i) {
        Seen seen = list_[i];
        if (so_near(seen, seen.direction) > 1) return false;
        seen.line = other(seen.line);
        if (!is_alone(seen, seen.direction)) return false;
        list_[i].line = seen.line;
        return true;
    }

    int plant(int most, bool (Planter::*error)(std::size_t)) {
        int planted = 0;
        for (std::size_t i = 0; i < list_.size() && planted < most; ++i) {
            const double time_s = list_[i].time_s;
            const bool near = std::any_of(touched_s_.begin(), touched_s_.end(), [&](double at_s) {
                return std::abs(at_s - time_s) < kApart_s;
            });
            if (near || !(this->*error)(i)) continue;
            touched_s_.push_back(time_s);
            ++planted;
        }
        return planted;
    }

    std::vector<Seen> labels() const {
        std::vector<Seen> all = added_;
        std::copy_if(list_.begin(), list_.end(), std::back_inserter(all),
                     [](const Seen& seen) { return !seen.gone; });
        return all;
    }

  private:
    static std::string other(const std::string& line) { return line == "door" ? "side" : "door"; }

    // At that line in this direction as far from it as a label and its count can be, itself
    // included. An error there would push its neighbours one on, up to the next error.
    std::ptrdiff_t so_near(const Seen& like, int direction) const {
        return std::count_if(list_.begin(), list_.end(), [&](const Seen& each) {
            return each.line == like.line && each.direction == direction &&
                   std::abs(each.time_s - like.time_s) <= 1.0;
        });
    }
    bool is_alone(const Seen& like, int direction) const { return so_near(like, direction) == 0; }

    std::vector<Seen> list_;
    std::vector<Seen> added_;
    std::vector<double> touched_s_;
};

TEST_F(AuditProgram, NothingDiffersFromItsOwnCounts) {
    record("--scene entrance --seconds 40");
    write_labels(counted());
    const Json result = audit();
    EXPECT_TRUE(result["mismatches"].empty());
    EXPECT_EQ(result["total"]["balanced_error"], 0.0);
    EXPECT_EQ(result["total"]["bias"]["verdict"], "not shown");  // far too few
    EXPECT_THAT(read_file(work_ / "a/audit.html"),
                AllOf(HasSubstr("Nowhere: each crossing"), Not(HasSubstr("http"))));
}

TEST_F(AuditProgram, TwentyPlantedErrorsAreFoundAndNoOther) {
    record(
        "--scene entrance --seconds 120 --line '100,272 860,272' --name door "
        "--line '480,80 480,460' --name side");
    Planter planter(counted());
    EXPECT_EQ(planter.plant(4, &Planter::turned), 4);
    EXPECT_EQ(planter.plant(4, &Planter::twice), 4);
    EXPECT_EQ(planter.plant(4, &Planter::extra), 4);
    EXPECT_EQ(planter.plant(4, &Planter::elsewhere), 4);
    EXPECT_EQ(planter.plant(4, &Planter::missed), 4);
    write_labels(planter.labels());
    const Json result = audit();
    std::map<std::string, int> found;
    for (const Json& mismatch : result["mismatches"]) {
        ++found[mismatch["kind"]];
        EXPECT_NE(mismatch["why"], "");
    }
    const std::map<std::string, int> planted{
        {"missed", 4}, {"extra", 4}, {"wrong direction", 4}, {"double", 4}, {"wrong line", 4}};
    EXPECT_EQ(found, planted);
    std::map<std::string, int> summed = result["total"]["errors"];
    EXPECT_EQ(summed, planted);
    const std::string page = read_file(work_ / "a/audit.html");
    EXPECT_THAT(page, AllOf(HasSubstr("SHA-256"), HasSubstr("Rules fixed beforehand")));
    std::size_t pictures = 0;
    for (std::size_t at = 0; (at = page.find("data:image/jpeg", at)) != page.npos; ++at)
        ++pictures;
    EXPECT_GE(pictures, 90u);  // five each, except at the ends of the recording
    EXPECT_EQ(page.find("src=\"http"), page.npos);
}

TEST_F(AuditProgram, CountsOfIntervalsAreSummed) {
    record("--scene doorway --seconds 20");
    write("seen.csv",
          "from_s,to_s,line,direction,count\n0,10,door,1,0\n10,20,door,1,500\n0,20,door,2,0\n");
    const Json result = audit();
    EXPECT_EQ(result["total"]["manual"], 500);
    EXPECT_TRUE(result["mismatches"].empty());
    EXPECT_EQ(result["lines"][0]["intervals"], 2);
}

// ---- Two people ----

TEST_F(AuditProgram, TwoLabellersAreCompared) {
    write_labels({{1.0, "door", 1}, {5.0, "door", 2}, {9.0, "door", 1}}, "ann.csv");
    write_labels({{1.4, "door", 1}, {9.2, "door", 2}}, "bob.csv");
    const Outcome outcome = vca("audit --labels ann.csv --against bob.csv");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "       5.0 s  line door, direction 2: only in ann.csv\n"
              "       9.0 s  line door, direction 1: only in ann.csv\n"
              "       9.2 s  line door, direction 2: only in bob.csv\n"
              "1 of 4 crossings were seen by both: 25.0 % agreement\n");
}

TEST_F(AuditProgram, RefusesWhatItCannotUse) {
    record("--scene doorway --seconds 2");
    write("seen.csv", "time_s,line,direction\n1,dor,1\n");
    const auto refused = [&](const std::string& arguments, const std::string& words) {
        expect_refused("audit --quiet --output refused " + arguments, HasSubstr(words), "refused");
    };
    refused("rec/*.mkv --labels seen.csv", "line \"dor\", which the recording does not count on");
    refused("rec/*.mkv --labels none.csv", "cannot read \"none.csv\"");
    refused("--labels seen.csv", "needs a recording");
    refused("rec/*.mkv --labels seen.csv --against seen.csv", "leave out the recording");
    refused("rec/*.mkv --labels seen.csv --interval 0", "write seconds from 1 to 86400");
}

// ---- Two runs ----

TEST_F(AuditProgram, WhatIfTellsWhatOtherSettingsCount) {
    record("--scene doorway --seconds 20");
    write("high.toml",
          "target_height_mm = [1750, 2200]\n[[line]]\nname = \"door\"\n"
          "points = [[100, 272], [860, 272]]\n");
    const Outcome outcome = vca("whatif rec/*.mkv --config high.toml --quiet --output w");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("only in the first"), HasSubstr("not counted: track"),
                                   HasSubstr("below the limit of 1750 mm")));
    EXPECT_THAT(vca("compare w/as_recorded w/as_recorded").out, HasSubstr(", 0 only in the first"));
}

// A clip begins in the middle, so nobody in it has a past.
TEST_F(AuditProgram, WhatIfRefusesWhatDoesNotReplay) {
    record("--scene uturn --seconds 22 --clips 1", "clips");
    write("other.toml", "[[line]]\nname = \"gate\"\npoints = [[100, 272], [860, 272]]\n");
    const Outcome outcome = vca("whatif '" + files("clips").back().string() +
                                "' --config other.toml --quiet --output w");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("gives other events than were recorded, from event "));
    EXPECT_FALSE(fs::exists(work_ / "w/as_asked"));
}

TEST_F(AuditProgram, ComparesOnlyRunsOfOneRecording) {
    ASSERT_EQ(vca("run --quiet --no-live --scene doorway --seconds 2 --output a").status, 0);
    ASSERT_EQ(vca("run --quiet --no-live --scene uturn --seconds 2 --output b").status, 0);
    expect_refused("compare a b", HasSubstr("not over the same recording: name is"), "nothing");
    expect_refused("compare a nowhere", HasSubstr("cannot read \"nowhere/summary.json\""),
                   "nothing");
}

}  // namespace
