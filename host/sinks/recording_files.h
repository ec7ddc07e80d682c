// A recording as a row of files in a folder, named by the time of their first frame.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/media/recording_writer.h"

namespace host {

struct RecordingSetup {
    std::string folder;
    RecordedColour colour = RecordedColour::kNone;
    double frames_per_second = 15.0;
    std::int64_t start_us = 0;              // of scene time 0, in microseconds since 1970
    std::int64_t longest_us = 300'000'000;  // of a file
    std::optional<double> keep_hours;       // older files are removed; empty: none are
    Tags tags;
    std::vector<Attachment> attachments;
};

// A file that is whole.
struct RecordedFile {
    std::filesystem::path path;
    std::int64_t from_us = 0;  // scene time of the first and the last frame
    std::int64_t to_us = 0;
};

struct RecordingFigures {
    std::int64_t frames = 0;
    std::int64_t bytes = 0;
    std::int64_t files = 0;
    std::int64_t removed = 0;  // files that were too old
};

// The size of a frame's pictures.
struct TakenSize {
    int width = 0;
    int height = 0;
};

// Where a recording that begins at this scene time belongs. Throws std::runtime_error when there is
// one already.
std::filesystem::path free_recording_path(const RecordingSetup& setup, std::int64_t time_us);

// Removes recordings of a folder that ended longer ago than this; returns how many.
std::int64_t remove_old_recordings(const std::filesystem::path& folder, std::int64_t now_us,
                                   double keep_hours);

class RecordingFiles {
  public:
    // Makes the folder. Throws std::runtime_error when that fails, as the others do when something
    // cannot be written.
    explicit RecordingFiles(RecordingSetup setup);

    // Returns the file that ended before this frame, if one did.
    std::optional<RecordedFile> write(const RecordedPictures& pictures, const TakenSize& size);
    // About the last frame; what comes before the first waits for it.
    void write_line(std::int64_t time_us, const std::string& line);
    // Returns the last file, if there were frames.
    std::optional<RecordedFile> finish(RecordingEnd end);

    const RecordingSetup& setup() const { return setup_; }
    const RecordingFigures& figures() const { return figures_; }

  private:
    void open(const RecordedPictures& first, const TakenSize& size);
    std::optional<RecordedFile> close(RecordingEnd end);

    RecordingSetup setup_;
    std::unique_ptr<RecordingWriter> writer_;
    RecordedFile file_;
    TakenSize size_;
    std::vector<std::string> waiting_;
    RecordingFigures figures_;
};

}  // namespace host
