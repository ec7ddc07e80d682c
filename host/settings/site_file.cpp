// The TOML file of a site: broker, cameras, lines and regions in metres.
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>

#include "host/base/toml_reader.h"
#include "host/settings/file_values.h"
#include "host/settings/site.h"
#include "host/settings/site_check.h"

namespace host {
namespace {

using Value = const TomlValue&;

double metres(Value value) {
    return value.number(-1000.0, 1000.0);
}

// Points are [[x, y], [x, y], ...] in metres.
std::vector<SitePoint> points(Value value) {
    std::vector<SitePoint> list;
    for (const auto& [x, y] : value.pairs("points are written as [[x, y], [x, y]] in metres"))
        list.push_back({metres(x), metres(y)});
    return list;
}

class SiteReader {
  public:
    explicit SiteReader(std::string folder) : folder_(std::move(folder)) {}

    Site read(Value root) {
        root.read_keys(
            {{"name", [this](Value v) { site_.name = plain_name(v, "name"); }},
             {"broker", [this](Value v) { read_broker(v); }},
             {"scene", [this](Value v) { read_scene(v); }},
             {"stale_s", [this](Value v) { site_.stale_s = v.number(0.1, 3600.0); }},
             {"max_age_frames", [this](Value v) { site_.max_age_frames = v.whole(1, 1000); }},
             {"frames_per_second",
              [this](Value v) {
                  site_.frames_per_second = {v.number(1.0, 240.0), v.place("frames_per_second")};
              }},
             {"detect",
              [this](Value v) { site_.detect = parse_detect_mode(v.text(), v.place("detect")); }},
             {"target_height_mm", [this](Value v) { read_target(v); }},
             {"group", [this](Value v) { read_group(v); }},
             {"device", TomlValue::tables("devices are written as [[device]] tables",
                                          [this](Value table) { read_device(table); })},
             {"line", TomlValue::tables("lines are written as [[line]] tables",
                                        [this](Value table) { read_line(table); })},
             {"region", TomlValue::tables("regions are written as [[region]] tables",
                                          [this](Value table) { read_region(table); })}});
        return std::move(site_);
    }

  private:
    void read_broker(Value value) {
        site_.broker.place = value.place("the broker");
        value.read_keys(broker_keys(site_.broker, folder_),
                        "the broker is set in a [broker] table");
        check_broker(site_.broker);
    }

    void read_scene(Value value) {
        constexpr int kMostSeed = std::numeric_limits<int>::max();
        value.read_keys(
            {{"name",
              [this](Value v) {
                  const std::string name = plain_name(v, "scene");
                  site_.scene = {name, v.place("the scene \"" + name + "\"")};
              }},
             {"seconds", [this](Value v) { site_.seconds = v.number(0.1, 1e6); }},
             {"seed",
              [this](Value v) { site_.seed = static_cast<std::uint64_t>(v.whole(0, kMostSeed)); }}},
            "a simulated site is set in a [scene] table");
    }

    void read_target(Value value) {
        const auto [lowest, highest] =
            value.pair("target_height_mm is written as [lowest, highest]");
        site_.target_min_mm = lowest.whole(0, 100000);
        site_.target_max_mm = highest.whole(0, 100000);
        check_target_range(site_.target_min_mm, site_.target_max_mm,
                           value.place("target_height_mm"));
    }

    void read_group(Value value) {
        value.read_keys({{"enabled", [this](Value v) { site_.group_counting = v.flag(); }},
                         {"min", [this](Value v) { site_.group_min = v.whole(1, 1000); }},
                         {"max", [this](Value v) { site_.group_max = v.whole(1, 1000); }}},
                        "groups are set in a [group] table");
        check_group_range(site_.group_min, site_.group_max, value.place("the size of groups"));
    }

    void read_device(Value table) {
        SiteDevice device;
        std::string role;
        bool has_x = false;
        bool has_y = false;
        table.read_keys(
            {{"name", [&](Value v) { device.name = plain_name(v, "name"); }},
             {"role",
              [&](Value v) {
                  role = v.text();
                  if (role == "master" || role == "slave") return;
                  throw InputError(v.place("the role \"") + role +
                                   "\" is not known; write master or slave");
              }},
             {"index", [&](Value v) { device.index = v.whole(0, kMostSlaves - 1); }},
             {"x_m", [&](Value v) { device.at.x_m = metres(v), has_x = true; }},
             {"y_m", [&](Value v) { device.at.y_m = metres(v), has_y = true; }},
             {"rotation_deg", [&](Value v) { device.rotation_deg = v.number(-360.0, 360.0); }},
             {"height_mm",
              [&](Value v) {
                  device.height_mm = checked_height_mm(v.finite_number(), v.place("height_mm"));
              }},
             {"focal_px", [&](Value v) { device.focal_px = v.number(200.0, 2000.0); }},
             {"recording",
              [&](Value v) { device.files.recording = file_value(v, "recording", folder_); }},
             {"depth", [&](Value v) { device.files.depth = address_value(v, "depth", folder_); }},
             {"depth_format", [&](Value v) { device.files.depth_format = depth_format_value(v); }},
             {"camera", [&](Value v) { device.files.camera = file_value(v, "camera", folder_); }}});
        device.place = table.place("the device \"" + device.name + "\"");
        if (device.name.empty()) throw InputError(table.place("this device has no name"));
        if (role.empty()) {
            throw InputError(device.place + " has no role; write role = \"master\" or \"slave\"");
        }
        device.master = role == "master";
        if (!has_x || !has_y) {
            throw InputError(device.place + " has no position; give x_m and y_m in metres");
        }
        if (device.height_mm == 0.0) {
            throw InputError(device.place + " has no height_mm; give its lens over the floor");
        }
        check_files(device);
        site_.devices.push_back(std::move(device));
    }

    static void check_files(const SiteDevice& device) {
        const SiteCameraFiles& files = device.files;
        if (!files.recording.empty() && !files.depth.empty())
            throw InputError(device.place + " has a recording and a live camera; leave out one");
        if (!files.depth_format.empty() && files.depth.empty())
            throw InputError(device.place +
                             " has a depth_format without depth; add depth = "
                             "\"URL\", or leave it out");
        if (!files.camera.empty() && device.is_simulated())
            throw InputError(device.place +
                             " has a camera file and is simulated; add depth = "
                             "\"URL\" or recording = \"FILE\", or leave it out");
        if (!files.camera.empty()) check_camera_file(files.camera, device.place);
    }

    void read_line(Value table) {
        SiteLine line;
        line.name = "line " + std::to_string(site_.lines.size() + 1);
        table.read_keys({{"name", [&](Value v) { line.name = shown_name(v); }},
                         {"points", [&](Value v) { line.points = points(v); }},
                         {"uturn", [&](Value v) { line.uturn_filter = v.flag(); }},
                         {"area", [&](Value v) { line.uturn_area = points(v); }},
                         {"flip", [&](Value v) { line.flip = v.flag(); }}});
        line.place = table.place("the line \"" + line.name + "\"");
        site_.lines.push_back(std::move(line));
    }

    void read_region(Value table) {
        SiteRegion region;
        region.name = "region " + std::to_string(site_.regions.size() + 1);
        table.read_keys({{"name", [&](Value v) { region.name = shown_name(v); }},
                         {"points", [&](Value v) { region.points = points(v); }}});
        region.place = table.place("the region \"" + region.name + "\"");
        site_.regions.push_back(std::move(region));
    }

    const std::string folder_;
    Site site_;
};

}  // namespace

bool is_site_file(const std::string& path) {
    const TomlValue root = read_toml_file(path, "file", "vca check needs a readable file");
    constexpr const char* kOfSites[] = {"name",    "broker",         "scene",
                                        "stale_s", "max_age_frames", "device"};
    return std::any_of(std::begin(kOfSites), std::end(kOfSites),
                       [&root](const char* key) { return root.find(key) != nullptr; });
}

Site read_site_file(const std::string& path) {
    const std::string file = "\"" + path + "\"";
    Site site = SiteReader(std::filesystem::path(path).parent_path().string())
                    .read(read_toml_file(path, "site file", "give a readable file"));
    if (site.name.empty()) {
        throw InputError(file +
                         " has no name; write name = \"...\" at its top, the broker's topics begin "
                         "with it");
    }
    check_site(site, file);
    return site;
}

}  // namespace host
