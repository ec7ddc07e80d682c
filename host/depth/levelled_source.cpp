// The wrapper around a source.
#include "host/depth/levelled_source.h"

#include <cmath>
#include <deque>
#include <utility>

#include "host/base/text.h"
#include "host/depth/floor_plane.h"
#include "host/depth/rectifier.h"
#include "host/frames/grey_picture.h"

namespace host {
namespace {

constexpr double kLooking_s = 1.0;        // for the floor
constexpr std::size_t kMostLooks = 30;    // that many frames are kept
constexpr double kSureShare = 0.4;        // of the measurements on the floor: no need to look on
constexpr double kLevelEnough_deg = 0.5;  // floors lean by tenths of a degree themselves
constexpr double kHeightOff = 0.1;        // of the known height, beyond which it is not the floor

class LevelledSource final : public FrameSource {
  public:
    LevelledSource(std::unique_ptr<FrameSource> source, const TiltSetting& setting)
        : source_(std::move(source)), looks_(setting.kind == TiltSetting::Kind::kAuto) {
        info_ = source_->info();
        if (setting.kind == TiltSetting::Kind::kGiven) set_tilt(setting.given, 0.0);
    }

    void begin() override {
        source_->begin();
        if (std::exchange(looks_, false)) look_for_floor();
    }

    bool next(SourceFrame& frame) override {
        begin();
        if (!kept_.empty()) {
            frame = std::move(kept_.front());
            kept_.pop_front();
        } else if (!source_->next(frame)) {
            return false;
        }
        if (rectifier_) level(frame.planes);
        return true;
    }

    void skip(std::int64_t frames) override {
        begin();
        for (; frames > 0 && !kept_.empty(); --frames)
            kept_.pop_front();
        if (frames > 0) source_->skip(frames);
    }

    PicturePoint to_picture(const PicturePoint& p) const override { return source_->to_picture(p); }
    void count_truth(const std::vector<CountingLine>& lines) override {
        source_->count_truth(lines);
    }
    std::vector<TrueCrossing> settle_truth() override { return source_->settle_truth(); }
    std::vector<std::string> losses() const override { return source_->losses(); }
    std::optional<LiveFigures> live_figures() const override { return source_->live_figures(); }
    void listen(const std::function<void(const InputNotice&)>& listener) override {
        source_->listen(listener);
    }
    bool ends_the_scene() const override { return source_->ends_the_scene(); }

    std::vector<std::string> warnings() const override {
        std::vector<std::string> list = source_->warnings();
        if (no_floor_) {
            list.push_back(
                "no floor was found in the depth at the beginning" + not_floor_text() +
                ", so it is not known how crooked the camera hangs, and its pictures are used as "
                "they are; set tilt to [roll, pitch] or to \"none\"");
        }
        if (info_.camera.levelled &&
            lean_deg(*info_.tilt) > kMostWarranted_deg + kLevelEnough_deg) {
            list.push_back(format_text(
                "the camera hangs crooked by %.1f degrees (roll %.1f, pitch %.1f); beyond 15 "
                "degrees counts are not warranted, hang it straighter",
                lean_deg(*info_.tilt), info_.tilt->roll_deg, info_.tilt->pitch_deg));
        }
        return list;
    }

  private:
    void look_for_floor() {
        std::optional<FloorPlane> best;
        for (SourceFrame frame; source_->next(frame); frame = {}) {
            kept_.push_back(std::move(frame));
            const auto plane = fit_floor(kept_.back().planes.raw_mm, info_.camera);
            if (plane && !is_at_floor(*plane))
                not_floor_mm_ = plane->distance_mm;
            else if (plane && (!best || plane->share > best->share))
                best = plane;
            if (best && best->share >= kSureShare) break;
            if (kept_.size() >= kMostLooks) break;
            if (kept_.back().time_s - kept_.front().time_s >= kLooking_s) break;
        }
        if (best) set_tilt(best->tilt, kLevelEnough_deg);
        no_floor_ = !best && !kept_.empty();
    }

    // A table, or a lid that somebody has yet to take off, is not.
    bool is_at_floor(const FloorPlane& plane) const {
        const auto height_mm = info_.camera.height_mm;
        return !height_mm || std::abs(plane.distance_mm - *height_mm) <= kHeightOff * *height_mm;
    }

    std::string not_floor_text() const {
        if (!not_floor_mm_) return "";
        return format_text(
            ": the largest plane is %.0f mm away, and the camera is said to be %.0f "
            "mm above the floor",
            *not_floor_mm_, *info_.camera.height_mm);
    }

    void set_tilt(const Tilt& tilt, double least_deg) {
        info_.tilt = tilt;
        if (!(lean_deg(tilt) > least_deg)) return;
        info_.camera.levelled = tilt;
        rectifier_.emplace(info_.camera, tilt);
    }

    void level(FramePlanes& planes) {
        TakenPictures& taken = planes.taken;
        rectifier_->depth(planes.raw_mm, level_mm_);
        planes.raw_mm.swap(level_mm_);
        if (taken.width == 0) {
            taken.width = kDepthWidth;
            taken.height = kDepthHeight;
            taken.depth_mm.swap(level_mm_);
        }
        if (!info_.has_colour) {
            render_grey(planes.raw_mm, info_.black_mm, planes.depth_nv12, planes.colour_nv12);
            return;
        }
        draw_depth(planes.raw_mm, info_.black_mm, planes.depth_nv12);
        rectifier_->colour(planes.colour_nv12, level_nv12_);
        planes.colour_nv12.swap(level_nv12_);
        taken.colour_nv12.swap(level_nv12_);
    }

    std::unique_ptr<FrameSource> source_;
    bool looks_;  // still has to
    bool no_floor_ = false;
    std::optional<double> not_floor_mm_;  // distance of a plane that cannot be the floor
    std::deque<SourceFrame> kept_;        // read, not handed out yet
    std::optional<Rectifier> rectifier_;
    std::vector<std::uint16_t> level_mm_;
    std::vector<std::uint8_t> level_nv12_;
};

}  // namespace

std::unique_ptr<FrameSource> level_source(std::unique_ptr<FrameSource> source,
                                          const TiltSetting& setting) {
    if (setting.kind == TiltSetting::Kind::kNone) return source;
    return std::make_unique<LevelledSource>(std::move(source), setting);
}

}  // namespace host
