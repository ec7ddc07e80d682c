// A place that publishes to a broker of the test's own, which is not there yet.
#pragma once

#include <algorithm>
#include <memory>
#include <set>
#include <string>

#include "tests/scenario/own_broker.h"
#include "tests/scenario/service_fixture.h"

namespace test {

class Publish : public Service {
  public:
    static constexpr const char* kDoor =
        "[[line]]\nname = \"door\"\npoints = [[310, 272], [650, 272]]\n";
    static constexpr const char* kSecond =
        "[[line]]\nname = \"inner\"\npoints = [[310, 220], [650, 220]]\n";

  protected:
    ~Publish() override {
        if (service_ > 0) stop();
    }

    void place(const std::string& more = "", int port = 0) {
        std::filesystem::create_directories(work_ / "cameras");
        std::filesystem::create_directories(work_ / "store");
        write("vca.toml",
              "place = \"shop\"\ntime_zone = \"UTC\"\n[[camera]]\nname = \"door\"\n"
              "scene = \"doorway\"\n" +
                  camera_ +
                  "[[area]]\nname = \"hall\"\n[[entrance]]\ncamera = \"door\"\n"
                  "line = \"door\"\n[mqtt]\nport = " +
                  std::to_string(port != 0 ? port : broker_->port()) +
                  "\nuser = \"counter\"\npassword_file = \"pw.txt\"\n" + more);
        write("cameras/door.toml", std::string(kDoor) + kSecond);
        write("pw.txt", "not-to-be-shown\n");
    }
    void admit() const { broker_->admit("counter", "not-to-be-shown"); }
    void open_broker() {
        broker_->start();
        reader_ = std::make_unique<Reader>(*broker_);
        ASSERT_TRUE(eventually([&] { return reader_->connected(); }));
    }
    // All so far, each one, and in their order; what comes twice comes again.
    void expect_all(std::int64_t so_far) const {
        ASSERT_TRUE(eventually([&] {
            const auto events = reader_->events();
            return std::set(events.begin(), events.end()).size() >=
                   static_cast<std::size_t>(so_far);
        })) << err();
        std::int64_t newest = 0;
        for (const std::int64_t number : reader_->events()) {
            EXPECT_LE(number, newest + 1) << "one before it is missing";
            newest = std::max(newest, number);
        }
        EXPECT_GE(newest, so_far);
    }

    std::string camera_;  // more of it
    std::unique_ptr<OwnBroker> broker_ = std::make_unique<OwnBroker>(work_ / "broker");
    std::unique_ptr<Reader> reader_;
};

}  // namespace test
