// Figures as JSON and back.
#include "host/sinks/camera_figures.h"

#include <nlohmann/json.hpp>

#include "host/base/input_error.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kFrames = "frames";
constexpr const char* kMissing = "missing";
constexpr const char* kGaps = "gaps";
constexpr const char* kValid = "depth_valid_ratio";
constexpr const char* kProcessing = "processing";
constexpr const char* kAtMost = "at_most";
constexpr const char* kCount = "count";
constexpr const char* kSum = "sum_s";
constexpr const char* kRegions = "regions";

}  // namespace

void Histogram::add(double value_s) {
    for (std::size_t i = 0; i < kBounds_s.size(); ++i)
        at_most[i] += value_s <= kBounds_s[i] ? 1 : 0;
    ++count;
    sum_s += value_s;
}

std::string to_json(const CameraFigures& figures) {
    Json regions = Json::object();
    for (const auto& [name, people] : figures.regions)
        regions[name] = people;
    return Json{{kFrames, figures.frames},
                {kMissing, figures.missing},
                {kGaps, figures.gaps},
                {kValid, figures.depth_valid_ratio},
                {kProcessing,
                 {{kAtMost, figures.processing.at_most},
                  {kCount, figures.processing.count},
                  {kSum, figures.processing.sum_s}}},
                {kRegions, std::move(regions)}}
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

CameraFigures parse_camera_figures(const std::string& json) {
    try {
        const Json all = Json::parse(json);
        CameraFigures figures;
        all.at(kFrames).get_to(figures.frames);
        all.at(kMissing).get_to(figures.missing);
        all.at(kGaps).get_to(figures.gaps);
        all.at(kValid).get_to(figures.depth_valid_ratio);
        all.at(kProcessing).at(kAtMost).get_to(figures.processing.at_most);
        all.at(kProcessing).at(kCount).get_to(figures.processing.count);
        all.at(kProcessing).at(kSum).get_to(figures.processing.sum_s);
        for (const auto& [name, people] : all.at(kRegions).items())
            figures.regions.emplace_back(name, people.get<int>());
        return figures;
    } catch (const nlohmann::json::exception& error) {
        throw InputError(std::string("a camera's figures cannot be read: ") + error.what());
    }
}

}  // namespace host
