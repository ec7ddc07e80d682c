#include "bench/crowd.h"

#include <algorithm>
#include <cmath>

namespace bench {
namespace {

constexpr int kDepthWidth = 480;
constexpr int kDepthHeight = 256;
constexpr int kPicture[] = {960, 544};
constexpr int kBox_px = 44;
constexpr int kStride_px = 50;  // from one end of a walk to the other
constexpr int kEmptyFrames = 6;

// The library adds 210 mm to what it measures at 6 m, so that everybody becomes 1700 mm tall.
constexpr uint16_t kHead_mm = kInstall_mm - 1700 + 210;

// How far from the picture's middle the feet are, of the distance at which the head is seen.
constexpr float kFootShare = 1.0f - 1700.0f / kInstall_mm;

// Of a master's devices neighbours on the grid have their feet 64 px apart, more than the 60 px
// within which two devices' people count as one.
struct Grid {
    int columns;
    int rows;
    bool by_column;  // places are numbered down the columns
    int spacing_px[2];
    int origin_px[2];  // centre of place 0 at the upper end of its walk
};

constexpr Grid kInPicture = {14, 8, false, {64, 60}, {52, 46}};
constexpr Grid kOverDevices = {20, 5, true, {90, 90}, {34, 54}};

const Grid& grid_of(VCA_WORK_MODE_E mode) {
    return mode == VCA_WORK_MASTER ? kOverDevices : kInPicture;
}

// Rows of the grid on whose middle a counting line runs; halves are between two rows.
constexpr float kLineRows[2][VCA_LINE_NUM] = {{0, 2, 4, 6}, {0, 1.5f, 3, 4.5f}};

int32_t to_feet(int32_t head, int axis) {
    const int middle = kPicture[axis] / 2;
    return middle +
           static_cast<int32_t>(std::lround(kFootShare * static_cast<float>(head - middle)));
}

int32_t to_head(int32_t feet, int axis) {
    const int middle = kPicture[axis] / 2;
    return middle +
           static_cast<int32_t>(std::lround(static_cast<float>(feet - middle) / kFootShare));
}

// From 0 to kStride_px and back over the walk, so that the last frame meets the first.
int32_t along_walk(int frame) {
    const int phase = frame % kWalkFrames;
    const int half = kWalkFrames / 2;
    return kStride_px * (phase < half ? phase : kWalkFrames - phase) / half;
}

void draw_head(const DET_OBJ_S& box, std::vector<uint16_t>& depth_mm) {
    const int x0 = std::max(box.x / 2, 0);
    const int y0 = box.y * kDepthHeight / kPicture[1];
    for (int y = y0; y < std::min(y0 + kBox_px / 2, kDepthHeight); ++y)
        for (int x = x0; x < std::min(x0 + kBox_px / 2, kDepthWidth); ++x)
            depth_mm[static_cast<size_t>(y * kDepthWidth + x)] = kHead_mm;
}

POINT12 point(int32_t x, int32_t y) {
    return {1, {}, x, y};
}

void set_quad(POINT12 (&pt)[VCA_POLY_PT_NUM], int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    pt[0] = point(x0, y0);
    pt[1] = point(x1, y0 + 20);
    pt[2] = point(x1 - 20, y1);
    pt[3] = point(x0 + 20, y1 - 20);
}

}  // namespace

Crowd::Crowd(int people, VCA_WORK_MODE_E mode) : people_(people), mode_(mode) {
    const View view = own_view();
    for (int frame = 0; frame < kWalkFrames; ++frame) {
        depth_mm_.emplace_back(kDepthWidth * kDepthHeight, uint16_t{kInstall_mm});
        for (int place = view.first; place < view.last; ++place)
            draw_head(box_at(place, frame), depth_mm_.back());
    }
}

// The turns of the places are spread over the stay, so that people come one at a time.
int32_t Crowd::id_at(int place, int frame) const {
    const int time = frame + kStayFrames * (place + 1) / (people_ + 1);
    if (time % kStayFrames < kEmptyFrames && time >= kStayFrames) return 0;
    return 1 + place + people_ * (time / kStayFrames);
}

// Neighbouring columns are at different points of their walk.
POINT_POS_S Crowd::centre_at(int place, int frame) const {
    const Grid& grid = grid_of(mode_);
    const int column = grid.by_column ? place / grid.rows : place % grid.columns;
    const int row = grid.by_column ? place % grid.rows : place / grid.columns;
    return {grid.origin_px[0] + column * grid.spacing_px[0],
            grid.origin_px[1] + row * grid.spacing_px[1] + along_walk(frame + 9 * column)};
}

DET_OBJ_S Crowd::box_at(int place, int frame) const {
    const POINT_POS_S centre = centre_at(place, frame);
    DET_OBJ_S box{};
    box.x = centre.x - kBox_px / 2;
    box.y = centre.y - kBox_px / 2;
    box.w = kBox_px;
    box.h = kBox_px;
    box.area = box.w * box.h;
    box.class_id = VCA_CLASS_PERSON;
    box.score = 0.9f;
    return box;
}

const uint16_t* Crowd::depth_mm(int frame) const {
    return depth_mm_[static_cast<size_t>(frame % kWalkFrames)].data();
}

int Crowd::place_of_box(POINT_POS_S centre) const {
    const Grid& grid = grid_of(mode_);
    const int dx = centre.x - grid.origin_px[0] + grid.spacing_px[0] / 2;
    const int dy = centre.y - grid.origin_px[1] + (grid.spacing_px[1] - kStride_px) / 2;
    const int column = std::clamp(dx / grid.spacing_px[0], 0, grid.columns - 1);
    const int row = std::clamp(dy / grid.spacing_px[1], 0, grid.rows - 1);
    const int place = grid.by_column ? column * grid.rows + row : row * grid.columns + column;
    return std::min(place, people_ - 1);
}

int Crowd::place_of_feet(POINT_POS_S feet) const {
    return place_of_box({to_head(feet.x, 0), to_head(feet.y, 1)});
}

View Crowd::own_view() const {
    return {0, mode_ == VCA_WORK_MASTER ? std::max(people_ / 2, 1) : people_};
}

View Crowd::slave_view(int slave) const {
    const int width = std::max(people_ * 39 / 100, 1);
    const int first = slave == 0 ? people_ * 36 / 100 : people_ - width;
    return {first, first + width};
}

// Two devices never see the very same; a few pixels lie between their reports.
MASTER_MSG_S Crowd::report_of_slave(int slave, int frame) const {
    MASTER_MSG_S report{};
    report.slave_idx = static_cast<uint32_t>(slave);
    report.msg.frame = static_cast<uint32_t>(frame);
    const View view = slave_view(slave);
    for (int place = view.first; place < view.last; ++place) {
        const int32_t id = id_at(place, frame);
        if (id == 0) continue;
        const POINT_POS_S centre = centre_at(place, frame);
        SLAVE_TRACK_S& track = report.msg.tracks[report.msg.count++];
        track.track_id = static_cast<uint32_t>(id);
        track.class_id = VCA_CLASS_PERSON;
        track.score = 0.9f;
        track.height = 1700.0f;
        track.cx = centre.x;
        track.cy = centre.y;
        track.foot_x = to_feet(centre.x, 0) + (place + slave) % 5 - 2;
        track.foot_y = to_feet(centre.y, 1) + (place + 2 * slave) % 3 - 1;
    }
    return report;
}

VCA_ALGO_CFG_S Crowd::counting_config() const {
    const Grid& grid = grid_of(mode_);
    VCA_ALGO_CFG_S cfg{};
    cfg.devWorkMode = mode_;
    cfg.DetectModel = VCA_DETECT_COLOUR;
    cfg.InstallHeight = kInstall_mm;
    cfg.TargetHeightMin = 800;
    cfg.TargetHeightMax = 2200;
    cfg.StandAloneTrk = 1;
    cfg.GroupEn = 1;
    cfg.GroupObjNumMin = 2;
    cfg.GroupObjNumMax = 5;
    cfg.cscdMapSize[2] = mode_ == VCA_WORK_MASTER ? 1440 : kPicture[0];
    cfg.cscdMapSize[3] = kPicture[1];
    const int right = cfg.cscdMapSize[2];
    for (int line = 0; line < VCA_LINE_NUM; ++line) {
        const float rows = kLineRows[mode_ == VCA_WORK_MASTER ? 1 : 0][line];
        const auto down = static_cast<int32_t>(rows * static_cast<float>(grid.spacing_px[1]));
        const int32_t y = to_feet(grid.origin_px[1] + down + kStride_px / 2, 1);
        cfg.line[line].pt[0] = point(20, y);
        cfg.line[line].pt[1] = point(right / 2, y + 1);
        cfg.line[line].pt[2] = point(right - 20, y);
    }
    return cfg;
}

VCA_ALGO_CFG_S Crowd::everything_config() const {
    VCA_ALGO_CFG_S cfg = counting_config();
    const int32_t width = cfg.cscdMapSize[2];
    cfg.DetectModel = VCA_DETECT_BOTH;
    cfg.GenderRecognize = 1;
    cfg.StaffDetection = 1;
    cfg.HtmpEn = 1;
    cfg.RgnEn = 1;
    for (int region = 0; region < VCA_RGN_NUM; ++region) {
        cfg.rgn[region].used = cfg.rgn[region].en_a = 1;
        const int32_t x = width * region / 5 + width / 10;
        set_quad(cfg.rgn[region].pt, x, 60, x + width / 4, 480);
    }
    for (int line = 1; line < 3; ++line) {
        cfg.line[line].UturnEn = 1;
        const int32_t y = cfg.line[line].pt[0].y;
        set_quad(cfg.line[line].uturn_pt, 20, y - 60, width - 20, y + 60);
    }
    cfg.ExclTotalEn = 1;
    set_quad(cfg.excl[0].pt, 900, 500, 955, 535);
    set_quad(cfg.excl[1].pt, 0, 500, 55, 535);
    cfg.excl[1].type = 1;
    cfg.ShowDetectBox = 1;
    cfg.ShowHistoryBox = 1;
    return cfg;
}

}  // namespace bench
