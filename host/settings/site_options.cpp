// Values of the options of a site.
#include "host/settings/site_options.h"

#include <charconv>
#include <chrono>

#include "host/frames/frame_source.h"
#include "host/settings/broker_options.h"

namespace host {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr milliseconds kLongestPast = std::chrono::minutes(1);
constexpr milliseconds kLongestWait = std::chrono::hours(1);

template <typename Whole>
bool whole(std::string_view text, Whole& value) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && stop == end;
}

}  // namespace

BrokerAddress parse_broker(const std::string& text) {
    if (is_more_than_host(text)) {
        throw InputError(
            "--broker has more than a host and its port; user and password_file belong into the "
            "[broker] table of the site's file");
    }
    BrokerAddress address;
    const auto colon = text.rfind(':');
    const bool fits = colon != std::string::npos && colon > 0 &&
                      text.find_first_of(" \t\n") == std::string::npos &&
                      whole(std::string_view(text).substr(colon + 1), address.port) &&
                      address.port >= 1 && address.port <= 65535;
    if (!fits) {
        throw InputError("--broker is \"" + text +
                         "\"; write the broker's host and port such as 192.168.0.10:1883");
    }
    address.host = text.substr(0, colon);
    return address;
}

std::int64_t parse_start_at(const std::string& text) {
    std::int64_t value = 0;
    if (!whole(std::string_view(text), value)) {
        throw InputError("--start-at is \"" + text +
                         "\"; write a moment in milliseconds since 1970");
    }
    const auto now =
        duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    if (value < now - kLongestPast.count() || value > now + kLongestWait.count()) {
        throw InputError("--start-at is " + text +
                         ", which is not within the last minute or the next hour; now is " +
                         std::to_string(now));
    }
    return value;
}

}  // namespace host
