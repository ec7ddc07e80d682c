// Gender and staff of people from the frame set to the messages, and the debug switches of that
// stage by their files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "tests/scenario/scene.h"
#include "tests/support/flag_file.h"
#include "tests/support/log_lines.h"
#include "tests/support/stdout_capture.h"

namespace {

using test::Frame;
using test::host;
using test::play;
using test::walk;
using test::Walker;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

VCA_ALGO_CFG_S attribute_config() {
    auto cfg = test::line_config();
    test::set_region(cfg, 0, {{0, 0}, {959, 0}, {959, 543}, {0, 543}});
    cfg.GenderRecognize = 1;
    cfg.StaffDetection = 1;
    return cfg;
}

void answer(test::GenderAnswer gender, test::StaffAnswer staff) {
    host().gender_answer = gender;
    host().staff_answer = staff;
}

// Gender and staff of the first track in every snapshot.
std::vector<std::pair<int, int>> shown_attributes() {
    std::vector<std::pair<int, int>> list;
    for (const auto& message : host().messages(VCA_MSG_TRACKS)) {
        const auto msg = std::make_unique<SHOW_MSG_S>(message.as<SHOW_MSG_S>());
        if (msg->num != 0) list.emplace_back(msg->objs[0].gender, msg->objs[0].staff);
    }
    return list;
}

TEST(AttributeScenario, DecisionsReachEveryMessage) {
    answer({2, 0.125f, 0.75f}, {1, 0.5f});
    play(attribute_config(), walk({{}}, 35));
    const auto shown = shown_attributes();
    ASSERT_EQ(shown.size(), 35u);
    // The classifier runs in frame 0, the staff detector in 1 and 3.
    EXPECT_THAT(std::vector(shown.begin(), shown.begin() + 4),
                ElementsAre(std::pair(2, 0), std::pair(2, 0), std::pair(2, 0), std::pair(2, 1)));
    EXPECT_EQ(std::count(shown.begin() + 3, shown.end(), std::pair(2, 1)), 32);
    const auto counts = host().messages(VCA_MSG_LINE_COUNT);
    ASSERT_EQ(counts.size(), 1u);
    EXPECT_EQ(counts[0].as<LINE_COUNT_MSG_S>().obj.gender, 2);
    EXPECT_EQ(counts[0].as<LINE_COUNT_MSG_S>().obj.staff, 1);
    const auto report =
        std::make_unique<RGN_MSG_S>(host().messages(VCA_MSG_REGIONS).back().as<RGN_MSG_S>());
    ASSERT_EQ(report->num, 1u);
    EXPECT_EQ(report->persons[0].obj.gender, 2);
    EXPECT_EQ(report->persons[0].obj.staff, 1);
    EXPECT_THAT(host().errors(), IsEmpty());
}

TEST(AttributeScenario, SwitchedOffNothingIsKnownWhileTheModelsRun) {
    auto cfg = attribute_config();
    cfg.GenderRecognize = 0;
    cfg.StaffDetection = 0;
    answer({2, 0.125f, 0.75f}, {1, 0.5f});
    play(cfg, walk({{}}, 35));
    const auto shown = shown_attributes();
    EXPECT_EQ(std::count(shown.begin(), shown.end(), std::pair(0, 0)), 35);
    EXPECT_EQ(host().count_calls("vca_nn_classification(103)"), 18);
    EXPECT_EQ(host().count_calls("vca_nn_detection(104,other)"), 17);
    const auto counts = host().messages(VCA_MSG_LINE_COUNT);
    ASSERT_EQ(counts.size(), 1u);
    EXPECT_EQ(counts[0].as<LINE_COUNT_MSG_S>().obj.gender, 0);
    EXPECT_EQ(counts[0].as<LINE_COUNT_MSG_S>().obj.staff, 0);
}

TEST(AttributeScenario, EachTrackHasItsOwnCropAndDecision) {
    // The host answers by the crop's place: who is on the left is female, on the right male.
    std::map<uint64_t, int> columns;
    host().on_call = [](const std::string&) {};
    host().on_classification = [&](auto, const VCA_IMAGE_S* image, void* result) {
        const auto steps = host().attr_calls();
        for (const auto& step : steps)
            if (step.kind == test::AttrCall::kCrop) columns[step.image.host_handle] = step.rgn.x;
        const bool left = columns[image->host_handle] < 480;
        const test::GenderAnswer found = {left ? 2 : 1, left ? 0.125f : 0.75f,
                                          left ? 0.75f : 0.125f};
        std::memcpy(result, &found, sizeof(found));
    };
    play(attribute_config(),
         walk({{.id = 1, .from = {200, 100}}, {.id = 2, .from = {700, 100}}}, 12));
    EXPECT_EQ(columns.size(), 2u);
    const auto last =
        std::make_unique<SHOW_MSG_S>(host().messages(VCA_MSG_TRACKS).back().as<SHOW_MSG_S>());
    ASSERT_EQ(last->num, 2);
    EXPECT_EQ(last->objs[0].trackId, 1u);
    EXPECT_EQ(last->objs[0].gender, 2);
    EXPECT_EQ(last->objs[1].gender, 1);
}

TEST(AttributeScenario, LoadFallsAsTheSceneFills) {
    const struct { int people, per_track; } rows[] = {{1, 11}, {15, 6}, {30, 3}};
    for (const auto& row : rows) {
        std::vector<Walker> walkers;
        for (int i = 0; i < row.people; ++i)
            walkers.push_back(
                {.id = i + 1, .from = {80 + i % 8 * 110, 60 + i / 8 * 110}, .step = {0, 0}});
        test::start_library(attribute_config());
        host().clear_calls();
        ASSERT_TRUE(host().run(walk(walkers, 21)));
        test::stop_library();
        // Both models together at most once per track and frame.
        EXPECT_EQ(host().count_calls("vca_nn_classification"), row.people * row.per_track);
        EXPECT_EQ(host().count_calls("vca_nn_detection(104"),
                  row.people * (row.people == 1    ? 10
                                : row.people == 15 ? 5
                                                   : 3));
        EXPECT_EQ(host().count_calls("vca_image_crop_letter"),
                  host().count_calls("vca_nn_classification"));
    }
}

TEST(AttributeScenario, LostTracksAreNotSampled) {
    play(attribute_config(), walk({{.last = 3}}, 12));
    EXPECT_EQ(host().count_calls("vca_nn_classification"), 2);
    EXPECT_EQ(host().count_calls("vca_nn_detection(104"), 2);
}

TEST(AttributeScenario, TracksWithoutCropImageGoOn) {
    host().image_fails = [](int) { return true; };
    answer({2, 0.125f, 0.75f}, {1, 0.5f});
    play(attribute_config(), walk({{}}, 35));
    EXPECT_EQ(test::counts().size(), 1u);
    EXPECT_THAT(host().errors(), IsEmpty());
}

// ---- Switch files ----

TEST(AttributeScenario, TouchedFileSavesTheImagesOfOneFrame) {
    host().on_system = [](const std::string& command) {
        return command == "rm /tmp/save-one" ? std::remove("/tmp/save-one") : -1;
    };
    std::remove("/tmp/save-one");
    test::StdoutCapture out;
    test::start_library(attribute_config());
    const std::vector<Walker> two = {{.id = 1, .from = {200, 100}}, {.id = 2, .from = {700, 100}}};
    ASSERT_TRUE(host().run(walk(two, 4)));
    EXPECT_THAT(host().saved_images(), IsEmpty());
    for (size_t touches = 1; touches <= 2; ++touches) {
        const test::FlagFile touched("/tmp/save-one");
        ASSERT_TRUE(host().run(walk(two, 8)));
        EXPECT_EQ(host().saved_images().size(), 3 * touches);
        EXPECT_EQ(host().count_calls("tq_system(rm /tmp/save-one)"), static_cast<int>(touches));
        EXPECT_NE(access("/tmp/save-one", F_OK), 0);
        ASSERT_TRUE(host().run(walk(two, 4)));  // the file is seen gone
    }
    test::stop_library();
    const auto bodies = test::log_bodies(out.text());
    EXPECT_EQ(std::count_if(bodies.begin(), bodies.end(),
                            [](const auto& body) { return body.starts_with("Save ONE: "); }),
              2);
    EXPECT_EQ(test::count_log(out.text(), "open /tmp/save-one!"), 2);
    EXPECT_EQ(test::count_log(out.text(), "close /tmp/save-one!"), 2);
}

TEST(AttributeScenario, CropsAreSavedWhileTheFileIsThere) {
    std::remove("/tmp/save-hd");
    test::start_library(attribute_config());
    {
        const test::FlagFile flag("/tmp/save-hd");
        ASSERT_TRUE(host().run(walk({{}}, 12)));
    }
    // The files are looked at before the even passes; a pass more may go by.
    ASSERT_TRUE(host().run(walk({{.from = {480, 244}}}, 2)));
    const size_t saved = host().saved_images().size();
    EXPECT_GE(saved, 5u);
    EXPECT_LE(saved, 7u);
    for (const auto& image : host().saved_images())
        EXPECT_THAT(image.path, HasSubstr("-staff_"));
    ASSERT_TRUE(host().run(walk({{.from = {480, 268}}}, 6)));
    EXPECT_EQ(host().saved_images().size(), saved);
    test::stop_library();
}

TEST(AttributeScenario, TestModeFileStopsTheSampling) {
    std::remove("/tmp/obj-attr-t");
    answer({2, 0.125f, 0.75f}, {1, 0.5f});
    const test::FlagFile flag("/tmp/obj-attr-t");
    host().push(walk({{}}, 9));
    test::start_library(attribute_config());
    ASSERT_TRUE(host().run({}));
    test::stop_library();
    EXPECT_EQ(host().count_calls("vca_image_crop_letter"), 0);
    EXPECT_EQ(host().count_calls("vca_nn_detection(104"), 0);
    const auto shown = shown_attributes();
    EXPECT_EQ(std::count(shown.begin(), shown.end(), std::pair(0, 0)), 9);
}

TEST(AttributeScenario, SwitchFilePrintsTheVotes) {
    std::remove("/tmp/obj-attr");
    answer({2, 0.125f, 0.75f}, {1, 0.5f});
    const test::FlagFile flag("/tmp/obj-attr");
    test::StdoutCapture out;
    play(attribute_config(), walk({{}}, 4));
    EXPECT_EQ(test::count_log(out.text(), "[1] Gender=2 MaxProb=0.750"), 2);
    EXPECT_EQ(test::count_log(out.text(), "[1] Staff=1 chkCnt=2 chkMax=5"), 1);
    EXPECT_EQ(test::count_log(out.text(), "Trk[1] Gender(2)=Female Staff(1)=Staff"), 1);
    EXPECT_THAT(test::without_log(out.text()), HasSubstr("Attr: \n"));
}

}  // namespace
