// Encoder and container of a video.
#include "host/media/video_file.h"

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "host/media/libav.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace host {
namespace {

// A key picture now and then gives a player places to jump to.
constexpr double kKeyPictures_s = 2.0;

// The fastest preset takes a quarter of the default's time and half as many bytes again; the
// quality is what text and thin lines need.
void set_speed(AVCodecContext& codec) {
    av_opt_set(codec.priv_data, "preset", "ultrafast", 0);
    av_opt_set(codec.priv_data, "crf", "26", 0);
}

}  // namespace

struct VideoFile::Encoder {
    explicit Encoder(const Setup& setup) : path(setup.path) {
        libav::silence();
        const AVCodec* const h264 = avcodec_find_encoder_by_name("libx264");
        codec.reset(avcodec_alloc_context3(h264));
        if (h264 == nullptr || codec == nullptr) fail("there is no encoder for H.264");
        codec->width = setup.size.width;
        codec->height = setup.size.height;
        codec->framerate = av_d2q(setup.frames_per_second, 100000);
        codec->time_base = av_inv_q(codec->framerate);
        codec->pix_fmt = AV_PIX_FMT_YUV420P;
        codec->color_range = AVCOL_RANGE_MPEG;
        codec->colorspace = AVCOL_SPC_SMPTE170M;
        codec->gop_size = std::max(1, static_cast<int>(kKeyPictures_s * setup.frames_per_second));
        codec->max_b_frames = 0;
        codec->thread_count = 1;
        codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        set_speed(*codec);
        check(avcodec_open2(codec.get(), h264, nullptr));
        open_container();
        picture.reset(av_frame_alloc());
        packet.reset(av_packet_alloc());
        if (picture == nullptr || packet == nullptr) fail("no memory");
        picture->format = codec->pix_fmt;
        picture->width = codec->width;
        picture->height = codec->height;
        check(av_frame_get_buffer(picture.get(), 0));
    }

    void open_container() {
        AVFormatContext* opened = nullptr;
        check(avformat_alloc_output_context2(&opened, nullptr, "mp4", nullptr));
        format.reset(opened);
        stream = avformat_new_stream(format.get(), nullptr);
        if (stream == nullptr) fail("no memory");
        check(avcodec_parameters_from_context(stream->codecpar, codec.get()));
        stream->time_base = codec->time_base;
        stream->avg_frame_rate = codec->framerate;
        check(avio_open(&format->pb, libav::file_url(path).c_str(), AVIO_FLAG_WRITE));
        check(avformat_write_header(format.get(), nullptr));
    }

    void fill(const cv::Mat& bgr) {
        cv::cvtColor(bgr, planar, cv::COLOR_BGR2YUV_I420);
        check(av_frame_make_writable(picture.get()));
        const std::uint8_t* from = planar.data;
        for (int plane = 0; plane < 3; ++plane) {
            const int part = plane == 0 ? 1 : 2;
            const int width = codec->width / part;
            for (int row = 0; row < codec->height / part; ++row, from += width) {
                std::copy(from, from + width,
                          picture->data[plane] + row * picture->linesize[plane]);
            }
        }
        picture->pts = count++;
    }

    // Null ends the stream.
    void encode(const AVFrame* frame) {
        check(avcodec_send_frame(codec.get(), frame));
        while (true) {
            const int got = avcodec_receive_packet(codec.get(), packet.get());
            if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return;
            check(got);
            packet->duration = 1;
            av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
            packet->stream_index = stream->index;
            check(av_interleaved_write_frame(format.get(), packet.get()));
        }
    }

    void finish() {
        encode(nullptr);
        check(av_write_trailer(format.get()));
        check(avio_closep(&format->pb));
    }

    void check(int result) const {
        if (result < 0) fail(libav::error_text(result));
    }

    [[noreturn]] void fail(const std::string& why) const {
        throw std::runtime_error("cannot write the video \"" + path + "\": " + why);
    }

    std::string path;
    libav::Codec codec;
    libav::Output format;
    libav::Frame picture;
    libav::Packet packet;
    AVStream* stream = nullptr;  // the container's
    cv::Mat planar;
    std::int64_t count = 0;
};

VideoFile::VideoFile(const Setup& setup) : encoder_(std::make_unique<Encoder>(setup)) {}

VideoFile::~VideoFile() = default;

void VideoFile::write(const cv::Mat& picture) {
    encoder_->fill(picture);
    encoder_->encode(encoder_->picture.get());
}

void VideoFile::finish() {
    encoder_->finish();
}

}  // namespace host
