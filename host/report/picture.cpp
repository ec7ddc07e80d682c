// Title, view and panel of the picture, and the text and colours of all three.
#include "host/report/picture.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <string_view>

#include "host/base/text.h"
#include "host/draw/canvas.h"
#include "host/report/picture_parts.h"
#include "vca/heat_map.h"

namespace host {
namespace {

constexpr int kTitleHeight = 84;
constexpr int kPanelWidth = 440;
void draw_title(cv::Mat image, const RunFacts& facts, const Evidence& evidence) {
    image.setTo(kInk);
    std::string title = facts.source.name;
    if (!facts.source.description.empty()) title += ":  " + facts.source.description;
    const int below = put_text(image, title, {20, 16}, 0.8, kWhite, 2);
    std::string when = format_text("%.0f s analysed", facts.scene_s);
    when += ", camera at " + format_text("%.2f m", facts.install_height_mm / 1000.0);
    if (evidence.frame >= 0) {
        when += ", showing frame " + std::to_string(evidence.frame) +
                format_text(" at %.1f s", evidence.time_s) +
                "; the counts are those of the whole run";
    }
    put_text(image, when, {20, below + 14}, 0.6, cv::Scalar(205, 200, 195));
}

}  // namespace

void write_picture(const RunFacts& facts, const Scores& scores, const Evidence& evidence,
                   const std::string& path) {
    cv::Mat picture(kTitleHeight + kViewHeight, kViewWidth + kPanelWidth, CV_8UC3);
    draw_title(picture(cv::Rect(0, 0, picture.cols, kTitleHeight)), facts, evidence);
    draw_view(picture(cv::Rect(0, kTitleHeight, kViewWidth, kViewHeight)), facts, scores, evidence);
    draw_panel(picture(cv::Rect(kViewWidth, kTitleHeight, kPanelWidth, kViewHeight)), facts,
               scores);
    write_png(picture, path);
}

void write_heat_picture(const Evidence& evidence, HeatKind kind, const std::string& path) {
    const std::vector<std::int32_t> nothing(std::size_t{VCA_HEAT_ROWS} * VCA_HEAT_COLS, 0);
    const bool dwell = kind == HeatKind::kDwell;
    const std::vector<std::int32_t>& cells = !evidence.heat ? nothing
                                             : dwell        ? evidence.heat->dwell_ms
                                                            : evidence.heat->motion;
    write_png(draw_heat(colour_picture(evidence.colour_nv12), cells, kind), path);
}

}  // namespace host
