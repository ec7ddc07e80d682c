// Gender and staff flag of a track: sampling by the host's models on a crop of the person, and the
// vote over the last samples.
#include <algorithm>
#include <cstdio>

#include "base/control.h"
#include "base/decision.h"
#include "base/log.h"
#include "detect/box.h"
#include "object/attr_debug.h"
#include "track/gender.h"
#include "vca/object.h"

using vca::to_i32;
using vca::wrap_sub;

namespace {

constexpr size_t kSampleMax = 20;

// Staff hits needed for the decision, and the number of newest samples they must lie within, at 2 m
// and at 6 m.
struct Range {
    int32_t low;
    int32_t high;
};
constexpr Range kStaffHitsMin = {2, 2};
constexpr Range kStaffNewest = {5, 5};

// The sample, followed by room for a whole detection result, so that a host that writes too much
// damages nothing; anything written beyond the result is dropped.
struct Scratch {
    HUMAN_ATTR_S sample;
    uint8_t excess[sizeof(VCA_NN_RESULT_S)];
};

// Updates between two runs of a model: 2 in an empty scene, 4 at 15 objects, 7 at 30 or more.
int32_t sampling_period(int32_t object_count) {
    const float crowd = static_cast<float>(av_limit_min_max(object_count, 0, 30)) / 30.0f;
    return av_calc_set_val(2, 4, 7, crowd);
}

// The box enlarged by 15 % about its centre, inside the image.
VCA_RGN_S crop_rectangle(const DET_OBJ_S& box, const VCA_IMAGE_S& image) {
    const auto width = static_cast<int32_t>(image.width);
    const auto height = static_cast<int32_t>(image.height);
    const POINT_POS_S center = vca::box_center(box);
    VCA_RGN_S crop{};
    crop.width = av_limit_min_max(to_i32(1.15f * static_cast<float>(box.w)), 1, wrap_sub(width, 1));
    crop.height =
        av_limit_min_max(to_i32(1.15f * static_cast<float>(box.h)), 1, wrap_sub(height, 1));
    crop.x = av_limit_min_max(wrap_sub(center.x, crop.width / 2), 0,
                              wrap_sub(wrap_sub(width, crop.width), 1));
    crop.y = av_limit_min_max(wrap_sub(center.y, crop.height / 2), 0,
                              wrap_sub(wrap_sub(height, crop.height), 1));
    return crop;
}

void classify(TRACKER_RSLT_S& trk, const VCA_IMAGE_S& image, HUMAN_ATTR_S& sample) {
    const VCA_RGN_S crop = crop_rectangle(trk.curObj, image);
    vca_image_crop_letter(&image, &crop, &trk.attrImg);
    Scratch scratch;
    scratch.sample = {};
    vca_nn_classification(vca::control_block().attr_model, &trk.attrImg, &scratch.sample.gender);
    sample.gender_valid = 1;
    sample.gender = scratch.sample.gender;
    sample.prob_male = scratch.sample.prob_male;
    sample.prob_female = scratch.sample.prob_female;
    sample.model_word = scratch.sample.model_word;
}

void detect_staff(const TRACKER_RSLT_S& trk, HUMAN_ATTR_S& sample) {
    Scratch scratch;
    scratch.sample = {};
    vca_nn_detection(vca::control_block().staff_model, &trk.attrImg, &scratch.sample.staff);
    sample.staff_valid = 1;
    sample.staff = scratch.sample.staff;
    sample.staff_score = scratch.sample.staff_score;
}

// The models take turns, so that they never run for the same track in the same frame: the staff
// detector looks at the crop the classifier was given one update earlier.
HUMAN_ATTR_S take_sample(TRACKER_RSLT_S& trk, const VCA_IMAGE_S& image, int32_t object_count) {
    HUMAN_ATTR_S sample{};
    const int32_t period = sampling_period(object_count);
    if (trk.age % period == 0)
        classify(trk, image, sample);
    else if (wrap_sub(trk.age, 1) % period == 0)
        detect_staff(trk, sample);
    return sample;
}

// Sums over the samples that have a classification.
struct GenderSums {
    float male = 0.0f;
    float female = 0.0f;
    float unknown = 0.0f;
    int32_t samples = 0;
};

GenderSums sum_genders(const std::vector<HUMAN_ATTR_S>& samples) {
    GenderSums sums;
    for (const HUMAN_ATTR_S& sample : samples) {
        if (sample.gender_valid == 0) continue;
        sums.male += sample.prob_male;
        sums.female += sample.prob_female;
        sums.unknown += 1.0f - sample.prob_male - sample.prob_female;
        ++sums.samples;
    }
    return sums;
}

// Only a new largest sum changes the gender.
void decide_gender(TRACKER_RSLT_S& trk, const GenderSums& sums) {
    const int32_t before = trk.genderKeep;
    const auto stand = [&trk](float sum, int32_t gender) {
        if (!(sum > trk.genderMaxProb)) return;
        trk.genderMaxProb = sum;
        trk.genderKeep = gender;
    };
    stand(sums.male, VCA_GENDER_MALE);
    stand(sums.female, VCA_GENDER_FEMALE);
    stand(sums.unknown, VCA_GENDER_UNKNOWN);
    trk.genderMean = sums.male / static_cast<float>(sums.samples);
    if (trk.genderKeep != before && dev_get_config()->GenderRecognize != 0)
        vca::tell(VCA_DECISION_GENDER, trk, -1, trk.genderKeep, trk.genderMaxProb,
                  static_cast<float>(sums.samples));
}

int32_t at_install_height(Range range) {
    return av_calc_val(range.low, range.high, dev_calc_install_height_ratio());
}

// Once staff, always staff.
void decide_staff(TRACKER_RSLT_S& trk, int32_t newest) {
    const auto hits_min = static_cast<uint32_t>(at_install_height(kStaffHitsMin));
    if (trk.staffChkCnt < hits_min) trk.staffChkCnt = 0;
    float best_score = 0.0f;
    const auto num = static_cast<int32_t>(trk.attrSamples.size());
    for (int32_t i = std::max(num - newest, 0); i < num; ++i) {
        const HUMAN_ATTR_S& sample = trk.attrSamples[static_cast<size_t>(i)];
        if (sample.staff_valid == 0 || sample.staff != 1 || trk.staffChkCnt >= hits_min) continue;
        ++trk.staffChkCnt;
        best_score = std::max(best_score, sample.staff_score);
    }
    if (trk.staffChkCnt < hits_min || trk.staffKeep == 1) return;
    trk.staffKeep = 1;
    trk.staffConf = best_score;
    if (dev_get_config()->StaffDetection == 0) return;
    vca::tell(VCA_DECISION_STAFF, trk, -1, 0, static_cast<float>(trk.staffChkCnt),
              static_cast<float>(hits_min));
}

// A disabled attribute reads as unknown, or as not staff, everywhere downstream.
void apply_switches(TRACKER_RSLT_S& trk) {
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    if (cfg.GenderRecognize == 0) trk.genderKeep = VCA_GENDER_UNKNOWN;
    trk.curObj.gender = vca::known_gender(trk.genderKeep);
    if (cfg.StaffDetection == 0) trk.staffKeep = 0;
    trk.curObj.staff = trk.staffKeep;
}

const char* gender_label(int32_t gender) {
    return gender == VCA_GENDER_MALE ? "Male" : gender == VCA_GENDER_FEMALE ? "Female" : "Unknown";
}

const char* staff_label(int32_t staff) {
    return staff == 1 ? "Staff" : "Comm";
}

}  // namespace

void vca_obj_update_human_attr(TRACKER_RSLT_S* trk) {
    if (trk->attrSamples.empty()) return;
    const bool log = vca::debug_on(vca::kDbgAttr);
    const int32_t newest = at_install_height(kStaffNewest);
    if (log) std::printf("Attr: ");
    decide_gender(*trk, sum_genders(trk->attrSamples));
    decide_staff(*trk, newest);
    if (!log) return;
    std::printf("\n");
    VCA_LOG("[%d] Gender=%d MaxProb=%.3f", trk->trackId, trk->genderKeep,
            static_cast<double>(trk->genderMaxProb));
    VCA_LOG("[%d] Staff=%d chkCnt=%d chkMax=%d", trk->trackId, trk->staffKeep,
            static_cast<int32_t>(trk->staffChkCnt), newest);
}

void vca_obj_print_attr_info(const TRACKER_RSLT_S* trk, const HUMAN_ATTR_S* sample) {
    if (!vca::debug_on(vca::kDbgAttr)) return;
    VCA_LOG("Obj[%d] Gender(%d)=%s Staff(%d %.2f)=%s", trk->trackId, sample->gender,
            gender_label(sample->gender), sample->staff, static_cast<double>(sample->staff_score),
            staff_label(sample->staff));
    VCA_LOG("Trk[%d] Gender(%d)=%s Staff(%d)=%s", trk->trackId, trk->genderKeep,
            gender_label(trk->genderKeep), trk->staffKeep, staff_label(trk->staffKeep));
}

void vca_obj_deal_human_attr(TRACKER_RSLT_S* trk, const VCA_IMAGE_S* realImage,
                             int32_t objectCount) {
    if (vca::debug_on(vca::kDbgAttrTest)) {
        vca::test_attribute_model();
    } else {
        const HUMAN_ATTR_S sample = take_sample(*trk, *realImage, objectCount);
        trk->attrSamples.push_back(sample);
        if (trk->attrSamples.size() > kSampleMax) trk->attrSamples.erase(trk->attrSamples.begin());
        vca_obj_update_human_attr(trk);
        vca::capture_images(*trk);
        vca_obj_print_attr_info(trk, &sample);
    }
    apply_switches(*trk);
}
