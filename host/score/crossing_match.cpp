// On a line of time the best pairs need never cross each other: exchanging the partners of two that
// do makes neither difference larger than the larger one was, nor their sum. So the best pairing of
// the first i crossings of one list and the first j of the other is found from smaller i and j, and
// only the j within kSameCrossing_s of i have to be looked at.
#include "host/score/crossing_match.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>

namespace host {
namespace {

struct Point {
    std::int64_t time_us = 0;
    std::size_t index = 0;
};

constexpr std::int64_t kApart_us = static_cast<std::int64_t>(kSameCrossing_s * 1e6);

// How good a pairing is.
struct Quality {
    std::int64_t pairs = 0;
    std::int64_t apart_us = 0;

    bool better_than(const Quality& other) const {
        return pairs != other.pairs ? pairs > other.pairs : apart_us < other.apart_us;
    }
};

// The best pairings of the crossings up to one of the first list with the first `from`,
// `from` + 1 ... of the second one.
struct Row {
    std::size_t from = 0;
    std::vector<Quality> best;
    std::vector<bool> paired;  // this one with the last of those

    const Quality& at(std::size_t count) const {
        return best[std::min(count - from, best.size() - 1)];
    }
};

class Pairing {
  public:
    Pairing(const std::vector<Point>& first, const std::vector<Point>& second)
        : first_(first), second_(second) {}

    std::vector<MatchedPair> pairs() {
        rows_.push_back({0, {Quality{}}, {false}});
        for (const Point& point : first_)
            add_row(point);
        return trace_back();
    }

  private:
    void add_row(const Point& point) {
        while (low_ < second_.size() && second_[low_].time_us < point.time_us - kApart_us)
            ++low_;
        high_ = std::max(high_, low_);
        while (high_ < second_.size() && second_[high_].time_us <= point.time_us + kApart_us)
            ++high_;
        const Row& before = rows_.back();
        Row row{low_, {}, {}};
        for (std::size_t count = low_; count <= high_; ++count) {
            Quality best = before.at(count);
            bool paired = false;
            if (count > low_) {
                if (row.best.back().better_than(best)) best = row.best.back();
                Quality with = before.at(count - 1);
                ++with.pairs;
                with.apart_us += std::abs(second_[count - 1].time_us - point.time_us);
                if (with.better_than(best)) {
                    best = with;
                    paired = true;
                }
            }
            row.best.push_back(best);
            row.paired.push_back(paired);
        }
        rows_.push_back(std::move(row));
    }

    std::vector<MatchedPair> trace_back() const {
        std::vector<MatchedPair> pairs;
        std::size_t count = second_.size();
        for (std::size_t i = first_.size(); i > 0;) {
            const Row& row = rows_[i];
            count = std::min(count, row.from + row.best.size() - 1);
            const std::size_t at = count - row.from;
            if (row.paired[at]) {
                pairs.emplace_back(first_[i - 1].index, second_[count - 1].index);
                --count;
                --i;
            } else if (at > 0 && !row.best[at].better_than(row.best[at - 1])) {
                --count;
            } else {
                --i;
            }
        }
        std::reverse(pairs.begin(), pairs.end());
        return pairs;
    }

    const std::vector<Point>& first_;
    const std::vector<Point>& second_;
    std::size_t low_ = 0;   // of the second list: the first within reach
    std::size_t high_ = 0;  // and the first beyond
    std::vector<Row> rows_;
};

using Place = std::pair<std::string, int>;

// The crossings that take part, by the place at which the other list is looked up.
std::map<Place, std::vector<Point>> by_place(const std::vector<TimedCrossing>& list,
                                             const std::vector<bool>& free, bool turned) {
    std::map<Place, std::vector<Point>> places;
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (!free[i]) continue;
        const int direction = turned ? 3 - list[i].direction : list[i].direction;
        places[{list[i].line, direction}].push_back({std::llround(list[i].time_s * 1e6), i});
    }
    return places;
}

void take(const std::vector<MatchedPair>& pairs, std::vector<bool>& first_free,
          std::vector<bool>& second_free, std::vector<MatchedPair>& all) {
    for (const auto& [a, b] : pairs) {
        first_free[a] = false;
        second_free[b] = false;
        all.emplace_back(a, b);
    }
}

}  // namespace

std::vector<MatchedPair> match_crossings(const std::vector<TimedCrossing>& first,
                                         const std::vector<TimedCrossing>& second, MatchBy by,
                                         std::vector<bool>& first_free,
                                         std::vector<bool>& second_free) {
    std::vector<MatchedPair> all;
    const auto firsts = by_place(first, first_free, by == MatchBy::kOtherDirection);
    for (const auto& [place, points] : firsts) {
        // Lines in the order of their names, those of a line already taken left out.
        const auto seconds = by_place(second, second_free, false);
        for (const auto& [other, candidates] : seconds) {
            if (other.second != place.second) continue;
            if ((other.first == place.first) == (by == MatchBy::kOtherLine)) continue;
            std::vector<Point> left;
            std::copy_if(points.begin(), points.end(), std::back_inserter(left),
                         [&](const Point& point) { return first_free[point.index]; });
            take(Pairing(left, candidates).pairs(), first_free, second_free, all);
        }
    }
    std::sort(all.begin(), all.end());
    return all;
}

ListComparison compare_crossings(const std::vector<TimedCrossing>& first,
                                 const std::vector<TimedCrossing>& second) {
    std::vector<bool> first_free(first.size(), true), second_free(second.size(), true);
    ListComparison result;
    result.both = match_crossings(first, second, MatchBy::kSame, first_free, second_free);
    for (std::size_t i = 0; i < first.size(); ++i)
        if (first_free[i]) result.only_first.push_back(i);
    for (std::size_t i = 0; i < second.size(); ++i)
        if (second_free[i]) result.only_second.push_back(i);
    return result;
}

}  // namespace host
