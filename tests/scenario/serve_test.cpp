// The service of a place as a user runs it: its cameras count, whatever dies.
#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <set>

#include "host/store/database.h"
#include "tests/support/program.h"

namespace {

using test::eventually;
using test::Outcome;
using test::read_file;
using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr const char* kPlace =
    "place = \"shop\"\ntime_zone = \"UTC\"\n"
    "[[camera]]\nname = \"door\"\nscene = \"doorway\"\n";
constexpr const char* kSecond = "[[camera]]\nname = \"back\"\nscene = \"doorway\"\nseed = 2\n";

// A process that was started by another one, by the files that the system keeps about it.
struct Process {
    pid_t id = 0;
    pid_t parent = 0;
    char state = '?';
    bool counts = false;  // it is the process of a camera
};

std::vector<Process> processes() {
    std::vector<Process> list;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        Process process;
        if (std::from_chars(name.data(), name.data() + name.size(), process.id).ec != std::errc{})
            continue;
        const std::string stat = read_file(entry.path() / "stat");
        const std::size_t end = stat.rfind(')');
        if (end == std::string::npos) continue;
        process.state = stat[end + 2];
        process.parent = std::atoi(stat.c_str() + end + 4);
        process.counts =
            read_file(entry.path() / "cmdline").find("camera-process") != std::string::npos;
        list.push_back(process);
    }
    return list;
}

class Service : public test::Program {
  protected:
    ~Service() override {
        if (service_ > 0) stop();
    }

    // The test's own process is that of a shell, which becomes the service.
    void start(const std::string& more = "") {
        service_ = start_vca("serve --config vca.toml " + more);
    }
    int stop() {
        ::kill(service_, SIGTERM);
        return end_of(std::exchange(service_, 0));
    }

    std::set<pid_t> cameras() const {
        std::set<pid_t> ids;
        for (const Process& process : processes())
            if (process.parent == service_ && process.counts && process.state != 'Z')
                ids.insert(process.id);
        return ids;
    }
    static bool is_there(pid_t id) {
        const std::vector<Process> all = processes();
        return std::any_of(all.begin(), all.end(), [id](const Process& process) {
            return process.id == id && process.state != 'Z';
        });
    }

    std::string database(const std::string& camera) const {
        return (work_ / "store" / (camera + ".db")).string();
    }
    // 0 for a database that is not there yet.
    std::int64_t number(const std::string& camera, const std::string& sql) const {
        try {
            return host::Database(database(camera), host::Database::Access::kRead, 5000)
                .integer(sql);
        } catch (const host::StoreError&) {
            return 0;
        }
    }
    std::int64_t crossings(const std::string& camera) const {
        return number(camera, "SELECT count(*) FROM events WHERE kind = 'crossing'");
    }
    // Totals, minutes and events are the same, and no number is missing or there twice.
    void expect_exact(const std::string& camera) const {
        const std::int64_t count = crossings(camera);
        EXPECT_EQ(number(camera, "SELECT sum(adult + child + staff) FROM totals"), count);
        EXPECT_EQ(number(camera, "SELECT sum(adult + child + staff) FROM minutes"), count);
        EXPECT_EQ(number(camera, "SELECT max(sequence) - count(*) FROM events"), 0);
    }

    pid_t service_ = 0;
};

TEST_F(Service, CountsWithEachOfItsCamerasAndEndsInOrder) {
    write("vca.toml",
          std::string(kPlace) + kSecond + "[[entrance]]\ncamera = \"door\"\nline = \"door\"\n");
    start();
    EXPECT_TRUE(eventually([&] { return crossings("door") > 2 && crossings("back") > 2; }))
        << err();
    EXPECT_EQ(cameras().size(), 2U);
    EXPECT_EQ(stop(), 0) << err();
    EXPECT_EQ(number("door", "SELECT clean FROM store"), 1);
    EXPECT_EQ(number("back", "SELECT clean FROM store"), 1);
    expect_exact("door");
    EXPECT_THAT(out(), AllOf(HasSubstr("camera \"door\": the simulated scene \"doorway\""),
                             HasSubstr("entered through door/door"), HasSubstr("vca counts")));
    EXPECT_THAT(err(), HasSubstr("back: counts\n"));
    // Scenes take place now.
    const Outcome today = vca("counts --store store/door.db --time-zone UTC --format json");
    std::int64_t all = 0;
    for (const auto& row : nlohmann::json::parse(today.out))
        all += row["adult"].get<int>() + row["child"].get<int>();
    EXPECT_GT(all, 0);
}

TEST_F(Service, ACameraThatDiesIsStartedAgainAndCountsGoOnExactlyOnce) {
    write("vca.toml", std::string(kPlace) + kSecond);
    start();
    ASSERT_TRUE(eventually([&] { return crossings("door") > 1 && crossings("back") > 1; }))
        << err();
    const std::set<pid_t> before = cameras();
    ASSERT_EQ(before.size(), 2U);
    for (const pid_t camera : before)
        ::kill(camera, SIGKILL);
    const std::int64_t door = crossings("door");
    const std::int64_t back = crossings("back");
    ASSERT_TRUE(eventually([&] { return crossings("door") > door && crossings("back") > back; }))
        << err();
    for (const pid_t camera : cameras())
        EXPECT_FALSE(before.contains(camera));
    EXPECT_EQ(stop(), 0);
    for (const char* camera : {"door", "back"}) {
        expect_exact(camera);
        EXPECT_EQ(number(camera, "SELECT count(*) FROM epochs"), 1);
        EXPECT_EQ(number(camera,
                         "SELECT count(*) FROM health WHERE fault = 'camera_ended' AND "
                         "level = 'failed' AND text LIKE '%signal 9%'"),
                  1);
        EXPECT_EQ(number(camera,
                         "SELECT count(*) FROM health WHERE fault = 'camera_ended' AND "
                         "level = 'ok'"),
                  1);
        EXPECT_EQ(number(camera, "SELECT count(*) FROM gaps"), 1);
    }
    EXPECT_THAT(err(), HasSubstr("ended with signal 9; it is started again in 1 s"));
}

TEST_F(Service, ACameraThatHangsIsStartedAgain) {
    write("vca.toml", kPlace);
    start();
    ASSERT_TRUE(eventually([&] { return crossings("door") > 0; })) << err();
    const std::set<pid_t> before = cameras();
    ASSERT_EQ(before.size(), 1U);
    ::kill(*before.begin(), SIGSTOP);
    const std::int64_t counted = crossings("door");
    ASSERT_TRUE(eventually([&] { return crossings("door") > counted; })) << err();
    EXPECT_FALSE(is_there(*before.begin()));
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(number("door", "SELECT count(*) FROM health WHERE text LIKE '%no sign of life%'"), 1);
    expect_exact("door");
}

TEST_F(Service, NoCameraOutlivesIt) {
    write("vca.toml", std::string(kPlace) + kSecond);
    start();
    ASSERT_TRUE(eventually([&] { return crossings("door") > 0; })) << err();
    const std::set<pid_t> left = cameras();
    ASSERT_EQ(left.size(), 2U);
    ::kill(service_, SIGKILL);
    end_of(std::exchange(service_, 0));
    EXPECT_TRUE(eventually([&] {
        return std::none_of(left.begin(), left.end(), [](pid_t id) { return is_there(id); });
    }));
    expect_exact("door");
    // The next one goes on where that one ended.
    const std::int64_t counted = crossings("door");
    start();
    EXPECT_TRUE(eventually([&] { return crossings("door") > counted; })) << err();
    EXPECT_EQ(stop(), 0);
    expect_exact("door");
}

TEST_F(Service, ARecordingIsCountedOnceOrAgainAndAgain) {
    ASSERT_EQ(vca("record --quiet --scene doorway --seconds 6 --output rec").status, 0) << err();
    std::string files;
    for (const auto& entry : std::filesystem::directory_iterator(work_ / "rec"))
        files = "recording = \"rec/" + entry.path().filename().string() + "\"\n";
    write("vca.toml", "place = \"shop\"\n[[camera]]\nname = \"once\"\n" + files +
                          "[[camera]]\nname = \"again\"\nloop = true\n" + files);
    start();
    ASSERT_TRUE(eventually([&] { return number("once", "SELECT clean FROM store") == 1; }))
        << err();
    const std::int64_t all = crossings("once");
    EXPECT_GT(all, 0);
    EXPECT_TRUE(eventually([&] { return crossings("again") > 2 * all; })) << err();
    EXPECT_EQ(crossings("once"), all);
    EXPECT_EQ(stop(), 0);
    EXPECT_THAT(err(), HasSubstr("once: has come to the end of its recording"));
    expect_exact("again");
    // Time goes on from one round to the next.
    EXPECT_EQ(number("again",
                     "SELECT count(*) FROM (SELECT scene_us - lag(scene_us) OVER "
                     "(ORDER BY sequence) AS step FROM events WHERE kind = 'crossing') "
                     "WHERE step < 0"),
              0);
}

TEST_F(Service, EndsWhenAllRecordingsHaveEnded) {
    ASSERT_EQ(vca("record --quiet --scene doorway --seconds 3 --output rec").status, 0) << err();
    std::string path;
    for (const auto& entry : std::filesystem::directory_iterator(work_ / "rec"))
        path = entry.path().string();
    write("vca.toml", "place = \"a\"\n[[camera]]\nname = \"once\"\nrecording = \"" + path + "\"\n");
    EXPECT_EQ(vca("serve").status, 0) << err();
}

TEST_F(Service, IsAloneInItsFolder) {
    write("vca.toml", kPlace);
    start();
    ASSERT_TRUE(eventually([&] { return crossings("door") > 0; })) << err();
    write("other.toml", "place = \"b\"\n[[camera]]\nname = \"c\"\nscene = \"doorway\"\n");
    const std::string log = (work_ / "second.txt").string();
    const int status = std::system(("cd '" + work_.string() + "' && '" + VCA_PROGRAM +
                                    "' serve --config other.toml >'" + log + "' 2>&1")
                                       .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_THAT(read_file(log), HasSubstr("another service runs"));
    EXPECT_FALSE(std::filesystem::exists(database("c")));
    EXPECT_EQ(stop(), 0);
}

TEST_F(Service, WrongFilesAreRefusedWithTheirLine) {
    write("vca.toml", std::string(kPlace) + "loop = true\n");
    expect_refused("serve", HasSubstr("\"vca.toml\" line 6: loop belongs to a camera"), "store");
    expect_refused("check vca.toml", HasSubstr("\"vca.toml\" line 6"), "store");
    write("vca.toml", kPlace);
    std::filesystem::create_directories(work_ / "cameras");
    write("cameras/door.toml", "detect = \"smell\"\n");
    expect_refused("serve", HasSubstr("cameras/door.toml\" line 1: detect"), "store");
    expect_refused("serve --config gone.toml", HasSubstr("there is no file of a place"), "store");
    expect_refused("camera-process", HasSubstr("started by vca serve"), "store");
    write("cameras/door.toml", "detect = \"depth\"\n");
    const Outcome checked = vca("check vca.toml");
    EXPECT_EQ(checked.status, 0) << checked.err;
    EXPECT_THAT(checked.out, HasSubstr("place \"shop\""));
}

}  // namespace
