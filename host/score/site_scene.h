// Who is really on the floor of a simulated site.
#pragma once

#include "host/score/site_eval.h"
#include "host/settings/site.h"
#include "sim/simulator.h"

namespace host {

// Everybody on the floor, frame by frame.
class SiteScene {
  public:
    // Throws InputError like open_simulated_view().
    explicit SiteScene(const Site& site);

    // Fills number and people. False at the end.
    bool next(SiteFrame& frame);

  private:
    const Site& site_;
    sim::Simulator simulator_;
    sim::Frame frame_;
};

}  // namespace host
