// When a track's attributes are sampled, by which model and on which image, and the list of
// samples.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <map>

#include "tests/object/human_attr_fixture.h"

namespace {

using attr::asked;
using attr::HumanAttr;
using test::AttrCall;
using test::host;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

struct Cadence : HumanAttr {
    // What is asked at the ages 0, 1, 2 and so on.
    std::string pattern(int32_t object_count, int updates) {
        std::string letters;
        trk->age = 0;
        for (int i = 0; i < updates; ++i) {
            update(object_count);
            letters += asked();
        }
        return letters;
    }
};

// ---- Cadence ----

TEST_F(Cadence, EverySecondUpdateInAnEmptyScene) {
    EXPECT_EQ(pattern(0, 9), "GSGSGSGSG");
    EXPECT_EQ(pattern(7, 9), "GSGSGSGSG");  // 2 + 4 * 7 / 30 = 2.93
}

TEST_F(Cadence, SlowsDownAsTheSceneFills) {
    EXPECT_EQ(pattern(8, 10), "GS-GS-GS-G");          // 3.07
    EXPECT_EQ(pattern(14, 10), "GS-GS-GS-G");         // 3.87
    EXPECT_EQ(pattern(15, 10), "GS--GS--GS");         // 4
    EXPECT_EQ(pattern(16, 10), "GS--GS--GS");         // 4.2
    EXPECT_EQ(pattern(19, 10), "GS--GS--GS");         // 4.8
    EXPECT_EQ(pattern(21, 12), "GS---GS---GS");       // 5.2
    EXPECT_EQ(pattern(29, 14), "GS----GS----GS");     // 6.8
    EXPECT_EQ(pattern(30, 16), "GS-----GS-----GS");   // 7
    EXPECT_EQ(pattern(31, 16), "GS-----GS-----GS");   // held at 30
    EXPECT_EQ(pattern(100, 16), "GS-----GS-----GS");  // held at 30
    EXPECT_EQ(pattern(INT_MAX, 16), "GS-----GS-----GS");
    EXPECT_EQ(pattern(-1, 5), "GSGSG");  // held at 0
    EXPECT_EQ(pattern(INT_MIN, 5), "GSGSG");
}

TEST_F(Cadence, OneModelAtMostInAnUpdate) {
    for (int32_t count = 0; count <= 40; ++count) {
        const std::string letters = pattern(count, 60);
        ASSERT_EQ(letters.size(), 60u);
        EXPECT_EQ(letters.find('?'), std::string::npos) << count;
    }
}

TEST_F(Cadence, RatePerTrackFallsFromHalfToASeventh) {
    const std::map<int32_t, int> runs = {{0, 210}, {15, 105}, {30, 60}};
    for (const auto& [count, expected] : runs) {
        const std::string letters = pattern(count, 420);
        EXPECT_EQ(std::count(letters.begin(), letters.end(), 'G'), expected) << count;
        EXPECT_EQ(std::count(letters.begin(), letters.end(), 'S'), expected) << count;
    }
}

TEST_F(Cadence, FollowsTheAgeWhenTheSceneChanges) {
    trk->age = 12;
    update(30);  // 12 and 11 are no multiples of 7
    EXPECT_EQ(asked(), "-");
    trk->age = 12;
    update(15);
    EXPECT_EQ(asked(), "G");
    trk->age = 15;
    update(30);  // 14 is
    EXPECT_EQ(asked(), "S");
    trk->age = 15;
    update(0);
    EXPECT_EQ(asked(), "S");
}

// ---- The models and their images ----

TEST_F(Cadence, ClassifierJudgesTheCropOfThisUpdate) {
    update();
    const auto calls = host().call_texts();
    EXPECT_THAT(calls,
                ElementsAre("vca_image_crop_letter(394,196,92,69)", "vca_nn_classification(103)"));
    const auto steps = host().attr_calls();
    ASSERT_THAT(steps, SizeIs(2));
    EXPECT_EQ(steps[0].src, &real);
    EXPECT_EQ(steps[0].dst, &trk->attrImg);
    EXPECT_EQ(steps[1].image.host_handle, trk->attrImg.host_handle);
    EXPECT_EQ(steps[1].image.width, 224u);
    EXPECT_EQ(steps[1].image.height, 224u);
    EXPECT_EQ(steps[1].image.type, 2);
}

TEST_F(Cadence, StaffDetectorJudgesTheCropOfTheUpdateBefore) {
    host().record_pixels = true;
    uint8_t* pixel = reinterpret_cast<uint8_t*>(trk->attrImg.plane_addr);
    update();
    pixel[100] = 77;  // what that crop left behind
    host().clear_calls();
    trk->curObj = fix::box(10, 10, 50, 50);
    update();
    EXPECT_THAT(host().call_texts(), ElementsAre("vca_nn_detection(104,other)"));
    const auto steps = host().attr_calls();
    ASSERT_THAT(steps, SizeIs(1));
    EXPECT_EQ(steps[0].image.host_handle, trk->attrImg.host_handle);
    ASSERT_THAT(steps[0].pixels, SizeIs(224 * 224 * 3 / 2));
    EXPECT_EQ(steps[0].pixels[100], 77);
}

TEST_F(Cadence, ModelNumbersAreTheControlBlocks) {
    vca_get_pCtrl_param()->attr_model = -9;
    vca_get_pCtrl_param()->staff_model = 1'000'000;
    update();
    update();
    const auto calls = host().call_texts();
    ASSERT_THAT(calls, SizeIs(3));
    EXPECT_EQ(calls[1], "vca_nn_classification(-9)");
    EXPECT_EQ(calls[2], "vca_nn_detection(1000000,other)");
}

// ---- Samples ----

TEST_F(Cadence, SampleOfAClassification) {
    host().gender_answer = test::GenderAnswer{2, 0.25f, 0.625f};
    update();
    ASSERT_THAT(trk->attrSamples, SizeIs(1));
    EXPECT_EQ(newest().gender_valid, 1);
    EXPECT_EQ(newest().gender, 2);
    EXPECT_EQ(newest().prob_male, 0.25f);
    EXPECT_EQ(newest().prob_female, 0.625f);
    EXPECT_EQ(newest().staff_valid, 0);
    EXPECT_EQ(newest().staff, 0);
    EXPECT_EQ(newest().staff_score, 0.0f);
}

TEST_F(Cadence, SampleOfAStaffDetection) {
    host().gender_answer = test::GenderAnswer{2, 0.25f, 0.625f};
    host().staff_answer = test::StaffAnswer{1, 0.75f};
    update();
    update();
    ASSERT_THAT(trk->attrSamples, SizeIs(2));
    EXPECT_EQ(newest().gender_valid, 0);
    EXPECT_EQ(newest().gender, 0);
    EXPECT_EQ(newest().prob_male, 0.0f);
    EXPECT_EQ(newest().prob_female, 0.0f);
    EXPECT_EQ(newest().staff_valid, 1);
    EXPECT_EQ(newest().staff, 1);
    EXPECT_EQ(newest().staff_score, 0.75f);
}

TEST_F(Cadence, EveryUpdateLeavesASample) {
    host().gender_answer = test::GenderAnswer{1, 0.5f, 0.25f};
    host().staff_answer = test::StaffAnswer{1, 0.75f};
    std::string kinds;
    for (int i = 0; i < 15; ++i) {
        update(30);
        kinds += newest().gender_valid == 1 ? 'G' : newest().staff_valid == 1 ? 'S' : '-';
    }
    EXPECT_EQ(kinds, "GS-----GS-----G");
    ASSERT_THAT(trk->attrSamples, SizeIs(15));
    const HUMAN_ATTR_S empty{};
    EXPECT_TRUE(fix::same(trk->attrSamples[2], empty));
    EXPECT_TRUE(fix::same(trk->attrSamples[6], empty));
}

TEST_F(Cadence, FailedCallsLeaveZerosInAValidSample) {
    trk->attrSamples = {attr::gender_sample(0.5f, 0.5f, 2)};
    update();
    EXPECT_EQ(newest().gender_valid, 1);
    EXPECT_EQ(newest().gender, 0);
    EXPECT_EQ(newest().prob_male, 0.0f);
    EXPECT_EQ(newest().prob_female, 0.0f);
    update();
    EXPECT_EQ(newest().staff_valid, 1);
    EXPECT_EQ(newest().staff, 0);
    EXPECT_EQ(newest().staff_score, 0.0f);
    EXPECT_EQ(trk->staffKeep, 0);
}

TEST_F(Cadence, LastTwentySamplesOldestFirst) {
    for (int i = 0; i < 60; ++i) {
        host().gender_answer = test::GenderAnswer{0, static_cast<float>(i), 0.0f};
        host().staff_answer = test::StaffAnswer{0, static_cast<float>(i)};
        update();
        ASSERT_EQ(trk->attrSamples.size(), static_cast<size_t>(std::min(i + 1, 20))) << i;
    }
    for (int i = 0; i < 20; ++i) {
        const HUMAN_ATTR_S& sample = trk->attrSamples[static_cast<size_t>(i)];
        const auto number = static_cast<float>(40 + i);
        EXPECT_EQ(sample.gender_valid != 0 ? sample.prob_male : sample.staff_score, number) << i;
    }
}

TEST_F(Cadence, ListThatIsTooLongLosesItsOldest) {
    trk->attrSamples = attr::empty_samples(20);
    trk->attrSamples[0].gender = 70;
    trk->attrSamples[1].gender = 71;
    update();
    ASSERT_THAT(trk->attrSamples, SizeIs(20));
    EXPECT_EQ(trk->attrSamples[0].gender, 71);
}

// ---- A host that writes too much ----

TEST_F(Cadence, WholeDetectionResultsAsAnswersDamageNothing) {
    // A detector that takes every result for the one of the colour model fills 16424 bytes.
    const auto write_whole = [](auto, auto, void* result) {
        std::vector<uint8_t> bytes(sizeof(VCA_NN_RESULT_S), 0x3F);
        std::memcpy(result, bytes.data(), bytes.size());
    };
    host().on_detection = write_whole;
    host().on_classification = write_whole;
    const VCA_CTRL_S ctrl = *vca_get_pCtrl_param();
    const VCA_IMAGE_S crop = trk->attrImg;
    const DET_OBJ_S box = trk->curObj;
    for (int i = 0; i < 50; ++i) {
        update(i % 35);
        ASSERT_EQ(trk->attrSamples.size(), static_cast<size_t>(std::min(i + 1, 20)));
    }
    EXPECT_TRUE(fix::same(ctrl, *vca_get_pCtrl_param()));
    EXPECT_TRUE(fix::same(crop, trk->attrImg));
    EXPECT_EQ(fix::rect(trk->curObj), fix::rect(box));
    EXPECT_EQ(trk->trackId, 5);
    for (const HUMAN_ATTR_S& sample : trk->attrSamples) {
        if (sample.gender_valid == 1) {
            EXPECT_EQ(sample.gender, 0x3F3F3F3F);
        }
        EXPECT_LE(sample.gender_valid, 1);
    }
}

TEST_F(Cadence, StaffResultReachesFromItsFieldToTheEnd) {
    host().on_detection = [](auto, auto, void* result) {
        std::vector<uint8_t> bytes(sizeof(VCA_NN_RESULT_S), 0);
        const test::StaffAnswer answer{1, 0.5f};
        std::memcpy(bytes.data(), &answer, sizeof(answer));
        std::memcpy(result, bytes.data(), bytes.size());
    };
    trk->age = 1;
    update();
    EXPECT_EQ(newest().staff_valid, 1);
    EXPECT_EQ(newest().staff, 1);
    EXPECT_EQ(newest().staff_score, 0.5f);
    EXPECT_EQ(newest().gender_valid, 0);
}

TEST_F(Cadence, WildAnswersAreOnlyCompared) {
    const float values[] = {NAN, INFINITY, -INFINITY, 1e38f, -1e38f, 0.0f, 0.5f};
    int n = 0;
    for (int i = 0; i < 400; ++i) {
        host().gender_answer = test::GenderAnswer{n * 7919, values[n % 7], values[n / 7 % 7]};
        host().staff_answer = test::StaffAnswer{n % 3 - 1, values[n / 3 % 7]};
        update(n++ % 40);
        EXPECT_THAT(trk->genderKeep, testing::AllOf(testing::Ge(0), testing::Le(2)));
        EXPECT_THAT(trk->curObj.gender, testing::AllOf(testing::Ge(0), testing::Le(2)));
        EXPECT_LE(trk->staffChkCnt, 2u);
    }
    EXPECT_THAT(trk->attrSamples, SizeIs(20));
}

// ---- In the update of a track ----

struct InUpdate : HumanAttr {
    std::unique_ptr<DET_OBJECTS_S> dets = std::make_unique<DET_OBJECTS_S>();

    void set_info(int32_t object_count, bool cascade_pass) {
        dets->num = object_count;
        dets->objs[0] = fix::box(400, 200, 80, 60);
        IOU_TRK_OBJ_S rec{};
        rec.id = 5;
        vca_set_track_obj_info(trk.get(), &rec, dets.get(), cascade_pass);
    }
};

TEST_F(InUpdate, NumberOfDetectionsSetsTheCadence) {
    vca_get_pCtrl_param()->real_img = real;
    for (const int32_t count : {1, 15, 30}) {
        trk->age = 0;
        std::string letters;
        for (int i = 0; i < 9; ++i) {
            set_info(count, false);
            letters += asked();
        }
        EXPECT_EQ(letters, count == 1 ? "GSGSGSGSG" : count == 15 ? "GS--GS--G" : "GS-----GS");
    }
}

TEST_F(InUpdate, CropComesFromTheColourImage) {
    vca_get_pCtrl_param()->real_img = real;
    set_info(1, false);
    const auto steps = host().attr_calls();
    ASSERT_THAT(steps, SizeIs(2));
    EXPECT_EQ(steps[0].src, &vca_get_pCtrl_param()->real_img);
    EXPECT_EQ(steps[0].rgn.x, 394);
    EXPECT_EQ(steps[0].rgn.width, 92);
}

TEST_F(InUpdate, DecisionsReachAllBoxesInTheSameUpdate) {
    vca_get_pCtrl_param()->real_img = real;
    trk->genderKeep = 2;
    trk->genderMaxProb = 19.0f;
    trk->staffKeep = 1;
    set_info(1, false);
    for (const DET_OBJ_S* obj : {&trk->curObj, &trk->headBox, &trk->footBox}) {
        EXPECT_EQ(obj->gender, 2);
        EXPECT_EQ(obj->staff, 1);
    }
}

TEST_F(InUpdate, MergedPassAsksNoModel) {
    fix::cfg().devWorkMode = VCA_WORK_MASTER;
    for (int i = 0; i < 10; ++i)
        set_info(1, true);
    EXPECT_THAT(host().attr_calls(), IsEmpty());
    EXPECT_THAT(trk->attrSamples, IsEmpty());
}

TEST_F(InUpdate, LocalPassOfMasterAndSlaveAsksTheModels) {
    vca_get_pCtrl_param()->real_img = real;
    for (const int mode : {1, 2}) {
        fix::cfg().devWorkMode = mode;
        trk->age = 0;
        set_info(1, false);
        EXPECT_EQ(asked(), "G") << mode;
    }
}

}  // namespace
