// Whether a place makes sense as a whole.
#include "host/service/service_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/base/input_error.h"
#include "host/service/place.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class Place : public ::testing::Test {
  protected:
    Place() { std::filesystem::create_directories(folder_ / host::kSettingsFolder); }
    ~Place() override { std::filesystem::remove_all(folder_); }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(folder_ / name) << text;
    }
    host::ServiceFile read(const std::string& text) const {
        return host::parse_service_file(text, (folder_ / "vca.toml").string());
    }
    std::string error_of(const std::string& text) const {
        try {
            host::check_service(read(text));
        } catch (const host::InputError& error) {
            return error.what();
        }
        return "";
    }

    const std::filesystem::path folder_ = test::unique_path("vca-place-test");
};

constexpr const char* kDoor = "[[camera]]\nname = \"door\"\nscene = \"doorway\"\n";

TEST_F(Place, IsRefusedWithFileAndLineOfWhatIsWrong) {
    const std::string head = "place = \"shop\"\n";
    EXPECT_EQ(error_of(head + kDoor), "");
    EXPECT_THAT(error_of(head + "time_zone = \"Europe/Nowhere\"\n" + kDoor),
                AllOf(HasSubstr("vca.toml\" line 2: time_zone"), HasSubstr("Europe/Nowhere")));
    EXPECT_THAT(error_of(head + "open = \"nine\"\n" + kDoor),
                AllOf(HasSubstr("line 2: open"), HasSubstr("such as 09:00-20:00")));
    EXPECT_THAT(error_of(head + "open = [\"09:00-12:00\", \"11:00-13:00\"]\n" + kDoor),
                AllOf(HasSubstr("line 2: open"), HasSubstr("must not overlap")));
    EXPECT_THAT(error_of(head + kDoor + "[[area]]\nname = \"a\"\nreset = \"4\"\n"),
                AllOf(HasSubstr("line 7: reset"), HasSubstr("write a time such as 09:30")));
    EXPECT_THAT(
        error_of(head + "[[camera]]\nname = \"door\"\nscene = \"moon\"\n"),
        AllOf(HasSubstr("line 2: the camera \"door\""), HasSubstr("known are doorway, entrance")));
    const std::string hook =
        "[[webhook]]\nname = \"erp\"\nurl = \"https://a/secret\"\nsecret_file = \"key\"\n";
    EXPECT_EQ(error_of(head + kDoor + hook + "kinds = [\"crossing\", \"health\"]\n"), "");
    EXPECT_THAT(error_of(head + kDoor + hook + "kinds = [\"crossing\", \"cross\"]\n"),
                AllOf(HasSubstr("line 9: kinds has \"cross\"; known are crossing, "),
                      HasSubstr(", health")));
    EXPECT_THAT(host::describe_service(read(head + kDoor + hook)),
                AllOf(HasSubstr("webhook \"erp\": events to a\n"), Not(HasSubstr("secret"))));
    EXPECT_THAT(error_of(head + "[[camera]]\nname = \"door\"\nrecording = \"gone.mkv\"\n"),
                AllOf(HasSubstr("line 2: the camera \"door\""), HasSubstr("gone.mkv")));
}

TEST_F(Place, TheSettingsOfItsCamerasAreCheckedToo) {
    write("cameras/door.toml", "[[line]]\nname = \"a\"\npoints = [[1, 2]]\n");
    EXPECT_THAT(
        error_of(std::string("place = \"shop\"\n") + kDoor),
        AllOf(HasSubstr("cameras/door.toml\" line 3"), HasSubstr("a counting line needs 2 to 5")));
}

TEST_F(Place, ASimulatedCameraHangsWhereItsSceneHasIt) {
    write("cameras/door.toml", "height_mm = 3000\n");
    EXPECT_THAT(error_of(std::string("place = \"shop\"\n") + kDoor),
                AllOf(HasSubstr("cameras/door.toml\" line 1: height_mm goes with recordings"),
                      HasSubstr("\"doorway\"")));
    write("cameras/door.toml", "height_mm = \"auto\"\n");
    EXPECT_EQ(error_of(std::string("place = \"shop\"\n") + kDoor), "");
}

TEST_F(Place, IsDescribedWithWhatIsProbablyUnintended) {
    write("cameras/door.toml", "[[line]]\nname = \"gate\"\npoints = [[1, 2], [300, 2]]\n");
    const host::ServiceFile file = read(std::string("place = \"shop\"\ntime_zone = \"UTC\"\n") +
                                        kDoor + "[[entrance]]\ncamera = \"door\"\nline = \"x\"\n");
    host::check_service(file);
    const std::string text = host::describe_service(file);
    EXPECT_THAT(text, StartsWith("place \"shop\"\n"));
    EXPECT_THAT(text, HasSubstr("camera \"door\": the simulated scene \"doorway\"; settings in"));
    EXPECT_THAT(text, HasSubstr("names the line \"x\", which the camera \"door\" does not have"));
    EXPECT_THAT(text, HasSubstr("area \"place\": entered through door/x, empty at 04:00"));
}

TEST_F(Place, AreasHaveTheDoorsThatLeadToThem) {
    const host::ServiceFile file =
        read(std::string("place = \"shop\"\n") + kDoor +
             "[[camera]]\nname = \"back\"\nscene = \"doorway\"\n[[area]]\nname = \"all\"\n"
             "[[area]]\nname = \"yard\"\ncapacity = 3\n[[area]]\nname = \"none\"\ncapacity = 1\n"
             "[[entrance]]\ncamera = \"door\"\nline = \"a\"\narea = \"all\"\n"
             "[[entrance]]\ncamera = \"back\"\nline = \"b\"\narea = \"all\"\nin = 2\n"
             "[[entrance]]\ncamera = \"back\"\nline = \"c\"\narea = \"yard\"\nin = 2\n");
    EXPECT_EQ(host::doors_of(file).size(), 3U);
    const std::vector<host::Area> areas = host::areas_of(file);
    ASSERT_EQ(areas.size(), 2U);
    EXPECT_EQ(areas[0].doors.size(), 2U);
    EXPECT_EQ(areas[1].doors[0].device, "back");
    EXPECT_EQ(areas[1].doors[0].line, "c");
    EXPECT_EQ(areas[1].doors[0].in, 2);
    const std::vector<host::Area> watched = host::watched_areas(file);
    ASSERT_EQ(watched.size(), 1U);
    EXPECT_EQ(watched[0].name, "yard");
}

}  // namespace
