// Layout of summary.json.
#include "host/report/summary.h"

#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/base/version.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

void finish(std::ofstream& out, const std::string& path) {
    out.flush();
    if (!out) throw std::runtime_error("cannot write \"" + path + "\"");
}

double rounded(double value, double step) {
    return std::round(value / step) * step;
}

Json points_json(const std::vector<PicturePoint>& points) {
    Json list = Json::array();
    for (const PicturePoint& p : points)
        list.push_back({std::lround(p.x), std::lround(p.y)});
    return list;
}

Json run_json(const RunResult& result) {
    const SourceInfo& source = result.source;
    Json run;
    run["source"] = source.kind;
    run["name"] = source.name;
    run["seed"] = result.options.source.seed;
    run["crowded"] = source.crowded;
    run["frames"] = result.source_frames();
    run["frames_per_second"] = source.frames_per_second;
    run["scene_seconds"] = result.scene_s;
    run["install_height_mm"] = result.install_height_mm;
    run["height_measured"] = result.height_measured;
    run["detect"] = detect_mode_name(result.options.detect);
    run["gender_model"] = result.options.gender;
    run["staff_model"] = result.options.staff;
    run["position"] = result.options.source.foot_point ? "foot" : "box";
    run["interrupted"] = result.interrupted;
    run["warnings"] = result.warnings;
    run["commit"] = version_commit();
    return run;
}

Json count_json(const DirectionCount& count, bool with_truth) {
    Json out;
    out["counted"] = count.counted;
    if (with_truth) {
        out["true"] = count.truth;
        out["error"] = count.counted - count.truth;
    }
    return out;
}

Json lines_json(const RunResult& result) {
    Json list = Json::array();
    for (std::size_t i = 0; i < result.lines.size(); ++i) {
        const CountingLine& line = result.lines[i];
        Json entry;
        entry["name"] = line.name;
        entry["points"] = points_json(line.points);
        entry["uturn_filter"] = line.uturn_filter;
        entry["uturn_area"] = points_json(line.uturn_area);
        entry["flip"] = line.flip;
        entry["direction_1"] = count_json(result.counts[i][0], result.source.has_truth);
        entry["direction_2"] = count_json(result.counts[i][1], result.source.has_truth);
        list.push_back(std::move(entry));
    }
    return list;
}

Json totals_json(const RunResult& result) {
    return {{"direction_1", count_json(result.totals[0], result.source.has_truth)},
            {"direction_2", count_json(result.totals[1], result.source.has_truth)}};
}

Json crossings_json(const RunResult& result) {
    Json list = Json::array();
    for (const Crossing& c : result.crossings) {
        Json entry;
        entry["frame"] = c.frame;
        entry["time_s"] = c.time_s;
        entry["track"] = c.track;
        entry["line"] = c.line;
        entry["direction"] = c.direction;
        entry["height_mm"] = c.height_mm;
        entry["staff"] = c.staff;
        if (c.person) entry["person"] = *c.person;
        if (c.true_height_mm) entry["true_height_mm"] = rounded(*c.true_height_mm, 0.1);
        list.push_back(std::move(entry));
    }
    return list;
}

Json true_crossings_json(const RunResult& result) {
    Json list = Json::array();
    for (const TrueCrossing& c : result.true_crossings) {
        list.push_back({{"frame", c.frame},
                        {"person", c.person},
                        {"line", c.line},
                        {"direction", c.direction}});
    }
    return list;
}

Json groups_json(const RunResult& result) {
    Json list = Json::array();
    for (const Event& event : result.events) {
        if (const auto* group = std::get_if<GroupCounted>(&event.payload)) {
            list.push_back({{"frame", event.frame_number},
                            {"line", group->line},
                            {"direction", group->direction},
                            {"members", group->members}});
        }
    }
    return list;
}

Json regions_json(const RunResult& result) {
    Json list = Json::array();
    for (std::size_t i = 0; i < result.regions.size(); ++i) {
        const Occupancy& occupancy = result.region_stats.regions[i];
        Json entry;
        entry["name"] = result.regions[i].name;
        entry["points"] = points_json(result.regions[i].points);
        entry["people_mean"] = occupancy.mean;
        entry["people_peak"] = occupancy.peak;
        entry["inside_mean"] = occupancy.inside_mean;
        entry["stays"] = occupancy.stays;
        if (result.source.has_truth) {
            entry["true_mean"] = occupancy.true_mean;
            entry["true_peak"] = occupancy.true_peak;
            entry["mean_abs_error"] = occupancy.mean_abs_error;
            entry["inside_mean_abs_error"] = occupancy.inside_abs_error;
        }
        list.push_back(std::move(entry));
    }
    return list;
}

Json stay_time_json(const RegionStats& stats) {
    return {{"compared", stats.stay_error_sizes_s.size()},
            {"error_median_s", quantile(stats.stay_errors_s, 0.5)},
            {"error_size_median_s", quantile(stats.stay_error_sizes_s, 0.5)},
            {"error_size_p95_s", quantile(stats.stay_error_sizes_s, 0.95)},
            {"true_stays_of_a_second", stats.true_long_stays},
            {"not_reported", stats.true_long_stays_missed}};
}

Json heat_map_json(const RunResult& result) {
    Json out;
    out["seconds"] = heat_seconds(*result.heat);
    if (result.source.has_truth) out["true_seconds"] = result.region_stats.true_view_s;
    return out;
}

Json staff_json(const StaffScore& score) {
    return {{"tracks", score.tracks()},           {"right_staff", score.right_staff},
            {"wrong_staff", score.wrong_staff},   {"missed", score.missed},
            {"right_others", score.right_others}, {"precision", score.precision()},
            {"recall", score.recall()},           {"accuracy", score.accuracy()}};
}

Json heights_json(const RunResult& result) {
    std::vector<double> measured;
    for (const Crossing& c : result.crossings)
        measured.push_back(c.height_mm);
    Json out;
    out["counted_median_mm"] = quantile(measured, 0.5);
    if (!result.source.has_truth) return out;
    const std::vector<double>& sizes = result.height_error_sizes_mm;
    out["persons"] = sizes.size();
    out["error_median_mm"] = quantile(result.height_errors_mm, 0.5);
    out["error_size_median_mm"] = quantile(sizes, 0.5);
    out["error_size_p95_mm"] = quantile(sizes, 0.95);
    return out;
}

Json tracking_json(const RunResult& result) {
    Json out;
    out["tracks"] = result.tracks;
    if (!result.source.has_truth) return out;
    const TrackingScore& score = result.tracking;
    out["identity_switches"] = score.switches;
    out["mota"] = score.mota();
    out["idf1"] = score.idf1();
    out["true_boxes"] = score.truths;
    out["misses"] = score.misses;
    out["false_boxes"] = score.false_boxes;
    out["identity_matches"] = score.identity_matches;
    out["reported_boxes"] = score.reported;
    return out;
}

Json detection_json(const DetectionScore& score) {
    return {{"recall", score.recall()},
            {"precision", score.precision()},
            {"true_boxes", score.truths},
            {"found", score.found},
            {"false_boxes", score.false_boxes}};
}

Json timing_json(const Timing& timing) {
    return {{"mean", timing.mean}, {"median", timing.median}, {"p95", timing.p95}};
}

Json times_json(const RunResult& result) {
    Json out;
    out["simulation"] = timing_json(result.simulation);
    out["detection"] = timing_json(result.detecting);
    out["tracker"] = timing_json(result.tracker);
    out["library"] = timing_json(result.library);
    out["pass"] = timing_json(result.pass);
    return out;
}

Json delay_json(const DelaySummary& delay) {
    return {{"messages", delay.count},
            {"median_ms", rounded(delay.median_ms, 0.01)},
            {"p99_ms", rounded(delay.p99_ms, 0.01)},
            {"greatest_ms", rounded(delay.greatest_ms, 0.01)}};
}

Json link_json(const LinkFigures& link) {
    if (!link.master) {
        return {{"role", "slave"},
                {"sent", link.sent},
                {"withheld", link.withheld},
                {"disconnected", link.disconnected},
                {"frame_counts", link.answers}};
    }
    Json slaves = Json::array();
    for (const HeardDevice& slave : link.slaves) {
        const DeviceCounters& c = slave.counters;
        slaves.push_back({{"name", slave.name},
                          {"received", c.received},
                          {"delivered", c.delivered},
                          {"late", c.late},
                          {"foreign_clock", c.foreign_clock},
                          {"repeated", c.repeated},
                          {"out_of_order", c.out_of_order},
                          {"refused", c.refused},
                          {"stale_periods", c.stale_periods},
                          {"cleared", c.cleared},
                          {"delivery", delay_json(slave.delivery)},
                          {"counting", delay_json(slave.counting)}});
    }
    return {{"role", "master"},
            {"requests", link.requests},
            {"unknown", link.unknown},
            {"slaves", std::move(slaves)}};
}

}  // namespace

void write_summary(const RunResult& result, const std::string& path) {
    Json root;
    root["run"] = run_json(result);
    root["lines"] = lines_json(result);
    root["totals"] = totals_json(result);
    root["regions"] = regions_json(result);
    if (result.source.has_truth && !result.regions.empty()) {
        root["stay_time"] = stay_time_json(result.region_stats);
    }
    if (result.heat) root["heat_map"] = heat_map_json(result);
    if (uses_staff_model(result.options)) {
        root["totals"]["staff"] = result.staff_counted;
        if (result.region_stats.staff) root["staff"] = staff_json(*result.region_stats.staff);
    }
    root["heights"] = heights_json(result);
    if (result.source.has_truth) root["detection"] = detection_json(result.detection);
    root["tracking"] = tracking_json(result);
    root["ms_per_frame"] = times_json(result);
    root["wall_seconds"] = result.wall_s;
    root["times_real_time"] = result.wall_s > 0.0 ? result.scene_s / result.wall_s : 0.0;
    if (result.pace) {
        root["pace"] = {{"frames", result.pace->frames},
                        {"late", result.pace->late},
                        {"most_late_ms", rounded(result.pace->most_late_ms, 0.1)}};
    }
    if (result.link) root["link"] = link_json(*result.link);
    root["left_over"] = {{"blocks", result.loans.blocks},
                         {"mappings", result.loans.mappings},
                         {"images", result.images_left},
                         {"wrong_returns", result.loans.errors},
                         {"undelivered_messages", result.undelivered_messages},
                         {"refused_messages", result.refused_messages}};
    root["crossings"] = crossings_json(result);
    if (result.source.has_truth) root["true_crossings"] = true_crossings_json(result);
    root["groups"] = groups_json(result);
    std::ofstream out(path);
    // The name of a folder can be any bytes; the file is UTF-8 all the same.
    out << root.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    finish(out, path);
}

}  // namespace host
