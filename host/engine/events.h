// Messages of the library to the host, decoded from their wire layout into typed events.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "host/frames/input_notice.h"
#include "vca/cascade.h"
#include "vca/decision.h"
#include "vca/detect.h"
#include "vca/display.h"
#include "vca/region.h"

namespace host {

// A box in colour-image pixels with what is known about the person in it.
struct ReportedBox {
    int x = 0;
    int y = 0;
    int w = 0;
    int h = 0;
    int class_id = 0;
    float score = 0.0f;
    float height_mm = 0.0f;
    int gender = 0;
    int staff = 0;
};

// Where a track ended whose end made the library count.
struct TrackEnd {
    int list = 0;          // VCA_LIST_E
    int passes_since = 0;  // since the person was last seen just past the line
    double past_px = 0.0;  // past the line at the end; negative for before it
};

// The person was no longer past the line.
inline bool is_late(const TrackEnd& end) {
    return end.past_px < 0.0;
}

// One person crossed a counting line.
struct PersonCounted {
    std::uint64_t frame_stamp = 0;
    int track = 0;
    ReportedBox box;  // position box at the crossing
    int line = 0;     // 0 to 3
    int direction = 0;
    std::optional<TrackEnd> at_end;  // counted because the track ended
};

enum class LeftOut {
    kNot,
    kWentBack,  // the track ended before the line again
    kUnseen,    // crossed the line after the last frame
    kCorner,    // along a closed line: to the side where the person was already, or was not
    kNoLine,    // the line had been taken away or moved before the track ended
};

// A count that is left out of the results.
struct CountLeftOut {
    PersonCounted count;  // with `at_end` if the person went back
    int list = 0;         // VCA_LIST_E
    LeftOut why = LeftOut::kWentBack;
};

// A group of people crossed a counting line together.
struct GroupCounted {
    std::uint64_t frame_stamp = 0;
    int members = 0;
    int line = 0;
    int direction = 0;
};

// Measured distance from the camera to the floor.
struct InstallHeight {
    int height_mm = 0;
};

// The library asks for its configuration.
struct ConfigRequest {};

// The detection boxes of one frame.
struct DetectionsShown {
    std::uint64_t frame_stamp = 0;
    std::vector<ReportedBox> colour;
    std::vector<ReportedBox> depth;
    std::vector<ReportedBox> merged;
};

struct TrackAppeared {
    int track = 0;
    int centre_x = 0;
    int centre_y = 0;
    int foot_x = 0;
    int foot_y = 0;
};

struct TrackRemoved {
    int track = 0;
    int centre_x = 0;
    int centre_y = 0;
    int foot_x = 0;
    int foot_y = 0;
};

// A track as it is drawn.
struct ShownTrack {
    int track = 0;
    int x = 0;  // box, colour-image pixels
    int y = 0;
    int w = 0;
    int h = 0;
    int class_id = 0;
    std::vector<POINT_POS_S> trail;  // the newest place first
    std::uint32_t height_mm = 0;
    int gender = 0;
    int staff = 0;
    double crossing_px = 0.0;  // past a counting line before a crossing counts
};

// The tracks of one frame, to be drawn over the picture: message 6069, or 6090 with the trails of
// the detected boxes.
struct TracksShown {
    std::uint64_t frame_stamp = 0;
    bool detected = false;  // message 6090
    std::vector<ShownTrack> tracks;
};

// A person's stay in one region.
struct RegionState {
    int inside = 0;
    int stay_ms = 0;
};

struct RegionPerson {
    int track = 0;
    ReportedBox box;
    std::array<RegionState, VCA_RGN_NUM> regions{};
};

// The people of one frame with their stay in every region, and the number of people in each.
struct RegionsReported {
    std::uint64_t frame_stamp = 0;
    std::vector<RegionPerson> people;
    std::array<int, VCA_RGN_NUM> inside{};
};

// The heat maps since the last request, row by row, 240 columns x 135 rows.
struct HeatMapReported {
    std::array<std::uint8_t, 24> request{};
    std::vector<std::int32_t> motion;  // passages
    std::vector<std::int32_t> dwell_ms;
};

// A slave's tracks for its master. Shared because the record is much larger than other events.
struct SlaveTracks {
    std::shared_ptr<const SLAVE_MSG_S> message;  // never null
};

// A master's feed frame counter, asked for by a slave.
struct FrameCount {
    int frame_count = 0;
};

// A message whose number is unknown or whose length does not match its number.
struct UnknownMessage {
    std::size_t length = 0;
};

// Why the library did what it did: not a message, but kept in order with the messages.
using Decision = VCA_DECISION_S;
inline constexpr int kDecisionId = 0;
// What happens to a live input is no message either: the kinds of InputNotice.
inline constexpr int kInputId = -1;

using Payload =
    std::variant<PersonCounted, CountLeftOut, GroupCounted, InstallHeight, ConfigRequest,
                 DetectionsShown, TrackAppeared, TrackRemoved, TracksShown, RegionsReported,
                 HeatMapReported, SlaveTracks, FrameCount, Decision, InputSilent, InputGap,
                 InputFault, ClockStep, UnknownMessage>;

struct Event {
    int id = 0;                      // message number, kDecisionId or kInputId
    std::int64_t frame_number = -1;  // frame in progress when it was sent; -1 for none
    double time_s = 0.0;             // scene time of that frame
    Payload payload;
    std::int32_t feed_count = 0;  // the library's feed frame counter when it was sent
    std::int64_t utc_us = 0;      // of that frame, since 1970; 0 when the source is not live
    bool blank = false;           // that frame was fed after the end of the source
};

// Decodes the bytes of message `id`; never fails: a malformed message becomes UnknownMessage.
Payload decode_message(int id, std::span<const std::uint8_t> bytes);

// The event as one line of JSON without the line break.
std::string to_json_line(const Event& event);

}  // namespace host
