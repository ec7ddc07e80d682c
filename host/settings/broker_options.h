// How an MQTT broker is reached, as the files of sites and places say it.
#pragma once

#include <string>

#include "host/base/toml_reader.h"
#include "host/net/mqtt_client.h"

namespace host {

struct BrokerOptions {
    std::string host = "127.0.0.1";
    int port = 0;  // 0: the usual one
    std::string user;
    std::string password;  // as secret_value() gives it: never the password itself
    bool tls = false;
    std::string ca_file;      // PEM; empty: the system's
    std::string certificate;  // of the client; PEM
    std::string key;
    std::string place;  // for messages

    int port_or_usual() const;
};

// Whether more than a name or an address is given. There may be a password in it, so that it is not
// to be shown.
bool is_more_than_host(const std::string& host);

// The keys of a table that describes a broker; files are looked for in `folder`.
TomlValue::Keys broker_keys(BrokerOptions& broker, const std::string& folder);
// What fits together. Throws InputError.
void check_broker(const BrokerOptions& broker);

// For a client, with the password. Throws InputError when that cannot be read.
MqttSettings mqtt_settings(const BrokerOptions& broker);

}  // namespace host
