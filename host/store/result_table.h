// Results for people and for other programs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace host {

// The names of the columns are those of the CSV header and the keys of the JSON objects.
struct ResultTable {
    using Cell = std::variant<std::monostate, std::int64_t, std::string>;
    std::vector<std::string> columns;
    std::vector<std::vector<Cell>> rows;
};

// Columns as wide as their widest cell, numbers to the right.
std::string as_table(const ResultTable& table);
std::string as_csv(const ResultTable& table);
// An array of objects, one in each line.
std::string as_json(const ResultTable& table);
// A row as a line of CSV, and as one JSON object without a line end.
std::string csv_line(const std::vector<ResultTable::Cell>& row);
std::string json_line(const ResultTable& table, std::size_t row);

}  // namespace host
