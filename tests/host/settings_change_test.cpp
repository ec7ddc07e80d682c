// Lines that change under people: whoever stands on one, between its old and its new place, or
// beyond it, is counted as if the camera had just been started with the new settings; and lines
// that stay as they are count as if nothing had happened.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "host/app/run.h"
#include "host/app/settings_switch.h"
#include "host/engine/parked_line.h"
#include "host/report/output_folder.h"
#include "tests/support/unique_path.h"

namespace {

using host::PicturePoint;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr double kFps = 15.0;
constexpr double kHeight_mm = 4000.0;
// 480 / tan(43 degrees) pixels for each metre at one metre: the simulator's camera.
constexpr double kPixelsPerMetre = 514.737 / (kHeight_mm / 1000.0);
constexpr double kMiddle_px = 480.0;

// A walk along x: to a place, where the person stands for a while, and on or back.
struct Walk {
    double from_m = -3.0;
    double stand_m = 0.0;
    double to_m = 3.0;
    double begin_s = 0.0;
    double stand_s = 4.0;
    double y_m = 0.0;
};

constexpr double kSpeed = 1.0;  // m/s

double arrives_s(const Walk& walk) {
    return walk.begin_s + std::abs(walk.stand_m - walk.from_m) / kSpeed;
}

// Lines across the way, at a place in metres.
host::PlacedLine line_at(const std::string& name, double at_m, bool flip = false) {
    const double x = kMiddle_px + at_m * kPixelsPerMetre;
    host::PlacedLine line;
    line.value.name = name;
    line.value.points = {{x, 500.0}, {x, 44.0}};
    line.value.flip = flip;
    return line;
}

// Everybody counted: name of the line and direction, with the frame.
struct Count {
    std::int64_t frame = 0;
    std::string line;
    int direction = 0;
};

class CountList final : public host::Sink {
  public:
    explicit CountList(const host::RunPlan& plan) : plan_(plan) {}
    void on_event(const host::Event& event) override {
        const auto* counted = std::get_if<host::PersonCounted>(&event.payload);
        if (counted == nullptr) return;
        counts.push_back({event.frame_number,
                          plan_.lines.at(static_cast<std::size_t>(counted->line)).name,
                          counted->direction});
    }
    std::vector<Count> counts;

  private:
    const host::RunPlan& plan_;
};

// What is told about the change.
class Told final : public host::SettingsListener {
  public:
    void changed(double time_s) override { changed_s.push_back(time_s); }
    void moved(double time_s) override { moved_s.push_back(time_s); }
    void accepted() override {}
    void refused(const std::string& why) override { refusals.push_back(why); }
    void not_counted(double from_s, double to_s, const std::string& why) override {
        EXPECT_LT(from_s, to_s);
        gaps.push_back(why);
    }
    void needs_restart(const std::string& why) override { restarts.push_back(why); }

    std::vector<double> changed_s;
    std::vector<double> moved_s;
    std::vector<std::string> refusals;
    std::vector<std::string> gaps;
    std::vector<std::string> restarts;
};

using Totals = std::map<std::pair<std::string, int>, int>;

Totals totals_of(const std::vector<Count>& counts, std::int64_t from_frame,
                 const std::string& line = "") {
    Totals totals;
    for (const Count& count : counts)
        if (count.frame >= from_frame && (line.empty() || count.line == line))
            ++totals[{count.line, count.direction}];
    return totals;
}

class SettingsChange : public ::testing::Test {
  protected:
    ~SettingsChange() override { std::filesystem::remove(file_); }

    void write_walks(const std::vector<Walk>& walks) const {
        std::ofstream out(file_);
        out << "# framerate: " << kFps << " fps\n# id frame x/m y/m z/m\n";
        for (std::size_t i = 0; i < walks.size(); ++i)
            write_walk(out, static_cast<int>(i) + 1, walks[i]);
    }

    static void write_walk(std::ofstream& out, int id, const Walk& walk) {
        const double arrives = arrives_s(walk);
        const double leaves = arrives + walk.stand_s;
        const double ends = leaves + std::abs(walk.to_m - walk.stand_m) / kSpeed;
        for (int frame = static_cast<int>(walk.begin_s * kFps); frame / kFps < ends; ++frame) {
            const double t = frame / kFps;
            double x = walk.stand_m;
            if (t < arrives) {
                x = walk.from_m +
                    (walk.stand_m - walk.from_m) * (t - walk.begin_s) / (arrives - walk.begin_s);
            } else if (t > leaves) {
                x = walk.stand_m + (walk.to_m - walk.stand_m) * (t - leaves) / (ends - leaves);
            }
            out << id << " " << frame << " " << x << " " << walk.y_m << " 1.75\n";
        }
    }

    host::RunOptions options(const std::vector<host::PlacedLine>& lines) const {
        host::RunOptions options;
        options.source.source = "walks";
        options.source.trajectories = file_.string();
        options.source.height_mm = kHeight_mm;
        options.source.camera_at = PicturePoint{0.0, 0.0};
        options.tilt.kind = host::TiltSetting::Kind::kNone;
        options.lines = lines;
        options.no_regions = true;
        return options;
    }

    // Counts with these settings from a frame on.
    std::vector<Count> fresh(const host::RunOptions& settings, std::int64_t from_frame) const {
        host::RunPlan plan = host::prepare_run(settings);
        plan.source->skip(from_frame);
        CountList list(plan);
        run(plan, {&list});
        return list.counts;
    }

    // Counts while settings change at these frames.
    std::vector<Count> changed(const host::RunOptions& settings,
                               const std::map<std::int64_t, host::RunOptions>& changes) {
        host::RunPlan plan = host::prepare_run(settings);
        std::atomic<bool> asked{false};
        host::RunOptions now = settings;
        host::SettingsSwitch change(
            plan, asked, [&now] { return now; }, told_);
        plan.before_frame = [&](host::Session& session, double time_s) {
            const auto at = changes.find(std::llround(time_s * kFps));
            if (at != changes.end()) {
                now = at->second;
                asked = true;
            }
            change.before_frame(session, time_s);
        };
        CountList list(plan);
        run(plan, {&change, &list});
        in_force_ = plan.lines;
        return list.counts;
    }

    static void run(host::RunPlan& plan, const std::vector<host::Sink*>& sinks) {
        const std::atomic<bool> never{false};
        const host::StandardOutput nowhere("/dev/null");
        host::settle_height(plan, never);
        host::run(plan, sinks, never);
    }

    const std::filesystem::path file_ = test::unique_path("vca-change-test", ".txt");
    Told told_;
    std::vector<host::CountingLine> in_force_;
};

// A change while somebody stands somewhere, and where they go then.
struct Case {
    const char* name;
    std::vector<host::PlacedLine> before;
    std::vector<host::PlacedLine> after;
    double stand_m;
    double to_m;
};

class OneChange : public SettingsChange, public ::testing::WithParamInterface<Case> {};

TEST_P(OneChange, CountsAsAFreshStartAtThatFrame) {
    const Case& c = GetParam();
    const Walk walk{-3.0, c.stand_m, c.to_m, 0.0, 4.0, 0.0};
    write_walks({walk});
    const auto frame = static_cast<std::int64_t>((arrives_s(walk) + 2.0) * kFps);
    const std::vector<Count> counts = changed(options(c.before), {{frame, options(c.after)}});
    EXPECT_THAT(told_.gaps, IsEmpty());
    EXPECT_THAT(told_.refusals, IsEmpty());
    EXPECT_THAT(told_.restarts, IsEmpty());
    ASSERT_EQ(told_.changed_s.size(), 1U);
    EXPECT_EQ(std::llround(told_.changed_s[0] * kFps), frame);
    EXPECT_EQ(totals_of(counts, frame), totals_of(fresh(options(c.after), frame), frame));
}

std::vector<Case> cases() {
    const std::vector<host::PlacedLine> here{line_at("door", 0.0)};
    const std::vector<host::PlacedLine> ahead{line_at("door", 1.0)};
    const std::vector<host::PlacedLine> behind{line_at("door", -1.0)};
    const std::vector<host::PlacedLine> flipped{line_at("door", 0.0, true)};
    const std::vector<host::PlacedLine> other{line_at("gate", 0.0)};
    return {
        {"moved_ahead_of_somebody_on_the_line_who_goes_on", here, ahead, 0.1, 3.0},
        {"moved_ahead_of_somebody_on_the_line_who_goes_back", here, ahead, 0.1, -3.0},
        {"moved_ahead_between_the_places_on", here, ahead, 0.5, 3.0},
        {"moved_ahead_between_the_places_back", here, ahead, 0.5, -3.0},
        {"moved_ahead_beyond_both_on", here, ahead, 1.8, 3.0},
        {"moved_ahead_beyond_both_back", here, ahead, 1.8, -3.0},
        {"moved_behind_somebody_on_the_line_on", here, behind, -0.1, 3.0},
        {"moved_behind_somebody_on_the_line_back", here, behind, -0.1, -3.0},
        {"moved_behind_between_the_places_on", here, behind, -0.5, 3.0},
        {"moved_behind_between_the_places_back", here, behind, -0.5, -3.0},
        {"moved_behind_after_crossing_back", here, behind, 0.8, -3.0},
        {"flipped_before_crossing", here, flipped, -0.8, 3.0},
        {"flipped_on_the_line_on", here, flipped, 0.15, 3.0},
        {"flipped_on_the_line_back", here, flipped, 0.15, -3.0},
        {"flipped_after_crossing_back", here, flipped, 0.8, -3.0},
        {"renamed_after_crossing_back", here, other, 0.8, -3.0},
        {"renamed_before_crossing", here, other, -0.8, 3.0},
    };
}

INSTANTIATE_TEST_SUITE_P(Lines, OneChange, ::testing::ValuesIn(cases()),
                         [](const auto& of) { return std::string(of.param.name); });

TEST_F(SettingsChange, TheCasesCountSomebody) {
    int counted = 0;
    for (const Case& c : cases()) {
        const Walk walk{-3.0, c.stand_m, c.to_m, 0.0, 4.0, 0.0};
        write_walks({walk});
        const auto frame = static_cast<std::int64_t>((arrives_s(walk) + 2.0) * kFps);
        counted += static_cast<int>(fresh(options(c.after), frame).size());
        if (counted > 2) return;
    }
    FAIL() << counted;
}

TEST_F(SettingsChange, ALineThatIsTakenAwayCountsNobodyFromThenOn) {
    for (const double stand_m : {-0.1, 0.15, 0.8}) {
        const Walk walk{-3.0, stand_m, 3.0, 0.0, 4.0, 0.0};
        write_walks({walk});
        const auto frame = static_cast<std::int64_t>((arrives_s(walk) + 2.0) * kFps);
        const host::PlacedLine stays = line_at("far", 2.0);
        const std::vector<Count> counts =
            changed(options({line_at("door", 0.0), stays}), {{frame, options({stays})}});
        EXPECT_THAT(totals_of(counts, frame, "door"), IsEmpty()) << stand_m;
        EXPECT_EQ(totals_of(counts, 0, "far"), (Totals{{{"far", 2}, 1}})) << stand_m;
    }
}

TEST_F(SettingsChange, LinesThatStayCountAsIfNothingHadHappened) {
    const std::vector<host::PlacedLine> lines{line_at("a", -1.0), line_at("b", 0.0),
                                              line_at("c", 1.0)};
    const std::vector<host::PlacedLine> turned{line_at("c", 1.0), line_at("b", 0.0),
                                               line_at("d", 2.0), line_at("a", -1.0)};
    std::vector<Walk> walks;
    for (int i = 0; i < 4; ++i) {
        walks.push_back({-3.0, -1.0 + 0.7 * i, 3.0, 1.3 * i, 2.0, -1.2 + 0.8 * i});
        walks.push_back({3.0, 1.0 - 0.6 * i, -3.0, 0.7 + 1.1 * i, 2.0, -0.8 + 0.8 * i});
    }
    write_walks(walks);
    std::map<std::int64_t, host::RunOptions> changes;
    for (int i = 1; i < 8; ++i)
        changes.emplace(i * 15, options(i % 2 == 1 ? turned : lines));
    const std::vector<Count> undisturbed = fresh(options(lines), 0);
    const std::vector<Count> counts = changed(options(lines), changes);
    EXPECT_EQ(told_.changed_s.size(), 7U);
    for (const char* line : {"a", "b", "c"}) {
        EXPECT_EQ(totals_of(counts, 0, line), totals_of(undisturbed, 0, line)) << line;
        EXPECT_THAT(totals_of(counts, 0, line), ::testing::Not(IsEmpty())) << line;
    }
}

TEST_F(SettingsChange, WithoutACleanSlotALineWaitsAndTheTimeIsAGap) {
    const auto all = [](double shift_m) {
        return std::vector<host::PlacedLine>{line_at("a", -0.3 + shift_m), line_at("b", shift_m),
                                             line_at("c", 0.3 + shift_m),
                                             line_at("d", 0.6 + shift_m)};
    };
    // Somebody has crossed all four and stands there; another one comes when they have gone.
    const Walk first{-3.0, 1.2, 3.0, 0.0, 4.0, 0.0};
    const Walk second{-3.0, 0.0, 3.0, 16.0, 0.1, 0.0};
    write_walks({first, second});
    const auto frame = static_cast<std::int64_t>((arrives_s(first) + 2.0) * kFps);
    const std::vector<Count> counts = changed(options(all(0.0)), {{frame, options(all(-0.5))}});
    EXPECT_EQ(told_.gaps.size(), 4U);
    EXPECT_THAT(told_.gaps, Contains(HasSubstr("line \"a\" was not counted")));
    EXPECT_FALSE(told_.moved_s.empty());
    // Nobody is counted by what was remembered of the lines of before.
    const auto comes = static_cast<std::int64_t>(second.begin_s * kFps);
    EXPECT_EQ(totals_of(counts, frame).size(), totals_of(counts, comes).size());
    EXPECT_EQ(totals_of(counts, comes), totals_of(fresh(options(all(-0.5)), comes), comes));
    EXPECT_EQ(totals_of(counts, comes).size(), 4U);
}

TEST_F(SettingsChange, WrongSettingsChangeNothing) {
    const Walk walk{-3.0, 0.0, 3.0, 0.0, 1.0, 0.0};
    write_walks({walk});
    const std::vector<host::PlacedLine> lines{line_at("door", 0.5)};
    // Beyond the picture, which is only known with the source.
    const std::vector<host::PlacedLine> wrong{line_at("door", 5.0)};
    const std::vector<Count> counts = changed(options(lines), {{20, options(wrong)}});
    ASSERT_EQ(told_.refusals.size(), 1U);
    EXPECT_THAT(told_.refusals[0], HasSubstr("the line \"door\""));
    EXPECT_THAT(told_.changed_s, IsEmpty());
    EXPECT_EQ(totals_of(counts, 0), (Totals{{{"door", 2}, 1}}));
}

TEST_F(SettingsChange, OtherSettingsNeedANewStart) {
    write_walks({Walk{}});
    host::RunOptions later = options({line_at("door", 0.0)});
    later.target_max_mm = 2000;
    changed(options({line_at("door", 0.0)}), {{20, later}});
    EXPECT_EQ(told_.restarts.size(), 1U);
    EXPECT_THAT(told_.changed_s, IsEmpty());
}

TEST_F(SettingsChange, SlotsWithoutALineAreParkedFromTheBeginning) {
    write_walks({Walk{}});
    host::RunPlan plan = host::prepare_run(options({line_at("door", 0.0)}));
    plan.height_mm = kHeight_mm;
    std::atomic<bool> asked{false};
    const host::SettingsSwitch change(
        plan, asked, [] { return host::RunOptions{}; }, told_);
    const VCA_ALGO_CFG_S config = host::plan_config(plan);
    EXPECT_FALSE(host::is_parked(config.line[0]));
    for (int i = 1; i < VCA_LINE_NUM; ++i)
        EXPECT_TRUE(host::is_parked(config.line[i])) << i;
}

}  // namespace
