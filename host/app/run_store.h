// The database of a run; a program without the service has none.
#pragma once

#include <memory>

#include "host/app/run.h"
#include "host/engine/sink.h"

namespace host {

// The sink that keeps the counts in the database that was asked for; null when none was. Faults are
// told on standard error. Throws InputError.
std::unique_ptr<Sink> open_run_store(const RunPlan& plan);

}  // namespace host
