// Keys of a webhook, and which addresses it may have.
#include "host/settings/webhook_options.h"

#include <algorithm>

#include "host/base/input_error.h"
#include "host/settings/file_values.h"
#include "host/settings/secret_file.h"

namespace host {
namespace {

using Value = const TomlValue&;

constexpr std::string_view kPlain = "http://";
constexpr std::string_view kEncrypted = "https://";

bool is_this_machine(const std::string& host) {
    const bool numeric = host.find_first_not_of("0123456789.") == std::string::npos;
    return host == "localhost" || host == "[::1]" || (numeric && host.starts_with("127."));
}

// The name or address between the scheme and the path, without a port.
std::string host_of(const std::string& authority) {
    if (authority.starts_with('[')) return authority.substr(0, authority.find(']') + 1);
    return authority.substr(0, authority.find(':'));
}

void read_url(WebhookOptions& hook, Value value) {
    hook.url = value.text();
    const bool plain = hook.url.starts_with(kPlain);
    const auto is_strange = [](char c) { return c <= ' ' || c >= '\x7f' || c == '\\'; };
    if ((!plain && !hook.url.starts_with(kEncrypted)) ||
        std::any_of(hook.url.begin(), hook.url.end(), is_strange)) {
        throw InputError(value.place("url") +
                         " is no address of a receiver; write one such as "
                         "https://hooks.example.org/counts");
    }
    const std::size_t begin = plain ? kPlain.size() : kEncrypted.size();
    const std::string authority =
        hook.url.substr(begin, hook.url.find_first_of("/?#", begin) - begin);
    if (authority.find('@') != std::string::npos) {
        throw InputError(value.place("url") +
                         " has a login in it; leave it out: the receiver knows the sender by its "
                         "signature, whose key is in secret_file");
    }
    hook.host = host_of(authority);
    if (hook.host.empty() || hook.host == "[")
        throw InputError(value.place("url") + " names no receiver behind its //");
    if (plain && !is_this_machine(hook.host)) {
        throw InputError(value.place("url") + " reaches \"" + hook.host +
                         "\" without encryption; write https://, as http:// is for receivers on "
                         "this machine alone");
    }
}

void read_what(WebhookOptions& hook, Value value) {
    for (const TomlValue& item : value.one_or_more()) {
        const std::string what = item.text();
        if (what == "events") {
            hook.events = true;
        } else if (what == "hours") {
            hook.hours = true;
        } else if (what == "days") {
            hook.days = true;
        } else {
            throw InputError(item.place("send") + " has \"" + what +
                             "\"; known are \"events\", \"hours\" and \"days\"");
        }
    }
}

}  // namespace

WebhookOptions read_webhook(Value table, const std::string& folder) {
    WebhookOptions hook;
    std::string csv_place;
    std::string kinds_place;
    table.read_keys({{"name", [&](Value v) { hook.name = plain_name(v, "name"); }},
                     {"url", [&](Value v) { read_url(hook, v); }},
                     {"secret",
                      [](Value v) {
                          throw InputError(v.place("a secret") +
                                           " does not stand in this file, which others may read; "
                                           "write it into a file of its own and name that as "
                                           "secret_file");
                      }},
                     {"secret_file", [&](Value v) { hook.secret = secret_value(v, folder); }},
                     {"ca_file", [&](Value v) { hook.ca_file = file_value(v, "ca_file", folder); }},
                     {"send", [&](Value v) { read_what(hook, v); }},
                     {"kinds",
                      [&](Value v) {
                          kinds_place = v.place("kinds");
                          for (const TomlValue& kind : v.one_or_more())
                              hook.kinds.emplace_back(kind.text(), kind.place("kinds"));
                      }},
                     {"csv", [&](Value v) {
                          hook.csv = v.flag();
                          csv_place = v.place("csv");
                      }}});
    hook.place = table.place("the webhook");
    const auto needs = [&hook](bool there, const char* key, const char* example) {
        if (!there)
            throw InputError(hook.place + " has no " + key + "; write " + key + " = " + example);
    };
    needs(!hook.name.empty(), "name", "\"...\"");
    hook.place = table.place("the webhook \"" + hook.name + "\"");
    needs(!hook.url.empty(), "url", "\"https://...\"");
    needs(!hook.secret.empty(), "secret_file", "\"...\"");
    if (!hook.events && !hook.hours && !hook.days) hook.events = true;
    if (!hook.kinds.empty() && !hook.events)
        throw InputError(kinds_place + " belongs to a webhook that sends \"events\"");
    if (hook.csv && !hook.hours && !hook.days)
        throw InputError(csv_place + " belongs to a webhook that sends \"hours\" or \"days\"");
    return hook;
}

}  // namespace host
