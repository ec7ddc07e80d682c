// Reports condensed to counts per frame, stays and tracks.
#include "host/sinks/region_log.h"

namespace host {

void RegionLog::add(std::int64_t frame, double time_s, const RegionsReported& report) {
    counts_.push_back({frame, report.inside, {}});
    for (const RGN_PERSON_S& person : report.people)
        add_person(frame, time_s, person);
}

// A track that is not reported for a while may come back with its stay going on, so only a report
// of being outside ends a stay, or one of a shorter time.
void RegionLog::add_person(std::int64_t frame, double time_s, const RGN_PERSON_S& person) {
    const int track = static_cast<int>(person.obj.reserved0);
    for (int region = 0; region < VCA_RGN_NUM; ++region) {
        const RGN_STAY_S& state = person.rgn[region];
        const auto key = std::pair{track, region};
        auto open = open_.find(key);
        if (open != open_.end() && (state.inRgn == 0 || state.stayTime < open->second.stay_ms)) {
            open_.erase(open);
            open = open_.end();
        }
        if (state.inRgn == 0) continue;
        if (open == open_.end()) {
            open = open_.emplace(key, Open{stays_.size(), 0}).first;
            stays_.push_back({track, region, frame, frame, time_s, 0.0, {}, {}});
        }
        if (state.stayTime > open->second.stay_ms) {
            ++counts_.back().inside[static_cast<std::size_t>(region)];
        }
        open->second.stay_ms = state.stayTime;
        RegionStay& stay = stays_[open->second.stay];
        stay.last_frame = frame;
        stay.stay_s = state.stayTime / 1000.0;
    }
}

void add_shown(double time_s, const TracksShown& shown, ShownTracks& tracks) {
    for (const SHOW_OBJ_S& object : shown.tracks) {
        const auto [at, fresh] = tracks.try_emplace(static_cast<int>(object.trackId));
        ShownTrack& track = at->second;
        if (fresh) track.first_s = time_s;
        track.last_s = time_s;
        track.staff = object.staff == 1;
    }
}

}  // namespace host
