// UTF-8, numbers and rows of tables.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace host {

// The code of the character that starts at `at`, which is moved past it. Empty for bytes that are
// not a character: truncated, overlong, half of a surrogate pair, beyond the last code.
std::optional<char32_t> next_character(const std::string& utf8, std::size_t& at);

// Whether a character moves the cursor, changes the terminal or the direction of the text that
// follows.
bool is_control(char32_t code);

// Text for a terminal: control characters and bytes that are not UTF-8 as \xNN each.
std::string visible(const std::string& text);

// At most this many characters of UTF-8 text, the last one an ellipsis when there were more.
std::string cut_to(const std::string& utf8, std::size_t characters);

// Text cut or padded with blanks to a number of UTF-8 characters.
std::string fitted(const std::string& utf8, std::size_t width);

// What printf would print.
[[gnu::format(printf, 1, 2)]] std::string format_text(const char* format, ...);

// Shown in place of a missing number.
inline constexpr const char* kNothing = "\u2013";

// "97.5 %", or kNothing for a share that is not a number.
std::string percent_text(double share, int digits);

// "2.5" or "3" as a person would write it, with at most 6 digits.
std::string plain_number(double value);

// The fewest digits that read back as the same number.
std::string exact_number(double value);

// One column of a table, in characters.
struct TextColumn {
    enum Side { kLeft, kRight };
    Side side = kLeft;
    std::size_t width = 0;
    std::size_t gap = 1;  // blanks before it
};

// A row of cells in their columns, with its line end. Left-aligned text is cut to its column, which
// keeps what follows in place; right-aligned cells hold numbers, which never lose a digit. A row
// may end early.
std::string table_row(const std::vector<TextColumn>& columns,
                      const std::vector<std::string>& cells);

}  // namespace host
