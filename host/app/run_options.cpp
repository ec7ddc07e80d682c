// Parsing and checking of the values that command line and configuration file share.
#include "host/app/run_options.h"

#include <charconv>
#include <cmath>
#include <sstream>

namespace host {
namespace {

constexpr double kLowestCamera_mm = 1500.0;
constexpr double kHighestCamera_mm = 15000.0;

std::optional<double> to_number(const std::string& text) {
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

std::string plain(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

bool same_point(const PicturePoint& a, const PicturePoint& b) {
    return std::lround(a.x) == std::lround(b.x) && std::lround(a.y) == std::lround(b.y);
}

}  // namespace

std::vector<PicturePoint> parse_points(const std::string& text, const std::string& place) {
    std::vector<PicturePoint> points;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const std::size_t comma = word.find(',');
        const auto x = to_number(word.substr(0, comma));
        const auto y =
            comma == std::string::npos ? std::nullopt : to_number(word.substr(comma + 1));
        if (!x || !y) {
            throw InputError(place + ": \"" + word +
                             "\" is not a point; write x,y pairs with blanks between them, "
                             "such as \"100,272 860,272\"");
        }
        points.push_back({*x, *y});
    }
    return points;
}

void check_line_points(const std::vector<PicturePoint>& points, const std::string& place) {
    if (points.size() < 2 || points.size() > kMaxLinePoints) {
        throw InputError(place + " has " + std::to_string(points.size()) +
                         (points.size() == 1 ? " point" : " points") +
                         "; a counting line needs 2 to 5");
    }
    for (std::size_t i = 1; i < points.size(); ++i) {
        if (same_point(points[i - 1], points[i])) {
            throw InputError(place + " has the point " + plain(points[i].x) + "," +
                             plain(points[i].y) + " twice in a row; neighbours must differ");
        }
    }
}

void check_area_points(const std::vector<PicturePoint>& points, const std::string& place) {
    if (points.size() < 3 || points.size() > kMaxAreaPoints) {
        throw InputError(place + " has " + std::to_string(points.size()) +
                         (points.size() == 1 ? " point" : " points") +
                         "; a U-turn area needs 3 to 10");
    }
}

double checked_height_mm(double height_mm, const std::string& place) {
    if (!(height_mm >= kLowestCamera_mm && height_mm <= kHighestCamera_mm)) {
        throw InputError(place + " is " + plain(height_mm) +
                         "; the camera's height over the floor is given in millimetres, 1500 to "
                         "15000");
    }
    return height_mm;
}

DetectMode parse_detect_mode(const std::string& name, const std::string& place) {
    for (const DetectMode mode : {DetectMode::kBoth, DetectMode::kColour, DetectMode::kDepth}) {
        if (name == detect_mode_name(mode)) return mode;
    }
    throw InputError(place + " is \"" + name + "\"; known are both, colour and depth");
}

const char* detect_mode_name(DetectMode mode) {
    switch (mode) {
        case DetectMode::kBoth:
            return "both";
        case DetectMode::kColour:
            return "colour";
        case DetectMode::kDepth:
            break;
    }
    return "depth";
}

void check_options(const RunOptions& options) {
    if (options.lines.size() > kMaxLines) {
        throw InputError("there are " + std::to_string(options.lines.size()) +
                         " counting lines; at most 4 can be counted");
    }
    if (options.target_min_mm >= options.target_max_mm) {
        throw InputError("the range of counted heights is " +
                         std::to_string(options.target_min_mm) + " to " +
                         std::to_string(options.target_max_mm) +
                         " mm; its first number must be the smaller one");
    }
    if (options.group_min < 1 || options.group_max < options.group_min) {
        throw InputError("groups of " + std::to_string(options.group_min) + " to " +
                         std::to_string(options.group_max) +
                         " members cannot be; write min and max with 1 <= min <= max");
    }
    if (options.source.source == "depth-folder" && options.detect != DetectMode::kDepth) {
        throw InputError("a depth recording has no colour; --detect must be depth for it");
    }
}

}  // namespace host
