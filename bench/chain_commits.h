// A run at the camera's pace, with the events committed: from the frame to the commit.
#pragma once

#include <vector>

#include "host/app/run.h"

namespace bench {

// For each person who is counted on a line, milliseconds from the moment the frame was due, and
// handed over, until the count was committed. The plan has a database to write and no pace. The
// sinks are told of the run too. Throws std::runtime_error when an event is not found to be
// committed.
std::vector<double> run_at_pace(host::RunPlan& plan, const std::vector<host::Sink*>& sinks);

}  // namespace bench
