// Fields of a story, its steps and the places in them.
#include "host/sinks/story_json.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace host {
namespace {

using Json = nlohmann::ordered_json;

// What the numbers of a decision mean, where they are not measurements.
void name_place(Json& out, const Decision& d, const StoryNames& names) {
    if (d.kind == VCA_DECISION_MERGED) {
        out["device"] = d.detail;
        out["device_track"] = d.place;
    } else if (is_about_line(d.kind)) {
        out["line"] = story_name(names.lines, d.place);
        if (d.detail != 0) out["detail"] = d.detail;
    } else if (is_about_region(d.kind)) {
        out["region"] = story_name(names.regions, d.place);
    } else if (d.detail != 0) {
        out["detail"] = d.detail;
    }
}

// As many digits as are needed to tell measurements apart; a float written as a double would have
// 17.
double rounded(double value) {
    return std::round(value * 1000.0) / 1000.0;
}

Json step_json(const StoryStep& step, const StoryNames& names) {
    const Decision& d = step.decision;
    Json out{
        {"frame", step.frame}, {"time_s", rounded(step.time_s)}, {"what", decision_name(d.kind)}};
    name_place(out, d, names);
    if (step.left_out != LeftOut::kNot) out["left_out"] = true;
    out["at"] = {d.x, d.y};
    if (d.value != 0.0f || d.limit != 0.0f) {
        out["value"] = rounded(static_cast<double>(d.value));
        out["limit"] = rounded(static_cast<double>(d.limit));
    }
    out["text"] = step_text(step, names);
    return out;
}

}  // namespace

std::string story_json(const Story& story, const StoryNames& names) {
    Json line{{"track", story.track}, {"merged", story.list == VCA_LIST_MERGED}};
    line["from_s"] = rounded(story.steps.front().time_s);
    line["to_s"] = rounded(story.steps.back().time_s);
    line["why"] = story_sentence(story, names);
    for (const StoryStep& step : story.steps)
        line["story"].push_back(step_json(step, names));
    if (story.left_out > 0) line["left_out"] = story.left_out;
    return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace host
