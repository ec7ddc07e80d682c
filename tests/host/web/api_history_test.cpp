// Counts, regions, areas and visitors over days.
#include "host/web/api_history.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/web/api_routes.h"
#include "host/web/live_counts.h"
#include "tests/host/web/api_fixture.h"

namespace {

using host::kHour_us;
using host::kMinute_us;
using host::PersonKind;
using test::crossing;
using test::Json;
using test::kMonday_us;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr const char* kMonday = "from=2026-03-02&to=2026-03-02";

class ApiHistory : public test::Api {
  protected:
    static std::vector<std::string> labels(const Json& answer) {
        std::vector<std::string> list;
        for (const Json& span : answer.at("spans"))
            list.push_back(span.at("label"));
        return list;
    }
    static Json series(const Json& answer, const std::string& camera, int direction) {
        for (const Json& one : answer.at("series"))
            if (one.at("camera") == camera && one.at("direction") == direction) return one;
        ADD_FAILURE() << "no series of " << camera;
        return {};
    }
    // The numbers that are not null, with their places.
    static std::vector<std::pair<std::size_t, int>> told(const Json& list) {
        std::vector<std::pair<std::size_t, int>> found;
        for (std::size_t i = 0; i < list.size(); ++i)
            if (!list[i].is_null()) found.emplace_back(i, list[i].get<int>());
        return found;
    }
};

using ::testing::Pair;

TEST_F(ApiHistory, NullIsNotWatchedAndZeroIsNobody) {
    // From 9 to 11 o'clock in Berlin.
    count("entrance", kMonday_us, kMonday_us + 2 * kHour_us,
          {crossing(kMonday_us + 1), crossing(kMonday_us + 2, "door", 1, PersonKind::kChild),
           crossing(kMonday_us + 3, "door", 2, PersonKind::kStaff)});
    const Json answer = get(std::string("counts?by=hour&") + kMonday);
    EXPECT_EQ(answer["time_zone"], "Europe/Berlin");
    ASSERT_THAT(answer["spans"], SizeIs(24));
    const Json in = series(answer, "entrance", 1);
    EXPECT_THAT(told(in["adult"]), ElementsAre(Pair(9, 1), Pair(10, 0)));
    EXPECT_THAT(told(in["child"]), ElementsAre(Pair(9, 1), Pair(10, 0)));
    EXPECT_THAT(told(in["staff"]), ElementsAre(Pair(9, 0), Pair(10, 0)));
    EXPECT_EQ(in["direction_name"], "to the shop");
    const Json out = series(answer, "entrance", 2);
    EXPECT_THAT(told(out["staff"]), ElementsAre(Pair(9, 1), Pair(10, 0)));
    EXPECT_EQ(out["direction_name"], "to the street");
}

TEST_F(ApiHistory, LinesOfTwoCamerasWithOneNameAreTwo) {
    count("entrance", kMonday_us, kMonday_us + kHour_us, {crossing(kMonday_us)});
    count("back", kMonday_us, kMonday_us + kHour_us,
          {crossing(kMonday_us), crossing(kMonday_us + 1)});
    const Json answer = get(std::string("counts?by=day&") + kMonday);
    EXPECT_EQ(series(answer, "entrance", 1)["adult"], Json::array({1}));
    EXPECT_EQ(series(answer, "back", 1)["adult"], Json::array({2}));
    place("[[entrance]]\ncamera = \"back\"\nline = \"door\"\n");
    EXPECT_EQ(get(std::string("visitors?by=day&") + kMonday)["adults"], Json::array({2}));
    place(
        "[[entrance]]\ncamera = \"back\"\nline = \"door\"\n"
        "[[entrance]]\ncamera = \"entrance\"\nline = \"door\"\n");
    EXPECT_EQ(get(std::string("visitors?by=day&") + kMonday)["adults"], Json::array({3}));
}

TEST_F(ApiHistory, DaysOf23And25HoursHaveThem) {
    const Json spring = get("counts?by=hour&from=2026-03-29&to=2026-03-29");
    EXPECT_THAT(labels(spring), SizeIs(23));
    EXPECT_EQ(labels(spring)[2], "03:00");
    EXPECT_EQ(
        spring["clock_changes"],
        Json::array({{{"date", "2026-03-29"}, {"hours", 23.0}, {"time_us", 1774746000000000}}}));
    const Json autumn = get("counts?by=hour&from=2026-10-25&to=2026-10-25");
    ASSERT_THAT(labels(autumn), SizeIs(25));
    EXPECT_EQ(labels(autumn)[1], "01:00");
    EXPECT_EQ(labels(autumn)[2], "02:00+02:00");
    EXPECT_EQ(labels(autumn)[3], "02:00+01:00");
    EXPECT_EQ(labels(autumn)[4], "03:00");
    EXPECT_THAT(labels(get("counts?by=quarter&from=2026-10-25&to=2026-10-25")), SizeIs(100));
    EXPECT_THAT(labels(get("counts?by=minute&from=2026-03-29&to=2026-03-29")), SizeIs(1380));
}

TEST_F(ApiHistory, ADayIsOneByTheClockAlsoWhenItIsLonger) {
    // Twice half past two in the night of the change: 00:30 and 01:30 UTC.
    constexpr std::int64_t kHalfPast_us = 1792888200LL * 1'000'000;
    now_us_ = kHalfPast_us + 48 * kHour_us;
    count("entrance", kHalfPast_us, kHalfPast_us + 2 * kHour_us,
          {crossing(kHalfPast_us), crossing(kHalfPast_us + kHour_us)});
    const Json day = get("counts?by=day&from=2026-10-24&to=2026-10-26");
    EXPECT_THAT(told(series(day, "entrance", 1)["adult"]), ElementsAre(Pair(1, 2)));
    const Json hours = get("counts?by=hour&from=2026-10-25&to=2026-10-25");
    EXPECT_THAT(told(series(hours, "entrance", 1)["adult"]),
                ElementsAre(Pair(2, 1), Pair(3, 1), Pair(4, 0)));
}

TEST_F(ApiHistory, BothChangesOfTheClockAreInTheDaysOfAYear) {
    // 00:30 UTC, half an hour before each of them, and an hour later.
    constexpr std::int64_t kSpring_us = 1774744200LL * 1'000'000;
    constexpr std::int64_t kAutumn_us = 1792888200LL * 1'000'000;
    now_us_ = kAutumn_us + 48 * kHour_us;
    for (const std::int64_t at_us : {kSpring_us, kAutumn_us}) {
        count("entrance", at_us, at_us + 2 * kHour_us,
              {crossing(at_us), crossing(at_us + kHour_us)});
    }
    const Json days = get("counts?by=day&from=2026-03-28&to=2026-10-26");
    ASSERT_THAT(days["spans"], SizeIs(213));
    EXPECT_THAT(days["clock_changes"], SizeIs(2));
    EXPECT_THAT(told(series(days, "entrance", 1)["adult"]), ElementsAre(Pair(1, 2), Pair(211, 2)));
    for (const Json& span : days["spans"]) {
        const std::int64_t hours =
            (span["to_us"].get<std::int64_t>() - span["from_us"].get<std::int64_t>()) / kHour_us;
        EXPECT_EQ(hours, span["date"] == "2026-03-29"   ? 23
                         : span["date"] == "2026-10-25" ? 25
                                                        : 24)
            << span;
    }
    const Json months = get("counts?by=month&from=2026-03-01&to=2026-10-31");
    EXPECT_THAT(told(series(months, "entrance", 1)["adult"]), ElementsAre(Pair(0, 2), Pair(7, 2)));
}

TEST_F(ApiHistory, AZoneWithHalfAnHour) {
    place("", "Asia/Kolkata");
    // 13:30 to 14:30.
    count("entrance", kMonday_us, kMonday_us + kHour_us,
          {crossing(kMonday_us), crossing(kMonday_us + kHour_us / 2)});
    const Json answer = get(std::string("counts?by=hour&") + kMonday);
    EXPECT_THAT(told(series(answer, "entrance", 1)["adult"]),
                ElementsAre(Pair(13, 1), Pair(14, 1)));
    EXPECT_THAT(answer["spans"][13]["from_us"], kMonday_us - kHour_us / 2);
    place("", "Australia/Lord_Howe");
    // There the clock is set by half an hour.
    EXPECT_EQ(get("counts?by=day&from=2026-04-05&to=2026-04-05")["clock_changes"][0]["hours"],
              24.5);
}

TEST_F(ApiHistory, GapsAreNamed) {
    count("entrance", kMonday_us, kMonday_us + kHour_us);
    {
        host::Store store(camera("entrance"));
        host::Batch batch;
        batch.add_gap({kMonday_us + kHour_us, kMonday_us + 2 * kHour_us, "no frames came"});
        batch.watched_until_us = kMonday_us + 2 * kHour_us;
        store.commit(batch);
    }
    now_us_ = kMonday_us + 2 * kHour_us;
    Json gaps = get(std::string("counts?by=hour&") + kMonday)["gaps"];
    ASSERT_THAT(gaps, SizeIs(1));
    EXPECT_EQ(gaps[0]["camera"], "entrance");
    EXPECT_EQ(gaps[0]["why"], "no frames came");
    EXPECT_EQ(gaps[0]["from"], "2026-03-02T10:00:00.000+01:00");
    EXPECT_EQ(gaps[0]["to"], "2026-03-02T11:00:00.000+01:00");
    // It has not come back yet.
    now_us_ = kMonday_us + 3 * kHour_us;
    gaps = get(std::string("counts?by=hour&") + kMonday)["gaps"];
    ASSERT_THAT(gaps, SizeIs(2));
    EXPECT_EQ(gaps[1]["to_us"], now_us_);
}

TEST_F(ApiHistory, ChangesOfSettingsAreMarked) {
    count("entrance", kMonday_us, kMonday_us + kHour_us);
    {
        host::Store store(camera("entrance"));
        host::Batch batch;
        batch.settings.push_back({{"door"},
                                  {"till"},
                                  "[[line]]\npoints = [[0, 9], [9, 9]]\n",
                                  "anna",
                                  kMonday_us + kHour_us / 2,
                                  "moved"});
        store.commit(batch);
    }
    const Json changes = get(std::string("counts?by=hour&") + kMonday)["changes"];
    ASSERT_THAT(changes, SizeIs(1)) << "the first settings changed nothing";
    EXPECT_EQ(changes[0]["name"], "moved");
    EXPECT_EQ(changes[0]["author"], "anna");
    EXPECT_EQ(changes[0]["version"], 2);
    EXPECT_EQ(get("counts?by=hour&from=2026-03-03&to=2026-03-03")["changes"], Json::array());
}

TEST_F(ApiHistory, OpeningHoursShortenSpans) {
    place("open = \"mon-fri 09:30-11:00\"\n");
    count("entrance", kMonday_us, kMonday_us + 3 * kHour_us,
          {crossing(kMonday_us), crossing(kMonday_us + kHour_us)});
    const Json hours = get(std::string("counts?by=hour&open=true&") + kMonday);
    EXPECT_THAT(labels(hours), ElementsAre("09:00", "10:00"));
    EXPECT_EQ(hours["spans"][0]["from_us"], kMonday_us + kHour_us / 2);
    EXPECT_EQ(series(hours, "entrance", 1)["adult"], Json::array({0, 1}));
    // From Saturday to Monday.
    const Json days = get("counts?by=day&open=true&from=2026-02-28&to=2026-03-02");
    EXPECT_THAT(labels(days), ElementsAre("2026-03-02"));
    const Json month = get("counts?by=month&open=true&from=2026-02-01&to=2026-03-31");
    EXPECT_THAT(labels(month), ElementsAre("2026-02", "2026-03"));
    EXPECT_EQ(series(month, "entrance", 1)["adult"], Json::array({nullptr, 1}));
}

TEST_F(ApiHistory, RegionsHaveMeansAndStays) {
    host::Store store(camera("entrance"));
    host::Batch batch;
    const std::int64_t minute = host::minute_of(kMonday_us);
    batch.regions = {{minute, "till", 900, 450, 2, 0, 0},
                     {minute, "till", 0, 0, 0, 2, 30'100},
                     {minute + 1, "till", 900, 0, 0, 0, 0}};
    batch.watched_until_us = now_us_;
    store.commit(batch);
    const Json answer = get(std::string("regions?by=minute&") + kMonday);
    const Json till = answer["series"][0];
    EXPECT_EQ(till["region"], "till");
    EXPECT_EQ(till["mean_people"][9 * 60], 0.5);
    EXPECT_EQ(till["most"][9 * 60], 2);
    EXPECT_EQ(till["stays"][9 * 60], 2);
    EXPECT_EQ(till["mean_stay_s"][9 * 60], 15.1);
    EXPECT_EQ(till["mean_people"][9 * 60 + 1], 0.0);
    EXPECT_EQ(till["mean_stay_s"][9 * 60 + 1], 0.0);
    EXPECT_EQ(till["mean_people"][9 * 60 + 2], nullptr);
    EXPECT_EQ(get(std::string("regions?by=day&") + kMonday)["series"][0]["mean_people"][0], 0.25);
}

TEST_F(ApiHistory, AreasFollowAllTheirDoors) {
    place(
        "[[area]]\nname = \"hall\"\ncapacity = 5\nreset = \"10:30\"\n"
        "[[entrance]]\ncamera = \"entrance\"\nline = \"door\"\n"
        "[[entrance]]\ncamera = \"back\"\nline = \"door\"\nin = 2\n");
    // From 9 to 12 o'clock: two come in, one at the back, one leaves; the reset at half past ten.
    count("entrance", kMonday_us, kMonday_us + 3 * kHour_us,
          {crossing(kMonday_us), crossing(kMonday_us + kMinute_us),
           crossing(kMonday_us + 10 * kMinute_us, "door", 2),
           crossing(kMonday_us + 100 * kMinute_us)});
    count("back", kMonday_us, kMonday_us + 2 * kHour_us,
          {crossing(kMonday_us + 5 * kMinute_us, "door", 2)});
    const Json answer = get(std::string("areas?by=hour&") + kMonday);
    const Json hall = answer["series"][0];
    EXPECT_EQ(hall["capacity"], 5);
    EXPECT_THAT(told(hall["most"]), ElementsAre(Pair(9, 3), Pair(10, 2), Pair(11, 1)));
    EXPECT_THAT(told(hall["at_end"]), ElementsAre(Pair(9, 2), Pair(10, 1), Pair(11, 1)));
}

TEST_F(ApiHistory, AreasThatSomebodyHasSetToNobodyAreEmpty) {
    place(
        "[[area]]\nname = \"hall\"\n"
        "[[entrance]]\ncamera = \"entrance\"\nline = \"door\"\n");
    count("entrance", kMonday_us, kMonday_us + 3 * kHour_us,
          {crossing(kMonday_us), crossing(kMonday_us + kMinute_us),
           crossing(kMonday_us + 150 * kMinute_us)});
    const auto now = [this] {
        return host::live_counts_json(sources_, {})["areas"][0]["inside"].get<int>();
    };
    EXPECT_EQ(now(), 3);
    host::StoreSetup made = setup("place.db");
    made.device = "place";
    made.lines.clear();
    host::Store store(made);
    host::StoredEvent reset;
    reset.kind = host::EventKind::kReset;
    reset.time_us = kMonday_us + 90 * kMinute_us;
    reset.place = "hall";
    reset.people = 2;
    reset.json = "{}";
    store.commit(test::batch_of({reset}));
    EXPECT_EQ(now(), 1) << "who came later";
    const Json hall = get(std::string("areas?by=hour&") + kMonday)["series"][0];
    EXPECT_THAT(told(hall["at_end"]), ElementsAre(Pair(9, 2), Pair(10, 0), Pair(11, 1)));
    EXPECT_THAT(told(hall["most"]), ElementsAre(Pair(9, 2), Pair(10, 2), Pair(11, 1)));
}

TEST_F(ApiHistory, CsvHasARowForEachNumber) {
    count("entrance", kMonday_us, kMonday_us + kHour_us, {crossing(kMonday_us)});
    const host::HttpResponse csv = ask("GET", std::string("counts?by=day&format=csv&") + kMonday);
    EXPECT_EQ(csv.type, "text/csv; charset=utf-8");
    EXPECT_THAT(csv.body, HasSubstr("from,to,camera,place,direction,what,value"));
    EXPECT_THAT(csv.body, HasSubstr("2026-03-02T00:00:00.000+01:00,2026-03-03T00:00:00.000+01:00,"
                                    "entrance,door,to the shop,adult,1"));
    EXPECT_EQ(ask("GET", std::string("visitors?by=day&format=csv&") + kMonday).status, 200);
}

TEST_F(ApiHistory, WhatIsWrongIsOneSentence) {
    EXPECT_EQ(refusal("counts?from=2026-03-02"), "The parameter \"to\" is missing.");
    EXPECT_EQ(refusal("counts?by=hour&from=yesterday&to=2026-03-02"),
              "\"from\" is \"yesterday\"; write a day such as 2026-03-29.");
    EXPECT_EQ(refusal("counts?by=week&from=2026-03-02&to=2026-03-02"),
              "\"by\" is \"week\"; known are minute, quarter, hour, day, month.");
    EXPECT_EQ(refusal("counts?by=hour&from=2026-03-03&to=2026-03-02"),
              "The last day lies before the first one.");
    EXPECT_EQ(refusal("counts?by=minute&from=2026-03-01&to=2026-03-02"),
              "These are more than 2000 spans; choose longer ones or fewer days.");
    EXPECT_EQ(refusal("counts?by=month&from=1990-03-01&to=2026-03-02"),
              "These are more than 4000 days; choose fewer.");
    EXPECT_EQ(refusal("counts?by=day&open=maybe&from=2026-03-01&to=2026-03-02"),
              "\"open\" is \"maybe\"; known are false, true.");
    EXPECT_THAT(refusal("counts?by=day&x=1&from=2026-03-01&to=2026-03-02"),
                HasSubstr("There is no parameter \"x\""));
    EXPECT_THAT(refusal("counts?by=day&by=day&from=2026-03-01&to=2026-03-02"),
                HasSubstr("\"by\" is given twice"));
}

TEST_F(ApiHistory, CamerasThatHaveNeverCountedAreNotWatched) {
    const Json answer = get(std::string("counts?by=day&") + kMonday);
    EXPECT_EQ(answer["series"], Json::array());
    place("[[entrance]]\ncamera = \"back\"\nline = \"door\"\n");
    EXPECT_EQ(get(std::string("visitors?by=day&") + kMonday)["adults"], Json::array({nullptr}));
    EXPECT_EQ(get(std::string("areas?by=day&") + kMonday)["series"][0]["most"],
              Json::array({nullptr}));
}

}  // namespace
