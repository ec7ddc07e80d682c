// The three forms.
#include "host/store/result_table.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/base/csv_file.h"
#include "host/base/text.h"

namespace host {
namespace {

using Cell = ResultTable::Cell;

std::string text_of(const Cell& cell, const char* nothing) {
    if (const auto* number = std::get_if<std::int64_t>(&cell)) return std::to_string(*number);
    if (const auto* text = std::get_if<std::string>(&cell)) return *text;
    return nothing;
}

// Characters, not bytes.
std::size_t width_of(const std::string& utf8) {
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

bool has_numbers(const ResultTable& table, std::size_t column) {
    return std::any_of(table.rows.begin(), table.rows.end(), [&](const auto& row) {
        return std::holds_alternative<std::int64_t>(row[column]);
    });
}

}  // namespace

std::string as_table(const ResultTable& table) {
    std::vector<TextColumn> columns;
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        std::size_t width = width_of(table.columns[c]);
        for (const auto& row : table.rows)
            width = std::max(width, width_of(visible(text_of(row[c], kNothing))));
        const bool right = has_numbers(table, c);
        columns.push_back({right ? TextColumn::kRight : TextColumn::kLeft, width, 2});
    }
    std::string text = table_row(columns, table.columns);
    for (const auto& row : table.rows) {
        std::vector<std::string> cells;
        for (const Cell& cell : row)
            cells.push_back(visible(text_of(cell, kNothing)));
        text += table_row(columns, cells);
    }
    return text;
}

std::string csv_line(const std::vector<Cell>& row) {
    std::string line;
    for (std::size_t c = 0; c < row.size(); ++c)
        line += (c > 0 ? "," : "") + csv_field(text_of(row[c], ""));
    return line + "\n";
}

std::string as_csv(const ResultTable& table) {
    std::string text = csv_line({table.columns.begin(), table.columns.end()});
    for (const auto& row : table.rows)
        text += csv_line(row);
    return text;
}

std::string json_line(const ResultTable& table, std::size_t row) {
    using Json = nlohmann::ordered_json;
    Json out = Json::object();
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        Json& value = out[table.columns[c]];
        const Cell& cell = table.rows[row][c];
        if (const auto* number = std::get_if<std::int64_t>(&cell)) value = *number;
        if (const auto* text = std::get_if<std::string>(&cell)) value = *text;
    }
    return out.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string as_json(const ResultTable& table) {
    std::string text = "[";
    for (std::size_t row = 0; row < table.rows.size(); ++row)
        text += (row > 0 ? ",\n " : "") + json_line(table, row);
    return text + "]\n";
}

}  // namespace host
