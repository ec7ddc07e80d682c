// A table with one header line, written row by row.
#pragma once

#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace host {

class CsvFile {
  public:
    // Throws std::runtime_error when the file cannot be opened. With an empty path nothing is
    // written.
    CsvFile(const std::string& path, const std::string& header);

    // The row is in the file when this returns: rows are few, and a run may be killed. Fields that
    // contain a delimiter are quoted. Throws std::runtime_error when writing fails.
    void add_row(const std::vector<std::string>& fields);
    // Throws std::runtime_error when not everything could be written.
    void finish();

  private:
    void check() const;

    std::string path_;
    std::ofstream out_;
};

// In quotes where it has a comma, a quote or the end of a line.
std::string csv_field(const std::string& text);
// A number in a table, with up to six digits; empty for an unknown value.
std::string csv_number(double value);
std::string csv_number(const std::optional<double>& value);
std::string csv_number(const std::optional<int>& value);
// Seconds to the millisecond, however large the number.
std::string csv_seconds(double value_s);

}  // namespace host
