// What a site run leaves behind, made from the folders of its devices.
#pragma once

#include <string>
#include <vector>

#include "host/engine/pace.h"
#include "host/link/link_figures.h"
#include "host/score/site_eval.h"
#include "host/settings/site.h"

namespace host {

// A device's own account of its run.
struct DeviceAccount {
    std::string name;
    std::int64_t frames = 0;
    PaceFigures pace;
    LinkFigures link;
};

// Reads summary.json of a device's folder. Throws std::runtime_error when it is not as expected.
DeviceAccount read_account(const std::string& folder, const std::string& name);

// Compares the first `frames` frames of the scene with the master's messages in `events_path`.
SiteResult evaluate_site(const Site& site, const std::string& events_path, std::int64_t frames);

// What a camera counted alone, from summary.json of its folder.
LineCounts read_alone_counts(const Site& site, const SiteDevice& device, const std::string& folder);

// Messages of a slave that its master never received.
struct LostMessages {
    std::string name;
    std::int64_t lost = 0;
    std::int64_t of = 0;
};

// Only devices that lost some. The last second is left out: what a slave sends while its master is
// already ending is not a loss.
std::vector<LostMessages> lost_messages(const Site& site,
                                        const std::vector<DeviceAccount>& accounts);

// A sentence for each loss; empty if there is none.
std::string loss_text(const std::vector<LostMessages>& lost, int broker_restarts);

// The table of the link, and what came late.
std::string link_text(const std::vector<DeviceAccount>& accounts);

// Everything as JSON. Throws std::runtime_error when the file cannot be written.
void write_site_summary(const Site& site, const SiteResult& result,
                        const std::vector<DeviceAccount>& accounts, int broker_restarts,
                        const std::string& path);

}  // namespace host
