// Wiring of pool, bus, models, tracker and clock to the library.
#include "host/engine/session.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "host/inference/models.h"
#include "host/platform/images.h"
#include "host/platform/task.h"
#include "host/tracker/tracking.h"
#include "vca/vca.h"

namespace host {

namespace {

// Enough frames ahead that neither core waits for a slow frame of the other.
constexpr int kPoolSlots = 6;

// The first of the tracker's instances: a master tracks twice with every frame, instance 0 what its
// own camera sees and instance 1 the merged people of all devices.
constexpr int kOwnCamera = 0;

std::int64_t read_clock(void* ctx) {
    return *static_cast<std::atomic<std::int64_t>*>(ctx);
}

void queue_decision(void* bus, const VCA_DECISION_S* decision) {
    static_cast<Bus*>(bus)->queue_from_library(kDecisionId, decision, sizeof *decision);
}

double to_ms(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

[[noreturn]] void throw_no_thread(const std::string& of) {
    throw std::runtime_error("cannot start the thread of the " + of +
                             "; free some memory or raise the limit of threads");
}

// Factor by which the library enlarges boxes for the tracker.
double tracker_enlargement() {
    return 1.0 + av_calc_val(28, 33, dev_calc_install_height_ratio()) / 100.0;
}

// The library enlarges boxes about their centre before it hands them to the tracker, with
// w' = trunc(w * factor); this is the smallest w that gives w'.
PixelBox as_detected(const IOU_TRK_OBJ_S& object, double factor) {
    const int w = static_cast<int>(std::ceil(object.w / factor));
    const int h = static_cast<int>(std::ceil(object.h / factor));
    return {object.x + object.w / 2 - w / 2, object.y + object.h / 2 - h / 2, w, h};
}

}  // namespace

Session::Session(const SessionSetup& setup, std::vector<Sink*> sinks)
    : setup_(setup),
      config_(setup_.config),
      late_counts_(config_, setup_.late_counts),
      closed_lines_(config_),
      pool_(kPoolSlots),
      sinks_(std::move(sinks)),
      clock_us_(kSceneStart_us) {
    try {
        bus_.reset(new Bus(*this));  // as its client, which nobody else can see
    } catch (const std::system_error&) {
        throw_no_thread("message bus");
    }
    CameraModel camera = setup_.camera;
    camera.height_mm = config_.InstallHeight;
    set_model_settings({camera, &pool_, setup_.attributes});
    set_pass_observer(this);
    set_frame_pool(&pool_);
    set_bus(bus_.get());
    if (setup_.clock == ClockKind::kScene) vca_set_time_source(read_clock, &clock_us_);
    vca_set_decision_observer(queue_decision, bus_.get());
    start_library();
}

void Session::start_library() {
    const int failed_before = failed_task_starts();
    vca_base_init();
    vca_algo_init();
    if (failed_task_starts() != failed_before) {
        disconnect();
        throw_no_thread("analysis");
    }
    running_ = true;
    bus_->wait_idle();
    if (setup_.sensor == Sensor::kExact) correction_mm_ = dev_obj_height_compen_by_install();
}

Session::~Session() {
    shut_down();
}

void Session::shut_down() {
    if (!running_) return;
    running_ = false;
    vca_algo_uninit();
    vca_base_uninit();
    bus_->wait_idle();
    disconnect();
}

// From here on the library's calls reach none of the session's objects.
void Session::disconnect() {
    vca_set_time_source(nullptr, nullptr);
    vca_set_decision_observer(nullptr, nullptr);
    set_bus(nullptr);
    set_frame_pool(nullptr);
    set_pass_observer(nullptr);
    set_model_settings({});
}

LeftOver Session::close() {
    shut_down();
    close_report();
    bus_->wait_idle();
    for (Sink* const sink : sinks_) {
        try {
            sink->finish();
        } catch (...) {
            fail(std::current_exception());
        }
    }
    if (error_) std::rethrow_exception(error_);
    return {pool_.loans(), live_images(), bus_->undelivered(), bus_->refused(), left_out_frames_};
}

// ---- Frames on their way into the analysis ----

std::int64_t Session::feed(FrameFeed& frames, Pace* pace) {
    std::int64_t last = -1;
    SourceFrame frame;
    while (!broken_) {
        const int slot = pool_.acquire();
        FramePlanes& planes = pool_.planes(slot);
        // The source fills the slot's own memory, which keeps its size from the last time.
        std::swap(frame.planes, planes);
        const auto start = std::chrono::steady_clock::now();
        const bool more = frames.next(frame);
        const auto elapsed = std::chrono::steady_clock::now() - start;
        std::swap(frame.planes, planes);
        if (!more) {
            pool_.give_up(slot);
            break;
        }
        prepare_depth(planes);
        last = frame.number;
        if (pace != nullptr) pace->wait_for(frame.time_s);
        {
            const std::lock_guard lock(mutex_);
            waiting_[last] = {frame.time_s, frame.utc_us,    planes.blank,
                              frame.people, frame.crossings, to_ms(elapsed)};
        }
        submit(slot, last);
    }
    pool_.wait_drained();
    bus_->wait_idle();
    return last;
}

void Session::prepare_depth(FramePlanes& planes) const {
    suit_library(planes.raw_mm, config_.InstallHeight, correction_mm_, planes.lent_mm);
}

void Session::submit(int slot, std::int64_t number) {
    const bool blank = pool_.planes(slot).blank;  // those that end a scene are not left out
    if (setup_.frames == FramePolicy::kEvery || blank) {
        pool_.submit(slot, number);
    } else if (const auto left_out = pool_.submit_newest(slot, number)) {
        const std::lock_guard lock(mutex_);
        waiting_.erase(*left_out);
        ++left_out_frames_;
    }
}

void Session::tell_input(const InputNotice& notice) {
    const FrameStamp now = stamp();
    Event event{kInputId, now.frame_number, now.time_s, {}, now.feed_count, now.utc_us, now.blank};
    std::visit([&event](const auto& what) { event.payload = what; }, notice);
    bus_->call([this, event = std::move(event)] { on_event(event); });
}

// ---- A pass, on the thread of the analysis ----

Session::Notes Session::take_notes(std::int64_t number) {
    const std::lock_guard lock(mutex_);
    auto found = waiting_.extract(number);
    Notes notes = found.empty() ? Notes{} : std::move(found.mapped());
    stamp_ = {number, notes.time_s, 0, notes.utc_us, notes.blank};
    return notes;
}

void Session::begin_pass(std::int64_t frame_number) {
    close_report();
    Notes notes = take_notes(frame_number);
    report_ = {};
    report_.number = frame_number;
    report_.time_s = notes.time_s;
    report_.blank = notes.blank;
    report_.source_ms = notes.source_ms;
    report_open_ = true;
    set_tracking_time(notes.time_s);
    clock_us_ = kSceneStart_us + static_cast<std::int64_t>(notes.time_s * 1e6 + 0.5);
    pool_.hold(frame_number);
    bus_->call([this, frame_number, notes = std::move(notes)] { tell_frame(frame_number, notes); });
    pass_start_ = std::chrono::steady_clock::now();
}

void Session::detected(std::chrono::nanoseconds elapsed) {
    report_.detection_ms += to_ms(elapsed);
}

// Detections and tracks are those of the device's own camera on every device; the time is that of
// both instances.
void Session::tracked(int instance, const std::vector<IOU_TRK_OBJ_S>& objects,
                      const IOU_TRK_RSLT_S& result, std::chrono::nanoseconds elapsed) {
    report_.tracker_ms += to_ms(elapsed);
    if (instance != kOwnCamera) return;
    expect_heads(expected_heads());
    const double enlarged = tracker_enlargement();
    std::map<int, PixelBox> box_of_index;
    for (const IOU_TRK_OBJ_S& object : objects) {
        const PixelBox box = as_detected(object, enlarged);
        box_of_index[object.det_idx] = box;
        if (object.score >= kScoreSure) report_.detections.push_back(box);
    }
    for (int i = 0; i < result.num; ++i) {
        const IOU_TRK_OBJ_S& target = result.objs[i];
        const auto box = box_of_index.find(target.det_idx);
        if (box != box_of_index.end()) report_.tracks.push_back({target.id, box->second});
    }
}

void Session::end_pass(std::int64_t) {
    report_.pass_ms = to_ms(std::chrono::steady_clock::now() - pass_start_);
}

// The library may send until the very end of a pass, after it has given the frame back, so only the
// next pass shows that the messages of a frame are complete.
void Session::close_report() {
    if (!std::exchange(report_open_, false)) return;
    bus_->call([this, report = std::move(report_)] {
        tell([&report](Sink& sink) { sink.end_frame(report); });
    });
}

FrameStamp Session::stamp() {
    FrameStamp stamp;
    {
        const std::lock_guard lock(mutex_);
        stamp = stamp_;
    }
    stamp.feed_count = vca_feed_frm_cnt_get();
    return stamp;
}

std::int64_t Session::frame_in_work() const {
    const std::lock_guard lock(mutex_);
    return stamp_.frame_number;
}

TQ_MUTEX_S* Session::handler_mutex() {
    pool_.wake_library();
    return static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
}

// ---- What sinks hear, on the bus thread ----

void Session::tell_frame(std::int64_t number, const Notes& notes) {
    const FrameView view{number,       notes.time_s,    pool_.held(number),
                         notes.people, notes.crossings, notes.source_ms};
    tell([&view](Sink& sink) { sink.on_frame(view); });
    pool_.let_go(number);
}

void Session::on_event(Event event) {
    late_counts_.check(event);
    if (setup_.late_counts == LateCounts::kDrop) closed_lines_.check(event);
    tell([&event](Sink& sink) { sink.on_event(event); });
    if (std::holds_alternative<ConfigRequest>(event.payload)) {
        bus_->send_to_library(VCA_MSG_CONFIG, &config_, sizeof config_);
    }
    if (const auto* height = std::get_if<InstallHeight>(&event.payload)) {
        install_height_mm_ = height->height_mm;
    }
}

void Session::tell(const std::function<void(Sink&)>& call) {
    for (Sink* const sink : sinks_) {
        try {
            call(*sink);
        } catch (...) {
            fail(std::current_exception());
            failed_.push_back(sink);
        }
    }
    for (Sink* const sink : failed_)
        std::erase(sinks_, sink);
    failed_.clear();
}

void Session::fail(const std::exception_ptr& error) {
    if (!error_) error_ = error;
    broken_ = true;
}

void Session::add_sink(Sink& sink) {
    bus_->call([this, &sink] { sinks_.push_back(&sink); });
    bus_->wait_idle();
}

void Session::remove_sink(Sink& sink) {
    bus_->call([this, &sink] { std::erase(sinks_, &sink); });
    bus_->wait_idle();
}

// ---- Changes between two frames ----

// The pool is empty before the pass is through, and its last messages are sent before it gives up
// the mutex.
void Session::finish_frames() {
    pool_.wait_drained();
    TQ_MUTEX_S* const mutex = handler_mutex();
    tq_mutex_lock(mutex);
    tq_mutex_unlock(mutex);
    close_report();
    bus_->wait_idle();
}

void Session::configure(const VCA_ALGO_CFG_S& config) {
    config_ = config;
    closed_lines_.change();
    bus_->send_to_library(VCA_MSG_CONFIG, &config_, sizeof config_);
    bus_->wait_idle();
}

// ---- Questions to the library ----

void Session::request_install_height() {
    bus_->send_to_library(VCA_MSG_INSTALL_HEIGHT, nullptr, 0);
    bus_->wait_idle();
}

void Session::show_detected(bool on) {
    const std::int32_t value = on ? 1 : 0;
    bus_->send_to_library(VCA_MSG_SHOW_DETECTION, &value, sizeof value);
    bus_->wait_idle();
}

void Session::request_heat_map() {
    bus_->send_to_library(VCA_MSG_HEAT_MAP, kHeatRequest.data(), kHeatRequest.size());
    bus_->wait_idle();
}

}  // namespace host
