// Box geometry and interpolation by installation height.
#include <algorithm>
#include <cmath>

#include "detect/box.h"
#include "vca/config.h"
#include "vca/debug.h"
#include "vca/detect.h"

using vca::box_center;
using vca::to_i32;
using vca::wrap_add;
using vca::wrap_mul;
using vca::wrap_sub;

namespace {

// Length of the overlap of [a, a + a_len) and [b, b + b_len), 0 when they do not meet.
int32_t overlap(int32_t a, int32_t a_len, int32_t b, int32_t b_len) {
    const int32_t end = std::min(wrap_add(a, a_len), wrap_add(b, b_len));
    return std::max(0, wrap_sub(end, std::max(a, b)));
}

}  // namespace

float vca_rgn_calc_IoU(const DET_OBJ_S* a, const DET_OBJ_S* b) {
    const int32_t iw = overlap(a->x, a->w, b->x, b->w);
    const int32_t ih = overlap(a->y, a->h, b->y, b->h);
    const auto inter = static_cast<float>(wrap_mul(iw, ih));
    const auto area_a = static_cast<float>(wrap_mul(a->w, a->h));
    const auto area_b = static_cast<float>(wrap_mul(b->w, b->h));
    return inter / (area_a + area_b - inter);
}

int32_t vca_calc_point_pos_dis(const POINT_POS_S* p, const POINT_POS_S* q) {
    return to_i32(std::sqrt(static_cast<double>(vca_calc_point_pos_dis_square(p, q))));
}

int32_t vca_calc_point_pos_dis_square(const POINT_POS_S* p, const POINT_POS_S* q) {
    const int32_t dx = wrap_sub(p->x, q->x);
    const int32_t dy = wrap_sub(p->y, q->y);
    return wrap_add(wrap_mul(dx, dx), wrap_mul(dy, dy));
}

int32_t vca_calc_bbox_center_dis(const DET_OBJ_S* a, const DET_OBJ_S* b) {
    const POINT_POS_S p = box_center(*a);
    const POINT_POS_S q = box_center(*b);
    return vca_calc_point_pos_dis(&p, &q);
}

void dev_bbox_adjust_rect(DET_OBJ_S* box, int32_t size) {
    const POINT_POS_S center = box_center(*box);
    box->w = size;
    box->h = size;
    box->x = wrap_sub(center.x, size / 2);
    box->y = wrap_sub(center.y, size / 2);
    box->area = wrap_mul(size, size);
}

float dev_calc_install_height_ratio(void) {
    const int32_t height = av_limit_min_max(vca_dev_get_install_height(), 2000, 6000);
    return static_cast<float>(height - 2000) / 4000.0f;
}

int32_t dev_foot_get_event_size(void) {
    return av_calc_val(40, 90, 1.0f - dev_calc_install_height_ratio());
}

int32_t av_calc_val(int32_t lo, int32_t hi, float t) {
    if (t < 0.0f) t = 0.0f;
    if (t > 1.0f) t = 1.0f;
    const float span = static_cast<float>(wrap_sub(hi, lo));
    const int32_t v = to_i32(std::fma(span, t, static_cast<float>(lo)) + 0.5f);
    return av_limit_min_max(v, std::min(lo, hi), std::max(lo, hi));
}

int32_t av_calc_set_val(int32_t a, int32_t b, int32_t c, float t) {
    if (t <= 0.5f)
        return to_i32(static_cast<float>(wrap_sub(b, a)) * t * 2.0f + static_cast<float>(a));
    return to_i32(static_cast<float>(wrap_sub(c, b)) * (t - 0.5f) * 2.0f + static_cast<float>(b));
}
