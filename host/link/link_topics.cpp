// Building and parsing of topics and sender clocks.
#include "host/link/link_topics.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace host {
namespace {

constexpr std::string_view kRoot = "vca/";
constexpr std::size_t kLongestName = 64;

bool is_name_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
}

}  // namespace

void check_topic_name(std::string_view name, std::string_view what) {
    if (!name.empty() && name.size() <= kLongestName &&
        std::all_of(name.begin(), name.end(), is_name_letter)) {
        return;
    }
    throw std::invalid_argument(std::string(what) + " \"" + std::string(name.substr(0, 80)) +
                                "\" must be 1 to 64 letters, digits, '-' and '_'");
}

std::string device_topic(std::string_view site, std::string_view device, std::string_view kind) {
    return std::string(kRoot) + std::string(site) + "/" + std::string(device) + "/" +
           std::string(kind);
}

std::string frame_count_topic(std::string_view site) {
    return std::string(kRoot) + std::string(site) + "/frame-count";
}

std::string client_id(std::string_view site, std::string_view device) {
    return "vca-" + std::string(site) + "-" + std::string(device);
}

std::optional<DeviceTopic> split_topic(std::string_view site, std::string_view topic) {
    if (!topic.starts_with(kRoot)) return std::nullopt;
    topic.remove_prefix(kRoot.size());
    if (!topic.starts_with(site) || topic.size() <= site.size() || topic[site.size()] != '/') {
        return std::nullopt;
    }
    topic.remove_prefix(site.size() + 1);
    const std::size_t slash = topic.find('/');
    if (slash == std::string_view::npos) return std::nullopt;
    const DeviceTopic parts{topic.substr(0, slash), topic.substr(slash + 1)};
    if (parts.kind.find('/') != std::string_view::npos) return std::nullopt;
    return parts;
}

std::string to_text(const SenderClock& clock) {
    return clock.process + "." + std::to_string(clock.turn);
}

SenderClock parse_sender_clock(std::string_view text) {
    const std::size_t dot = text.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot > kLongestName) return {};
    SenderClock clock{std::string(text.substr(0, dot)), 0};
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + dot + 1, end, clock.turn);
    if (error != std::errc() || rest != end) return {};
    return clock;
}

}  // namespace host
