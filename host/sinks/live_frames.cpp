// Copying, and drawing of what was copied.
#include "host/sinks/live_frames.h"

#include <algorithm>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "host/base/picture.h"
#include "host/draw/canvas.h"
#include "host/draw/depth_picture.h"

namespace host {
namespace {

constexpr std::size_t kMostTrail = 30;  // places
// Half of the 960 x 544 picture in each direction, which is what the depth sensor resolves.
const cv::Size kDepthPicture(480, 272);
constexpr int kQuality = 80;

LivePerson live_person(const ShownTrack& track) {
    LivePerson person;
    person.track = track.track;
    person.box = {track.x, track.y, track.w, track.h};
    if (track.height_mm > 0) person.height_mm = static_cast<int>(track.height_mm);
    person.staff = track.staff == 1;
    for (std::size_t i = std::min(track.trail.size(), kMostTrail); i-- > 0;) {
        person.trail.push_back(
            {static_cast<double>(track.trail[i].x), static_cast<double>(track.trail[i].y)});
    }
    person.foot = person.trail.empty()
                      ? PicturePoint{track.x + track.w / 2.0, track.y + track.h / 2.0}
                      : person.trail.back();
    return person;
}

}  // namespace

LiveFrames::LiveFrames(LiveFramesSetup setup) : setup_(std::move(setup)) {}

void LiveFrames::on_frame(const FrameView& frame) {
    keeps_ = !frame.planes.blank && wanted_ > 0;
    if (!keeps_) return;
    --wanted_;
    now_.frame = {frame.number, setup_.time_us(frame.time_s), {}, {}};
    report_.reset();
    if (setup_.colour) {
        now_.colour_nv12 = frame.planes.colour_nv12;
    } else {
        now_.depth_mm = frame.planes.raw_mm;
    }
}

void LiveFrames::on_event(const Event& event) {
    if (!keeps_ || event.frame_number != now_.frame.number) return;
    if (const auto* tracks = std::get_if<TracksShown>(&event.payload)) {
        if (!tracks->detected) add_people(*tracks);
    } else if (const auto* regions = std::get_if<RegionsReported>(&event.payload)) {
        report_ = *regions;
    }
}

void LiveFrames::add_people(const TracksShown& tracks) {
    now_.frame.people.clear();
    for (const ShownTrack& track : tracks.tracks)
        now_.frame.people.push_back(live_person(track));
}

void LiveFrames::end_frame(const PassReport& report) {
    if (!std::exchange(keeps_, false) || report.number != now_.frame.number) return;
    if (report_) {
        for (LivePerson& person : now_.frame.people) {
            const auto found =
                std::find_if(report_->people.begin(), report_->people.end(),
                             [&person](const RegionPerson& p) { return p.track == person.track; });
            if (found == report_->people.end()) continue;
            for (std::size_t r = 0; r < setup_.regions.size() && !person.region; ++r) {
                if (found->regions.at(r).inside == 0) continue;
                person.region = setup_.regions[r].name;
                person.stay_ms = found->regions.at(r).stay_ms;
            }
        }
    }
    const std::lock_guard lock(mutex_);
    // What nobody took leaves its place and its memory to the next.
    if (newest_) {
        ++wanted_;
    } else {
        newest_.emplace();
    }
    std::swap(*newest_, now_);
    came_.notify_all();
}

std::optional<LiveFrame> LiveFrames::take(std::chrono::milliseconds wait) {
    std::optional<Kept> kept;
    {
        std::unique_lock lock(mutex_);
        came_.wait_for(lock, wait, [this] { return newest_.has_value(); });
        kept.swap(newest_);
    }
    if (!kept) return std::nullopt;
    kept->frame.jpeg = draw(*kept);
    return std::move(kept->frame);
}

std::vector<std::uint8_t> LiveFrames::draw(const Kept& kept) const {
    cv::Mat picture;
    if (setup_.colour) {
        picture = colour_picture(kept.colour_nv12);
    } else {
        cv::resize(
            colour_depth(kept.depth_mm, setup_.floor_mm - kColouredAbove_mm, setup_.floor_mm),
            picture, kDepthPicture, 0, 0, cv::INTER_NEAREST);
    }
    std::vector<std::uint8_t> jpeg;
    if (!picture.empty()) cv::imencode(".jpg", picture, jpeg, {cv::IMWRITE_JPEG_QUALITY, kQuality});
    return jpeg;
}

}  // namespace host
