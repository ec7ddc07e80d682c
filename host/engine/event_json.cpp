// One JSON object per event: the common fields first, then those of the message.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <numeric>

#include "host/engine/events.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

Json box_json(const ReportedBox& box) {
    return {{"x", box.x},
            {"y", box.y},
            {"w", box.w},
            {"h", box.h},
            {"class", box.class_id},
            {"score", box.score},
            {"height_mm", box.height_mm}};
}

Json boxes_json(const std::vector<ReportedBox>& boxes) {
    Json list = Json::array();
    for (const ReportedBox& box : boxes)
        list.push_back(box_json(box));
    return list;
}

Json shown_json(const ShownTrack& t) {
    Json trail = Json::array();
    for (const POINT_POS_S& p : t.trail)
        trail.push_back({p.x, p.y});
    return {{"track", t.track},
            {"x", t.x},
            {"y", t.y},
            {"w", t.w},
            {"h", t.h},
            {"class", t.class_id},
            {"height_mm", t.height_mm},
            {"gender", t.gender},
            {"staff", t.staff},
            {"trail", std::move(trail)}};
}

Json person_json(const RegionPerson& p) {
    Json inside = Json::array();
    Json stay_ms = Json::array();
    for (const RegionState& state : p.regions) {
        inside.push_back(state.inside);
        stay_ms.push_back(state.stay_ms);
    }
    return {{"track", p.track},     {"box", box_json(p.box)},      {"gender", p.box.gender},
            {"staff", p.box.staff}, {"inside", std::move(inside)}, {"stay_ms", std::move(stay_ms)}};
}

Json slave_track_json(const SLAVE_TRACK_S& t) {
    return {{"track", t.track_id},    {"class", t.class_id},         {"score", t.score},
            {"height_mm", t.height},  {"gender", t.gender},          {"staff", t.staff},
            {"centre", {t.cx, t.cy}}, {"foot", {t.foot_x, t.foot_y}}};
}

double seconds(std::int64_t us) {
    return static_cast<double>(us) / 1e6;
}

struct Fields {
    Json& out;

    void operator()(const PersonCounted& e) const {
        out["track"] = e.track;
        out["line"] = e.line;
        out["direction"] = e.direction;
        out["height_mm"] = e.box.height_mm;
        out["gender"] = e.box.gender;
        out["staff"] = e.box.staff;
        out["box"] = box_json(e.box);
        if (!e.at_end) return;
        out["at_end"] = {{"passes_since", e.at_end->passes_since},
                         {"past_px", std::round(e.at_end->past_px * 10.0) / 10.0}};
        out["late"] = is_late(*e.at_end);
    }
    void operator()(const CountLeftOut& e) const {
        (*this)(e.count);
        if (e.why != LeftOut::kCorner) out["late"] = true;
        out["left_out"] = true;
    }
    void operator()(const GroupCounted& e) const {
        out["members"] = e.members;
        out["line"] = e.line;
        out["direction"] = e.direction;
    }
    void operator()(const InstallHeight& e) const { out["height_mm"] = e.height_mm; }
    void operator()(const ConfigRequest&) const {}
    void operator()(const DetectionsShown& e) const {
        out["colour"] = boxes_json(e.colour);
        out["depth"] = boxes_json(e.depth);
        out["merged"] = boxes_json(e.merged);
    }
    void operator()(const TrackAppeared& e) const { place(e.track, e); }
    void operator()(const TrackRemoved& e) const { place(e.track, e); }
    void operator()(const TracksShown& e) const {
        Json list = Json::array();
        for (const ShownTrack& t : e.tracks)
            list.push_back(shown_json(t));
        out["tracks"] = std::move(list);
    }
    void operator()(const RegionsReported& e) const {
        out["inside"] = e.inside;
        Json list = Json::array();
        for (const RegionPerson& p : e.people)
            list.push_back(person_json(p));
        out["people"] = std::move(list);
    }
    // The grids are written as pictures; here are their sums.
    void operator()(const HeatMapReported& e) const {
        out["dwell_ms"] = std::accumulate(e.dwell_ms.begin(), e.dwell_ms.end(), std::int64_t{0});
        out["motion"] = std::accumulate(e.motion.begin(), e.motion.end(), std::int64_t{0});
    }
    void operator()(const SlaveTracks& e) const {
        const SLAVE_MSG_S& m = *e.message;
        Json list = Json::array();
        for (int i = 0; i < std::clamp(m.count, 0, VCA_SLAVE_TRACK_MAX); ++i)
            list.push_back(slave_track_json(m.tracks[i]));
        out["master_frame"] = m.frame;
        out["tracks"] = std::move(list);
    }
    void operator()(const FrameCount& e) const { out["frame_count"] = e.frame_count; }
    void operator()(const InputSilent& e) const {
        out["since_s"] = seconds(e.since_us);
        out["why"] = e.why;
    }
    void operator()(const InputGap& e) const {
        out["from_s"] = seconds(e.from_us);
        out["to_s"] = seconds(e.to_us);
        out["why"] = e.why;
    }
    void operator()(const InputFault& e) const {
        out["fault"] = input_fault_name(e.kind);
        out["what"] = e.what;
        out["since_s"] = seconds(e.since_us);
        if (e.until_us) out["until_s"] = seconds(*e.until_us);
    }
    void operator()(const ClockStep& e) const {
        out["at_s"] = seconds(e.at_us);
        out["by_s"] = seconds(e.by_us);
    }
    void operator()(const UnknownMessage& e) const { out["length"] = e.length; }

    void operator()(const Decision& e) const {
        out["kind"] = e.kind;
        out["list"] = e.list;
        out["track"] = e.track;
        out["place"] = e.place;
        out["detail"] = e.detail;
        out["at"] = {e.x, e.y};
        out["value"] = e.value;
        out["limit"] = e.limit;
    }

    template <typename Notice>
    void place(int track, const Notice& e) const {
        out["track"] = track;
        out["centre"] = {e.centre_x, e.centre_y};
        out["foot"] = {e.foot_x, e.foot_y};
    }
};

struct Name {
    const char* operator()(const PersonCounted&) const { return "person_counted"; }
    const char* operator()(const CountLeftOut&) const { return "person_counted"; }
    const char* operator()(const GroupCounted&) const { return "group_counted"; }
    const char* operator()(const InstallHeight&) const { return "install_height"; }
    const char* operator()(const ConfigRequest&) const { return "config_request"; }
    const char* operator()(const DetectionsShown&) const { return "detections"; }
    const char* operator()(const TrackAppeared&) const { return "track_appeared"; }
    const char* operator()(const TrackRemoved&) const { return "track_removed"; }
    const char* operator()(const TracksShown& e) const {
        return e.detected ? "detected_tracks" : "tracks";
    }
    const char* operator()(const RegionsReported&) const { return "regions"; }
    const char* operator()(const HeatMapReported&) const { return "heat_map"; }
    const char* operator()(const SlaveTracks&) const { return "slave_tracks"; }
    const char* operator()(const FrameCount&) const { return "frame_count"; }
    const char* operator()(const Decision&) const { return "decision"; }
    const char* operator()(const InputSilent&) const { return "input_silent"; }
    const char* operator()(const InputGap&) const { return "input_gap"; }
    const char* operator()(const InputFault& e) const {
        return e.until_us ? "input_fault_ended" : "input_fault";
    }
    const char* operator()(const ClockStep&) const { return "clock_step"; }
    const char* operator()(const UnknownMessage&) const { return "unknown"; }
};

}  // namespace

std::string to_json_line(const Event& event) {
    Json out;
    out["message"] = std::visit(Name{}, event.payload);
    out["id"] = event.id;
    out["frame"] = event.frame_number;
    out["time_s"] = event.time_s;
    if (event.utc_us != 0) out["utc_us"] = event.utc_us;
    std::visit(Fields{out}, event.payload);
    return out.dump();
}

}  // namespace host
