// Faults from databases, and their texts.
#include "host/service/health.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/base/text.h"
#include "host/base/utc.h"
#include "host/service/place.h"
#include "host/store/fault_book.h"
#include "host/store/store_reader.h"
#include "host/store/webhook_book.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

// Times are microseconds since 1970.
constexpr const char* kNameKey = "name";
constexpr const char* kLevelKey = "level";
constexpr const char* kTimeKey = "time_us";
constexpr const char* kSinceKey = "since_us";
constexpr const char* kWatchedKey = "watched_until_us";
constexpr const char* kFaultKey = "fault";
constexpr const char* kFaultsKey = "faults";
constexpr const char* kTextKey = "text";
constexpr const char* kCamerasKey = "cameras";

// A camera tells every 10 s that it watches.
constexpr std::int64_t kStopped_us = kMinute_us;
// A day of counts of a busy place takes 2 MB.
constexpr std::uintmax_t kLeastFree_bytes = 100'000'000;

std::string clock_text(std::int64_t time_us) {
    // 2026-01-31T08-05-00.250Z
    std::string text = utc_name(time_us).substr(0, 19);
    text[10] = ' ';
    text[13] = text[16] = ':';
    return text;
}

void add_disk(CameraState& state, const std::string& database, std::int64_t now_us) {
    std::error_code error;
    const auto space =
        std::filesystem::space(std::filesystem::absolute(database).parent_path(), error);
    if (error || space.available >= kLeastFree_bytes) return;
    state.faults.push_back(
        {now_us, HealthLevel::kDegraded, service_fault::kDiskLow,
         format_text("only %llu MB are free on the disk of the database; when it is full counts "
                     "wait in memory",
                     static_cast<unsigned long long>(space.available / 1'000'000))});
}

void add_watching(CameraState& state, std::int64_t now_us) {
    if (state.watched_until_us && *state.watched_until_us >= now_us - kStopped_us) return;
    const std::int64_t since_us = state.watched_until_us.value_or(now_us);
    state.faults.push_back({since_us, HealthLevel::kFailed, service_fault::kNotWatching,
                            state.watched_until_us
                                ? "nothing has been watched since " + clock_text(since_us) + " UTC"
                                : "nothing has been watched yet"});
}

Json fault_json(const HealthNote& fault) {
    return {{kFaultKey, fault.fault},
            {kLevelKey, health_level_name(fault.level)},
            {kSinceKey, fault.time_us},
            {kTextKey, fault.text}};
}

Json faults_json(const std::vector<HealthNote>& faults) {
    Json list = Json::array();
    for (const HealthNote& fault : faults)
        list.push_back(fault_json(fault));
    return list;
}

Json camera_json(const CameraState& camera) {
    Json json{{kNameKey, camera.name}, {kLevelKey, health_level_name(worst_level(camera.faults))}};
    if (camera.watched_until_us) json[kWatchedKey] = *camera.watched_until_us;
    json[kFaultsKey] = faults_json(camera.faults);
    return json;
}

std::string fault_line(const HealthNote& fault) {
    return "    " + std::string(health_level_name(fault.level)) + " since " +
           clock_text(fault.time_us) + " UTC: " + visible(fault.text) + "\n";
}

}  // namespace

HealthLevel ServiceHealth::level() const {
    HealthLevel worst = worst_level(faults);
    for (const CameraState& camera : cameras)
        worst = std::max(worst, worst_level(camera.faults));
    return worst;
}

CameraState camera_state(const std::string& database, std::int64_t now_us) {
    CameraState state;
    state.name = std::filesystem::path(database).stem().string();
    try {
        const StoreReader store(database);
        state.name = store.device();
        state.faults = store.open_faults();
        state.watched_until_us = store.watched_until_us();
        add_watching(state, now_us);
    } catch (const std::runtime_error& error) {
        state.faults.push_back(
            {now_us, HealthLevel::kFailed, service_fault::kUnreadable, error.what()});
    }
    add_disk(state, database, now_us);
    return state;
}

ServiceHealth read_health(const std::vector<std::string>& databases, std::int64_t now_us) {
    ServiceHealth health;
    health.time_us = now_us;
    for (const std::string& database : databases)
        health.cameras.push_back(camera_state(database, now_us));
    return health;
}

std::vector<HealthNote> place_faults(const ServiceFile& file, std::int64_t now_us) {
    return webhook_faults(service_database(file), webhook_names(file), now_us);
}

ServiceHealth place_health(const ServiceFile& file, std::int64_t now_us) {
    ServiceHealth health = read_health(databases_of(file), now_us);
    health.faults = place_faults(file, now_us);
    return health;
}

std::string health_json(const ServiceHealth& health) {
    Json cameras = Json::array();
    for (const CameraState& camera : health.cameras)
        cameras.push_back(camera_json(camera));
    return Json{{kLevelKey, health_level_name(health.level())},
                {kTimeKey, health.time_us},
                {kCamerasKey, std::move(cameras)},
                {kFaultsKey, faults_json(health.faults)}}
               .dump(2, ' ', false, Json::error_handler_t::replace) +
           "\n";
}

std::string health_level_json(HealthLevel level) {
    return Json{{kLevelKey, health_level_name(level)}}.dump() + "\n";
}

HealthLevel parse_health_level(const std::string& json) {
    try {
        const auto name = Json::parse(json).at(kLevelKey).get<std::string>();
        const HealthLevel level = health_level(name);
        if (name == health_level_name(level)) return level;
    } catch (const nlohmann::json::exception&) {
        // Said below.
    }
    throw std::runtime_error("what answers there is not this program's service");
}

std::string health_sentence(const ServiceHealth& health) {
    std::vector<HealthNote> faults = health.faults;
    for (const CameraState& camera : health.cameras) {
        for (HealthNote fault : camera.faults) {
            fault.text = camera.name + ": " + fault.text;
            faults.push_back(std::move(fault));
        }
    }
    const std::string cameras = std::to_string(health.cameras.size()) +
                                (health.cameras.size() == 1 ? " camera" : " cameras");
    if (faults.empty()) return "ok, with " + cameras;
    const auto worst = std::max_element(
        faults.begin(), faults.end(),
        [](const HealthNote& one, const HealthNote& other) { return one.level < other.level; });
    const std::size_t more = faults.size() - 1;
    return std::string(health_level_name(worst->level)) + ": " + visible(worst->text) +
           (more > 0 ? "; and " + std::to_string(more) + " more" : "");
}

std::string health_text(const ServiceHealth& health) {
    std::string text = std::string(health_level_name(health.level())) + "\n";
    for (const CameraState& camera : health.cameras) {
        text += "  " + visible(camera.name) + "  " + health_level_name(worst_level(camera.faults)) +
                "\n";
        for (const HealthNote& fault : camera.faults)
            text += fault_line(fault);
    }
    for (const HealthNote& fault : health.faults)
        text += fault_line(fault);
    return text;
}

}  // namespace host
