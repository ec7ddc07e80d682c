// Decoding by copying whole records out of the bytes; every record's layout is asserted where it is
// defined.
#include "host/engine/events.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>

#include "vca/cascade.h"
#include "vca/config.h"
#include "vca/event.h"
#include "vca/heat_map.h"
#include "vca/messages.h"
#include "vca/track.h"

namespace host {
namespace {

template <typename Record>
std::optional<Record> read_record(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != sizeof(Record)) return std::nullopt;
    std::optional<Record> record(std::in_place);
    std::memcpy(&*record, bytes.data(), sizeof(Record));
    return record;
}

std::uint64_t stamp_of(const std::uint32_t (&words)[2]) {
    return std::uint64_t{words[1]} << 32 | words[0];
}

ReportedBox to_box(const DET_OBJ_S& o) {
    return {o.x, o.y, o.w, o.h, o.class_id, o.score, o.height, o.gender, o.staff};
}

std::vector<ReportedBox> boxes_of(const DET_OBJ_S* objs, std::int32_t count) {
    std::vector<ReportedBox> boxes;
    std::transform(objs, objs + std::clamp(count, 0, VCA_DET_SHOW_MAX), std::back_inserter(boxes),
                   to_box);
    return boxes;
}

ShownTrack to_shown(const SHOW_OBJ_S& o) {
    const int points = std::min<int>(o.trailNum, VCA_SHOW_TRAIL_MAX);
    return {static_cast<int>(o.trackId),
            o.x,
            o.y,
            o.w,
            o.h,
            o.class_id,
            {o.trail, o.trail + points},
            o.height,
            o.gender,
            o.staff,
            o.crossDist / 2.0};
}

// The wire carries the number of the track in the first word of its box.
RegionPerson to_person(const RGN_PERSON_S& p) {
    RegionPerson person{static_cast<int>(p.obj.reserved0), to_box(p.obj), {}};
    std::transform(std::begin(p.rgn), std::end(p.rgn), person.regions.begin(),
                   [](const RGN_STAY_S& stay) {
                       return RegionState{stay.inRgn, stay.stayTime};
                   });
    return person;
}

Payload to_payload(const LINE_COUNT_MSG_S& m) {
    return PersonCounted{stamp_of(m.frame_flag), m.trackId, to_box(m.obj), m.line, m.cross, {}};
}

Payload to_payload(const GROUP_COUNT_MSG_S& m) {
    return GroupCounted{stamp_of(m.frame_flag), m.members, m.line, m.cross};
}

Payload to_payload(const DET_SHOW_MSG_S& m) {
    return DetectionsShown{stamp_of(m.frame_flag), boxes_of(m.real_objs, m.real_num),
                           boxes_of(m.depth_objs, m.depth_num),
                           boxes_of(m.merge_objs, m.merge_num)};
}

Payload shown_tracks(const SHOW_MSG_S& m, bool detected) {
    TracksShown shown{stamp_of(m.frame_flag), detected, {}};
    std::transform(m.objs, m.objs + std::clamp(m.num, 0, VCA_SHOW_MAX),
                   std::back_inserter(shown.tracks), to_shown);
    return shown;
}

Payload to_payload(const RGN_MSG_S& m) {
    RegionsReported report{stamp_of(m.frame_flag), {}, {}};
    std::transform(m.persons, m.persons + std::min<std::uint32_t>(m.num, VCA_RGN_PERSON_MAX),
                   std::back_inserter(report.people), to_person);
    std::copy(std::begin(m.peopleCnt), std::end(m.peopleCnt), report.inside.begin());
    return report;
}

Payload to_payload(const SLAVE_MSG_S& m) {
    return SlaveTracks{std::make_shared<const SLAVE_MSG_S>(m)};
}

Payload to_payload(const HEAT_MAP_MSG_S& m) {
    HeatMapReported report;
    std::copy(std::begin(m.request), std::end(m.request), report.request.begin());
    report.motion.assign(&m.motion[0][0], &m.motion[0][0] + VCA_HEAT_ROWS * VCA_HEAT_COLS);
    report.dwell_ms.assign(&m.dwell[0][0], &m.dwell[0][0] + VCA_HEAT_ROWS * VCA_HEAT_COLS);
    return report;
}

template <typename Record>
Payload decode_as(std::span<const std::uint8_t> bytes) {
    const std::optional<Record> record = read_record<Record>(bytes);
    if (!record) return UnknownMessage{bytes.size()};
    return to_payload(*record);
}

template <typename Notice>
Payload decode_notice(std::span<const std::uint8_t> bytes) {
    const std::optional<TRK_SHOW_MSG_S> m = read_record<TRK_SHOW_MSG_S>(bytes);
    if (!m) return UnknownMessage{bytes.size()};
    return Notice{m->trackId, m->cx, m->cy, m->footX, m->footY};
}

}  // namespace

Payload decode_message(int id, std::span<const std::uint8_t> bytes) {
    switch (id) {
        case kDecisionId:
            if (const auto decision = read_record<Decision>(bytes)) return *decision;
            break;
        case VCA_MSG_LINE_COUNT:
            return decode_as<LINE_COUNT_MSG_S>(bytes);
        case VCA_MSG_GROUP_COUNT:
            return decode_as<GROUP_COUNT_MSG_S>(bytes);
        case VCA_MSG_DETECTIONS:
            return decode_as<DET_SHOW_MSG_S>(bytes);
        case VCA_MSG_REGIONS:
            return decode_as<RGN_MSG_S>(bytes);
        case VCA_MSG_HEAT_MAP:
            return decode_as<HEAT_MAP_MSG_S>(bytes);
        case VCA_MSG_SLAVE_TRACKS:
            return decode_as<SLAVE_MSG_S>(bytes);
        case VCA_MSG_FRAME_COUNT:
            if (const auto frame_count = read_record<std::int32_t>(bytes)) {
                return FrameCount{*frame_count};
            }
            break;
        case VCA_MSG_TRACKS:
        case VCA_MSG_DETECTED_TRACKS:
            if (const auto m = read_record<SHOW_MSG_S>(bytes)) {
                return shown_tracks(*m, id == VCA_MSG_DETECTED_TRACKS);
            }
            break;
        case VCA_MSG_TRACK_BORN:
            return decode_notice<TrackAppeared>(bytes);
        case VCA_MSG_TRACK_REMOVED:
            return decode_notice<TrackRemoved>(bytes);
        case VCA_MSG_INSTALL_HEIGHT:
            if (const auto height_mm = read_record<std::int32_t>(bytes)) {
                return InstallHeight{*height_mm};
            }
            break;
        case VCA_MSG_CONFIG:
            if (bytes.size() == VCA_CONFIG_REQUEST_BYTES) return ConfigRequest{};
            break;
        default:
            break;
    }
    return UnknownMessage{bytes.size()};
}

}  // namespace host
