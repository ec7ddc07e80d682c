// Messages of a webhook by Standard Webhooks 1.0, and how they are signed.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/store/count_table.h"

namespace host {

inline constexpr const char* kWebhookContentType = "application/json";
inline constexpr const char* kWebhookId = "webhook-id";
inline constexpr const char* kWebhookTimestamp = "webhook-timestamp";
inline constexpr const char* kWebhookSignature = "webhook-signature";

struct WebhookMessage {
    std::string id;  // the same whenever it is sent again
    std::string body;
};

using WebhookKey = std::vector<unsigned char>;

// The key in "whsec_" and base64, of 24 to 64 bytes. Throws InputError that begins with `place`
// and does not show it.
WebhookKey parse_webhook_key(const std::string& secret, const std::string& place);

// "v1," and base64 of HMAC-SHA256 over id, time and body with full stops between them; the time is
// in seconds since 1970.
std::string webhook_signature(const WebhookKey& key, const WebhookMessage& message,
                              std::int64_t time_s);

// What goes in front of the body.
std::vector<std::pair<std::string, std::string>> webhook_headers(const WebhookKey& key,
                                                                 const WebhookMessage& message,
                                                                 std::int64_t time_s);

// An event; its id is made of place, device, epoch and sequence.
WebhookMessage event_message(const std::string& place, const ToldEvent& event,
                             const TimeZone& zone);

// Counts of an hour or a day.
struct CountReport {
    std::string id;
    const char* type = "";
    std::string place;
    Date date;
    std::string hour;  // its label; empty for a day
    TimeSpan span;
    ResultTable table;
    std::vector<std::string> missing;  // cameras whose counts could not be read
    bool csv = false;                  // the table also as text
};
WebhookMessage report_message(const CountReport& report, const TimeZone& zone);

}  // namespace host
