// The output folder: complete, or not there.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/app/output_folder.h"
#include "host/frames/frame_source.h"
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
    host::OutputFolder folder((base_ / "a/b").string());
    write(folder.temporary("x.json"));
    EXPECT_FALSE(fs::exists(base_ / "a/b/x.json"));
    folder.commit();
    EXPECT_TRUE(fs::exists(base_ / "a/b/x.json"));
    EXPECT_EQ(std::distance(fs::directory_iterator(base_ / "a/b"), {}), 1);
}

TEST_F(Output, NothingIsLeftWithoutCommit) {
    {
        host::OutputFolder folder((base_ / "a/b").string());
        write(folder.temporary("x.json"));
    }
    EXPECT_FALSE(fs::exists(base_));
}

TEST_F(Output, AnExistingFolderKeepsWhatItHolds) {
    fs::create_directories(base_);
    write((base_ / "old.txt").string());
    {
        host::OutputFolder folder(base_.string());
        write(folder.temporary("x.json"));
    }
    EXPECT_TRUE(fs::exists(base_ / "old.txt"));
    EXPECT_FALSE(fs::exists(base_ / "x.json.part"));
}

TEST_F(Output, AMissingFileStopsTheCommitBeforeAnyName) {
    {
        host::OutputFolder folder(base_.string());
        write(folder.temporary("x.json"));
        folder.temporary("never-written.json");
        EXPECT_THROW(folder.commit(), std::runtime_error);
        EXPECT_FALSE(fs::exists(base_ / "x.json"));
    }
    EXPECT_FALSE(fs::exists(base_));
}

TEST_F(Output, RefusesWhatCannotBeAFolder) {
    fs::create_directories(base_);
    write((base_ / "file").string());
    EXPECT_THROW(host::OutputFolder((base_ / "file").string()), host::InputError);
    EXPECT_THROW(host::OutputFolder((base_ / "file/below").string()), host::InputError);
    EXPECT_THROW(host::OutputFolder("/proc/vca-output"), host::InputError);
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
