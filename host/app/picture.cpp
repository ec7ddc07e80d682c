// Drawing of the picture: the camera's view with everything in it on the left, what the marks mean
// and the counts on the right, a title above.
#include "host/app/picture.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "host/inference/detector.h"

namespace host {
namespace {

constexpr double kZoom = 1.5;  // of the 960 x 544 picture, so that text and boxes find room
constexpr int kViewWidth = static_cast<int>(kColourWidth * kZoom);
constexpr int kViewHeight = static_cast<int>(kColourHeight * kZoom);
constexpr int kTitleHeight = 84;
constexpr int kPanelWidth = 440;
constexpr double kTrail_s = 6.0;  // length of the trails
constexpr int kTrailSteps = 10;   // steps of fading
constexpr double kTypicalPerson_mm = 1700.0;
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

const cv::Scalar kWhite(255, 255, 255);
const cv::Scalar kInk(40, 36, 32);
const cv::Scalar kPaper(248, 247, 245);
const cv::Scalar kLineColour(40, 40, 220);
const cv::Scalar kAreaColour(60, 170, 250);
const cv::Scalar kDirectionColour[2] = {cv::Scalar(60, 150, 20), cv::Scalar(190, 80, 20)};

// Colours far apart for neighbouring numbers: the hue goes round by the golden angle.
cv::Scalar track_colour(int id) {
    const double hue = std::fmod(id * 137.508, 360.0) / 60.0;
    const double x = 1.0 - std::abs(std::fmod(hue, 2.0) - 1.0);
    const double rgb[6][3] = {{1, x, 0}, {x, 1, 0}, {0, 1, x}, {0, x, 1}, {x, 0, 1}, {1, 0, x}};
    const double* c = rgb[static_cast<int>(hue) % 6];
    return {30 + 205 * c[2], 30 + 205 * c[1], 30 + 205 * c[0]};
}

cv::Point2d to_view(double x, double y) {
    return {(x + 0.5) * kZoom - 0.5, (y + 0.5) * kZoom - 0.5};
}

cv::Point2d to_view(const PicturePoint& p) {
    return to_view(p.x, p.y);
}

cv::Size text_size(const std::string& text, double size, int thickness) {
    int baseline = 0;
    return cv::getTextSize(text, kFont, size, thickness, &baseline);
}

// Text whose upper left corner is at `at`; returns the row below it.
int put_text(cv::Mat& image, const std::string& text, cv::Point at, double size,
             const cv::Scalar& colour, int thickness = 1) {
    const int height = text_size(text, size, thickness).height;
    cv::putText(image, text, {at.x, at.y + height}, kFont, size, colour, thickness, cv::LINE_AA);
    return at.y + height;
}

void blend(cv::Mat& image, const cv::Mat& drawn, double weight) {
    cv::addWeighted(drawn, weight, image, 1.0 - weight, 0.0, image);
}

std::string format(const char* pattern, double value) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

// Draws into the camera's view and keeps labels from covering each other.
class View {
  public:
    View(cv::Mat image, const RunResult& result) : image_(image), result_(result) {
        for (const Crossing& c : result.crossings)
            heights_mm_[c.track] = c.height_mm;
        for (const FrameRecord& frame : result.frames) {
            if (frame.number == result.snapshot.frame) people_ = frame.tracks;
        }
    }

    void draw() {
        draw_background();
        for (const CountingLine& line : result_.lines)
            draw_area(line);
        draw_trails();
        for (const CountingLine& line : result_.lines)
            draw_line(line);
        draw_people();
        for (std::size_t i = 0; i < result_.lines.size(); ++i)
            draw_directions(i);
        for (const TrackedBox& track : people_)
            label_person(track);
    }

  private:
    void draw_background() {
        image_.setTo(cv::Scalar::all(110));
        const std::vector<std::uint8_t>& pixels = result_.snapshot.colour_nv12;
        if (pixels.empty()) {
            put_text(image_, "no frame was analysed", {kViewWidth / 2 - 150, kViewHeight / 2}, 0.8,
                     kWhite);
            return;
        }
        const cv::Mat nv12(kColourHeight * 3 / 2, kColourWidth, CV_8UC1,
                           const_cast<std::uint8_t*>(pixels.data()));
        cv::Mat colour;
        cv::cvtColor(nv12, colour, cv::COLOR_YUV2BGR_NV12);
        cv::resize(colour, image_, image_.size(), 0, 0, cv::INTER_CUBIC);
    }

    static std::vector<cv::Point> polygon(const std::vector<PicturePoint>& points) {
        std::vector<cv::Point> list;
        for (const PicturePoint& p : points)
            list.emplace_back(to_view(p));
        return list;
    }

    void draw_area(const CountingLine& line) {
        if (line.uturn_area.empty()) return;
        const std::vector<std::vector<cv::Point>> area{polygon(line.uturn_area)};
        cv::Mat filled = image_.clone();
        cv::fillPoly(filled, area, kAreaColour);
        blend(image_, filled, 0.18);
        cv::polylines(image_, area, true, kAreaColour, 2, cv::LINE_AA);
    }

    void draw_line(const CountingLine& line) {
        const std::vector<std::vector<cv::Point>> points{polygon(line.points)};
        cv::polylines(image_, points, false, kWhite, 7, cv::LINE_AA);
        cv::polylines(image_, points, false, kLineColour, 4, cv::LINE_AA);
        for (const cv::Point& p : points.front()) {
            cv::circle(image_, p, 6, kLineColour, cv::FILLED, cv::LINE_AA);
        }
    }

    // Where the person stands who is seen in this box: heads appear farther from the middle of the
    // picture than feet, by the share of the camera's height that the person reaches up to.
    cv::Point2d place_of(const TrackedBox& track) const {
        const double x = track.box.x + track.box.w / 2;
        const double y = track.box.y + track.box.h / 2;
        if (!result_.options.source.foot_point || result_.install_height_mm <= 0.0) {
            return to_view(x, y);
        }
        const auto known = heights_mm_.find(track.id);
        const double height_mm = known == heights_mm_.end() ? kTypicalPerson_mm : known->second;
        const double share = std::max(1.0 - height_mm / result_.install_height_mm, 0.0);
        return to_view(kColourWidth / 2 + share * (x - kColourWidth / 2),
                       kColourHeight / 2 + share * (y - kColourHeight / 2));
    }

    struct TrailPiece {
        cv::Point2d from;
        cv::Point2d to;
        double age_s = 0.0;
        int track = 0;
    };

    // Ways of the last seconds before the shown frame.
    std::vector<TrailPiece> trail_pieces() const {
        std::vector<TrailPiece> pieces;
        std::map<int, cv::Point2d> last;
        for (const FrameRecord& frame : result_.frames) {
            const double age_s = result_.snapshot.time_s - frame.time_s;
            if (frame.blank || age_s < 0.0 || age_s > kTrail_s) continue;
            for (const TrackedBox& track : frame.tracks) {
                const cv::Point2d at = place_of(track);
                const auto before = last.find(track.id);
                if (before != last.end()) pieces.push_back({before->second, at, age_s, track.id});
                last[track.id] = at;
            }
        }
        return pieces;
    }

    // The oldest pieces first and faintest.
    void draw_trails() {
        const std::vector<TrailPiece> pieces = trail_pieces();
        for (int step = kTrailSteps; step >= 1; --step) {
            cv::Mat drawn = image_.clone();
            for (const TrailPiece& piece : pieces) {
                const int piece_step = 1 + static_cast<int>(piece.age_s / kTrail_s * kTrailSteps);
                if (std::min(piece_step, kTrailSteps) != step) continue;
                cv::line(drawn, piece.from, piece.to, track_colour(piece.track), 4, cv::LINE_AA);
            }
            blend(image_, drawn, 1.0 - 0.8 * step / kTrailSteps);
        }
    }

    // A box around head and shoulders, the point on the floor below, and a thin line between them.
    void draw_people() {
        for (const TrackedBox& track : people_) {
            const cv::Scalar colour = track_colour(track.id);
            const cv::Rect box(to_view(track.box.x, track.box.y),
                               to_view(track.box.x + track.box.w, track.box.y + track.box.h));
            const cv::Point2d place = place_of(track);
            const cv::Point2d middle(box.x + 0.5 * box.width, box.y + 0.5 * box.height);
            cv::line(image_, middle, place, colour, 1, cv::LINE_AA);
            cv::rectangle(image_, box, kWhite, 4, cv::LINE_AA);
            cv::rectangle(image_, box, colour, 2, cv::LINE_AA);
            cv::circle(image_, place, 7, kWhite, cv::FILLED, cv::LINE_AA);
            cv::circle(image_, place, 5, colour, cv::FILLED, cv::LINE_AA);
            taken_.push_back(box);
            taken_.emplace_back(cv::Point(place) - cv::Point(7, 7), cv::Size(14, 14));
        }
    }

    void label_person(const TrackedBox& track) {
        std::string text = std::to_string(track.id);
        const auto height = heights_mm_.find(track.id);
        if (height != heights_mm_.end()) {
            text += format("  %.2f m", height->second / 1000.0);
        }
        const cv::Point2d corner = to_view(track.box.x, track.box.y);
        const double bottom = to_view(0, track.box.y + track.box.h).y;
        put_label(text, 0.5, kInk, kWhite,
                  {{corner.x, corner.y - 23.0},
                   {corner.x, bottom + 2.0},
                   {corner.x - 50.0, corner.y - 23.0},
                   {corner.x + 30.0, bottom + 2.0}});
    }

    // A label at the first of the places (upper left corners) that is free and inside the view; at
    // the first one moved inside when none is.
    void put_label(const std::string& text, double size, const cv::Scalar& ink,
                   const cv::Scalar& paper, const std::vector<cv::Point2d>& places) {
        const cv::Size extent = text_size(text, size, 1) + cv::Size(12, 10);
        cv::Rect chosen;
        for (const cv::Point2d& place : places) {
            const cv::Rect rect(inside(place, extent), extent);
            if (chosen.empty()) chosen = rect;
            const bool moved = std::abs(rect.x - place.x) > 1.0 || std::abs(rect.y - place.y) > 1.0;
            if (moved || !is_free(rect)) continue;
            chosen = rect;
            break;
        }
        taken_.push_back(chosen);
        cv::Mat drawn = image_.clone();
        cv::rectangle(drawn, chosen, paper, cv::FILLED);
        blend(image_, drawn, 0.85);
        put_text(image_, text, chosen.tl() + cv::Point(6, 5), size, ink);
    }

    static cv::Point inside(const cv::Point2d& place, const cv::Size& extent) {
        return {std::clamp(static_cast<int>(place.x), 2, kViewWidth - extent.width - 2),
                std::clamp(static_cast<int>(place.y), 2, kViewHeight - extent.height - 2)};
    }

    bool is_free(const cv::Rect& rect) const {
        return std::none_of(taken_.begin(), taken_.end(),
                            [&rect](const cv::Rect& other) { return (rect & other).area() > 0; });
    }

    // The longest piece of a line carries the arrows.
    static std::pair<cv::Point2d, cv::Point2d> longest_piece(const CountingLine& line) {
        std::pair<cv::Point2d, cv::Point2d> best{to_view(line.points[0]), to_view(line.points[1])};
        for (std::size_t i = 2; i < line.points.size(); ++i) {
            const cv::Point2d a = to_view(line.points[i - 1]);
            const cv::Point2d b = to_view(line.points[i]);
            if (cv::norm(b - a) > cv::norm(best.second - best.first)) best = {a, b};
        }
        return best;
    }

    void draw_directions(std::size_t index) {
        const CountingLine& line = result_.lines[index];
        const auto [start, end] = longest_piece(line);
        const cv::Point2d along = end - start;
        const double length = std::max(cv::norm(along), 1.0);
        // Unit vector to the left of a walker from start to end, y pointing down.
        const cv::Point2d left(along.y / length, -along.x / length);
        for (std::size_t d = 0; d < 2; ++d) {
            const bool to_left = (d == 0) != line.flip;
            draw_arrow(start, along, to_left ? left : -left, index, d);
        }
    }

    std::string direction_text(std::size_t index, std::size_t direction) const {
        const DirectionCount& count = result_.counts[index][direction];
        std::string text =
            "direction " + std::to_string(direction + 1) + ": " + std::to_string(count.counted);
        if (result_.source.has_truth) text += " (true " + std::to_string(count.truth) + ")";
        return result_.lines.size() > 1 ? result_.lines[index].name + ", " + text : text;
    }

    // An arrow across the line with its label at the tip, at the place along the line where both
    // hide nothing: direction 1 is looked for from the line's start, direction 2 from its end.
    void draw_arrow(const cv::Point2d& start, const cv::Point2d& along, const cv::Point2d& across,
                    std::size_t index, std::size_t direction) {
        const std::string text = direction_text(index, direction);
        const cv::Size extent = text_size(text, kDirectionText, 1) + cv::Size(12, 10);
        const cv::Point2d base = free_base(direction == 0 ? start : start + along,
                                           direction == 0 ? along : -along, across, extent);
        taken_.push_back(arrow_area(base, across));
        const cv::Point2d tail = base - across * kArrowTail;
        const cv::Point2d tip = base + across * kArrowLength;
        cv::arrowedLine(image_, tail, tip, kWhite, 10, cv::LINE_AA, 0, 0.28);
        cv::arrowedLine(image_, tail, tip, kDirectionColour[direction], 5, cv::LINE_AA, 0, 0.28);
        put_label(text, kDirectionText, kWhite, kDirectionColour[direction],
                  {cv::Point2d(label_corner(base, across, extent))});
    }

    // The place along the line where arrow and label cover least, the first of equal ones.
    cv::Point2d free_base(const cv::Point2d& from, const cv::Point2d& along,
                          const cv::Point2d& across, const cv::Size& extent) const {
        constexpr int kPlaces = 24;
        cv::Point2d best;
        int least = INT_MAX;
        for (int i = 0; i < kPlaces; ++i) {
            const cv::Point2d base = from + along * (0.08 + 0.84 * i / (kPlaces - 1));
            const cv::Rect label(label_corner(base, across, extent), extent);
            const cv::Rect view(0, 0, kViewWidth, kViewHeight);
            const int covered = covered_area(arrow_area(base, across)) + covered_area(label) +
                                label.area() - (label & view).area();
            if (covered < least) {
                least = covered;
                best = base;
            }
        }
        return best;
    }

    int covered_area(const cv::Rect& rect) const {
        int sum = 0;
        for (const cv::Rect& other : taken_)
            sum += (rect & other).area();
        return sum;
    }

    static cv::Rect arrow_area(const cv::Point2d& base, const cv::Point2d& across) {
        const cv::Point2d tail = base - across * kArrowTail;
        const cv::Point2d tip = base + across * kArrowLength;
        const cv::Rect thin{cv::Point(tail), cv::Point(tip)};
        return {thin.x - 18, thin.y - 18, thin.width + 36, thin.height + 36};
    }

    // Upper left corner of a label just beyond the tip.
    static cv::Point label_corner(const cv::Point2d& base, const cv::Point2d& across,
                                  const cv::Size& extent) {
        const double reach =
            0.5 * (std::abs(across.x) * extent.width + std::abs(across.y) * extent.height);
        const cv::Point2d middle = base + across * (kArrowLength + 20.0 + reach);
        return {static_cast<int>(middle.x - 0.5 * extent.width),
                static_cast<int>(middle.y - 0.5 * extent.height)};
    }

    static constexpr double kArrowTail = 24.0;
    static constexpr double kArrowLength = 70.0;
    static constexpr double kDirectionText = 0.6;

    cv::Mat image_;
    const RunResult& result_;
    std::vector<TrackedBox> people_;    // in the shown frame
    std::map<int, double> heights_mm_;  // of counted tracks
    std::vector<cv::Rect> taken_;       // by boxes, arrows and labels
};

// The panel at the right: what the marks mean, and the counts.
class Panel {
  public:
    Panel(cv::Mat image, const RunResult& result) : image_(image), result_(result) {}

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

    void heading(const std::string& text) {
        y_ = put_text(image_, text, {kLeft, y_}, 0.7, kInk, 2) + 28;
    }

    void row(const std::string& text) {
        put_text(image_, text, {kTextLeft, y_ - 6}, 0.5, kInk);
        y_ += 32;
    }

    void draw_legend() {
        cv::line(image_, {kLeft, y_}, {kLeft + 54, y_}, kLineColour, 4, cv::LINE_AA);
        row("counting line");
        for (std::size_t d = 0; d < 2; ++d) {
            cv::arrowedLine(image_, {kLeft, y_}, {kLeft + 54, y_}, kDirectionColour[d], 4,
                            cv::LINE_AA, 0, 0.28);
            row("direction " + std::to_string(d + 1) + " over the line");
        }
        const bool has_area =
            std::any_of(result_.lines.begin(), result_.lines.end(),
                        [](const CountingLine& line) { return !line.uturn_area.empty(); });
        if (has_area) {
            cv::rectangle(image_, cv::Rect(kLeft, y_ - 10, 54, 20), kAreaColour, 2, cv::LINE_AA);
            row("turning back in here is not counted");
        }
        const cv::Scalar colour = track_colour(3);
        cv::rectangle(image_, cv::Rect(kLeft + 14, y_ - 11, 26, 24), colour, 2, cv::LINE_AA);
        row("a person: track number and,");
        row("once counted, height");
        const char* kPlace = result_.options.source.foot_point
                                 ? "where the person stands: counted point"
                                 : "counted point";
        cv::circle(image_, {kLeft + 27, y_}, 5, colour, cv::FILLED, cv::LINE_AA);
        row(kPlace);
        for (int i = 0; i < 54; ++i) {
            const double fade = 0.2 + 0.8 * i / 54.0;
            const cv::Scalar mixed = colour * fade + kPaper * (1.0 - fade);
            cv::line(image_, {kLeft + i, y_}, {kLeft + i, y_}, mixed, 5);
        }
        row("way of the last " + format("%.0f", kTrail_s) + " seconds");
    }

    void draw_counts() {
        const bool truth = result_.source.has_truth;
        const int columns[3] = {210, 290, 360};
        const auto cell = [this](const std::string& text, int right) {
            put_text(image_, text, {right - text_size(text, 0.5, 1).width, y_}, 0.5, kInk);
        };
        cell("counted", columns[1]);
        if (truth) cell("true", columns[2]);
        y_ += 24;
        for (std::size_t i = 0; i < result_.counts.size() && y_ < image_.rows - 190; ++i) {
            for (std::size_t d = 0; d < 2; ++d) {
                const DirectionCount& count = result_.counts[i][d];
                const std::string name = d == 0 ? result_.lines[i].name.substr(0, 11) : "";
                put_text(image_, name, {kLeft, y_}, 0.5, kInk);
                put_text(image_, "direction " + std::to_string(d + 1), {kLeft + 105, y_}, 0.5,
                         kDirectionColour[d]);
                cell(std::to_string(count.counted), columns[1]);
                if (truth) cell(std::to_string(count.truth), columns[2]);
                y_ += 26;
            }
        }
        if (result_.counts.empty()) {
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
        fact(std::to_string(result_.tracks) + (result_.tracks == 1 ? " track" : " tracks") +
             (result_.source.has_truth
                  ? ", " + std::to_string(result_.tracking.switches) + " identity switches"
                  : ""));
        if (!result_.height_errors_mm.empty()) {
            std::vector<double> sizes;
            for (const double error : result_.height_errors_mm)
                sizes.push_back(std::abs(error));
            fact("heights off by " + format("%.0f mm (median)", quantile(sizes, 0.5)));
        }
        if (result_.source.has_truth) {
            fact("people found " + format("%.1f %%", 100.0 * result_.detection.recall()) +
                 ", boxes right " + format("%.1f %%", 100.0 * result_.detection.precision()));
        }
    }

    cv::Mat image_;
    const RunResult& result_;
    int y_ = 0;
};

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
    View(picture(cv::Rect(0, kTitleHeight, kViewWidth, kViewHeight)), result).draw();
    Panel(picture(cv::Rect(kViewWidth, kTitleHeight, kPanelWidth, kViewHeight)), result).draw();
    std::vector<unsigned char> bytes;
    cv::imencode(".png", picture, bytes);
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    out.flush();
    if (!out) throw std::runtime_error("cannot write \"" + path + "\"");
}

}  // namespace host
