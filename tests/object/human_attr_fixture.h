// What the tests of the attribute stage share: a track with a crop image before a colour image of
// 960 x 544, and samples.
#ifndef TESTS_OBJECT_HUMAN_ATTR_FIXTURE_H
#define TESTS_OBJECT_HUMAN_ATTR_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/scripted_host.h"
#include "tests/track/fixtures.h"

namespace attr {

// Numbers of the debug switches of this stage.
constexpr int kSwAttr = 11;
constexpr int kSwTestMode = 12;
constexpr int kSwSaveHd = 22;
constexpr int kSwSaveOne = 24;

inline void set_switch(int number, bool on) {
    fix::set_switch(static_cast<fix::Switch>(number), on);
}

inline HUMAN_ATTR_S gender_sample(float male, float female, int32_t gender = VCA_GENDER_UNKNOWN) {
    HUMAN_ATTR_S sample{};
    sample.gender_valid = 1;
    sample.gender = gender;
    sample.prob_male = male;
    sample.prob_female = female;
    return sample;
}

inline HUMAN_ATTR_S staff_sample(int32_t staff, float score) {
    HUMAN_ATTR_S sample{};
    sample.staff_valid = 1;
    sample.staff = staff;
    sample.staff_score = score;
    return sample;
}

inline std::vector<HUMAN_ATTR_S> empty_samples(size_t count) {
    return std::vector<HUMAN_ATTR_S>(count);
}

struct HumanAttr : testing::Test {
    std::unique_ptr<TRACKER_RSLT_S> trk = fix::new_track(5);
    VCA_IMAGE_S real{VCA_IMAGE_NV12, 960, 544, 960, 0, 0, 0, 0};

    void SetUp() override {
        fix::set_up_device();
        vca_cvai_init(vca_get_pCtrl_param());
        fix::cfg().GenderRecognize = 1;
        fix::cfg().StaffDetection = 1;
        vca_create_image(&trk->attrImg, VCA_IMAGE_NV12, 224, 224);
        trk->curObj = fix::box(400, 200, 80, 60);
        test::host().clear_calls();
    }

    void TearDown() override {
        vca_trk_obj_destroy_img(&trk->attrImg);
        EXPECT_TRUE(test::host().errors().empty());
    }

    // One update of the track in a scene of `count` people.
    void update(int32_t count = 0) {
        vca_obj_deal_human_attr(trk.get(), &real, count);
        ++trk->age;
    }

    void vote(const std::vector<HUMAN_ATTR_S>& samples) {
        trk->attrSamples = samples;
        vca_obj_update_human_attr(trk.get());
    }

    const HUMAN_ATTR_S& newest() const { return trk->attrSamples.back(); }
};

// What the models were asked in one update: "-" nothing, "G" crop and gender, "S" staff, "?" else.
inline std::string asked() {
    const auto calls = test::host().attr_calls();
    test::host().clear_calls();
    if (calls.empty()) return "-";
    using enum test::AttrCall::Kind;
    if (calls.size() == 2 && calls[0].kind == kCrop && calls[1].kind == kGender) return "G";
    if (calls.size() == 1 && calls[0].kind == kStaff) return "S";
    return "?";
}

}  // namespace attr

#endif
