// NV12 images that the host creates for the library.
#pragma once

#include "vca/image.h"

namespace host {

// Images created and not yet destroyed; 0 at the end of a clean run.
int live_images();

// Place of a source rectangle inside a letterboxed picture: scaled by one factor, centred, both
// offsets even because each 2 x 2 block of pixels shares its colour.
struct LetterboxFit {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};
LetterboxFit letterbox_fit(int src_width, int src_height, int dst_width, int dst_height);

}  // namespace host
