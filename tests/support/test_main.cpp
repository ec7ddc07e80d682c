// The main function of every test program. The library keeps static state and has no way back to a
// fresh start, so each test case has a process of its own. ctest names one case in each start of
// the program; where several are selected, as without arguments, each one gets a copy of this
// process.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

bool selects_one_case(const std::string& filter) {
    return filter.find_first_of("*?:-") == std::string::npos;
}

struct Ended {
    std::string output;
    bool passed = false;
};

// Runs what `filter` selects in a copy of this process, which has not begun anything yet. The
// output goes through a file: what a test has started may outlive it and would hold a pipe open.
Ended run_in_a_copy(const std::string& filter) {
    std::fflush(nullptr);
    std::FILE* const file = std::tmpfile();
    if (file == nullptr) return {"no file for the output\n"};
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(file), STDOUT_FILENO);
        dup2(fileno(file), STDERR_FILENO);
        GTEST_FLAG_SET(filter, filter);
        std::exit(RUN_ALL_TESTS());
    }
    Ended ended;
    int status = 0;
    ended.passed = child > 0 && waitpid(child, &status, 0) == child && status == 0;
    std::rewind(file);
    char bytes[4096];
    for (size_t got = 0; (got = std::fread(bytes, 1, sizeof(bytes), file)) > 0;)
        ended.output.append(bytes, got);
    std::fclose(file);
    return ended;
}

// The selected cases, read from the list that the test framework prints:
//   Suite.
//     Case  # a comment
std::vector<std::string> selected_cases() {
    GTEST_FLAG_SET(list_tests, true);
    std::istringstream list(run_in_a_copy(GTEST_FLAG_GET(filter)).output);
    GTEST_FLAG_SET(list_tests, false);
    std::vector<std::string> cases;
    std::string suite;
    for (std::string line; std::getline(list, line);) {
        std::string name;
        std::istringstream(line) >> name;
        if (line.starts_with("  "))
            cases.push_back(suite + name);
        else if (name.ends_with('.'))
            suite = name;
    }
    return cases;
}

int run_each_in_a_copy() {
    const auto cases = selected_cases();
    int passed = 0;
    int skipped = 0;
    for (const auto& name : cases) {
        const Ended ended = run_in_a_copy(name);
        passed += ended.passed;
        const bool skips = ended.output.find("[  SKIPPED ]") != std::string::npos;
        skipped += skips;
        std::printf("%-7s %s\n",
                    !ended.passed ? "FAILED"
                    : skips       ? "skipped"
                                  : "passed",
                    name.c_str());
        if (!ended.passed) std::fputs(ended.output.c_str(), stdout);
    }
    const int all = static_cast<int>(cases.size());
    std::printf("%d of %d cases passed, %d of them skipped\n", passed, all, skipped);
    return all > 0 && passed == all ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1) {
        std::fprintf(stderr, "usage: %s [--gtest_filter=...], see --help\n", argv[0]);
        return 2;
    }
    if (GTEST_FLAG_GET(list_tests) || selects_one_case(GTEST_FLAG_GET(filter)))
        return RUN_ALL_TESTS();
    return run_each_in_a_copy();
}
