// Keys and files of a broker.
#include "host/settings/broker_options.h"

#include "host/base/input_error.h"
#include "host/settings/file_values.h"
#include "host/settings/secret_file.h"

namespace host {
namespace {

constexpr int kPlainPort = 1883;
constexpr int kTlsPort = 8883;

void check_host(const TomlValue& value, const std::string& host) {
    if (is_more_than_host(host)) {
        throw InputError(value.place("host") +
                         " is an address with more than a name in it; write the name alone, and "
                         "port, user, password_file and tls as keys of their own");
    }
    if (host.empty() || host.find_first_of(" \t\n") != std::string::npos)
        throw InputError(value.place("the broker's host is a name or an address"));
}

}  // namespace

bool is_more_than_host(const std::string& host) {
    return host.find("://") != std::string::npos || host.find('@') != std::string::npos;
}

int BrokerOptions::port_or_usual() const {
    if (port != 0) return port;
    return tls ? kTlsPort : kPlainPort;
}

TomlValue::Keys broker_keys(BrokerOptions& broker, const std::string& folder) {
    using Value = const TomlValue&;
    constexpr int kMostPort = 65535;
    const auto file = [folder](std::string& path, const char* key) {
        return [&path, key, folder](Value v) { path = file_value(v, key, folder); };
    };
    return {{"host",
             [&broker](Value v) {
                 broker.host = v.text();
                 check_host(v, broker.host);
             }},
            {"port", [&broker](Value v) { broker.port = v.whole(1, kMostPort); }},
            {"user", [&broker](Value v) { broker.user = v.text(); }},
            {"password",
             [](Value v) {
                 throw InputError(v.place("a password") +
                                  " does not stand in this file, which others may read; write it "
                                  "into a file of its own and name that as password_file");
             }},
            {"password_file",
             [&broker, folder](Value v) { broker.password = secret_value(v, folder); }},
            {"tls", [&broker](Value v) { broker.tls = v.flag(); }},
            {"ca_file", file(broker.ca_file, "ca_file")},
            {"certificate", file(broker.certificate, "certificate")},
            {"key", file(broker.key, "key")}};
}

void check_broker(const BrokerOptions& broker) {
    if (!broker.password.empty() && broker.user.empty())
        throw InputError(broker.place + " has a password_file and no user; add that");
    const bool files =
        !broker.ca_file.empty() || !broker.certificate.empty() || !broker.key.empty();
    if (files && !broker.tls)
        throw InputError(broker.place + " has certificates, which need tls = true; add that");
    if (broker.certificate.empty() != broker.key.empty()) {
        throw InputError(broker.place +
                         " has only one of certificate and key; a client needs both or none");
    }
}

MqttSettings mqtt_settings(const BrokerOptions& broker) {
    MqttSettings settings;
    settings.host = broker.host;
    settings.port = broker.port_or_usual();
    settings.user = broker.user;
    if (!broker.password.empty())
        settings.password = read_secret(broker.password, "password", broker.place);
    settings.tls = broker.tls;
    settings.ca_file = broker.ca_file;
    settings.certificate = broker.certificate;
    settings.key = broker.key;
    return settings;
}

}  // namespace host
