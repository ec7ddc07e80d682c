#include "bench/soak_crowd.h"

#include <algorithm>
#include <cmath>

namespace soak {
namespace {

constexpr int kBoxPx = 44;
constexpr int kInstallMm = 3000;

double uniform(Random& random, double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

POINT12 random_point(Random& random, int margin) {
    return {1, {}, draw(random, margin, kWidth - margin), draw(random, margin, kHeight - margin)};
}

template <int kCount>
void clear_points(POINT12 (&points)[kCount]) {
    for (POINT12& p : points)
        p = {0, {}, VCA_COORD_NONE, VCA_COORD_NONE};
}

// A polygon of 3 to 10 points around a place in the picture.
void draw_polygon(Random& random, POINT12 (&points)[VCA_POLY_PT_NUM]) {
    clear_points(points);
    const POINT12 centre = random_point(random, 150);
    const int corners = draw(random, 3, VCA_POLY_PT_NUM);
    for (int k = 0; k < corners; ++k) {
        const double angle = 2 * M_PI * k / corners;
        const double radius = uniform(random, 40, 150);
        points[k] = {1,
                     {},
                     centre.x + static_cast<int>(radius * std::cos(angle)),
                     centre.y + static_cast<int>(radius * std::sin(angle))};
    }
}

// A line of 2 to 5 points from the left of the picture to the right, or from top to bottom.
void draw_line(Random& random, VCA_CFG_LINE_S& line) {
    const int points = draw(random, 2, VCA_LINE_PT_NUM);
    const bool across = once_in(random, 2);
    for (int k = 0; k < points; ++k) {
        const int along = 20 + k * ((across ? kWidth : kHeight) - 40) / (points - 1);
        const int off = draw(random, 60, (across ? kHeight : kWidth) - 60);
        line.pt[k] = across ? POINT12{1, {}, along, off} : POINT12{1, {}, off, along};
    }
    line.LineEn = 1;
    line.Flip = once_in(random, 2);
    line.UturnEn = once_in(random, 3);
    if (line.UturnEn != 0 && !once_in(random, 3)) draw_polygon(random, line.uturn_pt);
}

VCA_ALGO_CFG_S empty_config(int mode) {
    VCA_ALGO_CFG_S cfg{};
    cfg.devWorkMode = mode;
    cfg.InstallHeight = kInstallMm;
    cfg.TargetHeightMin = 500;
    cfg.TargetHeightMax = 2500;
    cfg.GroupObjNumMin = 2;
    cfg.GroupObjNumMax = 10;
    cfg.cscdMapSize[2] = kWidth;
    cfg.cscdMapSize[3] = kHeight;
    for (VCA_CFG_LINE_S& line : cfg.line) {
        clear_points(line.pt);
        clear_points(line.uturn_pt);
    }
    for (VCA_CFG_RGN_S& rgn : cfg.rgn)
        clear_points(rgn.pt);
    for (VCA_CFG_EXCL_S& excl : cfg.excl)
        clear_points(excl.pt);
    return cfg;
}

}  // namespace

int draw(Random& random, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
}

bool once_in(Random& random, int n) {
    return draw(random, 1, n) == 1;
}

void Crowd::add() {
    Person person{};
    const double speed = uniform(random_, 2, 14);
    const double aside = uniform(random_, -3, 3);
    switch (draw(random_, 0, 3)) {
        case 0:
            person = {uniform(random_, 30, kWidth - 30), 5, aside, speed, 0, 0};
            break;
        case 1:
            person = {uniform(random_, 30, kWidth - 30), kHeight - 5.0, aside, -speed, 0, 0};
            break;
        case 2:
            person = {5, uniform(random_, 30, kHeight - 30), speed, aside, 0, 0};
            break;
        default:
            person = {kWidth - 5.0, uniform(random_, 30, kHeight - 30), -speed, aside, 0, 0};
    }
    // One in ten is a child.
    person.height_mm = once_in(random_, 10) ? draw(random_, 900, 1300) : draw(random_, 1550, 1900);
    people_.push_back(person);
}

void Crowd::step() {
    for (int k = 0; k < 3 && size() < target_; ++k)
        add();
    for (Person& person : people_) {
        if (person.stands > 0) {
            --person.stands;
            continue;
        }
        person.x += person.vx;
        person.y += person.vy;
        if (once_in(random_, 200)) person.stands = draw(random_, 5, 120);
        if (once_in(random_, 300)) {  // turns back
            person.vx = -person.vx;
            person.vy = -person.vy;
        }
    }
    std::erase_if(people_, [](const Person& p) {
        return p.x < 0 || p.y < 0 || p.x >= kWidth || p.y >= kHeight;
    });
    // Too many: now and then somebody is gone in the middle of the picture.
    if (size() > target_ && once_in(random_, 4))
        people_.erase(people_.begin() + draw(random_, 0, size() - 1));
}

void Crowd::detect(VCA_NN_RESULT_S& result) {
    DET_OBJECTS_S& out = result.objects;
    out.num = 0;
    for (const Person& person : people_) {
        if (out.num == VCA_DET_MAX || once_in(random_, 30)) continue;
        DET_OBJ_S box{};
        box.w = kBoxPx + draw(random_, -3, 3);
        box.h = kBoxPx + draw(random_, -3, 3);
        box.x = static_cast<int>(person.x) - box.w / 2 + draw(random_, -2, 2);
        box.y = static_cast<int>(person.y) - box.h / 2 + draw(random_, -2, 2);
        box.area = box.w * box.h;
        box.class_id = person.height_mm < 1500 ? 2 : 1;
        box.score = static_cast<float>(uniform(random_, 0.3, 0.99));
        out.objs[out.num] = out.raw_objs[out.num] = box;
        ++out.num;
    }
}

void Crowd::draw_depth(std::vector<uint16_t>& depth_mm) {
    depth_mm.assign(kDepthWidth * kDepthHeight, kInstallMm);
    const int dead_row = draw(random_, 0, kDepthHeight - 1);  // a row without measurements
    std::fill_n(depth_mm.begin() + dead_row * kDepthWidth, kDepthWidth, uint16_t{0});
    for (const Person& person : people_) {
        const int x0 = std::clamp(static_cast<int>(person.x - kBoxPx / 2) / 2, 0, kDepthWidth);
        const int x1 = std::clamp(static_cast<int>(person.x + kBoxPx / 2) / 2, 0, kDepthWidth);
        const int top = static_cast<int>(person.y - kBoxPx / 2) * kDepthHeight / kHeight;
        const int bottom = static_cast<int>(person.y + kBoxPx / 2) * kDepthHeight / kHeight;
        const auto head_mm = static_cast<uint16_t>(kInstallMm - person.height_mm);
        for (int y = std::max(top, 0); y < std::min(bottom, kDepthHeight); ++y)
            std::fill(&depth_mm[0] + y * kDepthWidth + x0, &depth_mm[0] + y * kDepthWidth + x1,
                      head_mm);
    }
}

MASTER_MSG_S Crowd::slave_report(int index, int slaves, uint32_t frame) {
    MASTER_MSG_S report{};
    report.slave_idx = static_cast<uint32_t>(index);
    report.msg.frame = frame;
    for (size_t k = 0; k < people_.size() && report.msg.count < VCA_SLAVE_TRACK_MAX; ++k) {
        if (static_cast<int>(k) % slaves != index) continue;
        // Every other one stands where the master does not look.
        const int away = k % 2 == 0 ? 0 : 1100 + 40 * index;
        SLAVE_TRACK_S& track = report.msg.tracks[report.msg.count++];
        track.track_id = static_cast<uint32_t>(k + 1);
        track.class_id = VCA_CLASS_PERSON;
        track.score = 0.9f;
        track.gender = draw(random_, VCA_GENDER_UNKNOWN, VCA_GENDER_FEMALE);
        track.height = static_cast<float>(people_[k].height_mm);
        track.staff = once_in(random_, 20);
        track.cx = static_cast<int>(people_[k].x) + away + draw(random_, -5, 5);
        track.cy = static_cast<int>(people_[k].y) + draw(random_, -5, 5);
        track.foot_x = track.cx;
        track.foot_y = track.cy;
    }
    return report;
}

VCA_ALGO_CFG_S draw_config(Random& random, int mode) {
    const auto flag = [&random] { return static_cast<uint8_t>(once_in(random, 2)); };
    VCA_ALGO_CFG_S cfg = empty_config(mode);
    if (once_in(random, 4)) cfg.InstallHeight = draw(random, 2000, 6000);
    cfg.StandAloneTrk = flag();
    cfg.GenderRecognize = flag();
    cfg.StaffDetection = flag();
    cfg.GroupEn = flag();
    cfg.GroupObjNumMin = draw(random, 1, 3);
    cfg.GroupObjNumMax = draw(random, 3, 12);
    cfg.HtmpEn = flag();
    cfg.RgnEn = flag();
    cfg.ShowDetectBox = flag();
    cfg.ShowHistoryBox = flag();
    cfg.ExclTotalEn = flag();
    cfg.DetectModel = draw(random, 0, 2);
    for (VCA_CFG_LINE_S& line : cfg.line)
        if (flag() != 0) draw_line(random, line);
    for (VCA_CFG_RGN_S& rgn : cfg.rgn) {
        rgn.used = rgn.en_a = flag();
        if (rgn.used != 0) draw_polygon(random, rgn.pt);
    }
    for (VCA_CFG_EXCL_S& excl : cfg.excl) {
        excl.type = flag();
        if (once_in(random, 4)) draw_polygon(random, excl.pt);
    }
    if (mode != 0 && flag() != 0) {
        cfg.cscdMapSize[2] = 3000;
        cfg.cscdMapSize[3] = 1600;
    }
    return cfg;
}

VCA_ALGO_CFG_S everything_on(int mode) {
    VCA_ALGO_CFG_S cfg = empty_config(mode);
    for (int k = 0; k < VCA_LINE_NUM; ++k) {
        cfg.line[k].LineEn = 1;
        cfg.line[k].pt[0] = {1, {}, 20, 130 + 90 * k};
        cfg.line[k].pt[1] = {1, {}, 940, 130 + 90 * k};
    }
    for (int k = 0; k < VCA_RGN_NUM; ++k) {
        VCA_CFG_RGN_S& rgn = cfg.rgn[k];
        const int x = 40 + 220 * k;
        rgn.used = rgn.en_a = 1;
        rgn.pt[0] = {1, {}, x, 60};
        rgn.pt[1] = {1, {}, x + 200, 80};
        rgn.pt[2] = {1, {}, x + 180, 480};
        rgn.pt[3] = {1, {}, x + 20, 460};
    }
    cfg.GroupEn = cfg.RgnEn = cfg.HtmpEn = 1;
    cfg.GenderRecognize = cfg.StaffDetection = 1;
    cfg.ShowDetectBox = cfg.ShowHistoryBox = 1;
    return cfg;
}

}  // namespace soak
