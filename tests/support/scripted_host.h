// A host for tests: records every call the library makes, keeps every message whole, and plays
// scripted frames, detections and tracker output. One instance per process, test::host(). Scripts
// are set before the library starts, between run() calls through the setters, or in the hooks.
#ifndef TESTS_SUPPORT_SCRIPTED_HOST_H
#define TESTS_SUPPORT_SCRIPTED_HOST_H

#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fake_platform.h"
#include "vca/vca.h"

namespace test {

using fake::kAttrModel;
using fake::kColourModel;
using fake::kDepthModel;
using fake::kRawHeight;
using fake::kRawWidth;
using fake::kStaffModel;

// One call of the library into its host, as text: "name" or "name(arguments)". The control block
// is written "ctrl", the algorithm mutex "algo"; other pointers "other".
struct Call {
    std::string text;
    bool on_task = false;   // made by the analysis task
    size_t stdout_pos = 0;  // bytes captured from standard output before the call
    int frame = -1;         // scripted frame in progress, -1 before the first
};

struct Message {
    int channel = 0;
    int id = 0;
    std::vector<uint8_t> bytes;
    int frame = -1;
    bool on_task = false;

    // The payload as a record; only for a payload of exactly that size.
    template <class T>
    T as() const {
        T record{};
        if (bytes.size() == sizeof(T)) std::memcpy(&record, bytes.data(), sizeof(T));
        return record;
    }
};

// A scripted detection. `id` is what the built-in tracker answers for it.
struct Person {
    int id = 1;
    int x = 0, y = 0, w = 80, h = 80;
    uint8_t class_id = VCA_CLASS_PERSON;
    float score = 0.9f;
};

// What the attribute classifier and the staff detector answer.
struct GenderAnswer {
    int32_t gender = VCA_GENDER_UNKNOWN;
    float prob_male = 0, prob_female = 0;
};
struct StaffAnswer {
    int32_t staff = 0;
    float score = 0;
};

// One step of the attribute stage: a crop, or a run of one of its two models.
struct AttrCall {
    enum Kind { kCrop, kGender, kStaff } kind = kCrop;
    VCA_IMAGE_S image{};          // the crop, or the judged image, as it was then
    VCA_RGN_S rgn{};              // crops only
    const void* src = nullptr;    // crops only
    const void* dst = nullptr;    // the image record handed over
    std::vector<uint8_t> pixels;  // of an image of this host, with Host::record_pixels
};

// An image the library has saved.
struct SavedImage {
    const VCA_IMAGE_S* image;
    VCA_IMAGE_S record;  // as it was then
    std::string path;
};

// One scripted frame set.
struct Frame {
    std::vector<Person> colour;                              // detections of the colour model
    std::vector<Person> depth;                               // detections of the depth model
    bool has_real = true, has_depth = true, has_raw = true;  // missing frames have no block
    bool mapped = true;                                      // false: blocks without an address
    bool real_mapped = true, depth_mapped = true, raw_mapped = true;  // with mapped
    bool map_without_block = false;  // missing frames have an address nevertheless
    uint32_t flag = 1;               // trailing word of the set
    std::vector<uint16_t> raw;       // raw depth; empty: every pixel Host::floor_mm
    std::function<void()> on_read;   // runs on the analysis task, inside avs_read_all_ive
};

using Bytes = std::vector<uint8_t>;

class Host : public fake::Platform {
  public:
    Host();

    // ---- Script; set it while the analysis task is not running, or in a hook ----
    uint16_t floor_mm = 3000;
    std::map<NN_MODEL_TYPE_E, NN_MODEL_CFG_S> model_cfg;  // absent: null
    // The attribute models' answers, first in first out, and what follows them; without an answer
    // the call fails and writes nothing.
    std::deque<GenderAnswer> gender_answers;
    std::deque<StaffAnswer> staff_answers;
    std::optional<GenderAnswer> gender_answer;
    std::optional<StaffAnswer> staff_answer;
    std::function<int(const std::string& command)> on_system;
    // Whether a model fails: the call returns -1 and the script writes nothing.
    std::function<bool(NN_MODEL_TYPE_E)> model_fails;
    // Called after the scripted result was written; may overwrite it.
    std::function<void(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void*)> on_detection;
    std::function<void(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void*)> on_classification;
    // Takes the place of the built-in tracker when set.
    std::function<IOU_TRK_RSLT_S(int inst, const std::vector<IOU_TRK_OBJ_S>& added)> on_update;
    std::function<bool(int nth)> image_fails;  // whether the nth vca_create_image (from 0) fails
    std::function<bool(int id)> send_fails;    // whether a message is lost on its way
    bool crop_fails = false;                   // vca_image_crop_letter returns -1
    std::function<void()> on_idle_read;        // avs_read_all_ive with no scripted frame left
    std::function<void(const std::string& call)> on_call;  // every call, before it takes effect
    bool record_task_calls = true;
    bool record_pixels = false;
    int64_t clock_step_us = 0;  // added to the clock with every scripted frame set

    // Tracker results played before anything else, first in first out, per instance.
    void push_tracker_result(int inst, const IOU_TRK_RSLT_S& result);
    // Ids that the built-in tracker answers outside a frame: nearest person by box centre.
    void set_persons(std::vector<Person> persons);

    // ---- Clock ----
    void use_clock(int64_t start_us);  // installs this host's clock
    void set_clock(int64_t us);
    void advance_clock(int64_t us);
    int64_t clock() const;

    // ---- Running ----
    // Hands the frames to the running analysis task and waits until every pass has ended; false
    // after two minutes.
    bool run(std::vector<Frame> frames);
    // The same without waiting; also before the library starts.
    void push(std::vector<Frame> frames);
    // Waits until the task has asked for `count` more frame sets that were not scripted.
    bool wait_idle_reads(int count);
    // Gives a message to the handler registered for `id`, under the algorithm mutex as the
    // reference host does; false when none is registered.
    bool deliver(int id, const void* payload);
    // The same without the mutex, for hooks that already run under it.
    bool deliver_locked(int id, const void* payload) { return Platform::deliver(id, payload); }

    // ---- What was seen; copies, safe at any time ----
    std::vector<Call> calls() const;
    std::vector<std::string> call_texts() const;
    std::vector<std::string> call_texts(bool on_task) const;
    int count_calls(const std::string& prefix) const;
    std::vector<Message> messages() const;
    std::vector<Message> messages(int id) const;
    std::vector<std::string> errors() const;  // misuse of the host seen so far
    void clear_calls();
    void clear_messages();
    int locks() const;
    int unlocks() const;
    int images_created() const;
    int images_destroyed() const;  // real ones, not all-zero records
    int zero_images_destroyed() const;
    std::vector<uint64_t> destroyed_handles() const;
    std::vector<AttrCall> attr_calls() const;
    std::vector<SavedImage> saved_images() const;
    AVS_IVE_ALL_S last_set() const;  // the set handed out last
    int frames_read() const;         // scripted frame sets handed out

    // Adds a misuse of the host to errors().
    void error(const std::string& text);

  private:
    // ---- What the platform asks for ----
    void called(const std::string& text) override;
    void misuse(const std::string& what) override { error(what); }
    int run_command(const char* command) override;
    int message(int channel, int id, const void* payload, int length) override;
    const NN_MODEL_CFG_S* model_config(NN_MODEL_TYPE_E model) override;
    int detect(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) override;
    int classify(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) override;
    bool refuses_image() override;
    void image_destroyed(uint64_t handle) override;
    int crop(const VCA_IMAGE_S& src, const VCA_RGN_S& region, VCA_IMAGE_S& dst) override;
    int save(const VCA_IMAGE_S& image, const char* path) override;
    fake::FrameSet next_set() override;
    void set_lent(const AVS_IVE_ALL_S& set) override;
    IOU_TRK_RSLT_S track(int inst, std::span<const IOU_TRK_OBJ_S> added) override;

    fake::FrameSet current_set();
    std::vector<Person> detections(NN_MODEL_TYPE_E model) const;
    std::vector<Person> persons() const;
    void add_attr_call(AttrCall::Kind kind, const VCA_IMAGE_S& image, const VCA_RGN_S& region,
                       const void* src);
    int judge_staff(const VCA_IMAGE_S& image, void* result);
    int judge_gender(const VCA_IMAGE_S& image, void* result);

    std::condition_variable changed_;
    std::vector<Call> calls_;
    std::vector<Message> messages_;
    std::vector<std::string> errors_;
    std::vector<AttrCall> attr_calls_;
    std::vector<SavedImage> saved_;
    std::deque<Frame> frames_;
    std::optional<Frame> current_;
    std::vector<Person> persons_;
    AVS_IVE_ALL_S last_set_{};
    std::vector<uint16_t> raw_pixels_;
    std::vector<uint8_t> image_pixels_ = std::vector<uint8_t>(64);
    std::deque<IOU_TRK_RSLT_S> tracker_results_[2];
    std::vector<uint64_t> destroyed_;
    int images_tried_ = 0;
    int frames_read_ = 0, idle_reads_ = 0;
    int64_t clock_us_ = 0;
};

Host& host();

// Both stages up, with the configuration if one is given; and both down again.
void start_library();
void start_library(const VCA_ALGO_CFG_S& cfg);
void stop_library();

}  // namespace test

#endif
