#include "tests/fuzz/fuzz_host.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "tests/support/test_config.h"

namespace {

constexpr uint64_t kDepthPixelsMax = 1u << 19;
constexpr uint16_t kFloorMm = 3000;

fuzz::Host the_host;

int64_t host_clock(void*) {
    return the_host.clock_us;
}

void write_boxes(const VCA_NN_RESULT_S& from, void* to) {
    auto& list = static_cast<VCA_NN_RESULT_S*>(to)->objects;
    list.num = from.objects.num;
    const int32_t num = std::clamp(list.num, 0, VCA_DET_MAX);
    std::copy_n(from.objects.objs, num, list.objs);
    std::copy_n(from.objects.raw_objs, num, list.raw_objs);
}

}  // namespace

fake::Platform& fake::platform() {
    return the_host;
}

void fuzz::fail(const char* what, long value) {
    std::fprintf(stderr, "the library broke its promise: %s %ld\n", what, value);
    std::abort();
}

fuzz::Host& fuzz::host() {
    static const bool started = [] {
        if (std::freopen("/dev/null", "w", stdout) == nullptr) fail("no /dev/null");
        vca_set_time_source(host_clock, nullptr);
        return true;
    }();
    static_cast<void>(started);
    return the_host;
}

void fuzz::Host::run(const std::function<bool()>& next) {
    next_pass_ = next;
    updates_ = 0;
    vca_base_init();
    vca_algo_init();
    renew_depth(kFloorMm);
    if (!busy) {  // nearly every input would begin with it, and it is what costs most
        const auto cfg = busy_config();
        deliver(VCA_MSG_CONFIG, &cfg);
        busy = true;
    }
    prepare_pass();
    run_task();
    next_pass_ = nullptr;
    vca_algo_uninit();
    vca_base_uninit();
    check_nothing_held();
}

void fuzz::Host::prepare_pass() {
    if (!next_pass_) return;
    if (!next_pass_()) vca_get_pCtrl_param()->algo_running = 0;
}

void fuzz::Host::check_nothing_held() const {
    if (images_alive() != 0) fail("images left", static_cast<long>(images_alive()));
    if (blocks_held() != 0) fail("blocks left", static_cast<long>(blocks_held()));
    if (mappings_held() != 0) fail("mappings left", static_cast<long>(mappings_held()));
    if (mutex_locked() || mutex_alive()) fail("mutex left");
    if (!handler_table().empty()) fail("handlers left");
}

void fuzz::Host::deliver(int id, const void* payload) {
    if (id == VCA_MSG_CONFIG) busy = false;
    Platform::deliver(id, payload);
}

void fuzz::Host::renew_depth(uint16_t distance_mm) {
    const VCA_CTRL_S& ctrl = *vca_get_pCtrl_param();
    const VCA_SIZE_S working = ctrl.img_size[VCA_SIZE_DEPTH];
    const uint64_t work_pixels = uint64_t{working.width} * working.height;
    const uint64_t raw_pixels = uint64_t{ctrl.raw_img.width} * ctrl.raw_img.height;
    const uint64_t pixels = std::max(work_pixels, raw_pixels);
    depth_mm.assign(pixels <= kDepthPixelsMax ? pixels : 0, distance_mm);
    depth_mm.shrink_to_fit();  // an access past the frame is one past the allocation
}

void fuzz::Host::paint(int32_t x, int32_t y, uint16_t distance_mm) {
    constexpr int32_t kWidth = 480;
    constexpr int32_t kHeight = 256;
    constexpr int32_t kSide = 22;
    if (depth_mm.size() != kWidth * kHeight) return;
    const int32_t x0 = std::clamp(x, 0, kWidth - kSide);
    const int32_t y0 = std::clamp(y, 0, kHeight - kSide);
    for (int32_t row = y0; row < y0 + kSide; ++row)
        std::fill_n(depth_mm.begin() + row * kWidth + x0, kSide, distance_mm);
}

void fuzz::Host::before_lock() {
    if (!base_down_at_lock) return;
    base_down_at_lock = false;
    vca_base_uninit();
}

int fuzz::Host::run_command(const char* command) {
    if (std::string_view(command).substr(0, 8) != "rm /tmp/") fail("strange command");
    return 0;
}

// Copies the payload, so that every byte of it is looked at.
int fuzz::Host::message(int, int, const void* payload, int length) {
    const auto* bytes = static_cast<const uint8_t*>(payload);
    sent_.assign(bytes, bytes + length);
    return 0;
}

const NN_MODEL_CFG_S* fuzz::Host::model_config(NN_MODEL_TYPE_E) {
    return answers.missing_config ? nullptr : &answers.model;
}

int fuzz::Host::detect(NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
    if (model == fake::kStaffModel) return write_attributes(result, &answers.attributes.staff, 8);
    const bool colour = model == fake::kColourModel;
    write_boxes(colour ? answers.colour : answers.depth, result);
    return colour ? answers.colour_status : answers.depth_status;
}

int fuzz::Host::classify(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) {
    return write_attributes(result, &answers.attributes.gender, 16);
}

int fuzz::Host::write_attributes(void* result, const void* answer, size_t bytes) const {
    if (answers.whole_record) std::memset(result, 0xA5, sizeof(VCA_NN_RESULT_S));
    if (answers.attribute_status == 0) std::memcpy(result, answer, bytes);
    return answers.attribute_status;
}

int fuzz::Host::crop(const VCA_IMAGE_S& src, const VCA_RGN_S&, VCA_IMAGE_S&) {
    return fake::is_picture(src) ? 0 : -1;
}

int fuzz::Host::save(const VCA_IMAGE_S&, const char* path) {
    return std::strlen(path) > 0 ? 0 : -1;
}

fake::FrameSet fuzz::Host::next_set() {
    static const uint8_t picture[16] = {};
    const auto lend = [&](bool present, const void* pixels, size_t bytes) -> fake::Picture {
        if (!present) return {};
        return {true, frame.mapped ? pixels : nullptr, static_cast<uint32_t>(bytes), 0};
    };
    fake::FrameSet set;
    set.real = lend(frame.has_real, picture, sizeof(picture));
    set.depth = lend(frame.has_depth, picture, sizeof(picture));
    set.raw = lend(frame.has_raw, depth_mm.empty() ? nullptr : depth_mm.data(),
                   depth_mm.size() * sizeof(uint16_t));
    set.flag = frame.flag;
    return set;
}

// A whole set without a flag is never given back.
void fuzz::Host::set_lent(const AVS_IVE_ALL_S&) {
    const bool whole = frame.has_real && frame.has_depth && frame.has_raw;
    if (whole && frame.flag == 0) write_off_frames();
}

IOU_TRK_RSLT_S fuzz::Host::track(int, std::span<const IOU_TRK_OBJ_S> added) {
    if (answers.tracker == Tracker::kScripted) return answers.targets;
    if (answers.tracker == Tracker::kNone) return {};
    ++updates_;
    IOU_TRK_RSLT_S result{};
    result.num = static_cast<int32_t>(std::min<size_t>(added.size(), VCA_TRK_MAX));
    for (int32_t i = 0; i < result.num; ++i) {
        IOU_TRK_OBJ_S& target = result.objs[i];
        target = added[static_cast<size_t>(i)];
        target.id = answers.tracker == Tracker::kRepeatIds ? 77
                    : answers.tracker == Tracker::kSwapIds ? (i + updates_) % result.num
                                                           : i + 1;
    }
    return result;
}

void fuzz::forget_everything() {
    Host& h = host();
    h.answers = {};
    h.frame = {};
    h.clock_us = 0;
    h.switches = 0;
    h.base_down_at_lock = false;
    for (int i = 0; i < 2; ++i)  // one call in two looks at the flag files
        avs_log_debug_update_status(reinterpret_cast<LOG_DBG_S*>(vca_get_logs_dbg()),
                                    VCA_LOG_DBG_COUNT);
    dev_set_counting_enable(true);
    dev_set_high_install_enable(false);
    vca_feed_frm_cnt_set(0);
    for (uint32_t slave = 0; slave < VCA_SLAVE_MAX; ++slave) {
        MASTER_MSG_S nobody{};
        nobody.slave_idx = slave;
        dev_cscd_master_recive_slave_track(0, &nobody);
    }
    int32_t off = 0;
    vca_set_draw_exclusion_alive(0, &off);
    vca_heat_map_reset_rslt(0, nullptr);
    // A group waits at most 80 passes.
    for (int pass = 0; pass < 200; ++pass)
        vca_event_counting_refresh_line_result();
    if (!vca_dev_get_counting_groups()->empty()) fail("groups never close");
    if (!vca_dev_get_counting_results()->empty()) fail("results left");
}

VCA_ALGO_CFG_S fuzz::busy_config() {
    auto cfg = test::plain_config();
    test::set_line(cfg, 0, {{20, 272}, {480, 260}, {940, 272}});
    test::set_line(cfg, 1, {{480, 20}, {480, 520}}, true);
    test::set_line(cfg, 2, {{0, 0}, {959, 543}, {0, 543}, {959, 0}, {480, 272}});
    test::set_line(cfg, 3, {{100, 400}, {800, 400}});
    test::set_uturn(cfg, 3, {{100, 300}, {800, 300}, {800, 500}, {100, 500}});
    test::set_exclusion(cfg, 0, 0, {{900, 0}, {959, 0}, {959, 60}});
    test::set_exclusion(cfg, 1, 1, {{0, 0}, {60, 0}, {60, 60}});
    test::set_region(cfg, 0, {{100, 100}, {800, 100}, {800, 500}, {100, 500}});
    test::set_region(cfg, 3, {{0, 0}, {959, 543}, {0, 543}});
    cfg.GroupEn = 1;
    cfg.HtmpEn = 1;
    cfg.GenderRecognize = 1;
    cfg.StaffDetection = 1;
    cfg.ShowDetectBox = 1;
    cfg.ShowHistoryBox = 1;
    return cfg;
}

size_t fuzz::payload_bytes(int id) {
    switch (id) {
        case VCA_MSG_CONFIG:
            return sizeof(VCA_ALGO_CFG_S);
        case VCA_MSG_HEAT_MAP:
            return VCA_HEAT_REQUEST_BYTES;
        case VCA_MSG_SHOW_DETECTION:
        case VCA_MSG_FRAME_COUNT:
            return 4;
        case VCA_MSG_SLAVE_TRACKS:
            return sizeof(MASTER_MSG_S);
        default:
            return 0;
    }
}

extern "C" {

// The library's sleeps are its only pauses, so they are where the world goes on.
int usleep(useconds_t) {
    the_host.prepare_pass();
    return 0;
}

// Flag files of the debug switches exist when the script says so; everything else is as it is.
int access(const char* path, int mode) noexcept {
    const auto* table = reinterpret_cast<const LOG_DBG_S*>(vca_get_logs_dbg());
    for (unsigned i = 0; i < VCA_LOG_DBG_COUNT; ++i)
        if (table[i].path == path) return (the_host.switches >> i & 1) != 0 ? 0 : -1;
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}
}  // extern "C"
