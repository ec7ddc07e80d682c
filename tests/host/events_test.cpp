// Decoding of every message from bytes laid out by hand, and its JSON.
#include "host/engine/events.h"

#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>

namespace {

using host::Event;
using host::Payload;

// A message of `size` bytes that is filled field by field at byte offsets.
class Bytes {
  public:
    explicit Bytes(std::size_t size) : bytes_(size, 0) {}

    template <typename T>
    Bytes& put(std::size_t offset, T value) {
        std::memcpy(bytes_.data() + offset, &value, sizeof value);
        return *this;
    }

    Payload decode(int id) const { return host::decode_message(id, bytes_); }

  private:
    std::vector<std::uint8_t> bytes_;
};

TEST(Decode, PersonCounted) {
    Bytes bytes(104);
    bytes.put<std::uint32_t>(0, 89).put<std::uint32_t>(4, 2);  // frame stamp
    bytes.put<std::int32_t>(8, 17);                            // track
    bytes.put<std::int32_t>(12 + 12, 400).put<std::int32_t>(12 + 16, 250);
    bytes.put<std::int32_t>(12 + 20, 90).put<std::int32_t>(12 + 24, 80);
    bytes.put<std::uint8_t>(12 + 32, 1).put<float>(12 + 36, 0.75f);
    bytes.put<float>(12 + 52, 1712.0f);
    bytes.put<std::int32_t>(92, 3).put<std::int32_t>(96, 2);
    const auto e = std::get<host::PersonCounted>(bytes.decode(6045));
    EXPECT_EQ(e.frame_stamp, (std::uint64_t{2} << 32) + 89);
    EXPECT_EQ(e.track, 17);
    EXPECT_EQ(e.box.x, 400);
    EXPECT_EQ(e.box.y, 250);
    EXPECT_EQ(e.box.w, 90);
    EXPECT_EQ(e.box.h, 80);
    EXPECT_EQ(e.box.class_id, 1);
    EXPECT_FLOAT_EQ(e.box.score, 0.75f);
    EXPECT_FLOAT_EQ(e.box.height_mm, 1712.0f);
    EXPECT_EQ(e.line, 3);
    EXPECT_EQ(e.direction, 2);
}

TEST(Decode, GroupCounted) {
    Bytes bytes(24);
    bytes.put<std::uint32_t>(0, 5).put<std::int32_t>(8, 3).put<std::int32_t>(12, 1);
    bytes.put<std::int32_t>(16, 2);
    const auto e = std::get<host::GroupCounted>(bytes.decode(6080));
    EXPECT_EQ(e.frame_stamp, 5u);
    EXPECT_EQ(e.members, 3);
    EXPECT_EQ(e.line, 1);
    EXPECT_EQ(e.direction, 2);
}

TEST(Decode, InstallHeight) {
    const Payload payload = Bytes(4).put<std::int32_t>(0, 3342).decode(6077);
    EXPECT_EQ(std::get<host::InstallHeight>(payload).height_mm, 3342);
}

TEST(Decode, ConfigRequest) {
    EXPECT_TRUE(std::holds_alternative<host::ConfigRequest>(Bytes(8048).decode(6078)));
}

TEST(Decode, DetectionsShown) {
    Bytes bytes(5784);
    bytes.put<std::uint32_t>(0, 4);
    bytes.put<std::int32_t>(8, 1).put<std::int32_t>(12 + 12, 11);
    bytes.put<std::int32_t>(1932, 2).put<std::int32_t>(1936 + 64 + 12, 22);
    bytes.put<std::int32_t>(3856, 30).put<std::int32_t>(3860 + 29 * 64 + 12, 33);
    const auto e = std::get<host::DetectionsShown>(bytes.decode(6086));
    EXPECT_EQ(e.frame_stamp, 4u);
    ASSERT_EQ(e.colour.size(), 1u);
    EXPECT_EQ(e.colour[0].x, 11);
    ASSERT_EQ(e.depth.size(), 2u);
    EXPECT_EQ(e.depth[1].x, 22);
    ASSERT_EQ(e.merged.size(), 30u);
    EXPECT_EQ(e.merged[29].x, 33);
}

TEST(Decode, DetectionCountsAreBroughtIntoRange) {
    Bytes bytes(5784);
    bytes.put<std::int32_t>(8, -3).put<std::int32_t>(1932, 1 << 30).put<std::int32_t>(3856, 31);
    const auto e = std::get<host::DetectionsShown>(bytes.decode(6086));
    EXPECT_EQ(e.colour.size(), 0u);
    EXPECT_EQ(e.depth.size(), 30u);
    EXPECT_EQ(e.merged.size(), 30u);
}

TEST(Decode, TrackNotices) {
    Bytes bytes(20);
    for (int i = 0; i < 5; ++i)
        bytes.put<std::int32_t>(static_cast<std::size_t>(4 * i), i + 1);
    const auto born = std::get<host::TrackAppeared>(bytes.decode(6087));
    EXPECT_EQ(born.track, 1);
    EXPECT_EQ(born.centre_x, 2);
    EXPECT_EQ(born.centre_y, 3);
    EXPECT_EQ(born.foot_x, 4);
    EXPECT_EQ(born.foot_y, 5);
    EXPECT_EQ(std::get<host::TrackRemoved>(bytes.decode(6088)).foot_y, 5);
}

TEST(Decode, SlaveTracksKeepEveryByte) {
    Bytes bytes(6136);
    bytes.put<std::uint32_t>(0, 5).put<std::uint32_t>(8, 4321).put<std::int32_t>(12, 90);
    bytes.put<std::uint32_t>(16 + 4, 11).put<std::int32_t>(16 + 89 * 68 + 44, -77);
    bytes.put<std::uint8_t>(6135, 9);
    const auto e = std::get<host::SlaveTracks>(bytes.decode(6085));
    EXPECT_EQ(e.message->frame_flag[0], 5u);
    EXPECT_EQ(e.message->frame, 4321u);
    EXPECT_EQ(e.message->count, 90);
    EXPECT_EQ(e.message->tracks[0].track_id, 11u);
    EXPECT_EQ(e.message->tracks[89].foot_y, -77);
    EXPECT_EQ(e.message->tracks[89].reserved2[4], 9u << 24);
}

TEST(Decode, FrameCount) {
    const Payload payload = Bytes(4).put<std::int32_t>(0, -8).decode(6083);
    EXPECT_EQ(std::get<host::FrameCount>(payload).frame_count, -8);
}

TEST(Decode, TracksShown) {
    Bytes bytes(27016);
    bytes.put<std::uint32_t>(0, 6).put<std::int32_t>(12, 2);
    const std::size_t second = 16 + 300;
    bytes.put<std::uint32_t>(second, 41).put<std::int32_t>(second + 4, 300);
    bytes.put<std::int32_t>(second + 16, 80).put<std::uint8_t>(second + 20, 1);
    bytes.put<std::uint16_t>(second + 22, 1).put<std::int32_t>(second + 28, 222);
    bytes.put<std::uint32_t>(second + 264, 1734).put<std::int32_t>(second + 268, 2);
    bytes.put<std::int32_t>(second + 272, 1);
    const auto e = std::get<host::TracksShown>(bytes.decode(6069));
    EXPECT_EQ(e.frame_stamp, 6u);
    EXPECT_FALSE(e.detected);
    ASSERT_EQ(e.tracks.size(), 2u);
    EXPECT_EQ(e.tracks[1].track, 41);
    EXPECT_EQ(e.tracks[1].x, 300);
    EXPECT_EQ(e.tracks[1].h, 80);
    ASSERT_EQ(e.tracks[1].trail.size(), 1u);
    EXPECT_EQ(e.tracks[1].trail[0].y, 222);
    EXPECT_EQ(e.tracks[1].height_mm, 1734u);
    EXPECT_EQ(e.tracks[1].gender, 2);
    EXPECT_EQ(e.tracks[1].staff, 1);
    EXPECT_TRUE(std::get<host::TracksShown>(bytes.decode(6090)).detected);
    bytes.put<std::int32_t>(12, 91);
    EXPECT_EQ(std::get<host::TracksShown>(bytes.decode(6069)).tracks.size(), 90u);
    bytes.put<std::int32_t>(12, -1);
    EXPECT_TRUE(std::get<host::TracksShown>(bytes.decode(6069)).tracks.empty());
}

TEST(Decode, RegionsReported) {
    Bytes bytes(8672);
    bytes.put<std::uint32_t>(4, 1).put<std::uint32_t>(8, 2);
    const std::size_t second = 12 + 96;
    bytes.put<std::int32_t>(second, 17).put<std::int32_t>(second + 12, 400);
    bytes.put<std::uint8_t>(second + 64 + 8, 1).put<std::int32_t>(second + 68 + 8, 2600);
    bytes.put<std::int32_t>(8652 + 4, 1);
    const auto e = std::get<host::RegionsReported>(bytes.decode(6070));
    EXPECT_EQ(e.frame_stamp, std::uint64_t{1} << 32);
    ASSERT_EQ(e.people.size(), 2u);
    EXPECT_EQ(e.people[1].track, 17);
    EXPECT_EQ(e.people[1].box.x, 400);
    EXPECT_EQ(e.people[1].regions[1].inside, 1);
    EXPECT_EQ(e.people[1].regions[1].stay_ms, 2600);
    EXPECT_EQ(e.inside, (std::array<int, 4>{0, 1, 0, 0}));
    bytes.put<std::uint32_t>(8, 0xFFFFFFFFu);
    EXPECT_EQ(std::get<host::RegionsReported>(bytes.decode(6070)).people.size(), 90u);
}

TEST(Decode, HeatMapReported) {
    Bytes bytes(259224);
    bytes.put<std::uint8_t>(23, 9);
    bytes.put<std::int32_t>(24 + 4 * 241, 5);         // motion, row 1, column 1
    bytes.put<std::int32_t>(129624 + 4 * 32399, 77);  // dwell, the last cell
    const auto e = std::get<host::HeatMapReported>(bytes.decode(6081));
    EXPECT_EQ(e.request[23], 9);
    ASSERT_EQ(e.motion.size(), 32400u);
    ASSERT_EQ(e.dwell_ms.size(), 32400u);
    EXPECT_EQ(e.motion[241], 5);
    EXPECT_EQ(e.dwell_ms[32399], 77);
}

TEST(Decode, WrongLengthsAndNumbersAreUnknown) {
    for (const int id :
         {6045, 6077, 6078, 6080, 6083, 6085, 6086, 6087, 6088, 0, -1, 6069, 6070, 6081, 6090}) {
        for (const std::size_t length : {0u, 1u, 3u, 19u, 103u, 105u, 5783u, 6144u, 8049u}) {
            const Payload payload = Bytes(length).decode(id);
            ASSERT_TRUE(std::holds_alternative<host::UnknownMessage>(payload)) << id;
            EXPECT_EQ(std::get<host::UnknownMessage>(payload).length, length);
        }
    }
}

nlohmann::json json_of(int id, const Payload& payload) {
    return nlohmann::json::parse(host::to_json_line(Event{id, 30, 2.0, payload}));
}

TEST(EventJson, CarriesTheCommonFieldsAndThoseOfTheMessage) {
    host::PersonCounted counted;
    counted.track = 9;
    counted.line = 1;
    counted.direction = VCA_DIR_2;
    counted.box.height_mm = 1650.0f;
    counted.box.w = 70;
    counted.box.gender = VCA_GENDER_FEMALE;
    counted.box.staff = 1;
    const nlohmann::json json = json_of(6045, counted);
    EXPECT_EQ(json["message"], "person_counted");
    EXPECT_EQ(json["id"], 6045);
    EXPECT_EQ(json["frame"], 30);
    EXPECT_EQ(json["time_s"], 2.0);
    EXPECT_EQ(json["track"], 9);
    EXPECT_EQ(json["line"], 1);
    EXPECT_EQ(json["direction"], 2);
    EXPECT_EQ(json["height_mm"], 1650.0);
    EXPECT_EQ(json["box"]["w"], 70);
    EXPECT_EQ(json["gender"], 2);
    EXPECT_EQ(json["staff"], 1);
}

TEST(EventJson, NamesEveryMessage) {
    EXPECT_EQ(json_of(6080, host::GroupCounted{0, 3, 1, 1})["members"], 3);
    EXPECT_EQ(json_of(6077, host::InstallHeight{3000})["height_mm"], 3000);
    EXPECT_EQ(json_of(6078, host::ConfigRequest{})["message"], "config_request");
    EXPECT_EQ(json_of(6087, host::TrackAppeared{4, 1, 2, 3, 4})["centre"][1], 2);
    EXPECT_EQ(json_of(6088, host::TrackRemoved{4, 1, 2, 3, 5})["foot"][1], 5);
    EXPECT_EQ(json_of(6090, host::UnknownMessage{12})["length"], 12);
    EXPECT_EQ(json_of(6083, host::FrameCount{77})["frame_count"], 77);
    host::DetectionsShown shown;
    shown.depth.resize(2);
    const nlohmann::json json = json_of(6086, shown);
    EXPECT_EQ(json["depth"].size(), 2u);
    EXPECT_EQ(json["colour"].size(), 0u);
    EXPECT_EQ(json["message"], "detections");
}

TEST(EventJson, SlaveTracksListsOnlyTheTracksItHolds) {
    Bytes bytes(6136);
    bytes.put<std::uint32_t>(8, 4321).put<std::int32_t>(12, 2).put<std::uint32_t>(16 + 4, 11);
    bytes.put<float>(16 + 24, 1700.0f).put<std::int32_t>(16 + 68 + 40, 30);
    bytes.put<std::int32_t>(16 + 68 + 36, 20);
    const nlohmann::json json = json_of(6085, bytes.decode(6085));
    EXPECT_EQ(json["message"], "slave_tracks");
    EXPECT_EQ(json["master_frame"], 4321);
    ASSERT_EQ(json["tracks"].size(), 2u);
    EXPECT_EQ(json["tracks"][0]["track"], 11);
    EXPECT_EQ(json["tracks"][0]["height_mm"], 1700.0);
    EXPECT_EQ(json["tracks"][1]["foot"][0], 30);
    EXPECT_EQ(json["tracks"][1]["centre"][1], 20);
    for (const std::int32_t count : {-5, 1 << 30}) {
        bytes.put<std::int32_t>(12, count);
        EXPECT_EQ(json_of(6085, bytes.decode(6085))["tracks"].size(), count < 0 ? 0u : 90u);
    }
}

TEST(EventJson, ShowsTracksWithTheirTrails) {
    host::TracksShown shown;
    shown.tracks.resize(1);
    host::ShownTrack& track = shown.tracks[0];
    track.track = 3;
    track.w = 70;
    track.height_mm = 1700;
    track.staff = 1;
    track.trail = {{0, 0}, {8, 9}};
    const nlohmann::json json = json_of(6069, shown);
    EXPECT_EQ(json["message"], "tracks");
    EXPECT_EQ(json["tracks"][0]["track"], 3);
    EXPECT_EQ(json["tracks"][0]["w"], 70);
    EXPECT_EQ(json["tracks"][0]["height_mm"], 1700);
    EXPECT_EQ(json["tracks"][0]["staff"], 1);
    EXPECT_EQ(json["tracks"][0]["trail"], nlohmann::json::parse("[[0,0],[8,9]]"));
    shown.detected = true;
    EXPECT_EQ(json_of(6090, shown)["message"], "detected_tracks");
}

TEST(EventJson, ATrailHasNoMorePlacesThanItsMessage) {
    Bytes bytes(27016);
    bytes.put<std::int32_t>(12, 1).put<std::uint16_t>(16 + 22, 65535);
    bytes.put<std::int32_t>(16 + 24 + 8 * 29, 77);
    const Payload payload = bytes.decode(6069);
    EXPECT_EQ(std::get<host::TracksShown>(payload).tracks[0].trail.size(), 30u);
    const nlohmann::json trail = json_of(6069, payload)["tracks"][0]["trail"];
    ASSERT_EQ(trail.size(), 30u);
    EXPECT_EQ(trail[29][0], 77);
}

TEST(EventJson, ShowsRegionsAndTheSumsOfTheHeatMap) {
    host::RegionsReported regions;
    regions.inside = {1, 0, 2, 0};
    regions.people.resize(1);
    regions.people[0].track = 12;
    regions.people[0].regions[2] = {1, 1500};
    const nlohmann::json json = json_of(6070, regions);
    EXPECT_EQ(json["message"], "regions");
    EXPECT_EQ(json["inside"], nlohmann::json::parse("[1,0,2,0]"));
    EXPECT_EQ(json["people"][0]["track"], 12);
    EXPECT_EQ(json["people"][0]["inside"], nlohmann::json::parse("[0,0,1,0]"));
    EXPECT_EQ(json["people"][0]["stay_ms"][2], 1500);
    host::HeatMapReported heat;
    heat.dwell_ms = {2000000000, 2000000000};
    heat.motion = {3, 4};
    EXPECT_EQ(json_of(6081, heat)["message"], "heat_map");
    EXPECT_EQ(json_of(6081, heat)["dwell_ms"], 4000000000);
    EXPECT_EQ(json_of(6081, heat)["motion"], 7);
}

TEST(EventJson, TellsWhatHappensToTheInput) {
    const auto json = [](const Payload& payload) { return json_of(host::kInputId, payload); };
    EXPECT_EQ(json(host::InputSilent{1'500'000, "the sender ended"})["since_s"], 1.5);
    EXPECT_EQ(json(host::InputGap{1'000'000, 4'000'000, "the sender ended"})["to_s"], 4.0);
    host::InputFault fault{host::InputFaultKind::kNoColour, "no colour pictures come", 2'000'000,
                           std::nullopt};
    EXPECT_EQ(json(fault)["message"], "input_fault");
    EXPECT_EQ(json(fault)["fault"], "no_colour");
    fault.until_us = 3'000'000;
    EXPECT_EQ(json(fault)["message"], "input_fault_ended");
    const nlohmann::json step = json(host::ClockStep{5'000'000, -7'200'000'000});
    EXPECT_EQ(step["message"], "clock_step");
    EXPECT_EQ(step["at_s"], 5.0);
    EXPECT_EQ(step["by_s"], -7200.0);
}

}  // namespace
