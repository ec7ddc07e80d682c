// The health of a place: the faults of its cameras and of this machine, each with a sentence.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/settings/service_file.h"
#include "host/store/records.h"

namespace host {

// Words for the faults that the service finds itself.
namespace service_fault {
inline constexpr const char* kNotWatching = "not_watching";
inline constexpr const char* kUnreadable = "database_unreadable";
inline constexpr const char* kDiskLow = "disk_low";
}  // namespace service_fault

struct CameraState {
    std::string name;
    std::vector<HealthNote> faults;                // those that last
    std::optional<std::int64_t> watched_until_us;  // since 1970; nothing for never
};

struct ServiceHealth {
    std::int64_t time_us = 0;
    std::vector<CameraState> cameras;
    std::vector<HealthNote> faults;  // of no camera

    HealthLevel level() const;  // the worst of all
};

// What a camera's database tells. It never throws: a database that cannot be read is a fault. The
// camera is taken to have stopped when nothing has been watched for a minute.
CameraState camera_state(const std::string& database, std::int64_t now_us);

// Of a place and no camera of it: what is wrong with its webhooks.
std::vector<HealthNote> place_faults(const ServiceFile& file, std::int64_t now_us);
ServiceHealth place_health(const ServiceFile& file, std::int64_t now_us);
// Of cameras alone.
ServiceHealth read_health(const std::vector<std::string>& databases, std::int64_t now_us);

// One JSON object.
std::string health_json(const ServiceHealth& health);
// The level alone, for those who are told no more.
std::string health_level_json(HealthLevel level);
// Reads it. Throws std::runtime_error for anything else.
HealthLevel parse_health_level(const std::string& json);
// One sentence: the level, and the worst fault.
std::string health_sentence(const ServiceHealth& health);
// A line for each camera and each fault, for people; times are UTC.
std::string health_text(const ServiceHealth& health);

}  // namespace host
