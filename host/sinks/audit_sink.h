// Keeps of a run what an audit asks for: everybody counted, all stories, and where everybody was.
#pragma once

#include <vector>

#include "host/engine/sink.h"
#include "host/score/audit.h"
#include "host/score/balance.h"
#include "host/score/story.h"

namespace host {

// The people of one frame.
struct SeenFrame {
    double time_s = 0.0;
    std::vector<TrackedBox> tracks;
};

// Grows with the recording: about 100 bytes a frame.
class AuditSink final : public Sink {
  public:
    AuditSink(StoryNames names, const BalanceSetup& balance)
        : names_(std::move(names)), balance_(balance) {}

    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;
    void finish() override;

    // Complete after finish().
    const std::vector<CountedCrossing>& counts() const { return counts_; }
    const std::vector<Witness>& witnesses() const { return witnesses_; }
    const std::vector<SeenFrame>& frames() const { return frames_; }
    const std::vector<Balance>& balances() const { return balance_.balances(); }

  private:
    StoryNames names_;
    StoryBook book_;
    BalanceMeter balance_;
    std::vector<CountedCrossing> counts_;
    std::vector<Witness> witnesses_;
    std::vector<SeenFrame> frames_;
};

}  // namespace host
