// Series of numbers over spans, with what is to be known about the spans.
#include "host/web/api_history.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/base/text.h"
#include "host/service/place.h"
#include "host/store/area_history.h"
#include "host/store/result_table.h"
#include "host/store/settings_history.h"
#include "host/web/api_answer.h"
#include "host/web/place_reader.h"
#include "host/web/query.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kMostSpans = 2000;
constexpr std::int64_t kMostDays = 4000;
constexpr std::size_t kMostNotes = 1000;  // gaps, and changes of settings

// What a request asks for.
struct Asked {
    Date first;
    Date last;
    std::vector<HistorySpan> spans;
    bool csv = false;
};

Asked asked(const PlaceReader& place, const HttpRequest& request) {
    const Query query(request, {"from", "to", "by", "open", "format"});
    Asked result;
    result.first = parse_date(query.needed("from"), "\"from\"");
    result.last = parse_date(query.needed("to"), "\"to\"");
    const SpanLength by = parse_span_length(query.needed("by"), "\"by\"");
    const bool open = query.word("open", {"false", "true"}) == "true";
    result.csv = query.word("format", {"json", "csv"}) == "csv";
    const std::int64_t days = days_between(result.first, result.last);
    if (days < 1) throw ApiError(kBadRequest, "the last day lies before the first one");
    if (expected_spans(by, days) > kMostSpans) {
        throw ApiError(kBadRequest, "these are more than " + std::to_string(kMostSpans) +
                                        " spans; choose longer ones or fewer days");
    }
    if (days > kMostDays) {
        throw ApiError(kBadRequest,
                       "these are more than " + std::to_string(kMostDays) + " days; choose fewer");
    }
    result.spans = history_spans(place.zone(), result.first, result.last, by);
    if (open) keep_open(result.spans, place.open_times(result.first, result.last));
    return result;
}

TimeSpan all_of(const std::vector<HistorySpan>& spans) {
    if (spans.empty()) return {};
    return {spans.front().span.from_us, spans.back().span.to_us};
}

// Of too many the longest stay.
void keep_longest(std::vector<StoredGap>& gaps) {
    if (gaps.size() <= kMostNotes) return;
    std::nth_element(gaps.begin(), gaps.begin() + kMostNotes, gaps.end(),
                     [](const StoredGap& a, const StoredGap& b) {
                         return a.to_us - a.from_us > b.to_us - b.from_us;
                     });
    gaps.resize(kMostNotes);
    std::sort(gaps.begin(), gaps.end(),
              [](const StoredGap& a, const StoredGap& b) { return a.from_us < b.from_us; });
}

// A gap is written down when it is over; this one is not.
void add_last_gap(std::vector<StoredGap>& gaps, const StoreReader& store, const TimeSpan& span,
                  std::int64_t now_us) {
    const auto until_us = store.watched_until_us();
    if (!until_us || *until_us >= now_us - kMinute_us) return;
    const StoredGap gap{std::max(*until_us, span.from_us), std::min(now_us, span.to_us),
                        "not watched since"};
    if (gap.from_us < gap.to_us) gaps.push_back(gap);
}

void add_gaps(Json& list, const PlaceReader& place, const std::string& camera,
              const TimeSpan& span) {
    std::vector<StoredGap> gaps;
    try {
        const StoreReader store(place.database(camera));
        gaps = store.gaps(span);
        add_last_gap(gaps, store, span, place.now_us());
    } catch (const std::runtime_error&) {
        return;
    }
    keep_longest(gaps);
    for (const StoredGap& gap : gaps) {
        list.push_back({{"camera", camera},
                        {"from_us", gap.from_us},
                        {"to_us", gap.to_us},
                        {"from", place.zone().text(gap.from_us)},
                        {"to", place.zone().text(gap.to_us)},
                        {"why", gap.why}});
    }
}

void add_changes(Json& list, const PlaceReader& place, const std::string& camera,
                 const TimeSpan& span) {
    std::vector<SettingsVersion> changes;
    try {
        changes = settings_changes(place.database(camera), span);
    } catch (const std::runtime_error&) {
        return;
    }
    const std::size_t from = changes.size() > kMostNotes ? changes.size() - kMostNotes : 0;
    for (std::size_t i = from; i < changes.size(); ++i) {
        list.push_back({{"camera", camera},
                        {"time_us", changes[i].applied_us},
                        {"time", place.zone().text(changes[i].applied_us)},
                        {"version", changes[i].number},
                        {"name", changes[i].name},
                        {"author", changes[i].author}});
    }
}

Json history_json(const PlaceReader& place, const Asked& asked) {
    Json spans = Json::array();
    for (const HistorySpan& span : asked.spans) {
        spans.push_back({{"from_us", span.span.from_us},
                         {"to_us", span.span.to_us},
                         {"label", span.label},
                         {"date", date_text(span.date)}});
    }
    Json gaps = Json::array();
    Json changes = Json::array();
    for (const ServiceCamera& camera : place.file().cameras) {
        add_gaps(gaps, place, camera.name, all_of(asked.spans));
        add_changes(changes, place, camera.name, all_of(asked.spans));
    }
    Json clock = Json::array();
    for (const ClockChange& change : clock_changes(place.zone(), asked.first, asked.last)) {
        clock.push_back({{"time_us", change.time_us},
                         {"date", date_text(change.date)},
                         {"hours", change.hours}});
    }
    return {{"time_zone", place.zone().name()},
            {"spans", std::move(spans)},
            {"gaps", std::move(gaps)},
            {"changes", std::move(changes)},
            {"clock_changes", std::move(clock)}};
}

// An item for each span; null where nothing was watched.
template <typename Watched, typename Value>
Json numbers(std::size_t spans, Watched watched, Value value) {
    Json list = Json::array();
    for (std::size_t i = 0; i < spans; ++i)
        list.push_back(watched(i) ? Json(value(i)) : Json());
    return list;
}

std::string cell_text(const Json& value) {
    if (value.is_null()) return "";
    return value.is_number_float() ? plain_number(value.get<double>()) : value.dump();
}

// A row for each number, with the keys of its series.
HttpResponse csv_answer(const Json& answer, const Json& series, const TimeZone& zone,
                        const std::string& name) {
    ResultTable table;
    table.columns = {"from", "to", "camera", "place", "direction", "what", "value"};
    for (const Json& one : series) {
        std::string place;
        for (const char* key : {"line", "region", "area"})
            place += one.value(key, "");
        for (const auto& [what, list] : one.items()) {
            if (!list.is_array()) continue;
            for (std::size_t i = 0; i < list.size(); ++i) {
                const Json& span = answer.at("spans").at(i);
                table.rows.push_back({zone.text(span.at("from_us")), zone.text(span.at("to_us")),
                                      one.value("camera", ""), place,
                                      one.value("direction_name", ""), what, cell_text(list[i])});
            }
        }
    }
    HttpResponse response;
    response.type = "text/csv; charset=utf-8";
    response.headers.emplace_back("Content-Disposition",
                                  "attachment; filename=\"" + name + ".csv\"");
    response.body = as_csv(table);
    return response;
}

HttpResponse series_answer(const PlaceReader& place, const Asked& asked, Json series,
                           const std::string& name) {
    Json answer = history_json(place, asked);
    if (asked.csv) return csv_answer(answer, series, place.zone(), name);
    answer["series"] = std::move(series);
    return json_answer(answer);
}

// Those in force first, in the order of the settings, then those that were watched before.
template <typename List, typename Placed, typename NameOf>
std::vector<std::string> names_of(const List& counted, const Placed& in_force, NameOf name_of) {
    std::vector<std::string> names;
    for (const auto& placed : in_force)
        names.push_back(placed.value.name);
    for (const auto& one : counted)
        if (std::find(names.begin(), names.end(), name_of(one)) == names.end())
            names.push_back(name_of(one));
    return names;
}

template <typename Number>
Json people_of(const LineHistory* line, std::size_t spans, Number PeopleCount::*kind) {
    return numbers(
        spans, [line](std::size_t i) { return line != nullptr && line->watched_minutes[i] > 0; },
        [line, kind](std::size_t i) { return line->people[i].*kind; });
}

Json line_json(const PlaceReader& place, const std::string& camera, const std::string& name,
               int direction, const std::vector<LineHistory>& lines, std::size_t spans) {
    const LineHistory* found = nullptr;
    for (const LineHistory& line : lines)
        if (line.line == name && line.direction == direction) found = &line;
    return {{"camera", camera},
            {"line", name},
            {"direction", direction},
            {"direction_name", place.direction_name(camera, name, direction)},
            {"adult", people_of(found, spans, &PeopleCount::adult)},
            {"child", people_of(found, spans, &PeopleCount::child)},
            {"staff", people_of(found, spans, &PeopleCount::staff)},
            {"groups", people_of(found, spans, &PeopleCount::groups)}};
}

Json region_json(const std::string& camera, const std::string& name,
                 const std::vector<RegionHistory>& regions, std::size_t spans) {
    const RegionHistory* found = nullptr;
    for (const RegionHistory& region : regions)
        if (region.region == name) found = &region;
    const auto watched = [found](std::size_t i) {
        return found != nullptr && found->sums[i].frames > 0;
    };
    const auto list = [&](auto value) {
        return numbers(spans, watched, [&](std::size_t i) { return value(found->sums[i]); });
    };
    return {{"camera", camera},
            {"region", name},
            {"mean_people", list([](const RegionMinute& sum) {
                 const double mean =
                     static_cast<double>(sum.people_frames) / static_cast<double>(sum.frames);
                 return std::round(100.0 * mean) / 100.0;
             })},
            {"most", list([](const RegionMinute& sum) { return sum.most; })},
            {"stays", list([](const RegionMinute& sum) { return sum.stays; })},
            {"mean_stay_s", list([](const RegionMinute& sum) {
                 if (sum.stays == 0) return 0.0;
                 const double mean_ms =
                     static_cast<double>(sum.stay_ms) / static_cast<double>(sum.stays);
                 return std::round(mean_ms / 100.0) / 10.0;
             })}};
}

}  // namespace

HttpResponse counts_answer(const ApiSources& sources, const HttpRequest& request) {
    const PlaceReader place(sources);
    const Asked what = asked(place, request);
    Json series = Json::array();
    for (const ServiceCamera& camera : place.file().cameras) {
        std::vector<LineHistory> lines;
        if (const auto history = place.history(camera.name)) lines = history->lines(what.spans);
        const auto names = names_of(lines, place.in_force(camera.name).lines,
                                    [](const LineHistory& line) { return line.line; });
        for (const std::string& name : names) {
            for (const int direction : {1, 2}) {
                series.push_back(
                    line_json(place, camera.name, name, direction, lines, what.spans.size()));
            }
        }
    }
    return series_answer(place, what, std::move(series), "counts");
}

HttpResponse regions_answer(const ApiSources& sources, const HttpRequest& request) {
    const PlaceReader place(sources);
    const Asked what = asked(place, request);
    Json series = Json::array();
    for (const ServiceCamera& camera : place.file().cameras) {
        std::vector<RegionHistory> regions;
        if (const auto history = place.history(camera.name)) regions = history->regions(what.spans);
        const auto names = names_of(regions, place.in_force(camera.name).regions,
                                    [](const RegionHistory& region) { return region.region; });
        for (const std::string& name : names)
            series.push_back(region_json(camera.name, name, regions, what.spans.size()));
    }
    return series_answer(place, what, std::move(series), "regions");
}

HttpResponse areas_answer(const ApiSources& sources, const HttpRequest& request) {
    const PlaceReader place(sources);
    const Asked what = asked(place, request);
    std::vector<HistoryReader> stores;
    for (const ServiceCamera& camera : place.file().cameras)
        if (auto history = place.history(camera.name)) stores.push_back(std::move(*history));
    if (auto history = place.history(kPlaceDevice)) stores.push_back(std::move(*history));
    Json series = Json::array();
    for (const Area& area : areas_of(place.file())) {
        const auto levels = area_history(stores, area, place.zone(), what.spans, place.now_us());
        const auto list = [&](std::int64_t AreaSpan::*value) {
            return numbers(
                levels.size(), [&](std::size_t i) { return levels[i].has_value(); },
                [&](std::size_t i) { return (*levels[i]).*value; });
        };
        series.push_back({{"area", area.name},
                          {"capacity", area.capacity ? Json(*area.capacity) : Json()},
                          {"most", list(&AreaSpan::most)},
                          {"at_end", list(&AreaSpan::at_end)}});
    }
    return series_answer(place, what, std::move(series), "areas");
}

HttpResponse visitors_answer(const ApiSources& sources, const HttpRequest& request) {
    const PlaceReader place(sources);
    const Asked what = asked(place, request);
    std::vector<PeopleCount> sums(what.spans.size());
    std::vector<bool> watched(what.spans.size(), false);
    for (const ServiceCamera& camera : place.file().cameras) {
        const auto history = place.history(camera.name);
        if (!history) continue;
        for (const LineHistory& line : history->lines(what.spans)) {
            if (!place.leads_in(camera.name, line.line, line.direction)) continue;
            for (std::size_t i = 0; i < sums.size(); ++i) {
                sums[i] += line.people[i];
                watched[i] = watched[i] || line.watched_minutes[i] > 0;
            }
        }
    }
    const auto list = [&](std::int64_t PeopleCount::*kind) {
        return numbers(
            sums.size(), [&](std::size_t i) { return watched[i]; },
            [&](std::size_t i) { return sums[i].*kind; });
    };
    const Json series{{"adults", list(&PeopleCount::adult)},
                      {"children", list(&PeopleCount::child)}};
    Json answer = history_json(place, what);
    if (what.csv) return csv_answer(answer, Json::array({series}), place.zone(), "visitors");
    answer.update(series);
    return json_answer(answer);
}

}  // namespace host
