// Opens the files one after the other and makes frame sets of what is in them.
#include "host/frames/recording.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "host/base/text.h"
#include "host/frames/media_pictures.h"
#include "host/media/recording_format.h"
#include "host/media/recording_reader.h"

namespace host {
namespace {

// One frame in twenty may be lost before the counts are said to be incomplete.
constexpr std::int64_t kLeastOfLoss = 20;
constexpr std::int64_t kLatestStart_us = 10'000'000'000'000'000;  // the year 2286

std::int64_t to_us(double s) {
    return std::llround(s * 1e6);
}

std::unique_ptr<RecordingReader> open_file(const std::string& path, bool want_colour = true) {
    RecordingReader::Setup setup = RecordingReader::file(path);
    setup.want_colour = want_colour;
    return std::make_unique<RecordingReader>(setup);
}

bool is_ours(const MediaInfo& info) {
    return !tag_of(info, kFormatTag).empty();
}

// Of scene time 0, in microseconds since 1970.
std::optional<std::int64_t> start_of(const MediaInfo& info) {
    const std::string text = tag_of(info, kStartTag);
    if (text.empty()) return std::nullopt;
    return std::clamp<std::int64_t>(std::atoll(text.c_str()), 0, kLatestStart_us);
}

class Recording final : public FrameSource {
  public:
    explicit Recording(const SourceOptions& options)
        : paths_(options.recordings),
          from_us_(to_us(options.from_s.value_or(0.0))),
          to_us_(options.to_s ? to_us(*options.to_s) : INT64_MAX) {
        reader_ = open_file(paths_.front());
        const MediaInfo& media = reader_->info();
        camera_ = camera_of_media(media, paths_.front(), options.camera_file);
        if (options.frames_per_second) camera_.frames_per_second = *options.frames_per_second;
        check_size(media, paths_.front());
        view_.emplace(camera_);
        info_.kind = "recording";
        info_.name = std::filesystem::path(paths_.front()).stem().string();
        info_.description = "recording of a depth camera";
        info_.frames_per_second = camera_.frames_per_second;
        info_.start_us = start_of(media).value_or(kSceneStart_us);
        describe_camera(camera_, *view_, info_);
        if (const auto note = settle_colour(media, info_)) notes_.push_back(*note);
        info_.black_mm = options.height_mm.value_or(camera_.height_mm.value_or(4000.0)).value * 1.1;
        info_.duration_s = duration();
        enter_file();
    }

    bool next(SourceFrame& frame) override {
        while (reader_ != nullptr) {
            if (reader_->next(media_)) {
                place_in_scene();
                if (media_.time_us < from_us_) continue;
                if (media_.time_us >= to_us_) {
                    cut_short_ = true;
                    leave_file();
                    reader_.reset();
                    return false;
                }
                fill(frame);
                return true;
            }
            leave_file();
            open_next();
        }
        return false;
    }

    PicturePoint to_picture(const PicturePoint& p) const override { return view_->to_picture(p); }

    std::vector<std::string> warnings() const override {
        std::vector<std::string> list = notes_;
        if (reader_ != nullptr) {
            for (const std::string& sentence : reader_->damage())
                list.push_back(sentence);
        }
        return list;
    }

    std::vector<std::string> losses() const override {
        const std::int64_t lost = lost_ + (reader_ == nullptr ? 0 : reader_->lost_frames());
        if (lost * kLeastOfLoss <= given_ + lost) return {};
        return {std::to_string(lost) + " of " + std::to_string(given_ + lost) +
                " frames of the recording could not be read"};
    }

    bool ends_the_scene() const override { return ended_ && !cut_short_; }

  private:
    void check_size(const MediaInfo& media, const std::string& path) const {
        check_media_size(media, camera_, path);
    }

    // Of all files together, as far as they are whole; 0 when one of them was cut.
    double duration() const {
        double sum_s = reader_->info().duration_s;
        for (std::size_t i = 1; i < paths_.size(); ++i) {
            const auto file = open_file(paths_[i], false);
            check_size(file->info(), paths_[i]);
            if (file->info().duration_s <= 0.0) return 0.0;
            sum_s += file->info().duration_s;
        }
        if (to_us_ != INT64_MAX)
            sum_s = std::min(sum_s, static_cast<double>(to_us_ - from_us_) / 1e6);
        return reader_->info().duration_s <= 0.0 ? 0.0 : std::max(sum_s, 0.0);
    }

    // Where scene time and numbers of the file's frames lie in those of the whole.
    void enter_file() {
        time_offset_us_.reset();
        number_offset_ = 0;
        first_of_file_ = true;
        if (const auto start = start_of(reader_->info())) {
            time_offset_us_ = *start - info_.start_us;
        } else if (is_ours(reader_->info())) {
            time_offset_us_ = 0;
        }
        if (time_offset_us_ && from_us_ > 0) reader_->skip_to(from_us_ - *time_offset_us_);
    }

    void leave_file() {
        for (std::string& sentence : reader_->damage())
            notes_.push_back(std::move(sentence));
        lost_ += reader_->lost_frames();
        const std::string& path = paths_[file_];
        ended_ = !is_ours(reader_->info()) ||
                 reader_->end() == recording_end_name(RecordingEnd::kSource);
        if (cut_short_ || !is_ours(reader_->info()) || !reader_->end().empty()) return;
        notes_.push_back("\"" + path +
                         "\" lacks its end: it was cut off, or is still being written");
    }

    void open_next() {
        reader_.reset();
        if (++file_ == paths_.size()) return;
        reader_ = open_file(paths_[file_]);
        check_size(reader_->info(), paths_[file_]);
        enter_file();
    }

    // Other recordings than ours begin at any time and follow each other without a gap.
    void place_in_scene() {
        if (!time_offset_us_) {
            const std::int64_t step_us = to_us(1.0 / info_.frames_per_second);
            time_offset_us_ = (any_ ? last_us_ + step_us : 0) - media_.time_us;
        }
        media_.time_us += *time_offset_us_;
        if (std::exchange(first_of_file_, false)) check_order();
        media_.number += number_offset_;
        any_ = true;
        last_us_ = media_.time_us;
        last_number_ = media_.number;
    }

    void check_order() {
        if (!any_) return;
        if (media_.time_us <= last_us_) {
            throw InputError("\"" + paths_[file_] + "\" begins before \"" + paths_[file_ - 1] +
                             "\" ends; name the files in the order in which they were recorded");
        }
        if (media_.number <= last_number_) number_offset_ = last_number_ + 1 - media_.number;
    }

    void fill(SourceFrame& frame) {
        frame.number = media_.number;
        frame.time_s = static_cast<double>(media_.time_us) / 1e6;
        pictures_.fill(media_, info_, frame);
        ++given_;
    }

    std::vector<std::string> paths_;
    std::int64_t from_us_;
    std::int64_t to_us_;
    std::unique_ptr<RecordingReader> reader_;  // null after the last frame
    std::size_t file_ = 0;
    RecordingCamera camera_;
    std::optional<RecordingView> view_;
    MediaFrame media_;
    MediaPictures pictures_;
    std::vector<std::string> notes_;
    std::optional<std::int64_t> time_offset_us_;
    std::int64_t number_offset_ = 0;
    bool first_of_file_ = true;
    bool any_ = false;  // frame yet
    std::int64_t last_us_ = 0;
    std::int64_t last_number_ = -1;
    std::int64_t given_ = 0;
    std::int64_t lost_ = 0;
    bool ended_ = false;  // with the last file that was left
    bool cut_short_ = false;
};

}  // namespace

std::unique_ptr<FrameSource> open_recording(const SourceOptions& options) {
    if (options.recordings.empty()) {
        throw InputError("the source recording needs --recording FILE");
    }
    return std::make_unique<Recording>(options);
}

std::optional<std::string> recorded_settings(const std::string& path) {
    const auto file = open_file(path, false);
    const auto& attachments = file->info().attachments;
    const auto found = attachments.find(kSettingsAttachment);
    if (found == attachments.end()) return std::nullopt;
    return found->second;
}

}  // namespace host
