// Whole passes of a cascade's slave: what it sends to its master, and that it sends nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cascade/candidates.h"
#include "tests/scenario/scene.h"

namespace {

using fix::BytePayload;
using test::Frame;
using test::frame_of;
using test::host;
using test::person_at;
using test::walk;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

VCA_ALGO_CFG_S slave_config() {
    auto cfg = test::line_config();
    cfg.devWorkMode = VCA_WORK_SLAVE;
    cfg.ShowHistoryBox = 1;
    cfg.HtmpEn = 1;
    test::set_region(cfg, 0, {{0, 0}, {959, 0}, {959, 543}, {0, 543}});
    return cfg;
}

int32_t i32_at(const test::Message& message, size_t at) {
    int32_t value = 0;
    std::memcpy(&value, message.bytes.data() + at, sizeof(value));
    return value;
}

// Frame in which a message was sent, its frame number and its number of people.
using Sent = std::array<int, 3>;
std::vector<Sent> sent_tracks() {
    std::vector<Sent> list;
    for (const auto& message : host().messages(VCA_MSG_SLAVE_TRACKS)) {
        EXPECT_EQ(message.channel, 1);
        EXPECT_TRUE(message.on_task);
        EXPECT_THAT(message.bytes, SizeIs(6136));
        if (message.bytes.size() != 6136) continue;
        list.push_back({message.frame, i32_at(message, 8), i32_at(message, 12)});
    }
    return list;
}

TEST(Slave, SendsItsPeopleEveryFrameAndOneEmptyMessage) {
    // In frames 2 to 9. A step of 12 leaves an overlap of 68 / 92 with the frame before, so the
    // person stays for one frame after the last sight.
    test::play(slave_config(), walk({{.id = 7, .first = 2, .last = 9}}, 20));
    std::vector<Sent> want;
    for (int frame = 2; frame <= 10; ++frame)
        want.push_back({frame, frame, 1});
    want.push_back({11, 0, 0});
    EXPECT_THAT(sent_tracks(), ElementsAreArray(want));
}

TEST(Slave, MessageByteForByte) {
    // Standing, 1700 mm high, away from the middle: the feet are at
    // 480 + (1 - 1700 / 3000) * (700 - 480) = 575.33 and 272 + 0.43333 * (150 - 272) = 219.13.
    host().gender_answer = test::GenderAnswer{2, 0.1f, 0.9f};
    host().staff_answer = test::StaffAnswer{0, 0.0f};
    std::vector<Frame> frames(3, frame_of({person_at(7, {700, 150})}));
    for (auto& frame : frames)
        frame.flag = 0xCAFE0001u;
    test::play(slave_config(), frames);
    const auto sent = host().messages(VCA_MSG_SLAVE_TRACKS);
    ASSERT_THAT(sent, SizeIs(3));
    BytePayload want(6136);
    want.u32(0, 0xCAFE0001u);
    want.u32(8, 2);
    want.i32(12, 1);
    cascade::Report report;
    report.id = 7;
    report.cx = 700;
    report.cy = 150;
    report.foot_x = 575;
    report.foot_y = 219;
    cascade::put_report(want, 16, report);
    EXPECT_EQ(sent[2].bytes, want.bytes());
}

TEST(Slave, SendsNothingElse) {
    test::play(slave_config(), walk({{.id = 7, .last = 25}}, 40));
    for (const auto& message : host().messages())
        EXPECT_TRUE(message.id == VCA_MSG_SLAVE_TRACKS || message.id == VCA_MSG_CONFIG)
            << message.id;
    const HEAT_MAP_S zero{};
    EXPECT_EQ(std::memcmp(vca_dev_get_heat_map_rslt(), &zero, sizeof(zero)), 0);
}

TEST(Slave, SendsNothingWithoutPeople) {
    test::play(slave_config(), test::empty_frames(10, 0));
    EXPECT_THAT(sent_tracks(), IsEmpty());
}

TEST(Slave, DetectionDisplayGoesFirst) {
    test::start_library(slave_config());
    int32_t on = 1;
    host().deliver(VCA_MSG_SHOW_DETECTION, &on);
    Frame frame = frame_of({person_at(7, {480, 272})});
    frame.on_read = [] { host().deliver_locked(VCA_MSG_INSTALL_HEIGHT, nullptr); };
    ASSERT_TRUE(host().run({frame}));
    std::vector<int> ids;
    for (const auto& message : host().messages())
        if (message.on_task) ids.push_back(message.id);
    EXPECT_THAT(ids,
                ElementsAre(VCA_MSG_DETECTED_TRACKS, VCA_MSG_SLAVE_TRACKS, VCA_MSG_INSTALL_HEIGHT));
    test::stop_library();
}

TEST(Slave, FrameNumbersFollowTheMastersClock) {
    test::start_library(slave_config());
    const Frame frame = frame_of({person_at(7, {480, 272})});
    ASSERT_TRUE(host().run({frame, frame}));
    int32_t master_count = 90001;
    ASSERT_TRUE(host().deliver(VCA_MSG_FRAME_COUNT, &master_count));
    ASSERT_TRUE(host().run({frame, frame}));
    EXPECT_THAT(sent_tracks(),
                ElementsAre(Sent{0, 0, 1}, Sent{1, 1, 1}, Sent{2, 90001, 1}, Sent{3, 90002, 1}));
    EXPECT_EQ(vca_feed_frm_cnt_get(), 90003);
    test::stop_library();
}

TEST(Slave, OthersKeepTheirOwnClock) {
    for (const int mode : {0, 1}) {
        auto cfg = slave_config();
        cfg.devWorkMode = mode;
        vca_feed_frm_cnt_set(0);
        test::start_library(cfg);
        ASSERT_TRUE(host().run(std::vector<Frame>(3)));
        int32_t master_count = 90001;
        ASSERT_TRUE(host().deliver(VCA_MSG_FRAME_COUNT, &master_count));
        ASSERT_TRUE(host().run(std::vector<Frame>(2)));
        EXPECT_EQ(vca_feed_frm_cnt_get(), 5);
        ASSERT_TRUE(host().deliver(VCA_MSG_ASK_FRAME_COUNT, nullptr));
        const auto answer = host().messages(VCA_MSG_FRAME_COUNT);
        ASSERT_FALSE(answer.empty());
        EXPECT_THAT(answer.back().bytes, ElementsAre(5, 0, 0, 0));
        EXPECT_FALSE(answer.back().on_task);
        test::stop_library();
    }
}

TEST(Slave, WhatItSendsCountsAtTheMaster) {
    // A slave's messages, recorded and then delivered to the same library as a master.
    const auto frames = walk({{.id = 7}}, 34);
    test::play(slave_config(), frames);
    const auto recorded = host().messages(VCA_MSG_SLAVE_TRACKS);
    ASSERT_THAT(recorded, SizeIs(34));
    host().clear_messages();
    auto cfg = test::line_config();
    cfg.devWorkMode = VCA_WORK_MASTER;
    test::start_library(cfg);
    for (const auto& message : recorded) {
        std::vector<uint8_t> delivered = {11, 0, 0, 0, 0, 0, 0, 0};
        delivered.insert(delivered.end(), message.bytes.begin(), message.bytes.end());
        ASSERT_TRUE(host().deliver(VCA_MSG_SLAVE_TRACKS, delivered.data()));
        ASSERT_TRUE(host().run({Frame{}}));
    }
    test::stop_library();
    ASSERT_THAT(test::counts(), SizeIs(1));
    EXPECT_EQ(test::counts()[0].cross, 2);
    const auto count = host().messages(VCA_MSG_LINE_COUNT)[0];
    EXPECT_EQ(i32_at(count, 12 + 4), 12) << "device";
    EXPECT_EQ(host().messages(VCA_MSG_SLAVE_TRACKS).size(), 0u);
}

}  // namespace
