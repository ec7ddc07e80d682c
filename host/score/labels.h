// What a person saw who watched a recording: who crossed which line, when and in which direction.
#pragma once

#include <string>
#include <vector>

#include "host/base/csv_table.h"

namespace host {

// One person seen crossing a line.
struct Label {
    double time_s = 0.0;  // scene time
    std::string line;
    int direction = 0;  // 1 or 2
    std::string note;
    std::string labeller;
};

// How many were seen crossing a line in one direction from one time until before another.
struct IntervalLabel {
    double from_s = 0.0;
    double to_s = 0.0;
    std::string line;
    int direction = 0;
    int count = 0;
    std::string note;
    std::string labeller;
};

// A file of one form or the other; of one person, or of several who shared the work.
struct Labels {
    std::string file;
    bool by_interval = false;
    std::vector<Label> crossings;          // in the order of their times
    std::vector<IntervalLabel> intervals;  // likewise

    std::vector<std::string> labellers() const;  // each once, sorted
};

// Reads a table with the columns time_s, line and direction, or from_s, to_s, line, direction and
// count, in any order; note and labeller may be there. Throws InputError that names file and line.
Labels read_labels(const std::string& path);
Labels parse_labels(const std::vector<CsvRow>& rows, const std::string& path);

// Throws InputError when a label is of a line that is not among these, or of a time beyond the end
// of the recording, where that is known.
void check_labels(const Labels& labels, const std::vector<std::string>& lines, double end_s);

}  // namespace host
