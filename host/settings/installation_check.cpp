// Checks and words for an installation file that stands by itself.
#include "host/settings/installation_check.h"

#include <cmath>
#include <functional>

#include "host/base/text.h"
#include "host/frames/depth_camera.h"
#include "host/inference/attribute_model.h"
#include "host/settings/place_warnings.h"

namespace host {
namespace {

// Calls fn with the points and the place of every line, area and polygon.
void for_each_shape(
    const RunOptions& options,
    const std::function<void(const std::vector<PicturePoint>&, const std::string&)>& fn) {
    for (const PlacedLine& line : options.lines) {
        fn(line.value.points, line.place);
        fn(line.value.uturn_area, line.area_place);
    }
    for (const Placed<CountingRegion>& region : options.regions)
        fn(region.value.points, region.place);
    for (const Placed<std::vector<PicturePoint>>& area : options.exclusions)
        fn(area.value, area.place);
}

template <typename Thing, typename PlacedThing>
std::vector<Thing> values_of(const std::vector<PlacedThing>& placed) {
    std::vector<Thing> values;
    for (const PlacedThing& thing : placed)
        values.push_back(thing.value);
    return values;
}

bool fits_picture(const PicturePoint& p) {
    return p.x < kColourWidth && p.y < kColourHeight;
}

double length_px(const std::vector<PicturePoint>& points) {
    double length = 0.0;
    for (std::size_t i = 1; i < points.size(); ++i)
        length += std::hypot(points[i].x - points[i - 1].x, points[i].y - points[i - 1].y);
    return length;
}

std::string line_text(const CountingLine& line) {
    std::string text = "  line \"" + line.name + "\": " + std::to_string(line.points.size()) +
                       " points, " + format_text("%.0f", length_px(line.points)) + " pixels long";
    if (line.uturn_filter) {
        text += ", does not count people who turn back in ";
        text += line.uturn_area.empty()
                    ? "the picture"
                    : "an area of " + std::to_string(line.uturn_area.size()) + " points";
    }
    return text + (line.flip ? ", directions swapped\n" : "\n");
}

std::string polygon_text(const std::string& what, const std::vector<PicturePoint>& points) {
    return "  " + what + ": " + std::to_string(points.size()) + " points around " +
           format_text("%.0f", area_px2(points)) + " square pixels\n";
}

std::string height_text(const RunOptions& options) {
    if (options.measure_height) return "measured at the start of a run";
    if (!options.source.height_mm) return "as the source says";
    return plain_number(options.source.height_mm->value) + " mm";
}

std::string tilt_sentence(const TiltSetting& tilt) {
    if (tilt.kind == TiltSetting::Kind::kAuto) return "found on the floor at the start of a run";
    if (tilt.kind == TiltSetting::Kind::kNone) return "none, it looks straight down";
    return "roll " + plain_number(tilt.given.roll_deg) + ", pitch " +
           plain_number(tilt.given.pitch_deg) + " degrees";
}

std::string group_text(const RunOptions& options) {
    const std::string size =
        std::to_string(options.group_min) + " to " + std::to_string(options.group_max) + " people";
    if (!options.group_counting) return "as the source suggests, of " + size;
    return *options.group_counting ? "counted, of " + size : "not counted";
}

}  // namespace

void check_installation(const RunOptions& options) {
    check_options(options);
    for_each_shape(options, [](const std::vector<PicturePoint>& points, const std::string& place) {
        check_inside(points, kMostRecordingPixels, kMostRecordingPixels, place);
    });
}

std::vector<std::string> installation_warnings(const RunOptions& options) {
    std::vector<std::string> warnings;
    for_each_shape(options, [&](const std::vector<PicturePoint>& points, const std::string& place) {
        for (const PicturePoint& p : points) {
            if (fits_picture(p)) continue;
            warnings.push_back(place + " has the point " + point_text(p) +
                               ", which only a recording larger than 960 x 544 can have");
            return;
        }
    });
    const std::vector<CountingLine> lines = values_of<CountingLine>(options.lines);
    const std::vector<CountingRegion> regions = values_of<CountingRegion>(options.regions);
    const auto exclusions = values_of<std::vector<PicturePoint>>(options.exclusions);
    for (const PlaceWarning& warning : place_warnings({lines, regions, exclusions}))
        warnings.push_back(warning.text);
    const bool needs_colour = options.detect.value != DetectMode::kDepth ||
                              options.gender != kNoModel || options.staff != kNoModel;
    if (needs_colour) {
        warnings.emplace_back(
            "detection, gender or staff need colour, which depth recordings lack");
    }
    return warnings;
}

std::string describe_installation(const RunOptions& options) {
    std::string text;
    for (const PlacedLine& line : options.lines)
        text += line_text(line.value);
    if (options.lines.empty()) text += "  no line: the source's own are counted\n";
    for (const Placed<CountingRegion>& region : options.regions)
        text += polygon_text("region \"" + region.value.name + "\"", region.value.points);
    for (const Placed<std::vector<PicturePoint>>& area : options.exclusions)
        text += polygon_text("exclusion area", area.value);
    text += "  camera height: " + height_text(options) +
            "\n  camera tilt: " + tilt_sentence(options.tilt) + "\n  people: of " +
            std::to_string(options.target_min_mm) + " to " + std::to_string(options.target_max_mm) +
            " mm, counted by " +
            (options.source.foot_point ? "the point on the floor" : "head and shoulders") +
            "\n  groups: " + group_text(options) + "\n  detection on " +
            detect_mode_name(options.detect.value) + ", sensor " + sensor_name(options.sensor) +
            ", late counts " + late_counts_name(options.late_counts) + ", gender " +
            options.gender + ", staff " + options.staff + "\n";
    for (const std::string& warning : installation_warnings(options))
        text += "  warning: " + warning + "\n";
    return text;
}

}  // namespace host
