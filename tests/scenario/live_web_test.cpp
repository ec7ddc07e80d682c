// What a camera sees, live over HTTP, as a page or a program asks for it.
#include "tests/scenario/web_fixture.h"

namespace {

using test::EventStream;
using test::eventually;
using ::testing::StartsWith;
using Json = nlohmann::json;

class LiveWeb : public test::WebService {
  protected:
    void run(const std::string& camera = "") {
        write_place(camera);
        program_ = program(host::Role::kOperator);
        start();
        ASSERT_TRUE(eventually([&] { return status().value("state", "") == "online"; })) << err();
    }
    host::HttpResponse get(const std::string& what) const {
        return program_.get("/api/v1/cameras/door/" + what);
    }
    Json status() const {
        const auto answer = get("status");
        return answer.status == 200 ? Json::parse(answer.body) : Json::object();
    }
    // Each frame that is told can be had, with its own number; those that a slow machine lets go
    // are followed by others.
    void expect_pictures(EventStream& stream, int pictures) const {
        std::int64_t last = -1;
        for (int had = 0; had < pictures;) {
            const auto frame = stream.next("frame");
            ASSERT_TRUE(frame.has_value()) << err();
            const std::int64_t number = frame->at("frame");
            EXPECT_GT(number, last);
            last = number;
            const auto picture = get("picture?frame=" + std::to_string(number));
            if (picture.status == 404) continue;
            ++had;
            EXPECT_THAT(picture.body, StartsWith("\xff\xd8"));
            EXPECT_EQ(picture.type, "image/jpeg");
        }
    }
    test::WebClient program_;
};

TEST_F(LiveWeb, FramesHavePicturesForAllWhoWatch) {
    run();
    EventStream one(program_, "?camera=door");
    EventStream two(program_, "?camera=door");
    EventStream none(program_, "");
    // Somebody who takes nothing.
    const EventStream slow(program_, "?camera=door");
    expect_pictures(one, 5);
    expect_pictures(two, 5);
    // People come by.
    EXPECT_TRUE(eventually([&] {
        const auto frame = one.next("frame");
        return frame && !frame->at("people").empty() &&
               frame->at("people")[0].at("trail").size() > 3;
    }));
    const auto newest = get("picture");
    EXPECT_EQ(newest.status, 200) << newest.body;
    EXPECT_EQ(get("picture?frame=999999999").status, 404);
    EXPECT_EQ(get("picture?frame=x").status, 400);
    EXPECT_EQ(stop(), 0);
    const auto bye = one.next("bye");
    ASSERT_TRUE(bye.has_value());
    EXPECT_EQ(bye->at("why"), "restart");
    EXPECT_FALSE(none.next("frame").has_value()) << "it had asked for none";
    // Whoever comes back after a restart sees the camera again.
    start();
    ASSERT_TRUE(eventually([&] { return status().value("state", "") == "online"; })) << err();
    EventStream back(program_, "?camera=door");
    expect_pictures(back, 2);
    EXPECT_EQ(stop(), 0);
}

TEST_F(LiveWeb, APictureIsMadeForWhoeverAsksForOne) {
    run("picture = \"colour\"\n");
    EXPECT_TRUE(eventually([&] { return get("picture").body.starts_with("\xff\xd8"); })) << err();
    EXPECT_EQ(stop(), 0);
}

TEST_F(LiveWeb, AStreamOutlivesItsCamera) {
    run();
    EventStream stream(program_, "?camera=door");
    const auto before = stream.next("frame");
    ASSERT_TRUE(before.has_value());
    const std::set<pid_t> processes = cameras();
    ASSERT_EQ(processes.size(), 1U);
    ::kill(*processes.begin(), SIGKILL);
    ASSERT_TRUE(eventually([&] { return cameras().size() == 1 && cameras() != processes; }));
    expect_pictures(stream, 3);
    EXPECT_EQ(stop(), 0);
}

TEST_F(LiveWeb, HowACameraHangsIsMeasuredAgainWhileItCounts) {
    run();
    const auto measured = [&] {
        const Json now = status();
        return now.contains("measuring") && now["measuring"].is_null() &&
               now["floor_mm"].is_number();
    };
    EXPECT_TRUE(eventually(measured)) << status();
    EXPECT_NEAR(status()["floor_mm"].get<double>(), 3000.0, 30.0);
    EXPECT_EQ(status()["height_from"], "source");
    EXPECT_EQ(status()["width"], 480);
    EXPECT_EQ(program_.ask("POST", "/api/v1/cameras/door/measure").status, 202);
    EXPECT_TRUE(eventually([&] { return status().value("measuring", Json()).is_number(); }));
    const std::int64_t counted = crossings("door");
    EXPECT_TRUE(eventually(measured)) << status();
    EXPECT_TRUE(eventually([&] { return crossings("door") > counted; })) << err();
    EXPECT_EQ(stop(), 0);
    expect_exact("door");
}

}  // namespace
