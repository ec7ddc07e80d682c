// What a recording is asked to hold.
#pragma once

#include <optional>
#include <string>

#include "host/media/recording_writer.h"
#include "host/settings/run_options.h"

namespace host {

struct RecordOptions {
    RunOptions run;
    RecordedColour colour = RecordedColour::kNone;
    std::optional<double> keep_hours;  // older files are removed
    std::optional<double> clip_s;      // only so long before and after what matters
    bool to_folder = false;            // PNG files in place of a recording
    std::string place;                 // name of the place, for the recording's tags
};

// "none", "lossless" or "small". Throws InputError that begins with `option`.
RecordedColour parse_recorded_colour(const std::string& name, const std::string& option);

// The settings that a run counts with, as text of a file for --config. `own` are the source's lines
// and regions, in the user's coordinates.
std::string settings_in_force_text(const RunOptions& options, const SourceInfo& own);
// Those with which a recording gives the same counts again: the height is the camera's.
std::string recorded_settings_text(const RunOptions& options, const SourceInfo& own);

// Everything that can be said without opening the source. Throws InputError.
void check_record_options(const RecordOptions& options);

}  // namespace host
