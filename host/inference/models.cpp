// Loading of the detectors and the translation between the models' answers and the library's
// records.
#include "host/inference/models.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "host/base/turn.h"
#include "host/inference/colour_detector.h"
#include "host/inference/depth_detector.h"
#include "host/platform/pass_observer.h"
#include "vca/detect.h"
#include "vca/platform.h"

namespace host {
namespace {

struct Models {
    ModelSettings settings;
    float least_score = 0.0f;
    std::unique_ptr<ColourDetector> colour;
    std::unique_ptr<DepthDetector> depth;
    std::optional<TakenPicture> taken;  // of levelled pictures
    std::vector<Detection> inside_taken;
    NN_MODEL_CFG_S config{};
    std::vector<ExpectedHead> expected;
    std::vector<FoundHead> found;
};

Models& models() {
    static Models instance;
    return instance;
}

void load_detectors(Models& m) {
    const CameraModel& camera = m.settings.camera;
    m.depth = std::make_unique<DepthDetector>(camera);
    // The picture is twice as wide as the depth image and shows the same field.
    m.colour =
        std::make_unique<ColourDetector>(static_cast<float>(camera.fx) * kColourWidth / kDepthWidth,
                                         static_cast<float>(camera.height_mm.value()));
    m.taken.reset();
    if (camera.levelled) m.taken.emplace(camera, *camera.levelled);
    m.expected.clear();
    m.found.clear();
    m.config.trk_conf_lo = kScoreUsable;
    m.config.det_show_thresh = kScoreSure;
}

const std::vector<Detection>& run_model(Models& m, int model, const VCA_IMAGE_S& image) {
    static const std::vector<Detection> nobody;
    const FramePlanes* planes =
        m.settings.pool == nullptr ? nullptr : m.settings.pool->on_loan(image.frame_word);
    if (planes == nullptr) return nobody;
    if (model == kDepthModel) {
        return m.depth->detect(planes->raw_mm.data(), kDepthWidth, std::exchange(m.expected, {}));
    }
    const auto* luma = reinterpret_cast<const std::uint8_t*>(image.plane_addr);
    return m.colour->detect_nv12(luma, luma + std::size_t{image.stride} * image.height,
                                 image.stride);
}

// The library drops depth boxes that reach into the outermost 20 pixels of a 960 x 540 picture, and
// boxes with a side of less than 25 pixels under a low camera. People whose head is farther inside
// get a smaller box, so that they are followed from where they can be seen.
constexpr int kBorder_px = 20;
constexpr int kMergeHeight_px = 540;
constexpr int kLeastSide_px = 26;
// A head that is farther out by no more than this is reported at the outermost place.
constexpr int kFarther_px = 8;

// A levelled picture ends where the one ends that was taken: of people there only a part is seen,
// at a wrong place. They are left out as near to that edge as to the picture's own.
const std::vector<Detection>& inside_taken(Models& m, const std::vector<Detection>& found) {
    constexpr double kFromEdge_px = kBorder_px + kLeastSide_px / 2.0 - kFarther_px;
    if (!m.taken) return found;
    m.inside_taken.clear();
    for (const Detection& d : found) {
        if (m.taken->shows({d.x + d.w / 2.0, d.y + d.h / 2.0}, kFromEdge_px))
            m.inside_taken.push_back(d);
    }
    return m.inside_taken;
}

DET_OBJ_S to_record(Detection d) {
    shrink_inside(d, {kColourWidth, kMergeHeight_px, kBorder_px, kLeastSide_px, kFarther_px});
    DET_OBJ_S record{};
    record.x = d.x;
    record.y = d.y;
    record.w = d.w;
    record.h = d.h;
    record.area = d.w * d.h;
    record.class_id = static_cast<std::uint8_t>(d.class_id);
    record.score = d.score;
    return record;
}

void note_heads(const DET_OBJECTS_S& objects, const std::vector<Detection>& found,
                float least_score, std::vector<FoundHead>& heads) {
    heads.clear();
    int taken = 0;
    for (const Detection& d : found) {
        if (taken == objects.num) break;
        if (d.score < least_score) continue;
        const DET_OBJ_S& box = objects.objs[taken++];
        if (d.head) heads.push_back({box.x + box.w / 2, box.y + box.h / 2, *d.head, d.head_seen});
    }
}

void fill_result(const std::vector<Detection>& found, float least_score, DET_OBJECTS_S& objects) {
    objects.num = 0;
    for (const Detection& d : found) {
        if (objects.num == VCA_DET_MAX) break;
        if (d.score < least_score) continue;
        objects.objs[objects.num] = objects.raw_objs[objects.num] = to_record(d);
        ++objects.num;
    }
}

// What the attribute models write for the library.
struct StaffRecord {
    std::int32_t staff;
    float score;
};
static_assert(sizeof(StaffRecord) == 8);

struct GenderRecord {
    std::int32_t best;
    float male;
    float female;
    std::uint32_t unused;
};
static_assert(sizeof(GenderRecord) == 16);

std::optional<CropView> crop_view(const VCA_IMAGE_S* image) {
    if (image == nullptr || image->type != VCA_IMAGE_NV12 || image->plane_addr == 0 ||
        image->width != kCropSide_px || image->height != kCropSide_px ||
        image->stride < image->width) {
        return std::nullopt;
    }
    const auto* luma = reinterpret_cast<const std::uint8_t*>(image->plane_addr);
    return CropView{luma, luma + std::size_t{image->stride} * image->height, image->stride};
}

int run_staff_model(Models& m, const VCA_IMAGE_S* image, void* result) {
    const std::optional<CropView> crop = crop_view(image);
    if (m.settings.attributes == nullptr || !m.settings.attributes->staff || !crop) return -1;
    const std::optional<StaffAnswer> answer = m.settings.attributes->staff->detect(*crop);
    if (!answer) return -1;
    const StaffRecord record{answer->staff ? 1 : 0, answer->score};
    std::memcpy(result, &record, sizeof record);
    return 0;
}

int run_gender_model(Models& m, const VCA_IMAGE_S* image, void* result) {
    const std::optional<CropView> crop = crop_view(image);
    if (m.settings.attributes == nullptr || !m.settings.attributes->gender || !crop) return -1;
    const std::optional<GenderAnswer> answer = m.settings.attributes->gender->classify(*crop);
    if (!answer) return -1;
    const GenderRecord record{answer->best, answer->male, answer->female, 0};
    std::memcpy(result, &record, sizeof record);
    return 0;
}

void describe(VCA_IMAGE_S& image, int type, int width, int height, int bytes_per_pixel) {
    image.type = type;
    image.width = static_cast<std::uint32_t>(width);
    image.height = static_cast<std::uint32_t>(height);
    image.stride = static_cast<std::uint32_t>(width * bytes_per_pixel);
}

}  // namespace

void set_model_settings(const ModelSettings& settings) {
    models().settings = settings;
}

void expect_heads(std::vector<ExpectedHead> heads) {
    models().expected = std::move(heads);
}

// The library enlarges boxes about their middle, which may move it by a pixel.
const FoundHead* head_in_box(int middle_x, int middle_y) {
    const FoundHead* nearest = nullptr;
    int least = 2;
    for (const FoundHead& head : models().found) {
        const int apart = std::max(std::abs(head.x - middle_x), std::abs(head.y - middle_y));
        if (apart >= least) continue;
        least = apart;
        nearest = &head;
    }
    return nearest;
}

}  // namespace host

using namespace host;

extern "C" {

int vca_mem_init(VCA_CTRL_S* ctrl) {
    if (ctrl == nullptr) return -1;
    // The pixels are those of the frame pool; only the shapes are set here.
    describe(ctrl->real_img, VCA_IMAGE_NV12, kColourWidth, kColourHeight, 1);
    describe(ctrl->depth_img, VCA_IMAGE_NV12, kDepthWidth, kDepthHeight, 1);
    describe(ctrl->raw_img, VCA_IMAGE_U16, kDepthWidth, kDepthHeight, 2);
    return 0;
}

int vca_mem_uninit(VCA_CTRL_S* ctrl) {
    if (ctrl == nullptr) return -1;
    ctrl->real_img = ctrl->depth_img = ctrl->raw_img = VCA_IMAGE_S{};
    return 0;
}

int vca_cvai_init(VCA_CTRL_S* ctrl) {
    if (ctrl == nullptr) return -1;
    load_detectors(models());
    ctrl->real_model = kColourModel;
    ctrl->depth_model = kDepthModel;
    ctrl->attr_model = kAttributeModel;
    ctrl->staff_model = kStaffModel;
    return 0;
}

int vca_cvai_uninit(VCA_CTRL_S* ctrl) {
    if (ctrl == nullptr) return -1;
    models().colour.reset();
    models().depth.reset();
    return 0;
}

int avs_set_conf_thr(int percent) {
    models().least_score = static_cast<float>(std::clamp(percent, 0, 100)) / 100.0f;
    return 0;
}

const NN_MODEL_CFG_S* vca_nn_get_pModel_cfg(NN_MODEL_TYPE_E model) {
    return model == kColourModel || model == kDepthModel ? &models().config : nullptr;
}

int vca_nn_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) {
    Models& m = models();
    if (image == nullptr || result == nullptr || !m.depth) return -1;
    if (model == kStaffModel) return run_staff_model(m, image, result);
    if (model != kColourModel && model != kDepthModel) return -1;
    const auto start = std::chrono::steady_clock::now();
    const std::vector<Detection>& found = inside_taken(m, run_model(m, model, *image));
    DET_OBJECTS_S& objects = static_cast<VCA_NN_RESULT_S*>(result)->objects;
    fill_result(found, m.least_score, objects);
    if (model == kDepthModel) note_heads(objects, found, m.least_score, m.found);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    if (PassObserver* const observer = pass_observer()) observer->detected(elapsed);
    return 0;
}

int vca_nn_classification(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) {
    Models& m = models();
    if (model != kAttributeModel || result == nullptr || !m.depth) return -1;
    return run_gender_model(m, image, result);
}

}  // extern "C"
