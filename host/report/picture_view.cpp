// The camera's view: picture, lines, people, their paths, and labels that avoid each other.
#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <opencv2/imgproc.hpp>

#include "host/base/text.h"
#include "host/draw/canvas.h"
#include "host/report/picture_parts.h"

namespace host {
namespace {

constexpr int kTrailSteps = 10;  // steps of fading
constexpr double kTypicalPerson_mm = 1700.0;
const cv::Scalar kAreaColour(60, 170, 250);

cv::Point2d to_view(double x, double y) {
    return {(x + 0.5) * kZoom - 0.5, (y + 0.5) * kZoom - 0.5};
}

cv::Point2d to_view(const PicturePoint& p) {
    return to_view(p.x, p.y);
}

void blend(cv::Mat& image, const cv::Mat& drawn, double weight) {
    cv::addWeighted(drawn, weight, image, 1.0 - weight, 0.0, image);
}

// Draws into the camera's view and keeps labels from covering each other.
class View {
  public:
    View(cv::Mat image, const RunFacts& facts, const Scores& scores, const Evidence& evidence)
        : image_(image), facts_(facts), scores_(scores), evidence_(evidence) {}

    void draw() {
        draw_background();
        for (const std::vector<PicturePoint>& area : facts_.exclusions)
            draw_excluded(image_, polygon(area));
        for (const CountingLine& line : facts_.lines)
            draw_area(line);
        draw_trails();
        for (std::size_t i = 0; i < facts_.lines.size(); ++i)
            draw_line(facts_.lines[i], line_colour(i));
        draw_people();
        for (std::size_t i = 0; i < facts_.lines.size(); ++i)
            draw_directions(i);
        for (const TrackedBox& track : evidence_.tracks)
            label_person(track);
    }

  private:
    void draw_background() {
        image_.setTo(cv::Scalar::all(110));
        const cv::Mat colour = colour_picture(evidence_.colour_nv12);
        if (colour.empty()) {
            put_text(image_, "no frame was analysed", {kViewWidth / 2 - 150, kViewHeight / 2}, 0.8,
                     kWhite);
            return;
        }
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

    void draw_line(const CountingLine& line, const cv::Scalar& colour) {
        const std::vector<std::vector<cv::Point>> points{polygon(line.points)};
        cv::polylines(image_, points, false, kWhite, 7, cv::LINE_AA);
        cv::polylines(image_, points, false, colour, 4, cv::LINE_AA);
        for (const cv::Point& p : points.front()) {
            cv::circle(image_, p, 6, colour, cv::FILLED, cv::LINE_AA);
        }
        take_line(points.front());
    }

    // Where the person seen in this box stands: heads appear farther from the middle of the picture
    // than feet, by the share of the camera's height that the person reaches up to.
    cv::Point2d place_of(const TrackedBox& track) const {
        const double x = track.box.x + track.box.w / 2;
        const double y = track.box.y + track.box.h / 2;
        if (!facts_.options.source.foot_point || facts_.install_height_mm <= 0.0) {
            return to_view(x, y);
        }
        const auto known = evidence_.heights_mm.find(track.id);
        const double height_mm =
            known == evidence_.heights_mm.end() ? kTypicalPerson_mm : known->second;
        const double share = std::max(1.0 - height_mm / facts_.install_height_mm, 0.0);
        return to_view(kColourWidth / 2 + share * (x - kColourWidth / 2),
                       kColourHeight / 2 + share * (y - kColourHeight / 2));
    }

    struct TrailPiece {
        cv::Point2d from;
        cv::Point2d to;
        double age_s = 0.0;
        int track = 0;
    };

    // Paths of the last seconds before the shown frame.
    std::vector<TrailPiece> trail_pieces() const {
        std::vector<TrailPiece> pieces;
        std::map<int, cv::Point2d> last;
        for (const TrailFrame& frame : evidence_.trail) {
            const double age_s = evidence_.time_s - frame.time_s;
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
        for (const TrackedBox& track : evidence_.tracks) {
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
        const auto height = evidence_.heights_mm.find(track.id);
        if (height != evidence_.heights_mm.end()) {
            text += format_text("  %.2f m", height->second / 1000.0);
        }
        const cv::Point2d corner = to_view(track.box.x, track.box.y);
        const double bottom = to_view(0, track.box.y + track.box.h).y;
        put_label(text, 0.5, kInk, kWhite,
                  {{corner.x, corner.y - 23.0},
                   {corner.x, bottom + 2.0},
                   {corner.x - 50.0, corner.y - 23.0},
                   {corner.x + 30.0, bottom + 2.0},
                   {corner.x - 50.0, bottom + 2.0},
                   {corner.x + 30.0, corner.y - 23.0},
                   {to_view(track.box.x + track.box.w, 0).x + 2.0, corner.y},
                   {corner.x - 100.0, corner.y}});
    }

    // A label at whichever of the places (upper left corners) covers least, the first of equal
    // ones.
    void put_label(const std::string& text, double size, const cv::Scalar& ink,
                   const cv::Scalar& paper, const std::vector<cv::Point2d>& places) {
        const cv::Size extent = text_size(text, size, 1) + cv::Size(12, 10);
        cv::Rect chosen;
        long least = LONG_MAX;
        for (const cv::Point2d& place : places) {
            const cv::Rect rect(inside(place, extent), extent);
            const long covered = covered_area(rect);
            if (covered >= least) continue;
            least = covered;
            chosen = rect;
        }
        paint_label(text, size, ink, paper, chosen);
    }

    void paint_label(const std::string& text, double size, const cv::Scalar& ink,
                     const cv::Scalar& paper, const cv::Rect& place) {
        taken_.push_back(place);
        cv::Mat drawn = image_.clone();
        cv::rectangle(drawn, place, paper, cv::FILLED);
        blend(image_, drawn, 0.85);
        put_text(image_, text, place.tl() + cv::Point(6, 5), size, ink);
    }

    static cv::Point inside(const cv::Point2d& place, const cv::Size& extent) {
        return {std::clamp(static_cast<int>(place.x), 2, kViewWidth - extent.width - 2),
                std::clamp(static_cast<int>(place.y), 2, kViewHeight - extent.height - 2)};
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
        const CountingLine& line = facts_.lines[index];
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
        const DirectionCount& count = scores_.counts[index][direction];
        constexpr std::size_t kMostLetters = 20;
        std::string text = "direction ";
        if (facts_.lines.size() > 1) {
            text = shortened(to_ascii(facts_.lines[index].name), kMostLetters);
            text += " / ";
        }
        text += std::to_string(direction + 1);
        text += ": ";
        text += std::to_string(count.counted);
        if (facts_.source.has_truth) text += " (true " + std::to_string(count.truth) + ")";
        return text;
    }

    // An arrow across the line and its label.
    struct Sign {
        cv::Point2d base;  // on the line
        cv::Rect label;
        long covered = LONG_MAX;  // pixels of others, and of the label outside the view
    };

    void draw_arrow(const cv::Point2d& start, const cv::Point2d& along, const cv::Point2d& across,
                    std::size_t index, std::size_t direction) {
        const std::string text = direction_text(index, direction);
        const cv::Size extent = text_size(text, kDirectionText, 1) + cv::Size(12, 10);
        // Direction 1 is looked for from the line's start, direction 2 from its end.
        const Sign sign = direction == 0 ? best_sign(start, along, across, extent)
                                         : best_sign(start + along, -along, across, extent);
        const cv::Scalar colour = line_colour(index);
        const cv::Point2d tail = sign.base - across * kArrowTail;
        const cv::Point2d tip = sign.base + across * kArrowLength;
        cv::arrowedLine(image_, tail, tip, kWhite, 10, cv::LINE_AA, 0, 0.28);
        cv::arrowedLine(image_, tail, tip, colour, 5, cv::LINE_AA, 0, 0.28);
        taken_.push_back(arrow_area(sign.base, across));
        paint_label(text, kDirectionText, kWhite, colour, sign.label);
    }

    // The sign that covers least of all places along the line, with its label beyond the arrow's
    // tip or at either side of the arrow; the first of equal ones.
    Sign best_sign(const cv::Point2d& from, const cv::Point2d& along, const cv::Point2d& across,
                   const cv::Size& extent) const {
        constexpr int kPlaces = 32;
        const double half_wide = 0.5 * extent.width;
        const double half_high = 0.5 * extent.height;
        const double ahead = std::abs(across.x) * half_wide + std::abs(across.y) * half_high;
        const double beside = std::abs(across.y) * half_wide + std::abs(across.x) * half_high;
        const cv::Point2d side(-across.y, across.x);
        Sign best;
        for (int i = 0; i < kPlaces; ++i) {
            const cv::Point2d base = from + along * (0.06 + 0.88 * i / (kPlaces - 1));
            const cv::Point2d beyond = base + across * (kArrowLength + 8.0 + ahead);
            const cv::Point2d level = base + across * (kArrowLength - ahead);
            for (const cv::Point2d& middle :
                 {beyond, level + side * (18.0 + beside), level - side * (18.0 + beside)}) {
                const cv::Rect label(cv::Point(static_cast<int>(middle.x - half_wide),
                                               static_cast<int>(middle.y - half_high)),
                                     extent);
                const long covered = covered_area(arrow_area(base, across)) + covered_area(label) +
                                     kOutside * outside_area(label);
                if (covered < best.covered) best = {base, label, covered};
            }
        }
        best.label = cv::Rect(inside(best.label.tl(), extent), extent);
        return best;
    }

    long covered_area(const cv::Rect& rect) const {
        long sum = 0;
        for (const cv::Rect& other : taken_)
            sum += (rect & other).area();
        return sum;
    }

    static long outside_area(const cv::Rect& rect) {
        return rect.area() - (rect & cv::Rect(0, 0, kViewWidth, kViewHeight)).area();
    }

    // Lines are kept free of labels by small squares along them. An arrow covers its own line
    // wherever it is, so that makes no place better than another.
    void take_line(const std::vector<cv::Point>& points) {
        constexpr int kSide = 14;
        for (std::size_t i = 1; i < points.size(); ++i) {
            const cv::Point2d way = points[i] - points[i - 1];
            const int steps = std::max(static_cast<int>(cv::norm(way)) / kSide, 1);
            for (int k = 0; k <= steps; ++k) {
                const cv::Point at = cv::Point2d(points[i - 1]) + way * (1.0 * k / steps);
                taken_.emplace_back(at - cv::Point(kSide / 2, kSide / 2), cv::Size(kSide, kSide));
            }
        }
    }

    static cv::Rect arrow_area(const cv::Point2d& base, const cv::Point2d& across) {
        const cv::Point2d tail = base - across * kArrowTail;
        const cv::Point2d tip = base + across * kArrowLength;
        const cv::Rect thin{cv::Point(tail), cv::Point(tip)};
        return {thin.x - 12, thin.y - 12, thin.width + 24, thin.height + 24};
    }

    static constexpr double kArrowTail = 20.0;
    static constexpr double kArrowLength = 60.0;
    static constexpr double kDirectionText = 0.6;
    static constexpr long kOutside = 4;  // a label that has to be moved inside covers its arrow

    cv::Mat image_;
    const RunFacts& facts_;
    const Scores& scores_;
    const Evidence& evidence_;
    std::vector<cv::Rect> taken_;  // by lines, boxes, arrows and labels
};

}  // namespace

void draw_view(cv::Mat image, const RunFacts& facts, const Scores& scores,
               const Evidence& evidence) {
    View(image, facts, scores, evidence).draw();
}

}  // namespace host
