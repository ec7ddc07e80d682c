// Scenes and walks as frame sources: lines, directions and truth in the host's terms.
#include "host/frames/sim_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "tests/support/unique_path.h"

namespace {

using host::CountingLine;
using host::SourceFrame;
using host::TrueCrossing;

// Walks of one person along the file's y axis, 1.2 m/s at 25 frames a second.
class Walk : public ::testing::Test {
  protected:
    void TearDown() override { std::filesystem::remove(path_); }

    std::unique_ptr<host::FrameSource> walk(const std::vector<double>& y_m) {
        std::ofstream out(path_);
        out << "# framerate: 25 fps\n# id frame x/m y/m z/m\n";
        for (std::size_t i = 0; i < y_m.size(); ++i) {
            out << "1 " << i << " 0.0 " << y_m[i] << " 1.7\n";
        }
        out.close();
        host::SourceOptions options;
        options.source = "walks";
        options.trajectories = path_;
        options.height_mm = 5000.0;
        options.camera_at = host::PicturePoint{0.0, 0.0};
        return host::open_source(options);
    }

    static std::vector<double> steps(double from, double to) {
        std::vector<double> y_m;
        const double step = from < to ? 0.05 : -0.05;
        const int count = static_cast<int>((to - from) / step);
        for (int i = 0; i <= count; ++i)
            y_m.push_back(from + i * step);
        return y_m;
    }

    static std::vector<TrueCrossing> crossings(host::FrameSource& source,
                                               const CountingLine& line) {
        source.count_truth({line});
        std::vector<TrueCrossing> all;
        SourceFrame frame;
        while (source.next(frame)) {
            all.insert(all.end(), frame.crossings.begin(), frame.crossings.end());
        }
        for (const TrueCrossing& c : source.settle_truth())
            all.push_back(c);
        return all;
    }

    std::string path_ = test::unique_path("vca-sim-source-test", ".txt").string();
};

const CountingLine kAcross{"a", {{100, 272}, {860, 272}}, false, {}, false};

TEST_F(Walk, UpThePictureOverALineFromLeftToRightIsDirection1) {
    const auto source = walk(steps(-1.0, 1.0));  // the file's y axis points up
    const auto found = crossings(*source, kAcross);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].direction, 1);
    EXPECT_EQ(found[0].person, 1);
    EXPECT_EQ(found[0].line, 0);
}

TEST_F(Walk, BackwardsIsDirection2AndFlipSwaps) {
    CountingLine line = kAcross;
    EXPECT_EQ(crossings(*walk(steps(1.0, -1.0)), line).at(0).direction, 2);
    line.flip = true;
    EXPECT_EQ(crossings(*walk(steps(1.0, -1.0)), line).at(0).direction, 1);
    EXPECT_EQ(crossings(*walk(steps(-1.0, 1.0)), line).at(0).direction, 2);
}

TEST_F(Walk, TheFilterWithoutAreaJudgesTheWholeWay) {
    CountingLine line = kAcross;
    line.uturn_filter = true;
    std::vector<double> there_and_back = steps(-4.0, 0.5);
    for (const double y : steps(0.5, -4.0))
        there_and_back.push_back(y);
    EXPECT_TRUE(crossings(*walk(there_and_back), line).empty());
    const auto through = crossings(*walk(steps(-4.0, 4.0)), line);
    ASSERT_EQ(through.size(), 1u);
    EXPECT_EQ(through[0].direction, 1);
}

TEST_F(Walk, TheEndJudgesWhoIsStillInsideAnArea) {
    CountingLine line = kAcross;
    line.uturn_filter = true;
    line.uturn_area = {{100, 172}, {860, 172}, {860, 372}, {100, 372}};
    const auto ended = crossings(*walk(steps(-1.5, 0.5)), line);  // stops beyond the line
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].direction, 1);
    EXPECT_TRUE(crossings(*walk(steps(-1.5, -0.5)), line).empty());  // stops before it
}

TEST_F(Walk, WithoutAnAreaTheEndAddsNothing) {
    const auto source = walk(steps(-1.0, 0.1));  // less than 0.25 m beyond
    EXPECT_TRUE(crossings(*source, kAcross).empty());
}

TEST_F(Walk, TruthFollowsThePersonAndSaysWhoHasToBeFound) {
    const auto source = walk(steps(-4.0, 4.0));
    EXPECT_DOUBLE_EQ(*source->info().camera.height_mm, 5000.0);
    EXPECT_EQ(source->info().frames_per_second, 25.0);
    EXPECT_TRUE(source->info().has_truth);
    SourceFrame frame;
    int clear = 0;
    while (source->next(frame)) {
        for (const host::TruePerson& person : frame.people) {
            if (!person.clear) continue;
            ++clear;
            EXPECT_GE(person.box.y, 20);
            EXPECT_LE(person.box.y + person.box.h, 524);
            EXPECT_NEAR(person.height_mm, 1700.0, 1.0);
            EXPECT_NEAR(person.box.x + person.box.w / 2, 480, 40);
        }
    }
    // 3.3 m at head height over 514.7 px and 504 rows: about 3.2 m of the way, 64 frames.
    EXPECT_GT(clear, 40);
    EXPECT_LT(clear, 75);
}

TEST_F(Walk, SkippedFramesAreLeftOut) {
    const auto all = walk(steps(-1.0, 1.0));
    const auto some = walk(steps(-1.0, 1.0));
    SourceFrame a;
    SourceFrame b;
    for (int i = 0; i <= 10; ++i)
        ASSERT_TRUE(all->next(a));
    some->skip(10);
    ASSERT_TRUE(some->next(b));
    EXPECT_EQ(b.number, 10);
    EXPECT_EQ(a.planes.raw_mm, b.planes.raw_mm);
    some->skip(1000);
    EXPECT_FALSE(some->next(b));
}

// From 5 m the floor is seen over 4.66 m by 2.64 m to either side and heads at 1.7 m over 3.08 m
// by 1.74 m: lines must end at 480 - 480 * 3.08 / 4.66 px and 0.25 m before 1.74 m.
TEST_F(Walk, LinesWhoseCrossersLeaveThePictureAreWarnedOf) {
    const auto source = walk(steps(-1.0, 1.0));
    const auto warnings = [&source](double x1, double y1, double x2, double y2) {
        source->count_truth({{"door", {{x1, y1}, {x2, y2}}, false, {}, false}});
        return source->warnings();
    };
    EXPECT_TRUE(warnings(165, 272, 795, 272).empty());
    ASSERT_EQ(warnings(155, 272, 795, 272).size(), 1u);
    EXPECT_THAT(warnings(155, 272, 795, 272)[0],
                testing::AllOf(testing::HasSubstr("\"door\""), testing::HasSubstr("155,272")));
    EXPECT_EQ(warnings(165, 272, 805, 272).size(), 1u);
    EXPECT_TRUE(warnings(200, 120, 760, 120).empty());
    EXPECT_EQ(warnings(200, 115, 760, 115).size(), 1u);  // the far side is out of view
    EXPECT_TRUE(warnings(200, 424, 760, 424).empty());
    EXPECT_EQ(warnings(200, 429, 760, 429).size(), 1u);
    source->count_truth({});
    EXPECT_TRUE(source->warnings().empty());
}

TEST_F(Walk, WhatIsWrongWithAFileNamesTheOption) {
    const auto error = [](const std::string& path, double height_mm) -> std::string {
        host::SourceOptions options;
        options.source = "walks";
        options.trajectories = path;
        options.height_mm = height_mm;
        try {
            host::open_source(options);
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "no error";
    };
    walk(steps(-1.0, 1.0));
    EXPECT_EQ(error(path_, 1900.0), "no error");
    EXPECT_EQ(error(path_, 15000.0), "no error");
    EXPECT_THAT(error(path_, 1800.0), testing::StartsWith("--height: "));
    EXPECT_THAT(error(path_, 16000.0), testing::HasSubstr("1500 to 15000 mm"));
    EXPECT_THAT(error("nofile", 5000.0),
                testing::AllOf(testing::StartsWith(
                                   "cannot read the walks \"nofile\": No such file or directory"),
                               testing::HasSubstr("--trajectories needs a text file of lines")));
    EXPECT_THAT(error("/dev/null", 5000.0), testing::HasSubstr("it is not a regular file"));
}

TEST_F(Walk, ACameraThatNobodyPassesIsRefused) {
    walk(steps(-1.0, 1.0));
    host::SourceOptions options;
    options.source = "walks";
    options.trajectories = path_;
    options.height_mm = 4000.0;
    options.camera_at = host::PicturePoint{1000.0, 1000.0};
    try {
        host::open_source(options);
        FAIL();
    } catch (const host::InputError& e) {
        EXPECT_THAT(e.what(), testing::HasSubstr("nobody comes into the camera's view"));
        EXPECT_THAT(e.what(), testing::HasSubstr("--camera-at X,Y among them"));
    }
}

TEST(Scene, LastsAsLongAsALongerRun) {
    host::SourceOptions options;
    const double own_s = host::open_source(options)->info().duration_s;
    options.seconds = own_s + 2.0;
    const auto source = host::open_source(options);
    EXPECT_EQ(source->info().duration_s, own_s + 2.0);
    SourceFrame frame;
    source->skip(static_cast<std::int64_t>(own_s * 15.0) + 29);
    ASSERT_TRUE(source->next(frame));
    EXPECT_NEAR(frame.time_s, own_s + 2.0, 0.1);
    EXPECT_FALSE(source->next(frame));
}

TEST(Scene, KeepsItsOwnLengthInAShorterRun) {
    host::SourceOptions options;
    const double own_s = host::open_source(options)->info().duration_s;
    options.seconds = 30.0;
    EXPECT_EQ(host::open_source(options)->info().duration_s, own_s);
}

// The scenes' own lines are where people are seen on both sides.
TEST(Scene, OwnLinesNeedNoWarning) {
    for (const char* name : {"doorway", "entrance", "uturn", "gallery"}) {
        host::SourceOptions options;
        options.scene = name;
        const auto source = host::open_source(options);
        source->count_truth(source->info().lines);
        EXPECT_THAT(source->warnings(), testing::IsEmpty()) << name;
    }
}

TEST(Scene, LinesAreWhereTheyAreSeen) {
    host::SourceOptions options;
    options.scene = "doorway";
    const auto floor = host::open_source(options);
    options.foot_point = false;
    const auto head = host::open_source(options);
    ASSERT_EQ(floor->info().lines.size(), 1u);
    const host::PicturePoint on_floor = floor->info().lines[0].points[0];
    const host::PicturePoint at_head = head->info().lines[0].points[0];
    // From 3 m, what is 1.6 m up appears farther from the middle by 3 / 1.4.
    EXPECT_NEAR((at_head.x - 480.0) / (on_floor.x - 480.0), 3.0 / 1.4, 1e-9);
    EXPECT_NEAR(on_floor.y, 272.0, 1e-9);
}

// Floor or head height, a region's corners lie where people who stand there have their place.
TEST(Scene, RegionsAreWhereTheirPeopleAre) {
    for (const bool foot_point : {true, false}) {
        host::SourceOptions options;
        options.scene = "gallery";
        options.foot_point = foot_point;
        const auto source = host::open_source(options);
        const auto& regions = source->info().regions;
        ASSERT_EQ(regions.size(), 3u);
        EXPECT_EQ(regions[0].name, "painting");
        ASSERT_EQ(regions[0].points.size(), 4u);
        // 514.737 px of focal length over 4.2 m, or 2.6 m to the plane of the heads; the corner is
        // 1.05 m left of the camera and 1.2 m up the picture.
        const double scale = 514.737 / (foot_point ? 4.2 : 2.6);
        EXPECT_NEAR(regions[0].points[0].x, 480.0 - 1.05 * scale, 1e-9);
        EXPECT_NEAR(regions[0].points[0].y, 272.0 - 1.2 * scale, 1e-9);
        EXPECT_NEAR(regions[0].points[2].x, 480.0 - 0.05 * scale, 1e-9);
        EXPECT_NEAR(regions[0].points[2].y, 272.0 - 0.35 * scale, 1e-9);
    }
}

TEST(Scene, TruthSaysWhoIsStaff) {
    const auto staff_of = [](const char* scene) {
        host::SourceOptions options;
        options.scene = scene;
        const auto source = host::open_source(options);
        std::map<int, bool> staff;
        SourceFrame frame;
        for (int i = 0; i < 40; ++i) {
            source->skip(14);
            if (!source->next(frame)) break;
            for (const host::TruePerson& person : frame.people) {
                const auto [entry, fresh] = staff.try_emplace(person.id, person.staff);
                EXPECT_EQ(entry->second, person.staff);
            }
        }
        int count = 0;
        for (const auto& [id, is_staff] : staff)
            count += is_staff ? 1 : 0;
        return std::pair(count, static_cast<int>(staff.size()));
    };
    const auto [gallery_staff, gallery_people] = staff_of("gallery");
    EXPECT_GE(gallery_staff, 1);
    EXPECT_LT(gallery_staff, gallery_people);
    const auto [shop_staff, shop_people] = staff_of("shop");
    EXPECT_EQ(shop_staff, 0);
    EXPECT_GE(shop_people, 5);
}

TEST(Scene, SameSeedSameFrames) {
    host::SourceOptions options;
    options.scene = "doorway";
    const auto a = host::open_source(options);
    const auto b = host::open_source(options);
    SourceFrame first;
    SourceFrame second;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(a->next(first));
        ASSERT_TRUE(b->next(second));
        EXPECT_EQ(first.number, i);
        EXPECT_EQ(first.planes.raw_mm, second.planes.raw_mm);
        EXPECT_EQ(first.planes.colour_nv12, second.planes.colour_nv12);
    }
}

}  // namespace
