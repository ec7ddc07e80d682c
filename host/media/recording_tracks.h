// Which tracks of a container are depth, colour and text, and what else stands at its beginning.
#pragma once

#include "host/media/libav.h"
#include "host/media/recording_reader.h"

namespace host {

struct RecordingTracks {
    int depth = -1;  // numbers of streams; -1 where there is none
    int colour = -1;
    int text = -1;
};

RecordingTracks find_tracks(const AVFormatContext& format, bool want_colour);
// Where only colour is wanted, any pictures are.
RecordingTracks find_colour_track(const AVFormatContext& format);
// Size and rate are those of the depth, or of the colour where there is no depth.
MediaInfo describe(const AVFormatContext& format, const RecordingTracks& tracks);

}  // namespace host
