// Streaming by mapped buffers.
#include "host/media/v4l2_device.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace host {
namespace {

constexpr int kMoment_ms = 50;       // between two questions whether to stop
constexpr unsigned kBuffers = 4;     // as many as a driver usually keeps
constexpr int kMostPixels = 8192;    // of width and height
constexpr double kUsualRate = 30.0;  // where the driver does not say

// Depth, and grey of 16 bits, as which some drivers show it. Low byte first.
bool is_16_bit(std::uint32_t format) {
    return format == V4L2_PIX_FMT_Z16 || format == V4L2_PIX_FMT_Y16;
}

int control_again(int file, unsigned long request, void* argument) {
    int result = 0;
    do {
        result = ::ioctl(file, request, argument);
    } while (result < 0 && errno == EINTR);
    return result;
}

}  // namespace

V4l2Calls system_v4l2() {
    V4l2Calls calls;
    calls.open = [](const char* path) { return ::open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC); };
    calls.close = [](int file) { ::close(file); };
    calls.control = control_again;
    calls.map = [](int file, std::size_t bytes, std::int64_t offset) -> void* {
        void* const at = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, file, offset);
        return at == MAP_FAILED ? nullptr : at;
    };
    calls.unmap = [](void* at, std::size_t bytes) { ::munmap(at, bytes); };
    calls.has_picture = [](int file, int moment_ms) {
        pollfd asked{file, POLLIN, 0};
        return ::poll(&asked, 1, moment_ms) > 0;
    };
    return calls;
}

V4l2Device::V4l2Device(std::string path, Stop stop, V4l2Calls calls)
    : path_(std::move(path)), stop_(std::move(stop)), calls_(std::move(calls)) {
    file_ = calls_.open(path_.c_str());
    if (file_ < 0) fail(std::strerror(errno));
    try {
        check_capabilities();
        settle_format();
        settle_rate();
        map_pictures();
    } catch (...) {
        release();
        throw;
    }
}

V4l2Device::~V4l2Device() {
    release();
}

void V4l2Device::release() {
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (!mapped_.empty()) calls_.control(file_, VIDIOC_STREAMOFF, &type);
    for (const Mapped& picture : mapped_)
        calls_.unmap(picture.at, picture.bytes);
    mapped_.clear();
    calls_.close(file_);
}

void V4l2Device::fail(const std::string& why) {
    throw std::runtime_error(why);
}

void V4l2Device::ask(unsigned long request, void* argument, const char* what) const {
    if (calls_.control(file_, request, argument) < 0)
        fail(std::string(what) + ": " + std::strerror(errno));
}

void V4l2Device::check_capabilities() {
    v4l2_capability capability{};
    ask(VIDIOC_QUERYCAP, &capability, "it is no video device");
    const std::uint32_t can = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0
                                  ? capability.device_caps
                                  : capability.capabilities;
    if ((can & V4L2_CAP_VIDEO_CAPTURE) == 0) fail("it takes no pictures");
    if ((can & V4L2_CAP_STREAMING) == 0) fail("its pictures cannot be mapped");
}

// Size and rate are those that were set from outside, as by v4l2-ctl.
void V4l2Device::settle_format() {
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    ask(VIDIOC_G_FMT, &format, "it does not say its format");
    for (const std::uint32_t pixels : {V4L2_PIX_FMT_Z16, V4L2_PIX_FMT_Y16}) {
        if (is_16_bit(format.fmt.pix.pixelformat)) break;
        v4l2_format asked = format;
        asked.fmt.pix.pixelformat = pixels;
        asked.fmt.pix.bytesperline = 0;
        if (calls_.control(file_, VIDIOC_S_FMT, &asked) == 0) format = asked;
    }
    const v4l2_pix_format& pix = format.fmt.pix;
    if (!is_16_bit(pix.pixelformat)) fail("it has no depth: neither Z16 nor Y16");
    if (pix.width < 16 || pix.height < 16 || pix.width > kMostPixels || pix.height > kMostPixels)
        fail("its pictures have " + std::to_string(pix.width) + " x " + std::to_string(pix.height) +
             " pixels; each side must be 16 to 8192");
    width_ = static_cast<int>(pix.width);
    height_ = static_cast<int>(pix.height);
    row_bytes_ = std::max<std::size_t>(pix.bytesperline, std::size_t{2} * pix.width);
}

void V4l2Device::settle_rate() {
    v4l2_streamparm rate{};
    rate.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    frames_per_second_ = kUsualRate;
    if (calls_.control(file_, VIDIOC_G_PARM, &rate) < 0) return;
    const v4l2_fract& step = rate.parm.capture.timeperframe;
    if (step.numerator > 0 && step.denominator > 0)
        frames_per_second_ =
            std::clamp(double{1.0} * step.denominator / step.numerator, 1.0, 240.0);
}

void V4l2Device::map_pictures() {
    v4l2_requestbuffers wanted{};
    wanted.count = kBuffers;
    wanted.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    wanted.memory = V4L2_MEMORY_MMAP;
    ask(VIDIOC_REQBUFS, &wanted, "it gives no memory");
    for (unsigned i = 0; i < std::min(wanted.count, 32u); ++i) {
        v4l2_buffer buffer{};
        buffer.index = i;
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        ask(VIDIOC_QUERYBUF, &buffer, "it gives no memory");
        void* const at = calls_.map(file_, buffer.length, buffer.m.offset);
        if (at == nullptr)
            fail(std::string("its memory cannot be mapped: ") + std::strerror(errno));
        mapped_.push_back({at, buffer.length});
        queue(i);
    }
    if (mapped_.size() < 2) fail("it gives no memory for two pictures");
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    ask(VIDIOC_STREAMON, &type, "it does not start");
}

void V4l2Device::queue(unsigned index) const {
    v4l2_buffer buffer{};
    buffer.index = index;
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    ask(VIDIOC_QBUF, &buffer, "it takes its memory not back");
}

bool V4l2Device::copy(const Mapped& from, std::size_t used,
                      std::vector<std::uint8_t>& picture) const {
    const auto rows = static_cast<std::size_t>(height_);
    const std::size_t bytes = std::size_t{2} * static_cast<std::size_t>(width_);
    const std::size_t needed = row_bytes_ * (rows - 1) + bytes;
    // Some drivers say 0 where they mean all of it.
    if (from.bytes < needed || (used != 0 && used < needed)) return false;
    picture.resize(bytes * rows);
    const auto* const pixels = static_cast<const std::uint8_t*>(from.at);
    for (std::size_t row = 0; row < rows; ++row)
        std::memcpy(picture.data() + row * bytes, pixels + row * row_bytes_, bytes);
    return true;
}

bool V4l2Device::next(std::vector<std::uint8_t>& picture) {
    while (!stop_()) {
        if (!calls_.has_picture(file_, kMoment_ms)) continue;
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        if (calls_.control(file_, VIDIOC_DQBUF, &buffer) < 0) {
            if (errno == EAGAIN || errno == EIO) continue;
            return false;
        }
        if (buffer.index >= mapped_.size()) return false;
        if (any_) missed_ += static_cast<std::int32_t>(buffer.sequence - sequence_ - 1);
        any_ = true;
        sequence_ = buffer.sequence;
        const bool whole = (buffer.flags & V4L2_BUF_FLAG_ERROR) == 0 &&
                           copy(mapped_[buffer.index], buffer.bytesused, picture);
        queue(buffer.index);
        if (whole) return true;
        ++missed_;
    }
    return false;
}

}  // namespace host
