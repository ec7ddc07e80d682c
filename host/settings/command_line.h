// The command line of the program.
#pragma once

#include <string>

#include "host/settings/run_options.h"
#include "host/settings/site_options.h"

namespace host {

enum class Command { kRun, kScenes, kText, kSite, kSiteDevice, kSiteCheck };

struct CommandLine {
    Command command = Command::kText;
    RunOptions run;
    SiteOptions site;  // of the last three commands
    std::string text;  // help or version, when that was asked for
};

// Throws InputError for anything that cannot be understood.
CommandLine parse_command_line(int argc, const char* const* argv);

}  // namespace host
