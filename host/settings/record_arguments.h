// The options of "vca record": those of a run that say what is seen and counted, and its own.
#pragma once

#include <CLI/CLI.hpp>

#include "host/settings/record_options.h"
#include "host/settings/run_arguments.h"

namespace host {

class RecordArguments {
  public:
    // Adds the options to the command.
    explicit RecordArguments(CLI::App& record);

    // After parsing. Throws InputError.
    void apply_to(RecordOptions& options) const;

  private:
    CLI::App& record_;
    RunArguments run_;
};

}  // namespace host
