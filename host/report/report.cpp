// Layout of the summary and of the list of scenes.
#include "host/report/report.h"

#include <cstdarg>
#include <cstdio>

#include "host/base/text.h"
#include "host/frames/sim_source.h"

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

void print_counts(std::string& out, const RunFacts& facts, const Scores& scores) {
    const bool with_truth = facts.source.has_truth;
    print(out, "\n  %-20s %-10s%s\n", "line", "direction",
          with_truth ? "     true  counted    error" : "  counted");
    for (std::size_t line = 0; line < scores.counts.size(); ++line) {
        for (std::size_t d = 0; d < 2; ++d) {
            const DirectionCount& count = scores.counts[line][d];
            print_count(out, d == 0 ? facts.lines[line].name : "", d == 0 ? "1" : "2", count,
                        with_truth);
        }
    }
    if (scores.counts.empty()) return;
    print_count(out, "all lines", "1", scores.totals[0], with_truth);
    print_count(out, "", "2", scores.totals[1], with_truth);
}

void print_regions(std::string& out, const RunFacts& facts, const Scores& scores) {
    if (facts.regions.empty()) return;
    const bool with_truth = facts.source.has_truth;
    print(out, "\n  %-20s %8s %8s %8s", "region", "people", "inside", "peak");
    print(out, "%s%8s\n", with_truth ? "     true     peak    error  (inside) " : " ", "stays");
    for (std::size_t i = 0; i < facts.regions.size(); ++i) {
        const Occupancy& o = scores.regions[i];
        out += "  " + fitted(facts.regions[i].name, kNameWidth);
        print(out, " %8.2f %8.2f %8d", o.mean, o.inside_mean, o.peak);
        if (with_truth) {
            print(out, " %8.2f %8d %8.2f %9.2f", o.true_mean, o.true_peak, o.mean_abs_error,
                  o.inside_abs_error);
        }
        print(out, " %8d\n", o.stays);
    }
}

void print_places(std::string& out, const RunFacts& facts, const Scores& scores,
                  const Evidence& evidence) {
    const StayScore& stays = scores.stays;
    if (!stays.error_sizes_s.empty()) {
        print(out, "  time in regions      size of error: median %.2f s, 95 %% below %.2f s; ",
              stays.error_sizes_s.quantile(0.5), stays.error_sizes_s.quantile(0.95));
        print(out, "%d of %d stays not seen\n", stays.true_long_stays_missed,
              stays.true_long_stays);
    }
    if (!evidence.heat) return;
    print(out, "  heat map             %.0f s as the map counts them",
          heat_seconds(*evidence.heat));
    if (facts.source.has_truth) print(out, "; people were in view for %.0f s", scores.true_view_s);
    out += "\n";
}

void print_staff(std::string& out, const RunFacts& facts, const Scores& scores) {
    if (!uses_staff_model(facts.options)) return;
    print(out, "  staff                %lld of %lld counted",
          static_cast<long long>(scores.staff_crossings), static_cast<long long>(scores.crossings));
    if (const auto& score = scores.staff) {
        print(out, "; %d tracks: precision %.2f %%, recall %.2f %%, accuracy %.2f %%",
              score->tracks(), score->precision() * 100.0, score->recall() * 100.0,
              score->accuracy() * 100.0);
    }
    out += "\n";
}

void print_groups(std::string& out, const GroupCount& groups) {
    if (groups.groups == 0) return;
    print(out, "  groups               %d with %d people\n", groups.groups, groups.members);
}

void print_quality(std::string& out, const RunFacts& facts, const Scores& scores) {
    const Samples& sizes = scores.height_error_sizes_mm;
    if (!sizes.empty()) {
        print(out,
              "  height of counted    median error %+.0f mm, size of error: median %.0f mm, "
              "95 %% below %.0f mm\n",
              scores.height_errors_mm.quantile(0.5), sizes.quantile(0.5), sizes.quantile(0.95));
    }
    if (!facts.source.has_truth) {
        print(out, "  tracks               %lld\n", static_cast<long long>(scores.tracks));
        return;
    }
    print(out, "  detection            recall %.2f %%, precision %.2f %%\n",
          scores.detection.recall() * 100.0, scores.detection.precision() * 100.0);
    print(out,
          "  tracking             %lld tracks, %lld identity switches, MOTA %.2f %%, "
          "IDF1 %.2f %%\n",
          static_cast<long long>(scores.tracks), static_cast<long long>(scores.tracking.switches),
          scores.tracking.mota() * 100.0, scores.tracking.idf1() * 100.0);
}

void print_times(std::string& out, const RunFacts& facts) {
    const Timings& times = facts.timings;
    print(out,
          "  time per frame       median: %s %.1f ms | detection %.1f ms, tracker %.2f ms, "
          "library %.2f ms\n",
          facts.source.has_truth ? "simulation" : "reading", times.source_ms.quantile(0.5),
          times.detection_ms.quantile(0.5), times.tracker_ms.quantile(0.5),
          times.library_ms.quantile(0.5));
    const double speed = facts.wall_s > 0.0 ? facts.scene_s / facts.wall_s : 0.0;
    print(out, "  speed                %lld frames in %.1f s, %.1f times real time\n",
          static_cast<long long>(times.frames), facts.wall_s, speed);
    print(out, "  not given back       %d blocks, %d mappings, %d images; %d wrong returns\n",
          facts.left.loans.blocks, facts.left.loans.mappings, facts.left.images,
          facts.left.loans.errors);
}

}  // namespace

std::string summary_text(const RunFacts& facts, const Scores& scores, const Evidence& evidence) {
    std::string out;
    out += facts.source.name + ": " + facts.source.description + "\n";
    print(out, "%.1f s of scene time, camera at %.0f mm%s, detection on %s%s\n", facts.scene_s,
          facts.install_height_mm, facts.height_measured ? " (measured)" : "",
          detect_mode_name(facts.options.detect),
          facts.interrupted ? ", ended early by the user" : "");
    print_counts(out, facts, scores);
    print_regions(out, facts, scores);
    out += "\n";
    for (const std::string& warning : facts.warnings)
        out += "  warning: " + warning + "\n";
    print_groups(out, scores.groups);
    print_staff(out, facts, scores);
    print_places(out, facts, scores, evidence);
    print_quality(out, facts, scores);
    print_times(out, facts);
    return out;
}

std::string left_over_text(const LeftOver& left) {
    const LoanCounts& loans = left.loans;
    std::string out;
    if (loans.blocks == 0 && loans.mappings == 0 && left.images == 0 && loans.errors == 0) {
        return out;
    }
    print(out,
          "the analysis did not give back %d blocks, %d mappings and %d images and made %d wrong "
          "returns; the results are written, but this is a fault of the library",
          loans.blocks, loans.mappings, left.images, loans.errors);
    return out;
}

std::string scenes_text() {
    std::string out;
    for (const SceneEntry& scene : scene_list()) {
        print(out, "  %-10s %s; %.0f s at %.0f frames/s, %zu %s, %zu %s%s\n", scene.name.c_str(),
              scene.description.c_str(), scene.duration_s, scene.frames_per_second, scene.lines,
              scene.lines == 1 ? "line" : "lines", scene.regions,
              scene.regions == 1 ? "region" : "regions",
              scene.crowded ? ", too dense to count without errors" : "");
    }
    return out;
}

}  // namespace host
