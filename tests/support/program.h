// The program vca as a user runs it, in a folder of the test's own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace test {

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

std::string read_file(const std::filesystem::path& path);
std::vector<nlohmann::json> json_lines(const std::string& text);
// Waits for the condition. The limit only ends a test that has failed.
bool eventually(const std::function<bool()>& condition);

class Program : public ::testing::Test {
  protected:
    Program();
    ~Program() override;

    Outcome vca(const std::string& arguments) const;
    // Starts the program beside the test.
    pid_t start_vca(const std::string& arguments) const;
    // The exit status of a started program, -1 when a signal ended it.
    static int end_of(pid_t child);

    std::string out() const { return read_file(work_ / "out.txt"); }
    std::string err() const { return read_file(work_ / "err.txt"); }
    void write(const std::string& name, const std::string& text) const;
    nlohmann::json json(const std::filesystem::path& file) const;

    // Wrong input: status 2, one sentence on standard error, and nothing named `folder` left.
    void expect_refused(const std::string& arguments, const ::testing::Matcher<std::string>& text,
                        const std::string& folder) const;

    std::filesystem::path work_;

  private:
    std::string redirected(const std::string& arguments) const;
};

}  // namespace test
