// Settings that are saved over HTTP while a camera counts.
#include "tests/scenario/web_fixture.h"

namespace {

using test::EventStream;
using test::eventually;
using test::read_file;
using test::WebClient;
using ::testing::HasSubstr;
using Json = nlohmann::json;

constexpr const char* kSettings = "/api/v1/cameras/door/settings";

class WebSettings : public test::WebService {
  protected:
    void run() {
        write_place();
        start();
        ASSERT_TRUE(eventually([&] { return crossings("door") > 0; })) << err();
        anna_ = program(host::Role::kOperator);
    }
    Json in_force() const { return Json::parse(anna_.get(kSettings).body); }
    host::HttpResponse save(int base, const Json& settings,
                            const std::string& name = "test") const {
        return anna_.ask("PUT", kSettings, {},
                         {{"base_version", base}, {"name", name}, {"settings", settings}});
    }
    std::int64_t counted_on(const std::string& line) const {
        return number("door",
                      "SELECT count(*) FROM events JOIN places ON places.id = events.place WHERE "
                      "events.kind = 'crossing' AND places.name = '" +
                          line + "'");
    }

    WebClient anna_;
};

TEST_F(WebSettings, ALineThatIsDrawnCounts) {
    run();
    EventStream page(anna_, "");
    Json settings = in_force()["settings"];
    settings["line"].push_back({{"name", "inner"}, {"points", {{310, 220}, {650, 220}}}});
    const auto before = cameras();
    const host::HttpResponse saved = save(1, settings, "a second line");
    ASSERT_EQ(saved.status, 200) << saved.body << err();
    const Json version = Json::parse(saved.body);
    EXPECT_EQ(version["version"], 2);
    EXPECT_EQ(version["name"], "a second line");
    EXPECT_EQ(in_force(), version);
    EXPECT_TRUE(eventually([&] { return counted_on("inner") > 0; })) << err();
    EXPECT_EQ(cameras(), before) << "counting went on";
    const auto told = page.next("settings");
    ASSERT_TRUE(told.has_value());
    EXPECT_EQ(told->at("version"), 2);
    EXPECT_EQ(told->at("author"), version["author"]);
    // Whoever began with the version before is told, and nothing of theirs is written.
    const std::string file = read_file(work_ / "cameras" / "door.toml");
    EXPECT_EQ(save(1, settings).status, 409);
    EXPECT_EQ(read_file(work_ / "cameras" / "door.toml"), file);
    // A hand at the file comes after it, by its own name.
    write("cameras/door.toml", "[[line]]\nname = \"door\"\npoints = [[310, 272], [650, 272]]\n");
    EXPECT_TRUE(eventually([&] { return in_force()["version"] == 3; })) << err();
    EXPECT_EQ(in_force()["author"], "file");
    EXPECT_EQ(stop(), 0);
    expect_exact("door");
}

TEST_F(WebSettings, TheAuthorIsKnownAfterANewStartOfTheCamera) {
    run();
    Json settings = in_force()["settings"];
    settings["target_height_mm"] = {1000, 2100};
    const host::HttpResponse saved = save(1, settings, "taller people");
    ASSERT_EQ(saved.status, 200) << saved.body << err();
    EXPECT_EQ(Json::parse(saved.body)["name"], "taller people");
    EXPECT_THAT(err(), HasSubstr("starts again, because other settings"));
}

TEST_F(WebSettings, WhatTheCameraCannotCountWithIsRefused) {
    run();
    Json settings = in_force()["settings"];
    settings["height_mm"] = 3100;  // that of a scene is its own
    const host::HttpResponse refused = save(1, settings);
    EXPECT_EQ(refused.status, 400) << refused.body;
    EXPECT_THAT(refused.body, HasSubstr("The height goes with recordings and live cameras"));
    EXPECT_FALSE(std::filesystem::exists(work_ / "cameras" / "door.toml"));
    EXPECT_EQ(in_force()["version"], 1);
    const std::int64_t counted = crossings("door");
    EXPECT_TRUE(eventually([&] { return crossings("door") > counted; })) << err();
}

}  // namespace
