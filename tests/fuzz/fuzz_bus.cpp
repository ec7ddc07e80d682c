// What reaches the host over its buses: the library's messages of any length, topics, sender
// clocks and payloads from the network, and the bridges of a master and of a slave whole.
#include <memory>
#include <string>
#include <vector>

#include "host/engine/events.h"
#include "host/link/master_bridge.h"
#include "host/link/slave_bridge.h"
#include "host/settings/site_map.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/fuzz/fake_mqtt.h"
#include "tests/support/bus_functions.h"
#include "vca/event.h"
#include "vca/heat_map.h"
#include "vca/messages.h"

namespace {

using fuzz::BrokerMessage;
using fuzz::ByteReader;

constexpr int kMessages[] = {VCA_MSG_LINE_COUNT,      VCA_MSG_TRACKS,      VCA_MSG_REGIONS,
                             VCA_MSG_INSTALL_HEIGHT,  VCA_MSG_CONFIG,      VCA_MSG_GROUP_COUNT,
                             VCA_MSG_HEAT_MAP,        VCA_MSG_FRAME_COUNT, VCA_MSG_SLAVE_TRACKS,
                             VCA_MSG_DETECTIONS,      VCA_MSG_TRACK_BORN,  VCA_MSG_TRACK_REMOVED,
                             VCA_MSG_DETECTED_TRACKS, VCA_MSG_HEAT_RESET,  0};

size_t bytes_of_message(int id) {
    switch (id) {
        case VCA_MSG_LINE_COUNT:
            return sizeof(LINE_COUNT_MSG_S);
        case VCA_MSG_TRACKS:
        case VCA_MSG_DETECTED_TRACKS:
            return sizeof(SHOW_MSG_S);
        case VCA_MSG_REGIONS:
            return sizeof(RGN_MSG_S);
        case VCA_MSG_GROUP_COUNT:
            return sizeof(GROUP_COUNT_MSG_S);
        case VCA_MSG_HEAT_MAP:
            return sizeof(HEAT_MAP_MSG_S);
        case VCA_MSG_SLAVE_TRACKS:
            return sizeof(SLAVE_MSG_S);
        case VCA_MSG_DETECTIONS:
            return sizeof(DET_SHOW_MSG_S);
        case VCA_MSG_TRACK_BORN:
        case VCA_MSG_TRACK_REMOVED:
            return sizeof(TRK_SHOW_MSG_S);
        case VCA_MSG_CONFIG:
            return VCA_CONFIG_REQUEST_BYTES;
        default:
            return 4;
    }
}

// The bytes of the input over and over, so that a small input fills a large record.
std::vector<uint8_t> spread(ByteReader& in, size_t bytes) {
    std::vector<uint8_t> record(bytes);
    const size_t period = in.left();
    for (size_t i = 0; i < bytes && period > 0; ++i)
        record[i] = in.rest()[i % period];
    return record;
}

void decode(ByteReader& in) {
    const int id = kMessages[in.u8() % std::size(kMessages)];
    const size_t right = bytes_of_message(id);
    const size_t length = in.below(8) != 0 ? right : in.u16();
    std::vector<uint8_t> record = spread(in, length);
    record.shrink_to_fit();
    host::Event event;
    event.id = id;
    event.payload = host::decode_message(id, record);
    if (host::to_json_line(event).empty()) std::abort();
}

std::string read_text(ByteReader& in) {
    std::string text(in.u8() % 80u, '\0');
    in.fill(text.data(), text.size());
    text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
    return text;
}

void names(ByteReader& in) {
    const std::string site = read_text(in);
    const std::string text = read_text(in);
    host::split_topic(site, text);
    const host::SenderClock clock = host::parse_sender_clock(text);
    const host::SenderClock again = host::parse_sender_clock(host::to_text(clock));
    if (!clock.process.empty() && (again.process != clock.process || again.turn != clock.turn))
        std::abort();
    try {
        host::check_topic_name(text, "the name");
    } catch (const std::invalid_argument&) {
    }
}

MASTER_MSG_S read_packet(ByteReader& in, uint32_t index) {
    MASTER_MSG_S packet{};
    packet.slave_idx = in.below(8) != 0 ? index : in.u32();
    packet.reserved = in.below(8) != 0 ? in.u8() : in.u32();
    packet.msg.count = in.below(8) != 0 ? in.below(4) : in.number();
    for (SLAVE_TRACK_S& track : packet.msg.tracks) {
        if (in.empty()) break;
        track.height = in.real();
        track.foot_x = in.number();
        track.foot_y = in.number();
        track.cx = in.number();
        track.cy = in.number();
    }
    return packet;
}

BrokerMessage read_message(ByteReader& in) {
    static constexpr const char* kDevices[] = {"west", "east", "middle", "north"};
    static constexpr const char* kKinds[] = {"tracks", "status", "ask-frame-count", "other"};
    static constexpr const char* kStatus[] = {R"({"online":true,"fps":15})", R"({"online":false})",
                                              R"({"online":1,"fps":"a"})"};
    BrokerMessage message;
    const uint32_t device = in.u8() % 4u;
    const uint32_t kind = in.u8() % 4u;
    const uint8_t how = in.u8();
    message.topic = std::string("vca/hall/") + kDevices[device] + "/" + kKinds[kind];
    if ((how & 7) == 7) message.topic = read_text(in);
    message.retained = (how & 24) == 24;
    if ((how & 32) != 0) message.properties.emplace_back("clock", read_text(in));
    if ((how & 64) != 0) message.properties.emplace_back("sent-us", read_text(in));
    const uint8_t body = in.u8();
    if (body < 64) {
        const std::string text = read_text(in);
        message.payload.assign(text.begin(), text.end());
    } else if (kind == 1) {
        const std::string text = kStatus[body % 3];
        message.payload.assign(text.begin(), text.end());
    } else if (kind == 0) {
        const MASTER_MSG_S packet = read_packet(in, device);
        const auto* bytes = reinterpret_cast<const uint8_t*>(&packet);
        message.payload.assign(bytes, bytes + sizeof(packet) - (body == 64 ? 1 : 0));
    } else {
        message.payload = spread(in, body % 8u);
    }
    return message;
}

// What the library would read of a message to it.
void read_whole(int, void* payload, size_t bytes) {
    static volatile uint8_t sum = 0;
    for (size_t i = 0; i < bytes; ++i)
        sum = static_cast<uint8_t>(sum + static_cast<const uint8_t*>(payload)[i]);
}

void read_tracks(int channel, void* payload) {
    MASTER_MSG_S packet;
    std::memcpy(&packet, payload, sizeof(packet));
    if (packet.slave_idx >= VCA_SLAVE_MAX || packet.msg.count < 0 ||
        packet.msg.count > VCA_SLAVE_TRACK_MAX)
        std::abort();
    read_whole(channel, payload, sizeof(packet));
}

void read_count(int channel, void* payload) {
    read_whole(channel, payload, sizeof(int32_t));
}

void read_nothing(int, void*) {}

const SOCK_REQUEST_S kHandlers[] = {{VCA_MSG_SLAVE_TRACKS, 0, read_tracks, 0},
                                    {VCA_MSG_FRAME_COUNT, 0, read_count, 0},
                                    {VCA_MSG_ASK_FRAME_COUNT, 0, read_nothing, 0}};

host::Site make_site() {
    host::Site site;
    site.name = "hall";
    const auto add = [&site](const char* name, int index, double x_m, double rotation_deg) {
        host::SiteDevice device;
        device.name = name;
        device.master = index < 0;
        device.index = index;
        device.at = {x_m, 0.0};
        device.rotation_deg = rotation_deg;
        device.height_mm = 6000.0;
        site.devices.push_back(device);
    };
    add("middle", -1, 0.0, 90.0);
    add("west", 0, -2.8, 90.0);
    add("east", 1, 2.8, -90.0);
    return site;
}

host::Event shown_event(ByteReader& in) {
    host::Event event;
    event.id = VCA_MSG_TRACKS;
    event.frame_number = in.number();
    event.feed_count = in.number();
    switch (in.below(3)) {
        case 0:
            event.payload = host::TracksShown{};
            break;
        case 1:
            event.payload = host::FrameCount{in.number()};
            break;
        default:
            event.payload = host::SlaveTracks{std::make_shared<const SLAVE_MSG_S>()};
            break;
    }
    return event;
}

template <typename Bridge>
void play(ByteReader& in, host::Bus& bus, Bridge& bridge) {
    for (int steps = 0; steps < 24 && !in.empty(); ++steps) {
        std::vector<BrokerMessage> messages;
        for (int num = 1 + in.below(4); num > 0; --num)
            messages.push_back(read_message(in));
        fuzz::hand_over(messages);
        // The library's own messages come on the bus thread.
        bus.call([&bridge, event = shown_event(in)] { bridge.on_event(event); });
        bus.wait_idle();
    }
    bridge.stats();
    bridge.stop();
}

void run_master(ByteReader& in) {
    static const host::Site site = make_site();
    test::BusFunctions client;
    host::Bus bus(client);
    bus.add_handlers(kHandlers, std::size(kHandlers));
    int32_t frame = 0;
    host::MasterSettings settings;
    settings.site = "hall";
    settings.name = "middle";
    settings.slaves = {{"west", 0}, {"east", 1}};
    host::MasterHooks hooks;
    hooks.frame_count = [&frame] { return frame++; };
    hooks.map = [](int slave, SLAVE_MSG_S& message) { map_to_master(site, slave, message); };
    hooks.report = [](const std::string& sentence) {
        if (sentence.empty()) std::abort();
    };
    hooks.frame_in_work = [] { return int64_t{5}; };
    host::MasterBridge bridge(bus, settings, hooks);
    play(in, bus, bridge);
}

void run_slave(ByteReader& in) {
    test::BusFunctions client;
    host::Bus bus(client);
    bus.add_handlers(kHandlers, std::size(kHandlers));
    host::SlaveSettings settings;
    settings.site = "hall";
    settings.device = {"west", 0};
    host::SlaveHooks hooks;
    hooks.frame_count = [] { return 7; };
    host::SlaveBridge bridge(bus, settings, hooks);
    play(in, bus, bridge);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader in(data, size);
    switch (in.below(5)) {
        case 0:
        case 1:
            decode(in);
            break;
        case 2:
            names(in);
            break;
        case 3:
            run_master(in);
            break;
        default:
            run_slave(in);
            break;
    }
    return 0;
}
