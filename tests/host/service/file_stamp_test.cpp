// Files that change, and files that are written whole.
#include "host/base/file_stamp.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "host/base/whole_file.h"
#include "tests/support/unique_path.h"

namespace {

namespace fs = std::filesystem;

class Files : public ::testing::Test {
  protected:
    ~Files() override { fs::remove_all(folder_); }
    void write(const std::string& text) const { host::write_whole_file(path_, text); }
    std::string text() const {
        std::ifstream in(path_);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    const fs::path folder_ = test::unique_path("vca-file-test");
    const std::string path_ = (folder_ / "deep" / "a.toml").string();
};

TEST_F(Files, AreWrittenWholeWithTheirFolders) {
    write("one");
    EXPECT_EQ(text(), "one");
    write("two");
    EXPECT_EQ(text(), "two");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "deep"), {}), 1);
}

TEST_F(Files, StayAsTheyAreWhenTheyCannotBeWritten) {
    fs::create_directories(path_);
    EXPECT_THROW(write("one"), std::runtime_error);
    EXPECT_TRUE(fs::is_directory(path_));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "deep"), {}), 1);
}

TEST_F(Files, AChangeIsToldOnceItIsOver) {
    host::FileWatch watch(path_);
    EXPECT_FALSE(watch.look());
    write("one");
    EXPECT_FALSE(watch.look());  // it may still be written
    EXPECT_TRUE(watch.look());
    EXPECT_FALSE(watch.look());
    write("two");
    EXPECT_FALSE(watch.look());
    write("three");
    EXPECT_FALSE(watch.look());
    EXPECT_TRUE(watch.look());
    fs::remove(path_);
    EXPECT_FALSE(watch.look());
    EXPECT_TRUE(watch.look());
    write("four");
    watch.was_read();
    EXPECT_FALSE(watch.look());
    EXPECT_FALSE(watch.look());
}

}  // namespace
