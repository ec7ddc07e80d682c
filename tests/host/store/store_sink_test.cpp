// What becomes of the library's events in the database.
#include "host/sinks/store_sink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/store/store_folder.h"
#include "vca/heat_map.h"

namespace {

using host::Event;
using host::PersonCounted;
using test::kMonday_us;

class StoreSinkRows : public test::StoreFolder {
  protected:
    host::StoreSinkSetup sink_setup() const {
        host::StoreSinkSetup setup;
        setup.writer.store = this->setup();
        setup.writer.store.regions = {"till", "shelf"};
        setup.writer.gather = std::chrono::milliseconds(0);
        setup.start_us = kMonday_us;
        setup.names.lines = {"door"};
        setup.names.regions = {"till", "shelf"};
        setup.regions = {{"till", {}}, {"shelf", {}}};
        return setup;
    }
    // One frame with what happens in it.
    static void frame(host::StoreSink& sink, double time_s,
                      const std::vector<host::Payload>& events, bool blank = false) {
        const auto number = static_cast<std::int64_t>(time_s * 15.0);
        host::FramePlanes planes;
        planes.blank = blank;
        sink.on_frame({number, time_s, planes, {}, {}});
        for (const host::Payload& payload : events)
            sink.on_event({6045, number, time_s, payload});
        host::PassReport report;
        report.number = number;
        report.time_s = time_s;
        report.blank = blank;
        sink.end_frame(report);
    }
    static PersonCounted counted(double height_mm, int staff = 0, int direction = 1) {
        PersonCounted count;
        count.track = 5;
        count.box.height_mm = static_cast<float>(height_mm);
        count.box.staff = staff;
        count.direction = direction;
        return count;
    }
};

TEST_F(StoreSinkRows, TellAdultsChildrenAndStaffApart) {
    host::StoreSink sink(sink_setup());
    frame(sink, 1.0, {counted(1750), counted(1300), counted(1299), counted(1100, 1)});
    host::GroupCounted group;
    group.members = 3;
    group.direction = 2;
    frame(sink, 2.5, {group, host::CountLeftOut{counted(1800)}});
    sink.finish();
    EXPECT_EQ(text("SELECT adult || ' ' || child || ' ' || staff FROM totals WHERE direction = 1"),
              "2 1 1");
    EXPECT_EQ(text("SELECT groups || ' ' || group_members FROM totals WHERE direction = 2"), "1 3");
    EXPECT_EQ(text("SELECT group_concat(kind || ':' || (time_us - " + std::to_string(kMonday_us) +
                   ") || ':' || scene_us, ' ') FROM events WHERE sequence > 3"),
              "crossing:1000000:1000000 group:2500000:2500000 crossing_left_out:2500000:2500000");
    EXPECT_EQ(text("SELECT track || ' ' || person FROM events WHERE sequence = 3"), "5 child");
}

TEST_F(StoreSinkRows, MinutesAreThoseOfFramesThatWereSeen) {
    host::StoreSink sink(sink_setup());
    for (const double time_s : {0.0, 59.9, 60.0, 200.0})
        frame(sink, time_s, {});
    frame(sink, 400.0, {counted(1700)}, true);
    sink.finish();
    const std::string minute = std::to_string(host::minute_of(kMonday_us));
    EXPECT_EQ(text("SELECT group_concat(DISTINCT minute - " + minute +
                   ") FROM minutes WHERE adult = 0 AND direction = 2"),
              "0,1,3");
    // Those who were on their way at the end count, but nothing was watched any more.
    EXPECT_EQ(integer("SELECT adult FROM minutes WHERE minute = " + minute + " + 6"), 1);
    EXPECT_EQ(integer("SELECT watched_until_us FROM store"), kMonday_us + 200'000'000);
}

TEST_F(StoreSinkRows, RegionsAreCountedFrameByFrame) {
    host::StoreSink sink(sink_setup());
    host::RegionsReported two;
    two.inside = {2, 0};
    host::RegionPerson person;
    person.track = 9;
    person.regions[1] = {1, 1500};
    two.people = {person};
    host::RegionsReported gone;
    person.regions[1] = {0, 0};
    gone.people = {person};
    frame(sink, 1.0, {two});
    frame(sink, 2.0, {});
    frame(sink, 3.0, {gone});
    frame(sink, 61.0, {});
    sink.finish();
    EXPECT_EQ(text("SELECT group_concat(name || ' ' || frames || ' ' || people_frames || ' ' || "
                   "most || ' ' || stays || ' ' || stay_ms, '; ') FROM region_minutes "
                   "JOIN places ON places.id = place ORDER BY minute, place"),
              "till 3 2 2 0 0; shelf 3 0 0 1 1500; till 1 0 0 0 0; shelf 1 0 0 0 0");
    EXPECT_EQ(text("SELECT kind || ' ' || track || ' ' || json FROM events"),
              R"(stay 9 {"message":"stay","frame":15,"time_s":2.5,"track":9,"region":1,)"
              R"("stay_ms":1500})");
}

TEST_F(StoreSinkRows, AGapOfTheInputIsARowAndAnEvent) {
    host::StoreSink sink(sink_setup());
    frame(sink, 1.0, {});
    frame(sink, 70.0, {host::InputGap{1'000'000, 70'000'000, "the sender ended"}});
    sink.finish();
    EXPECT_EQ(text("SELECT (from_us - " + std::to_string(kMonday_us) + ") || ' ' || (to_us - " +
                   std::to_string(kMonday_us) + ") || ' ' || why FROM gaps"),
              "1000000 70000000 the sender ended");
    EXPECT_EQ(text("SELECT kind || ' ' || (time_us - " + std::to_string(kMonday_us) +
                   ") || ' ' || (json ->> 'why') FROM events"),
              "gap 70000000 the sender ended");
}

// Counts go on in their order, each of them once, whatever the clock does.
TEST_F(StoreSinkRows, AStepOfTheClockMovesWhatFollows) {
    host::StoreSink sink(sink_setup());
    frame(sink, 1.0, {counted(1700)});
    frame(sink, 2.0, {host::ClockStep{2'000'000, 3'600'000'000}, counted(1700)});
    frame(sink, 3.0, {host::ClockStep{3'000'000, -3'600'000'000}, counted(1700)});
    frame(sink, 4.0, {counted(1700)});
    sink.finish();
    EXPECT_EQ(text("SELECT group_concat(kind || ' ' || ((time_us - " + std::to_string(kMonday_us) +
                   ") / 1000000), '; ') FROM (SELECT * FROM events ORDER BY sequence)"),
              "crossing 1; clock_step 3602; gap 3602; crossing 3602; clock_step 3; crossing 3; "
              "crossing 4");
    EXPECT_EQ(text("SELECT json ->> 'why' FROM events WHERE kind = 'clock_step' LIMIT 1"),
              "the clock was set forward by 3600.000 s");
    EXPECT_EQ(text("SELECT group_concat((minute - " + std::to_string(host::minute_of(kMonday_us)) +
                   ") || ':' || adult) FROM minutes WHERE direction = 1"),
              "0:3,60:1");
    EXPECT_EQ(integer("SELECT adult FROM totals WHERE direction = 1"), 4);
    EXPECT_EQ(integer("SELECT to_us - from_us FROM gaps"), 3'600'000'000);
}

TEST_F(StoreSinkRows, MinutesAreProvisionalUntilTheClockIsSynchronised) {
    bool synchronised = false;
    host::StoreSinkSetup setup = sink_setup();
    setup.clock_synchronised = [&synchronised] { return synchronised; };
    host::StoreSink sink(setup);
    frame(sink, 1.0, {});
    frame(sink, 61.0, {});
    synchronised = true;
    frame(sink, 62.0, {});
    frame(sink, 121.0, {});
    sink.finish();
    for (const char* table : {"minutes", "region_minutes"})
        EXPECT_EQ(text("SELECT group_concat(provisional, '') FROM (SELECT DISTINCT minute, "
                       "provisional FROM " +
                       std::string(table) + " ORDER BY minute)"),
                  "110");
}

TEST_F(StoreSinkRows, TheHeatMapBecomesCoarser) {
    host::HeatMapReported heat;
    heat.dwell_ms.assign(std::size_t{VCA_HEAT_ROWS} * VCA_HEAT_COLS, 2);
    heat.motion.assign(heat.dwell_ms.size(), 0);
    heat.motion[VCA_HEAT_COLS - 1] = 7;
    const host::HeatGrid grid = host::coarse_heat(heat, 3);
    EXPECT_EQ(grid.hour, 3);
    ASSERT_EQ(grid.dwell_ms.size(), 48u * 27u);
    EXPECT_THAT(grid.dwell_ms, ::testing::Each(50));
    EXPECT_EQ(grid.passages[47], 7);
    host::StoreSink sink(sink_setup());
    frame(sink, 1.0, {heat});
    sink.finish();
    EXPECT_EQ(integer("SELECT length(dwell_ms) + length(passages) FROM heat WHERE hour = " +
                      std::to_string(host::hour_of(kMonday_us))),
              2 * 4 * 48 * 27);
}

}  // namespace
