// People counted on a line one after the other, for the tests of groups and results.
#ifndef TESTS_EVENT_GROUP_FIXTURE_H
#define TESTS_EVENT_GROUP_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/track/fixtures.h"

struct GroupFixture : testing::Test {
    std::unique_ptr<TRACKER_RSLT_S> trk = fix::new_track(1);

    void SetUp() override {
        fix::set_up_device();
        VCA_DEV_CFG_S& cfg = fix::cfg();
        cfg.GroupEn = 1;
        cfg.GroupDistMax = 100;
        cfg.GroupObjNumMin = 2;
        cfg.GroupObjNumMax = 10;
        vca_get_pCtrl_param()->frame_flag = 0x11223344;
        vca_get_pCtrl_param()->reserved1 = 0x55667788;
    }

    // Somebody at (x, 200) crosses; returns what was printed.
    std::vector<std::string> cross(int x, float speed, int line = 0, int direction = VCA_DIR_1) {
        trk->curObj = fix::centred(x, 200);
        trk->speed = speed;
        return fix::printed_by(
            [&] { vca_dev_add_counting_line_group(trk.get(), line, direction); });
    }

    // One end of a frame; returns what was printed.
    static std::vector<std::string> refresh() {
        return fix::printed_by([] { vca_event_counting_refresh_line_result(); });
    }

    static const std::vector<DEV_COUNTING_GROUP_S>& groups() {
        return *vca_dev_get_counting_groups();
    }

    static std::vector<size_t> sizes() {
        std::vector<size_t> members;
        for (const DEV_COUNTING_GROUP_S& group : groups())
            members.push_back(group.members.size());
        return members;
    }
};

#endif
