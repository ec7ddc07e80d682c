// The command line of the program.
#pragma once

#include <string>

#include "host/app/run_options.h"

namespace host {

enum class Command { kRun, kScenes, kText };

struct CommandLine {
    Command command = Command::kText;
    RunOptions run;
    std::string text;  // help or version, when that was asked for
};

// Throws InputError for anything that cannot be understood.
CommandLine parse_command_line(int argc, const char* const* argv);

}  // namespace host
