// People standing and walking in regions, from the frame set to the reports, the heat map and the
// displays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "tests/scenario/scene.h"

namespace {

using test::difference;
using test::Frame;
using test::host;
using test::Point;
using test::walk;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int64_t kFrameUs = 100'000;  // ten frames per second
const Point kPlace = {480, 272};
const std::vector<Point> kSquare = {{380, 172}, {580, 172}, {580, 372}, {380, 372}};

VCA_ALGO_CFG_S region_config() {
    auto cfg = test::plain_config();
    test::set_region(cfg, 0, kSquare);
    cfg.HtmpEn = 1;
    return cfg;
}

// The library with a clock that a scripted frame set moves by 100 ms.
class RegionScenario : public testing::Test {
  protected:
    RegionScenario() {
        host().use_clock(1'000'000'000);
        host().clock_step_us = kFrameUs;
        vca_base_init();
    }

    ~RegionScenario() override {
        test::stop_library();
        EXPECT_THAT(host().errors(), IsEmpty());
    }

    static void start(const VCA_ALGO_CFG_S& cfg) {
        test::apply_config(cfg);
        vca_algo_init();
    }

    static std::unique_ptr<RGN_MSG_S> report(size_t nth) {
        return std::make_unique<RGN_MSG_S>(
            host().messages(VCA_MSG_REGIONS).at(nth).as<RGN_MSG_S>());
    }

    static std::vector<uint8_t> heat_map(const std::vector<uint8_t>& request) {
        host().deliver(VCA_MSG_HEAT_MAP, request.data());
        return host().messages(VCA_MSG_HEAT_MAP).back().bytes;
    }
};

// The heat map that a test expects. People walk along row 272 * 135 / 544 = 67 and heat the cells
// within a radius of 4.
enum Kind { kMotion = 0, kDwell = 1 };

struct Heat {
    int32_t cell[2][135][240] = {};

    void add(Kind kind, int column, int32_t amount) {
        for (int dy = -4; dy <= 4; ++dy)
            for (int dx = -4; dx <= 4; ++dx)
                if (dx * dx + dy * dy <= 16) cell[kind][67 + dy][column + dx] += amount;
    }

    int64_t hot_cells(Kind kind) const {
        const int32_t* first = &cell[kind][0][0];
        return std::count_if(first, first + 135 * 240, [](int32_t value) { return value != 0; });
    }

    std::vector<uint8_t> reply(std::vector<uint8_t> bytes) const {
        bytes.resize(24 + sizeof(cell));
        std::memcpy(&bytes[24], cell, sizeof(cell));
        return bytes;
    }
};

// The report of one person, in region 0 for `stay_ms`.
std::unique_ptr<RGN_MSG_S> one_person(int frame, Point at, int32_t stay_ms) {
    auto msg = std::make_unique<RGN_MSG_S>();
    msg->frame_flag[0] = test::kFirstStamp + static_cast<uint32_t>(frame);
    msg->num = 1;
    msg->persons[0].obj = test::track_box(at);
    msg->persons[0].obj.reserved0 = 1;  // the id
    // Field by field: the padding between them stays zero.
    msg->persons[0].rgn[0].inRgn = 1;
    msg->persons[0].rgn[0].stayTime = stay_ms;
    msg->peopleCnt[0] = 1;
    return msg;
}

TEST_F(RegionScenario, StandingForThreeSecondsIsThreeThousandMilliseconds) {
    start(region_config());
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}, .first = 2}}, 32)));
    const auto reports = host().messages(VCA_MSG_REGIONS);
    ASSERT_EQ(reports.size(), 30u);
    for (int k = 0; k < 30; ++k) {
        const auto& sent = reports[static_cast<size_t>(k)];
        EXPECT_EQ(sent.frame, k + 2);
        EXPECT_EQ(difference(sent, *one_person(k + 2, kPlace, 100 * (k + 1))), "") << k;
    }
    // The next frame comes two seconds late: it adds 500.
    auto late = walk({{.from = kPlace, .step = {0, 0}}}, 1, 32);
    late[0].on_read = [] { host().advance_clock(1'900'000); };
    ASSERT_TRUE(host().run(late));
    EXPECT_EQ(difference(host().messages(VCA_MSG_REGIONS).back(), *one_person(32, kPlace, 3500)),
              "");
}

TEST_F(RegionScenario, FirstPassAddsHalfASecond) {
    start(region_config());
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}}}, 2)));
    EXPECT_EQ(report(0)->persons[0].rgn[0].stayTime, 500);
    EXPECT_EQ(report(1)->persons[0].rgn[0].stayTime, 600);
}

TEST_F(RegionScenario, WalkingOutFreezesOnTheEdgeAndThenClears) {
    // From 470 to the right by 20 per frame, the region ends at 580: the centre is beyond it from
    // frame 6 (590) on, the left edge of the box from frame 8 (590) on.
    start(region_config());
    ASSERT_TRUE(host().run(walk({{.from = {470, 272}, .step = {20, 0}}}, 10)));
    const std::pair<int, int> stays[10] = {{1, 500},  {1, 600},  {1, 700},  {1, 800}, {1, 900},
                                           {1, 1000}, {1, 1000}, {1, 1000}, {0, 0},   {0, 0}};
    for (size_t k = 0; k < 10; ++k) {
        const auto sent = report(k);
        ASSERT_EQ(sent->num, 1u) << k;
        const RGN_STAY_S& stay = sent->persons[0].rgn[0];
        EXPECT_EQ(std::pair(int{stay.inRgn}, stay.stayTime), stays[k]) << k;
        EXPECT_EQ(sent->peopleCnt[0], stays[k].first) << k;
    }
}

TEST_F(RegionScenario, OneEmptyReportAfterTheLast) {
    start(region_config());
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}, .last = 2}}, 15)));
    // Last seen in frame 2, listed for four frames more.
    const auto reports = host().messages(VCA_MSG_REGIONS);
    ASSERT_EQ(reports.size(), 8u);
    EXPECT_EQ(reports[6].frame, 6);
    EXPECT_EQ(report(6)->num, 1u);
    EXPECT_EQ(report(6)->persons[0].rgn[0].stayTime, 1100) << "a lost person goes on staying";
    EXPECT_EQ(reports[7].frame, 7);
    RGN_MSG_S empty{};
    empty.frame_flag[0] = test::kFirstStamp + 7;
    EXPECT_EQ(difference(reports[7], empty), "");
}

TEST_F(RegionScenario, HeatOfAStandingPerson) {
    // Seen in frames 2 to 31: ten of thirty updates add 100 ms; every third pass measures the time
    // instead, but those updates fall on others.
    start(region_config());
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}, .first = 2, .last = 31}}, 40)));
    std::vector<uint8_t> request(24);
    for (size_t i = 0; i < request.size(); ++i)
        request[i] = static_cast<uint8_t>(i * 11 + 1);
    const auto heat = std::make_unique<Heat>();
    heat->add(kDwell, 120, 1000);  // column 480 / 4
    EXPECT_EQ(heat->hot_cells(kDwell), 49);
    EXPECT_EQ(heat_map(request), heat->reply(request));
    // Fetched is gone.
    EXPECT_EQ(heat_map(request), std::make_unique<Heat>()->reply(request));
}

TEST_F(RegionScenario, HeatWithMeasuredSteps) {
    // Seen from the first pass on, every contribution falls on a measured pass: 300 ms, held at
    // 180.
    start(region_config());
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}, .last = 29}}, 40)));
    const auto reply = heat_map(std::vector<uint8_t>(24));
    int32_t cell = 0;
    std::memcpy(&cell, &reply[129624 + 4 * (240 * 67 + 120)], 4);
    EXPECT_EQ(cell, 1800);
    EXPECT_TRUE(std::all_of(reply.begin() + 24, reply.begin() + 129624, [](uint8_t byte) {
        return byte == 0;
    })) << "nobody moved";
}

TEST_F(RegionScenario, HeatIsInTheTotalAfterTheTrackOrEvery120thUpdate) {
    start(region_config());
    const std::vector<uint8_t> request(24);
    const auto is_cold = [&] {
        const auto reply = heat_map(request);
        return std::all_of(reply.begin(), reply.end(), [](uint8_t byte) { return byte == 0; });
    };
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}}}, 119)));
    EXPECT_TRUE(is_cold());
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}}}, 1, 119)));
    EXPECT_FALSE(is_cold());
    // 20 updates more, then lost: the fold comes on the fifth pass without the person.
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}, .last = 19}}, 24, 120)));
    EXPECT_TRUE(is_cold());
    ASSERT_TRUE(host().run(test::empty_frames(1, 144)));
    EXPECT_FALSE(is_cold());
}

TEST_F(RegionScenario, ResetForgetsTheHeat) {
    start(region_config());
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}, .last = 29}}, 40)));
    ASSERT_TRUE(host().deliver(VCA_MSG_HEAT_RESET, nullptr));
    const std::vector<uint8_t> request(24, 9);
    std::vector<uint8_t> expected = request;
    expected.resize(259224);
    EXPECT_EQ(heat_map(request), expected);
}

TEST_F(RegionScenario, WalkingHeatsTheMotionMap) {
    // 12 pixels per frame to the right, seen in frames 2 to 31. The reference is the box of the
    // second update at 312; the third update at 324 is no more than 12 from it and only stands.
    // From the sixth at 360 on, every third update moves 36 and more; the first move heats the
    // cells around 312 too.
    start(region_config());
    ASSERT_TRUE(
        host().run(walk({{.from = {300, 272}, .step = {12, 0}, .first = 2, .last = 31}}, 40)));
    const auto heat = std::make_unique<Heat>();
    heat->add(kMotion, 312 / 4, 1);
    for (int update = 3; update <= 30; update += 3) {
        const int column = (300 + 12 * (update - 1)) / 4;
        heat->add(kDwell, column, 100);
        if (update > 3) heat->add(kMotion, column, 1);
    }
    EXPECT_EQ(heat->hot_cells(kMotion), 10 * 49);
    const std::vector<uint8_t> request(24);
    EXPECT_EQ(heat_map(request), heat->reply(request));
}

TEST_F(RegionScenario, NothingOfEitherWhenSwitchedOff) {
    auto cfg = region_config();
    cfg.RgnEn = 0;
    cfg.HtmpEn = 0;
    start(cfg);
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}, .last = 29}}, 40)));
    EXPECT_THAT(host().messages(VCA_MSG_REGIONS), IsEmpty());
    const auto reply = heat_map(std::vector<uint8_t>(24));
    EXPECT_TRUE(std::all_of(reply.begin(), reply.end(), [](uint8_t byte) { return byte == 0; }));
}

TEST_F(RegionScenario, SnapshotOfAStandingPerson) {
    start(region_config());
    ASSERT_TRUE(host().run(walk({{.id = 7, .from = kPlace, .step = {0, 0}}}, 3)));
    const auto shown = host().messages(VCA_MSG_TRACKS);
    ASSERT_EQ(shown.size(), 3u);
    auto expected = std::make_unique<SHOW_MSG_S>();
    expected->frame_flag[0] = test::kFirstStamp + 2;
    expected->num = 1;
    SHOW_OBJ_S& entry = expected->objs[0];
    entry.trackId = 7;
    entry.x = 440;
    entry.y = 232;
    entry.w = entry.h = 80;
    entry.class_id = VCA_CLASS_PERSON;
    // Someone who does not move has one point and one beside it.
    entry.trailNum = 2;
    entry.trail[0] = {480, 272};
    entry.trail[1] = {481, 273};
    entry.height = 1700;
    entry.crossDist = 52;  // twice trunc(80 / 2 * 2 / 3)
    EXPECT_EQ(difference(shown[2], *expected), "");
}

TEST_F(RegionScenario, DetectedTracksHaveTheirLastSevenCentresNewestFirst) {
    start(region_config());
    int32_t on = 1;
    host().deliver(VCA_MSG_SHOW_DETECTION, &on);
    ASSERT_TRUE(host().run(walk({{.id = 7}}, 10)));
    const auto shown = host().messages(VCA_MSG_DETECTED_TRACKS);
    ASSERT_EQ(shown.size(), 10u);
    for (int frame = 0; frame < 10; ++frame) {
        const auto msg =
            std::make_unique<SHOW_MSG_S>(shown[static_cast<size_t>(frame)].as<SHOW_MSG_S>());
        ASSERT_EQ(msg->num, 1);
        ASSERT_EQ(msg->objs[0].trailNum, std::min(frame + 1, 7));
        for (int k = 0; k < msg->objs[0].trailNum; ++k) {
            EXPECT_EQ(msg->objs[0].trail[k].x, 480);
            EXPECT_EQ(msg->objs[0].trail[k].y, 100 + 12 * (frame - k));
        }
    }
}

TEST_F(RegionScenario, EverythingInOnePass) {
    // Two people cross a line together inside a region while every display is on: what one pass
    // sends, in order. They cross in frame 17, their group is closed in frame 42.
    auto cfg = region_config();
    test::set_line(cfg, 0, test::kLine);
    test::set_region(cfg, 1, {{0, 0}, {959, 0}, {959, 543}, {0, 543}});
    cfg.GroupEn = 1;
    cfg.ShowDetectBox = 1;
    cfg.ShowHistoryBox = 1;
    start(cfg);
    int32_t on = 1;
    host().deliver(VCA_MSG_SHOW_DETECTION, &on);
    auto frames = walk(
        {{.id = 1, .from = {430, 100}, .last = 36}, {.id = 2, .from = {530, 100}, .last = 50}}, 60);
    for (auto& frame : frames)
        frame.on_read = [] { host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr); };
    ASSERT_TRUE(host().run(frames));
    const auto sent_in = [](int frame) {
        std::vector<int> ids;
        for (const auto& message : host().messages())
            if (message.frame == frame && message.on_task) ids.push_back(message.id);
        return ids;
    };
    EXPECT_THAT(sent_in(0), ElementsAre(6086, 6087, 6087, 6090, 6069, 6070, 6077));
    EXPECT_THAT(sent_in(1), ElementsAre(6086, 6090, 6069, 6070, 6077));
    EXPECT_THAT(sent_in(17), ElementsAre(6086, 6090, 6069, 6045, 6045, 6070, 6077));
    EXPECT_THAT(sent_in(41), ElementsAre(6086, 6088, 6090, 6069, 6070, 6077));
    EXPECT_THAT(sent_in(42), ElementsAre(6086, 6090, 6069, 6080, 6070, 6077));
    EXPECT_THAT(sent_in(59), ElementsAre(6090, 6069, 6077));
}

TEST_F(RegionScenario, SlaveKeepsRegionsAndHeatToItself) {
    auto cfg = region_config();
    cfg.devWorkMode = VCA_WORK_SLAVE;
    start(cfg);
    ASSERT_TRUE(host().run(walk({{.from = kPlace, .step = {0, 0}, .last = 29}}, 40)));
    EXPECT_THAT(host().messages(VCA_MSG_REGIONS), IsEmpty());
    EXPECT_THAT(host().messages(VCA_MSG_TRACKS), IsEmpty());
    const auto reply = heat_map(std::vector<uint8_t>(24));
    EXPECT_TRUE(std::all_of(reply.begin(), reply.end(), [](uint8_t byte) { return byte == 0; }));
}

}  // namespace
