// A simulated site: what each device's camera sees of it, and who is really there.
#pragma once

#include <memory>

#include "host/app/site.h"
#include "host/app/site_eval.h"
#include "host/frames/frame_source.h"
#include "sim/simulator.h"

namespace host {

// The frames of one device. People and crossings are left out: the truth is that of the site. All
// devices' frames of one number show the same moment. Throws InputError for a scene that does not
// exist, a frame rate that is not the scene's, or a camera that it cannot have.
std::unique_ptr<FrameSource> open_site_source(const Site& site, const SiteDevice& device);

// Everybody on the floor, frame by frame.
class SiteScene {
  public:
    // Throws InputError like open_site_source().
    explicit SiteScene(const Site& site);

    // Fills number and people. False at the end.
    bool next(SiteFrame& frame);

  private:
    const Site& site_;
    sim::Simulator simulator_;
    sim::Frame frame_;
};

}  // namespace host
