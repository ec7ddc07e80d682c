// Matching first, then what is left over by kind, then the sums.
#include "host/score/audit.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "host/base/text.h"

namespace host {
namespace {

std::vector<TimedCrossing> crossings_of(const std::vector<Label>& labels) {
    std::vector<TimedCrossing> list;
    for (const Label& label : labels)
        list.push_back({label.time_s, label.line, label.direction});
    return list;
}

std::vector<TimedCrossing> crossings_of(const std::vector<CountedCrossing>& counts) {
    std::vector<TimedCrossing> list;
    for (const CountedCrossing& count : counts)
        list.push_back({count.time_s, count.line, count.direction});
    return list;
}

class Matching {
  public:
    Matching(const AuditInput& input, Audit& audit)
        : input_(input),
          audit_(audit),
          labels_(crossings_of(input.labels->crossings)),
          counts_(crossings_of(input.counts)),
          label_free_(labels_.size(), true),
          count_free_(counts_.size(), true) {}

    void run() {
        audit_.right = match(MatchBy::kSame);
        for (const auto& [label, count] : match(MatchBy::kOtherDirection))
            add(AuditError::kWrongDirection, label, count);
        for (const auto& [label, count] : match(MatchBy::kOtherLine))
            add(AuditError::kWrongLine, label, count);
        for (std::size_t i = 0; i < counts_.size(); ++i) {
            if (!count_free_[i]) continue;
            if (const auto twin = twin_of(i)) {
                add_double(i, *twin);
            } else {
                add(AuditError::kExtra, {}, i);
            }
        }
        for (std::size_t i = 0; i < labels_.size(); ++i)
            if (label_free_[i]) add(AuditError::kMissed, i, {});
        std::stable_sort(audit_.mismatches.begin(), audit_.mismatches.end(),
                         [](const Mismatch& a, const Mismatch& b) { return a.time_s < b.time_s; });
    }

  private:
    std::vector<MatchedPair> match(MatchBy by) {
        return match_crossings(labels_, counts_, by, label_free_, count_free_);
    }

    // The count that took the label which this one would belong to.
    std::optional<std::size_t> twin_of(std::size_t count) const {
        for (const auto& [label, twin] : audit_.right) {
            if (labels_[label].line == counts_[count].line &&
                labels_[label].direction == counts_[count].direction &&
                std::abs(labels_[label].time_s - counts_[count].time_s) <= kSameCrossing_s)
                return twin;
        }
        return std::nullopt;
    }

    void add_double(std::size_t count, std::size_t twin) {
        add(AuditError::kDouble, {}, count);
        const CountedCrossing& other = input_.counts[twin];
        audit_.mismatches.back().why +=
            other.track == input_.counts[count].track
                ? format_text("; the same track was counted at %.1f s, too", other.time_s)
                : format_text("; at %.1f s ", other.time_s) +
                      explain_count(input_.witnesses, other.track, other.time_s).why;
    }

    void add(AuditError kind, std::optional<std::size_t> label, std::optional<std::size_t> count) {
        Mismatch mismatch;
        mismatch.kind = kind;
        mismatch.label = label;
        mismatch.count = count;
        mismatch.time_s = label ? labels_[*label].time_s : counts_[*count].time_s;
        Explanation explanation;
        if (count) {
            const CountedCrossing& counted = input_.counts[*count];
            explanation = explain_count(input_.witnesses, counted.track, counted.time_s);
            explanation.place = counted.place;
        } else {
            const TimedCrossing& seen = labels_[*label];
            explanation = explain_missing(input_.witnesses, seen.line, seen.direction, seen.time_s);
        }
        mismatch.why = explanation.why;
        mismatch.track = explanation.track;
        mismatch.place = explanation.place;
        audit_.mismatches.push_back(std::move(mismatch));
    }

    const AuditInput& input_;
    Audit& audit_;
    const std::vector<TimedCrossing> labels_;
    const std::vector<TimedCrossing> counts_;
    std::vector<bool> label_free_;
    std::vector<bool> count_free_;
};

using Place = std::pair<std::string, int>;
using Stretch = std::pair<double, double>;

// The counts of each stretch of time at each line and direction.
using Table = std::map<Place, std::map<Stretch, CountPair>>;

// People who were still there at the end are settled after it.
Stretch stretch_of(const AuditInput& input, double time_s) {
    const double last = std::ceil((input.end_s - input.from_s) / input.interval_s) - 1.0;
    const double number = std::clamp(std::floor((time_s - input.from_s) / input.interval_s), 0.0,
                                     std::max(last, 0.0));
    return {input.from_s + number * input.interval_s,
            input.from_s + (number + 1) * input.interval_s};
}

Table table_of_crossings(const AuditInput& input, const Audit& audit) {
    Table table;
    for (const std::string& line : input.lines) {
        for (const int direction : {1, 2}) {
            auto& stretches = table[{line, direction}];
            stretches[stretch_of(input, input.from_s)];
            for (double at_s = input.from_s; at_s < input.end_s; at_s += input.interval_s)
                stretches[stretch_of(input, at_s + input.interval_s / 2.0)];
        }
    }
    std::vector<double> counted_at_s;
    for (const CountedCrossing& count : input.counts)
        counted_at_s.push_back(count.time_s);
    for (const auto& [label, count] : audit.right)
        counted_at_s[count] = input.labels->crossings[label].time_s;
    for (const Label& label : input.labels->crossings)
        ++table[{label.line, label.direction}][stretch_of(input, label.time_s)].manual;
    for (std::size_t i = 0; i < input.counts.size(); ++i) {
        const CountedCrossing& count = input.counts[i];
        ++table[{count.line, count.direction}][stretch_of(input, counted_at_s[i])].counted;
    }
    return table;
}

Table table_of_intervals(const AuditInput& input) {
    Table table;
    for (const IntervalLabel& label : input.labels->intervals) {
        CountPair& pair = table[{label.line, label.direction}][{label.from_s, label.to_s}];
        pair.manual = label.count;
        for (const CountedCrossing& count : input.counts) {
            if (count.line == label.line && count.direction == label.direction &&
                count.time_s >= label.from_s && count.time_s < label.to_s)
                ++pair.counted;
        }
    }
    return table;
}

AuditRow row_of(const Place& place, const std::map<Stretch, CountPair>& stretches) {
    std::vector<CountPair> pairs;
    for (const auto& [stretch, pair] : stretches)
        pairs.push_back(pair);
    return {place.first, place.second, count_errors(pairs), test_bias(pairs), {}};
}

// Where a mismatch is told: at its label's line, else at its count's.
Place place_of(const AuditInput& input, const Mismatch& mismatch) {
    if (mismatch.label) {
        const Label& label = input.labels->crossings[*mismatch.label];
        return {label.line, label.direction};
    }
    const CountedCrossing& count = input.counts[*mismatch.count];
    return {count.line, count.direction};
}

}  // namespace

const char* audit_error_name(AuditError kind) {
    switch (kind) {
        case AuditError::kMissed:
            return "missed";
        case AuditError::kExtra:
            return "extra";
        case AuditError::kWrongDirection:
            return "wrong direction";
        case AuditError::kDouble:
            return "double";
        case AuditError::kWrongLine:
            break;
    }
    return "wrong line";
}

Audit audit_counts(const AuditInput& input) {
    Audit audit;
    if (!input.labels->by_interval) Matching(input, audit).run();
    const Table table =
        input.labels->by_interval ? table_of_intervals(input) : table_of_crossings(input, audit);
    std::map<Stretch, CountPair> all;
    for (const auto& [place, stretches] : table) {
        audit.rows.push_back(row_of(place, stretches));
        for (const auto& [stretch, pair] : stretches) {
            all[stretch].manual += pair.manual;
            all[stretch].counted += pair.counted;
        }
    }
    audit.total = row_of({"", 0}, all);
    for (const Mismatch& mismatch : audit.mismatches) {
        const auto kind = static_cast<std::size_t>(mismatch.kind);
        ++audit.total.kinds[kind];
        for (AuditRow& row : audit.rows)
            if (Place{row.line, row.direction} == place_of(input, mismatch)) ++row.kinds[kind];
    }
    return audit;
}

}  // namespace host
