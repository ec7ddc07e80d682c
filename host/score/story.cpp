// Collecting decisions, and the words for them.
#include "host/score/story.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/base/text.h"
#include "vca/messages.h"

namespace host {
namespace {

struct KindName {
    std::int32_t kind;
    const char* name;
};

constexpr std::array kNames{
    KindName{VCA_DECISION_BORN, "born"},
    KindName{VCA_DECISION_COUNTABLE, "countable"},
    KindName{VCA_DECISION_ENDED, "ended"},
    KindName{VCA_DECISION_FURNITURE, "furniture"},
    KindName{VCA_DECISION_NO_FURNITURE, "no_furniture"},
    KindName{VCA_DECISION_HEIGHT_OUT, "height_out"},
    KindName{VCA_DECISION_HEIGHT_BACK, "height_back"},
    KindName{VCA_DECISION_PROMOTED, "promoted"},
    KindName{VCA_DECISION_GENDER, "gender"},
    KindName{VCA_DECISION_STAFF, "staff"},
    KindName{VCA_DECISION_NEAR_LINE, "near_line"},
    KindName{VCA_DECISION_CROSSED, "crossed"},
    KindName{VCA_DECISION_SAME_SIDE, "same_side"},
    KindName{VCA_DECISION_WAITS, "waits"},
    KindName{VCA_DECISION_TURNED_BACK, "turned_back"},
    KindName{VCA_DECISION_AT_END, "at_end"},
    KindName{VCA_DECISION_COUNTED, "counted"},
    KindName{VCA_DECISION_NOT_COUNTING, "not_counting"},
    KindName{VCA_DECISION_GROUP_CLOSED, "group_closed"},
    KindName{VCA_DECISION_ENTERED, "entered"},
    KindName{VCA_DECISION_LEFT, "left"},
    KindName{VCA_DECISION_EXCLUDED, "excluded"},
    KindName{VCA_DECISION_COVERED, "covered"},
    KindName{VCA_DECISION_AT_BORDER, "at_border"},
    KindName{VCA_DECISION_TOO_SMALL, "too_small"},
    KindName{VCA_DECISION_MERGED, "merged"},
};

// Approaches to the same line from the same side are one step.
bool continues(const StoryStep& step, const Decision& decision) {
    const Decision& before = step.decision;
    return before.kind == VCA_DECISION_NEAR_LINE && decision.kind == VCA_DECISION_NEAR_LINE &&
           before.place == decision.place && before.detail == decision.detail;
}

bool is_closer(const Decision& before, const Decision& now) {
    return now.detail == 1 ? now.value > before.value : now.value < before.value;
}

void add_step(Story& story, const Event& event, const Decision& decision) {
    if (!story.steps.empty() && continues(story.steps.back(), decision)) {
        Decision& kept = story.steps.back().decision;
        if (is_closer(kept, decision)) kept = decision;
        return;
    }
    const bool always =
        decision.kind == VCA_DECISION_COUNTED || decision.kind == VCA_DECISION_ENDED;
    if (story.steps.size() >= Story::kMostSteps && !always) {
        ++story.left_out;
        return;
    }
    story.steps.push_back({event.frame_number, event.time_s, decision});
}

// How somebody's approach to a line turned out.
struct LineOutcome {
    std::vector<const Decision*> counted;
    const Decision* left_out = nullptr;  // a count that the settings leave out
    LeftOut why_left_out = LeftOut::kNot;
    const Decision* at_end = nullptr;
    const Decision* turned_back = nullptr;
    const Decision* waits = nullptr;  // still, when the track ended
    bool stopped = false;             // the run ended while it lived
    const Decision* not_counting = nullptr;
    const Decision* same_side = nullptr;
    const Decision* beyond = nullptr;  // farthest across it without a crossing
    const Decision* before = nullptr;  // closest
};

LineOutcome outcome_of(const Story& story, int line) {
    LineOutcome outcome;
    for (const StoryStep& step : story.steps) {
        const Decision& d = step.decision;
        outcome.stopped =
            outcome.stopped || (d.kind == VCA_DECISION_ENDED && d.detail == VCA_ENDED_STOPPED);
        if (d.place != line || !is_about_line(d.kind)) continue;
        switch (d.kind) {
            case VCA_DECISION_COUNTED:
                if (step.left_out != LeftOut::kNot) {
                    outcome.left_out = &d;
                    outcome.why_left_out = step.left_out;
                } else {
                    outcome.counted.push_back(&d);
                }
                outcome.waits = outcome.beyond = nullptr;
                break;
            case VCA_DECISION_AT_END:
                outcome.at_end = &d;
                break;
            case VCA_DECISION_TURNED_BACK:
                outcome.turned_back = &d;
                outcome.waits = nullptr;
                break;
            case VCA_DECISION_WAITS:
                outcome.waits = &d;
                break;
            case VCA_DECISION_NOT_COUNTING:
                outcome.not_counting = &d;
                break;
            case VCA_DECISION_SAME_SIDE:
                outcome.same_side = &d;
                break;
            case VCA_DECISION_CROSSED:
                outcome.beyond = nullptr;
                break;
            case VCA_DECISION_NEAR_LINE:
                (d.detail == 1 ? outcome.beyond : outcome.before) = &d;
                break;
            default:
                break;
        }
    }
    return outcome;
}

const char* left_out_clause(LeftOut why) {
    switch (why) {
        case LeftOut::kWentBack:
            return "left out, having gone back: ";
        case LeftOut::kUnseen:
            return "left out, after the last frame: ";
        case LeftOut::kCorner:
            return "left out, along a closed line to a side that the person did not come to: ";
        case LeftOut::kNoLine:
            return "left out, the line was changed meanwhile: ";
        default:
            return "";
    }
}

// A group of one may remain one, and is then never reported.
std::string group_clause(const Decision& counted) {
    if (counted.value < 0.0f) return "";
    const int members = static_cast<int>(counted.limit);
    const std::string group = " group " + std::to_string(static_cast<int>(counted.value));
    if (members < 2) return " as the first of" + group;
    return " in" + group + ", as number " + std::to_string(members);
}

std::string counted_clause(const LineOutcome& outcome, const std::string& line) {
    std::string text;
    for (const Decision* const counted : outcome.counted) {
        text += text.empty() ? "was counted on line " + line + " in direction " : " and in ";
        text += std::to_string(counted->detail);
        text += group_clause(*counted);
    }
    if (outcome.at_end != nullptr && outcome.left_out == nullptr) {
        text += format_text(" when the track ended, %.0f passes after it was seen %.0f px past it",
                            static_cast<double>(outcome.at_end->value),
                            static_cast<double>(outcome.at_end->limit));
    }
    return text;
}

std::string pixels(float value) {
    return format_text("%.0f px", static_cast<double>(value));
}

// The strongest reason why somebody who came to a line was not counted; nothing for one who did not
// come.
std::string uncounted_clause(const LineOutcome& outcome, const std::string& line) {
    if (outcome.why_left_out == LeftOut::kUnseen) {
        return "was near line " + line + " when the source ended, so that a count in direction " +
               std::to_string(outcome.left_out->detail) + " after its last frame was left out";
    }
    if (outcome.why_left_out == LeftOut::kCorner) {
        return "went along closed line " + line + ", so that a count in direction " +
               std::to_string(outcome.left_out->detail) +
               ", to a side they did not come to, was left out";
    }
    if (outcome.why_left_out == LeftOut::kNoLine) {
        return "had crossed line " + line +
               " before it was changed, so that a count in direction " +
               std::to_string(outcome.left_out->detail) + " when the track ended was left out";
    }
    if (outcome.left_out != nullptr) {
        return "touched line " + line + " and went back, so that a count in direction " +
               std::to_string(outcome.left_out->detail) + " when the track ended was left out";
    }
    if (outcome.not_counting != nullptr) return "crossed line " + line + " while counting was off";
    if (outcome.turned_back != nullptr) return "turned back on line " + line;
    if (outcome.waits != nullptr) {
        return "crossed line " + line + " and was " +
               (outcome.stopped ? "still in its U-turn area when the run ended"
                                : "lost before leaving its U-turn area");
    }
    if (outcome.same_side != nullptr) {
        return "crossed line " + line + " to the side where their last crossing ended";
    }
    if (const Decision* const beyond = outcome.beyond) {
        return "went " + pixels(beyond->value) + " past line " + line + ", " +
               pixels(beyond->limit) + " were needed, and went back";
    }
    if (const Decision* const before = outcome.before) {
        return "came within " + pixels(before->value) + " of line " + line +
               " and did not cross it";
    }
    return "";
}

void append(std::string& text, const std::string& clause) {
    if (clause.empty()) return;
    text += (text.empty() ? "" : "; ") + clause;
}

const Decision* last_of(const Story& story, std::int32_t kind) {
    const auto found =
        std::find_if(story.steps.rbegin(), story.steps.rend(),
                     [kind](const StoryStep& step) { return step.decision.kind == kind; });
    return found == story.steps.rend() ? nullptr : &found->decision;
}

// Whether the first kind was reported after the second.
bool is_still(const Story& story, std::int32_t kind, std::int32_t back) {
    const Decision* const since = last_of(story, kind);
    const Decision* const until = last_of(story, back);
    return since != nullptr && (until == nullptr || until < since);
}

std::string height_clause(const Story& story) {
    if (!is_still(story, VCA_DECISION_HEIGHT_OUT, VCA_DECISION_HEIGHT_BACK)) return "";
    const Decision& out = *last_of(story, VCA_DECISION_HEIGHT_OUT);
    return format_text("measured %.0f mm, which is %s the limit of %.0f mm for counting",
                       static_cast<double>(out.value), out.value > out.limit ? "above" : "below",
                       static_cast<double>(out.limit));
}

std::string region_clause(const Story& story, const StoryNames& names) {
    std::vector<std::string> entered;
    for (const StoryStep& step : story.steps) {
        if (step.decision.kind != VCA_DECISION_ENTERED) continue;
        const std::string name = story_name(names.regions, step.decision.place);
        if (std::find(entered.begin(), entered.end(), name) == entered.end())
            entered.push_back(name);
    }
    std::string text;
    for (const std::string& name : entered)
        text += (text.empty() ? "was in region " : ", ") + name;
    return text;
}

}  // namespace

std::string story_name(const std::vector<std::string>& names, int number) {
    const auto at = static_cast<std::size_t>(number);
    return number >= 0 && at < names.size() ? names[at] : std::to_string(number + 1);
}

bool is_about_line(std::int32_t kind) {
    return kind >= VCA_DECISION_NEAR_LINE && kind <= VCA_DECISION_GROUP_CLOSED;
}

bool is_about_region(std::int32_t kind) {
    return kind == VCA_DECISION_ENTERED || kind == VCA_DECISION_LEFT;
}

const char* decision_name(std::int32_t kind) {
    for (const auto& [number, name] : kNames)
        if (number == kind) return name;
    return "unknown";
}

std::string story_sentence(const Story& story, const StoryNames& names) {
    std::string text;
    for (int line = 0; line < VCA_LINE_NUM; ++line) {
        const std::string name = story_name(names.lines, line);
        const LineOutcome outcome = outcome_of(story, line);
        append(text, outcome.counted.empty() ? uncounted_clause(outcome, name)
                                             : counted_clause(outcome, name));
    }
    append(text, height_clause(story));
    if (is_still(story, VCA_DECISION_FURNITURE, VCA_DECISION_NO_FURNITURE))
        append(text, "stood still with a low score, as furniture does");
    append(text, region_clause(story, names));
    if (last_of(story, VCA_DECISION_STAFF) != nullptr) append(text, "is staff");
    if (text.empty() && names.counts_merged && story.list == VCA_LIST_LOCAL)
        return "was followed for the site, whose merged tracks are counted";
    if (text.empty() && last_of(story, VCA_DECISION_COUNTABLE) == nullptr)
        return "was seen too briefly to count";
    return text.empty() ? "came near no line" : text;
}

std::string step_text(const StoryStep& step, const StoryNames& names) {
    const Decision& d = step.decision;
    const std::string line = "line " + story_name(names.lines, d.place);
    const std::string region = "region " + story_name(names.regions, d.place);
    const std::string direction = " in direction " + std::to_string(d.detail);
    const auto number = [](float value) { return plain_number(static_cast<double>(value)); };
    switch (d.kind) {
        case VCA_DECISION_BORN:
            return "appeared with a score of " + number(d.value);
        case VCA_DECISION_COUNTABLE:
            return "can be counted from here on";
        case VCA_DECISION_ENDED:
            if (d.detail == VCA_ENDED_STOPPED) return "was there when the run ended";
            return "was not seen for " + number(d.value) + " passes: the track ended";
        case VCA_DECISION_FURNITURE:
            return "stood still with a low score for " + number(d.value) +
                   " updates: taken for furniture";
        case VCA_DECISION_NO_FURNITURE:
            return "moved: not furniture after all";
        case VCA_DECISION_HEIGHT_OUT:
            return "measured " + number(d.value) + " mm, with a limit of " + number(d.limit) +
                   " mm: does not count";
        case VCA_DECISION_HEIGHT_BACK:
            return "measured " + number(d.value) + " mm: counts again";
        case VCA_DECISION_PROMOTED:
            return "measured " + number(d.value) + " mm: a person, not a small object";
        case VCA_DECISION_GENDER:
            return d.detail == VCA_GENDER_FEMALE ? "taken for a woman" : "taken for a man";
        case VCA_DECISION_STAFF:
            return "recognised as staff";
        case VCA_DECISION_NEAR_LINE:
            if (d.detail == 0) return pixels(d.value) + " before " + line;
            return pixels(d.value) + " past " + line + ", " + pixels(d.limit) + " are needed";
        case VCA_DECISION_CROSSED:
            return "crossed " + line + ": " + pixels(d.value) + " past it, " + pixels(d.limit) +
                   " are needed";
        case VCA_DECISION_SAME_SIDE:
            return "crossed " + line + " to the side where their last crossing ended: not counted";
        case VCA_DECISION_WAITS:
            return "crossed " + line + direction + ": decided on leaving the U-turn area";
        case VCA_DECISION_TURNED_BACK:
            return "left the U-turn area of " + line + " on the side it came from: not counted";
        case VCA_DECISION_AT_END:
            return "was " + pixels(d.limit) + " past " + line + " when last near it, " +
                   number(d.value) + " passes ago: enough at the end of a track";
        case VCA_DECISION_COUNTED:
            return left_out_clause(step.left_out) + ("counted on " + line) + direction +
                   group_clause(d);
        case VCA_DECISION_NOT_COUNTING:
            return "crossed " + line + direction + " while counting was off";
        case VCA_DECISION_ENTERED:
            return "entered " + region;
        case VCA_DECISION_LEFT:
            return "left " + region + " after " +
                   plain_number(std::round(d.value / 100.0f) / 10.0) + " s";
        case VCA_DECISION_MERGED:
            return "is track " + std::to_string(d.place) + " of " +
                   (d.detail == 0 ? std::string("the master")
                                  : "slave " + std::to_string(d.detail - 1));
        default:
            return decision_name(d.kind);
    }
}

void StoryBook::leave_out(const CountLeftOut& late) {
    const auto story = open_.find({late.list, late.count.track});
    if (story == open_.end()) return;
    std::vector<StoryStep>& steps = story->second.steps;
    const auto step = std::find_if(steps.rbegin(), steps.rend(), [&](const StoryStep& each) {
        return each.decision.kind == VCA_DECISION_COUNTED && each.decision.place == late.count.line;
    });
    if (step != steps.rend()) step->left_out = late.why;
}

std::vector<Story> StoryBook::add(const Event& event) {
    std::vector<Story> over = take_over(event.frame_number);
    if (const auto* late = std::get_if<CountLeftOut>(&event.payload)) leave_out(*late);
    const auto* const decision = std::get_if<Decision>(&event.payload);
    if (decision == nullptr || decision->track < 0) return over;
    Story& story = open_[{decision->list, decision->track}];
    story.list = decision->list;
    story.track = decision->track;
    add_step(story, event, *decision);
    story.ended_frame = decision->kind == VCA_DECISION_ENDED ? event.frame_number : -1;
    if (story.ended_frame >= 0) next_end_ = std::min(next_end_, event.frame_number + kReturnFrames);
    return over;
}

std::vector<Story> StoryBook::take_over(std::int64_t frame) {
    std::vector<Story> over;
    if (frame <= next_end_) return over;
    next_end_ = INT64_MAX;
    for (auto at = open_.begin(); at != open_.end();) {
        const std::int64_t ended = at->second.ended_frame;
        if (ended >= 0 && ended + kReturnFrames < frame) {
            over.push_back(std::move(at->second));
            at = open_.erase(at);
            continue;
        }
        if (ended >= 0) next_end_ = std::min(next_end_, ended + kReturnFrames);
        ++at;
    }
    return over;
}

double StoryBook::open_since_s() const {
    double since_s = INFINITY;
    for (const auto& [key, story] : open_)
        since_s = std::min(since_s, story.steps.front().time_s);
    return since_s;
}

std::vector<Story> StoryBook::rest() {
    std::vector<Story> stories;
    for (auto& [key, story] : open_)
        stories.push_back(std::move(story));
    open_.clear();
    next_end_ = INT64_MAX;
    return stories;
}

}  // namespace host
