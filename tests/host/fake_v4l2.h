// A depth camera that answers as a driver does.
#pragma once

#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <deque>
#include <mutex>

#include "host/media/v4l2_device.h"

namespace test {

// Pictures of 32 x 16 pixels in rows of 80 bytes, whose pixels are all the picture's number.
class FakeDevice {
  public:
    std::uint32_t capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    std::uint32_t pixels = V4L2_PIX_FMT_Z16;
    std::uint32_t can_be_set_to = 0;
    std::uint32_t bytes_used = 0;
    std::atomic<bool> gone{false};
    std::atomic<int> open_files{0};
    int mapped = 0;
    bool streams = false;
    std::deque<v4l2_buffer> pictures;  // to be fetched

    void take(std::uint32_t sequence, bool damaged = false) {
        const std::lock_guard lock(mutex_);
        ASSERT_FALSE(queued_.empty()) << "the reader keeps all memory";
        v4l2_buffer buffer{};
        buffer.index = queued_.front();
        queued_.pop_front();
        buffer.sequence = sequence;
        buffer.bytesused = bytes_used;
        buffer.flags = damaged ? V4L2_BUF_FLAG_ERROR : 0;
        memory_[buffer.index].fill(static_cast<std::uint16_t>(sequence));
        pictures.push_back(buffer);
    }

    host::V4l2Calls calls() {
        host::V4l2Calls calls;
        calls.open = [this](const char*) { return ++open_files, 7; };
        calls.close = [this](int file) { open_files -= file == 7 ? 1 : 0; };
        calls.control = [this](int, unsigned long request, void* argument) {
            const std::lock_guard lock(mutex_);
            errno = answer(request, argument);
            return errno == 0 ? 0 : -1;
        };
        calls.map = [this](int, std::size_t, std::int64_t offset) -> void* {
            return ++mapped, memory_[static_cast<std::size_t>(offset)].data();
        };
        calls.unmap = [this](void*, std::size_t) { --mapped; };
        calls.has_picture = [this](int, int) {
            const std::lock_guard lock(mutex_);
            return gone || !pictures.empty();
        };
        return calls;
    }

  private:
    int answer(unsigned long request, void* argument) {
        if (gone) return ENODEV;
        switch (request) {
            case VIDIOC_QUERYCAP:
                static_cast<v4l2_capability*>(argument)->capabilities = capabilities;
                return 0;
            case VIDIOC_G_FMT: {
                auto& pix = static_cast<v4l2_format*>(argument)->fmt.pix;
                pix.width = 32;
                pix.height = 16;
                pix.pixelformat = pixels;
                pix.bytesperline = 80;
                return 0;
            }
            case VIDIOC_S_FMT: {
                auto& pix = static_cast<v4l2_format*>(argument)->fmt.pix;
                // As drivers do with what they do not have.
                if (pix.pixelformat != can_be_set_to) pix.pixelformat = pixels;
                pix.bytesperline = 80;
                return 0;
            }
            case VIDIOC_G_PARM: {
                auto& step = static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe;
                step.numerator = 1;
                step.denominator = 15;
                return 0;
            }
            case VIDIOC_REQBUFS:
                static_cast<v4l2_requestbuffers*>(argument)->count =
                    static_cast<std::uint32_t>(memory_.size());
                queued_.clear();
                return 0;
            case VIDIOC_QUERYBUF: {
                auto& buffer = *static_cast<v4l2_buffer*>(argument);
                buffer.length = sizeof memory_[0];
                buffer.m.offset = buffer.index;
                return 0;
            }
            case VIDIOC_QBUF:
                queued_.push_back(static_cast<v4l2_buffer*>(argument)->index);
                return 0;
            case VIDIOC_DQBUF:
                if (pictures.empty()) return EAGAIN;
                *static_cast<v4l2_buffer*>(argument) = pictures.front();
                pictures.pop_front();
                return 0;
            case VIDIOC_STREAMON:
            case VIDIOC_STREAMOFF:
                streams = request == VIDIOC_STREAMON;
                return 0;
            default:
                return ENOTTY;
        }
    }

    std::mutex mutex_;
    std::array<std::array<std::uint16_t, 40 * 16>, 3> memory_{};
    std::deque<std::uint32_t> queued_;
};

}  // namespace test
