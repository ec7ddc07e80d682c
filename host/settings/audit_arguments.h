// The commands that prove and compare counts, and their options.
#pragma once

#include <CLI/CLI.hpp>

#include "host/settings/command_line.h"

namespace host {

class AuditArguments {
  public:
    // Adds the commands.
    explicit AuditArguments(CLI::App& app);

    // The one that was given; null for none of them.
    const CLI::App* parsed() const;
    // After parsing. Throws InputError.
    void apply_to(CommandLine& result) const;

  private:
    void apply_audit(AuditOptions& options) const;

    CLI::App* audit_;
    CLI::App* compare_;
    CLI::App* what_if_;
};

}  // namespace host
