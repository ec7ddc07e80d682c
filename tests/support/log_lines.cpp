// Reads the library's log lines out of captured standard output.
#include "tests/support/log_lines.h"

#include <algorithm>
#include <regex>

namespace test {
namespace {

const std::regex& log_pattern() {
    static const std::regex pattern(
        "\t\x1b\\[1;32m([^\x1b]*)\x1b\\[0;39m "
        "\\[([0-9]{2}:[0-9]{2}\\.[0-9]{3}) ([A-Za-z_][A-Za-z_0-9]*):([0-9]+)\\]\n");
    return pattern;
}

}  // namespace

std::vector<LogLine> parse_log(const std::string& text) {
    std::vector<LogLine> lines;
    for (std::sregex_iterator it(text.begin(), text.end(), log_pattern()), end; it != end; ++it)
        lines.push_back({(*it)[1], (*it)[2], (*it)[3], std::stoi((*it)[4]),
                         static_cast<size_t>(it->position())});
    return lines;
}

std::vector<std::string> log_bodies(const std::string& text) {
    std::vector<std::string> bodies;
    for (auto& line : parse_log(text))
        bodies.push_back(std::move(line.body));
    return bodies;
}

std::string without_log(const std::string& text) {
    return std::regex_replace(text, log_pattern(), "");
}

int count_log(const std::string& text, const std::string& body) {
    const auto bodies = log_bodies(text);
    return static_cast<int>(std::count(bodies.begin(), bodies.end(), body));
}

}  // namespace test
