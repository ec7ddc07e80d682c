// Queries.
#include "host/store/store_reader.h"

#include <sys/stat.h>

#include <algorithm>

#include "host/base/input_error.h"
#include "host/store/read_access.h"

namespace host {
namespace {

std::uint64_t file_number(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

std::string columns_of_counts() {
    return "sum(adult), sum(child), sum(staff), sum(groups), sum(group_members)";
}

PeopleCount people_at(const Statement& row, int column) {
    return {row.integer(column), row.integer(column + 1), row.integer(column + 2),
            row.integer(column + 3), row.integer(column + 4)};
}

// Only where there is a sentence the JSON is looked into, which takes its time.
constexpr const char* kEventColumns =
    "SELECT epochs.epoch, events.sequence, events.time_us, events.kind, places.name, "
    "events.direction, events.track, events.person, events.people, events.json, "
    "CASE WHEN events.kind IN ('gap', 'clock_step', 'health') AND json_valid(events.json) "
    "THEN events.json ->> 'why' END "
    "FROM events JOIN epochs ON epochs.id = events.epoch "
    "LEFT JOIN places ON places.id = events.place ";

std::optional<int> optional_at(const Statement& row, int column) {
    if (row.is_null(column)) return std::nullopt;
    return static_cast<int>(row.integer(column));
}

ToldEvent event_at(const Statement& row, const std::string& device) {
    ToldEvent event;
    event.device = device;
    event.number = {row.text(0), row.integer(1)};
    event.time_us = row.integer(2);
    event.kind = row.text(3);
    event.place = row.text(4);
    event.direction = optional_at(row, 5);
    event.track = optional_at(row, 6);
    event.person = row.text(7);
    event.people = static_cast<int>(row.integer(8));
    event.json = row.text(9);
    event.why = row.text(10);
    return event;
}

}  // namespace

PeopleCount& PeopleCount::operator+=(const PeopleCount& more) {
    adult += more.adult;
    child += more.child;
    staff += more.staff;
    groups += more.groups;
    group_members += more.group_members;
    return *this;
}

StoreReader::StoreReader(const std::string& path) : path_(path), file_(file_number(path)) {
    database_ = open_to_read(path);
    try {
        device_ = database_->text("SELECT device FROM store");
    } catch (const StoreError& error) {
        throw InputError("cannot read the database \"" + path + "\": " + error.what());
    }
    // Its tables come before the name of whose it is, by which doors are told apart.
    if (device_.empty()) {
        throw InputError("cannot read the database \"" + path +
                         "\": it is being made; try again in a moment");
    }
}

StoreReader::~StoreReader() = default;
StoreReader::StoreReader(StoreReader&&) noexcept = default;
StoreReader& StoreReader::operator=(StoreReader&&) noexcept = default;

Committed StoreReader::last() const {
    Statement row = database_->prepare(
        "SELECT epochs.epoch, sequence FROM store JOIN epochs ON epochs.id = store.epoch");
    if (!row.step()) return {};
    return {row.text(0), row.integer(1)};
}

Committed StoreReader::before_first() const {
    Statement row = database_->prepare(
        "SELECT epochs.epoch, events.sequence FROM events JOIN epochs ON epochs.id = events.epoch "
        "ORDER BY events.epoch, events.sequence LIMIT 1");
    if (!row.step()) return last();
    return {row.text(0), row.integer(1) - 1};
}

std::optional<std::int64_t> StoreReader::last_event_us() const {
    Statement row =
        database_->prepare("SELECT time_us FROM events ORDER BY epoch DESC, sequence DESC LIMIT 1");
    if (!row.step()) return std::nullopt;
    return row.integer(0);
}

std::optional<std::int64_t> StoreReader::watched_until_us() const {
    Statement row = database_->prepare("SELECT watched_until_us FROM store");
    if (!row.step() || row.is_null(0)) return std::nullopt;
    return row.integer(0);
}

std::vector<LineCount> StoreReader::counts(const TimeSpan& span) const {
    // A total for each line and direction, which has a row for each from the beginning.
    Statement row = database_->prepare(
        "SELECT places.name, t.direction, " + columns_of_counts() +
        ", count(*), sum(provisional) FROM (SELECT place, direction FROM totals) t "
        "JOIN places ON places.id = t.place "
        "JOIN minutes m ON m.place = t.place AND m.direction = t.direction "
        "AND m.minute >= ?1 AND m.minute < ?2 GROUP BY t.place, t.direction");
    std::vector<LineCount> found;
    row.bind(minute_of(span.from_us + kMinute_us - 1), minute_of(span.to_us + kMinute_us - 1));
    while (row.step()) {
        found.push_back({row.text(0), static_cast<int>(row.integer(1)), people_at(row, 2),
                         row.integer(7), row.integer(8), 0});
    }
    std::vector<LineCount> all = totals();
    for (LineCount& line : all) {
        line.people = {};
        line.since_us = 0;
        for (const LineCount& counted : found)
            if (counted.line == line.line && counted.direction == line.direction) line = counted;
    }
    return all;
}

std::vector<LineCount> StoreReader::totals() const {
    Statement row = database_->prepare(
        "SELECT places.name, direction, adult, child, staff, groups, group_members, since_us "
        "FROM totals JOIN places ON places.id = totals.place ORDER BY places.id, direction");
    std::vector<LineCount> list;
    while (row.step())
        list.push_back({row.text(0), static_cast<int>(row.integer(1)), people_at(row, 2), 0, 0,
                        row.integer(7)});
    return list;
}

std::int64_t StoreReader::corrections(const std::string& area, const TimeSpan& span) const {
    Statement row = database_->prepare(
        "SELECT coalesce(sum(people), 0) FROM corrections JOIN places "
        "ON places.id = corrections.place WHERE places.kind = 'area' AND places.name = ?1 "
        "AND time_us >= ?2 AND time_us < ?3");
    return row.bind(area, span.from_us, span.to_us).step() ? row.integer(0) : 0;
}

std::int64_t StoreReader::removed(const std::string& area, const TimeSpan& span) const {
    Statement row = database_->prepare(
        "SELECT coalesce(sum(people), 0) FROM events JOIN places ON places.id = events.place "
        "WHERE events.kind = ?1 AND places.kind = 'area' AND places.name = ?2 "
        "AND time_us >= ?3 AND time_us < ?4");
    row.bind(event_kind_name(EventKind::kReset), area, span.from_us, span.to_us);
    return row.step() ? row.integer(0) : 0;
}

std::vector<StoredGap> StoreReader::gaps(const TimeSpan& span) const {
    Statement row = database_->prepare(
        "SELECT max(from_us, ?1), min(to_us, ?2), why FROM gaps "
        "WHERE to_us > ?1 AND from_us < ?2 ORDER BY from_us, id");
    std::vector<StoredGap> list;
    row.bind(span.from_us, span.to_us);
    while (row.step())
        list.push_back({row.integer(0), row.integer(1), row.text(2)});
    return list;
}

std::vector<HealthNote> StoreReader::open_faults() const {
    Statement row = database_->prepare(
        "SELECT time_us, level, fault, text FROM health JOIN (SELECT max(id) AS newest FROM health "
        "GROUP BY fault) ON id = newest WHERE level != 'ok' ORDER BY id");
    std::vector<HealthNote> list;
    while (row.step())
        list.push_back({row.integer(0), health_level(row.text(1)), row.text(2), row.text(3)});
    return list;
}

std::optional<Committed> StoreReader::cursor(const std::string& subscriber) const {
    Statement row = database_->prepare(
        "SELECT epochs.epoch, sequence FROM cursors JOIN epochs ON epochs.id = cursors.epoch "
        "WHERE subscriber = ?1");
    if (!row.bind(subscriber).step()) return std::nullopt;
    return Committed{row.text(0), row.integer(1)};
}

std::vector<Subscriber> StoreReader::subscribers() const {
    Statement row = database_->prepare(
        "SELECT subscriber, count(events.sequence), min(events.time_us) FROM cursors "
        "LEFT JOIN events ON (events.epoch, events.sequence) > (cursors.epoch, cursors.sequence) "
        "GROUP BY subscriber ORDER BY subscriber");
    std::vector<Subscriber> list;
    while (row.step()) {
        list.push_back({row.text(0), row.integer(1), std::nullopt});
        if (!row.is_null(2)) list.back().oldest_us = row.integer(2);
    }
    return list;
}

std::optional<std::int64_t> StoreReader::epoch_id(const std::string& epoch) const {
    Statement find = database_->prepare("SELECT id FROM epochs WHERE epoch = ?1");
    if (!find.bind(epoch).step()) return std::nullopt;
    return find.integer(0);
}

std::vector<ToldEvent> StoreReader::events_after(const Committed& number, int most) const {
    // Epochs are numbered from 1 on.
    const std::optional<std::int64_t> epoch = number.epoch.empty() ? 0 : epoch_id(number.epoch);
    if (!epoch) throw InputError("\"" + path_ + "\" has no epoch " + number.epoch);
    Statement row = database_->prepare(std::string(kEventColumns) +
                                       "WHERE (events.epoch, events.sequence) > (?1, ?2) "
                                       "ORDER BY events.epoch, events.sequence LIMIT ?3");
    std::vector<ToldEvent> events;
    row.bind(*epoch, number.sequence, most);
    while (row.step())
        events.push_back(event_at(row, device_));
    return events;
}

std::vector<ToldEvent> StoreReader::newest_counts(const Committed& number, int most) const {
    Statement row =
        database_->prepare(std::string(kEventColumns) +
                           "WHERE (events.epoch, events.sequence) <= (?1, ?2) AND "
                           "events.kind NOT IN ('gap', 'clock_step', 'health', 'reset') "
                           "ORDER BY events.epoch DESC, events.sequence DESC LIMIT ?3");
    std::vector<ToldEvent> events;
    row.bind(epoch_id(number.epoch).value_or(0), number.sequence, most);
    while (row.step())
        events.push_back(event_at(row, device_));
    std::reverse(events.begin(), events.end());
    return events;
}

void StoreReader::events_in(const TimeSpan& span,
                            const std::function<void(const ToldEvent&)>& take) const {
    Statement row = database_->prepare(std::string(kEventColumns) +
                                       "WHERE events.time_us >= ?1 AND events.time_us < ?2 "
                                       "ORDER BY events.time_us, events.epoch, events.sequence");
    row.bind(span.from_us, span.to_us);
    while (row.step())
        take(event_at(row, device_));
}

std::int64_t StoreReader::version() const {
    return database_->integer("PRAGMA data_version");
}

bool StoreReader::replaced() const {
    const std::uint64_t now = file_number(path_);
    return now != 0 && now != file_;
}

}  // namespace host
