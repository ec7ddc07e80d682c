// Tables of labels, and what is said about wrong ones.
#include "host/score/labels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "host/base/input_error.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

host::Labels labels_of(const std::string& text) {
    return host::parse_labels(host::parse_csv(text, "seen.csv"), "seen.csv");
}

std::string refusal(const std::string& text) {
    try {
        labels_of(text);
    } catch (const host::InputError& error) {
        return error.what();
    }
    return "";
}

TEST(Labels, AreReadInTheOrderOfTheirTimes) {
    const host::Labels labels = labels_of(
        "\xEF\xBB\xBFtime_s,line,direction,note,labeller\r\n"
        "12.5,door,2,,Ann\r\n"
        "\r\n"
        "3 , \"the \"\"big\"\" gate, left\" ,1,\"with\na pram\",Bob\r\n");
    ASSERT_EQ(labels.crossings.size(), 2u);
    EXPECT_FALSE(labels.by_interval);
    EXPECT_EQ(labels.crossings[0].time_s, 3.0);
    EXPECT_EQ(labels.crossings[0].line, "the \"big\" gate, left");
    EXPECT_EQ(labels.crossings[0].note, "with\na pram");
    EXPECT_EQ(labels.crossings[1].direction, 2);
    EXPECT_THAT(labels.labellers(), ElementsAre("Ann", "Bob"));
}

TEST(Labels, OfIntervalsMeetWithoutOverlapping) {
    const host::Labels labels = labels_of(
        "line,direction,from_s,to_s,count\ndoor,1,60,120,4\ndoor,1,0,60,3\n"
        "door,2,30,90,0\n");
    EXPECT_TRUE(labels.by_interval);
    ASSERT_EQ(labels.intervals.size(), 3u);
    EXPECT_EQ(labels.intervals[0].count, 3);
    EXPECT_EQ(labels.intervals[2].to_s, 120.0);
}

TEST(Labels, WithoutAnyRowAreNone) {
    EXPECT_TRUE(labels_of("time_s,line,direction\n").crossings.empty());
}

TEST(Labels, WrongOnesAreNamedWithTheirLine) {
    const std::string head = "time_s,line,direction\n";
    for (const auto& [text, words] : std::vector<std::pair<std::string, std::string>>{
             {"", "\"seen.csv\" is empty; a table of labels has the columns"},
             {"time;line;direction\n", "line 1: the column \"time;line;direction\" is not known"},
             {"time_s,line\n", "line 1: the column direction is missing"},
             {"time_s,line,line\n", "line 1: the column line is there twice"},
             {"time_s,line,direction,count\n", "line 1: the column count does not go with time_s"},
             {head + "1,door,1\n2,door\n", "line 3: there are 2 fields; the first row has 3"},
             {head + "-1,door,1\n", "line 2: time_s is \"-1\""},
             {head + "1e999,door,1\n", "line 2: time_s is"},
             {head + "0:12,door,1\n", "line 2: time_s is \"0:12\"; write a scene time in seconds"},
             {head + "1,,1\n", "line 2: line is empty"},
             {head + "1,door,in\n", "line 2: direction is \"in\"; write 1 or 2"},
             {head + "\n1,\"a\nb\",1\n2,door,3\n", "line 5: direction is \"3\""},
             {head + "1,\"door,1\n", "line 2: a quote is opened and not closed"},
             {"from_s,to_s,line,direction,count\n5,5,door,1,2\n", "line 2: to_s is not after"},
             {"from_s,to_s,line,direction,count\n5,6,door,1,-2\n", "line 2: count is \"-2\""},
             {"from_s,to_s,line,direction,count\n0,6,door,1,2\n5,9,door,1,2\n",
              "line 3: the interval overlaps that of line 2"}}) {
        EXPECT_THAT(refusal(text), HasSubstr(words)) << text;
    }
}

TEST(Labels, HaveToBeOfTheRecording) {
    const host::Labels labels = labels_of("time_s,line,direction\n12.5,door,2\n");
    EXPECT_NO_THROW(host::check_labels(labels, {"door"}, 12.5));
    EXPECT_NO_THROW(host::check_labels(labels, {"door"}, 0.0));
    const auto refused = [&](const std::vector<std::string>& lines, double end_s) -> std::string {
        try {
            host::check_labels(labels, lines, end_s);
        } catch (const host::InputError& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_THAT(refused({"gate", "till"}, 0.0), HasSubstr("its lines are \"gate\", \"till\""));
    EXPECT_THAT(refused({"door"}, 10.0), HasSubstr("the recording ends at 10 s"));
}

}  // namespace
