// Turning the configuration message into the configuration record.
#include <algorithm>
#include <cstring>

#include "base/log.h"
#include "config/config_dump.h"
#include "config/device_state.h"
#include "config/work_mode.h"
#include "vca/depth.h"

namespace {

constexpr POINT_POS_S kNoPoint = {VCA_COORD_NONE, VCA_COORD_NONE};

bool is_valid(int32_t coordinate) {
    return coordinate >= VCA_COORD_MIN;
}

int count_valid_points(const POLYGON_S& poly) {
    int count = 0;
    for (int k = 0; k < VCA_POLY_PT_NUM; ++k)
        count += is_valid(poly.x[k]) && is_valid(poly.y[k]) ? 1 : 0;
    return count;
}

// Copies the enabled points; all others become unused.
void copy_polygon(const POINT12 (&points)[VCA_POLY_PT_NUM], bool used, POLYGON_S& poly) {
    for (int k = 0; k < VCA_POLY_PT_NUM; ++k) {
        const bool take = used && points[k].en != 0;
        poly.x[k] = take ? points[k].x : VCA_COORD_NONE;
        poly.y[k] = take ? points[k].y : VCA_COORD_NONE;
    }
}

void rasterise(const POLYGON_S& poly, VCA_MASK_S& mask) {
    std::memset(&mask, 0, sizeof(mask));
    mask.result = polygon_convert_to_mask(&poly, mask.mask);
}

void set_common(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    vca::dump_banner("${--------------------- Common Cfg ---------------------}");
    cfg.DevType = dev_get_device_type();
    cfg.devWorkMode = msg.devWorkMode;
    cfg.srcImgWidth = 960;
    cfg.srcImgHeight = 544;
    std::copy(std::begin(msg.cscdMapSize), std::end(msg.cscdMapSize), cfg.cscdMapSize);
    cfg.HighInstall = dev_device_is_high_install() ? 1 : 0;
    if (msg.InstallHeight != cfg.InstallHeight) {
        dev_depth_map_reset();
        cfg.InstallHeight = msg.InstallHeight;
    }
    cfg.AcceleroEn = msg.AcceleroEn;
    cfg.TargetHeightMin = msg.TargetHeightMin;
    cfg.TargetHeightMax = msg.TargetHeightMax;
    cfg.StandAloneTrkMd = msg.StandAloneTrk != 0 ? VCA_POSITION_FOOT : VCA_POSITION_BOX;
    vca::dump_common(cfg);
}

void set_attributes(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    vca::dump_banner("${--------------------- Human Attr ---------------------}");
    cfg.StaffDetection = msg.StaffDetection;
    cfg.StaffDetectSens = msg.StaffDetectSens;
    cfg.GenderRecognize = msg.GenderRecognize;
    cfg.ChildDistinction = msg.ChildDistinction;
    cfg.ChildHeightThresh = msg.ChildHeightThresh;
    vca::dump_attributes(cfg);
}

// The host's enable is stored first and then replaced by the geometric test of build_segments.
void copy_polyline(const VCA_CFG_LINE_S& src, int line, VCA_DEV_CFG_S& cfg) {
    cfg.LineEn[line] = src.LineEn;
    cfg.line[line].Flip = src.Flip;
    for (int k = 0; k < VCA_LINE_PT_NUM; ++k) {
        VCA_LINE_PT_S& pt = cfg.line[line].pt[k];
        pt.x = src.pt[k].en != 0 ? src.pt[k].x : VCA_COORD_NONE;
        pt.y = src.pt[k].en != 0 ? src.pt[k].y : VCA_COORD_NONE;
    }
}

// One segment between each two successive points, up to the first point whose x is unused. A
// segment without a complete end point keeps the coordinate it has and loses its start.
void build_segments(int line, VCA_DEV_CFG_S& cfg) {
    const auto& pt = cfg.line[line].pt;
    std::fill_n(cfg.lineSeg[line], VCA_SEG_NUM, LINE_SEG_S{kNoPoint, kNoPoint});
    int with_y = 0;
    for (int k = 0; k < VCA_LINE_PT_NUM && is_valid(pt[k].x); ++k) {
        with_y += is_valid(pt[k].y) ? 1 : 0;
        if (k == VCA_SEG_NUM) break;
        LINE_SEG_S& seg = cfg.lineSeg[line][k];
        seg.start = {pt[k].x, pt[k].y};
        seg.end = {pt[k + 1].x, pt[k + 1].y};
        if (!is_valid(seg.end.x) || !is_valid(seg.end.y)) seg.start = kNoPoint;
    }
    cfg.LineEn[line] = with_y > 1 ? 1 : 0;
}

void set_lines(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    vca::dump_banner("${-------------------- Line Counting --------------------}");
    cfg.UturnFilter = 1;
    std::printf("${UturnFilter-*Deprecated}    = %d\n", cfg.UturnFilter);
    for (int i = 0; i < VCA_LINE_NUM; ++i)
        copy_polyline(msg.line[i], i, cfg);
    for (int i = 0; i < VCA_LINE_NUM; ++i) {
        build_segments(i, cfg);
        vca::dump_line(cfg, i);
    }
}

void set_uturn_areas(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    for (int i = 0; i < VCA_LINE_NUM; ++i) {
        POLYGON_S& poly = cfg.uturnRgn[i];
        copy_polygon(msg.line[i].uturn_pt, true, poly);
        poly.coord = 0;
        cfg.UturnEn[i] = msg.line[i].UturnEn;
        cfg.UturnRgnEn[i] = count_valid_points(poly) > 2 ? 1 : 0;
        std::printf("UturnEn=%d UturnRgn=%d ", cfg.UturnEn[i] != 0, cfg.UturnRgnEn[i]);
        rasterise(poly, cfg.uturnMask[i]);
    }
}

void set_groups(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    cfg.GroupEn = msg.GroupEn;
    cfg.GroupDistMax = line_group_obj_dist_max();
    cfg.GroupObjNumMin = msg.GroupObjNumMin;
    cfg.GroupObjNumMax = msg.GroupObjNumMax;
    cfg.GroupSpdTimesMax = 1.75f;
    vca::dump_groups(cfg);
}

void set_regions(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    vca::dump_banner("${--------------------- Rgn Counting ---------------------}");
    cfg.RgnEn = msg.RgnEn;
    std::printf("${Rgn En} = %d\n", cfg.RgnEn != 0);
    for (int i = 0; i < VCA_RGN_NUM; ++i) {
        const VCA_CFG_RGN_S& src = msg.rgn[i];
        POLYGON_S& poly = cfg.rgn[i];
        copy_polygon(src.pt, src.used != 0, poly);
        poly.coord = 0;
        cfg.RgnEnable[i] = src.en_a | src.en_b;
        if (count_valid_points(poly) < 3) cfg.RgnEnable[i] = 0;
        std::printf("\t[%d] En=%d ", i, cfg.RgnEnable[i] != 0);
        rasterise(poly, cfg.rgnMask[i]);
    }
}

void set_display(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    cfg.HtmpEn = msg.HtmpEn;
    cfg.CartEn = 0;
    cfg.PersonDetMode = 1;
    cfg.ShowDetectBox = msg.ShowDetectBox;
    cfg.ShowHistoryBox = msg.ShowHistoryBox;
    vca::dump_display(cfg);
}

void vca_algo_set_exclusion_region(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    vca::dump_banner("${--------------------- Exclusion Rgn ---------------------}");
    cfg.ExclTotalEn = msg.ExclTotalEn;
    std::printf("\tTotalEn=%d \n", cfg.ExclTotalEn != 0);
    for (int i = 0; i < VCA_EXCL_NUM; ++i) {
        const VCA_CFG_EXCL_S& src = msg.excl[i];
        POLYGON_S& poly = cfg.exclRgn[i];
        poly.coord = 1;
        copy_polygon(src.pt, true, poly);
        cfg.ExclEn[i] = count_valid_points(poly) > 2 ? 1 : 0;
        if (src.type == VCA_CFG_EXCL_DETECTIONS)
            cfg.ExclType[i] = VCA_EXCL_DETECTIONS;
        else if (src.type == VCA_CFG_EXCL_DEPTH)
            cfg.ExclType[i] = VCA_EXCL_DEPTH;
        else
            VCA_LOG("[%d]Err exclude tp=%d", i, static_cast<int>(src.type));
        std::printf("\t[%d] En=%d Type=%d ", i, cfg.ExclEn[i], cfg.ExclType[i]);
        rasterise(poly, cfg.exclMask[i]);
    }
}

void set_detect_model(const VCA_ALGO_CFG_S& msg, VCA_DEV_CFG_S& cfg) {
    const bool single = msg.DetectModel == VCA_DETECT_COLOUR || msg.DetectModel == VCA_DETECT_DEPTH;
    cfg.DetectModel = single ? msg.DetectModel : int32_t{VCA_DETECT_BOTH};
    std::printf("${Detect Model} = %d\n", cfg.DetectModel);
}

}  // namespace

void vca_algo_set_cfg_params(int, void* payload) {
    if (payload == nullptr) return;
    VCA_LOG("vca_algo_set_cfg_params");
    VCA_ALGO_CFG_S msg;
    std::memcpy(&msg, payload, sizeof(msg));
    VCA_DEV_CFG_S& cfg = vca::device_state().cfg;
    set_common(msg, cfg);
    set_attributes(msg, cfg);
    set_lines(msg, cfg);
    set_uturn_areas(msg, cfg);
    set_groups(msg, cfg);
    set_regions(msg, cfg);
    set_display(msg, cfg);
    vca_algo_set_exclusion_region(msg, cfg);
    set_detect_model(msg, cfg);
}

int32_t line_group_obj_dist_max(void) {
    const float t = 1.0f - dev_calc_install_height_ratio();
    return vca::counts_by_foot() ? av_calc_val(55, 250, t) : av_calc_val(65, 260, t);
}
