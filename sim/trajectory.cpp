// Reading trajectory files.
#include "sim/trajectory.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace sim {
namespace {

constexpr double kDefaultFps = 25.0;
constexpr double kLimit = 1e6;  // no coordinate of a walk is larger, in any unit
constexpr double kLowestRate = 1.0;
constexpr double kHighestRate = 240.0;
constexpr double kShortest_m = 0.5;
constexpr double kTallest_m = 2.5;
constexpr std::int64_t kLongestSpan = 10'000'000;  // frames; four days at 30 frames a second
constexpr double kLargestFrame = 1e15;             // small enough that differences cannot overflow
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool is_text(std::string_view line) {
    return std::none_of(line.begin(), line.end(), [](char c) {
        const auto code = static_cast<unsigned char>(c);
        return (code < 0x20 && c != '\t' && c != '\r') || code == 0x7f;
    });
}

// A word of the file in a form that is safe to show in a message.
std::string shown(std::string_view word) {
    constexpr std::size_t kMost = 40;
    std::string text(word.substr(0, kMost));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7e; }, '?');
    return word.size() > kMost ? text + "..." : text;
}

std::string plain(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

std::vector<std::string_view> fields_of(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r";
    std::vector<std::string_view> fields;
    std::size_t at = line.find_first_not_of(kBlanks);
    while (at != std::string_view::npos) {
        const std::size_t end = std::min(line.find_first_of(kBlanks, at), line.size());
        fields.push_back(line.substr(at, end - at));
        at = line.find_first_not_of(kBlanks, end);
    }
    return fields;
}

template <typename T>
bool parse(std::string_view text, T& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

class Reader {
  public:
    Reader(const std::string& name, double fps) : name_(name), wanted_fps_(fps) {}

    void line(std::string_view text) {
        ++line_number_;
        if (line_number_ == 1 && text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
            text.remove_prefix(kByteOrderMark.size());
        }
        if (!is_text(text)) {
            throw std::runtime_error(name_ + ": line " + std::to_string(line_number_) +
                                     " is not text; expected lines \"id frame x y z\"");
        }
        const auto fields = fields_of(text);
        if (fields.empty()) return;
        if (fields[0][0] == '#') {
            comment(text);
        } else {
            sample(fields);
        }
    }

    TrajectoryFile finish() {
        if (rows_.empty()) {
            throw std::runtime_error(name_ + ": no positions; expected lines \"id frame x y z\"");
        }
        std::sort(rows_.begin(), rows_.end(), [](const Row& a, const Row& b) {
            if (a.sample.id != b.sample.id) return a.sample.id < b.sample.id;
            if (a.sample.frame != b.sample.frame) return a.sample.frame < b.sample.frame;
            return a.line < b.line;
        });
        check_span();
        TrajectoryFile file;
        file.fps = wanted_fps_ > 0.0 ? wanted_fps_ : (file_fps_ > 0.0 ? file_fps_ : kDefaultFps);
        const std::array<double, 3> scale = metres_per_unit();
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            TrajectorySample s = rows_[i].sample;
            if (i > 0 && rows_[i - 1].sample.id == s.id && rows_[i - 1].sample.frame == s.frame) {
                fail_at(rows_[i].line, "person " + std::to_string(s.id) +
                                           " already has a position in frame " +
                                           std::to_string(s.frame) + " (line " +
                                           std::to_string(rows_[i - 1].line) +
                                           "); expected one for each person and frame");
            }
            s.x_m *= scale[0];
            s.y_m *= scale[1];
            s.z_m *= scale[2];
            check_height(rows_[i], s.z_m);
            file.samples.push_back(s);
        }
        return file;
    }

  private:
    struct Row {
        TrajectorySample sample;  // in the file's units
        std::int64_t line = 0;
    };

    [[noreturn]] void fail(const std::string& what) const { fail_at(line_number_, what); }

    [[noreturn]] void fail_at(std::int64_t line, const std::string& what) const {
        throw std::runtime_error(name_ + ":" + std::to_string(line) + ": " + what);
    }

    void check_span() const {
        const auto [low, high] = std::minmax_element(
            rows_.begin(), rows_.end(),
            [](const Row& a, const Row& b) { return a.sample.frame < b.sample.frame; });
        if (high->sample.frame - low->sample.frame <= kLongestSpan) return;
        const Row& later = low->line < high->line ? *high : *low;
        const Row& earlier = low->line < high->line ? *low : *high;
        fail_at(later.line, "frame " + std::to_string(later.sample.frame) +
                                " is more than 10 million away from frame " +
                                std::to_string(earlier.sample.frame) + " in line " +
                                std::to_string(earlier.line) + "; expected numbers of frames");
    }

    void check_height(const Row& row, double height_m) const {
        if (height_m >= kShortest_m && height_m <= kTallest_m) return;
        fail_at(row.line,
                "z is " + plain(height_m) + " m; expected a person's height of 0.5 to 2.5 m");
    }

    void comment(std::string_view text) {
        constexpr std::array kAxes = {'x', 'y', 'z'};
        for (const std::string_view field : fields_of(text)) {
            for (std::size_t i = 0; i < kAxes.size(); ++i) {
                if (field.size() < 3 || field[0] != kAxes[i] || field[1] != '/') continue;
                const std::string_view unit = field.substr(2);
                if (unit != "m" && unit != "cm") {
                    fail("unit \"" + shown(unit) + "\" of " + kAxes[i] +
                         " is not known; expected m or cm");
                }
                units_[i] = unit == "m" ? 1.0 : 0.01;
            }
        }
        const std::size_t at = text.find("framerate:");
        if (at == std::string_view::npos) return;
        const auto fields = fields_of(text.substr(at + 10));
        double fps = 0.0;
        if (fields.empty() || !parse(fields[0], fps) || !(fps >= kLowestRate) ||
            !(fps <= kHighestRate)) {
            fail(
                "frame rate not understood; expected 1 to 240, for example "
                "\"# framerate: 25 fps\"");
        }
        file_fps_ = fps;
    }

    void sample(const std::vector<std::string_view>& fields) {
        if (fields.size() != 5) {
            fail("found " + std::to_string(fields.size()) +
                 " fields; expected five: id frame x y z");
        }
        Row row;
        row.line = line_number_;
        TrajectorySample& s = row.sample;
        if (!parse(fields[0], s.id)) fail_field("id", fields[0], "a whole number");
        if (!parse(fields[1], s.frame) || std::abs(static_cast<double>(s.frame)) > kLargestFrame) {
            fail_field("frame", fields[1], "a whole number");
        }
        const auto coordinate = [this, &fields](std::size_t i, const char* axis, double& value) {
            if (!parse(fields[i], value) || !(std::abs(value) < kLimit)) {
                fail_field(axis, fields[i], "a number of metres or centimetres");
            }
            largest_ = std::max(largest_, std::abs(value));
        };
        coordinate(2, "x", s.x_m);
        coordinate(3, "y", s.y_m);
        coordinate(4, "z", s.z_m);
        rows_.push_back(row);
    }

    [[noreturn]] void fail_field(const char* field, std::string_view text,
                                 const char* right) const {
        fail(std::string(field) + " \"" + shown(text) + "\" is not understood; expected " + right);
    }

    // An axis without a unit of its own takes that of the others.
    std::array<double, 3> metres_per_unit() const {
        double common = largest_ >= 100.0 ? 0.01 : 1.0;
        for (const double unit : units_) {
            if (unit > 0.0) {
                common = unit;
                break;
            }
        }
        std::array<double, 3> scale = units_;
        for (double& s : scale) {
            if (!(s > 0.0)) s = common;
        }
        return scale;
    }

    std::string name_;
    double wanted_fps_;
    double file_fps_ = 0.0;
    std::array<double, 3> units_{};  // 0 until named
    double largest_ = 0.0;
    std::int64_t line_number_ = 0;
    std::vector<Row> rows_;
};

}  // namespace

TrajectoryFile read_trajectory(std::istream& in, const std::string& name, double fps) {
    Reader reader(name, fps);
    std::string line;
    while (std::getline(in, line))
        reader.line(line);
    if (in.bad()) throw std::runtime_error(name + ": cannot be read to its end");
    return reader.finish();
}

TrajectoryFile read_trajectory_file(const std::string& path, double fps) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::is_regular_file(status) && !std::filesystem::is_fifo(status)) {
        const char* what =
            std::filesystem::is_directory(status) ? ": is a folder" : ": no file of this name";
        throw std::runtime_error(path + what +
                                 "; expected a text file of lines \"id frame x y z\"");
    }
    std::ifstream in(path);
    if (!in)
        throw std::runtime_error(path + ": cannot be opened; expected a file that can be read");
    return read_trajectory(in, path, fps);
}

}  // namespace sim
