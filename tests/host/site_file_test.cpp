// Site files: what is understood, what is refused and in which words, what is warned of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/settings/site_check.h"
#include "host/settings/site_map.h"
#include "tests/host/site_fixture.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kMaster = R"(
[[device]]
name = "main"
role = "master"
x_m = 0
y_m = 0
height_mm = 6000
)";

constexpr const char* kSlave = R"(
[[device]]
name = "side"
role = "slave"
index = 3
x_m = 4
y_m = 1
rotation_deg = 90
height_mm = 5000
focal_px = 500.5
)";

const std::string kTwo = std::string("name = \"two\"\n") + kMaster + kSlave;

host::Site read(const std::string& text) {
    const test::SiteFile file(text);
    return host::read_site_file(file.path());
}

// What is said against a file, without the path.
std::string error_of(const std::string& text) {
    const test::SiteFile file(text);
    try {
        host::read_site_file(file.path());
    } catch (const host::InputError& e) {
        const std::string what = e.what();
        EXPECT_EQ(what.find('\n'), std::string::npos) << what;
        const std::size_t at = what.find(file.path());
        return at == std::string::npos ? what
                                       : std::string(what).replace(at, file.path().size(), "F");
    }
    return "";
}

std::string with_line(const std::string& points, const std::string& more = "") {
    return kTwo + "[[line]]\nname = \"gate\"\npoints = " + points + "\n" + more + "\n";
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

TEST(SiteFile, HasDefaults) {
    const host::Site site = read(std::string("name = \"one\"\n") + kMaster);
    EXPECT_EQ(site.name, "one");
    EXPECT_EQ(site.broker.host, "127.0.0.1");
    EXPECT_EQ(site.broker.port_or_usual(), 1883);
    EXPECT_EQ(site.stale_s, 3.0);
    EXPECT_EQ(site.max_age_frames, 15);
    EXPECT_EQ(site.frames_per_second.value, 15.0);
    EXPECT_EQ(site.detect, host::DetectMode::kDepth);
    EXPECT_EQ(site.devices.at(0).rotation_deg, 0.0);
    EXPECT_EQ(site.devices.at(0).focal_px, host::kDefaultFocal_px);
    EXPECT_FALSE(site.group_counting);
    EXPECT_THAT(site.lines, IsEmpty());
}

// Names of files are meant from where the site file is.
TEST(SiteFile, CamerasMayBeRecordedOrLive) {
    const std::string text =
        replaced(kTwo, "height_mm = 6000\n", "height_mm = 6000\nrecording = \"walks/door.mkv\"\n") +
        "depth = \"tcp://camera:7000\"\ndepth_format = \"raw:640x480@15\"\n";
    const test::SiteFile file(text);
    const host::Site site = host::read_site_file(file.path());
    const auto folder = std::filesystem::path(file.path()).parent_path();
    EXPECT_EQ(site.devices.at(0).files.recording, (folder / "walks/door.mkv").string());
    EXPECT_EQ(site.devices.at(1).files.depth, "tcp://camera:7000");
    EXPECT_EQ(site.devices.at(1).files.depth_format, "raw:640x480@15");
    EXPECT_FALSE(site.devices.at(0).is_simulated());
    EXPECT_FALSE(host::is_simulated(site));
    EXPECT_TRUE(host::is_simulated(read(kTwo)));
    EXPECT_EQ(read(kTwo + "depth = \"/dev/video0\"\n").devices.at(1).files.depth, "/dev/video0");
}

TEST(SiteFile, RefusesCamerasThatAreNone) {
    const auto with = [](const std::string& keys) { return error_of(kTwo + keys + "\n"); };
    EXPECT_THAT(with("recording = \"a\"\ndepth = \"b\""), HasSubstr("leave out one"));
    EXPECT_THAT(with("depth = \"-\""), AllOf(HasSubstr("\"F\" line "), HasSubstr("named pipe")));
    EXPECT_THAT(with("recording = \"\""), HasSubstr("recording is empty"));
    EXPECT_THAT(with("depth_format = \"raw:640x480@15\""), HasSubstr("without depth"));
    EXPECT_THAT(with("depth = \"p\"\ndepth_format = \"raw\""),
                AllOf(HasSubstr("\"F\" line "), HasSubstr("raw:640x480@30")));
    EXPECT_THAT(with("camera = \"camera.toml\""), HasSubstr("is simulated"));
    EXPECT_THAT(with("depth = \"p\"\ncamera = \"none.toml\""),
                AllOf(HasSubstr("the device \"side\""), HasSubstr("none.toml")));
    EXPECT_THAT(error_of("detect = \"both\"\n" + kTwo + "depth = \"p\"\n"),
                HasSubstr("gives depth alone"));
}

TEST(SiteFile, ReadsEverything) {
    const host::Site site = read(R"(
name = "hall-2_B"
stale_s = 1.5
max_age_frames = 30
frames_per_second = 12.5
target_height_mm = [500, 2100]
detect = "both"
[broker]
host = "broker.example"
port = 2883
[scene]
name = "hall"
seed = 77
[group]
enabled = true
min = 3
max = 5
)" + std::string(kMaster) + kSlave +
                                 R"(
[[line]]
name = "Tür"
points = [[0, -1], [0.5, 1.25]]
uturn = true
area = [[-1, -1], [1, -1], [1, 1.5], [-1, 1.5]]
flip = true
[[line]]
points = [[3, 0], [4, 0]]
[[region]]
name = "desk"
points = [[0, 0], [1, 0], [1, 1]]
)");
    EXPECT_EQ(site.name, "hall-2_B");
    EXPECT_EQ(site.stale_s, 1.5);
    EXPECT_EQ(site.max_age_frames, 30);
    EXPECT_EQ(site.frames_per_second.value, 12.5);
    EXPECT_EQ(site.target_min_mm, 500);
    EXPECT_EQ(site.target_max_mm, 2100);
    EXPECT_EQ(site.detect, host::DetectMode::kBoth);
    EXPECT_EQ(site.broker.host, "broker.example");
    EXPECT_EQ(site.broker.port_or_usual(), 2883);
    EXPECT_EQ(site.scene.value, "hall");
    EXPECT_EQ(site.seed, 77u);
    EXPECT_TRUE(site.group_counting);
    EXPECT_EQ(site.group_min, 3);
    EXPECT_EQ(site.group_max, 5);
    const host::SiteDevice* side = host::find_device(site, "side");
    ASSERT_NE(side, nullptr);
    EXPECT_EQ(side, host::find_slave(site, 3));
    EXPECT_EQ(side->at.x_m, 4.0);
    EXPECT_EQ(side->at.y_m, 1.0);
    EXPECT_EQ(side->rotation_deg, 90.0);
    EXPECT_EQ(side->height_mm, 5000.0);
    EXPECT_EQ(side->focal_px, 500.5);
    EXPECT_EQ(host::master_of(site).name, "main");
    EXPECT_EQ(host::find_slave(site, -1), nullptr);
    EXPECT_EQ(host::find_device(site, "nobody"), nullptr);
    ASSERT_EQ(site.lines.size(), 2u);
    EXPECT_EQ(site.lines[0].name, "T\xC3\xBCr");
    EXPECT_EQ(site.lines[0].points[1].y_m, 1.25);
    EXPECT_TRUE(site.lines[0].uturn_filter);
    EXPECT_TRUE(site.lines[0].flip);
    EXPECT_EQ(site.lines[0].uturn_area.size(), 4u);
    EXPECT_EQ(site.lines[1].name, "line 2");
    EXPECT_EQ(site.regions.at(0).name, "desk");
}

TEST(SiteFile, NamesFileAndLine) {
    EXPECT_THAT(error_of("name = \"a\"\nspeed = 3\n"),
                AllOf(HasSubstr("\"F\" line 2: unknown key \"speed\"; known are name, broker"),
                      HasSubstr("device, line, region")));
    EXPECT_THAT(error_of("name = \n"), HasSubstr("\"F\" line 1: "));
    EXPECT_THAT(error_of(kTwo + "colour = 1\n"), HasSubstr("line 19: unknown key \"colour\""));
    EXPECT_THAT(error_of("name = \"a\"\n[broker]\nusr = 1\n"), HasSubstr("known are host, port"));
}

TEST(SiteFile, DevicesLinesAndRegionsKnowTheirPlace) {
    const test::SiteFile file(with_line("[[0, 0], [1, 0]]") +
                              "[[region]]\npoints = [[0, 0], [1, 0], [1, 1]]\n");
    const host::Site site = host::read_site_file(file.path());
    const auto at = [&file](int line, const char* what) {
        return "\"" + file.path() + "\" line " + std::to_string(line) + ": " + what;
    };
    EXPECT_EQ(site.devices.at(0).place, at(3, "the device \"main\""));
    EXPECT_EQ(site.devices.at(1).place, at(10, "the device \"side\""));
    EXPECT_EQ(site.lines.at(0).place, at(19, "the line \"gate\""));
    EXPECT_EQ(site.regions.at(0).place, at(23, "the region \"region 1\""));
}

TEST(SiteFile, RefusesValuesThatCannotBe) {
    EXPECT_THAT(error_of(kMaster), HasSubstr("has no name"));
    EXPECT_THAT(error_of("name = \"a/b\"\n"), HasSubstr("\"a/b\" cannot be used"));
    EXPECT_THAT(error_of("name = \"\"\n"), HasSubstr("letters, digits"));
    EXPECT_THAT(error_of("name = 3\n"), HasSubstr("a quoted string"));
    EXPECT_THAT(error_of("name = \"" + std::string(65, 'a') + "\"\n"), HasSubstr("1 to 64"));
    EXPECT_THAT(error_of("stale_s = 0\n"), HasSubstr("0.1 to 3600"));
    EXPECT_THAT(error_of("stale_s = nan\n"), HasSubstr("0.1 to 3600"));
    EXPECT_THAT(error_of("stale_s = \"3\"\n"), HasSubstr("0.1 to 3600"));
    EXPECT_THAT(error_of("max_age_frames = 0\n"), HasSubstr("whole number from 1 to 1000"));
    EXPECT_THAT(error_of("max_age_frames = 2.5\n"), HasSubstr("whole number"));
    EXPECT_THAT(error_of("frames_per_second = 0.5\n"), HasSubstr("1 to 240"));
    EXPECT_THAT(error_of("detect = \"radar\"\n"), HasSubstr("both, colour and depth"));
    EXPECT_THAT(error_of("target_height_mm = [900, 800]\n"), HasSubstr("smaller one"));
    EXPECT_THAT(error_of("target_height_mm = 900\n"), HasSubstr("[lowest, highest]"));
    EXPECT_THAT(error_of("broker = 3\n"), HasSubstr("[broker] table"));
    EXPECT_THAT(error_of("[broker]\nport = 65536\n"), HasSubstr("1 to 65535"));
    EXPECT_THAT(error_of("[broker]\nhost = \"\"\n"), HasSubstr("a name or an address"));
    EXPECT_THAT(error_of("[broker]\nhost = \"a b\"\n"), HasSubstr("a name or an address"));
    EXPECT_THAT(error_of("scene = \"hall\"\n"), HasSubstr("[scene] table"));
    EXPECT_THAT(error_of("[scene]\nseed = -1\n"), HasSubstr("0 to 2147483647"));
    EXPECT_THAT(error_of("[group]\nmin = 5\nmax = 2\n"), HasSubstr("1 <= min <= max"));
    EXPECT_THAT(error_of("[group]\nenabled = 1\n"), HasSubstr("true or false"));
}

TEST(SiteFile, RefusesDevicesThatCannotWork) {
    const auto changed = [](const char* from, const char* to) {
        return error_of(replaced(kTwo, from, to));
    };
    EXPECT_THAT(error_of("name = \"a\"\n"), HasSubstr("\"F\" has no master"));
    EXPECT_THAT(error_of(std::string("name = \"a\"\n") + kSlave), HasSubstr("has no master"));
    EXPECT_THAT(changed("\"slave\"", "\"master\""),
                HasSubstr("line 10: the device \"side\" is a second master beside \"main\""));
    EXPECT_THAT(changed("role = \"master\"", "role = \"master\"\nindex = 0"),
                HasSubstr("only slaves have one"));
    EXPECT_THAT(changed("index = 3\n", ""), HasSubstr("a slave without an index"));
    EXPECT_THAT(changed("index = 3", "index = 15"), HasSubstr("0 to 14"));
    EXPECT_THAT(changed("\"slave\"", "\"spy\""), HasSubstr("\"spy\" is not known"));
    EXPECT_THAT(changed("role = \"slave\"\n", ""), HasSubstr("has no role"));
    EXPECT_THAT(changed("name = \"side\"", "name = \"main\""),
                HasSubstr("has the name of an earlier one"));
    EXPECT_THAT(changed("name = \"side\"\n", ""), HasSubstr("has no name"));
    EXPECT_THAT(changed("x_m = 4\n", ""), HasSubstr("has no position"));
    EXPECT_THAT(changed("y_m = 1\n", ""), HasSubstr("has no position"));
    EXPECT_THAT(changed("x_m = 4", "x_m = inf"), HasSubstr("-1000 to 1000"));
    EXPECT_THAT(changed("x_m = 4", "x_m = 900"),
                HasSubstr("\"side\" is too far from the master \"main\""));
    EXPECT_THAT(changed("height_mm = 5000\n", ""), HasSubstr("has no height_mm"));
    EXPECT_THAT(changed("height_mm = 5000", "height_mm = 5"), HasSubstr("1500 to 15000"));
    EXPECT_THAT(changed("focal_px = 500.5", "focal_px = 0"), HasSubstr("200 to 2000"));
    EXPECT_THAT(changed("rotation_deg = 90", "rotation_deg = 361"), HasSubstr("-360 to 360"));
    EXPECT_THAT(changed("rotation_deg = 90", "turn = 90"), HasSubstr("known are name, role"));
    EXPECT_THAT(error_of("name = \"a\"\n[device]\nname = \"b\"\n"), HasSubstr("[[device]] tables"));
    const std::string twin =
        replaced(replaced(kSlave, "\"side\"", "\"twin\""), "x_m = 4", "x_m = 2");
    EXPECT_THAT(error_of(kTwo + twin), HasSubstr("the device \"twin\" has index 3 like \"side\""));
}

TEST(SiteFile, RefusesLinesThatCannotCount) {
    EXPECT_THAT(error_of(with_line("[[0, 0]]")), HasSubstr("the line \"gate\" has 1 point;"));
    EXPECT_THAT(error_of(kTwo + "[[line]]\nname = \"x\"\n"), HasSubstr("has 0 points"));
    EXPECT_THAT(error_of(with_line("[[0,0],[1,0],[1,1],[0,1],[-1,1],[-1,0]]")),
                HasSubstr("6 points"));
    EXPECT_THAT(error_of(with_line("[0, 0]")), HasSubstr("[[x, y], [x, y]] in metres"));
    EXPECT_THAT(error_of(with_line("[[0, 0], [0.05, 0]]")), HasSubstr("at least 0.1 m apart"));
    EXPECT_THAT(error_of(with_line("[[0, 0], [1, 0], [0, 0]]")), HasSubstr("passes 0, 0 twice"));
    EXPECT_THAT(error_of(with_line("[[20, 0], [22, 0]]")),
                HasSubstr("line 19: the line \"gate\" lies outside the view of every camera"));
    EXPECT_THAT(error_of(with_line("[[0, 0], [500, 0]]")), HasSubstr("too far from the master"));
    EXPECT_THAT(error_of(with_line("[[0, 0], [1, 0]]", "area = [[0, 0], [1, 0], [1, 1]]")),
                HasSubstr("add that to the line"));
    EXPECT_THAT(error_of(with_line("[[0, 0], [1, 0]]", "uturn = true\narea = [[0, 0], [1, 0]]")),
                HasSubstr("its U-turn area has 2 points; it needs 3 to 10"));
    EXPECT_THAT(
        error_of(with_line("[[0, 0], [1, 0]]", "uturn = true\narea = [[0,0], [1,0], [2,0]]")),
        HasSubstr("encloses nothing"));
    EXPECT_THAT(
        error_of(with_line("[[0, 0], [1, 0]]", "uturn = true\narea = [[0,1], [1,1], [1,2]]")),
        HasSubstr("does not touch its counting line"));
    const std::string line = "[[line]]\npoints = [[0, 0], [1, 0]]\n";
    EXPECT_THAT(error_of(kTwo + line + line + line + line + line), HasSubstr("counting line 5"));
    EXPECT_THAT(error_of(with_line("[[0, 0], [1, 0]]",
                                   "[[line]]\nname = \"gate\"\npoints = [[0, "
                                   "1], [1, 1]]")),
                HasSubstr("each line needs a name of its own"));
    EXPECT_THAT(error_of(replaced(with_line("[[0, 0], [1, 0]]"), "gate", "")),
                HasSubstr("the name is empty"));
}

TEST(SiteFile, RefusesRegionsThatCannotBeWatched) {
    const auto region = [](const std::string& points) {
        return kTwo + "[[region]]\nname = \"desk\"\npoints = " + points + "\n";
    };
    EXPECT_THAT(error_of(region("[[0, 0], [1, 0]]")),
                HasSubstr("the region \"desk\" has 2 points"));
    EXPECT_THAT(error_of(region("[[0, 0], [1, 1], [2, 2]]")), HasSubstr("encloses nothing"));
    EXPECT_THAT(error_of(region("[[20, 20], [21, 20], [21, 21]]")), HasSubstr("outside the view"));
    EXPECT_THAT(error_of(kTwo + "[[region]]\nflip = true\n"), HasSubstr("known are name, points"));
    EXPECT_EQ(error_of(region("[[0, 0], [1, 0], [1, 1]]")), "");
}

TEST(SiteFile, SaysWhyAFileCannotBeRead) {
    const auto said = [](const std::string& path) -> std::string {
        try {
            host::read_site_file(path);
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "";
    };
    EXPECT_THAT(said("/nowhere/site.toml"), HasSubstr("there is no site file"));
    EXPECT_THAT(said("/tmp"), HasSubstr("is a folder"));
    EXPECT_THAT(said("/dev/null"), HasSubstr("cannot read the site file"));
}

TEST(SiteWarnings, NoneForASoundSite) {
    EXPECT_THAT(host::site_warnings(read(with_line("[[0, -1], [0, 1]]"))), IsEmpty());
    EXPECT_THAT(host::site_warnings(read(std::string("name = \"one\"\n") + kMaster +
                                         "[[line]]\npoints = [[0, -1], [0, 1]]\n")),
                IsEmpty());
}

TEST(SiteWarnings, NameWhatIsHardlyMeant) {
    EXPECT_THAT(host::site_warnings(read(kTwo)), ElementsAre(HasSubstr("counts no line")));
    const std::string apart = replaced(with_line("[[0, -1], [0, 1]]"), "x_m = 4", "x_m = 14");
    EXPECT_THAT(
        host::site_warnings(read(apart)),
        ElementsAre(HasSubstr("\"main\" shares no view"), HasSubstr("\"side\" shares no view")));
    // Heads are seen up to 2.27 m to either side of the master; the line goes on to 4 m.
    EXPECT_THAT(host::site_warnings(read(with_line("[[-1, 0], [-1, -4]]"))),
                ElementsAre(AllOf(HasSubstr("the line \"gate\": 4"), HasSubstr("% of it"),
                                  HasSubstr("beginning at -1, -2.3;"))));
    EXPECT_THAT(host::site_warnings(read(with_line("[[0, -1], [0, 1]]") +
                                         "[[region]]\npoints = [[-1,-3],[1,-3],[1,-2],[-1,-2]]\n")),
                ElementsAre(HasSubstr("region \"region 1\": 7")));
}

TEST(SiteExample, TheHallIsSound) {
    const host::Site site = host::read_site_file(VCA_EXAMPLES "/hall.toml");
    EXPECT_EQ(site.devices.size(), 3u);
    EXPECT_THAT(host::site_warnings(site), IsEmpty());
    const host::SiteDevice& master = host::master_of(site);
    for (const host::SiteDevice& device : site.devices) {
        if (device.master) continue;
        // Heads are in view of both over 1.5 to 2 m of the hall's length.
        const double width_m = 960.0 * 4.3 / host::kDefaultFocal_px;
        const double overlap_m = host::shared_view_m2(master, device, host::kHead_m) / width_m;
        EXPECT_GT(overlap_m, 1.5);
        EXPECT_LT(overlap_m, 2.0);
    }
    const std::string text = host::describe_site(site);
    EXPECT_THAT(text, AllOf(HasSubstr("line \"seam\": 7.4 m, in view of middle 100 %, east 100 %"),
                            HasSubstr("960 x 1026 pixels from 0, -241"),
                            ::testing::Not(HasSubstr("warning"))));
}

}  // namespace
