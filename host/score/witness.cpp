// Looking up stories by line and time.
#include "host/score/witness.h"

#include <algorithm>
#include <cmath>

#include "host/base/text.h"

namespace host {
namespace {

// Somebody slow is at a line for this long before the feet are over it.
constexpr double kAround_s = 3.0;
// Whoever is seen at a line is followed then, or was until a moment ago.
constexpr double kThere_s = 1.0;

std::string told(const Witness& witness) {
    return format_text("track %d (%.1f to %.1f s) ", witness.track, witness.from_s, witness.to_s) +
           witness.why;
}

}  // namespace

Witness witness_of(const Story& story, const StoryNames& names) {
    Witness witness{story.track, 0.0, 0.0, story_sentence(story, names), {}};
    if (story.steps.empty()) return witness;
    witness.from_s = story.steps.front().time_s;
    witness.to_s = story.steps.back().time_s;
    for (const StoryStep& step : story.steps) {
        const Decision& d = step.decision;
        if (!is_about_line(d.kind) || d.place < 0) continue;
        const bool counted = d.kind == VCA_DECISION_COUNTED && step.left_out == LeftOut::kNot;
        witness.moments.push_back({step.time_s,
                                   story_name(names.lines, d.place),
                                   counted ? d.detail : 0,
                                   {static_cast<double>(d.x), static_cast<double>(d.y)}});
    }
    return witness;
}

Explanation explain_missing(const std::vector<Witness>& witnesses, const std::string& line,
                            int direction, double time_s) {
    const Witness* best = nullptr;
    const LineMoment* best_moment = nullptr;
    double best_apart_s = kAround_s;
    for (const Witness& witness : witnesses) {
        if (witness.from_s > time_s + kThere_s || witness.to_s < time_s - kThere_s) continue;
        const bool had = std::any_of(
            witness.moments.begin(), witness.moments.end(), [&](const LineMoment& moment) {
                return moment.line == line && moment.counted == direction &&
                       std::abs(moment.time_s - time_s) <= kAround_s;
            });
        if (had) continue;
        for (const LineMoment& moment : witness.moments) {
            const double apart_s = std::abs(moment.time_s - time_s);
            if (moment.line != line || apart_s >= best_apart_s) continue;
            best = &witness;
            best_moment = &moment;
            best_apart_s = apart_s;
        }
    }
    if (best != nullptr) return {told(*best), best->track, best_moment->place};
    const auto there =
        std::count_if(witnesses.begin(), witnesses.end(), [time_s](const Witness& witness) {
            return witness.from_s <= time_s && witness.to_s >= time_s;
        });
    if (there == 0) return {"nobody was followed in the picture then", {}, {}};
    return {"nobody who was not counted came to line " + line + " around then; " +
                std::to_string(there) + (there == 1 ? " person was" : " people were") + " followed",
            {},
            {}};
}

Explanation explain_count(const std::vector<Witness>& witnesses, int track, double time_s) {
    for (const Witness& witness : witnesses) {
        if (witness.track != track || witness.from_s > time_s + kAround_s ||
            witness.to_s < time_s - kAround_s)
            continue;
        return {told(witness), track, {}};
    }
    return {"track " + std::to_string(track) + " left no story", track, {}};
}

}  // namespace host
