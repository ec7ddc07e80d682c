// Fields by one pass over the text.
#include "host/base/csv_table.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "host/base/input_error.h"
#include "host/base/readable_file.h"

namespace host {
namespace {

constexpr std::uintmax_t kMostBytes = 64u << 20;
constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";  // spreadsheets begin UTF-8 with it

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

class Reader {
  public:
    Reader(const std::string& text, const std::string& name) : text_(text), name_(name) {}

    std::vector<CsvRow> rows() {
        if (text_.starts_with(kByteOrderMark)) at_ = 3;
        while (at_ < text_.size()) {
            CsvRow row{line_, read_row()};
            const bool blank = row.fields.size() == 1 && row.fields.front().empty();
            if (!blank) rows_.push_back(std::move(row));
        }
        return std::move(rows_);
    }

  private:
    std::vector<std::string> read_row() {
        std::vector<std::string> fields;
        do {
            fields.push_back(read_field());
        } while (at_ < text_.size() && text_[at_++] == ',');
        if (at_ > 0 && text_[at_ - 1] == '\r' && at_ < text_.size() && text_[at_] == '\n') ++at_;
        ++line_;
        return fields;
    }

    // Leaves the comma or line end after it to be read.
    std::string read_field() {
        std::string plain;
        while (at_ < text_.size()) {
            const char c = text_[at_];
            if (c == ',' || c == '\n' || c == '\r') break;
            ++at_;
            if (c == '"' && trimmed(plain).empty()) {
                std::string quoted = read_quoted();
                while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t'))
                    ++at_;
                return quoted;
            }
            plain += c;
        }
        return trimmed(plain);
    }

    std::string read_quoted() {
        const int opened = line_;
        std::string field;
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == '"' && (at_ == text_.size() || text_[at_] != '"')) return field;
            if (c == '"') ++at_;
            if (c == '\n') ++line_;
            field += c;
        }
        throw InputError('"' + name_ + "\" line " + std::to_string(opened) +
                         ": a quote is opened and not closed");
    }

    const std::string& text_;
    const std::string& name_;
    std::size_t at_ = 0;
    int line_ = 1;
    std::vector<CsvRow> rows_;
};

}  // namespace

std::vector<CsvRow> parse_csv(const std::string& text, const std::string& name) {
    return Reader(text, name).rows();
}

std::vector<CsvRow> read_csv(const std::string& path) {
    if (const std::string why = why_unreadable(path); !why.empty())
        throw InputError("cannot read \"" + path + "\": " + why);
    if (std::filesystem::file_size(path) > kMostBytes)
        throw InputError('"' + path + "\" is larger than 64 MB; a table of labels is small");
    std::ifstream in(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    return parse_csv(text, path);
}

}  // namespace host
