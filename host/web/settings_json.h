// Settings of a camera as pages send and get them: the keys of the settings file.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/settings/run_options.h"
#include "host/web/api_sources.h"

namespace host {

nlohmann::ordered_json settings_json(const RunOptions& options);

// What is wrong or doubtful, and where: a sentence, and a word for it that stays the same.
struct SettingsNote {
    bool error = false;  // such settings cannot be saved
    std::string code;
    std::string text;
    std::string kind;  // of the shape: line, area, region, exclude; or setting
    std::size_t index = 0;
    nlohmann::ordered_json values{};  // what the sentence says, for whoever translates it
};
nlohmann::ordered_json note_json(const SettingsNote& note);

struct GivenSettings {
    RunOptions options;
    std::vector<SettingsNote> errors;
};
// Reads all of them, so that every error is told. Throws ApiError for what has not the form of
// settings at all. Points are pixels of the camera's picture.
GivenSettings read_settings_json(const nlohmann::ordered_json& json, const CameraLook& look);

}  // namespace host
