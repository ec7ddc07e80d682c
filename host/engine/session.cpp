// Wiring of pool, bus, models, tracker and clock to the library.
#include "host/engine/session.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "host/inference/models.h"
#include "host/platform/images.h"
#include "host/platform/task.h"
#include "host/tracker/tracker_observer.h"
#include "vca/vca.h"

namespace host {
namespace {

// Enough frames ahead that neither core waits for a slow frame of the other.
constexpr int kPoolSlots = 6;

// The library's clock starts at 2026-01-01 00:00 UTC in every run, so that runs repeat exactly.
constexpr std::int64_t kClockStart_us = 1767225600LL * 1000000;

std::int64_t read_clock(void* ctx) {
    return *static_cast<std::atomic<std::int64_t>*>(ctx);
}

[[noreturn]] void throw_no_thread(const std::string& of) {
    throw std::runtime_error("cannot start the thread of the " + of +
                             "; free some memory or raise the limit of threads");
}

// Tells the answer to our request from one that somebody else asked for.
constexpr std::array<std::uint8_t, VCA_HEAT_REQUEST_BYTES> kHeatRequest{
    'v', 'c', 'a', ' ', 'r', 'u', 'n', ' ', 'h', 'e', 'a', 't', ' ', 'm', 'a', 'p'};

// Factor by which the library enlarges boxes for the tracker.
double tracker_enlargement() {
    return 1.0 + av_calc_val(28, 33, dev_calc_install_height_ratio()) / 100.0;
}

}  // namespace

Session::Session(const SessionSetup& setup, Recorder& recorder)
    : setup_(setup), recorder_(recorder), pool_(kPoolSlots) {
    clock_us_ = kClockStart_us;
    pool_.on_hand_out = [this](std::int64_t number) { begin_pass(number); };
    pool_.on_give_back = [this](std::int64_t number, const FramePlanes& planes) {
        recorder_.end_pass(number, planes);
    };
    const auto on_event = [this](const Event& event) {
        recorder_.add_event(event);
        if (DeviceLink* const link = listener_) link->on_event(event);
        if (std::holds_alternative<ConfigRequest>(event.payload)) {
            bus_->send_to_library(VCA_MSG_CONFIG, &setup_.config, sizeof setup_.config);
        }
        if (const auto* height = std::get_if<InstallHeight>(&event.payload)) {
            install_height_mm_ = height->height_mm;
        }
        if (const auto* heat = std::get_if<HeatMapReported>(&event.payload)) {
            if (heat->request == kHeatRequest) heat_map_ = *heat;
        }
    };
    try {
        bus_ = std::make_unique<Bus>(
            Bus::Hooks{[] { return static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex()); },
                       [this] { return stamp(); }, on_event});
    } catch (const std::system_error&) {
        throw_no_thread("message bus");
    }
    CameraModel camera = setup_.camera;
    camera.height_mm = setup_.config.InstallHeight;
    set_model_settings({camera, &pool_,
                        [this](int, const std::vector<Detection>&, std::int64_t elapsed_ns) {
                            recorder_.add_detection(elapsed_ns);
                        },
                        setup_.attributes});
    set_tracker_observer([this](int inst, const std::vector<IOU_TRK_OBJ_S>& objects,
                                const IOU_TRK_RSLT_S& result, std::chrono::nanoseconds elapsed) {
        recorder_.add_tracking(inst, objects, result, tracker_enlargement(), elapsed);
    });
    set_frame_pool(&pool_);
    set_bus(bus_.get());
    vca_set_time_source(read_clock, &clock_us_);
    const int failed_before = failed_task_starts();
    vca_base_init();
    vca_algo_init();
    if (failed_task_starts() != failed_before) {
        disconnect();
        throw_no_thread("analysis");
    }
    running_ = true;
    bus_->wait_idle();
    if (setup_.link) start_link();
}

FrameStamp Session::stamp() const {
    FrameStamp stamp = recorder_.current_frame();
    stamp.feed_count = vca_feed_frm_cnt_get();
    return stamp;
}

void Session::start_link() {
    LinkSetup setup = *setup_.link;
    setup.frame_in_work = [this] { return recorder_.current_frame().frame_number; };
    try {
        link_ = make_device_link(*bus_, setup);
    } catch (...) {
        shut_down();
        throw;
    }
    listener_ = link_.get();
}

// The library may send until the very end of a pass, after it has given the frame back, so only the
// next pass shows that the messages of a frame are complete.
void Session::begin_pass(std::int64_t number) {
    if (const std::int64_t before = std::exchange(pass_, number); before >= 0) {
        bus_->call([this, before] { recorder_.end_messages(before); });
    }
    recorder_.begin_pass(number);
    clock_us_ =
        kClockStart_us + static_cast<std::int64_t>(recorder_.current_frame().time_s * 1e6 + 0.5);
}

Session::~Session() {
    shut_down();
}

void Session::shut_down() {
    if (!running_) return;
    running_ = false;
    if (link_) link_->stop();
    vca_algo_uninit();
    vca_base_uninit();
    bus_->wait_idle();
    disconnect();
}

// From here on the library's calls reach none of the session's objects.
void Session::disconnect() {
    vca_set_time_source(nullptr, nullptr);
    set_bus(nullptr);
    set_frame_pool(nullptr);
    set_tracker_observer(nullptr);
    set_model_settings({});
}

void Session::close(RunResult& result) {
    shut_down();
    result.loans = pool_.loans();
    result.images_left = live_images();
    result.undelivered_messages = bus_->undelivered();
    result.refused_messages = bus_->refused();
    if (link_) result.link = link_->figures();
}

void Session::request_install_height() {
    bus_->send_to_library(VCA_MSG_INSTALL_HEIGHT, nullptr, 0);
    bus_->wait_idle();
}

void Session::show_detected(bool on) {
    const std::int32_t value = on ? 1 : 0;
    bus_->send_to_library(VCA_MSG_SHOW_DETECTION, &value, sizeof value);
    bus_->wait_idle();
}

std::optional<HeatMapReported> Session::request_heat_map() {
    bus_->send_to_library(VCA_MSG_HEAT_MAP, kHeatRequest.data(), kHeatRequest.size());
    bus_->wait_idle();
    return std::exchange(heat_map_, std::nullopt);
}

std::int64_t Session::feed(const std::function<bool(SourceFrame&)>& next,
                           const std::function<bool()>& stop,
                           const std::function<void(double)>& wait_for) {
    std::int64_t last = -1;
    SourceFrame frame;
    while (!stop()) {
        const int slot = pool_.acquire();
        FramePlanes& planes = pool_.planes(slot);
        // The source fills the slot's own memory, whose size it finds from the last time.
        std::swap(frame.planes, planes);
        const auto start = std::chrono::steady_clock::now();
        const bool more = next(frame);
        const std::chrono::duration<double, std::milli> elapsed =
            std::chrono::steady_clock::now() - start;
        std::swap(frame.planes, planes);
        if (!more) {
            pool_.give_up(slot);
            break;
        }
        FrameRecord record;
        record.number = last = frame.number;
        record.time_s = frame.time_s;
        record.blank = planes.blank;
        record.people = frame.people;
        record.simulation_ms = elapsed.count();
        recorder_.add_frame(std::move(record), frame.crossings);
        if (wait_for) wait_for(frame.time_s);
        pool_.submit(slot, frame.number);
    }
    pool_.wait_drained();
    bus_->wait_idle();
    return last;
}

}  // namespace host
