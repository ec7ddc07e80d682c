// A live input for hours, at full speed: every picture that was sent is taken, or counted as
// dropped, and memory stays what it is.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/frames/live_reader.h"
#include "tests/host/recorded_frames.h"
#include "tests/support/unique_folder.h"

namespace {

using std::chrono::steady_clock;

constexpr int kWidth = 480;
constexpr int kHeight = 256;
constexpr std::chrono::minutes kAges{60};

// Resident memory of this process in kilobytes.
long resident_kb() {
    std::ifstream in("/proc/self/status");
    for (std::string word; in >> word;) {
        long kb = 0;
        if (word == "VmRSS:" && in >> kb) return kb;
    }
    return 0;
}

class LiveLong : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(::mkfifo(pipe_.c_str(), 0600), 0); }

    // A process that sends the same bytes so many times through one opening of the pipe.
    pid_t send(const std::vector<std::string>& pieces, int times) const {
        const pid_t child = ::fork();
        if (child != 0) return child;
        const int file = ::open(pipe_.c_str(), O_WRONLY);
        for (int i = 0; i < times; ++i) {
            for (std::string_view piece : pieces) {
                while (!piece.empty()) {
                    const ssize_t sent = ::write(file, piece.data(), piece.size());
                    if (sent <= 0) ::_exit(1);
                    piece.remove_prefix(static_cast<std::size_t>(sent));
                }
            }
        }
        ::_exit(0);
    }

    // One sender after the other; each sends so many frames.
    void expect_all_accounted_for(const std::optional<host::RawFormat>& raw,
                                  const std::vector<std::string>& pieces, int times,
                                  std::int64_t frames_of_sender, int senders) {
        host::LiveReader::Setup setup;
        setup.address = pipe_.string();
        setup.raw = raw;
        std::atomic<bool> all_taken{false};
        setup.stop = [&all_taken] { return all_taken.load(); };
        host::LiveReader reader(setup);
        std::atomic<std::int64_t> taken{0};
        std::thread taker([&] {
            host::LiveFrame frame;
            host::InputNotice notice;
            for (auto came = reader.next(frame, notice); came != host::LiveReader::Came::kEnd;
                 came = reader.next(frame, notice)) {
                if (came == host::LiveReader::Came::kFrame) ++taken;
            }
        });
        long early_kb = 0;
        const auto start = steady_clock::now();
        for (int sender = 1; sender <= senders; ++sender) {
            const pid_t child = send(pieces, times);
            int status = -1;
            ::waitpid(child, &status, 0);
            ASSERT_EQ(status, 0);
            while (reader.figures().frames < frames_of_sender * sender &&
                   steady_clock::now() - start < kAges)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (sender == 2) early_kb = resident_kb();
        }
        const double took_s = std::chrono::duration<double>(steady_clock::now() - start).count();
        // The last one may still wait.
        while (taken + reader.figures().dropped < reader.figures().frames &&
               steady_clock::now() - start < kAges)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        all_taken = true;
        taker.join();
        const long late_kb = resident_kb();
        const host::LiveFigures figures = reader.figures();
        std::printf("%lld frames in %.0f s, %lld taken, %lld dropped, %lld gaps, %ld to %ld kB\n",
                    static_cast<long long>(figures.frames), took_s, static_cast<long long>(taken),
                    static_cast<long long>(figures.dropped), static_cast<long long>(figures.gaps),
                    early_kb, late_kb);
        EXPECT_EQ(figures.frames, frames_of_sender * senders);
        EXPECT_EQ(taken + figures.dropped, figures.frames);
        EXPECT_EQ(figures.damaged, 0);
        EXPECT_GE(figures.gaps, senders - 1);
        EXPECT_LT(late_kb, early_kb + 4096);
    }

    // A whole recording as bytes.
    std::string recording(int frames) const {
        const auto path = folder_.path() / "recording.mkv";
        host::RecordingWriter::Setup setup = test::sensor_setup(path);
        setup.width = kWidth;
        setup.height = kHeight;
        setup.first_time_us = 0;
        host::RecordingWriter writer(setup);
        for (int i = 0; i < frames; ++i)
            writer.write({i, i * 66'667LL, test::sensor_depth(i % 100, kWidth, kHeight), {}});
        writer.finish(host::RecordingEnd::kSource);
        return test::read_all(path);
    }

    const test::UniqueFolder folder_{"vca-long"};
    const std::filesystem::path pipe_ = folder_.path() / "pipe";
};

TEST_F(LiveLong, TwoHundredThousandRawPictures) {
    std::vector<std::string> pieces;
    for (int i = 0; i < 10; ++i) {
        const auto depth = test::sensor_depth(i, kWidth, kHeight);
        pieces.emplace_back(reinterpret_cast<const char*>(depth.data()), 2 * depth.size());
    }
    expect_all_accounted_for(host::RawFormat{kWidth, kHeight, 30.0}, pieces, 1000, 10'000, 20);
}

TEST_F(LiveLong, TwentyThousandCompressedPictures) {
    expect_all_accounted_for(std::nullopt, {recording(1000)}, 1, 1000, 20);
}

}  // namespace
