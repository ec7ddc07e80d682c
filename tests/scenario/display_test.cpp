// The messages for the host's display: detections (6086), tracks born (6087) and removed (6088).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenario/scene.h"

namespace {

using test::difference;
using test::Frame;
using test::host;
using test::Person;
using test::play;
using test::walk;
using testing::ElementsAre;
using testing::IsEmpty;

VCA_ALGO_CFG_S history_config() {
    auto cfg = test::plain_config();
    cfg.ShowHistoryBox = 1;
    return cfg;
}

VCA_ALGO_CFG_S detection_config() {
    auto cfg = test::plain_config();
    cfg.ShowDetectBox = 1;
    return cfg;
}

TEST(HistoryDisplay, BirthAndRemoval) {
    // In frames 0 to 10, from (480, 100) to (480, 220); removed on the fifth pass after, frame 15.
    play(history_config(), walk({{.id = 7, .last = 10}}, 25));
    const auto born = host().messages(VCA_MSG_TRACK_BORN);
    ASSERT_EQ(born.size(), 1u);
    EXPECT_EQ(born[0].frame, 0);
    EXPECT_EQ(born[0].bytes.size(), 20u);
    // Foot point: 480 + (1 - 1700 / 3000) * 0 and 272 + 0.43333 * (100 - 272) = 197.47.
    EXPECT_EQ(difference(born[0], TRK_SHOW_MSG_S{7, 480, 100, 480, 197}), "");
    const auto removed = host().messages(VCA_MSG_TRACK_REMOVED);
    ASSERT_EQ(removed.size(), 1u);
    EXPECT_EQ(removed[0].frame, 15);
    // 272 + 0.43333 * (220 - 272) = 249.47.
    EXPECT_EQ(difference(removed[0], TRK_SHOW_MSG_S{7, 480, 220, 480, 249}), "");
}

TEST(HistoryDisplay, SeenOnceOnly) {
    play(history_config(), walk({{.id = 3, .last = 0}}, 12));
    ASSERT_EQ(host().messages(VCA_MSG_TRACK_BORN).size(), 1u);
    const auto removed = host().messages(VCA_MSG_TRACK_REMOVED);
    ASSERT_EQ(removed.size(), 1u);
    EXPECT_EQ(removed[0].frame, 5);
}

TEST(HistoryDisplay, FootPointAwayFromTheCentre) {
    // 480 + 0.43333 * (700 - 480) = 575.33, 272 + 0.43333 * (150 - 272) = 219.13.
    play(history_config(), walk({{.from = {700, 150}}}, 1));
    EXPECT_EQ(difference(host().messages(VCA_MSG_TRACK_BORN).at(0),
                         TRK_SHOW_MSG_S{1, 700, 150, 575, 219}),
              "");
}

TEST(HistoryDisplay, OffByDefault) {
    play(test::plain_config(), walk({{.last = 10}}, 20));
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_BORN), IsEmpty());
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_REMOVED), IsEmpty());
}

TEST(HistoryDisplay, EndOfTheTaskAnnouncesNothing) {
    play(history_config(), walk({{}}, 10));
    EXPECT_EQ(host().messages(VCA_MSG_TRACK_BORN).size(), 1u);
    EXPECT_THAT(host().messages(VCA_MSG_TRACK_REMOVED), IsEmpty());
    EXPECT_EQ(host().images_alive(), 0u);
}

DET_OBJ_S record_of(const Person& p) {
    DET_OBJ_S obj{};
    obj.x = p.x;
    obj.y = p.y;
    obj.w = p.w;
    obj.h = p.h;
    obj.area = p.w * p.h;
    obj.class_id = p.class_id;
    obj.score = p.score;
    return obj;
}

DET_SHOW_MSG_S shown(uint32_t stamp, const std::vector<Person>& real,
                     const std::vector<Person>& depth, const std::vector<Person>& merged) {
    DET_SHOW_MSG_S msg{};
    msg.frame_flag[0] = stamp;
    for (const auto& p : real)
        msg.real_objs[msg.real_num++] = record_of(p);
    for (const auto& p : depth)
        msg.depth_objs[msg.depth_num++] = record_of(p);
    for (const auto& p : merged)
        msg.merge_objs[msg.merge_num++] = record_of(p);
    return msg;
}

TEST(DetectionDisplay, ThreeListsWithTheirOwnRules) {
    const Person good{1, 100, 100, 80, 80, 1, 0.9f};
    const Person at_threshold{2, 300, 100, 80, 80, 1, 0.5f};  // shown in its list, not merged
    const Person faint{3, 500, 100, 80, 80, 2, 0.4f};         // tracked, but never shown
    const Person narrow{4, 700, 100, 24, 80, 1, 0.9f};        // too small below 4.8 m
    const Person covered{5, 110, 100, 80, 80, 1, 0.8f};       // IoU 70 / 90 with `good`
    const Person border{6, 19, 300, 80, 80, 1, 0.8f};         // in the band of 20 pixels
    const Person alone{7, 20, 420, 80, 80, 1, 0.8f};
    Frame frame;
    frame.flag = 0xCAFE0001u;
    frame.colour = {good, at_threshold, faint, narrow};
    frame.depth = {covered, border, alone};
    play(detection_config(), {frame});
    const auto messages = host().messages(VCA_MSG_DETECTIONS);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].bytes.size(), 5784u);
    EXPECT_EQ(messages[0].channel, 1);
    EXPECT_EQ(difference(messages[0], shown(0xCAFE0001u, {good, at_threshold},
                                            {covered, border, alone}, {good, alone})),
              "");
}

TEST(DetectionDisplay, OneEmptyMessageClearsIt) {
    Frame person = test::frame_of({test::person_at(1, {480, 272})});
    play(detection_config(), {Frame{}, person, Frame{}, Frame{}, Frame{}, person, person, Frame{}});
    std::vector<std::pair<int, int>> seen;
    for (const auto& message : host().messages(VCA_MSG_DETECTIONS))
        seen.emplace_back(message.frame, message.as<DET_SHOW_MSG_S>().real_num);
    EXPECT_THAT(seen, ElementsAre(std::pair{1, 1}, std::pair{2, 0}, std::pair{5, 1},
                                  std::pair{6, 1}, std::pair{7, 0}));
    EXPECT_EQ(difference(host().messages(VCA_MSG_DETECTIONS)[1], shown(1, {}, {}, {})), "");
}

TEST(DetectionDisplay, AtMostThirtyOfEachList) {
    Frame frame;
    std::vector<Person> merged;
    for (int i = 0; i < 40; ++i)
        frame.colour.push_back({i + 1, 30 + i % 20 * 44, 30 + i / 20 * 44, 40, 40, 1, 0.9f});
    for (int i = 0; i < 35; ++i)
        frame.depth.push_back({i + 50, 30 + i % 20 * 44, 230 + i / 20 * 44, 40, 40, 1, 0.9f});
    play(detection_config(), {frame});
    const auto first_thirty = [](const std::vector<Person>& list) {
        return std::vector<Person>(list.begin(), list.begin() + 30);
    };
    EXPECT_EQ(difference(host().messages(VCA_MSG_DETECTIONS).at(0),
                         shown(1, first_thirty(frame.colour), first_thirty(frame.depth),
                               first_thirty(frame.colour))),
              "");
}

TEST(DetectionDisplay, DetectModelLeavesTheOtherListEmpty) {
    const Person left{1, 100, 100, 80, 80, 1, 0.9f};
    const Person right{2, 600, 100, 80, 80, 1, 0.9f};
    Frame frame;
    frame.colour = {left};
    frame.depth = {right};
    auto cfg = detection_config();
    test::start_library(cfg);
    ASSERT_TRUE(host().run({frame}));
    cfg.DetectModel = VCA_DETECT_COLOUR;
    host().deliver(VCA_MSG_CONFIG, &cfg);
    ASSERT_TRUE(host().run({frame}));
    cfg.DetectModel = VCA_DETECT_DEPTH;
    host().deliver(VCA_MSG_CONFIG, &cfg);
    ASSERT_TRUE(host().run({frame}));
    cfg.DetectModel = -1;
    host().deliver(VCA_MSG_CONFIG, &cfg);
    ASSERT_TRUE(host().run({frame}));
    test::stop_library();
    const auto messages = host().messages(VCA_MSG_DETECTIONS);
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(difference(messages[0], shown(1, {left}, {right}, {left, right})), "");
    EXPECT_EQ(difference(messages[1], shown(1, {left}, {}, {left})), "");
    EXPECT_EQ(difference(messages[2], shown(1, {}, {right}, {right})), "");
    EXPECT_EQ(difference(messages[3], shown(1, {left}, {right}, {left, right})), "");
}

TEST(DetectionDisplay, OffByDefault) {
    play(test::plain_config(), walk({{}}, 5));
    EXPECT_THAT(host().messages(VCA_MSG_DETECTIONS), IsEmpty());
}

TEST(DetectionDisplay, SlaveShowsItsDetectionsToo) {
    auto cfg = detection_config();
    cfg.devWorkMode = VCA_WORK_SLAVE;
    play(cfg, walk({{}}, 3));
    EXPECT_EQ(host().messages(VCA_MSG_DETECTIONS).size(), 3u);
}

TEST(DetectionDisplay, ExcludedDetectionsLeaveTheMergedListOnly) {
    auto cfg = detection_config();
    test::set_exclusion(cfg, 0, 0, {{0, 0}, {480, 0}, {480, 539}, {0, 539}});
    const Person inside{1, 100, 100, 80, 80, 1, 0.9f};
    const Person outside{2, 600, 100, 80, 80, 1, 0.9f};
    Frame frame;
    frame.colour = {inside, outside};
    play(cfg, {frame});
    EXPECT_EQ(difference(host().messages(VCA_MSG_DETECTIONS).at(0),
                         shown(1, {inside, outside}, {}, {outside})),
              "");
}

}  // namespace
