// What sinks hear of a session with the library, what becomes of frames that come too fast, and the
// library's clock.
#include "host/engine/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/host/session_scene.h"
#include "vca/debug.h"
#include "vca/messages.h"

namespace {

using ::testing::ElementsAre;

constexpr std::int64_t kNever = -2;

// Of a scene with 15 frames a second, in whole microseconds.
double scene_time_s(std::int64_t number) {
    return std::round(1e6 * static_cast<double>(number) / 15.0) / 1e6;
}

// Lists the calls that it gets. It throws at the frame that it is told to.
class CallList final : public host::Sink {
  public:
    enum class Kind { kFrame, kEvent, kEnd, kFinish };

    struct Call {
        Kind kind;
        std::int64_t frame;
        int id;
        bool operator==(const Call&) const = default;
    };

    CallList() = default;
    CallList(std::string error, Kind kind, std::int64_t frame)
        : error_(std::move(error)), kind_(kind), frame_(frame) {}

    void on_frame(const host::FrameView& frame) override {
        note({Kind::kFrame, frame.number, 0});
        EXPECT_NEAR(frame.time_s, scene_time_s(frame.number), 1e-12);
    }
    void on_event(const host::Event& event) override {
        note({Kind::kEvent, event.frame_number, event.id});
    }
    void end_frame(const host::PassReport& report) override {
        note({Kind::kEnd, report.number, 0});
        EXPECT_NEAR(report.time_s, scene_time_s(report.number), 1e-12);
    }
    void finish() override { note({Kind::kFinish, -1, 0}); }

    const std::vector<Call>& calls() const { return calls_; }
    int count(Kind kind) const {
        return static_cast<int>(std::count_if(calls_.begin(), calls_.end(),
                                              [kind](const Call& c) { return c.kind == kind; }));
    }

  private:
    void note(const Call& call) {
        if (call.kind != Kind::kFinish) {
            if (calls_.empty()) thread_ = std::this_thread::get_id();
            EXPECT_EQ(std::this_thread::get_id(), thread_);
        }
        calls_.push_back(call);
        if (call.kind == kind_ && call.frame >= frame_ && frame_ != kNever)
            throw std::runtime_error(error_);
    }

    std::string error_;
    Kind kind_ = Kind::kFinish;
    std::int64_t frame_ = kNever;
    std::vector<Call> calls_;
    std::thread::id thread_;
};

using Kind = CallList::Kind;

// Every frame begins, has its events and ends before the next one; only before the first are there
// events without a frame. The last one goes on until the session is closed.
void expect_in_order(const std::vector<CallList::Call>& calls, std::int64_t frames) {
    std::int64_t next = 0;
    bool open = false;
    for (const CallList::Call& call : calls) {
        switch (call.kind) {
            case Kind::kFrame:
                EXPECT_FALSE(open);
                EXPECT_EQ(call.frame, next);
                open = true;
                break;
            case Kind::kEvent:
                EXPECT_EQ(call.frame, open ? next : -1);
                EXPECT_TRUE(open || next == 0);
                break;
            case Kind::kEnd:
                EXPECT_TRUE(open);
                EXPECT_EQ(call.frame, next);
                open = false;
                ++next;
                break;
            case Kind::kFinish:
                EXPECT_FALSE(open);
                EXPECT_EQ(&call, &calls.back());
                break;
        }
    }
    EXPECT_FALSE(open);
    EXPECT_EQ(next, frames);
}

std::string error_of(host::Session& session) {
    try {
        session.close();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no error";
}

class Sinks : public ::testing::Test {
  protected:
    std::unique_ptr<host::Session> session(std::vector<host::Sink*> sinks) {
        return std::make_unique<host::Session>(scene_.session_setup(), std::move(sinks));
    }
    std::int64_t feed(host::Session& session, int frames) {
        scene_.set_frames(frames);
        return session.feed(scene_);
    }

    test::SceneFrames scene_;
};

TEST_F(Sinks, HearEachFrameWithItsEventsInOrder) {
    CallList first;
    CallList second;
    const auto running = session({&first, &second});
    EXPECT_EQ(feed(*running, 60), 59);
    running->request_heat_map();
    running->close();
    expect_in_order(first.calls(), 60);
    EXPECT_EQ(first.calls(), second.calls());
    EXPECT_EQ(first.calls().front(), (CallList::Call{Kind::kEvent, -1, VCA_MSG_CONFIG}));
    EXPECT_EQ(first.calls().back().kind, Kind::kFinish);
    EXPECT_EQ(first.count(Kind::kFinish), 1);
    // The scene begins with few people, who are shown; the heat map came as the last message,
    // before the tracks were told to end.
    EXPECT_GT(first.count(Kind::kEvent), 30);
    const auto last_message = std::find_if(
        first.calls().rbegin(), first.calls().rend(),
        [](const auto& call) { return call.kind == Kind::kEvent && call.id != host::kDecisionId; });
    EXPECT_EQ(last_message->id, VCA_MSG_HEAT_MAP);
}

class Failing : public Sinks, public ::testing::WithParamInterface<Kind> {};

TEST_P(Failing, EndsTheRunAndTheOthersAreFinished) {
    constexpr int kMany = 400;
    CallList before;
    CallList bad("the disk is full", GetParam(), 5);
    CallList after;
    const auto running = session({&before, &bad, &after});
    const std::int64_t last = feed(*running, kMany);
    EXPECT_GE(last, 5);
    EXPECT_LT(last, kMany - 1);
    EXPECT_EQ(feed(*running, 10), -1);  // nothing is fed any more
    EXPECT_EQ(error_of(*running), "the disk is full");
    for (const CallList* other : {&before, &after}) {
        expect_in_order(other->calls(), last + 1);
        EXPECT_EQ(other->count(Kind::kFinish), 1);
    }
    EXPECT_EQ(bad.calls().back().kind, GetParam());
    EXPECT_EQ(bad.count(Kind::kFinish), 0);
    EXPECT_LE(bad.calls().back().frame, 59);  // soon somebody is there to be shown
}

INSTANTIATE_TEST_SUITE_P(InEachCall, Failing,
                         ::testing::Values(Kind::kFrame, Kind::kEvent, Kind::kEnd));

TEST_F(Sinks, TheFirstErrorIsTold) {
    CallList late("late", Kind::kEnd, 7);
    CallList early("early", Kind::kFrame, 3);
    const auto running = session({&late, &early});
    feed(*running, 30);
    EXPECT_EQ(error_of(*running), "early");
}

TEST_F(Sinks, AnErrorAtTheStartFeedsNothing) {
    CallList bad("at once", Kind::kEvent, -1);
    CallList good;
    const auto running = session({&bad, &good});
    EXPECT_EQ(feed(*running, 5), -1);
    EXPECT_EQ(error_of(*running), "at once");
    EXPECT_EQ(bad.calls().size(), 1u);
    EXPECT_EQ(good.count(Kind::kFinish), 1);
}

TEST_F(Sinks, AllAreFinishedEvenIfOneFails) {
    CallList before;
    CallList bad("no end", Kind::kFinish, -1);
    CallList after;
    const auto running = session({&before, &bad, &after});
    EXPECT_EQ(feed(*running, 5), 4);
    EXPECT_EQ(error_of(*running), "no end");
    EXPECT_EQ(before.count(Kind::kFinish), 1);
    EXPECT_EQ(after.count(Kind::kFinish), 1);
}

TEST_F(Sinks, MayComeLateAndGoEarly) {
    CallList all;
    CallList guest;
    const auto running = session({&all});
    EXPECT_EQ(feed(*running, 10), 9);
    running->add_sink(guest);
    EXPECT_EQ(feed(*running, 10), 19);
    running->remove_sink(guest);
    EXPECT_EQ(feed(*running, 10), 29);
    running->close();
    expect_in_order(all.calls(), 30);
    std::vector<std::int64_t> begun;
    for (const CallList::Call& call : guest.calls()) {
        if (call.kind == Kind::kFrame) begun.push_back(call.frame);
    }
    EXPECT_THAT(begun, ElementsAre(10, 11, 12, 13, 14, 15, 16, 17, 18, 19));
    EXPECT_EQ(guest.count(Kind::kFinish), 0);
    for (const CallList::Call& call : guest.calls())
        EXPECT_LE(call.frame, 19);
}

// Frames that show nothing but their number, made faster than they are analysed.
class NumberedFrames final : public host::FrameFeed {
  public:
    explicit NumberedFrames(int frames) : left_(frames) {}

    bool next(host::SourceFrame& frame) override {
        if (left_-- == 0) return false;
        host::make_blank(frame);
        frame.planes.blank = false;
        frame.number = made_++;
        frame.time_s = first_s_ + static_cast<double>(frame.number) / 15.0;
        stamp(frame.planes, frame.number);
        if (on_made) on_made(frame.number);
        return true;
    }
    void set_frames(int frames) { left_ = frames; }
    void set_first_s(double time_s) { first_s_ = time_s; }

    static void stamp(host::FramePlanes& planes, std::int64_t number) {
        planes.colour_nv12.front() = planes.colour_nv12.back() =
            static_cast<std::uint8_t>(number % 251);
        planes.raw_mm.front() = planes.raw_mm.back() = static_cast<std::uint16_t>(number);
    }
    static bool is_stamped(const host::FramePlanes& planes, std::int64_t number) {
        const auto luma = static_cast<std::uint8_t>(number % 251);
        const auto mm = static_cast<std::uint16_t>(number);
        return planes.colour_nv12.front() == luma && planes.colour_nv12.back() == luma &&
               planes.raw_mm.front() == mm && planes.raw_mm.back() == mm;
    }

    std::function<void(std::int64_t)> on_made;

  private:
    int left_;
    std::int64_t made_ = 0;
    double first_s_ = 0.0;
};

// Looks at each frame's pixels for as long as it is told to.
class SlowLooker final : public host::Sink {
  public:
    explicit SlowLooker(std::chrono::milliseconds time) : time_(time) {}

    void on_frame(const host::FrameView& frame) override {
        const bool before = NumberedFrames::is_stamped(frame.planes, frame.number);
        std::this_thread::sleep_for(time_);
        EXPECT_TRUE(before && NumberedFrames::is_stamped(frame.planes, frame.number))
            << frame.number;
        seen_.push_back(frame.number);
        last_ = frame.number;
    }
    const std::vector<std::int64_t>& seen() const { return seen_; }
    std::int64_t last() const { return last_; }  // any thread

  private:
    std::chrono::milliseconds time_;
    std::vector<std::int64_t> seen_;
    std::atomic<std::int64_t> last_{-1};
};

TEST_F(Sinks, ASlowOneHoldsFramesUpAndLosesNone) {
    constexpr int kFrames = 40;
    SlowLooker slow(std::chrono::milliseconds(25));
    const auto running = session({&slow});
    NumberedFrames frames(kFrames);
    std::int64_t most_ahead = 0;
    frames.on_made = [&](std::int64_t number) {
        most_ahead = std::max(most_ahead, number - slow.last());
    };
    EXPECT_EQ(running->feed(frames), kFrames - 1);
    const host::LeftOver left = running->close();
    EXPECT_EQ(left.left_out_frames, 0);
    ASSERT_EQ(slow.seen().size(), static_cast<std::size_t>(kFrames));
    for (int i = 0; i < kFrames; ++i)
        EXPECT_EQ(slow.seen()[static_cast<std::size_t>(i)], i);
    // Six places for frames: five that are queued or looked at and one that is being made.
    EXPECT_LE(most_ahead, 6);
    EXPECT_GE(most_ahead, 3);
}

class Newest : public Sinks {
  protected:
    std::unique_ptr<host::Session> session(std::vector<host::Sink*> sinks) {
        host::SessionSetup setup = scene_.session_setup();
        setup.frames = host::FramePolicy::kNewest;
        return std::make_unique<host::Session>(setup, std::move(sinks));
    }
};

TEST_F(Newest, EveryFrameIsAnalysedOrCountedAsLeftOut) {
    SlowLooker looker(std::chrono::milliseconds(0));
    const auto running = session({&looker});
    NumberedFrames frames(0);
    std::int64_t fed = 0;
    for (const int more : {1, 2, 3, 300, 1, 40}) {
        frames.set_frames(more);
        fed += more;
        EXPECT_EQ(running->feed(frames), fed - 1);
        // The last one has no newer one to make room for.
        ASSERT_FALSE(looker.seen().empty());
        EXPECT_EQ(looker.seen().back(), fed - 1);
    }
    const host::LeftOver left = running->close();
    EXPECT_EQ(static_cast<std::int64_t>(looker.seen().size()) + left.left_out_frames, fed);
    EXPECT_GT(left.left_out_frames, 0);  // frames are made faster than they are analysed
    EXPECT_TRUE(std::is_sorted(looker.seen().begin(), looker.seen().end()));
    EXPECT_EQ(left.loans.blocks + left.loans.mappings + left.loans.errors, 0);
}

TEST_F(Newest, FramesThatComeSlowlyAreAllAnalysed) {
    SlowLooker looker(std::chrono::milliseconds(0));
    const auto running = session({&looker});
    NumberedFrames frames(0);
    for (int i = 0; i < 20; ++i) {
        frames.set_frames(1);
        EXPECT_EQ(running->feed(frames), i);
    }
    EXPECT_EQ(running->close().left_out_frames, 0);
    EXPECT_EQ(looker.seen().size(), 20u);
}

class Clock : public Sinks {
  protected:
    // What the library's clock shows while a frame of this scene time is the last one.
    std::int64_t shown_ms(host::Session& session, double time_s) {
        NumberedFrames frames(1);
        frames.set_first_s(time_s);
        session.feed(frames);
        return avs_get_timestamp();
    }
    static std::int64_t system_ms() {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    }
};

TEST_F(Clock, OfASceneFollowsItsFrames) {
    constexpr std::int64_t kStart_ms = 1767225600000;  // 2026-01-01 00:00 UTC
    const auto running = session({});
    EXPECT_EQ(avs_get_timestamp(), kStart_ms);
    EXPECT_EQ(shown_ms(*running, 600.0), kStart_ms + 600000);
    EXPECT_EQ(shown_ms(*running, 600.4), kStart_ms + 600400);
    EXPECT_EQ(avs_get_monotonictime(0), kStart_ms + 600400);
    EXPECT_EQ(shown_ms(*running, 86400.0), kStart_ms + 86400000);
    running->close();
    EXPECT_NEAR(static_cast<double>(avs_get_timestamp()), static_cast<double>(system_ms()), 1000.0);
}

TEST_F(Clock, OfTheWallIsThatOfTheSystem) {
    host::SessionSetup setup = scene_.session_setup();
    setup.clock = host::ClockKind::kWall;
    host::Session running(setup, {});
    for (const double time_s : {0.0, 600.0, 86400.0}) {
        const std::int64_t before_ms = system_ms();
        const std::int64_t shown = shown_ms(running, time_s);
        // Rounded to the nearest.
        EXPECT_GE(shown, before_ms);
        EXPECT_LE(shown, system_ms() + 1);
    }
    running.close();
}

}  // namespace
