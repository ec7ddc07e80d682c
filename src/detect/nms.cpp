// Greedy non-maximum suppression, offered to the host's detectors.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "vca/detect.h"

int score_cmp(const void* a, const void* b) {
    const float diff =
        static_cast<const DET_OBJ_S*>(a)->score - static_cast<const DET_OBJ_S*>(b)->score;
    if (diff < 0.0f) return 1;
    return diff > 0.0f ? -1 : 0;
}

int32_t vca_nms_proc(DET_OBJECTS_S* in, float iou_thresh, DET_OBJECTS_S* out) {
    const int32_t num = std::clamp(in->num, 0, VCA_DET_MAX);
    std::qsort(in->objs, static_cast<size_t>(num), sizeof(DET_OBJ_S), score_cmp);
    bool suppressed[VCA_DET_MAX] = {};
    int32_t kept = 0;
    for (int32_t i = 0; i < num; ++i) {
        if (suppressed[i]) continue;
        out->objs[kept++] = in->objs[i];
        if (kept == VCA_DET_MAX) {
            std::printf("WRNING: too many detBoxes cause buf overflow!\n");
            return kept;
        }
        for (int32_t j = i + 1; j < num; ++j)
            if (vca_rgn_calc_IoU(&in->objs[i], &in->objs[j]) >= iou_thresh) suppressed[j] = true;
    }
    out->num = kept;
    return kept;
}
