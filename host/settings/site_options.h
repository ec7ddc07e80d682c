// What a run of a site, or of one of its devices, is asked to do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace host {

struct BrokerAddress {
    std::string host;
    int port = 0;
};

struct SiteOptions {
    std::string file;
    std::string device;                       // empty: the whole site on this machine
    bool alone = false;                       // the device counts by itself, as fast as it can
    std::optional<BrokerAddress> broker;      // none: the file's
    std::optional<std::int64_t> start_at_ms;  // since 1970, when the scene begins
    std::optional<double> seconds;            // end of the run in scene time
    std::optional<std::int64_t> frames;
    std::string output;  // empty: out/<site>, for a device out/<site>/<device>
    bool quiet = false;
};

// "HOST:PORT". Throws InputError.
BrokerAddress parse_broker(const std::string& text);

// Milliseconds since 1970, from a minute ago to an hour ahead. Throws InputError.
std::int64_t parse_start_at(const std::string& text);

}  // namespace host
