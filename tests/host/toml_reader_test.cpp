// Values of TOML files: what they are taken for, and the sentence for everything else.
#include "host/base/toml_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>

#include "host/base/input_error.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class TomlFile : public ::testing::Test {
  protected:
    host::TomlValue read(const std::string& text) {
        std::ofstream(path_) << text;
        return host::read_toml_file(path_, "test file", "write one");
    }
    void TearDown() override { std::filesystem::remove(path_); }

    // What is said about a file, with F for its name.
    std::string error_of(const std::string& text,
                         const std::function<void(const host::TomlValue&)>& use) {
        try {
            use(read(text));
        } catch (const host::InputError& e) {
            std::string what = e.what();
            const std::size_t at = what.find(path_);
            return at == std::string::npos ? what : what.replace(at, path_.size(), "F");
        }
        return "";
    }

    // The same for the value of the key "a".
    std::string error_of_a(const std::string& text, const host::TomlValue::Reader& read_a) {
        return error_of(text, [&](const host::TomlValue& root) { read_a(*root.find("a")); });
    }

    std::string path_ = test::unique_path("vca-toml-test", ".toml").string();
};

using Value = const host::TomlValue&;

TEST_F(TomlFile, GivesEveryKindOfValue) {
    const host::TomlValue root = read(
        "text = \"T\xC3\xBCr\"\nflag = true\nwhole = -3\nreal = 2.5\nlist = [[1, 2], [3, 4.5]]\n"
        "endless = inf\n[table]\nkey = 1\n");
    EXPECT_EQ(root.find("text")->text(), "T\xC3\xBCr");
    EXPECT_TRUE(root.find("text")->is_text());
    EXPECT_TRUE(root.find("flag")->flag());
    EXPECT_EQ(root.find("whole")->whole(-3, 3), -3);
    EXPECT_EQ(root.find("whole")->number(), -3.0);
    EXPECT_EQ(root.find("real")->number(2.5, 2.5), 2.5);
    EXPECT_TRUE(std::isinf(root.find("endless")->number()));
    EXPECT_EQ(root.find("text")->as_number(), std::nullopt);
    const auto pairs = root.find("list")->pairs("");
    ASSERT_EQ(pairs.size(), 2u);
    EXPECT_EQ(pairs[1][1].number(), 4.5);
    EXPECT_EQ(root.find("table")->find("key")->number(), 1.0);
    EXPECT_EQ(root.find("table")->find("other"), nullptr);
    EXPECT_EQ(root.find("text")->find("key"), nullptr);
    EXPECT_EQ(root.find("list")->place("here"), "\"" + path_ + "\" line 5: here");
}

TEST_F(TomlFile, SaysWhatIsNeededInstead) {
    const auto text = [](Value v) { v.text(); };
    const auto flag = [](Value v) { v.flag(); };
    const auto number = [](Value v) { v.number(0.5, 3600.0); };
    const auto whole = [](Value v) { v.whole(1, 9); };
    const auto pairs = [](Value v) { v.pairs("write pairs"); };
    EXPECT_EQ(error_of_a("\na = 1", text), "\"F\" line 2: a quoted string is needed here");
    EXPECT_EQ(error_of_a("a = 1", flag), "\"F\" line 1: true or false is needed here");
    for (const char* wrong : {"a = 0.4", "a = 3601", "a = nan", "a = true", "a = \"1\""}) {
        EXPECT_EQ(error_of_a(wrong, number),
                  "\"F\" line 1: a number from 0.5 to 3600 is needed here");
    }
    for (const char* wrong : {"a = 0", "a = 10", "a = 2.5", "a = nan", "a = 1979-05-27"}) {
        EXPECT_EQ(error_of_a(wrong, whole),
                  "\"F\" line 1: a whole number from 1 to 9 is needed here");
    }
    EXPECT_EQ(error_of_a("a = 2.0", whole), "");
    EXPECT_THAT(error_of_a("a = []", [](Value v) { v.number(); }), HasSubstr("a number is"));
    EXPECT_THAT(error_of_a("a = inf", [](Value v) { v.finite_number(); }), HasSubstr("finite"));
    for (const char* wrong : {"a = 1", "a = [1, 2]", "a = [[1, 2], [3]]"})
        EXPECT_EQ(error_of_a(wrong, pairs), "\"F\" line 1: write pairs");
}

TEST_F(TomlFile, ReadsKeysInTheOrderOfTheReader) {
    std::vector<std::string> order;
    const auto note = [&order](const char* name) {
        return [&order, name](Value) { order.emplace_back(name); };
    };
    read("a = 1\nb = 2\nc = 3\n").read_keys({{"c", note("c")}, {"b", note("b")}, {"a", note("a")}});
    EXPECT_THAT(order, ElementsAre("c", "b", "a"));
    const auto keys = [&note](Value v) { v.read_keys({{"x", note("x"), true}, {"y", note("y")}}); };
    EXPECT_EQ(error_of("x = 1\nz = 2\n", keys), "\"F\" line 2: unknown key \"z\"; known are x, y");
    EXPECT_EQ(error_of("y = 1\n", keys), "\"F\" lacks x");
    EXPECT_EQ(error_of("x = 1\n", keys), "");
    EXPECT_EQ(error_of_a("a = 1", [](Value v) { v.read_keys({}, "write [a]"); }),
              "\"F\" line 1: write [a]");
}

TEST_F(TomlFile, ReadsTablesOneByOne) {
    int tables = 0;
    const auto reader = host::TomlValue::tables(
        "write [[a]]", [&tables](Value t) { tables += t.find("x") ? 1 : 0; });
    EXPECT_EQ(error_of_a("[[a]]\nx = 1\n[[a]]\nx = 2\n[[a]]\n", reader), "");
    EXPECT_EQ(tables, 2);
    for (const char* wrong : {"a = []", "a = 1", "a = [1]", "[a]\nx = 1"})
        EXPECT_EQ(error_of_a(wrong, reader), "\"F\" line 1: write [[a]]");
}

TEST_F(TomlFile, SaysWhyAFileCannotBeRead) {
    const auto said = [](const std::string& path) -> std::string {
        try {
            host::read_toml_file(path, "test file", "write one");
        } catch (const host::InputError& e) {
            return e.what();
        }
        return "";
    };
    EXPECT_EQ(said("/nowhere/f.toml"), "there is no test file \"/nowhere/f.toml\"; write one");
    EXPECT_EQ(said("/dev/null"),
              "cannot read the test file \"/dev/null\": it is not a regular file; write one");
    const std::string folder = std::filesystem::temp_directory_path().string();
    EXPECT_EQ(said(folder),
              "cannot read the test file \"" + folder + "\": it is a folder; write one");
    EXPECT_THAT(error_of("x = = 3", [](Value) {}), HasSubstr("\"F\" line 1: "));
}

}  // namespace
