// What the program says of a camera.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/program.h"

namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;
namespace fs = std::filesystem;
using CameraCheck = test::Program;

// One person of 1.75 m walks below a camera in 3 m.
const char* const kWalk = "walk.txt --camera-at 0,0 --height 3000 ";

std::string walk() {
    std::string text = "# framerate: 15 fps\n# id frame x/m y/m z/m\n";
    for (int frame = 0; frame <= 60; ++frame)
        text += "1 " + std::to_string(frame + 30) + " 0 " + std::to_string(-2.8 + frame * 0.0933) +
                " 1.75\n";
    return text + "2 0 30 30 1.75\n2 1 30 30 1.75\n2 120 30 30 1.75\n2 121 30 30 1.75\n";
}

TEST_F(CameraCheck, SaysWhatItSees) {
    write("walk.txt", walk());
    const test::Outcome outcome =
        vca("camera check --output seen --person-height 1.75 --line '100,272 860,272' --name door "
            "--trajectories " +
            std::string(kWalk));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("480 x 256"), HasSubstr("15.0 frames a second"),
                                   ContainsRegex("floor +(299[0-9]|300[0-9]) mm below the camera"),
                                   HasSubstr("3000 mm is taken, as given"), HasSubstr("\"door\""),
                                   ContainsRegex("1750 mm measure as 17[0-9]{2} mm"),
                                   Not(HasSubstr("neither exact"))))
        << outcome.out;
    EXPECT_TRUE(fs::exists(work_ / "seen/camera.png"));
}

// From high up the library adds to heights, which an exact sensor does not need.
TEST_F(CameraCheck, SaysWhichSensorFits) {
    write("walk.txt", walk());
    const std::string high =
        "--trajectories walk.txt --camera-at 0,0 --height 6000 --line '100,272 860,272' ";
    const test::Outcome exact = vca("camera check --person-height 1.75 " + high);
    EXPECT_THAT(exact.out, HasSubstr("--sensor exact fits")) << exact.out << exact.err;
    const test::Outcome wrong = vca("camera check --person-height 2.1 " + high);
    EXPECT_THAT(wrong.out, HasSubstr("neither exact nor reads-low fits")) << wrong.out;
}

TEST_F(CameraCheck, FindsAWrongHeightAndLinesWhereNobodyCounts) {
    ASSERT_EQ(vca("record --quiet --output rec --scene doorway --seconds 6").status, 0);
    const test::Outcome outcome =
        vca("camera check --recording rec/*.mkv --height 4000 --line '100,4 860,4' --name edge");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("mm off: measure again"), HasSubstr("warning: "),
                                   HasSubstr("edge")))
        << outcome.out;
    EXPECT_FALSE(fs::exists(work_ / "out"));
}

TEST_F(CameraCheck, RefusesWhatItCannotUse) {
    expect_refused("camera check --person-height 9 --output refused", HasSubstr("1.2 to 2.2"),
                   "refused");
    expect_refused("camera check --depth /no/such/pipe --output refused",
                   HasSubstr("cannot be opened"), "refused");
}

}  // namespace
