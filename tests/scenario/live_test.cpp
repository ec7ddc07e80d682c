// Live cameras by the program: whatever becomes of the sender, counting goes on afterwards, and
// everybody who walks through after that is counted once. Each loop of the sender's pictures shows
// one person who crosses the line, and then the empty floor.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/host/recorded_frames.h"
#include "tests/scenario/live_sender.h"
#include "tests/scenario/recording_fixture.h"

namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;
using std::chrono::steady_clock;
using test::eventually;
using test::read_file;

constexpr double kStep_s = 1.0 / 15.0;
constexpr const char* kRaw = "--depth-format raw:480x256@15 --camera camera.toml ";
constexpr const char* kDoor = "--line '100,272 860,272' --name door ";

class Live : public test::RecordingProgram {
  protected:
    void SetUp() override {
        std::signal(SIGPIPE, SIG_IGN);
        std::string walk = "# framerate: 15 fps\n# id frame x/m y/m z/m\n";
        for (int frame = 0; frame <= 60; ++frame)
            walk += "1 " + std::to_string(frame) + " 0 " + std::to_string(-2.8 + frame * 0.0933) +
                    " 1.75\n";
        // Somebody far away, so that the floor is seen for a while.
        walk += "2 80 30 30 1.75\n2 81 30 30 1.75\n";
        write("walk.txt", walk);
        record(std::string("--trajectories walk.txt --camera-at 0,0 --height 3000 ") + kDoor);
        host::RecordingReader reader(host::RecordingReader::file(only_file().string()));
        write("camera.toml", reader.info().attachments.at("camera.toml"));
        for (host::MediaFrame frame; reader.next(frame);) {
            const auto* const bytes = reinterpret_cast<const char*>(frame.depth_mm.data());
            pictures_.emplace_back(bytes, frame.depth_mm.size() * sizeof frame.depth_mm[0]);
        }
        ASSERT_EQ(::mkfifo((work_ / "pipe").c_str(), 0600), 0);
        sender_ = std::make_unique<test::Sender>((work_ / "pipe").string());
    }
    void TearDown() override {
        if (program_ > 0) stop();
    }

    void start(const std::string& arguments) {
        program_ = start_vca("run --no-live --quiet --output live " + arguments);
    }
    void start_raw() {
        start(std::string("--depth pipe ") + kRaw + kDoor);
        sender_->start(pictures_, kStep_s);
    }

    // Ends the program as a service manager does.
    void stop() {
        ::kill(program_, SIGTERM);
        const auto since = steady_clock::now();
        status_ = end_of(std::exchange(program_, -1));
        EXPECT_LT(steady_clock::now() - since, std::chrono::seconds(20));
    }

    // Of a file, in equal parts.
    static std::vector<std::string> pieces(const std::string& bytes, std::size_t number) {
        std::vector<std::string> list;
        for (std::size_t i = 0; i < number; ++i) {
            const std::size_t from = bytes.size() * i / number;
            list.push_back(bytes.substr(from, bytes.size() * (i + 1) / number - from));
        }
        return list;
    }

    // Rows below the head.
    int counts() const {
        const std::string text = read_file(work_ / "live/crossings.csv");
        return std::max<int>(static_cast<int>(std::count(text.begin(), text.end(), '\n')) - 1, 0);
    }

    // The next loops from their beginnings on.
    void expect_each_counted_once(int loops = 2) {
        const int at = sender_->loops();
        ASSERT_TRUE(eventually([&] { return sender_->loops() > at; }));
        const int first = sender_->loops();
        const int before = counts();
        ASSERT_TRUE(eventually([&] { return sender_->loops() >= first + loops; })) << err();
        EXPECT_EQ(counts() - before, loops) << err();
    }

    std::vector<nlohmann::json> told(const std::string& message) const {
        std::vector<nlohmann::json> list;
        const std::string text = read_file(work_ / "live/events.jsonl");
        for (nlohmann::json& line : test::json_lines(text.substr(0, text.rfind('\n') + 1)))
            if (line["message"] == message) list.push_back(std::move(line));
        return list;
    }
    // Waits for a gap, and how much longer it lasted than the sender was away.
    void expect_back_within_5_s(std::size_t gaps, steady_clock::duration away) {
        ASSERT_TRUE(eventually([&] { return told("input_gap").size() >= gaps; })) << err();
        const nlohmann::json gap = told("input_gap").back();
        const double gap_s = gap["to_s"].get<double>() - gap["from_s"].get<double>();
        EXPECT_LT(gap_s, std::chrono::duration<double>(away).count() + 5.0) << gap;
    }

    std::vector<std::string> pictures_;
    std::unique_ptr<test::Sender> sender_;
    pid_t program_ = -1;
    int status_ = -1;
};

// ---- What a stream brings along ----

class LiveSettings : public Live {
  protected:
    // The summary of a run over the whole recording as a stream.
    nlohmann::json run_over(const std::string& arguments) {
        start("--depth pipe --frames 20 " + arguments);
        const std::string mkv = read_file(only_file());
        const int file = ::open((work_ / "pipe").c_str(), O_WRONLY);
        EXPECT_GT(::write(file, mkv.data(), mkv.size()), 0);
        ::close(file);
        EXPECT_NE(end_of(std::exchange(program_, -1)), 2) << err();
        return json("live/summary.json");
    }
};

TEST_F(LiveSettings, ComeWithTheStream) {
    const nlohmann::json summary = run_over("");
    ASSERT_EQ(summary["lines"].size(), 1u);
    EXPECT_EQ(summary["lines"][0]["name"], "door");
    EXPECT_EQ(summary["run"]["name"], "walk");
}

TEST_F(LiveSettings, OptionsGoBeforeThem) {
    const nlohmann::json summary = run_over("--line '100,100 860,100' --name shelf");
    ASSERT_EQ(summary["lines"].size(), 1u);
    EXPECT_EQ(summary["lines"][0]["name"], "shelf");
}

TEST_F(LiveSettings, AConfigurationFileTakesTheirPlace) {
    write("till.toml", "[[line]]\nname = \"till\"\npoints = [[100, 272], [860, 272]]\n");
    EXPECT_EQ(run_over("--config till.toml")["lines"][0]["name"], "till");
}

// ---- What becomes of a sender ----

TEST_F(Live, EverybodyIsCountedOnce) {
    start_raw();
    expect_each_counted_once();
    stop();
    EXPECT_EQ(json("live/summary.json")["input"]["gaps"], 0);
}

TEST_F(Live, ASenderThatIsHeldGoesOn) {
    start_raw();
    expect_each_counted_once(1);
    const auto since = steady_clock::now();
    sender_->hold();
    std::this_thread::sleep_for(std::chrono::seconds(4));
    sender_->go_on();
    expect_back_within_5_s(1, steady_clock::now() - since);
    expect_each_counted_once();
}

TEST_F(Live, ASenderThatIsKilledMayComeBack) {
    start_raw();
    expect_each_counted_once(1);
    for (std::size_t time = 1; time <= 3; ++time) {
        const auto since = steady_clock::now();
        sender_->kill();
        if (time == 3) std::this_thread::sleep_for(std::chrono::seconds(4));
        sender_->start(pictures_, kStep_s);
        expect_back_within_5_s(time, steady_clock::now() - since);
        expect_each_counted_once(1);
    }
}

// Nobody walks twice or half as fast, so who is counted then is not asked.
TEST_F(Live, ASenderMayBeFasterOrSlower) {
    start_raw();
    expect_each_counted_once(1);
    for (const double factor : {2.0, 0.5}) {
        sender_->start(pictures_, kStep_s / factor);
        const int from = sender_->loops();
        ASSERT_TRUE(eventually([&] { return sender_->loops() > from + 1; })) << err();
    }
    sender_->start(pictures_, kStep_s);
    expect_each_counted_once();
}

TEST_F(Live, GarbageIsNotCounted) {
    start_raw();
    expect_each_counted_once(1);
    std::string garbage;
    std::uint32_t state = 1;
    for (int i = 0; i < 1 << 20; ++i)
        garbage += static_cast<char>((state = state * 1664525u + 1013904223u) >> 24);
    sender_->start({garbage.substr(0, 777'777)}, kStep_s);
    std::this_thread::sleep_for(std::chrono::seconds(3));
    sender_->start(pictures_, kStep_s);
    expect_each_counted_once(1);
    expect_each_counted_once();
}

// Of a stream that says what it is: garbage, another size, and the first again.
TEST_F(Live, AStreamMayChangeWhatItIs) {
    const std::vector<std::string> walk = pieces(read_file(only_file()), pictures_.size());
    host::RecordingWriter writer(test::sensor_setup(work_ / "other.mkv"));
    for (int i = 0; i < 20; ++i)
        test::write_frame(writer, i);
    writer.finish(host::RecordingEnd::kSource);
    start("--depth pipe");
    sender_->start(walk, kStep_s);
    expect_each_counted_once(1);
    sender_->start({std::string(100'000, '\x55')}, kStep_s);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    sender_->start(pieces(read_file(work_ / "other.mkv"), 20), kStep_s);
    ASSERT_TRUE(eventually([&] { return told("input_fault").size() == 1; })) << err();
    EXPECT_THAT(told("input_fault")[0]["what"], HasSubstr("64 x 48"));
    sender_->start(walk, kStep_s);
    expect_each_counted_once();
    ASSERT_TRUE(eventually([&] { return told("input_fault_ended").size() == 1; })) << err();
}

// Colour as a stream of its own comes and goes; counting never waits for it.
TEST_F(Live, ColourMayBeMissing) {
    record(std::string("--colour small --trajectories walk.txt --camera-at 0,0 --height 3000 ") +
               kDoor,
           "coloured");
    ASSERT_EQ(::mkfifo((work_ / "colour").c_str(), 0600), 0);
    const std::vector<std::string> colours =
        pieces(read_file(files("coloured").front()), pictures_.size());
    test::Sender colour((work_ / "colour").string());
    colour.start(colours, kStep_s);
    start(std::string("--depth pipe --colour colour ") + kRaw + kDoor);
    sender_->start(pictures_, kStep_s);
    expect_each_counted_once(1);
    colour.kill();
    ASSERT_TRUE(eventually([&] { return !told("input_fault").empty(); })) << err();
    EXPECT_EQ(told("input_fault").back()["what"], "no colour pictures come");
    expect_each_counted_once(1);
    colour.start(colours, kStep_s);
    ASSERT_TRUE(eventually([&] { return !told("input_fault_ended").empty(); })) << err();
    expect_each_counted_once(1);
    stop();
    const nlohmann::json input = json("live/summary.json")["input"];
    EXPECT_GT(input["colourless"], 0);
    EXPECT_LT(input["colourless"], input["frames"]);
}

TEST_F(Live, TcpIsTakenFromWhoeverConnects) {
    const std::uint16_t port = test::free_port();
    sender_ = std::make_unique<test::Sender>("", port);
    start("--depth 'tcp://127.0.0.1:" + std::to_string(port) + "?listen' " + kRaw + kDoor);
    sender_->start(pictures_, kStep_s);
    expect_each_counted_once(1);
    const auto since = steady_clock::now();
    sender_->start(pictures_, kStep_s);
    expect_back_within_5_s(1, steady_clock::now() - since);
    expect_each_counted_once();
}

#ifdef VCA_CLOCK_STEP
#ifdef VCA_WITH_SERVICE
constexpr const char* kStore = "--store door.db ";
#else
constexpr const char* kStore = "";
#endif

// The wall clock goes an hour ahead, and then two back; scene time does not notice, and the
// database has each count once, at the time of the clock on the wall.
TEST_F(Live, StepsOfTheWallClockChangeNothing) {
    ::setenv("VCA_TEST_CLOCK_STEP", (work_ / "step").c_str(), 1);
    ::setenv("LD_PRELOAD", VCA_CLOCK_STEP, 1);
    start(std::string("--depth pipe ") + kStore + kRaw + kDoor);
    ::unsetenv("LD_PRELOAD");
    sender_->start(pictures_, kStep_s);
    expect_each_counted_once(1);
    for (const char* const step_s : {"3600", "-3600"}) {
        write("step", step_s);
        expect_each_counted_once(1);
    }
    EXPECT_TRUE(told("input_gap").empty()) << err();
    const std::vector<nlohmann::json> steps = told("clock_step");
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_NEAR(steps[0]["by_s"], 3600.0, 1.0);
    EXPECT_NEAR(steps[1]["by_s"], -7200.0, 1.0);
    const std::vector<nlohmann::json> tracks = told("person_counted");
    ASSERT_GE(tracks.size(), 3u);
    std::vector<std::int64_t> utc_s;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        utc_s.push_back(tracks[i]["utc_us"].get<std::int64_t>() / 1'000'000);
        if (i > 0) {
            EXPECT_GT(tracks[i]["time_s"], tracks[i - 1]["time_s"]);
        }
    }
    EXPECT_GT(*std::max_element(utc_s.begin(), utc_s.end()) - utc_s.front(), 3500);
    EXPECT_LT(utc_s.back() - utc_s.front(), -3000);
#ifdef VCA_WITH_SERVICE
    stop();
    const test::Outcome kept = vca("export --store door.db --format jsonl --time-zone UTC");
    ASSERT_EQ(kept.status, 0) << kept.err;
    std::map<std::string, int> kinds;
    for (const nlohmann::json& event : test::json_lines(kept.out))
        ++kinds[event["kind"].get<std::string>()];
    EXPECT_EQ(kinds["crossing"], counts());
    EXPECT_EQ(kinds["clock_step"], 2);
    EXPECT_EQ(kinds["gap"], 1) << "an hour of the clock that never was";
#endif
}
#endif

// ---- A site whose cameras are not all of a kind ----

// The master is a recording with one walk, and a live camera 4 m beside it sees one in each loop.
TEST_F(Live, ASiteMayHaveRecordedAndLiveCameras) {
    fs::rename(only_file(), work_ / "left.mkv");
    write("site.toml",
          "name = \"mixed\"\n"
          "[[device]]\nname = \"left\"\nrole = \"master\"\nx_m = 0\ny_m = 0\n"
          "height_mm = 3000\nrecording = \"left.mkv\"\n"
          "[[device]]\nname = \"right\"\nrole = \"slave\"\nindex = 0\nx_m = 4\ny_m = 0\n"
          "height_mm = 3000\ndepth = \"pipe\"\ndepth_format = \"raw:480x256@15\"\n"
          "camera = \"camera.toml\"\n"
          "[[line]]\nname = \"recorded\"\npoints = [[-1, 0], [1, 0]]\n"
          "[[line]]\nname = \"live\"\npoints = [[3, 0], [5, 0]]\n");
    sender_->start(pictures_, kStep_s);
    const test::Outcome outcome = vca("run --site site.toml --quiet --output site --seconds 16");
    const int loops = sender_->loops();
    ASSERT_TRUE(outcome.status == 0 || outcome.status == 3) << outcome.err;
    const nlohmann::json summary = json("site/summary.json");
    const auto counted = [&summary](std::size_t line) {
        const nlohmann::json& counts = summary["merged"]["lines"].at(line);
        return counts["direction_1"].get<int>() + counts["direction_2"].get<int>();
    };
    EXPECT_EQ(counted(0), 1) << outcome.out;
    // Loops of 5.5 s, of which the first and the last are cut anywhere.
    EXPECT_GE(loops, 2);
    EXPECT_GE(counted(1), 1) << outcome.out;
    EXPECT_LE(counted(1), loops) << outcome.out;
    EXPECT_EQ(summary.count("true"), 0u);
    EXPECT_EQ(summary["merged"].count("error"), 0u);
    EXPECT_THAT(outcome.out, ::testing::Not(HasSubstr("error")));
}

}  // namespace
