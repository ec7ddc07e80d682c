// Rounds of a source one after the other.
#include "host/frames/played_source.h"

#include <utility>

#include "host/base/utc.h"

namespace host {
namespace {

class PlayedSource final : public FrameSource {
  public:
    PlayedSource(const SourceOptions& options, bool again)
        : options_(options), again_(again), round_(open_source(options)) {
        info_ = round_->info();
        info_.start_us = utc_now_us();
        info_.duration_s = 0.0;
        // Nobody compares what a camera counts with the people of a scene.
        info_.has_truth = false;
    }

    bool next(SourceFrame& frame) override {
        if (blanks_left_ > 0) return next_blank(frame);
        if (!round_->next(frame)) {
            if (!again_ || !any_) return false;
            begin_again();
            return next_blank(frame);
        }
        any_ = true;
        frame.number = number_ = frame.number + number_offset_;
        frame.time_s = time_s_ = whole_microseconds(frame.time_s + time_offset_s_);
        frame.people.clear();
        frame.crossings.clear();
        return true;
    }

    PicturePoint to_picture(const PicturePoint& p) const override { return round_->to_picture(p); }
    std::vector<std::string> warnings() const override { return round_->warnings(); }
    bool ends_the_scene() const override { return round_->ends_the_scene(); }
    std::vector<std::string> losses() const override { return round_->losses(); }

  private:
    // A source without frames would begin again for ever.
    void begin_again() {
        any_ = false;
        blanks_left_ = kClosingFrames;
        if (options_.source == "scene") ++options_.seed;
        round_ = open_source(options_);
        number_offset_ = number_ + 1 + kClosingFrames;
        time_offset_s_ = time_s_ + (kClosingFrames + 1) / info_.frames_per_second;
    }

    bool next_blank(SourceFrame& frame) {
        --blanks_left_;
        make_blank(frame);
        frame.number = ++number_;
        frame.time_s = time_s_ = whole_microseconds(time_s_ + 1.0 / info_.frames_per_second);
        return true;
    }

    SourceOptions options_;
    const bool again_;
    std::unique_ptr<FrameSource> round_;
    int blanks_left_ = 0;
    bool any_ = false;  // frame in this round
    std::int64_t number_ = -1;
    double time_s_ = 0.0;
    std::int64_t number_offset_ = 0;
    double time_offset_s_ = 0.0;
};

}  // namespace

std::unique_ptr<FrameSource> open_played(const SourceOptions& options, bool again) {
    return std::make_unique<PlayedSource>(options, again);
}

}  // namespace host
