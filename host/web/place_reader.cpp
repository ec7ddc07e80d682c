// Settings and databases, as far as they can be read.
#include "host/web/place_reader.h"

#include <algorithm>
#include <stdexcept>

#include "host/base/input_error.h"
#include "host/store/opening_hours.h"
#include "host/store/settings_history.h"
#include "host/web/api_answer.h"

namespace host {
namespace {

RunOptions settings_of(const ServiceFile& file, const ServiceCamera& camera) {
    RunOptions options;
    if (camera.in_cascade()) return options;
    const auto newest = newest_settings(database_of(file, camera.name));
    if (!newest) return options;
    try {
        parse_config(newest->text, "the settings in force", options);
    } catch (const InputError&) {
        return {};
    }
    return options;
}

}  // namespace

PlaceReader::PlaceReader(const ApiSources& sources)
    : file_(sources.place()), zone_(file_->time_zone.value), now_us_(sources.now_us()) {}

const ServiceCamera& PlaceReader::camera(const std::string& name) const {
    if (const ServiceCamera* camera = find_camera(*file_, name)) return *camera;
    constexpr int kNotFound = 404;
    throw ApiError(kNotFound, "there is no camera \"" + name + "\"");
}

std::optional<HistoryReader> PlaceReader::history(const std::string& camera) const {
    try {
        return HistoryReader(database(camera));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

const RunOptions& PlaceReader::in_force(const std::string& camera) const {
    const auto known = in_force_.find(camera);
    if (known != in_force_.end()) return known->second;
    return in_force_.emplace(camera, settings_of(*file_, this->camera(camera))).first->second;
}

std::vector<std::string> PlaceReader::lines_of(const std::string& camera) const {
    std::vector<std::string> names;
    for (const PlacedLine& line : in_force(camera).lines)
        names.push_back(line.value.name);
    if (!this->camera(camera).in_cascade()) return names;
    try {
        for (const LineCount& total : StoreReader(database(camera)).totals())
            if (total.direction == 1) names.push_back(total.line);
    } catch (const std::runtime_error&) {
        return {};
    }
    return names;
}

std::string PlaceReader::direction_name(const std::string& camera, const std::string& line,
                                        int direction) const {
    const auto at = static_cast<std::size_t>(direction == 2 ? 1 : 0);
    for (const PlacedLine& known : in_force(camera).lines)
        if (known.value.name == line) return known.value.directions[at];
    return CountingLine{}.directions[at];
}

bool PlaceReader::leads_in(const std::string& camera, const std::string& line,
                           int direction) const {
    return std::any_of(
        file_->entrances.begin(), file_->entrances.end(), [&](const ServiceEntrance& door) {
            return door.camera == camera && door.line == line && door.in == direction;
        });
}

std::vector<TimeSpan> PlaceReader::open_times(const Date& first, const Date& last) const {
    const OpeningHours hours(file_->open);
    std::vector<TimeSpan> times;
    for (Date date = zone_.date_of(zone_.day(first).from_us - 1); date <= last;
         date = zone_.next(date)) {
        const std::vector<TimeSpan> day = hours.spans(zone_, date);
        times.insert(times.end(), day.begin(), day.end());
    }
    return times;
}

}  // namespace host
