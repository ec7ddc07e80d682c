// Reading two folders of results, and the table of their differences.
#include "host/app/compare_command.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "host/base/input_error.h"
#include "host/base/readable_file.h"
#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/score/audit.h"

namespace host {
namespace {

using Json = nlohmann::json;

struct Results {
    std::string folder;
    Json summary;
    std::vector<CountedCrossing> counts;
    std::vector<Witness> people;
};

std::string checked_path(const std::string& folder, const char* name) {
    std::string path = (std::filesystem::path(folder) / name).string();
    if (const std::string why = why_unreadable(path); !why.empty()) {
        throw InputError("cannot read \"" + path + "\": " + why +
                         "; name the folder of a run that has ended");
    }
    return path;
}

// Calls take(object) for each line.
template <typename Take>
void for_each_line(const std::string& path, Take take) {
    std::ifstream in(path);
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        try {
            take(Json::parse(line));
        } catch (const Json::exception&) {
            throw InputError('"' + path + "\" line " + std::to_string(number) +
                             " is not what a run writes; the file was changed");
        }
    }
}

void add_count(const Json& event, Results& results) {
    if (event.value("message", "") != "person_counted") return;
    const Json& box = event.at("box");
    results.counts.push_back(
        {event.at("time_s"),
         results.summary.at("lines").at(event.at("line").get<std::size_t>()).at("name"),
         event.at("direction"),
         event.at("track"),
         {box.at("x").get<double>() + box.at("w").get<double>() / 2.0,
          box.at("y").get<double>() + box.at("h").get<double>() / 2.0}});
}

void add_person(const Json& person, Results& results) {
    Witness witness{
        person.at("track"), person.at("from_s"), person.at("to_s"), person.at("why"), {}};
    for (const Json& step : person.at("story")) {
        if (!step.contains("line")) continue;
        const bool counted = step.at("what") == "counted";
        witness.moments.push_back({step.at("time_s"),
                                   step.at("line"),
                                   counted ? step.value("detail", 0) : 0,
                                   {step.at("at").at(0), step.at("at").at(1)}});
    }
    results.people.push_back(std::move(witness));
}

Results read_results(const std::string& folder) {
    Results results;
    results.folder = folder;
    const std::string summary = checked_path(folder, kSummaryFile);
    std::ifstream in(summary);
    results.summary = Json::parse(in, nullptr, false);
    if (!results.summary.is_object() || !results.summary.contains("lines") ||
        !results.summary.contains("run"))
        throw InputError('"' + summary + "\" is not the summary of a run");
    for_each_line(checked_path(folder, kEventsFile),
                  [&](const Json& event) { add_count(event, results); });
    for_each_line(checked_path(folder, kPeopleFile),
                  [&](const Json& person) { add_person(person, results); });
    return results;
}

// What makes frames comparable.
void check_same_source(const Results& first, const Results& second) {
    for (const char* const key : {"source", "name", "frames", "frames_per_second"}) {
        const Json& a = first.summary["run"][key];
        const Json& b = second.summary["run"][key];
        if (a == b) continue;
        throw InputError("the two runs are not over the same recording: " + std::string(key) +
                         " is " + a.dump() + " in \"" + first.folder + "\" and " + b.dump() +
                         " in \"" + second.folder + '"');
    }
}

std::vector<TimedCrossing> crossings_of(const Results& results) {
    std::vector<TimedCrossing> list;
    for (const CountedCrossing& count : results.counts)
        list.push_back({count.time_s, count.line, count.direction});
    return list;
}

std::set<std::string> lines_of(const Results& results) {
    std::set<std::string> names;
    for (const Json& line : results.summary["lines"])
        names.insert(line.value("name", ""));
    return names;
}

std::string totals_text(const Results& first, const Results& second) {
    constexpr TextColumn kName{TextColumn::kLeft, 20, 2};
    constexpr TextColumn kNumber{TextColumn::kRight, 8, 1};
    const std::vector<TextColumn> columns{kName, kNumber, kNumber, kNumber};
    std::set<std::string> names = lines_of(first);
    names.merge(lines_of(second));
    std::string text = table_row(columns, {"line, direction", "first", "second", "change"});
    for (const std::string& name : names) {
        for (const int direction : {1, 2}) {
            const auto count_in = [&](const Results& results) {
                return std::count_if(results.counts.begin(), results.counts.end(),
                                     [&](const CountedCrossing& count) {
                                         return count.line == name && count.direction == direction;
                                     });
            };
            const auto a = count_in(first), b = count_in(second);
            text += table_row(
                columns, {visible(name) + ", " + std::to_string(direction), std::to_string(a),
                          std::to_string(b), format_text("%+lld", static_cast<long long>(b - a))});
        }
    }
    return text;
}

// A crossing that one run has alone, and what both say about it.
std::string alone_text(const CountedCrossing& count, const Results& in, const Results& not_in,
                       const char* which) {
    std::string why = "has no line of that name";
    if (lines_of(not_in).count(count.line) > 0)
        why = explain_missing(not_in.people, count.line, count.direction, count.time_s).why;
    return format_text("  %8.1f s  ", count.time_s) + "line " + visible(count.line) +
           ", direction " + std::to_string(count.direction) + ": only in the " + which + "\n" +
           "              counted: " +
           visible(explain_count(in.people, count.track, count.time_s).why) +
           "\n              not counted: " + visible(why) + "\n";
}

}  // namespace

std::string compare_command(const CompareOptions& options) {
    const Results first = read_results(options.first);
    const Results second = read_results(options.second);
    check_same_source(first, second);
    const ListComparison result = compare_crossings(crossings_of(first), crossings_of(second));
    std::string text = totals_text(first, second);
    std::multimap<double, std::string> alone;
    for (const std::size_t i : result.only_first) {
        const CountedCrossing& count = first.counts[i];
        alone.emplace(count.time_s, alone_text(count, first, second, "first"));
    }
    for (const std::size_t i : result.only_second) {
        const CountedCrossing& count = second.counts[i];
        alone.emplace(count.time_s, alone_text(count, second, first, "second"));
    }
    text += "  " + std::to_string(result.both.size()) + " crossings are in both, " +
            std::to_string(result.only_first.size()) + " only in the first, " +
            std::to_string(result.only_second.size()) + " only in the second\n";
    for (const auto& [time_s, told] : alone)
        text += told;
    return text;
}

}  // namespace host
