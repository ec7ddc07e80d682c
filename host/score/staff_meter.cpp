// Judgement of tracks that have ended.
#include "host/score/staff_meter.h"

#include <optional>

#include "host/base/share.h"

namespace host {
namespace {

constexpr double kShownLongEnough_s = 2.0;

}  // namespace

double StaffScore::precision() const {
    return share_of(right_staff, right_staff + wrong_staff);
}

double StaffScore::recall() const {
    return share_of(right_staff, right_staff + missed);
}

double StaffScore::accuracy() const {
    return share_of(right_staff + right_others, tracks());
}

void StaffMeter::add_shown(std::int64_t frame, double time_s, const TracksShown& shown) {
    if (shown.detected) return;
    for (const ShownTrack& object : shown.tracks) {
        const auto [at, fresh] = tracks_.try_emplace(object.track);
        Shown& track = at->second;
        if (fresh) track.first_s = time_s;
        track.last_s = time_s;
        track.last_frame = frame;
        track.staff = object.staff == 1;
    }
}

void StaffMeter::judge_ended(std::int64_t frame, const Identities& identities, bool all) {
    std::erase_if(tracks_, [&](const auto& entry) {
        if (!all && entry.second.last_frame + memory_frames_ >= frame) return false;
        judge(entry.first, entry.second, identities);
        return true;
    });
}

void StaffMeter::judge(int track, const Shown& shown, const Identities& identities) {
    if (shown.last_s - shown.first_s < kShownLongEnough_s) return;
    const std::optional<int> person = identities.person_mostly(track);
    if (!person) return;
    const bool truth = identities.staff(*person);
    if (shown.staff) {
        ++(truth ? score_.right_staff : score_.wrong_staff);
    } else {
        ++(truth ? score_.missed : score_.right_others);
    }
}

}  // namespace host
