// What is signed and how, what a key looks like, and what is told of an event and of an hour.
#include "host/publish/webhook_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/base/input_error.h"
#include "host/publish/webhook_pauses.h"
#include "tests/host/store/store_folder.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kSecret = "whsec_MfKQ9r8GKYqrTwjUPD8ILPZIo2LaLaSw";

TEST(WebhookMessage, IsSignedAsReceiversCheckIt) {
    const host::WebhookKey key = host::parse_webhook_key(kSecret, "here");
    const host::WebhookMessage message{"msg_p5jXN8AQM9LWM0D4loKWxJek", R"({"test": 2432232314})"};
    EXPECT_EQ(host::webhook_signature(key, message, 1614265330),
              "v1,g0hM9SsE+OTPJTGt/tmIKtSyZlE3uFJELVlNIOLJ1OE=");
    EXPECT_NE(host::webhook_signature(key, message, 1614265331),
              host::webhook_signature(key, message, 1614265330));
    const auto headers = host::webhook_headers(key, message, 1614265330);
    EXPECT_THAT(headers, ::testing::Contains(std::pair<std::string, std::string>(
                             "webhook-id", "msg_p5jXN8AQM9LWM0D4loKWxJek")));
    EXPECT_THAT(headers, ::testing::Contains(std::pair<std::string, std::string>(
                             "webhook-timestamp", "1614265330")));
}

TEST(WebhookMessage, AKeyThatIsNoneIsNotShown) {
    EXPECT_EQ(host::parse_webhook_key(kSecret, "here").size(), 24u);
    const std::string shortest = "whsec_AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA";
    EXPECT_EQ(host::parse_webhook_key(shortest, "here").size(), 24u);
    for (const std::string& secret :
         {std::string("MfKQ9r8GKYqrTwjUPD8ILPZIo2LaLaSw"), std::string("whsec_"),
          std::string("whsec_TooShort"), std::string("whsec_MfKQ9r8GKYqrTwjUPD8ILPZIo2LaLa"),
          std::string("whsec_MfKQ9r8GKYqrTwjUPD8ILPZIo2LaLa!!"), "whsec_" + std::string(88, 'A'),
          "whsec_" + std::string(1000, 'A')}) {
        try {
            host::parse_webhook_key(secret, "\"vca.toml\" line 3");
            ADD_FAILURE() << secret;
        } catch (const host::InputError& error) {
            EXPECT_THAT(error.what(), HasSubstr("\"vca.toml\" line 3: the secret file"));
            EXPECT_THAT(error.what(), Not(HasSubstr("MfKQ")));
        }
    }
}

TEST(WebhookMessage, AnEventHasItsNumberInItsId) {
    host::ToldEvent event;
    event.device = "door";
    event.number = {"0123456789abcdef", 17};
    event.time_us = test::kMonday_us;
    event.kind = "crossing";
    event.place = "in \"front\"";
    event.direction = 1;
    event.people = 1;
    const host::TimeZone zone("Europe/Berlin");
    const host::WebhookMessage message = host::event_message("shop", event, zone);
    EXPECT_EQ(message.id, "shop_door_0123456789abcdef_17");
    const json body = json::parse(message.body);
    EXPECT_EQ(body["type"], "event.crossing");
    EXPECT_EQ(body["timestamp"], "2026-03-02T09:00:00.000+01:00");
    EXPECT_EQ(body["data"]["place"], "shop");
    EXPECT_EQ(body["data"]["event"]["place"], "in \"front\"");
    EXPECT_EQ(body["data"]["event"]["sequence"], 17);
}

TEST(WebhookMessage, AReportHasItsTableAndOnRequestAsText) {
    host::CountReport report;
    report.id = "shop_hour_x_y";
    report.type = "counts.hour";
    report.place = "shop";
    report.date = {2026, 3, 2};
    report.hour = "09:00";
    report.span = {test::kMonday_us, test::kMonday_us + host::kHour_us};
    report.table = {{"line", "adult"}, {{std::string("door"), std::int64_t{3}}}};
    report.missing = {"yard"};
    const host::TimeZone zone("Europe/Berlin");
    json data = json::parse(host::report_message(report, zone).body)["data"];
    EXPECT_EQ(data["date"], "2026-03-02");
    EXPECT_EQ(data["hour"], "09:00");
    EXPECT_EQ(data["from"], "2026-03-02T09:00:00.000+01:00");
    EXPECT_EQ(data["to"], "2026-03-02T10:00:00.000+01:00");
    EXPECT_EQ(data["counts"], json::parse(R"([{"line":"door","adult":3}])"));
    EXPECT_EQ(data["missing"], json::parse(R"(["yard"])"));
    EXPECT_FALSE(data.contains("csv"));
    report.csv = true;
    report.hour.clear();
    data = json::parse(host::report_message(report, zone).body)["data"];
    EXPECT_EQ(data["csv"], "line,adult\ndoor,3\n");
    EXPECT_FALSE(data.contains("hour"));
}

TEST(WebhookPauses, GrowAndEndWithASuccess) {
    host::WebhookPauses pauses(host::WebhookPauses::usual());
    auto now = host::WebhookPauses::Clock::time_point{} + std::chrono::hours(1000);
    const auto begin = now;
    EXPECT_TRUE(pauses.over(now));
    std::chrono::seconds before{0};
    for (const std::chrono::seconds pause : host::kWebhookPauses) {
        EXPECT_GT(pause, before);
        before = pause;
        pauses.fail(now);
        EXPECT_FALSE(pauses.over(now + pause - std::chrono::milliseconds(1)));
        now += pause;
        EXPECT_TRUE(pauses.over(now));
    }
    pauses.fail(now);
    EXPECT_FALSE(pauses.over(now + std::chrono::minutes(59)));
    EXPECT_TRUE(pauses.over(now + std::chrono::hours(1))) << "the last one again";
    EXPECT_EQ(pauses.lasts(now), now - begin);
    EXPECT_EQ(pauses.failures(), host::kWebhookPauses.size() + 1);
    pauses.succeed();
    EXPECT_TRUE(pauses.over(now));
    EXPECT_EQ(pauses.lasts(now), std::chrono::seconds(0));
}

}  // namespace
