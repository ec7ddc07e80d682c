// A webhook and its receiver: every message in its order, whatever the receiver does.
#include "host/publish/webhook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "host/base/utc.h"
#include "tests/host/store/store_folder.h"
#include "tests/support/certificate.h"
#include "tests/support/fake_receiver.h"

namespace {

using host::Webhook;
using host::WebhookSetup;
using nlohmann::json;
using test::FakeReceiver;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Millis = std::chrono::milliseconds;

class Hook : public test::StoreFolder {
  protected:
    Hook() : receiver_(std::make_unique<FakeReceiver>()) {
        hook_.place = "shop";
        hook_.name = "erp";
        hook_.host = "127.0.0.1";
        hook_.post.url = receiver_->url();
        hook_.post.time = std::chrono::seconds(30);
        hook_.key = host::parse_webhook_key("whsec_MfKQ9r8GKYqrTwjUPD8ILPZIo2LaLaSw", "");
        hook_.settings = "1";
        hook_.time_zone = "UTC";
        hook_.cameras = {path()};
        hook_.place_database = path("place.db");
        hook_.service_database = path("service.db");
        hook_.pauses = {Millis(5)};
        hook_.say = [this](host::LogLevel, const std::string&, const std::string& sentence) {
            const std::lock_guard lock(mutex_);
            said_.push_back(sentence);
        };
    }

    void start() { webhook_ = std::make_unique<Webhook>(hook_); }
    void stop() { webhook_.reset(); }

    // Before the webhook is there, or while it runs.
    void count(int events, const std::string& name = "entrance.db") {
        host::Store store(setup(name));
        std::vector<host::StoredEvent> list;
        for (int i = 0; i < events; ++i)
            list.push_back(test::crossing(test::kMonday_us + i));
        store.commit(test::batch_of(list));
        store.close();
    }
    void count_at(std::int64_t time_us) {
        host::Store store(setup());
        host::Batch batch = test::batch_of({test::crossing(time_us)});
        batch.watched_minutes = {host::minute_of(time_us)};
        batch.watched_until_us = host::utc_now_us();
        store.commit(batch);
        store.close();
    }

    // The limit only ends a test that has failed.
    static bool until(const std::function<bool()>& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(120);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(Millis(1));
        }
        return true;
    }
    bool until_taken(std::size_t messages) const {
        return until([&] { return receiver_->taken_so_far() >= messages; });
    }
    // As they were confirmed.
    std::vector<int> sequences() const {
        std::vector<int> list;
        for (const auto& one : receiver_->taken())
            list.push_back(json::parse(one.body)["data"]["event"]["sequence"].get<int>());
        return list;
    }
    int newest() const {
        const std::vector<int> list = sequences();
        return list.empty() ? 0 : *std::max_element(list.begin(), list.end());
    }
    // As often as they came, but for the first of each.
    void expect_in_order(int events) const {
        int newest = 0;
        for (const int number : sequences()) {
            EXPECT_LE(number, newest + 1) << "one before it is missing";
            newest = std::max(newest, number);
        }
        EXPECT_EQ(newest, events);
    }
    // All of them, in their order, and each once.
    void expect_exactly(int events) const {
        std::vector<int> expected;
        for (int i = 1; i <= events; ++i)
            expected.push_back(i);
        EXPECT_EQ(sequences(), expected);
        std::set<std::string> ids;
        for (const auto& one : receiver_->taken())
            ids.insert(one.headers.at("webhook-id"));
        EXPECT_EQ(ids.size(), static_cast<std::size_t>(events));
    }
    std::vector<host::HealthNote> faults() const {
        return host::webhook_faults(path("service.db"), {"erp"}, host::utc_now_us());
    }
    bool until_fault(const std::string& part) const {
        return until([&] {
            const auto now = faults();
            return !now.empty() && now[0].text.find(part) != std::string::npos;
        });
    }
    std::vector<std::string> said() const {
        const std::lock_guard lock(mutex_);
        return said_;
    }

    std::unique_ptr<FakeReceiver> receiver_;
    WebhookSetup hook_;
    mutable std::mutex mutex_;
    std::vector<std::string> said_;
    std::unique_ptr<Webhook> webhook_;
};

TEST_F(Hook, EveryEventOnceAndSigned) {
    start();
    count(300);
    ASSERT_TRUE(until_taken(300));
    expect_exactly(300);
    EXPECT_EQ(receiver_->connections(), 1) << "it stays open";
    for (const auto& one : receiver_->taken()) {
        const host::WebhookMessage message{one.headers.at("webhook-id"), one.body};
        const std::int64_t time_s = std::stoll(one.headers.at("webhook-timestamp"));
        EXPECT_LT(std::abs(time_s - host::utc_now_us() / 1'000'000), 300);
        EXPECT_EQ(one.headers.at("webhook-signature"),
                  host::webhook_signature(hook_.key, message, time_s));
        EXPECT_EQ(one.headers.at("content-type"), "application/json");
        EXPECT_EQ(one.path, "/hook");
    }
    EXPECT_EQ(json::parse(receiver_->taken()[0].body)["type"], "event.crossing");
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(Hook, BeginsWithWhatIsCountedFromNowOnAndGoesOnThere) {
    count(5);
    start();
    ASSERT_TRUE(
        until([this] { return integer("SELECT count(*) FROM cursors WHERE sequence = 5") == 1; }));
    count(3);
    ASSERT_TRUE(until_taken(3));
    EXPECT_THAT(sequences(), ElementsAre(6, 7, 8));
    stop();
    count(2);
    start();
    ASSERT_TRUE(until_taken(5));
    EXPECT_THAT(sequences(), ElementsAre(6, 7, 8, 9, 10));
}

TEST_F(Hook, AReceiverThatFailsHangsAndComesBackMissesNothing) {
    hook_.post.time = Millis(300);
    int number = 0;
    // Each message is answered rightly only at its fifth attempt.
    receiver_->decide([&number](const FakeReceiver::Received&) {
        constexpr std::array kTroubles{500, FakeReceiver::kHangs, FakeReceiver::kDrops, 503, 200};
        return kTroubles.at(static_cast<std::size_t>(number++) % kTroubles.size());
    });
    start();
    count(10);
    ASSERT_TRUE(
        until([this] { return receiver_->taken_so_far() >= 10 && sequences().back() == 10; }));
    expect_in_order(10);
    EXPECT_THAT(receiver_->attempts(), SizeIs(::testing::Ge(50U)));
    ASSERT_TRUE(until([this] { return faults().empty(); }));
    EXPECT_THAT(said(), ::testing::Contains(HasSubstr("takes messages again")));
}

TEST_F(Hook, AReceiverThatIsAwayIsWaitedForAndHealthTells) {
    const int port = receiver_->port();
    receiver_.reset();
    start();
    count(50);
    ASSERT_TRUE(until_fault("webhook \"erp\": no answer from 127.0.0.1"));
    EXPECT_EQ(host::StoreReader(path()).subscribers().front().name, "webhook:erp");
    EXPECT_EQ(host::StoreReader(path()).subscribers().front().waiting, 50);
    receiver_ = std::make_unique<FakeReceiver>(port);
    ASSERT_TRUE(until_taken(50));
    expect_exactly(50);
    ASSERT_TRUE(until([this] { return faults().empty(); }));
}

TEST_F(Hook, ManyThatWait) {
    receiver_->answer(503);
    start();
    count(20'000);
    ASSERT_TRUE(until_fault("status 503; messages wait"));
    receiver_->answer(204);
    ASSERT_TRUE(until_taken(20'000));
    expect_exactly(20'000);
}

TEST_F(Hook, ARestartInTheMiddleRepeatsAtMostWhatWasNotKept) {
    start();
    count(2000);
    for (const std::size_t taken : {300U, 900U}) {
        ASSERT_TRUE(until_taken(taken));
        stop();
        start();
    }
    ASSERT_TRUE(until([this] { return newest() == 2000; }));
    stop();
    expect_in_order(2000);
    // One was on its way at each of the two ends: the receiver had it, its answer was not waited
    // for.
    EXPECT_LE(receiver_->taken().size(), 2002U);
}

TEST_F(Hook, AReceiverThatWantsNoMoreIsAskedAgainWhenTheSettingsChange) {
    receiver_->answer(410);
    start();
    count(5);
    ASSERT_TRUE(until_fault("127.0.0.1 wants no more messages (status 410)"));
    EXPECT_THAT(receiver_->attempts(), SizeIs(1));
    stop();
    receiver_->answer(204);
    start();
    // As good as never: a new start is no change.
    std::this_thread::sleep_for(Millis(700));
    EXPECT_THAT(receiver_->attempts(), SizeIs(1));
    EXPECT_THAT(faults(), SizeIs(1));
    stop();
    hook_.settings = "2";
    start();
    ASSERT_TRUE(until_taken(5));
    expect_exactly(5);
    ASSERT_TRUE(until([this] { return faults().empty(); }));
}

TEST_F(Hook, AMessageThatIsRefusedHoldsUpItsStreamAloneAndIsLeftOutAtLast) {
    hook_.cameras.push_back(path("yard.db"));
    hook_.refusals = std::chrono::hours(24);
    receiver_->decide([](const FakeReceiver::Received& one) {
        return one.body.find("\"sequence\":3,") != std::string::npos &&
                       one.headers.at("webhook-id").find("_entrance_") != std::string::npos
                   ? 422
                   : 200;
    });
    start();
    count(5);
    ASSERT_TRUE(until_fault("127.0.0.1 refuses a message with status 422"));
    EXPECT_THAT(sequences(), ElementsAre(1, 2));
    {
        host::StoreSetup yard = setup("yard.db");
        yard.device = "yard";
        host::Store store(yard);
        store.commit(test::batch_of({test::crossing(test::kMonday_us)}));
        store.close();
    }
    ASSERT_TRUE(until_taken(3));
    EXPECT_THAT(sequences(), ElementsAre(1, 2, 1)) << "of the other camera";
    stop();
    hook_.refusals = Millis(50);
    start();
    ASSERT_TRUE(until_taken(5));
    EXPECT_THAT(sequences(), ElementsAre(1, 2, 1, 4, 5));
    ASSERT_TRUE(until_fault("has left out 1 message that its receiver refused for a day"));
    EXPECT_THAT(said(), ::testing::Contains(HasSubstr("_3, which 127.0.0.1 has refused")));
}

TEST_F(Hook, ARedirectionIsNotFollowed) {
    receiver_->answer(302);
    start();
    count(1);
    ASSERT_TRUE(until_fault("refuses a message with status 302"));
    for (const auto& one : receiver_->attempts())
        EXPECT_EQ(one.path, "/hook");
}

TEST_F(Hook, ALongAnswerIsNotRead) {
    receiver_->answer(200);
    receiver_->answer_body(std::string(3'000'000, 'x'));
    start();
    count(3);
    ASSERT_TRUE(until_taken(3));
    stop();
    expect_exactly(3);
    EXPECT_GE(receiver_->connections(), 3) << "it is closed in the middle of the answer";
}

// Another process, with a certificate of its own.
class TlsReceiver {
  public:
    TlsReceiver(const std::string& certificate, std::filesystem::path told)
        : told_(std::move(told)), id_(::fork()) {
        if (id_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            [[maybe_unused]] const auto out = std::freopen(told_.c_str(), "w", stdout);
            ::execl(VCA_PYTHON, "python3", VCA_RECEIVE_TLS, (certificate + ".pem").c_str(),
                    (certificate + ".key").c_str(), nullptr);
            ::_exit(127);
        }
    }
    ~TlsReceiver() {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
    TlsReceiver(const TlsReceiver&) = delete;
    TlsReceiver& operator=(const TlsReceiver&) = delete;

    // The port, and then the ids of messages; without what is not a whole line yet.
    std::vector<std::string> lines() const {
        std::ifstream file(told_);
        std::vector<std::string> list;
        for (std::string line; std::getline(file, line) && !file.eof();)
            list.push_back(line);
        return list;
    }

  private:
    const std::filesystem::path told_;
    const pid_t id_;
};

TEST_F(Hook, EncryptsAndTrustsOnlyItsReceiver) {
    test::make_certificate(path(""), "right");
    test::make_certificate(path(""), "other");
    test::make_certificate(path(""), "elsewhere", "DNS:elsewhere.example.org");
    const auto use = [this](const TlsReceiver& receiver, const std::string& certificate) {
        EXPECT_TRUE(until([&] { return !receiver.lines().empty(); }));
        hook_.post.url = "https://127.0.0.1:" + receiver.lines().at(0) + "/";
        hook_.post.ca_file = path(certificate + ".pem");
        start();
    };
    {
        const TlsReceiver receiver(path("elsewhere"), path("said"));
        use(receiver, "elsewhere");
        count(3);
        EXPECT_TRUE(until_fault("no answer from 127.0.0.1"));
        stop();
        EXPECT_THAT(receiver.lines(), SizeIs(1)) << "its certificate is for another";
    }
    const TlsReceiver receiver(path("right"), path("told"));
    use(receiver, "other");
    ASSERT_TRUE(until_fault("no answer from 127.0.0.1"));
    stop();
    EXPECT_THAT(receiver.lines(), SizeIs(1)) << "nobody has signed its certificate";
    use(receiver, "right");
    ASSERT_TRUE(until([&] { return receiver.lines().size() == 4; }));
    EXPECT_THAT(receiver.lines().at(3), HasSubstr("_3"));
    ASSERT_TRUE(until([this] { return faults().empty(); }));
}

TEST_F(Hook, EndsSoonWhileAReceiverHangs) {
    receiver_->answer(FakeReceiver::kHangs);
    start();
    count(1);
    ASSERT_TRUE(until([this] { return !receiver_->attempts().empty(); }));
    const auto begin = std::chrono::steady_clock::now();
    stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    receiver_->answer(200);
    start();
    ASSERT_TRUE(until_taken(1));
    expect_exactly(1);
}

TEST_F(Hook, OnlyTheKindsThatAreWanted) {
    hook_.kinds = {"gap"};
    start();
    count(5);
    {
        host::Store store(setup());
        host::Batch batch;
        batch.add_gap({test::kMonday_us, test::kMonday_us + 1, "no frames came"});
        store.commit(batch);
        store.close();
    }
    ASSERT_TRUE(until_taken(1));
    EXPECT_EQ(json::parse(receiver_->taken()[0].body)["type"], "event.gap");
    EXPECT_EQ(json::parse(receiver_->taken()[0].body)["data"]["event"]["why"], "no frames came");
    stop();
    EXPECT_EQ(host::StoreReader(path()).subscribers().front().waiting, 0);
}

TEST_F(Hook, HoursAndDaysAsTheyWereCounted) {
    hook_.events = false;
    hook_.hours = hook_.days = hook_.csv = true;
    const host::TimeZone utc("UTC");
    const std::int64_t now_us = host::utc_now_us();
    const std::int64_t hour_us = now_us / host::kHour_us * host::kHour_us;
    for (int hours = 1; hours <= 30; ++hours)
        count_at(hour_us - hours * host::kHour_us + 5 * host::kMinute_us);
    // A webhook that was told of nothing for thirty hours.
    host::WebhookStand stand = host::WebhookBook(path("service.db")).stand("erp");
    stand.hours_us = stand.days_us = hour_us - 30 * host::kHour_us;
    host::WebhookBook(path("service.db")).keep("erp", stand);
    receiver_->decide([answer = 0](const FakeReceiver::Received&) mutable {
        return ++answer % 3 == 0 ? 200 : 500;
    });
    start();
    const std::size_t days =
        utc.date_of(hour_us - 24 * host::kHour_us) == utc.date_of(hour_us - 30 * host::kHour_us)
            ? 1
            : 2;
    ASSERT_TRUE(until_taken(30 + days)) << receiver_->taken().size();
    std::vector<std::string> from;
    std::size_t whole_days = 0;
    for (const auto& one : receiver_->taken()) {
        const json body = json::parse(one.body);
        const json& data = body["data"];
        // The clock may have struck meanwhile.
        if (data["from"] >= utc.text(hour_us)) continue;
        EXPECT_EQ(data["place"], "shop");
        EXPECT_THAT(data["missing"], IsEmpty());
        EXPECT_THAT(data["csv"].get<std::string>(), HasSubstr("entrance,door,1,"));
        if (body["type"] == "counts.day") {
            ++whole_days;
            continue;
        }
        EXPECT_EQ(body["type"], "counts.hour");
        EXPECT_EQ(data["counts"][0]["adult"], 1) << data;
        EXPECT_EQ(data["counts"][0]["watched_minutes"], 1);
        EXPECT_THAT(one.headers.at("webhook-id"), HasSubstr("shop_hour_" + stand.id + "_20"));
        from.push_back(data["from"]);
    }
    EXPECT_EQ(whole_days, days);
    ASSERT_EQ(from.size(), 30U);
    EXPECT_TRUE(std::is_sorted(from.begin(), from.end()));
    EXPECT_EQ(from.front(), utc.text(hour_us - 30 * host::kHour_us));
    stop();
    start();
    std::this_thread::sleep_for(Millis(500));
    std::set<std::string> ids;
    for (const auto& one : receiver_->taken())
        ids.insert(one.headers.at("webhook-id"));
    EXPECT_EQ(ids.size(), receiver_->taken().size()) << "none comes twice";
}

TEST_F(Hook, ACameraThatCannotBeReadIsNamed) {
    hook_.events = false;
    hook_.hours = true;
    hook_.cameras.push_back(path("yard.db"));
    const std::int64_t hour_us = host::utc_now_us() / host::kHour_us * host::kHour_us;
    count_at(hour_us - 2 * host::kHour_us);
    host::WebhookStand stand = host::WebhookBook(path("service.db")).stand("erp");
    stand.hours_us = hour_us - 2 * host::kHour_us;
    host::WebhookBook(path("service.db")).keep("erp", stand);
    start();
    ASSERT_TRUE(until_taken(1));
    const json data = json::parse(receiver_->taken()[0].body)["data"];
    EXPECT_EQ(data["missing"], json::parse(R"(["yard"])"));
    EXPECT_EQ(data["counts"][0]["adult"], 1);
    EXPECT_FALSE(data.contains("csv"));
}

}  // namespace
