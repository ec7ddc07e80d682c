// The scene entrance, a few frames at a time, and what a session needs to count at its lines.
#pragma once

#include <cstdint>
#include <memory>

#include "host/engine/session.h"
#include "host/frames/frame_source.h"
#include "vca/config.h"

namespace test {

// What the host would send, as far as counting at the source's own lines goes.
inline VCA_ALGO_CFG_S config_of(const host::SourceInfo& info) {
    VCA_ALGO_CFG_S cfg{};
    cfg.InstallHeight = static_cast<std::int32_t>(info.camera.height_mm.value_or(3000.0));
    cfg.TargetHeightMin = 500;
    cfg.TargetHeightMax = 2500;
    cfg.StandAloneTrk = 1;
    cfg.GroupEn = 1;
    cfg.GroupObjNumMin = 2;
    cfg.GroupObjNumMax = 10;
    cfg.HtmpEn = 1;
    cfg.cscdMapSize[2] = 960;
    cfg.cscdMapSize[3] = 544;
    cfg.ShowHistoryBox = 1;
    cfg.DetectModel = VCA_DETECT_DEPTH;  // depth alone, which is the quickest
    for (std::size_t i = 0; i < info.lines.size(); ++i) {
        cfg.line[i].LineEn = 1;
        for (std::size_t k = 0; k < info.lines[i].points.size(); ++k) {
            const host::PicturePoint& p = info.lines[i].points[k];
            cfg.line[i].pt[k] = {
                1, {}, static_cast<std::int32_t>(p.x), static_cast<std::int32_t>(p.y)};
        }
    }
    return cfg;
}

// Feeds the scene on from where it stopped; set how many frames before each time.
class SceneFrames final : public host::FrameFeed {
  public:
    SceneFrames() {
        host::SourceOptions options;
        options.scene = "entrance";
        source_ = host::open_source(options);
        source_->count_truth(source_->info().lines);
    }

    const host::SourceInfo& info() const { return source_->info(); }
    void set_frames(int frames) { left_ = frames; }

    bool next(host::SourceFrame& frame) override { return left_-- > 0 && source_->next(frame); }

    host::SessionSetup session_setup() const {
        host::SessionSetup setup;
        setup.config = config_of(info());
        setup.camera = info().camera;
        return setup;
    }

  private:
    std::unique_ptr<host::FrameSource> source_;
    int left_ = 0;
};

}  // namespace test
