// The file of a place: what it says, and the sentence for everything else.
#include "host/settings/service_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/base/input_error.h"
#include "tests/host/site_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

host::ServiceFile read(const std::string& text) {
    return host::parse_service_file(text, "/places/vca.toml");
}

std::string error_of(const std::string& text) {
    try {
        read(text);
    } catch (const host::InputError& error) {
        return error.what();
    }
    return "";
}

constexpr const char* kOne = "place = \"shop\"\n[[camera]]\nname = \"door\"\n";

TEST(ServiceFile, SaysWhereThePageIs) {
    const std::string scene = std::string(kOne) + "scene = \"doorway\"\n[web]\n";
    const host::ServiceFile file = read(
        scene + "address = \"0.0.0.0\"\nhosts = [\"Counter.Example.org\"]\nmetrics = \"open\"\n");
    EXPECT_EQ(file.web->address, "0.0.0.0");
    EXPECT_FALSE(file.web->on_loopback());
    EXPECT_THAT(file.web->hosts, ElementsAre("counter.example.org"));
    EXPECT_TRUE(file.web->open_metrics);
    EXPECT_TRUE(read(scene).web->on_loopback());
    EXPECT_FALSE(read(scene).web->open_metrics);
    EXPECT_THAT(error_of(scene + "address = \"shop\"\n"), HasSubstr("write \"127.0.0.1\""));
    EXPECT_THAT(error_of(scene + "hosts = [\"a:8080\"]\n"), HasSubstr("without port"));
    EXPECT_THAT(error_of(scene + "metrics = \"all\"\n"), HasSubstr("write \"login\""));
}

TEST(ServiceFile, SaysWhatAPlaceHas) {
    const host::ServiceFile file = read(R"(
place = "museum"
time_zone = "Europe/Berlin"
open = "10:00-18:00"
[[camera]]
name = "door"
depth = "tcp://10.0.0.7:5000"
depth_format = "raw:640x480@30"
colour = "colour.pipe"
settings = "other/door.toml"
[[camera]]
name = "hall"
recording = ["a.mkv", "/b.mkv"]
loop = true
fast = true
[[camera]]
name = "till"
scene = "gallery"
seed = 7
[[camera]]
name = "west"
site = "hall.toml"
device = "west-1"
[[area]]
name = "rooms"
capacity = 120
reset = "03:30"
[[area]]
name = "cafe"
[[entrance]]
camera = "door"
line = "Tür"
in = 2
area = "rooms"
[store]
folder = "/var/lib/vca"
events_days = 100
people_days = 1
gaps_days = "forever"
)");
    EXPECT_EQ(file.place, "museum");
    EXPECT_EQ(file.time_zone.value, "Europe/Berlin");
    ASSERT_EQ(file.open.size(), 1U);
    EXPECT_EQ(file.open[0].value, "10:00-18:00");
    ASSERT_EQ(file.cameras.size(), 4U);
    EXPECT_EQ(file.cameras[0].source.source, "live");
    EXPECT_EQ(file.cameras[0].source.live_depth, "tcp://10.0.0.7:5000");
    EXPECT_EQ(file.cameras[0].source.live_colour, "/places/colour.pipe");
    EXPECT_EQ(file.cameras[0].settings, "/places/other/door.toml");
    EXPECT_EQ(file.cameras[1].source.source, "recording");
    EXPECT_THAT(file.cameras[1].source.recordings, ElementsAre("/places/a.mkv", "/b.mkv"));
    EXPECT_TRUE(file.cameras[1].loop);
    EXPECT_TRUE(file.cameras[1].fast);
    EXPECT_EQ(file.cameras[1].settings, "/places/cameras/hall.toml");
    EXPECT_EQ(file.cameras[2].source.scene, "gallery");
    EXPECT_EQ(file.cameras[2].source.seed, 7U);
    EXPECT_TRUE(file.cameras[3].in_cascade());
    EXPECT_EQ(file.cameras[3].role.site, "/places/hall.toml");
    EXPECT_EQ(file.cameras[3].role.device, "west-1");
    ASSERT_EQ(file.areas.size(), 2U);
    EXPECT_EQ(file.areas[0].capacity, 120);
    EXPECT_EQ(file.areas[0].reset.value, "03:30");
    ASSERT_EQ(file.entrances.size(), 1U);
    EXPECT_EQ(file.entrances[0].line, "T\xC3\xBCr");
    EXPECT_EQ(file.entrances[0].in, 2);
    EXPECT_EQ(file.folder, "/var/lib/vca");
    EXPECT_EQ(file.keep.events, 100);
    EXPECT_EQ(file.keep.people, 1);
    EXPECT_FALSE(file.keep.gaps.has_value());
    EXPECT_EQ(file.keep.heat, host::Retention{}.heat);
    EXPECT_EQ(host::database_of(file, "door"), "/var/lib/vca/door.db");
}

TEST(ServiceFile, AnEntranceLeadsIntoTheWholePlaceWithoutAreas) {
    const host::ServiceFile file = read(std::string(kOne) +
                                        "scene = \"doorway\"\n[[entrance]]\ncamera = \"door\"\n"
                                        "line = \"door\"\n");
    ASSERT_EQ(file.areas.size(), 1U);
    EXPECT_EQ(file.areas[0].name, "place");
    EXPECT_EQ(file.entrances[0].area, "place");
    EXPECT_EQ(file.folder, "/places/store");
}

TEST(ServiceFile, PicturesAreInColourOnlyWhereTheFileSaysSo) {
    const auto colour = [](const std::string& more) {
        return read(std::string(kOne) + "scene = \"doorway\"\n" + more).cameras[0].colour_picture;
    };
    EXPECT_FALSE(colour(""));
    EXPECT_FALSE(colour("picture = \"depth\"\n"));
    EXPECT_TRUE(colour("picture = \"colour\"\n"));
    try {
        colour("picture = \"grey\"\n");
        FAIL();
    } catch (const host::InputError& error) {
        EXPECT_THAT(error.what(), ::testing::HasSubstr("picture is \"grey\"; write \"depth\""));
    }
}

TEST(ServiceFile, ACameraChangesWithWhatDefinesIt) {
    const auto definition = [](const std::string& more) {
        return read(std::string(kOne) + more).cameras[0].definition;
    };
    EXPECT_EQ(definition("scene = \"doorway\"\n"), definition("scene = \"doorway\" # here\n"));
    EXPECT_NE(definition("scene = \"doorway\"\n"), definition("scene = \"gallery\"\n"));
    EXPECT_NE(definition("recording = \"a\"\n"), definition("recording = \"a\"\nloop = true\n"));
    EXPECT_NE(definition("scene = \"doorway\"\n"),
              definition("scene = \"doorway\"\npicture = \"colour\"\n"));
}

TEST(ServiceFile, RefusesWithFileAndLine) {
    struct Case {
        std::string text;
        std::string line;
        std::string says;
    };
    const std::string one = kOne;
    const Case cases[] = {
        {"plaec = \"x\"\n", "line 1", "unknown key \"plaec\""},
        {"place = \"a b\"\n[[camera]]\nname=\"a\"\n", "line 1", "letters, digits, - and _"},
        {one, "line 2", "has no source"},
        {one + "scene = \"x\"\ndepth = \"tcp://a:1\"\n", "line 2", "has two sources"},
        {one + "scene = \"x\"\nloop = true\n", "line 5", "belongs to a camera with a recording"},
        {one + "depth = \"x\"\nfast = true\n", "line 5",
         "belongs to a camera with a recording or a scene"},
        {one + "recording = []\n", "line 4", "at least one"},
        {one + "recording = \"a\"\nseed = 1\n", "line 5", "belongs to a camera with a scene"},
        {one + "scene = \"x\"\ndepth_format = \"raw:64x48@15\"\n", "line 5", "a camera with depth"},
        {one + "depth = \"a\"\ndepth_format = \"raw\"\n", "line 5", "raw:WIDTHxHEIGHT@FPS"},
        {one + "depth = \"-\"\n", "line 4", "a named pipe, a device, or tcp://HOST:PORT"},
        {one + "site = \"a\"\nsettings = \"b\"\n", "line 5", "a source of its own"},
        {one + "scene = \"x\"\ndevice = \"b\"\n", "line 2", "has a device without site"},
        {one + "scene = \"x\"\n[[camera]]\nname = \"door\"\n", "line 5", "names must differ"},
        {"place = \"a\"\n[[camera]]\nname = \"service\"\n", "line 2", "cannot have this name"},
        {"place = \"a\"\n[[camera]]\nscene = \"x\"\n", "line 2", "has no name"},
        {one + "scene = \"x\"\n[[entrance]]\ncamera = \"back\"\nline = \"l\"\n", "line 5",
         "names the camera \"back\"; known are door"},
        {one + "scene = \"x\"\n[[entrance]]\ncamera = \"door\"\n", "line 5",
         "needs a camera and a line"},
        {one + "scene = \"x\"\n[[entrance]]\ncamera = \"door\"\nline = \"l\"\narea = \"b\"\n",
         "line 5", "leads into \"b\"; known are place"},
        {one + "scene = \"x\"\n[[area]]\ncapacity = 1\n", "line 5", "this area has no name"},
        {one + "scene = \"x\"\n[store]\nevents_days = 0\n", "line 6", "from 1 to 36500"},
    };
    for (const Case& each : cases) {
        const std::string error = error_of(each.text);
        EXPECT_THAT(error, StartsWith("\"/places/vca.toml\" " + each.line + ": ")) << each.text;
        EXPECT_THAT(error, HasSubstr(each.says)) << each.text;
    }
    EXPECT_THAT(error_of("[[camera]]\nname = \"a\"\nscene = \"b\"\n"), EndsWith("lacks place"));
    EXPECT_THAT(error_of("place = \"a\"\n"), EndsWith("lacks camera"));
}

TEST(ServiceFile, HasAsManyCamerasAsAPlaceCan) {
    std::string text = "place = \"a\"\n";
    for (std::size_t i = 0; i <= host::kMostCameras; ++i)
        text += "[[camera]]\nname = \"c" + std::to_string(i) + "\"\nscene = \"x\"\n";
    EXPECT_THAT(error_of(text), HasSubstr("this is camera 129; a place can have 128"));
}

TEST(ServiceFile, IsToldFromOtherFiles) {
    EXPECT_TRUE(host::is_service_file(test::SiteFile("place = \"a\"\n").path()));
    EXPECT_TRUE(host::is_service_file(test::SiteFile("[[camera]]\nname = \"a\"\n").path()));
    EXPECT_FALSE(host::is_service_file(test::SiteFile("name = \"a\"\n[[device]]\n").path()));
    EXPECT_FALSE(host::is_service_file(test::SiteFile("[[line]]\nname = \"a\"\n").path()));
}

}  // namespace
