// The statements that write, and their order in a transaction.
#include "host/store/store.h"

#include <algorithm>
#include <map>
#include <utility>

#include "host/base/utc.h"
#include "host/store/epoch.h"
#include "host/store/schema.h"

namespace host {
namespace {

constexpr const char* kLine = "line";
constexpr const char* kRegion = "region";

bool is_of_line(EventKind kind) {
    return kind == EventKind::kCrossing || kind == EventKind::kCrossingLeftOut ||
           kind == EventKind::kGroup;
}

const char* place_kind(EventKind kind) {
    if (kind == EventKind::kCapacity || kind == EventKind::kReset) return "area";
    return is_of_line(kind) ? kLine : kRegion;
}

Blob bytes_of(const HeatGrid::Cells& cells) {
    Blob bytes;
    bytes.reserve(cells.size() * 4);
    for (const std::int32_t cell : cells)
        for (unsigned shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(cell) >> shift));
    return bytes;
}

// Adds what is there already; another grid's cells are not of this picture any more.
void add_cells(HeatGrid::Cells& cells, const Blob& bytes) {
    if (bytes.size() != cells.size() * 4) return;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        std::uint32_t before = 0;
        for (std::size_t k = 4; k-- > 0;)
            before = before << 8 | bytes[4 * i + k];
        const std::int64_t sum = std::int64_t{cells[i]} + static_cast<std::int32_t>(before);
        cells[i] = static_cast<std::int32_t>(std::clamp<std::int64_t>(sum, INT32_MIN, INT32_MAX));
    }
}

}  // namespace

struct Store::Statements {
    explicit Statements(const Database& db)
        : find_place(db.prepare("SELECT id FROM places WHERE kind = ?1 AND name = ?2")),
          add_place(db.prepare("INSERT INTO places (kind, name) VALUES (?1, ?2) RETURNING id")),
          add_event(db.prepare("INSERT INTO events (epoch, sequence, time_us, scene_us, kind, "
                               "place, direction, track, person, people, json) "
                               "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11)")),
          watch_minute(db.prepare("INSERT OR IGNORE INTO minutes (minute, place, direction) "
                                  "VALUES (?1, ?2, ?3)")),
          count_minute(db.prepare(
              "INSERT INTO minutes (minute, place, direction, adult, child, staff, groups, "
              "group_members) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8) "
              "ON CONFLICT DO UPDATE SET adult = adult + ?4, child = child + ?5, "
              "staff = staff + ?6, groups = groups + ?7, group_members = group_members + ?8")),
          count_total(db.prepare(
              "INSERT INTO totals (place, direction, adult, child, staff, groups, group_members, "
              "since_us) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8) "
              "ON CONFLICT DO UPDATE SET adult = adult + ?3, child = child + ?4, "
              "staff = staff + ?5, groups = groups + ?6, group_members = group_members + ?7")),
          add_region(db.prepare(
              "INSERT INTO region_minutes (minute, place, frames, people_frames, most, stays, "
              "stay_ms) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) "
              "ON CONFLICT DO UPDATE SET frames = frames + ?3, "
              "people_frames = people_frames + ?4, most = max(most, ?5), stays = stays + ?6, "
              "stay_ms = stay_ms + ?7")),
          unsure_lines(db.prepare("UPDATE minutes SET provisional = 1 WHERE minute = ?1")),
          unsure_regions(db.prepare("UPDATE region_minutes SET provisional = 1 WHERE minute = ?1")),
          find_heat(db.prepare("SELECT dwell_ms, passages FROM heat WHERE hour = ?1")),
          put_heat(db.prepare("INSERT OR REPLACE INTO heat (hour, grid_columns, grid_rows, "
                              "dwell_ms, passages) VALUES (?1, ?2, ?3, ?4, ?5)")),
          add_person(db.prepare("INSERT INTO people (from_us, to_us, track, merged, why, story) "
                                "VALUES (?1, ?2, ?3, ?4, ?5, ?6)")),
          add_gap(db.prepare("INSERT INTO gaps (from_us, to_us, why) VALUES (?1, ?2, ?3)")),
          add_health(db.prepare("INSERT INTO health (time_us, level, fault, text) "
                                "VALUES (?1, ?2, ?3, ?4)")),
          set_state(db.prepare("UPDATE store SET sequence = ?1, batch = ?2, written_us = ?3, "
                               "watched_until_us = coalesce(?4, watched_until_us), clean = ?5")) {}

    Statement find_place;
    Statement add_place;
    Statement add_event;
    Statement watch_minute;
    Statement count_minute;
    Statement count_total;
    Statement add_region;
    Statement unsure_lines;
    Statement unsure_regions;
    Statement find_heat;
    Statement put_heat;
    Statement add_person;
    Statement add_gap;
    Statement add_health;
    Statement set_state;
    std::map<std::pair<std::string, std::string>, std::int64_t> places;
};

Store::Store(const StoreSetup& setup)
    : setup_(setup), database_(setup.path, Database::Access::kCreate, setup.busy_ms) {
    // FULL and not NORMAL, with which a commit may be lost when the power goes.
    database_.execute(
        "PRAGMA foreign_keys = ON; PRAGMA journal_mode = WAL; "
        "PRAGMA synchronous = FULL");
    migrate(database_);
    sql_ = std::make_unique<Statements>(database_);
    open_rows();
}

Store::~Store() = default;

void Store::open_rows() {
    Transaction transaction(database_);
    opened_.created = database_.integer("SELECT count(*) FROM store") == 0;
    if (opened_.created) {
        create();
    } else if (database_.integer("SELECT copied FROM store") != 0) {
        opened_.copied = true;
        begin_epoch("restored");
        database_.prepare("UPDATE store SET epoch = ?1, sequence = 0, copied = 0, clean = 1")
            .run(epoch_id_);
    }
    read_state();
    add_places();
    note_settings();
    database_.execute("UPDATE store SET clean = 0");
    transaction.commit();
}

void Store::add_places() {
    for (const std::string& line : setup_.lines) {
        for (const int direction : {1, 2})
            sql_->count_total.run(place(kLine, line), direction, 0, 0, 0, 0, 0, utc_now_us());
    }
    for (const std::string& region : setup_.regions)
        place(kRegion, region);
}

void Store::create() {
    begin_epoch("created");
    const std::optional<CarriedTotals> totals = newest_totals(setup_.path);
    database_
        .prepare(
            "INSERT INTO store (one, device, epoch, sequence, batch, written_us, clean, "
            "copied) VALUES (1, ?1, ?2, 0, 0, ?3, 1, 0)")
        .run(totals ? totals->device : setup_.device, epoch_id_, utc_now_us());
    if (totals) carry_over(*totals);
}

void Store::carry_over(const CarriedTotals& totals) {
    opened_.totals_from = totals.from;
    Statement put = database_.prepare(
        "INSERT INTO totals (place, direction, adult, child, staff, groups, group_members, "
        "since_us) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)");
    for (const CarriedTotal& row : totals.rows) {
        put.run(place(row.place_kind.c_str(), row.place), row.direction, row.adult, row.child,
                row.staff, row.groups, row.group_members, row.since_us);
    }
}

void Store::begin_epoch(const char* why) {
    Statement add = database_.prepare(
        "INSERT INTO epochs (epoch, begun_us, why) VALUES (?1, ?2, ?3) RETURNING id");
    add.bind(new_epoch(), utc_now_us(), why).step();
    epoch_id_ = add.integer(0);
}

void Store::read_state() {
    Statement state = database_.prepare(
        "SELECT epochs.id, epochs.epoch, sequence, batch, clean, watched_until_us "
        "FROM store JOIN epochs ON epochs.id = store.epoch");
    if (!state.step()) throw StoreError(StoreFault::kDamaged, "its table \"store\" has no row");
    epoch_id_ = state.integer(0);
    epoch_ = state.text(1);
    sequence_ = state.integer(2);
    batch_ = state.integer(3);
    opened_.unclean = state.integer(4) == 0;
    if (!state.is_null(5)) opened_.watched_until_us = state.integer(5);
    opened_.last = last();
}

void Store::note_settings() {
    if (setup_.settings.empty()) return;
    Statement newest = database_.prepare("SELECT text FROM settings ORDER BY id DESC LIMIT 1");
    const bool first = !newest.step();
    if (!first && newest.text(0) == setup_.settings) return;
    opened_.settings_changed = !first;
    add_version({{}, {}, setup_.settings, setup_.author, utc_now_us(), setup_.name});
}

void Store::write_settings(const StoredSettings& settings) {
    setup_.lines = settings.lines;
    setup_.regions = settings.regions;
    add_places();
    if (!settings.text.empty()) add_version(settings);
}

void Store::add_version(const StoredSettings& settings) {
    database_
        .prepare("INSERT INTO settings (applied_us, author, text, name) VALUES (?1, ?2, ?3, ?4)")
        .run(settings.applied_us, settings.author, settings.text, settings.name);
}

std::int64_t Store::place(const char* kind, const std::string& name) {
    const auto [known, added] = sql_->places.try_emplace({kind, name}, 0);
    if (!added) return known->second;
    if (sql_->find_place.bind(kind, name).step()) {
        known->second = sql_->find_place.integer(0);
    } else {
        sql_->add_place.bind(kind, name).step();
        known->second = sql_->add_place.integer(0);
    }
    sql_->find_place.bind();
    sql_->add_place.bind();
    return known->second;
}

Committed Store::commit(const Batch& batch) {
    // Where this fails the object is not used any more, so it may be left half changed.
    Transaction transaction(database_);
    for (const StoredSettings& settings : batch.settings)
        write_settings(settings);
    for (const std::int64_t minute : batch.watched_minutes)
        watch_minute(minute);
    if (const auto gap = gap_before(batch)) {
        write_gap(*gap);
        write_event(gap_event(*gap), ++sequence_);
    }
    for (const StoredEvent& event : batch.events) {
        write_event(event, ++sequence_);
        count(event);
    }
    for (const RegionMinute& minute : batch.regions)
        write_region(minute);
    for (const HeatGrid& grid : batch.heat)
        write_heat(grid);
    write_rest(batch);
    sql_->set_state.run(sequence_, ++batch_, utc_now_us(), batch.watched_until_us, 0);
    transaction.commit();
    return last();
}

void Store::write_event(const StoredEvent& event, std::int64_t sequence) {
    std::optional<std::int64_t> where;
    if (!event.place.empty()) where = place(place_kind(event.kind), event.place);
    std::optional<int> direction;
    if (event.direction != 0) direction = event.direction;
    std::optional<std::string> person;
    if (event.person) person = person_kind_name(*event.person);
    sql_->add_event.run(epoch_id_, sequence, event.time_us, event.scene_us,
                        event_kind_name(event.kind), where, direction, event.track, person,
                        event.people, event.json);
}

void Store::count(const StoredEvent& event) {
    const bool crossing = event.kind == EventKind::kCrossing && event.person.has_value();
    if (!crossing && event.kind != EventKind::kGroup) return;
    std::array<int, kPersonKinds> people{};
    if (crossing) ++people[static_cast<std::size_t>(*event.person)];
    const int groups = crossing ? 0 : 1;
    const int members = crossing ? 0 : event.people;
    const std::int64_t line = place(kLine, event.place);
    const auto& [adult, child, staff] = people;
    sql_->count_minute.run(minute_of(event.time_us), line, event.direction, adult, child, staff,
                           groups, members);
    sql_->count_total.run(line, event.direction, adult, child, staff, groups, members,
                          utc_now_us());
}

void Store::watch_minute(std::int64_t minute) {
    for (const std::string& line : setup_.lines) {
        for (const int direction : {1, 2})
            sql_->watch_minute.run(minute, place(kLine, line), direction);
    }
}

void Store::write_region(const RegionMinute& m) {
    sql_->add_region.run(m.minute, place(kRegion, m.region), m.frames, m.people_frames, m.most,
                         m.stays, m.stay_ms);
}

void Store::mark_unsure(std::int64_t minute) {
    sql_->unsure_lines.run(minute);
    sql_->unsure_regions.run(minute);
}

void Store::write_heat(const HeatGrid& grid) {
    HeatGrid sum = grid;
    if (sql_->find_heat.bind(grid.hour).step()) {
        add_cells(sum.dwell_ms, sql_->find_heat.blob(0));
        add_cells(sum.passages, sql_->find_heat.blob(1));
    }
    sql_->find_heat.bind(nullptr);
    sql_->put_heat.run(grid.hour, HeatGrid::kColumns, HeatGrid::kRows, bytes_of(sum.dwell_ms),
                       bytes_of(sum.passages));
}

// What lies between the end of the one before and the first frame of this one.
std::optional<StoredGap> Store::gap_before(const Batch& batch) const {
    // Time between two frames is no gap.
    constexpr std::int64_t kLeastGap_us = 1'000'000;
    const auto& until = opened_.watched_until_us;
    if (!batch.watched_from_us || !until || *batch.watched_from_us < *until + kLeastGap_us)
        return std::nullopt;
    const char* why = "not running";
    if (opened_.copied) why = "restored from a backup";
    if (opened_.unclean) why = "not running: killed, or without power";
    return StoredGap{*until, *batch.watched_from_us, why};
}

void Store::write_gap(const StoredGap& gap) {
    sql_->add_gap.run(gap.from_us, gap.to_us, gap.why);
}

void Store::write_rest(const Batch& batch) {
    for (const StoredPerson& p : batch.people)
        sql_->add_person.run(p.from_us, p.to_us, p.track, p.merged ? 1 : 0, p.why, p.story);
    for (const StoredGap& gap : batch.gaps)
        write_gap(gap);
    for (const HealthNote& note : batch.health)
        sql_->add_health.run(note.time_us, health_level_name(note.level), note.fault, note.text);
    for (const std::int64_t minute : batch.unsure_minutes)
        mark_unsure(minute);
}

void Store::close() {
    Transaction transaction(database_);
    sql_->set_state.run(sequence_, batch_, utc_now_us(), nullptr, 1);
    transaction.commit();
}

}  // namespace host
