// Cameras of the simulator over one floor.
#include "host/frames/site_view.h"

#include <cmath>
#include <stdexcept>

#include "host/base/text.h"

namespace host {
namespace {

class SiteView final : public FrameSource {
  public:
    explicit SiteView(const SiteViewSetup& setup) : simulator_(open_simulated_view(setup)) {
        const sim::SceneInfo& scene = simulator_.info();
        // Pixel (u, v) of the picture is depth pixel (u * 480 / 960, v * 256 / 544).
        constexpr double kAcross = static_cast<double>(sim::kDepthWidth) / sim::kColourWidth;
        constexpr double kDown = static_cast<double>(sim::kDepthHeight) / sim::kColourHeight;
        info_.kind = "site";
        info_.name = setup.name;
        info_.description = scene.description;
        info_.frames_per_second = scene.fps;
        info_.duration_s = scene.duration_s;
        info_.camera = {setup.focal_px * kAcross, setup.focal_px * kDown, sim::kCentreU * kAcross,
                        sim::kCentreV * kDown, setup.camera.height_m * 1000.0};
        info_.has_colour = true;
        info_.black_mm = 1100.0 * setup.camera.height_m;
        simulator_.leave_out_bgr();
    }

    bool next(SourceFrame& frame) override {
        // The simulator fills the memory of the previous frame, which already has the right size.
        swap_planes(frame);
        const bool more = simulator_.next(frame_);
        swap_planes(frame);
        if (!more) return false;
        frame.number = frame_.index;
        frame.time_s = whole_microseconds(frame_.time_s);
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

void check_scene(const Placed<std::string>& scene) {
    std::string known;
    for (const std::string& name : sim::site_names()) {
        if (name == scene.value) return;
        known += (known.empty() ? "" : " or ") + name;
    }
    throw InputError(scene.place_or("the scene \"" + scene.value + "\"") + " is not known; write " +
                     known);
}

}  // namespace

sim::Simulator open_simulated_view(const SiteViewSetup& setup) {
    if (std::abs(setup.focal_px - sim::kDefaultFocalPx) > 0.01) {
        throw InputError(setup.place + " has focal_px " + plain_number(setup.focal_px) +
                         "; simulated cameras have 514.737, leave it out");
    }
    check_scene(setup.scene);
    try {
        sim::Simulator view = sim::make_site_view(setup.scene.value, setup.seed, setup.camera);
        // A shorter run is ended by its caller, as with a scene.
        if (setup.seconds && *setup.seconds > view.info().duration_s) {
            view = sim::make_site_view(setup.scene.value, setup.seed, setup.camera, setup.seconds);
        }
        const Placed<double>& rate = setup.frames_per_second;
        if (std::abs(view.info().fps - rate.value) > 0.01) {
            throw InputError(rate.place_or("frames_per_second of the site") + " is " +
                             plain_number(rate.value) + "; the scene \"" + setup.scene.value +
                             "\" has " + plain_number(view.info().fps));
        }
        return view;
    } catch (const std::invalid_argument& e) {
        throw InputError(setup.place + ": " + e.what());
    }
}

std::unique_ptr<FrameSource> open_site_view(const SiteViewSetup& setup) {
    return std::make_unique<SiteView>(setup);
}

}  // namespace host
