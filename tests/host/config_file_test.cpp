// Configuration files: what is understood, and what is said about the rest.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "host/settings/command_line.h"
#include "tests/host/command_words.h"
#include "tests/support/unique_path.h"

namespace {

using test::error_of;
using test::run_options;
using ::testing::AllOf;
using ::testing::HasSubstr;

class ConfigFile : public ::testing::Test {
  protected:
    host::RunOptions read(const std::string& text) {
        std::ofstream(path_) << text;
        host::RunOptions options;
        host::read_config_file(path_, options);
        return options;
    }

    std::string error_in(const std::string& text) {
        try {
            read(text);
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "";
    }

    void TearDown() override { std::filesystem::remove(path_); }

    std::string path_ = test::unique_path("vca-config-test", ".toml").string();
};

TEST_F(ConfigFile, SetsEverything) {
    const host::RunOptions options = read(R"(
height_mm = 3500
target_height_mm = [1000, 2000]
detect = "both"
position = "box"
tilt = [3, -4.5]
[[line]]
name = "door"
points = [[10, 20], [30.5, 40]]
uturn = true
area = [[0, 0], [50, 0], [0, 50]]
flip = true
[[line]]
points = [[1, 2], [3, 4], [5, 6]]
[[region]]
name = "till"
points = [[10, 20], [30, 20], [30, 40]]
[[region]]
points = [[1, 2], [3, 4], [1, 6]]
[[exclude]]
points = [[0, 0], [9, 0], [9, 9], [0, 9]]
[group]
enabled = true
min = 3
max = 5
)");
    ASSERT_EQ(options.regions.size(), 2u);
    EXPECT_EQ(options.regions[0].value.name, "till");
    EXPECT_EQ(options.regions[0].value.points[2].y, 40.0);
    EXPECT_EQ(options.regions[1].value.name, "region 2");
    ASSERT_EQ(options.exclusions.size(), 1u);
    EXPECT_EQ(options.exclusions[0].value.size(), 4u);
    EXPECT_EQ(options.source.height_mm->value, 3500.0);
    EXPECT_EQ(options.target_min_mm, 1000);
    EXPECT_EQ(options.target_max_mm, 2000);
    EXPECT_EQ(options.detect.value, host::DetectMode::kBoth);
    EXPECT_FALSE(options.source.foot_point);
    ASSERT_EQ(options.lines.size(), 2u);
    EXPECT_EQ(options.lines[0].value.name, "door");
    EXPECT_EQ(options.lines[0].value.points[1].x, 30.5);
    EXPECT_TRUE(options.lines[0].value.uturn_filter);
    EXPECT_EQ(options.lines[0].value.uturn_area.size(), 3u);
    EXPECT_TRUE(options.lines[0].value.flip);
    EXPECT_EQ(options.lines[1].value.name, "line 2");
    EXPECT_EQ(options.group_counting, true);
    EXPECT_EQ(options.group_min, 3);
    EXPECT_EQ(options.group_max, 5);
    EXPECT_TRUE(read("height_mm = \"auto\"").measure_height);
    EXPECT_EQ(options.tilt.kind, host::TiltSetting::Kind::kGiven);
    EXPECT_EQ(options.tilt.given.roll_deg, 3.0);
    EXPECT_EQ(options.tilt.given.pitch_deg, -4.5);
    EXPECT_EQ(read("tilt = \"none\"").tilt.kind, host::TiltSetting::Kind::kNone);
    EXPECT_EQ(read("tilt = \"auto\"").tilt.kind, host::TiltSetting::Kind::kAuto);
}

TEST_F(ConfigFile, NamesFileLineAndRemedy) {
    EXPECT_THAT(error_in("\nheigth_mm = 3000"),
                AllOf(HasSubstr("vca-config-test"), HasSubstr("line 2"),
                      HasSubstr("unknown key \"heigth_mm\""), HasSubstr("target_height_mm")));
    EXPECT_THAT(error_in("[[line]]\npoints = [[1, 2]]"), HasSubstr("2 to 5"));
    EXPECT_THAT(error_in("[[line]]\npoints = [[1, 2], [3]]"), HasSubstr("[[x, y], [x, y]]"));
    EXPECT_THAT(error_in("[[line]]\npoints = [[1, 2], [3, \"a\"]]"), HasSubstr("a number"));
    EXPECT_THAT(error_in("[[line]]\ncolour = 1"), HasSubstr("name, points, uturn, area, flip"));
    EXPECT_THAT(error_in("[[line]]\npoints = [[1, 2], [3, 4]]\narea = [[1, 1], [2, 2], [3, 1]]"),
                HasSubstr("uturn = true"));
    EXPECT_THAT(error_in("line = 3"), HasSubstr("[[line]]"));
    EXPECT_THAT(error_in("[[line]]\nclosed = true\npoints = [[1, 2], [30, 4]]"),
                AllOf(HasSubstr("line 3"), HasSubstr("four corners and the first point again")));
    EXPECT_THAT(error_in("[[line]]\npoints = [[10, 10], [90, 10], [90, 90], [10, 90], [10, 10]]"),
                HasSubstr("unless it is a closed line"));
    EXPECT_THAT(error_in("height_mm = -3"), HasSubstr("1500 to 15000"));
    EXPECT_THAT(error_in("target_height_mm = 5"), HasSubstr("[lowest, highest]"));
    EXPECT_THAT(error_in("group = 5"), HasSubstr("[group]"));
    EXPECT_THAT(error_in("[group]\nenabled = 1"), HasSubstr("true or false"));
    EXPECT_THAT(error_in("position = \"nose\""), HasSubstr("foot and box"));
    EXPECT_THAT(error_in("tilt = \"level\""), HasSubstr("\"auto\", \"none\" or [roll, pitch]"));
    EXPECT_THAT(error_in("tilt = 3"), HasSubstr("[roll, pitch] in degrees"));
    EXPECT_THAT(error_in("tilt = [1, 2, 3]"), HasSubstr("[roll, pitch] in degrees"));
    EXPECT_THAT(error_in("tilt = [1, 21]"), HasSubstr("from -20 to 20"));
    EXPECT_THAT(error_in("tilt = [1, nan]"), HasSubstr("a finite number is needed"));
    EXPECT_THAT(error_in("x = = 3"), HasSubstr("line 1"));
    host::RunOptions options;
    EXPECT_THROW(host::read_config_file("/nonexistent.toml", options), host::InputError);
}

TEST_F(ConfigFile, NamesThePlaceOfValuesThatDoNotFit) {
    const auto at = [](int line, const char* text) {
        return AllOf(HasSubstr("vca-config-test"),
                     HasSubstr(".toml\" line " + std::to_string(line)), HasSubstr(text));
    };
    EXPECT_THAT(error_in("\ntarget_height_mm = [2200, 800]"), at(2, "2200 to 800"));
    EXPECT_THAT(error_in("\n[group]\nmin = 9"), at(2, "9 to 6"));
    EXPECT_THAT(error_in("\ndetect = \"radar\""), at(2, "both, colour and depth"));
    EXPECT_THAT(error_in("[[line]]\npoints = [[1, 2], [nan, 4]]"), at(2, "the point nan,4"));
    EXPECT_THAT(error_in("[[line]]\nname = \"\"\n"), at(2, "is empty"));
    EXPECT_THAT(error_in("height_mm = nan"), at(1, "finite"));
    EXPECT_THAT(error_in("[[line]]\npoints = [[1, 2], [3, 4]]\nuturn = true\n"
                         "area = [[50, 50], [60, 50], [60, 60]]"),
                at(4, "does not touch"));
    std::string five;
    for (int i = 0; i < 5; ++i)
        five += "[[line]]\npoints = [[1, 2], [3, 4]]\n";
    EXPECT_THAT(error_in(five), at(9, "at most 4"));
    EXPECT_THAT(error_in("[[region]]\nname = \"a\"\npoints = [[1, 2], [3, 4]]"),
                at(3, "the region has 2 points"));
    EXPECT_THAT(error_in("[[region]]\nname = \"a\""), at(1, "the region has 0 points"));
    EXPECT_THAT(error_in("[[region]]\n\nname = \"\""), at(3, "is empty"));
    EXPECT_THAT(error_in("[[region]]\nflip = true"), at(2, "name, points"));
    EXPECT_THAT(error_in("region = 3"), at(1, "[[region]]"));
    EXPECT_THAT(error_in("[[exclude]]\npoints = [[1, 1], [2, 2], [3, 3]]"),
                at(2, "encloses nothing"));
    EXPECT_THAT(error_in("[[exclude]]\nname = \"x\""), at(2, "known are points"));
    EXPECT_THAT(error_in("exclude = [1]"), at(1, "[[exclude]]"));
    std::string five_regions;
    std::string five_areas;
    for (int i = 0; i < 5; ++i) {
        five_regions += "[[region]]\npoints = [[1, 2], [3, 4], [1, 9]]\n";
        five_areas += "[[exclude]]\npoints = [[1, 2], [3, 4], [1, 9]]\n";
    }
    EXPECT_THAT(error_in(five_regions), at(9, "counting region 5; at most 4"));
    EXPECT_THAT(error_in(five_areas), at(9, "exclusion area 5; at most 4"));
    std::ofstream(path_) << "\ndetect = \"both\"\n";
    EXPECT_THAT(error_of({"--folder", "x", "--config", path_.c_str()}), at(2, "must be depth"));
}

TEST_F(ConfigFile, EveryValueKnowsItsPlace) {
    const std::string text =
        "height_mm = 3500\n"
        "\ndetect = \"both\"\n"
        "[[line]]\nuturn = true\npoints = [[1, 2], [30, 40]]\n"
        "area = [[0, 0], [50, 0], [0, 50]]\n"
        "[[region]]\npoints = [[10, 20], [30, 20], [30, 40]]\n"
        "[[exclude]]\npoints = [[0, 0], [9, 0], [9, 9]]\n";
    const host::RunOptions options = read(text);
    const auto at = [this](int line, const char* what) {
        return "\"" + path_ + "\" line " + std::to_string(line) + ": " + what;
    };
    EXPECT_EQ(options.source.height_mm->place, at(1, "height_mm"));
    EXPECT_EQ(options.detect.place, at(3, "detect"));
    EXPECT_EQ(options.lines.at(0).place, at(6, "the line"));
    EXPECT_EQ(options.lines[0].area_place, at(7, "the area"));
    EXPECT_EQ(options.regions.at(0).place, at(9, "the region"));
    EXPECT_EQ(options.exclusions.at(0).place, at(11, "the exclusion area"));

    const host::RunOptions both =
        run_options({"--line", "5,6 7,8", "--uturn", "0,0 9,0 9,9 0,9", "--config", path_.c_str(),
                     "--height", "4000", "--detect", "depth", "--exclude", "1,1 9,1 9,9"});
    EXPECT_EQ(both.source.height_mm->place, "--height");
    EXPECT_EQ(both.detect.place, "--detect");
    EXPECT_EQ(both.lines.at(0).place, "--line \"5,6 7,8\"");
    EXPECT_EQ(both.lines[0].area_place, "--uturn \"0,0 9,0 9,9 0,9\"");
    EXPECT_EQ(both.regions.at(0).place, at(9, "the region"));
    EXPECT_EQ(both.exclusions.at(0).place, "--exclude \"1,1 9,1 9,9\"");
    EXPECT_EQ(run_options({}).detect.place, "");
}

TEST_F(ConfigFile, ChoosesTheAttributeModels) {
    const host::RunOptions options = read("gender = \"g.onnx\"\nstaff = \"vest\"\n");
    EXPECT_EQ(options.gender, "g.onnx");
    EXPECT_EQ(options.staff, "vest");
    EXPECT_THAT(error_in("\nstaff = \"\"\n"),
                AllOf(HasSubstr("line 2"), HasSubstr("staff is empty")));
    EXPECT_THAT(error_in("gender = 1\n"), HasSubstr("a quoted string"));
    std::ofstream(path_) << "staff = \"vest\"\n";
    EXPECT_EQ(run_options({"--config", path_.c_str(), "--staff", "none"}).staff, "none");
}

TEST_F(ConfigFile, ThatCannotBeReadIsNamed) {
    const auto error_for = [](const std::string& path) -> std::string {
        host::RunOptions options;
        try {
            host::read_config_file(path, options);
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "";
    };
    const auto folder = std::filesystem::temp_directory_path();
    EXPECT_THAT(error_for(folder.string()), HasSubstr("is a folder"));
    EXPECT_THAT(error_for("/nonexistent.toml"), HasSubstr("there is no configuration file"));
    EXPECT_THAT(error_for(std::string(5000, 'x')), HasSubstr("cannot read"));
    EXPECT_THAT(error_for("/dev/null"), HasSubstr("cannot read"));
}

TEST_F(ConfigFile, DirectionsHaveNames) {
    const std::string line = "[[line]]\npoints = [[1, 2], [3, 4]]\n";
    const auto names = [](const host::RunOptions& options) {
        return options.lines.at(0).value.directions;
    };
    const host::RunOptions plain = read(line);
    EXPECT_EQ(names(plain), (std::array<std::string, 2>{"in", "out"}));
    EXPECT_THAT(host::config_text(plain), ::testing::Not(HasSubstr("directions")));
    const host::RunOptions named = read(line + "directions = [\"to \\\"A\\\"\", \"to B\"]\n");
    EXPECT_EQ(names(named), (std::array<std::string, 2>{"to \"A\"", "to B"}));
    EXPECT_EQ(names(read(host::config_text(named))), names(named));
    EXPECT_THAT(error_in(line + "directions = [\"in\"]\n"),
                HasSubstr("line 3: directions are written as"));
    EXPECT_THAT(error_in(line + "directions = [\"in\", \"in\"]\n"),
                HasSubstr("line 3: directions are both called \"in\""));
    EXPECT_THAT(error_in(line + "directions = [\"in\", \" \"]\n"),
                HasSubstr("the name of a direction is empty"));
}

TEST_F(ConfigFile, TheCommandLineWins) {
    std::ofstream(path_) << "height_mm = 3500\ndetect = \"both\"\n"
                            "[[line]]\npoints = [[1, 2], [3, 4]]\n"
                            "[[region]]\npoints = [[1, 2], [3, 4], [1, 9]]\n"
                            "[[exclude]]\npoints = [[1, 2], [3, 4], [1, 9]]\n";
    const host::RunOptions options =
        run_options({"--height", "auto", "--line", "5,6 7,8", "--config", path_.c_str(), "--detect",
                     "depth", "--region", "5,5 7,5 7,7"});
    ASSERT_EQ(options.regions.size(), 1u);
    EXPECT_EQ(options.regions[0].value.points[0].x, 5.0);
    ASSERT_EQ(options.exclusions.size(), 1u);  // the command line says nothing about it
    EXPECT_EQ(options.exclusions[0].value[1].y, 4.0);
    EXPECT_TRUE(options.measure_height);
    EXPECT_FALSE(options.source.height_mm);
    EXPECT_EQ(options.detect.value, host::DetectMode::kDepth);
    ASSERT_EQ(options.lines.size(), 1u);
    EXPECT_EQ(options.lines[0].value.points[0].x, 5.0);
}

}  // namespace
