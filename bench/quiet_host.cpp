#include "bench/quiet_host.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "vca/messages.h"

namespace {

constexpr NN_MODEL_TYPE_E kColourModel = 1;
constexpr NN_MODEL_TYPE_E kDepthModel = 2;
constexpr int kSlaves = 2;
constexpr int kDepthShift_px = 3;  // between what the two detectors make of a person
constexpr uint32_t kRawBlock = 3;  // given back last

struct QuietHost {
    const bench::Crowd* crowd = nullptr;
    bench::PassObserver* observer = nullptr;
    int frame = -1;
    int frames = 0;
    IOU_TRK_RSLT_S targets{};
    int sent[VCA_MSG_DETECTED_TRACKS - VCA_MSG_LINE_COUNT + 1] = {};
};

QuietHost host;

bool is_merged_instance(int inst) {
    return inst != 0;
}

AVS_IVE_FRAME_S mapped_frame(uint32_t block, const void* pixels) {
    AVS_IVE_FRAME_S frame{};
    frame.vir_addr = reinterpret_cast<uintptr_t>(pixels);
    frame.map_size = 480 * 256 * 2;
    frame.vb_blk = block;
    return frame;
}

void deliver_reports() {
    if (host.crowd->mode() != bench::WorkMode::kMaster) return;
    for (int slave = 0; slave < kSlaves; ++slave) {
        MASTER_MSG_S report = host.crowd->report_of_slave(slave, host.frame);
        dev_cscd_master_recive_slave_track(0, &report);
    }
}

AVS_IVE_ALL_S next_frame_set() {
    AVS_IVE_ALL_S set{};
    set.real.vb_blk = set.depth.vb_blk = set.raw.vb_blk = VCA_VB_NONE;
    if (++host.frame == host.frames) {
        vca_get_pCtrl_param()->algo_running = 0;
        return set;
    }
    deliver_reports();
    const uint16_t* depth = host.crowd->depth_mm(host.frame);
    set.real = mapped_frame(1, depth);
    set.depth = mapped_frame(2, depth);
    set.raw = mapped_frame(kRawBlock, depth);
    set.flag = static_cast<uint32_t>(host.frame) + 1;
    return set;
}

}  // namespace

bench::Muted::Muted() {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    close(null);
}

bench::Muted::~Muted() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
}

void bench::run_library(const Crowd& crowd, const VCA_ALGO_CFG_S& cfg, int frames,
                        PassObserver& observer) {
    host = {};
    host.crowd = &crowd;
    host.observer = &observer;
    host.frames = frames;
    vca_base_init();
    VCA_ALGO_CFG_S message = cfg;
    vca_algo_set_cfg_params(0, &message);
    int32_t show_detections = cfg.ShowDetectBox;
    vca_set_draw_exclusion_alive(0, &show_detections);
    vca_algo_init();
    vca_algo_main_task(nullptr);
    vca_algo_uninit();
    vca_base_uninit();
}

int bench::messages_sent(int id) {
    return host.sent[id - VCA_MSG_LINE_COUNT];
}

void bench::show_frame(const Crowd& crowd, int frame) {
    host.crowd = &crowd;
    host.frame = frame;
    VCA_IMAGE_S& raw = vca_get_pCtrl_param()->raw_img;
    raw.plane_addr = reinterpret_cast<uintptr_t>(crowd.depth_mm(frame));
}

void bench::detect_crowd(const Crowd& crowd, int frame, int shift_px, DET_OBJECTS_S& found) {
    found.num = 0;
    const View view = crowd.own_view();
    for (int place = view.first; place < view.last; ++place) {
        if (crowd.id_at(place, frame) == 0) continue;
        DET_OBJ_S& box = found.objs[found.num];
        box = crowd.box_at(place, frame);
        box.x += shift_px;
        found.raw_objs[found.num++] = box;
    }
}

extern "C" {

// The analysis task sleeps after each pass; here the next one follows at once.
int usleep(useconds_t) {
    return 0;
}

int tq_mutex_init(TQ_MUTEX_S*) {
    return 0;
}
int tq_mutex_lock(TQ_MUTEX_S*) {
    return 0;
}
int tq_mutex_unlock(TQ_MUTEX_S*) {
    return 0;
}
int tq_mutex_uninit(TQ_MUTEX_S*) {
    return 0;
}
int tq_task_create_join(TQ_TASK_S*, void* (*)(void*), void*) {
    return 0;
}
int tq_task_join(TQ_TASK_S*) {
    return 0;
}
int tq_task_set_name(const char*) {
    return 0;
}
int sock_request_register(const SOCK_REQUEST_S*, int) {
    return 0;
}
int sock_request_unregister(const SOCK_REQUEST_S*, int) {
    return 0;
}

int tq_sock_send_msg(int, int id, void*, int) {
    ++host.sent[id - VCA_MSG_LINE_COUNT];
    return 0;
}

int vca_mem_init(VCA_CTRL_S* ctrl) {
    ctrl->real_img.width = 960;
    ctrl->real_img.height = 544;
    ctrl->raw_img.width = 480;
    ctrl->raw_img.height = 256;
    return 0;
}
int vca_mem_uninit(VCA_CTRL_S*) {
    return 0;
}
int vca_cvai_init(VCA_CTRL_S* ctrl) {
    ctrl->real_model = kColourModel;
    ctrl->depth_model = kDepthModel;
    return 0;
}
int vca_cvai_uninit(VCA_CTRL_S*) {
    return 0;
}
int avs_set_conf_thr(int) {
    return 0;
}
const NN_MODEL_CFG_S* vca_nn_get_pModel_cfg(NN_MODEL_TYPE_E) {
    return nullptr;
}

int vca_nn_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) {
    if (model != kColourModel && model != kDepthModel) return -1;
    host.observer->pause();
    bench::detect_crowd(*host.crowd, host.frame, model == kColourModel ? 0 : kDepthShift_px,
                        static_cast<VCA_NN_RESULT_S*>(result)->objects);
    host.observer->resume();
    return 0;
}

int vca_nn_classification(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void*) {
    return -1;
}
int vca_create_image(VCA_IMAGE_S*, int, int, int) {
    return -1;
}
int vca_image_crop_letter(const VCA_IMAGE_S*, const VCA_RGN_S*, VCA_IMAGE_S*) {
    return -1;
}
int vca_save_yuv_image(const VCA_IMAGE_S*, const char*) {
    return -1;
}
int tq_system(const char*) {
    return -1;
}
int vca_destroy_image(VCA_IMAGE_S*) {
    return 0;
}

AVS_IVE_ALL_S avs_read_all_ive(void) {
    const AVS_IVE_ALL_S set = next_frame_set();
    if (set.flag != 0) host.observer->begin();
    return set;
}

int ss_mpi_vb_release_blk(uint32_t block) {
    if (block == kRawBlock) host.observer->end();
    return 0;
}

int ss_mpi_sys_munmap(void*, uint32_t) {
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

int ioutracker_objects_reset(int) {
    host.targets.num = 0;
    return 0;
}

int ioutracker_add_object(int inst, const IOU_TRK_OBJ_S* obj) {
    const POINT_POS_S centre = {obj->x + obj->w / 2, obj->y + obj->h / 2};
    const int place = is_merged_instance(inst) ? host.crowd->place_of_feet(centre)
                                               : host.crowd->place_of_box(centre);
    const int32_t id = host.crowd->id_at(place, host.frame);
    if (id == 0 || host.targets.num == VCA_TRK_MAX) return 0;
    IOU_TRK_OBJ_S& target = host.targets.objs[host.targets.num++];
    target = *obj;
    target.id = id;
    return 0;
}

IOU_TRK_RSLT_S ioutracker_update(int) {
    return host.targets;
}
}
