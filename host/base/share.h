// A part of a whole.
#pragma once

#include <cstdint>
#include <limits>

namespace host {

// NaN when there is no whole: the share of nothing is neither good nor bad. Texts show it as a dash
// (percent_text()), JSON as null.
inline double share_of(std::int64_t part, std::int64_t whole) {
    if (whole == 0) return std::numeric_limits<double>::quiet_NaN();
    return static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace host
