// Balances of areas against their capacities.
#include "host/service/area_watch.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/base/utc.h"
#include "host/service/place.h"
#include "host/store/store_readers.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kEach{500};
constexpr const char* kFullKey = "full";

StoredEvent reset_event(const Area& area, std::int64_t removed, std::int64_t now_us) {
    StoredEvent event;
    event.kind = EventKind::kReset;
    event.time_us = now_us;
    event.place = area.name;
    event.people = static_cast<int>(removed);
    event.json =
        nlohmann::ordered_json{{"message", "area_reset"}, {"area", area.name}, {"removed", removed}}
            .dump();
    return event;
}

StoredEvent capacity_event(const Area& area, std::int64_t inside, bool full, std::int64_t now_us) {
    StoredEvent event;
    event.kind = EventKind::kCapacity;
    event.time_us = now_us;
    event.place = area.name;
    event.people = static_cast<int>(inside);
    event.json = nlohmann::ordered_json{
        {"message", "capacity"},
        {"area", area.name},
        {"inside", inside},
        {"capacity", *area.capacity},
        {kFullKey,
         full}}.dump();
    return event;
}

std::string capacity_text(const Area& area, std::int64_t inside, bool full) {
    return "area \"" + area.name + "\" is " + (full ? "full: " : "no longer full: ") +
           std::to_string(inside) + " of " + std::to_string(*area.capacity) + " people";
}

}  // namespace

struct AreaWatch::Look {
    explicit Look(const ServiceFile& file)
        : zone(file.time_zone.value),
          all(areas_of(file)),
          areas(watched_areas(file)),
          databases(area_databases(file)) {}

    TimeZone zone;
    std::vector<Area> all;
    std::vector<Area> areas;  // with a capacity
    StoreReaders databases;
    std::vector<std::int64_t> versions;  // as they were last
    std::int64_t minute = 0;             // of the last time; a reset comes without an event
};

AreaWatch::AreaWatch(const ServiceFile& file, Say say)
    : say_(std::move(say)), file_(file), ticker_(kEach, [this] { work(); }) {}

AreaWatch::~AreaWatch() = default;

void AreaWatch::change(const ServiceFile& file) {
    const std::lock_guard lock(mutex_);
    file_ = file;
    changed_ = true;
}

void AreaWatch::reset(const std::string& area) {
    const std::lock_guard lock(mutex_);
    to_reset_.insert(area);
}

void AreaWatch::work() {
    try {
        if (!begin()) return;
        look_->databases.open();
        const std::int64_t now_us = utc_now_us();
        for (const std::string& name : take_resets())
            reset_at(name, now_us);
        auto versions = look_->databases.versions();
        if (versions == look_->versions && minute_of(now_us) == look_->minute) return;
        for (const Area& area : look_->areas)
            look_at(area, now_us);
        look_->versions = std::move(versions);
        look_->minute = minute_of(now_us);
        complaint_.clear();
    } catch (const std::exception& fault) {
        const std::string complaint = std::string("cannot follow the areas: ") + fault.what();
        if (complaint != std::exchange(complaint_, complaint))
            say_(LogLevel::kWarning, "", complaint);
    }
}

// Whether there is something to do.
bool AreaWatch::begin() {
    const std::lock_guard lock(mutex_);
    if (look_ == nullptr || changed_) look_ = std::make_unique<Look>(file_);
    changed_ = false;
    const bool works = !look_->areas.empty() || !to_reset_.empty();
    if (works && writer_ == nullptr) open_writer();
    return works;
}

// They wait while a database cannot be read, as that of the place while it is being made.
std::set<std::string> AreaWatch::take_resets() {
    const std::lock_guard lock(mutex_);
    return std::exchange(to_reset_, {});
}

void AreaWatch::open_writer() {
    const std::string path = place_database(file_);
    std::error_code error;
    if (std::filesystem::exists(path, error)) read_states(path);
    StoreWriterSetup setup;
    setup.store.path = path;
    setup.store.device = kPlaceDevice;
    setup.told = [this](const HealthNote& note) {
        say_(note.level == HealthLevel::kOk ? LogLevel::kNews : LogLevel::kWarning, "",
             "areas: " + note.text);
    };
    writer_ = std::make_unique<StoreWriter>(std::move(setup));
}

void AreaWatch::read_states(const std::string& path) {
    StoreReader(path).events_in({0, INT64_MAX}, [this](const ToldEvent& event) {
        const auto json = nlohmann::json::parse(event.json, nullptr, false);
        if (json.is_object() && json.contains(kFullKey))
            full_[event.place] = json[kFullKey] == true;
    });
}

// What is not written yet would be removed twice.
bool AreaWatch::is_written(const std::string& area, std::int64_t time_us) const {
    const std::vector<StoreReader>& stores = look_->databases.stores();
    return std::any_of(stores.begin(), stores.end(), [&](const StoreReader& store) {
        return store.removed(area, {time_us, time_us + 1}) != 0;
    });
}

void AreaWatch::reset_at(const std::string& name, std::int64_t now_us) {
    const auto area = std::find_if(look_->all.begin(), look_->all.end(),
                                   [&name](const Area& each) { return each.name == name; });
    if (area == look_->all.end()) return;
    if (const auto last = resets_.find(name); last != resets_.end()) {
        if (!is_written(name, last->second)) return reset(name);
        resets_.erase(last);
    }
    const std::int64_t balance =
        area_balance(look_->databases.stores(), *area, look_->zone, now_us).balance();
    if (balance == 0) return;
    Batch batch;
    batch.events.push_back(reset_event(*area, balance, now_us));
    writer_->add(std::move(batch));
    resets_[name] = now_us;
    say_(LogLevel::kNews, "",
         "area \"" + name + "\" is set to nobody inside, on request; its balance was " +
             std::to_string(balance));
}

void AreaWatch::look_at(const Area& area, std::int64_t now_us) {
    const std::int64_t inside =
        area_balance(look_->databases.stores(), area, look_->zone, now_us).inside();
    const bool full = inside >= *area.capacity;
    if (std::exchange(full_[area.name], full) == full) return;
    Batch batch;
    batch.events.push_back(capacity_event(area, inside, full, now_us));
    writer_->add(std::move(batch));
    say_(LogLevel::kNews, "", capacity_text(area, inside, full));
}

}  // namespace host
