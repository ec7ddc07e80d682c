// The service over HTTP, as a user runs it.
#include "tests/scenario/web_fixture.h"
#include "tests/support/certificate.h"

namespace {

using test::EventStream;
using test::eventually;
using test::WebClient;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class Web : public test::WebService {
  protected:
    void run() {
        write_place("", "metrics = \"open\"\n");
        start();
    }
    std::string get(const std::string& path) const { return nobody().get(path).body; }
    bool answers() const {
        return eventually([this] { return nobody().get("/healthz").status != 0; });
    }
    // Of the first start.
    std::string one_time_password() const {
        const std::string words = "one-time password ";
        eventually([&] { return out().find(words) != std::string::npos; });
        const std::string said = out();
        const std::size_t begin = said.find(words) + words.size();
        return said.substr(begin, said.find('\n', begin) - begin);
    }
    // The one of a line that says nothing else.
    static std::string last_word(const std::string& line) {
        return line.substr(line.rfind(' ') + 1, line.find('\n') - line.rfind(' ') - 1);
    }
};

TEST_F(Web, TellsHealthAndCounts) {
    run();
    EXPECT_TRUE(eventually([&] { return get("/healthz").find("\"ok\"") != std::string::npos; }))
        << get("/healthz") << err();
    EXPECT_EQ(vca("status --url " + url()).status, 0);
    const auto counted = [&] {
        const test::Outcome counts =
            vca("counts --store store/door.db --time-zone UTC --format json");
        if (counts.status != 0) return 0;
        return nlohmann::json::parse(counts.out)[0]["adult"].get<int>();
    };
    EXPECT_TRUE(eventually([&] { return counted() > 0; })) << err();
    const std::string metrics = get("/metrics");
    EXPECT_THAT(metrics, AllOf(HasSubstr("vca_crossings_total{place=\"shop\",camera=\"door\","
                                         "line=\"door\",direction=\"1\",kind=\"adult\"}"),
                               HasSubstr("vca_occupancy_people{place=\"shop\",area=\"place\"}"),
                               HasSubstr("vca_database_unreadable{place=\"shop\","
                                         "camera=\"door\"} 0")));
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(vca("status --url " + url()).status, 1) << "nobody answers any more";
}

TEST_F(Web, TellsHealthToWhoTrustsItsCertificate) {
    test::make_certificate(work_, "service");
    test::make_certificate(work_, "other");
    write_place("", "certificate = \"service.pem\"\nkey = \"service.key\"\n");
    start();
    const std::string ask = "status --url https://" + nobody().host() + " --ca-file ";
    EXPECT_TRUE(eventually([&] { return vca(ask + "service.pem").status == 0; })) << err();
    EXPECT_EQ(vca(ask + "service.pem").out, "ok\n");
    const test::Outcome distrustful = vca(ask + "other.pem");
    EXPECT_EQ(distrustful.status, 1);
    EXPECT_THAT(distrustful.err, HasSubstr("no answer from https://"));
    const test::Outcome wrong = vca(ask + "gone.pem");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.err, HasSubstr("cannot read \"gone.pem\""));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Web, TheFirstStartTellsHowToLogIn) {
    run();
    const std::string once = one_time_password();
    EXPECT_THAT(out(), HasSubstr("the page: " + url("/") +
                                 "\nlog in as admin with the one-time password " + once + "\n"));
    EXPECT_THAT(get("/api/v1/session"), HasSubstr("\"first_start\":true"));
    EXPECT_EQ(nobody().get("/api/v1/place").status, 401);
    EXPECT_EQ(nobody().log_in("admin", "not this one"), 401);
    WebClient admin = nobody();
    ASSERT_EQ(admin.log_in("admin", once), 200);
    EXPECT_EQ(admin.get("/api/v1/place").status, 403) << "chooses a password first";
    EXPECT_EQ(admin.ask("PUT", "/api/v1/session/password", {}, {{"old", once}, {"new", kPassword}})
                  .status,
              204);
    EXPECT_EQ(admin.get("/api/v1/place").status, 200);
    EXPECT_EQ(stop(), 0);
    // The session is the next service's, too, which tells no password.
    start();
    ASSERT_TRUE(answers()) << err();
    EXPECT_EQ(admin.get("/api/v1/place").status, 200);
    EXPECT_THAT(out(), Not(HasSubstr("one-time")));
    EXPECT_THAT(out() + err(), Not(HasSubstr(kPassword)));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Web, APasswordThatWasLostIsResetWhileTheServiceRuns) {
    run();
    ASSERT_TRUE(answers()) << err();
    accounts().add_user({"anna", host::Role::kOperator, {}}, kPassword);
    WebClient anna = nobody();
    ASSERT_EQ(anna.log_in("anna", kPassword), 200);
    EventStream stream(anna, "?camera=door");
    ASSERT_TRUE(stream.next("health").has_value());
    const test::Outcome reset = vca("users reset anna --config vca.toml");
    EXPECT_EQ(reset.status, 0) << reset.err;
    EXPECT_THAT(reset.out, StartsWith("one-time password of anna: "));
    EXPECT_EQ(anna.get("/api/v1/place").status, 401);
    EXPECT_EQ(stream.next("bye").value_or(nullptr), nlohmann::json({{"why", "session"}}));
    EXPECT_EQ(anna.log_in("anna", kPassword), 401);
    ASSERT_EQ(anna.log_in("anna", last_word(reset.out)), 200);
    EXPECT_EQ(anna.get("/api/v1/place").status, 403) << "chooses a password first";
    expect_refused("users reset nobody", HasSubstr("known are admin, anna"), "none");
    expect_refused("users reset", HasSubstr("NAME"), "none");
    expect_refused("users reset anna --config none.toml", HasSubstr("none.toml"), "none");
    expect_refused("users", HasSubstr("vca users --help"), "none");
    EXPECT_EQ(stop(), 0);
}

TEST_F(Web, NobodyIsResetBeforeTheFirstStart) {
    write_place();
    expect_refused("users reset admin", HasSubstr("the first start of vca serve"), "store");
}

TEST_F(Web, RolesDecideWhoMayDoWhat) {
    run();
    const WebClient viewer = program(host::Role::kViewer);
    const WebClient officer = program(host::Role::kOperator);
    const WebClient admin = program(host::Role::kAdmin);
    ASSERT_TRUE(answers());
    const std::string measure = "/api/v1/cameras/door/measure";
    EXPECT_TRUE(eventually([&] { return officer.ask("POST", measure).status == 202; })) << err();
    EXPECT_EQ(viewer.ask("POST", measure).status, 403);
    EXPECT_EQ(nobody().ask("POST", measure).status, 401);
    EXPECT_EQ(officer.get("/api/v1/users").status, 403);
    EXPECT_EQ(admin.get("/api/v1/users").status, 200);
    const nlohmann::json tom = {{"name", "tom"}, {"role", "viewer"}, {"password", kPassword}};
    EXPECT_EQ(officer.ask("POST", "/api/v1/users", {}, tom).status, 403);
    EXPECT_EQ(admin.ask("POST", "/api/v1/users", {}, tom).status, 201);
    WebClient page = nobody();
    ASSERT_EQ(page.log_in("tom", kPassword), 200);
    EXPECT_EQ(page.get("/api/v1/place").status, 200);
    EXPECT_EQ(page.ask("POST", measure).status, 403);
    EXPECT_EQ(page.ask("DELETE", "/api/v1/session").status, 204);
    EXPECT_EQ(page.get("/api/v1/place").status, 401);
    EXPECT_EQ(stop(), 0);
}

// A wrong password and a right one, at the real price.
TEST_F(Web, AStreamEndsWithItsSession) {
    run();
    ASSERT_TRUE(answers()) << err();
    accounts().add_user({"tom", host::Role::kViewer, {}}, kPassword);
    WebClient tom = nobody();
    ASSERT_EQ(tom.log_in("tom", kPassword), 200);
    EventStream leaves(tom, "?camera=door");
    ASSERT_TRUE(leaves.next("health").has_value());
    EXPECT_EQ(tom.ask("DELETE", "/api/v1/session").status, 204);
    EXPECT_EQ(leaves.next("bye").value_or(nullptr), nlohmann::json({{"why", "session"}}));
    // Its time is over.
    ASSERT_EQ(tom.log_in("tom", kPassword), 200);
    EventStream waits(tom, "?camera=door");
    ASSERT_TRUE(waits.next("health").has_value());
    host::Database(database("service"), host::Database::Access::kWrite, 5000)
        .execute("UPDATE sessions SET begun_us = begun_us - 31 * 86400000000");
    EXPECT_EQ(waits.next("bye").value_or(nullptr), nlohmann::json({{"why", "session"}}));
    EXPECT_EQ(tom.get("/api/v1/place").status, 401);
    // A token is taken back.
    const host::MadeToken token = accounts().add_token("wall", host::Role::kViewer, "test");
    EventStream wall(WebClient(port_, {{"Authorization", "Bearer " + token.secret}}), "");
    ASSERT_TRUE(wall.next("health").has_value());
    accounts().remove_token(token.id);
    EXPECT_EQ(wall.next("bye").value_or(nullptr), nlohmann::json({{"why", "session"}}));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Web, MetricsAreForThoseWhoMayLogIn) {
    write_place();
    start();
    ASSERT_TRUE(answers()) << err();
    EXPECT_EQ(nobody().get("/metrics").status, 401);
    EXPECT_THAT(program(host::Role::kViewer).get("/metrics").body, HasSubstr("vca_build_info"));
    EXPECT_THAT(get("/healthz"), Not(HasSubstr("door"))) << "how it is, and not of what";
    EXPECT_EQ(stop(), 0);
}

TEST_F(Web, MetricsHaveTheFiguresOfCamerasThatRun) {
    run();
    EXPECT_TRUE(eventually([&] {
        return get("/metrics").find("vca_frames_total{place=\"shop\",camera=\"door\"}") !=
               std::string::npos;
    })) << get("/metrics")
        << err();
    EXPECT_THAT(get("/metrics"),
                AllOf(HasSubstr("vca_suppressed_crossings_total{place=\"shop\",camera=\"door\","
                                "line=\"door\",reason=\"turned_back\"} "),
                      HasSubstr("vca_frame_processing_seconds_count{"),
                      HasSubstr("vca_depth_valid_ratio{")));
    // Regions follow the settings, without a start of the camera.
    std::filesystem::create_directories(work_ / "cameras");
    write("cameras/door.toml",
          "[[line]]\nname = \"exit\"\npoints = [[200, 300], [700, 300]]\n"
          "[[region]]\nname = \"mat\"\npoints = [[300, 200], [600, 200], [600, 400]]\n");
    EXPECT_TRUE(eventually([&] {
        const std::string metrics = get("/metrics");
        return metrics.find("camera=\"door\",region=\"mat\"") != std::string::npos &&
               metrics.find("line=\"exit\",reason=") != std::string::npos;
    })) << get("/metrics")
        << err();
    EXPECT_EQ(stop(), 0);
}

TEST_F(Web, AChangeOfThePlaceReachesWhoeverAsks) {
    run();
    EXPECT_TRUE(eventually([&] {
        return get("/metrics").find("vca_frames_total{place=\"shop\"") != std::string::npos;
    })) << err();
    std::string file = test::read_file(work_ / "vca.toml");
    file.replace(file.find("shop"), 4, "museum");
    const WebClient viewer = program(host::Role::kViewer);
    write("vca.toml", file +
                          "[[camera]]\nname = \"back\"\nscene = \"doorway\"\nseed = 2\n"
                          "[[area]]\nname = \"rooms\"\n");
    EXPECT_TRUE(eventually([&] {
        const std::string metrics = get("/metrics");
        return metrics.find("vca_frames_total{place=\"museum\",camera=\"back\"}") !=
                   std::string::npos &&
               metrics.find("area=\"rooms\"") != std::string::npos;
    })) << get("/metrics")
        << err();
    EXPECT_TRUE(eventually([&] {
        const std::string health = viewer.get("/api/v1/health").body;
        return health.find("\"back\"") != std::string::npos &&
               get("/healthz").find("\"ok\"") != std::string::npos;
    })) << viewer.get("/api/v1/health").body;
    EXPECT_EQ(stop(), 0);
}

TEST_F(Web, APortThatIsTakenIsWrongInput) {
    run();
    ASSERT_TRUE(answers()) << err();
    std::filesystem::create_directories(work_ / "two");
    std::filesystem::copy_file(work_ / "vca.toml", work_ / "two/vca.toml");
    const test::Outcome second = vca("serve --config two/vca.toml");
    EXPECT_EQ(second.status, 2);
    EXPECT_THAT(second.err, HasSubstr("cannot listen on 127.0.0.1 port"));
}

}  // namespace
