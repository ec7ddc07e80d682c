// Reads the library's log lines out of captured standard output.
#include "tests/support/log_lines.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace test {
namespace {

const std::string kGreen = "\t\x1b[1;32m";
const std::string kReset = "\x1b[0;39m [";

bool is_time(const std::string& text) {
    const std::string form = "dd:dd.ddd";
    if (text.size() != form.size()) return false;
    for (size_t i = 0; i < form.size(); ++i) {
        const bool digit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
        if (form[i] == 'd' ? !digit : text[i] != form[i]) return false;
    }
    return true;
}

bool is_name(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '_';
    });
}

bool is_number(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isdigit(c) != 0; });
}

// Reads the line that begins at `pos`; the position after it, or npos when it is malformed.
size_t read_line(const std::string& text, size_t pos, LogLine& line) {
    constexpr auto npos = std::string::npos;
    const size_t body = pos + kGreen.size();
    const size_t body_end = text.find('\x1b', body);
    if (body_end == npos || text.compare(body_end, kReset.size(), kReset) != 0) return npos;
    const size_t stamp = body_end + kReset.size();
    const size_t end = text.find("]\n", stamp);
    if (end == npos) return npos;
    const std::string tail = text.substr(stamp, end - stamp);
    const size_t blank = tail.find(' ');
    const size_t colon = tail.rfind(':');
    if (blank == npos || colon == npos || colon < blank) return npos;
    line.pos = pos;
    line.body = text.substr(body, body_end - body);
    line.time = tail.substr(0, blank);
    line.function = tail.substr(blank + 1, colon - blank - 1);
    const std::string number = tail.substr(colon + 1);
    if (!is_time(line.time) || !is_name(line.function) || !is_number(number)) return npos;
    line.line = std::atoi(number.c_str());
    return end + 2;
}

// Splits a text into its log lines and the rest.
std::string split(const std::string& text, std::vector<LogLine>& lines) {
    std::string rest;
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t next = text.find(kGreen, pos);
        if (next == std::string::npos) break;
        LogLine line;
        const size_t after = read_line(text, next, line);
        rest += text.substr(pos, next - pos);
        if (after == std::string::npos) {
            rest += text[next];
            pos = next + 1;
        } else {
            lines.push_back(std::move(line));
            pos = after;
        }
    }
    return rest + text.substr(pos);
}

}  // namespace

std::vector<LogLine> parse_log(const std::string& text) {
    std::vector<LogLine> lines;
    split(text, lines);
    return lines;
}

std::vector<std::string> log_bodies(const std::string& text) {
    std::vector<std::string> bodies;
    for (auto& line : parse_log(text))
        bodies.push_back(std::move(line.body));
    return bodies;
}

std::string without_log(const std::string& text) {
    std::vector<LogLine> lines;
    return split(text, lines);
}

int count_log(const std::string& text, const std::string& body) {
    const auto bodies = log_bodies(text);
    return static_cast<int>(std::count(bodies.begin(), bodies.end(), body));
}

}  // namespace test
