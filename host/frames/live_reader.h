// Reads a stream of depth pictures on a thread of its own and keeps the newest, whatever becomes of
// the sender: it may be silent, stop, end, send garbage or come back as somebody else.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/base/wall_clock.h"
#include "host/frames/input_notice.h"
#include "host/frames/live_figures.h"
#include "host/frames/live_times.h"
#include "host/media/recording_reader.h"
#include "host/media/v4l2_device.h"
#include "host/net/byte_stream.h"

namespace host {

struct LiveLimits {
    std::int64_t silence_us = 3'000'000;     // without a frame, after which a stream is given up
    std::int64_t first_wait_us = 1'000'000;  // before it is opened again; doubles every time
    std::int64_t most_wait_us = 30'000'000;
    std::int64_t frozen_us = 5'000'000;  // of the very same picture, which no sensor gives
};

// How raw pictures are described: "raw:WIDTHxHEIGHT@FPS".
struct RawFormat {
    int width = 0;
    int height = 0;
    double frames_per_second = 0.0;
};
// Nothing for an empty text. Throws InputError.
std::optional<RawFormat> parse_depth_format(const std::string& text);

struct LiveFrame {
    MediaFrame media;
    std::int64_t number = 0;      // of arrival; steps over what is missing
    std::int64_t time_us = 0;     // scene time
    std::int64_t utc_us = 0;      // arrival, since 1970
    std::int64_t arrival_us = 0;  // by the monotonic clock
};

class LiveReader {
  public:
    struct Setup {
        std::string address;  // as ByteStream takes it
        bool colour = false;  // colour pictures, of which the last few are kept
        std::optional<RawFormat> raw;
        LiveLimits limits;
        V4l2Calls v4l2 = system_v4l2();               // through which a device is asked
        std::function<bool()> stop;                   // ends all waiting; any thread
        std::function<void(const std::string&)> say;  // one sentence as things happen
        std::function<ClockReading()> read_clocks = host::read_clocks;
    };

    // Throws InputError for an address that leads nowhere.
    explicit LiveReader(Setup setup);
    ~LiveReader();
    LiveReader(const LiveReader&) = delete;
    LiveReader& operator=(const LiveReader&) = delete;

    // Waits for the first stream that can be read, and says what is in it. Nothing when standard
    // input ended first, or `stop` turned true.
    std::optional<MediaInfo> wait_opened();

    // The same without waiting; nothing while there is none.
    std::optional<MediaInfo> opened() const;

    // Of colour pictures that are kept, the one that arrived nearest to a moment of the monotonic
    // clock, with its size; how far apart they are, or nothing while there is none.
    std::optional<std::int64_t> nearest(std::int64_t arrival_us, MediaFrame& to) const;

    enum class Came { kFrame, kNotice, kEnd };
    // Waits for the newest frame, or a notice; kEnd once standard input has ended, or `stop` turned
    // true. Notices come before the frames that follow them.
    Came next(LiveFrame& frame, InputNotice& notice);

    LiveFigures figures() const;
    // Nothing more can come.
    bool has_ended() const;
    // Why standard input could not be used; empty otherwise.
    std::string failure() const;

  private:
    class Stream;

    bool stopping() const;
    void work();
    // They return why they ended.
    std::string read_streams();
    std::string read_device();
    void begin_stream(const MediaInfo& info, const LiveStamps& stamps);
    std::string read_stream(Stream& stream);
    std::unique_ptr<RecordingReader> open_reader(Stream& stream);
    void take(MediaFrame& media);
    void note_missing(std::int64_t frames);
    void note_damage(std::int64_t frames);
    void keep_colour(MediaFrame& media, std::int64_t now_us);
    bool check_size(const MediaFrame& media, std::int64_t now_us);
    void check_frozen(const MediaFrame& media, std::int64_t now_us);
    void check_clock(const ClockReading& clocks, std::int64_t time_us);
    void begin_gap(const std::string& why);
    void end_gap(std::int64_t time_us);
    void note_silence();
    void begin_fault(std::optional<InputFault>& fault, InputFaultKind kind, const std::string& what,
                     std::int64_t since_us);
    void end_fault(std::optional<InputFault>& fault, std::int64_t until_us);
    void tell(const InputNotice& notice);
    void pause(std::int64_t wait_us);

    const Setup setup_;
    const ByteStream::Kind kind_;

    // Only touched by the thread.
    LiveTimes times_;
    ClockSteps steps_;
    std::int64_t heard_us_ = 0;  // the last frame, or the stream's opening; monotonic
    bool any_of_stream_ = false;
    bool input_ended_ = false;  // not only this stream in it
    std::int64_t next_number_ = 0;
    std::int64_t last_time_us_ = -1;
    std::string gap_why_;  // empty: no gap
    std::vector<std::uint16_t> last_depth_;
    std::int64_t same_since_us_ = 0;  // monotonic
    std::optional<InputFault> frozen_;
    std::optional<InputFault> other_size_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<MediaInfo> info_;
    std::optional<LiveFrame> newest_;
    std::deque<LiveFrame> colour_;
    MediaFrame spare_;  // memory to be used again
    std::vector<InputNotice> notices_;
    LiveFigures figures_;
    std::string failure_;
    bool ended_ = false;  // nothing more can come

    std::atomic<bool> leaving_{false};
    std::thread thread_;
};

}  // namespace host
