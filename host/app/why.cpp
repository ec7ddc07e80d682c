// Choosing stories of people.jsonl, and their words.
#include "host/app/why.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/base/input_error.h"
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
    return format_text("track %d, %.1f to %.1f s: ", person.at("track").get<int>(),
                       person.at("from_s").get<double>(), person.at("to_s").get<double>()) +
           person.at("why").get<std::string>() + "\n";
}

std::string step_text(const Json& step) {
    std::string text = format_text("  %8.2f s  frame %-6lld ", step.at("time_s").get<double>(),
                                   step.at("frame").get<long long>()) +
                       step.at("what").get<std::string>();
    for (const char* const key : {"line", "region"})
        if (step.contains(key)) text += " " + step.at(key).get<std::string>();
    if (step.contains("value")) {
        text += format_text(": %g, limit %g", step.at("value").get<double>(),
                            step.at("limit").get<double>());
    }
    const Json& at = step.at("at");
    return text + format_text(", at %d,%d\n", at.at(0).get<int>(), at.at(1).get<int>());
}

// The lines of a run that has ended; while it goes on nobody knows them.
std::vector<std::string> lines_of(const std::filesystem::path& folder) {
    std::ifstream in(folder / kSummaryFile);
    const Json summary = Json::parse(in, nullptr, false);
    std::vector<std::string> names;
    if (!summary.is_object()) return names;
    for (const Json& line : summary.value("lines", Json::array()))
        names.push_back(line.value("name", ""));
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
    const std::string path = (std::filesystem::path(options.folder) / kPeopleFile).string();
    std::ifstream in(path);
    if (!in) {
        throw InputError("there is no \"" + path + "\"; name the folder of the results of a run");
    }
    check_line(options);
    std::string text;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        try {
            const Json person = Json::parse(line);
            if (!is_meant(person, options)) continue;
            text += headline(person);
            if (!options.track) continue;
            for (const Json& step : person.at("story"))
                text += step_text(step);
        } catch (const Json::exception&) {
            throw InputError("\"" + path + "\" line " + std::to_string(number) +
                             " is no story; the file was cut or changed");
        }
    }
    return text.empty() ? nobody(options) : text;
}

}  // namespace host
