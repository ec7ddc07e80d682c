// Reads the library's log lines out of captured standard output.
#ifndef TESTS_SUPPORT_LOG_LINES_H
#define TESTS_SUPPORT_LOG_LINES_H

#include <string>
#include <vector>

namespace test {

// One line: tab, green, body, colour reset, blank, "[time function:line]", newline.
struct LogLine {
    std::string body;
    std::string time;  // "mm:ss.mmm"
    std::string function;
    int line = 0;
    size_t pos = 0;  // of the line in the text
};

// All well-formed log lines of a text, in order; a body may begin with a newline.
std::vector<LogLine> parse_log(const std::string& text);

std::vector<std::string> log_bodies(const std::string& text);

// What is left of a text when its log lines are taken out.
std::string without_log(const std::string& text);

// Number of log lines with this body.
int count_log(const std::string& text, const std::string& body);

}  // namespace test

#endif
