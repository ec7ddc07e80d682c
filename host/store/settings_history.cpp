// The table of settings.
#include "host/store/settings_history.h"

#include <filesystem>

#include "host/base/input_error.h"
#include "host/store/database.h"
#include "host/store/schema.h"

namespace host {
namespace {

constexpr int kBusy_ms = 5000;

}  // namespace

std::vector<SettingsVersion> settings_history(const std::string& database) {
    std::error_code error;
    if (!std::filesystem::exists(database, error))
        throw InputError("there is no database \"" + database +
                         "\"; the camera has not counted yet");
    const Database db(database, Database::Access::kRead, kBusy_ms);
    try {
        check_schema(db);
    } catch (const ForeignDatabase& foreign) {
        throw InputError("\"" + database + "\" " + foreign.what());
    }
    Statement row = db.prepare("SELECT id, applied_us, author, text FROM settings ORDER BY id");
    std::vector<SettingsVersion> versions;
    while (row.step())
        versions.push_back({row.integer(0), row.integer(1), row.text(2), row.text(3)});
    return versions;
}

std::optional<SettingsVersion> newest_settings(const std::string& database) {
    try {
        std::vector<SettingsVersion> versions = settings_history(database);
        if (versions.empty()) return std::nullopt;
        return std::move(versions.back());
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

}  // namespace host
