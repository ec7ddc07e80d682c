// Rows of minutes into spans.
#include "host/store/history_reader.h"

#include <algorithm>
#include <map>
#include <utility>

#include "host/store/read_access.h"

namespace host {
namespace {

// A minute belongs to the span in which it begins.
std::int64_t first_minute_of(std::int64_t time_us) {
    return minute_of(time_us + kMinute_us - 1);
}

// Calls fn(index of the span) for each row of the minutes that count.
template <typename Fn>
void each_row(Statement& row, const std::vector<HistorySpan>& spans, Fn fn) {
    for (std::size_t i = 0; i < spans.size(); ++i) {
        for (const TimeSpan& time : spans[i].counted) {
            row.bind(first_minute_of(time.from_us), first_minute_of(time.to_us));
            while (row.step())
                fn(i);
        }
    }
}

void add_cells(std::vector<std::int64_t>& cells, const Blob& bytes) {
    if (bytes.size() != cells.size() * 4) return;  // of another grid
    for (std::size_t i = 0; i < cells.size(); ++i) {
        std::uint32_t cell = 0;
        for (std::size_t k = 4; k-- > 0;)
            cell = cell << 8 | bytes[4 * i + k];
        cells[i] += static_cast<std::int32_t>(cell);
    }
}

}  // namespace

HistoryReader::HistoryReader(const std::string& path)
    : database_(open_to_read(path)), device_(database_->text("SELECT device FROM store")) {}

// Names by their numbers, which are small.
std::vector<std::string> HistoryReader::places() const {
    std::vector<std::string> names;
    Statement row = database_->prepare("SELECT id, name FROM places");
    while (row.step()) {
        const auto id = static_cast<std::size_t>(row.integer(0));
        names.resize(std::max(names.size(), id + 1));
        names[id] = row.text(1);
    }
    return names;
}

std::vector<LineHistory> HistoryReader::lines(const std::vector<HistorySpan>& spans) const {
    const std::vector<std::string> names = places();
    std::map<std::pair<std::int64_t, std::int64_t>, LineHistory> found;
    Statement row = database_->prepare(
        "SELECT place, direction, adult, child, staff, groups, group_members FROM minutes "
        "WHERE minute >= ?1 AND minute < ?2");
    each_row(row, spans, [&](std::size_t i) {
        LineHistory& line = found[{row.integer(0), row.integer(1)}];
        if (line.people.empty()) {
            line.line = names.at(static_cast<std::size_t>(row.integer(0)));
            line.direction = static_cast<int>(row.integer(1));
            line.people.resize(spans.size());
            line.watched_minutes.resize(spans.size());
        }
        line.people[i] +=
            {row.integer(2), row.integer(3), row.integer(4), row.integer(5), row.integer(6)};
        ++line.watched_minutes[i];
    });
    std::vector<LineHistory> list;
    for (auto& [key, line] : found)
        list.push_back(std::move(line));
    return list;
}

std::vector<RegionHistory> HistoryReader::regions(const std::vector<HistorySpan>& spans) const {
    const std::vector<std::string> names = places();
    std::map<std::int64_t, RegionHistory> found;
    Statement row = database_->prepare(
        "SELECT place, frames, people_frames, most, stays, stay_ms FROM region_minutes "
        "WHERE minute >= ?1 AND minute < ?2");
    each_row(row, spans, [&](std::size_t i) {
        RegionHistory& region = found[row.integer(0)];
        if (region.sums.empty()) {
            region.region = names.at(static_cast<std::size_t>(row.integer(0)));
            region.sums.resize(spans.size());
        }
        RegionMinute& sum = region.sums[i];
        sum.frames += row.integer(1);
        sum.people_frames += row.integer(2);
        sum.most = std::max(sum.most, row.integer(3));
        sum.stays += row.integer(4);
        sum.stay_ms += row.integer(5);
    });
    std::vector<RegionHistory> list;
    for (auto& [key, region] : found)
        list.push_back(std::move(region));
    return list;
}

std::vector<MinuteFlow> HistoryReader::flow(const std::vector<Door>& doors,
                                            const TimeSpan& span) const {
    const std::vector<std::string> names = places();
    std::vector<MinuteFlow> list;
    Statement row = database_->prepare(
        "SELECT minute, place, direction, adult + child + staff FROM minutes "
        "WHERE minute >= ?1 AND minute < ?2 AND adult + child + staff > 0");
    row.bind(first_minute_of(span.from_us), first_minute_of(span.to_us));
    while (row.step()) {
        const std::string& line = names.at(static_cast<std::size_t>(row.integer(1)));
        std::int64_t people = 0;
        for (const Door& door : doors) {
            if (!door.is_line(device_, line)) continue;
            people += row.integer(2) == door.in ? row.integer(3) : -row.integer(3);
        }
        if (people == 0) continue;
        if (list.empty() || list.back().minute != row.integer(0))
            list.push_back({row.integer(0), 0});
        list.back().people += people;
    }
    return list;
}

std::vector<MinuteFlow> HistoryReader::removed(const std::string& area,
                                               const TimeSpan& span) const {
    std::vector<MinuteFlow> list;
    Statement row = database_->prepare(
        "SELECT time_us, people FROM events JOIN places ON places.id = events.place "
        "WHERE events.kind = ?1 AND places.kind = 'area' AND places.name = ?2 "
        "AND time_us >= ?3 AND time_us < ?4");
    row.bind(event_kind_name(EventKind::kReset), area, span.from_us, span.to_us);
    while (row.step())
        list.push_back({minute_of(row.integer(0)), row.integer(1)});
    return list;
}

double HistoryReader::watched_hours(const TimeSpan& time) const {
    for (const char* table : {"minutes", "region_minutes"}) {
        Statement row = database_->prepare(std::string("SELECT count(DISTINCT minute) FROM ") +
                                           table + " WHERE minute >= ?1 AND minute < ?2");
        row.bind(first_minute_of(time.from_us), first_minute_of(time.to_us)).step();
        if (row.integer(0) > 0) return static_cast<double>(row.integer(0)) / 60.0;
    }
    return 0.0;
}

HeatSum HistoryReader::heat(HeatKind kind, const std::vector<TimeSpan>& times) const {
    HeatSum sum;
    Statement row = database_->prepare(
        std::string("SELECT ") + (kind == HeatKind::kDwell ? "dwell_ms" : "passages") +
        " FROM heat WHERE hour >= ?1 AND hour < ?2 AND grid_columns = ?3 "
        "AND grid_rows = ?4");
    // The first hour whose middle is not before a moment.
    const auto first_hour = [](std::int64_t time_us) {
        return hour_of(time_us + kHour_us / 2 - 1);
    };
    for (const TimeSpan& time : times) {
        row.bind(first_hour(time.from_us), first_hour(time.to_us), HeatGrid::kColumns,
                 HeatGrid::kRows);
        while (row.step())
            add_cells(sum.cells, row.blob(0));
        sum.hours += watched_hours(time);
    }
    return sum;
}

std::optional<StoredPerson> HistoryReader::person(int track,
                                                  std::optional<std::int64_t> at_us) const {
    // What is told of a moment is rounded to it.
    constexpr std::int64_t kAround_us = 1'000'000;
    constexpr std::int64_t kLongest_us = 24 * kHour_us;
    const std::string columns = "SELECT from_us, to_us, track, merged, why, story FROM people ";
    const std::string order = " ORDER BY to_us DESC, merged DESC LIMIT 1";
    Statement row = at_us
                        ? database_->prepare(columns +
                                             "WHERE track = ?1 AND to_us >= ?2 AND to_us < ?3 AND "
                                             "from_us <= ?4" +
                                             order)
                        : database_->prepare(columns + "WHERE track = ?1" + order);
    if (at_us) {
        row.bind(track, *at_us - kAround_us, *at_us + kLongest_us, *at_us + kAround_us);
    } else {
        row.bind(track);
    }
    if (!row.step()) return std::nullopt;
    return StoredPerson{row.integer(0),      row.integer(1), static_cast<int>(row.integer(2)),
                        row.integer(3) != 0, row.text(4),    row.text(5)};
}

std::optional<std::int64_t> HistoryReader::first_minute() const {
    Statement row = database_->prepare(
        "SELECT min(minute) FROM (SELECT min(minute) AS minute FROM minutes "
        "UNION ALL SELECT min(minute) FROM region_minutes)");
    if (!row.step() || row.is_null(0)) return std::nullopt;
    return row.integer(0);
}

}  // namespace host
