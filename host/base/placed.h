// A user's value that knows where it was given.
#pragma once

#include <string>
#include <utility>

namespace host {

template <typename T>
struct Placed {
    Placed() = default;
    // Not explicit: a plain value is one that no user gave.
    Placed(T given, std::string where = "")  // NOLINT(google-explicit-constructor)
        : value(std::move(given)), place(std::move(where)) {}

    // For values that no user gave.
    std::string place_or(const std::string& otherwise) const {
        return place.empty() ? otherwise : place;
    }

    T value{};
    std::string place;  // the way messages begin, such as: "door.toml" line 3: height_mm
};

}  // namespace host
