// Colouring, scale and title of the heat map pictures.
#include "host/draw/heat_picture.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "host/base/text.h"
#include "host/draw/canvas.h"
#include "vca/track.h"

namespace host {
namespace {

// A person marks the cells within 4 cells of their own: 49 of them, away from the border.
constexpr double kCellsOfPerson = 49.0;

// Start within the colour map, whose dark beginning would not stand out from the floor.
constexpr double kFirstColour = 0.25;

double unit_value(std::int32_t cell, HeatKind kind) {
    const double value = std::max(cell, 0);
    return kind == HeatKind::kDwell ? value / 1000.0 : value;
}

cv::Mat colour_table() {
    cv::Mat steps(1, 256, CV_8UC1);
    for (int i = 0; i < 256; ++i) {
        const double at = kFirstColour + (1.0 - kFirstColour) * i / 255.0;
        steps.at<std::uint8_t>(0, i) = cv::saturate_cast<std::uint8_t>(255.0 * at);
    }
    cv::Mat colours;
    cv::applyColorMap(steps, colours, cv::COLORMAP_INFERNO);
    return colours;
}

cv::Vec3b table_colour(double share) {
    static const cv::Mat kTable = colour_table();
    return kTable.at<cv::Vec3b>(0, cv::saturate_cast<std::uint8_t>(255.0 * share));
}

// Small values fade into the floor.
double opacity(double share) {
    constexpr double kFullFrom = 0.12;
    return std::min(share / kFullFrom, 1.0) * (0.55 + 0.35 * share);
}

cv::Mat greyed(const cv::Mat& floor) {
    if (floor.empty()) return cv::Mat(kHeatFloor.size(), CV_8UC3, cv::Scalar(70, 64, 60));
    cv::Mat grey;
    cv::cvtColor(floor, grey, cv::COLOR_BGR2GRAY);
    grey.convertTo(grey, CV_8UC1, 0.55, 8.0);
    cv::resize(grey, grey, kHeatFloor.size(), 0, 0, cv::INTER_CUBIC);
    cv::Mat colour;
    cv::cvtColor(grey, colour, cv::COLOR_GRAY2BGR);
    return colour;
}

cv::Mat to_units(const std::vector<std::int32_t>& cells, HeatKind kind) {
    cv::Mat values(VCA_HEAT_ROWS, VCA_HEAT_COLS, CV_32FC1);
    std::transform(cells.begin(), cells.end(), values.begin<float>(), [kind](std::int32_t cell) {
        return static_cast<float>(unit_value(cell, kind));
    });
    return values;
}

void blend_heat(cv::Mat image, const cv::Mat& values, const HeatScale& scale) {
    // The rim of a disc of cells would show as a jagged edge.
    cv::Mat smooth;
    cv::GaussianBlur(values, smooth, cv::Size(5, 5), 0.9, 0.9, cv::BORDER_REPLICATE);
    cv::resize(smooth, smooth, image.size(), 0, 0, cv::INTER_LINEAR);
    for (int y = 0; y < image.rows; ++y) {
        const auto* value = smooth.ptr<float>(y);
        auto* pixel = image.ptr<cv::Vec3b>(y);
        for (int x = 0; x < image.cols; ++x) {
            if (value[x] <= 0.0f) continue;
            const double share = scale.share(static_cast<double>(value[x]));
            const double weight = opacity(share);
            const cv::Vec3b colour = table_colour(share);
            for (int c = 0; c < 3; ++c) {
                pixel[x][c] = cv::saturate_cast<std::uint8_t>((1.0 - weight) * pixel[x][c] +
                                                              weight * colour[c]);
            }
        }
    }
}

void draw_scale(cv::Mat image, const HeatScale& scale, HeatKind kind) {
    constexpr int kLeft = 24;
    constexpr int kTop = 76;
    constexpr int kWide = 30;
    image.setTo(kPaper);
    put_text(image, kind == HeatKind::kDwell ? "seconds" : "passages", {kLeft, 30}, 0.6, kInk);
    const int high = image.rows - kTop - 40;
    for (int y = 0; y < high; ++y) {
        const cv::Scalar colour = heat_colour(1.0 - 1.0 * y / (high - 1));
        cv::line(image, {kLeft, kTop + y}, {kLeft + kWide, kTop + y}, colour);
    }
    cv::rectangle(image, cv::Rect(kLeft, kTop, kWide + 1, high), kInk, 1);
    for (const double tick : scale.ticks) {
        const int y = kTop + static_cast<int>(std::lround((1.0 - scale.share(tick)) * (high - 1)));
        cv::line(image, {kLeft + kWide, y}, {kLeft + kWide + 8, y}, kInk, 1);
        put_text(image, tick_text(tick), {kLeft + kWide + 14, y - 6}, 0.55, kInk);
    }
}

void draw_title(cv::Mat image, const cv::Mat& values, const HeatScale& scale, HeatKind kind) {
    image.setTo(kInk);
    const bool dwell = kind == HeatKind::kDwell;
    const int below = put_text(image, dwell ? "Where people stayed" : "Where people walked",
                               {20, 16}, 0.8, kWhite, 2);
    std::string text = dwell ? "nobody stayed" : "nobody walked";
    if (scale.most > 0.0 && dwell) {
        text = "longest on one spot " + tick_text(scale.most) + " seconds, " +
               tick_text(cv::sum(values)[0] / kCellsOfPerson) +
               " in all, as the map counts them: in steps, on every third update";
    } else if (scale.most > 0.0) {
        text = "most on one spot " + tick_text(scale.most) + " passages";
    }
    put_text(image, text, {20, below + 14}, 0.6, cv::Scalar(205, 200, 195));
}

}  // namespace

double HeatScale::share(double value) const {
    return most > 0.0 ? std::sqrt(std::clamp(value / most, 0.0, 1.0)) : 0.0;
}

HeatScale heat_scale(double most, HeatKind kind) {
    constexpr double kLeastGap = 0.05;  // of the scale's length, for two texts
    HeatScale scale{most, {}};
    if (most <= 0.0) {
        scale.ticks = {0.0};
        return scale;
    }
    scale.ticks = {most};
    const double least = kind == HeatKind::kDwell ? 0.1 : 1.0;
    // 1, 2, 5 of every power of ten, from the top, as far as there is room between them and 0.
    for (double power = std::pow(10.0, std::floor(std::log10(most))); power > 0.9 * least;
         power /= 10.0) {
        for (const double digit : {5.0, 2.0, 1.0}) {
            const double tick = digit * power;
            if (tick > most || scale.share(scale.ticks.back()) - scale.share(tick) < kLeastGap)
                continue;
            if (scale.share(tick) >= kLeastGap) scale.ticks.push_back(tick);
        }
    }
    scale.ticks.push_back(0.0);
    std::reverse(scale.ticks.begin(), scale.ticks.end());
    return scale;
}

std::string tick_text(double value) {
    const bool whole = value >= 10.0 || value == std::floor(value);
    return format_text(whole ? "%.0f" : "%.1f", value);
}

cv::Scalar heat_colour(double share) {
    const cv::Vec3b c = table_colour(std::clamp(share, 0.0, 1.0));
    return {static_cast<double>(c[0]), static_cast<double>(c[1]), static_cast<double>(c[2])};
}

cv::Mat draw_heat(const cv::Mat& floor, const std::vector<std::int32_t>& cells, HeatKind kind) {
    if (cells.size() != std::size_t{VCA_HEAT_ROWS} * VCA_HEAT_COLS) {
        throw std::runtime_error("a heat map of " + std::to_string(cells.size()) +
                                 " cells cannot be drawn");
    }
    const cv::Mat values = to_units(cells, kind);
    double most = 0.0;
    cv::minMaxLoc(values, nullptr, &most);
    const HeatScale scale = heat_scale(most, kind);
    cv::Mat picture(kHeatPicture, CV_8UC3);
    cv::Mat view = picture(kHeatFloor);
    greyed(floor).copyTo(view);
    blend_heat(view, values, scale);
    draw_title(picture(cv::Rect(0, 0, picture.cols, kHeatFloor.y)), values, scale, kind);
    draw_scale(picture(cv::Rect(kHeatFloor.width, kHeatFloor.y, picture.cols - kHeatFloor.width,
                                kHeatFloor.height)),
               scale, kind);
    return picture;
}

}  // namespace host
