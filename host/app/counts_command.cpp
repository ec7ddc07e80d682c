// Which spans are looked at, and which columns the result has.
#include "host/app/counts_command.h"

#include <algorithm>
#include <array>

#include "host/app/place_stores.h"
#include "host/base/input_error.h"
#include "host/service/place.h"
#include "host/store/count_table.h"

namespace host {
namespace {

using Cell = ResultTable::Cell;
using namespace count_column;

constexpr const char* kKind = "kind";
constexpr const char* kPeople = "people";

struct Query {
    const CountsOptions& options;
    TimeZone zone;
    Date date;
    std::vector<TimeSpan> open;  // what of the day counts
    std::vector<StoreReader> stores;
    std::vector<Door> doors;
    std::vector<Area> areas;
};

// What the options say, or the place's file.
struct Plan {
    std::string time_zone;
    std::vector<Placed<std::string>> open;
    std::vector<std::string> stores;
    std::vector<Door> doors;
    std::vector<Area> areas;
};

Plan plan_of_options(const CountsOptions& options) {
    Plan plan{options.time_zone, options.open, options.stores, {}, {}};
    for (const Entrance& entrance : options.entrances)
        plan.doors.push_back({entrance.line, entrance.direction});
    if (options.inside) {
        plan.areas.push_back({options.area.empty() ? kWholePlace : options.area, plan.doors,
                              parse_time_of_day(options.reset, "--reset"), options.capacity});
    }
    return plan;
}

Plan plan_of_place(const CountsOptions& options) {
    const ServiceFile file = read_service_file(options.place_file);
    Plan plan{file.time_zone.value, file.open, stores_of(file), doors_of(file), areas_of(file)};
    if (options.area.empty()) return plan;
    std::string known;
    for (const Area& area : plan.areas)
        known += (known.empty() ? "\"" : ", \"") + area.name + "\"";
    std::erase_if(plan.areas, [&](const Area& area) { return area.name != options.area; });
    if (!plan.areas.empty()) return plan;
    throw InputError("the place has no area \"" + options.area + "\" with an entrance; there are " +
                     (known.empty() ? "none" : known));
}

Query make_query(const CountsOptions& options, std::int64_t now_us) {
    Plan plan = options.place_file.empty() ? plan_of_options(options) : plan_of_place(options);
    TimeZone zone(plan.time_zone);
    const Date date =
        options.date.empty() ? zone.date_of(now_us) : parse_date(options.date, "--date");
    std::vector<TimeSpan> open = OpeningHours(plan.open).spans(zone, date);
    Query query{options,
                std::move(zone),
                date,
                std::move(open),
                {},
                std::move(plan.doors),
                std::move(plan.areas)};
    for (const std::string& path : plan.stores)
        query.stores.emplace_back(path);
    return query;
}

// An entrance that no camera has is a slip of the pen, and would count nobody.
void check_doors(const Query& query) {
    std::string known;
    for (const Door& door : query.doors) {
        bool found = false;
        for (const StoreReader& store : query.stores) {
            for (const LineCount& total : store.totals()) {
                found = found || door.is_line(store.device(), total.line);
                if (known.find("\"" + total.line + "\"") == std::string::npos)
                    known += (known.empty() ? "\"" : ", \"") + total.line + "\"";
            }
        }
        if (found) continue;
        throw InputError("no camera has a line \"" + door.line + "\"; there are " +
                         (known.empty() ? "none" : known));
    }
}

std::vector<CountedPart> parts_of(const Query& query) {
    if (query.options.by == CountsBy::kHour) return open_hours(query.zone, query.date, query.open);
    return {{date_text(query.date), query.open}};
}

std::int64_t minutes_of(const std::vector<TimeSpan>& spans) {
    std::int64_t length_us = 0;
    for (const TimeSpan& span : spans)
        length_us += span.to_us - span.from_us;
    return length_us / kMinute_us;
}

ResultTable by_kind(const Query& query) {
    ResultTable table;
    table.columns = {kDevice, kLine, kDirection, kKind, kPeople};
    for (const StoreReader& store : query.stores) {
        for (const LineCount& count : counts_in(store, query.open)) {
            const std::array<std::int64_t, kPersonKinds> people{
                count.people.adult, count.people.child, count.people.staff};
            for (std::size_t kind = 0; kind < kPersonKinds; ++kind) {
                table.rows.push_back({store.device(), count.line, std::int64_t{count.direction},
                                      person_kind_name(static_cast<PersonKind>(kind)),
                                      people[kind]});
            }
        }
    }
    return table;
}

// The minutes of the entrance that was watched least.
std::int64_t watched_minutes(const std::string& device, const std::vector<LineCount>& counts,
                             const std::vector<Door>& doors, std::int64_t least) {
    for (const LineCount& count : counts)
        for (const Door& door : doors)
            if (door.is_line(device, count.line) && door.in == count.direction)
                least = std::min(least, count.watched_minutes);
    return least;
}

ResultTable visitor_table(const Query& query) {
    ResultTable table;
    const bool hours = query.options.by == CountsBy::kHour;
    table.columns = {hours ? kHour : "day", "visitors", "adults", "children", kWatched};
    if (hours) table.columns.emplace_back(kNotWatched);
    for (const CountedPart& part : parts_of(query)) {
        Visitors sum;
        std::vector<StoredGap> gaps;
        std::int64_t watched = minutes_of(part.spans);
        for (const StoreReader& store : query.stores) {
            const std::vector<LineCount> counts = counts_in(store, part.spans);
            const Visitors here = visitors_of(store.device(), counts, query.doors);
            sum.adults += here.adults;
            sum.children += here.children;
            sum.together += here.together;
            const std::vector<StoredGap> here_gaps = gaps_in(store, part.spans);
            gaps.insert(gaps.end(), here_gaps.begin(), here_gaps.end());
            watched = watched_minutes(store.device(), counts, query.doors, watched);
        }
        table.rows.push_back({part.label, query.options.groups_as_one ? sum.together : sum.all(),
                              sum.adults, sum.children, watched});
        if (hours) table.rows.back().emplace_back(not_watched_text(gaps, query.zone));
    }
    return table;
}

ResultTable inside_table(const Query& query, std::int64_t now_us) {
    // Another day is looked at from its end.
    const std::int64_t at_us = query.options.date.empty()
                                   ? now_us
                                   : std::min(now_us, query.zone.day(query.date).to_us - 1);
    ResultTable table;
    table.columns = {"area",  "inside",      "in",       "out",   "since",
                     "drift", "corrections", "capacity", "level", "removed"};
    for (const Area& area : query.areas) {
        const AreaBalance now = area_balance(query.stores, area, query.zone, at_us);
        Cell capacity;
        if (area.capacity) capacity = std::int64_t{*area.capacity};
        const bool full = area.capacity && now.inside() >= *area.capacity;
        table.rows.push_back({area.name, now.inside(), now.in, now.out,
                              query.zone.text(now.since.from_us), now.drift, now.corrections,
                              capacity, full ? "full" : "ok", now.removed});
    }
    return table;
}

ResultTable table_of(const Query& query) {
    if (query.options.visitors) return visitor_table(query);
    const CountsBy by = query.options.by;
    if (by == CountsBy::kKind) return by_kind(query);
    return line_table(query.stores, parts_of(query), query.zone, by == CountsBy::kHour);
}

std::string written(const ResultTable& table, TextForm form) {
    if (form == TextForm::kCsv) return as_csv(table);
    return form == TextForm::kJson ? as_json(table) : as_table(table);
}

// Where a reader of an empty table should look.
std::string hint(const Query& query) {
    if (query.open.empty()) return "closed on this day\n";
    std::optional<std::int64_t> latest_us;
    for (const StoreReader& store : query.stores) {
        const auto until = store.watched_until_us();
        if (until && (!latest_us || *until > *latest_us)) latest_us = until;
    }
    if (!latest_us) return "nothing has been watched yet\n";
    const Date last = query.zone.date_of(*latest_us);
    if (last == query.date) return "";
    return "watched last on " + date_text(last) + "\n";
}

}  // namespace

std::string counts_text(const CountsOptions& options, std::int64_t now_us) {
    const Query query = make_query(options, now_us);
    check_doors(query);
    if (options.inside) return written(inside_table(query, now_us), options.form);
    if (options.visitors && options.by == CountsBy::kKind)
        throw InputError("visitors are adults and children apart already; leave out --by");
    const ResultTable table = table_of(query);
    if (options.form != TextForm::kTable) return written(table, options.form);
    return date_text(query.date) + ", " + query.zone.name() + "\n" + as_table(table) + hint(query);
}

}  // namespace host
