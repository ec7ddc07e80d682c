// The TOML file that holds lines and settings of an installation.
#include <toml++/toml.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>

#include "host/settings/run_options.h"

namespace host {
namespace {

class Reader {
  public:
    Reader(std::string path, RunOptions& options) : path_(std::move(path)), options_(options) {}

    void read(const toml::table& root) {
        for_each_key(root,
                     {"line", "region", "exclude", "height_mm", "target_height_mm", "group",
                      "detect", "gender", "staff", "position"},
                     [this](std::string_view key, const toml::node& node) {
                         if (key == "line") {
                             for_each_table(node, "lines are written as [[line]] tables",
                                            [this](const toml::table& t) { read_line(t); });
                         }
                         if (key == "region") {
                             for_each_table(node, "regions are written as [[region]] tables",
                                            [this](const toml::table& t) { read_region(t); });
                         }
                         if (key == "exclude") {
                             for_each_table(node,
                                            "exclusion areas are written as [[exclude]] tables",
                                            [this](const toml::table& t) { read_exclusion(t); });
                         }
                         if (key == "height_mm") read_height(node);
                         if (key == "target_height_mm") read_target(node);
                         if (key == "group") read_group(node);
                         if (key == "detect") {
                             options_.detect_place = place(node, key);
                             options_.detect = parse_detect_mode(text(node), options_.detect_place);
                         }
                         if (key == "gender") options_.gender = model(node, key);
                         if (key == "staff") options_.staff = model(node, key);
                         if (key == "position") read_position(node);
                     });
    }

  private:
    using KeyReader = std::function<void(std::string_view, const toml::node&)>;

    std::string place(const toml::node& node, std::string_view what) const {
        return "\"" + path_ + "\" line " + std::to_string(node.source().begin.line) + ": " +
               std::string(what);
    }

    void for_each_key(const toml::table& table, const std::vector<std::string_view>& known,
                      const KeyReader& read_key) const {
        for (const auto& [key, node] : table) {
            if (std::find(known.begin(), known.end(), key.str()) == known.end()) {
                std::string list;
                for (const std::string_view name : known) {
                    list += (list.empty() ? "" : ", ") + std::string(name);
                }
                throw InputError(place(node, "unknown key \"") + std::string(key.str()) +
                                 "\"; known are " + list);
            }
            read_key(key.str(), node);
        }
    }

    std::string text(const toml::node& node) const {
        if (!node.is_string()) throw InputError(place(node, "a text in quotes is needed here"));
        return *node.value<std::string>();
    }

    std::string model(const toml::node& node, std::string_view key) const {
        std::string name = text(node);
        if (name.empty()) {
            throw InputError(place(node, key) + " is empty; write none or the path of a network");
        }
        return name;
    }

    bool flag(const toml::node& node) const {
        if (!node.is_boolean()) throw InputError(place(node, "true or false is needed here"));
        return *node.value<bool>();
    }

    double any_number(const toml::node& node) const {
        const std::optional<double> value = node.value<double>();
        if (!node.is_number() || !value) throw InputError(place(node, "a number is needed here"));
        return *value;
    }

    double number(const toml::node& node) const {
        const double value = any_number(node);
        if (!std::isfinite(value)) throw InputError(place(node, "a finite number is needed here"));
        return value;
    }

    int whole_number(const toml::node& node) const {
        const double value = number(node);
        if (value != std::floor(value) || value < 0.0 || value > 100000.0) {
            throw InputError(place(node, "a whole number of 0 to 100000 is needed here"));
        }
        return static_cast<int>(value);
    }

    // Points are [[x, y], [x, y], ...].
    std::vector<PicturePoint> points(const toml::node& node) const {
        std::vector<PicturePoint> list;
        const toml::array* array = node.as_array();
        const char* kNeeded = "points are written as [[x, y], [x, y]]";
        if (array == nullptr) throw InputError(place(node, kNeeded));
        for (const toml::node& item : *array) {
            const toml::array* pair = item.as_array();
            if (pair == nullptr || pair->size() != 2) throw InputError(place(item, kNeeded));
            const PicturePoint point{any_number(*pair->get(0)), any_number(*pair->get(1))};
            if (!std::isfinite(point.x) || !std::isfinite(point.y)) {
                throw InputError(place(item, "the point " + point_text(point) +
                                                 " lies nowhere; write pixels of the picture"));
            }
            list.push_back(point);
        }
        return list;
    }

    void for_each_table(const toml::node& node, const char* needed,
                        const std::function<void(const toml::table&)>& read_table) const {
        const toml::array* array = node.as_array();
        if (array == nullptr || !array->is_array_of_tables()) {
            throw InputError(place(node, needed));
        }
        for (const toml::node& item : *array)
            read_table(*item.as_table());
    }

    void read_line(const toml::table& table) {
        CountingLine line;
        LinePlace at{place(table, "the line"), ""};
        if (options_.lines.size() == kMaxLines) {
            throw InputError(place(table, "this is counting line 5; at most 4 can be counted"));
        }
        line.name = "line " + std::to_string(options_.lines.size() + 1);
        for_each_key(table, {"name", "points", "uturn", "area", "flip"},
                     [&](std::string_view key, const toml::node& node) {
                         if (key == "name") {
                             line.name = text(node);
                             check_name(line.name, place(node, "the name"));
                         }
                         if (key == "points") {
                             line.points = points(node);
                             at.line = place(node, "the line");
                         }
                         if (key == "uturn") line.uturn_filter = flag(node);
                         if (key == "flip") line.flip = flag(node);
                         if (key == "area") {
                             line.uturn_area = points(node);
                             at.area = place(node, "the area");
                             check_area_points(line.uturn_area, at.area);
                         }
                     });
        check_line_points(line.points, at.line);
        if (!line.uturn_area.empty() && !line.uturn_filter) {
            throw InputError(at.area + " is only used with uturn = true; add that to the line");
        }
        if (!line.uturn_area.empty()) check_area_on_line(line.uturn_area, line.points, at.area);
        options_.lines.push_back(std::move(line));
        options_.line_places.push_back(std::move(at));
    }

    void read_region(const toml::table& table) {
        if (options_.regions.size() == kMaxRegions) {
            throw InputError(place(table, "this is counting region 5; at most 4 can be counted"));
        }
        CountingRegion region;
        std::string at = place(table, "the region");
        region.name = "region " + std::to_string(options_.regions.size() + 1);
        for_each_key(table, {"name", "points"}, [&](std::string_view key, const toml::node& node) {
            if (key == "name") {
                region.name = text(node);
                check_name(region.name, place(node, "the name"));
            }
            if (key == "points") {
                region.points = points(node);
                at = place(node, "the region");
            }
        });
        check_region_points(region.points, at);
        options_.regions.push_back(std::move(region));
        options_.region_places.push_back(std::move(at));
    }

    void read_exclusion(const toml::table& table) {
        if (options_.exclusions.size() == kMaxExclusions) {
            throw InputError(place(table, "this is exclusion area 5; at most 4 are possible"));
        }
        std::vector<PicturePoint> area;
        std::string at = place(table, "the exclusion area");
        for_each_key(table, {"points"}, [&](std::string_view, const toml::node& node) {
            area = points(node);
            at = place(node, "the exclusion area");
        });
        check_exclusion_points(area, at);
        options_.exclusions.push_back(std::move(area));
        options_.exclusion_places.push_back(std::move(at));
    }

    void read_height(const toml::node& node) {
        if (node.is_string() && text(node) == "auto") {
            options_.measure_height = true;
            return;
        }
        options_.height_place = place(node, "height_mm");
        options_.source.height_mm = checked_height_mm(number(node), options_.height_place);
    }

    void read_target(const toml::node& node) {
        const toml::array* pair = node.as_array();
        if (pair == nullptr || pair->size() != 2) {
            throw InputError(place(node, "target_height_mm is written as [lowest, highest]"));
        }
        options_.target_min_mm = whole_number(*pair->get(0));
        options_.target_max_mm = whole_number(*pair->get(1));
        check_target_range(options_.target_min_mm, options_.target_max_mm,
                           place(node, "target_height_mm"));
    }

    void read_group(const toml::node& node) {
        const toml::table* table = node.as_table();
        if (table == nullptr) throw InputError(place(node, "groups are set in a [group] table"));
        for_each_key(*table, {"enabled", "min", "max"},
                     [this](std::string_view key, const toml::node& value) {
                         if (key == "enabled") options_.group_counting = flag(value);
                         if (key == "min") options_.group_min = whole_number(value);
                         if (key == "max") options_.group_max = whole_number(value);
                     });
        check_group_range(options_.group_min, options_.group_max,
                          place(node, "the size of groups"));
    }

    void read_position(const toml::node& node) {
        const std::string name = text(node);
        if (name != "foot" && name != "box") {
            throw InputError(place(node, "position is \"") + name + "\"; known are foot and box");
        }
        options_.source.foot_point = name == "foot";
    }

    std::string path_;
    RunOptions& options_;
};

}  // namespace

void read_config_file(const std::string& path, RunOptions& options) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
        throw InputError("the configuration \"" + path + "\" is a folder; --config needs a file");
    }
    if (status.type() == fs::file_type::not_found) {
        throw InputError("there is no configuration file \"" + path + "\"");
    }
    std::ifstream in;
    if (fs::is_regular_file(status)) in.open(path);
    if (!in.is_open()) {
        throw InputError("cannot read the configuration file \"" + path +
                         "\"; --config needs a readable file");
    }
    try {
        const toml::table root = toml::parse(in, path);
        Reader(path, options).read(root);
    } catch (const toml::parse_error& e) {
        throw InputError("\"" + path + "\" line " + std::to_string(e.source().begin.line) + ": " +
                         std::string(e.description()));
    }
}

}  // namespace host
