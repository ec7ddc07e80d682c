// Balances of areas against their capacities.
#include "host/service/area_watch.h"

#include <chrono>
#include <exception>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/base/utc.h"
#include "host/service/place.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kEach{500};
constexpr const char* kFullKey = "full";

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

// The databases of a place's cameras, as far as they are there.
class Databases {
  public:
    explicit Databases(std::vector<std::string> paths) : paths_(std::move(paths)) {}

    // Opens those that have come, or have been put in the place of others. Throws InputError and
    // StoreError.
    void open() {
        std::error_code error;
        for (std::size_t i = 0; i < stores_.size(); ++i)
            if (stores_[i].replaced()) return open_all();
        for (const std::string& path : paths_) {
            if (!is_open(path) && std::filesystem::exists(path, error)) stores_.emplace_back(path);
        }
    }

    const std::vector<StoreReader>& stores() const { return stores_; }

    // Changes with what is committed.
    std::vector<std::int64_t> versions() const {
        std::vector<std::int64_t> versions;
        for (const StoreReader& store : stores_)
            versions.push_back(store.version());
        return versions;
    }

  private:
    bool is_open(const std::string& path) const {
        for (const StoreReader& store : stores_)
            if (store.path() == path) return true;
        return false;
    }

    void open_all() {
        stores_.clear();
        open();
    }

    std::vector<std::string> paths_;
    std::vector<StoreReader> stores_;
};

}  // namespace

struct AreaWatch::Look {
    explicit Look(const ServiceFile& file)
        : zone(file.time_zone.value), areas(watched_areas(file)), databases(databases_of(file)) {}

    TimeZone zone;
    std::vector<Area> areas;
    Databases databases;
    std::vector<std::int64_t> versions;  // as they were last
    std::int64_t minute = 0;             // of the last time; a reset comes without an event
};

AreaWatch::AreaWatch(const ServiceFile& file, std::function<void(const std::string&)> say)
    : say_(std::move(say)), file_(file), ticker_(kEach, [this] { work(); }) {}

AreaWatch::~AreaWatch() = default;

void AreaWatch::change(const ServiceFile& file) {
    const std::lock_guard lock(mutex_);
    file_ = file;
    changed_ = true;
}

void AreaWatch::work() {
    try {
        begin();
        if (look_->areas.empty()) return;
        look_->databases.open();
        const std::int64_t now_us = utc_now_us();
        auto versions = look_->databases.versions();
        if (versions == look_->versions && minute_of(now_us) == look_->minute) return;
        for (const Area& area : look_->areas)
            look_at(area, now_us);
        look_->versions = std::move(versions);
        look_->minute = minute_of(now_us);
        complaint_.clear();
    } catch (const std::exception& fault) {
        const std::string complaint = std::string("cannot follow the areas: ") + fault.what();
        if (complaint != std::exchange(complaint_, complaint)) say_(complaint);
    }
}

void AreaWatch::begin() {
    const std::lock_guard lock(mutex_);
    if (look_ != nullptr && !changed_) return;
    look_ = std::make_unique<Look>(file_);
    changed_ = false;
    if (look_->areas.empty() || writer_ != nullptr) return;
    const std::string path = place_database(file_);
    std::error_code error;
    if (std::filesystem::exists(path, error)) read_states(path);
    StoreWriterSetup setup;
    setup.store.path = path;
    setup.store.device = kPlaceDevice;
    setup.told = [this](const HealthNote& note) { say_("areas: " + note.text); };
    writer_ = std::make_unique<StoreWriter>(std::move(setup));
}

void AreaWatch::read_states(const std::string& path) {
    StoreReader(path).events_in({0, INT64_MAX}, [this](const ToldEvent& event) {
        const auto json = nlohmann::json::parse(event.json, nullptr, false);
        if (json.is_object() && json.contains(kFullKey))
            full_[event.place] = json[kFullKey] == true;
    });
}

void AreaWatch::look_at(const Area& area, std::int64_t now_us) {
    const std::int64_t inside =
        area_balance(look_->databases.stores(), area, look_->zone, now_us).inside();
    const bool full = inside >= *area.capacity;
    if (std::exchange(full_[area.name], full) == full) return;
    Batch batch;
    batch.events.push_back(capacity_event(area, inside, full, now_us));
    writer_->add(std::move(batch));
    say_(capacity_text(area, inside, full));
}

}  // namespace host
