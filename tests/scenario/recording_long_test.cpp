// Whole scenes through a recording, and a recording of 3 GB.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "host/media/recording_reader.h"
#include "tests/host/ebml.h"
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

// Uncompressed, so that it is quickly written; the container's part is the same.
TEST(LargeRecording, OfThreeGigabytesIsReadInBoundedMemory) {
    constexpr int kWidth = 640;
    constexpr int kHeight = 576;
    constexpr std::uint64_t kFrames = 4100;
    const std::filesystem::path path = test::unique_path("large", ".mkv");
    {
        std::ofstream out(path, std::ios::binary);
        // A segment of unknown length.
        out << test::ebml_head() << test::big_endian(0x18538067, 4)
            << test::big_endian(0x01FFFFFFFFFFFFFF, 8) << test::matroska_info()
            << test::raw_depth_track(kWidth, kHeight);
        std::string picture(std::size_t{2} * kWidth * kHeight, '\x05');
        for (std::uint64_t n = 0; n < kFrames; ++n) {
            picture[static_cast<std::size_t>(n)] ^= 1;
            out << test::cluster(n * 33, picture);
        }
        ASSERT_TRUE(out.flush());
    }
    EXPECT_GT(std::filesystem::file_size(path), 3'000'000'000u);
    host::RecordingReader reader(host::RecordingReader::file(path.string()));
    host::MediaFrame frame;
    std::int64_t frames = 0;
    long early_kb = 0;
    while (reader.next(frame)) {
        if (++frames == 50) early_kb = resident_kb();
    }
    EXPECT_EQ(frames, static_cast<std::int64_t>(kFrames));
    EXPECT_EQ(frame.depth_mm[0], 0x0404);
    EXPECT_LT(resident_kb() - early_kb, 20'000);
    EXPECT_THAT(reader.damage(), ::testing::IsEmpty());
    std::filesystem::remove(path);
}

}  // namespace
