// Pipes whose senders follow each other.
#include "host/net/byte_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/base/input_error.h"
#include "tests/support/unique_folder.h"

namespace {

using host::ByteStream;
using State = ByteStream::State;
using std::chrono::steady_clock;

class PipeTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::signal(SIGPIPE, SIG_IGN);
        ASSERT_EQ(::mkfifo(pipe_.c_str(), 0600), 0);
        stream_ = std::make_unique<ByteStream>(
            pipe_.string(), [limit = steady_clock::now() + std::chrono::seconds(60)] {
                return steady_clock::now() > limit;
            });
    }

    int open_pipe() const { return ::open(pipe_.c_str(), O_WRONLY); }
    static void send(int file, std::string_view bytes) {
        ASSERT_EQ(::write(file, bytes.data(), bytes.size()), std::ssize(bytes));
    }
    ByteStream::Taken read(std::string& bytes) const {
        std::array<std::uint8_t, 100> buffer;
        const ByteStream::Taken taken = stream_->read(buffer.data(), buffer.size());
        bytes.assign(buffer.begin(), buffer.begin() + taken.bytes);
        return taken;
    }
    void expect(State state, const std::string& bytes) const {
        std::string got;
        EXPECT_EQ(read(got).state, state) << bytes;
        EXPECT_EQ(got, bytes);
    }

    const test::UniqueFolder folder_{"vca-pipe"};
    const std::filesystem::path pipe_ = folder_.path() / "pipe";
    std::unique_ptr<ByteStream> stream_;
};

TEST_F(PipeTest, GivesEachSenderToItsEnd) {
    for (const char* const bytes : {"one", "two", "three"}) {
        const int file = open_pipe();
        send(file, bytes);
        ::close(file);
        expect(State::kBytes, bytes);
        expect(State::kEnd, "");
        stream_->reopen();
    }
}

// The pipe itself shows no end between the two.
TEST_F(PipeTest, TellsWhenAnotherCameBeforeTheEndWasSeen) {
    const int first = open_pipe();
    send(first, "one");
    const int second = open_pipe();
    ::close(first);
    send(second, "two");
    expect(State::kMixed, "onetwo");
    send(second, "more");
    expect(State::kBytes, "more");
    ::close(second);
    expect(State::kEnd, "");
}

TEST_F(PipeTest, TellsWhenAnotherCameAfterTheLastBytesOfTheFirst) {
    const int first = open_pipe();
    send(first, "one");
    ::close(first);
    expect(State::kBytes, "one");
    const int second = open_pipe();
    send(second, "two");
    expect(State::kMixed, "two");
    ::close(second);
}

// As where something keeps the pipe open for all senders.
TEST_F(PipeTest, TellsWhenASenderLeavesAPipeThatIsKeptOpen) {
    const int keeper = open_pipe();
    const int first = open_pipe();
    send(first, "one");
    expect(State::kBytes, "one");
    ::close(first);
    const int second = open_pipe();
    send(second, "two");
    expect(State::kMixed, "two");
    ::close(second);
    ::close(keeper);
}

TEST_F(PipeTest, APipeMadeAnewIsAnEnd) {
    const int first = open_pipe();
    send(first, "one");
    expect(State::kBytes, "one");
    std::filesystem::remove(pipe_);
    ASSERT_EQ(::mkfifo(pipe_.c_str(), 0600), 0);
    expect(State::kEnd, "");
    stream_->reopen();
    const int second = open_pipe();
    send(second, "two");
    expect(State::kBytes, "two");
    ::close(first);
    ::close(second);
}

TEST(TcpStream, NamesAreLookedUp) {
    const auto never = [] { return false; };
    EXPECT_THROW(ByteStream("tcp://no-such-host.invalid:9", never), std::runtime_error);
    const auto at_once = [] { return true; };
    EXPECT_THROW(ByteStream("tcp://no-such-host.invalid:9", at_once), std::runtime_error);
}

TEST(ByteStreamAddress, NamesWhatItLeadsTo) {
    EXPECT_EQ(ByteStream::kind_of("-"), ByteStream::Kind::kStandardInput);
    EXPECT_EQ(ByteStream::kind_of("tcp://camera:7000"), ByteStream::Kind::kTcp);
    EXPECT_EQ(ByteStream::kind_of("tcp://[::1]:7000?listen"), ByteStream::Kind::kTcp);
    for (const char* wrong : {"", "tcp://", "tcp://camera", "tcp://:70", "tcp://camera:x",
                              "tcp://camera:?listen", "/", "/no/such/pipe", "http://camera:80"})
        EXPECT_THROW(ByteStream::kind_of(wrong), host::InputError) << wrong;
}

}  // namespace
