// Resampling of recordings, their camera file, and what is said about unfit folders.
#include "host/frames/depth_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <random>
#include <utility>

#include "tests/support/unique_path.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

std::uint16_t depth_at(const std::vector<std::uint16_t>& depth, int u, int v) {
    return depth[static_cast<std::size_t>(v * 480 + u)];
}

TEST(Resampling, FitsTheRecordingIntoTheDepthImage) {
    const host::RecordingFit tall = host::fit_recording(512, 424);
    EXPECT_DOUBLE_EQ(tall.scale, 256.0 / 424.0);
    EXPECT_DOUBLE_EQ(tall.offset_y, 0.0);
    EXPECT_NEAR(tall.offset_x, (480.0 - 512.0 * 256.0 / 424.0) / 2.0, 1e-9);
    const host::RecordingFit wide = host::fit_recording(960, 256);
    EXPECT_DOUBLE_EQ(wide.scale, 0.5);
    EXPECT_DOUBLE_EQ(wide.offset_x, 0.0);
    EXPECT_DOUBLE_EQ(wide.offset_y, 64.0);
}

TEST(Resampling, CopiesARecordingOfTheSameSize) {
    std::vector<std::uint16_t> recording(480 * 256);
    for (std::size_t i = 0; i < recording.size(); ++i) {
        recording[i] = static_cast<std::uint16_t>(i % 5 == 0 ? 0 : i % 60000);
    }
    std::vector<std::uint16_t> depth;
    host::resample_depth(recording.data(), 480, 256, depth);
    EXPECT_EQ(depth, recording);
}

TEST(Resampling, CentresASmallRecordingWithZerosAround) {
    const std::vector<std::uint16_t> recording(240 * 256, 2000);
    std::vector<std::uint16_t> depth;
    host::resample_depth(recording.data(), 240, 256, depth);
    EXPECT_EQ(depth_at(depth, 119, 100), 0);
    EXPECT_EQ(depth_at(depth, 120, 100), 2000);
    EXPECT_EQ(depth_at(depth, 359, 100), 2000);
    EXPECT_EQ(depth_at(depth, 360, 100), 0);
}

TEST(Resampling, TakesTheNearestValidPixelOfTheFootprint) {
    // Each depth pixel covers 2 x 2 recording pixels.
    std::vector<std::uint16_t> recording(960 * 512, 0);
    const auto set = [&recording](int u, int v, std::uint16_t value) {
        recording[static_cast<std::size_t>(v * 960 + u)] = value;
    };
    set(21, 31, 1500);  // the only valid one under depth pixel (10, 15)
    std::vector<std::uint16_t> depth;
    host::resample_depth(recording.data(), 960, 512, depth);
    EXPECT_EQ(depth_at(depth, 10, 15), 1500);
    EXPECT_EQ(depth_at(depth, 11, 15), 0);  // a neighbour's pixel is not borrowed
    EXPECT_EQ(depth_at(depth, 10, 16), 0);
}

TEST(Resampling, EnlargesByRepeatingPixels) {
    std::vector<std::uint16_t> recording(240 * 128, 0);
    recording[240 * 10 + 20] = 1800;
    std::vector<std::uint16_t> depth;
    host::resample_depth(recording.data(), 240, 128, depth);
    for (const int v : {20, 21}) {
        for (const int u : {40, 41})
            EXPECT_EQ(depth_at(depth, u, v), 1800);
    }
    EXPECT_EQ(std::count(depth.begin(), depth.end(), 1800), 4);
}

// Of all measurements within half a depth pixel, or half a pixel of its own, the nearest; the first
// of several that are equally near.
std::uint16_t searched(const std::vector<std::uint16_t>& recording, int width, int height, int u,
                       int v) {
    const host::RecordingFit fit = host::fit_recording(width, height);
    const double reach = std::max(0.5 / fit.scale, 0.5);
    const double x = (u + 0.5 - fit.offset_x) / fit.scale - 0.5;
    const double y = (v + 0.5 - fit.offset_y) / fit.scale - 0.5;
    if (x <= -0.5 || x >= width - 0.5 || y <= -0.5 || y >= height - 0.5) return 0;
    std::uint16_t best = 0;
    double best_distance = 1e9;
    for (int row = 0; row < height; ++row) {
        if (row < std::ceil(y - reach) || row > std::floor(y + reach)) continue;
        for (int column = 0; column < width; ++column) {
            if (column < std::ceil(x - reach) || column > std::floor(x + reach)) continue;
            const double distance = (column - x) * (column - x) + (row - y) * (row - y);
            const std::uint16_t value = recording[static_cast<std::size_t>(row * width + column)];
            if (value == 0 || distance >= best_distance) continue;
            best = value;
            best_distance = distance;
        }
    }
    return best;
}

TEST(Resampling, IsASearchInEveryFootprintWhateverIsMissing) {
    std::mt19937 random(7);
    for (const auto& [width, height] : {std::pair{512, 424},
                                        {640, 480},
                                        {320, 240},
                                        {1280, 720},
                                        {16, 16},
                                        {511, 255},
                                        {960, 512},
                                        {240, 128}}) {
        std::vector<std::uint16_t> recording(static_cast<std::size_t>(width * height));
        for (std::uint16_t& value : recording)
            value = random() % 3 == 0 ? 0 : static_cast<std::uint16_t>(random());
        std::vector<std::uint16_t> depth;
        host::resample_depth(recording.data(), width, height, depth);
        for (int i = 0; i < 600; ++i) {
            const int u = static_cast<int>(random() % 480);
            const int v = static_cast<int>(random() % 256);
            ASSERT_EQ(depth_at(depth, u, v), searched(recording, width, height, u, v))
                << width << " x " << height << ", " << u << ", " << v;
        }
    }
}

class Folder : public ::testing::Test {
  protected:
    void SetUp() override {
        fs::remove_all(path_);
        fs::create_directories(path_);
        write_camera("");
    }
    void TearDown() override { fs::remove_all(path_); }

    void write_camera(const std::string& more, const std::string& base = R"(
width = 64
height = 48
fx = 50
fy = 50
cx = 32
cy = 24
frames_per_second = 10
)") {
        std::ofstream(path_ / "camera.toml") << base << more;
    }

    void write_png(const std::string& name, int type = CV_16UC1, int width = 64, int value = 2000) {
        cv::imwrite((path_ / name).string(), cv::Mat(48, width, type, cv::Scalar::all(value)));
    }

    std::unique_ptr<host::FrameSource> open() {
        host::SourceOptions options;
        options.source = "depth-folder";
        options.folder = path_.string();
        return host::open_source(options);
    }

    std::string error() {
        try {
            open();
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "";
    }

    fs::path path_ = test::unique_path("vca-depth-folder-test");
};

TEST_F(Folder, GivesFramesInTheOrderOfTheirNumbers) {
    write_png("d10.png", CV_16UC1, 64, 2010);
    write_png("d9.png", CV_16UC1, 64, 2009);
    write_png("d0011.PNG", CV_16UC1, 64, 2011);
    std::ofstream(path_ / "notes.txt") << "7";
    const auto source = open();
    EXPECT_DOUBLE_EQ(source->info().frames_per_second, 10.0);
    EXPECT_DOUBLE_EQ(source->info().duration_s, 0.3);
    EXPECT_FALSE(source->info().camera.height_mm);
    host::SourceFrame frame;
    for (const int number : {9, 10, 11}) {
        ASSERT_TRUE(source->next(frame));
        EXPECT_EQ(frame.number, number);
        EXPECT_NEAR(frame.time_s, (number - 9) * 0.1, 1e-9);
        EXPECT_EQ(depth_at(frame.planes.raw_mm, 240, 128), 2000 + number);
        EXPECT_EQ(frame.planes.colour_nv12.size(), 783360u);
        EXPECT_EQ(frame.planes.depth_nv12.size(), 184320u);
        EXPECT_FALSE(frame.planes.blank);
    }
    EXPECT_FALSE(source->next(frame));
}

TEST_F(Folder, DrawsNearBrightAndMissingDark) {
    write_camera("height_mm = 3000\n");
    cv::Mat image(48, 64, CV_16UC1, cv::Scalar::all(0));
    image(cv::Rect(32, 0, 32, 48)).setTo(1650);
    cv::imwrite((path_ / "1.png").string(), image);
    host::SourceFrame frame;
    ASSERT_TRUE(open()->next(frame));
    EXPECT_EQ(frame.planes.depth_nv12[128 * 480 + 100], 16);
    // Halfway to 1.1 times the height: (235 + 16) / 2.
    EXPECT_NEAR(frame.planes.depth_nv12[128 * 480 + 300], 125.5, 1.0);
    EXPECT_EQ(frame.planes.depth_nv12[480 * 256], 128);
}

TEST_F(Folder, MapsIntrinsicsAndUserPoints) {
    write_png("1.png");
    const auto source = open();
    const host::RecordingFit fit = host::fit_recording(64, 48);
    EXPECT_DOUBLE_EQ(fit.scale, 256.0 / 48.0);
    EXPECT_DOUBLE_EQ(source->info().camera.fx, 50.0 * fit.scale);
    // The middle of the recording is the middle of the depth image and of the picture.
    const host::PicturePoint middle = source->to_picture({31.5, 23.5});
    EXPECT_NEAR(middle.x, 239.5 * 2.0, 1e-9);
    EXPECT_NEAR(middle.y, 127.5 * 544.0 / 256.0, 1e-9);
    EXPECT_EQ(source->info().user_width, 64);
}

TEST_F(Folder, SaysWhatIsWrongWithTheFiles) {
    EXPECT_THAT(error(), HasSubstr("no numbered PNG file"));
    write_png("1.png", CV_8UC1);
    EXPECT_THAT(error(), AllOf(HasSubstr("1.png"), HasSubstr("8-bit grey"), HasSubstr("16-bit")));
    write_png("1.png", CV_16UC3);
    EXPECT_THAT(error(), HasSubstr("16-bit colour"));
    write_png("1.png", CV_16UC1, 60);
    EXPECT_THAT(error(), AllOf(HasSubstr("60 x 48"), HasSubstr("64 x 48")));
    std::ofstream(path_ / "1.png") << "no picture";
    EXPECT_THAT(error(), HasSubstr("not a whole PNG"));
    write_png("1.png");
    fs::resize_file(path_ / "1.png", 60);
    EXPECT_THAT(error(), HasSubstr("not a whole PNG"));
    write_png("1.png");
    write_png("a01.png");
    EXPECT_THAT(error(), HasSubstr("same number"));
}

void damage(const fs::path& path) {
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(45) << "broken";
}

TEST_F(Folder, ADamagedFileIsAFrameWithoutMeasurement) {
    for (const char* name : {"1.png", "2.png", "3.png", "4.png"})
        write_png(name);
    damage(path_ / "2.png");
    fs::resize_file(path_ / "3.png", 60);
    const auto source = open();
    host::SourceFrame frame;
    std::vector<int> measured;
    while (source->next(frame)) {
        measured.push_back(depth_at(frame.planes.raw_mm, 240, 128));
        EXPECT_FALSE(frame.planes.blank);
    }
    EXPECT_EQ(measured, (std::vector<int>{2000, 0, 0, 2000}));
    ASSERT_EQ(source->warnings().size(), 1u);
    EXPECT_THAT(source->warnings()[0],
                AllOf(HasSubstr("2 of 4 frames could not be read"), HasSubstr("3.png")));
    EXPECT_EQ(source->losses(), std::vector<std::string>{"2 of 4 frames could not be read"});
}

// Of the frames that were given, not of those that nobody asked for.
TEST_F(Folder, OneLostFrameInTwentyIsToldAndNoLoss) {
    for (int number = 1; number <= 30; ++number)
        write_png(std::to_string(number) + ".png");
    fs::resize_file(path_ / "5.png", 60);
    fs::resize_file(path_ / "30.png", 60);
    const auto source = open();
    host::SourceFrame frame;
    for (int n = 0; n < 10; ++n)
        source->next(frame);
    EXPECT_THAT(source->warnings().at(0), HasSubstr("1 of 10 frames"));
    EXPECT_THAT(source->losses().at(0), HasSubstr("1 of 10 frames"));
    for (int n = 0; n < 10; ++n)
        source->next(frame);
    EXPECT_THAT(source->warnings().at(0), HasSubstr("1 of 20 frames"));
    EXPECT_TRUE(source->losses().empty());
}

TEST_F(Folder, AnEnormousFileIsNotRead) {
    write_png("1.png");
    fs::resize_file(path_ / "1.png", std::uintmax_t{6} << 30);
    EXPECT_THAT(error(), HasSubstr("is larger than 1060864 bytes"));
}

TEST_F(Folder, ARecordingOfWhichMostIsDamagedIsRefusedWhenThatShows) {
    for (const char* name : {"1.png", "2.png", "3.png"})
        write_png(name);
    damage(path_ / "2.png");
    damage(path_ / "3.png");
    const auto source = open();
    host::SourceFrame frame;
    EXPECT_TRUE(source->next(frame));
    EXPECT_TRUE(source->next(frame));
    EXPECT_THROW(source->next(frame), host::InputError);
}

TEST_F(Folder, WhatIsNoFileIsNotOpened) {
    fs::create_directories(path_ / "1.png");
    EXPECT_THAT(error(), AllOf(HasSubstr("cannot read"), HasSubstr("it is a folder")));
    fs::remove(path_ / "1.png");
    ASSERT_EQ(::mkfifo((path_ / "1.png").c_str(), 0600), 0);
    EXPECT_THAT(error(), HasSubstr("it is not a regular file"));
}

TEST_F(Folder, SaysWhatIsWrongWithTheCameraFile) {
    write_png("1.png");
    write_camera("heigth_mm = 3000\n");
    EXPECT_THAT(error(), AllOf(HasSubstr("camera.toml"), HasSubstr("unknown key \"heigth_mm\"")));
    write_camera("height_mm = -3\n");
    EXPECT_THAT(error(), AllOf(HasSubstr("line 9"),
                               HasSubstr("height_mm must be a number from 1500 to 15000")));
    write_camera("height_mm = \"high\"\n");
    EXPECT_THAT(error(), HasSubstr("height_mm must be a number"));
    write_camera("", "width = 64\nheight = 48\n");
    EXPECT_THAT(error(), HasSubstr("lacks fx"));
    write_camera("", "width = 64.5\nheight = 48\n");
    EXPECT_THAT(error(), HasSubstr("camera.toml\" line 1: width must be a number from 16 to 8192"));
    write_camera("= 3\n");
    EXPECT_THAT(error(), HasSubstr("line 9"));
    fs::remove(path_ / "camera.toml");
    EXPECT_THAT(error(), HasSubstr("--camera FILE"));
}

TEST_F(Folder, EveryNumberOfTheCameraFileHasItsRange) {
    write_png("1.png");
    struct Case {
        int line;
        const char* key;
        std::vector<const char*> right;
        std::vector<const char*> wrong;
    };
    const std::vector<Case> cases{
        {1, "width", {"64"}, {"15", "8193", "inf", "true", "\"64\""}},
        {2, "height", {"48"}, {"0", "48.5", "nan"}},
        {3, "fx", {"6.4", "640"}, {"6.3", "641", "-50", "inf"}},
        {4, "fy", {"6.4", "640"}, {"6.3", "641", "0"}},
        {5, "cx", {"0", "63"}, {"-1", "63.5", "1000"}},
        {6, "cy", {"0", "47"}, {"-1", "47.5", "nan"}},
        {7, "frames_per_second", {"1", "240"}, {"0.5", "241"}},
        {8, "height_mm", {"1500", "15000"}, {"3", "1499", "15001", "1e9"}},
    };
    const char* kGood[] = {"64", "48", "50", "50", "32", "24", "10", "3000"};
    for (const Case& c : cases) {
        const auto file_with = [&](const char* value) {
            std::string text;
            for (const Case& other : cases) {
                text += std::string(other.key) + " = " +
                        (other.line == c.line ? value : kGood[other.line - 1]) + "\n";
            }
            write_camera("", text);
        };
        for (const char* value : c.right) {
            file_with(value);
            EXPECT_EQ(error(), "") << c.key << " = " << value;
        }
        for (const char* value : c.wrong) {
            file_with(value);
            const std::string place =
                "camera.toml\" line " + std::to_string(c.line) + ": " + c.key + " must be ";
            EXPECT_THAT(error(), HasSubstr(place)) << c.key << " = " << value;
        }
    }
}

TEST_F(Folder, MissingFramesTakeTheirTime) {
    for (const char* name : {"20.png", "21.png", "29.png", "30.png"})
        write_png(name);
    const auto source = open();
    EXPECT_DOUBLE_EQ(source->info().duration_s, 1.1);
    host::SourceFrame frame;
    for (const int number : {20, 21, 29, 30}) {
        ASSERT_TRUE(source->next(frame));
        EXPECT_EQ(frame.number, number);
        EXPECT_NEAR(frame.time_s, (number - 20) * 0.1, 1e-9);
    }
}

TEST_F(Folder, SkipsFrames) {
    for (const char* name : {"1.png", "2.png", "3.png"})
        write_png(name);
    const auto source = open();
    source->skip(2);
    host::SourceFrame frame;
    ASSERT_TRUE(source->next(frame));
    EXPECT_EQ(frame.number, 3);
    source->skip(5);
    EXPECT_FALSE(source->next(frame));
}

TEST_F(Folder, NumbersMustCountFrames) {
    write_png("1.png");
    write_png("101.png");  // 10 s
    EXPECT_EQ(error(), "");
    write_png("202.png");
    EXPECT_THAT(error(), AllOf(HasSubstr("202.png"), HasSubstr("10.1 s at 10 frames/s"),
                               HasSubstr("must count frames")));
    fs::remove(path_ / "202.png");
    fs::remove(path_ / "101.png");
    for (const char* name : {"101.png", "201.png", "301.png"})  // milliseconds
        write_png(name);
    EXPECT_THAT(error(), HasSubstr("must count frames"));
}

TEST_F(Folder, LongNumbersAreNotLeftOut) {
    write_png("00000000000000000042.png");
    write_png("000000000043.png");
    host::SourceFrame frame;
    const auto source = open();
    ASSERT_TRUE(source->next(frame));
    EXPECT_EQ(frame.number, 42);
    ASSERT_TRUE(source->next(frame));
    write_png("1700000000000.png");
    EXPECT_THAT(error(), AllOf(HasSubstr("1700000000000.png"), HasSubstr("13 digits"),
                               HasSubstr("must count frames")));
}

TEST(Sources, UnknownNamesListTheKnown) {
    host::SourceOptions options;
    options.source = "usb";
    try {
        host::open_source(options);
        FAIL() << "an unknown source was opened";
    } catch (const host::InputError& e) {
        EXPECT_THAT(e.what(),
                    AllOf(HasSubstr("\"usb\""),
                          HasSubstr("scene, walks, depth-folder, recording, live, null")));
    }
}

TEST(Sources, NullHasNoFrames) {
    host::SourceOptions options;
    options.source = "null";
    host::SourceFrame frame;
    EXPECT_FALSE(host::open_source(options)->next(frame));
}

TEST(Sources, MissingInputIsNamed) {
    host::SourceOptions options;
    options.source = "walks";
    EXPECT_THROW(host::open_source(options), host::InputError);
    options.trajectories = "/nonexistent/walks.txt";
    EXPECT_THROW(host::open_source(options), host::InputError);
    options.source = "depth-folder";
    EXPECT_THROW(host::open_source(options), host::InputError);
    options.folder = "/nonexistent";
    EXPECT_THROW(host::open_source(options), host::InputError);
    options.source = "scene";
    options.scene = "moon";
    EXPECT_THROW(host::open_source(options), host::InputError);
}

}  // namespace
