// A place with two cameras, "entrance" and "back", whose lines are both called "door".
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/web/api_routes.h"
#include "host/web/routes.h"
#include "tests/host/store/store_folder.h"

namespace test {

using Json = nlohmann::json;

class Api : public StoreFolder {
  protected:
    Api() {
        sources_.place = [this] { return file_; };
        sources_.now_us = [this] { return now_us_; };
        sources_.health = [this] {
            return host::read_health({path("entrance.db"), path("back.db")}, now_us_);
        };
        sources_.look = [this](const std::string&) { return look_; };
        sources_.commissioned = [this](const std::string& name) { return commissioning_.of(name); };
        sources_.commission = [this](const std::string& name, const host::Commissioned& note) {
            commissioning_.note(name, note);
        };
        // As a camera does that takes them over.
        sources_.note_settings = [this](const std::string& name, const std::string& text,
                                        const host::SettingsAuthor& by) {
            if (!takes_over_ || !refusal_.empty()) return;
            host::Store store(camera(name));
            host::Batch batch;
            const std::string settings = text.substr(text.find('\n') + 1);
            batch.settings.push_back({{"door"}, {}, settings, by.author, now_us_, by.name});
            store.commit(batch);
        };
        sources_.refusal = [this](const std::string&) { return refusal_; };
        place();
    }

    // What the place's file says besides its cameras.
    void place(const std::string& more = "", const std::string& zone = "Europe/Berlin") {
        const std::string text = "place = \"shop\"\ntime_zone = \"" + zone + "\"\n" + more +
                                 "\n[[camera]]\nname = \"entrance\"\nscene = \"doorway\"\n"
                                 "[[camera]]\nname = \"back\"\nscene = \"doorway\"\n"
                                 "[store]\nfolder = \"" +
                                 folder_.string() + "\"\n";
        file_ = std::make_shared<const host::ServiceFile>(
            host::parse_service_file(text, path("vca.toml")));
    }

    // A camera's database; its line is "door" unless others are given.
    host::StoreSetup camera(const std::string& name,
                            const std::vector<std::string>& lines = {"door"}) const {
        host::StoreSetup made = setup(name + ".db");
        made.device = name;
        made.lines = lines;
        made.settings =
            "[[line]]\nname = \"door\"\npoints = [[310, 272], [650, 272]]\n"
            "directions = [\"to the shop\", \"to the street\"]\n"
            "[[region]]\nname = \"till\"\npoints = [[0, 0], [100, 0], [100, 100]]\n";
        made.author = "file";
        return made;
    }
    // These minutes were watched, and this happened.
    void count(const std::string& name, std::int64_t from_us, std::int64_t to_us,
               std::vector<host::StoredEvent> events = {}) const {
        host::Store store(camera(name));
        host::Batch batch = batch_of(std::move(events));
        for (std::int64_t at_us = from_us; at_us < to_us; at_us += host::kMinute_us)
            batch.watched_minutes.push_back(host::minute_of(at_us));
        batch.watched_until_us = to_us;
        store.commit(batch);
    }

    host::HttpResponse ask(const std::string& method, const std::string& target,
                           const std::string& body = "",
                           host::Role role = host::Role::kAdmin) const {
        host::Router router([role](const host::HttpRequest&) {
            return host::Caller{role, "anna"};
        });
        host::add_api_routes(router, sources_);
        host::HttpRequest request;
        request.method = method;
        const std::size_t mark = target.find('?');
        request.path = "/api/v1/" + target.substr(0, mark);
        if (mark != std::string::npos) request.query = target.substr(mark + 1);
        request.body = body;
        return router.answer(request);
    }
    Json get(const std::string& target) const {
        const host::HttpResponse response = ask("GET", target);
        EXPECT_EQ(response.status, 200) << target << ": " << response.body;
        return Json::parse(response.body, nullptr, false);
    }
    // The sentence with which something is refused.
    std::string refusal(const std::string& target, int status = 400) const {
        const host::HttpResponse response = ask("GET", target);
        EXPECT_EQ(response.status, status) << target << ": " << response.body;
        return Json::parse(response.body).value("error", "");
    }

    std::shared_ptr<const host::ServiceFile> file_;
    std::int64_t now_us_ = kMonday_us + 4 * host::kHour_us;
    host::CameraLook look_;
    bool takes_over_ = true;
    std::string refusal_;
    host::Commissioning commissioning_{path("service.db")};
    host::ApiSources sources_;
};

}  // namespace test
