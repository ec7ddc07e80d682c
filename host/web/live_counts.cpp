// Today by hours, and its sums.
#include "host/web/live_counts.h"

#include <nlohmann/json.hpp>

#include "host/service/place.h"
#include "host/web/place_reader.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

// Visitors of each hour.
struct Hours {
    std::vector<HistorySpan> spans;
    std::vector<std::int64_t> people;
    std::vector<bool> watched;
};

std::int64_t sum_of(const LineHistory& line) {
    std::int64_t sum = 0;
    for (const PeopleCount& people : line.people)
        sum += people.adult + people.child + people.staff;
    return sum;
}

void add_visitors(Hours& hours, const LineHistory& line) {
    for (std::size_t i = 0; i < hours.spans.size(); ++i) {
        hours.people[i] += line.people[i].adult + line.people[i].child;
        hours.watched[i] = hours.watched[i] || line.watched_minutes[i] > 0;
    }
}

// Lines in force, with 0 where nobody was counted today.
void add_lines(Json& list, const PlaceReader& place, const std::string& camera,
               const std::vector<LineHistory>& lines) {
    for (const std::string& name : place.lines_of(camera)) {
        Json directions = Json::array();
        for (const int direction : {1, 2}) {
            std::int64_t people = 0;
            for (const LineHistory& line : lines)
                if (line.line == name && line.direction == direction) people += sum_of(line);
            directions.push_back({{"direction", direction},
                                  {"name", place.direction_name(camera, name, direction)},
                                  {"people", people}});
        }
        list.push_back({{"camera", camera}, {"line", name}, {"directions", directions}});
    }
}

Json areas_json(const PlaceReader& place) {
    std::vector<StoreReader> stores;
    for (const std::string& database : area_databases(place.file())) {
        try {
            stores.emplace_back(database);
        } catch (const std::runtime_error&) {
            continue;
        }
    }
    Json list = Json::array();
    for (const Area& area : areas_of(place.file())) {
        const std::int64_t inside =
            area_balance(stores, area, place.zone(), place.now_us()).inside();
        const bool full = area.capacity && inside >= *area.capacity;
        list.push_back({{"area", area.name},
                        {"inside", inside},
                        {"capacity", area.capacity ? Json(*area.capacity) : Json()},
                        {"level", full ? "full" : "ok"}});
    }
    return list;
}

Json regions_json(const std::vector<RegionNow>& regions) {
    Json list = Json::array();
    for (const RegionNow& now : regions) {
        list.push_back({{"camera", now.camera},
                        {"region", now.region},
                        {"people", now.people},
                        {"longest_stay_ms", now.longest_stay_ms}});
    }
    return list;
}

Json hours_json(const Hours& hours) {
    Json list = Json::array();
    for (std::size_t i = 0; i < hours.spans.size(); ++i) {
        list.push_back({{"label", hours.spans[i].label},
                        {"people", hours.watched[i] ? Json(hours.people[i]) : Json()}});
    }
    return list;
}

}  // namespace

nlohmann::ordered_json live_counts_json(const ApiSources& sources,
                                        const std::vector<RegionNow>& regions) {
    const PlaceReader place(sources);
    const Date today = place.zone().date_of(place.now_us());
    Hours hours;
    hours.spans = history_spans(place.zone(), today, today, SpanLength::kHour);
    hours.people.resize(hours.spans.size());
    hours.watched.resize(hours.spans.size());
    Json lines = Json::array();
    for (const ServiceCamera& camera : place.file().cameras) {
        std::vector<LineHistory> counted;
        if (const auto history = place.history(camera.name)) counted = history->lines(hours.spans);
        for (const LineHistory& line : counted)
            if (place.leads_in(camera.name, line.line, line.direction)) add_visitors(hours, line);
        add_lines(lines, place, camera.name, counted);
    }
    std::int64_t visitors = 0;
    for (const std::int64_t people : hours.people)
        visitors += people;
    return {{"today", date_text(today)},
            {"visitors", place.file().entrances.empty() ? Json() : Json(visitors)},
            {"lines", std::move(lines)},
            {"regions", regions_json(regions)},
            {"areas", areas_json(place)},
            {"hours", hours_json(hours)}};
}

}  // namespace host
