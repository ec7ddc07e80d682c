// What the test host answers to the library: its script, and the built-in detector and tracker.
#include <algorithm>
#include <limits>

#include "tests/support/scripted_host.h"

namespace test {
namespace {

void write_detections(const std::vector<Person>& persons, VCA_NN_RESULT_S& result) {
    const size_t count = std::min<size_t>(persons.size(), VCA_DET_MAX);
    result.objects.num = static_cast<int32_t>(count);
    for (size_t i = 0; i < count; ++i) {
        const Person& p = persons[i];
        DET_OBJ_S& obj = result.objects.objs[i];
        obj = {};
        obj.x = p.x;
        obj.y = p.y;
        obj.w = p.w;
        obj.h = p.h;
        obj.area = p.w * p.h;
        obj.class_id = p.class_id;
        obj.score = p.score;
        result.objects.raw_objs[i] = obj;
    }
}

// The person whose box centre is nearest to the box given to the tracker: the wrapper enlarges
// boxes about their centres, so the centre is what survives.
int nearest_id(const IOU_TRK_OBJ_S& obj, const std::vector<Person>& persons) {
    int id = obj.det_idx + 1;
    int64_t best = std::numeric_limits<int64_t>::max();
    for (const auto& p : persons) {
        const int64_t dx = (int64_t{2} * p.x + p.w) - (int64_t{2} * obj.x + obj.w);
        const int64_t dy = (int64_t{2} * p.y + p.h) - (int64_t{2} * obj.y + obj.h);
        const int64_t distance = (dx < 0 ? -dx : dx) + (dy < 0 ? -dy : dy);
        if (distance >= best) continue;
        best = distance;
        id = p.id;
    }
    return id;
}

fake::Picture make_picture(const Frame& script, bool present, bool mapped, const void* pixels,
                           uint32_t bytes) {
    fake::Picture picture;
    picture.has_block = present;
    picture.bytes = bytes;
    if (present ? script.mapped && mapped : script.map_without_block) picture.pixels = pixels;
    return picture;
}

template <class Answer>
std::optional<Answer> take(std::deque<Answer>& queue, const std::optional<Answer>& after) {
    if (queue.empty()) return after;
    const Answer answer = queue.front();
    queue.pop_front();
    return answer;
}

static_assert(sizeof(GenderAnswer) == 12 && sizeof(StaffAnswer) == 8);

}  // namespace

int Host::run_command(const char* command) {
    return on_system ? on_system(command) : 0;
}

int Host::message(int channel, int id, const void* payload, int length) {
    if (send_fails && send_fails(id)) return -1;
    const auto* bytes = static_cast<const uint8_t*>(payload);
    Message message;
    message.channel = channel;
    message.id = id;
    message.bytes.assign(bytes, bytes + length);
    message.on_task = on_task();
    const auto lock = guard();
    message.frame = frames_read_ - 1;
    messages_.push_back(std::move(message));
    return 0;
}

const NN_MODEL_CFG_S* Host::model_config(NN_MODEL_TYPE_E model) {
    const auto it = model_cfg.find(model);
    return it == model_cfg.end() ? nullptr : &it->second;
}

int Host::detect(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) {
    const bool fails = model_fails && model_fails(model);
    if (!fails && (model == kColourModel || model == kDepthModel))
        write_detections(detections(model), *static_cast<VCA_NN_RESULT_S*>(result));
    int status = fails ? -1 : 0;
    if (!fails && model == kStaffModel) status = judge_staff(*image, result);
    if (on_detection) on_detection(model, image, result);
    return status;
}

int Host::classify(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) {
    const bool fails = model_fails && model_fails(model);
    const int status = fails ? -1 : judge_gender(*image, result);
    if (on_classification) on_classification(model, image, result);
    return status;
}

bool Host::refuses_image() {
    const auto lock = guard();
    const int nth = images_tried_++;
    return image_fails && image_fails(nth);
}

void Host::image_destroyed(uint64_t handle) {
    const auto lock = guard();
    destroyed_.push_back(handle);
}

int Host::crop(const VCA_IMAGE_S& src, const VCA_RGN_S& region, VCA_IMAGE_S& dst) {
    add_attr_call(AttrCall::kCrop, dst, region, &src);
    return crop_fails ? -1 : 0;
}

int Host::save(const VCA_IMAGE_S& image, const char* path) {
    const auto lock = guard();
    saved_.push_back({&image, image, path});
    return 0;
}

fake::FrameSet Host::next_set() {
    const auto lock = guard();
    if (frames_.empty()) {
        current_.reset();
        ++idle_reads_;
        return {};
    }
    current_ = std::move(frames_.front());
    frames_.pop_front();
    ++frames_read_;
    clock_us_ += clock_step_us;
    return current_set();
}

fake::FrameSet Host::current_set() {
    const Frame& f = *current_;
    // Never moves while the task runs: the library may keep the address between passes.
    raw_pixels_.resize(size_t{raw_width} * raw_height);
    std::fill(raw_pixels_.begin(), raw_pixels_.end(), floor_mm);
    std::copy_n(f.raw.begin(), std::min(f.raw.size(), raw_pixels_.size()), raw_pixels_.begin());
    const uint8_t* const image = image_pixels_.data();
    fake::FrameSet set;
    // The sizes tell the three mappings apart.
    set.real = make_picture(f, f.has_real, f.real_mapped, image, 1001);
    set.depth = make_picture(f, f.has_depth, f.depth_mapped, image + 8, 1002);
    set.raw = make_picture(f, f.has_raw, f.raw_mapped, raw_pixels_.data(), 1003);
    const auto word = static_cast<uint64_t>(frames_read_) * 16;
    set.real.word0 = word + 1;
    set.depth.word0 = word + 2;
    set.raw.word0 = word + 3;
    set.flag = f.flag;
    return set;
}

void Host::set_lent(const AVS_IVE_ALL_S& set) {
    std::function<void()> hook;
    {
        const auto lock = guard();
        if (current_) last_set_ = set;
        hook = current_ ? current_->on_read : on_idle_read;
    }
    changed_.notify_all();
    if (hook) hook();
}

std::vector<Person> Host::detections(NN_MODEL_TYPE_E model) const {
    const auto lock = guard();
    if (!current_) return {};
    return model == kColourModel ? current_->colour : current_->depth;
}

std::vector<Person> Host::persons() const {
    const auto lock = guard();
    std::vector<Person> all = persons_;
    if (!current_) return all;
    all.insert(all.end(), current_->colour.begin(), current_->colour.end());
    all.insert(all.end(), current_->depth.begin(), current_->depth.end());
    return all;
}

IOU_TRK_RSLT_S Host::track(int inst, std::span<const IOU_TRK_OBJ_S> added) {
    {
        const auto lock = guard();
        auto& scripted = tracker_results_[inst & 1];
        if (!scripted.empty()) {
            const IOU_TRK_RSLT_S result = scripted.front();
            scripted.pop_front();
            return result;
        }
    }
    if (on_update) return on_update(inst, {added.begin(), added.end()});
    const auto known = persons();
    IOU_TRK_RSLT_S result{};
    for (const auto& obj : added) {
        if (result.num == VCA_TRK_MAX) break;
        IOU_TRK_OBJ_S& out = result.objs[result.num++];
        out = obj;
        out.id = nearest_id(obj, known);
    }
    return result;
}

void Host::add_attr_call(AttrCall::Kind kind, const VCA_IMAGE_S& image, const VCA_RGN_S& region,
                         const void* src) {
    auto pixels = record_pixels ? image_bytes(image) : std::vector<uint8_t>();
    const auto lock = guard();
    attr_calls_.push_back({kind, image, region, src, &image, std::move(pixels)});
}

// Eight bytes, and no more, as the platform header has it.
int Host::judge_staff(const VCA_IMAGE_S& image, void* result) {
    add_attr_call(AttrCall::kStaff, image, {}, nullptr);
    const auto answer = take(staff_answers, staff_answer);
    if (!answer) return -1;
    std::memcpy(result, &*answer, sizeof(StaffAnswer));
    return 0;
}

// Sixteen bytes; the last four have no meaning.
int Host::judge_gender(const VCA_IMAGE_S& image, void* result) {
    add_attr_call(AttrCall::kGender, image, {}, nullptr);
    const auto answer = take(gender_answers, gender_answer);
    if (!answer) return -1;
    const uint32_t filler = 0x5A5A5A5Au;
    std::memcpy(result, &*answer, sizeof(GenderAnswer));
    std::memcpy(static_cast<uint8_t*>(result) + sizeof(GenderAnswer), &filler, sizeof(filler));
    return 0;
}

}  // namespace test

fake::Platform& fake::platform() {
    return test::host();
}
