// Whole scenes through a recording, and a recording of 3 GB.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "host/media/recording_writer.h"
#include "tests/scenario/recording_fixture.h"
#include "tests/support/unique_path.h"

namespace {

class RoundTripLong : public test::RoundTrip {};

TEST_P(RoundTripLong, GivesTheSameEvents) {
    expect_same_as_direct(std::string("--scene ") + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Whole, RoundTripLong,
                         ::testing::Values("doorway", "entrance", "uturn", "groups", "shop",
                                           "crowd", "gallery", "clutter"));

// Resident memory of this process in kilobytes.
long resident_kb() {
    std::ifstream in("/proc/self/status");
    for (std::string word; in >> word;) {
        long kb = 0;
        if (word == "VmRSS:" && in >> kb) return kb;
    }
    return 0;
}

// Noise of every value, which does not get smaller, at 1024 x 1024 pixels.
TEST(LargeRecording, OfThreeGigabytesIsReadInBoundedMemory) {
    constexpr int kSide = 1024;
    constexpr std::int64_t kBytes = 3'000'000'000;
    const std::filesystem::path folder = test::unique_path("large");
    std::filesystem::create_directories(folder);
    host::RecordingWriter::Setup setup;
    setup.path = (folder / "large.mkv").string();
    setup.width = setup.height = kSide;
    std::vector<std::uint16_t> depth(std::size_t{kSide} * kSide);
    std::uint32_t state = 1;
    for (std::uint16_t& mm : depth) {
        state = state * 1664525u + 1013904223u;
        mm = static_cast<std::uint16_t>(state >> 16);
    }
    std::int64_t written = 0;
    {
        host::RecordingWriter writer(setup);
        for (; writer.size() < kBytes; ++written) {
            depth[static_cast<std::size_t>(written)] ^= 1;
            writer.write({written, written * 33'333, depth, {}});
        }
        writer.finish(host::RecordingEnd::kStopped);
    }
    host::RecordingReader reader(host::RecordingReader::file(setup.path));
    host::MediaFrame frame;
    std::int64_t frames = 0;
    long early_kb = 0;
    while (reader.next(frame)) {
        if (++frames == 50) early_kb = resident_kb();
    }
    EXPECT_EQ(frames, written);
    EXPECT_EQ(frame.depth_mm, depth);
    EXPECT_LT(resident_kb() - early_kb, 20'000);
    EXPECT_THAT(reader.damage(), ::testing::IsEmpty());
    std::filesystem::remove_all(folder);
}

}  // namespace
