// The faults that last. Each is told when it begins and when it ends.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/store/records.h"

namespace host {

// The worst of them; ok for none.
HealthLevel worst_level(const std::vector<HealthNote>& faults);

class FaultBook {
  public:
    explicit FaultBook(std::function<void(const HealthNote&)> tell) : tell_(std::move(tell)) {}

    // Tells of it unless it lasts already.
    void begin(const HealthNote& fault);
    // Tells that it is over, if it lasts.
    void end(const std::string& fault, std::int64_t time_us, const std::string& text);

    bool lasts(const std::string& fault) const;
    // In the order of their beginning.
    const std::vector<HealthNote>& open() const { return open_; }

  private:
    std::function<void(const HealthNote&)> tell_;
    std::vector<HealthNote> open_;
};

}  // namespace host
