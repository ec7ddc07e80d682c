// Tells one receiver over HTTP what is counted, by Standard Webhooks 1.0, on a thread of its own:
// each message again and again until the receiver has taken it, in the order of its stream.
//
// Status 2xx is receipt; 410 ends the webhook until its settings change. No answer, 408, 425, 429
// and 5xx are the receiver's trouble, in which everything waits. Anything else refuses this one
// message: its stream waits, and after a day of refusals it is left out.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/base/log_lines.h"
#include "host/net/http_post.h"
#include "host/publish/webhook_pauses.h"
#include "host/publish/webhook_streams.h"
#include "host/store/webhook_book.h"

namespace host {

// Begins the names under which webhooks keep how far they are.
inline constexpr const char* kWebhookSubscribers = "webhook:";

struct WebhookSetup {
    std::string place;
    std::string name;
    std::string host;  // of the receiver, for sentences
    HttpPostSetup post;
    WebhookKey key;
    std::string settings;  // a digest of all that somebody has set
    std::string time_zone;
    OpeningHours open;
    std::vector<std::string> cameras;  // their databases
    std::string place_database;
    bool events = true;
    bool hours = false;
    bool days = false;
    bool csv = false;
    std::set<std::string> kinds;  // of events; empty: all
    std::string service_database;
    // One sentence when something begins or ends to be wrong; on the webhook's thread.
    Say say;
    std::vector<std::chrono::milliseconds> pauses = WebhookPauses::usual();
    std::chrono::milliseconds refusals = std::chrono::hours(24);  // before one is left out
};

class Webhook {
  public:
    // Throws InputError for a time zone that does not exist, ForeignDatabase and StoreError.
    explicit Webhook(WebhookSetup setup);
    // Waits for an answer no longer than three seconds.
    ~Webhook();
    Webhook(const Webhook&) = delete;
    Webhook& operator=(const Webhook&) = delete;

    const std::string& settings() const { return setup_.settings; }

  private:
    using Clock = WebhookPauses::Clock;
    struct Stream {
        std::unique_ptr<WebhookStream> messages;
        WebhookPauses pauses;
        int status = 0;  // with which the receiver refuses the first of them
    };

    void add_events(const std::string& database);
    void add_reports(ReportOf of, std::optional<std::int64_t>& told_us);
    void add(std::unique_ptr<WebhookStream> messages);
    void run(const std::stop_token& stop);
    bool deliver_round(const std::stop_token& stop);
    bool deliver(Stream& stream, const std::stop_token& stop);
    void refuse(Stream& stream, const WebhookMessage& message, int status);
    std::string fault_now() const;
    void look_at_faults();
    void keep_stand();

    const WebhookSetup setup_;
    WebhookBook book_;
    WebhookStand stand_;
    bool kept_ = false;
    HttpPoster poster_;
    WebhookPauses receiver_;
    std::string trouble_;  // of the receiver, the last
    std::vector<Stream> streams_;

    std::mutex mutex_;
    std::condition_variable_any stopped_;
    std::jthread thread_;
};

}  // namespace host
