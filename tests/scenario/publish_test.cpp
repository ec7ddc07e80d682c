// What a service publishes to a real broker, whatever happens to either.
#include <algorithm>
#include <chrono>
#include <thread>

#include "tests/scenario/ack_proxy.h"
#include "tests/scenario/publish_fixture.h"

namespace {

using Json = nlohmann::json;
using test::eventually;
using test::Publish;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kDoor = Publish::kDoor;
constexpr const char* kSecond = Publish::kSecond;

TEST_F(Publish, ABrokerThatIsAwayAndRefusesAndComesBackMissesNothing) {
    place();
    count(3000);
    start();
    ASSERT_TRUE(eventually([&] { return counted() > 3000; })) << err();
    EXPECT_THAT(err(), HasSubstr("door: no connection to the broker at 127.0.0.1:"));
    open_broker();
    ASSERT_TRUE(eventually([&] {
        return err().find("uthorized") != std::string::npos ||
               err().find("uthoris") != std::string::npos;
    })) << err();
    EXPECT_TRUE(reader_->events().empty());
    admit();
    expect_all(counted());
    // A while without it, and again the password is refused at first: the reader is there before.
    broker_->admit_nobody();
    broker_->end(SIGTERM);
    const std::int64_t before = counted();
    ASSERT_TRUE(eventually([&] { return counted() > before + 3; }));
    broker_->start();
    ASSERT_TRUE(eventually([&] { return reader_->connected(); }));
    admit();
    expect_all(counted());
    EXPECT_THAT(err() + out(), Not(HasSubstr("not-to-be-shown")));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Publish, ASlowBrokerMissesNothing) {
    place();
    count(4000);
    open_broker();
    admit();
    start();
    for (int i = 0; i < 400 && reader_->events().size() < 4000; ++i) {
        broker_->signal(SIGSTOP);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        broker_->signal(SIGCONT);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    expect_all(counted());
    EXPECT_EQ(stop(), 0);
}

TEST_F(Publish, AServiceThatIsKilledGoesOnAndIsMissed) {
    place();
    count(3000);
    open_broker();
    admit();
    start();
    const auto status = [&] { return reader_->last_text("vca/shop/door/status"); };
    for (int round = 1; round <= 3; ++round) {
        const std::size_t there = static_cast<std::size_t>(round) * 900;
        ASSERT_TRUE(eventually([&] { return reader_->events().size() >= there; })) << err();
        ::kill(service_, SIGKILL);
        end_of(service_);
        ASSERT_TRUE(eventually([&] { return cameras().empty(); }));
        EXPECT_TRUE(eventually([&] { return status() == "offline"; })) << "its will";
        start();
    }
    expect_all(counted());
    ASSERT_TRUE(eventually([&] { return status() == "online"; })) << err();
    EXPECT_EQ(stop(), 0);
    EXPECT_TRUE(eventually([&] { return status() == "stopped"; }));
}

TEST_F(Publish, HowThingsStandAndWhatHomeAssistantHears) {
    place();
    count(5);
    open_broker();
    admit();
    start();
    const std::string base = "vca/shop/door/";
    ASSERT_TRUE(eventually([&] { return crossings("door") > 6; })) << err();
    const auto config = [&] { return reader_->last("homeassistant/device/vca_shop_door/config"); };
    ASSERT_TRUE(eventually([&] { return config().is_object(); })) << err();
    EXPECT_EQ(config()["cmps"]["door_in"]["stat_t"], base + "line/door");
    EXPECT_EQ(config()["cmps"]["inner_out"]["stat_t"], base + "line/inner");
    EXPECT_EQ(config()["avty"][0]["t"], base + "status");
    const Json place_config = reader_->last("homeassistant/device/vca_shop_place/config");
    EXPECT_EQ(place_config["cmps"]["hall_inside"]["stat_t"], "vca/shop/occupancy/hall");
    EXPECT_TRUE(eventually([&] { return reader_->last(base + "health")["problem"] == "OFF"; }))
        << reader_->last_text(base + "health");
    EXPECT_TRUE(reader_->last("vca/shop/occupancy/hall").contains("inside"));
    ASSERT_TRUE(eventually([&] {
        const Json line = reader_->last(base + "line/door");
        return line.is_object() &&
               line["in"] == number("door",
                                    "SELECT sum(adult+child+staff) FROM totals JOIN "
                                    "places ON places.id = place WHERE name = 'door' AND "
                                    "direction = 1");
    }));
    // A line that is taken away, and one whose directions get names.
    write("cameras/door.toml", std::string(kDoor) + "directions = [\"hinein\", \"hinaus\"]\n");
    EXPECT_TRUE(eventually([&] { return config()["cmps"]["door_in"]["name"] == "Door hinein"; }))
        << config();
    EXPECT_EQ(reader_->last(base + "line/door")["names"]["out"], "hinaus");
    ASSERT_TRUE(eventually([&] {
        return config()["cmps"]["inner_out"] == Json{{"p", "sensor"}};
    })) << config();
    EXPECT_TRUE(eventually([&] { return reader_->last_text(base + "line/inner").empty(); }));
    EXPECT_EQ(config()["cmps"]["door_in"]["stat_t"], base + "line/door");
    EXPECT_EQ(stop(), 0);
}

TEST_F(Publish, AnAreaIsResetWhereThatIsPermitted) {
    place();
    open_broker();
    admit();
    start();
    const auto hall = [&] { return reader_->last("vca/shop/occupancy/hall"); };
    const auto wish = [&] { reader_->send("vca/shop/occupancy/hall/reset", "reset"); };
    ASSERT_TRUE(eventually([&] { return hall().is_object() && hall()["in"] > 0; })) << err();
    wish();
    place("allow_reset = true\n");
    ASSERT_TRUE(eventually([&] {
        const Json config = reader_->last("homeassistant/device/vca_shop_place/config");
        return config.is_object() && config["cmps"].contains("hall_reset");
    })) << err();
    EXPECT_EQ(hall()["removed"], 0) << "it was not permitted";
    // Until somebody is inside.
    ASSERT_TRUE(eventually([&] {
        wish();
        return hall()["removed"] != 0;
    })) << err();
    EXPECT_THAT(err(), HasSubstr("area \"hall\" is set to nobody inside, on request"));
    const Json told = hall();
    const auto number_of = [&told](const char* key) { return told[key].get<std::int64_t>(); };
    const Json counts = Json::parse(vca("counts --config vca.toml --inside --format json").out);
    EXPECT_EQ(counts[0]["area"], "hall");
    EXPECT_EQ(counts[0]["removed"], number_of("removed")) << counts;
    EXPECT_EQ(number_of("inside"),
              std::max<std::int64_t>(0, number_of("in") - number_of("out") - number_of("removed")));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Publish, EncryptsAndTrustsOnlyItsBroker) {
    broker_ = std::make_unique<test::OwnBroker>(work_ / "broker", test::OwnBroker::Tls::kOwn);
    place("tls = true\nca_file = \"" + broker_->other_certificate() + "\"\n");
    count(100);
    open_broker();
    admit();
    start();
    ASSERT_TRUE(
        eventually([&] { return err().find("no connection to the broker") != std::string::npos; }));
    EXPECT_TRUE(reader_->events().empty());
    place("tls = true\nca_file = \"" + broker_->certificate() + "\"\n");
    expect_all(100);
    EXPECT_EQ(stop(), 0);
}

TEST_F(Publish, ShowsItsCertificateToABrokerThatWantsOne) {
    broker_ = std::make_unique<test::OwnBroker>(work_ / "broker", test::OwnBroker::Tls::kBoth);
    const std::string tls = "tls = true\nca_file = \"" + broker_->certificate() + "\"\n";
    place(tls);
    count(100);
    open_broker();
    admit();
    start();
    const auto refusals = [&] {
        const std::string log = err();
        int found = 0;
        for (std::size_t at = 0;
             (at = log.find("no connection to the broker", at)) != std::string::npos; ++at)
            ++found;
        return found;
    };
    ASSERT_TRUE(eventually([&] { return refusals() > 0; })) << err();
    EXPECT_TRUE(reader_->events().empty()) << "it has shown none";
    const int before = refusals();
    place(tls + broker_->client_certificate("other"));
    ASSERT_TRUE(eventually([&] { return refusals() > before; })) << err();
    EXPECT_TRUE(reader_->events().empty()) << "one that nobody trusts";
    place(tls + broker_->client_certificate());
    expect_all(100);
    EXPECT_EQ(stop(), 0);
}

// It has the first events, has told others of them, and dies before the service knows it.
TEST_F(Publish, ABrokerThatIsKilledBeforeItsConfirmationsArriveMissesNothing) {
    test::AckProxy proxy(broker_->port());
    place("", proxy.port());
    count(500);
    open_broker();
    admit();
    proxy.lose(true);
    start();
    ASSERT_TRUE(eventually([&] { return reader_->events().size() >= 20; })) << err();
    ASSERT_TRUE(eventually([&] { return proxy.lost() >= 20; }));
    EXPECT_EQ(number("door", "SELECT max(sequence) FROM cursors"), 0) << "nothing is confirmed";
    broker_->end(SIGKILL);
    proxy.lose(false);
    broker_->start();
    ASSERT_TRUE(eventually([&] { return reader_->connected(); }));
    expect_all(counted());
    const auto events = reader_->events();
    EXPECT_EQ(std::count(events.begin(), events.end(), 1), 2) << "sent again, with its number";
    ASSERT_TRUE(
        eventually([&] { return number("door", "SELECT max(sequence) FROM cursors") >= 500; }));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Publish, ADeviceOfASiteLogsInAndEncrypts) {
    broker_ = std::make_unique<test::OwnBroker>(work_ / "broker", test::OwnBroker::Tls::kOwn);
    open_broker();
    std::string site = test::read_file(std::filesystem::path(VCA_EXAMPLES) / "hall.toml");
    const std::size_t port = site.find("port = 1883");
    ASSERT_NE(port, std::string::npos);
    site.replace(port, 11,
                 "port = " + std::to_string(broker_->port()) +
                     "\nuser = \"camera\"\npassword_file = \"pw.txt\"\ntls = true\nca_file = \"" +
                     broker_->certificate() + "\"");
    write("hall.toml", site);
    write("pw.txt", "not-to-be-shown\n");
    const std::string run = "run --site hall.toml --device west --output result --frames 30";
    const test::Outcome refused = vca(run);
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(refused.err, HasSubstr("uthori"));
    broker_->admit("camera", "not-to-be-shown");
    const test::Outcome admitted = vca(run);
    EXPECT_THAT(admitted.err, Not(HasSubstr("had no part in the site")));
    EXPECT_EQ(Json::parse(test::read_file(work_ / "result" / "summary.json"))["link"]["reached"],
              true);
}

}  // namespace
