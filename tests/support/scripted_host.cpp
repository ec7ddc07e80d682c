// Records and scripting of the test host; the functions the library calls are in
// scripted_platform.cpp.
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

Host& host() {
    static Host* instance = [] {
        auto* h = new Host;
        h->model_cfg[kColourModel] = thresholds(0.2f, 0.5f);
        h->model_cfg[kDepthModel] = thresholds(0.2f, 0.5f);
        return h;
    }();
    return *instance;
}

void Host::push_tracker_result(int inst, const IOU_TRK_RSLT_S& result) {
    std::lock_guard lock(mutex_);
    tracker_results_[inst & 1].push_back(result);
}

void Host::set_persons(std::vector<Person> persons) {
    std::lock_guard lock(mutex_);
    persons_ = std::move(persons);
}

void Host::use_clock(int64_t start_us) {
    set_clock(start_us);
    vca_set_time_source(read_clock, this);
}

void Host::set_clock(int64_t us) {
    std::lock_guard lock(mutex_);
    clock_us_ = us;
}

void Host::advance_clock(int64_t us) {
    std::lock_guard lock(mutex_);
    clock_us_ += us;
}

int64_t Host::clock() const {
    std::lock_guard lock(mutex_);
    return clock_us_;
}

void Host::push(std::vector<Frame> frames) {
    std::lock_guard lock(mutex_);
    for (auto& frame : frames)
        frames_.push_back(std::move(frame));
}

bool Host::run(std::vector<Frame> frames) {
    std::unique_lock lock(mutex_);
    for (auto& frame : frames)
        frames_.push_back(std::move(frame));
    const int idle_before = idle_reads_;
    // A read that finds the queue empty comes after the last pass has ended completely.
    return changed_.wait_for(lock, kPatience,
                             [&] { return frames_.empty() && idle_reads_ > idle_before; });
}

bool Host::wait_idle_reads(int count) {
    std::unique_lock lock(mutex_);
    const int wanted = idle_reads_ + count;
    return changed_.wait_for(lock, kPatience, [&] { return idle_reads_ >= wanted; });
}

bool Host::deliver(int id, const void* payload) {
    auto* algo = static_cast<std::mutex*>(get_vca_algo_mutex());
    bool live = false;
    {
        std::lock_guard lock(mutex_);
        live = mutex_live_;
    }
    if (!live) return deliver_locked(id, payload);
    std::lock_guard guard(*algo);
    return deliver_locked(id, payload);
}

bool Host::deliver_locked(int id, const void* payload) {
    void (*handler)(int, void*) = nullptr;
    {
        std::lock_guard lock(mutex_);
        for (int i = 0; i < table_count_; ++i) {
            if (table_[i].id == id) handler = table_[i].handler;
        }
    }
    if (handler == nullptr) return false;
    handler(0, const_cast<void*>(payload));
    return true;
}

std::vector<Call> Host::calls() const {
    std::lock_guard lock(mutex_);
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
    std::lock_guard lock(mutex_);
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
    std::lock_guard lock(mutex_);
    return errors_;
}

std::vector<AttrCall> Host::attr_calls() const {
    std::lock_guard lock(mutex_);
    return attr_calls_;
}

std::vector<SavedImage> Host::saved_images() const {
    std::lock_guard lock(mutex_);
    return saved_;
}

void Host::clear_calls() {
    std::lock_guard lock(mutex_);
    calls_.clear();
    attr_calls_.clear();
    saved_.clear();
}

void Host::clear_messages() {
    std::lock_guard lock(mutex_);
    messages_.clear();
}

std::vector<SOCK_REQUEST_S> Host::handler_table() const {
    std::lock_guard lock(mutex_);
    return {table_, table_ + table_count_};
}

std::vector<IOU_TRK_OBJ_S> Host::added_objects(int inst) const {
    std::lock_guard lock(mutex_);
    return added_[inst & 1];
}

int Host::locks() const {
    std::lock_guard lock(mutex_);
    return locks_;
}

int Host::unlocks() const {
    std::lock_guard lock(mutex_);
    return unlocks_;
}

int Host::images_created() const {
    std::lock_guard lock(mutex_);
    return images_created_;
}

int Host::images_destroyed() const {
    std::lock_guard lock(mutex_);
    return images_destroyed_;
}

int Host::zero_images_destroyed() const {
    std::lock_guard lock(mutex_);
    return zero_images_;
}

std::vector<uint64_t> Host::destroyed_handles() const {
    std::lock_guard lock(mutex_);
    return destroyed_;
}

size_t Host::images_alive() const {
    std::lock_guard lock(mutex_);
    return images_.size();
}

size_t Host::blocks_held() const {
    std::lock_guard lock(mutex_);
    return blocks_.size();
}

size_t Host::mappings_held() const {
    std::lock_guard lock(mutex_);
    return mappings_.size();
}

AVS_IVE_ALL_S Host::last_set() const {
    std::lock_guard lock(mutex_);
    return last_set_;
}

int Host::frames_read() const {
    std::lock_guard lock(mutex_);
    return frames_read_;
}

bool Host::on_task() const {
    std::lock_guard lock(mutex_);
    return std::this_thread::get_id() == task_id_;
}

void Host::record(const std::string& text) {
    if (on_call) on_call(text);
    const size_t pos = captured_bytes();
    std::lock_guard lock(mutex_);
    const bool from_task = std::this_thread::get_id() == task_id_;
    if (from_task && !record_task_calls) return;
    calls_.push_back({text, from_task, pos, frames_read_ - 1});
}

void Host::error(const std::string& text) {
    std::lock_guard lock(mutex_);
    errors_.push_back(text);
}

std::string describe(const void* pointer) {
    if (pointer == vca_get_pCtrl_param()) return "ctrl";
    return pointer == get_vca_algo_mutex() ? "algo" : "other";
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
