// Builds configuration payloads for tests.
#ifndef TESTS_SUPPORT_TEST_CONFIG_H
#define TESTS_SUPPORT_TEST_CONFIG_H

#include <vector>

#include "vca/config.h"

namespace test {

struct Point {
    int x;
    int y;
};

// Stand-alone device at 3000 mm over a map of 960 x 544, target heights 500 to 2500 mm; no line,
// region or exclusion, every point disabled and at VCA_COORD_NONE.
VCA_ALGO_CFG_S plain_config();

// Enables the leading points of a line.
void set_line(VCA_ALGO_CFG_S& cfg, int line, const std::vector<Point>& points, bool flip = false);

// Enables U-turn filtering on a line, with an area unless `points` is empty.
void set_uturn(VCA_ALGO_CFG_S& cfg, int line, const std::vector<Point>& points);

void set_region(VCA_ALGO_CFG_S& cfg, int region, const std::vector<Point>& points);

// Also sets ExclTotalEn. `type` is the payload's: 0 drops detections, 1 leaves out depth.
void set_exclusion(VCA_ALGO_CFG_S& cfg, int excl, uint32_t type, const std::vector<Point>& points);

// Applies a configuration directly through the handler, for tests without a running task.
void apply_config(const VCA_ALGO_CFG_S& cfg);

}  // namespace test

#endif
