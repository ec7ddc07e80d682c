// Bookkeeping of tracks and people.
#include "host/score/identities.h"

#include <algorithm>

namespace host {

void Identities::add_frame(std::int64_t frame, const std::map<int, int>& track_of_person,
                           const std::vector<TruePerson>& people) {
    frame_ = frame;
    for (const TruePerson& person : people) {
        traits_[person.id] = {person.height_mm, person.staff, frame};
        any_staff_ = any_staff_ || person.staff;
        const auto found = track_of_person.find(person.id);
        if (found == track_of_person.end()) continue;
        Track& track = tracks_[found->second];
        track.person = person.id;
        track.last_frame = frame;
        ++track.frames[person.id];
    }
    if (frame >= next_forgetting_) forget();
}

void Identities::forget() {
    next_forgetting_ = frame_ + memory_frames_;
    const auto old = [this](const auto& entry) {
        return entry.second.last_frame + memory_frames_ < frame_;
    };
    std::erase_if(tracks_, old);
    std::erase_if(traits_, old);
}

std::optional<int> Identities::person_of(int track) const {
    const auto found = tracks_.find(track);
    if (found == tracks_.end()) return std::nullopt;
    return found->second.person;
}

std::optional<int> Identities::person_now(int track) const {
    const auto found = tracks_.find(track);
    if (found == tracks_.end() || found->second.last_frame != frame_) return std::nullopt;
    return found->second.person;
}

std::optional<int> Identities::person_mostly(int track) const {
    const auto found = tracks_.find(track);
    if (found == tracks_.end()) return std::nullopt;
    return most_frequent(found->second.frames);
}

double Identities::height_mm(int person) const {
    const auto found = traits_.find(person);
    return found == traits_.end() ? 0.0 : found->second.height_mm;
}

bool Identities::staff(int person) const {
    const auto found = traits_.find(person);
    return found != traits_.end() && found->second.staff;
}

std::optional<int> most_frequent(const std::map<int, int>& counts) {
    const auto most =
        std::max_element(counts.begin(), counts.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    if (most == counts.end()) return std::nullopt;
    return most->first;
}

}  // namespace host
