// From a recording and its labels to the report.
#include "host/app/audit_command.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "host/app/run.h"
#include "host/base/exit_status.h"
#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/base/version.h"
#include "host/media/digest.h"
#include "host/report/audit_json.h"
#include "host/report/audit_page.h"
#include "host/report/audit_pictures.h"
#include "host/report/output_folder.h"
#include "host/settings/record_options.h"
#include "host/sinks/audit_sink.h"
#include "host/sinks/progress_sink.h"

namespace host {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> line_names(const RunPlan& plan) {
    std::vector<std::string> names;
    for (const CountingLine& line : plan.lines)
        names.push_back(line.name);
    return names;
}

AuditedFile audited(const std::string& path) {
    return {fs::path(path).filename().string(), sha256_of_file(path)};
}

std::int64_t now_us() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

AuditFacts facts_of(const AuditOptions& options, const RunPlan& plan, const Labels& labels,
                    const RunFacts& run) {
    const SourceInfo& info = plan.source->info();
    AuditFacts facts;
    for (const std::string& path : plan.options.source.recordings)
        facts.recordings.push_back(audited(path));
    facts.labels = audited(options.labels);
    facts.labellers = labels.labellers();
    facts.by_interval = labels.by_interval;
    facts.label_rows = std::ssize(labels.crossings) + std::ssize(labels.intervals);
    facts.program = "vca " + version_number() + " " + version_commit();
    facts.settings = recorded_settings_text(plan.options, info);
    facts.settings_sha256 = sha256_of_text(facts.settings);
    facts.audited_us = now_us();
    facts.frames = run.timings.frames;
    facts.interval_s = options.interval_s;
    facts.camera = std::to_string(info.sensor.width) + " x " + std::to_string(info.sensor.height) +
                   format_text(" pixels, %.0f pictures a second", info.frames_per_second);
    facts.install_height_mm = run.install_height_mm;
    facts.warnings = run.warnings;
    return facts;
}

std::string numbers_text(const Audit& audit) {
    constexpr TextColumn kName{TextColumn::kLeft, 20, 2};
    constexpr TextColumn kNumber{TextColumn::kRight, 8, 1};
    const std::vector<TextColumn> columns{kName, kNumber, kNumber, kNumber, kNumber};
    std::string text =
        table_row(columns, {"line, direction", "seen", "counted", "balanced", "unbal."});
    const auto row = [&](const std::string& name, const AuditRow& each) {
        const auto percent = [](const std::optional<double>& share) {
            return share ? format_text("%.2f %%", 100.0 * *share) : std::string(kNothing);
        };
        text += table_row(
            columns, {name, std::to_string(each.errors.manual), std::to_string(each.errors.counted),
                      percent(each.errors.balanced), percent(each.errors.unbalanced)});
    };
    for (const AuditRow& each : audit.rows)
        row(each.line + ", " + std::to_string(each.direction), each);
    row("all", audit.total);
    return text;
}

std::string told(const Audit& audit) {
    std::string text = numbers_text(audit) + "  differences         ";
    for (std::size_t i = 0; i < kAuditErrors; ++i) {
        text += (i == 0 ? " " : ", ") + std::to_string(audit.total.kinds[i]) + " " +
                audit_error_name(static_cast<AuditError>(i));
    }
    const BiasTest& bias = audit.total.bias;
    text += std::string("\n  bias within 1 %      ") + bias_verdict_name(bias.verdict);
    if (bias.verdict == BiasVerdict::kNotShown && bias.crossings_still_needed > 0)
        text +=
            "; about " + std::to_string(bias.crossings_still_needed) + " more crossings are needed";
    return text + "\n";
}

std::vector<TimedCrossing> crossings_of(const Labels& labels) {
    if (labels.by_interval) {
        throw InputError('"' + labels.file +
                         "\" has counts of intervals; only labels of single crossings can be "
                         "compared one by one");
    }
    std::vector<TimedCrossing> list;
    for (const Label& label : labels.crossings)
        list.push_back({label.time_s, label.line, label.direction});
    return list;
}

// How far two people who watched the same recording agree.
int compare_labellers(const AuditOptions& options) {
    const Labels first = read_labels(options.labels);
    const Labels second = read_labels(options.against);
    const std::vector<TimedCrossing> a = crossings_of(first), b = crossings_of(second);
    const ListComparison result = compare_crossings(a, b);
    std::string text;
    const auto list = [&text](const std::string& file, const std::vector<TimedCrossing>& crossings,
                              const std::vector<std::size_t>& only) {
        for (const std::size_t i : only) {
            const TimedCrossing& crossing = crossings[i];
            text += format_text("  %8.1f s  ", crossing.time_s) + "line " + visible(crossing.line) +
                    ", direction " + std::to_string(crossing.direction) + ": only in " +
                    visible(file) + "\n";
        }
    };
    list(options.labels, a, result.only_first);
    list(options.against, b, result.only_second);
    const std::size_t all = a.size() + b.size() - result.both.size();
    text += std::to_string(result.both.size()) + " of " + std::to_string(all) +
            " crossings were seen by both";
    if (all > 0)
        text +=
            ": " +
            percent_text(static_cast<double>(result.both.size()) / static_cast<double>(all), 1) +
            " agreement";
    write_text(stdout, text + "\n");
    return kExitOk;
}

}  // namespace

int audit_command(const AuditOptions& options, const std::atomic<bool>& stop) {
    if (!options.against.empty()) return compare_labellers(options);
    const Labels labels = read_labels(options.labels);
    RunPlan plan = prepare_run(options.run);
    const SourceInfo& info = plan.source->info();
    check_labels(labels, line_names(plan), 0.0);
    if (options.run.output.empty()) plan.output = "audit/" + info.name;
    settle_height(plan, stop);
    OutputFolder folder(plan.output, {kAuditFile, kAuditPage});
    folder.begin();
    StandardOutput output("/dev/null");  // what the library prints
    ProgressDisplay display(stderr, {""}, options.run.quiet);
    ProgressSink progress(display, {info.frames_per_second, expected_frames(plan)});
    AuditSink seen(story_names(plan));
    const RunFacts run_facts = run(plan, {&seen, &progress}, stop);
    output.restore();
    if (run_facts.interrupted)
        throw std::runtime_error("the audit was stopped before the recording ended");
    if (seen.frames().empty()) throw InputError("the recording has no pictures to be audited");

    AuditInput input{line_names(plan),  &labels, seen.counts(), seen.witnesses(), 0.0, 0.0,
                     options.interval_s};
    input.from_s = seen.frames().front().time_s;
    input.end_s = seen.frames().back().time_s + 1.0 / info.frames_per_second;
    check_labels(labels, input.lines, input.end_s);
    const Audit audit = audit_counts(input);
    AuditFacts facts = facts_of(options, plan, labels, run_facts);
    facts.from_s = input.from_s;
    facts.end_s = input.end_s;
    facts.recorded_us = info.start_us + std::llround(input.from_s * 1e6);
    const auto again = level_source(open_source(plan.options.source), plan.options.tilt);
    again->begin();
    facts.strips = draw_strips(*again, {plan.lines, run_facts.install_height_mm, &seen.frames()},
                               input, audit);
    write_audit_json(facts, input, audit, folder.file(kAuditFile));
    write_audit_page(facts, input, audit, folder.file(kAuditPage));
    folder.commit();
    write_text(stdout, told(audit) + "  report in            " +
                           visible((fs::path(plan.output) / kAuditPage).string()) + "\n");
    const std::vector<std::string> losses = plan.source->losses();
    for (const std::string& loss : losses)
        std::fprintf(stderr, "vca: %s\n", visible(loss).c_str());
    return losses.empty() ? kExitOk : kExitIncomplete;
}

}  // namespace host
