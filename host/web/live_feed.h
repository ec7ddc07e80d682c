// Everything live, for all pages at once: each text is made once, and only while somebody reads.
// What was counted is told after it was committed, in the order of the events.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/net/ticker.h"
#include "host/service/live_pictures.h"
#include "host/web/api_events.h"
#include "host/web/live_stream.h"

namespace host {

// Where the texts come from; called on the feed's thread and on those that open streams. What has
// no source is not told.
struct LiveSources {
    // Changes with each commit of a camera.
    std::function<std::string()> committed;
    std::function<nlohmann::ordered_json()> health;
    std::function<nlohmann::ordered_json()> counts;
    // After a cursor; without one no events, and the cursor behind all that is committed. Throws
    // ApiError for one that is wrong or too old.
    std::function<EventPage(const std::optional<std::string>& after)> events;
    // The settings that a camera counts with now.
    std::function<nlohmann::ordered_json(const std::string& camera)> settings;
    // Whether whoever sent a request may still have the answer.
    std::function<bool(const HttpRequest& request)> holds;
};

class LiveFeed {
  public:
    // One service has no more streams at a time.
    static constexpr std::size_t kMostStreams = 150;

    // The pictures must outlive it.
    LiveFeed(LivePictures& pictures, LiveSources sources);
    ~LiveFeed();
    LiveFeed(const LiveFeed&) = delete;
    LiveFeed& operator=(const LiveFeed&) = delete;

    // A stream for whoever sent this request, with the frames of a camera if one is named. It
    // begins with health and counts, and with the events after the header Last-Event-ID if there is
    // one. Throws ApiError when there are too many, or as the source of events does.
    HttpResponse open(const HttpRequest& request, const std::optional<std::string>& camera);

    // Tells all pages that the service ends, and waits a moment for them to hear it. From then on
    // nothing is told and none is opened, so the server may go.
    void end();

  private:
    using Clock = std::chrono::steady_clock;
    using Text = LiveStream::Text;
    struct Reader {
        std::weak_ptr<LiveStream> stream;
        std::optional<std::string> camera;
        HttpRequest request;
    };
    // A text that is told again when it has changed, or nothing was heard for a while.
    struct Told {
        std::string text;
        Clock::time_point made{};
        Clock::time_point told{};
    };

    void show(const std::string& camera, const LivePictures::Frame& frame);
    void work();
    void catch_up(LiveStream& stream, std::string after);
    void tell_events();
    void tell_settings(const EventPage& page);
    void tell(const Text& text);
    void tell_changed(Told& told, const char* name,
                      const std::function<nlohmann::ordered_json()>& source,
                      std::chrono::milliseconds each, std::chrono::milliseconds longest);
    void end_those_that_do_not_hold();
    bool has_readers();
    std::vector<std::shared_ptr<LiveStream>> streams();

    LivePictures& pictures_;
    const LiveSources sources_;

    // Of the thread, and of those that open streams.
    std::mutex mutex_;
    std::optional<std::string> cursor_;  // behind what was told; empty while nobody reads
    std::string committed_;              // as it was when events were asked for
    Told health_;
    Told counts_;
    Clock::time_point heartbeat_{};
    Clock::time_point looked_{};  // at sessions
    std::string complaint_;       // the last one, which is said once
    bool ended_ = false;

    std::mutex readers_mutex_;  // after mutex_, if both
    std::vector<Reader> readers_;

    Ticker ticker_;
};

}  // namespace host
