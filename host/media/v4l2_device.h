// Depth cameras that the system shows as a video device with 16-bit pixels: pictures are mapped
// from the driver's memory, the oldest first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace host {

// What the device is asked through; a test puts a device of its own behind it.
struct V4l2Calls {
    std::function<int(const char* path)> open;
    std::function<void(int file)> close;
    std::function<int(int file, unsigned long request, void* argument)> control;  // -1: errno
    std::function<void*(int file, std::size_t bytes, std::int64_t offset)> map;   // null: failed
    std::function<void(void* at, std::size_t bytes)> unmap;
    std::function<bool(int file, int moment_ms)> has_picture;  // waits a moment for one
};
V4l2Calls system_v4l2();

class V4l2Device {
  public:
    using Stop = std::function<bool()>;

    // Takes the format that the device is set to, which must have 16-bit pixels, or sets it to one
    // that has. Throws std::runtime_error with one sentence.
    V4l2Device(std::string path, Stop stop, V4l2Calls calls = system_v4l2());
    ~V4l2Device();
    V4l2Device(const V4l2Device&) = delete;
    V4l2Device& operator=(const V4l2Device&) = delete;

    int width() const { return width_; }
    int height() const { return height_; }
    double frames_per_second() const { return frames_per_second_; }

    // The next picture, row by row without anything between; false when `stop` turned true or the
    // device went away.
    bool next(std::vector<std::uint8_t>& picture);
    // Pictures that the driver took and nobody fetched, or that it gave damaged.
    std::int64_t missed() const { return missed_; }

  private:
    struct Mapped {
        void* at = nullptr;
        std::size_t bytes = 0;
    };

    void check_capabilities();
    void settle_format();
    void settle_rate();
    void map_pictures();
    void release();
    void ask(unsigned long request, void* argument, const char* what) const;
    void queue(unsigned index) const;
    bool copy(const Mapped& from, std::size_t used, std::vector<std::uint8_t>& picture) const;
    [[noreturn]] static void fail(const std::string& why);

    const std::string path_;
    const Stop stop_;
    const V4l2Calls calls_;
    int file_ = -1;
    int width_ = 0;
    int height_ = 0;
    std::size_t row_bytes_ = 0;  // in the driver's memory
    double frames_per_second_ = 0.0;
    std::vector<Mapped> mapped_;
    bool any_ = false;  // picture yet
    std::uint32_t sequence_ = 0;
    std::int64_t missed_ = 0;
};

}  // namespace host
