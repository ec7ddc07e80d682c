// Frame passes without any timing, for counting their instructions with count_plugin.c:
//   count_pass MODE PEOPLE everything|counting FRAMES WARM-UP
//     whole passes of bench_pass as part 0, without the host's inference; MODE is 0 stand-alone,
//     1 master, 2 slave
//   count_pass stages PEOPLE FRAMES WARM-UP
//     the stages of a stand-alone device's pass with everything on as parts 1 and following
//
// The library's clock is the number of the frame, so that two runs do the same. Under callgrind
// with --collect-atstart=no the marked parts are collected as well.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/count_marks.h"
#include "bench/staged_pass.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_TOGGLE_COLLECT
#endif

namespace {

using bench::StagedPass;

constexpr int64_t kFrame_us = 1'000'000 / 15;

int64_t now_us = 1'600'000'000'000'000;

int64_t time_of_frame(void*) {
    return now_us;
}

void mark(int part, bool begins) {
    if (!begins) CALLGRIND_TOGGLE_COLLECT;
    syscall(COUNT_SYSCALL, part, begins ? 1 : 0);
    if (begins) CALLGRIND_TOGGLE_COLLECT;
}

class PassMarks : public bench::PassObserver {
  public:
    explicit PassMarks(int warm_up) : warm_up_(warm_up) {}

    void begin() override {
        now_us += kFrame_us;
        ++passes_;
        mark_pass(true);
    }
    void end() override { mark_pass(false); }
    void pause() override { mark_pass(false); }
    void resume() override { mark_pass(true); }

  private:
    void mark_pass(bool begins) const {
        if (passes_ > warm_up_) mark(0, begins);
    }

    int warm_up_;
    int passes_ = 0;
};

void run_passes(int mode, int people, bool everything, int frames, int warm_up) {
    const bench::Crowd crowd(people, static_cast<VCA_WORK_MODE_E>(mode));
    PassMarks marks(warm_up);
    bench::run_library(crowd, everything ? crowd.everything_config() : crowd.counting_config(),
                       warm_up + frames, marks);
}

void run_stages(int people, int frames, int warm_up) {
    StagedPass pass(people);
    for (int frame = 0; frame < warm_up + frames; ++frame) {
        now_us += kFrame_us;
        pass.advance();
        int part = 0;
        for (const auto stage : StagedPass::kStages) {
            ++part;
            if (frame >= warm_up) mark(part, true);
            (pass.*stage)();
            if (frame >= warm_up) mark(part, false);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    vca_set_time_source(time_of_frame, nullptr);
    const bench::Muted muted;
    if (args.size() == 5) {
        run_passes(std::stoi(args[0]), std::stoi(args[1]), args[2] == "everything",
                   std::stoi(args[3]), std::stoi(args[4]));
    } else if (args.size() == 4 && args[0] == "stages") {
        run_stages(std::stoi(args[1]), std::stoi(args[2]), std::stoi(args[3]));
    } else {
        std::fprintf(stderr, "see the head of bench/count_pass.cpp\n");
        return 1;
    }
    return 0;
}
