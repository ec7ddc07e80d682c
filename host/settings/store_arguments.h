// The commands that work on databases and their options.
#pragma once

#include <CLI/CLI.hpp>

#include "host/settings/command_line.h"

namespace host {

class StoreArguments {
  public:
    // Adds the commands.
    explicit StoreArguments(CLI::App& app);

    // The one that was given; null for none of them.
    const CLI::App* parsed() const;
    // After parsing. Throws InputError.
    void apply_to(CommandLine& result) const;

  private:
    void apply_counts(CountsOptions& options) const;
    void apply_export(ExportOptions& options) const;
    void apply_prune(PruneOptions& options) const;
    void apply_status(StatusOptions& options) const;

    CLI::App* counts_;
    CLI::App* export_;
    CLI::App* backup_;
    CLI::App* restore_;
    CLI::App* correct_;
    CLI::App* prune_;
    CLI::App* status_;
};

}  // namespace host
