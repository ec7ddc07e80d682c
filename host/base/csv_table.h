// A table that a person or a program wrote with commas between its columns.
#pragma once

#include <string>
#include <vector>

namespace host {

struct CsvRow {
    int line = 0;  // of the file, from 1
    std::vector<std::string> fields;
};

// Reads rows with their line ends in any style; fields may be quoted, and a quote within is doubled
// (RFC 4180). Rows without anything in them are left out, blanks around fields too. `name` is what
// messages call the table. Throws InputError for a quote that nothing closes.
std::vector<CsvRow> parse_csv(const std::string& text, const std::string& name);

// The rows of a file. Throws InputError when it cannot be read or is larger than 64 MB.
std::vector<CsvRow> read_csv(const std::string& path);

}  // namespace host
