// The processes of a site on this machine: one for each camera, watched until all have ended.
#pragma once

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

namespace host {

struct ProcessPlan {
    std::string name;                    // as shown
    std::vector<std::string> arguments;  // of this program
};

struct ProcessEnd {
    std::string name;
    int status = 0;  // as returned by waitpid()
};

struct ProcessRun {
    std::vector<ProcessPlan> plans;
    std::size_t most_at_once = 0;
    const std::atomic<bool>* stop = nullptr;  // true: ask running ones to end and start no more
    std::FILE* out = nullptr;
    bool quiet = false;
};

// Shows one line of progress for each process, and its other sentences. A process that dies is
// reported and the others go on. Returns how each started process ended, in the order of the plans.
std::vector<ProcessEnd> run_processes(const ProcessRun& run);

}  // namespace host
