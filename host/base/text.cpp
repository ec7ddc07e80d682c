// Decoding, widths and formats of texts.
#include "host/base/text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <sstream>

namespace host {
namespace {

constexpr const char* kEllipsis = "\u2026";

unsigned byte_of(const std::string& text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

std::size_t characters_in(const std::string& utf8) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < utf8.size(); ++count)
        next_character(utf8, at);
    return count;
}

}  // namespace

std::optional<char32_t> next_character(const std::string& utf8, std::size_t& at) {
    const unsigned first = byte_of(utf8, at++);
    if (first < 0x80) return first;
    if (first < 0xC0) return std::nullopt;
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    char32_t code = first & (0x3Fu >> more);
    for (std::size_t i = 0; i < more; ++i, ++at) {
        if (at == utf8.size() || (byte_of(utf8, at) & 0xC0u) != 0x80u) return std::nullopt;
        code = code << 6 | (byte_of(utf8, at) & 0x3Fu);
    }
    constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (first > 0xF4 || code < kSmallest[more] || surrogate || code > 0x10FFFF) return std::nullopt;
    return code;
}

bool is_control(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x200E || code == 0x200F ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::string visible(const std::string& text) {
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t from = at;
        const std::optional<char32_t> code = next_character(text, at);
        if (code && !is_control(*code)) {
            shown.append(text, from, at - from);
            continue;
        }
        for (std::size_t i = from; i < at; ++i)
            shown += format_text("\\x%02x", byte_of(text, i));
    }
    return shown;
}

std::string cut_to(const std::string& utf8, std::size_t characters) {
    if (characters_in(utf8) <= characters) return utf8;
    if (characters == 0) return "";
    std::size_t end = 0;
    while (--characters > 0)
        next_character(utf8, end);
    return utf8.substr(0, end) + kEllipsis;
}

std::string fitted(const std::string& utf8, std::size_t width) {
    const std::string text = cut_to(utf8, width);
    return text + std::string(width - characters_in(text), ' ');
}

std::string format_text(const char* format, ...) {
    std::va_list values;
    va_start(values, format);
    std::va_list again;
    va_copy(again, values);
    const int length = std::vsnprintf(nullptr, 0, format, values);
    va_end(values);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string percent_text(double share, int digits) {
    return std::isnan(share) ? kNothing : format_text("%.*f %%", digits, 100.0 * share);
}

std::string plain_number(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string exact_number(double value) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

std::string table_row(const std::vector<TextColumn>& columns,
                      const std::vector<std::string>& cells) {
    std::string row;
    for (std::size_t i = 0; i < cells.size() && i < columns.size(); ++i) {
        const TextColumn& column = columns[i];
        row.append(column.gap, ' ');
        if (column.side == TextColumn::kLeft) {
            row += fitted(cells[i], column.width);
            continue;
        }
        const std::size_t length = characters_in(cells[i]);
        if (length < column.width) row.append(column.width - length, ' ');
        row += cells[i];
    }
    return row + '\n';
}

}  // namespace host
