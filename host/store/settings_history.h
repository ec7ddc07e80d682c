// The versions of a camera's settings that were in force.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

struct SettingsVersion {
    std::int64_t number = 0;
    std::int64_t applied_us = 0;  // since 1970
    std::string author;
    std::string text;
};

// From a camera's database, the oldest first. Throws InputError when it is not one, and StoreError.
std::vector<SettingsVersion> settings_history(const std::string& database);

// The newest version; empty where there is none, or no database that can be read.
std::optional<SettingsVersion> newest_settings(const std::string& database);

}  // namespace host
