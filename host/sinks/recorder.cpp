// Recording of frames, detections, tracks and events.
#include "host/sinks/recorder.h"

#include <cmath>

#include "host/inference/models.h"

namespace host {
namespace {

// The first of the tracker's instances.
constexpr int kOwnCamera = 0;

double to_ms(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

// The library enlarges boxes about their centre before it hands them to the tracker, with
// w' = trunc(w * factor); this is the smallest w that gives w'.
PixelBox as_detected(const IOU_TRK_OBJ_S& object, double factor) {
    const int w = static_cast<int>(std::ceil(object.w / factor));
    const int h = static_cast<int>(std::ceil(object.h / factor));
    return {object.x + object.w / 2 - w / 2, object.y + object.h / 2 - h / 2, w, h};
}

}  // namespace

void Recorder::add_frame(FrameRecord frame, std::vector<TrueCrossing> crossings) {
    const std::lock_guard lock(mutex_);
    const std::int64_t number = frame.number;
    waiting_[number] = std::move(frame);
    true_crossings_.insert(true_crossings_.end(), crossings.begin(), crossings.end());
}

void Recorder::begin_pass(std::int64_t number) {
    {
        const std::lock_guard lock(mutex_);
        const auto found = waiting_.find(number);
        current_ = FrameRecord{};
        if (found != waiting_.end()) {
            current_ = std::move(found->second);
            waiting_.erase(found);
        }
        current_.number = number;
        stamp_ = {number, current_.time_s, 0};
    }
    pass_start_ = std::chrono::steady_clock::now();
}

void Recorder::add_detection(std::int64_t elapsed_ns) {
    current_.detection_ms += to_ms(std::chrono::nanoseconds(elapsed_ns));
}

void Recorder::add_tracking(int inst, const std::vector<IOU_TRK_OBJ_S>& objects,
                            const IOU_TRK_RSLT_S& result, double enlarged,
                            std::chrono::nanoseconds elapsed) {
    current_.tracker_ms += to_ms(elapsed);
    if (inst != kOwnCamera) return;
    std::map<int, PixelBox> box_of_index;
    for (const IOU_TRK_OBJ_S& object : objects) {
        const PixelBox box = as_detected(object, enlarged);
        box_of_index[object.det_idx] = box;
        if (object.score >= kScoreSure) current_.detections.push_back(box);
    }
    for (int i = 0; i < result.num; ++i) {
        const IOU_TRK_OBJ_S& target = result.objs[i];
        const auto box = box_of_index.find(target.det_idx);
        if (box != box_of_index.end()) current_.tracks.push_back({target.id, box->second});
    }
}

void Recorder::end_pass(std::int64_t number, const FramePlanes& planes) {
    current_.pass_ms = to_ms(std::chrono::steady_clock::now() - pass_start_);
    consider_snapshot(planes);
    if (listeners_.on_frame) listeners_.on_frame(number, planes);
    const std::lock_guard lock(mutex_);
    if (!current_.blank) {
        ++progress_.frames;
        progress_.time_s = current_.time_s;
    }
    done_.push_back(std::move(current_));
}

// The frame with the most people; of equal ones the last, whose trails are the longest.
void Recorder::consider_snapshot(const FramePlanes& planes) {
    const bool first = snapshot_.frame < 0;
    const bool late = current_.time_s >= snapshot_from_s_;
    if (current_.blank || (!first && (!late || current_.tracks.size() < snapshot_people_))) return;
    snapshot_people_ = late ? current_.tracks.size() : 0;
    snapshot_.frame = current_.number;
    snapshot_.time_s = current_.time_s;
    snapshot_.colour_nv12 = planes.colour_nv12;
}

void Recorder::add_event(const Event& event) {
    if (listeners_.on_event) listeners_.on_event(event);
    const std::lock_guard lock(mutex_);
    keep(event);
}

void Recorder::end_messages(std::int64_t number) {
    if (listeners_.on_messages_end) listeners_.on_messages_end(number);
}

// Messages that come with every frame are condensed, the rare ones kept as they are.
void Recorder::keep(const Event& event) {
    if (const auto* report = std::get_if<RegionsReported>(&event.payload)) {
        region_log_.add(event.frame_number, event.time_s, *report);
    }
    if (const auto* shown = std::get_if<TracksShown>(&event.payload); shown && !shown->detected) {
        add_shown(event.time_s, *shown, shown_tracks_);
    }
    if (std::holds_alternative<GroupCounted>(event.payload)) events_.push_back(event);
    if (const auto* counted = std::get_if<PersonCounted>(&event.payload)) {
        events_.push_back(event);
        if (counted->direction == 1 || counted->direction == 2) {
            ++progress_.counted[static_cast<std::size_t>(counted->direction - 1)];
        }
    }
}

Progress Recorder::progress() const {
    const std::lock_guard lock(mutex_);
    return progress_;
}

FrameStamp Recorder::current_frame() const {
    const std::lock_guard lock(mutex_);
    return stamp_;
}

void Recorder::move_into(RunResult& result) {
    const std::lock_guard lock(mutex_);
    result.frames = std::move(done_);
    result.events = std::move(events_);
    result.region_log = std::move(region_log_);
    result.shown_tracks = std::move(shown_tracks_);
    result.true_crossings = std::move(true_crossings_);
    result.snapshot = std::move(snapshot_);
}

}  // namespace host
