// A script of frames, messages, configurations and faults that the bytes of a fuzzer's input spell.
#pragma once

#include <vector>

#include "tests/fuzz/byte_reader.h"
#include "tests/fuzz/fuzz_host.h"

namespace fuzz {

// People who walk for some frames.
struct Crowd {
    struct Walker {
        int32_t x, y, w, h;
        int32_t step_x, step_y;
        uint8_t class_id;
        float score;
        uint32_t shape;  // gender, staff and height hints of the detection
    };
    std::vector<Walker> walkers;
    bool by_depth = false;
    bool heads = false;

    void read(ByteReader& in);
    // Puts everybody into the answers and the depth frame, then moves them on.
    void step(Host& host);

  private:
    std::vector<Walker> drawn_;  // heads in the depth frame
    void draw_heads(Host& host);
};

// A payload of exactly the size its handler reads; bytes past it are not the library's to read.
// Made of well-formed bytes with changes, of the input's bytes, or none at all.
void deliver_any(int id, ByteReader& in);

class PassScript {
  public:
    explicit PassScript(ByteReader& in) : in_(in) {}

    // Reads on to the next frame; false at the end of the script.
    bool next();

  private:
    using Step = void (PassScript::*)();

    bool frame_due() const { return frames_left_ > 0; }
    void play_frame();

    void walk();
    void wild_frames();
    void change_config();
    void slave_tracks();
    void any_message();
    void sizes();
    void clock();
    void depth_frame();
    void tracker();
    void switches();
    void base_stage();
    void settings();
    void faults();
    void attributes();
    void helpers();
    void suppress_boxes();
    void rasterise();
    void measure_lines();
    void sort_numbers();
    void measure_depth();
    void update_strange_track();

    ByteReader& in_;
    Crowd crowd_;
    int64_t clock_step_us_ = 100000;
    bool scripted_targets_ = false;
    bool wild_ = false;
    int32_t frames_left_ = 0;
    int32_t frames_played_ = 0;
    int32_t wild_targets_ = 0;
};

}  // namespace fuzz
