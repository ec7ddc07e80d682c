// A second pass over the recording: which pictures are wanted is known only once all is counted.
#include "host/report/audit_pictures.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "host/draw/canvas.h"
#include "host/draw/depth_picture.h"
#include "host/media/digest.h"

namespace host {
namespace {

// Cut out of the picture around the person or the line, in its pixels.
constexpr int kCutWidth = 480;
constexpr int kCutHeight = 400;
constexpr int kShownWidth = 300;
constexpr int kShownHeight = 250;
constexpr int kJpegQuality = 82;
constexpr double kTallest_mm = 2200.0;  // of people, in the range of colours
constexpr double kPath_s = 3.0;

struct Wanted {
    double time_s = 0.0;
    std::size_t mismatch = 0;
    double after_s = 0.0;
};

cv::Point middle_of(const PixelBox& box) {
    return {box.x + box.w / 2, box.y + box.h / 2};
}

PicturePoint middle_of(const std::vector<PicturePoint>& line) {
    const PicturePoint& a = line[(line.size() - 1) / 2];
    const PicturePoint& b = line[line.size() / 2];
    return {(a.x + b.x) / 2.0, (a.y + b.y) / 2.0};
}

class Strips {
  public:
    Strips(const AuditScene& scene, const AuditInput& input, const Audit& audit)
        : scene_(scene), input_(input), audit_(audit) {
        for (std::size_t i = 0; i < std::min(audit.mismatches.size(), kMostStrips); ++i) {
            for (const double after_s : kStripTimes_s) {
                const double time_s = audit.mismatches[i].time_s + after_s;
                if (time_s >= input.from_s && time_s < input.end_s)
                    wanted_.push_back({time_s, i, after_s});
            }
        }
        std::sort(wanted_.begin(), wanted_.end(),
                  [](const Wanted& a, const Wanted& b) { return a.time_s < b.time_s; });
    }

    // False when nothing more is wanted.
    bool add(const SourceFrame& frame, double half_frame_s) {
        for (; next_ < wanted_.size(); ++next_) {
            const Wanted& wanted = wanted_[next_];
            if (wanted.time_s > frame.time_s + half_frame_s) break;
            strips_[wanted.mismatch].emplace_back(wanted.after_s, draw(frame, wanted));
        }
        return next_ < wanted_.size();
    }

    std::map<std::size_t, Strip> take() {
        for (auto& [mismatch, strip] : strips_)
            std::sort(strip.begin(), strip.end());
        return std::move(strips_);
    }

  private:
    std::string draw(const SourceFrame& frame, const Wanted& wanted) const {
        const Mismatch& mismatch = audit_.mismatches[wanted.mismatch];
        cv::Mat picture = draw_depth_picture(frame.planes.raw_mm, scene_.floor_mm - kTallest_mm,
                                             scene_.floor_mm, scene_.lines, {});
        draw_people(picture, frame.time_s, mismatch.track);
        const cv::Rect cut = cut_around(place_of(mismatch));
        cv::Mat shown;
        cv::resize(picture(cut), shown, {kShownWidth, kShownHeight}, 0, 0, cv::INTER_AREA);
        std::vector<std::uint8_t> bytes;
        cv::imencode(".jpg", shown, bytes, {cv::IMWRITE_JPEG_QUALITY, kJpegQuality});
        return base64_text(bytes);
    }

    void draw_people(cv::Mat& picture, double time_s, std::optional<int> track) const {
        const std::vector<SeenFrame>& frames = *scene_.frames;
        const auto now = std::lower_bound(
            frames.begin(), frames.end(), time_s - 1e-6,
            [](const SeenFrame& frame, double time) { return frame.time_s < time; });
        if (now == frames.end()) return;
        for (const TrackedBox& seen : now->tracks) {
            const bool meant = track && seen.id == *track;
            cv::rectangle(picture, {seen.box.x, seen.box.y, seen.box.w, seen.box.h},
                          meant ? kWhite : cv::Scalar(170, 170, 170), meant ? 4 : 2, cv::LINE_AA);
            put_text(picture, std::to_string(seen.id),
                     {seen.box.x + 6, std::max(seen.box.y + 6, 0)}, 0.8, kWhite, 2);
        }
        if (!track) return;
        std::vector<cv::Point> path;
        for (auto each = now;; --each) {
            if (each->time_s < time_s - kPath_s) break;
            for (const TrackedBox& seen : each->tracks)
                if (seen.id == *track) path.push_back(middle_of(seen.box));
            if (each == frames.begin()) break;
        }
        const std::vector<std::vector<cv::Point>> paths{path};
        if (path.size() > 1) {
            cv::polylines(picture, paths, false, kInk, 7, cv::LINE_AA);
            cv::polylines(picture, paths, false, kWhite, 3, cv::LINE_AA);
        }
    }

    PicturePoint place_of(const Mismatch& mismatch) const {
        if (mismatch.place) return *mismatch.place;
        const std::string& name = mismatch.label ? input_.labels->crossings[*mismatch.label].line
                                                 : input_.counts[*mismatch.count].line;
        for (const CountingLine& line : scene_.lines)
            if (line.name == name) return middle_of(line.points);
        return {kColourWidth / 2.0, kColourHeight / 2.0};
    }

    static cv::Rect cut_around(const PicturePoint& place) {
        const auto corner = [](double middle, int size, int most) {
            return std::clamp(static_cast<int>(std::lround(middle)) - size / 2, 0, most - size);
        };
        return {corner(place.x, kCutWidth, kColourWidth),
                corner(place.y, kCutHeight, kColourHeight), kCutWidth, kCutHeight};
    }

    const AuditScene& scene_;
    const AuditInput& input_;
    const Audit& audit_;
    std::vector<Wanted> wanted_;
    std::size_t next_ = 0;
    std::map<std::size_t, Strip> strips_;
};

}  // namespace

std::map<std::size_t, Strip> draw_strips(FrameSource& source, const AuditScene& scene,
                                         const AuditInput& input, const Audit& audit) {
    if (audit.mismatches.empty()) return {};
    Strips strips(scene, input, audit);
    const double half_frame_s = 0.5 / source.info().frames_per_second;
    SourceFrame frame;
    while (source.next(frame) && strips.add(frame, half_frame_s)) {
    }
    return strips.take();
}

}  // namespace host
