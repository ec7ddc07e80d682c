// Which spans are looked at, and which columns the result has.
#include "host/app/counts_command.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "host/base/input_error.h"
#include "host/report/output_folder.h"
#include "host/store/visitors.h"

namespace host {
namespace {

using Cell = ResultTable::Cell;
using Row = std::vector<Cell>;

constexpr const char* kDevice = "device";
constexpr const char* kLine = "line";
constexpr const char* kDirection = "direction";
constexpr const char* kHour = "hour";
constexpr const char* kKind = "kind";
constexpr const char* kPeople = "people";
constexpr const char* kWatched = "watched_minutes";
constexpr const char* kNotWatched = "not_watched";

// A row of the result covers this.
struct Part {
    std::string label;
    TimeSpan span;
};

struct Query {
    const CountsOptions& options;
    TimeZone zone;
    Date date;
    TimeSpan open;  // what of the day counts
    std::vector<StoreReader> stores;
    std::vector<Door> doors;
};

TimeSpan opening_hours(const CountsOptions& options, const TimeZone& zone, const Date& date) {
    if (options.open_from.empty() && options.open_to.empty()) return zone.day(date);
    const std::string place = "--open";
    const int from = parse_time_of_day(options.open_from, place);
    const int to = parse_time_of_day(options.open_to, place);
    // A place that closes after midnight.
    const Date last = to > from ? date : zone.next(date);
    return {zone.at(date, from), zone.at(last, to)};
}

Query make_query(const CountsOptions& options, std::int64_t now_us) {
    TimeZone zone(options.time_zone);
    const Date date =
        options.date.empty() ? zone.date_of(now_us) : parse_date(options.date, "--date");
    const TimeSpan open = opening_hours(options, zone, date);
    Query query{options, std::move(zone), date, open, {}, {}};
    for (const std::string& path : options.stores)
        query.stores.emplace_back(path);
    for (const Entrance& entrance : options.entrances)
        query.doors.push_back({entrance.line, entrance.direction});
    return query;
}

// An entrance that no camera has is a slip of the pen, and would count nobody.
void check_doors(const Query& query) {
    std::string known;
    for (const Door& door : query.doors) {
        bool found = false;
        for (const StoreReader& store : query.stores) {
            for (const LineCount& total : store.totals()) {
                found = found || total.line == door.line;
                if (known.find("\"" + total.line + "\"") == std::string::npos)
                    known += (known.empty() ? "\"" : ", \"") + total.line + "\"";
            }
        }
        if (found) continue;
        throw InputError("no camera has a line \"" + door.line + "\"; there are " +
                         (known.empty() ? "none" : known));
    }
}

std::vector<Part> parts_of(const Query& query) {
    if (query.options.by != CountsBy::kHour) return {{date_text(query.date), query.open}};
    std::vector<LocalHour> hours = query.zone.hours(query.date);
    if (query.open.to_us > hours.back().span.to_us) {
        for (LocalHour& hour : query.zone.hours(query.zone.next(query.date))) {
            hour.label = "+1 " + hour.label;
            hours.push_back(std::move(hour));
        }
    }
    std::vector<Part> parts;
    for (const LocalHour& hour : hours) {
        const TimeSpan span{std::max(hour.span.from_us, query.open.from_us),
                            std::min(hour.span.to_us, query.open.to_us)};
        if (span.from_us < span.to_us) parts.push_back({hour.label, span});
    }
    return parts;
}

// When nothing was watched within an hour, and why.
std::string not_watched_text(const std::vector<StoredGap>& gaps, const TimeZone& zone) {
    constexpr std::size_t kMost = 3;
    // Of 2026-03-29T03:00:00.000+02:00.
    const auto clock = [&zone](std::int64_t time_us) { return zone.text(time_us).substr(11, 8); };
    std::string text;
    for (std::size_t i = 0; i < std::min(gaps.size(), kMost); ++i) {
        text += (i == 0 ? "" : "; ") + clock(gaps[i].from_us) + " to " + clock(gaps[i].to_us) +
                " " + gaps[i].why;
    }
    if (gaps.size() > kMost) text += "; and " + std::to_string(gaps.size() - kMost) + " more";
    return text;
}

ResultTable by_line(const Query& query) {
    const bool hours = query.options.by == CountsBy::kHour;
    ResultTable table;
    table.columns = {kDevice,  kLine,    kDirection,           "adult", "child", "staff",
                     "groups", kWatched, "provisional_minutes"};
    if (hours) {
        table.columns.insert(table.columns.begin(), kHour);
        table.columns.emplace_back(kNotWatched);
    }
    for (const Part& part : parts_of(query)) {
        for (const StoreReader& store : query.stores) {
            const std::string gaps = not_watched_text(store.gaps(part.span), query.zone);
            for (const LineCount& count : store.counts(part.span)) {
                const PeopleCount& p = count.people;
                Row row{store.device(),
                        count.line,
                        std::int64_t{count.direction},
                        p.adult,
                        p.child,
                        p.staff,
                        p.groups,
                        count.watched_minutes,
                        count.provisional_minutes};
                if (hours) {
                    row.insert(row.begin(), part.label);
                    row.emplace_back(gaps);
                }
                table.rows.push_back(std::move(row));
            }
        }
    }
    return table;
}

ResultTable by_kind(const Query& query) {
    ResultTable table;
    table.columns = {kDevice, kLine, kDirection, kKind, kPeople};
    for (const StoreReader& store : query.stores) {
        for (const LineCount& count : store.counts(query.open)) {
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
std::int64_t watched_minutes(const std::vector<LineCount>& counts, const std::vector<Door>& doors,
                             std::int64_t least) {
    for (const LineCount& count : counts)
        for (const Door& door : doors)
            if (door.line == count.line && door.in == count.direction)
                least = std::min(least, count.watched_minutes);
    return least;
}

ResultTable visitor_table(const Query& query) {
    ResultTable table;
    const bool hours = query.options.by == CountsBy::kHour;
    table.columns = {hours ? kHour : "day", "visitors", "adults", "children", kWatched};
    if (hours) table.columns.emplace_back(kNotWatched);
    for (const Part& part : parts_of(query)) {
        Visitors sum;
        std::vector<StoredGap> gaps;
        std::int64_t watched = (part.span.to_us - part.span.from_us) / kMinute_us;
        for (const StoreReader& store : query.stores) {
            const std::vector<LineCount> counts = store.counts(part.span);
            const Visitors here = visitors_of(counts, query.doors);
            sum.adults += here.adults;
            sum.children += here.children;
            sum.together += here.together;
            const std::vector<StoredGap> here_gaps = store.gaps(part.span);
            gaps.insert(gaps.end(), here_gaps.begin(), here_gaps.end());
            watched = watched_minutes(counts, query.doors, watched);
        }
        table.rows.push_back({part.label, query.options.groups_as_one ? sum.together : sum.all(),
                              sum.adults, sum.children, watched});
        if (hours) table.rows.back().emplace_back(not_watched_text(gaps, query.zone));
    }
    return table;
}

ResultTable inside_table(const Query& query, std::int64_t now_us) {
    const CountsOptions& options = query.options;
    Area area;
    area.name = options.area;
    area.doors = query.doors;
    area.reset_minutes = parse_time_of_day(options.reset, "--reset");
    area.capacity = options.capacity;
    // Another day is looked at from its end.
    const std::int64_t at_us =
        options.date.empty() ? now_us : std::min(now_us, query.zone.day(query.date).to_us - 1);
    const AreaBalance now = area_balance(query.stores, area, query.zone, at_us);
    ResultTable table;
    table.columns = {"area",  "inside",      "in",       "out",  "since",
                     "drift", "corrections", "capacity", "level"};
    Cell capacity;
    if (area.capacity) capacity = std::int64_t{*area.capacity};
    const bool full = area.capacity && now.inside() >= *area.capacity;
    table.rows.push_back({area.name, now.inside(), now.in, now.out,
                          query.zone.text(now.since.from_us), now.drift, now.corrections, capacity,
                          full ? "full" : "ok"});
    return table;
}

std::string written(const ResultTable& table, TextForm form) {
    if (form == TextForm::kCsv) return as_csv(table);
    return form == TextForm::kJson ? as_json(table) : as_table(table);
}

// Where a reader of an empty table should look.
std::string hint(const Query& query) {
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

Committed first_number(const CountsOptions& options, const StoreReader& store) {
    if (options.after.empty()) return store.last();
    if (options.after == "0") return {};
    const std::size_t colon = options.after.find(':');
    const std::string digits = colon == std::string::npos ? "" : options.after.substr(colon + 1);
    constexpr std::size_t kMostDigits = 18;
    if (digits.empty() || digits.size() > kMostDigits ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
        throw InputError("--after is \"" + options.after + "\"; write EPOCH:SEQUENCE, or 0");
    }
    return {options.after.substr(0, colon), std::stoll(digits)};
}

// One database that is followed.
struct Followed {
    StoreReader store;
    Committed number;
    std::int64_t version = -1;
};

// A restored database knows the epoch that was followed, one that has begun anew does not.
void open_again(Followed& followed) {
    try {
        followed.store = StoreReader(followed.store.path());
    } catch (const InputError&) {
        return;  // it is being made
    }
    followed.version = -1;
    if (!followed.store.has_epoch(followed.number.epoch)) followed.number = {};
}

void print_new(Followed& followed, const TimeZone& zone) {
    constexpr int kAtOnce = 1000;
    if (followed.store.replaced()) open_again(followed);
    const std::int64_t version = followed.store.version();
    if (version == followed.version) return;
    while (true) {
        const std::vector<ToldEvent> events = followed.store.events_after(followed.number, kAtOnce);
        if (events.empty()) break;
        for (const ToldEvent& event : events) {
            ResultTable table = event_table();
            table.rows.push_back(event_row(event, zone));
            write_text(stdout, json_line(table, 0) + "\n");
            followed.number = event.number;
        }
    }
    followed.version = version;
}

}  // namespace

std::string counts_text(const CountsOptions& options, std::int64_t now_us) {
    const Query query = make_query(options, now_us);
    check_doors(query);
    if (options.inside) return written(inside_table(query, now_us), options.form);
    if (!query.doors.empty() && options.by == CountsBy::kKind)
        throw InputError("--entrance counts adults and children apart already; leave out --by");
    ResultTable table = options.by == CountsBy::kKind ? by_kind(query) : by_line(query);
    if (!query.doors.empty()) table = visitor_table(query);
    if (options.form != TextForm::kTable) return written(table, options.form);
    return date_text(query.date) + ", " + query.zone.name() + "\n" + as_table(table) + hint(query);
}

void follow_counts(const CountsOptions& options, const std::atomic<bool>& stop) {
    constexpr std::chrono::milliseconds kPause{20};
    const TimeZone zone(options.time_zone);
    std::vector<Followed> all;
    for (const std::string& path : options.stores) {
        StoreReader store(path);
        Committed number = first_number(options, store);
        all.push_back({std::move(store), std::move(number)});
    }
    while (!stop) {
        for (Followed& followed : all)
            print_new(followed, zone);
        std::this_thread::sleep_for(kPause);
    }
}

ResultTable event_table() {
    return {{kDevice, "epoch", "sequence", "time", kKind, "place", kDirection, "track", "person",
             kPeople, kWhyKey},
            {}};
}

std::vector<Cell> event_row(const ToldEvent& event, const TimeZone& zone) {
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
