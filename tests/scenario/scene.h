// Scenes for the whole-pipeline tests: people of 1700 mm as boxes of 80 x 80 walking under a camera
// at 3000 mm, seen by the colour model and by the depth sensor.
//
// A walker's centre moves from `from` by `step` pixels per frame. The counting line of these tests
// runs from (200, 272) to (760, 272): a walker coming down passes it in direction 2, one going up
// in direction 1.
#ifndef TESTS_SCENARIO_SCENE_H
#define TESTS_SCENARIO_SCENE_H

#include <vector>

#include "tests/support/scripted_host.h"
#include "tests/support/test_config.h"

namespace test {

constexpr int kBox = 80;
constexpr uint16_t kFloorMm = 3000;
constexpr uint16_t kHeadMm = 1300;  // 3000 - 1700

const std::vector<Point> kLine = {{200, 272}, {760, 272}};

// Frame stamps are kFirstStamp plus the frame number.
constexpr uint32_t kFirstStamp = 5000;

struct Walker {
    int id = 1;
    Point from{480, 100};
    Point step{0, 12};
    int first = 0;      // first frame
    int last = 100000;  // last frame
    float score = 0.9f;
};

Person person_at(int id, Point centre, float score = 0.9f);

// A frame of people given by their boxes, with their heads in the raw depth.
Frame frame_of(std::vector<Person> persons);

// `count` frames of walkers, numbered from `start`.
std::vector<Frame> walk(const std::vector<Walker>& walkers, int count, int start = 0);

// A person along the given centres, one frame each.
std::vector<Frame> path(int id, const std::vector<Point>& centres, int start = 0);

// Empty frames, numbered from `start`.
std::vector<Frame> empty_frames(int count, int start);

// The line on line 0.
VCA_ALGO_CFG_S line_config(bool flip = false);

// Message 6045 of a person counted on line 0 of a box whose centre is given.
LINE_COUNT_MSG_S expected_count(int frame, int id, Point centre, int cross);

// The one person's box as a track holds it once its height is known.
DET_OBJ_S track_box(Point centre, float height_mm = 1700.0f);

// Counted crossings as {frame, track id, line, direction}.
struct Count {
    int frame;
    int id;
    int line;
    int cross;
    bool operator==(const Count&) const = default;
};
std::vector<Count> counts();

// Applies the configuration, plays the frames from the very first pass on and stops the library.
void play(const VCA_ALGO_CFG_S& cfg, std::vector<Frame> frames);

// Byte-by-byte comparison; the text names the first different byte.
template <class T>
std::string difference(const Message& message, const T& expected) {
    if (message.bytes.size() != sizeof(T)) return "length " + std::to_string(message.bytes.size());
    const auto* bytes = reinterpret_cast<const uint8_t*>(&expected);
    for (size_t i = 0; i < sizeof(T); ++i) {
        if (message.bytes[i] == bytes[i]) continue;
        return "byte " + std::to_string(i) + ": " + std::to_string(message.bytes[i]) +
               " instead of " + std::to_string(bytes[i]);
    }
    return "";
}

}  // namespace test

#endif
