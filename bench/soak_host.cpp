#include "bench/soak_host.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <thread>
#include <utility>

namespace soak {
namespace {

constexpr size_t kFailuresKept = 10;
constexpr NN_MODEL_TYPE_E kColourModel = 1;
constexpr NN_MODEL_TYPE_E kDepthModel = 2;
constexpr NN_MODEL_TYPE_E kAttrModel = 3;
constexpr NN_MODEL_TYPE_E kStaffModel = 4;

// Follows people by the nearest centre; what it cannot follow gets a new id.
class NearestTracker {
  public:
    void reset_all() { *this = {}; }
    void begin() { added_.clear(); }
    void add(const IOU_TRK_OBJ_S& obj) { added_.push_back(obj); }

    IOU_TRK_RSLT_S update() {
        IOU_TRK_RSLT_S result{};
        for (Target& target : targets_)
            ++target.lost;
        const size_t known = targets_.size();
        for (const IOU_TRK_OBJ_S& obj : added_) {
            Target& target = match(obj, known);
            target.x = obj.x + obj.w / 2;
            target.y = obj.y + obj.h / 2;
            target.lost = 0;
            if (++target.hits < kHitsMin || result.num == VCA_TRK_MAX) continue;
            result.objs[result.num] = obj;
            result.objs[result.num++].id = target.id;
        }
        std::erase_if(targets_, [](const Target& t) { return t.lost > kLostMax; });
        return result;
    }

  private:
    static constexpr int kReachPx = 45;
    static constexpr int kLostMax = 12;
    static constexpr int kHitsMin = 3;

    struct Target {
        int32_t id;
        int32_t x, y;
        int lost;
        int hits;
    };

    Target& match(const IOU_TRK_OBJ_S& obj, size_t known) {
        size_t best = known;
        int64_t best_distance = kReachPx * kReachPx;
        for (size_t i = 0; i < known; ++i) {
            const int64_t dx = targets_[i].x - (obj.x + obj.w / 2);
            const int64_t dy = targets_[i].y - (obj.y + obj.h / 2);
            const int64_t distance = dx * dx + dy * dy;
            if (targets_[i].lost == 0 || distance >= best_distance) continue;
            best = i;
            best_distance = distance;
        }
        if (best != known) return targets_[best];
        targets_.push_back({next_id_++, 0, 0, 0, 0});
        return targets_.back();
    }

    std::vector<Target> targets_;
    std::vector<IOU_TRK_OBJ_S> added_;
    int32_t next_id_ = 1;
};

struct Host {
    Ledger ledger;
    std::function<bool(std::vector<uint16_t>&)> maker;
    std::function<void(VCA_NN_RESULT_S&)> detector;
    std::map<int, void (*)(int, void*)> handlers;
    std::set<uint32_t> blocks;
    std::multiset<std::pair<uint64_t, uint32_t>> mappings;
    std::set<uint64_t> images;
    std::vector<uint16_t> depth_mm;
    std::array<uint8_t, 64> pixels{};
    NearestTracker trackers[2];
    Random random{4711};
    NN_MODEL_CFG_S model{};
    uint32_t next_block = 1;
    int64_t clock_us = 1767225600LL * 1000000;
};

Host& host() {
    static Host instance;
    return instance;
}

int64_t read_clock(void* ctx) {
    return *static_cast<int64_t*>(ctx);
}

AVS_IVE_FRAME_S lend(bool present, bool mapped, void* pixels, uint32_t size) {
    Host& h = host();
    AVS_IVE_FRAME_S frame{};
    frame.vb_blk = VCA_VB_NONE;
    if (!present) return frame;
    frame.vb_blk = h.next_block++;
    if (h.next_block == VCA_VB_NONE) h.next_block = 1;
    h.blocks.insert(frame.vb_blk);
    ++h.ledger.blocks_lent;
    if (!mapped) return frame;
    frame.vir_addr = reinterpret_cast<uintptr_t>(pixels);
    frame.map_size = size;
    h.mappings.insert({frame.vir_addr, size});
    ++h.ledger.mappings_lent;
    return frame;
}

// The sizes of the messages, by number.
const std::map<int, int>& sizes() {
    static const std::map<int, int> table = {{VCA_MSG_LINE_COUNT, sizeof(LINE_COUNT_MSG_S)},
                                             {VCA_MSG_TRACKS, sizeof(SHOW_MSG_S)},
                                             {VCA_MSG_REGIONS, sizeof(RGN_MSG_S)},
                                             {VCA_MSG_INSTALL_HEIGHT, sizeof(int32_t)},
                                             {VCA_MSG_CONFIG, VCA_CONFIG_REQUEST_BYTES},
                                             {VCA_MSG_GROUP_COUNT, sizeof(GROUP_COUNT_MSG_S)},
                                             {VCA_MSG_HEAT_MAP, sizeof(HEAT_MAP_MSG_S)},
                                             {VCA_MSG_FRAME_COUNT, sizeof(int32_t)},
                                             {VCA_MSG_SLAVE_TRACKS, sizeof(SLAVE_MSG_S)},
                                             {VCA_MSG_DETECTIONS, sizeof(DET_SHOW_MSG_S)},
                                             {VCA_MSG_TRACK_BORN, sizeof(TRK_SHOW_MSG_S)},
                                             {VCA_MSG_TRACK_REMOVED, sizeof(TRK_SHOW_MSG_S)},
                                             {VCA_MSG_DETECTED_TRACKS, sizeof(SHOW_MSG_S)}};
    return table;
}

template <typename Record>
const Record& as(const void* payload) {
    return *static_cast<const Record*>(payload);
}

void check(bool good, const char* what) {
    if (!good) fail(what);
}

void read_message(int id, const void* payload) {
    Ledger& seen = host().ledger;
    switch (id) {
        case VCA_MSG_TRACKS:
            seen.people_shown = as<SHOW_MSG_S>(payload).num;
            check(seen.people_shown >= 0 && seen.people_shown <= VCA_SHOW_MAX, "tracks: number");
            break;
        case VCA_MSG_REGIONS:
            seen.people_in_regions = static_cast<int32_t>(as<RGN_MSG_S>(payload).num);
            check(seen.people_in_regions <= VCA_RGN_PERSON_MAX, "regions: number of people");
            for (const int32_t count : as<RGN_MSG_S>(payload).peopleCnt)
                check(count >= 0 && count <= seen.people_in_regions, "regions: people inside");
            break;
        case VCA_MSG_LINE_COUNT: {
            const auto& msg = as<LINE_COUNT_MSG_S>(payload);
            check(msg.line >= 0 && msg.line < VCA_LINE_NUM, "count: line");
            check(msg.cross == 1 || msg.cross == 2, "count: direction");
            break;
        }
        case VCA_MSG_GROUP_COUNT: {
            const auto& msg = as<GROUP_COUNT_MSG_S>(payload);
            check(msg.members >= dev_get_config()->GroupObjNumMin, "group: too small");
            check(msg.line >= 0 && msg.line < VCA_LINE_NUM, "group: line");
            break;
        }
        case VCA_MSG_SLAVE_TRACKS:
            check(as<SLAVE_MSG_S>(payload).count >= 0 &&
                      as<SLAVE_MSG_S>(payload).count <= VCA_SLAVE_TRACK_MAX,
                  "slave: number of tracks");
            break;
        default:
            break;
    }
}

std::mutex* mutex_in(TQ_MUTEX_S* record) {
    return std::launder(reinterpret_cast<std::mutex*>(record->opaque));
}

}  // namespace

Ledger& ledger() {
    return host().ledger;
}

void fail(const std::string& what) {
    Ledger& seen = host().ledger;
    ++seen.failure_count;
    if (seen.failures.size() < kFailuresKept)
        seen.failures.push_back("frame " + std::to_string(seen.sets_lent) + ": " + what);
}

void set_frame_maker(std::function<bool(std::vector<uint16_t>&)> maker) {
    host().maker = std::move(maker);
}

void set_detector(std::function<void(VCA_NN_RESULT_S&)> detector) {
    host().detector = std::move(detector);
}

void deliver(int id, const void* payload) {
    const auto it = host().handlers.find(id);
    if (it == host().handlers.end())
        fail("no handler for message " + std::to_string(id));
    else
        it->second(0, const_cast<void*>(payload));
}

void use_clock() {
    vca_set_time_source(read_clock, &host().clock_us);
}

void advance_clock(int64_t us) {
    host().clock_us += us;
}

}  // namespace soak

using soak::host;
using soak::once_in;

extern "C" {

// The library rests for 1 ms between two passes; a million of those would be most of the run.
int usleep(useconds_t) {
    return 0;
}

int tq_mutex_init(TQ_MUTEX_S* mutex) {
    new (mutex->opaque) std::mutex;
    return 0;
}
int tq_mutex_lock(TQ_MUTEX_S* mutex) {
    soak::mutex_in(mutex)->lock();
    ++host().ledger.locks;
    return 0;
}
int tq_mutex_unlock(TQ_MUTEX_S* mutex) {
    ++host().ledger.unlocks;
    soak::mutex_in(mutex)->unlock();
    return 0;
}
int tq_mutex_uninit(TQ_MUTEX_S* mutex) {
    soak::mutex_in(mutex)->~mutex();
    return 0;
}

int tq_task_create_join(TQ_TASK_S* task, void* (*entry)(void*), void* arg) {
    ++host().ledger.starts;
    new (task->opaque) std::thread*(new std::thread([entry, arg] { entry(arg); }));
    return 0;
}
int tq_task_join(TQ_TASK_S* task) {
    std::thread* thread = *std::launder(reinterpret_cast<std::thread**>(task->opaque));
    thread->join();
    delete thread;
    ++host().ledger.ends;
    return 0;
}
int tq_task_set_name(const char*) {
    return 0;
}
int tq_system(const char*) {
    return -1;
}

int sock_request_register(const SOCK_REQUEST_S* table, int count) {
    for (int i = 0; i < count; ++i)
        host().handlers[table[i].id] = table[i].handler;
    return 0;
}
int sock_request_unregister(const SOCK_REQUEST_S*, int) {
    host().handlers.clear();
    return 0;
}

int tq_sock_send_msg(int, int id, void* payload, int length) {
    soak::Ledger& seen = soak::ledger();
    const auto size = soak::sizes().find(id);
    if (size == soak::sizes().end() || size->second != length)
        soak::fail("message " + std::to_string(id) + " of " + std::to_string(length) + " bytes");
    else
        soak::read_message(id, payload);
    ++seen.messages[id];
    if (!once_in(host().random, 1000)) return 0;
    ++seen.unsent;
    return -1;
}

int vca_mem_init(VCA_CTRL_S* ctrl) {
    ctrl->real_img = {VCA_IMAGE_NV12, soak::kWidth, soak::kHeight, soak::kWidth, 0, 0, 0, 0};
    ctrl->depth_img = ctrl->real_img;
    ctrl->raw_img = {
        VCA_IMAGE_U16, soak::kDepthWidth, soak::kDepthHeight, 2 * soak::kDepthWidth, 0, 0, 0, 0};
    return 0;
}
int vca_mem_uninit(VCA_CTRL_S*) {
    return 0;
}
int vca_cvai_init(VCA_CTRL_S* ctrl) {
    ctrl->real_model = soak::kColourModel;
    ctrl->depth_model = soak::kDepthModel;
    ctrl->attr_model = soak::kAttrModel;
    ctrl->staff_model = soak::kStaffModel;
    host().model.trk_conf_lo = 0.2f;
    host().model.det_show_thresh = 0.5f;
    return 0;
}
int vca_cvai_uninit(VCA_CTRL_S*) {
    return 0;
}
int avs_set_conf_thr(int) {
    return 0;
}
const NN_MODEL_CFG_S* vca_nn_get_pModel_cfg(NN_MODEL_TYPE_E) {
    return &host().model;
}

int vca_nn_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
    if (once_in(host().random, 500)) return -1;
    if (model != soak::kStaffModel) {
        host().detector(*static_cast<VCA_NN_RESULT_S*>(result));
        return 0;
    }
    const int32_t staff = once_in(host().random, 10);
    const float score = 0.8f;
    std::memcpy(result, &staff, sizeof(staff));
    std::memcpy(static_cast<uint8_t*>(result) + sizeof(staff), &score, sizeof(score));
    return 0;
}

int vca_nn_classification(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* result) {
    if (once_in(host().random, 500)) return -1;
    const bool male = once_in(host().random, 2);
    const int32_t best = male ? 1 : 2;
    const float probability[3] = {male ? 0.7f : 0.2f, male ? 0.2f : 0.7f, 0.0f};
    std::memcpy(result, &best, sizeof(best));
    std::memcpy(static_cast<uint8_t*>(result) + sizeof(best), probability, sizeof(probability));
    return 0;
}

int vca_create_image(VCA_IMAGE_S* img, int type, int width, int height) {
    *img = {};
    if (once_in(host().random, 400)) {
        ++host().ledger.images_refused;
        return -1;
    }
    // The library never looks at the pixels; an allocation of its own makes a lost image a leak.
    auto* memory = new uint8_t[64]{};
    img->type = type;
    img->width = img->stride = static_cast<uint32_t>(width);
    img->height = static_cast<uint32_t>(height);
    img->plane_addr = img->map_addr = img->host_handle = reinterpret_cast<uintptr_t>(memory);
    host().images.insert(img->host_handle);
    ++host().ledger.images_created;
    return 0;
}

int vca_destroy_image(VCA_IMAGE_S* img) {
    if (img->host_handle == 0) return 0;
    if (host().images.erase(img->host_handle) == 1) {
        delete[] reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(img->host_handle));
        ++host().ledger.images_destroyed;
    } else {
        soak::fail("an image destroyed twice");
    }
    *img = {};
    return 0;
}

int vca_image_crop_letter(const VCA_IMAGE_S*, const VCA_RGN_S* rgn, VCA_IMAGE_S* dst) {
    if (rgn->x < 0 || rgn->y < 0 || rgn->x + rgn->width > soak::kWidth ||
        rgn->y + rgn->height > soak::kHeight)
        soak::fail("a crop outside the picture");
    if (dst->host_handle == 0) return -1;
    if (host().images.count(dst->host_handle) == 0) soak::fail("a crop into no image");
    return 0;
}
int vca_save_yuv_image(const VCA_IMAGE_S*, const char*) {
    return -1;
}

AVS_IVE_ALL_S avs_read_all_ive(void) {
    auto& h = host();
    if (!h.blocks.empty() || !h.mappings.empty()) soak::fail("an earlier frame set is still out");
    AVS_IVE_ALL_S set{};
    set.real.vb_blk = set.depth.vb_blk = set.raw.vb_blk = VCA_VB_NONE;
    if (!h.maker(h.depth_mm)) return set;
    const int missing = once_in(h.random, 100) ? soak::draw(h.random, 1, 7) : 0;
    const bool mapped = !once_in(h.random, 300);
    const auto bytes = static_cast<uint32_t>(h.depth_mm.size() * sizeof(uint16_t));
    set.real = soak::lend((missing & 1) == 0, mapped, h.pixels.data(), 32);
    set.depth = soak::lend((missing & 2) == 0, mapped, h.pixels.data() + 32, 32);
    set.raw = soak::lend((missing & 4) == 0, mapped, h.depth_mm.data(), bytes);
    ++(missing == 0 ? h.ledger.sets_lent : h.ledger.partial_sets);
    set.flag = static_cast<uint32_t>(h.ledger.sets_lent) | 1u;
    return set;
}

int ss_mpi_vb_release_blk(uint32_t block) {
    if (host().blocks.erase(block) == 1)
        ++host().ledger.blocks_returned;
    else
        soak::fail("a block returned twice");
    return 0;
}

int ss_mpi_sys_munmap(void* addr, uint32_t size) {
    const auto it = host().mappings.find({reinterpret_cast<uintptr_t>(addr), size});
    if (it == host().mappings.end()) {
        soak::fail("a mapping returned twice");
        return -1;
    }
    host().mappings.erase(it);
    ++host().ledger.mappings_returned;
    return 0;
}

int ioutracker_init(int inst, int, int) {
    host().trackers[inst].reset_all();
    return 0;
}
int ioutracker_set_conf_thresh(int, float, float) {
    return 0;
}
int ioutracker_uninit(int) {
    return 0;
}
int ioutracker_objects_reset(int inst) {
    host().trackers[inst].begin();
    return 0;
}
int ioutracker_add_object(int inst, const IOU_TRK_OBJ_S* obj) {
    host().trackers[inst].add(*obj);
    return 0;
}
IOU_TRK_RSLT_S ioutracker_update(int inst) {
    return host().trackers[inst].update();
}
}
