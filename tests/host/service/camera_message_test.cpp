// What camera and service tell each other, as JSON.
#include "host/service/camera_message.h"

#include <gtest/gtest.h>

namespace {

template <typename Message>
Message there_and_back(const Message& message) {
    const auto read = host::camera_message(host::to_text(message));
    EXPECT_TRUE(read && std::holds_alternative<Message>(*read));
    return read ? std::get<Message>(*read) : Message{};
}

TEST(CameraMessage, IsReadAsItWasWritten) {
    const auto begin = there_and_back(host::CameraBegin{
        "/a/vca.toml", "place = \"x\"\n", "door", 17, "why", 1884, 99, {"anna", "n"}});
    EXPECT_EQ(begin.path, "/a/vca.toml");
    EXPECT_EQ(begin.text, "place = \"x\"\n");
    EXPECT_EQ(begin.camera, "door");
    EXPECT_EQ(begin.ended_us, 17);
    EXPECT_EQ(begin.ended_why, "why");
    EXPECT_EQ(begin.broker_port, 1884);
    EXPECT_EQ(begin.start_ms, 99);
    EXPECT_EQ(begin.settings_by.author, "anna");
    EXPECT_EQ(there_and_back(host::CameraHello{"0.1.0"}).version, "0.1.0");
    const auto beat = there_and_back(host::CameraBeat{true, 5, 4});
    EXPECT_TRUE(beat.counting);
    EXPECT_EQ(beat.taken, 5);
    EXPECT_EQ(beat.finished, 4);
    host::CameraFigures figures;
    figures.frames = 12;
    figures.regions = {{"till \xff", 3}};
    const auto told = there_and_back(figures);
    EXPECT_EQ(told.frames, 12);
    EXPECT_EQ(told.regions.at(0).people, 3);
    const auto committed = there_and_back(host::CameraCommitted{"00ff", 1LL << 40});
    EXPECT_EQ(committed.epoch, "00ff");
    EXPECT_EQ(committed.sequence, 1LL << 40);
    const auto settings = there_and_back(host::CameraSettings{"line 3", true});
    EXPECT_EQ(settings.text, "line 3");
    EXPECT_TRUE(settings.refused);
    host::CameraAbout about{"a camera", 640, 576, 320, 288, 15.0, true, {}, "measured", {}, {"w"}};
    about.model = {257.0, 242.0, 240.0, 128.0, 3100.0, host::Tilt{4.0, 1.0}};
    about.tilt = host::Tilt{4.0, 1.0};
    const auto camera = there_and_back(about);
    EXPECT_EQ(camera.source, "a camera");
    EXPECT_EQ(camera.sensor_height, 576);
    EXPECT_EQ(camera.width, 320);
    EXPECT_TRUE(camera.colour);
    EXPECT_EQ(camera.model.cy, 128.0);
    EXPECT_EQ(camera.model.height_mm, 3100.0);
    EXPECT_EQ(camera.model.levelled->pitch_deg, 1.0);
    EXPECT_EQ(camera.height_from, "measured");
    EXPECT_EQ(camera.tilt->roll_deg, 4.0);
    EXPECT_EQ(camera.warnings, std::vector<std::string>{"w"});
    EXPECT_FALSE(there_and_back(host::CameraAbout{}).model.height_mm.has_value());
    const auto measured = there_and_back(host::CameraMeasured{0.5, 3000.0, {}, host::Tilt{1, 2}});
    EXPECT_EQ(measured.progress, 0.5);
    EXPECT_EQ(measured.floor_mm, 3000.0);
    EXPECT_FALSE(measured.noise_mm.has_value());
    EXPECT_EQ(measured.tilt->pitch_deg, 2.0);
    there_and_back(host::MeasureAgain{});
    const auto read = there_and_back(host::ReadSettings{{"anna", "moved"}});
    EXPECT_EQ(read.by.author, "anna");
    EXPECT_EQ(read.by.name, "moved");
}

TEST(CameraMessage, NothingElseIsOne) {
    for (const char* text :
         {"", "{", "[]", "{}", "{\"message\": 1}", "{\"message\": \"bye\"}",
          "{\"message\": \"beat\", \"counting\": true, \"taken\": 1}", "{\"message\": \"figures\"}",
          "{\"message\": \"figures\", \"figures\": {\"frames\": 1}}",
          "{\"message\": \"beat\", \"counting\": 1, \"taken\": \"x\"}"})
        EXPECT_FALSE(host::camera_message(text).has_value()) << text;
}

TEST(CameraMessage, TextsOfTheSystemMayHaveAnyBytes) {
    EXPECT_EQ(there_and_back(host::CameraSettings{"a\xff", false}).text, "a\xEF\xBF\xBD");
}

}  // namespace
