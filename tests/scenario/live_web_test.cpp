// What a camera sees, live over HTTP, as a page or a program asks for it.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "host/net/http_client.h"
#include "tests/scenario/service_fixture.h"

namespace {

using test::eventually;
using ::testing::StartsWith;
using namespace std::chrono_literals;
using Json = nlohmann::json;

int socket_to(std::uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
    const timeval ages{60, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &ages, sizeof ages);
    return socket;
}

// A page's stream, read event by event.
class Stream {
  public:
    Stream(std::uint16_t port, const std::string& query) : socket_(socket_to(port)) {
        const std::string ask = "GET /api/v1/live" + query +
                                " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n";
        ::send(socket_, ask.data(), ask.size(), MSG_NOSIGNAL);
    }
    ~Stream() { ::close(socket_); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // The data of the next event of this name; nothing at the end of the stream.
    std::optional<Json> next(const std::string& name) {
        while (true) {
            const std::size_t end = text_.find("\n\n");
            if (end == std::string::npos) {
                char part[65536];
                const ssize_t got = ::recv(socket_, part, sizeof part, 0);
                if (got <= 0) return std::nullopt;
                text_.append(part, static_cast<std::size_t>(got));
                continue;
            }
            const std::string event = text_.substr(0, end);
            text_.erase(0, end + 2);
            const std::size_t data = event.find("data: ");
            if (event.find("event: " + name + "\n") != std::string::npos)
                return Json::parse(event.substr(data + 6));
        }
    }

  private:
    int socket_;
    std::string text_;
};

class LiveWeb : public test::Service {
  protected:
    void run(const std::string& camera = "") {
        port_ = free_port();
        write("vca.toml",
              "place = \"shop\"\ntime_zone = \"UTC\"\n[[camera]]\nname = \"door\"\n"
              "scene = \"doorway\"\n" +
                  camera + "[web]\nport = " + std::to_string(port_) + "\n");
        start();
        ASSERT_TRUE(eventually([&] { return status().value("state", "") == "online"; })) << err();
    }
    std::string path(const std::string& what) const {
        return "http://127.0.0.1:" + std::to_string(port_) + "/api/v1/cameras/door/" + what;
    }
    Json status() const {
        try {
            return Json::parse(host::http_get(path("status"), 60s).body);
        } catch (const std::exception&) {
            return Json::object();
        }
    }
    // Each frame that is told can be had, with its own number; those that a slow machine lets go
    // are followed by others.
    void expect_pictures(Stream& stream, int pictures) const {
        std::int64_t last = -1;
        for (int had = 0; had < pictures;) {
            const auto frame = stream.next("frame");
            ASSERT_TRUE(frame.has_value()) << err();
            const std::int64_t number = frame->at("frame");
            EXPECT_GT(number, last);
            last = number;
            const auto picture =
                host::http_get(path("picture?frame=" + std::to_string(number)), 60s);
            if (picture.status == 404) continue;
            ++had;
            EXPECT_THAT(picture.body, StartsWith("\xff\xd8"));
            EXPECT_EQ(picture.type, "image/jpeg");
        }
    }
    static std::uint16_t free_port() {
        const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        ::bind(socket, reinterpret_cast<sockaddr*>(&address), size);
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
        ::close(socket);
        return ntohs(address.sin_port);
    }

    std::uint16_t port_ = 0;
};

TEST_F(LiveWeb, FramesHavePicturesForAllWhoWatch) {
    run();
    Stream one(port_, "?camera=door");
    Stream two(port_, "?camera=door");
    Stream none(port_, "");
    // Somebody who takes nothing.
    const Stream slow(port_, "?camera=door");
    expect_pictures(one, 5);
    expect_pictures(two, 5);
    // People come by.
    EXPECT_TRUE(eventually([&] {
        const auto frame = one.next("frame");
        return frame && !frame->at("people").empty() &&
               frame->at("people")[0].at("trail").size() > 3;
    }));
    const auto newest = host::http_get(path("picture"), 60s);
    EXPECT_EQ(newest.status, 200) << newest.body;
    EXPECT_EQ(host::http_get(path("picture?frame=999999999"), 60s).status, 404);
    EXPECT_EQ(host::http_get(path("picture?frame=x"), 60s).status, 400);
    EXPECT_EQ(stop(), 0);
    const auto bye = one.next("bye");
    ASSERT_TRUE(bye.has_value());
    EXPECT_EQ(bye->at("why"), "restart");
    EXPECT_FALSE(none.next("frame").has_value()) << "it had asked for none";
    // Whoever comes back after a restart sees the camera again.
    start();
    ASSERT_TRUE(eventually([&] { return status().value("state", "") == "online"; })) << err();
    Stream back(port_, "?camera=door");
    expect_pictures(back, 2);
    EXPECT_EQ(stop(), 0);
}

TEST_F(LiveWeb, APictureIsMadeForWhoeverAsksForOne) {
    run("picture = \"colour\"\n");
    EXPECT_TRUE(eventually([&] {
        return host::http_get(path("picture"), 60s).body.starts_with("\xff\xd8");
    })) << err();
    EXPECT_EQ(stop(), 0);
}

TEST_F(LiveWeb, AStreamOutlivesItsCamera) {
    run();
    Stream stream(port_, "?camera=door");
    const auto before = stream.next("frame");
    ASSERT_TRUE(before.has_value());
    const std::set<pid_t> processes = cameras();
    ASSERT_EQ(processes.size(), 1U);
    ::kill(*processes.begin(), SIGKILL);
    ASSERT_TRUE(eventually([&] { return cameras().size() == 1 && cameras() != processes; }));
    expect_pictures(stream, 3);
    EXPECT_EQ(stop(), 0);
}

TEST_F(LiveWeb, HowACameraHangsIsMeasuredAgainWhileItCounts) {
    run();
    const auto measured = [&] {
        const Json now = status();
        return now.contains("measuring") && now["measuring"].is_null() &&
               now["floor_mm"].is_number();
    };
    EXPECT_TRUE(eventually(measured)) << status();
    EXPECT_NEAR(status()["floor_mm"].get<double>(), 3000.0, 30.0);
    EXPECT_EQ(status()["height_from"], "source");
    EXPECT_EQ(status()["width"], 480);
    const int socket = socket_to(port_);
    const std::string ask =
        "POST /api/v1/cameras/door/measure HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
        "\r\nContent-Type: application/json\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    ::send(socket, ask.data(), ask.size(), MSG_NOSIGNAL);
    char answer[64]{};
    EXPECT_GT(::recv(socket, answer, sizeof answer - 1, 0), 0);
    ::close(socket);
    EXPECT_THAT(std::string(answer), StartsWith("HTTP/1.1 202"));
    EXPECT_TRUE(eventually([&] { return status().value("measuring", Json()).is_number(); }));
    const std::int64_t counted = crossings("door");
    EXPECT_TRUE(eventually(measured)) << status();
    EXPECT_TRUE(eventually([&] { return crossings("door") > counted; })) << err();
    EXPECT_EQ(stop(), 0);
    expect_exact("door");
}

}  // namespace
