#include "bench/quiet_host.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kDepthWidth = 480;
constexpr int kDepthHeight = 256;
constexpr int kBoxPx = 44;
constexpr int kColumns = 14;
constexpr uint16_t kFloorMm = 3000;
constexpr uint16_t kHeadMm = 1300;

struct QuietHost {
    IOU_TRK_RSLT_S targets{};
};

QuietHost host;

// A triangle wave from 0 to 1 and back over the period, so that the last frame meets the first.
double to_and_fro(int frame, int period) {
    const double phase = static_cast<double>(frame % period) / period;
    return phase < 0.5 ? 2 * phase : 2 - 2 * phase;
}

DET_OBJ_S walker_box(int person, int frame, int frames) {
    DET_OBJ_S box{};
    const int column = person % kColumns;
    const int row = person / kColumns;
    box.x = 30 + column * 64;
    box.y = 24 + row * 60 + static_cast<int>(std::lround(50 * to_and_fro(frame, frames)));
    box.w = kBoxPx;
    box.h = kBoxPx;
    box.area = box.w * box.h;
    box.class_id = 1;
    box.score = 0.9f;
    return box;
}

void draw_head(const DET_OBJ_S& box, std::vector<uint16_t>& depth_mm) {
    const int x0 = box.x / 2;
    const int y0 = box.y * kDepthHeight / 544;
    for (int y = y0; y < std::min(y0 + kBoxPx / 2, kDepthHeight); ++y)
        for (int x = x0; x < std::min(x0 + kBoxPx / 2, kDepthWidth); ++x)
            depth_mm[static_cast<size_t>(y * kDepthWidth + x)] = kHeadMm;
}

POINT12 point(int32_t x, int32_t y) {
    return {1, {}, x, y};
}

}  // namespace

std::vector<bench::CrowdFrame> bench::make_crowd(int people, int frames) {
    std::vector<CrowdFrame> crowd(static_cast<size_t>(frames));
    for (int f = 0; f < frames; ++f) {
        CrowdFrame& frame = crowd[static_cast<size_t>(f)];
        frame.depth_mm.assign(kDepthWidth * kDepthHeight, kFloorMm);
        frame.detections.num = people;
        for (int i = 0; i < people; ++i) {
            frame.detections.objs[i] = walker_box(i, f, frames);
            frame.detections.raw_objs[i] = frame.detections.objs[i];
            draw_head(frame.detections.objs[i], frame.depth_mm);
        }
    }
    return crowd;
}

VCA_ALGO_CFG_S bench::counting_config() {
    VCA_ALGO_CFG_S cfg{};
    cfg.InstallHeight = kFloorMm;
    cfg.TargetHeightMin = 800;
    cfg.TargetHeightMax = 2200;
    cfg.StandAloneTrk = 1;
    cfg.GroupEn = 1;
    cfg.GroupObjNumMin = 2;
    cfg.GroupObjNumMax = 5;
    cfg.cscdMapSize[2] = 960;
    cfg.cscdMapSize[3] = 544;
    for (int line = 0; line < VCA_LINE_NUM; ++line) {
        const int32_t y = 130 + 90 * line;
        cfg.line[line].pt[0] = point(20, y);
        cfg.line[line].pt[1] = point(480, y + 10);
        cfg.line[line].pt[2] = point(940, y);
    }
    return cfg;
}

VCA_ALGO_CFG_S bench::everything_config() {
    VCA_ALGO_CFG_S cfg = counting_config();
    cfg.GenderRecognize = 1;
    cfg.StaffDetection = 1;
    cfg.HtmpEn = 1;
    cfg.RgnEn = 1;
    for (int region = 0; region < VCA_RGN_NUM; ++region) {
        VCA_CFG_RGN_S& rgn = cfg.rgn[region];
        const int32_t x = 40 + 220 * region;
        rgn.used = rgn.en_a = 1;
        rgn.pt[0] = point(x, 60);
        rgn.pt[1] = point(x + 260, 80);
        rgn.pt[2] = point(x + 240, 480);
        rgn.pt[3] = point(x + 20, 460);
    }
    cfg.ExclTotalEn = 1;
    cfg.excl[0].pt[0] = point(920, 500);
    cfg.excl[0].pt[1] = point(950, 500);
    cfg.excl[0].pt[2] = point(950, 530);
    cfg.ShowHistoryBox = 1;
    return cfg;
}

extern "C" {

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

int tq_sock_send_msg(int, int, void*, int) {
    return 0;
}

int vca_mem_init(VCA_CTRL_S*) {
    return 0;
}
int vca_mem_uninit(VCA_CTRL_S*) {
    return 0;
}
int vca_cvai_init(VCA_CTRL_S*) {
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
int vca_nn_detection(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void*) {
    return -1;
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
    return {};
}
int ss_mpi_vb_release_blk(uint32_t) {
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

int ioutracker_add_object(int, const IOU_TRK_OBJ_S* obj) {
    if (host.targets.num == VCA_TRK_MAX) return -1;
    IOU_TRK_OBJ_S& target = host.targets.objs[host.targets.num++];
    target = *obj;
    target.id = obj->det_idx + 1;
    return 0;
}

IOU_TRK_RSLT_S ioutracker_update(int) {
    return host.targets;
}
}
