// Who asks, and whether a browser was made to ask by another site.
//
// Somebody is known by the cookie of a session or by a token. The name under which the service is
// asked must be one of its own, so that nobody's name server can lead a browser here. Whatever is
// not GET must come as JSON, which no form of another site can send, and from a page of this
// service; a program with a token has no page.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/web/accounts.h"

namespace host {

inline constexpr const char* kSessionPath = "/api/v1/session";
inline constexpr const char* kPasswordPath = "/api/v1/session/password";
inline constexpr const char* kSessionCookie = "vca_session";

struct GateSetup {
    std::string address;             // numeric, that is listened on
    std::vector<std::string> hosts;  // other names, in lower case
};

// The accounts must outlive it.
Gate make_gate(Accounts& accounts, const GateSetup& setup);

// What the cookie of the session holds. Nothing when there are two: one is somebody else's.
std::optional<std::string> session_of(const HttpRequest& request);

// Where a login comes from: the address of whoever asks, or what a reverse proxy on this machine
// says of it.
std::string address_of(const HttpRequest& request);

}  // namespace host
