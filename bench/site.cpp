// How well a site counts: several cameras as one, each camera alone, and people seen twice. Prints
// Markdown tables.
//
//   bench_site [--delay-frames N] [--events DIR] [NAME [SEED ...]]
//
// NAME is that of a file of host/examples without its ending. The master uses what its slaves sent
// N frames before, 1 unless given. DIR, which has to exist, gets the events of every process of the
// last run.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "bench/lockstep.h"

namespace {

struct Case {
    std::string name;
    std::vector<std::uint64_t> seeds;
};

const std::vector<Case> kCases = {{"hall", {1, 2, 3, 4, 5}}, {"station", {1, 2, 3}}};

std::string run_name(const Case& one, std::uint64_t seed) {
    return one.name + ", seed " + std::to_string(seed);
}

double percent(double share) {
    return 100.0 * share;
}

// ---- Counts ----

struct Tally {
    int truth = 0;
    int off = 0;  // sum of the differences of both directions
};

std::string cell(const host::LineCounts& counts, const host::LineCounts& truth, std::size_t line,
                 Tally* sum) {
    const auto& seen = counts.lines[line];
    if (!seen) return "-";
    const std::array<int, 2>& real = *truth.lines[line];
    const int off = std::abs((*seen)[0] - real[0]) + std::abs((*seen)[1] - real[1]);
    const int all = real[0] + real[1];
    if (sum != nullptr) {
        sum->truth += all;
        sum->off += off;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%d + %d (%.1f %%)", (*seen)[0], (*seen)[1],
                  all > 0 ? percent(static_cast<double>(off) / all) : 0.0);
    return text;
}

void print_count_head(const host::Site& site) {
    std::printf("\n| run | line | true, directions 1 + 2 | merged |");
    for (const host::SiteDevice& device : site.devices)
        std::printf(" %s alone |", device.name.c_str());
    std::printf("\n|---|---|---|---|");
    for (std::size_t i = 0; i < site.devices.size(); ++i)
        std::printf("---|");
    std::printf("\n");
}

// One row for each line; columns of the sums are merged and the cameras alone.
void print_count_rows(const std::string& name, const host::Site& site,
                      const host::SiteResult& result, std::vector<std::vector<Tally>>& sums) {
    for (std::size_t i = 0; i < site.lines.size(); ++i) {
        const std::array<int, 2>& real = *result.truth.lines[i];
        std::printf("| %s | %s | %d + %d | %s |", name.c_str(), site.lines[i].name.c_str(), real[0],
                    real[1], cell(result.merged, result.truth, i, &sums[i][0]).c_str());
        for (std::size_t k = 0; k < result.alone.size(); ++k)
            std::printf(" %s |", cell(result.alone[k], result.truth, i, &sums[i][k + 1]).c_str());
        std::printf("\n");
    }
}

void print_count_sums(const std::string& name, const host::Site& site,
                      const std::vector<std::vector<Tally>>& sums) {
    for (std::size_t i = 0; i < site.lines.size(); ++i) {
        std::printf("| %s, all | %s | %d |", name.c_str(), site.lines[i].name.c_str(),
                    sums[i][0].truth);
        for (const Tally& sum : sums[i]) {
            if (sum.truth == 0)
                std::printf(" - |");
            else
                std::printf(" %d wrong (%.1f %%) |", sum.off,
                            percent(static_cast<double>(sum.off) / sum.truth));
        }
        std::printf("\n");
    }
}

// ---- People seen twice ----

constexpr char kMergeHead[] =
    "\n| run | people | per m², median / most | seen by two cameras or more at once | of them one "
    "object | their person-frames | exactly one object | none | duplicates | id changes | objects "
    "near nobody, on frames | age of slaves' reports |\n"
    "|---|---|---|---|---|---|---|---|---|---|---|---|\n";

std::string merge_row(const std::string& name, const bench::SiteRun& run) {
    const host::MergeScore& m = run.result.merge;
    const auto share = [&m](std::int64_t part) {
        return m.person_frames == 0
                   ? 0.0
                   : percent(static_cast<double>(part) / static_cast<double>(m.person_frames));
    };
    char text[512];
    std::snprintf(text, sizeof text,
                  "| %s | %d | %.2f / %.2f | %d | %d (%.1f %%) | %lld | %.2f %% | %.2f %% | "
                  "%.2f %% | %lld | %lld | %.2f frames |\n",
                  name.c_str(), run.people, run.median_per_m2, run.most_per_m2, m.people,
                  m.people_one_object, m.people == 0 ? 0.0 : 100.0 * m.people_one_object / m.people,
                  static_cast<long long>(m.person_frames), share(m.one_object), share(m.no_object),
                  share(m.duplicate_frames), static_cast<long long>(m.id_changes),
                  static_cast<long long>(m.stray_objects), run.slave_lag_frames);
    return text;
}

// Returns the rows about people seen twice.
std::string run_case(const Case& one, int delay_frames, const std::string& events) {
    host::Site site =
        host::read_site_file(std::string(VCA_PROJECT_DIR) + "/host/examples/" + one.name + ".toml");
    print_count_head(site);
    std::vector<std::vector<Tally>> sums(site.lines.size(),
                                         std::vector<Tally>(1 + site.devices.size()));
    std::string merge_rows;
    for (const std::uint64_t seed : one.seeds) {
        site.seed = seed;
        const bench::SiteRun run = bench::run_site(site, delay_frames, events);
        const std::string name = run_name(one, seed);
        print_count_rows(name, site, run.result, sums);
        std::fflush(stdout);
        merge_rows += merge_row(name, run);
    }
    print_count_sums(one.name, site, sums);
    return merge_rows;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    int delay_frames = 1;
    std::string events;
    while (words.size() >= 2 && words[0].starts_with("--")) {
        if (words[0] == "--delay-frames") delay_frames = std::atoi(words[1].c_str());
        if (words[0] == "--events") events = words[1];
        words.erase(words.begin(), words.begin() + 2);
    }
    std::vector<Case> cases = kCases;
    if (!words.empty()) {
        std::erase_if(cases, [&](const Case& one) { return one.name != words[0]; });
        if (cases.empty()) {
            std::fprintf(stderr, "no site \"%s\" here\n", words[0].c_str());
            return 2;
        }
        if (words.size() > 1) cases[0].seeds.clear();
        for (std::size_t i = 1; i < words.size(); ++i)
            cases[0].seeds.push_back(std::strtoull(words[i].c_str(), nullptr, 10));
    }
    try {
        std::string merge_rows;
        for (const Case& one : cases)
            merge_rows += run_case(one, delay_frames, events);
        std::printf("%s%s", kMergeHead, merge_rows.c_str());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
