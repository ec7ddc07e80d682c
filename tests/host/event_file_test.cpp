// Events written line by line, and what happens when the disk is full.
#include "host/sinks/event_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/support/unique_path.h"

namespace {

const host::Event kEvent{6077, 3, 0.2, host::InstallHeight{3000}};

TEST(EventFile, HoldsOneLineForEachEvent) {
    const std::string path = test::unique_path("vca-event-file-test", ".jsonl").string();
    host::EventFile file(path);
    file.on_event(kEvent);
    file.on_event(kEvent);
    file.finish();
    std::ifstream in(path);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const std::string line = host::to_json_line(kEvent) + "\n";
    EXPECT_EQ(text, line + line);
    std::filesystem::remove(path);
}

// What is written does not wait in memory for the end.
TEST(EventFile, GrowsDuringTheRun) {
    const std::string path = test::unique_path("vca-event-file-test", ".jsonl").string();
    host::EventFile file(path);
    for (int i = 0; i < 10000; ++i)
        file.on_event(kEvent);
    const auto whole = 10000 * (host::to_json_line(kEvent).size() + 1);
    EXPECT_GT(std::filesystem::file_size(path), whole / 2);
    file.finish();
    EXPECT_EQ(std::filesystem::file_size(path), whole);
    std::filesystem::remove(path);
}

TEST(EventFile, ReportsAFullDisk) {
    host::EventFile file("/dev/full");
    const auto fill = [&file] {
        for (int i = 0; i < 10000; ++i)
            file.on_event(kEvent);
    };
    EXPECT_THROW(fill(), std::runtime_error);
    EXPECT_THROW(file.finish(), std::runtime_error);
    host::EventFile small("/dev/full");
    small.on_event(kEvent);  // fits the buffer, so only the end can tell
    EXPECT_THROW(small.finish(), std::runtime_error);
    EXPECT_THROW(host::EventFile("/nonexistent/events.jsonl"), std::runtime_error);
}

}  // namespace
