// Live streams over pipes and TCP whose senders pause, end, come back, send garbage or other
// pictures. Every wait is for a condition, with a limit far beyond what it takes.
#include "host/frames/live_reader.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>

#include "host/base/input_error.h"
#include "tests/host/fake_v4l2.h"
#include "tests/host/recorded_frames.h"
#include "tests/support/unique_folder.h"

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kAges{60};

class LiveReaderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::signal(SIGPIPE, SIG_IGN);
        ASSERT_EQ(::mkfifo(pipe_.c_str(), 0600), 0);
    }

    host::LiveReader::Setup setup() const {
        host::LiveReader::Setup setup;
        setup.address = pipe_.string();
        setup.stop = [limit = steady_clock::now() + kAges] { return steady_clock::now() > limit; };
        setup.limits = {300'000, 20'000, 100'000, 300'000};
        return setup;
    }

    // A whole recording as bytes.
    std::string recording(int frames, int width = test::kSensorWidth, bool frozen = false) const {
        const auto path = folder_.path() / "recording.mkv";
        host::RecordingWriter::Setup setup = test::sensor_setup(path);
        setup.width = width;
        host::RecordingWriter writer(setup);
        for (int i = 0; i < frames; ++i) {
            const auto depth = test::sensor_depth(frozen ? 0 : test::sensor_number(i), width);
            writer.write({test::sensor_number(i), test::sensor_time_us(i), depth, {}});
        }
        writer.finish(host::RecordingEnd::kSource);
        return test::read_all(path);
    }

    // Waits for the reader's end of the pipe.
    int open_pipe() const { return ::open(pipe_.c_str(), O_WRONLY); }

    const test::UniqueFolder folder_{"vca-live"};
    const std::filesystem::path pipe_ = folder_.path() / "pipe";
};

bool send_all(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::write(file, bytes.data(), bytes.size());
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

// What came until a condition holds; fails after ages.
struct Taken {
    std::vector<std::int64_t> times;
    std::vector<host::InputNotice> notices;
    host::LiveFrame last;
    bool ended = false;

    template <typename Condition>
    void until(host::LiveReader& reader, const Condition& holds) {
        while (!holds()) {
            ASSERT_FALSE(ended) << "waited for ages";
            host::InputNotice notice;
            switch (reader.next(last, notice)) {
                case host::LiveReader::Came::kFrame:
                    if (!times.empty()) {
                        ASSERT_GT(last.time_us, times.back());
                    }
                    times.push_back(last.time_us);
                    break;
                case host::LiveReader::Came::kNotice:
                    notices.push_back(notice);
                    break;
                case host::LiveReader::Came::kEnd:
                    ended = true;
                    break;
            }
        }
    }
    template <typename Kind>
    const Kind& first() const {
        for (const host::InputNotice& notice : notices)
            if (const auto* kind = std::get_if<Kind>(&notice)) return *kind;
        throw std::logic_error("there is no such notice");
    }
    template <typename Kind>
    int count() const {
        int sum = 0;
        for (const host::InputNotice& notice : notices)
            sum += std::holds_alternative<Kind>(notice) ? 1 : 0;
        return sum;
    }
};

TEST_F(LiveReaderTest, GivesTheNewestAndCountsTheRest) {
    host::LiveReader reader(setup());
    const int file = open_pipe();
    ASSERT_TRUE(send_all(file, recording(40)));
    Taken taken;
    taken.until(reader, [&] { return reader.figures().frames >= 39; });
    const host::LiveFigures figures = reader.figures();
    EXPECT_EQ(figures.opened, 1);
    EXPECT_EQ(figures.damaged, 0);
    EXPECT_EQ(figures.missing, test::sensor_number(static_cast<int>(figures.frames) - 1) -
                                   test::sensor_number(0) - (figures.frames - 1));
    EXPECT_GE(std::ssize(taken.times) + figures.dropped + 1, figures.frames);  // one may wait
    EXPECT_LE(std::ssize(taken.times) + figures.dropped, figures.frames);
    EXPECT_EQ(taken.last.media.depth_mm.size(),
              std::size_t{test::kSensorWidth} * test::kSensorHeight);
    ::close(file);
}

TEST_F(LiveReaderTest, SaysWhatIsInTheStream) {
    host::LiveReader reader(setup());
    const int file = open_pipe();
    ASSERT_TRUE(send_all(file, recording(3)));
    const auto info = reader.wait_opened();
    ASSERT_TRUE(info);
    EXPECT_EQ(info->width, test::kSensorWidth);
    EXPECT_EQ(info->attachments.count("camera.toml"), 1u);
    ::close(file);
}

TEST_F(LiveReaderTest, AnotherSenderIsTakenAndTheGapTold) {
    host::LiveReader reader(setup());
    Taken taken;
    for (int sender = 0; sender < 3; ++sender) {
        const int file = open_pipe();
        ASSERT_TRUE(send_all(file, recording(5)));
        ::close(file);
        taken.until(reader, [&] {
            return reader.figures().opened > sender && reader.figures().frames >= 5 * (sender + 1);
        });
    }
    taken.until(reader, [&] { return taken.count<host::InputGap>() == 2; });
    const auto& gap = taken.first<host::InputGap>();
    const auto& silent = taken.first<host::InputSilent>();
    EXPECT_EQ(silent.since_us, gap.from_us);
    EXPECT_EQ(silent.why, gap.why);
    EXPECT_EQ(taken.count<host::InputSilent>(), 2);
    EXPECT_LT(gap.from_us, gap.to_us);
    EXPECT_TRUE(gap.why == "the sender ended" || gap.why == "the sender started again") << gap.why;
    EXPECT_EQ(reader.figures().gaps, 2);
}

// A sender that was stopped in the middle of a frame goes on where it was.
TEST_F(LiveReaderTest, SilentSenderGoesOnWithinItsStream) {
    host::LiveReader reader(setup());
    const int file = open_pipe();
    const std::string bytes = recording(20);
    const std::size_t half = bytes.size() / 2;
    ASSERT_TRUE(send_all(file, std::string_view(bytes).substr(0, half)));
    Taken taken;
    taken.until(reader, [&] { return !taken.times.empty(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(700));  // beyond the silence allowed
    ASSERT_TRUE(send_all(file, std::string_view(bytes).substr(half)));
    taken.until(reader, [&] { return taken.count<host::InputGap>() == 1; });
    EXPECT_EQ(reader.figures().opened, 1);
    EXPECT_EQ(reader.figures().damaged, 0);
    ::close(file);
}

TEST_F(LiveReaderTest, GarbageIsNoStreamAndTheNextSenderIs) {
    host::LiveReader reader(setup());
    int file = open_pipe();
    std::string garbage(1 << 16, '\x55');
    const auto limit = steady_clock::now() + kAges;
    while (send_all(file, garbage) && steady_clock::now() < limit) {
    }
    EXPECT_LT(steady_clock::now(), limit) << "garbage is read for ever";
    ::close(file);
    file = open_pipe();
    send_all(file, recording(5));
    Taken taken;
    taken.until(reader, [&] { return !taken.times.empty(); });
    EXPECT_EQ(reader.figures().gaps, 0);  // nothing was seen before it
    ::close(file);
}

TEST_F(LiveReaderTest, OtherResolutionIsAFaultUntilItEnds) {
    host::LiveReader reader(setup());
    Taken taken;
    const auto send = [&](int width) {
        const int file = open_pipe();
        send_all(file, recording(5, width));
        ::close(file);
    };
    send(test::kSensorWidth);
    taken.until(reader, [&] { return !taken.times.empty(); });
    send(96);
    taken.until(reader, [&] { return taken.count<host::InputFault>() == 1; });
    EXPECT_FALSE(std::get<host::InputFault>(taken.notices.back()).until_us);
    send(test::kSensorWidth);
    taken.until(reader, [&] { return taken.count<host::InputFault>() == 2; });
    const auto frames = taken.times.size();
    taken.until(reader, [&] { return taken.times.size() > frames; });
    EXPECT_EQ(taken.last.media.width, test::kSensorWidth);
}

TEST_F(LiveReaderTest, FrozenPictureIsAFaultUntilItMoves) {
    host::LiveReader reader(setup());
    Taken taken;
    const auto limit = steady_clock::now() + kAges;
    while (taken.count<host::InputFault>() == 0 && steady_clock::now() < limit) {
        const auto frames = reader.figures().frames;
        const int file = open_pipe();
        send_all(file, recording(3, test::kSensorWidth, true));
        ::close(file);
        taken.until(reader, [&] {
            return reader.figures().frames > frames || taken.count<host::InputFault>() > 0;
        });
    }
    EXPECT_EQ(taken.count<host::InputFault>(), 1);
    const int file = open_pipe();
    send_all(file, recording(3));
    taken.until(reader, [&] { return taken.count<host::InputFault>() == 2; });
    const auto& fault = std::get<host::InputFault>(taken.notices.back());
    ASSERT_TRUE(fault.until_us);
    EXPECT_GT(*fault.until_us, fault.since_us);
    ::close(file);
}

// A machine that starts without a clock of its own gets the right time when it has found a server.
TEST_F(LiveReaderTest, AStepOfTheWallClockIsToldOnce) {
    std::atomic<std::int64_t> set_us{0};
    host::LiveReader::Setup given = setup();
    given.read_clocks = [&set_us] {
        host::ClockReading reading = host::read_clocks();
        reading.utc_us += set_us;
        return reading;
    };
    host::LiveReader reader(given);
    const int file = open_pipe();
    const std::string bytes = recording(20);
    ASSERT_TRUE(send_all(file, std::string_view(bytes).substr(0, bytes.size() / 2)));
    Taken taken;
    taken.until(reader, [&] { return !taken.times.empty(); });
    set_us = -7'200'000'000;
    ASSERT_TRUE(send_all(file, std::string_view(bytes).substr(bytes.size() / 2)));
    ::close(file);
    taken.until(reader, [&] { return taken.count<host::ClockStep>() == 1; });
    EXPECT_NEAR(static_cast<double>(taken.first<host::ClockStep>().by_us), -7.2e9, 1e6);
    const auto frames = taken.times.size();
    taken.until(reader, [&] { return taken.times.size() > frames; });
    EXPECT_EQ(taken.count<host::ClockStep>(), 1);
    EXPECT_GE(taken.first<host::ClockStep>().at_us, 0);
}

TEST_F(LiveReaderTest, KeepsTheLastColoursByTheirArrival) {
    const auto path = folder_.path() / "colour.mkv";
    host::RecordingWriter::Setup with_colour = test::sensor_setup(path);
    with_colour.colour = host::RecordedColour::kLossless;
    host::RecordingWriter writer(with_colour);
    for (int i = 0; i < 12; ++i)
        test::write_frame(writer, i, true);
    writer.finish(host::RecordingEnd::kSource);
    host::LiveReader::Setup given = setup();
    given.colour = true;
    host::LiveReader reader(given);
    host::MediaFrame frame;
    EXPECT_FALSE(reader.nearest(0, frame));
    const int file = open_pipe();
    ASSERT_TRUE(send_all(file, test::read_all(path)));
    const auto limit = steady_clock::now() + kAges;
    while (reader.figures().frames < 11 && steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const std::int64_t ages_us = INT64_MAX / 2;
    ASSERT_TRUE(reader.nearest(ages_us, frame));
    EXPECT_EQ(frame.colour_width, test::kSensorWidth);
    const auto newest = frame.colour_nv12;
    ASSERT_TRUE(reader.nearest(0, frame));
    EXPECT_EQ(frame.colour_nv12.size(), newest.size());
    EXPECT_NE(frame.colour_nv12, newest);
    ::close(file);
}

std::string raw_picture(int number) {
    const auto depth = test::sensor_depth(number);
    std::string bytes(depth.size() * 2, '\0');
    std::memcpy(bytes.data(), depth.data(), bytes.size());
    return bytes;
}

TEST_F(LiveReaderTest, RawPicturesComeAsTheyAre) {
    host::LiveReader::Setup given = setup();
    given.raw = host::parse_depth_format("raw:64x48@15");
    host::LiveReader reader(given);
    const int file = open_pipe();
    ASSERT_TRUE(send_all(file, raw_picture(7)));
    Taken taken;
    taken.until(reader, [&] { return !taken.times.empty(); });
    EXPECT_EQ(taken.last.media.depth_mm, test::sensor_depth(7));
    ::close(file);
}

// Raw pictures have no marks, so one that was cut must not shift those of the next sender, whether
// that came at once or later.
TEST_F(LiveReaderTest, ARawSenderThatWasKilledAmidAFrameShiftsNobody) {
    host::LiveReader::Setup given = setup();
    given.raw = host::parse_depth_format("raw:64x48@15");
    host::LiveReader reader(given);
    Taken taken;
    for (int sender = 0; sender < 8; ++sender) {
        const int file = open_pipe();
        const auto last = test::sensor_depth(sender);
        const auto limit = steady_clock::now() + kAges;
        while (taken.last.media.depth_mm != last) {
            ASSERT_LT(steady_clock::now(), limit);
            const auto frames = reader.figures().frames;
            ASSERT_TRUE(send_all(file, raw_picture(sender)));
            std::this_thread::sleep_for(std::chrono::milliseconds(67));  // as a camera does
            const auto all = taken.times.size();
            if (reader.figures().frames > frames)
                taken.until(reader, [&] { return taken.times.size() > all; });
        }
        ASSERT_TRUE(send_all(file, raw_picture(99).substr(0, 1001)));
        if (sender % 2 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ::close(file);
    }
}

int tcp_socket(std::uint16_t port, sockaddr_in& address) {
    address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::socket(AF_INET, SOCK_STREAM, 0);
}

// One that was free a moment ago.
std::uint16_t free_port() {
    sockaddr_in address;
    const int file = tcp_socket(0, address);
    socklen_t size = sizeof address;
    ::bind(file, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(file, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(file);
    return ntohs(address.sin_port);
}

TEST_F(LiveReaderTest, TcpSenderMayConnectAgainAndAgain) {
    const std::uint16_t port = free_port();
    host::LiveReader::Setup given = setup();
    given.address = "tcp://127.0.0.1:" + std::to_string(port) + "?listen";
    host::LiveReader reader(given);
    Taken taken;
    for (int sender = 1; sender <= 2; ++sender) {
        const auto limit = steady_clock::now() + kAges;
        while (reader.figures().frames < 4 * sender) {
            ASSERT_LT(steady_clock::now(), limit);
            sockaddr_in address;
            const int file = tcp_socket(port, address);
            if (::connect(file, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
                send_all(file, recording(5));
                ::close(file);
                const auto frames = taken.times.size();
                taken.until(reader, [&] { return taken.times.size() > frames; });
            } else {
                ::close(file);
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        }
    }
    EXPECT_GE(reader.figures().opened, 2);
}

TEST_F(LiveReaderTest, ConnectsOnceThereIsAServerAndLeavesASilentOne) {
    const std::uint16_t port = free_port();
    host::LiveReader::Setup given = setup();
    given.address = "tcp://127.0.0.1:" + std::to_string(port);
    host::LiveReader reader(given);
    sockaddr_in address;
    const int door = tcp_socket(port, address);
    const int on = 1;
    ::setsockopt(door, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    ASSERT_EQ(::bind(door, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(door, 1), 0);
    Taken taken;
    for (std::size_t sender = 1; sender <= 2; ++sender) {
        const int file = ::accept(door, nullptr, nullptr);  // the second time: it was given up
        ASSERT_GE(file, 0);
        send_all(file, recording(5));
        const auto frames = taken.times.size();
        taken.until(reader, [&] { return taken.times.size() > frames; });
        if (sender == 2) ::close(file);
    }
    taken.until(reader, [&] { return taken.count<host::InputGap>() == 1; });
    ::close(door);
}

// In each state of the stream: without a sender, before its first byte, amid a frame.
TEST_F(LiveReaderTest, StopsAtOnceInEveryState) {
    const std::string bytes = recording(5);
    for (const std::size_t sent :
         {std::size_t{0}, std::size_t{100}, bytes.size() / 2, bytes.size()}) {
        std::atomic<bool> stop{false};
        host::LiveReader::Setup given = setup();
        given.limits = {};
        given.stop = [&stop] { return stop.load(); };
        auto reader = std::make_unique<host::LiveReader>(given);
        const int file = open_pipe();
        ASSERT_TRUE(send_all(file, std::string_view(bytes).substr(0, sent)));
        if (sent > bytes.size() / 4) {
            Taken taken;
            taken.until(*reader, [&] { return !taken.times.empty(); });
        }
        stop = true;
        host::LiveFrame frame;
        host::InputNotice notice;
        EXPECT_EQ(reader->next(frame, notice), host::LiveReader::Came::kEnd);
        const auto start = steady_clock::now();
        reader.reset();
        EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(30));
        ::close(file);
    }
    auto without_sender = std::make_unique<host::LiveReader>(setup());
    without_sender.reset();
}

TEST_F(LiveReaderTest, ADeviceMayBeUnpluggedAndComeBack) {
    test::FakeDevice fake;
    host::LiveReader::Setup given = setup();
    given.address = "/dev/null";  // any device; the calls lead to another
    given.v4l2 = fake.calls();
    host::LiveReader reader(given);
    const auto info = reader.wait_opened();
    ASSERT_TRUE(info);
    EXPECT_EQ(info->width, 32);
    Taken taken;
    const auto take = [&](std::uint32_t sequence) {
        const auto frames = taken.times.size();
        fake.take(sequence);
        taken.until(reader, [&] { return taken.times.size() > frames; });
        EXPECT_EQ(taken.last.media.depth_mm.front(), sequence);
    };
    take(1000);
    take(1003);
    EXPECT_EQ(reader.figures().missing, 2);
    fake.gone = true;
    const auto limit = steady_clock::now() + kAges;
    const auto opened = reader.figures().opened;
    while (fake.open_files > 0 && steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    fake.gone = false;
    while (reader.figures().opened == opened && steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_GT(reader.figures().opened, opened);
    fake.take(1);
    taken.until(reader, [&] { return taken.count<host::InputGap>() == 1; });
    EXPECT_EQ(std::get<host::InputGap>(taken.notices.back()).why, "the device went away");
}

TEST(DepthFormat, IsReadWholeOrRefused) {
    EXPECT_FALSE(host::parse_depth_format(""));
    const auto raw = host::parse_depth_format("raw:640x480@29.97");
    ASSERT_TRUE(raw);
    EXPECT_EQ(raw->width, 640);
    EXPECT_EQ(raw->height, 480);
    EXPECT_DOUBLE_EQ(raw->frames_per_second, 29.97);
    for (const char* wrong :
         {"raw", "raw:640x480", "raw:640x480@", "raw:640x480@30 ", "raw:8x8@30", "raw:9000x480@30",
          "raw:640x480@0", "raw:640x480@nan", "nut", "raw:-64x48@15"})
        EXPECT_THROW(host::parse_depth_format(wrong), host::InputError) << wrong;
}

}  // namespace
