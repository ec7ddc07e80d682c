// Looks through a database for damage beside the one who writes to it.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "host/store/database.h"

namespace host {

class BackgroundCheck {
  public:
    // `damaged` is called on the check's own thread when something is wrong.
    BackgroundCheck(const std::string& path, std::function<void()> damaged);
    // Ends the check, whether it is through or not.
    ~BackgroundCheck();
    BackgroundCheck(const BackgroundCheck&) = delete;
    BackgroundCheck& operator=(const BackgroundCheck&) = delete;

  private:
    void run();

    const std::string path_;
    const std::function<void()> damaged_;
    std::mutex mutex_;
    std::unique_ptr<Database> database_;  // the thread's; the mutex is for ending it
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace host
