// The ring of short files, and clips from it.
#include "host/sinks/clip_sink.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "host/media/recording_copy.h"
#include "host/sinks/recording_sink.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRingFolder = "unsettled";
constexpr std::int64_t kShort_us = 1'000'000;
// Somebody may stand in the picture for hours; only this much of the time before a decision is
// kept: 3 GB of depth at most.
constexpr std::int64_t kLongestWait_us = 900'000'000;

std::int64_t to_us(double s) {
    return std::llround(s * 1e6);
}

RecordingSetup ring_setup(const RecordingSetup& setup) {
    RecordingSetup ring = setup;
    ring.folder = (fs::path(setup.folder) / kRingFolder).string();
    ring.longest_us = kShort_us;
    ring.keep_hours.reset();
    // What a run that was killed has left.
    std::error_code error;
    fs::remove_all(ring.folder, error);
    return ring;
}

}  // namespace

void ClipTimes::add(const Span& span) {
    Span joined = span;
    std::erase_if(spans_, [&joined](const Span& each) {
        if (each.to_us < joined.from_us || joined.to_us < each.from_us) return false;
        joined = {std::min(joined.from_us, each.from_us), std::max(joined.to_us, each.to_us)};
        return true;
    });
    const auto at = std::find_if(spans_.begin(), spans_.end(), [&joined](const Span& each) {
        return each.from_us > joined.from_us;
    });
    spans_.insert(at, joined);
}

std::optional<ClipTimes::Span> ClipTimes::take_before(std::int64_t time_us) {
    if (spans_.empty() || spans_.front().to_us >= time_us) return std::nullopt;
    const Span span = spans_.front();
    spans_.erase(spans_.begin());
    return span;
}

std::vector<ClipTimes::Span> uncounted_spans(const Story& story) {
    std::vector<ClipTimes::Span> spans;
    for (int line = 0; line < VCA_LINE_NUM; ++line) {
        std::optional<ClipTimes::Span> near;
        bool counted = false;
        for (const StoryStep& step : story.steps) {
            if (!is_about_line(step.decision.kind) || step.decision.place != line) continue;
            const std::int64_t time_us = to_us(step.time_s);
            if (!near) near = {time_us, time_us};
            near->to_us = time_us;
            counted = counted || (step.decision.kind == VCA_DECISION_COUNTED &&
                                  step.left_out == LeftOut::kNot);
        }
        if (near && !counted) spans.push_back(*near);
    }
    return spans;
}

ClipSink::ClipSink(const RecordingSetup& setup, double around_s)
    : setup_(setup), around_us_(to_us(around_s)), ring_(ring_setup(setup)) {}

ClipSink::~ClipSink() {
    std::error_code error;
    fs::remove_all(ring_.setup().folder, error);
}

void ClipSink::on_frame(const FrameView& frame) {
    if (frame.planes.blank) return;
    const RecordedPictures pictures = recorded_pictures(frame, setup_.colour);
    now_us_ = pictures.time_us;
    take(ring_.write(pictures, taken_size(frame.planes)));
}

void ClipSink::on_event(const Event& event) {
    if (const auto line = recorded_line(event)) ring_.write_line(line->time_us, line->text);
    if (std::holds_alternative<PersonCounted>(event.payload)) {
        const std::int64_t time_us = std::min(to_us(event.time_s), now_us_);
        want({time_us, time_us});
    }
    for (const Story& story : book_.add(event))
        for (const ClipTimes::Span& span : uncounted_spans(story))
            want(span);
}

// Whoever is there may turn out not to have been counted near a line since they came.
void ClipSink::end_frame(const PassReport&) {
    const double since_s = book_.open_since_s();
    const std::int64_t since_us = std::isinf(since_s) ? now_us_ : std::min(to_us(since_s), now_us_);
    settle(std::max(since_us, now_us_ - kLongestWait_us) - around_us_);
}

void ClipSink::finish() {
    for (const Story& story : book_.rest())
        for (const ClipTimes::Span& span : uncounted_spans(story))
            want(span);
    if (const auto last = ring_.finish(RecordingEnd::kStopped)) kept_.push_back(*last);
    settle(std::numeric_limits<std::int64_t>::max());
}

void ClipSink::want(const ClipTimes::Span& span) {
    const ClipTimes::Span wide{span.from_us - around_us_, span.to_us + around_us_};
    if (wide.from_us < settled_us_) ++figures_.too_late;
    if (wide.to_us >= settled_us_) times_.add({std::max(wide.from_us, settled_us_), wide.to_us});
}

void ClipSink::take(const std::optional<RecordedFile>& file) {
    if (file) kept_.push_back(*file);
}

void ClipSink::settle(std::int64_t settled_us) {
    // Nobody is forgotten a second time.
    settled_us_ = std::max(settled_us_, settled_us);
    const std::int64_t whole_us = kept_.empty() ? 0 : kept_.back().to_us;
    const bool all = settled_us == std::numeric_limits<std::int64_t>::max();
    while (const auto span = times_.take_before(all ? settled_us : std::min(settled_us_, whole_us)))
        write(*span);
    forget_before(times_.empty() ? settled_us_ : std::min(settled_us_, times_.first_us()));
}

void ClipSink::write(const ClipTimes::Span& span) {
    std::vector<fs::path> files;
    std::int64_t from_us = 0;
    for (const RecordedFile& file : kept_) {
        if (file.to_us < span.from_us || file.from_us > span.to_us) continue;
        if (file.to_us <= written_us_) continue;  // in the clip before
        if (files.empty()) from_us = file.from_us;
        files.push_back(file.path);
        written_us_ = file.to_us;
    }
    if (files.empty()) return;
    const std::int64_t begin_us = setup_.start_us + from_us;
    const fs::path path = free_recording_path(setup_, from_us);
    join_recordings(files, path.string());
    ++figures_.clips;
    figures_.bytes += static_cast<std::int64_t>(fs::file_size(path));
    if (setup_.keep_hours)
        figures_.removed += remove_old_recordings(setup_.folder, begin_us, *setup_.keep_hours);
}

void ClipSink::forget_before(std::int64_t time_us) {
    std::error_code error;
    while (!kept_.empty() && kept_.front().to_us < time_us) {
        fs::remove(kept_.front().path, error);
        kept_.pop_front();
    }
}

}  // namespace host
