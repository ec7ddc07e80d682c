// Builds configuration payloads for tests.
#include "tests/support/test_config.h"

namespace test {
namespace {

template <int kCount>
void clear_points(POINT12 (&points)[kCount]) {
    for (auto& p : points)
        p = {0, {}, VCA_COORD_NONE, VCA_COORD_NONE};
}

template <int kCount>
void put_points(POINT12 (&dst)[kCount], const std::vector<Point>& src) {
    clear_points(dst);
    for (size_t i = 0; i < src.size() && i < kCount; ++i)
        dst[i] = {1, {}, src[i].x, src[i].y};
}

}  // namespace

VCA_ALGO_CFG_S plain_config() {
    VCA_ALGO_CFG_S cfg{};
    cfg.InstallHeight = 3000;
    cfg.TargetHeightMin = 500;
    cfg.TargetHeightMax = 2500;
    cfg.GroupObjNumMin = 2;
    cfg.GroupObjNumMax = 10;
    cfg.cscdMapSize[2] = 960;
    cfg.cscdMapSize[3] = 544;
    for (auto& line : cfg.line) {
        clear_points(line.pt);
        clear_points(line.uturn_pt);
    }
    for (auto& rgn : cfg.rgn)
        clear_points(rgn.pt);
    for (auto& excl : cfg.excl)
        clear_points(excl.pt);
    return cfg;
}

void set_line(VCA_ALGO_CFG_S& cfg, int line, const std::vector<Point>& points, bool flip) {
    cfg.line[line].LineEn = 1;
    cfg.line[line].Flip = flip;
    put_points(cfg.line[line].pt, points);
}

void set_uturn(VCA_ALGO_CFG_S& cfg, int line, const std::vector<Point>& points) {
    cfg.line[line].UturnEn = 1;
    put_points(cfg.line[line].uturn_pt, points);
}

void set_region(VCA_ALGO_CFG_S& cfg, int region, const std::vector<Point>& points) {
    cfg.RgnEn = 1;
    cfg.rgn[region].used = 1;
    cfg.rgn[region].en_a = 1;
    put_points(cfg.rgn[region].pt, points);
}

void set_exclusion(VCA_ALGO_CFG_S& cfg, int excl, uint32_t type, const std::vector<Point>& points) {
    cfg.ExclTotalEn = 1;
    cfg.excl[excl].type = type;
    put_points(cfg.excl[excl].pt, points);
}

void apply_config(const VCA_ALGO_CFG_S& cfg) {
    VCA_ALGO_CFG_S copy = cfg;
    vca_algo_set_cfg_params(0, &copy);
}

}  // namespace test
