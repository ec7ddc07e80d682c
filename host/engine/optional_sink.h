// A listener that a run can do without.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/engine/sink.h"

namespace host {

// Passes everything on to a sink until it fails, which does not fail the run: the sink is then
// destroyed and receives nothing more.
class OptionalSink final : public Sink {
  public:
    // Creates the sink; even that may fail.
    explicit OptionalSink(const std::function<std::unique_ptr<Sink>()>& make) {
        attempt([&] { sink_ = make(); });
    }

    void on_frame(const FrameView& frame) override {
        attempt([&] { sink_->on_frame(frame); });
    }
    void on_event(const Event& event) override {
        attempt([&] { sink_->on_event(event); });
    }
    void end_frame(const PassReport& report) override {
        attempt([&] { sink_->end_frame(report); });
    }
    void finish() override {
        attempt([&] { sink_->finish(); });
    }

    // Why it failed; empty when it did not.
    const std::string& failure() const { return failure_; }

  private:
    template <typename Call>
    void attempt(const Call& call) {
        if (!failure_.empty()) return;
        try {
            call();
        } catch (const std::exception& error) {
            failure_ = error.what();
            sink_.reset();
        }
    }

    std::unique_ptr<Sink> sink_;
    std::string failure_;
};

}  // namespace host
