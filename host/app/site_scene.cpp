// Cameras of the simulator over one floor.
#include "host/app/site_scene.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include "host/app/site_config.h"
#include "host/app/site_map.h"

namespace host {
namespace {

sim::Simulator open_view(const Site& site, const SiteDevice& device) {
    if (std::abs(device.focal_px - sim::kDefaultFocalPx) > 0.01) {
        throw InputError(device.place + " has focal_px " + plain_number(device.focal_px) +
                         "; simulated cameras have 514.737, leave it out");
    }
    try {
        sim::Simulator view = sim::make_site_view(
            site.scene, site.seed,
            {device.height_mm / 1000.0, device.at.x_m, device.at.y_m, device.rotation_deg});
        if (std::abs(view.info().fps - site.frames_per_second) > 0.01) {
            throw InputError("frames_per_second of the site \"" + site.name + "\" is " +
                             plain_number(site.frames_per_second) + "; the scene \"" + site.scene +
                             "\" has " + plain_number(view.info().fps));
        }
        return view;
    } catch (const std::invalid_argument& e) {
        throw InputError(device.place + ": " + e.what());
    }
}

class SiteSource final : public FrameSource {
  public:
    SiteSource(const Site& site, const SiteDevice& device) : simulator_(open_view(site, device)) {
        const sim::SceneInfo& scene = simulator_.info();
        // Pixel (u, v) of the picture is depth pixel (u * 480 / 960, v * 256 / 544).
        constexpr double kAcross = static_cast<double>(sim::kDepthWidth) / sim::kColourWidth;
        constexpr double kDown = static_cast<double>(sim::kDepthHeight) / sim::kColourHeight;
        info_.kind = "site";
        info_.name = device.name;
        info_.description = scene.description;
        info_.frames_per_second = scene.fps;
        info_.duration_s = scene.duration_s;
        info_.camera = {device.focal_px * kAcross, device.focal_px * kDown, sim::kCentreU * kAcross,
                        sim::kCentreV * kDown, device.height_mm};
        info_.lines = device.master ? master_lines(site) : own_lines(site, device);
        info_.regions = device.master ? master_regions(site) : own_regions(site, device);
        info_.group_counting = site.group_counting;
        info_.has_colour = true;
        simulator_.leave_out_bgr();
    }

    bool next(SourceFrame& frame) override {
        // The simulator fills the memory of the frame before, whose size it finds right.
        swap_planes(frame);
        const bool more = simulator_.next(frame_);
        swap_planes(frame);
        if (!more) return false;
        frame.number = frame_.index;
        frame.time_s = frame_.time_s;
        frame.planes.blank = false;
        frame.people.clear();
        frame.crossings.clear();
        return true;
    }

    void skip(std::int64_t frames) override {
        while (frames-- > 0 && simulator_.next_truth(frame_)) {
        }
    }

  private:
    void swap_planes(SourceFrame& frame) {
        frame_.nv12.swap(frame.planes.colour_nv12);
        frame_.depth_nv12.swap(frame.planes.depth_nv12);
        frame_.raw_mm.swap(frame.planes.raw_mm);
    }

    sim::Simulator simulator_;
    sim::Frame frame_;
};

}  // namespace

std::unique_ptr<FrameSource> open_site_source(const Site& site, const SiteDevice& device) {
    return std::make_unique<SiteSource>(site, device);
}

SiteScene::SiteScene(const Site& site)
    : site_(site), simulator_(open_view(site, master_of(site))) {}

bool SiteScene::next(SiteFrame& frame) {
    if (!simulator_.next_truth(frame_)) return false;
    frame.number = frame_.index;
    frame.people.clear();
    for (const sim::PersonTruth& person : frame_.truth) {
        frame.people.push_back(
            {person.id, {person.site.x_m, person.site.y_m}, person.height_mm, 0});
    }
    count_views(site_, frame.people);
    return true;
}

}  // namespace host
