// The database of a run; a program without the service has none.
#pragma once

#include <memory>
#include <vector>

#include "host/app/run.h"
#include "host/engine/sink.h"

namespace host {

// The sinks that keep the counts and the camera's health in the database that was asked for; none
// when none was. Faults are told on standard error. Throws InputError.
std::vector<std::unique_ptr<Sink>> open_run_store(const RunPlan& plan);

}  // namespace host
