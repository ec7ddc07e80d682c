#include "bench/report.h"

#include <cstdio>

namespace {

bool begins_with(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

// Without what Google Benchmark adds to a name: repetitions, iterations, kind of time.
std::string plain_name(const std::string& name) {
    return name.substr(0, name.find("/iterations:"));
}

// "pass/master/everything/30" as table cells.
std::string cells_of(const std::string& name) {
    std::string cells = name.substr(name.find('/') + 1);
    for (size_t slash = cells.find('/'); slash != std::string::npos; slash = cells.find('/', slash))
        cells.replace(slash, 1, " | ");
    return cells;
}

}  // namespace

void bench::TableReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.repetitions > 1 && run.aggregate_name != "median") continue;
        Row row{plain_name(run.run_name.str()), run.report_label, {}};
        for (const auto& [name, counter] : run.counters)
            row.values[name] = counter.value;
        std::fprintf(stderr, "%s\n", row.name.c_str());
        rows_.push_back(std::move(row));
    }
}

const bench::TableReporter::Row* bench::TableReporter::find(const std::string& name) const {
    for (const Row& row : rows_)
        if (row.name == name) return &row;
    return nullptr;
}

void bench::TableReporter::Finalize() {
    print_passes();
    print_parts();
    print_goals();
    std::fflush(stdout);
}

void bench::TableReporter::print_passes() const {
    std::printf(
        "| work mode | configuration | people | median | 99.9 %% | 99.9 %% / median | own time: "
        "99.9 "
        "%% | 99.9 %% / median |\n|---|---|---|---|---|---|---|---|\n");
    for (const Row& row : rows_) {
        if (!begins_with(row.name, "pass/")) continue;
        const auto& v = row.values;
        std::printf("| %s | %.1f µs | %.1f µs | %.1f | %.1f µs | %.1f |\n",
                    cells_of(row.name).c_str(), v.at("median_us"), v.at("p999_us"), v.at("ratio"),
                    v.at("cpu_p999_us"), v.at("cpu_ratio"));
    }
}

void bench::TableReporter::print_parts() const {
    std::printf("\n| part | bytes | time | floor | time / floor |\n|---|---|---|---|---|\n");
    for (const Row& row : rows_) {
        if (!begins_with(row.name, "part/")) continue;
        const auto& v = row.values;
        const double step_us = v.at("step_us");
        const double floor_us = v.at("floor_us");
        if (floor_us > 0.0 && step_us > 0.0)
            std::printf("| %s | %.0f | %.2f µs | %.2f µs | %.1f |\n", row.label.c_str(),
                        v.at("bytes"), step_us, floor_us, step_us / floor_us);
        else
            std::printf("| %s | %.0f | %.2f µs | %.2f µs | - |\n", row.label.c_str(), v.at("bytes"),
                        step_us, floor_us);
    }
}

void bench::TableReporter::print_goals() const {
    constexpr struct {
        const char* goal;
        const char* name;
        const char* value;
        double limit;
        const char* unit;
    } kGoals[] = {
        {"30 people, everything on", "pass/stand-alone/everything/30", "median_us", 60, " µs"},
        {"its 99.9 % / median", "pass/stand-alone/everything/30", "ratio", 4, ""},
        {"the same of own time", "pass/stand-alone/everything/30", "cpu_ratio", 4, ""},
        {"100 people, everything on", "pass/stand-alone/everything/100", "median_us", 200, " µs"},
        {"its 99.9 % / median", "pass/stand-alone/everything/100", "ratio", 4, ""},
        {"the same of own time", "pass/stand-alone/everything/100", "cpu_ratio", 4, ""},
        {"erasing the first of 100 tracks", "part/removal", "step_us", 50, " µs"},
        {"applying a configuration", "part/configuration", "step_us", 2000, " µs"},
    };
    std::printf("\n| goal | at most | reached | |\n|---|---|---|---|\n");
    for (const auto& goal : kGoals) {
        const Row* row = find(goal.name);
        if (row == nullptr) continue;
        const double value = row->values.at(goal.value);
        std::printf("| %s | %g%s | %.1f%s | %s |\n", goal.goal, goal.limit, goal.unit, value,
                    goal.unit, value <= goal.limit ? "yes" : "no");
    }
}
