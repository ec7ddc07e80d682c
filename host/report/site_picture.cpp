// Drawing of the paths and the table beside them.
#include "host/report/site_picture.h"

#include <algorithm>
#include <map>
#include <opencv2/imgproc.hpp>

#include "host/base/text.h"
#include "host/draw/canvas.h"
#include "host/draw/site_plan.h"
#include "host/settings/site_map.h"

namespace host {
namespace {

constexpr double kTrailTime_s = 10.0;
constexpr int kTitleHeight = 56;
constexpr int kPanelWidth = 460;
constexpr int kLeastHeight = 700;
const cv::Scalar kTruth(30, 30, 30);

// The frame with the most objects, the first of equal ones; null without any frame.
const SiteFrame* fullest(const std::vector<SiteFrame>& frames) {
    const auto most = std::max_element(
        frames.begin(), frames.end(),
        [](const auto& a, const auto& b) { return a.tracks.size() < b.tracks.size(); });
    return most == frames.end() ? nullptr : &*most;
}

// Paths that end at the shown frame, fainter the older they are.
void draw_trails(FloorPlan& plan, const Site& site, const std::vector<SiteFrame>& frames,
                 const SiteFrame& shown) {
    constexpr int kFades = 8;
    const double span = kTrailTime_s * site.frames_per_second.value;
    for (int fade = 0; fade < kFades; ++fade) {
        cv::Mat drawn = plan.image().clone();
        std::map<int, cv::Point2d> last;
        for (const SiteFrame& frame : frames) {
            const double age = static_cast<double>(shown.number - frame.number) / span;
            if (age < 0.0 || age > 1.0) continue;
            for (const MergedTrack& track : frame.tracks) {
                const cv::Point2d at = plan.at(of_master(site, track.foot));
                const auto before = last.find(track.id);
                const int step = std::min(static_cast<int>((1.0 - age) * kFades), kFades - 1);
                if (before != last.end() && step == fade) {
                    cv::line(drawn, before->second, at, track_colour(track.id), 3, cv::LINE_AA);
                }
                last[track.id] = at;
            }
        }
        const double weight = 0.25 + 0.75 * (fade + 1) / kFades;
        cv::addWeighted(drawn, weight, plan.image(), 1.0 - weight, 0.0, plan.image());
    }
}

void draw_people(FloorPlan& plan, const Site& site, const SiteFrame& shown) {
    for (const MergedTrack& track : shown.tracks) {
        const cv::Point2d at = plan.at(of_master(site, track.foot));
        cv::circle(plan.image(), at, 7, kWhite, cv::FILLED, cv::LINE_AA);
        cv::circle(plan.image(), at, 5, track_colour(track.id), cv::FILLED, cv::LINE_AA);
    }
    for (const SitePerson& person : shown.people) {
        if (person.cameras == 0) continue;
        cv::circle(plan.image(), plan.at(person.at), 11, kTruth, person.cameras > 1 ? 2 : 1,
                   cv::LINE_AA);
    }
}

void list_counts(PlanLegend& legend, const Site& site, const SiteResult& result) {
    legend.heading("People counted");
    const std::vector<int> ends{20, 290, 360, 440};
    legend.cells({"", "true", "merged"}, ends);
    for (std::size_t i = 0; i < site.lines.size(); ++i) {
        for (std::size_t d = 0; d < 2; ++d) {
            const auto cell = [&](const LineCounts& counts) {
                const auto& line = counts.lines.at(i);
                return line ? std::to_string((*line)[d]) : std::string(kNothing);
            };
            const std::string name = shortened(to_ascii(site.lines[i].name), 14);
            legend.cells({name + ", direction " + std::to_string(d + 1), cell(result.truth),
                          cell(result.merged)},
                         ends);
        }
    }
    legend.heading("");
    if (!result.regions.empty()) {
        legend.heading("People in regions, mean of all frames");
        for (std::size_t i = 0; i < result.regions.size(); ++i) {
            const Occupancy& o = result.regions[i];
            legend.cells({shortened(to_ascii(site.regions[i].name), 26),
                          format_text("%.1f", o.true_mean), format_text("%.1f", o.mean)},
                         ends);
        }
        legend.heading("");
    }
    if (!result.has_truth) return;
    legend.heading("Seen by two cameras at once");
    const MergeScore& merge = result.merge;
    legend.text(std::to_string(merge.people) + " people, " +
                std::to_string(merge.people_one_object) + " of them one object");
    legend.text("duplicates on " + percent_text(merge.duplicate_share(), 1) + " of appearances");
    legend.text(std::to_string(merge.stray_objects) + " of " + std::to_string(merge.objects) +
                " objects on frames near nobody");
}

}  // namespace

void write_site_picture(const Site& site, const SiteResult& result, const std::string& path) {
    FloorPlan plan(site, {1400, 1000});
    plan.draw_views();
    plan.draw_regions();
    const SiteFrame* shown = fullest(result.frames);
    if (shown != nullptr) draw_trails(plan, site, result.frames, *shown);
    plan.draw_lines();
    plan.draw_cameras();
    if (shown != nullptr) draw_people(plan, site, *shown);
    plan.draw_scale();

    const cv::Size size = plan.image().size();
    const int height = std::max(size.height, kLeastHeight);
    cv::Mat picture(kTitleHeight + height, size.width + kPanelWidth, CV_8UC3, kWhite);
    picture(cv::Rect(0, 0, picture.cols, kTitleHeight)).setTo(kInk);
    std::string title = "Site " + site.name + ": the merged scene";
    if (shown != nullptr) title += ", frame " + std::to_string(shown->number);
    put_text(picture, title, {20, 18}, 0.8, kWhite, 2);
    plan.image().copyTo(picture(cv::Rect({0, kTitleHeight}, size)));
    PlanLegend legend(picture(cv::Rect(size.width, kTitleHeight, kPanelWidth, height)));
    legend.marks(site);
    legend.text(format_text("coloured: objects and their last %.0f s", kTrailTime_s));
    if (result.has_truth) {
        legend.text("rings: where people truly are, bold when");
        legend.text("two cameras see them");
    }
    legend.heading("");
    list_counts(legend, site, result);
    write_png(picture, path);
}

}  // namespace host
