// Who is told of counts over HTTP, as the file of a place says it.
#pragma once

#include <string>
#include <vector>

#include "host/base/placed.h"
#include "host/base/toml_reader.h"

namespace host {

inline constexpr std::size_t kMostWebhooks = 16;  // each is a thread with a connection

struct WebhookOptions {
    std::string name;
    std::string url;      // there may be a secret in its path, so that only `host` is ever shown
    std::string host;     // of the URL
    std::string secret;   // as secret_value() gives it
    std::string ca_file;  // PEM; empty: the system's
    bool events = false;
    bool hours = false;
    bool days = false;
    bool csv = false;                        // hours and days also as a table
    std::vector<Placed<std::string>> kinds;  // of events; empty: all
    std::string place;                       // for messages
};

// Reads and checks a [[webhook]] table; files are looked for in `folder`. Throws InputError, which
// never shows the URL.
WebhookOptions read_webhook(const TomlValue& table, const std::string& folder);

}  // namespace host
