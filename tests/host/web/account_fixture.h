// Accounts in a folder of the test's own, with a clock that the test sets and passwords that cost
// nothing, behind the routes and the gate of the service.
#pragma once

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "host/web/api_accounts.h"
#include "host/web/gate.h"
#include "tests/host/store/store_folder.h"

namespace test {

using Headers = std::vector<std::pair<std::string, std::string>>;

class AccountFolder : public StoreFolder {
  protected:
    static constexpr const char* kPassword = "a good password";
    static constexpr const char* kHost = "127.0.0.1:8080";

    AccountFolder() { open(); }

    // As after a restart of the service.
    void open() {
        accounts_.reset();
        accounts_ = std::make_unique<host::Accounts>(
            host::AccountsSetup{path("service.db"), {1, 8192}, [this] { return now_us_; }});
        router_ = std::make_unique<host::Router>(host::make_gate(*accounts_, gate_));
        host::add_account_routes(*router_, *accounts_, [] { return "UTC"; });
        router_->add("GET", "/api/v1/seen", host::Role::kViewer,
                     [](const host::ApiCall& call) { return name_of(call); });
        router_->add("PUT", "/api/v1/drawn", host::Role::kOperator,
                     [](const host::ApiCall& call) { return name_of(call); });
    }
    static host::HttpResponse name_of(const host::ApiCall& call) {
        return host::HttpResponse{200, "text/plain", call.caller.name, {}, nullptr};
    }

    void add(const std::string& name, host::Role role) {
        accounts_->add_user({name, role, {}}, kPassword);
    }
    // The cookie's value.
    std::string session(const std::string& name, const std::string& password = kPassword) {
        return accounts_->log_in(name, password, "192.0.2.1").session;
    }
    static Headers cookie(const std::string& session) {
        return {{"Cookie", "vca_session=" + session}};
    }
    static Headers bearer(const std::string& token) {
        return {{"Authorization", "Bearer " + token}};
    }

    // As a browser asks that shows the service's own page.
    host::HttpResponse ask(const std::string& method, const std::string& path, Headers headers = {},
                           const nlohmann::json& body = nullptr) const {
        headers.emplace_back("Host", kHost);
        if (method != "GET") {
            headers.emplace_back("Origin", std::string(tls_ ? "https://" : "http://") + kHost);
            headers.emplace_back("Content-Type", "application/json");
        }
        return ask_plainly(method, path, headers, body.is_null() ? "" : body.dump());
    }
    host::HttpResponse ask_plainly(const std::string& method, const std::string& path,
                                   const Headers& headers, const std::string& body = {}) const {
        host::HttpRequest request;
        request.method = method;
        request.path = path;
        request.headers = headers;
        request.body = body;
        request.peer = peer_;
        request.tls = tls_;
        return router_->answer(request);
    }
    host::HttpResponse log_in(const std::string& name, const std::string& password,
                              const Headers& headers = {}) const {
        return ask("POST", "/api/v1/session", headers, {{"name", name}, {"password", password}});
    }
    static std::string header(const host::HttpResponse& response, const std::string& name) {
        for (const auto& [key, value] : response.headers)
            if (key == name) return value;
        return {};
    }
    static std::string cookie_in(const host::HttpResponse& response) {
        const std::string text = header(response, "Set-Cookie");
        const std::size_t begin = text.find('=') + 1;
        return text.substr(begin, text.find(';') - begin);
    }
    static nlohmann::json json(const host::HttpResponse& response) {
        return nlohmann::json::parse(response.body);
    }

    std::int64_t now_us_ = kMonday_us;
    std::string peer_ = "192.0.2.7";
    bool tls_ = false;
    host::GateSetup gate_{"127.0.0.1", {"counter.example.org"}};
    std::unique_ptr<host::Accounts> accounts_;
    std::unique_ptr<host::Router> router_;
};

}  // namespace test
