// The options of "vca run" that say what is seen, what is counted and what is written.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/settings/run_options.h"

namespace host {

// Whether an option of a parsed command was written at all.
bool is_given(const CLI::App& command, const std::string& option);
// What was written after an option.
std::optional<std::string> value_of(const CLI::App& command, const std::string& option);

// Sets in `options` what a recording says that it was made with, if it does. Throws InputError.
void read_recorded_settings(const std::string& path, RunOptions& options);

// Lines, regions and exclusion areas in the order in which they were written, because some options
// belong to the one before them.
class PlaceArguments {
  public:
    void add_options(CLI::App& run);
    // They replace those that `options` already holds, each kind separately.
    void replace_in(RunOptions& options) const;

  private:
    enum class Kind { kNone, kLine, kRegion, kExclusion };

    void add_line(const std::string& text);
    void add_closed_line(const std::string& text);
    void add_region(const std::string& text);
    void add_exclusion(const std::string& text);
    void add_name(const std::string& text);
    void add_uturn(const std::string& text);
    void add_points(const std::string& option, const std::string& text,
                    void (*check)(const std::vector<PicturePoint>&, const std::string&));
    PlacedLine& line_before(const std::string& option);
    void check_once(const std::string& option, const std::string& place);

    std::vector<PlacedLine> lines_;
    std::vector<Placed<CountingRegion>> regions_;
    bool no_regions_ = false;
    std::vector<Placed<std::vector<PicturePoint>>> exclusions_;
    Kind last_ = Kind::kNone;
    std::set<std::string> of_last_;  // options already given for the last line or region
};

class RunArguments {
  public:
    // What the command writes.
    enum class Output { kResults, kRecording, kPicture };

    // Adds the options to the command.
    RunArguments(CLI::App& run, Output output);

    // After parsing: what the configuration file says, then what the command line says. Throws
    // InputError.
    void apply_to(RunOptions& options) const;

  private:
    std::string source() const;

    CLI::App& run_;
    Output output_;
    PlaceArguments places_;
};

}  // namespace host
