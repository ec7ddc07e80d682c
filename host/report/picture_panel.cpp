// The panel at the right: what the marks mean, and the counts.
#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "host/base/text.h"
#include "host/draw/canvas.h"
#include "host/report/picture_parts.h"

namespace host {
namespace {

const cv::Scalar kAreaColour(60, 170, 250);

class Panel {
  public:
    Panel(cv::Mat image, const RunFacts& facts, const Scores& scores)
        : image_(image), facts_(facts), scores_(scores) {}

    void draw() {
        image_.setTo(kPaper);
        y_ = 22;
        heading("What is shown");
        draw_legend();
        y_ += 14;
        heading("People counted");
        draw_counts();
        y_ += 14;
        draw_facts();
    }

  private:
    static constexpr int kLeft = 20;
    static constexpr int kTextLeft = 92;
    static constexpr std::size_t kMostLines = 4;  // as many as there is room for

    void heading(const std::string& text) {
        y_ = put_text(image_, text, {kLeft, y_}, 0.7, kInk, 2) + 28;
    }

    void row(const std::string& text) {
        put_text(image_, text, {kTextLeft, y_ - 6}, 0.5, kInk);
        y_ += 32;
    }

    void draw_legend() {
        if (!facts_.lines.empty()) {
            cv::line(image_, {kLeft, y_}, {kLeft + 54, y_}, line_colour(0), 4, cv::LINE_AA);
            row(facts_.lines.size() == 1 ? "counting line" : "counting line, each in its colour");
            cv::arrowedLine(image_, {kLeft, y_}, {kLeft + 54, y_}, line_colour(0), 4, cv::LINE_AA,
                            0, 0.28);
            row("direction 1 or 2 over the line");
        }
        const bool has_area =
            std::any_of(facts_.lines.begin(), facts_.lines.end(),
                        [](const CountingLine& line) { return !line.uturn_area.empty(); });
        if (has_area) {
            cv::rectangle(image_, cv::Rect(kLeft, y_ - 10, 54, 20), kAreaColour, 2, cv::LINE_AA);
            row("turning back in here is not counted");
        }
        if (!facts_.exclusions.empty()) {
            draw_excluded(
                image_,
                {{kLeft, y_ - 10}, {kLeft + 54, y_ - 10}, {kLeft + 54, y_ + 10}, {kLeft, y_ + 10}});
            row("nobody in here is counted");
        }
        const cv::Scalar colour = track_colour(3);
        cv::rectangle(image_, cv::Rect(kLeft + 14, y_ - 11, 26, 24), colour, 2, cv::LINE_AA);
        row("a person: track number and,");
        row("once counted, height");
        const char* kPlace = facts_.options.source.foot_point
                                 ? "where the person stands: counted point"
                                 : "counted point";
        cv::circle(image_, {kLeft + 27, y_}, 5, colour, cv::FILLED, cv::LINE_AA);
        row(kPlace);
        for (int i = 0; i < 54; ++i) {
            const double fade = 0.2 + 0.8 * i / 54.0;
            const cv::Scalar mixed = colour * fade + kPaper * (1.0 - fade);
            cv::line(image_, {kLeft + i, y_}, {kLeft + i, y_}, mixed, 5);
        }
        row("way of the last " + format_text("%.0f", kTrail_s) + " seconds");
    }

    void draw_counts() {
        const bool truth = facts_.source.has_truth;
        const int columns[3] = {210, 290, 360};
        const auto cell = [this](const std::string& text, int right) {
            put_text(image_, text, {right - text_size(text, 0.5, 1).width, y_}, 0.5, kInk);
        };
        cell("counted", columns[1]);
        if (truth) cell("true", columns[2]);
        y_ += 24;
        const std::size_t lines = std::min(scores_.counts.size(), kMostLines);
        for (std::size_t i = 0; i < lines; ++i) {
            for (std::size_t d = 0; d < 2; ++d) {
                const DirectionCount& count = scores_.counts[i][d];
                if (d == 0) {
                    put_text(image_, shortened(to_ascii(facts_.lines[i].name), 11), {kLeft, y_},
                             0.5, line_colour(i));
                }
                put_text(image_, "direction " + std::to_string(d + 1), {kLeft + 105, y_}, 0.5,
                         line_colour(i));
                cell(std::to_string(count.counted), columns[1]);
                if (truth) cell(std::to_string(count.truth), columns[2]);
                y_ += 26;
            }
        }
        if (scores_.counts.empty()) {
            put_text(image_, "no counting line", {kLeft, y_}, 0.5, kInk);
            y_ += 26;
        }
    }

    void fact(const std::string& text) {
        put_text(image_, text, {kLeft, y_}, 0.5, kInk);
        y_ += 26;
    }

    void draw_facts() {
        heading("Measured");
        fact(std::to_string(scores_.tracks) + (scores_.tracks == 1 ? " track" : " tracks") +
             (facts_.source.has_truth
                  ? ", " + std::to_string(scores_.tracking.switches) + " identity switches"
                  : ""));
        if (!scores_.height_errors_mm.empty()) {
            fact("heights off by " +
                 format_text("%.0f mm (median)", scores_.height_error_sizes_mm.quantile(0.5)));
        }
        if (facts_.source.has_truth) {
            fact("people found " + percent_text(scores_.detection.recall(), 1) + ", boxes right " +
                 percent_text(scores_.detection.precision(), 1));
        }
    }

    cv::Mat image_;
    const RunFacts& facts_;
    const Scores& scores_;
    int y_ = 0;
};

}  // namespace

void draw_panel(cv::Mat image, const RunFacts& facts, const Scores& scores) {
    Panel(image, facts, scores).draw();
}

}  // namespace host
