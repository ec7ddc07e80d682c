// The thread between the sender and the newest frame.
#include "host/frames/live_reader.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <utility>

#include "host/base/input_error.h"
#include "host/base/text.h"
#include "host/media/frame_bursts.h"
#include "host/media/stream_starts.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kMoment{50};  // between two questions whether to stop
constexpr std::size_t kMostNotices = 1000;        // that wait
constexpr std::size_t kColourKept = 4;            // so far may depth be behind in its analysis
constexpr double kUsualRate = 15.0;               // where the stream does not say

std::int64_t now_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

std::string seconds_text(std::int64_t us) {
    return plain_number(static_cast<double>(us) / 1e6) + " s";
}

}  // namespace

std::optional<RawFormat> parse_depth_format(const std::string& text) {
    if (text.empty()) return std::nullopt;
    RawFormat raw;
    int used = 0;
    const int fields = std::sscanf(text.c_str(), "raw:%4dx%4d@%lf%n", &raw.width, &raw.height,
                                   &raw.frames_per_second, &used);
    const auto fits = [](int size) {
        return size >= kLeastDepthPixels && size <= kMostDepthPixels;
    };
    if (fields != 3 || static_cast<std::size_t>(used) != text.size() || !fits(raw.width) ||
        !fits(raw.height) || !(raw.frames_per_second >= 1.0 && raw.frames_per_second <= 240.0)) {
        throw InputError("--depth-format is \"" + text +
                         "\"; write raw:WIDTHxHEIGHT@FPS, such as raw:640x480@30, with 16 to 8192 "
                         "pixels and 1 to 240 frames a second");
    }
    return raw;
}

// A pause of half a frame's time parts two raw pictures.
FrameBursts bursts_of(const std::optional<RawFormat>& raw) {
    if (!raw) return {1, 0};
    const auto pixels =
        static_cast<std::size_t>(raw->width) * static_cast<std::size_t>(raw->height);
    return {pixels * sizeof(std::uint16_t), std::llround(5e5 / raw->frames_per_second)};
}

// The bytes of one stream, and how long they have led to nothing. A connection that is silent is
// given up, since its other end may be gone. A pipe is not: its sender is still there, and would
// be cut off in the middle of its stream; but bytes that never become a frame are no stream.
class LiveReader::Stream {
  public:
    explicit Stream(LiveReader& reader)
        : reader_(reader),
          opened_us_(now_us()),
          last_us_(opened_us_),
          waiting_us_(opened_us_),
          bursts_(bursts_of(reader.setup_.raw)),
          bytes_(reader.setup_.address, [this] { return is_over(); }) {
        opened_ = true;
        last_us_ = waiting_us_ = now_us();
    }

    // Some bytes of the stream; 0 at its end, however often it is asked again: what comes next is
    // another sender's.
    int read(std::uint8_t* to, int most) {
        while (!ended_ && !mixed_ && ready_.empty() && !starts_.found()) {
            const ByteStream::Taken taken = bytes_.read(to, most);
            const bool raw = reader_.setup_.raw.has_value();
            ended_ = taken.state == ByteStream::State::kEnd;
            mixed_ = taken.state == ByteStream::State::kMixed && raw;
            if (ended_ || mixed_ || taken.state == ByteStream::State::kStopped) break;
            note_bytes();
            const auto bytes = static_cast<std::size_t>(taken.bytes);
            if (!raw) {
                starts_.take({to, bytes}, ready_);
            } else if (bursts_.take(bytes, last_us_)) {
                return taken.bytes;
            }
        }
        const std::size_t given = std::min(ready_.size(), static_cast<std::size_t>(most));
        std::copy_n(ready_.begin(), given, to);
        ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(given));
        return static_cast<int>(given);
    }

    // Whether another stream follows where this one ended.
    bool next() {
        const bool waits = ended_ && reader_.kind_ == ByteStream::Kind::kPipe;
        if (!starts_.found() && !mixed_ && !waits) return false;
        ready_.clear();
        if (mixed_) {
            bursts_.lose();
        } else {
            if (!starts_.found()) bytes_.reopen();
            starts_.begin_next(ready_);
        }
        ended_ = mixed_ = false;
        any_ = !ready_.empty();
        last_us_ = waiting_us_ = now_us();
        return true;
    }

    void has_frame() { waiting_us_ = now_us(); }

    bool is_over() {
        if (reader_.stopping()) return true;
        reader_.note_silence();
        const std::int64_t silence_us = reader_.setup_.limits.silence_us;
        if (!opened_) return !is_listening() && now_us() - opened_us_ > silence_us;
        const bool may_pause = reader_.kind_ != ByteStream::Kind::kTcp;
        return (may_pause ? last_us_ : now_us()) - waiting_us_ > silence_us;
    }

    bool has_ended() const { return ended_; }
    bool has_another() const { return starts_.found() || mixed_; }
    bool has_bytes() const { return any_; }

  private:
    // What comes after a silence has as much time as at the beginning.
    void note_bytes() {
        const std::int64_t now = now_us();
        if (now - last_us_ > reader_.setup_.limits.silence_us / 3) waiting_us_ = now;
        last_us_ = now;
        any_ = true;
    }

    bool is_listening() const { return reader_.setup_.address.ends_with("?listen"); }

    LiveReader& reader_;
    std::int64_t opened_us_;
    std::int64_t last_us_;     // bytes
    std::int64_t waiting_us_;  // for a frame
    bool opened_ = false;
    bool ended_ = false;
    bool mixed_ = false;  // with the bytes of another sender
    bool any_ = false;    // bytes
    StreamStarts starts_;
    FrameBursts bursts_;
    std::vector<std::uint8_t> ready_;  // to be given out
    ByteStream bytes_;
};

LiveReader::LiveReader(Setup setup)
    : setup_(std::move(setup)), kind_(ByteStream::kind_of(setup_.address)) {
    if (kind_ == ByteStream::Kind::kDevice && setup_.raw)
        throw InputError("\"" + setup_.address +
                         "\" is a device, which says itself what it sends; leave out "
                         "--depth-format");
    if (kind_ == ByteStream::Kind::kDevice && setup_.colour)
        throw InputError("\"" + setup_.address + "\" is a device; colour comes as a stream");
    thread_ = std::thread([this] { work(); });
}

LiveReader::~LiveReader() {
    leaving_ = true;
    changed_.notify_all();
    thread_.join();
}

bool LiveReader::stopping() const {
    return leaving_ || (setup_.stop && setup_.stop());
}

// ---- Whoever takes the frames ----

std::optional<MediaInfo> LiveReader::wait_opened() {
    std::unique_lock lock(mutex_);
    while (!info_ && !ended_ && !stopping())
        changed_.wait_for(lock, kMoment);
    return info_;
}

std::optional<MediaInfo> LiveReader::opened() const {
    const std::lock_guard lock(mutex_);
    return info_;
}

std::optional<std::int64_t> LiveReader::nearest(std::int64_t arrival_us, MediaFrame& to) const {
    const auto apart = [arrival_us](const LiveFrame& frame) {
        return std::abs(frame.arrival_us - arrival_us);
    };
    const std::lock_guard lock(mutex_);
    if (colour_.empty()) return std::nullopt;
    const LiveFrame& best = *std::min_element(
        colour_.begin(), colour_.end(),
        [&](const LiveFrame& a, const LiveFrame& b) { return apart(a) < apart(b); });
    to.colour_width = best.media.colour_width;
    to.colour_height = best.media.colour_height;
    to.colour_nv12 = best.media.colour_nv12;
    to.has_colour = true;
    return apart(best);
}

LiveReader::Came LiveReader::next(LiveFrame& frame, InputNotice& notice) {
    std::unique_lock lock(mutex_);
    for (; !stopping(); changed_.wait_for(lock, kMoment)) {
        if (!notices_.empty()) {
            notice = std::move(notices_.front());
            notices_.erase(notices_.begin());
            return Came::kNotice;
        }
        if (newest_) {
            std::swap(frame, *newest_);
            spare_ = std::move(newest_->media);
            newest_.reset();
            return Came::kFrame;
        }
        if (ended_) return Came::kEnd;
    }
    return Came::kEnd;
}

LiveFigures LiveReader::figures() const {
    const std::lock_guard lock(mutex_);
    return figures_;
}

bool LiveReader::has_ended() const {
    const std::lock_guard lock(mutex_);
    return ended_;
}

std::string LiveReader::failure() const {
    const std::lock_guard lock(mutex_);
    return failure_;
}

// ---- The thread ----

void LiveReader::work() {
    std::int64_t wait_us = setup_.limits.first_wait_us;
    while (!stopping()) {
        const bool device = kind_ == ByteStream::Kind::kDevice;
        const std::string why = device ? read_device() : read_streams();
        if (stopping()) break;
        if (any_of_stream_) wait_us = setup_.limits.first_wait_us;
        if (kind_ == ByteStream::Kind::kStandardInput && input_ended_) {
            const std::lock_guard lock(mutex_);
            if (!info_) failure_ = why;
            ended_ = true;
            changed_.notify_all();
            return;
        }
        begin_gap(why);
        pause(wait_us);
        wait_us = std::min(2 * wait_us, setup_.limits.most_wait_us);
    }
}

std::string LiveReader::read_streams() {
    try {
        any_of_stream_ = false;
        heard_us_ = now_us();
        Stream stream(*this);
        while (true) {
            std::string why = read_stream(stream);
            if (stopping() || !stream.next()) return why;
            begin_gap(why);
        }
    } catch (const std::exception& error) {
        return error.what();
    }
}

std::string LiveReader::read_stream(Stream& stream) {
    std::string why;
    try {
        const auto reader = open_reader(stream);
        MediaFrame media;
        std::int64_t lost = 0;
        while (reader->next(media)) {
            stream.has_frame();
            take(media);
            note_damage(reader->lost_frames() - std::exchange(lost, reader->lost_frames()));
        }
    } catch (const InputError& error) {
        if (stream.has_bytes()) why = error.what();
    }
    input_ended_ = stream.has_ended();
    if (!why.empty()) return why;
    if (stream.has_another()) return "the sender started again";
    if (stream.has_ended()) return "the sender ended";
    return "no frame came for " + seconds_text(setup_.limits.silence_us);
}

void LiveReader::note_damage(std::int64_t frames) {
    const std::lock_guard lock(mutex_);
    figures_.damaged += frames;
}

std::unique_ptr<RecordingReader> LiveReader::open_reader(Stream& stream) {
    RecordingReader::Setup setup;
    setup.name = "\"" + setup_.address + "\"";
    setup.read = [&stream](std::uint8_t* to, int most) { return stream.read(to, most); };
    setup.stop = [&stream] { return stream.is_over(); };
    setup.live = true;
    setup.colour_only = setup_.colour;
    if (setup_.raw) {
        setup.format = "rawvideo";
        setup.options = {{"pixel_format", "gray16le"},
                         {"video_size", std::to_string(setup_.raw->width) + "x" +
                                            std::to_string(setup_.raw->height)},
                         {"framerate", plain_number(setup_.raw->frames_per_second)}};
    }
    auto reader = std::make_unique<RecordingReader>(setup);
    const MediaInfo& info = reader->info();
    begin_stream(info, {!setup_.raw, info.has_text, 0});
    return reader;
}

void LiveReader::begin_stream(const MediaInfo& info, const LiveStamps& stamps) {
    const double rate = info.frames_per_second > 0.0 ? info.frames_per_second : kUsualRate;
    LiveStamps all = stamps;
    all.step_us = std::llround(1e6 / std::clamp(rate, 1.0, 1e3));
    times_.begin_stream(all);
    const std::lock_guard lock(mutex_);
    ++figures_.opened;
    if (!info_) info_ = info;
    changed_.notify_all();
}

std::string LiveReader::read_device() {
    try {
        any_of_stream_ = false;
        heard_us_ = now_us();
        const auto is_over = [this] {
            return stopping() || now_us() - heard_us_ > setup_.limits.silence_us;
        };
        V4l2Device device(setup_.address, is_over, setup_.v4l2);
        MediaInfo info;
        info.width = device.width();
        info.height = device.height();
        info.frames_per_second = device.frames_per_second();
        begin_stream(info, {});
        MediaFrame media;
        std::vector<std::uint8_t> picture;
        std::int64_t missed = 0;
        while (device.next(picture)) {
            media.width = info.width;
            media.height = info.height;
            media.depth_mm.resize(picture.size() / sizeof(std::uint16_t));
            for (std::size_t i = 0; i < media.depth_mm.size(); ++i)
                media.depth_mm[i] =
                    static_cast<std::uint16_t>(picture[2 * i] | picture[2 * i + 1] << 8);
            note_missing(device.missed() - std::exchange(missed, device.missed()));
            take(media);
        }
        if (!is_over()) return "the device went away";
        return "no frame came for " + seconds_text(setup_.limits.silence_us);
    } catch (const std::exception& error) {
        return error.what();
    }
}

void LiveReader::note_missing(std::int64_t frames) {
    next_number_ += frames;
    const std::lock_guard lock(mutex_);
    figures_.missing += frames;
}

void LiveReader::take(MediaFrame& media) {
    const ClockReading clocks = setup_.read_clocks();
    const std::int64_t now = clocks.monotonic_us;
    if (!check_size(media, now)) return;
    const LivePlace place = times_.place(now, media.time_us, media.number);
    if (!setup_.colour) check_frozen(media, now);
    check_clock(clocks, place.time_us);
    end_gap(place.time_us);
    heard_us_ = now;
    any_of_stream_ = true;
    last_time_us_ = place.time_us;
    next_number_ += place.missing;
    const std::lock_guard lock(mutex_);
    ++figures_.frames;
    figures_.missing += place.missing;
    if (place.late) ++figures_.late;
    if (setup_.colour) {
        keep_colour(media, now);
        return;
    }
    if (newest_) ++figures_.dropped;
    LiveFrame frame{{}, next_number_++, place.time_us, clocks.utc_us, now};
    std::swap(frame.media, media);
    std::swap(media, newest_ ? newest_->media : spare_);
    newest_ = std::move(frame);
    changed_.notify_all();
}

void LiveReader::keep_colour(MediaFrame& media, std::int64_t now) {
    LiveFrame frame;
    if (colour_.size() == kColourKept) {
        frame = std::move(colour_.front());
        colour_.pop_front();
    }
    frame.arrival_us = now;
    std::swap(frame.media, media);
    colour_.push_back(std::move(frame));
    changed_.notify_all();
}

// ---- What is wrong ----

bool LiveReader::check_size(const MediaFrame& media, std::int64_t now) {
    const std::int64_t scene_us = times_.scene_us(now);
    // Only this thread writes to it.
    if (media.width == info_->width && media.height == info_->height) {
        end_fault(other_size_, scene_us);
        return true;
    }
    begin_fault(other_size_, InputFaultKind::kOtherSize,
                std::string("the ") + (setup_.colour ? "colour" : "depth") + " pictures have " +
                    std::to_string(media.width) + " x " + std::to_string(media.height) +
                    " pixels in place of " + std::to_string(info_->width) + " x " +
                    std::to_string(info_->height),
                scene_us);
    heard_us_ = now;
    any_of_stream_ = true;
    return false;
}

void LiveReader::check_frozen(const MediaFrame& media, std::int64_t now) {
    if (media.depth_mm != last_depth_) {
        last_depth_ = media.depth_mm;
        same_since_us_ = now;
        end_fault(frozen_, times_.scene_us(now));
    } else if (now - same_since_us_ >= setup_.limits.frozen_us) {
        begin_fault(frozen_, InputFaultKind::kFrozen, "the depth picture does not change",
                    times_.scene_us(same_since_us_));
    }
}

void LiveReader::check_clock(const ClockReading& clocks, std::int64_t time_us) {
    const std::optional<std::int64_t> step_us = steps_.look(clocks);
    if (!step_us) return;
    if (setup_.say && !setup_.colour) setup_.say(clock_step_text(*step_us));
    tell(ClockStep{time_us, *step_us});
}

// A pipe may be silent without being given up.
void LiveReader::note_silence() {
    if (now_us() - heard_us_ > setup_.limits.silence_us)
        begin_gap("no frame came for " + seconds_text(setup_.limits.silence_us));
}

void LiveReader::begin_gap(const std::string& why) {
    if (!gap_why_.empty()) return;
    gap_why_ = why;
    if (setup_.say) setup_.say("\"" + setup_.address + "\": " + why + "; waiting for it");
    if (last_time_us_ >= 0) tell(InputSilent{last_time_us_, why});
}

void LiveReader::end_gap(std::int64_t time_us) {
    if (gap_why_.empty()) return;
    const std::string why = std::exchange(gap_why_, {});
    if (setup_.say) setup_.say("\"" + setup_.address + "\": frames come again");
    if (last_time_us_ < 0) return;
    {
        const std::lock_guard lock(mutex_);
        ++figures_.gaps;
        figures_.gap_us += time_us - last_time_us_;
    }
    tell(InputGap{last_time_us_, time_us, why});
}

void LiveReader::begin_fault(std::optional<InputFault>& fault, InputFaultKind kind,
                             const std::string& what, std::int64_t since_us) {
    if (fault) return;
    fault = InputFault{kind, what, since_us, std::nullopt};
    if (setup_.say) setup_.say("\"" + setup_.address + "\": " + what);
    tell(*fault);
}

void LiveReader::end_fault(std::optional<InputFault>& fault, std::int64_t until_us) {
    if (!fault) return;
    fault->until_us = until_us;
    if (setup_.say) setup_.say("\"" + setup_.address + "\": " + notice_text(*fault));
    tell(*fault);
    fault.reset();
}

// Of colour nobody asks.
void LiveReader::tell(const InputNotice& notice) {
    if (setup_.colour) return;
    const std::lock_guard lock(mutex_);
    if (notices_.size() < kMostNotices) notices_.push_back(notice);
    changed_.notify_all();
}

void LiveReader::pause(std::int64_t wait_us) {
    const std::int64_t until_us = now_us() + wait_us;
    std::unique_lock lock(mutex_);
    while (!stopping() && now_us() < until_us)
        changed_.wait_for(lock, kMoment);
}

}  // namespace host
