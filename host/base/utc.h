// Points of time for people and for names of files.
#pragma once

#include <cstdint>
#include <string>

namespace host {

// Now, in microseconds since 1970.
std::int64_t utc_now_us();

// Microseconds since 1970 as 2026-01-31T08-05-00.250Z, which every file system takes as a name and
// which sorts by time.
std::string utc_name(std::int64_t us);

// Whether a text has that form.
bool is_utc_name(const std::string& text);

}  // namespace host
