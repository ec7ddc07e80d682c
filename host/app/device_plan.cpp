// Cameras of a site, simulated, recorded or live.
#include "host/app/device_plan.h"

#include <utility>

#include "host/frames/site_camera.h"

namespace host {
namespace {

std::unique_ptr<FrameSource> open_device(const Site& site, const SiteDevice& device,
                                         const std::atomic<bool>& stop) {
    if (device.is_simulated()) return open_site_view(view_setup(site, device));
    SiteCameraSetup setup;
    setup.name = device.name;
    setup.focal_px = device.focal_px;
    setup.height_mm = device.height_mm;
    const bool live = device.files.recording.empty();
    setup.source.source = live ? "live" : "recording";
    if (!live) setup.source.recordings = {device.files.recording};
    setup.source.live_depth = device.files.depth;
    setup.source.depth_format = device.files.depth_format;
    setup.source.camera_file = device.files.camera;
    setup.source.height_mm = Placed<double>(device.height_mm, device.place);
    setup.source.stop = &stop;
    try {
        return open_site_camera(setup);
    } catch (const InputError& error) {
        throw InputError(device.place + ": " + error.what());
    }
}

}  // namespace

RunPlan device_plan(const Site& site, const SiteDevice& device, SiteRole role,
                    const std::atomic<bool>& stop) {
    RunPlan plan;
    plan.options.source.seed = site.seed;
    plan.options.detect = site.detect;
    plan.options.target_min_mm = site.target_min_mm;
    plan.options.target_max_mm = site.target_max_mm;
    plan.source = level_source(open_device(site, device, stop), plan.options.tilt);
    plan.config = device_config(site, device, role);
    if (role == SiteRole::kAlone) {
        plan.lines = own_lines(site, device);
        plan.regions = own_regions(site, device);
    } else if (device.master) {
        plan.lines = master_lines(site);
        plan.regions = master_regions(site);
    }
    return plan;
}

LinkSetup device_link(const Site& site, const SiteDevice& device,
                      const std::optional<BrokerAddress>& broker,
                      std::function<void(const std::string&)> report) {
    LinkSetup link;
    link.site = &site;
    link.device = device.name;
    // The login of the file is that of the file's broker.
    if (broker) {
        link.broker.host = broker->host;
        link.broker.port = broker->port;
    } else {
        link.broker = mqtt_settings(site.broker);
    }
    link.report = std::move(report);
    return link;
}

}  // namespace host
