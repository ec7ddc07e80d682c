// The smallest whole host: all that libvca needs from a camera, with the sensors and the detector
// replaced by one person who walks down the picture and over a counting line. It prints what the
// library counts. The order is that of the porting guide; main() is at the end.
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "vca/vca.h"

namespace {

constexpr int kWidth = 960, kHeight = 544;  // the colour picture
constexpr int kDepthWidth = 480, kDepthHeight = 256;

// The scene: a person of 1.7 m under a camera 3 m above the floor, seen for 36 frames.
constexpr int kFrames = 36;
constexpr uint16_t kFloorMm = 3000;
constexpr uint16_t kHeadMm = 3000 - 1700;

DET_OBJ_S person_box(int frame) {
    DET_OBJ_S box{};
    box.x = 440;
    box.y = 40 + 12 * frame;
    box.w = box.h = 80;
    box.area = box.w * box.h;
    box.class_id = VCA_CLASS_PERSON;
    box.score = 0.9f;
    return box;
}

// Models have the host's own numbers; the library only hands them back.
enum Model { kColourModel = 1, kDepthModel, kAttributeModel, kStaffModel };

struct Message {
    int id;
    std::vector<uint8_t> bytes;
};

struct Bus {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Message> from_library;
    int frames_done = 0;
    std::vector<SOCK_REQUEST_S> handlers;  // the main thread's
} bus;

// A camera has a pool of blocks, filled by the hardware while the library works on others. Here is
// one set of them, either lent or not, and all but `started` belongs to the analysis thread.
struct Camera {
    std::array<uint8_t, kWidth * kHeight * 3 / 2> colour;       // NV12
    std::array<uint16_t, kDepthWidth * kDepthHeight> depth_mm;  // row by row without padding
    int frame = -1;
    int lent_blocks = 0;
    std::atomic<bool> started = false;
} camera;

struct Target {
    int32_t id = 0;
    IOU_TRK_OBJ_S box{};
    int hits = 0;
    int missed = 0;
};

struct Tracker {
    int max_missed, min_hits;
    float low_score, high_score;
    int32_t last_id;
    std::vector<IOU_TRK_OBJ_S> input;
    std::vector<Target> targets;
} trackers[2];

}  // namespace

// ---- Tasks and mutexes: the library's records are the memory of the host's own objects ----

static_assert(sizeof(pthread_mutex_t) <= sizeof(TQ_MUTEX_S));
static_assert(sizeof(pthread_t) <= sizeof(TQ_TASK_S));
static pthread_mutex_t* own(TQ_MUTEX_S* m) { return reinterpret_cast<pthread_mutex_t*>(m); }
static pthread_t* own(TQ_TASK_S* t) { return reinterpret_cast<pthread_t*>(t); }

extern "C" {

int tq_mutex_init(TQ_MUTEX_S* mutex) { return pthread_mutex_init(own(mutex), nullptr); }
int tq_mutex_lock(TQ_MUTEX_S* mutex) { return pthread_mutex_lock(own(mutex)); }
int tq_mutex_unlock(TQ_MUTEX_S* mutex) { return pthread_mutex_unlock(own(mutex)); }
int tq_mutex_uninit(TQ_MUTEX_S* mutex) { return pthread_mutex_destroy(own(mutex)); }
int tq_task_create_join(TQ_TASK_S* task, void* (*entry)(void*), void* arg) {
    return pthread_create(own(task), nullptr, entry, arg);
}
int tq_task_join(TQ_TASK_S* task) { return pthread_join(*own(task), nullptr); }
int tq_task_set_name(const char* name) { return pthread_setname_np(pthread_self(), name); }
int tq_system(const char* command) { return std::system(command); }

// ---- Message bus ----

int sock_request_register(const SOCK_REQUEST_S* table, int count) {
    bus.handlers.assign(table, table + count);
    return 0;
}

// No handler runs after this: the thread that runs them is the one that got us here.
int sock_request_unregister(const SOCK_REQUEST_S*, int) {
    bus.handlers.clear();
    return 0;
}

// Called in the middle of frame passes: copy, queue, go.
int tq_sock_send_msg(int, int id, void* payload, int length) {
    const auto* bytes = static_cast<const uint8_t*>(payload);
    const std::lock_guard lock(bus.mutex);
    bus.from_library.push_back({id, {bytes, bytes + length}});
    bus.changed.notify_one();
    return 0;
}

// ---- Memory, models, inference ----

int vca_mem_init(VCA_CTRL_S* ctrl) {
    ctrl->real_img = {VCA_IMAGE_NV12, kWidth, kHeight, kWidth, 0, 0, 0, 0};
    ctrl->raw_img = {VCA_IMAGE_U16, kDepthWidth, kDepthHeight, 2 * kDepthWidth, 0, 0, 0, 0};
    ctrl->depth_img = ctrl->raw_img;
    return 0;
}
int vca_mem_uninit(VCA_CTRL_S*) { return 0; }

// A camera loads its networks here.
int vca_cvai_init(VCA_CTRL_S* ctrl) {
    ctrl->real_model = kColourModel;
    ctrl->depth_model = kDepthModel;
    ctrl->attr_model = kAttributeModel;
    ctrl->staff_model = kStaffModel;
    return 0;
}
int vca_cvai_uninit(VCA_CTRL_S*) { return 0; }
int avs_set_conf_thr(int) { return 0; }

const NN_MODEL_CFG_S* vca_nn_get_pModel_cfg(NN_MODEL_TYPE_E) {
    static constexpr NN_MODEL_CFG_S kThresholds{{}, 0.3f, 0.5f};
    return &kThresholds;
}

// A camera runs the network on the image. This one has no network for depth and none for staff, and
// leaves their results as they are.
int vca_nn_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
    if (model != kColourModel) return -1;
    DET_OBJECTS_S& found = static_cast<VCA_NN_RESULT_S*>(result)->objects;
    found.num = 1;
    found.objs[0] = found.raw_objs[0] = person_box(camera.frame);
    return 0;
}
int vca_nn_classification(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void*) { return -1; }

// ---- Images: a crop for each track, for the attribute models ----

int vca_create_image(VCA_IMAGE_S* img, int type, int width, int height) {
    const auto columns = static_cast<uint32_t>(width), rows = static_cast<uint32_t>(height);
    void* pixels = std::calloc(size_t{columns} * rows * 3 / 2, 1);
    *img = {};
    if (pixels == nullptr) return -1;
    const auto address = reinterpret_cast<uint64_t>(pixels);
    *img = {type, columns, rows, columns, 0, address, address, 0};
    return 0;
}
int vca_destroy_image(VCA_IMAGE_S* img) {
    std::free(reinterpret_cast<void*>(img->plane_addr));  // null for an all-zero record
    *img = {};
    return 0;
}

// Without attribute models nobody would look at the crop.
int vca_image_crop_letter(const VCA_IMAGE_S*, const VCA_RGN_S*, VCA_IMAGE_S*) { return -1; }
int vca_save_yuv_image(const VCA_IMAGE_S*, const char*) { return -1; }

// ---- Frames ----

static void draw_depth(const DET_OBJ_S& box) {
    camera.depth_mm.fill(kFloorMm);
    for (int y = box.y * kDepthHeight / kHeight; y < (box.y + box.h) * kDepthHeight / kHeight; ++y)
        for (int x = box.x / 2; x < (box.x + box.w) / 2; ++x)
            camera.depth_mm[static_cast<size_t>(y * kDepthWidth + x)] = kHeadMm;
}

static AVS_IVE_FRAME_S lend(void* pixels, uint32_t bytes, uint32_t block) {
    AVS_IVE_FRAME_S frame{};
    frame.vir_addr = reinterpret_cast<uint64_t>(pixels);
    frame.map_size = bytes;
    frame.vb_blk = block;
    ++camera.lent_blocks;
    return frame;
}

// Never waits: a set without frames says that nothing is ready.
AVS_IVE_ALL_S avs_read_all_ive(void) {
    AVS_IVE_ALL_S set{};
    set.real.vb_blk = set.depth.vb_blk = set.raw.vb_blk = VCA_VB_NONE;
    if (!camera.started || camera.lent_blocks > 0 || camera.frame + 1 == kFrames) return set;
    draw_depth(person_box(++camera.frame));
    set.real = lend(camera.colour.data(), sizeof camera.colour, 0);
    set.depth = lend(camera.depth_mm.data(), sizeof camera.depth_mm, 1);
    set.raw = lend(camera.depth_mm.data(), sizeof camera.depth_mm, 2);
    set.flag = 1 + static_cast<uint32_t>(camera.frame);  // the stamp of this frame's messages
    return set;
}
int ss_mpi_sys_munmap(void*, uint32_t) { return 0; }
int ss_mpi_vb_release_blk(uint32_t) {
    if (--camera.lent_blocks > 0) return 0;
    const std::lock_guard lock(bus.mutex);
    ++bus.frames_done;
    bus.changed.notify_one();
    return 0;
}

// ---- IoU tracker: each detection continues the free target it overlaps most ----

int ioutracker_init(int inst, int max_lost, int min_hits) {
    trackers[inst] = {max_lost, min_hits, 0, 0, 0, {}, {}};
    return 0;
}
int ioutracker_set_conf_thresh(int inst, float lo, float hi) {
    trackers[inst].low_score = lo;
    trackers[inst].high_score = hi;
    return 0;
}
int ioutracker_objects_reset(int inst) {
    trackers[inst].input.clear();
    return 0;
}
int ioutracker_add_object(int inst, const IOU_TRK_OBJ_S* obj) {
    trackers[inst].input.push_back(*obj);
    return 0;
}

static float overlap(const IOU_TRK_OBJ_S& a, const IOU_TRK_OBJ_S& b) {
    const int w = std::min(a.x + a.w, b.x + b.w) - std::max(a.x, b.x);
    const int h = std::min(a.y + a.h, b.y + b.h) - std::max(a.y, b.y);
    const int common = std::max(w, 0) * std::max(h, 0);
    return static_cast<float>(common) / static_cast<float>(a.w * a.h + b.w * b.h - common);
}

// Sure detections may start a target, the others only continue one.
static void match(Tracker& tracker, const IOU_TRK_OBJ_S& found, bool sure) {
    Target* best = nullptr;
    float best_overlap = 0.2f;
    for (Target& target : tracker.targets) {
        const float common = overlap(target.box, found);
        if (target.missed == 0 || common <= best_overlap) continue;
        best = &target;
        best_overlap = common;
    }
    if (best == nullptr && !sure) return;
    if (best == nullptr) best = &tracker.targets.emplace_back(Target{.id = ++tracker.last_id});
    best->box = found;
    best->box.id = best->id;
    best->missed = 0;
    ++best->hits;
}

IOU_TRK_RSLT_S ioutracker_update(int inst) {
    Tracker& tracker = trackers[inst];
    for (Target& target : tracker.targets)
        ++target.missed;
    for (const bool sure : {true, false})
        for (const IOU_TRK_OBJ_S& found : tracker.input)
            if ((found.score >= tracker.high_score) == sure && found.score >= tracker.low_score)
                match(tracker, found, sure);
    std::erase_if(tracker.targets, [&](const Target& t) { return t.missed > tracker.max_missed; });
    IOU_TRK_RSLT_S result{};
    for (const Target& target : tracker.targets)
        if (target.missed == 0 && target.hits >= tracker.min_hits && result.num < VCA_TRK_MAX)
            result.objs[result.num++] = target.box;
    return result;
}
int ioutracker_uninit(int inst) {
    trackers[inst].targets.clear();
    return 0;
}

}  // extern "C"

// ---- The life of a host ----

// One counting line across the middle of the picture.
static VCA_ALGO_CFG_S configuration() {
    VCA_ALGO_CFG_S cfg{};
    cfg.InstallHeight = kFloorMm;
    cfg.TargetHeightMin = 800;
    cfg.TargetHeightMax = 2200;
    cfg.StandAloneTrk = 1;
    cfg.cscdMapSize[2] = kWidth;
    cfg.cscdMapSize[3] = kHeight;
    cfg.line[0].pt[0] = {1, {}, 200, 272};
    cfg.line[0].pt[1] = {1, {}, 760, 272};
    return cfg;
}

// The mutex keeps messages out of running frame passes.
static void send_to_library(int id, void* payload) {
    auto* mutex = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
    tq_mutex_lock(mutex);
    for (const SOCK_REQUEST_S& row : bus.handlers)
        if (row.id == id) row.handler(0, payload);
    tq_mutex_unlock(mutex);
}

static void receive(const Message& message, int (&counted)[3]) {
    if (message.id == VCA_MSG_CONFIG) {
        VCA_ALGO_CFG_S cfg = configuration();
        send_to_library(VCA_MSG_CONFIG, &cfg);
        camera.started = true;
    } else if (message.id == VCA_MSG_LINE_COUNT) {
        LINE_COUNT_MSG_S count;
        std::memcpy(&count, message.bytes.data(), sizeof count);
        ++counted[count.cross];
        std::printf("frame %u: line %d, direction %d, %.0f mm tall\n", count.frame_flag[0],
                    count.line, count.cross, static_cast<double>(count.obj.height));
    }
}

// The library's next message; none once the last frame is done.
static std::optional<Message> next_message() {
    std::unique_lock lock(bus.mutex);
    bus.changed.wait(lock, [] { return bus.frames_done == kFrames || !bus.from_library.empty(); });
    if (bus.from_library.empty()) return std::nullopt;
    Message message = std::move(bus.from_library.front());
    bus.from_library.pop_front();
    return message;
}

int main() {
    int counted[3] = {};  // by direction, 1 and 2
    vca_base_init();
    vca_algo_init();
    while (const auto message = next_message())
        receive(*message, counted);
    vca_algo_uninit();
    vca_base_uninit();
    std::printf("counted: %d in direction 1, %d in direction 2\n", counted[1], counted[2]);
    return 0;
}
