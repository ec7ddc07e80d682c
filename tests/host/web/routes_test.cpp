// What the service says over HTTP about its health and its counts.
#include "host/web/routes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/store/subscription.h"
#include "tests/host/store/store_folder.h"

namespace {

using host::HealthLevel;
using host::HttpResponse;
using host::Store;
using test::batch_of;
using test::crossing;
using test::kMonday_us;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Web : public test::StoreFolder {
  protected:
    // Adults in, a child out, and somebody of the staff.
    void count() {
        Store store(setup());
        host::Batch batch =
            batch_of({crossing(kMonday_us), crossing(kMonday_us + 1),
                      crossing(kMonday_us + 2, "door", 2, host::PersonKind::kChild),
                      crossing(kMonday_us + 3, "door", 1, host::PersonKind::kStaff)});
        batch.watched_until_us = kMonday_us + 5'000'000;
        store.commit(batch);
    }
    void note(HealthLevel level, const std::string& fault, const std::string& text) {
        Store store(setup());
        host::Batch batch;
        batch.add_health({kMonday_us, level, fault, text});
        store.commit(batch);
    }
    host::ServiceHealth health(std::int64_t later_us = 6'000'000) const {
        return host::read_health({path()}, kMonday_us + later_us);
    }
    HttpResponse get(const std::string& where, const std::string& method = "GET") const {
        const host::Router router =
            host::make_routes({[this] { return health(); }, [this] { return input_; }, open_},
                              [this](const host::HttpRequest&) {
                                  return host::Caller{role_, "x"};
                              });
        host::HttpRequest request;
        request.method = method;
        request.path = where;
        return router.answer(request);
    }
    std::string metrics() {
        input_.place = "museum \"old\"\\";
        input_.cameras = {{path(), host::CameraFigures{}}};
        input_.cameras[0].figures->frames = 9;
        input_.cameras[0].figures->processing.add(0.02);
        input_.cameras[0].figures->processing.add(0.3);
        host::RegionFigures till{"till", 2};
        till.stays.add(45.0);
        input_.cameras[0].figures->regions = {till};
        input_.cameras[0].figures->lines = {{"door", {0, 3}}};
        input_.areas = {{"hall", {{"door", 1}}, 0, 10}};
        input_.time_zone = "UTC";
        input_.now_us = kMonday_us + 6'000'000;
        const HttpResponse response = get(host::kMetricsPath);
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.type, host::kMetricsType);
        return response.body;
    }
    host::MetricsInput input_;
    host::Role role_ = host::Role::kViewer;
    bool open_ = false;
};

TEST_F(Web, AllIsWell) {
    count();
    const HttpResponse response = get(host::kHealthPath);
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.type, "application/json");
    EXPECT_EQ(response.body, "{\"level\":\"ok\"}\n");
    const nlohmann::json json = nlohmann::json::parse(host::health_json(health()));
    EXPECT_EQ(json["level"], "ok");
    EXPECT_EQ(json["cameras"][0]["name"], "entrance");
    EXPECT_EQ(json["cameras"][0]["watched_until_us"], kMonday_us + 5'000'000);
    EXPECT_TRUE(json["cameras"][0]["faults"].empty());
    EXPECT_EQ(host::health_text(health()), "ok\n  entrance  ok\n");
}

TEST_F(Web, EveryFaultHasItsSentenceUntilItEnds) {
    count();
    note(HealthLevel::kDegraded, "clock_step", "the clock was set back by 3.000 s");
    EXPECT_EQ(health().level(), HealthLevel::kDegraded);
    EXPECT_EQ(get(host::kHealthPath).status, 200) << "it counts";
    note(HealthLevel::kFailed, "lens_covered", "the lens is covered");
    EXPECT_EQ(get(host::kHealthPath).status, 503);
    EXPECT_EQ(host::health_text(health()),
              "failed\n  entrance  failed\n"
              "    degraded since 2026-03-02 08:00:00 UTC: the clock was set back by 3.000 s\n"
              "    failed since 2026-03-02 08:00:00 UTC: the lens is covered\n");
    note(HealthLevel::kOk, "lens_covered", "it is free again");
    note(HealthLevel::kOk, "clock_step", "the clock has not been set again");
    EXPECT_EQ(health().level(), HealthLevel::kOk);
    EXPECT_THAT(host::StoreReader(path()).open_faults(), IsEmpty());
}

TEST_F(Web, ACameraThatHasStoppedHasFailed) {
    count();
    EXPECT_EQ(health(60'000'000).level(), HealthLevel::kOk);
    EXPECT_EQ(health(66'000'000).level(), HealthLevel::kFailed);
    EXPECT_THAT(host::health_text(health(66'000'000)),
                HasSubstr("nothing has been watched since 2026-03-02 08:00:05 UTC"));
}

TEST_F(Web, ADatabaseThatIsNotThereIsAFault) {
    EXPECT_THAT(host::health_text(health()),
                AllOf(HasSubstr("entrance  failed"), HasSubstr("there is no database")));
    std::ofstream(path()) << "nothing of the kind";
    EXPECT_EQ(health().level(), HealthLevel::kFailed);
    EXPECT_THAT(metrics(), HasSubstr("camera=\"entrance\"} 1\n"));
}

TEST_F(Web, TheLevelCanBeReadBack) {
    for (const HealthLevel level : {HealthLevel::kOk, HealthLevel::kDegraded, HealthLevel::kFailed})
        EXPECT_EQ(host::parse_health_level(host::health_level_json(level)), level);
    for (const char* text : {"", "[]", "{}", R"({"level":1})", R"({"level":"fine"})"})
        EXPECT_THROW(host::parse_health_level(text), std::runtime_error) << text;
}

TEST_F(Web, NobodyHearsMoreThanTheLevel) {
    count();
    note(HealthLevel::kFailed, "lens_covered", "the lens is \"covered\"");
    role_ = host::Role::kNobody;
    EXPECT_EQ(get(host::kHealthPath).body, "{\"level\":\"failed\"}\n");
    EXPECT_EQ(get(host::kMetricsPath).status, 401);
    open_ = true;
    EXPECT_EQ(get(host::kMetricsPath).status, 200);
}

TEST_F(Web, MetricsAreTheCommittedCounts) {
    count();
    const std::string text = metrics();
    const std::string camera = R"({place="museum \"old\"\\",camera="entrance")";
    EXPECT_THAT(
        text, AllOf(HasSubstr("vca_crossings_total" + camera +
                              R"(,line="door",direction="1",kind="adult"} 2)"),
                    HasSubstr("vca_crossings_total" + camera +
                              R"(,line="door",direction="2",kind="child"} 1)"),
                    HasSubstr("vca_crossings_total" + camera +
                              R"(,line="door",direction="2",kind="staff"} 0)"),
                    HasSubstr(R"(vca_occupancy_people{place="museum \"old\"\\",area="hall"} 2)")));
    EXPECT_THAT(
        text, AllOf(HasSubstr("vca_frames_total" + camera + "} 9\n"),
                    HasSubstr("vca_region_people" + camera + ",region=\"till\"} 2\n"),
                    HasSubstr("vca_frame_processing_seconds_bucket" + camera + ",le=\"0.02\"} 1\n"),
                    HasSubstr("vca_frame_processing_seconds_bucket" + camera + ",le=\"+Inf\"} 2\n"),
                    HasSubstr("vca_frame_processing_seconds_sum" + camera + "} 0.32\n"),
                    HasSubstr("vca_region_stay_seconds_bucket" + camera +
                              ",region=\"till\",le=\"30\"} 0\n"),
                    HasSubstr("vca_region_stay_seconds_bucket" + camera +
                              ",region=\"till\",le=\"60\"} 1\n"),
                    HasSubstr("vca_suppressed_crossings_total" + camera +
                              ",line=\"door\",reason=\"same_side\"} 3\n"),
                    HasSubstr("vca_suppressed_crossings_total" + camera +
                              ",line=\"door\",reason=\"unseen\"} 0\n"),
                    HasSubstr("vca_last_event_timestamp_seconds" + camera),
                    HasSubstr("vca_build_info{version=")));
}

TEST_F(Web, MetricsTellOfThePlaceAsOfACamera) {
    count();
    input_.place_database = path("place.db");
    input_.faults = {{kMonday_us, HealthLevel::kDegraded, "webhook_failing", "no answer"}};
    host::StoreSetup place = setup("place.db");
    place.device = "place";
    place.lines.clear();
    Store store(place);
    host::StoredEvent reset;
    reset.kind = host::EventKind::kReset;
    reset.time_us = kMonday_us + 5'500'000;
    reset.place = "hall";
    reset.people = 1;
    reset.json = "{}";
    store.commit(test::batch_of({reset}));
    host::Subscription({path("place.db"), "webhook:erp"}).save();
    const std::string of_place = R"({place="museum \"old\"\\",camera="place",)";
    EXPECT_THAT(
        metrics(),
        AllOf(HasSubstr("vca_faults" + of_place + "level=\"degraded\"} 1\n"),
              HasSubstr("vca_faults" + of_place + "level=\"failed\"} 0\n"),
              HasSubstr("vca_subscriber_waiting_events" + of_place +
                        "subscriber=\"webhook:erp\"} 1\n"),
              HasSubstr(R"(vca_occupancy_people{place="museum \"old\"\\",area="hall"} 1)")));
}

// Every metric of a family stands below its head, which comes once.
TEST_F(Web, MetricsHaveHeads) {
    count();
    std::istringstream lines(metrics());
    std::string family;
    std::vector<std::string> families;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("# HELP ")) {
            family = line.substr(7, line.find(' ', 7) - 7);
            EXPECT_THAT(families, Not(::testing::Contains(family)));
            families.push_back(family);
        } else if (line.starts_with("# TYPE ")) {
            EXPECT_THAT(line, HasSubstr(" " + family + " "));
            EXPECT_EQ(line.ends_with(" counter"), family.ends_with("_total")) << line;
        } else {
            EXPECT_TRUE(line.starts_with(family)) << line;
        }
    }
    EXPECT_GT(families.size(), 12u);
}

TEST_F(Web, AProgramThatReadsMetricsTakesThem) {
    count();
    std::ofstream(path("metrics.txt")) << metrics();
    EXPECT_EQ(std::system((VCA_PROMTOOL " check metrics < " + path("metrics.txt") + " > " +
                           path("said.txt") + " 2>&1")
                              .c_str()),
              0)
        << std::ifstream(path("said.txt")).rdbuf();
}

TEST_F(Web, OtherPagesAndMethodsAreRefused) {
    EXPECT_EQ(get("/").status, 404);
    EXPECT_EQ(get("/healthz/").status, 404);
    const HttpResponse refused = get(host::kHealthPath, "POST");
    EXPECT_EQ(refused.status, 405);
    EXPECT_THAT(refused.headers, ElementsAre(std::pair<std::string, std::string>("Allow", "GET")));
}

}  // namespace
