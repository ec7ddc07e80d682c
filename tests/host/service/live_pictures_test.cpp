// Frames are asked for while somebody watches, kept for a few seconds, and never mixed up.
#include "host/service/live_pictures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "host/service/live_link.h"

namespace {

using host::LivePictures;
using host::MessageSocket;
using ::testing::Each;
using ::testing::StartsWith;
using namespace std::chrono_literals;

constexpr auto kAges = 60s;
constexpr auto kNow = 0ms;

template <typename Condition>
bool eventually(const Condition& condition) {
    const auto end = std::chrono::steady_clock::now() + kAges;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

// The camera's process, which does what the test says.
class Camera {
  public:
    Camera(LivePictures& pictures, const std::string& name) {
        const auto [ours, theirs] = MessageSocket::open_pair();
        socket_ = std::make_unique<MessageSocket>(theirs);
        pictures.connect(name, ours);
    }
    // So many wishes have come since the beginning.
    bool is_asked(int times) {
        return eventually([&] { return wishes() >= times; });
    }
    int wishes() {
        for (const host::SocketMessage& message : socket_->receive()) {
            EXPECT_EQ(message.text, host::kWantFrame);
            ++wishes_;
        }
        return wishes_;
    }
    void send(std::int64_t number) {
        host::LiveFrame frame;
        frame.number = number;
        frame.time_us = 1000 * number;
        frame.people.push_back({7, {1, 2, 3, 4}, 1700, false, {5, 6}, {{4, 5}, {5, 6}}, "till", 9});
        send(to_json(frame, "x"), {static_cast<std::uint8_t>(number), 2, 3});
    }
    void send(const std::string& text, const std::vector<std::uint8_t>& bytes) {
        EXPECT_TRUE(socket_->send({text, bytes}));
    }
    void send_bytes(const std::string& bytes) const {
        EXPECT_EQ(::write(socket_->file(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }

  private:
    std::unique_ptr<MessageSocket> socket_;
    int wishes_ = 0;
};

class Pictures : public ::testing::Test {
  protected:
    bool comes(std::int64_t number, const std::string& camera = "door") {
        return eventually([&] { return pictures_.frame(camera, number) != nullptr; });
    }
    LivePictures pictures_;
};

TEST_F(Pictures, AreAskedForWhileSomebodyWatches) {
    Camera door(pictures_, "door");
    Camera back(pictures_, "back");
    {
        const LivePictures::Watch watch(pictures_, "door");
        EXPECT_TRUE(door.is_asked(2));
        door.send(10);
        EXPECT_TRUE(comes(10));
        EXPECT_TRUE(door.is_asked(3)) << "the next is asked for";
        door.send(12);
        EXPECT_TRUE(comes(12));
        EXPECT_TRUE(door.is_asked(4));
    }
    door.send(14);
    door.send(15);
    EXPECT_TRUE(comes(15));
    EXPECT_EQ(door.wishes(), 4) << "nobody watches any more";
    EXPECT_EQ(back.wishes(), 0);
}

TEST_F(Pictures, AreThoseOfTheirNumber) {
    Camera door(pictures_, "door");
    door.send(3);
    door.send(5);
    ASSERT_TRUE(comes(5));
    const auto frame = pictures_.frame("door", 3);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->jpeg.at(0), 3);
    EXPECT_EQ(frame->time_us, 3000);
    EXPECT_EQ(frame->people.at(0).region, "till");
    EXPECT_EQ(pictures_.frame("door", 4), nullptr);
    EXPECT_EQ(pictures_.frame("back", 3), nullptr);
}

TEST_F(Pictures, DamageIsAsIfNothingHadCome) {
    Camera door(pictures_, "door");
    const LivePictures::Watch watch(pictures_, "door");
    ASSERT_TRUE(door.is_asked(2));
    for (const char* text :
         {"", "{", "[]", "{\"frame\": 1}", "{\"frame\": \"x\", \"time_us\": 1, \"people\": []}",
          "{\"frame\": 1, \"time_us\": 1, \"people\": [{}]}",
          "{\"frame\": -1, \"time_us\": 1, \"people\": []}",
          "{\"frame\": 9000000000000000000, \"time_us\": 1, \"people\": []}"})
        door.send(text, {1});
    door.send("{\"frame\": 1, \"time_us\": 1, \"people\": []}", {});
    door.send(2);
    EXPECT_TRUE(comes(2));
    EXPECT_EQ(pictures_.frame("door", 1), nullptr) << "it had no picture";
    EXPECT_TRUE(door.is_asked(4)) << "for as many as came";
}

TEST_F(Pictures, ABrokenConnectionIsThatOfOneCamera) {
    Camera door(pictures_, "door");
    Camera back(pictures_, "back");
    door.send_bytes("GET / HTTP/1.1\r\n\r\n");
    const LivePictures::Watch one(pictures_, "door");
    const LivePictures::Watch two(pictures_, "back");
    EXPECT_TRUE(back.is_asked(2));
    back.send(1);
    EXPECT_TRUE(comes(1, "back"));
    EXPECT_EQ(pictures_.newest("door", kNow), nullptr);
}

TEST_F(Pictures, NumbersGoOnWhenTheProcessBeginsAgain) {
    const LivePictures::Watch watch(pictures_, "door");
    {
        Camera door(pictures_, "door");
        door.send(41);
        ASSERT_TRUE(comes(41));
        pictures_.disconnect("door");
    }
    Camera again(pictures_, "door");
    EXPECT_TRUE(again.is_asked(2));
    again.send(0);
    again.send(1);
    ASSERT_TRUE(comes(43));
    EXPECT_EQ(pictures_.frame("door", 41)->jpeg.at(0), 41);
    EXPECT_EQ(pictures_.frame("door", 42)->jpeg.at(0), 0);
}

TEST_F(Pictures, TheNewestIsWaitedForWhereNobodyWatches) {
    Camera door(pictures_, "door");
    door.send(1);
    ASSERT_TRUE(comes(1));
    std::shared_ptr<const host::LiveFrame> newest;
    std::thread asks([&] { newest = pictures_.newest("door", kAges); });
    EXPECT_TRUE(door.is_asked(2));
    door.send(2);
    asks.join();
    ASSERT_NE(newest, nullptr);
    EXPECT_EQ(newest->number, 2) << "what was left of before is not the newest";
    EXPECT_EQ(pictures_.newest("gone", kNow), nullptr);
}

TEST_F(Pictures, WhoeverListensIsToldOfEach) {
    std::vector<std::string> told;
    pictures_.listen([&](const std::string& camera, const LivePictures::Frame& frame) {
        told.push_back(camera + std::to_string(frame->number));
    });
    Camera door(pictures_, "door");
    for (int i = 0; i < 5; ++i)
        door.send(i);
    ASSERT_TRUE(comes(4));
    pictures_.listen({});
    EXPECT_EQ(told.size(), 5U);
    EXPECT_THAT(told, Each(StartsWith("door")));
}

// Both ends as they are.
TEST_F(Pictures, ComeFromACamera) {
    host::LiveFramesSetup setup;
    setup.time_us = [](double time_s) { return static_cast<std::int64_t>(time_s * 1e6); };
    host::LiveFrames frames(setup);
    const auto [ours, theirs] = MessageSocket::open_pair();
    pictures_.connect("door", ours);
    const host::LiveLink link(theirs, frames, "door");
    const LivePictures::Watch watch(pictures_, "door");
    host::FramePlanes planes;
    planes.raw_mm.assign(std::size_t{host::kDepthWidth} * host::kDepthHeight, 2500);
    std::int64_t number = 0;
    EXPECT_TRUE(eventually([&] {
        frames.on_frame({++number, 0.1 * static_cast<double>(number), planes, {}, {}});
        host::PassReport report;
        report.number = number;
        frames.end_frame(report);
        return pictures_.newest("door", kNow) != nullptr;
    }));
    const auto newest = pictures_.newest("door", kNow);
    ASSERT_NE(newest, nullptr);
    ASSERT_GT(newest->jpeg.size(), 100U);
    EXPECT_EQ(newest->jpeg[0], 0xff);
    EXPECT_EQ(newest->jpeg[1], 0xd8);
    EXPECT_EQ(newest->time_us, 100'000 * newest->number);
}

}  // namespace
