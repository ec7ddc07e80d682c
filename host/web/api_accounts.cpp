// One function for each request.
#include "host/web/api_accounts.h"

#include <nlohmann/json.hpp>

#include "host/store/local_time.h"
#include "host/web/account_checks.h"
#include "host/web/api_answer.h"
#include "host/web/gate.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kUsersPath = "/api/v1/users";
constexpr const char* kUserPath = "/api/v1/users/{user}";
constexpr const char* kTokensPath = "/api/v1/tokens";
constexpr const char* kTokenPath = "/api/v1/tokens/{token}";
constexpr int kCreated = 201;
constexpr int kDone = 204;
constexpr int kWrongPassword = 401;
constexpr int kForbidden = 403;
constexpr int kTooMany = 429;

HttpResponse done(int status) {
    HttpResponse response;
    response.status = status;
    return response;
}

std::string text_in(const Json& body, const char* key, int most) {
    const auto found = body.find(key);
    if (found == body.end() || !found->is_string())
        throw ApiError(kBadRequest, "\"" + std::string(key) + "\" is missing or no text.");
    auto text = found->get<std::string>();
    if (characters_of(text) <= most) return text;
    throw ApiError(kBadRequest, "\"" + std::string(key) + "\" has more than " +
                                    std::to_string(most) + " characters.");
}

Role role_in(const Json& body) {
    const auto found = body.find("role");
    if (found != body.end() && found->is_string())
        if (const auto role = role_named(found->get<std::string>())) return *role;
    throw ApiError(kBadRequest, "\"role\" must be viewer, operator or admin.");
}

Json time_json(const TimeZone& zone, const std::optional<std::int64_t>& time_us) {
    return time_us ? Json(zone.text(*time_us)) : Json(nullptr);
}

Json session_json(const Caller& caller, Accounts& accounts) {
    const bool known = caller.role != Role::kNobody;
    return {{"name", known ? Json(caller.name) : Json(nullptr)},
            {"role", known ? Json(role_name(caller.role)) : Json(nullptr)},
            {"must_change_password", caller.must_change_password},
            {"first_start", !accounts.has_anybody_logged_in()}};
}

HttpResponse wait_answer(int seconds) {
    HttpResponse response = error_answer(
        kTooMany, "There were too many wrong passwords; wait " + std::to_string(seconds) + " s.");
    response.headers.emplace_back("Retry-After", std::to_string(seconds));
    return response;
}

std::string cookie(const std::string& value, const HttpRequest& request) {
    std::string text =
        std::string(kSessionCookie) + "=" + value + "; HttpOnly; SameSite=Strict; Path=/";
    // A reverse proxy says so, too; whoever lies about it gets a stricter cookie.
    if (request.tls || request.header("X-Forwarded-Proto") == "https") text += "; Secure";
    return text;
}

HttpResponse log_in(const HttpRequest& request, Accounts& accounts) {
    const Json body = json_body(request);
    const std::string name = text_in(body, "name", kMostNameCharacters);
    const std::string password = text_in(body, "password", kMostPasswordCharacters);
    const LoginResult result = accounts.log_in(name, password, address_of(request));
    if (result.wait_s > 0) return wait_answer(result.wait_s);
    if (result.session.empty()) return error_answer(kWrongPassword, "Name or password is wrong.");
    // Whoever knew the session before must not know the new one.
    if (const auto before = session_of(request)) accounts.log_out(*before);
    HttpResponse response = json_answer(session_json(result.caller, accounts));
    response.headers.emplace_back("Set-Cookie", cookie(result.session, request));
    return response;
}

HttpResponse log_out(const HttpRequest& request, Accounts& accounts) {
    if (const auto session = session_of(request)) accounts.log_out(*session);
    HttpResponse response = done(kDone);
    response.headers.emplace_back("Set-Cookie", cookie("; Max-Age=0", request));
    return response;
}

HttpResponse change_password(const ApiCall& call, Accounts& accounts) {
    const auto session = session_of(call.request);
    if (!session || accounts.of_session(*session).value_or(Caller{}).name != call.caller.name)
        return error_answer(kForbidden, "A token has no password.");
    const Json body = json_body(call.request);
    const std::string old = text_in(body, "old", kMostPasswordCharacters);
    const std::string fresh = text_in(body, "new", kMostPasswordCharacters);
    const int wait_s = accounts.change_own_password(call.caller.name, old, fresh, *session,
                                                    address_of(call.request));
    return wait_s > 0 ? wait_answer(wait_s) : done(kDone);
}

HttpResponse list_users(Accounts& accounts, const std::string& time_zone) {
    const TimeZone zone(time_zone);
    Json list = Json::array();
    for (const UserEntry& user : accounts.users()) {
        list.push_back({{"name", user.name},
                        {"role", role_name(user.role)},
                        {"last_login", time_json(zone, user.last_login_us)}});
    }
    return json_answer({{"users", std::move(list)}});
}

HttpResponse add_user(const HttpRequest& request, Accounts& accounts) {
    const Json body = json_body(request);
    accounts.add_user({text_in(body, "name", kMostNameCharacters), role_in(body), {}},
                      text_in(body, "password", kMostPasswordCharacters));
    return done(kCreated);
}

HttpResponse change_user(const ApiCall& call, Accounts& accounts) {
    const Json body = json_body(call.request);
    UserChange change;
    if (body.contains("role")) change.role = role_in(body);
    if (body.contains("password"))
        change.password = text_in(body, "password", kMostPasswordCharacters);
    accounts.change_user(call.names.at("user"), change);
    return done(kDone);
}

HttpResponse list_tokens(Accounts& accounts, const std::string& time_zone) {
    const TimeZone zone(time_zone);
    Json list = Json::array();
    for (const TokenEntry& token : accounts.tokens()) {
        list.push_back({{"id", token.id},
                        {"name", token.name},
                        {"role", role_name(token.role)},
                        {"created", zone.text(token.made_us)},
                        {"last_used", time_json(zone, token.used_us)}});
    }
    return json_answer({{"tokens", std::move(list)}});
}

HttpResponse add_token(const ApiCall& call, Accounts& accounts) {
    const Json body = json_body(call.request);
    const MadeToken made = accounts.add_token(text_in(body, "name", kMostNameCharacters),
                                              role_in(body), call.caller.name);
    return json_answer({{"id", made.id}, {"token", made.secret}}, kCreated);
}

}  // namespace

void add_account_routes(Router& router, Accounts& accounts,
                        const std::function<std::string()>& time_zone) {
    router.add("GET", kSessionPath, Role::kNobody, [&accounts](const ApiCall& call) {
        return json_answer(session_json(call.caller, accounts));
    });
    router.add("POST", kSessionPath, Role::kNobody,
               [&accounts](const ApiCall& call) { return log_in(call.request, accounts); });
    router.add("DELETE", kSessionPath, Role::kNobody,
               [&accounts](const ApiCall& call) { return log_out(call.request, accounts); });
    router.add("PUT", kPasswordPath, Role::kViewer,
               [&accounts](const ApiCall& call) { return change_password(call, accounts); });
    router.add("GET", kUsersPath, Role::kAdmin, [&accounts, time_zone](const ApiCall&) {
        return list_users(accounts, time_zone());
    });
    router.add("POST", kUsersPath, Role::kAdmin,
               [&accounts](const ApiCall& call) { return add_user(call.request, accounts); });
    router.add("PUT", kUserPath, Role::kAdmin,
               [&accounts](const ApiCall& call) { return change_user(call, accounts); });
    router.add("DELETE", kUserPath, Role::kAdmin, [&accounts](const ApiCall& call) {
        accounts.remove_user(call.names.at("user"));
        return done(kDone);
    });
    router.add("GET", kTokensPath, Role::kAdmin, [&accounts, time_zone](const ApiCall&) {
        return list_tokens(accounts, time_zone());
    });
    router.add("POST", kTokensPath, Role::kAdmin,
               [&accounts](const ApiCall& call) { return add_token(call, accounts); });
    router.add("DELETE", kTokenPath, Role::kAdmin, [&accounts](const ApiCall& call) {
        accounts.remove_token(call.names.at("token"));
        return done(kDone);
    });
}

}  // namespace host
