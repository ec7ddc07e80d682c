#include "host/engine/closed_lines.h"

#include <algorithm>

#include "host/engine/line_sides.h"
#include "vca/messages.h"

namespace host {

ClosedLineFilter::ClosedLineFilter(const VCA_ALGO_CFG_S& config) : config_(config) {
    change();
}

void ClosedLineFilter::change() {
    people_.clear();
    ended_.clear();
    lines_.clear();
    if (config_.devWorkMode != VCA_WORK_ALONE) return;
    for (int line = 0; line < VCA_LINE_NUM; ++line)
        if (goes_around(config_.line[line])) lines_.push_back(line);
}

int ClosedLineFilter::side_at(int line, int x, int y) const {
    const PicturePoint place{static_cast<double>(x), static_cast<double>(y)};
    return past_line_px(config_.line[line], place) > 0.0 ? VCA_DIR_1 : VCA_DIR_2;
}

void ClosedLineFilter::check(Event& event) {
    if (lines_.empty()) return;
    if (const auto* const decision = std::get_if<Decision>(&event.payload)) {
        note(*decision);
    } else if (const auto* const appeared = std::get_if<TrackAppeared>(&event.payload)) {
        note(*appeared);
    } else if (std::holds_alternative<PersonCounted>(event.payload)) {
        judge(event);
    }
}

void ClosedLineFilter::note(const Decision& decision) {
    if (decision.frame != ended_frame_) {
        for (const int track : ended_)
            people_.erase(track);
        ended_.clear();
    }
    if (decision.kind == VCA_DECISION_BORN) {
        Sides& sides = people_[decision.track] = {};
        for (const int line : lines_)
            sides.on[static_cast<std::size_t>(line)] = side_at(line, decision.x, decision.y);
    } else if (decision.kind == VCA_DECISION_COUNTED) {
        people_[decision.track].counted_at[static_cast<std::size_t>(decision.place)] =
            side_at(decision.place, decision.x, decision.y);
    } else if (decision.kind == VCA_DECISION_ENDED) {
        ended_.push_back(decision.track);
        ended_frame_ = decision.frame;
    }
}

void ClosedLineFilter::note(const TrackAppeared& appeared) {
    const auto found = people_.find(appeared.track);
    if (found == people_.end() || config_.StandAloneTrk != 1) return;
    for (const int line : lines_) {
        std::optional<int>& on = found->second.on[static_cast<std::size_t>(line)];
        if (on != side_at(line, appeared.foot_x, appeared.foot_y)) on.reset();
    }
}

void ClosedLineFilter::judge(Event& event) {
    const auto counted = std::get<PersonCounted>(event.payload);
    const auto found = people_.find(counted.track);
    const bool closed = std::find(lines_.begin(), lines_.end(), counted.line) != lines_.end();
    if (!closed || found == people_.end()) return;
    const auto line = static_cast<std::size_t>(counted.line);
    std::optional<int>& on = found->second.on[line];
    if (on == counted.direction || found->second.counted_at[line] != counted.direction) {
        event.payload = CountLeftOut{counted, VCA_LIST_LOCAL, LeftOut::kCorner};
    } else {
        on = counted.direction;
    }
}

}  // namespace host
