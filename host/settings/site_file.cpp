// The TOML file of a site: broker, cameras, lines and regions in metres.
#include <toml++/toml.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>

#include "host/base/text.h"
#include "host/settings/site.h"
#include "host/settings/site_check.h"

namespace host {
namespace {

class SiteReader {
  public:
    explicit SiteReader(std::string path) : path_(std::move(path)) {}

    Site read(const toml::table& root) {
        for_each_key(
            root, {{"name", [this](const auto& n) { site_.name = plain_name(n, "name"); }},
                   {"broker", [this](const auto& n) { read_broker(n); }},
                   {"scene", [this](const auto& n) { read_scene(n); }},
                   {"stale_s", [this](const auto& n) { site_.stale_s = number(n, 0.1, 3600.0); }},
                   {"max_age_frames",
                    [this](const auto& n) { site_.max_age_frames = whole(n, 1, 1000); }},
                   {"frames_per_second",
                    [this](const auto& n) { site_.frames_per_second = number(n, 1.0, 240.0); }},
                   {"detect",
                    [this](const auto& n) {
                        site_.detect = parse_detect_mode(text(n), place(n, "detect"));
                    }},
                   {"target_height_mm", [this](const auto& n) { read_target(n); }},
                   {"group", [this](const auto& n) { read_group(n); }},
                   {"device", [this](const auto& n) { read_devices(n); }},
                   {"line", [this](const auto& n) { read_lines(n); }},
                   {"region", [this](const auto& n) { read_regions(n); }}});
        if (site_.name.empty()) {
            throw InputError("\"" + path_ +
                             "\" has no name; write name = \"...\" at its top, the broker's topics "
                             "begin with it");
        }
        return std::move(site_);
    }

  private:
    using NodeReader = std::function<void(const toml::node&)>;
    using KeyReaders = std::vector<std::pair<std::string_view, NodeReader>>;

    std::string place(const toml::node& node, std::string_view what) const {
        return "\"" + path_ + "\" line " + std::to_string(node.source().begin.line) + ": " +
               std::string(what);
    }

    void for_each_key(const toml::table& table, const KeyReaders& readers) const {
        for (const auto& [key, node] : table) {
            const auto found =
                std::find_if(readers.begin(), readers.end(),
                             [name = key.str()](const auto& r) { return r.first == name; });
            if (found == readers.end()) {
                std::string list;
                for (const auto& [name, reader] : readers)
                    list += (list.empty() ? "" : ", ") + std::string(name);
                throw InputError(place(node, "unknown key \"") + std::string(key.str()) +
                                 "\"; known are " + list);
            }
            found->second(node);
        }
    }

    std::string text(const toml::node& node) const {
        if (!node.is_string()) throw InputError(place(node, "a text in quotes is needed here"));
        return *node.value<std::string>();
    }

    // Names of sites and devices become topics of the broker and folders of results.
    std::string plain_name(const toml::node& node, std::string_view what) const {
        std::string name = text(node);
        const bool fits = std::all_of(name.begin(), name.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                   c == '-' || c == '_';
        });
        if (!fits || name.empty() || name.size() > 64) {
            throw InputError(place(node, "the ") + std::string(what) + " \"" + name +
                             "\" cannot be used; write 1 to 64 letters, digits, - and _");
        }
        return name;
    }

    // Names of lines and regions are shown to people.
    std::string shown_name(const toml::node& node) const {
        std::string name = text(node);
        check_name(name, place(node, "the name"));
        return name;
    }

    bool flag(const toml::node& node) const {
        if (!node.is_boolean()) throw InputError(place(node, "true or false is needed here"));
        return *node.value<bool>();
    }

    double number(const toml::node& node, double least, double most) const {
        const std::optional<double> value = node.value<double>();
        if (!node.is_number() || !value || !(*value >= least && *value <= most)) {
            throw InputError(place(node, "a number of ") + plain_number(least) + " to " +
                             plain_number(most) + " is needed here");
        }
        return *value;
    }

    int whole(const toml::node& node, int least, int most) const {
        const std::optional<std::int64_t> value = node.value_exact<std::int64_t>();
        if (!value || *value < least || *value > most) {
            throw InputError(place(node, "a whole number of ") + std::to_string(least) + " to " +
                             std::to_string(most) + " is needed here");
        }
        return static_cast<int>(*value);
    }

    // Points are [[x, y], [x, y], ...] in metres.
    std::vector<SitePoint> points(const toml::node& node) const {
        const char* kNeeded = "points are written as [[x, y], [x, y]] in metres";
        const toml::array* array = node.as_array();
        if (array == nullptr) throw InputError(place(node, kNeeded));
        std::vector<SitePoint> list;
        for (const toml::node& item : *array) {
            const toml::array* pair = item.as_array();
            if (pair == nullptr || pair->size() != 2) throw InputError(place(item, kNeeded));
            list.push_back({metres(*pair->get(0)), metres(*pair->get(1))});
        }
        return list;
    }

    double metres(const toml::node& node) const { return number(node, -1000.0, 1000.0); }

    const toml::table& table_of(const toml::node& node, const char* needed) const {
        if (!node.is_table()) throw InputError(place(node, needed));
        return *node.as_table();
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

    void read_broker(const toml::node& node) {
        for_each_key(
            table_of(node, "the broker is set in a [broker] table"),
            {{"host",
              [this](const auto& n) {
                  site_.broker_host = text(n);
                  const bool blank = site_.broker_host.find_first_of(" \t\n") != std::string::npos;
                  if (site_.broker_host.empty() || blank) {
                      throw InputError(place(n, "the broker's host is a name or an address"));
                  }
              }},
             {"port", [this](const auto& n) { site_.broker_port = whole(n, 1, 65535); }}});
    }

    void read_scene(const toml::node& node) {
        constexpr int kMostSeed = std::numeric_limits<int>::max();
        for_each_key(table_of(node, "a simulated site is set in a [scene] table"),
                     {{"name", [this](const auto& n) { site_.scene = plain_name(n, "scene"); }},
                      {"seconds", [this](const auto& n) { site_.seconds = number(n, 0.1, 1e6); }},
                      {"seed", [this](const auto& n) {
                           site_.seed = static_cast<std::uint64_t>(whole(n, 0, kMostSeed));
                       }}});
    }

    void read_target(const toml::node& node) {
        const toml::array* pair = node.as_array();
        if (pair == nullptr || pair->size() != 2) {
            throw InputError(place(node, "target_height_mm is written as [lowest, highest]"));
        }
        site_.target_min_mm = whole(*pair->get(0), 0, 100000);
        site_.target_max_mm = whole(*pair->get(1), 0, 100000);
        check_target_range(site_.target_min_mm, site_.target_max_mm,
                           place(node, "target_height_mm"));
    }

    void read_group(const toml::node& node) {
        for_each_key(table_of(node, "groups are set in a [group] table"),
                     {{"enabled", [this](const auto& n) { site_.group_counting = flag(n); }},
                      {"min", [this](const auto& n) { site_.group_min = whole(n, 1, 1000); }},
                      {"max", [this](const auto& n) { site_.group_max = whole(n, 1, 1000); }}});
        check_group_range(site_.group_min, site_.group_max, place(node, "the size of groups"));
    }

    void read_devices(const toml::node& node) {
        for_each_table(node, "devices are written as [[device]] tables",
                       [this](const toml::table& table) { read_device(table); });
    }

    void read_device(const toml::table& table) {
        SiteDevice device;
        std::string role;
        bool has_x = false;
        bool has_y = false;
        for_each_key(
            table,
            {{"name", [&](const auto& n) { device.name = plain_name(n, "name"); }},
             {"role",
              [&](const auto& n) {
                  role = text(n);
                  if (role == "master" || role == "slave") return;
                  throw InputError(place(n, "the role \"") + role +
                                   "\" is not known; write master or slave");
              }},
             {"index", [&](const auto& n) { device.index = whole(n, 0, kMostSlaves - 1); }},
             {"x_m", [&](const auto& n) { device.at.x_m = metres(n), has_x = true; }},
             {"y_m", [&](const auto& n) { device.at.y_m = metres(n), has_y = true; }},
             {"rotation_deg", [&](const auto& n) { device.rotation_deg = number(n, -360, 360); }},
             {"height_mm",
              [&](const auto& n) {
                  device.height_mm = checked_height_mm(number(n, -1e6, 1e6), place(n, "height_mm"));
              }},
             {"focal_px", [&](const auto& n) { device.focal_px = number(n, 200, 2000); }}});
        device.place = place(table, "the device \"" + device.name + "\"");
        if (device.name.empty()) throw InputError(place(table, "this device has no name"));
        if (role.empty()) {
            throw InputError(device.place + " has no role; write role = \"master\" or \"slave\"");
        }
        device.master = role == "master";
        if (!has_x || !has_y) {
            throw InputError(device.place + " has no place; give x_m and y_m in metres");
        }
        if (device.height_mm == 0.0) {
            throw InputError(device.place + " has no height_mm; give its lens over the floor");
        }
        site_.devices.push_back(std::move(device));
    }

    void read_lines(const toml::node& node) {
        for_each_table(node, "lines are written as [[line]] tables",
                       [this](const toml::table& table) { read_line(table); });
    }

    void read_line(const toml::table& table) {
        SiteLine line;
        line.name = "line " + std::to_string(site_.lines.size() + 1);
        for_each_key(table, {{"name", [&](const auto& n) { line.name = shown_name(n); }},
                             {"points", [&](const auto& n) { line.points = points(n); }},
                             {"uturn", [&](const auto& n) { line.uturn_filter = flag(n); }},
                             {"area", [&](const auto& n) { line.uturn_area = points(n); }},
                             {"flip", [&](const auto& n) { line.flip = flag(n); }}});
        line.place = place(table, "the line \"" + line.name + "\"");
        site_.lines.push_back(std::move(line));
    }

    void read_regions(const toml::node& node) {
        for_each_table(node, "regions are written as [[region]] tables",
                       [this](const toml::table& table) { read_region(table); });
    }

    void read_region(const toml::table& table) {
        SiteRegion region;
        region.name = "region " + std::to_string(site_.regions.size() + 1);
        for_each_key(table, {{"name", [&](const auto& n) { region.name = shown_name(n); }},
                             {"points", [&](const auto& n) { region.points = points(n); }}});
        region.place = place(table, "the region \"" + region.name + "\"");
        site_.regions.push_back(std::move(region));
    }

    std::string path_;
    Site site_;
};

std::ifstream open_site_file(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
        throw InputError("the site \"" + path + "\" is a folder; a site is described in a file");
    }
    if (status.type() == fs::file_type::not_found) {
        throw InputError("there is no site file \"" + path + "\"");
    }
    std::ifstream in;
    if (fs::is_regular_file(status)) in.open(path);
    if (!in.is_open()) {
        throw InputError("cannot read the site file \"" + path + "\"; give a readable file");
    }
    return in;
}

}  // namespace

Site read_site_file(const std::string& path) {
    std::ifstream in = open_site_file(path);
    try {
        const toml::table root = toml::parse(in, path);
        Site site = SiteReader(path).read(root);
        check_site(site, "\"" + path + "\"");
        return site;
    } catch (const toml::parse_error& e) {
        throw InputError("\"" + path + "\" line " + std::to_string(e.source().begin.line) + ": " +
                         std::string(e.description()));
    }
}

}  // namespace host
