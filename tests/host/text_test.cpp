// UTF-8, numbers and rows of tables.
#include "host/base/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

// The characters of a text; 0 stands for bytes that are none.
std::vector<char32_t> characters(const std::string& utf8) {
    std::vector<char32_t> list;
    for (std::size_t at = 0; at < utf8.size();) {
        const std::size_t before = at;
        list.push_back(host::next_character(utf8, at).value_or(0));
        EXPECT_GT(at, before);
        EXPECT_LE(at, utf8.size());
    }
    return list;
}

TEST(Text, ShowsWhatATerminalWouldObey) {
    EXPECT_EQ(host::visible("T\xc3\xbcr 1"), "T\xc3\xbcr 1");
    EXPECT_EQ(host::visible("a\nb\x1b[31m"), "a\\x0ab\\x1b[31m");
    EXPECT_EQ(host::visible("\xe2\x80\xaex"), "\\xe2\\x80\\xaex");  // right to left
    EXPECT_EQ(host::visible("\xc2\x9b\xff"), "\\xc2\\x9b\\xff");
}

TEST(Text, DecodesTheEndsOfEveryLength) {
    EXPECT_THAT(characters("\x01\x7f"), ElementsAre(1, 0x7F));
    EXPECT_THAT(characters("\xc2\x80\xdf\xbf"), ElementsAre(0x80, 0x7FF));
    EXPECT_THAT(characters("\xe0\xa0\x80\xef\xbf\xbf"), ElementsAre(0x800, 0xFFFF));
    EXPECT_THAT(characters("\xed\x9f\xbf\xee\x80\x80"), ElementsAre(0xD7FF, 0xE000));
    EXPECT_THAT(characters("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"), ElementsAre(0x10000, 0x10FFFF));
    std::size_t at = 0;
    EXPECT_THAT(host::next_character(std::string(1, '\0'), at), Optional(char32_t{0}));
}

TEST(Text, RefusesWhatIsNoCharacter) {
    EXPECT_THAT(characters("\xc1\xbf|\xe0\x9f\xbf|\xf0\x8f\xbf\xbf"),
                ElementsAre(0, '|', 0, '|', 0))
        << "longer than needed";
    EXPECT_THAT(characters("\xed\xa0\x80\xed\xbf\xbf"), ElementsAre(0, 0)) << "surrogates";
    EXPECT_THAT(characters("\xf4\x90\x80\x80\xf5\x80\x80\x80"), ElementsAre(0, 0))
        << "beyond the last code";
    EXPECT_THAT(characters("\x80\xbf"), ElementsAre(0, 0)) << "in the middle of one";
    EXPECT_THAT(characters("\xe5\x87"), ElementsAre(0)) << "cut short";
    EXPECT_THAT(characters("\xe5\x87|"), ElementsAre(0, '|')) << "cut short";
}

TEST(Text, IsCutAndFilledByCharacters) {
    EXPECT_EQ(host::cut_to("Türen", 2), "T…");
    EXPECT_EQ(host::cut_to("Tür", 9), "Tür");
    EXPECT_EQ(host::fitted("Tür", 5), "Tür  ");
    EXPECT_EQ(host::fitted("Türen", 2), "T…");
    EXPECT_EQ(host::fitted("入口入口", 3), "入口…");
    EXPECT_EQ(host::fitted("", 2), "  ");
}

TEST(Text, FormatsTextsOfAnyLength) {
    EXPECT_EQ(host::format_text("%d of %s", 3, "four"), "3 of four");
    const std::string longer(5000, 'x');
    EXPECT_EQ(host::format_text("%s.", longer.c_str()), longer + ".");
}

TEST(Text, WritesNumbersPlainly) {
    EXPECT_EQ(host::plain_number(3.0), "3");
    EXPECT_EQ(host::plain_number(2.5), "2.5");
    EXPECT_EQ(host::plain_number(-0.125), "-0.125");
    EXPECT_EQ(host::plain_number(514.737), "514.737");
    EXPECT_EQ(host::plain_number(std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(Text, RowsStandUnderTheirColumns) {
    using Column = host::TextColumn;
    const std::vector<Column> columns{
        {Column::kLeft, 4, 2}, {Column::kRight, 3}, {Column::kRight, 3, 0}};
    EXPECT_EQ(host::table_row(columns, {"Tür", "12", "1"}), "  Tür   12  1\n");
    EXPECT_EQ(host::table_row(columns, {"Türen", "入", "-"}), "  Tür…   入  -\n");
    EXPECT_EQ(host::table_row(columns, {"a", "12345"}), "  a    12345\n");
}

}  // namespace
