// Settings of a place's cameras that change while they count.
#include "tests/scenario/service_fixture.h"

namespace {

using test::eventually;
using test::Outcome;
using test::read_file;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kPlace =
    "place = \"shop\"\ntime_zone = \"UTC\"\n"
    "[[camera]]\nname = \"door\"\nscene = \"doorway\"\n";
constexpr const char* kDoor = "[[line]]\nname = \"door\"\npoints = [[310, 272], [650, 272]]\n";
constexpr const char* kMoved = "[[line]]\nname = \"door\"\npoints = [[310, 300], [650, 300]]\n";
constexpr const char* kSecond = "[[line]]\nname = \"inner\"\npoints = [[310, 220], [650, 220]]\n";

class ServiceSettings : public test::Service {
  protected:
    ServiceSettings() {
        std::filesystem::create_directories(work_ / "cameras");
        write("vca.toml", kPlace);
        write("cameras/door.toml", kDoor);
    }

    void start_counting() {
        start();
        ASSERT_TRUE(eventually([&] { return crossings("door") > 0; })) << err();
    }
    std::int64_t versions() const { return number("door", "SELECT count(*) FROM settings"); }
    std::int64_t settings_events() const {
        return number("door", "SELECT count(*) FROM events WHERE kind = 'settings'");
    }
    std::int64_t counted_on(const std::string& line) const {
        return number("door",
                      "SELECT count(*) FROM events JOIN places ON places.id = events.place WHERE "
                      "events.kind = 'crossing' AND places.name = '" +
                          line + "'");
    }
};

TEST_F(ServiceSettings, AreTakenOverWhenTheirFileChangesWithoutAStop) {
    start_counting();
    const std::set<pid_t> before = cameras();
    write("cameras/door.toml", std::string(kMoved) + kSecond);
    ASSERT_TRUE(eventually([&] { return versions() == 2; })) << err();
    EXPECT_EQ(settings_events(), 1);
    EXPECT_TRUE(eventually([&] { return counted_on("inner") > 0; })) << err();
    EXPECT_EQ(number("door",
                     "SELECT count(*) FROM minutes JOIN places ON places.id = place WHERE "
                     "name = 'inner' AND direction = 1") > 0,
              true);
    EXPECT_EQ(cameras(), before);
    // An order or a comment is no change.
    write("cameras/door.toml", std::string("# by hand\n") + kMoved + kSecond);
    write("vca.toml", std::string(kPlace) + "# by hand\n");
    ASSERT_TRUE(eventually([&] { return err().find("has taken over") != std::string::npos; }));
    EXPECT_EQ(cameras(), before);
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(versions(), 2);
    EXPECT_EQ(number("door", "SELECT count(*) FROM gaps"), 0);
    expect_exact("door");
}

TEST_F(ServiceSettings, WrongOnesAreRefusedAndThoseOfBeforeStay) {
    start_counting();
    write("cameras/door.toml", std::string(kDoor) + "sensor = \"best\"\n");
    ASSERT_TRUE(eventually([&] { return err().find("door.toml\" line 4") != std::string::npos; }))
        << err();
    EXPECT_THAT(err(), HasSubstr("what was set before stays in force"));
    const std::int64_t counted = crossings("door");
    EXPECT_TRUE(eventually([&] { return crossings("door") > counted; }));
    ASSERT_TRUE(eventually([&] {
        return number("door",
                      "SELECT count(*) FROM health WHERE fault = 'settings_refused' AND "
                      "level = 'degraded'") == 1;
    }));
    // A process that has to begin with a wrong file goes on with what was in force, too.
    const std::set<pid_t> before = cameras();
    ::kill(*before.begin(), SIGKILL);
    ASSERT_TRUE(eventually([&] { return !cameras().empty() && cameras() != before; })) << err();
    const std::int64_t again = crossings("door");
    EXPECT_TRUE(eventually([&] { return crossings("door") > again; })) << err();
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(versions(), 1);
    expect_exact("door");
}

TEST_F(ServiceSettings, ThatAreRightAgainEndTheFault) {
    start_counting();
    write("cameras/door.toml", "x = 1\n");
    const auto notes = [&](const std::string& level) {
        return number("door",
                      "SELECT count(*) FROM health WHERE fault = 'settings_refused' AND "
                      "level = '" +
                          level + "'");
    };
    ASSERT_TRUE(eventually([&] { return notes("degraded") == 1; })) << err();
    write("cameras/door.toml", kDoor);
    EXPECT_TRUE(eventually([&] { return notes("ok") == 1; })) << err();
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(versions(), 1);
}

TEST_F(ServiceSettings, ThatNeedANewStartOfTheCameraGetOne) {
    start_counting();
    const std::set<pid_t> before = cameras();
    write("cameras/door.toml", std::string("late_counts = \"keep\"\n") + kDoor);
    ASSERT_TRUE(eventually([&] { return versions() == 2; })) << err();
    EXPECT_NE(cameras(), before);
    EXPECT_EQ(stop(), 0);
    EXPECT_THAT(err(), AllOf(HasSubstr("starts again, because"), Not(HasSubstr("ended with"))));
    EXPECT_EQ(number("door", "SELECT count(*) FROM health"), 0);
    EXPECT_EQ(settings_events(), 1);
    expect_exact("door");
}

TEST_F(ServiceSettings, ThePlacesFileIsReadAgainOnAHangup) {
    start_counting();
    const std::set<pid_t> before = cameras();
    write("vca.toml", std::string(kPlace) + "[[camera]]\nname = \"back\"\n");
    ::kill(service_, SIGHUP);
    ASSERT_TRUE(eventually([&] {
        return err().find("\"vca.toml\" line 6: the camera \"back\" has no source") !=
               std::string::npos;
    })) << err();
    EXPECT_EQ(cameras(), before);
    write("vca.toml",
          std::string(kPlace) + "[[camera]]\nname = \"back\"\nscene = \"doorway\"\nseed = 3\n");
    ::kill(service_, SIGHUP);
    ASSERT_TRUE(eventually([&] { return crossings("back") > 0; })) << err();
    EXPECT_TRUE(cameras().contains(*before.begin()));
    write("vca.toml", kPlace);
    ASSERT_TRUE(eventually([&] { return cameras() == before; })) << err();
    EXPECT_EQ(number("back", "SELECT clean FROM store"), 1);
    EXPECT_EQ(stop(), 0);
}

TEST_F(ServiceSettings, EachVersionIsKeptAndCanBeRestored) {
    start_counting();
    write("cameras/door.toml", kMoved);
    ASSERT_TRUE(eventually([&] { return versions() == 2; })) << err();
    const std::string log = (work_ / "asked.txt").string();
    const auto ask = [&](const std::string& arguments) {
        const std::string command = "cd '" + work_.string() + "' && '" + VCA_PROGRAM +
                                    "' settings " + arguments + " >'" + log + "' 2>&1";
        const int status = std::system(command.c_str());
        return Outcome{WEXITSTATUS(status), read_file(log), ""};
    };
    const Outcome history = ask("history --camera door");
    EXPECT_EQ(history.status, 0) << history.out;
    EXPECT_THAT(history.out, AllOf(HasSubstr("version"), HasSubstr("file"), HasSubstr("door")));
    EXPECT_THAT(ask("history --camera door --version 1").out,
                HasSubstr("[[310, 272], [650, 272]]"));
    const Outcome restored = ask("restore --camera door --version 1");
    EXPECT_EQ(restored.status, 0) << restored.out;
    EXPECT_THAT(read_file(work_ / "cameras" / "door.toml"), HasSubstr("[[310, 272], [650, 272]]"));
    EXPECT_TRUE(eventually([&] { return versions() == 3; })) << err();
    EXPECT_EQ(number("door", "SELECT count(DISTINCT text) FROM settings"), 2);
    EXPECT_EQ(ask("history --camera gone").status, 2);
    EXPECT_EQ(ask("restore --camera door --version 9").status, 2);
    EXPECT_EQ(ask("restore --camera door --version x").status, 2);
    EXPECT_EQ(stop(), 0);
    EXPECT_THAT(vca("settings schema").out,
                AllOf(HasSubstr("height_mm = 1500 to 15000"), HasSubstr("[[line]]")));
}

}  // namespace
