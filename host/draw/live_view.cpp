// Drawing of boxes, paths, lines and regions into the camera's picture.
#include "host/draw/live_view.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "host/base/text.h"
#include "host/draw/canvas.h"
#include "vca/detect.h"

namespace host {

const cv::Scalar kLiveStaffColour(40, 215, 255);
const cv::Scalar kLiveMaleColour(235, 150, 50);
const cv::Scalar kLiveFemaleColour(190, 90, 240);

namespace {

const cv::Scalar kDark(28, 24, 20);
const cv::Scalar kPale(225, 222, 218);
constexpr double kTextSize = 0.42;
constexpr int kRowHeight = 18;
constexpr int kFlashFrames = 9;  // a line stays bright for this long after a crossing

// Numbers from a message must stay within the range of OpenCV's fixed-point coordinates to be
// drawn.
int bounded(std::int32_t value) {
    return std::clamp(value, -4000, 4000);
}

cv::Rect box_of(const ShownTrack& track) {
    return {bounded(track.x), bounded(track.y), std::max(bounded(track.w), 0),
            std::max(bounded(track.h), 0)};
}

std::vector<cv::Point> trail_of(const ShownTrack& track) {
    std::vector<cv::Point> points;
    for (const POINT_POS_S& p : track.trail)
        points.emplace_back(bounded(p.x), bounded(p.y));
    return points;
}

std::vector<cv::Point> to_pixels(const std::vector<PicturePoint>& points) {
    std::vector<cv::Point> pixels;
    for (const PicturePoint& p : points)
        pixels.emplace_back(static_cast<int>(std::lround(p.x)), static_cast<int>(std::lround(p.y)));
    return pixels;
}

// "0:07", "12:30"
std::string clock_text(double time_s) {
    const int all_s = static_cast<int>(std::max(time_s, 0.0));
    const std::string seconds = std::to_string(all_s % 60);
    return std::to_string(all_s / 60) + (seconds.size() < 2 ? ":0" : ":") + seconds;
}

// A short text on its own background.
struct Chip {
    std::string text;
    cv::Scalar ground;
    cv::Scalar ink;
    double weight = 0.8;              // of the background
    int gender = VCA_GENDER_UNKNOWN;  // a mark after the text if known

    int width() const {
        return text_size(text, kTextSize, 1).width + 10 +
               (gender != VCA_GENDER_UNKNOWN ? kRowHeight : 0);
    }
};

using ChipRow = std::vector<Chip>;

cv::Size extent_of(const std::vector<ChipRow>& rows) {
    cv::Size extent(0, static_cast<int>(rows.size()) * kRowHeight);
    for (const ChipRow& row : rows) {
        int width = 0;
        for (const Chip& chip : row)
            width += chip.width();
        extent.width = std::max(extent.width, width);
    }
    return extent;
}

// The signs of Mars and Venus on a coloured disc.
void draw_gender(cv::Mat& image, const cv::Point& middle, int gender) {
    const bool male = gender == VCA_GENDER_MALE;
    cv::circle(image, middle, 8, male ? kLiveMaleColour : kLiveFemaleColour, cv::FILLED,
               cv::LINE_AA);
    const cv::Point ring = middle + (male ? cv::Point(-1, 1) : cv::Point(0, -2));
    cv::circle(image, ring, 3, kWhite, 1, cv::LINE_AA);
    if (male) {
        const cv::Point tip = middle + cv::Point(5, -5);
        cv::line(image, ring + cv::Point(2, -2), tip, kWhite, 1, cv::LINE_AA);
        cv::line(image, tip, tip + cv::Point(-4, 0), kWhite, 1, cv::LINE_AA);
        cv::line(image, tip, tip + cv::Point(0, 4), kWhite, 1, cv::LINE_AA);
    } else {
        cv::line(image, ring + cv::Point(0, 3), ring + cv::Point(0, 8), kWhite, 1, cv::LINE_AA);
        cv::line(image, ring + cv::Point(-2, 6), ring + cv::Point(2, 6), kWhite, 1, cv::LINE_AA);
    }
}

void draw_rows(cv::Mat& image, const cv::Point& corner, const std::vector<ChipRow>& rows) {
    cv::Point at = corner;
    for (const ChipRow& row : rows) {
        at.x = corner.x;
        for (const Chip& chip : row) {
            const int width = chip.width();
            shade(image, {at.x, at.y, width, kRowHeight}, chip.ground, chip.weight);
            put_text(image, chip.text, at + cv::Point(5, 4), kTextSize, chip.ink);
            if (chip.gender != VCA_GENDER_UNKNOWN)
                draw_gender(image, at + cv::Point(width - 10, kRowHeight / 2), chip.gender);
            at.x += width;
        }
        at.y += kRowHeight;
    }
}

// The longest piece of a line carries its counts.
std::pair<cv::Point, cv::Point> longest_piece(const std::vector<cv::Point>& points) {
    std::pair<cv::Point, cv::Point> best{points[0], points[1]};
    for (std::size_t i = 2; i < points.size(); ++i) {
        if (cv::norm(points[i] - points[i - 1]) > cv::norm(best.second - best.first))
            best = {points[i - 1], points[i]};
    }
    return best;
}

template <typename Message>
const Message* of_frame(const std::optional<Event>& event, std::int64_t frame_number) {
    if (!event || event->frame_number != frame_number) return nullptr;
    return std::get_if<Message>(&event->payload);
}

}  // namespace

cv::Scalar live_class_colour(int class_id) {
    if (class_id == VCA_CLASS_PERSON) return {96, 224, 88};
    if (class_id == VCA_CLASS_SMALL) return {255, 190, 70};
    return {190, 190, 190};
}

cv::Scalar live_region_colour(std::size_t region) {
    static const cv::Scalar kColours[] = {
        {235, 165, 60}, {80, 170, 245}, {205, 105, 215}, {125, 205, 115}};
    return kColours[region % std::size(kColours)];
}

// Draws one picture.
class LiveView::Painter {
  public:
    Painter(const LiveView& view, cv::Mat image, std::int64_t frame)
        : view_(view),
          image_(image),
          frame_(frame),
          tracks_(of_frame<TracksShown>(view.tracks_, frame)),
          detected_(of_frame<TracksShown>(view.detected_, frame)),
          regions_(of_frame<RegionsReported>(view.regions_, frame)),
          places_(image.size()) {}

    void draw() {
        for (const std::vector<PicturePoint>& area : view_.scene_.exclusions)
            draw_excluded(image_, to_pixels(area));
        for (std::size_t r = 0; r < view_.scene_.regions.size(); ++r)
            draw_region(r);
        for (std::size_t i = 0; i < view_.scene_.lines.size(); ++i)
            draw_line(i);
        if (detected_ != nullptr) {
            for (const ShownTrack& track : detected_->tracks)
                draw_detected(track);
        }
        if (tracks_ != nullptr) {
            for (const ShownTrack& track : tracks_->tracks)
                draw_person(track);
        }
        for (const Sign& sign : signs_)
            draw_sign(sign);
        if (tracks_ == nullptr) return;
        for (const ShownTrack& track : tracks_->tracks)
            label_person(track);
    }

    std::size_t people() const { return tracks_ == nullptr ? 0 : tracks_->tracks.size(); }

  private:
    // A label of a region or a line: people's labels avoid it, and it is drawn over people.
    struct Sign {
        cv::Point corner;
        std::vector<ChipRow> rows;
        cv::Point base;  // of the arrow; same as the tip for none
        cv::Point tip;
        cv::Scalar colour;
    };

    void draw_region(std::size_t r) {
        const CountingRegion& region = view_.scene_.regions[r];
        const std::vector<cv::Point> points = to_pixels(region.points);
        const int people =
            regions_ == nullptr || r >= regions_->inside.size() ? 0 : regions_->inside[r];
        const cv::Scalar colour = live_region_colour(r);
        shade_polygon(image_, points, colour, people > 0 ? 0.30 : 0.14);
        cv::polylines(image_, points, true, kDark, 3, cv::LINE_AA);
        cv::polylines(image_, points, true, colour, 2, cv::LINE_AA);
        const std::vector<ChipRow> rows{
            {{shortened(to_ascii(region.name), 20) + ": " + std::to_string(people), colour, kDark,
              0.9}}};
        const cv::Rect around = cv::boundingRect(points);
        const cv::Size extent = extent_of(rows);
        const cv::Rect place =
            places_.take_best(extent, {around.tl() + cv::Point(4, 4),
                                       {around.br().x - extent.width - 4, around.y + 4},
                                       {around.x + 4, around.br().y - extent.height - 4}});
        signs_.push_back({place.tl(), rows, {}, {}, colour});
    }

    void draw_line(std::size_t index) {
        const CountingLine& line = view_.scene_.lines[index];
        const std::vector<cv::Point> points = to_pixels(line.points);
        const LineCount& count = view_.counts_[index % view_.counts_.size()];
        const cv::Scalar colour = line_colour(index);
        const bool flash = count.last_frame >= 0 && frame_ - count.last_frame < kFlashFrames;
        cv::polylines(image_, points, false, kWhite, flash ? 9 : 5, cv::LINE_AA);
        cv::polylines(image_, points, false, colour, flash ? 5 : 3, cv::LINE_AA);
        const auto [start, end] = longest_piece(points);
        const cv::Point2d along = end - start;
        const double length = std::max(cv::norm(along), 1.0);
        // Unit vector to the left of a walker from start to end, y pointing down; direction 1 goes
        // there.
        const cv::Point2d left(along.y / length, -along.x / length);
        for (std::size_t d = 0; d < 2; ++d) {
            const bool to_left = (d == 0) != line.flip;
            const cv::Point2d base = cv::Point2d(start) + along * (d == 0 ? 0.08 : 0.92);
            place_count(base, to_left ? left : -left, colour,
                        std::to_string(d + 1) + ": " + std::to_string(count.people[d]));
        }
    }

    // An arrow from the line and, beyond its tip, how many went there.
    void place_count(const cv::Point2d& base, const cv::Point2d& ahead, const cv::Scalar& colour,
                     const std::string& text) {
        const std::vector<ChipRow> rows{{{text, colour, kWhite, 0.9}}};
        const cv::Size extent = extent_of(rows);
        const cv::Point2d tip = base + ahead * 30.0;
        const double reach =
            4.0 + 0.5 * (std::abs(ahead.x) * extent.width + std::abs(ahead.y) * extent.height);
        const cv::Point middle = tip + ahead * reach;
        const cv::Rect place =
            places_.take_best(extent, {middle - cv::Point(extent.width / 2, extent.height / 2)});
        signs_.push_back({place.tl(), rows, base, tip, colour});
    }

    void draw_sign(const Sign& sign) {
        if (sign.base != sign.tip) {
            cv::arrowedLine(image_, sign.base, sign.tip, kWhite, 6, cv::LINE_AA, 0, 0.35);
            cv::arrowedLine(image_, sign.base, sign.tip, sign.colour, 3, cv::LINE_AA, 0, 0.35);
        }
        draw_rows(image_, sign.corner, sign.rows);
    }

    // The detector's own box, dim and dashed around the track's, with dots where it was.
    void draw_detected(const ShownTrack& track) {
        const cv::Rect box = box_of(track);
        const cv::Scalar colour = live_class_colour(track.class_id) * 0.75;
        draw_dashed(image_, {box.x - 4, box.y - 4, box.width + 8, box.height + 8}, colour, 1);
        for (const cv::Point& p : trail_of(track))
            cv::circle(image_, p, 2, colour, cv::FILLED, cv::LINE_AA);
    }

    void draw_person(const ShownTrack& track) {
        const cv::Scalar colour = live_class_colour(track.class_id);
        const std::vector<cv::Point> trail = trail_of(track);
        cv::polylines(image_, trail, false, kDark, 5, cv::LINE_AA);
        cv::polylines(image_, trail, false, colour, 3, cv::LINE_AA);
        const cv::Rect box = box_of(track);
        if (!trail.empty()) {
            // The path is that of the feet when people are counted by where they stand.
            const cv::Point middle(box.x + box.width / 2, box.y + box.height / 2);
            cv::line(image_, middle, trail.front(), colour, 1, cv::LINE_AA);
            cv::circle(image_, trail.front(), 5, kDark, cv::FILLED, cv::LINE_AA);
            cv::circle(image_, trail.front(), 4, colour, cv::FILLED, cv::LINE_AA);
        }
        cv::rectangle(image_, box, kDark, 4, cv::LINE_AA);
        cv::rectangle(image_, box, track.staff == 1 ? kLiveStaffColour : colour, 2, cv::LINE_AA);
        places_.take(box);
    }

    void label_person(const ShownTrack& track) {
        std::vector<ChipRow> rows{
            {{std::to_string(track.track), live_class_colour(track.class_id), kDark, 0.9}}};
        Chip height{"", kDark, kWhite, 0.72,
                    track.gender == VCA_GENDER_MALE || track.gender == VCA_GENDER_FEMALE
                        ? track.gender
                        : VCA_GENDER_UNKNOWN};
        if (track.height_mm > 0) height.text = format_text("%.2f m", track.height_mm / 1000.0);
        if (!height.text.empty() || height.gender != VCA_GENDER_UNKNOWN) rows[0].push_back(height);
        ChipRow second;
        if (track.staff == 1) second.push_back({"STAFF", kLiveStaffColour, kDark, 0.95});
        add_stays(track.track, second);
        if (!second.empty()) rows.push_back(second);
        const cv::Rect box = box_of(track);
        const cv::Size extent = extent_of(rows);
        const cv::Rect place =
            places_.take_best(extent, {{box.x - 1, box.y - extent.height - 3},
                                       {box.x - 1, box.br().y + 3},
                                       {box.br().x + 3, box.y},
                                       {box.x - extent.width - 3, box.y},
                                       {box.br().x + 3, box.br().y - extent.height},
                                       {box.x - extent.width - 3, box.br().y - extent.height}});
        draw_rows(image_, place.tl(), rows);
    }

    // How long this person has been inside each region.
    void add_stays(int track, ChipRow& row) const {
        if (regions_ == nullptr) return;
        const auto person =
            std::find_if(regions_->people.begin(), regions_->people.end(),
                         [track](const RegionPerson& p) { return p.track == track; });
        if (person == regions_->people.end()) return;
        for (std::size_t r = 0; r < VCA_RGN_NUM; ++r) {
            if (person->regions[r].inside == 0) continue;
            row.push_back({clock_text(person->regions[r].stay_ms / 1000.0), live_region_colour(r),
                           kDark, 0.95});
        }
    }

    const LiveView& view_;
    cv::Mat image_;
    std::int64_t frame_;
    const TracksShown* tracks_;
    const TracksShown* detected_;
    const RegionsReported* regions_;
    FreePlaces places_;
    std::vector<Sign> signs_;
};

void LiveView::add_event(const Event& event) {
    if (const auto* shown = std::get_if<TracksShown>(&event.payload)) {
        (shown->detected ? detected_ : tracks_) = event;
    } else if (std::holds_alternative<RegionsReported>(event.payload)) {
        regions_ = event;
    } else if (const auto* counted = std::get_if<PersonCounted>(&event.payload)) {
        const bool known = counted->line >= 0 && counted->line < VCA_LINE_NUM &&
                           (counted->direction == VCA_DIR_1 || counted->direction == VCA_DIR_2);
        if (!known) return;
        LineCount& count = counts_[static_cast<std::size_t>(counted->line)];
        ++count.people[static_cast<std::size_t>(counted->direction - VCA_DIR_1)];
        count.last_frame = event.frame_number;
    }
}

int LiveView::counted(std::size_t line, int direction) const {
    return counts_.at(line).people.at(static_cast<std::size_t>(direction - 1));
}

void LiveView::draw(const cv::Mat& camera, std::int64_t frame_number, double time_s,
                    cv::Mat& picture) const {
    picture.create(kLivePicture, CV_8UC3);
    picture.rowRange(kLiveCamera.height, picture.rows).setTo(kDark);
    cv::Mat view = picture(kLiveCamera);
    if (camera.empty()) {
        view.setTo(cv::Scalar(58, 52, 48));
    } else {
        camera.copyTo(view);
    }
    Painter painter(*this, view, frame_number);
    painter.draw();
    const int row = kLiveCamera.height + 10;
    put_text(picture, shortened(to_ascii(scene_.title), 32), {12, row}, 0.5, kWhite);
    put_text(picture, clock_text(time_s), {360, row}, 0.5, kPale);
    put_text(picture, "people: " + std::to_string(painter.people()), {450, row}, 0.5, kPale);
    if (scene_.lines.empty()) return;
    int totals[2] = {0, 0};
    for (const LineCount& count : counts_) {
        totals[0] += count.people[0];
        totals[1] += count.people[1];
    }
    put_text(picture,
             "counted in direction 1: " + std::to_string(totals[0]) +
                 "   2: " + std::to_string(totals[1]),
             {620, row}, 0.5, kPale);
}

}  // namespace host
