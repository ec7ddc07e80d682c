#include "host/engine/late_counts.h"

#include <algorithm>

#include "host/engine/line_sides.h"
#include "host/engine/parked_line.h"
#include "vca/messages.h"

namespace host {

const char* late_counts_name(LateCounts late_counts) {
    return late_counts == LateCounts::kDrop ? "drop" : "keep";
}

void LateCountFilter::check(Event& event) {
    if (const auto* const decision = std::get_if<Decision>(&event.payload)) {
        if (!ends_.empty() && ends_.front().frame != decision->frame) ends_.clear();
        if (decision->kind == VCA_DECISION_AT_END) ends_.push_back(*decision);
        if (decision->kind == VCA_DECISION_CROSSED && event.blank) unseen_.push_back(*decision);
        return;
    }
    const auto* const counted = std::get_if<PersonCounted>(&event.payload);
    if (counted == nullptr) return;
    if (counted->line >= 0 && counted->line < VCA_LINE_NUM &&
        is_parked(config_.line[counted->line])) {
        leave_out_parked(event, *counted);
        return;
    }
    const auto is_of_count = [counted](const Decision& each) {
        return each.track == counted->track && each.place == counted->line;
    };
    const auto end = std::find_if(ends_.begin(), ends_.end(), is_of_count);
    const auto unseen = std::find_if(unseen_.begin(), unseen_.end(), is_of_count);
    if (end != ends_.end()) {
        const Decision announced = *end;
        ends_.erase(end);
        check_end(event, announced);
    } else if (unseen != unseen_.end() && late_counts_ == LateCounts::kDrop) {
        event.payload = CountLeftOut{*counted, unseen->list, LeftOut::kUnseen};
    }
}

// Nobody crosses a parked line; the track remembers the one that was there before.
void LateCountFilter::leave_out_parked(Event& event, const PersonCounted& counted) {
    std::erase_if(ends_, [&counted](const Decision& each) {
        return each.track == counted.track && each.place == counted.line;
    });
    const int list = config_.devWorkMode == VCA_WORK_MASTER ? VCA_LIST_MERGED : VCA_LIST_LOCAL;
    event.payload = CountLeftOut{counted, list, LeftOut::kNoLine};
}

void LateCountFilter::check_end(Event& event, const Decision& end) {
    auto& counted = std::get<PersonCounted>(event.payload);
    const VCA_CFG_LINE_S& line = config_.line[end.place];
    const double past_px =
        past_line_px(line, {static_cast<double>(end.x), static_cast<double>(end.y)});
    counted.at_end = {end.list, static_cast<int>(end.value),
                      counted.direction == VCA_DIR_1 ? past_px : -past_px};
    if (is_late(*counted.at_end) && late_counts_ == LateCounts::kDrop)
        event.payload = CountLeftOut{counted, end.list, LeftOut::kWentBack};
}

}  // namespace host
