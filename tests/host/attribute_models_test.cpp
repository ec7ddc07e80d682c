// The attribute models behind the library's inference functions, and the library's sampling and
// voting on what they answer, from a picture to the decision that a track carries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <set>
#include <string>

#include "host/app/run.h"
#include "host/engine/session.h"
#include "host/inference/models.h"
#include "tests/host/crop_image.h"
#include "vca/vca.h"

namespace {

std::string network(const std::string& name) {
    return std::string(VCA_TEST_NETWORKS) + "/" + name;
}

// 24 bytes with a pattern that shows which of them a model has written.
struct Answer {
    std::array<std::uint8_t, 24> bytes;
    Answer() { bytes.fill(0xa5); }
    std::size_t untouched_from() const {
        std::size_t end = bytes.size();
        while (end > 0 && bytes[end - 1] == 0xa5)
            --end;
        return end;
    }
    std::int32_t word(std::size_t offset) const {
        std::int32_t value = 0;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
    float number(std::size_t offset) const {
        float value = 0.0f;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
};

// The host's models without the library.
class Models : public ::testing::Test {
  protected:
    void use(const std::string& gender, const std::string& staff) {
        attributes_ = host::open_attribute_models(gender, staff);
        host::ModelSettings settings;
        settings.camera = {270.0, 254.0, 240.0, 128.0, 4200.0};
        settings.attributes = &attributes_;
        host::set_model_settings(settings);
        ASSERT_EQ(vca_cvai_init(&ctrl_), 0);
    }
    void TearDown() override {
        vca_cvai_uninit(&ctrl_);
        host::set_model_settings({});
    }

    host::AttributeModels attributes_;
    VCA_CTRL_S ctrl_{};
};

TEST_F(Models, WriteTheirAnswersAndNothingBeyond) {
    use(network("gender.onnx"), network("staff.onnx"));
    EXPECT_NE(ctrl_.attr_model, ctrl_.staff_model);
    test::Nv12Image crop(224, 224);
    crop.paint(cv::Mat(224, 224, CV_8UC3, test::rgb(220, 180, 40)));
    Answer gender;
    ASSERT_EQ(vca_nn_classification(ctrl_.attr_model, crop.record(), gender.bytes.data()), 0);
    EXPECT_EQ(gender.untouched_from(), 16u);
    EXPECT_EQ(gender.word(0), 2);
    EXPECT_GT(gender.number(8), gender.number(4));
    Answer staff;
    ASSERT_EQ(vca_nn_detection(ctrl_.staff_model, crop.record(), staff.bytes.data()), 0);
    EXPECT_EQ(staff.untouched_from(), 8u);
    EXPECT_EQ(staff.word(0), 1);
    EXPECT_GT(staff.number(4), 0.9f);
}

TEST_F(Models, WithoutAModelTheAnswerStaysUntouched) {
    use("none", "none");
    test::Nv12Image crop(224, 224);
    Answer answer;
    EXPECT_EQ(vca_nn_classification(ctrl_.attr_model, crop.record(), answer.bytes.data()), -1);
    EXPECT_EQ(vca_nn_detection(ctrl_.staff_model, crop.record(), answer.bytes.data()), -1);
    EXPECT_EQ(answer.untouched_from(), 0u);
}

TEST_F(Models, RefuseWhatIsNoCrop) {
    use(network("gender.onnx"), "vest");
    test::Nv12Image small(112, 224);
    test::Nv12Image crop(224, 224);
    VCA_IMAGE_S none{};
    VCA_IMAGE_S narrow = *crop.record();
    narrow.stride = 112;
    Answer answer;
    for (const VCA_IMAGE_S* image :
         std::initializer_list<const VCA_IMAGE_S*>{small.record(), &none, &narrow, nullptr}) {
        EXPECT_EQ(vca_nn_classification(ctrl_.attr_model, image, answer.bytes.data()), -1);
        EXPECT_EQ(vca_nn_detection(ctrl_.staff_model, image, answer.bytes.data()), -1);
    }
    EXPECT_EQ(vca_nn_classification(ctrl_.staff_model, crop.record(), answer.bytes.data()), -1);
    EXPECT_EQ(vca_nn_classification(ctrl_.attr_model, crop.record(), nullptr), -1);
    EXPECT_EQ(vca_nn_detection(ctrl_.staff_model, crop.record(), nullptr), -1);
    vca_cvai_uninit(&ctrl_);
    EXPECT_EQ(vca_nn_classification(ctrl_.attr_model, crop.record(), answer.bytes.data()), -1);
    EXPECT_EQ(answer.untouched_from(), 0u);
}

// The library with the host's models and a track whose updates are given one by one. The analysis
// has no frames and idles.
class Track : public ::testing::Test {
  protected:
    void start(const std::string& gender, const std::string& staff, bool gender_on, bool staff_on) {
        attributes_ = host::open_attribute_models(gender, staff);
        host::SessionSetup setup;
        setup.config.InstallHeight = 4200;
        setup.config.GenderRecognize = gender_on ? 1 : 0;
        setup.config.StaffDetection = staff_on ? 1 : 0;
        setup.camera = {270.0, 254.0, 240.0, 128.0, 4200.0};
        setup.attributes = &attributes_;
        session_ = std::make_unique<host::Session>(setup, std::vector<host::Sink*>{});
        ASSERT_EQ(vca_create_image(&track_.attrImg, VCA_IMAGE_NV12, 224, 224), 0);
        // 1.15 times 90 is 103, which is cut as 104 pixels from an even column and row on.
        track_.curObj.x = 400;
        track_.curObj.y = 200;
        track_.curObj.w = 90;
        track_.curObj.h = 90;
    }
    void TearDown() override { vca_destroy_image(&track_.attrImg); }

    // A person with or without a vest under the camera.
    void paint(bool vest, const cv::Scalar& top) {
        cv::Mat scene(544, 960, CV_8UC3, test::rgb(150, 140, 128));
        cv::ellipse(scene, {445, 245}, {44, 24}, 0, 0, 360, top, cv::FILLED);
        if (vest) {
            for (const int x : {420, 460})
                cv::rectangle(scene, {x, 228}, {x + 10, 262}, test::rgb(204, 207, 209), cv::FILLED);
        }
        cv::ellipse(scene, {445, 240}, {15, 19}, 0, 0, 360, test::rgb(44, 34, 28), cv::FILLED);
        picture_.paint(scene);
    }

    // One update in a scene of this one person.
    void update() {
        vca_obj_deal_human_attr(&track_, picture_.record(), 1);
        ++track_.age;
    }

    host::AttributeModels attributes_;
    std::unique_ptr<host::Session> session_;
    test::Nv12Image picture_{960, 544};
    TRACKER_RSLT_S track_{};
};

const cv::Scalar kYellow = test::rgb(212, 236, 44);
const cv::Scalar kRed = test::rgb(200, 30, 40);
const cv::Scalar kBlue = test::rgb(30, 40, 220);

TEST_F(Track, BecomesStaffByTwoHitsAndStaysIt) {
    start("none", "vest", false, true);
    paint(true, kYellow);
    update();  // crop
    update();  // first hit
    EXPECT_EQ(track_.attrSamples.back().staff_valid, 1);
    EXPECT_EQ(track_.attrSamples.back().staff, 1);
    EXPECT_EQ(track_.curObj.staff, 0);
    update();
    EXPECT_EQ(track_.curObj.staff, 0);
    update();  // second hit
    EXPECT_EQ(track_.curObj.staff, 1);
    EXPECT_GE(track_.staffConf, 0.5f);
    paint(false, kBlue);
    for (int i = 0; i < 30; ++i)
        update();
    EXPECT_EQ(track_.attrSamples[18].staff + track_.attrSamples[19].staff, 0);
    EXPECT_EQ(track_.curObj.staff, 1);
}

TEST_F(Track, AYellowShirtIsNoStaff) {
    start("none", "vest", false, true);
    paint(false, kYellow);
    for (int i = 0; i < 20; ++i)
        update();
    EXPECT_EQ(track_.curObj.staff, 0);
}

TEST_F(Track, TakesTheGenderOfTheLargestSum) {
    start(network("gender.onnx"), "none", true, false);
    paint(false, kRed);
    for (int i = 0; i < 6; ++i)
        update();
    const HUMAN_ATTR_S& sample = track_.attrSamples[4];
    EXPECT_EQ(sample.gender_valid, 1);
    EXPECT_EQ(track_.attrSamples[5].gender_valid, 0);
    EXPECT_EQ(sample.gender, 2);
    EXPECT_EQ(track_.curObj.gender, 2);
    // What the network says of the crop that was cut and letterboxed.
    test::Nv12Image crop(224, 224);
    const VCA_RGN_S part{394, 194, 103, 103};
    ASSERT_EQ(vca_image_crop_letter(picture_.record(), &part, crop.record()), 0);
    const auto answer = attributes_.gender->classify(crop.crop());
    EXPECT_EQ(sample.prob_male, answer->male);
    EXPECT_EQ(sample.prob_female, answer->female);
    EXPECT_FLOAT_EQ(track_.genderMaxProb, 3.0f * answer->female);
    EXPECT_FLOAT_EQ(track_.genderMean, answer->male);
}

TEST_F(Track, ChangesGenderOnlyForALargerSum) {
    start(network("gender.onnx"), "none", true, false);
    paint(false, kRed);
    for (int i = 0; i < 8; ++i)
        update();
    const float female = track_.genderMaxProb;
    paint(false, kBlue);
    int updates = 0;
    while (track_.curObj.gender == VCA_GENDER_FEMALE && updates < 40) {
        update();
        ++updates;
    }
    EXPECT_EQ(track_.curObj.gender, 1);
    EXPECT_GT(updates, 6);  // four samples of red need more than three of blue
    EXPECT_GT(track_.genderMaxProb, female);
}

TEST_F(Track, WhatIsSwitchedOffReadsAsNothing) {
    start(network("gender.onnx"), "vest", false, false);
    paint(true, kYellow);
    for (int i = 0; i < 10; ++i)
        update();
    EXPECT_EQ(track_.attrSamples[9].staff, 1);  // the models run all the same
    EXPECT_EQ(track_.attrSamples[8].gender_valid, 1);
    EXPECT_EQ(track_.curObj.staff, 0);
    EXPECT_EQ(track_.curObj.gender, 0);
}

TEST_F(Track, WithoutModelsEveryoneIsUnknown) {
    start("none", "none", true, true);
    paint(true, kYellow);
    for (int i = 0; i < 25; ++i)
        update();
    EXPECT_EQ(track_.attrSamples.size(), 20u);
    EXPECT_EQ(track_.curObj.staff, 0);
    EXPECT_EQ(track_.curObj.gender, 0);
}

// Tracks that were shown as staff in the end.
class ShownStaff final : public host::Sink {
  public:
    void on_event(const host::Event& event) override {
        const auto* shown = std::get_if<host::TracksShown>(&event.payload);
        if (shown == nullptr) return;
        for (const host::ShownTrack& track : shown->tracks) {
            ++shown_;
            if (track.staff == 1) {
                staff_.insert(track.track);
            } else {
                staff_.erase(track.track);
            }
        }
    }
    int shown() const { return shown_; }
    std::size_t staff() const { return staff_.size(); }

  private:
    int shown_ = 0;
    std::set<int> staff_;
};

host::RunPlan gallery(const std::string& staff) {
    host::RunOptions options;
    options.source.scene = "gallery";
    options.source.seed = 21;
    options.seconds = 30.0;
    options.staff = staff;
    return host::prepare_run(options);
}

TEST(GalleryRun, TellsStaffFromVisitors) {
    host::RunPlan plan = gallery("vest");
    const host::RunOutcome outcome = host::run_for_scores(plan);
    ASSERT_TRUE(outcome.scores.staff);
    const host::StaffScore& score = *outcome.scores.staff;
    EXPECT_GE(score.right_staff, 1);
    EXPECT_GE(score.right_others, 3);
    EXPECT_GE(score.accuracy(), 0.95);
    EXPECT_EQ(outcome.facts.left.images, 0);
}

TEST(GalleryRun, KnowsNoStaffWithoutAModel) {
    host::RunPlan plan = gallery("none");
    ShownStaff shown;
    const std::atomic<bool> never{false};
    host::run(plan, {&shown}, never);
    EXPECT_GT(shown.shown(), 0);
    EXPECT_EQ(shown.staff(), 0u);
}

TEST(Preparation, ANetworkOfTheWrongFormIsRefused) {
    host::RunOptions options;
    options.gender = network("logits.onnx");
    EXPECT_THROW(host::prepare_run(options), host::InputError);
    options.gender = "none";
    options.staff = network("gender.onnx");
    EXPECT_THROW(host::prepare_run(options), host::InputError);
}

}  // namespace
