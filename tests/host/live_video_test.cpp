// The live video: read back, every frame shows its own messages, whatever the threads do.
#include "host/sinks/live_video.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <stdexcept>
#include <thread>

#include "tests/support/unique_path.h"

namespace {

using namespace std::chrono_literals;

// The box of frame n stands at its own column, so that a mixed-up frame shows.
int column_of(std::int64_t frame) {
    return 40 + static_cast<int>(frame % 16) * 50;
}

host::Event tracks_of(std::int64_t frame) {
    host::ShownTrack track;
    track.track = static_cast<int>(frame);
    track.x = column_of(frame);
    track.y = 200;
    track.w = 60;
    track.h = 120;
    track.class_id = VCA_CLASS_PERSON;
    return {6069, frame, 0.0, host::TracksShown{0, false, {track}}};
}

host::FramePlanes grey_planes(std::uint8_t luma = 90) {
    host::FramePlanes planes;
    planes.colour_nv12.assign(std::size_t{960} * 544 * 3 / 2, 128);
    std::fill_n(planes.colour_nv12.begin(), 960 * 544, luma);
    return planes;
}

// The engine's call when a frame begins.
void begin(host::LiveVideo& video, std::int64_t number, const host::FramePlanes& planes) {
    static const std::vector<host::TruePerson> nobody;
    static const std::vector<host::TrueCrossing> none;
    video.on_frame({number, static_cast<double>(number) / 15.0, planes, nobody, none});
}

void end(host::LiveVideo& video, std::int64_t number) {
    host::PassReport report;
    report.number = number;
    video.end_frame(report);
}

// Column at which a green box begins; -1 without one. Lossy coding leaves no exact colours.
int seen_column(const cv::Mat& picture) {
    const cv::Mat rows = picture.rowRange(215, 305);
    cv::Mat green;
    cv::inRange(rows, cv::Scalar(40, 160, 30), cv::Scalar(160, 255, 150), green);
    const cv::Rect box = cv::boundingRect(green);
    return box.area() == 0 ? -1 : box.x;
}

class LiveVideoFile : public ::testing::Test {
  protected:
    void TearDown() override { std::filesystem::remove(path_); }

    host::LiveVideo::Setup setup(double frames_per_second = 15.0) const {
        return {path_, frames_per_second, {"test", {}, {}}};
    }

    std::vector<cv::Mat> read_back() const {
        cv::VideoCapture file(path_, cv::CAP_FFMPEG);
        EXPECT_TRUE(file.isOpened());
        std::vector<cv::Mat> pictures;
        for (cv::Mat picture; file.read(picture);)
            pictures.push_back(picture.clone());
        return pictures;
    }

    // With the ending of a result under work.
    std::string path_ = test::unique_path("vca-live-video", ".mp4.part").string();
};

TEST_F(LiveVideoFile, HasEveryFrameWithItsOwnPeople) {
    constexpr std::int64_t kFrames = 48;
    host::LiveVideo video(setup());
    const host::FramePlanes planes = grey_planes();
    // The bus delivers late, and several frames at once.
    for (std::int64_t n = 0; n < kFrames; ++n) {
        if (n % 11 == 0) std::this_thread::sleep_for(10ms);
        begin(video, n, planes);
        if (n % 7 == 0) std::this_thread::sleep_for(5ms);
        video.on_event(tracks_of(n));
        end(video, n);
    }
    video.finish();
    EXPECT_EQ(video.frames(), kFrames);
    const std::vector<cv::Mat> pictures = read_back();
    ASSERT_EQ(pictures.size(), static_cast<std::size_t>(kFrames));
    for (std::int64_t n = 0; n < kFrames; ++n) {
        EXPECT_NEAR(seen_column(pictures[static_cast<std::size_t>(n)]), column_of(n), 3) << n;
    }
}

TEST_F(LiveVideoFile, TheNextFramesMessagesDoNotShowEarly) {
    host::LiveVideo video(setup());
    const host::FramePlanes planes = grey_planes();
    video.on_event(tracks_of(0));
    video.on_event(tracks_of(1));
    video.on_event(tracks_of(2));
    for (std::int64_t n = 0; n < 4; ++n)
        begin(video, n, planes);
    end(video, 3);  // nobody in the last one
    video.finish();
    const std::vector<cv::Mat> pictures = read_back();
    ASSERT_EQ(pictures.size(), 4u);
    for (std::int64_t n = 0; n < 3; ++n)
        EXPECT_NEAR(seen_column(pictures[static_cast<std::size_t>(n)]), column_of(n), 3) << n;
    EXPECT_EQ(seen_column(pictures[3]), -1);
}

TEST_F(LiveVideoFile, HasTheSourcesRateAndTheCamerasPictures) {
    for (const double rate : {15.0, 7.5, 29.97}) {
        host::LiveVideo video(setup(rate));
        for (int n = 0; n < 6; ++n)
            begin(video, n, grey_planes(static_cast<std::uint8_t>(40 + 30 * n)));
        video.finish();
        cv::VideoCapture file(path_, cv::CAP_FFMPEG);
        ASSERT_TRUE(file.isOpened());
        EXPECT_NEAR(file.get(cv::CAP_PROP_FPS), rate, 0.01);
        EXPECT_EQ(file.get(cv::CAP_PROP_FRAME_WIDTH), host::kLivePicture.width);
        EXPECT_EQ(file.get(cv::CAP_PROP_FRAME_HEIGHT), host::kLivePicture.height);
        EXPECT_EQ(file.get(cv::CAP_PROP_FRAME_COUNT), 6);
        // What browsers play.
        EXPECT_EQ(static_cast<int>(file.get(cv::CAP_PROP_FOURCC)),
                  cv::VideoWriter::fourcc('a', 'v', 'c', '1'));
        EXPECT_EQ(static_cast<int>(file.get(cv::CAP_PROP_CODEC_PIXEL_FORMAT)),
                  cv::VideoWriter::fourcc('I', '4', '2', '0'));
        const std::vector<cv::Mat> pictures = read_back();
        ASSERT_EQ(pictures.size(), 6u);
        // Video range of luma: 1.164 * (Y - 16).
        EXPECT_NEAR(pictures.front().at<cv::Vec3b>(300, 500)[1], 28, 5);
        EXPECT_NEAR(pictures.back().at<cv::Vec3b>(300, 500)[1], 203, 5);
    }
}

TEST_F(LiveVideoFile, FramesFedAfterTheEndAreLeftOut) {
    host::LiveVideo video(setup());
    begin(video, 0, grey_planes());
    host::FramePlanes blank = grey_planes();
    blank.blank = true;
    begin(video, 1, blank);
    end(video, 1);
    video.finish();
    EXPECT_EQ(video.frames(), 1);
}

// How much nearer a picture is to one drawing than to another where the two clearly differ below
// the camera's picture: 1 when equal to the first, -1 when equal to the second. Lossy coding leaves
// no exact pixels.
double likeness(const cv::Mat& picture, const cv::Mat& first, const cv::Mat& second) {
    const cv::Rect strip(0, host::kLiveCamera.height, host::kLivePicture.width,
                         host::kLivePicture.height - host::kLiveCamera.height);
    const auto grey = [&strip](const cv::Mat& image) {
        cv::Mat out;
        cv::cvtColor(image(strip), out, cv::COLOR_BGR2GRAY);
        return out;
    };
    cv::Mat difference;
    cv::absdiff(grey(first), grey(second), difference);
    const cv::Mat mask = difference > 100;
    EXPECT_GT(cv::countNonZero(mask), 20);
    const double to_first = cv::norm(grey(picture), grey(first), cv::NORM_L1, mask);
    const double to_second = cv::norm(grey(picture), grey(second), cv::NORM_L1, mask);
    return (to_second - to_first) / (to_first + to_second);
}

// A recording may begin anywhere, and its numbers are not its seconds times its rate.
TEST_F(LiveVideoFile, ShowsTheSceneTimeOfItsFrames) {
    constexpr std::int64_t kFirst = 9000;
    constexpr double kFirst_s = 600.0;
    host::LiveVideo video(setup(30.0));
    const host::FramePlanes planes = grey_planes();
    const std::vector<host::TruePerson> nobody;
    const std::vector<host::TrueCrossing> none;
    for (int n = 0; n < 4; ++n) {
        video.on_frame({kFirst + n, kFirst_s + n / 30.0, planes, nobody, none});
        end(video, kFirst + n);
    }
    video.finish();
    const auto drawn_at = [this](double time_s) {
        cv::Mat picture;
        host::LiveView(setup().scene).draw({}, kFirst, time_s, picture);
        return picture;
    };
    const std::vector<cv::Mat> pictures = read_back();
    ASSERT_EQ(pictures.size(), 4u);
    for (const double wrong_s : {0.0, static_cast<double>(kFirst) / 30.0, kFirst_s + 10.0})
        EXPECT_GT(likeness(pictures[0], drawn_at(kFirst_s), drawn_at(wrong_s)), 0.5) << wrong_s;
}

TEST_F(LiveVideoFile, WithoutFramesThereIsOnePlainPicture) {
    host::LiveVideo video(setup());
    video.finish();
    EXPECT_EQ(read_back().size(), 1u);
}

TEST_F(LiveVideoFile, WaitsForRoomUntilPicturesAreDrawn) {
    host::LiveVideo video(setup());
    const host::FramePlanes planes = grey_planes();
    constexpr std::int64_t kMany = 12;
    for (std::int64_t n = 0; n < kMany; ++n)
        begin(video, n, planes);
    std::atomic<bool> has_room{false};
    std::thread bus([&] {
        begin(video, kMany, planes);
        has_room = true;
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(has_room);
    end(video, 0);
    bus.join();
    EXPECT_TRUE(has_room);
    video.finish();
    EXPECT_EQ(video.frames(), kMany + 1);
}

TEST_F(LiveVideoFile, IsGivenUpWithoutFinish) {
    {
        host::LiveVideo video(setup());
        for (int n = 0; n < 5; ++n)
            begin(video, n, grey_planes());
    }
    SUCCEED();  // came to an end
}

TEST(LiveVideo, AFolderThatIsNotThereIsAnError) {
    EXPECT_THROW(host::LiveVideo({"/nonexistent/live.mp4", 15.0, {}}), std::runtime_error);
}

TEST(LiveVideo, ADeviceWithoutRoomIsAnError) {
    EXPECT_THROW(host::LiveVideo({"/dev/full", 15.0, {}}), std::runtime_error);
}

// A limit on the size of files stands for a disk that becomes full.
TEST_F(LiveVideoFile, ADiskThatBecomesFullIsAnErrorAtTheEnd) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlim_t before = limit.rlim_cur;
    host::LiveVideo video(setup());
    limit.rlim_cur = 20000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    host::FramePlanes planes = grey_planes();
    for (unsigned n = 0; n < 8; ++n) {
        for (std::size_t i = 0; i < planes.colour_nv12.size(); ++i)
            planes.colour_nv12[i] = static_cast<std::uint8_t>((i * 2654435761u + n * 977u) >> 13);
        begin(video, n, planes);
    }
    EXPECT_THROW(video.finish(), std::runtime_error);
    limit.rlim_cur = before;
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

}  // namespace
