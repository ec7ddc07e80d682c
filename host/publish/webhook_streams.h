// What a webhook sends, each kind in an order of its own: the events of a device, and the counts of
// hours or days.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/publish/webhook_message.h"
#include "host/store/opening_hours.h"
#include "host/store/subscription.h"

namespace host {

class WebhookStream {
  public:
    virtual ~WebhookStream() = default;
    // The first message that has not arrived; nothing while there is none.
    virtual std::optional<WebhookMessage> next(std::int64_t now_us) = 0;
    // What next() has told has arrived, or is given up.
    virtual void arrived() = 0;
    // Keeps how far it is, where that is possible.
    virtual void save() = 0;
};

struct EventStreamSetup {
    std::string place;
    std::string subscriber;
    std::string database;         // which need not exist yet
    std::set<std::string> kinds;  // empty: all
    std::string time_zone;
};

// Begins with what is counted from now on; of a database that does not exist yet with everything.
class EventStream : public WebhookStream {
  public:
    explicit EventStream(EventStreamSetup setup);
    std::optional<WebhookMessage> next(std::int64_t now_us) override;
    void arrived() override;
    void save() override;

  private:
    bool open();
    void skip();
    bool is_wanted(const ToldEvent& event) const;

    const EventStreamSetup setup_;
    const TimeZone zone_;
    const Subscription::Begin begin_;
    std::optional<Subscription> subscription_;
    std::chrono::steady_clock::time_point next_attempt_{};
    std::deque<ToldEvent> waiting_;
};

enum class ReportOf { kHours, kDays };

struct ReportStreamSetup {
    ReportOf of = ReportOf::kHours;
    std::string place;
    std::string id;                      // random; a part of the messages' ids
    std::vector<std::string> databases;  // of the cameras
    OpeningHours open;
    std::string time_zone;
    bool csv = false;
    std::int64_t told_us = 0;  // those that ended by then have arrived
    // It is further now.
    std::function<void(std::int64_t told_us)> keep;
};

// A report is made when all cameras have watched beyond its end, or five minutes after it.
class ReportStream : public WebhookStream {
  public:
    explicit ReportStream(ReportStreamSetup setup);
    std::optional<WebhookMessage> next(std::int64_t now_us) override;
    void arrived() override;
    void save() override {}

  private:
    struct Due {
        Date date;
        CountedPart part;
        std::int64_t end_us = 0;
    };
    std::optional<Due> first_after(std::int64_t told_us, std::int64_t now_us) const;
    std::vector<Due> of_day(const Date& date) const;
    WebhookMessage message_of(const Due& due, const std::vector<StoreReader>& stores,
                              std::vector<std::string> missing) const;

    ReportStreamSetup setup_;
    const TimeZone zone_;
    std::int64_t looked_us_ = 0;
    std::optional<Due> due_;
    std::optional<WebhookMessage> message_;  // stays the same until it has arrived
};

}  // namespace host
