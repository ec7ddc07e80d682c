// A host that runs the library inside one function call: the analysis task runs on the caller's
// thread, its sleeps are where the fuzzer's script prepares the next frame and sends messages, and
// the clock is the script's. Whatever the library must not do to a host ends the process.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "tests/support/fake_platform.h"
#include "vca/vca.h"

namespace fuzz {

enum class Tracker {
    kEcho,       // every detection is a target that keeps its place in the list
    kNone,       // no targets
    kScripted,   // what `targets` holds
    kRepeatIds,  // all detections under one id
    kSwapIds     // ids change places on every pass
};

// What the host answers on the next passes.
struct Answers {
    VCA_NN_RESULT_S colour{};
    VCA_NN_RESULT_S depth{};
    int colour_status = 0;
    int depth_status = 0;
    Tracker tracker = Tracker::kEcho;
    IOU_TRK_RSLT_S targets{};
    bool images_fail = false;
    bool missing_config = false;
    NN_MODEL_CFG_S model{};
    HUMAN_ATTR_S attributes{};
    bool whole_record = false;  // attribute models write a whole detection result
    int attribute_status = 0;
};

// The next frame set.
struct FrameSet {
    bool has_real = true;
    bool has_depth = true;
    bool has_raw = true;
    bool mapped = true;
    uint32_t flag = 1;
};

class Host : public fake::Platform {
  public:
    Host() : Platform({}) {}

    Answers answers;
    FrameSet frame;
    std::vector<uint16_t> depth_mm;  // the raw depth frame, exactly as large as it is announced
    int64_t clock_us = 0;
    uint32_t switches = 0;           // bit k: debug switch k has its flag file
    bool base_down_at_lock = false;  // the base stage goes down just before the next pass locks
    bool busy = false;               // the library has the busy configuration

    // Both stages up, the busy configuration, one pass after each call of `next`, both stages down.
    // `next` prepares the pass and returns false when there is none left.
    void run(const std::function<bool()>& next);

    // Gives a message to the registered handler, payload as it stands; not while it is
    // unregistered.
    void deliver(int id, const void* payload);

    // Where the library sleeps the next pass is prepared.
    void prepare_pass();

    // The depth frame takes the size the control block gives, one distance everywhere; a size that
    // no camera has leaves it unmapped.
    void renew_depth(uint16_t distance_mm);

    // A head in a depth frame of the usual size; in others nothing.
    void paint(int32_t x, int32_t y, uint16_t distance_mm);

  private:
    void before_lock() override;
    int run_command(const char* command) override;
    int message(int channel, int id, const void* payload, int length) override;
    const NN_MODEL_CFG_S* model_config(NN_MODEL_TYPE_E model) override;
    int detect(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) override;
    int classify(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) override;
    bool refuses_image() override { return answers.images_fail; }
    int crop(const VCA_IMAGE_S& src, const VCA_RGN_S& region, VCA_IMAGE_S& dst) override;
    int save(const VCA_IMAGE_S& image, const char* path) override;
    fake::FrameSet next_set() override;
    void set_lent(const AVS_IVE_ALL_S& set) override;
    IOU_TRK_RSLT_S track(int inst, std::span<const IOU_TRK_OBJ_S> added) override;

    int write_attributes(void* result, const void* answer, size_t bytes) const;
    void check_nothing_held() const;

    std::function<bool()> next_pass_;
    int32_t updates_ = 0;  // of the tracker in this run
    std::vector<uint8_t> sent_;
};

// The one host of the process; starting it also sends standard output away.
Host& host();

// Brings back what the library keeps between two lives of its stages.
void forget_everything();

// Configuration with lines, regions, U-turn areas, exclusions and every switch on.
VCA_ALGO_CFG_S busy_config();

// Bytes of the payload that the handler of a message reads.
size_t payload_bytes(int id);

[[noreturn]] void fail(const char* what, long value = 0);

}  // namespace fuzz
