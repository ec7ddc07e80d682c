// Sinks that measure, and memcpy of what the steps must read and write.
#include "bench/chain_steps.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include "bench/floor.h"
#include "bench/measure.h"
#include "host/base/picture.h"
#include "host/depth/floor_plane.h"
#include "host/depth/sensor.h"
#include "vca/depth.h"
#include "vca/detect.h"
#include "vca/platform.h"

namespace bench {
namespace {

constexpr std::size_t kDepthPixels = std::size_t{host::kDepthWidth} * host::kDepthHeight;
constexpr std::size_t kGreyBytes =
    kDepthPixels * 3 / 2 + std::size_t{host::kColourWidth} * host::kColourHeight * 3 / 2;
constexpr std::size_t kPoolSlots = 6;  // frames that are on their way at once
// Every sixth frame a twenty-fifth of the cells learns the floor.
constexpr std::size_t kLearnedBytes = kDepthPixels * sizeof(std::uint16_t) / (6 * 25);

double ms_of(const std::function<void()>& work) {
    const Clock::time_point start = Clock::now();
    work();
    return us_between(start, Clock::now()) / 1e3;
}

// The depth inside a box, from which a person's height is estimated.
void copy_box(const std::vector<std::uint16_t>& depth_mm, const host::PixelBox& box, Floor& floor) {
    const int x0 = std::clamp(box.x / 2, 0, host::kDepthWidth);
    const int x1 = std::clamp((box.x + box.w) / 2, x0, host::kDepthWidth);
    const int y0 =
        std::clamp(box.y * host::kDepthHeight / host::kColourHeight, 0, host::kDepthHeight);
    const int y1 = std::clamp((box.y + box.h) * host::kDepthHeight / host::kColourHeight, y0,
                              host::kDepthHeight);
    for (int y = y0; y < y1; ++y)
        floor.copy(depth_mm.data() + std::ptrdiff_t{y} * host::kDepthWidth + x0,
                   static_cast<std::size_t>(x1 - x0) * sizeof(std::uint16_t));
}

// Floors of the steps of one frame whose depth stands in memory of the host's pool.
class StepFloors {
  public:
    StepFloors() : records_(VCA_TRK_MAX) {}

    double decoding(const std::vector<std::uint16_t>& depth_mm, double recorded_bytes) {
        return timed([&] {
            floor_.fill(static_cast<std::size_t>(recorded_bytes));
            floor_.copy(depth_mm);
            floor_.fill(kGreyBytes);
        });
    }

    double levelling(const std::vector<std::uint16_t>& depth_mm) {
        return timed([&] {
            floor_.copy(depth_mm);
            floor_.fill(kGreyBytes);
        });
    }

    double depth_image(const std::vector<std::uint16_t>& depth_mm) {
        return timed([&] { floor_.copy(depth_mm); });
    }

    double detection(const std::vector<std::uint16_t>& depth_mm, const FrameTimes& frame) {
        return timed([&] {
            floor_.copy(depth_mm);
            floor_.fill(frame.found * 2 * sizeof(DET_OBJ_S));
        });
    }

    // What was found, and what is kept and told of each who is followed.
    double tracker(const FrameTimes& frame) {
        return timed(
            [&] { floor_.fill((frame.found + 2 * frame.people) * sizeof(IOU_TRK_OBJ_S)); });
    }

    double library(const std::vector<std::uint16_t>& depth_mm, const FrameTimes& frame) {
        return timed([&] {
            floor_.fill(frame.found * 2 * sizeof(DET_OBJ_S));
            for (std::size_t i = 0; i < std::min(frame.people, records_.size()); ++i)
                floor_.copy_record(records_[i]);
            for (const host::PixelBox& box : frame.boxes)
                copy_box(depth_mm, box, floor_);
            floor_.fill(kLearnedBytes);
        });
    }

  private:
    double timed(const std::function<void()>& work) {
        floor_.begin();
        return ms_of(work);
    }

    Floor floor_;
    std::vector<TRACKER_RSLT_S> records_;
};

}  // namespace

StepSink::StepSink() {
    constexpr std::size_t kMany = 4096;  // frames, so that no list moves while it is measured
    frames_.reserve(kMany);
    processor_at_ms_.reserve(kMany);
}

void StepSink::end_frame(const host::PassReport& report) {
    FrameTimes frame;
    frame.number = report.number;
    frame.people = report.tracks.size();
    frame.found = report.detections.size();
    for (const host::TrackedBox& track : report.tracks)
        frame.boxes.push_back(track.box);
    frame.step_ms.fill(kNone);
    frame.floor_ms.fill(kNone);
    frame.step_ms[kHandOver] = report.source_ms;
    frame.step_ms[kDetection] = report.detection_ms;
    frame.step_ms[kTracker] = report.tracker_ms;
    frame.step_ms[kLibrary] = report.pass_ms - report.detection_ms - report.tracker_ms;
    frame.all_ms = report.source_ms + report.pass_ms;
    const double now_ms = bench::processor_ms();
    frame.processor_ms = processor_at_ms_.empty() ? kNone : now_ms - processor_at_ms_.back();
    frames_.push_back(std::move(frame));
    processor_at_ms_.push_back(now_ms);
}

void TimedSink::time(const std::function<void(host::Sink&)>& call) {
    now_ms_ += ms_of([&] {
        for (host::Sink* const sink : sinks_)
            call(*sink);
    });
}

void TimedSink::on_frame(const host::FrameView& frame) {
    time([&frame](host::Sink& sink) { sink.on_frame(frame); });
}

void TimedSink::on_event(const host::Event& event) {
    time([&event](host::Sink& sink) { sink.on_event(event); });
    ++events_;
}

void TimedSink::end_frame(const host::PassReport& report) {
    time([&report](host::Sink& sink) { sink.end_frame(report); });
    frames_ms_.push_back(now_ms_);
    now_ms_ = 0.0;
}

void TimedSink::finish() {
    for (host::Sink* const sink : sinks_)
        sink->finish();
}

DepthFileSink::DepthFileSink(const std::string& path, const DepthFileHeader& header)
    : path_(path), out_(path, std::ios::binary) {
    out_.write(reinterpret_cast<const char*>(&header), sizeof header);
    if (!out_) throw std::runtime_error("cannot write \"" + path + "\"");
}

void DepthFileSink::on_frame(const host::FrameView& frame) {
    depth_mm_ = frame.planes.raw_mm;
}

void DepthFileSink::end_frame(const host::PassReport& report) {
    const DepthFileFrame frame{static_cast<std::uint32_t>(report.tracks.size()), 0};
    out_.write(reinterpret_cast<const char*>(&frame), sizeof frame);
    out_.write(reinterpret_cast<const char*>(depth_mm_.data()),
               static_cast<std::streamsize>(depth_mm_.size() * sizeof depth_mm_[0]));
}

void DepthFileSink::finish() {
    out_.close();
    if (!out_) throw std::runtime_error("cannot write \"" + path_ + "\"");
}

void measure_floors(const FloorSetup& setup, std::vector<FrameTimes>& frames) {
    std::map<std::int64_t, const KeptFrame*> kept;
    for (const KeptFrame& frame : setup.kept.frames)
        kept[frame.number] = &frame;
    std::vector<std::vector<std::uint16_t>> slots(kPoolSlots,
                                                  std::vector<std::uint16_t>(kDepthPixels));
    std::vector<std::uint16_t> lent_mm;
    StepFloors floors;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        FrameTimes& frame = frames[i];
        const std::vector<std::uint16_t>& made_mm = kept.at(frame.number)->raw_mm;
        std::vector<std::uint16_t>& slot = slots[i % kPoolSlots];
        const double copied_ms = ms_of([&] {
            std::memcpy(slot.data(), made_mm.data(), kDepthPixels * sizeof(std::uint16_t));
        });
        if (setup.recorded_bytes == 0.0) frame.floor_ms[kHandOver] = copied_ms;
        if (setup.recorded_bytes > 0.0)
            frame.floor_ms[kDecoding] = floors.decoding(slot, setup.recorded_bytes);
        if (setup.levelled) frame.floor_ms[kLevelling] = floors.levelling(slot);
        // One of them finds in the cache what the other has loaded.
        if (i % 2 == 0)
            frame.floor_ms[kLending] = floors.depth_image(slot);
        else
            frame.step_ms[kLending] = ms_of(
                [&] { host::suit_library(slot, setup.floor_mm, setup.correction_mm, lent_mm); });
        frame.floor_ms[kDetection] = floors.detection(slot, frame);
        frame.floor_ms[kTracker] = floors.tracker(frame);
        frame.floor_ms[kLibrary] = floors.library(slot, frame);
    }
}

StepAndFloor measure_floor_search(const KeptFrames& kept) {
    constexpr std::size_t kLooks = 30;
    StepFloors floors;
    std::vector<double> steps_ms, floors_ms;
    for (std::size_t i = 0; i < std::min(kLooks, kept.frames.size()); ++i) {
        const std::vector<std::uint16_t>& depth_mm = kept.frames[i].raw_mm;
        steps_ms.push_back(ms_of([&] { host::fit_floor(depth_mm, kept.info.camera); }));
        floors_ms.push_back(floors.depth_image(depth_mm));
    }
    return {median(steps_ms), median(floors_ms)};
}

double copy_ms(double bytes) {
    const auto size = static_cast<std::size_t>(bytes);
    std::vector<std::uint8_t> from(size, 1), to(size);
    std::vector<double> times;
    for (int i = 0; i < 200 && size > 0; ++i)
        times.push_back(ms_of([&] { std::memcpy(to.data(), from.data(), size); }));
    return median(times);
}

}  // namespace bench
