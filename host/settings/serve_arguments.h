// The command that runs the service of a place, and its options.
#pragma once

#include <CLI/CLI.hpp>

#include "host/settings/command_line.h"

namespace host {

class ServeArguments {
  public:
    // Adds the commands.
    explicit ServeArguments(CLI::App& app);

    // The one that was given; null for none of them.
    const CLI::App* parsed() const;
    // After parsing.
    void apply_to(CommandLine& result) const;

  private:
    CLI::App* serve_;
    CLI::App* camera_;
};

}  // namespace host
