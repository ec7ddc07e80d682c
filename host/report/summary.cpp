// Layout of summary.json.
#include "host/report/summary.h"

#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/base/version.h"
#include "host/report/balance_json.h"

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

Json tilt_json(const std::optional<Tilt>& tilt) {
    if (!tilt) return nullptr;
    return {{"roll", std::round(100.0 * tilt->roll_deg) / 100.0},
            {"pitch", std::round(100.0 * tilt->pitch_deg) / 100.0}};
}

Json run_json(const RunFacts& facts) {
    const SourceInfo& source = facts.source;
    Json run;
    run["source"] = source.kind;
    run["name"] = source.name;
    run["seed"] = facts.options.source.seed;
    run["crowded"] = source.crowded;
    run["frames"] = facts.timings.frames;
    run["frames_per_second"] = source.frames_per_second;
    run["scene_seconds"] = facts.scene_s;
    run["install_height_mm"] = facts.install_height_mm;
    run["height_measured"] = facts.height_measured;
    run["tilt_deg"] = tilt_json(source.tilt);
    run["levelled"] = source.camera.levelled.has_value();
    run["detect"] = detect_mode_name(facts.options.detect.value);
    run["late_counts"] = late_counts_name(facts.options.late_counts);
    run["sensor"] = sensor_name(facts.options.sensor);
    run["gender_model"] = facts.options.gender;
    run["staff_model"] = facts.options.staff;
    run["position"] = facts.options.source.foot_point ? "foot" : "box";
    run["interrupted"] = facts.interrupted;
    run["warnings"] = facts.warnings;
    run["missing"] = facts.missing;
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

Json lines_json(const RunFacts& facts, const Scores& scores) {
    Json list = Json::array();
    for (std::size_t i = 0; i < facts.lines.size(); ++i) {
        const CountingLine& line = facts.lines[i];
        Json entry;
        entry["name"] = line.name;
        entry["points"] = points_json(line.points);
        entry["uturn_filter"] = line.uturn_filter;
        entry["uturn_area"] = points_json(line.uturn_area);
        entry["flip"] = line.flip;
        entry["direction_1"] = count_json(scores.counts[i][0], facts.source.has_truth);
        entry["direction_2"] = count_json(scores.counts[i][1], facts.source.has_truth);
        list.push_back(std::move(entry));
    }
    return list;
}

Json totals_json(const RunFacts& facts, const Scores& scores) {
    return {{"direction_1", count_json(scores.totals[0], facts.source.has_truth)},
            {"direction_2", count_json(scores.totals[1], facts.source.has_truth)}};
}

Json regions_json(const RunFacts& facts, const Scores& scores) {
    Json list = Json::array();
    for (std::size_t i = 0; i < facts.regions.size(); ++i) {
        const Occupancy& occupancy = scores.regions[i];
        Json entry;
        entry["name"] = facts.regions[i].name;
        entry["points"] = points_json(facts.regions[i].points);
        entry["people_mean"] = occupancy.mean;
        entry["people_peak"] = occupancy.peak;
        entry["inside_mean"] = occupancy.inside_mean;
        entry["stays"] = occupancy.stays;
        if (facts.source.has_truth) {
            entry["true_mean"] = occupancy.true_mean;
            entry["true_peak"] = occupancy.true_peak;
            entry["mean_abs_error"] = occupancy.mean_abs_error;
            entry["inside_mean_abs_error"] = occupancy.inside_abs_error;
        }
        list.push_back(std::move(entry));
    }
    return list;
}

Json stay_time_json(const StayScore& stays) {
    return {{"compared", stays.errors_s.count()},
            {"error_median_s", stays.errors_s.quantile(0.5)},
            {"error_size_median_s", stays.error_sizes_s.quantile(0.5)},
            {"error_size_p95_s", stays.error_sizes_s.quantile(0.95)},
            {"true_stays_of_a_second", stays.true_long_stays},
            {"not_reported", stays.true_long_stays_missed}};
}

Json heat_map_json(const RunFacts& facts, const Scores& scores, const HeatMapReported& heat) {
    Json out;
    out["seconds"] = heat_seconds(heat);
    if (facts.source.has_truth) out["true_seconds"] = scores.true_view_s;
    return out;
}

Json staff_json(const StaffScore& score) {
    return {{"tracks", score.tracks()},           {"right_staff", score.right_staff},
            {"wrong_staff", score.wrong_staff},   {"missed", score.missed},
            {"right_others", score.right_others}, {"precision", score.precision()},
            {"recall", score.recall()},           {"accuracy", score.accuracy()}};
}

Json heights_json(const RunFacts& facts, const Scores& scores) {
    Json out;
    out["counted_median_mm"] = scores.heights_mm.quantile(0.5);
    if (!facts.source.has_truth) return out;
    const Samples& sizes = scores.height_error_sizes_mm;
    out["persons"] = sizes.count();
    out["error_median_mm"] = scores.height_errors_mm.quantile(0.5);
    out["error_size_median_mm"] = sizes.quantile(0.5);
    out["error_size_p95_mm"] = sizes.quantile(0.95);
    return out;
}

Json tracking_json(const RunFacts& facts, const Scores& scores) {
    Json out;
    out["tracks"] = scores.tracks;
    if (!facts.source.has_truth) return out;
    const TrackingScore& score = scores.tracking;
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

Json timing_json(const Samples& times) {
    return {{"mean", times.mean()}, {"median", times.quantile(0.5)}, {"p95", times.quantile(0.95)}};
}

Json times_json(const Timings& times) {
    Json out;
    out["simulation"] = timing_json(times.source_ms);
    out["detection"] = timing_json(times.detection_ms);
    out["tracker"] = timing_json(times.tracker_ms);
    out["library"] = timing_json(times.library_ms);
    out["pass"] = timing_json(times.pass_ms);
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
                {"reached", link.reached},
                {"outages", link.outages},
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
            {"reached", link.reached},
            {"requests", link.requests},
            {"unknown", link.unknown},
            {"slaves", std::move(slaves)}};
}

Json pace_json(const PaceFigures& pace) {
    return {{"frames", pace.frames},
            {"late", pace.late},
            {"most_late_ms", rounded(pace.most_late_ms, 0.1)}};
}

Json input_json(const LiveFigures& input) {
    return {{"frames", input.frames},
            {"late", input.late},
            {"missing", input.missing},
            {"dropped", input.dropped},
            {"damaged", input.damaged},
            {"gaps", input.gaps},
            {"opened", input.opened},
            {"colourless", input.colourless},
            {"gap_seconds", static_cast<double>(input.gap_us) / 1e6}};
}

Json left_over_json(const LeftOver& left) {
    return {{"blocks", left.loans.blocks},
            {"mappings", left.loans.mappings},
            {"images", left.images},
            {"wrong_returns", left.loans.errors},
            {"undelivered_messages", left.undelivered_messages},
            {"refused_messages", left.refused_messages},
            {"left_out_frames", left.left_out_frames}};
}

}  // namespace

void write_summary(const RunFacts& facts, const Scores& scores, const Evidence& evidence,
                   const std::string& path) {
    Json root;
    root["run"] = run_json(facts);
    root["lines"] = lines_json(facts, scores);
    root["totals"] = totals_json(facts, scores);
    root["totals"]["left_out_late"] = scores.late_crossings;
    if (!scores.balances.empty()) {
        root["totals"]["left_out_along_closed_lines"] = scores.corner_crossings;
        for (const Balance& balance : scores.balances)
            root["balances"].push_back(balance_json(balance));
    }
    root["regions"] = regions_json(facts, scores);
    if (facts.source.has_truth && !facts.regions.empty()) {
        root["stay_time"] = stay_time_json(scores.stays);
    }
    if (evidence.heat) root["heat_map"] = heat_map_json(facts, scores, *evidence.heat);
    if (uses_staff_model(facts.options)) {
        root["totals"]["staff"] = scores.staff_crossings;
        if (scores.staff) root["staff"] = staff_json(*scores.staff);
    }
    root["groups"] = {{"count", scores.groups.groups}, {"members", scores.groups.members}};
    root["heights"] = heights_json(facts, scores);
    if (facts.source.has_truth) root["detection"] = detection_json(scores.detection);
    root["tracking"] = tracking_json(facts, scores);
    root["ms_per_frame"] = times_json(facts.timings);
    root["wall_seconds"] = facts.wall_s;
    root["times_real_time"] = facts.wall_s > 0.0 ? facts.scene_s / facts.wall_s : 0.0;
    if (facts.pace) root["pace"] = pace_json(*facts.pace);
    if (facts.link) root["link"] = link_json(*facts.link);
    if (facts.input) root["input"] = input_json(*facts.input);
    root["left_over"] = left_over_json(facts.left);
    std::ofstream out(path);
    // The name of a folder can be any bytes; the file is UTF-8 all the same.
    out << root.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    finish(out, path);
}

}  // namespace host
