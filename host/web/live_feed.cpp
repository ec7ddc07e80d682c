// One thread that looks for what has changed, and the texts of server-sent events.
#include "host/web/live_feed.h"

#include <algorithm>
#include <cstdio>
#include <thread>
#include <utility>

#include "host/base/text.h"
#include "host/store/records.h"
#include "host/web/api_answer.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;
using namespace std::chrono_literals;

constexpr auto kMoment = 100ms;
constexpr auto kCountsEach = 1000ms;
// Whoever hears nothing for longer takes the connection for lost.
constexpr auto kCountsLongest = 4000ms;
constexpr auto kHealthEach = 2000ms;
constexpr auto kHealthLongest = 60000ms;
constexpr auto kHeartbeat = 10s;
constexpr auto kLookAtSessions = 3s;
constexpr auto kFarewell = 1000ms;

constexpr const char* kFrame = "frame";
constexpr const char* kHealth = "health";
constexpr const char* kCounts = "counts";
constexpr const char* kHappened = "happened";
constexpr const char* kSettings = "settings";
constexpr const char* kBye = "bye";
constexpr const char* kRestart = "restart";
constexpr const char* kSession = "session";
constexpr int kUnavailable = 503;

std::string dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// JSON has no line breaks that would end the data.
LiveStream::Text event_text(const std::string& name, const std::string& json,
                            const std::string& id = "") {
    return std::make_shared<const std::string>((id.empty() ? "" : "id: " + id + "\n") +
                                               "event: " + name + "\ndata: " + json + "\n\n");
}

LiveStream::Text bye_text(const char* why) {
    return event_text(kBye, dump({{"why", why}}));
}

// The cursor stands at the last event, so that whoever loses the connection before has them again.
std::vector<LiveStream::Text> event_texts(const EventPage& page) {
    std::vector<LiveStream::Text> texts;
    for (std::size_t i = 0; i < page.events.size(); ++i) {
        const bool last = i + 1 == page.events.size();
        texts.push_back(event_text(kHappened, dump(page.events[i]), last ? page.next : ""));
    }
    return texts;
}

}  // namespace

LiveFeed::LiveFeed(LivePictures& pictures, LiveSources sources)
    : pictures_(pictures), sources_(std::move(sources)), ticker_(kMoment, [this] { work(); }) {
    pictures_.listen([this](const std::string& camera, const LivePictures::Frame& frame) {
        show(camera, frame);
    });
}

LiveFeed::~LiveFeed() {
    end();
}

void LiveFeed::end() {
    pictures_.listen({});
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        for (const auto& stream : streams())
            stream->end(bye_text(kRestart));
    }
    const auto until = Clock::now() + kFarewell;
    while (has_readers() && Clock::now() < until)
        std::this_thread::sleep_for(10ms);
}

HttpResponse LiveFeed::open(const HttpRequest& request, const std::optional<std::string>& camera) {
    // A stream that is a reader's keeps its camera watched.
    struct Watching {
        Watching(LivePictures& pictures, const std::optional<std::string>& name) {
            if (name) watch.emplace(pictures, *name);
        }
        LiveStream stream;
        std::optional<LivePictures::Watch> watch;
    };
    const auto watching = std::make_shared<Watching>(pictures_, camera);
    const std::shared_ptr<LiveStream> stream(watching, &watching->stream);
    const std::lock_guard lock(mutex_);
    if (ended_) throw ApiError(kUnavailable, "the service ends");
    if (!cursor_ && sources_.events) {
        committed_ = sources_.committed();
        cursor_ = sources_.events(std::nullopt).next;
    }
    if (sources_.health) stream->tell(event_text(kHealth, dump(sources_.health())));
    if (sources_.counts) stream->tell(event_text(kCounts, dump(sources_.counts())));
    const std::string after = request.header("Last-Event-ID");
    if (sources_.events && !after.empty()) catch_up(*stream, after);
    const std::lock_guard readers_lock(readers_mutex_);
    std::erase_if(readers_, [](const Reader& reader) { return reader.stream.expired(); });
    if (readers_.size() >= kMostStreams)
        throw ApiError(kUnavailable, "too many pages are open; close one of them");
    readers_.push_back({stream, camera, request});
    HttpResponse response;
    response.type = "text/event-stream";
    response.headers.emplace_back("X-Accel-Buffering", "no");
    response.stream = stream;
    return response;
}

void LiveFeed::show(const std::string& camera, const LivePictures::Frame& frame) {
    Text text;
    const std::lock_guard lock(readers_mutex_);
    for (const Reader& reader : readers_) {
        if (reader.camera != camera) continue;
        const auto stream = reader.stream.lock();
        if (!stream) continue;
        if (!text) text = event_text(kFrame, to_json(*frame, camera));
        stream->show(text);
    }
}

// Until the stream stands where all others do. Commits may come meanwhile; where they come faster
// than they are read, some are told twice rather than never.
void LiveFeed::catch_up(LiveStream& stream, std::string after) {
    constexpr int kMostTries = 10;
    for (int i = 0; i < kMostTries; ++i) {
        for (bool more = true; more;) {
            const EventPage page = sources_.events(after);
            for (const Text& text : event_texts(page))
                stream.tell(text);
            after = page.next;
            more = page.more;
        }
        tell_events();
        if (after == cursor_) return;
    }
}

bool LiveFeed::has_readers() {
    const std::lock_guard lock(readers_mutex_);
    std::erase_if(readers_, [](const Reader& reader) { return reader.stream.expired(); });
    return !readers_.empty();
}

void LiveFeed::work() {
    const std::lock_guard lock(mutex_);
    if (ended_) return;
    if (!has_readers()) {
        cursor_.reset();
        return;
    }
    try {
        if (Clock::now() >= looked_ + kLookAtSessions) {
            looked_ = Clock::now();
            end_those_that_do_not_hold();
        }
        tell_events();
        tell_changed(counts_, kCounts, sources_.counts, kCountsEach, kCountsLongest);
        tell_changed(health_, kHealth, sources_.health, kHealthEach, kHealthLongest);
        complaint_.clear();
    } catch (const std::exception& error) {
        // The next time may do better; it is said once.
        if (error.what() != std::exchange(complaint_, error.what()))
            std::fprintf(stderr, "vca: live: %s\n", visible(error.what()).c_str());
    }
    const auto now = Clock::now();
    if (now >= heartbeat_ + kHeartbeat) {
        heartbeat_ = now;
        tell(std::make_shared<const std::string>(":\n\n"));
    }
}

void LiveFeed::tell_events() {
    if (!cursor_) return;
    const std::string committed = sources_.committed();
    if (committed == committed_) return;
    try {
        for (bool more = true; more;) {
            const EventPage page = sources_.events(cursor_);
            for (const Text& text : event_texts(page))
                tell(text);
            tell_settings(page);
            cursor_ = page.next;
            more = page.more;
        }
        committed_ = committed;
    } catch (const ApiError&) {
        // What came after the cursor is not there any more: pages begin afresh.
        cursor_ = sources_.events(std::nullopt).next;
        committed_ = committed;
        for (const auto& stream : streams())
            stream->end(bye_text(kRestart));
    }
}

void LiveFeed::tell_settings(const EventPage& page) {
    if (!sources_.settings) return;
    for (const Json& event : page.events) {
        if (event.value("kind", "") != event_kind_name(EventKind::kSettings)) continue;
        tell(event_text(kSettings, dump(sources_.settings(event.value("camera", "")))));
    }
}

void LiveFeed::tell_changed(Told& told, const char* name, const std::function<Json()>& source,
                            std::chrono::milliseconds each, std::chrono::milliseconds longest) {
    const auto now = Clock::now();
    if (!source || now < told.made + each) return;
    std::string text = dump(source());
    told.made = now;
    if (text == told.text && now < told.told + longest) return;
    told.text = std::move(text);
    told.told = now;
    tell(event_text(name, told.text));
}

std::vector<std::shared_ptr<LiveStream>> LiveFeed::streams() {
    std::vector<std::shared_ptr<LiveStream>> streams;
    const std::lock_guard lock(readers_mutex_);
    for (const Reader& reader : readers_)
        if (auto stream = reader.stream.lock()) streams.push_back(std::move(stream));
    return streams;
}

void LiveFeed::tell(const Text& text) {
    for (const auto& stream : streams())
        stream->tell(text);
}

void LiveFeed::end_those_that_do_not_hold() {
    std::vector<Reader> readers;
    {
        const std::lock_guard lock(readers_mutex_);
        readers = readers_;
    }
    for (const Reader& reader : readers) {
        const auto stream = reader.stream.lock();
        if (stream && sources_.holds && !sources_.holds(reader.request))
            stream->end(bye_text(kSession));
    }
}

}  // namespace host
