// The place as one request finds it: its file, its clock, and what its cameras count with.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/settings/run_options.h"
#include "host/settings/service_file.h"
#include "host/store/history_reader.h"
#include "host/web/api_sources.h"

namespace host {

class PlaceReader {
  public:
    explicit PlaceReader(const ApiSources& sources);

    const ServiceFile& file() const { return *file_; }
    const TimeZone& zone() const { return zone_; }
    std::int64_t now_us() const { return now_us_; }

    // Throws ApiError when the place has no such camera.
    const ServiceCamera& camera(const std::string& name) const;
    std::string database(const std::string& camera) const { return database_of(*file_, camera); }
    // Empty where there is no database that can be read.
    std::optional<HistoryReader> history(const std::string& camera) const;

    // The settings in force; empty for a camera that has none or whose settings are those of a
    // site. Valid as long as the reader.
    const RunOptions& in_force(const std::string& camera) const;
    // Its lines; for a camera of a site those that it has counted on.
    std::vector<std::string> lines_of(const std::string& camera) const;
    // "in", "out", or what the line's settings call it.
    std::string direction_name(const std::string& camera, const std::string& line,
                               int direction) const;

    // Whether people come in through a line in this direction.
    bool leads_in(const std::string& camera, const std::string& line, int direction) const;

    // When the place is open of some days and the night before them, in order.
    std::vector<TimeSpan> open_times(const Date& first, const Date& last) const;

  private:
    std::shared_ptr<const ServiceFile> file_;
    TimeZone zone_;
    std::int64_t now_us_;
    mutable std::map<std::string, RunOptions> in_force_;  // by camera, as they were asked for
};

}  // namespace host
