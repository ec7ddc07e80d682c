// Title, view and panel of the picture, and the text and colours of all three.
#include "host/report/picture.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <string_view>

#include "host/draw/canvas.h"
#include "host/report/picture_parts.h"

namespace host {
namespace {

constexpr int kTitleHeight = 84;
constexpr int kPanelWidth = 440;
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

void write_picture(const RunResult& result, const std::string& path) {
    cv::Mat picture(kTitleHeight + kViewHeight, kViewWidth + kPanelWidth, CV_8UC3);
    draw_title(picture(cv::Rect(0, 0, picture.cols, kTitleHeight)), result);
    draw_view(picture(cv::Rect(0, kTitleHeight, kViewWidth, kViewHeight)), result);
    draw_panel(picture(cv::Rect(kViewWidth, kTitleHeight, kPanelWidth, kViewHeight)), result);
    write_png(picture, path);
}

}  // namespace host
