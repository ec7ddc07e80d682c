// The versions of a camera's settings that were in force.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/store/local_time.h"

namespace host {

struct SettingsVersion {
    std::int64_t number = 0;
    std::int64_t applied_us = 0;  // since 1970
    std::string author;
    std::string text;
    std::string name;  // what the author calls it; empty for nothing
};

// From a camera's database, the oldest first. Throws InputError when it is not one, and StoreError.
std::vector<SettingsVersion> settings_history(const std::string& database);

// The newest ones without their texts, the newest first. Throws as settings_history() does.
std::vector<SettingsVersion> newest_versions(const std::string& database, int most);
// Those that came into force within a span without their texts, the oldest first; not the first of
// all, which changed nothing. Throws as settings_history() does.
std::vector<SettingsVersion> settings_changes(const std::string& database, const TimeSpan& span);
// Nothing when there is none of this number. Throws as settings_history() does.
std::optional<SettingsVersion> settings_version(const std::string& database, std::int64_t number);

// The newest version; empty where there is none, or no database that can be read.
std::optional<SettingsVersion> newest_settings(const std::string& database);

}  // namespace host
