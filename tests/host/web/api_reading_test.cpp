// The place, its health, events, people and heat.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/web/api_routes.h"
#include "host/web/live_counts.h"
#include "tests/host/web/api_fixture.h"

namespace {

using host::kHour_us;
using host::kMinute_us;
using test::crossing;
using test::Json;
using test::kMonday_us;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class ApiReading : public test::Api {
  protected:
    static std::vector<std::int64_t> times(const Json& events) {
        std::vector<std::int64_t> list;
        for (const Json& event : events)
            list.push_back(event.at("time_us").get<std::int64_t>() - kMonday_us);
        return list;
    }
    // All events from a cursor on, so many at once.
    std::vector<std::int64_t> follow(std::string& after, int limit) const {
        std::vector<std::int64_t> all;
        for (bool more = true; more;) {
            const Json page = get("events?after=" + after + "&limit=" + std::to_string(limit));
            for (const std::int64_t time_us : times(page["events"]))
                all.push_back(time_us);
            after = page["next"];
            more = page["more"];
        }
        return all;
    }
};

TEST_F(ApiReading, ThePlaceHasItsCamerasAreasAndHours) {
    place(
        "open = [\"mon-fri 09:00-20:00\", \"sat 22:00-02:00\"]\n"
        "[[area]]\nname = \"hall\"\ncapacity = 5\n"
        "[[entrance]]\ncamera = \"entrance\"\nline = \"door\"\n");
    count("entrance", kMonday_us - 24 * kHour_us, kMonday_us - 23 * kHour_us);
    look_.stand = host::CameraStand::kOnline;
    const Json answer = get("place");
    EXPECT_EQ(answer["name"], "shop");
    EXPECT_EQ(answer["today"], "2026-03-02");
    EXPECT_EQ(answer["first_day"], "2026-03-01");
    EXPECT_EQ(answer["now"], "2026-03-02T13:00:00.000+01:00");
    EXPECT_EQ(answer["cameras"][0]["name"], "entrance");
    EXPECT_EQ(answer["cameras"][0]["state"], "online");
    EXPECT_EQ(answer["cameras"][1]["commissioned"], nullptr);
    EXPECT_EQ(answer["areas"], Json::array({{{"name", "hall"}, {"capacity", 5}}}));
    EXPECT_EQ(answer["opening_hours"][0]["days"], Json::array({"mon", "tue", "wed", "thu", "fri"}));
    EXPECT_EQ(answer["opening_hours"][1],
              Json::parse(R"({"days":["sat"],"from":"22:00","to":"02:00"})"));
    EXPECT_THAT(refusal("place?x=1"), HasSubstr("There is no parameter"));
}

TEST_F(ApiReading, HealthIsInSentencesWithWords) {
    count("entrance", kMonday_us, now_us_);
    {
        host::Store store(camera("entrance"));
        host::Batch batch;
        batch.add_health({kMonday_us, host::HealthLevel::kDegraded, "clock_step",
                          "the clock was set back by 3.000 s"});
        store.commit(batch);
    }
    const Json answer = get("health");
    EXPECT_EQ(answer["level"], "failed") << "the other camera has no database";
    const Json& step = answer["problems"][0];
    EXPECT_EQ(step["camera"], "entrance");
    EXPECT_EQ(step["level"], "degraded");
    EXPECT_EQ(step["code"], "clock_step");
    EXPECT_EQ(step["text"], "Camera entrance: the clock was set back by 3.000 s.");
    EXPECT_EQ(step["values"], Json({{"camera", "entrance"}}));
    EXPECT_EQ(step["since"], "2026-03-02T09:00:00.000+01:00");
    EXPECT_EQ(answer["problems"][1]["code"], "database_unreadable");
    EXPECT_THAT(answer["cameras"], SizeIs(2));
}

TEST_F(ApiReading, EventsOfAllCamerasComeOnceInTheOrderOfTime) {
    count("entrance", kMonday_us, kMonday_us + kHour_us,
          {crossing(kMonday_us + 1), crossing(kMonday_us + 3), crossing(kMonday_us + 5)});
    count("back", kMonday_us, kMonday_us + kHour_us,
          {crossing(kMonday_us + 2), crossing(kMonday_us + 4)});
    for (const int limit : {1, 2, 3, 1000}) {
        std::string after = "0";
        EXPECT_THAT(follow(after, limit), ElementsAre(1, 2, 3, 4, 5)) << limit;
        EXPECT_THAT(follow(after, limit), ElementsAre()) << limit;
    }
    std::string after = "0";
    follow(after, 2);
    count("back", kMonday_us, kMonday_us + kHour_us, {crossing(kMonday_us + 6)});
    EXPECT_THAT(follow(after, 2), ElementsAre(6));
    const Json newest = get("events?limit=2");
    EXPECT_THAT(times(newest["events"]), ElementsAre(5, 6));
    EXPECT_EQ(newest["next"], after);
    EXPECT_EQ(newest["events"][1]["camera"], "back");
    EXPECT_EQ(newest["events"][1]["kind"], "crossing");
    EXPECT_EQ(newest["events"][1]["place"], "door");
    EXPECT_EQ(newest["events"][1]["direction_name"], "to the shop");
    EXPECT_EQ(newest["events"][1]["person"], "adult");
    EXPECT_EQ(newest["events"][1]["track"], 7);
}

TEST_F(ApiReading, ACameraThatComesLaterIsNotMissed) {
    count("entrance", kMonday_us, kMonday_us + kHour_us, {crossing(kMonday_us + 9)});
    std::string after = "0";
    EXPECT_THAT(follow(after, 10), ElementsAre(9));
    count("back", kMonday_us, kMonday_us + kHour_us, {crossing(kMonday_us + 2)});
    EXPECT_THAT(follow(after, 10), ElementsAre(2));
}

TEST_F(ApiReading, GapsAndFaultsArePassedOver) {
    count("entrance", kMonday_us, kMonday_us + kHour_us, {crossing(kMonday_us + 1)});
    {
        host::Store store(camera("entrance"));
        host::Batch batch = test::batch_of({crossing(kMonday_us + 5)});
        batch.add_gap({kMonday_us + 2, kMonday_us + 3, "no frames came"});
        batch.add_health({kMonday_us + 4, host::HealthLevel::kFailed, "lens_covered", "dark"});
        store.commit(batch);
    }
    std::string after = "0";
    EXPECT_THAT(follow(after, 1), ElementsAre(1, 5));
    EXPECT_THAT(times(get("events?limit=2")["events"]), ElementsAre(1, 5));
}

TEST_F(ApiReading, ACursorThatIsGoneIsRefused) {
    count("entrance", kMonday_us, kMonday_us + kHour_us,
          {crossing(kMonday_us + 1), crossing(kMonday_us + 2), crossing(kMonday_us + 3)});
    const std::string first = get("events?after=0&limit=1")["next"];
    const std::string all = get("events?after=0")["next"];
    host::Database(path(), host::Database::Access::kWrite, 50)
        .execute("DELETE FROM events WHERE sequence <= 2");
    EXPECT_THAT(refusal("events?after=" + first, 410), HasSubstr("begin again with 0"));
    EXPECT_EQ(get("events?after=" + all)["events"], Json::array());
    EXPECT_THAT(times(get("events?after=0")["events"]), ElementsAre(3));
    host::Database(path(), host::Database::Access::kWrite, 50).execute("DELETE FROM events");
    EXPECT_THAT(refusal("events?after=" + first, 410), HasSubstr("not kept any more"));
    EXPECT_EQ(get("events?after=" + all)["events"], Json::array());
    // A database that was replaced.
    std::filesystem::remove(path());
    count("entrance", kMonday_us, kMonday_us + kHour_us, {crossing(kMonday_us + 4)});
    EXPECT_THAT(refusal("events?after=" + all, 410), HasSubstr("begin again with 0"));
    for (const char* wrong : {"x", "1~", "1~a", "1~a.b", "1~a.b.c", "1~a..1", "1~a.b.-1", "2", ""})
        EXPECT_THAT(refusal(std::string("events?after=") + wrong), HasSubstr("is no cursor"));
    EXPECT_THAT(refusal("events?limit=0"), HasSubstr("a whole number from 1 to 1000"));
    EXPECT_THAT(refusal("events?limit=1001"), HasSubstr("a whole number from 1 to 1000"));
    EXPECT_THAT(refusal("events?limit=9x"), HasSubstr("\"limit\" is \"9x\""));
}

TEST_F(ApiReading, AStoryHasStepsInUtcAndNames) {
    {
        host::Store store(camera("entrance"));
        host::Batch batch;
        batch.people.push_back(
            {kMonday_us, kMonday_us + 2'000'000, 7, false, "was counted on line door",
             R"({"track":7,"merged":false,"from_s":10.0,"to_s":12.0,"why":"w","story":[
             {"frame":1,"time_s":10.0,"what":"born","at":[96,54.4],"text":"appeared"},
             {"frame":9,"time_s":11.5,"what":"counted","line":"door","detail":2,
              "at":[480,272],"text":"counted on line door in direction 2"},
             {"frame":9,"time_s":12.0,"what":"left","region":"till","at":[1,2],
              "value":2500.0,"limit":0.0,"text":"left region till after 2.5 s"}]})"});
        store.commit(batch);
    }
    look_.width = 480;
    look_.height = 272;
    const Json answer = get("people?camera=entrance&track=7");
    EXPECT_TRUE(answer["counted"]);
    EXPECT_TRUE(answer["ended"]);
    EXPECT_EQ(answer["why"], "was counted on line door");
    const Json& counted = answer["steps"][1];
    EXPECT_EQ(counted["code"], "counted");
    EXPECT_EQ(counted["time_us"], kMonday_us + 1'500'000);
    EXPECT_EQ(counted["values"]["line"], "door");
    EXPECT_EQ(counted["values"]["direction"], "to the street");
    EXPECT_EQ(counted["at"], Json::array({240.0, 136.0})) << "the camera's own pixels";
    EXPECT_EQ(answer["steps"][2]["values"]["s"], 2.5);
    EXPECT_THAT(answer["path"], SizeIs(3));
    const auto at = [&](std::int64_t time_us) {
        return "people?camera=entrance&track=7&at_us=" + std::to_string(time_us);
    };
    EXPECT_EQ(get(at(kMonday_us + 1))["track"], 7);
    EXPECT_THAT(refusal(at(kMonday_us + kMinute_us), 404), HasSubstr("Nothing is kept"));
    EXPECT_EQ(ask("GET", "people?camera=entrance&track=8").status, 404);
    EXPECT_THAT(refusal("people?camera=none&track=8", 404), HasSubstr("no camera \"none\""));
    EXPECT_EQ(refusal("people?camera=entrance"), "The parameter \"track\" is missing.");
    EXPECT_THAT(refusal("people?camera=entrance&track=-1"), HasSubstr("\"track\" is \"-1\""));
}

TEST_F(ApiReading, ACountThatWasLeftOutIsNone) {
    {
        host::Store store(camera("entrance"));
        host::Batch batch;
        batch.people.push_back(
            {kMonday_us, kMonday_us, 7, false, "went back",
             R"({"from_s":1,"story":[{"time_s":1,"what":"counted","line":"door","left_out":true,
             "detail":1,"at":[1,2],"text":"left out"}]})"});
        batch.people.push_back({kMonday_us, kMonday_us, 8, false, "?", "{\"story\": 3}"});
        store.commit(batch);
    }
    const Json answer = get("people?camera=entrance&track=7");
    EXPECT_FALSE(answer["counted"]);
    EXPECT_EQ(answer["steps"][0]["code"], "counted_left_out");
    EXPECT_EQ(refusal("people?camera=entrance&track=8", 404),
              "The story of this person cannot be read.");
}

TEST_F(ApiReading, HeatIsAddedUpOverHoursOfTheClock) {
    count("entrance", kMonday_us, kMonday_us + 2 * kHour_us);
    {
        host::Store store(camera("entrance"));
        host::Batch batch;
        for (const int hour : {0, 1, 30}) {
            host::HeatGrid grid;
            grid.hour = host::hour_of(kMonday_us) + hour;
            grid.dwell_ms.assign(48 * 27, 0);
            grid.passages.assign(48 * 27, 0);
            grid.dwell_ms[50] = 1500;
            grid.passages[51] = 2;
            batch.heat.push_back(grid);
        }
        store.commit(batch);
    }
    const Json day = get("cameras/entrance/heat?from=2026-03-02&to=2026-03-02");
    EXPECT_EQ(day["columns"], 48);
    EXPECT_EQ(day["rows"], 27);
    ASSERT_THAT(day["cells"], SizeIs(48 * 27));
    EXPECT_EQ(day["cells"][50], 3.0);
    EXPECT_EQ(day["hours"], 2.0);
    const Json both = get("cameras/entrance/heat?what=motion&from=2026-03-02&to=2026-03-03");
    EXPECT_EQ(both["cells"][51], 6);
    // 9 to 10 o'clock in Berlin, each day.
    const Json hour = get(
        "cameras/entrance/heat?what=motion&from_hour=9&to_hour=10&from=2026-03-02&to=2026-03-03");
    EXPECT_EQ(hour["cells"][51], 2);
    EXPECT_EQ(hour["hours"], 1.0);
    EXPECT_EQ(get("cameras/back/heat?from=2026-03-02&to=2026-03-03")["hours"], 0.0);
    EXPECT_THAT(refusal("cameras/none/heat?from=2026-03-02&to=2026-03-03", 404),
                HasSubstr("There is no camera"));
    EXPECT_THAT(refusal("cameras/entrance/heat?from=2026-03-04&to=2026-03-03"),
                HasSubstr("The last day lies before"));
    EXPECT_THAT(
        refusal("cameras/entrance/heat?from_hour=9&to_hour=9&from=2026-03-02&to=2026-03-03"),
        HasSubstr("must be later"));
    EXPECT_THAT(refusal("cameras/entrance/heat?from=1026-03-02&to=2026-03-03"),
                HasSubstr("more than 4000 days"));
}

TEST_F(ApiReading, TodayHasWhatAPageShows) {
    place(
        "[[area]]\nname = \"hall\"\ncapacity = 2\n"
        "[[entrance]]\ncamera = \"entrance\"\nline = \"door\"\n");
    count("entrance", kMonday_us, now_us_,
          {crossing(kMonday_us), crossing(kMonday_us + kHour_us),
           crossing(kMonday_us + kHour_us, "door", 1, host::PersonKind::kStaff),
           crossing(kMonday_us + kHour_us, "door", 2)});
    const Json today = host::live_counts_json(sources_, {{"entrance", "till", 2, 1500}});
    EXPECT_EQ(today["today"], "2026-03-02");
    EXPECT_EQ(today["visitors"], 2);
    EXPECT_EQ(today["lines"][0]["directions"][0]["people"], 3) << "staff included";
    EXPECT_EQ(today["lines"][0]["directions"][0]["name"], "to the shop");
    EXPECT_EQ(today["regions"][0]["people"], 2);
    EXPECT_EQ(today["areas"][0]["inside"], 2);
    EXPECT_EQ(today["areas"][0]["level"], "full");
    ASSERT_THAT(today["hours"], SizeIs(24));
    EXPECT_EQ(today["hours"][8]["people"], nullptr);
    EXPECT_EQ(today["hours"][9]["people"], 1);
    EXPECT_EQ(today["hours"][10]["people"], 1);
    EXPECT_EQ(today["hours"][11]["people"], 0);
    place();
    EXPECT_EQ(Json(host::live_counts_json(sources_, {}))["visitors"], nullptr);
}

TEST_F(ApiReading, NobodyIsToldAnything) {
    for (const char* path : {"place", "health", "events", "counts", "people"})
        EXPECT_EQ(ask("GET", path, "", host::Role::kNobody).status, 401) << path;
}

}  // namespace
