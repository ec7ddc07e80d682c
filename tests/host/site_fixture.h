// A site of two cameras, and texts of site files.
#pragma once

#include <fstream>
#include <string>

#include "host/settings/site.h"
#include "tests/support/unique_path.h"

namespace test {

inline host::SiteDevice make_device(const std::string& name, int index, double x_m, double y_m,
                                    double rotation_deg, double height_mm) {
    host::SiteDevice device;
    device.name = name;
    device.master = index < 0;
    device.index = index;
    device.at = {x_m, y_m};
    device.rotation_deg = rotation_deg;
    device.height_mm = height_mm;
    device.place = "the device \"" + name + "\"";
    return device;
}

// The master at the origin, slave 3 beside it: lower, and its picture turned by a quarter.
inline host::Site two_cameras() {
    host::Site site;
    site.name = "two";
    site.devices = {make_device("main", -1, 0.0, 0.0, 0.0, 6000.0),
                    make_device("side", 3, 4.0, 1.0, 90.0, 4000.0)};
    return site;
}

// A site file of this text, gone when the test ends.
class SiteFile {
  public:
    explicit SiteFile(const std::string& text) : path_(unique_path("site", ".toml").string()) {
        std::ofstream(path_) << text;
    }
    ~SiteFile() { std::filesystem::remove(path_); }
    SiteFile(const SiteFile&) = delete;
    SiteFile& operator=(const SiteFile&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace test
