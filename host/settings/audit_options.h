// What an audit and a comparison of two runs are asked to do.
#pragma once

#include <string>

#include "host/settings/run_options.h"

namespace host {

struct AuditOptions {
    RunOptions run;       // over the recording, with its own settings
    std::string labels;   // file of who was seen
    std::string against;  // another one to compare it with, in place of a recording
    double interval_s = 60.0;
};

struct CompareOptions {
    std::string first;  // folders of results
    std::string second;
};

struct WhatIfOptions {
    std::vector<std::string> recordings;
    std::string config;
    std::string output;
    bool quiet = false;
};

}  // namespace host
