// Cameras that somebody has found to count right.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/store/database.h"

namespace host {

// Who walked below a camera and was counted as often.
struct Commissioned {
    std::int64_t time_us = 0;  // since 1970
    std::string author;
    std::string line;
    int walks = 0;
};

// In the service's own database. Any thread; every call throws StoreError when it cannot be used.
class Commissioning {
  public:
    // Throws ForeignDatabase and StoreError.
    explicit Commissioning(const std::string& database);

    // Nothing where nobody has walked yet.
    std::optional<Commissioned> of(const std::string& camera) const;
    // In place of what was noted before.
    void note(const std::string& camera, const Commissioned& note) const;

  private:
    mutable std::mutex mutex_;
    std::unique_ptr<Database> database_;
};

}  // namespace host
