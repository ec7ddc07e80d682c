// Choosing stories of people.jsonl, and their words.
#include "host/app/why.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/base/input_error.h"
#include "host/base/readable_file.h"
#include "host/base/result_files.h"
#include "host/base/text.h"

namespace host {
namespace {

using Json = nlohmann::json;

constexpr double kAround_s = 1.0;

// Whether the person came to the line and was not counted on it.
bool missed_line(const Json& person, const std::string& line) {
    bool near = false;
    for (const Json& step : person.at("story")) {
        if (step.value("line", "") != line) continue;
        if (step.at("what") == "counted") return false;
        near = true;
    }
    return near;
}

bool is_meant(const Json& person, const WhyOptions& options) {
    if (options.track && person.at("track") != *options.track) return false;
    if (options.time_s) {
        const double time_s = *options.time_s;
        if (person.at("from_s").get<double>() > time_s + kAround_s) return false;
        if (person.at("to_s").get<double>() < time_s - kAround_s) return false;
    }
    return !options.line || missed_line(person, *options.line);
}

std::string headline(const Json& person) {
    return format_text(
               "%strack %d, %.1f to %.1f s: ", person.at("merged").get<bool>() ? "merged " : "",
               person.at("track").get<int>(), person.at("from_s").get<double>(),
               person.at("to_s").get<double>()) +
           visible(person.at("why").get<std::string>()) + "\n";
}

std::string step_row(const Json& step) {
    return format_text("  %8.2f s  frame %-6lld ", step.at("time_s").get<double>(),
                       step.at("frame").get<long long>()) +
           visible(step.at("text").get<std::string>()) + "\n";
}

// Nothing when somebody else is meant.
std::string story_text(const Json& person, const WhyOptions& options) {
    person.at("track").get_ref<const Json::number_integer_t&>();  // no other kind of number
    if (!is_meant(person, options)) return "";
    std::string text = headline(person);
    if (!options.track) return text;
    for (const Json& step : person.at("story"))
        text += step_row(step);
    return text;
}

// The lines of a run that has ended; while it goes on they are unknown.
std::vector<std::string> lines_of(const std::filesystem::path& folder) {
    std::ifstream in(folder / kSummaryFile);
    const Json summary = Json::parse(in, nullptr, false);
    std::vector<std::string> names;
    try {
        for (const Json& line : summary.at("lines"))
            names.push_back(line.at("name"));
    } catch (const Json::exception&) {
        names.clear();
    }
    return names;
}

void check_line(const WhyOptions& options) {
    if (!options.line) return;
    const std::vector<std::string> names = lines_of(options.folder);
    if (names.empty() || std::find(names.begin(), names.end(), *options.line) != names.end())
        return;
    std::string known;
    for (const std::string& name : names)
        known += (known.empty() ? "\"" : ", \"") + name + "\"";
    throw InputError("the run has no line \"" + *options.line + "\"; its lines are " + known);
}

std::string nobody(const WhyOptions& options) {
    std::string text = "nobody";
    if (options.track) text = "no track " + std::to_string(*options.track);
    if (options.line) text += " came to line " + *options.line + " without being counted";
    if (options.time_s) text += " around " + plain_number(*options.time_s) + " s";
    return text + "\n";
}

}  // namespace

std::string why_command(const WhyOptions& options) {
    const std::filesystem::path folder = options.folder;
    const std::string path = (folder / kPeopleFile).string();
    if (const std::string why = why_unreadable(path); !why.empty()) {
        throw InputError("cannot read \"" + path + "\": " + why +
                         "; name the folder of a run, or that of one device of a site");
    }
    check_line(options);
    std::ifstream in(path);
    std::string text;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        try {
            text += story_text(Json::parse(line), options);
        } catch (const Json::exception&) {
            // Only the last line of a run that was cut off can lack its end.
            if (in.eof()) break;
            throw InputError("\"" + path + "\" line " + std::to_string(number) +
                             " is not a story; the file was changed");
        }
    }
    if (text.empty()) text = nobody(options);
    std::error_code error;
    if (!std::filesystem::exists(folder / kSummaryFile, error)) {
        text += "the run goes on or was cut off; people whose track had not ended are missing\n";
    }
    return text;
}

}  // namespace host
