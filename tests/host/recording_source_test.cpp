// Recordings as a source: other people's depth recordings, files in a row, and what a file lacks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/frames/depth_calibration.h"
#include "host/frames/recording.h"
#include "tests/host/ebml.h"
#include "tests/host/recorded_frames.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;
namespace fs = std::filesystem;

constexpr const char* kCalibration = R"({"CalibrationInformation": {"Cameras": [
  {"Location": "CALIBRATION_CameraLocationPV0", "Intrinsics": {"ModelParameters": [0, 0, 1, 1]}},
  {"Location": "CALIBRATION_CameraLocationD0", "MetricRadius": 1.7399,
   "Intrinsics": {"ModelParameterCount": 14, "ModelParameters": [0.5, 0.4921875, 0.4921875, 0.5]}}
]}})";

class RecordingSource : public ::testing::Test {
  protected:
    RecordingSource() : folder_(test::unique_path("source")) { fs::create_directories(folder_); }
    ~RecordingSource() override { fs::remove_all(folder_); }

    fs::path path(const std::string& name) const { return folder_ / name; }

    host::SourceOptions options(const std::vector<std::string>& names) const {
        host::SourceOptions result;
        for (const std::string& name : names)
            result.recordings.push_back(path(name).string());
        return result;
    }

    // 30 frames a second from 2.5 s on; every pixel of frame n is 1000 + n but the first, 0.
    void write_b16g(const std::string& name, int width, int height, const std::string& mode,
                    int frames = 5) const {
        std::string content = test::raw_depth_track(width, height) +
                              test::attachment("calibration.json", kCalibration) +
                              test::tag(host::kDepthModeTag, mode);
        for (int n = 0; n < frames; ++n) {
            std::string picture(2, '\0');
            while (picture.size() < static_cast<std::size_t>(2 * width * height))
                picture += test::big_endian(static_cast<std::uint64_t>(1000 + n), 2);
            content += test::cluster(static_cast<std::uint64_t>(2500 + n * 100 / 3), picture);
        }
        test::write_all(path(name), test::matroska(content));
    }

    void write_own(const std::string& name, int first, int frames, std::int64_t start_us = 0,
                   const std::string& camera = kCamera) const {
        host::RecordingWriter::Setup setup = test::sensor_setup(path(name));
        setup.first_time_us = test::sensor_time_us(first);
        setup.tags = {{"VCA_START_US", std::to_string(start_us)}};
        setup.attachments = {{"camera.toml", "text/plain", camera}};
        host::RecordingWriter writer(setup);
        for (int i = first; i < first + frames; ++i)
            test::write_frame(writer, i);
        writer.finish(host::RecordingEnd::kStopped);
    }

    static constexpr const char* kCamera =
        "width = 64\nheight = 48\nfx = 50\nfy = 50\ncx = 31.5\ncy = 23.5\n"
        "frames_per_second = 15\nheight_mm = 2600\n";

    fs::path folder_;
};

std::vector<std::pair<std::int64_t, double>> stamps(host::FrameSource& source) {
    std::vector<std::pair<std::int64_t, double>> list;
    host::SourceFrame frame;
    while (source.next(frame))
        list.emplace_back(frame.number, frame.time_s);
    return list;
}

TEST_F(RecordingSource, ReadsUncompressedDepthWithItsCalibration) {
    write_b16g("a.mkv", 320, 288, "NFOV_2X2BINNED");
    const auto source = host::open_recording(options({"a.mkv"}));
    const host::SourceInfo& info = source->info();
    EXPECT_NEAR(info.frames_per_second, 30.0, 0.01);
    EXPECT_FALSE(info.has_colour);
    // Pixels of the binned part: (0.5 * 1024 - 192) / 2 - 0.5 and so on.
    EXPECT_DOUBLE_EQ(info.sensor.cx, 159.5);
    EXPECT_DOUBLE_EQ(info.sensor.cy, 161.5);
    EXPECT_DOUBLE_EQ(info.sensor.fx, 252.0);
    EXPECT_DOUBLE_EQ(info.sensor.fy, 256.0);
    EXPECT_FALSE(info.camera.height_mm);
    host::SourceFrame frame;
    for (int n = 0; n < 5; ++n) {
        ASSERT_TRUE(source->next(frame));
        EXPECT_EQ(frame.number, n);
        // The scene begins with the first picture.
        EXPECT_NEAR(frame.time_s, n / 30.0, 0.0011);
        const host::TakenPictures& taken = frame.planes.taken;
        EXPECT_EQ(taken.width, 320);
        EXPECT_EQ(taken.depth_mm[0], 0);
        EXPECT_EQ(taken.depth_mm[1], 1000 + n);
        EXPECT_EQ(frame.planes.raw_mm[128 * 480 + 240], 1000 + n);
    }
    EXPECT_FALSE(source->next(frame));
    EXPECT_TRUE(source->ends_the_scene());
    EXPECT_THAT(source->warnings(), IsEmpty());
}

TEST_F(RecordingSource, TakesTheCalibrationForEveryMode) {
    write_b16g("a.mkv", 512, 512, "WFOV_2X2BINNED", 1);
    EXPECT_DOUBLE_EQ(host::open_recording(options({"a.mkv"}))->info().sensor.cx, 255.5);
    EXPECT_DOUBLE_EQ(host::open_recording(options({"a.mkv"}))->info().sensor.fx, 252.0);
    write_b16g("b.mkv", 640, 576, "NFOV_UNBINNED", 1);
    EXPECT_DOUBLE_EQ(host::open_recording(options({"b.mkv"}))->info().sensor.cy, 323.5);
    write_b16g("c.mkv", 320, 200, "NFOV_2X2BINNED", 1);
    EXPECT_THAT(
        [&] { host::open_recording(options({"c.mkv"})); },
        ThrowsMessage<host::InputError>(AllOf(HasSubstr("320 x 200"), HasSubstr("--camera FILE"))));
}

TEST_F(RecordingSource, NeedsACamera) {
    test::write_all(path("a.mkv"), test::matroska(test::raw_depth_track(64, 48) +
                                                  test::cluster(0, std::string(64 * 96, '\1'))));
    EXPECT_THAT([&] { host::open_recording(options({"a.mkv"})); },
                ThrowsMessage<host::InputError>(HasSubstr("give --camera FILE")));
    test::write_all(path("camera.toml"), kCamera);
    host::SourceOptions with_camera = options({"a.mkv"});
    with_camera.camera_file = path("camera.toml").string();
    EXPECT_EQ(stamps(*host::open_recording(with_camera)).size(), 1u);
}

TEST_F(RecordingSource, NeedsACalibrationThatFits) {
    for (const char* const text :
         {"", "{}", "[1, 2]", R"({"CalibrationInformation": {"Cameras": 3}})",
          R"({"CalibrationInformation": {"Cameras": [{"Location": "CALIBRATION_CameraLocationD0",
              "Intrinsics": {"ModelParameters": [9, 0.5, 0.5, 0.5]}}]}})"}) {
        EXPECT_THAT(
            [&] {
                host::read_depth_calibration(text, "NFOV_2X2BINNED", {320, 288}, "\"a.mkv\"");
            },
            ThrowsMessage<host::InputError>(AllOf(HasSubstr("a.mkv"), HasSubstr("--camera"))))
            << text;
    }
}

TEST_F(RecordingSource, FilesOfOneRunGoOn) {
    write_own("a.mkv", 0, 5);
    write_own("b.mkv", 5, 5);
    const auto list = stamps(*host::open_recording(options({"a.mkv", "b.mkv"})));
    ASSERT_EQ(list.size(), 10u);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(list[static_cast<std::size_t>(i)].first, test::sensor_number(i));
        EXPECT_DOUBLE_EQ(list[static_cast<std::size_t>(i)].second,
                         static_cast<double>(test::sensor_time_us(i)) / 1e6);
    }
}

TEST_F(RecordingSource, AnotherDayIsAGapInTime) {
    constexpr std::int64_t kDay_us = 86'400'000'000;
    write_own("a.mkv", 0, 5, 0);
    write_own("b.mkv", 0, 5, kDay_us);
    const auto list = stamps(*host::open_recording(options({"a.mkv", "b.mkv"})));
    ASSERT_EQ(list.size(), 10u);
    EXPECT_NEAR(list[5].second - list[0].second, 86400.0, 1e-6);
    EXPECT_EQ(list[5].first, list[4].first + 1);
    EXPECT_THAT(
        [&] {
            stamps(*host::open_recording(options({"b.mkv", "a.mkv"})));
        },
        ThrowsMessage<host::InputError>(HasSubstr("in the order")));
}

TEST_F(RecordingSource, OthersFollowEachOtherWithoutAGap) {
    write_b16g("a.mkv", 320, 288, "NFOV_2X2BINNED", 3);
    write_b16g("b.mkv", 320, 288, "NFOV_2X2BINNED", 3);
    const auto list = stamps(*host::open_recording(options({"a.mkv", "b.mkv"})));
    ASSERT_EQ(list.size(), 6u);
    EXPECT_NEAR(list[3].second, 3 / 30.0, 0.0011);
    EXPECT_EQ(list[5].first, 5);
}

TEST_F(RecordingSource, EntersAndLeaves) {
    write_own("a.mkv", 0, 10);
    host::SourceOptions part = options({"a.mkv"});
    part.from_s = static_cast<double>(test::sensor_time_us(3)) / 1e6;
    part.to_s = static_cast<double>(test::sensor_time_us(6)) / 1e6;
    const auto source = host::open_recording(part);
    const auto list = stamps(*source);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list.front().first, test::sensor_number(3));
    EXPECT_FALSE(source->ends_the_scene());
}

TEST_F(RecordingSource, SaysWhenAFileWasCut) {
    write_own("a.mkv", 0, 10);
    const std::string whole = test::read_all(path("a.mkv"));
    test::write_all(path("cut.mkv"), whole.substr(0, whole.size() / 2));
    const auto source = host::open_recording(options({"cut.mkv"}));
    EXPECT_GE(stamps(*source).size(), 3u);
    EXPECT_THAT(source->warnings(), ElementsAre(AllOf(HasSubstr("cut.mkv"), HasSubstr("cut off"))));
    EXPECT_FALSE(source->ends_the_scene());
}

TEST_F(RecordingSource, FilesMustBeOfOneCamera) {
    write_own("a.mkv", 0, 5);
    write_b16g("b.mkv", 320, 288, "NFOV_2X2BINNED");
    EXPECT_THAT(
        [&] {
            host::open_recording(options({"a.mkv", "b.mkv"}));
        },
        ThrowsMessage<host::InputError>(AllOf(HasSubstr("b.mkv"), HasSubstr("320 x 288"))));
    write_own("c.mkv", 0, 5, 0, "width = 64\n");
    EXPECT_THAT([&] { host::open_recording(options({"c.mkv"})); },
                ThrowsMessage<host::InputError>(
                    AllOf(HasSubstr("camera.toml"), HasSubstr("lacks height"))));
}

TEST(CameraText, ReadsBackExactly) {
    host::RecordingCamera camera;
    camera.width = 512;
    camera.height = 424;
    camera.fx = 365.1234567890123;
    camera.fy = 1000.0 / 3.0;
    camera.cx = 255.5;
    camera.cy = 0.1;
    camera.frames_per_second = 29.97;
    camera.height_mm = 3342.7;
    camera.points_in = host::PictureSize{960, 544};
    const host::RecordingCamera back =
        host::parse_recording_camera(host::recording_camera_text(camera), "text");
    EXPECT_EQ(back.width, camera.width);
    EXPECT_EQ(back.fx, camera.fx);
    EXPECT_EQ(back.fy, camera.fy);
    EXPECT_EQ(back.cx, camera.cx);
    EXPECT_EQ(back.cy, camera.cy);
    EXPECT_EQ(back.frames_per_second, camera.frames_per_second);
    EXPECT_EQ(back.height_mm, camera.height_mm);
    EXPECT_EQ(back.points_in, camera.points_in);
}

// Points may be given in a picture of another size that shows the same.
TEST(CameraText, PointsInAnotherPicture) {
    host::RecordingCamera camera = host::parse_recording_camera(
        "width = 512\nheight = 424\nfx = 365\nfy = 365\ncx = 256\ncy = 212\n"
        "frames_per_second = 30\n",
        "text");
    const host::PicturePoint own = host::RecordingView(camera).to_picture({128.0, 106.0});
    camera.points_in = host::PictureSize{1024, 848};
    const host::PicturePoint twice = host::RecordingView(camera).to_picture({256.0, 212.0});
    EXPECT_NEAR(own.x, twice.x, 1e-9);
    EXPECT_NEAR(own.y, twice.y, 1e-9);
}

}  // namespace
