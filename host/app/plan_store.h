// The database of a run that has been prepared, and what watches the camera's health.
#pragma once

#include <string>

#include "host/app/run.h"
#include "host/sinks/camera_health.h"
#include "host/sinks/store_sink.h"

namespace host {

// For the lines, regions and settings of a run; the database is called after its file. Faults are
// told on standard error.
StoreSinkSetup store_setup(const RunPlan& plan, const std::string& path);

// For the same run and database: faults are kept in the store, which must outlive it, and told on
// standard error where nobody else does.
CameraHealthSetup health_setup(const RunPlan& plan, const StoreSinkSetup& from, StoreSink& store);

}  // namespace host
