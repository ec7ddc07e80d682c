// Frames by the number of people who are followed in them.
#pragma once

#include <array>
#include <cstddef>

namespace bench {

struct PeopleRow {
    std::size_t most;
    const char* name;
};

inline constexpr std::array<PeopleRow, 7> kPeopleRows{{{0, "0"},
                                                       {1, "1"},
                                                       {5, "2 to 5"},
                                                       {14, "6 to 14"},
                                                       {22, "15 to 22"},
                                                       {40, "23 to 40"},
                                                       {100, "41 and more"}}};

inline std::size_t people_row(std::size_t people) {
    std::size_t row = 0;
    while (row + 1 < kPeopleRows.size() && people > kPeopleRows[row].most)
        ++row;
    return row;
}

}  // namespace bench
