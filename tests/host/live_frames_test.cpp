// The frame that is shown is the one that was analysed, with its own people, and only when asked.
#include "host/sinks/live_frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "host/base/input_error.h"
#include "tests/host/told_frame.h"

namespace {

using host::LiveFrame;
using host::LiveFrames;
using ::testing::ElementsAre;
using namespace std::chrono_literals;

constexpr auto kNow = 0ms;
constexpr std::uint16_t kFloor_mm = 3000;

host::LiveFramesSetup setup(bool colour = false) {
    host::LiveFramesSetup setup;
    setup.floor_mm = kFloor_mm;
    setup.colour = colour;
    const std::vector<host::PicturePoint> points{{0, 0}, {100, 0}, {100, 100}};
    setup.regions = {{"mat", points}, {"till", points}};
    setup.time_us = [](double time_s) { return static_cast<std::int64_t>(time_s * 1e6); };
    return setup;
}

// All of it at one distance.
test::ToldFrame frame_at(std::int64_t number, std::uint16_t depth_mm = kFloor_mm) {
    test::ToldFrame frame;
    frame.pass.number = number;
    frame.pass.time_s = static_cast<double>(number) / 10.0;
    frame.planes.raw_mm.assign(std::size_t{host::kDepthWidth} * host::kDepthHeight, depth_mm);
    return frame;
}

void add_event(test::ToldFrame& frame, const host::Payload& payload) {
    host::Event event;
    event.frame_number = frame.pass.number;
    event.payload = payload;
    frame.events.push_back(event);
}

cv::Vec3b colour_of(const LiveFrame& frame) {
    const cv::Mat picture = cv::imdecode(frame.jpeg, cv::IMREAD_COLOR);
    EXPECT_EQ(picture.size(), cv::Size(480, 272));
    return picture.empty() ? cv::Vec3b{} : picture.at<cv::Vec3b>(136, 240);
}

TEST(LiveFrames, NothingIsKeptBeforeItIsWanted) {
    LiveFrames frames(setup());
    tell(frames, frame_at(1));
    EXPECT_FALSE(frames.take(kNow).has_value());
    frames.want();
    tell(frames, frame_at(2));
    tell(frames, frame_at(3));
    const auto frame = frames.take(kNow);
    ASSERT_TRUE(frame.has_value());
    EXPECT_EQ(frame->number, 2);
    EXPECT_EQ(frame->time_us, 200'000);
    EXPECT_FALSE(frames.take(kNow).has_value());
}

TEST(LiveFrames, WhatNobodyTookIsReplaced) {
    LiveFrames frames(setup());
    frames.want();
    frames.want();
    for (int i = 0; i < 9; ++i)
        tell(frames, frame_at(i));
    EXPECT_EQ(frames.take(kNow)->number, 8);
    tell(frames, frame_at(9));
    EXPECT_EQ(frames.take(kNow)->number, 9) << "two were wanted, and one was not taken";
    tell(frames, frame_at(10));
    EXPECT_FALSE(frames.take(kNow).has_value());
}

TEST(LiveFrames, NearIsBrightAndTheFloorIsDark) {
    LiveFrames frames(setup());
    const auto brightness = [&](std::uint16_t depth_mm) {
        frames.want();
        tell(frames, frame_at(1, depth_mm));
        const cv::Vec3b colour = colour_of(*frames.take(kNow));
        return colour[0] + colour[1] + colour[2];
    };
    EXPECT_GT(brightness(1300), brightness(2900));
    EXPECT_LT(brightness(0), 20) << "not measured";
}

TEST(LiveFrames, ColourIsWhatTheCameraSees) {
    LiveFrames frames(setup(true));
    test::ToldFrame frame = frame_at(1);
    const std::size_t pixels = std::size_t{host::kColourWidth} * host::kColourHeight;
    frame.planes.colour_nv12.assign(pixels * 3 / 2, 128);
    std::fill_n(frame.planes.colour_nv12.begin(), pixels, 200);
    frames.want();
    tell(frames, frame);
    const cv::Mat picture = cv::imdecode(frames.take(kNow)->jpeg, cv::IMREAD_COLOR);
    EXPECT_EQ(picture.size(), cv::Size(host::kColourWidth, host::kColourHeight));
    EXPECT_NEAR(picture.at<cv::Vec3b>(100, 100)[1], 214, 4);
}

TEST(LiveFrames, PeopleAreThoseOfTheFrame) {
    LiveFrames frames(setup());
    test::ToldFrame frame = frame_at(5);
    host::TracksShown before;
    before.tracks.resize(3);
    add_event(frame, before);
    frame.events.back().frame_number = 4;
    host::ShownTrack track;
    track.track = 7;
    track.x = 100;
    track.y = 50;
    track.w = 80;
    track.h = 60;
    track.height_mm = 1700;
    track.staff = 1;
    for (int i = 0; i < 40; ++i)
        track.trail.push_back({100 - i, 200});
    host::ShownTrack other;
    other.track = 8;
    other.w = other.h = 10;
    host::TracksShown shown;
    shown.tracks = {track, other};
    add_event(frame, shown);
    host::TracksShown detected = shown;
    detected.detected = true;
    detected.tracks.clear();
    add_event(frame, detected);
    host::RegionsReported regions;
    regions.people.push_back({7, {}, {}});
    regions.people[0].regions[1] = {1, 4200};
    add_event(frame, regions);
    frames.want();
    tell(frames, frame);
    const auto kept = frames.take(kNow);
    ASSERT_TRUE(kept.has_value());
    ASSERT_EQ(kept->people.size(), 2U);
    const host::LivePerson& person = kept->people[0];
    EXPECT_EQ(person.track, 7);
    EXPECT_EQ(person.box.w, 80);
    EXPECT_EQ(person.height_mm, 1700);
    EXPECT_TRUE(person.staff);
    EXPECT_EQ(person.trail.size(), 30U);
    EXPECT_EQ(person.trail.back().x, 100.0) << "the newest place is the last";
    EXPECT_EQ(person.foot.x, 100.0);
    EXPECT_EQ(person.region, "till");
    EXPECT_EQ(person.stay_ms, 4200);
    EXPECT_FALSE(kept->people[1].height_mm.has_value());
    EXPECT_FALSE(kept->people[1].region.has_value());
    EXPECT_EQ(kept->people[1].foot.x, 5.0) << "without a trail the middle of the box";
    const LiveFrame read = host::parse_live_frame(to_json(*kept, "door"));
    EXPECT_EQ(to_json(read, "door"), to_json(*kept, "door"));
}

TEST(LiveFrames, RegionsFollowTheSettings) {
    LiveFrames frames(setup());
    frames.change({{"shelf", {{0, 0}, {1, 0}, {1, 1}}}});
    test::ToldFrame frame = frame_at(5);
    host::TracksShown shown;
    shown.tracks.emplace_back().track = 7;
    add_event(frame, shown);
    host::RegionsReported regions;
    regions.people.push_back({7, {}, {}});
    regions.people[0].regions = {{{1, 100}, {1, 200}}};
    add_event(frame, regions);
    frames.want();
    tell(frames, frame);
    EXPECT_EQ(frames.take(kNow)->people.at(0).region, "shelf");
}

TEST(LiveFrames, WhatFollowsTheEndOfASourceIsNotShown) {
    LiveFrames frames(setup());
    frames.want();
    test::ToldFrame blank = frame_at(1);
    blank.planes.blank = true;
    tell(frames, blank);
    EXPECT_FALSE(frames.take(kNow).has_value());
}

TEST(LiveFrames, AFrameThatIsNoneIsRefused) {
    for (const char* text : {"", "{}", "[1]", R"({"frame":1,"time_us":2,"people":[{"track":1}]})",
                             R"({"frame":1,"time_us":2,"people":[{"track":1,"x":0,"y":0,"w":1,
                                 "h":1,"height_mm":null,"staff":false,"foot":[1],"trail":[],
                                 "region":null,"stay_ms":0}]})"})
        EXPECT_THROW(host::parse_live_frame(text), host::InputError) << text;
}

}  // namespace
