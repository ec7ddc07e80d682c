// Colours, text, translucent marks, placing of labels, PNG files.
#include "host/draw/canvas.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string_view>

#include "host/base/picture.h"
#include "host/base/text.h"

namespace host {
namespace {

constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

// Plain letters for U+00C0 to U+017F.
constexpr std::string_view kPlainLetters =
    "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTsaaaaaaaceeeeiiiidnooooo/ouuuuyty"
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIiIiJjKkkLlLlLlL"
    "lLlNnNnNnnNnOoOoOoOoRrRrRrSsSsSsSsTtTtTtUuUuUuUuUuUuWwYyYZzZzZzs";
constexpr char32_t kEnDash = 0x2013;  // of kNothing
constexpr char32_t kFirstLetter = 0xC0;
static_assert(kPlainLetters.size() == 0x180 - kFirstLetter);

cv::Rect bounds(const cv::Mat& image) {
    return {0, 0, image.cols, image.rows};
}

// pixel' = (1 - weight) * pixel + weight * colour, for every value of a pixel's channels.
cv::Mat mixing_table(const cv::Scalar& colour, double weight) {
    cv::Mat table(1, 256, CV_8UC3);
    auto* entry = table.ptr<cv::Vec3b>(0);
    for (int value = 0; value < 256; ++value) {
        for (int c = 0; c < 3; ++c) {
            entry[value][c] =
                cv::saturate_cast<std::uint8_t>((1.0 - weight) * value + weight * colour[c]);
        }
    }
    return table;
}

void draw_dashes(cv::Mat& image, const cv::Point& from, const cv::Point& to,
                 const cv::Scalar& colour, int thickness) {
    constexpr double kDash = 6.0;  // pixels
    const cv::Point2d way = to - from;
    const double length = cv::norm(way);
    for (double at = 0.0; at < length; at += 2.0 * kDash) {
        const double end = std::min(at + kDash, length);
        cv::line(image, cv::Point2d(from) + way * (at / length),
                 cv::Point2d(from) + way * (end / length), colour, thickness);
    }
}

}  // namespace

cv::Scalar line_colour(std::size_t index) {
    static const cv::Scalar kColours[] = {
        {40, 40, 220}, {190, 80, 20}, {60, 130, 20}, {150, 30, 140}};
    return kColours[index % std::size(kColours)];
}

// The hue advances by the golden angle.
cv::Scalar track_colour(int id) {
    const double hue = std::fmod(id * 137.508, 360.0) / 60.0;
    const double x = 1.0 - std::abs(std::fmod(hue, 2.0) - 1.0);
    const double rgb[6][3] = {{1, x, 0}, {x, 1, 0}, {0, 1, x}, {0, x, 1}, {x, 0, 1}, {1, 0, x}};
    const double* c = rgb[static_cast<int>(hue) % 6];
    return {30 + 205 * c[2], 30 + 205 * c[1], 30 + 205 * c[0]};
}

std::string to_ascii(const std::string& utf8) {
    std::string ascii;
    for (std::size_t at = 0; at < utf8.size();) {
        const char32_t code = next_character(utf8, at).value_or(0);
        if (code >= 0x20 && code < 0x7F) {
            ascii += static_cast<char>(code);
        } else if (code >= kFirstLetter && code - kFirstLetter < kPlainLetters.size()) {
            ascii += kPlainLetters[code - kFirstLetter];
        } else if (code == kEnDash) {
            ascii += '-';
        } else {
            ascii += '?';
        }
    }
    return ascii;
}

std::string shortened(const std::string& ascii, std::size_t most) {
    return ascii.size() <= most ? ascii : ascii.substr(0, most - 3) + "...";
}

cv::Size text_size(const std::string& ascii, double size, int thickness) {
    int baseline = 0;
    return cv::getTextSize(ascii, kFont, size, thickness, &baseline);
}

int put_text(cv::Mat& image, const std::string& utf8, cv::Point at, double size,
             const cv::Scalar& colour, int thickness) {
    const std::string text = to_ascii(utf8);
    const int height = text_size(text, size, thickness).height;
    cv::putText(image, text, {at.x, at.y + height}, kFont, size, colour, thickness, cv::LINE_AA);
    return at.y + height;
}

void shade(cv::Mat& image, const cv::Rect& area, const cv::Scalar& colour, double weight) {
    const cv::Rect inside = area & bounds(image);
    if (inside.empty()) return;
    cv::Mat part = image(inside);
    cv::LUT(part, mixing_table(colour, weight), part);
}

void shade_polygon(cv::Mat& image, const std::vector<cv::Point>& polygon, const cv::Scalar& colour,
                   double weight) {
    const cv::Rect area = cv::boundingRect(polygon) & bounds(image);
    if (area.empty()) return;
    cv::Mat mask = cv::Mat::zeros(area.size(), CV_8UC1);
    cv::fillPoly(mask, std::vector<std::vector<cv::Point>>{polygon}, cv::Scalar(255), cv::LINE_8, 0,
                 -area.tl());
    cv::Mat part = image(area);
    cv::Mat mixed;
    cv::LUT(part, mixing_table(colour, weight), mixed);
    mixed.copyTo(part, mask);
}

void draw_excluded(cv::Mat& image, const std::vector<cv::Point>& polygon) {
    constexpr int kGap = 14;
    const cv::Scalar kGrey = cv::Scalar::all(205);
    shade_polygon(image, polygon, cv::Scalar::all(40), 0.45);
    cv::Mat hatched = image.clone();
    for (int x = -image.rows; x < image.cols; x += kGap)
        cv::line(hatched, {x, image.rows}, {x + image.rows, 0}, kGrey, 1, cv::LINE_AA);
    cv::Mat mask(image.size(), CV_8UC1, cv::Scalar::all(0));
    cv::fillPoly(mask, std::vector<std::vector<cv::Point>>{polygon}, cv::Scalar::all(255));
    hatched.copyTo(image, mask);
    cv::polylines(image, polygon, true, kGrey, 2, cv::LINE_AA);
}

void draw_dashed(cv::Mat& image, const cv::Rect& box, const cv::Scalar& colour, int thickness) {
    const cv::Point top_right(box.x + box.width, box.y);
    const cv::Point bottom_left(box.x, box.y + box.height);
    draw_dashes(image, box.tl(), top_right, colour, thickness);
    draw_dashes(image, top_right, box.br(), colour, thickness);
    draw_dashes(image, box.br(), bottom_left, colour, thickness);
    draw_dashes(image, bottom_left, box.tl(), colour, thickness);
}

cv::Rect FreePlaces::take_best(const cv::Size& extent, const std::vector<cv::Point>& places) {
    cv::Rect best;
    int least = INT_MAX;
    for (const cv::Point& place : places) {
        const cv::Rect area = moved_inside(place, extent);
        const int covered = covered_pixels(area);
        if (covered >= least) continue;
        least = covered;
        best = area;
    }
    take(best);
    return best;
}

cv::Rect FreePlaces::moved_inside(const cv::Point& corner, const cv::Size& extent) const {
    const int right = picture_.width - extent.width;
    const int bottom = picture_.height - extent.height;
    return {
        cv::Point(std::max(std::min(corner.x, right), 0), std::max(std::min(corner.y, bottom), 0)),
        extent};
}

int FreePlaces::covered_pixels(const cv::Rect& area) const {
    int sum = 0;
    for (const cv::Rect& other : taken_)
        sum += (area & other).area();
    return sum;
}

cv::Mat colour_picture(const std::vector<std::uint8_t>& nv12) {
    if (nv12.size() != std::size_t{kColourWidth} * kColourHeight * 3 / 2) return {};
    cv::Mat colour;
    cv::cvtColor(cv::Mat(kColourHeight * 3 / 2, kColourWidth, CV_8UC1,
                         const_cast<std::uint8_t*>(nv12.data())),
                 colour, cv::COLOR_YUV2BGR_NV12);
    return colour;
}

void write_png(const cv::Mat& picture, const std::string& path) {
    std::vector<unsigned char> bytes;
    if (!cv::imencode(".png", picture, bytes)) {
        throw std::runtime_error("cannot encode \"" + path + "\" as PNG");
    }
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    out.flush();
    if (!out) throw std::runtime_error("cannot write \"" + path + "\"");
}

}  // namespace host
