// What bench_chain runs on: frames that are made beforehand and kept in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/settings/run_options.h"

namespace bench {

struct ChainCase {
    std::string name;
    host::RunOptions options;
    bool recorded = false;  // the frames are recorded first and decoded while they are counted
};

// `data` is the folder of the recorded data.
std::vector<ChainCase> chain_cases(const std::string& data);

struct KeptFrame {
    std::int64_t number = 0;
    double time_s = 0.0;
    std::vector<std::uint16_t> raw_mm;
};

// Frames of a source; only depth, as from a camera without colour.
struct KeptFrames {
    host::SourceInfo info;
    std::vector<KeptFrame> frames;
    host::FramePlanes blank;  // pictures of no use
};

// The first frames of a case's own source. Throws InputError.
std::shared_ptr<const KeptFrames> keep_frames(const host::SourceOptions& options, std::size_t most);

// Gives kept frames, and notes how long each took.
class KeptSource final : public host::FrameSource {
  public:
    explicit KeptSource(std::shared_ptr<const KeptFrames> kept);
    bool next(host::SourceFrame& frame) override;

    // Milliseconds of the frames given so far, by number.
    const std::map<std::int64_t, double>& times_ms() const { return times_ms_; }

  private:
    std::shared_ptr<const KeptFrames> kept_;
    std::map<std::int64_t, double> times_ms_;
    std::size_t next_ = 0;
};

// Makes a recording of kept frames and changes the options to read it. Throws std::runtime_error.
void record(const KeptFrames& kept, const std::filesystem::path& path, host::RunOptions& options);

}  // namespace bench
