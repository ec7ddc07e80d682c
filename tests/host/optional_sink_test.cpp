// A sink that fails by itself.
#include "host/engine/optional_sink.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

// Fails at the call of this number.
class Fragile final : public host::Sink {
  public:
    Fragile(int& calls, int fails_at) : calls_(calls), fails_at_(fails_at) {}
    void on_frame(const host::FrameView&) override { call(); }
    void on_event(const host::Event&) override { call(); }
    void end_frame(const host::PassReport&) override { call(); }
    void finish() override { call(); }

  private:
    void call() {
        if (++calls_ == fails_at_) throw std::runtime_error("no room");
    }

    int& calls_;
    int fails_at_;
};

void tell_everything(host::Sink& sink) {
    const host::FramePlanes planes;
    sink.on_frame({0, 0.0, planes, {}, {}});
    sink.on_event({});
    sink.end_frame({});
    sink.finish();
}

TEST(OptionalSink, PassesEverythingOn) {
    int calls = 0;
    host::OptionalSink sink([&] { return std::make_unique<Fragile>(calls, 0); });
    tell_everything(sink);
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(sink.failure(), "");
}

TEST(OptionalSink, HearsNothingOnceItHasFailed) {
    for (int fails_at = 1; fails_at <= 4; ++fails_at) {
        int calls = 0;
        host::OptionalSink sink([&] { return std::make_unique<Fragile>(calls, fails_at); });
        EXPECT_NO_THROW(tell_everything(sink));
        EXPECT_EQ(calls, fails_at);
        EXPECT_EQ(sink.failure(), "no room");
    }
}

TEST(OptionalSink, MayFailFromTheBeginning) {
    host::OptionalSink sink(
        []() -> std::unique_ptr<host::Sink> { throw std::runtime_error("no encoder"); });
    EXPECT_NO_THROW(tell_everything(sink));
    EXPECT_EQ(sink.failure(), "no encoder");
}

}  // namespace
