// Running the program through the shell, with its output in files.
#include "tests/support/program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "tests/support/unique_path.h"

namespace test {

namespace fs = std::filesystem;

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<nlohmann::json> json_lines(const std::string& text) {
    std::vector<nlohmann::json> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(nlohmann::json::parse(line));
    return lines;
}

bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

Program::Program() : work_(unique_path("program", "")) {
    // Only read by a program that was built with the thread sanitizer.
    ::setenv("TSAN_OPTIONS", "suppressions=" VCA_TSAN_SUPPRESSIONS, 0);
    fs::create_directories(work_);
}

Program::~Program() {
    fs::remove_all(work_);
}

std::string Program::redirected(const std::string& arguments) const {
    return "cd '" + work_.string() + "' && exec >out.txt 2>err.txt '" + VCA_PROGRAM + "' " +
           arguments;
}

Outcome Program::vca(const std::string& arguments) const {
    const int status = std::system(redirected(arguments).c_str());
    return {WEXITSTATUS(status), out(), err()};
}

pid_t Program::start_vca(const std::string& arguments) const {
    const pid_t child = ::fork();
    if (child == 0) {
        ::execl("/bin/sh", "sh", "-c", redirected(arguments).c_str(), nullptr);
        ::_exit(127);
    }
    return child;
}

int Program::end_of(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void Program::write(const std::string& name, const std::string& text) const {
    std::ofstream(work_ / name) << text;
}

nlohmann::json Program::json(const fs::path& file) const {
    return nlohmann::json::parse(read_file(work_ / file));
}

void Program::expect_refused(const std::string& arguments,
                             const ::testing::Matcher<std::string>& text,
                             const std::string& folder) const {
    const Outcome outcome = vca(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_THAT(outcome.err, text) << arguments;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.out, "") << arguments;
    EXPECT_FALSE(fs::exists(work_ / folder)) << arguments;
}

}  // namespace test
