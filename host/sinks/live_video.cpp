// Queue, drawing thread and encoder of the live video.
#include "host/sinks/live_video.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "host/draw/canvas.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// Bounds the memory, at 0.8 MB a picture.
constexpr std::size_t kMostWaiting = 12;

// What a video leaves free on its disk for the counts.
constexpr std::uintmax_t kLeftForCounts = 64u << 20;  // bytes
constexpr std::int64_t kLookEvery = 15;               // pictures

bool is_shown(const Event& event) {
    return std::holds_alternative<TracksShown>(event.payload) ||
           std::holds_alternative<RegionsReported>(event.payload) ||
           std::holds_alternative<PersonCounted>(event.payload);
}

}  // namespace

LiveVideo::LiveVideo(Setup setup)
    : setup_(std::move(setup)),
      view_(setup_.scene),
      file_({setup_.path, kLivePicture, setup_.frames_per_second}) {
    check_room();
    try {
        thread_ = std::thread([this] { work(); });
    } catch (const std::system_error&) {
        throw std::runtime_error(
            "cannot start the thread of the live video; free some memory or raise the limit of "
            "threads");
    }
}

LiveVideo::~LiveVideo() {
    {
        const std::lock_guard lock(mutex_);
        pictures_.clear();
    }
    stop();
}

std::vector<std::uint8_t> LiveVideo::take_spare() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return error_ || pictures_.size() < kMostWaiting; });
    if (error_) std::rethrow_exception(error_);
    if (spare_.empty()) return {};
    std::vector<std::uint8_t> spare = std::move(spare_.back());
    spare_.pop_back();
    return spare;
}

void LiveVideo::on_frame(const FrameView& frame) {
    if (frame.planes.blank) return;
    Picture picture{frame.number, frame.time_s, take_spare()};
    picture.colour_nv12 = frame.planes.colour_nv12;
    const std::lock_guard lock(mutex_);
    pictures_.push_back(std::move(picture));
    changed_.notify_all();
}

void LiveVideo::on_event(const Event& event) {
    if (!is_shown(event)) return;
    const std::lock_guard lock(mutex_);
    if (!error_) events_.push_back(event);
}

void LiveVideo::end_frame(const PassReport& report) {
    const std::lock_guard lock(mutex_);
    ended_ = report.number;
    changed_.notify_all();
}

void LiveVideo::finish() {
    stop();
    if (error_) std::rethrow_exception(error_);
}

void LiveVideo::stop() {
    {
        const std::lock_guard lock(mutex_);
        closing_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

void LiveVideo::work() {
    try {
        Picture picture;
        while (take_picture(picture)) {
            draw(picture);
            const std::lock_guard lock(mutex_);
            spare_.push_back(std::move(picture.colour_nv12));
        }
        // No player opens a file without any picture.
        if (written_ == 0) draw({});
        file_.finish();
    } catch (...) {
        const std::lock_guard lock(mutex_);
        error_ = std::current_exception();
        pictures_.clear();
        events_.clear();
        changed_.notify_all();
    }
}

// Waits for a picture whose messages are there, or for the end. False when there is none left.
bool LiveVideo::take_picture(Picture& picture) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] {
        return closing_ || (!pictures_.empty() && pictures_.front().frame_number <= ended_);
    });
    if (pictures_.empty()) return false;
    picture = std::move(pictures_.front());
    pictures_.pop_front();
    changed_.notify_all();
    return true;
}

void LiveVideo::draw(const Picture& picture) {
    {
        const std::lock_guard lock(mutex_);
        while (!events_.empty() && events_.front().frame_number <= picture.frame_number) {
            view_.add_event(events_.front());
            events_.pop_front();
        }
    }
    view_.draw(colour_picture(picture.colour_nv12), picture.frame_number, picture.time_s, drawn_);
    file_.write(drawn_);
    if (++written_ % kLookEvery == 0) check_room();
}

// A full disk would cost the counts, too.
void LiveVideo::check_room() const {
    std::error_code error;
    const fs::space_info space = fs::space(fs::path(setup_.path).parent_path(), error);
    if (error || space.available >= kLeftForCounts) return;
    throw std::runtime_error("less than " + std::to_string(kLeftForCounts >> 20) +
                             " MB is free on its disk, and that is kept for the counts");
}

}  // namespace host
