// Title, view and panel of the picture, and the text and colours of all three.
#include "host/app/picture.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <string_view>

#include "host/app/overlay.h"
#include "host/app/picture_parts.h"

namespace host {
namespace {

constexpr int kTitleHeight = 84;
constexpr int kPanelWidth = 440;
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

// Plain letters for U+00C0 to U+017F.
constexpr std::string_view kPlainLetters =
    "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTsaaaaaaaceeeeiiiidnooooo/ouuuuyty"
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIiIiJjKkkLlLlLlL"
    "lLlNnNnNnnNnOoOoOoOoRrRrRrSsSsSsSsTtTtTtUuUuUuUuUuUuWwYyYZzZzZzs";
constexpr char32_t kFirstLetter = 0xC0;
static_assert(kPlainLetters.size() == 0x180 - kFirstLetter);

bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0u) == 0x80u;
}

// The number of the character that starts at `at`, which moves behind it. What is no whole
// character counts as U+FFFD.
char32_t next_character(const std::string& utf8, std::size_t& at) {
    constexpr char32_t kBroken = 0xFFFD;
    const auto first = static_cast<unsigned char>(utf8[at++]);
    if (first < 0x80) return first;
    int missing = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
    if (missing == 0) return kBroken;
    char32_t code = first & (0x3Fu >> missing);
    for (; missing > 0 && at < utf8.size() && continues(utf8[at]); --missing) {
        code = code << 6 | (static_cast<unsigned char>(utf8[at++]) & 0x3Fu);
    }
    return missing == 0 ? code : kBroken;
}

void draw_title(cv::Mat image, const RunResult& result) {
    image.setTo(kInk);
    std::string title = result.source.name;
    if (!result.source.description.empty()) title += ":  " + result.source.description;
    const int below = put_text(image, title, {20, 16}, 0.8, kWhite, 2);
    std::string when = format("%.0f s analysed", result.scene_s);
    when += ", camera at " + format("%.2f m", result.install_height_mm / 1000.0);
    if (result.snapshot.frame >= 0) {
        when += ", shown is frame " + std::to_string(result.snapshot.frame) +
                format(" at %.1f s", result.snapshot.time_s) +
                "; the counts are those of the whole run";
    }
    put_text(image, when, {20, below + 14}, 0.6, cv::Scalar(205, 200, 195));
}

}  // namespace

cv::Scalar line_colour(std::size_t index) {
    static const cv::Scalar kColours[] = {
        {40, 40, 220}, {190, 80, 20}, {60, 130, 20}, {150, 30, 140}};
    return kColours[index % std::size(kColours)];
}

// The hue goes round by the golden angle.
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
        const char32_t code = next_character(utf8, at);
        if (code >= 0x20 && code < 0x7F) {
            ascii += static_cast<char>(code);
        } else if (code >= kFirstLetter && code - kFirstLetter < kPlainLetters.size()) {
            ascii += kPlainLetters[code - kFirstLetter];
        } else {
            ascii += '?';
        }
    }
    return ascii;
}

std::string shortened(const std::string& ascii, std::size_t most) {
    return ascii.size() <= most ? ascii : ascii.substr(0, most - 2) + "..";
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

std::string format(const char* pattern, double value) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

void write_picture(const RunResult& result, const std::string& path) {
    cv::Mat picture(kTitleHeight + kViewHeight, kViewWidth + kPanelWidth, CV_8UC3);
    draw_title(picture(cv::Rect(0, 0, picture.cols, kTitleHeight)), result);
    draw_view(picture(cv::Rect(0, kTitleHeight, kViewWidth, kViewHeight)), result);
    draw_panel(picture(cv::Rect(kViewWidth, kTitleHeight, kPanelWidth, kViewHeight)), result);
    write_png(picture, path);
}

}  // namespace host
