// Turns parsed TOML into values with places, and says what is wrong with them.
#include "host/base/toml_reader.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "host/base/input_error.h"
#include "host/base/readable_file.h"
#include "host/base/text.h"

namespace host {

// Copies what the parser found.
class TomlParser {
  public:
    explicit TomlParser(const std::string& path)
        : path_(std::make_shared<const std::string>(path)) {}

    TomlValue parse(std::istream& in) const {
        try {
            return copy(toml::parse(in, *path_));
        } catch (const toml::parse_error& e) {
            throw InputError("\"" + *path_ + "\" line " + std::to_string(e.source().begin.line) +
                             ": " + std::string(e.description()));
        }
    }

  private:
    TomlValue copy(const toml::node& node) const {
        TomlValue value;
        value.path_ = path_;
        value.line_ = node.source().begin.line;
        if (const toml::table* table = node.as_table()) {
            auto& entries = value.content_.emplace<TomlValue::Table>();
            for (const auto& [key, entry] : *table)
                entries.emplace_back(std::string(key.str()), copy(entry));
        } else if (const toml::array* list = node.as_array()) {
            auto& items = value.content_.emplace<TomlValue::List>();
            for (const toml::node& item : *list)
                items.push_back(copy(item));
        } else if (node.is_string()) {
            value.content_ = *node.value<std::string>();
        } else if (node.is_boolean()) {
            value.content_ = *node.value<bool>();
        } else if (const auto number = node.value<double>(); node.is_number() && number) {
            value.content_ = *number;
        }
        return value;
    }

    std::shared_ptr<const std::string> path_;
};

std::string TomlValue::place(std::string_view what) const {
    return "\"" + *path_ + "\" line " + std::to_string(line_) + ": " + std::string(what);
}

void TomlValue::fail(std::string_view sentence) const {
    throw InputError(place(sentence));
}

std::string TomlValue::text() const {
    if (!is_text()) fail("a quoted string is needed here");
    return std::get<std::string>(content_);
}

bool TomlValue::flag() const {
    const bool* value = std::get_if<bool>(&content_);
    if (value == nullptr) fail("true or false is needed here");
    return *value;
}

std::optional<double> TomlValue::as_number() const {
    const double* value = std::get_if<double>(&content_);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

double TomlValue::number() const {
    const std::optional<double> value = as_number();
    if (!value) fail("a number is needed here");
    return *value;
}

double TomlValue::finite_number() const {
    const double value = number();
    if (!std::isfinite(value)) fail("a finite number is needed here");
    return value;
}

double TomlValue::number(double least, double most) const {
    const std::optional<double> value = as_number();
    if (!value || !(*value >= least && *value <= most)) {
        fail("a number from " + plain_number(least) + " to " + plain_number(most) +
             " is needed here");
    }
    return *value;
}

int TomlValue::whole(int least, int most) const {
    const std::optional<double> value = as_number();
    if (!value || !(*value >= least && *value <= most) || *value != std::floor(*value)) {
        fail("a whole number from " + std::to_string(least) + " to " + std::to_string(most) +
             " is needed here");
    }
    return static_cast<int>(*value);
}

std::array<TomlValue, 2> TomlValue::pair(std::string_view needed) const {
    const List* list = std::get_if<List>(&content_);
    if (list == nullptr || list->size() != 2) fail(needed);
    return {list->front(), list->back()};
}

std::vector<std::array<TomlValue, 2>> TomlValue::pairs(std::string_view needed) const {
    const List* list = std::get_if<List>(&content_);
    if (list == nullptr) fail(needed);
    std::vector<std::array<TomlValue, 2>> pairs;
    for (const TomlValue& item : *list)
        pairs.push_back(item.pair(needed));
    return pairs;
}

std::vector<TomlValue> TomlValue::one_or_more() const {
    const List* list = std::get_if<List>(&content_);
    if (list == nullptr) return {*this};
    if (list->empty()) fail("at least one is needed here");
    return *list;
}

const TomlValue::Table& TomlValue::table(std::string_view needed) const {
    const Table* entries = std::get_if<Table>(&content_);
    if (entries == nullptr) fail(needed);
    return *entries;
}

void TomlValue::read_keys(const Keys& keys, std::string_view needed) const {
    const Table& entries = table(needed);
    for (const auto& entry : entries) {
        const auto same = [&entry](const Key& key) { return key.name == entry.first; };
        if (std::any_of(keys.begin(), keys.end(), same)) continue;
        std::string known;
        for (const Key& key : keys)
            known += (known.empty() ? "" : ", ") + std::string(key.name);
        entry.second.fail("unknown key \"" + entry.first + "\"; known are " + known);
    }
    for (const Key& key : keys) {
        const TomlValue* value = find(key.name);
        if (value != nullptr) {
            key.read(*value);
        } else if (key.needed) {
            throw InputError("\"" + *path_ + "\" lacks " + std::string(key.name));
        }
    }
}

const TomlValue* TomlValue::find(std::string_view key) const {
    const Table* entries = std::get_if<Table>(&content_);
    if (entries == nullptr) return nullptr;
    const auto found = std::find_if(entries->begin(), entries->end(),
                                    [key](const auto& entry) { return entry.first == key; });
    return found == entries->end() ? nullptr : &found->second;
}

TomlValue::Reader TomlValue::tables(std::string needed, Reader read_table) {
    return [needed = std::move(needed),
            read_table = std::move(read_table)](const TomlValue& value) {
        const List* list = std::get_if<List>(&value.content_);
        const auto is_table = [](const TomlValue& item) {
            return std::holds_alternative<Table>(item.content_);
        };
        if (list == nullptr || list->empty() || !std::all_of(list->begin(), list->end(), is_table))
            value.fail(needed);
        for (const TomlValue& table : *list)
            read_table(table);
    };
}

TomlValue read_toml_file(const std::string& path, const std::string& kind,
                         const std::string& remedy) {
    return parse_toml(read_text_file(path, kind, remedy), path);
}

TomlValue parse_toml(const std::string& text, const std::string& name) {
    std::istringstream in(text);
    return TomlParser(name).parse(in);
}

}  // namespace host
