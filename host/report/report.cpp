// Layout of the summary and of the list of scenes.
#include "host/report/report.h"

#include <cstdarg>
#include <cstdio>

#include "host/base/text.h"
#include "sim/simulator.h"

namespace host {
namespace {

constexpr std::size_t kNameWidth = 20;

__attribute__((format(printf, 2, 3))) void print(std::string& out, const char* format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    out += line;
}

void print_count(std::string& out, const std::string& name, const char* direction,
                 const DirectionCount& count, bool with_truth) {
    out += "  " + fitted(name, kNameWidth);
    if (with_truth) {
        print(out, " %-10s %8d %8d %+8d\n", direction, count.truth, count.counted,
              count.counted - count.truth);
    } else {
        print(out, " %-10s %8d\n", direction, count.counted);
    }
}

void print_counts(std::string& out, const RunResult& result) {
    const bool with_truth = result.source.has_truth;
    print(out, "\n  %-20s %-10s%s\n", "line", "direction",
          with_truth ? "     true  counted    error" : "  counted");
    for (std::size_t line = 0; line < result.counts.size(); ++line) {
        for (std::size_t d = 0; d < 2; ++d) {
            const DirectionCount& count = result.counts[line][d];
            print_count(out, d == 0 ? result.lines[line].name : "", d == 0 ? "1" : "2", count,
                        with_truth);
        }
    }
    if (result.counts.empty()) return;
    print_count(out, "all lines", "1", result.totals[0], with_truth);
    print_count(out, "", "2", result.totals[1], with_truth);
}

void print_regions(std::string& out, const RunResult& result) {
    if (result.regions.empty()) return;
    const bool with_truth = result.source.has_truth;
    print(out, "\n  %-20s %8s %8s %8s", "region", "people", "inside", "peak");
    print(out, "%s%8s\n", with_truth ? "     true     peak    error  (inside) " : " ", "stays");
    for (std::size_t i = 0; i < result.regions.size(); ++i) {
        const Occupancy& o = result.region_stats.regions[i];
        out += "  " + fitted(result.regions[i].name, kNameWidth);
        print(out, " %8.2f %8.2f %8d", o.mean, o.inside_mean, o.peak);
        if (with_truth) {
            print(out, " %8.2f %8d %8.2f %9.2f", o.true_mean, o.true_peak, o.mean_abs_error,
                  o.inside_abs_error);
        }
        print(out, " %8d\n", o.stays);
    }
}

void print_places(std::string& out, const RunResult& result) {
    const RegionStats& stats = result.region_stats;
    if (!stats.stay_error_sizes_s.empty()) {
        print(out, "  time in regions      size of error: median %.2f s, 95 %% below %.2f s; ",
              quantile(stats.stay_error_sizes_s, 0.5), quantile(stats.stay_error_sizes_s, 0.95));
        print(out, "%d of %d stays not seen\n", stats.true_long_stays_missed,
              stats.true_long_stays);
    }
    if (!result.heat) return;
    print(out, "  heat map             %.0f s as the map counts them", heat_seconds(*result.heat));
    if (result.source.has_truth) print(out, "; people were in view for %.0f s", stats.true_view_s);
    out += "\n";
}

void print_staff(std::string& out, const RunResult& result) {
    if (!uses_staff_model(result.options)) return;
    print(out, "  staff                %d of %zu counted", result.staff_counted,
          result.crossings.size());
    if (const auto& score = result.region_stats.staff) {
        print(out, "; %d tracks: precision %.2f %%, recall %.2f %%, accuracy %.2f %%",
              score->tracks(), score->precision() * 100.0, score->recall() * 100.0,
              score->accuracy() * 100.0);
    }
    out += "\n";
}

void print_groups(std::string& out, const RunResult& result) {
    int groups = 0;
    int members = 0;
    for (const Event& event : result.events) {
        if (const auto* group = std::get_if<GroupCounted>(&event.payload)) {
            ++groups;
            members += group->members;
        }
    }
    if (groups > 0) print(out, "  groups               %d with %d people\n", groups, members);
}

void print_quality(std::string& out, const RunResult& result) {
    const std::vector<double>& sizes = result.height_error_sizes_mm;
    if (!sizes.empty()) {
        print(out,
              "  height of counted    median error %+.0f mm, size of error: median %.0f mm, "
              "95 %% below %.0f mm\n",
              quantile(result.height_errors_mm, 0.5), quantile(sizes, 0.5), quantile(sizes, 0.95));
    }
    if (!result.source.has_truth) {
        print(out, "  tracks               %d\n", result.tracks);
        return;
    }
    print(out, "  detection            recall %.2f %%, precision %.2f %%\n",
          result.detection.recall() * 100.0, result.detection.precision() * 100.0);
    print(out,
          "  tracking             %d tracks, %lld identity switches, MOTA %.2f %%, "
          "IDF1 %.2f %%\n",
          result.tracks, static_cast<long long>(result.tracking.switches),
          result.tracking.mota() * 100.0, result.tracking.idf1() * 100.0);
}

void print_times(std::string& out, const RunResult& result) {
    print(out,
          "  time per frame       median: %s %.1f ms | detection %.1f ms, tracker %.2f ms, "
          "library %.2f ms\n",
          result.source.has_truth ? "simulation" : "reading", result.simulation.median,
          result.detecting.median, result.tracker.median, result.library.median);
    const double speed = result.wall_s > 0.0 ? result.scene_s / result.wall_s : 0.0;
    print(out, "  speed                %lld frames in %.1f s, %.1f times real time\n",
          static_cast<long long>(result.source_frames()), result.wall_s, speed);
    print(out, "  not given back       %d blocks, %d mappings, %d images; %d wrong returns\n",
          result.loans.blocks, result.loans.mappings, result.images_left, result.loans.errors);
}

}  // namespace

std::string summary_text(const RunResult& result) {
    std::string out;
    out += result.source.name + ": " + result.source.description + "\n";
    print(out, "%.1f s of scene time, camera at %.0f mm%s, detection on %s%s\n", result.scene_s,
          result.install_height_mm, result.height_measured ? " (measured)" : "",
          detect_mode_name(result.options.detect),
          result.interrupted ? ", ended early by the user" : "");
    print_counts(out, result);
    print_regions(out, result);
    out += "\n";
    for (const std::string& warning : result.warnings)
        out += "  warning: " + warning + "\n";
    print_groups(out, result);
    print_staff(out, result);
    print_places(out, result);
    print_quality(out, result);
    print_times(out, result);
    return out;
}

std::string left_over_text(const RunResult& result) {
    const LoanCounts& loans = result.loans;
    std::string out;
    if (loans.blocks == 0 && loans.mappings == 0 && result.images_left == 0 && loans.errors == 0) {
        return out;
    }
    print(out,
          "the analysis did not give back %d blocks, %d mappings and %d images and made %d wrong "
          "returns; the results are written, but this is a fault of the library",
          loans.blocks, loans.mappings, result.images_left, loans.errors);
    return out;
}

std::string scenes_text() {
    std::string out;
    for (const std::string& name : sim::scene_names()) {
        const sim::SceneInfo info = sim::scene_info(name);
        print(out, "  %-10s %s; %.0f s at %.0f frames/s, %zu %s, %zu %s%s\n", name.c_str(),
              info.description.c_str(), info.duration_s, info.fps, info.lines.size(),
              info.lines.size() == 1 ? "line" : "lines", info.regions.size(),
              info.regions.size() == 1 ? "region" : "regions",
              info.crowded ? ", too dense to count without errors" : "");
    }
    return out;
}

}  // namespace host
