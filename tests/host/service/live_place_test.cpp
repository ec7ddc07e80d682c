// What the service knows of its cameras, as they tell it.
#include "host/service/live_place.h"

#include <gtest/gtest.h>

namespace {

using host::CameraStand;
using host::LivePlace;

host::ServiceFile file(const std::string& place, const std::vector<std::string>& cameras) {
    std::string text = "place = \"" + place + "\"\n";
    for (const std::string& camera : cameras)
        text += "[[camera]]\nname = \"" + camera + "\"\nscene = \"doorway\"\n";
    return host::parse_service_file(text, "vca.toml");
}

TEST(LivePlace, KnowsWhatCamerasHaveTold) {
    LivePlace place(file("shop", {"door", "back"}));
    EXPECT_EQ(place.camera("door").stand, CameraStand::kOffline);
    EXPECT_FALSE(place.camera("door").figures.has_value());
    host::CameraFigures figures;
    figures.frames = 7;
    place.hear("door", figures);
    place.hear("door", host::CameraBeat{true, 8, 7});
    place.hear("door", host::CameraCommitted{"00ff", 3});
    EXPECT_EQ(place.camera("door").stand, CameraStand::kOnline);
    EXPECT_EQ(place.camera("door").figures->frames, 7);
    EXPECT_EQ(place.camera("door").committed.sequence, 3);
    EXPECT_EQ(place.camera("back").stand, CameraStand::kOffline);
}

TEST(LivePlace, FiguresAreThoseOfTheProcessThatRuns) {
    LivePlace place(file("shop", {"door"}));
    place.hear("door", host::CameraFigures{});
    place.hear("door", host::CameraBeat{true, 8, 7});
    place.hear("door", host::CameraCommitted{"00ff", 3});
    place.ended("door", CameraStand::kOffline);
    EXPECT_EQ(place.camera("door").stand, CameraStand::kOffline);
    EXPECT_FALSE(place.camera("door").figures.has_value());
    EXPECT_EQ(place.camera("door").committed.sequence, 3) << "what is safe stays safe";
    place.ended("door", CameraStand::kStopped);
    EXPECT_STREQ(host::camera_stand_name(place.camera("door").stand), "stopped");
}

TEST(LivePlace, CamerasThatThePlaceHasNoMoreAreForgotten) {
    LivePlace place(file("shop", {"door", "back"}));
    place.hear("door", host::CameraFigures{});
    place.hear("back", host::CameraFigures{});
    const auto before = place.file();
    place.take_over(file("store", {"back", "side"}));
    EXPECT_EQ(before->place, "shop") << "whoever has it keeps it";
    EXPECT_EQ(place.file()->place, "store");
    EXPECT_FALSE(place.camera("door").figures.has_value());
    EXPECT_TRUE(place.camera("back").figures.has_value());
    place.hear("door", host::CameraFigures{});
    EXPECT_FALSE(place.camera("door").figures.has_value()) << "its last words";
}

}  // namespace
