// Columns and cells.
#include "host/app/event_rows.h"

namespace host {

ResultTable event_table() {
    return {{"device", "epoch", "sequence", "time", "kind", "place", "direction", "track", "person",
             "people", kWhyKey},
            {}};
}

std::vector<ResultTable::Cell> event_row(const ToldEvent& event, const TimeZone& zone) {
    using Cell = ResultTable::Cell;
    const auto number = [](const std::optional<int>& value) {
        return value ? Cell{std::int64_t{*value}} : Cell{};
    };
    const auto text = [](const std::string& value) { return value.empty() ? Cell{} : Cell{value}; };
    return {event.device,
            event.number.epoch,
            event.number.sequence,
            zone.text(event.time_us),
            event.kind,
            text(event.place),
            number(event.direction),
            number(event.track),
            text(event.person),
            std::int64_t{event.people},
            text(event.why)};
}

}  // namespace host
