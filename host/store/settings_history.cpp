// The table of settings.
#include "host/store/settings_history.h"

#include <filesystem>

#include "host/base/input_error.h"
#include "host/store/read_access.h"

namespace host {
namespace {

// Texts are long, and most readers want none.
enum class Texts { kNone, kAll };

template <typename... Values>
std::vector<SettingsVersion> versions_of(const std::string& database, Texts texts,
                                         const std::string& condition, const Values&... values) {
    std::error_code error;
    if (!std::filesystem::exists(database, error))
        throw InputError("there is no database \"" + database +
                         "\"; the camera has not counted yet");
    const auto db = open_to_read(database);
    Statement row =
        db->prepare(std::string("SELECT id, applied_us, author, ") +
                    (texts == Texts::kAll ? "text" : "''") + ", name FROM settings " + condition);
    std::vector<SettingsVersion> versions;
    row.bind(values...);
    while (row.step())
        versions.push_back({row.integer(0), row.integer(1), row.text(2), row.text(3), row.text(4)});
    return versions;
}

std::optional<SettingsVersion> only_one(std::vector<SettingsVersion> versions) {
    if (versions.empty()) return std::nullopt;
    return std::move(versions.front());
}

}  // namespace

std::vector<SettingsVersion> settings_history(const std::string& database) {
    return versions_of(database, Texts::kAll, "ORDER BY id");
}

std::vector<SettingsVersion> newest_versions(const std::string& database, int most) {
    return versions_of(database, Texts::kNone, "ORDER BY id DESC LIMIT ?1", most);
}

std::vector<SettingsVersion> settings_changes(const std::string& database, const TimeSpan& span) {
    return versions_of(database, Texts::kNone,
                       "WHERE id > 1 AND applied_us >= ?1 AND applied_us < ?2 ORDER BY id",
                       span.from_us, span.to_us);
}

std::optional<SettingsVersion> settings_version(const std::string& database, std::int64_t number) {
    return only_one(versions_of(database, Texts::kAll, "WHERE id = ?1", number));
}

std::optional<SettingsVersion> newest_settings(const std::string& database) {
    try {
        return only_one(versions_of(database, Texts::kAll, "ORDER BY id DESC LIMIT 1"));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

}  // namespace host
