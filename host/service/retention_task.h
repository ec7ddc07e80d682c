// Keeps the databases of a place from growing for ever.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "host/base/log_lines.h"
#include "host/net/ticker.h"
#include "host/settings/service_file.h"

namespace host {

class RetentionTask {
  public:
    // Removes what is too old, at once and each hour. `say` is told what subscribers have lost by
    // it and what went wrong, on the task's own thread.
    RetentionTask(const ServiceFile& file, Say say);

    // From the next time on.
    void change(const ServiceFile& file);

  private:
    void work();
    void prune_one(const std::string& database, const Retention& keep);

    const Say say_;
    std::mutex mutex_;
    ServiceFile file_;
    std::string complaint_;  // the last one, which is said once; the thread's own
    Ticker ticker_;
};

}  // namespace host
