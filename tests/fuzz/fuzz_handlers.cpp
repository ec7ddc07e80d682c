// Every handler the library registers, with payloads of exactly the bytes it reads, in any order,
// before, between and after passes.
#include "tests/fuzz/pass_script.h"

namespace {

constexpr int kMessages[] = {VCA_MSG_CONFIG,          VCA_MSG_HEAT_RESET,     VCA_MSG_HEAT_MAP,
                             VCA_MSG_SHOW_DETECTION,  VCA_MSG_INSTALL_HEIGHT, VCA_MSG_SLAVE_TRACKS,
                             VCA_MSG_ASK_FRAME_COUNT, VCA_MSG_FRAME_COUNT};
constexpr uint32_t kChoices = 12;  // those above the messages are passes
constexpr int kEventsMax = 96;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteReader in(data, size);
    fuzz::Host& host = fuzz::host();
    fuzz::Crowd crowd;
    int events = 0;
    int frames_left = 0;
    host.run([&] {
        while (frames_left == 0) {
            if (in.empty() || ++events > kEventsMax) return false;
            const uint8_t byte = in.u8();
            const uint32_t choice = byte % kChoices;
            if (choice < std::size(kMessages)) {
                fuzz::deliver_any(kMessages[choice], in);
                continue;
            }
            if (choice % 2 == 0) crowd.read(in);
            frames_left = crowd.walkers.size() > 7 ? 2 : 1 + byte / 16;
        }
        --frames_left;
        host.clock_us += 100000;
        crowd.step(host);
        return true;
    });
    fuzz::forget_everything();
    return 0;
}
