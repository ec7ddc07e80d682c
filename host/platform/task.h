// What the host can learn about the library's tasks.
#pragma once

namespace host {

// Tasks that could not be started. The library goes on as if they ran, so a host has to ask.
int failed_task_starts();

}  // namespace host
