// Layout of the summary and of the list of scenes.
#include "host/report/report.h"

#include <algorithm>
#include <array>

#include "host/base/text.h"
#include "host/frames/sim_source.h"

namespace host {
namespace {

constexpr TextColumn kName{TextColumn::kLeft, 20, 2};
constexpr TextColumn kNumber{TextColumn::kRight, 8, 1};

// The count, beside the truth where it is known.
std::vector<std::string> count_cells(const std::string& name, const char* direction,
                                     const DirectionCount& count, bool with_truth) {
    if (!with_truth) return {name, direction, std::to_string(count.counted)};
    return {name, direction, std::to_string(count.truth), std::to_string(count.counted),
            format_text("%+d", count.counted - count.truth)};
}

void print_counts(std::string& out, const RunFacts& facts, const Scores& scores) {
    const std::vector<TextColumn> columns{
        kName, {TextColumn::kLeft, 10, 1}, kNumber, kNumber, kNumber};
    const bool with_truth = facts.source.has_truth;
    const auto print_both = [&](const std::string& name,
                                const std::array<DirectionCount, 2>& counts) {
        out += table_row(columns, count_cells(name, "1", counts[0], with_truth));
        out += table_row(columns, count_cells("", "2", counts[1], with_truth));
    };
    std::vector<std::string> heading{"line", "direction"};
    if (with_truth) heading.emplace_back("true");
    heading.emplace_back("counted");
    if (with_truth) heading.emplace_back("error");
    out += '\n' + table_row(columns, heading);
    for (std::size_t line = 0; line < scores.counts.size(); ++line)
        print_both(facts.lines[line].name, scores.counts[line]);
    if (!scores.counts.empty()) print_both("all lines", scores.totals);
    if (scores.late_crossings > 0)
        out += format_text(
            "  left out: %lld counted late, on people who had gone back or were not seen any "
            "more\n",
            static_cast<long long>(scores.late_crossings));
    if (scores.corner_crossings > 0)
        out += format_text(
            "  left out: %lld counted along a closed line, to a side where the person was already, "
            "or was not\n",
            static_cast<long long>(scores.corner_crossings));
}

void print_balances(std::string& out, const Scores& scores) {
    constexpr std::size_t kMostPrinted = 10;
    for (const Balance& balance : scores.balances) {
        out += balance_row(balance) + "\n";
        for (std::size_t i = 0; i < std::min(balance.faults.size(), kMostPrinted); ++i)
            out += "    " + visible(fault_text(balance.faults[i])) + "\n";
        const auto more = balance.fault_count - static_cast<std::int64_t>(kMostPrinted);
        if (more > 0) out += "    and " + std::to_string(more) + " more, see summary.json\n";
    }
}

void print_regions(std::string& out, const RunFacts& facts, const Scores& scores) {
    if (facts.regions.empty()) return;
    const bool with_truth = facts.source.has_truth;
    std::vector<TextColumn> columns{kName, kNumber, kNumber, kNumber};
    std::vector<std::string> heading{"region", "people", "inside", "peak"};
    if (with_truth) {
        columns.insert(columns.end(), {kNumber, kNumber, kNumber, {TextColumn::kRight, 9, 1}});
        heading.insert(heading.end(), {"true", "peak", "error", "(inside)"});
    }
    columns.push_back(kNumber);
    heading.emplace_back("stays");
    out += '\n' + table_row(columns, heading);
    for (std::size_t i = 0; i < facts.regions.size(); ++i) {
        const Occupancy& o = scores.regions[i];
        std::vector<std::string> cells{facts.regions[i].name, format_text("%.2f", o.mean),
                                       format_text("%.2f", o.inside_mean), std::to_string(o.peak)};
        if (with_truth) {
            cells.insert(
                cells.end(),
                {format_text("%.2f", o.true_mean), std::to_string(o.true_peak),
                 format_text("%.2f", o.mean_abs_error), format_text("%.2f", o.inside_abs_error)});
        }
        cells.push_back(std::to_string(o.stays));
        out += table_row(columns, cells);
    }
}

void print_places(std::string& out, const RunFacts& facts, const Scores& scores,
                  const Evidence& evidence) {
    const StayScore& stays = scores.stays;
    if (!stays.error_sizes_s.empty()) {
        out +=
            format_text("  time in regions      size of error: median %.2f s, 95 %% below %.2f s; ",
                        stays.error_sizes_s.quantile(0.5), stays.error_sizes_s.quantile(0.95));
        out += format_text("%d of %d stays missed\n", stays.true_long_stays_missed,
                           stays.true_long_stays);
    }
    if (!evidence.heat) return;
    out += format_text("  heat map             %.0f s as the map counts them",
                       heat_seconds(*evidence.heat));
    if (facts.source.has_truth)
        out += format_text("; people were in view for %.0f s", scores.true_view_s);
    out += "\n";
}

void print_staff(std::string& out, const RunFacts& facts, const Scores& scores) {
    if (!uses_staff_model(facts.options)) return;
    out += format_text("  staff                %lld of %lld counted",
                       static_cast<long long>(scores.staff_crossings),
                       static_cast<long long>(scores.crossings));
    if (const auto& score = scores.staff) {
        out += format_text("; %d tracks: ", score->tracks()) + "precision " +
               percent_text(score->precision(), 2) + ", recall " +
               percent_text(score->recall(), 2) + ", accuracy " +
               percent_text(score->accuracy(), 2);
    }
    out += "\n";
}

void print_groups(std::string& out, const GroupCount& groups) {
    if (groups.groups == 0) return;
    out += format_text("  groups               %d with %d people\n", groups.groups, groups.members);
}

void print_quality(std::string& out, const RunFacts& facts, const Scores& scores) {
    const Samples& sizes = scores.height_error_sizes_mm;
    if (!sizes.empty()) {
        out += format_text(
            "  height of counted    median error %+.0f mm, size of error: median %.0f mm, "
            "95 %% below %.0f mm\n",
            scores.height_errors_mm.quantile(0.5), sizes.quantile(0.5), sizes.quantile(0.95));
    }
    if (!facts.source.has_truth) {
        out += format_text("  tracks               %lld\n", static_cast<long long>(scores.tracks));
        return;
    }
    out += "  detection            recall " + percent_text(scores.detection.recall(), 2) +
           ", precision " + percent_text(scores.detection.precision(), 2) + "\n";
    out += format_text("  tracking             %lld tracks, %lld identity switches, ",
                       static_cast<long long>(scores.tracks),
                       static_cast<long long>(scores.tracking.switches)) +
           "MOTA " + percent_text(scores.tracking.mota(), 2) + ", IDF1 " +
           percent_text(scores.tracking.idf1(), 2) + "\n";
}

void print_input(std::string& out, const LiveFigures& input) {
    const auto number = [](std::int64_t n) { return static_cast<long long>(n); };
    out += format_text(
        "  live input           %lld frames, %lld late, %lld missing, %lld dropped, %lld damaged; "
        "%lld gaps of %.1f s in all\n",
        number(input.frames), number(input.late), number(input.missing), number(input.dropped),
        number(input.damaged), number(input.gaps), static_cast<double>(input.gap_us) / 1e6);
}

void print_times(std::string& out, const RunFacts& facts) {
    const Timings& times = facts.timings;
    out += format_text(
        "  time per frame       median: %s %.1f ms | detection %.1f ms, tracker %.2f ms, "
        "library %.2f ms\n",
        facts.source.has_truth ? "simulation" : "reading", times.source_ms.quantile(0.5),
        times.detection_ms.quantile(0.5), times.tracker_ms.quantile(0.5),
        times.library_ms.quantile(0.5));
    const double speed = facts.wall_s > 0.0 ? facts.scene_s / facts.wall_s : 0.0;
    out += format_text("  speed                %lld frames in %.1f s, %.1f times real time\n",
                       static_cast<long long>(times.frames), facts.wall_s, speed);
    out += format_text(
        "  not given back       %d blocks, %d mappings, %d images; %d invalid returns\n",
        facts.left.loans.blocks, facts.left.loans.mappings, facts.left.images,
        facts.left.loans.errors);
}

}  // namespace

std::string balance_row(const Balance& balance) {
    std::string text = "  inside " + visible(balance.line);
    text.resize(std::max<std::size_t>(text.size() + 2, 23), ' ');
    text += balance_text(balance);
    if (balance.is_exact()) return text + ": exact";
    text += balance.difference() == 0 ? ": exact at the end"
                                      : format_text(": off by %+lld at the end",
                                                    static_cast<long long>(balance.difference()));
    if (balance.fault_count == 0) return text;
    return text + format_text("; %lld %s not where the counts had them",
                              static_cast<long long>(balance.fault_count),
                              balance.fault_count == 1 ? "person was" : "times people were");
}

std::string summary_text(const RunFacts& facts, const Scores& scores, const Evidence& evidence) {
    std::string out;
    out += facts.source.name + ": " + facts.source.description + "\n";
    out +=
        format_text("%.1f s of scene time, camera at %.0f mm%s, detection on %s%s\n", facts.scene_s,
                    facts.install_height_mm, facts.height_measured ? " (measured)" : "",
                    detect_mode_name(facts.options.detect.value),
                    facts.interrupted ? ", ended early by the user" : "");
    if (const auto& tilt = facts.source.camera.levelled) {
        out += format_text(
            "the camera hangs crooked by roll %.1f, pitch %.1f degrees; its "
            "pictures were levelled\n",
            tilt->roll_deg, tilt->pitch_deg);
    }
    for (const std::string& warning : facts.warnings)
        out += "warning: " + warning + "\n";
    print_counts(out, facts, scores);
    print_regions(out, facts, scores);
    out += "\n";
    for (const std::string& missing : facts.missing)
        out += "  missing: " + missing + "\n";
    print_balances(out, scores);
    print_groups(out, scores.groups);
    print_staff(out, facts, scores);
    print_places(out, facts, scores, evidence);
    print_quality(out, facts, scores);
    if (facts.input) print_input(out, *facts.input);
    print_times(out, facts);
    return out;
}

std::string left_over_text(const LeftOver& left) {
    const LoanCounts& loans = left.loans;
    std::string out;
    if (loans.blocks == 0 && loans.mappings == 0 && left.images == 0 && loans.errors == 0) {
        return out;
    }
    out += format_text(
        "the analysis did not give back %d blocks, %d mappings and %d images and made %d wrong "
        "returns; the results are written, but this is a fault of the library",
        loans.blocks, loans.mappings, left.images, loans.errors);
    return out;
}

std::string scenes_text() {
    std::string out;
    for (const SceneEntry& scene : scene_list()) {
        out +=
            format_text("  %-10s %s; %.0f s at %.0f frames/s, %zu %s, %zu %s%s\n",
                        scene.name.c_str(), scene.description.c_str(), scene.duration_s,
                        scene.frames_per_second, scene.lines, scene.lines == 1 ? "line" : "lines",
                        scene.regions, scene.regions == 1 ? "region" : "regions",
                        scene.crowded ? ", too dense to count without errors" : "");
    }
    return out;
}

}  // namespace host
