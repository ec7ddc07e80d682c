// The counts of a run against what a person saw.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "host/base/picture.h"
#include "host/score/audit_statistics.h"
#include "host/score/crossing_match.h"
#include "host/score/labels.h"
#include "host/score/witness.h"

namespace host {

// What is wrong where label and count differ.
enum class AuditError {
    kMissed,          // seen, not counted
    kExtra,           // counted, not seen
    kWrongDirection,  // seen in the other direction at the same line
    kDouble,          // counted, when the one who was seen there and then is counted already
    kWrongLine,       // seen at another line, in the same direction
};
inline constexpr std::size_t kAuditErrors = 5;

const char* audit_error_name(AuditError kind);

// Somebody whom the program counted.
struct CountedCrossing {
    double time_s = 0.0;
    std::string line;
    int direction = 0;
    int track = -1;
    PicturePoint place{};
};

struct Mismatch {
    AuditError kind = AuditError::kMissed;
    double time_s = 0.0;               // of the label, else of the count
    std::optional<std::size_t> label;  // number in the list, from 0
    std::optional<std::size_t> count;
    std::string why;
    std::optional<int> track;           // to be shown
    std::optional<PicturePoint> place;  // where to look
};

// One line and direction, or all.
struct AuditRow {
    std::string line;   // empty for all
    int direction = 0;  // 0 for both
    CountErrors errors;
    BiasTest bias;
    std::array<int, kAuditErrors> kinds{};
};

struct Audit {
    std::vector<MatchedPair> right;  // labels and counts that agree
    std::vector<Mismatch> mismatches;
    std::vector<AuditRow> rows;
    AuditRow total;
};

struct AuditInput {
    std::vector<std::string> lines;
    const Labels* labels = nullptr;
    std::vector<CountedCrossing> counts;  // in the order of time
    std::vector<Witness> witnesses;
    double from_s = 0.0;  // of the recording
    double end_s = 0.0;
    double interval_s = 60.0;  // for labels of single crossings
};

// A crossing that is agreed upon belongs to the interval of its label, so that nothing is wrong
// twice when it comes just before the end of one and is counted just after. Labels of intervals
// have no single mismatches.
Audit audit_counts(const AuditInput& input);

}  // namespace host
