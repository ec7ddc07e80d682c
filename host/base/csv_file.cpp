// Quoting and writing of rows.
#include "host/base/csv_file.h"

#include <stdexcept>

#include "host/base/text.h"

namespace host {
CsvFile::CsvFile(const std::string& path, const std::string& header) : path_(path) {
    if (path_.empty()) return;
    out_.open(path_);
    out_ << header << '\n';
    check();
}

void CsvFile::add_row(const std::vector<std::string>& fields) {
    if (path_.empty()) return;
    for (std::size_t i = 0; i < fields.size(); ++i)
        out_ << (i > 0 ? "," : "") << csv_field(fields[i]);
    out_ << std::endl;
    check();
}

void CsvFile::finish() {
    if (path_.empty()) return;
    out_.close();
    check();
}

void CsvFile::check() const {
    if (!out_) throw std::runtime_error("cannot write \"" + path_ + "\"");
}

std::string csv_field(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

std::string csv_number(double value) {
    return plain_number(value);
}

std::string csv_number(const std::optional<double>& value) {
    return value ? csv_number(*value) : "";
}

std::string csv_number(const std::optional<int>& value) {
    return value ? std::to_string(*value) : "";
}

std::string csv_seconds(double value_s) {
    return format_text("%.3f", value_s);
}

}  // namespace host
