// The summary that a person reads.
#include "host/report/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(Report, NamesWhatWasNotGivenBack) {
    host::LeftOver left;
    EXPECT_EQ(host::left_over_text(left), "");
    left.undelivered_messages = 1;
    EXPECT_EQ(host::left_over_text(left), "");
    for (int* count :
         {&left.loans.blocks, &left.loans.mappings, &left.images, &left.loans.errors}) {
        *count = 7;
        EXPECT_NE(host::left_over_text(left).find(" 7 "), std::string::npos);
        *count = 0;
    }
}

TEST(Report, ShowsRegionsHeatAndStaffWhereTheyAreKnown) {
    host::RunFacts facts;
    host::Scores scores;
    host::Evidence evidence;
    const auto text = [&] { return host::summary_text(facts, scores, evidence); };
    facts.source.frames_per_second = 10.0;
    EXPECT_THAT(text(), Not(HasSubstr("region")));
    EXPECT_THAT(text(), Not(HasSubstr("heat map")));
    EXPECT_THAT(text(), Not(HasSubstr("staff")));
    facts.regions = {{"till", {{0, 0}, {9, 0}, {9, 9}}}};
    scores.regions.resize(1);
    evidence.heat.emplace().dwell_ms.assign(49, 3000);
    facts.options.staff = "vest";
    EXPECT_THAT(text(), HasSubstr("till"));
    EXPECT_THAT(text(), Not(HasSubstr("(inside)")));
    EXPECT_THAT(text(), HasSubstr("heat map             3 s as the map counts them\n"));
    EXPECT_THAT(text(), HasSubstr("0 of 0 counted\n"));
    facts.source.has_truth = true;
    EXPECT_THAT(text(), HasSubstr("(inside)"));
    EXPECT_THAT(text(), HasSubstr("3 s as the map counts them; people were in view for 0 s"));
}

TEST(Report, SaysOfAClosedLineWhetherCountsAndFeetAgree) {
    host::RunFacts facts;
    host::Scores scores;
    host::Balance& balance = scores.balances.emplace_back();
    const auto text = [&] { return host::summary_text(facts, scores, {}); };
    balance.line = "hall";
    balance.entries = 3;
    balance.exits = balance.inside = 1;
    balance.vanished = 1;
    EXPECT_THAT(
        text(),
        HasSubstr("\n  inside hall          3 came in, 1 went out, 0 appeared inside, 1 "
                  "vanished inside: 1 person left by the counts, 1 by their feet: exact\n"));
    balance.inside = 2;
    EXPECT_THAT(text(), HasSubstr("2 by their feet: off by -1 at the end\n"));
    balance.fault_count = 12;
    balance.faults.assign(12, {7, 1.5, 2.5, true, 0});
    EXPECT_THAT(
        text(),
        AllOf(HasSubstr("at the end; 12 times people were not where the counts had them\n"
                        "    track 7 stood inside from 1.5 to 2.5 s, by the counts outside"),
              HasSubstr("    and 2 more, see summary.json\n")));
}

}  // namespace
