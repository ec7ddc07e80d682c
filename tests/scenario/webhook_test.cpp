// What a service tells a receiver of webhooks, whatever happens to either.
#include <algorithm>
#include <cstdlib>
#include <set>

#include "host/store/subscription.h"
#include "tests/scenario/service_fixture.h"
#include "tests/support/fake_receiver.h"

namespace {

using Json = nlohmann::json;
using test::eventually;
using test::FakeReceiver;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kDoor = "[[line]]\nname = \"door\"\npoints = [[310, 272], [650, 272]]\n";
constexpr const char* kKey = "whsec_bm90LXRvLWJlLXNob3duLW5vdC10by1iZS1zaG93bg==";
constexpr const char* kOtherKey = "whsec_YW5vdGhlci1rZXktYW5vdGhlci1rZXktYW5vdGhlcg==";

class Webhooks : public test::Service {
  protected:
    ~Webhooks() override {
        if (service_ > 0) stop();
    }

    void place(const std::string& more = "") {
        std::filesystem::create_directories(work_ / "cameras");
        std::filesystem::create_directories(work_ / "store");
        write("vca.toml",
              "place = \"shop\"\ntime_zone = \"UTC\"\n[[camera]]\nname = \"door\"\n"
              "scene = \"doorway\"\n" +
                  more);
        write("cameras/door.toml", kDoor);
    }
    std::string hook(const std::string& more = "") const {
        return "[[webhook]]\nname = \"erp\"\nurl = \"" + receiver_.url() +
               "?token=not-to-be-shown\"\nsecret_file = \"erp.key\"\n" + more;
    }
    // Of the camera's events, as they were confirmed.
    std::vector<std::int64_t> sequences() const {
        std::vector<std::int64_t> list;
        for (const auto& one : receiver_.taken()) {
            const Json event = Json::parse(one.body)["data"]["event"];
            if (event["device"] == "door") list.push_back(event["sequence"]);
        }
        return list;
    }
    void expect_all(std::int64_t so_far) const {
        ASSERT_TRUE(eventually([&] {
            const auto events = sequences();
            return std::set(events.begin(), events.end()).size() >=
                   static_cast<std::size_t>(so_far);
        })) << err();
        std::int64_t newest = 0;
        for (const std::int64_t each : sequences()) {
            EXPECT_LE(each, newest + 1) << "one before it is missing";
            newest = std::max(newest, each);
        }
    }
    // Beside the service, whose words stay.
    std::string status() const {
        const std::string file = (work_ / "status.txt").string();
        const std::string command =
            "cd '" + work_.string() + "' && '" VCA_PROGRAM "' status --config vca.toml";
        if (std::system((command + " > '" + file + "'").c_str()) < 0) return "";
        return test::read_file(file);
    }
    bool until_status(const std::string& part) const {
        return eventually([&] { return status().find(part) != std::string::npos; });
    }

    FakeReceiver receiver_;
};

TEST_F(Webhooks, NothingIsMissedByAReceiverThatFailsAndAServiceThatIsKilled) {
    place(hook());
    write("erp.key", std::string(kKey) + "\n");
    count(3000);
    // One that was set up before anything was counted.
    host::Subscription({database("door"), "webhook:erp"}).save();
    receiver_.answer(500);
    start();
    ASSERT_TRUE(until_status("webhook \"erp\": 127.0.0.1 answers with status 500; messages wait"))
        << status();
    receiver_.answer(200);
    for (const std::size_t there : {500U, 1500U, 2500U}) {
        ::kill(service_, SIGKILL);
        end_of(service_);
        ASSERT_TRUE(eventually([&] { return cameras().empty(); }));
        start();
        ASSERT_TRUE(eventually([&] { return receiver_.taken_so_far() >= there; })) << err();
    }
    ASSERT_TRUE(eventually([&] { return counted() > 3003; })) << err();
    expect_all(counted());
    EXPECT_TRUE(eventually([&] { return status().find("webhook") == std::string::npos; }));
    EXPECT_EQ(stop(), 0);
    EXPECT_THAT(err() + out(), Not(HasSubstr("not-to-be-shown")));
    EXPECT_THAT(err() + out(), Not(HasSubstr("whsec_")));
}

TEST_F(Webhooks, AreTakenOverAndEndedAndBeginAgainWhileTheServiceRuns) {
    place();
    start();
    ASSERT_TRUE(eventually([&] { return counted() > 0; })) << err();
    place(hook());
    ASSERT_TRUE(until_status("the secret file \"")) << status() << err();
    EXPECT_THAT(err(), HasSubstr("webhook \"erp\" is not sent: \"vca.toml\" line 6"));
    receiver_.answer(410);
    write("erp.key", std::string(kKey) + "\n");
    ASSERT_TRUE(until_status("wants no more messages (status 410)")) << status() << err();
    receiver_.answer(200);
    write("erp.key", std::string(kOtherKey) + "\n");
    ASSERT_TRUE(eventually([&] { return receiver_.taken_so_far() > 2; })) << err();
    EXPECT_TRUE(eventually([&] { return status().find("webhook") == std::string::npos; }));
    const auto events = sequences();
    for (std::size_t i = 1; i < events.size(); ++i)
        EXPECT_EQ(events[i], events[i - 1] + 1);
    // One that is gone waits for nothing.
    place();
    EXPECT_TRUE(
        eventually([&] { return number("door", "SELECT count(*) + 1 FROM cursors") == 1; }));
    EXPECT_EQ(stop(), 0);
}

}  // namespace
