// What is said about an installation file before there is a source.
#include "host/settings/installation_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/site_fixture.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

host::RunOptions read(const std::string& text) {
    const test::SiteFile file(text);
    host::RunOptions options;
    host::read_config_file(file.path(), options);
    return options;
}

std::string error_of(const std::string& text) {
    try {
        host::check_installation(read(text));
    } catch (const host::InputError& e) {
        return e.what();
    }
    return "";
}

constexpr const char* kFull = R"(
height_mm = 3500.5
target_height_mm = [1000, 2000]
position = "box"
tilt = [2.5, -3]
[[line]]
name = "door"
points = [[10, 20], [40, 60]]
uturn = true
area = [[0, 0], [50, 0], [50, 90], [0, 90]]
flip = true
[[line]]
points = [[300, 200], [330, 240], [300, 280]]
uturn = true
[[region]]
name = "till"
points = [[100, 100], [200, 100], [200, 150], [100, 150]]
[[exclude]]
points = [[0, 0], [10, 0], [10, 10], [0, 10]]
[group]
enabled = true
min = 3
max = 5
)";

TEST(InstallationCheck, DescribesWhatWasUnderstood) {
    EXPECT_EQ(error_of(kFull), "");
    EXPECT_EQ(
        host::describe_installation(read(kFull)),
        "  line \"door\": 2 points, 50 pixels long, does not count people who turn back in an area "
        "of 4 "
        "points, directions swapped\n"
        "  line \"line 2\": 3 points, 100 pixels long, does not count people who turn back in the "
        "picture\n"
        "  region \"till\": 4 points around 5000 square pixels\n"
        "  exclusion area: 4 points around 100 square pixels\n"
        "  camera height: 3500.5 mm\n"
        "  camera tilt: roll 2.5, pitch -3 degrees\n"
        "  people: of 1000 to 2000 mm, counted by head and shoulders\n"
        "  groups: counted, of 3 to 5 people\n"
        "  detection on depth, sensor exact, late counts drop, gender none, staff none\n");
}

TEST(InstallationCheck, NamesWhatTheSourceDecides) {
    EXPECT_EQ(host::describe_installation(read("")),
              "  no line: the source's own are counted\n"
              "  camera height: as the source says\n"
              "  camera tilt: found on the floor at the start of a run\n"
              "  people: of 800 to 2200 mm, counted by the point on the floor\n"
              "  groups: as the source suggests, of 2 to 6 people\n"
              "  detection on depth, sensor exact, late counts drop, gender none, staff none\n");
    EXPECT_THAT(host::describe_installation(read("tilt = \"none\"")),
                HasSubstr("camera tilt: none, it looks straight down"));
    EXPECT_THAT(
        host::describe_installation(read("height_mm = \"auto\"\n[group]\nenabled = false")),
        AllOf(HasSubstr("camera height: measured at the start"), HasSubstr("groups: not counted")));
}

TEST(InstallationCheck, WarnsOfWhatOnlySomeSourcesTake) {
    EXPECT_THAT(host::installation_warnings(read(kFull)), IsEmpty());
    const auto warned = [](const std::string& text) {
        EXPECT_EQ(error_of(text), "");
        return host::installation_warnings(read(text));
    };
    EXPECT_THAT(warned("[[line]]\npoints = [[1, 2], [959.5, 543.5]]"), IsEmpty());
    EXPECT_THAT(warned("[[line]]\npoints = [[1, 2], [960, 4]]"),
                ElementsAre(AllOf(HasSubstr("line 2: the line has the point 960,4"),
                                  HasSubstr("a recording larger than 960 x 544"))));
    EXPECT_THAT(warned("[[line]]\npoints = [[1, 2], [99, 4]]\nuturn = true\n"
                       "area = [[0, 0], [20, 0], [20, 544]]"),
                ElementsAre(HasSubstr("line 4: the area has the point 20,544")));
    EXPECT_THAT(warned("[[region]]\npoints = [[1, 2], [1000, 4], [1000, 900]]"),
                ElementsAre(HasSubstr("line 2: the region has the point 1000,4")));
    EXPECT_THAT(warned("[[exclude]]\npoints = [[1, 2], [9, 4], [9, 8191]]"),
                ElementsAre(HasSubstr("line 2: the exclusion area has the point 9,8191")));
    for (const char* colour : {"detect = \"both\"", "staff = \"vest\"", "gender = \"g.onnx\""})
        EXPECT_THAT(warned(colour), ElementsAre(HasSubstr("need colour")));
}

TEST(InstallationCheck, RefusesWhatNoSourceMakesRight) {
    EXPECT_THAT(error_of("[[line]]\npoints = [[-1, 2], [9, 4]]"),
                HasSubstr("line 2: the line has the point -1,2, which leaves the picture"));
    EXPECT_THAT(error_of("[[region]]\npoints = [[1, 2], [9, 4], [9, 8192]]"),
                HasSubstr("line 2: the region has the point 9,8192"));
    EXPECT_THAT(error_of("[[line]]\nname = \"a\"\npoints = [[1, 2], [9, 4]]\n"
                         "[[line]]\nname = \"a\"\npoints = [[1, 3], [9, 5]]\n"),
                AllOf(HasSubstr("line 6: the line is called \"a\", as is "),
                      HasSubstr("line 3: the line; give each a name of its own")));
    EXPECT_THAT(error_of("height_mm = 3"), HasSubstr("line 1: height_mm is 3"));
}

TEST(SiteOrInstallation, IsToldByItsKeys) {
    const auto is_site = [](const std::string& text) {
        const test::SiteFile file(text);
        return host::is_site_file(file.path());
    };
    EXPECT_FALSE(is_site(""));
    EXPECT_FALSE(is_site(kFull));
    EXPECT_TRUE(is_site("name = \"a\"\n[[device]]\nname = \"b\"\n"));
    EXPECT_TRUE(is_site("[[device]]\n"));
    EXPECT_TRUE(is_site("name = \"cut short\"\n"));
    EXPECT_THROW(is_site("x = = 3"), host::InputError);
    try {
        host::is_site_file("/nowhere.toml");
        ADD_FAILURE() << "there is no such file";
    } catch (const host::InputError& e) {
        EXPECT_STREQ(e.what(),
                     "there is no file \"/nowhere.toml\"; vca check needs a readable file");
    }
}

}  // namespace
