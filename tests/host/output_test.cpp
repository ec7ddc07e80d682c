// The output folder: complete, or not there.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/frames/frame_source.h"
#include "host/report/output_folder.h"
#include "host/sinks/progress_sink.h"
#include "tests/support/unique_path.h"

namespace {

namespace fs = std::filesystem;

class Output : public ::testing::Test {
  protected:
    void SetUp() override { fs::remove_all(base_); }
    void TearDown() override { fs::remove_all(base_); }
    static void write(const std::string& path) { std::ofstream(path) << "text"; }

    fs::path base_ = test::unique_path("vca-output-test");
};

TEST_F(Output, FilesGetTheirNamesAtTheEnd) {
    host::OutputFolder folder((base_ / "a/b").string(), {"x.json"});
    write(folder.file("x.json"));
    EXPECT_FALSE(fs::exists(base_ / "a/b/x.json"));
    folder.commit();
    EXPECT_TRUE(fs::exists(base_ / "a/b/x.json"));
    EXPECT_EQ(std::distance(fs::directory_iterator(base_ / "a/b"), {}), 1);
}

TEST_F(Output, NothingIsLeftWithoutCommit) {
    {
        host::OutputFolder folder((base_ / "a/b").string(), {"x.json"});
        write(folder.file("x.json"));
    }
    EXPECT_FALSE(fs::exists(base_));
}

TEST_F(Output, WhatGrowsHasItsNameAndStays) {
    {
        host::OutputFolder folder(base_.string(), {"events.jsonl", "x.json"});
        EXPECT_EQ(folder.file("events.jsonl"), (base_ / "events.jsonl").string());
        write(folder.file("events.jsonl"));
        write(folder.file("x.json"));
    }
    EXPECT_TRUE(fs::exists(base_ / "events.jsonl"));
    EXPECT_EQ(std::distance(fs::directory_iterator(base_), {}), 1);
    {
        host::OutputFolder folder(base_.string(), {"events.jsonl"});
        folder.begin();
        EXPECT_FALSE(fs::exists(base_ / "events.jsonl"));
        EXPECT_TRUE(fs::exists(base_ / "events.jsonl.former"));
        std::ofstream(folder.file("events.jsonl")) << "other";
        folder.discard();
    }
    EXPECT_EQ(fs::file_size(base_ / "events.jsonl"), 4u) << "the former one is back";
    {
        host::OutputFolder folder(base_.string(), {"events.jsonl"});
        folder.begin();
        std::ofstream(folder.file("events.jsonl")) << "other";
        folder.commit();
    }
    EXPECT_EQ(fs::file_size(base_ / "events.jsonl"), 5u);
    EXPECT_EQ(std::distance(fs::directory_iterator(base_), {}), 1);
}

TEST_F(Output, WhatIsLeftOutIsNotMissed) {
    host::OutputFolder folder(base_.string(), {"x.json", "y.json"});
    write(folder.file("x.json"));
    write(folder.file("y.json"));
    folder.leave_out("y.json");
    folder.commit();
    EXPECT_EQ(std::distance(fs::directory_iterator(base_), {}), 1);
}

TEST_F(Output, AnExistingFolderKeepsWhatItHolds) {
    fs::create_directories(base_);
    write((base_ / "old.txt").string());
    {
        host::OutputFolder folder(base_.string(), {"x.json"});
        write(folder.file("x.json"));
    }
    EXPECT_TRUE(fs::exists(base_ / "old.txt"));
    EXPECT_FALSE(fs::exists(base_ / "x.json.part"));
}

TEST_F(Output, OneRunAtATimeWritesIntoAFolder) {
    {
        const host::OutputFolder first(base_.string(), {"x.json"});
        write(first.file("x.json"));
        EXPECT_THROW(host::OutputFolder(base_.string(), {"x.json"}), host::InputError);
        EXPECT_TRUE(fs::exists(first.file("x.json")));
    }
    EXPECT_NO_THROW(host::OutputFolder(base_.string(), {"x.json"}));
}

TEST_F(Output, AMissingFileStopsTheCommitBeforeAnyName) {
    {
        host::OutputFolder folder(base_.string(), {"x.json", "never-written.json"});
        write(folder.file("x.json"));
        EXPECT_THROW(folder.commit(), std::runtime_error);
        EXPECT_FALSE(fs::exists(base_ / "x.json"));
    }
    EXPECT_FALSE(fs::exists(base_));
}

TEST_F(Output, RefusesWhatCannotBeAFolder) {
    fs::create_directories(base_);
    write((base_ / "file").string());
    EXPECT_THROW(host::OutputFolder((base_ / "file").string(), {"x"}), host::InputError);
    EXPECT_THROW(host::OutputFolder((base_ / "file/below").string(), {"x"}), host::InputError);
    fs::create_symlink("loop", base_ / "loop");
    EXPECT_THROW(host::OutputFolder((base_ / "loop").string(), {"x"}), host::InputError);
    EXPECT_THROW(host::OutputFolder("/proc/vca-output", {"x"}), host::InputError);
}

TEST_F(Output, RefusesWhatIsInTheWayOfAResult) {
    fs::create_directories(base_ / "x.json");
    fs::create_directories(base_ / "y.json.part");
    EXPECT_THROW(host::OutputFolder(base_.string(), {"a", "x.json"}), host::InputError);
    EXPECT_THROW(host::OutputFolder(base_.string(), {"y.json"}), host::InputError);
    EXPECT_NO_THROW(host::OutputFolder(base_.string(), {"z.json"}));
    EXPECT_TRUE(fs::exists(base_ / "x.json"));
}

TEST_F(Output, TheWriteTestTouchesNoFileOfTheUser) {
    fs::create_directories(base_);
    const std::string pattern = ".write-test-" + std::string(6, 'X');
    for (const std::string& name : {std::string("write-test.part"), pattern})
        write((base_ / name).string());
    { host::OutputFolder folder(base_.string(), {"x.json"}); }
    EXPECT_EQ(fs::file_size(base_ / "write-test.part"), 4u);
    EXPECT_EQ(fs::file_size(base_ / pattern), 4u);
    EXPECT_EQ(std::distance(fs::directory_iterator(base_), {}), 2);
}

TEST_F(Output, AnEmergencyRemovesWhatIsUnfinished) {
    host::OutputFolder folder((base_ / "a/b").string(), {"x.json", "y.json"});
    write(folder.file("x.json"));
    host::remove_unfinished_output();
    EXPECT_FALSE(fs::exists(base_));
}

TEST_F(Output, AnEmergencyKeepsWhatIsFinished) {
    host::OutputFolder folder((base_ / "a/b").string(), {"x.json"});
    write(folder.file("x.json"));
    folder.commit();
    host::remove_unfinished_output();
    EXPECT_TRUE(fs::exists(base_ / "a/b/x.json"));
}

TEST_F(Output, ATextThatCannotBeWrittenIsAnError) {
    std::FILE* const full = std::fopen("/dev/full", "w");
    EXPECT_THROW(host::write_text(full, "text"), std::runtime_error);
    std::fclose(full);
    std::FILE* const fine = std::tmpfile();
    EXPECT_NO_THROW(host::write_text(fine, "text"));
    std::fclose(fine);
}

// A terminal that keeps what is written to it.
class Terminal {
  public:
    Terminal() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)) {
        EXPECT_EQ(::grantpt(master_), 0);
        EXPECT_EQ(::unlockpt(master_), 0);
        out_ = std::fopen(::ptsname(master_), "w");
    }
    ~Terminal() {
        std::fclose(out_);
        ::close(master_);
    }
    std::FILE* out() const { return out_; }
    void set_columns(unsigned short columns) const {
        const winsize size{24, columns, 0, 0};
        EXPECT_EQ(::ioctl(master_, TIOCSWINSZ, &size), 0);
    }
    std::string read() const {
        std::string text;
        char bytes[256];
        for (ssize_t n = 0; (n = ::read(master_, bytes, sizeof bytes)) > 0;)
            text.append(bytes, static_cast<std::size_t>(n));
        return text;
    }

  private:
    int master_;
    std::FILE* out_ = nullptr;
};

// The speed shown on a terminal, after a wait before the first frame.
TEST_F(Output, ProgressStartsWithTheFirstFrame) {
    const Terminal terminal;
    host::ProgressDisplay display(terminal.out(), {""}, false);
    std::chrono::steady_clock::time_point now;
    host::ProgressSetup setup{15.0, 3000.0};
    setup.now = [&now] { return now; };
    host::ProgressSink progress(display, setup);
    now += std::chrono::seconds(2);
    for (int frame = 0; frame < 1999; ++frame)
        progress.end_frame({});
    now += std::chrono::seconds(1);  // the first line is a second away
    progress.end_frame({});
    const std::string line = terminal.read();
    const std::size_t end = line.find(" frames/s");
    ASSERT_NE(end, line.npos) << line;
    EXPECT_EQ(std::atof(line.c_str() + line.rfind(' ', end - 1)), 2000.0) << line;
}

TEST_F(Output, ProgressFitsTheTerminal) {
    const Terminal terminal;
    host::ProgressDisplay display(terminal.out(), {""}, false);
    const std::string line(88, 'x');
    terminal.set_columns(80);
    display.update(0, line);
    EXPECT_EQ(terminal.read(), std::string(78, 'x') + "…");
    terminal.set_columns(40);
    display.update(0, line);
    EXPECT_EQ(terminal.read(), "\r\033[J" + std::string(38, 'x') + "…");
    display.update(0, "short");
    EXPECT_EQ(terminal.read(), "\r\033[Jshort");
    display.finish();
    EXPECT_EQ(terminal.read(), "\r\033[J");
}

TEST_F(Output, ProgressGoesToNoFile) {
    std::FILE* const file = std::tmpfile();
    {
        host::ProgressDisplay display(file, {"west"}, false);
        display.begin(0);
        display.update(0, " 12 s");
        display.say(0, "no connection");
    }
    std::rewind(file);
    char text[100] = {};
    EXPECT_EQ(std::string(text, std::fread(text, 1, sizeof text, file)), "west: no connection\n");
    std::fclose(file);
}

TEST_F(Output, StandardOutputGoesToTheLogAndComesBack) {
    fs::create_directories(base_);
    const std::string log = (base_ / "library.log").string();
    std::FILE* const captured = std::tmpfile();
    const int saved = ::dup(STDOUT_FILENO);
    std::fflush(stdout);
    ::dup2(::fileno(captured), STDOUT_FILENO);
    {
        host::StandardOutput output(log);
        std::printf("of the library\n");
        std::fprintf(output.host(), "of the host\n");
        output.restore();
        std::printf("after\n");
        std::fflush(stdout);
    }
    ::dup2(saved, STDOUT_FILENO);
    ::close(saved);
    std::rewind(captured);
    char text[100] = {};
    const std::size_t length = std::fread(text, 1, sizeof text - 1, captured);
    std::fclose(captured);
    EXPECT_EQ(std::string(text, length), "of the host\nafter\n");
    std::ifstream in(log);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "of the library\n");
}

}  // namespace
