// The database of a run that has been prepared.
#pragma once

#include <string>

#include "host/app/run.h"
#include "host/sinks/store_sink.h"

namespace host {

// For the lines, regions and settings of a run; the database is called after its file. Faults are
// told on standard error.
StoreSinkSetup store_setup(const RunPlan& plan, const std::string& path);

}  // namespace host
