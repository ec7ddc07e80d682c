// Checks of a request that hold whatever it asks for.
#include "host/web/gate.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "host/base/text.h"
#include "host/web/api_answer.h"

namespace host {
namespace {

constexpr int kUnauthorised = 401;
constexpr int kForbidden = 403;
constexpr int kWrongType = 415;
constexpr int kWrongHost = 421;

using Refusal = std::optional<HttpResponse>;

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool is_numeric(const std::string& host) {
    std::array<unsigned char, sizeof(in6_addr)> bytes{};
    return ::inet_pton(AF_INET, host.c_str(), bytes.data()) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), bytes.data()) == 1;
}

// "example.org" of "example.org:8080", "::1" of "[::1]:8080"; empty for anything else.
std::string host_in(const std::string& authority) {
    const bool v6 = authority.starts_with('[');
    const std::size_t end = v6 ? authority.find(']') : authority.find(':');
    const std::string host =
        authority.substr(v6 ? 1 : 0, v6 && end != std::string::npos ? end - 1 : end);
    if (end == std::string::npos) return v6 ? "" : host;
    const std::string port = authority.substr(v6 ? end + 1 : end);
    const bool sound = port.empty() || (port.starts_with(':') &&
                                        std::all_of(port.begin() + 1, port.end(),
                                                    [](char c) { return c >= '0' && c <= '9'; }));
    return sound ? host : "";
}

bool contains(const std::vector<std::string>& list, const std::string& text) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

bool is_known(const std::string& host, const GateSetup& setup) {
    if (host == "localhost" || host == "127.0.0.1" || host == "::1") return true;
    if (host == setup.address || contains(setup.hosts, host)) return true;
    const bool any = setup.address == "0.0.0.0" || setup.address == "::";
    // Whoever names a number needs no name server that could lie.
    return any && is_numeric(host);
}

int times(const HttpRequest& request, const std::string& name) {
    const std::string wanted = lower(name);
    return static_cast<int>(
        std::count_if(request.headers.begin(), request.headers.end(),
                      [&](const auto& header) { return lower(header.first) == wanted; }));
}

Refusal refuse_host(const HttpRequest& request, const GateSetup& setup) {
    const std::string given = lower(request.header("Host"));
    const std::string host = host_in(given);
    if (times(request, "Host") == 1 && !host.empty() && is_known(host, setup)) return std::nullopt;
    constexpr std::size_t kMostShown = 100;
    return error_answer(kWrongHost, "This service is not known as \"" +
                                        cut_to(visible(given), kMostShown) +
                                        "\"; hosts in the table [web] of its file can name it.");
}

bool is_own_page(const HttpRequest& request, const GateSetup& setup) {
    const std::string site = request.header("Sec-Fetch-Site");
    if (!site.empty()) return site == "same-origin";
    const std::string origin = lower(request.header("Origin"));
    const std::size_t end = origin.find("://");
    if (end == std::string::npos) return false;
    // Whoever stands on the way may have made a page that came without TLS.
    if (request.tls && !origin.starts_with("https://")) return false;
    const std::string authority = origin.substr(end + 3);
    // A reverse proxy may ask under another name than its visitors.
    return authority == lower(request.header("Host")) || contains(setup.hosts, host_in(authority));
}

Refusal refuse_write(const HttpRequest& request, const GateSetup& setup, bool by_token) {
    const bool from_page =
        !request.header("Sec-Fetch-Site").empty() || !request.header("Origin").empty();
    if ((!by_token || from_page) && !is_own_page(request, setup))
        return error_answer(kForbidden, "Another site may have asked for this, so it is not done.");
    const std::string type = lower(request.header("Content-Type"));
    if (type.substr(0, type.find(';')) != kJsonType)
        return error_answer(kWrongType, std::string("The content type must be ") + kJsonType + ".");
    return std::nullopt;
}

// Nothing when the request carries none; empty for one that is not known.
std::optional<Caller> token_caller(const HttpRequest& request, Accounts& accounts) {
    constexpr std::string_view kBearer = "bearer ";
    const std::string given = request.header("Authorization");
    // A reverse proxy's own passwords are no concern of ours.
    if (!lower(given).starts_with(kBearer)) return std::nullopt;
    return accounts.of_token(given.substr(kBearer.size())).value_or(Caller{});
}

HttpResponse refuse_token() {
    HttpResponse refused = error_answer(kUnauthorised, "This token is not known.");
    refused.headers.emplace_back("WWW-Authenticate", "Bearer");
    return refused;
}

// With a one-time password somebody may choose another one, and see what everybody sees.
std::variant<Caller, HttpResponse> with_one_time_password(const HttpRequest& request,
                                                          const Caller& caller) {
    if (request.path == kSessionPath || request.path == kPasswordPath) return caller;
    if (!request.path.starts_with("/api/")) return Caller{};
    return error_answer(kForbidden, "Please choose a password of your own first.");
}

}  // namespace

std::optional<std::string> session_of(const HttpRequest& request) {
    const std::string begin = std::string(kSessionCookie) + "=";
    std::optional<std::string> found;
    for (const auto& [name, value] : request.headers) {
        if (lower(name) != "cookie") continue;
        for (std::string_view rest = value; !rest.empty();) {
            const std::size_t end = rest.find(';');
            std::string_view cookie = rest.substr(0, end);
            rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
            while (cookie.starts_with(' '))
                cookie.remove_prefix(1);
            if (!cookie.starts_with(begin)) continue;
            if (found) return std::nullopt;
            found = std::string(cookie.substr(begin.size()));
        }
    }
    return found;
}

std::string address_of(const HttpRequest& request) {
    if (request.peer != "127.0.0.1" && request.peer != "::1") return request.peer;
    const std::string said = request.header("X-Forwarded-For");
    std::string last = said.substr(said.rfind(',') + 1);
    last.erase(0, last.find_first_not_of(' '));
    return is_numeric(last) ? last : request.peer;
}

Gate make_gate(Accounts& accounts, const GateSetup& setup) {
    return [&accounts, setup](const HttpRequest& request) -> std::variant<Caller, HttpResponse> {
        if (auto refused = refuse_host(request, setup)) return std::move(*refused);
        const std::optional<Caller> program = token_caller(request, accounts);
        if (program && program->role == Role::kNobody) return refuse_token();
        if (request.method != "GET") {
            if (auto refused = refuse_write(request, setup, program.has_value()))
                return std::move(*refused);
        }
        if (program) return *program;
        const auto session = session_of(request);
        const Caller user = session ? accounts.of_session(*session).value_or(Caller{}) : Caller{};
        if (user.must_change_password) return with_one_time_password(request, user);
        return user;
    };
}

}  // namespace host
