// One writer after the other.
#include "host/sinks/recording_files.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "host/base/picture.h"
#include "host/base/utc.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// Before the first frame the library only asks for its configuration.
constexpr std::size_t kMostWaiting = 1000;

}  // namespace

fs::path free_recording_path(const RecordingSetup& setup, std::int64_t time_us) {
    const std::string name = utc_name(setup.start_us + time_us) + kRecordingExtension;
    fs::path path = fs::path(setup.folder) / name;
    std::error_code error;
    if (!fs::exists(path, error) && !fs::exists(path.string() + kUnfinishedExtension, error))
        return path;
    throw std::runtime_error("there is a recording \"" + path.string() +
                             "\" already; name another folder with --output");
}

std::int64_t remove_old_recordings(const fs::path& folder, std::int64_t now_us, double keep_hours) {
    constexpr double kHour_us = 3600e6;
    const std::string oldest = utc_name(now_us - static_cast<std::int64_t>(keep_hours * kHour_us));
    std::vector<fs::path> files;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().extension() == kRecordingExtension &&
            is_utc_name(entry.path().stem().string()))
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    std::int64_t removed = 0;
    // A file reaches to the beginning of the one after it.
    for (std::size_t i = 0; i + 1 < files.size(); ++i)
        if (files[i + 1].stem().string() <= oldest && fs::remove(files[i], error)) ++removed;
    return removed;
}

RecordingFiles::RecordingFiles(RecordingSetup setup) : setup_(std::move(setup)) {
    std::error_code error;
    fs::create_directories(setup_.folder, error);
    if (error) {
        throw std::runtime_error("cannot make the folder \"" + setup_.folder +
                                 "\": " + error.message());
    }
}

void RecordingFiles::open(const RecordedPictures& first, const TakenSize& size) {
    const std::int64_t now_us = setup_.start_us + first.time_us;
    const fs::path path = free_recording_path(setup_, first.time_us);
    RecordingWriter::Setup file;
    file.path = path.string();
    file.width = size.width;
    file.height = size.height;
    file.colour = setup_.colour;
    file.colour_width = kColourWidth;
    file.colour_height = kColourHeight;
    file.frames_per_second = setup_.frames_per_second;
    file.first_time_us = first.time_us;
    file.tags = setup_.tags;
    file.tags.emplace_back(kStartTag, std::to_string(setup_.start_us));
    file.attachments = setup_.attachments;
    writer_ = std::make_unique<RecordingWriter>(file);
    file_ = {path, first.time_us, first.time_us};
    size_ = size;
    if (setup_.keep_hours)
        figures_.removed += remove_old_recordings(setup_.folder, now_us, *setup_.keep_hours);
    for (const std::string& line : std::exchange(waiting_, {}))
        writer_->write_line(first.time_us, line);
}

std::optional<RecordedFile> RecordingFiles::close(RecordingEnd end) {
    if (writer_ == nullptr) return std::nullopt;
    writer_->finish(end);
    writer_.reset();
    ++figures_.files;
    figures_.bytes += static_cast<std::int64_t>(fs::file_size(file_.path));
    return file_;
}

std::optional<RecordedFile> RecordingFiles::write(const RecordedPictures& pictures,
                                                  const TakenSize& size) {
    std::optional<RecordedFile> ended;
    const bool full = writer_ != nullptr && pictures.time_us >= file_.from_us + setup_.longest_us;
    const bool other = size.width != size_.width || size.height != size_.height;
    if (full || other) ended = close(RecordingEnd::kNextFile);
    if (writer_ == nullptr) open(pictures, size);
    writer_->write(pictures);
    file_.to_us = pictures.time_us;
    ++figures_.frames;
    return ended;
}

void RecordingFiles::write_line(std::int64_t time_us, const std::string& line) {
    if (writer_ != nullptr) {
        writer_->write_line(time_us, line);
    } else if (waiting_.size() < kMostWaiting) {
        waiting_.push_back(line);
    }
}

std::optional<RecordedFile> RecordingFiles::finish(RecordingEnd end) {
    return close(end);
}

}  // namespace host
