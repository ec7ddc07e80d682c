// A command line as words, and what becomes of it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "host/settings/command_line.h"

namespace test {

inline host::CommandLine parse(std::vector<const char*> words) {
    words.insert(words.begin(), "vca");
    return host::parse_command_line(static_cast<int>(words.size()), words.data());
}

inline host::RunOptions run_options(std::vector<const char*> words) {
    words.insert(words.begin(), "run");
    const host::CommandLine command = parse(std::move(words));
    EXPECT_EQ(command.command, host::Command::kRun);
    return command.run;
}

inline std::string error_of(std::vector<const char*> words) {
    try {
        words.insert(words.begin(), "run");
        parse(std::move(words));
    } catch (const host::InputError& e) {
        return e.what();
    }
    return "";
}

}  // namespace test
