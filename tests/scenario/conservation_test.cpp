// Who came in less who went out is who is inside: closed lines in scenes, and what is said of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/scenario/conservation_fixture.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using Json = nlohmann::json;
using test::closed_line;

using Conservation = test::Conservation;

constexpr char kRing[] = "--closed-line '277,136 683,136 683,408 277,408 277,136'";

// In between, one of 15 people who come into view over a corner is missed until they leave.
TEST_F(Conservation, HoldsInAnEntranceWithSteadyFlow) {
    const Json list = balances("--scene entrance --seconds 20 " + test::four_places(3.8, 3.0, 2.0));
    ASSERT_EQ(list.size(), 4u);
    int violations = 0;
    for (const Json& area : list) {
        EXPECT_EQ(area["difference"], 0) << area;
        violations += area["violations"].get<int>();
        EXPECT_GT(area["entries"].get<int>() + area["exits"].get<int>(), 10) << area;
        EXPECT_GT(area["checks"].get<int>(), 10) << area;
    }
    EXPECT_LE(violations, 1) << list;
}

// The balance is one of what is reported, so a count that is missing in it is a person too few.
TEST_F(Conservation, SummaryAndTableHaveTheSameFigures) {
    const test::Outcome right =
        vca(std::string("run --no-live --quiet --scene shop --seconds 20 --output out ") + kRing +
            " --name hall");
    ASSERT_EQ(right.status, 0) << right.err;
    const Json summary = json("out/summary.json");
    const Json& area = summary["balances"][0];
    const Json& line = summary["lines"][0];
    EXPECT_EQ(area["line"], "hall");
    EXPECT_EQ(area["entries"], line["direction_2"]["counted"]);
    EXPECT_EQ(area["exits"], line["direction_1"]["counted"]);
    EXPECT_THAT(right.out,
                AllOf(HasSubstr("inside hall"),
                      HasSubstr(std::to_string(area["entries"].get<int>()) + " came in")));
    EXPECT_EQ(right.out.find("crosses itself"), std::string::npos);
}

TEST_F(Conservation, LinesThatAreNoRingsAreRefused) {
    const auto refused = [this](const std::string& points, const char* text) {
        expect_refused("run --output out --closed-line '" + points + "'", HasSubstr(text), "out");
    };
    refused("277,136 683,136 683,408 277,408", "four corners and the first point again");
    refused("277,136 683,408 683,136 277,408 277,136", "crosses itself");
    refused("277,136 683,136 400,200 277,408 277,136", "a corner that points inwards");
    refused("277,136 683,136 683,600 277,408 277,136", "leaves the picture");
    expect_refused("run --output out --line '277,136 683,136 683,408 277,408 277,136'",
                   HasSubstr("unless it is a closed line"), "out");
    write("camera.toml", "[[line]]\nclosed = true\npoints = [[1, 1], [9, 1], [9, 9]]\n");
    expect_refused("run --output out --config " + (work_ / "camera.toml").string(),
                   AllOf(HasSubstr("line 3"), HasSubstr("four corners")), "out");
}

// A recording carries its closed line, and an audit shows the balance of one without labels.
TEST_F(Conservation, IsPartOfAnAudit) {
    ASSERT_EQ(vca(std::string("record --quiet --scene doorway --seconds 12 --output rec "
                              "--line '100,272 860,272' --name door ") +
                  kRing + " --name hall")
                  .status,
              0);
    write("seen.csv", "time_s,line,direction\n3,door,1\n");
    const test::Outcome outcome = vca("audit rec/*.mkv --quiet --labels seen.csv --output a");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("inside hall"));
    const Json audit = json("a/audit.json");
    ASSERT_EQ(audit["balances"].size(), 1u);
    EXPECT_EQ(audit["balances"][0]["difference"], 0);
    for (const Json& row : audit["lines"])
        EXPECT_EQ(row["line"], "door") << "nobody labelled the closed line";
    const std::string page = test::read_file(work_ / "a/audit.html");
    EXPECT_THAT(page, HasSubstr("Balance of closed lines"));
}

}  // namespace
