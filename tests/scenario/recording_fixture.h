// Recordings by the program, and what is in them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "host/media/recording_reader.h"
#include "tests/support/program.h"

namespace test {

struct Recorded {
    std::vector<host::MediaFrame> frames;  // without their pictures
    std::string events;                    // as lines of events.jsonl
    std::string end;
    std::vector<std::string> damage;
    host::MediaInfo info;
};

inline Recorded read_recording(const std::filesystem::path& path) {
    host::RecordingReader reader(host::RecordingReader::file(path.string()));
    Recorded result;
    host::MediaFrame frame;
    const auto add = [&result](const std::vector<std::string>& lines) {
        for (const std::string& line : lines)
            result.events += line + "\n";
    };
    while (reader.next(frame)) {
        add(frame.lines);
        result.frames.push_back(frame);
        result.frames.back().depth_mm.clear();
        result.frames.back().colour_nv12.clear();
    }
    add(reader.last_lines());
    result.end = reader.end();
    result.damage = reader.damage();
    result.info = reader.info();
    return result;
}

class RecordingProgram : public Program {
  protected:
    void record(const std::string& arguments, const std::string& folder = "rec") const {
        const Outcome outcome = vca("record --quiet --output " + folder + " " + arguments);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
    }

    // The summary that is printed.
    std::string replay(const std::string& arguments, const std::string& output = "replay") const {
        const Outcome outcome =
            vca("run --no-live --quiet --output " + output + " --recording " + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    }

    std::vector<std::filesystem::path> files(const std::string& folder = "rec") const {
        std::vector<std::filesystem::path> list;
        for (const auto& entry : std::filesystem::directory_iterator(work_ / folder))
            list.push_back(entry.path());
        std::sort(list.begin(), list.end());
        return list;
    }

    std::string events(const std::string& output) const {
        return read_file(work_ / output / "events.jsonl");
    }

    std::filesystem::path only_file() const {
        EXPECT_EQ(files().size(), 1u);
        return files().front();
    }
};

class RoundTrip : public RecordingProgram, public ::testing::WithParamInterface<const char*> {
  protected:
    // A run over the recording sends what was sent while it was made.
    void expect_same_again(const std::string& arguments) {
        record(arguments);
        replay("rec/*.mkv");
        EXPECT_GT(events("replay").size(), 500u);
        const Recorded recorded = read_recording(only_file());
        EXPECT_EQ(recorded.events, events("replay"));
        EXPECT_THAT(recorded.damage, ::testing::IsEmpty());
    }

    // And so does a run without a recording, with every distance that the library decided by.
    void expect_same_as_direct(const std::string& arguments, const std::string& of_recording = "") {
        const std::size_t data = arguments.find(VCA_SHARED_DATA_DIR);
        if (data != arguments.npos && !std::filesystem::exists(VCA_SHARED_DATA_DIR))
            GTEST_SKIP() << "no recordings";
        const Outcome direct = vca("run --no-live --quiet --output direct " + arguments);
        ASSERT_EQ(direct.status, 0) << direct.err;
        expect_same_again(arguments + " " + of_recording);
        EXPECT_EQ(events("replay"), events("direct"));
        EXPECT_EQ(read_file(work_ / "replay/people.jsonl"),
                  read_file(work_ / "direct/people.jsonl"));
    }
};

}  // namespace test
