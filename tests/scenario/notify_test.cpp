// What a service tells the system's manager of services, and how its log looks to it.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "tests/scenario/service_fixture.h"

namespace {

using test::eventually;
using ::testing::HasSubstr;

class Notify : public test::Service {
  protected:
    Notify() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = (work_ / "notify").string();
        EXPECT_LT(path.size(), sizeof address.sun_path);
        path.copy(address.sun_path, path.size());
        EXPECT_EQ(::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
        ::setenv("WATCHDOG_USEC", "600000", 1);
        ::unsetenv("WATCHDOG_PID");
        write("vca.toml",
              "place = \"shop\"\n[[camera]]\nname = \"door\"\nscene = \"doorway\"\n"
              "[[camera]]\nname = \"away\"\ndepth = \"tcp://127.0.0.1:1\"\n");
    }
    ~Notify() override { ::close(socket_); }

    // What has come since, in its order.
    const std::vector<std::string>& told() {
        std::array<char, 4096> text{};
        for (ssize_t size = 0; (size = ::recv(socket_, text.data(), text.size(), 0)) > 0;)
            told_.emplace_back(text.data(), static_cast<std::size_t>(size));
        return told_;
    }
    std::size_t times(const std::string& message) {
        const std::vector<std::string>& all = told();
        return static_cast<std::size_t>(std::count(all.begin(), all.end(), message));
    }
    bool comes_again(const std::string& message) {
        const std::size_t before = times(message);
        return eventually([&] { return times(message) > before + 1; });
    }
    // Whoever listens has to go on listening: the manager's messages wait for each other.
    bool is_logged(const std::string& part) {
        return eventually([&] {
            told();
            return err().find(part) != std::string::npos;
        });
    }
    // Nothing of it for many times as long as it takes to come.
    bool stays_away(const std::string& message) {
        return eventually([&] {
            const std::size_t before = times(message);
            std::this_thread::sleep_for(std::chrono::seconds(3));
            return times(message) == before;
        });
    }

    int socket_;
    std::vector<std::string> told_;
};

TEST_F(Notify, ReadyWhenItsCamerasHaveToldAndThenThatItIsAlive) {
    start();
    ASSERT_TRUE(eventually([this] { return times("READY=1") == 1; })) << err();
    EXPECT_FALSE(cameras().empty());
    EXPECT_TRUE(comes_again("WATCHDOG=1"));
    EXPECT_TRUE(eventually([this] {
        const auto& all = told();
        return std::any_of(all.begin(), all.end(), [](const std::string& text) {
            return text.starts_with("STATUS=failed: away: ");
        });
    })) << "the camera that is not there";
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(times("STOPPING=1"), 1u);
    EXPECT_EQ(times("READY=1"), 1u);
}

TEST_F(Notify, ACameraThatHangsIsNotTheService) {
    start();
    ASSERT_TRUE(eventually([this] { return times("READY=1") == 1; })) << err();
    for (const pid_t camera : cameras())
        ::kill(camera, SIGSTOP);
    EXPECT_TRUE(comes_again("WATCHDOG=1"));
    EXPECT_TRUE(is_logged("and was ended"));
    EXPECT_TRUE(comes_again("WATCHDOG=1"));
    EXPECT_EQ(stop(), 0);
}

// Whoever is to read its log does not, so that the next line of it holds the loop up.
TEST_F(Notify, AServiceThatIsStuckIsNotAlive) {
    ASSERT_EQ(::mkfifo((work_ / "err.txt").c_str(), 0600), 0);
    const int log = ::open((work_ / "err.txt").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(log, 0);
    const auto empty = [log] {
        std::array<char, 65536> bytes{};
        while (::read(log, bytes.data(), bytes.size()) > 0) {
        }
    };
    start();
    ASSERT_TRUE(eventually([&] {
        empty();
        return times("READY=1") == 1;
    }));
    EXPECT_TRUE(comes_again("WATCHDOG=1"));
    while (::write(log, "x", 1) > 0) {
    }
    write("vca.toml", "place = \"\"\n");
    EXPECT_TRUE(stays_away("WATCHDOG=1"));
    empty();
    EXPECT_TRUE(comes_again("WATCHDOG=1"));
    ::kill(service_, SIGTERM);
    EXPECT_TRUE(eventually([&] {
        empty();
        return times("STOPPING=1") == 1;
    }));
    EXPECT_EQ(end_of(std::exchange(service_, 0)), 0);
    ::close(log);
}

TEST_F(Notify, LinesHavePrioritiesWhereTheJournalReadsThem) {
    // The file is the test's own, so that it is known beforehand which it is.
    write("err.txt", "");
    struct stat file {};
    ASSERT_EQ(::stat((work_ / "err.txt").c_str(), &file), 0);
    const std::string stream = std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
    ::setenv("JOURNAL_STREAM", stream.c_str(), 1);
    start();
    ASSERT_TRUE(is_logged("<6>door: counts\n")) << err();
    write("vca.toml", "place = \"\"\n");
    ASSERT_TRUE(is_logged("what was set before stays"));
    EXPECT_THAT(err(), HasSubstr("<4>\"vca.toml\" line 1: "));
    for (const pid_t camera : cameras())
        ::kill(camera, SIGKILL);
    EXPECT_TRUE(is_logged("<3>door: the camera's process ended with signal 9"));
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(vca("serve --config vca.toml").err.substr(0, 8), "<3>vca: ");
    ::setenv("JOURNAL_STREAM", "1:1", 1);
    EXPECT_EQ(vca("serve --config vca.toml").err.substr(0, 5), "vca: ");
    ::unsetenv("JOURNAL_STREAM");
}

}  // namespace
