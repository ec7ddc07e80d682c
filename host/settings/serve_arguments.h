// The commands about the service of a place, and their options.
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
    // After parsing. Throws InputError.
    void apply_to(CommandLine& result) const;

  private:
    void apply_settings(SettingsOptions& options) const;

    CLI::App* serve_;
    CLI::App* camera_;
    CLI::App* settings_;
    CLI::App* history_;
    CLI::App* restore_;
    CLI::App* schema_;
    CLI::App* users_;
    CLI::App* reset_;
};

}  // namespace host
