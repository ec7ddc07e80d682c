// The service over HTTP, as a user runs it.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "host/net/http_client.h"
#include "tests/support/program.h"

namespace {

using test::eventually;
using ::testing::AllOf;
using ::testing::HasSubstr;

class Web : public test::Program {
  protected:
    ~Web() override {
        if (service_ > 0) stop();
    }
    void start() {
        port_ = free_port();
        write("vca.toml",
              "place = \"shop\"\ntime_zone = \"UTC\"\n"
              "[[camera]]\nname = \"door\"\nscene = \"doorway\"\n"
              "[[entrance]]\ncamera = \"door\"\nline = \"door\"\n"
              "[web]\nmetrics = \"open\"\nport = " +
                  std::to_string(port_) + "\n");
        service_ = start_vca("serve --config vca.toml");
    }
    int stop() {
        ::kill(service_, SIGTERM);
        return end_of(std::exchange(service_, 0));
    }
    std::string url(const std::string& path = "") const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    // Nothing while nobody answers.
    std::string get(const std::string& path) const {
        try {
            return host::http_get(url(path), std::chrono::seconds(60)).body;
        } catch (const std::runtime_error&) {
            return {};
        }
    }

    // Free a moment ago.
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

    pid_t service_ = 0;
    std::uint16_t port_ = 0;
};

TEST_F(Web, TellsHealthAndCounts) {
    start();
    EXPECT_TRUE(eventually([&] { return get("/healthz").find("\"ok\"") != std::string::npos; }))
        << get("/healthz") << err();
    EXPECT_EQ(vca("status --url " + url()).status, 0);
    const auto counted = [&] {
        const test::Outcome counts =
            vca("counts --store store/door.db --time-zone UTC --format json");
        if (counts.status != 0) return 0;
        return nlohmann::json::parse(counts.out)[0]["adult"].get<int>();
    };
    EXPECT_TRUE(eventually([&] { return counted() > 0; })) << err();
    const std::string metrics = get("/metrics");
    EXPECT_THAT(metrics, AllOf(HasSubstr("vca_crossings_total{place=\"shop\",camera=\"door\","
                                         "line=\"door\",direction=\"1\",kind=\"adult\"}"),
                               HasSubstr("vca_occupancy_people{place=\"shop\",area=\"place\"}"),
                               HasSubstr("vca_database_unreadable{place=\"shop\","
                                         "camera=\"door\"} 0")));
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(vca("status --url " + url()).status, 1) << "nobody answers any more";
}

TEST_F(Web, TheFirstStartTellsHowToLogIn) {
    start();
    EXPECT_TRUE(eventually([&] { return out().find("one-time password") != std::string::npos; }))
        << out() << err();
    EXPECT_THAT(out(), HasSubstr("the page: " + url("/") +
                                 "\nlog in as admin with the one-time "
                                 "password "));
    const std::string session = get("/api/v1/session");
    EXPECT_THAT(session, HasSubstr("\"first_start\":true"));
    EXPECT_THAT(get("/api/v1/users"), HasSubstr("Please log in."));
    const test::Outcome reset = vca("users reset admin");
    EXPECT_EQ(reset.status, 0) << reset.err;
    EXPECT_THAT(reset.out, ::testing::StartsWith("one-time password of admin: "));
    expect_refused("users reset nobody", HasSubstr("known are admin"), "none");
}

TEST_F(Web, APortThatIsTakenIsWrongInput) {
    start();
    EXPECT_TRUE(eventually([&] { return !get("/healthz").empty(); })) << err();
    std::filesystem::create_directories(work_ / "two");
    std::filesystem::copy_file(work_ / "vca.toml", work_ / "two/vca.toml");
    const test::Outcome second = vca("serve --config two/vca.toml");
    EXPECT_EQ(second.status, 2);
    EXPECT_THAT(second.err, HasSubstr("cannot listen on 127.0.0.1 port"));
}

}  // namespace
