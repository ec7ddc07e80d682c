// Reading trajectory files: units, frame rates, order, and what is wrong with bad lines.
#include "sim/trajectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace {

using sim::read_trajectory;
using sim::TrajectoryFile;
using testing::HasSubstr;

TrajectoryFile read(const std::string& text, double fps = 0.0) {
    std::istringstream in(text);
    return read_trajectory(in, "walk.txt", fps);
}

std::string complaint(const std::string& text) {
    try {
        read(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(Trajectory, NamedCentimetres) {
    const TrajectoryFile file = read("# id frame x/cm y/cm z/cm\n3 10 -12.5 50 176\n");
    ASSERT_EQ(file.samples.size(), 1u);
    EXPECT_EQ(file.samples[0].id, 3);
    EXPECT_EQ(file.samples[0].frame, 10);
    EXPECT_DOUBLE_EQ(file.samples[0].x_m, -0.125);
    EXPECT_DOUBLE_EQ(file.samples[0].y_m, 0.5);
    EXPECT_DOUBLE_EQ(file.samples[0].z_m, 1.76);
}

TEST(Trajectory, NamedMetresEvenForLargeValues) {
    const TrajectoryFile file = read("# id frame x/m y/m z/m\n1 0 250 1 1.76\n");
    EXPECT_DOUBLE_EQ(file.samples[0].x_m, 250.0);
    EXPECT_DOUBLE_EQ(file.samples[0].z_m, 1.76);
}

TEST(Trajectory, EachAxisMayHaveItsOwnUnit) {
    const TrajectoryFile file = read("# x/m y/m z/cm\n1 0 2 1 176\n");
    EXPECT_DOUBLE_EQ(file.samples[0].x_m, 2.0);
    EXPECT_DOUBLE_EQ(file.samples[0].z_m, 1.76);
}

TEST(Trajectory, UnnamedHundredsAreCentimetres) {
    EXPECT_DOUBLE_EQ(read("1 0 129.7 787.2 155.5\n").samples[0].y_m, 7.872);
    EXPECT_DOUBLE_EQ(read("1 0 1.297 7.872 1.555\n").samples[0].y_m, 7.872);
}

TEST(Trajectory, FrameRateFromCommentParameterOrDefault) {
    EXPECT_DOUBLE_EQ(read("# framerate: 16 fps\n1 0 0 0 1.7\n").fps, 16.0);
    EXPECT_DOUBLE_EQ(read("# framerate: 16 fps\n1 0 0 0 1.7\n", 12.5).fps, 12.5);
    EXPECT_DOUBLE_EQ(read("1 0 0 0 1.7\n").fps, 25.0);
}

TEST(Trajectory, LinesComeInAnyOrder) {
    const TrajectoryFile file = read("2 5 0 0 1.7\n1 6 1 0 1.7\n2 4 2 0 1.7\n1 5 3 0 1.7\n");
    ASSERT_EQ(file.samples.size(), 4u);
    EXPECT_DOUBLE_EQ(file.samples[0].x_m, 3.0);
    EXPECT_DOUBLE_EQ(file.samples[1].x_m, 1.0);
    EXPECT_DOUBLE_EQ(file.samples[2].x_m, 2.0);
    EXPECT_DOUBLE_EQ(file.samples[3].x_m, 0.0);
}

TEST(Trajectory, BlanksTabsAndLineEndsOfOtherSystems) {
    const TrajectoryFile file = read("\r\n  1\t0   0.5 -0.5\t1.7 \r\n\n# the end");
    ASSERT_EQ(file.samples.size(), 1u);
    EXPECT_DOUBLE_EQ(file.samples[0].y_m, -0.5);
}

TEST(Trajectory, ErrorsNameFileLineAndRemedy) {
    const std::string good = "# comment\n1 0 0 0 1.7\n";
    EXPECT_THAT(complaint(good + "1 1 0 0\n"), HasSubstr("walk.txt:3: found 4 fields; expected "
                                                         "five: id frame x y z"));
    EXPECT_THAT(complaint(good + "1 1 0 0 1.7 9\n"), HasSubstr("walk.txt:3: found 6 fields"));
    EXPECT_THAT(complaint(good + "one 1 0 0 1.7\n"),
                HasSubstr("walk.txt:3: id \"one\" is not understood; expected a whole number"));
    EXPECT_THAT(complaint(good + "1 1.5 0 0 1.7\n"), HasSubstr("walk.txt:3: frame \"1.5\""));
    EXPECT_THAT(complaint(good + "1 1 0,5 0 1.7\n"),
                HasSubstr("walk.txt:3: x \"0,5\" is not understood; expected a number"));
    EXPECT_THAT(complaint(good + "1 1 0 nan 1.7\n"), HasSubstr("walk.txt:3: y \"nan\""));
    EXPECT_THAT(complaint(good + "1 1 0 0 inf\n"), HasSubstr("walk.txt:3: z \"inf\""));
    EXPECT_THAT(complaint(good + "1 1 1e99 0 1.7\n"), HasSubstr("walk.txt:3: x \"1e99\""));
    EXPECT_THAT(complaint(good + "1 99999999999 0 0 1.7\n"), HasSubstr("walk.txt:3: frame"));
    EXPECT_THAT(complaint(good + "\n1 0 0 0 1.7\n"),
                HasSubstr("walk.txt:4: person 1 already has a position in frame 0 (line 2)"));
    EXPECT_THAT(complaint("# x/inch\n"), HasSubstr("walk.txt:1: unit \"inch\""));
    EXPECT_THAT(complaint("# framerate: soon\n"), HasSubstr("walk.txt:1: frame rate"));
    EXPECT_THAT(complaint("# framerate: -5 fps\n"), HasSubstr("walk.txt:1: frame rate"));
    EXPECT_THAT(complaint("# only comments\n"), HasSubstr("walk.txt: no positions; expected"));
}

TEST(Trajectory, HeightsOfPeopleOnly) {
    EXPECT_EQ(complaint("1 0 0 0 0.5\n1 1 0 0 2.5\n"), "no error");
    EXPECT_THAT(complaint("1 0 0 0 1.7\n1 1 0 0 0.49\n"),
                HasSubstr("walk.txt:2: z is 0.49 m; expected a person's height of 0.5 to 2.5 m"));
    EXPECT_THAT(complaint("1 0 0 0 2.51\n"), HasSubstr("walk.txt:1: z is 2.51 m"));
    EXPECT_THAT(complaint("# z/cm\n1 0 0 0 -176\n"), HasSubstr("walk.txt:2: z is -1.76 m"));
}

TEST(Trajectory, FrameRatesOfCamerasOnly) {
    const std::string walk = "1 0 0 0 1.7\n";
    EXPECT_EQ(read("# framerate: 1\n" + walk).fps, 1.0);
    EXPECT_EQ(read("# framerate: 240\n" + walk).fps, 240.0);
    for (const char* rate : {"0.5", "241", "nan", "1e9"}) {
        EXPECT_THAT(complaint("# framerate: " + std::string(rate) + "\n" + walk),
                    HasSubstr("walk.txt:1: frame rate not understood; expected 1 to 240"));
    }
}

TEST(Trajectory, FrameNumbersSpanAtMostTenMillion) {
    EXPECT_EQ(complaint("1 500000000000 0 0 1.7\n1 500010000000 0 0 1.7\n"), "no error");
    EXPECT_THAT(complaint("1 5 0 0 1.7\n2 10000006 0 0 1.7\n"),
                HasSubstr("walk.txt:2: frame 10000006 is more than 10 million away from frame 5 in "
                          "line 1"));
    EXPECT_THAT(complaint("1 9000000000000000000 0 0 1.7\n"), HasSubstr("walk.txt:1: frame"));
}

TEST(Trajectory, AByteOrderMarkIsSkipped) {
    EXPECT_EQ(read("\xEF\xBB\xBF# framerate: 16 fps\n1 0 0 0 1.7\n").fps, 16.0);
    EXPECT_EQ(read("\xEF\xBB\xBF"
                   "1 0 0 0 1.7\n")
                  .samples.size(),
              1u);
}

TEST(Trajectory, BytesThatAreNoTextAreNotShown) {
    EXPECT_THAT(complaint("\x7f\x45LF\x02\x01\n"), HasSubstr("walk.txt: line 1 is not text"));
    EXPECT_THAT(complaint(std::string("1 0 0 0 1.7\n1 1 \0 0 1.7\n", 25)),
                HasSubstr("walk.txt: line 2 is not text"));
    EXPECT_THAT(complaint("1 0 0 \xff\xfe"
                          "7 1.7\n"),
                HasSubstr("y \"??7\""));
    EXPECT_THAT(complaint("# x/\xb5m\n"), HasSubstr("unit \"?m\""));
    EXPECT_LT(complaint("1 0 0 " + std::string(5000, 'a') + " 1.7\n").size(), 200u);
}

TEST(Trajectory, AFolderIsNoFile) {
    try {
        sim::read_trajectory_file(testing::TempDir());
        FAIL() << "no error";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("is a folder; expected a text file of lines"));
    }
}

TEST(Trajectory, MissingFileIsNamed) {
    try {
        sim::read_trajectory_file("no/such/walk.txt");
        FAIL() << "no error";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(
            error.what(),
            HasSubstr("no/such/walk.txt: no file of this name; expected a text file of lines"));
    }
}

}  // namespace
