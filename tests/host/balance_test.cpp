// The balance of an area from made-up events: who comes, stays and goes, and each way in which
// counts and feet can disagree.
#include "host/score/balance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "vca/messages.h"

namespace {

using host::Balance;
using host::Decision;
using host::Event;
using ::testing::HasSubstr;

constexpr int kIn = VCA_DIR_2;  // the area is drawn clockwise: its outside is on the left
constexpr int kOut = VCA_DIR_1;
constexpr int kTrack = 7;
constexpr host::PicturePoint kOutside{100, 272};
constexpr host::PicturePoint kInside{480, 272};

host::BalanceSetup area() {
    host::BalanceSetup setup;
    host::CountingLine door;
    door.name = "door";
    door.points = {{0, 500}, {960, 500}};
    host::CountingLine ring;
    ring.name = "ring";
    ring.points = {{300, 150}, {660, 150}, {660, 400}, {300, 400}, {300, 150}};
    setup.lines = {door, ring};
    setup.names.lines = {"door", "ring"};
    setup.foot_point = false;
    return setup;
}

// Tells of people frame by frame, as the library would.
class Told : public testing::Test {
  protected:
    void decide(int kind, host::PicturePoint at, int detail = 0, int track = kTrack) {
        const bool about_line = kind >= VCA_DECISION_NEAR_LINE && kind <= VCA_DECISION_COUNTED;
        send(Decision{kind, static_cast<int>(number_), VCA_LIST_LOCAL, track, about_line ? 1 : -1,
                      detail, static_cast<int>(at.x), static_cast<int>(at.y), 1.0f, 1.0f});
    }
    void appear(host::PicturePoint at, int track = kTrack) {
        decide(VCA_DECISION_BORN, at, 0, track);
        decide(VCA_DECISION_COUNTABLE, at, 0, track);
    }
    void count(int direction, int line = 1, int track = kTrack) {
        host::PersonCounted counted;
        counted.track = track;
        counted.line = line;
        counted.direction = direction;
        send(counted);
    }
    void end(host::PicturePoint at, int why = VCA_ENDED_LOST, int track = kTrack) {
        decide(VCA_DECISION_ENDED, at, why, track);
    }
    // Frames in which these tracks are seen there.
    void stand(const std::vector<std::pair<int, host::PicturePoint>>& people, int frames = 1) {
        for (int i = 0; i < frames; ++i) {
            host::TracksShown shown;
            host::PassReport report;
            for (const auto& [track, at] : people) {
                host::ShownTrack each;
                each.track = track;
                each.x = static_cast<int>(at.x) - 20;
                each.y = static_cast<int>(at.y) - 20;
                each.w = each.h = 40;
                shown.tracks.push_back(each);
                report.tracks.push_back({track, {each.x, each.y, 40, 40}});
            }
            send(shown);
            end_frame(report);
        }
    }
    void stand(host::PicturePoint at, int frames = 1) { stand({{kTrack, at}}, frames); }
    void end_frame(host::PassReport report = {}) {
        report.number = number_;
        report.time_s = static_cast<double>(number_) / 10.0;
        meter_.end_frame(report);
        ++number_;
    }
    const Balance& balance() {
        meter_.finish();
        EXPECT_EQ(meter_.balances().size(), 1u) << "only closed lines have one";
        return meter_.balances().front();
    }

    template <typename Payload>
    void send(Payload payload) {
        Event event;
        event.frame_number = number_;
        event.time_s = static_cast<double>(number_) / 10.0;
        event.payload = std::move(payload);
        meter_.add(event);
    }

    std::int64_t number_ = 0;
    host::BalanceMeter meter_{area()};
};

using BalanceOf = Told;

TEST_F(BalanceOf, SomebodyWhoComesAndGoes) {
    appear(kOutside);
    stand(kOutside, 10);
    count(kIn);
    stand(kInside, 10);
    count(kOut);
    stand(kOutside, 3);
    end(kOutside);
    end_frame();
    const Balance& b = balance();
    EXPECT_TRUE(b.is_exact());
    EXPECT_EQ(b.entries, 1);
    EXPECT_EQ(b.exits, 1);
    EXPECT_EQ(b.appeared + b.vanished + b.inside, 0);
    EXPECT_EQ(b.checks, 18) << "all but the first five, whose feet are not settled";
    EXPECT_EQ(b.checks_off, 0);
}

TEST_F(BalanceOf, PeopleWhoAppearVanishAndStayInside) {
    appear(kInside);
    stand(kInside, 8);
    count(kOut);
    stand(kOutside, 2);
    end(kOutside);
    appear(kOutside, 8);
    stand({{8, kOutside}}, 8);
    count(kIn, 1, 8);
    stand({{8, kInside}}, 2);
    end(kInside, VCA_ENDED_LOST, 8);
    appear(kInside, 9);
    stand({{9, kInside}}, 8);
    end(kInside, VCA_ENDED_STOPPED, 9);
    end_frame();
    const Balance& b = balance();
    EXPECT_TRUE(b.is_exact());
    EXPECT_EQ(b.appeared, 2);
    EXPECT_EQ(b.vanished, 1);
    EXPECT_EQ(b.inside, 1);
    EXPECT_EQ(host::balance_text(b),
              "1 came in, 1 went out, 2 appeared inside, 1 vanished inside: 1 person left by the "
              "counts, 1 by their feet");
}

TEST_F(BalanceOf, AnEntryThatWasNotCounted) {
    appear(kOutside);
    stand(kOutside, 10);
    stand(kInside, 4);
    end(kInside);
    end_frame();
    const Balance& b = balance();
    EXPECT_FALSE(b.is_exact());
    EXPECT_EQ(b.difference(), -1);
    EXPECT_EQ(b.checks_off, 4);
    ASSERT_EQ(b.faults.size(), 1u) << "told once, not once more at the end";
    EXPECT_EQ(host::fault_text(b.faults[0]),
              "track 7 stood inside from 1.0 s on, by the counts outside: came near no line");
}

TEST_F(BalanceOf, AnExitThatWasNotCounted) {
    appear(kInside);
    stand(kInside, 10);
    stand(kOutside, 4);
    end(kOutside);
    end_frame();
    const Balance& b = balance();
    EXPECT_EQ(b.difference(), 1);
    ASSERT_EQ(b.faults.size(), 1u);
    EXPECT_THAT(host::fault_text(b.faults[0]),
                HasSubstr("stood outside from 1.0 s on, by the counts inside"));
}

TEST_F(BalanceOf, ACountTwiceOfOnePerson) {
    appear(kOutside);
    stand(kOutside, 10);
    count(kIn);
    count(kIn);
    stand(kInside, 4);
    count(kOut);
    stand(kOutside, 2);
    end(kOutside);
    end_frame();
    const Balance& b = balance();
    EXPECT_EQ(b.difference(), 1);
    ASSERT_GE(b.faults.size(), 1u);
    EXPECT_THAT(host::fault_text(b.faults[0]), HasSubstr("by the counts 2 times inside"));
}

TEST_F(BalanceOf, AnExitOfSomebodyWhoWasNeverInside) {
    appear(kOutside);
    stand(kOutside, 10);
    count(kOut);
    stand(kOutside, 2);
    end(kOutside);
    end_frame();
    const Balance& b = balance();
    EXPECT_EQ(b.difference(), -1);
    ASSERT_EQ(b.faults.size(), 1u);
    EXPECT_THAT(host::fault_text(b.faults[0]), HasSubstr("by the counts -1 times inside"));
}

TEST_F(BalanceOf, ACountThatComesLateAndThenIsRight) {
    appear(kOutside);
    stand(kOutside, 10);
    stand(kInside, 2);
    count(kIn);
    stand(kInside, 2);
    end(kInside);
    end_frame();
    const Balance& b = balance();
    EXPECT_EQ(b.difference(), 0);
    EXPECT_EQ(b.fault_count, 1);
    EXPECT_EQ(b.checks_off, 2);
    EXPECT_FALSE(b.is_exact());
    EXPECT_THAT(host::fault_text(b.faults.at(0)), HasSubstr("stood inside from 1.0 to 1.2 s"));
}

// Nothing is decided yet of somebody who stands on the line.
TEST_F(BalanceOf, PeopleOnTheLineAreNotJudged) {
    appear(kOutside);
    stand(kOutside, 10);
    for (int i = 0; i < 5; ++i) {
        decide(VCA_DECISION_NEAR_LINE, kInside, 1);
        stand(kInside);
    }
    end(kInside);
    end_frame();
    const Balance& b = balance();
    EXPECT_TRUE(b.is_exact()) << "vanished on the line, where the counts have them";
    EXPECT_EQ(b.checks, 5);
    EXPECT_EQ(b.vanished, 0);
}

TEST_F(BalanceOf, PeopleInAUturnAreaAreNotJudged) {
    appear(kOutside);
    stand(kOutside, 10);
    decide(VCA_DECISION_WAITS, kInside, kIn);
    stand(kInside, 5);
    decide(VCA_DECISION_TURNED_BACK, kOutside);
    stand(kOutside, 2);
    end(kOutside);
    end_frame();
    const Balance& b = balance();
    EXPECT_TRUE(b.is_exact());
    EXPECT_EQ(b.checks, 7);
}

TEST_F(BalanceOf, PeopleWhomTheSettingsDoNotCountAreNoPartOfIt) {
    appear(kOutside);
    stand(kOutside, 10);
    decide(VCA_DECISION_HEIGHT_OUT, kOutside);
    stand(kInside, 5);
    end(kInside);
    decide(VCA_DECISION_BORN, kInside, 0, 8);  // too briefly there to count
    end(kOutside, VCA_ENDED_LOST, 8);
    end_frame();
    const Balance& b = balance();
    EXPECT_TRUE(b.is_exact());
    EXPECT_EQ(b.checks, 5);
    EXPECT_EQ(b.appeared + b.vanished, 0);
}

// Counts that are left out are no counts, and other lines have their own.
TEST_F(BalanceOf, OnlyCountsThatStandAreOfTheBalance) {
    appear(kOutside);
    stand(kOutside, 10);
    host::PersonCounted counted;
    counted.track = kTrack;
    counted.line = 1;
    counted.direction = kIn;
    send(host::CountLeftOut{counted, VCA_LIST_LOCAL, host::LeftOut::kWentBack});
    count(kIn, 0);
    stand(kOutside, 3);
    end(kOutside);
    end_frame();
    const Balance& b = balance();
    EXPECT_TRUE(b.is_exact());
    EXPECT_EQ(b.entries, 0);
}

// A count that the end of a track makes comes after the decision that it has ended.
TEST_F(BalanceOf, CountsAtTheEndOfATrackBelongToIt) {
    appear(kOutside);
    stand(kOutside, 10);
    end(kInside);
    count(kIn);
    end_frame();
    const Balance& b = balance();
    EXPECT_TRUE(b.is_exact()) << "last seen outside, last placed inside: where the counts say";
    EXPECT_EQ(b.vanished, 1);
}

TEST_F(BalanceOf, TheDirectionInwardFollowsDrawingAndFlip) {
    for (const bool backwards : {false, true}) {
        for (const bool flip : {false, true}) {
            host::BalanceSetup setup = area();
            host::CountingLine& ring = setup.lines[1];
            if (backwards) ring.points = {ring.points.rbegin(), ring.points.rend()};
            ring.flip = flip;
            host::BalanceMeter meter(setup);
            host::PersonCounted counted;
            counted.line = 1;
            counted.direction = backwards != flip ? kOut : kIn;
            Event event;
            event.payload = counted;
            meter.add(event);
            EXPECT_EQ(meter.balances().at(0).entries, 1) << backwards << flip;
        }
    }
}

// Head outside and feet inside, as where people come into view: the first count tells.
class Astride : public Told {
  protected:
    Astride() {
        host::BalanceSetup setup = area();
        setup.foot_point = true;
        setup.camera_mm = 4000.0;
        meter_ = host::BalanceMeter(setup);
        appear({250, 272});
        send(host::TrackAppeared{kTrack, 250, 272, 340, 272});
    }
};

TEST_F(Astride, CameInWhenTheFirstCountIsAnEntry) {
    count(kIn);
    end({480, 272});
    end_frame();
    EXPECT_EQ(balance().appeared, 0);
    EXPECT_EQ(balance().entries, 1);
}

TEST_F(Astride, WasInsideWhenTheFirstCountIsAnExit) {
    count(kOut);
    end({250, 272});
    end_frame();
    EXPECT_EQ(balance().appeared, 1);
    EXPECT_EQ(balance().exits, 1);
    EXPECT_EQ(balance().fault_count, 0);
}

TEST_F(Astride, WasWhereTheyFirstStandOffTheLine) {
    stand(kInside, 8);
    count(kOut);
    end({250, 272});
    end_frame();
    EXPECT_EQ(balance().appeared, 1);
}

TEST_F(BalanceOf, OnlyTheFirstViolationsAreTold) {
    for (int track = 1; track <= 120; ++track) {
        appear(kOutside, track);
        stand({{track, kOutside}}, 6);
        stand({{track, kInside}}, 2);
        end(kInside, VCA_ENDED_LOST, track);
        end_frame();
    }
    EXPECT_EQ(balance().fault_count, 120);
    EXPECT_EQ(balance().faults.size(), Balance::kMostTold);
    EXPECT_EQ(balance().difference(), -120);
}

}  // namespace
