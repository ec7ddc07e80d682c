// The limits of each fault.
#include "host/sinks/camera_health.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/base/text.h"

namespace host {
namespace {

// A hand, a sticker or a cobweb takes most of the picture and stays; a crowd in dark clothes takes
// less than half of the measurements, and nobody stands still for this long.
constexpr double kCoveredBelow = 0.5;  // of the usual share
constexpr double kClearFrom = 0.75;
constexpr double kNeverUsual = 0.05;  // a share that is never usual
constexpr int kCoveredFor_s = 10;
constexpr int kClearFor_s = 3;
constexpr int kLearn_s = 10;
constexpr double kForget_s = 600.0;  // how slowly the usual share follows dust and light

// The fitted floor of a camera that hangs still differs by a few tenths of a degree.
constexpr double kFloorEvery_s = 10.0;
constexpr double kSureFloor = 0.4;  // of the measurements lie on it
constexpr double kMoved_deg = 1.5;
constexpr double kMoved = 0.02;  // of the distance
constexpr double kLeastMoved_mm = 50.0;
constexpr int kLooks = 3;  // in a row that have to agree

constexpr double kClockEvery_s = 60.0;
constexpr double kStepRemembered_s = 600.0;

constexpr double kWindow_s = 60.0;
constexpr double kLateFrom = 0.05;  // of the frames of a window
constexpr double kLateUntil = 0.025;
constexpr double kBusy = 0.8;  // of a frame's time in the analysis

constexpr double kMemory_s = 60.0;  // after which a stay of somebody who is not seen has ended

double valid_share(const std::vector<std::uint16_t>& depth_mm) {
    constexpr std::size_t kStep = 7;  // shares no factor with the width
    std::size_t valid = 0;
    std::size_t all = 0;
    for (std::size_t i = 0; i < depth_mm.size(); i += kStep, ++all)
        valid += depth_mm[i] != 0 ? 1 : 0;
    return all == 0 ? 0.0 : static_cast<double>(valid) / static_cast<double>(all);
}

// Figures for these lines or regions, with what is known under the same name.
template <typename Figures, typename Place>
std::vector<Figures> renamed(const std::vector<Figures>& before, const std::vector<Place>& places) {
    std::vector<Figures> now;
    for (const Place& place : places) {
        const std::string name = place.points.empty() ? "" : place.name;
        const auto known = std::find_if(before.begin(), before.end(),
                                        [&name](const Figures& f) { return f.name == name; });
        now.push_back(known == before.end() || name.empty() ? Figures{name} : *known);
    }
    return now;
}

Suppression suppression(LeftOut why) {
    switch (why) {
        case LeftOut::kUnseen:
            return Suppression::kUnseen;
        case LeftOut::kCorner:
            return Suppression::kCorner;
        case LeftOut::kNoLine:
            return Suppression::kNoLine;
        case LeftOut::kNot:
        case LeftOut::kWentBack:
            break;
    }
    return Suppression::kWentBack;
}

HealthLevel level_of(InputFaultKind kind) {
    return kind == InputFaultKind::kNoColour ? HealthLevel::kDegraded : HealthLevel::kFailed;
}

}  // namespace

CameraHealth::CameraHealth(CameraHealthSetup setup)
    : setup_(std::move(setup)),
      faults_(setup_.tell),
      stays_(setup_.regions, setup_.frames_per_second, false,
             std::llround(kMemory_s * setup_.frames_per_second)) {
    change(setup_.lines, setup_.regions);
}

void CameraHealth::change(const std::vector<CountingLine>& lines,
                          const std::vector<CountingRegion>& regions) {
    const std::lock_guard lock(mutex_);
    figures_.lines = renamed(figures_.lines, lines);
    for (std::size_t i = 0; i < lines.size(); ++i)
        figures_.lines[i].directions = lines[i].directions;
    figures_.regions = renamed(figures_.regions, regions);
}

CameraFigures CameraHealth::figures() const {
    const std::lock_guard lock(mutex_);
    CameraFigures figures = figures_;
    std::erase_if(figures.lines, [](const LineFigures& line) { return line.name.empty(); });
    std::erase_if(figures.regions, [](const RegionFigures& r) { return r.name.empty(); });
    return figures;
}

void CameraHealth::begin(const char* fault, HealthLevel level, const std::string& text) {
    faults_.begin({setup_.time_us(now_s_), level, fault, text});
}

void CameraHealth::end(const char* fault, const std::string& text) {
    faults_.end(fault, setup_.time_us(now_s_), text);
}

void CameraHealth::on_frame(const FrameView& frame) {
    // Between two rounds of a source nothing is missing.
    if (frame.planes.blank) {
        window_ = {};
        last_number_ = -1;
        return;
    }
    now_s_ = frame.time_s;
    if (!std::exchange(began_, true)) {
        next_second_s_ = next_floor_s_ = next_clock_s_ = now_s_;
        for (const HealthNote& left : setup_.left_open)
            setup_.tell({setup_.time_us(now_s_), HealthLevel::kOk, left.fault,
                         "not known any more: the camera was started again"});
    }
    if (now_s_ >= next_second_s_) look_each_second(frame);
    if (window_.first < 0) window_ = {now_s_, frame.number, 0, 0.0};
    ++window_.seen;
    {
        const std::lock_guard lock(mutex_);
        ++figures_.frames;
        if (last_number_ >= 0) figures_.missing += frame.number - last_number_ - 1;
    }
    last_number_ = frame.number;
}

void CameraHealth::look_each_second(const FrameView& frame) {
    next_second_s_ = now_s_ + 1.0;
    const double valid = valid_share(frame.planes.raw_mm);
    {
        const std::lock_guard lock(mutex_);
        figures_.depth_valid_ratio = valid;
        if (setup_.late_frames) figures_.late = setup_.late_frames();
    }
    look_at_lens(valid);
    if (now_s_ >= next_floor_s_) look_at_floor(frame.planes.raw_mm);
    if (now_s_ >= next_clock_s_) look_at_clock();
    if (now_s_ >= stepped_s_ + kStepRemembered_s)
        end(camera_fault::kClockStep, "the clock has not been set again");
}

void CameraHealth::look_at_lens(double valid) {
    const bool nothing = valid < kNeverUsual;
    if (!nothing && learnt_ < kLearn_s) {
        usual_ = std::max(usual_.value_or(0.0), valid);
        ++learnt_;
    }
    const bool low = nothing || (usual_ && valid < kCoveredBelow * *usual_);
    const bool high = !nothing && (!usual_ || valid >= kClearFrom * *usual_);
    covered_s_ = low ? covered_s_ + 1 : 0;
    clear_s_ = high ? clear_s_ + 1 : 0;
    if (usual_ && !low) *usual_ += (valid - *usual_) / kForget_s;
    if (covered_s_ >= kCoveredFor_s) {
        begin(camera_fault::kCovered, HealthLevel::kFailed,
              format_text("only %.0f %% of the depth picture can be measured", 100.0 * valid) +
                  (usual_ ? format_text(" in place of %.0f %%", 100.0 * *usual_) : "") +
                  "; look whether something covers the lens");
    }
    if (clear_s_ >= kClearFor_s) end(camera_fault::kCovered, "the depth picture is as usual again");
}

// Where people or goods hide most of the floor nothing can be said.
void CameraHealth::look_at_floor(const std::vector<std::uint16_t>& depth_mm) {
    next_floor_s_ = now_s_ + kFloorEvery_s;
    const std::optional<FloorPlane> floor = fit_floor(depth_mm, setup_.camera);
    if (!floor || floor->share < kSureFloor) return;
    if (!floor_) {
        floor_ = floor;
        return;
    }
    const bool moved = has_moved(*floor);
    moved_looks_ = moved ? moved_looks_ + 1 : 0;
    still_looks_ = moved ? 0 : still_looks_ + 1;
    if (moved_looks_ >= kLooks)
        begin(camera_fault::kMoved, HealthLevel::kFailed, moved_text(*floor));
    if (still_looks_ >= kLooks)
        end(camera_fault::kMoved, "the camera hangs as it did in the beginning");
}

bool CameraHealth::has_moved(const FloorPlane& floor) const {
    const double most_mm = std::max(kLeastMoved_mm, kMoved * floor_->distance_mm);
    return std::abs(floor.distance_mm - floor_->distance_mm) > most_mm ||
           std::hypot(floor.tilt.roll_deg - floor_->tilt.roll_deg,
                      floor.tilt.pitch_deg - floor_->tilt.pitch_deg) > kMoved_deg;
}

std::string CameraHealth::moved_text(const FloorPlane& floor) const {
    return format_text(
        "the floor lies %.0f mm below the camera in place of %.0f mm and leans by %.1f degrees "
        "more "
        "than before: the camera was moved; start it again when it hangs right",
        floor.distance_mm, floor_->distance_mm,
        std::hypot(floor.tilt.roll_deg - floor_->tilt.roll_deg,
                   floor.tilt.pitch_deg - floor_->tilt.pitch_deg));
}

void CameraHealth::look_at_clock() {
    next_clock_s_ = now_s_ + kClockEvery_s;
    if (!setup_.clock_synchronised) return;
    if (setup_.clock_synchronised()) {
        end(camera_fault::kClockUnsure, "the clock is synchronised");
    } else {
        begin(camera_fault::kClockUnsure, HealthLevel::kDegraded,
              "the clock of this machine is not synchronised with a time server; minutes are "
              "provisional");
    }
}

void CameraHealth::on_event(const Event& event) {
    if (const auto* silent = std::get_if<InputSilent>(&event.payload)) {
        begin(camera_fault::kSilent, HealthLevel::kFailed, "no frames come: " + silent->why);
    } else if (const auto* gap = std::get_if<InputGap>(&event.payload)) {
        end(camera_fault::kSilent,
            format_text("frames come again after %.1f s",
                        static_cast<double>(gap->to_us - gap->from_us) / 1e6));
        // What the sender has numbered meanwhile was not too fast for anybody.
        window_ = {};
        last_number_ = -1;
        const std::lock_guard lock(mutex_);
        ++figures_.gaps;
    } else if (const auto* fault = std::get_if<InputFault>(&event.payload)) {
        take(*fault);
    } else if (const auto* step = std::get_if<ClockStep>(&event.payload)) {
        stepped_s_ = static_cast<double>(step->at_us) / 1e6;
        begin(camera_fault::kClockStep, HealthLevel::kDegraded, clock_step_text(step->by_us));
    } else if (const auto* regions = std::get_if<RegionsReported>(&event.payload)) {
        stays_.add_report(event.frame_number, event.time_s, *regions);
        take(*regions);
    } else if (const auto* left_out = std::get_if<CountLeftOut>(&event.payload)) {
        suppress(left_out->count.line, suppression(left_out->why));
    } else if (const auto* decision = std::get_if<Decision>(&event.payload)) {
        take(*decision);
    }
}

void CameraHealth::take(const RegionsReported& regions) {
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < std::min(figures_.regions.size(), regions.inside.size()); ++i) {
        RegionFigures& region = figures_.regions[i];
        region.people = regions.inside[i];
        region.longest_stay_ms = 0;
        for (const RegionPerson& person : regions.people) {
            if (person.regions.at(i).inside != 0)
                region.longest_stay_ms =
                    std::max(region.longest_stay_ms, person.regions.at(i).stay_ms);
        }
    }
}

// The library decides about each camera's people and, in a site, about those of all cameras; only
// one of the two is counted.
void CameraHealth::take(const Decision& decision) {
    if (decision.list != (setup_.counts_merged ? VCA_LIST_MERGED : VCA_LIST_LOCAL)) return;
    if (decision.kind == VCA_DECISION_TURNED_BACK)
        suppress(decision.place, Suppression::kTurnedBack);
    if (decision.kind == VCA_DECISION_SAME_SIDE) suppress(decision.place, Suppression::kSameSide);
}

void CameraHealth::suppress(int line, Suppression why) {
    const std::lock_guard lock(mutex_);
    if (line < 0 || static_cast<std::size_t>(line) >= figures_.lines.size()) return;
    ++figures_.lines[static_cast<std::size_t>(line)].suppressed.at(static_cast<std::size_t>(why));
}

void CameraHealth::end_stays() {
    const std::lock_guard lock(mutex_);
    for (const RegionStay& stay : stays_.take_settled()) {
        const auto region = static_cast<std::size_t>(stay.region);
        if (region < figures_.regions.size()) figures_.regions[region].stays.add(stay.stay_s);
    }
}

void CameraHealth::take(const InputFault& fault) {
    const char* const name = input_fault_name(fault.kind);
    if (fault.until_us) {
        end(name, notice_text(fault));
    } else {
        begin(name, level_of(fault.kind), fault.what);
    }
}

void CameraHealth::end_frame(const PassReport& report) {
    stays_.add_frame(report.number, {}, nobody_);
    end_stays();
    if (report.blank) return;
    window_.pass_s += report.pass_ms / 1000.0;
    {
        const std::lock_guard lock(mutex_);
        figures_.processing.add(report.pass_ms / 1000.0);
    }
    if (window_.first >= 0 && now_s_ >= window_.begun_s + kWindow_s) look_at_window(report.number);
}

void CameraHealth::look_at_window(std::int64_t number) {
    const Window full = std::exchange(window_, {});
    const std::int64_t all = number - full.first + 1;
    const std::int64_t missing = all - full.seen;
    const double share = static_cast<double>(missing) / static_cast<double>(all);
    const double busy = full.pass_s / static_cast<double>(full.seen) * setup_.frames_per_second;
    if (share >= kLateFrom) {
        begin(camera_fault::kLate, HealthLevel::kDegraded,
              format_text("%.0f %% of the frames of a minute are missing: ", 100.0 * share) +
                  (busy >= kBusy ? "this machine cannot keep up" : "they do not arrive in time"));
    } else if (share < kLateUntil) {
        end(camera_fault::kLate, "the frames come as they should");
    }
}

}  // namespace host
