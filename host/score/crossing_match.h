// Which of two lists of crossings are the same ones: a person's labels and a program's counts, the
// labels of two people, the counts of two runs.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace host {

// The same person is not seen at two times further apart than this.
inline constexpr double kSameCrossing_s = 1.0;

struct TimedCrossing {
    double time_s = 0.0;
    std::string line;
    int direction = 0;
};

// What kind of place a pair may differ in.
enum class MatchBy { kSame, kOtherDirection, kOtherLine };

using MatchedPair = std::pair<std::size_t, std::size_t>;  // of the first and of the second list

// Pairs one to one, at most kSameCrossing_s apart: as many as possible, and among those the least
// sum of time differences. Both lists are in the order of time. Only the crossings whose mark is
// true take part; those of the pairs are turned false.
std::vector<MatchedPair> match_crossings(const std::vector<TimedCrossing>& first,
                                         const std::vector<TimedCrossing>& second, MatchBy by,
                                         std::vector<bool>& first_free,
                                         std::vector<bool>& second_free);

// The difference between two lists of the same form.
struct ListComparison {
    std::vector<MatchedPair> both;
    std::vector<std::size_t> only_first;
    std::vector<std::size_t> only_second;
};

ListComparison compare_crossings(const std::vector<TimedCrossing>& first,
                                 const std::vector<TimedCrossing>& second);

}  // namespace host
