// Whole passes of the analysis task over whatever a host can hand it: detections, targets, depth
// frames, image sizes, clocks, configurations and messages in between.
#include "tests/fuzz/pass_script.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteReader in(data, size);
    fuzz::PassScript script(in);
    fuzz::host().run([&] { return script.next(); });
    fuzz::forget_everything();
    return 0;
}
