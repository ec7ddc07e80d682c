// What somebody with bad intentions may try over HTTP.
#include "host/web/api_answer.h"
#include "tests/host/web/account_fixture.h"
#include "tests/host/web/api_contract.h"

namespace {

using host::HttpResponse;
using host::Role;
using test::Headers;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kSession = "/api/v1/session";
constexpr const char* kUsers = "/api/v1/users";
constexpr const char* kTokens = "/api/v1/tokens";

class Security : public test::AccountFolder {
  protected:
    Security() {
        add("admin", Role::kAdmin);
        add("anna", Role::kOperator);
        add("tom", Role::kViewer);
    }
    int status(const std::string& method, const std::string& path, const Headers& headers = {},
               const nlohmann::json& body = nullptr) const {
        return ask(method, path, headers, body).status;
    }
    // A write with these headers beside a cookie and the type.
    int write_with(const Headers& more, const std::string& type = "application/json") {
        Headers headers = cookie(session("anna"));
        headers.emplace_back("Host", kHost);
        headers.emplace_back("Content-Type", type);
        headers.insert(headers.end(), more.begin(), more.end());
        return ask_plainly("PUT", "/api/v1/drawn", headers).status;
    }
    int get_as(const Headers& hosts) const { return ask_plainly("GET", kSession, hosts).status; }
};

TEST_F(Security, NothingIsTold) {
    for (const char* path : {"/api/v1/seen", kUsers, kTokens})
        EXPECT_EQ(status("GET", path), 401) << path;
    EXPECT_EQ(status("PUT", "/api/v1/drawn"), 401);
    EXPECT_EQ(status("PUT", "/api/v1/session/password", {}, {{"old", "a"}, {"new", "b"}}), 401);
    const HttpResponse nobody = ask("GET", kSession);
    EXPECT_EQ(nobody.status, 200);
    EXPECT_EQ(nobody.body, R"({"name":null,"role":null,"must_change_password":false,)"
                           R"("first_start":true})");
}

TEST_F(Security, ALoginGivesACookieThatScriptsDoNotSee) {
    const HttpResponse response = log_in("anna", kPassword);
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(json(response)["role"], "operator");
    EXPECT_EQ(json(response)["first_start"], false);
    EXPECT_THAT(header(response, "Set-Cookie"),
                AllOf(HasSubstr("; HttpOnly"), HasSubstr("; SameSite=Strict"),
                      HasSubstr("; Path=/"), Not(HasSubstr("Secure"))));
    const Headers mine = cookie(cookie_in(response));
    EXPECT_EQ(ask("GET", "/api/v1/seen", mine).body, "anna");
    EXPECT_EQ(ask("PUT", "/api/v1/drawn", mine).body, "anna");
    EXPECT_THAT(header(log_in("anna", kPassword, {{"X-Forwarded-Proto", "https"}}), "Set-Cookie"),
                HasSubstr("; Secure"));
    tls_ = true;
    EXPECT_THAT(header(log_in("anna", kPassword), "Set-Cookie"), HasSubstr("; Secure"));
}

TEST_F(Security, NameAndPasswordAreWrongInOneSentence) {
    const HttpResponse wrong = log_in("anna", "a bad password");
    EXPECT_EQ(wrong.status, 401);
    EXPECT_EQ(header(wrong, "Set-Cookie"), "");
    EXPECT_EQ(log_in("nobody", kPassword).body, wrong.body) << "does not tell who is known";
}

TEST_F(Security, NothingChangesByGet) {
    const Headers admin = cookie(session("admin"));
    const std::string id =
        json(ask("POST", kTokens, admin, {{"name", "x"}, {"role", "viewer"}}))["id"];
    for (const std::string& path :
         std::vector<std::string>{"/api/v1/session/password", "/api/v1/users/tom",
                                  "/api/v1/tokens/" + id, "/api/v1/drawn"})
        EXPECT_EQ(status("GET", path, admin), 405) << path;
    EXPECT_EQ(status("GET", "/api/v1/session?name=tom&password=x", admin), 404);
    EXPECT_EQ(json(ask("GET", kUsers, admin))["users"].size(), 3u);
    EXPECT_EQ(json(ask("GET", kTokens, admin))["tokens"].size(), 1u);
}

TEST_F(Security, AnotherSiteCannotWrite) {
    EXPECT_EQ(write_with({}), 403) << "a browser says where it comes from";
    for (const char* site : {"cross-site", "same-site", "none", "other"})
        EXPECT_EQ(write_with({{"Sec-Fetch-Site", site}}), 403) << site;
    for (const char* origin :
         {"http://evil.example", "null", "http://127.0.0.1:9999", "http://127.0.0.1",
          "http://127.0.0.1:8080.evil.example", "http://evil.example/127.0.0.1:8080", "://", ""})
        EXPECT_EQ(write_with({{"Origin", origin}}), 403) << origin;
    EXPECT_EQ(write_with({{"Origin", "http://127.0.0.1:8080"}, {"Sec-Fetch-Site", "cross-site"}}),
              403);
    EXPECT_EQ(write_with({{"Origin", "http://127.0.0.1:8080"}}), 200);
    EXPECT_EQ(write_with({{"Sec-Fetch-Site", "same-origin"}}), 200);
    EXPECT_EQ(write_with({{"Origin", "https://counter.example.org"}}), 200)
        << "a reverse proxy that asks by another name";
}

TEST_F(Security, WithTlsAPageThatCameWithoutCannotWrite) {
    tls_ = true;
    EXPECT_EQ(write_with({{"Origin", "http://127.0.0.1:8080"}}), 403);
    EXPECT_EQ(write_with({{"Origin", "https://127.0.0.1:8080"}}), 200);
}

TEST_F(Security, AFormCannotLogAnybodyInOrOut) {
    const nlohmann::json body{{"name", "tom"}, {"password", kPassword}};
    const Headers evil{
        {"Host", kHost}, {"Origin", "http://evil.example"}, {"Content-Type", "application/json"}};
    EXPECT_EQ(ask_plainly("POST", kSession, evil, body.dump()).status, 403);
    EXPECT_EQ(ask_plainly("DELETE", kSession, evil).status, 403);
    const Headers own = {{"Sec-Fetch-Site", "same-origin"}};
    for (const char* type : {"text/plain", "application/x-www-form-urlencoded", "",
                             "multipart/form-data; boundary=application/json", "application/jsonx"})
        EXPECT_EQ(write_with(own, type), 415) << type;
    EXPECT_EQ(write_with(own, "application/json; charset=utf-8"), 200);
    EXPECT_EQ(write_with(own, "Application/JSON"), 200);
}

TEST_F(Security, OnlyItsOwnNamesAreAnswered) {
    for (const char* host : {"127.0.0.1:8080", "127.0.0.1", "localhost:8080", "LOCALHOST",
                             "[::1]:8080", "counter.example.org", "counter.example.org:443"})
        EXPECT_EQ(get_as({{"Host", host}}), 200) << host;
    for (const char* host :
         {"evil.example", "evil.example:8080", "", "127.0.0.1.evil.example", "192.0.2.1:8080",
          "localhost@evil.example", "localhost:80:80", "localhost:x", "[::1", "[::1]x", "::1",
          "counter.example.org.evil.example"})
        EXPECT_EQ(get_as({{"Host", host}}), 421) << host;
    EXPECT_EQ(get_as({}), 421);
    EXPECT_EQ(get_as({{"Host", "localhost"}, {"Host", "localhost"}}), 421);
    gate_.address = "0.0.0.0";
    open();
    EXPECT_EQ(get_as({{"Host", "192.0.2.1:8080"}}), 200) << "no name server is asked for a number";
    EXPECT_EQ(get_as({{"Host", "[2001:db8::1]:8080"}}), 200);
    EXPECT_EQ(get_as({{"Host", "evil.example"}}), 421);
}

TEST_F(Security, ARoleDoesNotSuffice) {
    const Headers viewer = cookie(session("tom"));
    EXPECT_EQ(status("GET", "/api/v1/seen", viewer), 200);
    EXPECT_EQ(status("PUT", "/api/v1/drawn", viewer), 403);
    const Headers anna = cookie(session("anna"));
    EXPECT_EQ(status("GET", kUsers, anna), 403);
    EXPECT_EQ(
        status("POST", kUsers, anna, {{"name", "me"}, {"role", "admin"}, {"password", kPassword}}),
        403);
    EXPECT_EQ(status("PUT", "/api/v1/users/anna", anna, {{"role", "admin"}}), 403);
    EXPECT_EQ(status("POST", kTokens, anna, {{"name", "x"}, {"role", "admin"}}), 403);
}

TEST_F(Security, ATokenOfAViewerDoesNotWrite) {
    const auto token = [&](Role role) {
        return accounts_->add_token("till", role, "admin").secret;
    };
    Headers viewer = bearer(token(Role::kViewer));
    Headers anna = bearer(token(Role::kOperator));
    for (Headers* headers : {&viewer, &anna}) {
        headers->emplace_back("Host", kHost);
        headers->emplace_back("Content-Type", "application/json");
    }
    EXPECT_EQ(ask_plainly("GET", "/api/v1/seen", viewer).body, "token till");
    EXPECT_EQ(ask_plainly("PUT", "/api/v1/drawn", viewer).status, 403);
    EXPECT_EQ(ask_plainly("PUT", "/api/v1/drawn", anna).status, 200) << "a program has no page";
    anna.emplace_back("Origin", "http://evil.example");
    EXPECT_EQ(ask_plainly("PUT", "/api/v1/drawn", anna).status, 403) << "this one has";
    const Headers admin = bearer(token(Role::kAdmin));
    EXPECT_EQ(status("PUT", "/api/v1/session/password", admin,
                     {{"old", kPassword}, {"new", "another password"}}),
              403)
        << "a token has no password";
}

TEST_F(Security, ATokenThatIsNotKnownIsRefused) {
    const std::string good = accounts_->add_token("till", Role::kViewer, "admin").secret;
    for (const std::string& wrong :
         {std::string("vca_"), std::string(""), good.substr(0, good.size() - 1), good + "x",
          good.substr(4), session("anna")}) {
        const HttpResponse response = ask("GET", "/api/v1/seen", bearer(wrong));
        EXPECT_EQ(response.status, 401) << wrong;
        EXPECT_EQ(header(response, "WWW-Authenticate"), "Bearer");
    }
    EXPECT_EQ(status("GET", "/api/v1/seen", cookie(good)), 401) << "a token is no session";
    EXPECT_EQ(status("GET", "/api/v1/seen", {{"Authorization", "Basic YTpi"}}), 401);
}

TEST_F(Security, ASessionEndsAtLogout) {
    const std::string id = session("anna");
    EXPECT_EQ(status("GET", "/api/v1/seen", cookie(id)), 200);
    const HttpResponse out = ask("DELETE", kSession, cookie(id));
    EXPECT_EQ(out.status, 204);
    EXPECT_THAT(header(out, "Set-Cookie"), HasSubstr("vca_session=; Max-Age=0"));
    EXPECT_EQ(status("GET", "/api/v1/seen", cookie(id)), 401);
    EXPECT_EQ(ask("DELETE", kSession).status, 204) << "is logged out already";
}

TEST_F(Security, ASessionCannotBeGivenToSomebody) {
    const std::string chosen(43, 'a');
    EXPECT_EQ(status("GET", "/api/v1/seen", cookie(chosen)), 401);
    const std::string got = cookie_in(log_in("anna", kPassword, cookie(chosen)));
    EXPECT_NE(got, chosen);
    EXPECT_EQ(status("GET", "/api/v1/seen", cookie(chosen)), 401);
    // A session of the attacker's own does not become the victim's, and ends.
    const std::string attackers = session("tom");
    const std::string victims = cookie_in(log_in("anna", kPassword, cookie(attackers)));
    EXPECT_NE(victims, attackers);
    EXPECT_EQ(status("GET", "/api/v1/seen", cookie(attackers)), 401);
    // Beside the right cookie one of another site counts for nothing.
    EXPECT_EQ(status("GET", "/api/v1/seen",
                     {{"Cookie", "vca_session=" + session("tom") + "; vca_session=" + victims}}),
              401);
    EXPECT_EQ(status("GET", "/api/v1/seen", {{"Cookie", "a=b; vca_session=" + victims + ";c=d"}}),
              200);
}

TEST_F(Security, AFloodOfLoginsIsSlowedDown) {
    for (int i = 0; i < host::LoginLimit::kMostOfName; ++i)
        EXPECT_EQ(log_in("anna", "a bad password").status, 401);
    const HttpResponse refused = log_in("anna", kPassword);
    EXPECT_EQ(refused.status, 429);
    EXPECT_EQ(header(refused, "Retry-After"), "30");
    open();
    EXPECT_EQ(log_in("anna", kPassword).status, 429) << "a restart does not help";
    EXPECT_EQ(log_in("tom", kPassword).status, 200) << "somebody else";
    now_us_ += host::LoginLimit::kForgotten_us;
    EXPECT_EQ(log_in("anna", kPassword).status, 200);
}

TEST_F(Security, AnOldPasswordCannotBeGuessedFaster) {
    const Headers stolen = cookie(session("anna"));
    const auto guess = [&] {
        return status("PUT", "/api/v1/session/password", stolen,
                      {{"old", "a bad password"}, {"new", "another password"}});
    };
    for (int i = 0; i < host::LoginLimit::kMostOfName; ++i)
        EXPECT_EQ(guess(), 400);
    EXPECT_EQ(guess(), 429);
}

TEST_F(Security, BehindAProxyEachVisitorHasAnAddress) {
    peer_ = "127.0.0.1";
    const auto from = [&](const std::string& said, int i) {
        return log_in("user" + std::to_string(i), "guess", {{"X-Forwarded-For", said}}).status;
    };
    int i = 0;
    for (; i < host::LoginLimit::kMostOfAddress; ++i)
        EXPECT_EQ(from("10.0.0.1, 198.51.100.1", i), 401);
    EXPECT_EQ(from("10.0.0.2, 198.51.100.1", i), 429);
    EXPECT_EQ(from("198.51.100.2", i), 401);
    peer_ = "198.51.100.1";
    EXPECT_EQ(from("198.51.100.3", i), 429) << "only a proxy on this machine is believed";
}

TEST_F(Security, AOneTimePasswordIsGoodForANewOneOnly) {
    const std::string once = accounts_->reset_password("anna");
    const HttpResponse in = log_in("anna", once);
    EXPECT_EQ(json(in)["must_change_password"], true);
    const Headers anna = cookie(cookie_in(in));
    EXPECT_EQ(status("GET", "/api/v1/seen", anna), 403);
    EXPECT_EQ(status("PUT", "/api/v1/drawn", anna), 403);
    EXPECT_EQ(json(ask("GET", kSession, anna))["name"], "anna");
    EXPECT_EQ(status("PUT", "/api/v1/session/password", anna, {{"old", once}, {"new", once}}), 400);
    EXPECT_EQ(status("PUT", "/api/v1/session/password", anna,
                     {{"old", once}, {"new", "another password"}}),
              204);
    EXPECT_EQ(status("GET", "/api/v1/seen", anna), 200);
}

TEST_F(Security, SecretsAreInNoOtherAnswer) {
    const Headers admin = cookie(session("admin"));
    const HttpResponse made = ask("POST", kTokens, admin, {{"name", "till"}, {"role", "viewer"}});
    const std::string secret = json(made)["token"];
    std::string all;
    for (const char* path : {kSession, kUsers, kTokens}) {
        const HttpResponse response = ask("GET", path, admin);
        EXPECT_EQ(response.status, 200);
        all += response.body;
    }
    EXPECT_THAT(all, AllOf(Not(HasSubstr(secret)), Not(HasSubstr("argon2")),
                           Not(HasSubstr(kPassword)), Not(HasSubstr("password\":\""))));
    const HttpResponse wrong = log_in("anna", "my-secret-guess");
    EXPECT_THAT(wrong.body, Not(HasSubstr("my-secret-guess")));
}

TEST_F(Security, BodiesThatAreNoneAreRefused) {
    const Headers own{
        {"Host", kHost}, {"Sec-Fetch-Site", "same-origin"}, {"Content-Type", "application/json"}};
    for (const std::string& body :
         {std::string(), std::string("null"), std::string("{"), std::string("\xff"),
          std::string(R"({"name":"anna"})"), std::string(R"({"name":1,"password":2})"),
          std::string(R"({"name":["anna"],"password":{}})"), std::string(100'000, '['),
          R"({"name":")" + std::string(61, 'a') + R"(","password":"x"})",
          R"({"name":"a","password":")" + std::string(201, 'a') + R"("})"}) {
        const HttpResponse response = ask_plainly("POST", kSession, own, body);
        EXPECT_EQ(response.status, 400) << body.substr(0, 80);
        EXPECT_THAT(std::string(json(response)["error"]), ::testing::EndsWith("."));
    }
}

TEST_F(Security, UsersAndTokensAsAnAdminSeesThem) {
    const Headers admin = cookie(session("admin"));
    EXPECT_EQ(status("POST", kUsers, admin,
                     {{"name", "Eva Gr\u00fcn"}, {"role", "viewer"}, {"password", kPassword}}),
              201);
    EXPECT_EQ(
        status("POST", kUsers, admin, {{"name", "x"}, {"role", "boss"}, {"password", kPassword}}),
        400);
    EXPECT_EQ(status("PUT", "/api/v1/users/Eva%20Gr%C3%BCn", admin, {{"role", "operator"}}), 204);
    EXPECT_EQ(status("PUT", "/api/v1/users/nobody", admin, {{"role", "operator"}}), 404);
    EXPECT_EQ(status("DELETE", "/api/v1/users/tom", admin), 204);
    EXPECT_EQ(status("DELETE", "/api/v1/users/admin", admin), 400);
    EXPECT_EQ(ask("GET", kUsers, admin).body,
              R"({"users":[{"name":"Eva Grün","role":"operator","last_login":null},)"
              R"({"name":"admin","role":"admin","last_login":"2026-03-02T08:00:00.000+00:00"},)"
              R"({"name":"anna","role":"operator","last_login":null}]})");
    const std::string id =
        json(ask("POST", kTokens, admin, {{"name", "till"}, {"role", "viewer"}}))["id"];
    EXPECT_EQ(ask("GET", kTokens, admin).body,
              R"({"tokens":[{"id":")" + id + R"(","name":"till","role":"viewer",)" +
                  R"("created":"2026-03-02T08:00:00.000+00:00","last_used":null}]})");
    EXPECT_EQ(status("DELETE", "/api/v1/tokens/" + id, admin), 204);
    EXPECT_EQ(ask("GET", kTokens, admin).body, R"({"tokens":[]})");
}

TEST_F(Security, AnswersAreAsTheApiIsDescribed) {
    const test::ApiContract contract(VCA_API_JSON);
    const Headers admin = cookie(session("admin"));
    const HttpResponse made = ask("POST", kTokens, admin, {{"name", "till"}, {"role", "viewer"}});
    EXPECT_NE(
        contract.operation("POST", kTokens)->at("responses").find(std::to_string(made.status)),
        contract.operation("POST", kTokens)->at("responses").end());
    for (const char* path : {kSession, kUsers, kTokens})
        EXPECT_EQ(contract.difference("GET", path, json(ask("GET", path, admin))), "") << path;
    EXPECT_EQ(contract.difference("GET", kSession, json(ask("GET", kSession))), "");
    EXPECT_EQ(contract.difference("POST", kSession, json(log_in("anna", kPassword))), "");
    // Whatever is answered is described.
    for (const host::Router::Route& route : router_->routes()) {
        if (route.path == "/api/v1/seen" || route.path == "/api/v1/drawn") continue;
        EXPECT_NE(contract.operation(route.method, route.path), nullptr)
            << route.method << ' ' << route.path;
    }
}

}  // namespace
