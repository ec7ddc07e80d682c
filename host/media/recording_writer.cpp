// Encoders of a recording, and the order of what is in it.
#include "host/media/recording_writer.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "host/base/text.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace host {
namespace {

// Each slice carries a checksum of its own, and a reader may decode them on several cores.
constexpr int kSlices = 4;

// A key picture now and then gives a reader places to begin.
constexpr double kKeyPictures_s = 1.0;

std::int64_t to_ms(std::int64_t us) {
    return av_rescale_q(us, kMicroseconds, kMilliseconds);
}

// One picture in, one packet out.
class PictureEncoder {
  public:
    PictureEncoder(const MatroskaFile& file, const char* encoder, AVPixelFormat pixels, int width,
                   int height)
        : file_(file), encoder_(avcodec_find_encoder_by_name(encoder)) {
        codec_.reset(avcodec_alloc_context3(encoder_));
        picture_.reset(av_frame_alloc());
        packet_.reset(av_packet_alloc());
        if (encoder_ == nullptr) file.fail(std::string("there is no encoder ") + encoder);
        if (codec_ == nullptr || picture_ == nullptr || packet_ == nullptr) file.fail("no memory");
        codec_->width = width;
        codec_->height = height;
        codec_->pix_fmt = pixels;
        codec_->time_base = kMilliseconds;
        codec_->thread_count = 1;
        codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
    }

    void make_lossless() {
        codec_->level = 3;
        codec_->slices = kSlices;
        codec_->gop_size = 1;
        set("slicecrc", "1");
    }

    // The fastest preset; without B-pictures and a look ahead every picture comes out at once.
    void make_small(double frames_per_second) {
        codec_->framerate = av_d2q(frames_per_second, 100000);
        codec_->gop_size = std::max(1, static_cast<int>(kKeyPictures_s * frames_per_second));
        codec_->max_b_frames = 0;
        codec_->color_range = AVCOL_RANGE_MPEG;
        codec_->colorspace = AVCOL_SPC_SMPTE170M;
        set("preset", "ultrafast");
        set("tune", "zerolatency");
        set("crf", "26");
    }

    int open(MatroskaFile& file, const std::string& title, double frames_per_second) {
        file_.check(avcodec_open2(codec_.get(), encoder_, nullptr));
        picture_->format = codec_->pix_fmt;
        picture_->width = codec_->width;
        picture_->height = codec_->height;
        file_.check(av_frame_get_buffer(picture_.get(), 0));
        AVCodecParameters* const parameters = avcodec_parameters_alloc();
        if (parameters == nullptr) file.fail("no memory");
        const std::unique_ptr<AVCodecParameters, void (*)(AVCodecParameters*)> owner(
            parameters, [](AVCodecParameters* p) { avcodec_parameters_free(&p); });
        file_.check(avcodec_parameters_from_context(parameters, codec_.get()));
        return file.add_track(*parameters, title, av_d2q(frames_per_second, 100000));
    }

    // To be filled before encode().
    AVFrame& picture() {
        file_.check(av_frame_make_writable(picture_.get()));
        return *picture_;
    }

    AVPacket& encode(std::int64_t time_ms) {
        picture_->pts = time_ms;
        file_.check(avcodec_send_frame(codec_.get(), picture_.get()));
        file_.check(avcodec_receive_packet(codec_.get(), packet_.get()));
        return *packet_;
    }

  private:
    void set(const char* option, const char* value) {
        file_.check(av_opt_set(codec_->priv_data, option, value, 0));
    }

    const MatroskaFile& file_;
    const AVCodec* encoder_;
    libav::Codec codec_;
    libav::Frame picture_;
    libav::Packet packet_;
};

void copy_depth(std::span<const std::uint16_t> depth, AVFrame& picture) {
    const auto width = static_cast<std::size_t>(picture.width);
    for (int row = 0; row < picture.height; ++row) {
        std::memcpy(picture.data[0] + row * picture.linesize[0],
                    depth.data() + static_cast<std::size_t>(row) * width,
                    width * sizeof(std::uint16_t));
    }
}

// NV12 holds both colour planes in one, pixel by pixel.
void copy_colour(std::span<const std::uint8_t> nv12, AVFrame& picture) {
    const int width = picture.width;
    const std::uint8_t* from = nv12.data();
    for (int row = 0; row < picture.height; ++row, from += width)
        std::copy(from, from + width, picture.data[0] + row * picture.linesize[0]);
    for (int row = 0; row < picture.height / 2; ++row) {
        std::uint8_t* u = picture.data[1] + row * picture.linesize[1];
        std::uint8_t* v = picture.data[2] + row * picture.linesize[2];
        for (int column = 0; column < width / 2; ++column) {
            *u++ = *from++;
            *v++ = *from++;
        }
    }
}

}  // namespace

struct RecordingWriter::Encoders {
    explicit Encoders(const Setup& given)
        : setup(given),
          file(setup.path + kUnfinishedExtension),
          depth(file, "ffv1", AV_PIX_FMT_GRAY16LE, setup.width, setup.height) {
        depth.make_lossless();
        depth_track = depth.open(file, kDepthTrack, setup.frames_per_second);
        if (setup.colour != RecordedColour::kNone) open_colour();
        text_track = file.add_text_track(kTextTrack);
        for (const Attachment& attachment : setup.attachments)
            file.attach(attachment);
        Tags tags{{kFormatTag, kFormatVersion},
                  {kUnitTag, kMillimetres},
                  {kTimeTag, std::to_string(setup.first_time_us)}};
        tags.insert(tags.end(), setup.tags.begin(), setup.tags.end());
        file.open(tags);
    }

    void open_colour() {
        const bool small = setup.colour == RecordedColour::kSmall;
        colour.emplace(file, small ? "libx264" : "ffv1", AV_PIX_FMT_YUV420P, setup.colour_width,
                       setup.colour_height);
        if (small) {
            colour->make_small(setup.frames_per_second);
        } else {
            colour->make_lossless();
        }
        colour_track = colour->open(file, kColourTrack, setup.frames_per_second);
    }

    std::int64_t timestamp(std::int64_t time_us) const {
        return to_ms(std::max<std::int64_t>(time_us - setup.first_time_us, 0));
    }

    void write_text(std::int64_t time_ms, const std::string& text) {
        file.write_text(
            text_track, time_ms,
            std::max<std::int64_t>(static_cast<std::int64_t>(1000.0 / setup.frames_per_second), 1),
            text);
    }

    // What belongs to a frame comes before its depth, so that a reader who has the depth has it
    // all.
    void write(const RecordedPictures& pictures) {
        const std::int64_t time_ms = timestamp(pictures.time_us);
        file.flush();  // the frame before, with all that was said about it
        write_text(time_ms,
                   kFrameLine + format_text("%lld,\"time_us\":%lld,\"width\":%d,\"height\":%d}",
                                            static_cast<long long>(pictures.number),
                                            static_cast<long long>(pictures.time_us), setup.width,
                                            setup.height));
        if (colour && !pictures.colour.empty()) {
            copy_colour(pictures.colour, colour->picture());
            file.write(colour_track, colour->encode(time_ms));
        }
        copy_depth(pictures.depth, depth.picture());
        file.write(depth_track, depth.encode(time_ms));
    }

    Setup setup;
    MatroskaFile file;
    PictureEncoder depth;
    std::optional<PictureEncoder> colour;
    int depth_track = 0;
    int colour_track = 0;
    int text_track = 0;
    std::int64_t last_ms = 0;
};

RecordingWriter::RecordingWriter(const Setup& setup)
    : encoders_(std::make_unique<Encoders>(setup)) {}

RecordingWriter::~RecordingWriter() = default;

void RecordingWriter::write(const RecordedPictures& pictures) {
    const Setup& setup = encoders_->setup;
    const auto pixels =
        static_cast<std::size_t>(setup.width) * static_cast<std::size_t>(setup.height);
    const auto colour_pixels = static_cast<std::size_t>(setup.colour_width) *
                               static_cast<std::size_t>(setup.colour_height);
    if (pictures.depth.size() != pixels) encoders_->file.fail("a depth picture of another size");
    if (!pictures.colour.empty() && encoders_->colour &&
        pictures.colour.size() != colour_pixels * 3 / 2) {
        encoders_->file.fail("a colour picture of another size");
    }
    encoders_->write(pictures);
    encoders_->last_ms = encoders_->timestamp(pictures.time_us);
}

void RecordingWriter::write_line(std::int64_t time_us, const std::string& line) {
    encoders_->last_ms = std::max(encoders_->last_ms, encoders_->timestamp(time_us));
    encoders_->write_text(encoders_->last_ms, line);
}

void RecordingWriter::finish(RecordingEnd end) {
    encoders_->write_text(encoders_->last_ms, end_line(end));
    encoders_->file.finish_as(encoders_->setup.path);
}

std::int64_t RecordingWriter::size() const {
    return encoders_->file.size();
}

}  // namespace host
