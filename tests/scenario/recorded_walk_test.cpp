// One person under a real depth camera, who wanders over ten lines: every change of side is counted
// once, and nothing else.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

constexpr char kFolder[] = VCA_SHARED_DATA_DIR "/depth_walk";
constexpr double kFps = 30.0;
constexpr double kFloor_mm = 3342.0;
constexpr double kFocal_px = 365.5;
constexpr double kMiddleU = 256.0;
constexpr double kMiddleV = 212.0;
constexpr double kDepth_m = 0.15;  // so far beyond a line the library counts
constexpr int kApart = 15;         // frames between a label there and the count
constexpr int kSlow = 45;          // frames between touching a line and getting so far

// A line across the whole picture, and what is counted on it.
struct Line {
    bool upright = false;
    double at_px = 0.0;
};

struct Change {
    int frame = 0;
    bool rising = false;  // towards growing columns or rows
};

struct Foot {
    int frame = 0;
    double u = 0.0;
    double v = 0.0;
};

// The authors' labels, brought from the head straight down to the floor.
std::vector<Foot> labelled_feet() {
    std::ifstream file(std::string(kFolder) + "/heads.csv");
    std::vector<Foot> feet;
    std::string row;
    while (std::getline(file, row)) {
        int frame = 0;
        double u = 0.0, v = 0.0, depth_mm = 0.0;
        if (std::sscanf(row.c_str(), "%d,%lf,%lf,%lf", &frame, &u, &v, &depth_mm) != 4) continue;
        const double share = depth_mm / kFloor_mm;
        feet.push_back(
            {frame, kMiddleU + (u - kMiddleU) * share, kMiddleV + (v - kMiddleV) * share});
    }
    return feet;
}

// Where the path has got `depth_m` beyond the line, coming from as far on the other side.
std::vector<Change> changes_of_side(const std::vector<Foot>& feet, const Line& line,
                                    double depth_m) {
    std::vector<Change> changes;
    int side = 0;
    for (const Foot& foot : feet) {
        const double beyond_m =
            ((line.upright ? foot.u : foot.v) - line.at_px) * kFloor_mm / 1000.0 / kFocal_px;
        if (std::abs(beyond_m) < depth_m || beyond_m == 0.0) continue;
        const int now = beyond_m > 0.0 ? 1 : -1;
        if (side == -now) changes.push_back({foot.frame, now > 0});
        side = now;
    }
    return changes;
}

// Takes the change that belongs to another one away.
bool take(std::vector<Change>& from, const Change& like, int frames) {
    const auto found = std::find_if(from.begin(), from.end(), [&](const Change& each) {
        return each.rising == like.rising && std::abs(each.frame - like.frame) <= frames;
    });
    if (found == from.end()) return false;
    from.erase(found);
    return true;
}

class RecordedWalk : public test::Program {
  protected:
    // The counts on each of at most four lines.
    std::vector<std::vector<Change>> counted(const std::vector<Line>& lines) const {
        std::string settings;
        for (const Line& line : lines) {
            const std::string at = std::to_string(line.at_px);
            settings += "[[line]]\npoints = " +
                        (line.upright ? "[[" + at + ", 20], [" + at + ", 403]]"
                                      : "[[40, " + at + "], [471, " + at + "]]") +
                        "\n";
        }
        write("lines.toml", settings);
        const test::Outcome outcome =
            vca("run --no-live --quiet --output r --config lines.toml --folder '" +
                std::string(kFolder) + "' --camera '" VCA_EXAMPLES "/tof_512x424.toml'");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        std::vector<std::vector<Change>> counts(lines.size());
        for (const Json& event : test::json_lines(test::read_file(work_ / "r/events.jsonl"))) {
            if (event["message"] != "person_counted" || event.value("late", false)) continue;
            const std::size_t line = event["line"];
            const bool up_or_left = event["direction"] == 1;
            const int frame =
                1 + static_cast<int>(std::lround(event["time_s"].get<double>() * kFps));
            counts.at(line).push_back({frame, lines[line].upright ? up_or_left : !up_or_left});
        }
        return counts;
    }
};

TEST_F(RecordedWalk, TenLinesAreCountedRight) {
    if (!fs::exists(kFolder)) GTEST_SKIP() << "no recorded walk at " << kFolder;
    // Where the walk is on a line before it is labelled, nobody can say what is right.
    const std::vector<std::vector<Line>> runs = {
        {{true, 190}, {true, 220}, {true, 250}, {true, 280}},
        {{true, 310}, {false, 160}, {false, 180}, {false, 200}},
        {{false, 240}, {false, 260}}};
    const std::vector<Foot> feet = labelled_feet();
    ASSERT_EQ(feet.size(), 320u);
    std::size_t changes = 0;
    for (const std::vector<Line>& lines : runs) {
        const std::vector<std::vector<Change>> counts = counted(lines);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const std::string name =
                (lines[i].upright ? "u = " : "v = ") + std::to_string(lines[i].at_px);
            std::vector<Change> left = counts[i];
            for (const Change& change : changes_of_side(feet, lines[i], kDepth_m)) {
                EXPECT_TRUE(take(left, change, kApart))
                    << name << ": missed at frame " << change.frame;
                ++changes;
            }
            // What remains has to be somebody who did go over, if less far.
            std::vector<Change> touches = changes_of_side(feet, lines[i], 0.0);
            for (const Change& count : counts[i])
                EXPECT_TRUE(take(touches, count, kSlow))
                    << name << ": phantom at frame " << count.frame;
        }
    }
    EXPECT_GE(changes, 16u);
}

}  // namespace
