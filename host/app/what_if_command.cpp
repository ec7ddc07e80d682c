// Two runs, each a process of its own, with the check in between.
#include "host/app/what_if_command.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "host/app/compare_command.h"
#include "host/app/site_processes.h"
#include "host/base/exit_status.h"
#include "host/base/input_error.h"
#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/frames/recording.h"
#include "host/media/recording_reader.h"
#include "host/net/child_process.h"
#include "host/report/output_folder.h"
#include "host/settings/run_options.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOwn = "as_recorded";
constexpr const char* kOther = "as_asked";

// The events in the recordings, one after the other.
class RecordedEvents {
  public:
    explicit RecordedEvents(const std::vector<std::string>& paths) : paths_(paths) {}

    bool next(std::string& line) {
        while (at_ == lines_.size()) {
            if (!read_more()) return false;
        }
        line = lines_[at_++];
        return true;
    }

  private:
    bool read_more() {
        at_ = 0;
        lines_.clear();
        if (reader_ == nullptr) {
            if (file_ == paths_.size()) return false;
            RecordingReader::Setup setup = RecordingReader::file(paths_[file_++]);
            setup.want_colour = false;
            reader_ = std::make_unique<RecordingReader>(setup);
        }
        if (reader_->next(frame_)) {
            lines_ = frame_.lines;
        } else {
            lines_ = reader_->last_lines();
            reader_.reset();
        }
        return true;
    }

    const std::vector<std::string>& paths_;
    std::size_t file_ = 0;
    std::unique_ptr<RecordingReader> reader_;
    MediaFrame frame_;
    std::vector<std::string> lines_;
    std::size_t at_ = 0;
};

// A difference between the recorded events and those of the run would be taken for one between the
// settings.
void check_replay(const WhatIfOptions& options, const fs::path& folder) {
    RecordedEvents recorded(options.recordings);
    std::ifstream replayed(folder / kEventsFile);
    std::string was, is;
    for (std::int64_t number = 1;; ++number) {
        const bool one = recorded.next(was);
        const bool other = static_cast<bool>(std::getline(replayed, is));
        if (!one && number == 1)
            throw InputError("the recording holds no events to check its replay against");
        if (!one && !other) return;
        if (one == other && was == is) continue;
        throw std::runtime_error(
            "counted again with its own settings the recording gives other events than were "
            "recorded, from event " +
            std::to_string(number) +
            " on; a difference to other settings would mean nothing. It may be a part of a longer "
            "recording, or one of another version of the program");
    }
}

void count_into(const WhatIfOptions& options, const fs::path& folder,
                const std::vector<std::string>& settings, const std::atomic<bool>& stop) {
    std::vector<std::string> arguments{"run", "--no-live", "--output", folder.string()};
    arguments.insert(arguments.end(), settings.begin(), settings.end());
    arguments.emplace_back("--recording");
    arguments.insert(arguments.end(), options.recordings.begin(), options.recordings.end());
    ProcessRun run{{{folder.filename().string(), arguments}}, 1, &stop, stderr, options.quiet};
    const std::vector<ProcessEnd> ends = run_processes(run);
    if (stop) throw std::runtime_error("stopped before both runs had ended");
    if (ends.size() == 1 && left_results(ends.front().status)) return;
    throw std::runtime_error("the run \"" + folder.string() + "\" failed; its messages are above");
}

}  // namespace

int what_if_command(const WhatIfOptions& options, const std::atomic<bool>& stop) {
    RunOptions asked;
    read_config_file(options.config, asked);  // a mistake in it is told before anything is counted
    const std::string& first = options.recordings.front();
    if (!recorded_settings(first))
        throw InputError('"' + first + "\" carries no settings of its own to compare with");
    const fs::path output = options.output.empty() ? fs::path("whatif") / fs::path(first).stem()
                                                   : fs::path(options.output);
    count_into(options, output / kOwn, {}, stop);
    check_replay(options, output / kOwn);
    count_into(options, output / kOther, {"--config", options.config}, stop);
    write_text(stdout, "first: as recorded; second: " + visible(options.config) + "\n" +
                           compare_command({(output / kOwn).string(), (output / kOther).string()}) +
                           "  results in           " + visible(output.string()) + "\n");
    return kExitOk;
}

}  // namespace host
