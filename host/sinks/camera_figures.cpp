// Figures as JSON and back.
#include "host/sinks/camera_figures.h"

#include <nlohmann/json.hpp>

#include "host/base/input_error.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kFrames = "frames";
constexpr const char* kMissing = "missing";
constexpr const char* kLate = "late";
constexpr const char* kGaps = "gaps";
constexpr const char* kValid = "depth_valid_ratio";
constexpr const char* kProcessing = "processing";
constexpr const char* kAtMost = "at_most";
constexpr const char* kCount = "count";
constexpr const char* kSum = "sum_s";
constexpr const char* kLines = "lines";
constexpr const char* kRegions = "regions";
constexpr const char* kName = "name";
constexpr const char* kSuppressed = "suppressed";
constexpr const char* kDirections = "directions";
constexpr const char* kPeople = "people";
constexpr const char* kLongest = "longest_stay_ms";
constexpr const char* kStays = "stays";

Json histogram_json(const Histogram& histogram) {
    return {{kAtMost, histogram.at_most}, {kCount, histogram.count}, {kSum, histogram.sum_s}};
}

// Another program's version may have other bounds.
void read_histogram(const Json& json, Histogram& histogram) {
    auto at_most = json.at(kAtMost).get<std::vector<std::int64_t>>();
    if (at_most.size() != histogram.at_most.size())
        throw InputError("a camera's figures have other bounds than those of this version");
    histogram.at_most = std::move(at_most);
    json.at(kCount).get_to(histogram.count);
    json.at(kSum).get_to(histogram.sum_s);
}

LineFigures line_figures(const Json& json) {
    LineFigures line;
    json.at(kName).get_to(line.name);
    const Json& counts = json.at(kSuppressed);
    for (std::size_t i = 0; i < line.suppressed.size(); ++i)
        counts.at(i).get_to(line.suppressed[i]);
    json.at(kDirections).get_to(line.directions);
    return line;
}

RegionFigures region_figures(const Json& json) {
    RegionFigures region{json.at(kName), json.at(kPeople), json.at(kLongest)};
    read_histogram(json.at(kStays), region.stays);
    return region;
}

}  // namespace

void Histogram::add(double value_s) {
    for (std::size_t i = 0; i < bounds_s.size(); ++i)
        at_most[i] += value_s <= bounds_s[i] ? 1 : 0;
    ++count;
    sum_s += value_s;
}

std::string to_json(const CameraFigures& figures) {
    Json lines = Json::array();
    for (const LineFigures& line : figures.lines)
        lines.push_back(
            {{kName, line.name}, {kSuppressed, line.suppressed}, {kDirections, line.directions}});
    Json regions = Json::array();
    for (const RegionFigures& region : figures.regions) {
        regions.push_back({{kName, region.name},
                           {kPeople, region.people},
                           {kLongest, region.longest_stay_ms},
                           {kStays, histogram_json(region.stays)}});
    }
    return Json{{kFrames, figures.frames},
                {kMissing, figures.missing},
                {kLate, figures.late},
                {kGaps, figures.gaps},
                {kValid, figures.depth_valid_ratio},
                {kProcessing, histogram_json(figures.processing)},
                {kLines, std::move(lines)},
                {kRegions, std::move(regions)}}
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

CameraFigures parse_camera_figures(const std::string& json) {
    try {
        const Json all = Json::parse(json);
        CameraFigures figures;
        all.at(kFrames).get_to(figures.frames);
        all.at(kMissing).get_to(figures.missing);
        all.at(kLate).get_to(figures.late);
        all.at(kGaps).get_to(figures.gaps);
        all.at(kValid).get_to(figures.depth_valid_ratio);
        read_histogram(all.at(kProcessing), figures.processing);
        for (const Json& line : all.at(kLines))
            figures.lines.push_back(line_figures(line));
        for (const Json& region : all.at(kRegions))
            figures.regions.push_back(region_figures(region));
        return figures;
    } catch (const nlohmann::json::exception& error) {
        throw InputError(std::string("a camera's figures cannot be read: ") + error.what());
    }
}

}  // namespace host
