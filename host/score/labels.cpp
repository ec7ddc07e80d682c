// Columns by name, values one by one.
#include "host/score/labels.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <set>
#include <tuple>

#include "host/base/input_error.h"
#include "host/base/text.h"

namespace host {
namespace {

constexpr const char* kTime = "time_s";
constexpr const char* kFrom = "from_s";
constexpr const char* kTo = "to_s";
constexpr const char* kLine = "line";
constexpr const char* kDirection = "direction";
constexpr const char* kCount = "count";
constexpr const char* kNote = "note";
constexpr const char* kLabeller = "labeller";

constexpr const char* kForms =
    "a table of labels has the columns time_s,line,direction, or "
    "from_s,to_s,line,direction,count, and may have note and labeller";

std::string place_of(const std::string& path, int line) {
    return '"' + path + "\" line " + std::to_string(line) + ": ";
}

template <typename Number>
bool read_number(const std::string& text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end;
}

class LabelReader {
  public:
    LabelReader(const std::vector<CsvRow>& rows, const std::string& path)
        : rows_(rows), path_(path) {}

    Labels read() {
        labels_.file = path_;
        if (rows_.empty()) throw InputError('"' + path_ + "\" is empty; " + kForms);
        read_header();
        for (std::size_t i = 1; i < rows_.size(); ++i) {
            row_ = &rows_[i];
            if (row_->fields.size() != rows_.front().fields.size()) {
                throw InputError(here() + "there are " + std::to_string(row_->fields.size()) +
                                 " fields; the first row has " +
                                 std::to_string(rows_.front().fields.size()));
            }
            labels_.by_interval ? read_interval() : read_crossing();
        }
        std::stable_sort(labels_.crossings.begin(), labels_.crossings.end(),
                         [](const Label& a, const Label& b) { return a.time_s < b.time_s; });
        std::stable_sort(
            labels_.intervals.begin(), labels_.intervals.end(),
            [](const IntervalLabel& a, const IntervalLabel& b) { return a.from_s < b.from_s; });
        return std::move(labels_);
    }

  private:
    std::string here() const { return place_of(path_, row_->line); }

    void read_header() {
        row_ = &rows_.front();
        static const std::set<std::string> kKnown{kTime,      kFrom,  kTo,   kLine,
                                                  kDirection, kCount, kNote, kLabeller};
        for (std::size_t i = 0; i < row_->fields.size(); ++i) {
            const std::string& name = row_->fields[i];
            if (kKnown.count(name) == 0)
                throw InputError(here() + "the column \"" + name + "\" is not known; " + kForms);
            if (!columns_.emplace(name, i).second)
                throw InputError(here() + "the column " + name + " is there twice");
        }
        labels_.by_interval = columns_.count(kTime) == 0;
        const std::vector<const char*> needed =
            labels_.by_interval ? std::vector<const char*>{kFrom, kTo, kLine, kDirection, kCount}
                                : std::vector<const char*>{kTime, kLine, kDirection};
        for (const char* const name : needed) {
            if (columns_.count(name) > 0) continue;
            throw InputError(here() + "the column " + name + " is missing; " + kForms);
        }
        for (const char* const name : {kFrom, kTo, kCount}) {
            if (labels_.by_interval || columns_.count(name) == 0) continue;
            throw InputError(here() + "the column " + name + " does not go with time_s; " + kForms);
        }
    }

    std::string field(const char* column) const {
        const auto found = columns_.find(column);
        return found == columns_.end() ? "" : row_->fields[found->second];
    }

    double seconds(const char* column) const {
        const std::string text = field(column);
        double value = 0.0;
        if (read_number(text, value) && std::isfinite(value) && value >= 0.0) return value;
        throw InputError(here() + column + " is \"" + text +
                         "\"; write a scene time in seconds such as 12.5");
    }

    int direction() const {
        const std::string text = field(kDirection);
        if (text == "1" || text == "2") return text == "1" ? 1 : 2;
        throw InputError(here() + "direction is \"" + text + "\"; write 1 or 2");
    }

    std::string line() const {
        std::string name = field(kLine);
        if (name.empty()) throw InputError(here() + "line is empty; write the name of a line");
        return name;
    }

    void read_crossing() {
        labels_.crossings.push_back(
            {seconds(kTime), line(), direction(), field(kNote), field(kLabeller)});
    }

    void read_interval() {
        IntervalLabel label{seconds(kFrom), seconds(kTo),    line(), direction(), 0,
                            field(kNote),   field(kLabeller)};
        if (label.to_s <= label.from_s)
            throw InputError(here() + "to_s is not after from_s; an interval ends after it begins");
        const std::string text = field(kCount);
        if (!read_number(text, label.count) || label.count < 0)
            throw InputError(here() + "count is \"" + text + "\"; write a whole number from 0 on");
        for (const auto& [other, row] : seen_[{label.line, label.direction}]) {
            if (other.first >= label.to_s || other.second <= label.from_s) continue;
            throw InputError(here() + "the interval overlaps that of line " + std::to_string(row) +
                             "; a crossing belongs to one interval");
        }
        seen_[{label.line, label.direction}].push_back({{label.from_s, label.to_s}, row_->line});
        labels_.intervals.push_back(std::move(label));
    }

    const std::vector<CsvRow>& rows_;
    const std::string& path_;
    const CsvRow* row_ = nullptr;
    std::map<std::string, std::size_t> columns_;
    std::map<std::pair<std::string, int>, std::vector<std::pair<std::pair<double, double>, int>>>
        seen_;  // intervals of a line and direction, with their rows
    Labels labels_;
};

}  // namespace

std::vector<std::string> Labels::labellers() const {
    std::set<std::string> names;
    for (const Label& label : crossings)
        names.insert(label.labeller);
    for (const IntervalLabel& label : intervals)
        names.insert(label.labeller);
    names.erase("");
    return {names.begin(), names.end()};
}

Labels parse_labels(const std::vector<CsvRow>& rows, const std::string& path) {
    return LabelReader(rows, path).read();
}

Labels read_labels(const std::string& path) {
    return parse_labels(read_csv(path), path);
}

void check_labels(const Labels& labels, const std::vector<std::string>& lines, double end_s) {
    const auto check = [&](const std::string& line, double time_s) {
        if (std::find(lines.begin(), lines.end(), line) == lines.end()) {
            std::string known;
            for (const std::string& name : lines)
                known += (known.empty() ? "\"" : ", \"") + name + "\"";
            throw InputError('"' + labels.file + "\" has a label of line \"" + line +
                             "\", which the recording does not count on; its lines are " + known);
        }
        if (end_s > 0.0 && time_s > end_s) {
            throw InputError('"' + labels.file + "\" has a label at " + plain_number(time_s) +
                             " s, but the recording ends at " + plain_number(end_s) + " s");
        }
    };
    for (const Label& label : labels.crossings)
        check(label.line, label.time_s);
    for (const IntervalLabel& label : labels.intervals)
        check(label.line, label.from_s);
}

}  // namespace host
