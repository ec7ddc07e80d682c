// Each fault of a camera is told once when it begins and once when it ends.
#include "host/sinks/camera_health.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/host/store/store_folder.h"
#include "tests/host/tilted_floor.h"

namespace {

using host::CameraHealth;
using host::HealthLevel;
using test::kMonday_us;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr double kFps = 15.0;

class Health : public ::testing::Test {
  protected:
    Health() {
        setup_.frames_per_second = kFps;
        setup_.camera = test::kCamera;
        setup_.lines = {line("door", {{0, 100}, {900, 100}})};
        setup_.regions = {{"till", {{0, 0}, {100, 0}, {100, 100}}}};
        setup_.time_us = [](double time_s) {
            return kMonday_us + static_cast<std::int64_t>(time_s * 1e6);
        };
        setup_.tell = [this](const host::HealthNote& note) { notes_.push_back(note); };
    }
    CameraHealth& health() {
        if (!health_) health_ = std::make_unique<CameraHealth>(setup_);
        return *health_;
    }
    // So many seconds with this depth; each frame steps by so many numbers.
    void watch(double seconds, const std::vector<std::uint16_t>& depth_mm, std::int64_t step = 1,
               double pass_ms = 20.0) {
        host::FramePlanes planes;
        planes.raw_mm = depth_mm;
        const double end_s = time_s_ + seconds;
        for (; time_s_ < end_s; time_s_ += static_cast<double>(step) / kFps, number_ += step) {
            health().on_frame({number_, time_s_, planes, {}, {}});
            host::PassReport report;
            report.number = number_;
            report.time_s = time_s_;
            report.pass_ms = pass_ms;
            health().end_frame(report);
        }
    }
    // Somebody in the first region; a stay of 0 is none.
    void stay(int track, int stay_ms) {
        host::RegionsReported report;
        report.people.push_back({track, {}, {}});
        report.people[0].regions[0] = {stay_ms > 0 ? 1 : 0, stay_ms};
        report.inside[0] = stay_ms > 0 ? 1 : 0;
        tell(report);
        watch(1.0 / kFps, floor_);
    }
    void tell(const host::Payload& payload) {
        health().on_event({host::kInputId, number_, time_s_, payload});
    }
    std::int64_t us() const { return static_cast<std::int64_t>(time_s_ * 1e6); }
    std::vector<std::string> told() const {
        std::vector<std::string> list;
        for (const host::HealthNote& note : notes_)
            list.push_back(std::string(host::health_level_name(note.level)) + " " + note.fault);
        return list;
    }
    static host::CountingLine line(const std::string& name,
                                   const std::vector<host::PicturePoint>& points) {
        host::CountingLine line;
        line.name = name;
        line.points = points;
        return line;
    }
    static std::vector<std::uint16_t> with_holes(std::vector<std::uint16_t> depth_mm,
                                                 double share) {
        test::Unkindness().punch_holes(depth_mm, share);
        return depth_mm;
    }

    host::CameraHealthSetup setup_;
    std::unique_ptr<CameraHealth> health_;
    std::vector<host::HealthNote> notes_;
    double time_s_ = 0.0;
    std::int64_t number_ = 0;
    const std::vector<std::uint16_t> floor_ = test::floor_image({}, 3000.0);
};

TEST_F(Health, NothingIsWrongWithAFloor) {
    watch(200.0, floor_);
    EXPECT_THAT(told(), IsEmpty());
    const host::CameraFigures figures = health().figures();
    EXPECT_EQ(figures.frames, number_);
    EXPECT_EQ(figures.missing, 0);
    EXPECT_GT(figures.depth_valid_ratio, 0.99);
    EXPECT_EQ(figures.processing.count, number_);
    EXPECT_EQ(figures.processing.at_most[1], 0);
    EXPECT_EQ(figures.processing.at_most[2], number_);
    EXPECT_EQ(host::to_json(host::parse_camera_figures(host::to_json(figures))),
              host::to_json(figures));
}

TEST_F(Health, StaysThatEndedAreCountedByTheirLength) {
    stay(7, 400);
    stay(7, 5000);
    EXPECT_EQ(health().figures().regions[0].people, 1);
    EXPECT_EQ(health().figures().regions[0].longest_stay_ms, 5000);
    EXPECT_EQ(health().figures().regions[0].stays.count, 0);
    stay(7, 0);
    const host::RegionFigures till = health().figures().regions[0];
    EXPECT_EQ(till.people, 0);
    EXPECT_EQ(till.longest_stay_ms, 0);
    EXPECT_EQ(till.stays.count, 1);
    EXPECT_DOUBLE_EQ(till.stays.sum_s, 5.0);
    EXPECT_EQ(till.stays.at_most, (std::vector<std::int64_t>{0, 0, 1, 1, 1, 1, 1, 1, 1}));
}

TEST_F(Health, CrossingsThatAreNotCountedHaveAReason) {
    const auto decide = [this](int kind, int list, int line) {
        host::Decision decision{};
        decision.kind = kind;
        decision.list = list;
        decision.place = line;
        tell(decision);
    };
    decide(VCA_DECISION_TURNED_BACK, VCA_LIST_LOCAL, 0);
    decide(VCA_DECISION_TURNED_BACK, VCA_LIST_MERGED, 0);
    decide(VCA_DECISION_SAME_SIDE, VCA_LIST_LOCAL, 0);
    decide(VCA_DECISION_SAME_SIDE, VCA_LIST_LOCAL, 3);
    decide(VCA_DECISION_COUNTED, VCA_LIST_LOCAL, 0);
    tell(host::CountLeftOut{{}, VCA_LIST_LOCAL, host::LeftOut::kUnseen});
    tell(host::CountLeftOut{{}, VCA_LIST_LOCAL, host::LeftOut::kWentBack});
    const host::CameraFigures figures = health().figures();
    ASSERT_EQ(figures.lines.size(), 1U);
    EXPECT_THAT(figures.lines[0].suppressed, ElementsAre(1, 1, 1, 1, 0, 0));
    EXPECT_EQ(host::to_json(host::parse_camera_figures(host::to_json(figures))),
              host::to_json(figures));
}

TEST_F(Health, FramesBetweenTwoRoundsOfASourceAreNotMissing) {
    watch(30.0, floor_);
    const host::FramePlanes blank{{}, {}, {}, {}, {}, true};
    for (int i = 0; i < 87; ++i, ++number_, time_s_ += 1.0 / kFps) {
        health().on_frame({number_, time_s_, blank, {}, {}});
        host::PassReport report;
        report.number = number_;
        report.blank = true;
        health().end_frame(report);
    }
    watch(90.0, floor_);
    EXPECT_EQ(health().figures().missing, 0);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Health, FiguresFollowTheirNames) {
    stay(7, 5000);
    stay(7, 0);
    tell(host::CountLeftOut{});
    const std::vector<host::PicturePoint> points{{0, 0}, {100, 0}, {100, 100}};
    health().change({line("gone", {}), line("door", points)},
                    {{"shelf", points}, {"till", points}, {"parked", {}}});
    const host::CameraFigures figures = health().figures();
    ASSERT_EQ(figures.lines.size(), 1U);
    EXPECT_EQ(figures.lines[0].name, "door");
    EXPECT_EQ(figures.lines[0].suppressed[2], 1);
    ASSERT_EQ(figures.regions.size(), 2U);
    EXPECT_EQ(figures.regions[0].name, "shelf");
    EXPECT_EQ(figures.regions[0].stays.count, 0);
    EXPECT_EQ(figures.regions[1].stays.count, 1);
}

TEST_F(Health, SilenceLastsUntilFramesComeAgain) {
    watch(1.0, floor_);
    tell(host::InputSilent{us(), "the sender ended"});
    tell(host::InputGap{us(), us() + 5'000'000, "the sender ended"});
    EXPECT_THAT(told(), ElementsAre("failed input_silent", "ok input_silent"));
    EXPECT_EQ(notes_[0].text, "no frames come: the sender ended");
    EXPECT_EQ(notes_[1].text, "frames come again after 5.0 s");
    EXPECT_EQ(health().figures().gaps, 1);
}

TEST_F(Health, FaultsOfThePictureHaveTheirOwnNames) {
    for (const auto kind : {host::InputFaultKind::kFrozen, host::InputFaultKind::kNoColour}) {
        host::InputFault fault{kind, "it is wrong", us(), std::nullopt};
        tell(fault);
        tell(fault);
        fault.until_us = us();
        tell(fault);
    }
    EXPECT_THAT(told(), ElementsAre("failed picture_frozen", "ok picture_frozen",
                                    "degraded no_colour", "ok no_colour"));
}

TEST_F(Health, ACoveredLensIsNoticedWithinSeconds) {
    watch(30.0, with_holes(floor_, 0.1));
    const double covered_s = time_s_;
    watch(15.0, with_holes(floor_, 0.7));
    ASSERT_THAT(told(), ElementsAre("failed lens_covered"));
    EXPECT_THAT(notes_[0].text, AllOf(HasSubstr("30 % of the depth picture"), HasSubstr("90 %")));
    EXPECT_LT(static_cast<double>(notes_[0].time_us - kMonday_us) / 1e6, covered_s + 12.0);
    watch(10.0, with_holes(floor_, 0.1));
    EXPECT_THAT(told(), ElementsAre("failed lens_covered", "ok lens_covered"));
}

// People hide the floor for a moment, and dark clothes are not measured.
TEST_F(Health, AFullPictureIsNoCoveredLens) {
    watch(30.0, floor_);
    watch(120.0, with_holes(floor_, 0.4));
    for (int i = 0; i < 5; ++i) {
        watch(8.0, with_holes(floor_, 0.8));
        watch(2.0, floor_);
    }
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Health, ALensThatWasCoveredFromTheBeginningIsNoticedToo) {
    watch(15.0, std::vector<std::uint16_t>(floor_.size(), 0));
    EXPECT_THAT(told(), ElementsAre("failed lens_covered"));
    watch(15.0, floor_);
    EXPECT_THAT(told(), ElementsAre("failed lens_covered", "ok lens_covered"));
}

TEST_F(Health, ACameraThatWasMovedIsNoticed) {
    watch(60.0, floor_);
    watch(60.0, test::floor_image({4.0, 0.0}, 3000.0));
    ASSERT_THAT(told(), ElementsAre("failed camera_moved"));
    EXPECT_THAT(notes_[0].text, HasSubstr("4.0 degrees"));
    watch(60.0, floor_);
    watch(60.0, test::floor_image({}, 2800.0));
    EXPECT_THAT(told(),
                ElementsAre("failed camera_moved", "ok camera_moved", "failed camera_moved"));
}

TEST_F(Health, SomebodyWhoTouchesTheCameraHasNotMovedIt) {
    watch(60.0, floor_);
    watch(15.0, test::floor_image({4.0, 0.0}, 3000.0));
    watch(60.0, test::floor_image({0.7, 0.0}, 3020.0));
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Health, FramesThatAreMissingAreToldByTheirCause) {
    watch(130.0, floor_, 2, 90.0);
    ASSERT_THAT(told(), ElementsAre("degraded frames_late"));
    EXPECT_THAT(notes_[0].text, HasSubstr("50 % of the frames of a minute are missing: this "
                                          "machine cannot keep up"));
    watch(130.0, floor_);
    EXPECT_THAT(told(), ElementsAre("degraded frames_late", "ok frames_late"));
    watch(130.0, floor_, 2, 20.0);
    EXPECT_THAT(notes_.back().text, HasSubstr("they do not arrive in time"));
}

// The sender has counted on while nobody heard it.
TEST_F(Health, FramesOfAGapAreNotMissing) {
    watch(30.0, floor_);
    number_ += 500;
    time_s_ += 30.0;
    tell(host::InputGap{us() - 30'000'000, us(), "the sender ended"});
    watch(130.0, floor_);
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(health().figures().missing, 0);
}

TEST_F(Health, TheClockIsLookedAt) {
    bool synchronised = false;
    setup_.clock_synchronised = [&synchronised] { return synchronised; };
    watch(130.0, floor_);
    EXPECT_THAT(told(), ElementsAre("degraded clock_not_synchronised"));
    synchronised = true;
    tell(host::ClockStep{us(), 3'600'000'000});
    watch(120.0, floor_);
    EXPECT_THAT(told(), ElementsAre("degraded clock_not_synchronised", "degraded clock_step",
                                    "ok clock_not_synchronised"));
    EXPECT_EQ(notes_[1].text, "the clock was set forward by 3600.000 s");
    watch(600.0, floor_);
    EXPECT_EQ(told().back(), "ok clock_step");
}

TEST_F(Health, FaultsThatNobodyHasEndedEndWithTheNextStart) {
    setup_.left_open = {{5, HealthLevel::kFailed, "camera_moved", "it was moved"}};
    watch(3.0, floor_);
    EXPECT_THAT(told(), ElementsAre("ok camera_moved"));
}

TEST_F(Health, TheWorstLevelIsThatOfAll) {
    EXPECT_EQ(host::worst_level({}), HealthLevel::kOk);
    EXPECT_EQ(host::worst_level(
                  {{0, HealthLevel::kFailed, "a", ""}, {0, HealthLevel::kDegraded, "b", ""}}),
              HealthLevel::kFailed);
}

TEST_F(Health, FiguresThatAreNoneAreRefused) {
    for (const char* text : {"", "{}", "[1]", R"({"frames":"many"})"})
        EXPECT_THROW(host::parse_camera_figures(text), host::InputError) << text;
    // Histograms of another length would lie.
    auto json = nlohmann::json::parse(host::to_json(health().figures()));
    json["processing"]["at_most"].push_back(1);
    EXPECT_THROW(host::parse_camera_figures(json.dump()), host::InputError);
}

}  // namespace
