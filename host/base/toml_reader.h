// The user's TOML files: installation, site and camera files. Every value knows its file and line,
// and an error in it is reported in one sentence that begins with both.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace host {

// One value of a file, with its contents when it is a table or a list. Asking for a different kind
// of value throws InputError.
class TomlValue {
  public:
    using Reader = std::function<void(const TomlValue&)>;
    struct Key {
        std::string_view name;
        Reader read;
        bool needed = false;
    };
    // The keys that a table may have, in the order in which they are read.
    using Keys = std::vector<Key>;

    // The beginning of a message about this value: file, line and `what`.
    std::string place(std::string_view what) const;

    bool is_text() const { return std::holds_alternative<std::string>(content_); }
    std::string text() const;
    bool flag() const;
    // Any number, including infinity and nan; empty when this is something else.
    std::optional<double> as_number() const;
    double number() const;
    double finite_number() const;
    double number(double least, double most) const;
    // A number without a fraction.
    int whole(int least, int most) const;
    // Lists of two values, and lists of those; `needed` is the sentence about anything else.
    std::array<TomlValue, 2> pair(std::string_view needed) const;
    std::vector<std::array<TomlValue, 2>> pairs(std::string_view needed) const;

    // The items of a list, or this value itself when it is none.
    std::vector<TomlValue> one_or_more() const;

    // Reads a table; refuses keys that are not in the list, and a table that lacks a required key.
    void read_keys(const Keys& keys, std::string_view needed = "a table is needed here") const;
    // Null when this is not a table or has no such key.
    const TomlValue* find(std::string_view key) const;
    // Reads the tables of [[NAME]] one after the other; anything else gets the sentence `needed`.
    static Reader tables(std::string needed, Reader read_table);

  private:
    friend class TomlParser;
    struct Nothing {};  // a date, a time, or a number that is not a double
    using List = std::vector<TomlValue>;
    using Table = std::vector<std::pair<std::string, TomlValue>>;

    [[noreturn]] void fail(std::string_view sentence) const;
    const Table& table(std::string_view needed) const;

    std::shared_ptr<const std::string> path_;
    std::size_t line_ = 0;
    std::variant<Nothing, std::string, bool, double, List, Table> content_;
};

// Reads a whole file. `kind` is what it is called in messages, such as "site file", and `remedy`
// ends the sentence when there is no such file. Throws InputError.
TomlValue read_toml_file(const std::string& path, const std::string& kind,
                         const std::string& remedy);
// Reads the text of one; `name` stands for its path in messages.
TomlValue parse_toml(const std::string& text, const std::string& name);

}  // namespace host
