// Command line and configuration file: what is understood, and what is said about the rest.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/app/command_line.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

host::CommandLine parse(std::vector<const char*> words) {
    words.insert(words.begin(), "vca");
    return host::parse_command_line(static_cast<int>(words.size()), words.data());
}

host::RunOptions run_options(std::vector<const char*> words) {
    words.insert(words.begin(), "run");
    const host::CommandLine command = parse(std::move(words));
    EXPECT_EQ(command.command, host::Command::kRun);
    return command.run;
}

std::string error_of(std::vector<const char*> words) {
    try {
        words.insert(words.begin(), "run");
        parse(std::move(words));
    } catch (const host::InputError& e) {
        return e.what();
    }
    return "";
}

TEST(CommandLine, HasDefaults) {
    const host::RunOptions options = run_options({});
    EXPECT_EQ(options.source.source, "scene");
    EXPECT_EQ(options.source.scene, "entrance");
    EXPECT_EQ(options.detect, host::DetectMode::kDepth);
    EXPECT_TRUE(options.source.foot_point);
    EXPECT_FALSE(options.measure_height);
    EXPECT_FALSE(options.source.height_mm);
    EXPECT_EQ(options.target_min_mm, 800);
    EXPECT_EQ(options.target_max_mm, 2200);
    EXPECT_TRUE(options.lines.empty());
}

TEST(CommandLine, LineOptionsBelongToTheLineBefore) {
    const host::RunOptions options =
        run_options({"--line", "1,2 3,4", "--flip", "--name", "door", "--line", "5,6 7,8 9,10",
                     "--uturn", "0,0 9,0 9,9", "--line", "1,1 2,2", "--uturn", "none"});
    ASSERT_EQ(options.lines.size(), 3u);
    EXPECT_TRUE(options.lines[0].flip);
    EXPECT_EQ(options.lines[0].name, "door");
    EXPECT_FALSE(options.lines[0].uturn_filter);
    EXPECT_EQ(options.lines[1].points.size(), 3u);
    EXPECT_EQ(options.lines[1].points[2].y, 10.0);
    EXPECT_FALSE(options.lines[1].flip);
    EXPECT_TRUE(options.lines[1].uturn_filter);
    EXPECT_EQ(options.lines[1].uturn_area.size(), 3u);
    EXPECT_EQ(options.lines[1].name, "line 2");
    EXPECT_TRUE(options.lines[2].uturn_filter);
    EXPECT_TRUE(options.lines[2].uturn_area.empty());
}

TEST(CommandLine, ReadsNumbersAndChoices) {
    const host::RunOptions options =
        run_options({"--source",    "walks",    "--trajectories", "a.txt",  "--height",  "5200",
                     "--camera-at", "-1.5,2",   "--fps",          "16",     "--seconds", "2.5",
                     "--frames",    "9",        "--detect",       "both",   "--box",     "--seed",
                     "7",           "--output", "here",           "--quiet"});
    EXPECT_EQ(*options.source.height_mm, 5200.0);
    EXPECT_EQ(options.source.camera_at->x, -1.5);
    EXPECT_EQ(*options.source.frames_per_second, 16.0);
    EXPECT_EQ(*options.seconds, 2.5);
    EXPECT_EQ(*options.frames, 9);
    EXPECT_EQ(options.detect, host::DetectMode::kBoth);
    EXPECT_FALSE(options.source.foot_point);
    EXPECT_EQ(options.source.seed, 7u);
    EXPECT_EQ(options.output, "here");
    EXPECT_TRUE(options.quiet);
    EXPECT_TRUE(run_options({"--height", "auto"}).measure_height);
}

TEST(CommandLine, SaysWhatIsWrong) {
    EXPECT_THAT(error_of({"--line", "5,6"}), AllOf(HasSubstr("1 point"), HasSubstr("2 to 5")));
    EXPECT_THAT(error_of({"--line", "1,1 2,2 3,3 4,4 5,5 6,6"}), HasSubstr("6 points"));
    EXPECT_THAT(error_of({"--line", "1,1 2;2"}), HasSubstr("\"2;2\" is not a point"));
    EXPECT_THAT(error_of({"--line", "1,1 nan,2"}), HasSubstr("\"nan,2\" is not a point"));
    EXPECT_THAT(error_of({"--line", "1,1 1,1"}), HasSubstr("twice in a row"));
    EXPECT_THAT(error_of({"--line", "1,1 2,2", "--uturn", "1,1 2,2"}), HasSubstr("3 to 10"));
    EXPECT_THAT(error_of({"--uturn", "none"}), HasSubstr("after its --line"));
    EXPECT_THAT(error_of({"--flip"}), HasSubstr("after its --line"));
    EXPECT_THAT(error_of({"--height", "-3"}), AllOf(HasSubstr("-3"), HasSubstr("millimetres")));
    EXPECT_THAT(error_of({"--height", "tall"}), HasSubstr("\"tall\""));
    EXPECT_THAT(error_of({"--height", "3"}), HasSubstr("1500 to 15000"));
    EXPECT_THAT(error_of({"--detect", "radar"}), HasSubstr("both, colour and depth"));
    EXPECT_THAT(error_of({"--seconds", "0"}), HasSubstr("above 0"));
    EXPECT_THAT(error_of({"--frames", "-1"}), HasSubstr("above 0"));
    EXPECT_THAT(error_of({"--fps", "1000"}), HasSubstr("1 to 240"));
    EXPECT_THAT(error_of({"--camera-at", "1,2 3,4"}), HasSubstr("one point"));
    EXPECT_THAT(error_of({"--nonsense"}), HasSubstr("--nonsense"));
    EXPECT_THAT(error_of({"--foot", "--box"}), HasSubstr("--box"));
    EXPECT_THAT(error_of({"--source", "depth-folder", "--detect", "colour"}),
                HasSubstr("must be depth"));
    const char* line = "1,1 2,2";
    EXPECT_THAT(
        error_of({"--line", line, "--line", line, "--line", line, "--line", line, "--line", line}),
        AllOf(HasSubstr("5 counting lines"), HasSubstr("at most 4")));
}

TEST(CommandLine, HelpAndVersionAreTexts) {
    EXPECT_THAT(parse({}).text, HasSubstr("vca run"));
    EXPECT_THAT(parse({"--help"}).text, HasSubstr("Examples"));
    EXPECT_THAT(parse({"run", "--help"}).text, HasSubstr("--trajectories"));
    EXPECT_THAT(parse({"--version"}).text, AllOf(HasSubstr("commit"), HasSubstr("build")));
    EXPECT_EQ(parse({"scenes"}).command, host::Command::kScenes);
    EXPECT_THROW(parse({"walk"}), host::InputError);
}

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
[[line]]
name = "door"
points = [[10, 20], [30.5, 40]]
uturn = true
area = [[0, 0], [50, 0], [50, 50]]
flip = true
[[line]]
points = [[1, 2], [3, 4], [5, 6]]
[group]
enabled = true
min = 3
max = 5
)");
    EXPECT_EQ(*options.source.height_mm, 3500.0);
    EXPECT_EQ(options.target_min_mm, 1000);
    EXPECT_EQ(options.target_max_mm, 2000);
    EXPECT_EQ(options.detect, host::DetectMode::kBoth);
    EXPECT_FALSE(options.source.foot_point);
    ASSERT_EQ(options.lines.size(), 2u);
    EXPECT_EQ(options.lines[0].name, "door");
    EXPECT_EQ(options.lines[0].points[1].x, 30.5);
    EXPECT_TRUE(options.lines[0].uturn_filter);
    EXPECT_EQ(options.lines[0].uturn_area.size(), 3u);
    EXPECT_TRUE(options.lines[0].flip);
    EXPECT_EQ(options.lines[1].name, "line 2");
    EXPECT_EQ(options.group_counting, true);
    EXPECT_EQ(options.group_min, 3);
    EXPECT_EQ(options.group_max, 5);
    EXPECT_TRUE(read("height_mm = \"auto\"").measure_height);
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
    EXPECT_THAT(error_in("height_mm = -3"), HasSubstr("1500 to 15000"));
    EXPECT_THAT(error_in("target_height_mm = 5"), HasSubstr("[lowest, highest]"));
    EXPECT_THAT(error_in("group = 5"), HasSubstr("[group]"));
    EXPECT_THAT(error_in("[group]\nenabled = 1"), HasSubstr("true or false"));
    EXPECT_THAT(error_in("position = \"nose\""), HasSubstr("foot and box"));
    EXPECT_THAT(error_in("x = = 3"), HasSubstr("line 1"));
    host::RunOptions options;
    EXPECT_THROW(host::read_config_file("/nonexistent.toml", options), host::InputError);
}

TEST_F(ConfigFile, TheCommandLineWins) {
    std::ofstream(path_) << "height_mm = 3500\ndetect = \"both\"\n"
                            "[[line]]\npoints = [[1, 2], [3, 4]]\n";
    const host::RunOptions options = run_options(
        {"--height", "auto", "--line", "5,6 7,8", "--config", path_.c_str(), "--detect", "depth"});
    EXPECT_TRUE(options.measure_height);
    EXPECT_FALSE(options.source.height_mm);
    EXPECT_EQ(options.detect, host::DetectMode::kDepth);
    ASSERT_EQ(options.lines.size(), 1u);
    EXPECT_EQ(options.lines[0].points[0].x, 5.0);
}

TEST(Options, AreCheckedTogether) {
    host::RunOptions options;
    options.target_min_mm = 2300;
    EXPECT_THROW(host::check_options(options), host::InputError);
    options = {};
    options.group_min = 9;
    EXPECT_THROW(host::check_options(options), host::InputError);
    options = {};
    EXPECT_NO_THROW(host::check_options(options));
}

}  // namespace
