// Scenes for the whole-pipeline tests.
#include "tests/scenario/scene.h"

#include <algorithm>
#include <iterator>

namespace test {
namespace {

// The depth image is half as wide and 256 / 544 as high as the colour image.
void stamp_head(std::vector<uint16_t>& raw, const Person& p) {
    const int x0 = std::clamp(p.x / 2, 0, 480);
    const int x1 = std::clamp((p.x + p.w) / 2, 0, 480);
    const int y0 = std::clamp(p.y * 256 / 544, 0, 256);
    const int y1 = std::clamp((p.y + p.h) * 256 / 544, 0, 256);
    for (int y = y0; y < y1; ++y)
        std::fill(&raw[0] + y * 480 + x0, &raw[0] + y * 480 + x1, kHeadMm);
}

void number(std::vector<Frame>& frames, int start) {
    for (auto& frame : frames)
        frame.flag = kFirstStamp + static_cast<uint32_t>(start++);
}

}  // namespace

Person person_at(int id, Point centre, float score) {
    return {id, centre.x - kBox / 2, centre.y - kBox / 2, kBox, kBox, 1, score};
}

Frame frame_of(std::vector<Person> persons) {
    Frame frame;
    frame.raw.assign(480 * 256, kFloorMm);
    for (const auto& p : persons)
        stamp_head(frame.raw, p);
    frame.colour = std::move(persons);
    return frame;
}

std::vector<Frame> walk(const std::vector<Walker>& walkers, int count, int start) {
    std::vector<Frame> frames;
    for (int k = 0; k < count; ++k) {
        std::vector<Person> persons;
        for (const auto& w : walkers) {
            if (k < w.first || k > w.last) continue;
            const int n = k - w.first;
            persons.push_back(
                person_at(w.id, {w.from.x + n * w.step.x, w.from.y + n * w.step.y}, w.score));
        }
        frames.push_back(frame_of(std::move(persons)));
    }
    number(frames, start);
    return frames;
}

std::vector<Frame> path(int id, const std::vector<Point>& centres, int start) {
    std::vector<Frame> frames;
    for (const Point c : centres)
        frames.push_back(frame_of({person_at(id, c)}));
    number(frames, start);
    return frames;
}

std::vector<Frame> empty_frames(int count, int start) {
    std::vector<Frame> frames(static_cast<size_t>(count));
    number(frames, start);
    return frames;
}

VCA_ALGO_CFG_S line_config(bool flip) {
    auto cfg = plain_config();
    set_line(cfg, 0, kLine, flip);
    return cfg;
}

DET_OBJ_S track_box(Point centre, float height_mm) {
    DET_OBJ_S box{};
    box.x = centre.x - kBox / 2;
    box.y = centre.y - kBox / 2;
    box.w = kBox;
    box.h = kBox;
    box.area = kBox * kBox;
    box.class_id = VCA_CLASS_PERSON;
    box.score = 0.9f;
    box.height = height_mm;
    return box;
}

LINE_COUNT_MSG_S expected_count(int frame, int id, Point centre, int cross) {
    LINE_COUNT_MSG_S msg{};
    msg.frame_flag[0] = kFirstStamp + static_cast<uint32_t>(frame);
    msg.trackId = id;
    msg.obj = track_box(centre);
    msg.line = 0;
    msg.cross = cross;
    return msg;
}

std::vector<Count> counts() {
    std::vector<Count> list;
    for (const auto& message : host().messages(VCA_MSG_LINE_COUNT)) {
        const auto msg = message.as<LINE_COUNT_MSG_S>();
        list.push_back({message.frame, msg.trackId, msg.line, msg.cross});
    }
    return list;
}

void play(const VCA_ALGO_CFG_S& cfg, std::vector<Frame> frames) {
    // Exclusion polygons are rasterised with the working sizes, so the base stage comes first.
    vca_base_init();
    apply_config(cfg);
    host().push(std::move(frames));
    vca_algo_init();
    if (!host().run({})) host().error("frames were not played to the end");
    stop_library();
}

}  // namespace test
