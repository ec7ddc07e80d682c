// What pages are told live: everything in its order, frames newest only, nothing after the end.
#include "host/web/live_feed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/web/api_answer.h"

namespace {

using host::LiveFeed;
using host::LiveStream;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using namespace std::chrono_literals;
using Json = nlohmann::ordered_json;

constexpr auto kAges = 60s;

LiveStream::Text text(const std::string& words) {
    return std::make_shared<const std::string>(words);
}

TEST(LiveStream, FramesAreTheNewestAndAllElseIsKept) {
    LiveStream stream;
    int woken = 0;
    stream.on_more([&] { ++woken; });
    EXPECT_EQ(stream.take(), "");
    stream.show(text("frame 1 "));
    stream.tell(text("count 1 "));
    stream.show(text("frame 2 "));
    stream.tell(text("count 2 "));
    EXPECT_EQ(woken, 4);
    EXPECT_EQ(stream.take(), "count 1 count 2 frame 2 ");
    EXPECT_EQ(stream.take(), "");
}

TEST(LiveStream, EndsWithItsLastWords) {
    LiveStream stream;
    stream.tell(text("count "));
    stream.show(text("frame "));
    stream.end(text("bye "));
    stream.tell(text("late "));
    stream.show(text("late "));
    stream.end(text("again "));
    EXPECT_EQ(stream.take(), "count bye ");
    EXPECT_EQ(stream.take(), std::nullopt);
}

TEST(LiveStream, WhoeverDoesNotReadIsEnded) {
    LiveStream stream;
    const auto kilobyte = text(std::string(1024, 'x'));
    for (int i = 0; i < 10'000; ++i)
        stream.tell(kilobyte);
    EXPECT_LE(stream.take()->size(), LiveStream::kMostWaiting_bytes + 1024);
    EXPECT_EQ(stream.take(), std::nullopt) << "rather than leaving something out";
}

class Feed : public ::testing::Test {
  protected:
    Feed() {
        sources_.committed = [this] { return std::to_string(committed_.load()); };
        sources_.health = [] { return Json{{"level", "ok"}}; };
        sources_.counts = [this] { return Json{{"visitors", visitors_.load()}}; };
        sources_.events = [this](const std::optional<std::string>& after) { return events(after); };
        sources_.settings = [](const std::string& camera) {
            return Json{{"camera", camera}, {"version", 3}};
        };
        sources_.holds = [this](const host::HttpRequest& request) {
            return !ended_session_ || request.header("Cookie") != "old";
        };
    }
    // Events are numbered from 1 on, two on a page.
    host::EventPage events(const std::optional<std::string>& after) {
        host::EventPage page;
        const int all = committed_;
        if (after == "gone") throw host::ApiError(410, "these are not kept any more");
        int last = after ? std::stoi(*after) : all;
        for (; last < all && page.events.size() < 2; ++last) {
            page.events.push_back({{"kind", last + 1 == settings_at_ ? "settings" : "crossing"},
                                   {"camera", "door"},
                                   {"number", last + 1}});
        }
        page.next = std::to_string(last);
        page.more = last < all;
        return page;
    }
    std::shared_ptr<host::HttpStream> open(
        const std::optional<std::string>& camera = std::nullopt,
        const std::vector<std::pair<std::string, std::string>>& headers = {}) {
        if (!feed_) feed_ = std::make_unique<LiveFeed>(pictures_, sources_);
        host::HttpRequest request;
        request.headers = headers;
        host::HttpResponse response = feed_->open(request, camera);
        EXPECT_EQ(response.type, "text/event-stream");
        return response.stream;
    }
    // All that was told until it has this, or the stream ended.
    static std::string told_until(host::HttpStream& stream, const std::string& words) {
        std::string all;
        const auto end = std::chrono::steady_clock::now() + kAges;
        while (all.find(words) == std::string::npos && std::chrono::steady_clock::now() < end) {
            const auto more = stream.take();
            if (!more) break;
            all += *more;
            std::this_thread::sleep_for(5ms);
        }
        return all;
    }

    std::atomic<int> committed_{7};
    std::atomic<int> visitors_{1};
    std::atomic<int> settings_at_{0};
    std::atomic<bool> ended_session_{false};
    host::LivePictures pictures_;
    host::LiveSources sources_;
    std::unique_ptr<LiveFeed> feed_;
};

TEST_F(Feed, BeginsWithHealthAndCounts) {
    const auto stream = open();
    EXPECT_EQ(*stream->take(),
              "event: health\ndata: {\"level\":\"ok\"}\n\n"
              "event: counts\ndata: {\"visitors\":1}\n\n");
}

TEST_F(Feed, TellsWhatWasCommittedOnceAndInOrder) {
    const auto one = open();
    const auto two = open();
    committed_ = 12;
    for (const auto& stream : {one, two}) {
        const std::string told = told_until(*stream, "\"number\":12");
        std::size_t at = 0;
        for (int number = 8; number <= 12; ++number) {
            const std::string event =
                "event: happened\ndata: {\"kind\":\"crossing\",\"camera\":"
                "\"door\",\"number\":" +
                std::to_string(number) + "}\n\n";
            const std::size_t found = told.find(event);
            EXPECT_NE(found, std::string::npos) << number << ' ' << told;
            EXPECT_EQ(told.find(event, found + 1), std::string::npos) << number;
            EXPECT_GE(found, at);
            at = found;
        }
        EXPECT_THAT(told, HasSubstr("id: 12\nevent: happened"));
        EXPECT_THAT(told, Not(HasSubstr("\"number\":7}")));
    }
}

TEST_F(Feed, CountsAreToldWhenTheyChangeAndNowAndThen) {
    const auto stream = open();
    visitors_ = 2;
    EXPECT_THAT(told_until(*stream, "\"visitors\":2"), HasSubstr("\"visitors\":2"));
    EXPECT_THAT(told_until(*stream, "\"visitors\":2"), HasSubstr("\"visitors\":2"));
}

TEST_F(Feed, WhoeverComesBackHasWhatItMissed) {
    const auto other = open();
    const auto stream = open(std::nullopt, {{"Last-Event-ID", "3"}});
    const std::string told = *stream->take();
    for (int number = 4; number <= 7; ++number)
        EXPECT_THAT(told, HasSubstr("\"number\":" + std::to_string(number)));
    EXPECT_THAT(told, Not(HasSubstr("\"number\":3}")));
    committed_ = 8;
    const std::string more = told_until(*stream, "\"number\":8");
    EXPECT_THAT(more, AllOf(HasSubstr("\"number\":8"), Not(HasSubstr("\"number\":7"))));
    EXPECT_THAT(told_until(*other, "\"number\":8"), Not(HasSubstr("\"number\":7")));
    EXPECT_THROW(open(std::nullopt, {{"Last-Event-ID", "gone"}}), host::ApiError);
}

TEST_F(Feed, OtherSettingsAreTold) {
    const auto stream = open();
    settings_at_ = 8;
    committed_ = 8;
    EXPECT_THAT(told_until(*stream, "event: settings"),
                HasSubstr("event: settings\ndata: {\"camera\":\"door\",\"version\":3}\n\n"));
}

TEST_F(Feed, FramesGoToThoseWhoAskedForTheCamera) {
    const auto [ours, theirs] = host::MessageSocket::open_pair();
    pictures_.connect("door", ours);
    host::MessageSocket camera(theirs);
    const auto watching = open("door");
    const auto other = open("back");
    host::LiveFrame frame;
    frame.number = 5;
    camera.send({to_json(frame, "door"), {1}});
    EXPECT_THAT(told_until(*watching, "event: frame"),
                HasSubstr("event: frame\ndata: {\"camera\":\"door\",\"frame\":5,"));
    EXPECT_THAT(*other->take(), Not(HasSubstr("event: frame")));
}

TEST_F(Feed, AStreamWhoseSessionHasEndedEnds) {
    const auto old = open(std::nullopt, {{"Cookie", "old"}});
    const auto stays = open(std::nullopt, {{"Cookie", "new"}});
    ended_session_ = true;
    EXPECT_THAT(told_until(*old, "event: bye"),
                HasSubstr("event: bye\ndata: {\"why\":\"session\"}\n\n"));
    EXPECT_EQ(old->take(), std::nullopt);
    EXPECT_TRUE(stays->take().has_value());
}

TEST_F(Feed, SaysGoodbyeAndIsSilentThen) {
    const auto stream = open();
    std::thread reader([&] {
        EXPECT_THAT(told_until(*stream, "event: bye"),
                    HasSubstr("event: bye\ndata: {\"why\":\"restart\"}\n\n"));
    });
    feed_->end();
    reader.join();
    bool woken = false;
    stream->on_more([&] { woken = true; });
    committed_ = 9;
    std::this_thread::sleep_for(300ms);
    EXPECT_FALSE(woken);
    EXPECT_THROW(open(), host::ApiError);
}

TEST_F(Feed, HasABound) {
    std::vector<std::shared_ptr<host::HttpStream>> all;
    for (std::size_t i = 0; i < LiveFeed::kMostStreams; ++i)
        all.push_back(open());
    EXPECT_THROW(open(), host::ApiError);
    all.pop_back();
    all.push_back(open());
}

TEST_F(Feed, EventsThatAreNotKeptAnyMoreEndTheStreams) {
    std::atomic<bool> gone{false};
    sources_.events = [&](const std::optional<std::string>& after) {
        if (gone && after) throw host::ApiError(410, "these are not kept any more");
        return events(after);
    };
    const auto stream = open();
    gone = true;
    committed_ = 100;
    EXPECT_THAT(told_until(*stream, "event: bye"), HasSubstr("\"why\":\"restart\""));
    EXPECT_EQ(stream->take(), std::nullopt);
}

TEST_F(Feed, ASourceThatFailsEndsNothing) {
    std::atomic<bool> fails{false};
    sources_.counts = [&]() -> Json {
        if (fails) throw std::runtime_error("on purpose");
        return {{"visitors", visitors_.load()}};
    };
    const auto stream = open();
    fails = true;
    std::this_thread::sleep_for(1200ms);
    visitors_ = 5;
    fails = false;
    EXPECT_THAT(told_until(*stream, "\"visitors\":5"), HasSubstr("\"visitors\":5"));
}

}  // namespace
