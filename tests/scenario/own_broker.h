// A mosquitto of the test's own: one port for the service, which may ask for a password and
// encrypt, and one on which the test reads along.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "host/net/broker_process.h"
#include "host/net/mqtt_client.h"
#include "tests/support/certificate.h"
#include "tests/support/program.h"

namespace test {

class OwnBroker {
  public:
    enum class Tls { kNone, kOwn, kBoth };  // who shows a certificate

    explicit OwnBroker(std::filesystem::path folder, Tls tls = Tls::kNone)
        : folder_(std::move(folder)),
          port_(host::free_loopback_port()),
          reading_port_(host::free_loopback_port()) {
        while (reading_port_ == port_)
            reading_port_ = host::free_loopback_port();
        std::filesystem::create_directories(folder_);
        std::ofstream file(folder_ / "broker.conf");
        file << "per_listener_settings true\nmax_queued_messages 0\nuser root\n"
             << "listener " << reading_port_ << " 127.0.0.1\nallow_anonymous true\n"
             << "listener " << port_ << " 127.0.0.1\npassword_file " << (folder_ / "pw").string()
             << "\n";
        if (tls != Tls::kNone) {
            make_certificate(folder_, "broker");
            make_certificate(folder_, "other");
            make_certificate(folder_, "client");
            file << "certfile " << certificate() << "\nkeyfile "
                 << (folder_ / "broker.key").string() << "\n";
        }
        if (tls == Tls::kBoth)
            file << "cafile " << path("client.pem") << "\nrequire_certificate true\n";
        std::ofstream(folder_ / "pw").close();
    }
    ~OwnBroker() { end(SIGKILL); }
    OwnBroker(const OwnBroker&) = delete;
    OwnBroker& operator=(const OwnBroker&) = delete;

    int port() const { return port_; }
    int reading_port() const { return reading_port_; }
    std::string certificate() const { return path("broker.pem"); }
    std::string other_certificate() const { return path("other.pem"); }
    // The keys by which a client shows one: that which the broker trusts, or another.
    std::string client_certificate(const std::string& name = "client") const {
        return "certificate = \"" + path(name + ".pem") + "\"\nkey = \"" + path(name + ".key") +
               "\"\n";
    }

    // Nobody knows the password until then.
    void admit(const std::string& user, const std::string& password) {
        run("mosquitto_passwd -b '" + (folder_ / "pw").string() + "' " + user + " " + password);
        signal(SIGHUP);
    }
    void admit_nobody() {
        std::ofstream(folder_ / "pw").close();
        signal(SIGHUP);
    }
    void start() {
        id_ = ::fork();
        if (id_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const std::string log = (folder_ / "broker.log").string();
            [[maybe_unused]] const auto out = std::freopen(log.c_str(), "a", stderr);
            const std::string file = (folder_ / "broker.conf").string();
            ::execl("/usr/sbin/mosquitto", "mosquitto", "-c", file.c_str(), nullptr);
            ::_exit(127);
        }
    }
    void end(int signal_number) {
        if (id_ <= 0) return;
        ::kill(id_, SIGCONT);
        ::kill(id_, signal_number);
        ::waitpid(std::exchange(id_, 0), nullptr, 0);
    }
    void signal(int number) const {
        if (id_ > 0) ::kill(id_, number);
    }

  private:
    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    static void run(const std::string& command) {
        EXPECT_EQ(std::system((command + " >/dev/null 2>&1").c_str()), 0) << command;
    }

    const std::filesystem::path folder_;
    const int port_;
    int reading_port_;
    pid_t id_ = 0;
};

// Everything that comes under a place's topics and that Home Assistant is told.
class Reader {
  public:
    explicit Reader(const OwnBroker& broker)
        : client_(settings(broker), {"vca/#", "homeassistant/device/#"}, {},
                  {[this](const host::MqttMessage& message) { take(message); }, {}, {}}) {}

    bool connected() const { return client_.connected(); }
    void send(const std::string& topic, const std::string& text) {
        EXPECT_TRUE(client_.publish({topic, host::as_payload(text), 1, false, {}}));
    }
    // The last message under a topic; null for none.
    nlohmann::json last(const std::string& topic) const {
        return nlohmann::json::parse(last_text(topic), nullptr, false);
    }
    std::string last_text(const std::string& topic) const {
        const std::lock_guard lock(mutex_);
        const auto found = last_.find(topic);
        return found == last_.end() ? "null" : found->second;
    }
    // The numbers of a camera's events, as they came.
    std::vector<std::int64_t> events() const {
        const std::lock_guard lock(mutex_);
        return events_;
    }

  private:
    static host::MqttSettings settings(const OwnBroker& broker) {
        host::MqttSettings settings;
        settings.port = broker.reading_port();
        settings.client_id = "reader";
        settings.reconnect_first_s = 0.02;
        settings.reconnect_longest_s = 0.1;
        return settings;
    }
    void take(const host::MqttMessage& message) {
        const std::string text(message.payload.begin(), message.payload.end());
        const std::lock_guard lock(mutex_);
        last_[std::string(message.topic)] = text;
        if (message.topic == "vca/shop/door/event")
            events_.push_back(nlohmann::json::parse(text)["sequence"].get<std::int64_t>());
    }

    mutable std::mutex mutex_;
    std::map<std::string, std::string> last_;
    std::vector<std::int64_t> events_;
    host::MqttClient client_;
};

}  // namespace test
