// The TOML file that holds lines and settings of an installation.
#include <cmath>

#include "host/base/toml_reader.h"
#include "host/settings/run_options.h"

namespace host {
namespace {

using Value = const TomlValue&;

// Sets options one key after the other.
class InstallationReader {
  public:
    explicit InstallationReader(RunOptions& options) : options_(options) {}

    void read(Value root) {
        root.read_keys(
            {{"line", TomlValue::tables("lines are written as [[line]] tables",
                                        [this](Value table) { read_line(table); })},
             {"region", TomlValue::tables("regions are written as [[region]] tables",
                                          [this](Value table) { read_region(table); })},
             {"exclude", TomlValue::tables("exclusion areas are written as [[exclude]] tables",
                                           [this](Value table) { read_exclusion(table); })},
             {"height_mm", [this](Value value) { read_height(value); }},
             {"target_height_mm", [this](Value value) { read_target(value); }},
             {"group", [this](Value value) { read_group(value); }},
             {"detect",
              [this](Value value) {
                  const std::string place = value.place("detect");
                  options_.detect = {parse_detect_mode(value.text(), place), place};
              }},
             {"sensor",
              [this](Value value) {
                  options_.sensor = parse_sensor(value.text(), value.place("sensor"));
              }},
             {"late_counts",
              [this](Value value) {
                  options_.late_counts =
                      parse_late_counts(value.text(), value.place("late_counts"));
              }},
             {"tilt", [this](Value value) { read_tilt(value); }},
             {"gender", [this](Value v) { options_.gender = model(v, "gender"); }},
             {"staff", [this](Value v) { options_.staff = model(v, "staff"); }},
             {"position", [this](Value value) { read_position(value); }}});
    }

  private:
    static std::string model(Value value, const char* key) {
        std::string name = value.text();
        if (!name.empty()) return name;
        throw InputError(value.place(key) + " is empty; write none or the path of a network");
    }

    static std::string name(Value value) {
        check_name(value.text(), value.place("the name"));
        return value.text();
    }

    // Points are [[x, y], [x, y], ...].
    static std::vector<PicturePoint> points(Value value) {
        std::vector<PicturePoint> list;
        for (const auto& [x, y] : value.pairs("points are written as [[x, y], [x, y]]")) {
            const PicturePoint point{x.number(), y.number()};
            if (!std::isfinite(point.x) || !std::isfinite(point.y)) {
                throw InputError(x.place("the point " + point_text(point) +
                                         " is not a valid position; write pixels of the picture"));
            }
            list.push_back(point);
        }
        return list;
    }

    void read_line(Value table) {
        if (options_.lines.size() == kMaxLines) {
            throw InputError(table.place("this is counting line 5; at most 4 can be counted"));
        }
        PlacedLine given({}, table.place("the line"));
        CountingLine& line = given.value;
        line.name = "line " + std::to_string(options_.lines.size() + 1);
        table.read_keys({{"name", [&line](Value value) { line.name = name(value); }},
                         {"points",
                          [&](Value value) {
                              line.points = points(value);
                              given.place = value.place("the line");
                          }},
                         {"uturn", [&line](Value value) { line.uturn_filter = value.flag(); }},
                         {"area",
                          [&](Value value) {
                              line.uturn_area = points(value);
                              given.area_place = value.place("the area");
                              check_area_points(line.uturn_area, given.area_place);
                          }},
                         {"flip", [&line](Value value) { line.flip = value.flag(); }}});
        check_line_points(line.points, given.place);
        if (!line.uturn_area.empty() && !line.uturn_filter) {
            throw InputError(given.area_place +
                             " is only used with uturn = true; add that to the line");
        }
        if (!line.uturn_area.empty())
            check_area_on_line(line.uturn_area, line.points, given.area_place);
        options_.lines.push_back(std::move(given));
    }

    void read_region(Value table) {
        if (options_.regions.size() == kMaxRegions) {
            throw InputError(table.place("this is counting region 5; at most 4 can be counted"));
        }
        Placed<CountingRegion> given({}, table.place("the region"));
        given.value.name = "region " + std::to_string(options_.regions.size() + 1);
        table.read_keys({{"name", [&given](Value value) { given.value.name = name(value); }},
                         {"points", [&given](Value value) {
                              given.value.points = points(value);
                              given.place = value.place("the region");
                          }}});
        check_region_points(given.value.points, given.place);
        options_.regions.push_back(std::move(given));
    }

    void read_exclusion(Value table) {
        if (options_.exclusions.size() == kMaxExclusions) {
            throw InputError(table.place("this is exclusion area 5; at most 4 are possible"));
        }
        Placed<std::vector<PicturePoint>> given({}, table.place("the exclusion area"));
        table.read_keys({{"points", [&given](Value value) {
                              given = {points(value), value.place("the exclusion area")};
                          }}});
        check_exclusion_points(given.value, given.place);
        options_.exclusions.push_back(std::move(given));
    }

    void read_height(Value value) {
        options_.measure_height = value.is_text() && value.text() == "auto";
        if (options_.measure_height) return;
        const std::string place = value.place("height_mm");
        options_.source.height_mm = Placed(checked_height_mm(value.finite_number(), place), place);
    }

    void read_target(Value value) {
        const auto [lowest, highest] =
            value.pair("target_height_mm is written as [lowest, highest]");
        options_.target_min_mm = lowest.whole(0, kMostWhole);
        options_.target_max_mm = highest.whole(0, kMostWhole);
        check_target_range(options_.target_min_mm, options_.target_max_mm,
                           value.place("target_height_mm"));
    }

    void read_group(Value value) {
        value.read_keys({{"enabled", [this](Value v) { options_.group_counting = v.flag(); }},
                         {"min", [this](Value v) { options_.group_min = v.whole(0, kMostWhole); }},
                         {"max", [this](Value v) { options_.group_max = v.whole(0, kMostWhole); }}},
                        "groups are set in a [group] table");
        check_group_range(options_.group_min, options_.group_max,
                          value.place("the size of groups"));
    }

    void read_tilt(Value value) {
        const std::string place = value.place("tilt");
        const std::string form =
            "tilt is written as \"auto\", \"none\" or [roll, pitch] in degrees";
        if (value.is_text()) {
            const std::string word = value.text();
            if (word != "auto" && word != "none")
                throw InputError(place + " is \"" + word + "\"; " + form);
            options_.tilt = parse_tilt(word, place);
            return;
        }
        const auto [roll, pitch] = value.pair(form);
        options_.tilt = checked_tilt({roll.finite_number(), pitch.finite_number()}, place);
    }

    void read_position(Value value) {
        const std::string name = value.text();
        if (name != "foot" && name != "box") {
            throw InputError(value.place("position is \"") + name + "\"; known are foot and box");
        }
        options_.source.foot_point = name == "foot";
    }

    static constexpr int kMostWhole = 100000;
    RunOptions& options_;
};

}  // namespace

void read_config_file(const std::string& path, RunOptions& options) {
    InstallationReader(options).read(
        read_toml_file(path, "configuration file", "--config needs a readable file"));
}

}  // namespace host
