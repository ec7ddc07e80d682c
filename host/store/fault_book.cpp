// A list by name.
#include "host/store/fault_book.h"

#include <algorithm>

namespace host {

HealthLevel worst_level(const std::vector<HealthNote>& faults) {
    HealthLevel worst = HealthLevel::kOk;
    for (const HealthNote& fault : faults)
        worst = std::max(worst, fault.level);
    return worst;
}

void FaultBook::begin(const HealthNote& fault) {
    if (lasts(fault.fault)) return;
    open_.push_back(fault);
    tell_(fault);
}

void FaultBook::end(const std::string& fault, std::int64_t time_us, const std::string& text) {
    const auto is_it = [&fault](const HealthNote& note) { return note.fault == fault; };
    if (std::erase_if(open_, is_it) > 0) tell_({time_us, HealthLevel::kOk, fault, text});
}

bool FaultBook::lasts(const std::string& fault) const {
    return std::any_of(open_.begin(), open_.end(),
                       [&fault](const HealthNote& note) { return note.fault == fault; });
}

}  // namespace host
