// Queries.
#include "host/store/store_reader.h"

#include <sys/stat.h>

#include "host/base/input_error.h"
#include "host/store/schema.h"

namespace host {
namespace {

constexpr int kBusy_ms = 5000;

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

constexpr const char* kEventColumns =
    "SELECT epochs.epoch, events.sequence, events.time_us, events.kind, places.name, "
    "events.direction, events.track, events.person, events.people, events.json "
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
    if (file_ == 0) throw InputError("there is no database \"" + path + "\"");
    try {
        database_ = std::make_unique<Database>(path, Database::Access::kRead, kBusy_ms);
        check_schema(*database_);
        device_ = database_->text("SELECT device FROM store");
    } catch (const ForeignDatabase& error) {
        throw InputError("\"" + path + "\" " + error.what());
    } catch (const StoreError& error) {
        throw InputError("cannot read the database \"" + path + "\": " + error.what());
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

std::optional<std::int64_t> StoreReader::watched_until_us() const {
    Statement row = database_->prepare("SELECT watched_until_us FROM store");
    if (!row.step() || row.is_null(0)) return std::nullopt;
    return row.integer(0);
}

std::vector<LineCount> StoreReader::counts(const TimeSpan& span) const {
    // A total for each line and direction, which has a row for each from the beginning.
    Statement row =
        database_->prepare("SELECT places.name, t.direction, " + columns_of_counts() +
                           ", count(*) FROM (SELECT place, direction FROM totals) t "
                           "JOIN places ON places.id = t.place "
                           "JOIN minutes m ON m.place = t.place AND m.direction = t.direction "
                           "AND m.minute >= ?1 AND m.minute < ?2 GROUP BY t.place, t.direction");
    std::vector<LineCount> found;
    row.bind(minute_of(span.from_us + kMinute_us - 1), minute_of(span.to_us + kMinute_us - 1));
    while (row.step()) {
        found.push_back(
            {row.text(0), static_cast<int>(row.integer(1)), people_at(row, 2), row.integer(7)});
    }
    std::vector<LineCount> all = totals();
    for (LineCount& line : all) {
        line.people = {};
        for (const LineCount& counted : found)
            if (counted.line == line.line && counted.direction == line.direction) line = counted;
    }
    return all;
}

std::vector<LineCount> StoreReader::totals() const {
    Statement row = database_->prepare(
        "SELECT places.name, direction, adult, child, staff, groups, group_members "
        "FROM totals JOIN places ON places.id = totals.place ORDER BY places.id, direction");
    std::vector<LineCount> list;
    while (row.step())
        list.push_back({row.text(0), static_cast<int>(row.integer(1)), people_at(row, 2), 0});
    return list;
}

std::int64_t StoreReader::corrections(const std::string& area, const TimeSpan& span) const {
    Statement row = database_->prepare(
        "SELECT coalesce(sum(people), 0) FROM corrections JOIN places "
        "ON places.id = corrections.place WHERE places.kind = 'area' AND places.name = ?1 "
        "AND time_us >= ?2 AND time_us < ?3");
    return row.bind(area, span.from_us, span.to_us).step() ? row.integer(0) : 0;
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
