// Truth of a site, frame by frame.
#include "host/score/site_scene.h"

#include "host/settings/site_config.h"
#include "host/settings/site_map.h"

namespace host {

SiteScene::SiteScene(const Site& site)
    : site_(site), simulator_(open_simulated_view(view_setup(site, master_of(site)))) {}

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
