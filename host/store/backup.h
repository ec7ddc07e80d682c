// Copies of databases.
#pragma once

#include <cstdint>
#include <string>

namespace host {

// Ending of a database that has given way to a restored one.
inline constexpr const char* kReplacedEnding = ".replaced";

// Copies a database while it is being written, and marks the copy: whoever writes to it begins a
// new epoch. Throws InputError and StoreError.
void back_up(const std::string& database, const std::string& copy);

// Makes a database of a copy, in a new epoch. One that is there is renamed, when that is allowed;
// its totals go on, since totals only grow. Returns its new name, empty when there was none. Throws
// InputError and StoreError.
std::string restore(const std::string& copy, const std::string& database, bool replace,
                    std::int64_t now_us);

// Notes what somebody says about the people in an area. Throws InputError and StoreError.
void correct(const std::string& database, const std::string& area, int people,
             const std::string& who, const std::string& why, std::int64_t now_us);

}  // namespace host
