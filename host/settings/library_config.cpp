// The one place that fills the library's configuration message.
#include "host/settings/library_config.h"

#include <algorithm>
#include <cmath>

#include "host/engine/parked_line.h"

namespace host {
namespace {

static_assert(static_cast<int>(DetectMode::kBoth) == VCA_DETECT_BOTH);
static_assert(static_cast<int>(DetectMode::kColour) == VCA_DETECT_COLOUR);
static_assert(static_cast<int>(DetectMode::kDepth) == VCA_DETECT_DEPTH);

POINT12 config_point(const PicturePoint& p) {
    POINT12 point{};
    point.en = 1;
    point.x = whole_coordinate(p.x);
    point.y = whole_coordinate(p.y);
    return point;
}

template <std::size_t kSize>
void set_points(const std::vector<PicturePoint>& points, POINT12 (&config)[kSize]) {
    for (std::size_t i = 0; i < std::min(points.size(), kSize); ++i)
        config[i] = config_point(points[i]);
}

void set_line(const CountingLine& line, VCA_CFG_LINE_S& config) {
    if (line.points.empty()) return;
    config.LineEn = 1;
    set_points(line.points, config.pt);
    config.UturnEn = line.uturn_filter ? 1 : 0;
    set_points(line.uturn_area, config.uturn_pt);
    config.Flip = line.flip ? 1 : 0;
}

void set_region(const CountingRegion& region, VCA_CFG_RGN_S& config) {
    if (region.points.empty()) return;
    config.used = 1;
    config.en_a = 1;
    set_points(region.points, config.pt);
}

void set_exclusion(const std::vector<PicturePoint>& area, VCA_CFG_EXCL_S& config) {
    config.type = VCA_CFG_EXCL_DETECTIONS;
    set_points(area, config.pt);
}

template <typename List, typename Config, std::size_t kSize, typename Set>
void set_each(const List& list, Config (&config)[kSize], Set set) {
    for (std::size_t i = 0; i < std::min(list.size(), kSize); ++i)
        set(list[i], config[i]);
}

}  // namespace

int whole_coordinate(double value) {
    constexpr double kMost = kFarthestPixel;
    if (std::isnan(value)) return 0;
    return static_cast<int>(std::lround(std::clamp(value, -kMost, kMost)));
}

VCA_ALGO_CFG_S library_config(const LibrarySettings& settings) {
    VCA_ALGO_CFG_S config{};
    config.devWorkMode = settings.mode;
    config.InstallHeight = static_cast<std::int32_t>(std::lround(settings.height_mm));
    config.TargetHeightMin = settings.target_min_mm;
    config.TargetHeightMax = settings.target_max_mm;
    config.StandAloneTrk = settings.foot_point ? 1 : 0;
    config.DetectModel = static_cast<std::int32_t>(settings.detect);
    std::copy(settings.area.begin(), settings.area.end(), config.cscdMapSize);
    if (settings.mode == VCA_WORK_SLAVE) return config;

    config.GroupEn = settings.group_counting ? 1 : 0;
    config.GroupObjNumMin = settings.group_min;
    config.GroupObjNumMax = settings.group_max;
    config.GenderRecognize = settings.gender ? 1 : 0;
    config.StaffDetection = settings.staff ? 1 : 0;
    config.HtmpEn = 1;
    config.ShowHistoryBox = 1;
    set_each(settings.lines, config.line, set_line);
    for (VCA_CFG_LINE_S& line : config.line)
        if (settings.park_unused_lines && line.LineEn == 0) line = parked_line();
    config.RgnEn = settings.regions.empty() ? 0 : 1;
    set_each(settings.regions, config.rgn, set_region);
    config.ExclTotalEn = settings.exclusions.empty() ? 0 : 1;
    set_each(settings.exclusions, config.excl, set_exclusion);
    return config;
}

}  // namespace host
