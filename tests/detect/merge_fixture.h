// Three detection lists and a device around the merge of colour and depth detections.
#ifndef TESTS_DETECT_MERGE_FIXTURE_H
#define TESTS_DETECT_MERGE_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/track/fixtures.h"

struct MergeFixture : testing::Test {
    std::unique_ptr<DET_OBJECTS_S> real = std::make_unique<DET_OBJECTS_S>();
    std::unique_ptr<DET_OBJECTS_S> depth = std::make_unique<DET_OBJECTS_S>();
    std::unique_ptr<DET_OBJECTS_S> out = std::make_unique<DET_OBJECTS_S>();

    void SetUp() override { fix::set_up_device(); }

    static void add(std::unique_ptr<DET_OBJECTS_S>& list, const DET_OBJ_S& obj) {
        list->objs[list->num++] = obj;
    }

    int merge() { return vca_obj_merge_real_depth_rslt(real.get(), depth.get(), out.get()); }

    std::vector<fix::Rect> merged() const {
        std::vector<fix::Rect> rects;
        for (int i = 0; i < out->num; ++i)
            rects.push_back(fix::rect(out->objs[i]));
        return rects;
    }
};

#endif
