// Bodies and signatures.
#include "host/publish/webhook_message.h"

#include <sodium.h>

#include <array>
#include <nlohmann/json.hpp>

#include "host/base/input_error.h"
#include "host/store/event_rows.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kPrefix = "whsec_";
constexpr std::size_t kShortestKey = 24;
constexpr std::size_t kLongestKey = 64;
constexpr const char* kEventTypes = "event.";

std::string body_of(const std::string& type, const std::string& timestamp, Json data) {
    return Json{{"type", type}, {"timestamp", timestamp}, {"data", std::move(data)}}.dump(
        -1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

WebhookKey parse_webhook_key(const std::string& secret, const std::string& place) {
    WebhookKey key(kLongestKey + 1);
    std::size_t size = 0;
    const bool prefixed = secret.starts_with(kPrefix);
    const std::string text = prefixed ? secret.substr(kPrefix.size()) : "";
    const bool read =
        prefixed && sodium_base642bin(key.data(), key.size(), text.data(), text.size(), nullptr,
                                      &size, nullptr, sodium_base64_VARIANT_ORIGINAL) == 0;
    if (!read || size < kShortestKey || size > kLongestKey) {
        throw InputError(place +
                         ": the secret file does not hold a key of webhooks; write whsec_ and 24 "
                         "to 64 bytes in base64, such as: echo whsec_$(openssl rand -base64 32)");
    }
    key.resize(size);
    return key;
}

std::string webhook_signature(const WebhookKey& key, const WebhookMessage& message,
                              std::int64_t time_s) {
    const std::string text = message.id + "." + std::to_string(time_s) + "." + message.body;
    crypto_auth_hmacsha256_state state;
    std::array<unsigned char, crypto_auth_hmacsha256_BYTES> bits{};
    crypto_auth_hmacsha256_init(&state, key.data(), key.size());
    crypto_auth_hmacsha256_update(&state, reinterpret_cast<const unsigned char*>(text.data()),
                                  text.size());
    crypto_auth_hmacsha256_final(&state, bits.data());
    constexpr int kForm = sodium_base64_VARIANT_ORIGINAL;
    std::array<char, sodium_base64_ENCODED_LEN(bits.size(), kForm)> base64{};
    sodium_bin2base64(base64.data(), base64.size(), bits.data(), bits.size(), kForm);
    return std::string("v1,") + base64.data();
}

std::vector<std::pair<std::string, std::string>> webhook_headers(const WebhookKey& key,
                                                                 const WebhookMessage& message,
                                                                 std::int64_t time_s) {
    return {{"Content-Type", kWebhookContentType},
            {kWebhookId, message.id},
            {kWebhookTimestamp, std::to_string(time_s)},
            {kWebhookSignature, webhook_signature(key, message, time_s)}};
}

WebhookMessage event_message(const std::string& place, const ToldEvent& event,
                             const TimeZone& zone) {
    ResultTable table = event_table();
    table.rows.push_back(event_row(event, zone));
    return {place + "_" + event.device + "_" + event.number.epoch + "_" +
                std::to_string(event.number.sequence),
            body_of(kEventTypes + event.kind, zone.text(event.time_us),
                    {{"place", place}, {"event", Json::parse(json_line(table, 0))}})};
}

WebhookMessage report_message(const CountReport& report, const TimeZone& zone) {
    Json data{{"place", report.place}, {"date", date_text(report.date)}};
    if (!report.hour.empty()) data["hour"] = report.hour;
    data["from"] = zone.text(report.span.from_us);
    data["to"] = zone.text(report.span.to_us);
    data["counts"] = Json::parse(as_json(report.table));
    data["missing"] = report.missing;
    if (report.csv) data["csv"] = as_csv(report.table);
    return {report.id, body_of(report.type, zone.text(report.span.to_us), std::move(data))};
}

}  // namespace host
