// Settings over HTTP, and every answer against the description of the API.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <regex>
#include <set>

#include "host/settings/run_options.h"
#include "host/web/accounts.h"
#include "host/web/api_accounts.h"
#include "host/web/api_live.h"
#include "host/web/live_feed.h"
#include "host/web/settings_json.h"
#include "tests/host/web/api_contract.h"
#include "tests/host/web/api_fixture.h"

namespace {

using test::Json;
using test::kMonday_us;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ApiSettings : public test::Api {
  protected:
    Json check(const Json& settings) const {
        const host::HttpResponse response =
            ask("POST", "cameras/entrance/settings/check", settings.dump());
        EXPECT_EQ(response.status, 200) << response.body;
        return Json::parse(response.body);
    }
    static Json sound() {
        return Json::parse(R"({"line":[{"name":"door","points":[[310,272],[650,272]]}],
                               "region":[],"exclude":[]})");
    }
};

TEST_F(ApiSettings, AreThoseInForceWithTheirVersion) {
    count("entrance", kMonday_us, kMonday_us);
    const Json first = get("cameras/entrance/settings");
    EXPECT_EQ(first["version"], 1);
    EXPECT_EQ(first["author"], "file");
    EXPECT_EQ(first["settings"]["line"][0]["directions"],
              Json::array({"to the shop", "to the street"}));
    EXPECT_EQ(first["settings"]["height_mm"], nullptr);
    {
        host::Store store(camera("entrance"));
        host::Batch batch;
        batch.settings.push_back({{"door"},
                                  {},
                                  "[[line]]\nname = \"door\"\npoints = [[0, 9], [9, 9]]\n",
                                  "anna",
                                  kMonday_us,
                                  "moved"});
        store.commit(batch);
    }
    const Json now = get("cameras/entrance/settings");
    EXPECT_EQ(now["version"], 2);
    EXPECT_EQ(now["name"], "moved");
    EXPECT_EQ(now["time"], "2026-03-02T09:00:00.000+01:00");
    const Json versions = get("cameras/entrance/settings/versions")["versions"];
    ASSERT_THAT(versions, SizeIs(2));
    EXPECT_EQ(versions[0]["author"], "anna");
    EXPECT_EQ(get("cameras/entrance/settings/versions/1")["settings"], first["settings"]);
    EXPECT_THAT(refusal("cameras/entrance/settings/versions/3", 404), HasSubstr("no such version"));
    EXPECT_THAT(refusal("cameras/entrance/settings/versions/x"), HasSubstr("whole number"));
    EXPECT_THAT(refusal("cameras/none/settings", 404), HasSubstr("no camera \"none\""));
    for (const char* asked : {"settings", "settings/versions", "settings/versions/1"})
        EXPECT_EQ(refusal(std::string("cameras/back/") + asked, 404),
                  "The camera has not counted yet.");
}

TEST_F(ApiSettings, SoundOnesHaveNoNotesAndAZone) {
    const Json answer = check(sound());
    EXPECT_THAT(answer["notes"], IsEmpty()) << answer;
    EXPECT_EQ(answer["zones"][0]["points"],
              Json::parse("[[310.0,246.0],[650.0,246.0],[650.0,298.0],[310.0,298.0]]"));
}

TEST_F(ApiSettings, EachErrorHasItsPlace) {
    Json wrong = sound();
    wrong["height_mm"] = 100;
    wrong["line"].push_back({{"name", " "}, {"points", {{0, 0}}}});
    wrong["region"].push_back({{"name", "till"}, {"points", {{0, 0}, {2000, 0}, {9, 9}}}});
    const Json notes = check(wrong)["notes"];
    std::set<std::string> found;
    for (const Json& note : notes) {
        EXPECT_EQ(note["level"], "error");
        found.insert(note["code"].get<std::string>() + " " +
                     note["place"]["kind"].get<std::string>() + " " +
                     note["place"]["index"].dump());
    }
    EXPECT_EQ(found, (std::set<std::string>{"setting_wrong setting 0", "name_wrong line 1",
                                            "line_wrong line 1", "outside_picture region 0"}))
        << notes;
}

TEST_F(ApiSettings, ANameThatIsUsedTwiceIsToldAtTheSecond) {
    Json twice = sound();
    Json other = twice["line"][0];
    other["points"] = {{300, 300}, {600, 300}};
    twice["line"].push_back(other);
    const Json notes = check(twice)["notes"];
    ASSERT_THAT(notes, SizeIs(1)) << notes;
    EXPECT_EQ(notes[0]["text"], "The name \"door\" is used twice.");
    EXPECT_EQ(notes[0]["values"], Json::parse(R"({"name":"door"})"));
    EXPECT_EQ(notes[0]["place"], Json::parse(R"({"kind":"line","index":1,"point":null})"));
}

TEST_F(ApiSettings, AZoneIsDrawnForWhatCanBeDrawn) {
    Json wild = sound();
    wild["line"][0]["points"] = {{-1e308, 0}, {1e308, 0}};
    wild["line"].push_back({{"name", "one"}, {"points", {{5, 5}, {5, 5}}}});
    wild["line"].push_back({{"name", "bent"}, {"points", {{0, 0}, {100, 0}, {0, 1}}}});
    const Json zones = check(wild)["zones"];
    ASSERT_THAT(zones, SizeIs(1)) << zones;
    EXPECT_EQ(zones[0]["line"], 2);
    for (const Json& point : zones[0]["points"])
        EXPECT_LT(std::abs(point[0].get<double>()), 300.0) << "sharp corners do not run away";
}

TEST_F(ApiSettings, DoubtsAreWarnings) {
    Json doubtful = sound();
    doubtful["exclude"].push_back({{"points", {{300, 200}, {700, 200}, {700, 400}, {300, 400}}}});
    const Json notes = check(doubtful)["notes"];
    ASSERT_THAT(notes, SizeIs(1));
    EXPECT_EQ(notes[0]["level"], "warning");
    EXPECT_THAT(notes[0]["text"].get<std::string>(), HasSubstr("entirely in exclusion areas"));
}

TEST_F(ApiSettings, ALineNearTheEdgeIsToldInMetres) {
    look_.model = host::CameraModel{257.37, 242.23, 240.0, 128.0, 3000.0, {}};
    Json near = sound();
    near["line"][0]["points"] = {{300, 370}, {600, 370}};
    const Json notes = check(near)["notes"];
    ASSERT_THAT(notes, SizeIs(1));
    EXPECT_EQ(notes[0]["code"], "line_near_edge");
    EXPECT_EQ(notes[0]["values"], Json::parse(R"({"line":"door","m":0.1,"needed":0.2})"));
}

TEST_F(ApiSettings, WhatIsNoSettingsIsRefused) {
    for (const char* body : {"[]", "{", "{}", R"({"line":3,"region":[],"exclude":[]})",
                             R"({"line":[{"points":[]}],"region":[],"exclude":[]})",
                             R"({"line":[{"name":"a","points":[[1]]}],"region":[],"exclude":[]})",
                             R"({"line":[],"region":[],"exclude":[],"tilt":{}})",
                             R"({"line":[],"region":[],"exclude":[],"target_height_mm":[1]})",
                             R"({"line":[],"region":[],"exclude":[],"x":1})"}) {
        const host::HttpResponse response = ask("POST", "cameras/entrance/settings/check", body);
        EXPECT_EQ(response.status, 400) << body << response.body;
    }
}

TEST_F(ApiSettings, NothingIsCutToFitOrPassedOver) {
    const auto errors = [this](const std::string& key, const Json& value) {
        Json wrong = sound();
        wrong[key] = value;
        const Json notes = check(wrong)["notes"];
        return notes.empty() ? "" : notes[0]["text"].get<std::string>();
    };
    EXPECT_EQ(errors("target_height_mm", {800.7, 2200}),
              "The smallest height is 800.7; write a whole number up to 1000000.");
    EXPECT_THAT(errors("target_height_mm", {800, 1e12}),
                HasSubstr("largest height is 1000000000000.0;"));
    EXPECT_THAT(errors("target_height_mm", {800, 1'000'000'000'000}), HasSubstr("whole number"));
    EXPECT_THAT(errors("group", {{"min", -1}}), HasSubstr("The smallest group is -1;"));
    EXPECT_THAT(errors("group", {{"max", 1e300}}), HasSubstr("The largest group is 1e+300;"));
    EXPECT_THAT(errors("height_mm", -3), HasSubstr("The height is -3;"));
    for (const char* body :
         {R"({"line":[],"region":[],"exclude":[],"group":{"least":2}})",
          R"({"line":[],"region":[],"exclude":[],"target_height_mm":[800,2200,5]})",
          R"({"line":[{"name":"a","points":[[1,2],[300,2,3]]}],"region":[],"exclude":[]})",
          R"({"line":[{"name":"a","points":[[1,2],[300,2]],"width":3}],"region":[],"exclude":[]})",
          R"({"line":[],"region":[{"name":"a","points":[],"x":1}],"exclude":[]})",
          R"({"line":[],"region":[],"exclude":[{"points":[],"name":"a"}]})"}) {
        EXPECT_EQ(ask("POST", "cameras/entrance/settings/check", body).status, 400) << body;
    }
}

class ApiSave : public ApiSettings {
  protected:
    ApiSave() { count("entrance", kMonday_us, kMonday_us); }

    host::HttpResponse save(const Json& body, host::Role role = host::Role::kOperator) const {
        return ask("PUT", "cameras/entrance/settings", body.dump(), role);
    }
    // What the file of the camera says; empty when there is none.
    std::string file() const {
        std::ifstream stream(file_->cameras.front().settings);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static Json moved(int base) {
        return {{"base_version", base}, {"name", "moved the door"}, {"settings", sound()}};
    }
};

TEST_F(ApiSave, GoesToTheFileAndIsAVersionWithItsAuthor) {
    const host::HttpResponse response = save(moved(1));
    ASSERT_EQ(response.status, 200) << response.body;
    const Json saved = Json::parse(response.body);
    EXPECT_EQ(saved["version"], 2);
    EXPECT_EQ(saved["author"], "anna");
    EXPECT_EQ(saved["name"], "moved the door");
    EXPECT_EQ(saved["settings"]["line"][0]["points"], sound()["line"][0]["points"]);
    EXPECT_EQ(get("cameras/entrance/settings"), saved);
    EXPECT_THAT(file(), HasSubstr("# saved by anna: moved the door\n"));
    host::RunOptions read;
    host::parse_config(file(), "file", read);
    EXPECT_EQ(read.lines.at(0).value.name, "door");
}

TEST_F(ApiSave, IsRefusedWhenOthersCameFirst) {
    ASSERT_EQ(save(moved(1)).status, 200);
    const std::string before = file();
    Json late = moved(1);
    late["settings"]["line"][0]["name"] = "late";
    const host::HttpResponse refused = save(late);
    EXPECT_EQ(refused.status, 409);
    const Json body = Json::parse(refused.body);
    EXPECT_EQ(body["error"], "Version 2 by \"anna\" came meanwhile.");
    EXPECT_EQ(body["current"], get("cameras/entrance/settings"));
    EXPECT_EQ(file(), before);
}

TEST_F(ApiSave, OfWhatIsWrongWritesNothing) {
    const auto refused = [this](const Json& body, const std::string& sentence) {
        const host::HttpResponse response = save(body);
        EXPECT_EQ(response.status, 400) << response.body;
        EXPECT_THAT(Json::parse(response.body)["error"].get<std::string>(), HasSubstr(sentence));
        EXPECT_EQ(file(), "");
        return Json::parse(response.body);
    };
    Json wrong = moved(1);
    wrong["settings"]["line"][0]["points"] = {{5, 5}};
    EXPECT_EQ(refused(wrong, "line")["place"]["kind"], "line");
    wrong = moved(1);
    wrong["settings"]["gender"] = "/none/of.onnx";
    refused(wrong, "network of \"gender\" is a file");
    wrong = moved(1);
    wrong["name"] = "a\nb = 3";
    refused(wrong, "name of the version");
    wrong["name"] = 3;
    refused(wrong, " save is {");
    wrong = moved(1);
    wrong["base_version"] = 1e300;
    refused(wrong, "\"base_version\" is a whole number");
    refused(Json::object(), " save is {");
    EXPECT_EQ(save(moved(1), host::Role::kViewer).status, 403);
    EXPECT_EQ(file(), "");
    EXPECT_EQ(get("cameras/entrance/settings")["version"], 1);
}

TEST_F(ApiSave, OfTheSameSettingsIsNoVersion) {
    const Json now = get("cameras/entrance/settings");
    const host::HttpResponse response =
        save({{"base_version", 1}, {"name", ""}, {"settings", now["settings"]}});
    EXPECT_EQ(response.status, 200) << response.body;
    EXPECT_EQ(Json::parse(response.body), now);
    EXPECT_EQ(file(), "");
}

TEST_F(ApiSave, ThatTheCameraRefusesLeavesTheFileAsItWas) {
    refusal_ = "the height goes with recordings";
    const host::HttpResponse response = save(moved(1));
    EXPECT_EQ(response.status, 400) << response.body;
    EXPECT_EQ(Json::parse(response.body)["error"], "The height goes with recordings.");
    EXPECT_FALSE(std::filesystem::exists(file_->cameras.front().settings));
}

TEST_F(ApiSave, WaitsForACameraThatIsAway) {
    takes_over_ = false;
    const host::HttpResponse response = save(moved(1));
    EXPECT_EQ(response.status, 202) << response.body;
    const Json body = Json::parse(response.body);
    EXPECT_EQ(body["version"], 1) << "what counts until then";
    EXPECT_EQ(body["waiting"], true);
    EXPECT_THAT(file(), HasSubstr("name = \"door\""));
}

TEST_F(ApiSettings, HaveASchemaForAForm) {
    place("open = \"mon 09:00-10:00\"\n[[area]]\nname = \"hall\"\ncapacity = 40\n");
    const Json schema = get("schema");
    const auto field = [&](const std::string& key) -> Json {
        for (const Json& each : schema["camera"])
            if (each["key"] == key) return each;
        return Json();
    };
    EXPECT_EQ(field("height_mm")["minimum"], 1500.0);
    EXPECT_EQ(field("height_mm")["default"], nullptr);
    EXPECT_EQ(field("target_height_mm")["default"], Json::array({800, 2200}));
    EXPECT_EQ(field("detect")["choices"], Json::array({"depth", "colour", "both"}));
    EXPECT_EQ(field("tilt")["default"], "auto");
    EXPECT_EQ(field("group.max")["default"], 6);
    EXPECT_EQ(field("group.max")["help"], "Members of the largest one.");
    EXPECT_TRUE(field("gender").is_null()) << "its file is named on the machine";
    // Settings of the form are settings.
    const Json given = settings_json(host::RunOptions{});
    for (const Json& each : schema["camera"]) {
        const Json::json_pointer path(
            "/" + std::regex_replace(each["key"].get<std::string>(), std::regex("[.]"), "/"));
        EXPECT_TRUE(given.contains(path) || path.to_string() == "/group/enabled") << each;
    }
    EXPECT_THAT(
        schema["place"].dump(),
        HasSubstr(
            R"("help":"With so many people inside the area is full.","key":"area.hall.capacity")"));
}

TEST_F(ApiSave, WalksThatWereCountedAreNoted) {
    const auto walk = [this](const Json& body, host::Role role = host::Role::kOperator) {
        return ask("PUT", "cameras/entrance/commissioned", body.dump(), role).status;
    };
    const auto noted = [this] { return get("place")["cameras"][0]["commissioned"]; };
    EXPECT_EQ(walk({{"line", "door"}, {"walked", 3}, {"counted", 2}}), 400);
    EXPECT_EQ(walk({{"line", "none"}, {"walked", 3}, {"counted", 3}}), 400);
    EXPECT_EQ(walk({{"line", "door"}, {"walked", 0}, {"counted", 0}}), 400);
    EXPECT_EQ(walk({{"line", 3}}), 400);
    EXPECT_EQ(walk({{"line", "door"}, {"walked", 3}, {"counted", 3}}, host::Role::kViewer), 403);
    EXPECT_TRUE(noted().is_null());
    EXPECT_EQ(walk({{"line", "door"}, {"walked", 3}, {"counted", 3}}), 204);
    EXPECT_EQ(noted()["author"], "anna");
    EXPECT_EQ(noted()["time"], "2026-03-02T13:00:00.000+01:00");
}

class Contract : public test::Api {
  protected:
    const test::ApiContract contract_{VCA_API_JSON};
};

TEST_F(Contract, RoutesAreThoseThatAreDescribed) {
    host::Router router([](const host::HttpRequest&) { return host::Caller{}; });
    host::add_api_routes(router, sources_);
    host::Accounts accounts({path("accounts.db"), {1, 8192}});
    host::add_account_routes(router, accounts, [] { return "UTC"; });
    host::LivePlace live(*file_);
    host::LivePictures pictures;
    host::LiveFeed feed(pictures, {});
    host::add_live_routes(router, {live, pictures, feed});
    std::set<std::string> routes;
    for (const host::Router::Route& route : router.routes())
        routes.insert(route.method + " " + route.path);
    EXPECT_EQ(routes, contract_.operations());
    feed.end();
}

TEST_F(Contract, EveryAnswerHasTheDescribedForm) {
    place(
        "open = \"mon 09:00-10:00\"\n[[area]]\nname = \"hall\"\n"
        "[[entrance]]\ncamera = \"entrance\"\nline = \"door\"\n");
    count("entrance", kMonday_us, now_us_, {test::crossing(kMonday_us)});
    {
        host::Store store(camera("entrance"));
        host::Batch batch;
        batch.add_gap({kMonday_us, kMonday_us + 1, "no frames came"});
        batch.regions = {{host::minute_of(kMonday_us), "till", 9, 3, 2, 1, 100}};
        batch.people.push_back({kMonday_us, kMonday_us, 7, false, "w",
                                R"({"from_s":1,"story":[{"time_s":1,"what":"born",
                                "at":[1,2],"text":"t"}]})"});
        batch.settings.push_back({{"door"}, {}, "[group]\nmin = 3\n", "anna", kMonday_us});
        store.commit(batch);
    }
    const std::string days = "?from=2026-03-02&to=2026-03-02";
    const std::vector<std::pair<std::string, std::string>> asked{
        {"place", ""},
        {"health", ""},
        {"counts", days + "&by=hour"},
        {"regions", days + "&by=hour"},
        {"areas", days + "&by=hour"},
        {"visitors", days + "&by=hour"},
        {"events", "?after=0"},
        {"people", "?camera=entrance&track=7"},
        {"cameras/{camera}/heat", days},
        {"schema", ""},
        {"cameras/{camera}/settings", ""},
        {"cameras/{camera}/settings/versions", ""},
        {"cameras/{camera}/settings/versions/{version}", ""}};
    for (const auto& [path, query] : asked) {
        std::string target = path + query;
        for (const auto& [name, value] :
             {std::pair{"{camera}", "entrance"}, std::pair{"{version}", "1"}}) {
            if (const auto at = target.find(name); at != std::string::npos)
                target.replace(at, std::string(name).size(), value);
        }
        EXPECT_EQ(contract_.difference("GET", "/api/v1/" + path, get(target)), "") << target;
    }
}

TEST_F(Contract, ADifferenceIsFound) {
    count("entrance", kMonday_us, now_us_);
    Json place = get("place");
    place["today"] = 3;
    EXPECT_THAT(contract_.difference("GET", "/api/v1/place", place), HasSubstr(".today"));
    place.erase("today");
    EXPECT_THAT(contract_.difference("GET", "/api/v1/place", place), HasSubstr("no today"));
    place = get("place");
    place["cameras"][0]["state"] = "asleep";
    EXPECT_THAT(contract_.difference("GET", "/api/v1/place", place), HasSubstr(".state"));
    place = get("place");
    place["cameras"][0]["commissioned"] = Json::array();
    EXPECT_THAT(contract_.difference("GET", "/api/v1/place", place), HasSubstr("commissioned"));
    place = get("place");
    place["unheard"] = 1;
    EXPECT_THAT(contract_.difference("GET", "/api/v1/place", place), HasSubstr("unheard"));
}

}  // namespace
