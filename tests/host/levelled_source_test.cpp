// The wrapper that levels a crooked camera's frames: none is lost, and none changed without need.
#include "host/depth/levelled_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "host/frames/grey_picture.h"
#include "tests/host/tilted_floor.h"

namespace {

using host::level_source;
using host::SourceFrame;
using host::Tilt;
using host::TiltSetting;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Frames with numbers and times of their own; the first show no floor, but a lid or nothing.
class Recording final : public host::FrameSource {
  public:
    Recording(const Tilt& tilt, int without_floor, int frames, double lid_mm = 0.0)
        : floor_(test::floor_image(tilt, 3000.0)),
          before_(test::floor_image({12.0, 0.0}, lid_mm)),
          without_floor_(without_floor),
          frames_(frames) {
        info_.camera = test::kCamera;
        info_.black_mm = 3300.0;
        info_.has_colour = true;
    }

    bool next(SourceFrame& frame) override {
        if (made_ == frames_) return false;
        frame.number = 100 + 3 * made_;
        frame.time_s = 0.1 * made_;
        frame.crossings = {{0, made_, frame.number, 1}};
        frame.people = {{made_, {}, 1700.0, false, {}, false, false}};
        frame.planes.colour_nv12.assign(960 * 544 * 3 / 2, static_cast<std::uint8_t>(made_ + 50));
        frame.planes.raw_mm = made_ < without_floor_ ? before_ : floor_;
        host::draw_depth(frame.planes.raw_mm, info_.black_mm, frame.planes.depth_nv12);
        ++made_;
        return true;
    }
    std::vector<std::string> warnings() const override { return {"of its own"}; }
    std::vector<std::string> losses() const override { return {"a loss"}; }
    host::PicturePoint to_picture(const host::PicturePoint& p) const override {
        return {2 * p.x, 2 * p.y};
    }
    void count_truth(const std::vector<host::CountingLine>&) override { EXPECT_EQ(made_, 0); }

    int made() const { return made_; }

  private:
    std::vector<std::uint16_t> floor_;
    std::vector<std::uint16_t> before_;
    int without_floor_;
    int frames_;
    int made_ = 0;
};

struct Levelled {
    Levelled(const Tilt& tilt, int without_floor, int frames, const TiltSetting& setting = {}) {
        auto made = std::make_unique<Recording>(tilt, without_floor, frames);
        recording = made.get();
        source = level_source(std::move(made), setting);
    }
    Recording* recording;
    std::unique_ptr<host::FrameSource> source;
};

TEST(LevelledSource, NoFrameIsLostAndNumbersAndTimesStay) {
    for (const int without_floor : {0, 4, 30}) {
        Levelled one({8.0, 0.0}, without_floor, 40);
        one.source->count_truth({});
        SourceFrame frame;
        for (int i = 0; i < 40; ++i) {
            ASSERT_TRUE(one.source->next(frame));
            EXPECT_EQ(frame.number, 100 + 3 * i);
            EXPECT_DOUBLE_EQ(frame.time_s, 0.1 * i);
            ASSERT_EQ(frame.crossings.size(), 1u);
            EXPECT_EQ(frame.crossings[0].person, i);
            ASSERT_EQ(frame.people.size(), 1u);
            EXPECT_EQ(frame.people[0].id, i);
        }
        EXPECT_FALSE(one.source->next(frame));
        EXPECT_FALSE(one.source->next(frame));
    }
}

TEST(LevelledSource, LooksOneFrameAheadWhenItIsSureAndASecondOtherwise) {
    SourceFrame frame;
    Levelled sure({8.0, 0.0}, 0, 40);
    ASSERT_TRUE(sure.source->next(frame));
    EXPECT_EQ(sure.recording->made(), 1);
    Levelled late({8.0, 0.0}, 4, 40);
    ASSERT_TRUE(late.source->next(frame));
    EXPECT_EQ(late.recording->made(), 5);
    Levelled never({8.0, 0.0}, 40, 40);
    ASSERT_TRUE(never.source->next(frame));
    EXPECT_EQ(never.recording->made(), 11);
}

TEST(LevelledSource, SkipsKeptFramesFirst) {
    Levelled one({8.0, 0.0}, 4, 40);
    one.source->skip(7);
    SourceFrame frame;
    ASSERT_TRUE(one.source->next(frame));
    EXPECT_EQ(frame.number, 100 + 3 * 7);
    one.source->skip(100);
    EXPECT_FALSE(one.source->next(frame));
}

TEST(LevelledSource, TheFirstFrameIsLevelAlready) {
    Levelled one({-6.0, 9.0}, 4, 40);
    SourceFrame frame;
    for (int i = 0; i <= 4; ++i)
        ASSERT_TRUE(one.source->next(frame));
    EXPECT_TRUE(one.source->info().camera.levelled.has_value());
    EXPECT_NEAR(one.source->info().tilt->roll_deg, -6.0, 0.05);
    EXPECT_NEAR(one.source->info().tilt->pitch_deg, 9.0, 0.05);
    int seen = 0;
    for (std::size_t i = 0; i < frame.planes.raw_mm.size(); ++i) {
        const int mm = frame.planes.raw_mm[i];
        // The grey image is drawn from the level depth.
        const double luma = mm == 0 ? 16.0 : std::max(235.0 - 219.0 * mm / 3300.0, 16.0);
        ASSERT_NEAR(frame.planes.depth_nv12[i], luma, 1.0);
        if (mm == 0) continue;
        EXPECT_NEAR(mm, 3000, 8);
        ++seen;
    }
    EXPECT_GT(seen, 480 * 256 / 2);
    EXPECT_EQ(frame.planes.colour_nv12[544 / 2 * 960 + 480], 54);
    EXPECT_THAT(one.source->warnings(), ElementsAre("of its own"));
    EXPECT_THAT(one.source->losses(), ElementsAre("a loss"));
    EXPECT_EQ(one.source->to_picture({3, 4}).y, 8);
}

// Without a colour camera the picture is drawn from depth, and the level one from level depth.
TEST(LevelledSource, APictureDrawnFromDepthIsDrawnAgain) {
    class Grey final : public host::FrameSource {
      public:
        Grey() {
            info_.camera = test::kCamera;
            info_.black_mm = 3300.0;
        }
        bool next(SourceFrame& frame) override {
            frame.planes.raw_mm = test::floor_image({10.0, 0.0}, 3000.0);
            host::render_grey(frame.planes.raw_mm, info_.black_mm, frame.planes.depth_nv12,
                              frame.planes.colour_nv12);
            return true;
        }
    };
    const auto source = level_source(std::make_unique<Grey>(), {});
    SourceFrame frame;
    ASSERT_TRUE(source->next(frame));
    std::vector<std::uint8_t> depth;
    std::vector<std::uint8_t> colour;
    host::render_grey(frame.planes.raw_mm, 3300.0, depth, colour);
    EXPECT_EQ(frame.planes.depth_nv12, depth);
    EXPECT_EQ(frame.planes.colour_nv12, colour);
}

TEST(LevelledSource, LessThanHalfADegreeChangesNoByte) {
    Levelled one({0.3, -0.3}, 0, 3);
    Recording same({0.3, -0.3}, 0, 3);
    SourceFrame a;
    SourceFrame b;
    while (same.next(a)) {
        ASSERT_TRUE(one.source->next(b));
        EXPECT_EQ(a.planes.raw_mm, b.planes.raw_mm);
        EXPECT_EQ(a.planes.colour_nv12, b.planes.colour_nv12);
        EXPECT_EQ(a.planes.depth_nv12, b.planes.depth_nv12);
    }
    EXPECT_FALSE(one.source->info().camera.levelled.has_value());
    EXPECT_NEAR(one.source->info().tilt->roll_deg, 0.3, 0.02);
    Levelled more({0.6, 0.0}, 0, 3);
    ASSERT_TRUE(more.source->next(b));
    EXPECT_TRUE(more.source->info().camera.levelled.has_value());
}

TEST(LevelledSource, WithoutAFloorFramesStayAndThatIsSaid) {
    Levelled one({8.0, 0.0}, 40, 40);
    SourceFrame frame;
    while (one.source->next(frame)) {
    }
    EXPECT_FALSE(one.source->info().tilt);
    EXPECT_FALSE(one.source->info().camera.levelled.has_value());
    EXPECT_THAT(one.source->warnings(), ElementsAre("of its own", HasSubstr("no floor was found")));
    Levelled empty({8.0, 0.0}, 0, 0);
    EXPECT_FALSE(empty.source->next(frame));
    EXPECT_THAT(empty.source->warnings(), ElementsAre("of its own"));
}

TEST(LevelledSource, APlaneAtAnotherDistanceThanTheFloorIsNotTheFloor) {
    SourceFrame frame;
    const auto late = level_source(std::make_unique<Recording>(Tilt{-6.0, 9.0}, 4, 40, 400.0), {});
    ASSERT_TRUE(late->next(frame));
    EXPECT_NEAR(late->info().tilt->roll_deg, -6.0, 0.05);
    const auto never =
        level_source(std::make_unique<Recording>(Tilt{-6.0, 9.0}, 40, 40, 400.0), {});
    ASSERT_TRUE(never->next(frame));
    EXPECT_FALSE(never->info().tilt);
    EXPECT_THAT(never->warnings(),
                ElementsAre("of its own", HasSubstr("largest plane is 400 mm away, and the camera "
                                                    "is said to be 3000 mm above the floor")));
}

TEST(LevelledSource, BeyondFifteenDegreesIsAWarningAndStillLevel) {
    Levelled one({0.0, 18.0}, 0, 2);
    SourceFrame frame;
    ASSERT_TRUE(one.source->next(frame));
    EXPECT_TRUE(one.source->info().camera.levelled.has_value());
    EXPECT_NEAR(frame.planes.raw_mm[128 * 480 + 240], 3000, 8);
    EXPECT_THAT(one.source->warnings(),
                ElementsAre("of its own", ::testing::AllOf(HasSubstr("by 18.0 degrees"),
                                                           HasSubstr("beyond 15 degrees"))));
}

TEST(LevelledSource, ASetTiltIsBelieved) {
    SourceFrame frame;
    Levelled given({8.0, 0.0}, 40, 40, {TiltSetting::Kind::kGiven, {8.0, 0.0}});
    EXPECT_EQ(given.source->info().tilt->roll_deg, 8.0);
    ASSERT_TRUE(given.source->next(frame));
    EXPECT_EQ(given.recording->made(), 1);
    EXPECT_TRUE(given.source->info().camera.levelled.has_value());
    EXPECT_THAT(given.source->warnings(), ElementsAre("of its own"));

    Levelled none({8.0, 0.0}, 0, 40, {TiltSetting::Kind::kNone, {}});
    Recording same({8.0, 0.0}, 0, 40);
    SourceFrame as_taken;
    ASSERT_TRUE(none.source->next(frame));
    ASSERT_TRUE(same.next(as_taken));
    EXPECT_EQ(frame.planes.raw_mm, as_taken.planes.raw_mm);
    EXPECT_FALSE(none.source->info().tilt);
}

}  // namespace
