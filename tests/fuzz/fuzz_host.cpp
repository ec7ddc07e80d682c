#include "tests/fuzz/fuzz_host.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "tests/support/test_config.h"

namespace {

constexpr NN_MODEL_TYPE_E kColourModel = 101;
constexpr NN_MODEL_TYPE_E kDepthModel = 102;
constexpr NN_MODEL_TYPE_E kAttrModel = 103;
constexpr NN_MODEL_TYPE_E kStaffModel = 104;
constexpr uint64_t kDepthPixelsMax = 1u << 19;
constexpr uint16_t kFloorMm = 3000;

// What the library holds of the host.
struct Held {
    const SOCK_REQUEST_S* table = nullptr;
    int table_num = 0;
    void* (*task)(void*) = nullptr;
    void* task_arg = nullptr;
    bool mutex_live = false;
    bool locked = false;
    std::set<uint64_t> images;
    int blocks = 0;
    int mappings = 0;
};

Held held;
fuzz::Host the_host;
std::function<bool()> next_pass;
uint64_t next_image = 1;
uint32_t next_block = 1;
IOU_TRK_RSLT_S added[2];
uint32_t updates = 0;

int64_t host_clock(void*) {
    return the_host.clock_us;
}

void prepare_pass() {
    if (!next_pass) return;
    if (!next_pass()) vca_get_pCtrl_param()->algo_running = 0;
}

void check_nothing_held() {
    if (!held.images.empty()) fuzz::fail("images left", static_cast<long>(held.images.size()));
    if (held.blocks != 0) fuzz::fail("blocks left", held.blocks);
    if (held.mappings != 0) fuzz::fail("mappings left", held.mappings);
    if (held.locked || held.mutex_live) fuzz::fail("mutex left");
    if (held.table != nullptr) fuzz::fail("handlers left");
}

// The size of an outgoing message and how many entries its list may have; -1: no such message.
struct Shape {
    int bytes = -1;
    size_t num_offset = 0;
    int32_t num_max = 0;
};

Shape shape_of(int id) {
    switch (id) {
        case VCA_MSG_LINE_COUNT:
            return {sizeof(LINE_COUNT_MSG_S)};
        case VCA_MSG_TRACKS:
        case VCA_MSG_DETECTED_TRACKS:
            return {sizeof(SHOW_MSG_S), offsetof(SHOW_MSG_S, num), VCA_SHOW_MAX};
        case VCA_MSG_REGIONS:
            return {sizeof(RGN_MSG_S), offsetof(RGN_MSG_S, num), VCA_RGN_PERSON_MAX};
        case VCA_MSG_INSTALL_HEIGHT:
        case VCA_MSG_FRAME_COUNT:
            return {4};
        case VCA_MSG_CONFIG:
            return {VCA_CONFIG_REQUEST_BYTES};
        case VCA_MSG_GROUP_COUNT:
            return {sizeof(GROUP_COUNT_MSG_S)};
        case VCA_MSG_HEAT_MAP:
            return {sizeof(HEAT_MAP_MSG_S)};
        case VCA_MSG_SLAVE_TRACKS:
            return {sizeof(SLAVE_MSG_S), offsetof(SLAVE_MSG_S, count), VCA_SLAVE_TRACK_MAX};
        case VCA_MSG_DETECTIONS:
            return {sizeof(DET_SHOW_MSG_S), offsetof(DET_SHOW_MSG_S, merge_num), VCA_DET_SHOW_MAX};
        case VCA_MSG_TRACK_BORN:
        case VCA_MSG_TRACK_REMOVED:
            return {sizeof(TRK_SHOW_MSG_S)};
        default:
            return {};
    }
}

AVS_IVE_FRAME_S make_frame(bool present, bool mapped, void* pixels, size_t bytes) {
    AVS_IVE_FRAME_S frame{};
    frame.vb_blk = VCA_VB_NONE;
    if (!present) return frame;
    frame.vb_blk = next_block++;
    ++held.blocks;
    if (!mapped || pixels == nullptr) return frame;
    frame.vir_addr = reinterpret_cast<uint64_t>(pixels);
    frame.map_size = static_cast<uint32_t>(bytes);
    ++held.mappings;
    return frame;
}

void write_boxes(const VCA_NN_RESULT_S& from, void* to) {
    auto& list = static_cast<VCA_NN_RESULT_S*>(to)->objects;
    list.num = from.objects.num;
    const int32_t num = std::clamp(list.num, 0, VCA_DET_MAX);
    std::copy_n(from.objects.objs, num, list.objs);
    std::copy_n(from.objects.raw_objs, num, list.raw_objs);
}

int write_attributes(void* result, const void* answer, size_t bytes) {
    if (the_host.answers.whole_record) std::memset(result, 0xA5, sizeof(VCA_NN_RESULT_S));
    if (the_host.answers.attribute_status == 0) std::memcpy(result, answer, bytes);
    return the_host.answers.attribute_status;
}

}  // namespace

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
    next_pass = next;
    updates = 0;
    vca_base_init();
    vca_algo_init();
    renew_depth(kFloorMm);
    if (!busy) {  // nearly every input would begin with it, and it is what costs most
        auto cfg = busy_config();
        deliver(VCA_MSG_CONFIG, &cfg);
        busy = true;
    }
    prepare_pass();
    held.task(held.task_arg);
    next_pass = nullptr;
    vca_algo_uninit();
    vca_base_uninit();
    check_nothing_held();
}

void fuzz::Host::deliver(int id, void* payload) {
    if (id == VCA_MSG_CONFIG) busy = false;
    for (int i = 0; i < held.table_num; ++i)
        if (held.table[i].id == id) held.table[i].handler(0, payload);
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
    prepare_pass();
    return 0;
}

// Flag files of the debug switches exist when the script says so; everything else is as it is.
int access(const char* path, int mode) noexcept {
    const auto* table = reinterpret_cast<const LOG_DBG_S*>(vca_get_logs_dbg());
    for (unsigned i = 0; i < VCA_LOG_DBG_COUNT; ++i)
        if (table[i].path == path) return (the_host.switches >> i & 1) != 0 ? 0 : -1;
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

int tq_mutex_init(TQ_MUTEX_S*) {
    if (held.mutex_live) fuzz::fail("mutex set up twice");
    held.mutex_live = true;
    return 0;
}
int tq_mutex_lock(TQ_MUTEX_S*) {
    if (the_host.base_down_at_lock) {
        the_host.base_down_at_lock = false;
        vca_base_uninit();
    }
    if (!held.mutex_live || held.locked) fuzz::fail("mutex locked twice");
    held.locked = true;
    return 0;
}
int tq_mutex_unlock(TQ_MUTEX_S*) {
    if (!held.locked) fuzz::fail("mutex unlocked twice");
    held.locked = false;
    return 0;
}
int tq_mutex_uninit(TQ_MUTEX_S*) {
    if (!held.mutex_live || held.locked) fuzz::fail("mutex in use torn down");
    held.mutex_live = false;
    return 0;
}
int tq_task_create_join(TQ_TASK_S*, void* (*entry)(void*), void* arg) {
    held.task = entry;
    held.task_arg = arg;
    return 0;
}
int tq_task_join(TQ_TASK_S*) {
    return 0;
}
int tq_task_set_name(const char*) {
    return 0;
}
int tq_system(const char* command) {
    if (std::string_view(command).substr(0, 8) != "rm /tmp/") fuzz::fail("strange command");
    return 0;
}

int sock_request_register(const SOCK_REQUEST_S* table, int count) {
    held.table = table;
    held.table_num = count;
    return 0;
}
int sock_request_unregister(const SOCK_REQUEST_S*, int) {
    held.table = nullptr;
    held.table_num = 0;
    return 0;
}
int tq_sock_send_msg(int channel, int id, void* payload, int length) {
    static std::vector<uint8_t> copy;
    const Shape shape = shape_of(id);
    if (channel != VCA_CHANNEL || length != shape.bytes) fuzz::fail("message of wrong shape", id);
    const auto* bytes = static_cast<const uint8_t*>(payload);
    copy.assign(bytes, bytes + length);
    int32_t num = 0;
    if (shape.num_offset > 0) std::memcpy(&num, copy.data() + shape.num_offset, sizeof(num));
    if (num < 0 || num > shape.num_max) fuzz::fail("list of wrong length", num);
    return 0;
}

int vca_mem_init(VCA_CTRL_S* ctrl) {
    ctrl->real_img = {VCA_IMAGE_NV12, 960, 544, 960, 0, 0, 0, 0};
    ctrl->depth_img = {VCA_IMAGE_GRAY8, 480, 256, 480, 0, 0, 0, 0};
    ctrl->raw_img = {VCA_IMAGE_U16, 480, 256, 960, 0, 0, 0, 0};
    return 0;
}
int vca_mem_uninit(VCA_CTRL_S*) {
    return 0;
}
int vca_cvai_init(VCA_CTRL_S* ctrl) {
    ctrl->real_model = kColourModel;
    ctrl->depth_model = kDepthModel;
    ctrl->attr_model = kAttrModel;
    ctrl->staff_model = kStaffModel;
    return 0;
}
int vca_cvai_uninit(VCA_CTRL_S*) {
    return 0;
}
int avs_set_conf_thr(int) {
    return 0;
}
const NN_MODEL_CFG_S* vca_nn_get_pModel_cfg(NN_MODEL_TYPE_E) {
    return the_host.answers.missing_config ? nullptr : &the_host.answers.model;
}

int vca_nn_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
    const fuzz::Answers& answers = the_host.answers;
    if (model == kStaffModel) return write_attributes(result, &answers.attributes.staff, 8);
    const bool colour = model == kColourModel;
    write_boxes(colour ? answers.colour : answers.depth, result);
    return colour ? answers.colour_status : answers.depth_status;
}
int vca_nn_classification(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) {
    return write_attributes(result, &the_host.answers.attributes.gender, 16);
}

int vca_create_image(VCA_IMAGE_S* img, int type, int width, int height) {
    *img = {};
    if (the_host.answers.images_fail) return -1;
    img->type = type;
    img->width = static_cast<uint32_t>(width);
    img->height = static_cast<uint32_t>(height);
    img->host_handle = next_image++;
    held.images.insert(img->host_handle);
    return 0;
}
int vca_destroy_image(VCA_IMAGE_S* img) {
    if (img->host_handle != 0 && held.images.erase(img->host_handle) != 1)
        fuzz::fail("image destroyed twice");
    *img = {};
    return 0;
}
int vca_image_crop_letter(const VCA_IMAGE_S* src, const VCA_RGN_S* rgn, VCA_IMAGE_S*) {
    const bool picture =
        src->width >= 8 && src->height >= 8 && src->width < 1 << 30 && src->height < 1 << 30;
    if (!picture) return -1;
    const bool inside = rgn->x >= 0 && rgn->y >= 0 && rgn->width >= 1 && rgn->height >= 1 &&
                        rgn->width <= static_cast<int32_t>(src->width) - rgn->x &&
                        rgn->height <= static_cast<int32_t>(src->height) - rgn->y;
    if (!inside) fuzz::fail("crop outside the image");
    return 0;
}
int vca_save_yuv_image(const VCA_IMAGE_S*, const char* path) {
    return std::strlen(path) > 0 ? 0 : -1;
}

AVS_IVE_ALL_S avs_read_all_ive(void) {
    static uint8_t picture[16];
    fuzz::FrameSet& frame = the_host.frame;
    AVS_IVE_ALL_S set{};
    std::vector<uint16_t>& raw = the_host.depth_mm;
    set.real = make_frame(frame.has_real, frame.mapped, picture, sizeof(picture));
    set.depth = make_frame(frame.has_depth, frame.mapped, picture, sizeof(picture));
    set.raw = make_frame(frame.has_raw, frame.mapped, raw.empty() ? nullptr : raw.data(),
                         raw.size() * sizeof(uint16_t));
    set.flag = frame.flag;
    // A whole set without a flag is never given back.
    if (frame.has_real && frame.has_depth && frame.has_raw && frame.flag == 0)
        held.blocks -= 3, held.mappings = 0;
    return set;
}
int ss_mpi_vb_release_blk(uint32_t block) {
    if (block == VCA_VB_NONE || --held.blocks < 0) fuzz::fail("block given back twice");
    return 0;
}
int ss_mpi_sys_munmap(void* addr, uint32_t) {
    if (addr == nullptr || --held.mappings < 0) fuzz::fail("frame unmapped twice");
    return 0;
}

int ioutracker_init(int, int, int) {
    return 0;
}
int ioutracker_set_conf_thresh(int, float, float) {
    return 0;
}
int ioutracker_uninit(int) {
    return 0;
}
int ioutracker_objects_reset(int inst) {
    added[inst & 1].num = 0;
    return 0;
}
int ioutracker_add_object(int inst, const IOU_TRK_OBJ_S* obj) {
    IOU_TRK_RSLT_S& list = added[inst & 1];
    if (list.num == VCA_TRK_MAX) return -1;
    list.objs[list.num++] = *obj;
    return 0;
}
IOU_TRK_RSLT_S ioutracker_update(int inst) {
    IOU_TRK_RSLT_S result = added[inst & 1];
    const fuzz::Tracker kind = the_host.answers.tracker;
    if (kind == fuzz::Tracker::kScripted) return the_host.answers.targets;
    if (kind == fuzz::Tracker::kNone) return {};
    ++updates;
    for (int32_t i = 0; i < result.num; ++i) {
        const auto turn = static_cast<int32_t>(updates);
        result.objs[i].id = kind == fuzz::Tracker::kRepeatIds ? 77
                            : kind == fuzz::Tracker::kSwapIds ? (i + turn) % result.num
                                                              : i + 1;
    }
    return result;
}
}
