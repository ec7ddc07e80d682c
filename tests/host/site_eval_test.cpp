// Objects against people, counts against crossings, and the table of both.
#include "host/score/site_eval.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "host/settings/site_map.h"
#include "tests/host/site_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Optional;

struct Object {
    int id;
    host::SitePoint at;
};

// Frames of one scene; every person is in view of two cameras unless said otherwise.
class Scene {
  public:
    void frame(std::vector<host::SitePerson> people, const std::vector<Object>& objects) {
        host::SiteFrame frame;
        frame.number = next_++;
        frame.people = std::move(people);
        for (const Object& object : objects)
            frame.tracks.push_back({object.id, host::to_master(site_, object.at), 1700.0});
        meter_.add_frame(frame);
    }

    // The same frame several times.
    void frames(int count, const std::vector<host::SitePerson>& people,
                const std::vector<Object>& objects) {
        for (int i = 0; i < count; ++i)
            frame(people, objects);
    }

    host::MergeScore score() const { return meter_.score(); }

  private:
    host::Site site_ = test::two_cameras();
    host::MergeMeter meter_{site_};
    std::int64_t next_ = 100;
};

host::SitePerson person(int id, double x_m, double y_m, int cameras = 2) {
    return {id, {x_m, y_m}, 1700.0, cameras};
}

TEST(MergeMeter, OnePersonOneObject) {
    Scene scene;
    scene.frames(10, {person(1, 2.0, 0.0)}, {{50, {2.1, 0.1}}});
    const host::MergeScore score = scene.score();
    EXPECT_EQ(score.person_frames, 10);
    EXPECT_EQ(score.one_object, 10);
    EXPECT_EQ(score.one_object_share(), 1.0);
    EXPECT_EQ(score.duplicate_share(), 0.0);
    EXPECT_EQ(score.people, 1);
    EXPECT_EQ(score.people_one_object, 1);
    EXPECT_EQ(score.stray_objects, 0);
    EXPECT_EQ(score.id_changes, 0);
}

TEST(MergeMeter, ASecondObjectIsADuplicateAfterFiveFrames) {
    for (const int length : {5, 6, 20}) {
        Scene scene;
        scene.frames(10, {person(1, 2.0, 0.0)}, {{50, {2.0, 0.0}}});
        scene.frames(length, {person(1, 2.0, 0.0)}, {{50, {2.0, 0.0}}, {51, {2.3, 0.0}}});
        scene.frames(10, {person(1, 2.0, 0.0)}, {{50, {2.0, 0.0}}});
        const host::MergeScore score = scene.score();
        EXPECT_EQ(score.person_frames, 20 + length);
        EXPECT_EQ(score.several_objects, length);
        EXPECT_EQ(score.one_object, 20);
        EXPECT_EQ(score.duplicate_frames, length > 5 ? length : 0);
        EXPECT_EQ(score.people_one_object, length > 5 ? 0 : 1);
    }
}

TEST(MergeMeter, AnInterruptedSecondObjectStartsAnew) {
    Scene scene;
    for (int i = 0; i < 4; ++i) {
        scene.frames(5, {person(1, 2.0, 0.0)}, {{50, {2.0, 0.0}}, {51, {2.3, 0.0}}});
        scene.frames(1, {person(1, 2.0, 0.0)}, {{50, {2.0, 0.0}}});
    }
    EXPECT_EQ(scene.score().duplicate_frames, 0);
    EXPECT_EQ(scene.score().several_objects, 20);
}

TEST(MergeMeter, ADuplicateStaysOneWhenTheNearerObjectChanges) {
    Scene scene;
    for (int i = 0; i < 10; ++i) {
        const double shift = i % 2 == 0 ? 0.1 : -0.1;
        scene.frame({person(1, 2.0 + shift, 0.0)}, {{50, {1.9, 0.0}}, {51, {2.1, 0.0}}});
    }
    EXPECT_EQ(scene.score().duplicate_frames, 10);
    EXPECT_EQ(scene.score().id_changes, 0);
}

TEST(MergeMeter, ADuplicateBetweenTwoPeopleStaysOne) {
    Scene scene;
    for (int i = 0; i < 8; ++i) {
        const double x = i % 2 == 0 ? 2.45 : 2.55;
        scene.frame({person(1, 2.0, 0.0), person(2, 3.0, 0.0)},
                    {{50, {2.0, 0.0}}, {51, {3.0, 0.0}}, {52, {x, 0.0}}});
    }
    const host::MergeScore score = scene.score();
    EXPECT_EQ(score.duplicate_frames, 8);
    EXPECT_EQ(score.people, 2);
    EXPECT_EQ(score.people_one_object, 0);
    EXPECT_EQ(score.one_object + score.several_objects, 16);
    EXPECT_EQ(score.several_objects, 8);
}

TEST(MergeMeter, NeighboursWithAnObjectEachAreNoDuplicates) {
    Scene scene;
    scene.frames(20, {person(1, 2.0, 0.0), person(2, 2.5, 0.0)},
                 {{50, {2.3, 0.0}}, {51, {2.8, 0.0}}});
    const host::MergeScore score = scene.score();
    EXPECT_EQ(score.one_object, 40);
    EXPECT_EQ(score.duplicate_frames, 0);
}

TEST(MergeMeter, AnObjectOnceTakenForTheNeighboursGoesBack) {
    // Two people abreast with their objects 0.3 m to the same side. At first only one of them is in
    // view, and only the other's object is there.
    Scene scene;
    scene.frames(3, {person(1, 2.0, 0.0), person(2, 2.0, 0.6, 0)}, {{52, {2.0, 0.3}}});
    scene.frames(20, {person(1, 2.0, 0.0), person(2, 2.0, 0.6)},
                 {{51, {2.0, -0.3}}, {52, {2.0, 0.3}}});
    const host::MergeScore score = scene.score();
    EXPECT_EQ(score.one_object, 43);
    EXPECT_EQ(score.several_objects, 0);
    EXPECT_EQ(score.duplicate_frames, 0);
    EXPECT_EQ(score.id_changes, 1);
}

TEST(MergeMeter, ARowWithAnObjectEachHasNoDuplicates) {
    // Four abreast, their objects 0.3 m to the same side; the last person's comes late.
    Scene scene;
    const std::vector<host::SitePerson> row = {person(1, 2.0, 0.0), person(2, 2.0, 0.6),
                                               person(3, 2.0, 1.2), person(4, 2.0, 1.8)};
    scene.frames(3, row, {{50, {2.0, 0.3}}, {51, {2.0, 0.9}}, {52, {2.0, 1.5}}});
    scene.frames(20, row, {{50, {2.0, 0.3}}, {51, {2.0, 0.9}}, {52, {2.0, 1.5}}, {53, {2.0, 2.1}}});
    const host::MergeScore score = scene.score();
    EXPECT_EQ(score.duplicate_frames, 0);
    EXPECT_EQ(score.no_object, 3);
    EXPECT_EQ(score.one_object, 89);
    // A fifth object is one too many wherever it is.
    scene.frames(
        10, row,
        {{50, {2.0, 0.3}}, {51, {2.0, 0.9}}, {52, {2.0, 1.5}}, {53, {2.0, 2.1}}, {54, {2.0, 1.0}}});
    EXPECT_EQ(scene.score().duplicate_frames, 10);
}

TEST(MergeMeter, TwoPeopleInOneObjectIsOneMissing) {
    Scene scene;
    scene.frames(20, {person(1, 2.0, 0.0), person(2, 2.4, 0.0)}, {{50, {2.2, 0.0}}});
    const host::MergeScore score = scene.score();
    EXPECT_EQ(score.one_object, 20);
    EXPECT_EQ(score.no_object, 20);
    EXPECT_EQ(score.people_one_object, 1);
}

TEST(MergeMeter, OnlyTheOverlapCounts) {
    Scene scene;
    scene.frames(10, {person(1, 2.0, 0.0, 1)}, {{50, {2.0, 0.0}}, {51, {2.2, 0.0}}});
    EXPECT_EQ(scene.score().person_frames, 0);
    EXPECT_EQ(scene.score().duplicate_frames, 0);
    EXPECT_EQ(scene.score().people, 0);
    EXPECT_TRUE(std::isnan(scene.score().one_object_share()));
    EXPECT_EQ(scene.score().stray_objects, 0);
}

TEST(MergeMeter, ObjectsNearNobodyAreStray) {
    Scene scene;
    scene.frames(3, {person(1, 2.0, 0.0), person(2, 9.0, 0.0, 0)},
                 {{50, {2.0, 0.0}}, {51, {2.75, 0.0}}, {52, {9.0, 0.0}}});
    EXPECT_EQ(scene.score().stray_objects, 6);
    EXPECT_EQ(scene.score().one_object, 3);
}

TEST(MergeMeter, ANewNumberInTheOverlapIsAChange) {
    Scene scene;
    scene.frames(3, {person(1, 2.0, 0.0)}, {{50, {2.0, 0.0}}});
    scene.frames(2, {person(1, 2.0, 0.0)}, {});
    scene.frames(3, {person(1, 2.0, 0.0)}, {{51, {2.0, 0.0}}});
    const host::MergeScore score = scene.score();
    EXPECT_EQ(score.id_changes, 1);
    EXPECT_EQ(score.no_object, 2);
    EXPECT_EQ(score.people_one_object, 1);
}

TEST(MergeMeter, APersonHardlyEverFoundIsNotOneObject) {
    Scene scene;
    scene.frames(4, {person(1, 2.0, 0.0)}, {{50, {2.0, 0.0}}});
    scene.frames(4, {person(1, 2.0, 0.0)}, {});
    EXPECT_EQ(scene.score().people, 1);
    EXPECT_EQ(scene.score().people_one_object, 0);
}

TEST(SiteViews, HeadsAreCountedByTheirHeight) {
    const host::Site site = test::two_cameras();
    // Both see a child here, only the higher camera the head of a tall man.
    std::vector<host::SitePerson> people{
        {1, {2.5, 1.0}, 1000.0, 0}, {2, {2.5, 1.0}, 2000.0, 0}, {3, {30.0, 0.0}, 1700.0, 7}};
    host::count_views(site, people);
    EXPECT_EQ(people[0].cameras, 2);
    EXPECT_EQ(people[1].cameras, 1);
    EXPECT_EQ(people[2].cameras, 0);
}

TEST(MergedTracks, AreTheMiddlesOfTheBoxes) {
    host::TracksShown shown;
    shown.tracks.resize(2);
    shown.tracks[0].track = 5;
    shown.tracks[0].x = -100;
    shown.tracks[0].y = 50;
    shown.tracks[0].w = 61;
    shown.tracks[0].h = 60;
    const std::vector<host::MergedTrack> tracks = host::merged_tracks(shown);
    ASSERT_EQ(tracks.size(), 2u);
    EXPECT_EQ(tracks[0].id, 5);
    EXPECT_EQ(tracks[0].foot.x, -69.5);
    EXPECT_EQ(tracks[0].foot.y, 80.0);
}

host::Site with_line(bool flip, bool uturn) {
    host::Site site = test::two_cameras();
    site.lines.push_back({"gate", {{0.0, 1.0}, {0.0, -1.0}}, uturn, {}, flip, ""});
    return site;
}

// Crossings of somebody who walks along these x, 5 cm a frame, seen by `cameras`.
std::vector<host::TrueCrossing> walk(const host::Site& site, const std::vector<double>& turns,
                                     int cameras = 1) {
    host::SiteTruth truth(site);
    std::vector<host::TrueCrossing> all;
    std::int64_t number = 0;
    for (std::size_t i = 1; i < turns.size(); ++i) {
        const int steps = static_cast<int>(std::abs(turns[i] - turns[i - 1]) / 0.05);
        for (int k = 0; k <= steps; ++k) {
            const double x = turns[i - 1] + (turns[i] - turns[i - 1]) * k / steps;
            host::SiteFrame frame;
            frame.number = number++;
            frame.people = {person(4, x, 0.0, cameras)};
            for (const host::TrueCrossing& c : truth.add_frame(frame))
                all.push_back(c);
        }
    }
    return all;
}

TEST(SiteTruth, CountsWaysOverALine) {
    const auto crossings = walk(with_line(false, false), {-1.0, 1.0, -1.0});
    ASSERT_EQ(crossings.size(), 2u);
    // Drawn upwards, so its left side is that of smaller x.
    EXPECT_EQ(crossings[0].direction, 2);
    EXPECT_EQ(crossings[0].person, 4);
    EXPECT_EQ(crossings[1].direction, 1);
    EXPECT_EQ(walk(with_line(true, false), {-1.0, 1.0}).at(0).direction, 1);
}

TEST(SiteTruth, WhomNoCameraSeesDoesNotCross) {
    EXPECT_TRUE(walk(with_line(false, false), {-1.0, 1.0}, 0).empty());
}

TEST(SiteTruth, TurningBackAnywhereIsFilteredWithoutAnArea) {
    EXPECT_TRUE(walk(with_line(false, true), {-9.0, 2.0, -9.0}).empty());
    EXPECT_EQ(walk(with_line(false, true), {-9.0, 12.0}).size(), 1u);
}

TEST(SiteCounts, ErrorIsTheShareOfDifferences) {
    host::Site site = with_line(false, false);
    site.lines.push_back({"door", {{3.0, 1.0}, {3.0, -1.0}}, false, {}, false, ""});
    const host::LineCounts truth =
        host::count_truth(site, {{0, 1, 5, 1}, {0, 2, 6, 1}, {0, 3, 7, 2}, {1, 1, 9, 2}});
    EXPECT_THAT(truth.lines[0], Optional(std::array<int, 2>{2, 1}));
    EXPECT_THAT(truth.lines[1], Optional(std::array<int, 2>{0, 1}));
    EXPECT_EQ(host::count_error(truth, truth), 0.0);
    host::LineCounts counts = host::no_counts(site, "merged");
    EXPECT_EQ(host::count_error(counts, truth), std::nullopt);
    // One too many and one too few do not cancel out.
    counts.lines[0] = {1, 2};
    EXPECT_DOUBLE_EQ(*host::count_error(counts, truth), 2.0 / 3.0);
    counts.lines[1] = {0, 1};
    EXPECT_DOUBLE_EQ(*host::count_error(counts, truth), 0.5);
}

TEST(SiteRegions, PeopleWhomACameraSeesAreCompared) {
    host::Site site = test::two_cameras();
    site.regions = {{"till", {{0, 0}, {2, 0}, {2, 2}, {0, 2}}, ""}};
    host::RegionMeter meter = host::region_meter(site);
    host::SiteFrame frame;
    frame.people = {person(1, 1.0, 1.0, 1), person(2, 1.5, 1.0, 0), person(3, 3.0, 1.0, 2)};
    meter.add_report({1}, {});
    meter.add_frame(0.0, host::people_in_view(frame));
    meter.add_report({3}, {});
    meter.add_frame(0.1, host::people_in_view(frame));
    host::SiteResult result;
    result.truth = host::no_counts(site, "true");
    result.merged = host::no_counts(site, "merged");
    result.regions = meter.occupancy();
    ASSERT_EQ(result.regions.size(), 1u);
    EXPECT_DOUBLE_EQ(result.regions[0].true_mean, 1.0);
    EXPECT_DOUBLE_EQ(result.regions[0].mean, 2.0);
    EXPECT_DOUBLE_EQ(result.regions[0].mean_abs_error, 1.0);
    EXPECT_THAT(
        host::site_table(site, result),
        HasSubstr("  till                      1.00      2.00      1.00         1         3\n"));
}

TEST(SiteCounts, TheTableNamesEveryObserver) {
    const host::Site site = with_line(false, false);
    host::SiteResult result;
    result.truth = host::count_truth(site, {{0, 1, 5, 1}, {0, 2, 6, 1}, {0, 3, 7, 2}});
    result.merged = host::no_counts(site, "merged");
    result.merged.lines[0] = {2, 1};
    result.alone = {host::no_counts(site, "main"), host::no_counts(site, "side")};
    result.alone[0].lines[0] = {1, 1};
    result.merge.person_frames = 1000;
    result.merge.one_object = 985;
    result.merge.duplicate_frames = 12;
    result.merge.people = 20;
    result.merge.people_one_object = 19;
    result.merge.objects = 2000;
    result.merge.stray_objects = 7;
    EXPECT_EQ(host::site_table(site, result),
              "  line, direction           true    merged      main      side\n"
              "  gate              1          2         2         1         –\n"
              "                    2          1         1         1         –\n"
              "  error                              0.0 %    33.3 %         –\n"
              "\n"
              "  seen by two cameras or more at once: 20 people, 19 of them one object\n"
              "  of their 1000 appearances on frames 98.5 % were exactly one object, 1.2 % "
              "duplicates of more than 5 frames\n"
              "  objects near nobody: 7 of 2000 on frames\n");
}

}  // namespace
