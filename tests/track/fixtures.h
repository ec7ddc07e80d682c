// What the tests of detection, tracking, objects and line counting share: boxes and tracks to
// start from, a library set up for a stand-alone device, debug switches, and the library's output
// taken apart into log lines and plain lines.
#ifndef TESTS_TRACK_FIXTURES_H
#define TESTS_TRACK_FIXTURES_H

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vca/vca.h"

namespace fix {

// Numbers of the debug switches.
enum Switch {
    kSwVca = 0,
    kSwDetect = 8,
    kSwTrack = 9,
    kSwInfo = 10,
    kSwHeight = 14,
    kSwGroup = 17
};

using Rect = std::array<int32_t, 4>;

DET_OBJ_S box(int32_t x, int32_t y, int32_t w, int32_t h, float score = 0.95f,
              uint8_t class_id = VCA_CLASS_PERSON);

// A box of the given size around a centre.
DET_OBJ_S centred(int32_t cx, int32_t cy, int32_t w = 40, int32_t h = 40);

// A record in which every field that nobody computes with holds a value of its own, so that a
// field-by-field copy that forgets one shows.
DET_OBJ_S patterned(uint32_t seed);

Rect rect(const DET_OBJ_S& obj);
POINT_POS_S centre(const DET_OBJ_S& obj);

// Whether two plain records agree in every byte.
template <class T>
bool same(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

std::unique_ptr<TRACKER_RSLT_S> new_track(int32_t id = 1);

VCA_DEV_CFG_S& cfg();

// Working sizes of the control block, an empty floor 3 m away in the depth image, and a stand-alone
// device at 3 m that counts by curObj, with targets of 500 to 2500 mm and the cascade map equal to
// the image.
void set_up_device();

void set_switch(Switch number, bool on);

// One line of output. Plain lines have no function.
struct Line {
    std::string text;
    std::string function;
};

// Runs `action` and returns what the library wrote to standard output meanwhile.
std::string output_of(const std::function<void()>& action);

// Takes output apart. A log line must have the exact form of one: tab, green, body, reset, blank,
// "[mm:ss.mmm function:number]", newline; its text is the body. Everything else is plain, one
// entry for each newline.
std::vector<Line> lines_of(const std::string& output);

// The lines an action writes: "log: body" for log lines, "plain: text" for the others.
std::vector<std::string> printed_by(const std::function<void()>& action);

// A message the library has sent.
struct Message {
    int channel;
    int id;
    std::vector<uint8_t> bytes;
    bool operator==(const Message&) const = default;
};

// The messages sent since the last call, oldest first.
std::vector<Message> take_messages();

// The message a record should have become.
template <class T>
Message message_of(int id, const T& record) {
    Message message{1, id, std::vector<uint8_t>(sizeof(T))};
    std::memcpy(message.bytes.data(), &record, sizeof(T));
    return message;
}

void PrintTo(const Message& message, std::ostream* os);

// A detection that the scripted tracker reports under an id.
struct Seen {
    int32_t id;
    DET_OBJ_S obj;
};

// A list of tracks driven frame by frame through the tracking process.
class Scene {
  public:
    explicit Scene(bool merged = false) : merged_(merged) {}

    // One pass with these detections, each reported by the tracker; then the frame counter
    // advances by one.
    void pass(const std::vector<Seen>& seen);

    // The record with an id; fails the test when there is none.
    TRACKER_RSLT_S& track(int32_t id);

    std::vector<TRACKER_RSLT_S> list;
    std::unique_ptr<VCA_NN_RESULT_S> detections = std::make_unique<VCA_NN_RESULT_S>();

  private:
    bool merged_;
};

// The depth working image (480 x 256) that the control block points at.
constexpr int kDepthWidth = 480;
constexpr int kDepthHeight = 256;
std::vector<uint16_t>& depth_image();

}  // namespace fix

#endif
