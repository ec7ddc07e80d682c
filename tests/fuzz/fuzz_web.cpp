// Requests to the service, as anybody may send them. The input's first bytes say who asks, the rest
// is the request: its first line, headers, an empty line, the body.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "host/service/place.h"
#include "host/web/api_accounts.h"
#include "host/web/gate.h"
#include "host/web/page_files.h"
#include "host/web/routes.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/support/unique_folder.h"

namespace {

namespace fs = std::filesystem;
using host::Role;

constexpr std::int64_t kNow_us = 1'700'000'000'000'000;
constexpr const char* kOwnHost = "127.0.0.1:8080";
constexpr const char* kPassword = "a good password";
constexpr const char* kPlace =
    "place = \"shop\"\ntime_zone = \"Europe/Vienna\"\nopen = \"mon-fri 09:00-20:00\"\n"
    "[[camera]]\nname = \"door\"\nscene = \"doorway\"\n[[camera]]\nname = \"back\"\n"
    "scene = \"doorway\"\n[[entrance]]\ncamera = \"door\"\nline = \"door\"\n[web]\nport = 8080\n";

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

// Four kinds of callers, each with a session and a token; the first has neither.
class Place {
  public:
    Place() : accounts_(fresh(folder_)), router_(host::make_gate(accounts_, gate_)) {
        for (const Role role : {Role::kViewer, Role::kOperator, Role::kAdmin}) {
            const std::string name = host::role_name(role);
            accounts_.add_user({name, role, {}}, kPassword);
            sessions_.push_back(accounts_.log_in(name, kPassword, "192.0.2.1").session);
            tokens_.push_back(accounts_.add_token(name, role, name).secret);
        }
        const auto file = std::make_shared<const host::ServiceFile>(
            host::parse_service_file(kPlace, folder_.path() / "vca.toml"));
        host::WebSources sources;
        sources.health = [file] { return host::read_health(host::databases_of(*file), kNow_us); };
        sources.metrics = [file] {
            host::MetricsInput input;
            input.place = file->place;
            input.time_zone = file->time_zone.value;
            input.now_us = kNow_us;
            return input;
        };
        sources.api.place = [file] { return file; };
        sources.api.now_us = [] { return kNow_us; };
        sources.api.health = sources.health;
        sources.api.look = [](const std::string&) { return host::CameraLook{}; };
        sources.api.commissioned = [](const std::string&) { return std::nullopt; };
        router_ = host::make_routes(sources, host::make_gate(accounts_, gate_));
        host::add_account_routes(router_, accounts_, [file] { return file->time_zone.value; });
        host::add_page_routes(router_, "");
    }

    host::HttpResponse answer(const host::HttpRequest& request) const {
        return router_.answer(request);
    }
    std::string session(Role role) const { return sessions_.at(index_of(role)); }
    std::string token(Role role) const { return tokens_.at(index_of(role)); }
    // Who may do what, in words that change when it does.
    std::string rights() {
        std::string text;
        for (const host::UserEntry& user : accounts_.users())
            text += user.name + '=' + host::role_name(user.role) + '\n';
        for (const host::TokenEntry& token : accounts_.tokens())
            text += token.name + ':' + host::role_name(token.role) + '\n';
        return text;
    }

  private:
    static std::size_t index_of(Role role) {
        return static_cast<std::size_t>(role) - static_cast<std::size_t>(Role::kViewer);
    }
    static host::AccountsSetup fresh(const test::UniqueFolder& folder) {
        const std::string path = folder.path() / "service.db";
        for (const char* const end : {"", "-wal", "-shm"})
            fs::remove(path + end);
        return {path, {1, 8192}, [] { return kNow_us; }};
    }

    static inline const test::UniqueFolder folder_{"vca-fuzz"};
    const host::GateSetup gate_{"127.0.0.1", {"counter.example.org"}};
    host::Accounts accounts_;
    host::Router router_;
    std::vector<std::string> sessions_;
    std::vector<std::string> tokens_;
};

struct Asked {
    host::HttpRequest request;
    Role role = Role::kNobody;
};

// The part before the mark, which is taken away with it.
std::string cut_before(std::string& text, const std::string& mark) {
    const std::size_t end = text.find(mark);
    std::string part = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + mark.size());
    return part;
}

Asked read_request(const uint8_t* data, size_t size, const Place& place) {
    fuzz::ByteReader bytes(data, size);
    Asked asked;
    asked.role = static_cast<Role>(bytes.below(4));
    const int how = bytes.u8();
    host::HttpRequest& request = asked.request;
    request.peer = (how & 1) != 0 ? "127.0.0.1" : "192.0.2.7";
    if (asked.role != Role::kNobody) {
        if ((how & 2) != 0) {
            request.headers.emplace_back("Cookie", "vca_session=" + place.session(asked.role));
        } else {
            request.headers.emplace_back("Authorization", "Bearer " + place.token(asked.role));
        }
    }
    // As the page asks; otherwise the input's own headers say what they like.
    if ((how & 4) != 0) {
        request.headers.emplace_back("Host", kOwnHost);
        request.headers.emplace_back("Origin", std::string("http://") + kOwnHost);
        request.headers.emplace_back("Content-Type", "application/json");
    }
    std::string text(reinterpret_cast<const char*>(bytes.rest()), bytes.left());
    std::string head = cut_before(text, "\n\n");
    request.body = text;
    std::string target = cut_before(head, "\n");
    request.method = cut_before(target, " ");
    request.path = cut_before(target, "?");
    request.query = target;
    while (!head.empty()) {
        std::string line = cut_before(head, "\n");
        const std::string name = cut_before(line, ": ");
        request.headers.emplace_back(name, line);
    }
    return asked;
}

bool is_open(const std::string& path) {
    static const std::set<std::string> kOpen{"/", host::kHealthPath, host::kSessionPath};
    return kOpen.contains(path);
}

void check_answer(const Asked& asked, const host::HttpResponse& answer) {
    require(answer.status >= 200 && answer.status < 600, "the status is one");
    if (asked.role == Role::kNobody && !is_open(asked.request.path))
        require(answer.status >= 400, "nobody hears of anything that is not open");
    if (answer.type == "application/json" && !answer.body.empty())
        require(nlohmann::json::accept(answer.body), "JSON is JSON");
    for (const auto& [name, value] : answer.headers)
        require(value.find_first_of("\r\n") == std::string::npos, "a header is one line");
    require(answer.body.find("$argon2") == std::string::npos, "no hash is told");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static std::unique_ptr<Place> place;
    if (!place) place = std::make_unique<Place>();
    const Asked asked = read_request(data, size, *place);
    const bool writes = asked.request.method != "GET";
    const std::string before = place->rights();
    check_answer(asked, place->answer(asked.request));
    if (!writes || asked.role != Role::kAdmin)
        require(place->rights() == before, "only an admin changes who may do what");
    // Each input finds the same place.
    if (writes) place.reset();
    return 0;
}
