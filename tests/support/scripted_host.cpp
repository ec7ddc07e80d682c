// Scripting and records of the test host; what it answers to the library is in
// scripted_answers.cpp.
#include "tests/support/scripted_host.h"

#include <algorithm>
#include <chrono>

#include "tests/support/stdout_capture.h"

namespace test {
namespace {

constexpr std::chrono::seconds kPatience(120);

int64_t read_clock(void* ctx) {
    return static_cast<const Host*>(ctx)->clock();
}

NN_MODEL_CFG_S thresholds(float lo, float show) {
    NN_MODEL_CFG_S cfg{};
    cfg.trk_conf_lo = lo;
    cfg.det_show_thresh = show;
    return cfg;
}

}  // namespace

Host::Host() : Platform({.threads = true, .reports_calls = true, .image_memory = true}) {
    model_cfg[kColourModel] = thresholds(0.2f, 0.5f);
    model_cfg[kDepthModel] = thresholds(0.2f, 0.5f);
}

Host& host() {
    static Host* const instance = new Host;
    return *instance;
}

void Host::push_tracker_result(int inst, const IOU_TRK_RSLT_S& result) {
    const auto lock = guard();
    tracker_results_[inst & 1].push_back(result);
}

void Host::set_persons(std::vector<Person> persons) {
    const auto lock = guard();
    persons_ = std::move(persons);
}

void Host::use_clock(int64_t start_us) {
    set_clock(start_us);
    vca_set_time_source(read_clock, this);
}

void Host::set_clock(int64_t us) {
    const auto lock = guard();
    clock_us_ = us;
}

void Host::advance_clock(int64_t us) {
    const auto lock = guard();
    clock_us_ += us;
}

int64_t Host::clock() const {
    const auto lock = guard();
    return clock_us_;
}

void Host::push(std::vector<Frame> frames) {
    const auto lock = guard();
    for (auto& frame : frames)
        frames_.push_back(std::move(frame));
}

bool Host::run(std::vector<Frame> frames) {
    auto lock = guard();
    for (auto& frame : frames)
        frames_.push_back(std::move(frame));
    const int idle_before = idle_reads_;
    // A read that finds the queue empty comes after the last pass has ended completely.
    return changed_.wait_for(lock, kPatience,
                             [&] { return frames_.empty() && idle_reads_ > idle_before; });
}

bool Host::wait_idle_reads(int count) {
    auto lock = guard();
    const int wanted = idle_reads_ + count;
    return changed_.wait_for(lock, kPatience, [&] { return idle_reads_ >= wanted; });
}

bool Host::deliver(int id, const void* payload) {
    if (!mutex_alive()) return deliver_locked(id, payload);
    std::lock_guard guard(*static_cast<std::mutex*>(get_vca_algo_mutex()));
    return deliver_locked(id, payload);
}

std::vector<Call> Host::calls() const {
    const auto lock = guard();
    return calls_;
}

std::vector<std::string> Host::call_texts() const {
    std::vector<std::string> texts;
    for (const auto& call : calls())
        texts.push_back(call.text);
    return texts;
}

std::vector<std::string> Host::call_texts(bool from_task) const {
    std::vector<std::string> texts;
    for (const auto& call : calls()) {
        if (call.on_task == from_task) texts.push_back(call.text);
    }
    return texts;
}

int Host::count_calls(const std::string& prefix) const {
    const auto all = calls();
    return static_cast<int>(std::count_if(
        all.begin(), all.end(), [&](const Call& c) { return c.text.starts_with(prefix); }));
}

std::vector<Message> Host::messages() const {
    const auto lock = guard();
    return messages_;
}

std::vector<Message> Host::messages(int id) const {
    std::vector<Message> found;
    for (auto& message : messages()) {
        if (message.id == id) found.push_back(std::move(message));
    }
    return found;
}

std::vector<std::string> Host::errors() const {
    const auto lock = guard();
    return errors_;
}

std::vector<AttrCall> Host::attr_calls() const {
    const auto lock = guard();
    return attr_calls_;
}

std::vector<SavedImage> Host::saved_images() const {
    const auto lock = guard();
    return saved_;
}

void Host::clear_calls() {
    const auto lock = guard();
    calls_.clear();
    attr_calls_.clear();
    saved_.clear();
}

void Host::clear_messages() {
    const auto lock = guard();
    messages_.clear();
}

int Host::locks() const {
    return static_cast<int>(books().locks);
}

int Host::unlocks() const {
    return static_cast<int>(books().unlocks);
}

int Host::images_created() const {
    return static_cast<int>(books().images_created);
}

int Host::images_destroyed() const {
    return static_cast<int>(books().images_destroyed);
}

int Host::zero_images_destroyed() const {
    return static_cast<int>(books().empty_images_destroyed);
}

std::vector<uint64_t> Host::destroyed_handles() const {
    const auto lock = guard();
    return destroyed_;
}

AVS_IVE_ALL_S Host::last_set() const {
    const auto lock = guard();
    return last_set_;
}

int Host::frames_read() const {
    const auto lock = guard();
    return frames_read_;
}

void Host::called(const std::string& text) {
    if (on_call) on_call(text);
    const size_t pos = captured_bytes();
    const bool from_task = on_task();
    if (from_task && !record_task_calls) return;
    const auto lock = guard();
    calls_.push_back({text, from_task, pos, frames_read_ - 1});
}

void Host::error(const std::string& text) {
    const auto lock = guard();
    errors_.push_back(text);
}

void start_library() {
    vca_base_init();
    vca_algo_init();
}

void start_library(const VCA_ALGO_CFG_S& cfg) {
    start_library();
    host().deliver(VCA_MSG_CONFIG, &cfg);
}

void stop_library() {
    vca_algo_uninit();
    vca_base_uninit();
}

}  // namespace test
