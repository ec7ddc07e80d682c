// Finds and checks the files of a recording, and resamples them into the depth image.
#include "host/frames/depth_folder.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "host/base/picture.h"
#include "host/base/readable_file.h"
#include "host/base/text.h"
#include "host/frames/grey_picture.h"
#include "host/media/png_file.h"

namespace host {
namespace {

namespace fs = std::filesystem;

struct NumberedFile {
    std::int64_t number = 0;
    fs::path path;
    bool readable = true;
};

// With this many digits, file numbers and the numbers after the last file stay 32-bit.
constexpr std::size_t kMostDigits = 9;

// Numbers that leave out more than this are not frame numbers but something like times of day.
constexpr double kLongestGap_s = 10.0;
// One frame in twenty may be lost before the counts are said to be incomplete.
constexpr std::size_t kLeastOfLoss = 20;

constexpr std::uintmax_t kMostBesidePixels = 1u << 20;  // bytes of a file

constexpr double kLongestStep_s = 0.25;  // between most neighbours
constexpr std::int64_t kLongestStep = 10;

// The last run of digits in a file's stem, without leading zeros.
std::optional<std::string> digits_in(const std::string& stem) {
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    const auto last = std::find_if(stem.rbegin(), stem.rend(), is_digit);
    if (last == stem.rend()) return std::nullopt;
    const auto first = std::find_if_not(last, stem.rend(), is_digit);
    const std::string digits(first.base(), last.base());
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

std::int64_t number_of(const fs::path& path, const std::string& digits) {
    if (digits.size() > kMostDigits) {
        throw InputError("\"" + path.string() + "\" has a number of " +
                         std::to_string(digits.size()) +
                         " digits; numbers must count frames and have at most 9 digits");
    }
    return std::stoll(digits);
}

std::vector<NumberedFile> list_files(const fs::path& folder) {
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    std::vector<NumberedFile> files;
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        const fs::path path = entries->path();
        std::string extension = path.extension().string();
        std::transform(extension.begin(), extension.end(), extension.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const auto digits = digits_in(path.stem().string());
        if (extension == ".png" && digits) files.push_back({number_of(path, *digits), path});
    }
    if (error) {
        throw InputError("cannot read the folder \"" + folder.string() + "\": " + error.message() +
                         "; --folder needs a folder of numbered 16-bit PNG files");
    }
    std::sort(files.begin(), files.end(), [](const NumberedFile& a, const NumberedFile& b) {
        return std::pair(a.number, a.path) < std::pair(b.number, b.path);
    });
    if (files.empty()) {
        throw InputError("the folder \"" + folder.string() +
                         "\" holds no numbered PNG file such as image0001.png");
    }
    const auto twice = std::adjacent_find(
        files.begin(), files.end(),
        [](const NumberedFile& a, const NumberedFile& b) { return a.number == b.number; });
    if (twice != files.end()) {
        throw InputError("\"" + twice->path.string() + "\" and \"" + (twice + 1)->path.string() +
                         "\" have the same number; each frame needs one of its own");
    }
    return files;
}

[[noreturn]] void fail_gap(const NumberedFile& before, const NumberedFile& after, double fps) {
    const std::int64_t step = after.number - before.number;
    throw InputError("\"" + after.path.string() + "\" follows \"" +
                     before.path.filename().string() + "\" by " + std::to_string(step) +
                     ", which is " + plain_number(static_cast<double>(step) / fps) + " s at " +
                     plain_number(fps) + " frames/s; the files' numbers must count frames");
}

// The time of a frame follows from its number, so numbers must count frames. Frames may be missing.
void check_steps(const std::vector<NumberedFile>& files, double fps) {
    std::vector<std::pair<std::int64_t, std::size_t>> steps;
    for (std::size_t i = 1; i < files.size(); ++i) {
        steps.emplace_back(files[i].number - files[i - 1].number, i);
    }
    if (steps.empty()) return;
    std::sort(steps.begin(), steps.end());
    const auto [longest, last] = steps.back();
    if (static_cast<double>(longest) > kLongestGap_s * fps) {
        fail_gap(files[last - 1], files[last], fps);
    }
    if (steps.size() < 3) return;
    const auto [typical, at] = steps[steps.size() / 2];
    if (typical > kLongestStep && static_cast<double>(typical) > kLongestStep_s * fps) {
        fail_gap(files[at - 1], files[at], fps);
    }
}

// What is wrong with a file, as far as its beginning and end show; empty when nothing is.
std::string png_fault(const fs::path& path, const RecordingCamera& camera) {
    const std::string place = '"' + path.string() + '"';
    if (const std::string why = why_unreadable(path.string()); !why.empty()) {
        return "cannot read " + place + ": " + why;
    }
    // Packed pixels take hardly more space than plain ones.
    const std::uintmax_t most = 4u * static_cast<std::uintmax_t>(camera.width) *
                                    static_cast<std::uintmax_t>(camera.height) +
                                kMostBesidePixels;
    std::error_code error;
    if (fs::file_size(path, error) > most && !error) {
        return place + " is larger than " + std::to_string(most) +
               " bytes, which no picture of this camera is; record it again or remove it";
    }
    const std::optional<PngHeader> png = read_png_header(path.string());
    if (!png) return place + " is not a whole PNG file; record it again or remove it";
    if (png->bits != 16 || !png->grey) {
        return place + " has " + std::to_string(png->bits) + "-bit " +
               (png->grey ? "grey" : "colour") + " pixels; depth needs 16-bit grey in millimetres";
    }
    if (png->interlaced) return place + " is interlaced; save it without interlacing";
    if (png->width != camera.width || png->height != camera.height) {
        return place + " is " + std::to_string(png->width) + " x " + std::to_string(png->height) +
               " pixels, but the camera file says " + std::to_string(camera.width) + " x " +
               std::to_string(camera.height);
    }
    return "";
}

class DepthFolder final : public FrameSource {
  public:
    DepthFolder(const fs::path& folder, const RecordingCamera& camera, const SourceOptions& options)
        : camera_(camera), view_(camera), files_(list_files(folder)) {
        for (NumberedFile& file : files_)
            note_fault(file, png_fault(file.path, camera_));
        check_readable();
        info_.kind = "depth-folder";
        info_.name = fs::absolute(folder).lexically_normal().filename().string();
        if (info_.name.empty()) info_.name = "recording";
        info_.description = "recording of a depth camera";
        info_.frames_per_second = options.frames_per_second.value_or(camera.frames_per_second);
        check_steps(files_, info_.frames_per_second);
        info_.duration_s = static_cast<double>(files_.back().number - files_.front().number + 1) /
                           info_.frames_per_second;
        describe_camera(camera, view_, info_);
        info_.black_mm = options.height_mm.value_or(camera.height_mm.value_or(4000.0)).value * 1.1;
    }

    bool next(SourceFrame& frame) override {
        if (position_ == files_.size()) return false;
        NumberedFile& file = files_[position_];
        TakenPictures& taken = frame.planes.taken;
        read_pixels(file, taken.depth_mm);
        taken.width = camera_.width;
        taken.height = camera_.height;
        resample_depth(taken.depth_mm.data(), camera_.width, camera_.height, frame.planes.raw_mm);
        render_grey(frame.planes.raw_mm, info_.black_mm, frame.planes.depth_nv12,
                    frame.planes.colour_nv12);
        frame.planes.blank = false;
        frame.number = file.number;
        frame.time_s = whole_microseconds(static_cast<double>(file.number - files_.front().number) /
                                          info_.frames_per_second);
        frame.people.clear();
        frame.crossings.clear();
        ++position_;
        return true;
    }

    void skip(std::int64_t frames) override {
        position_ = std::min(position_ + static_cast<std::size_t>(frames), files_.size());
    }

    std::vector<std::string> warnings() const override {
        if (lost_frames() == 0) return {};
        return {loss_text() +
                " and were treated as frames without measurement; the first: " + first_fault_};
    }

    std::vector<std::string> losses() const override {
        if (lost_frames() * kLeastOfLoss <= position_) return {};
        return {loss_text()};
    }

    PicturePoint to_picture(const PicturePoint& p) const override { return view_.to_picture(p); }

  private:
    std::size_t lost_frames() const {
        return static_cast<std::size_t>(
            std::count_if(files_.begin(), files_.begin() + static_cast<std::ptrdiff_t>(position_),
                          [](const NumberedFile& file) { return !file.readable; }));
    }

    std::string loss_text() const {
        return std::to_string(lost_frames()) + " of " + std::to_string(position_) +
               " frames could not be read";
    }

    // A frame that cannot be read shows nothing; time and counting go on.
    void read_pixels(NumberedFile& file, std::vector<std::uint16_t>& pixels) {
        if (file.readable &&
            !decode_grey16(read_bytes(file.path.string()), camera_.width, camera_.height, pixels)) {
            note_fault(file, "\"" + file.path.string() +
                                 "\" is a damaged PNG file; record it again or remove it");
            check_readable();
        }
        if (file.readable) return;
        pixels.assign(
            static_cast<std::size_t>(camera_.width) * static_cast<std::size_t>(camera_.height), 0);
    }

    void note_fault(NumberedFile& file, const std::string& fault) {
        if (fault.empty()) return;
        file.readable = false;
        if (unreadable_++ == 0) first_fault_ = fault;
    }

    // If most of a recording is lost, what is left would give wrong counts.
    void check_readable() const {
        if (2 * unreadable_ <= files_.size()) return;
        throw InputError(first_fault_ + " (" + std::to_string(unreadable_) + " of " +
                         std::to_string(files_.size()) + " files cannot be used)");
    }

    RecordingCamera camera_;
    RecordingView view_;
    std::vector<NumberedFile> files_;
    std::size_t unreadable_ = 0;
    std::string first_fault_;
    std::size_t position_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> open_depth_folder(const SourceOptions& options) {
    if (options.folder.empty()) throw InputError("the source depth-folder needs --folder DIR");
    const fs::path folder(options.folder);
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        throw InputError("there is no folder \"" + options.folder +
                         "\"; --folder needs a folder of numbered 16-bit PNG files");
    }
    const std::string camera_file =
        options.camera_file.empty() ? (folder / "camera.toml").string() : options.camera_file;
    return std::make_unique<DepthFolder>(folder, read_recording_camera(camera_file), options);
}

}  // namespace host
