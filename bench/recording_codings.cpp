// Encoder and decoder without container, checksums of the host and copies.
#include "bench/recording_codings.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "bench/measure.h"
#include "host/media/libav.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace bench {
namespace {

struct Coding {
    const char* name;
    int slices = 4;
    int pictures_per_key = 1;
    const char* coder = "range_tab";
    const char* context = "0";
    const char* checksums = "1";
    bool is_trained = false;  // begins with the statistics of the same pictures
    // Low and high bytes are two pictures of 8 bits, which alone may be Golomb-Rice codes.
    AVPixelFormat pixels = AV_PIX_FMT_GRAY16LE;
};

const std::vector<Coding> kCodings{
    {.name = "as recorded: range coder, small contexts, 4 slices with checksums, each picture by "
             "itself"},
    {.name = "no checksums", .checksums = "0"},
    {.name = "usual states of the range coder", .coder = "range_def"},
    {.name = "large contexts", .context = "1"},
    {.name = "9 slices", .slices = 9},
    {.name = "16 slices", .slices = 16},
    {.name = "contexts kept over 15 pictures", .pictures_per_key = 15},
    {.name = "states trained on the same pictures", .is_trained = true},
    {.name = "two pictures of 8 bits, range coder", .pixels = AV_PIX_FMT_YA8},
    {.name = "two pictures of 8 bits, Golomb-Rice", .coder = "rice", .pixels = AV_PIX_FMT_YA8},
};

struct Cost {
    double bytes = 0.0;
    double write_ms = 0.0;
    double read_ms = 0.0;
};

void check(bool good) {
    if (!good) throw std::runtime_error("a coding cannot be measured");
}

host::libav::Codec make_encoder(const Coding& coding, const DepthPictures& depth) {
    host::libav::Codec codec(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_FFV1)));
    check(codec != nullptr);
    codec->width = depth.width;
    codec->height = depth.height;
    codec->pix_fmt = coding.pixels;
    codec->time_base = {1, 1000};
    codec->thread_count = 1;
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
    codec->level = 3;
    codec->slices = coding.slices;
    codec->gop_size = coding.pictures_per_key;
    check(av_opt_set(codec->priv_data, "coder", coding.coder, 0) == 0);
    check(av_opt_set(codec->priv_data, "context", coding.context, 0) == 0);
    check(av_opt_set(codec->priv_data, "slicecrc", coding.checksums, 0) == 0);
    return codec;
}

void open(AVCodecContext& codec) {
    check(avcodec_open2(&codec, nullptr, nullptr) == 0);
}

// Low byte first, both pixel formats lie alike in memory.
void copy_in(std::span<const std::uint16_t> depth, AVFrame& picture) {
    const auto width = static_cast<std::size_t>(picture.width);
    for (int row = 0; row < picture.height; ++row)
        std::memcpy(picture.data[0] + row * picture.linesize[0],
                    depth.data() + static_cast<std::size_t>(row) * width, 2 * width);
}

bool is_same(std::span<const std::uint16_t> depth, const AVFrame& picture) {
    const auto width = static_cast<std::size_t>(picture.width);
    for (int row = 0; row < picture.height; ++row) {
        if (std::memcmp(picture.data[0] + row * picture.linesize[0],
                        depth.data() + static_cast<std::size_t>(row) * width, 2 * width) != 0)
            return false;
    }
    return true;
}

std::vector<host::libav::Packet> write(const DepthPictures& depth, AVCodecContext& codec,
                                       Cost& cost) {
    const host::libav::Frame picture(av_frame_alloc());
    picture->format = codec.pix_fmt;
    picture->width = depth.width;
    picture->height = depth.height;
    check(av_frame_get_buffer(picture.get(), 0) == 0);
    std::vector<host::libav::Packet> packets;
    std::vector<double> times_ms;
    for (const auto& each : depth.pictures) {
        packets.emplace_back(av_packet_alloc());
        const double start = processor_ms();
        check(av_frame_make_writable(picture.get()) == 0);
        copy_in(each, *picture);
        picture->pts = std::ssize(packets);
        check(avcodec_send_frame(&codec, picture.get()) == 0);
        check(avcodec_receive_packet(&codec, packets.back().get()) == 0);
        times_ms.push_back(processor_ms() - start);
        cost.bytes +=
            static_cast<double>(packets.back()->size) / static_cast<double>(depth.pictures.size());
    }
    cost.write_ms = median(times_ms);
    return packets;
}

void read(const DepthPictures& depth, const AVCodecContext& encoder,
          const std::vector<host::libav::Packet>& packets, Cost& cost) {
    const host::libav::Codec codec(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_FFV1)));
    AVCodecParameters* parameters = avcodec_parameters_alloc();
    check(avcodec_parameters_from_context(parameters, &encoder) == 0);
    check(avcodec_parameters_to_context(codec.get(), parameters) == 0);
    avcodec_parameters_free(&parameters);
    codec->thread_count = 1;
    open(*codec);
    const host::libav::Frame picture(av_frame_alloc());
    std::vector<double> times_ms;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const double start = processor_ms();
        check(avcodec_send_packet(codec.get(), packets[i].get()) == 0);
        check(avcodec_receive_frame(codec.get(), picture.get()) == 0);
        times_ms.push_back(processor_ms() - start);
        check(is_same(depth.pictures[i], *picture));
    }
    cost.read_ms = median(times_ms);
}

// What a first pass over the pictures tells a second.
std::string statistics(const Coding& coding, const DepthPictures& depth) {
    const host::libav::Codec codec = make_encoder(coding, depth);
    codec->flags |= AV_CODEC_FLAG_PASS1;
    open(*codec);
    Cost unused;
    write(depth, *codec, unused);
    const host::libav::Packet none(av_packet_alloc());
    check(avcodec_send_frame(codec.get(), nullptr) == 0);
    check(avcodec_receive_packet(codec.get(), none.get()) == AVERROR_EOF);
    check(codec->stats_out != nullptr);
    return codec->stats_out;
}

Cost cost_of(const Coding& coding, const DepthPictures& depth) {
    const host::libav::Codec codec = make_encoder(coding, depth);
    if (coding.is_trained) {
        codec->flags |= AV_CODEC_FLAG_PASS2;
        codec->stats_in = av_strdup(statistics(coding, depth).c_str());
    }
    open(*codec);
    Cost cost;
    const std::vector<host::libav::Packet> packets = write(depth, *codec, cost);
    read(depth, *codec, packets, cost);
    av_freep(&codec->stats_in);
    return cost;
}

}  // namespace

void print_codings(const std::vector<DepthPictures>& all) {
    host::libav::silence();
    std::printf("\n| coding of depth |");
    for (const DepthPictures& depth : all)
        std::printf(" %s: a frame, ms to write, ms to read |", depth.name.c_str());
    std::printf("\n|---|");
    for (std::size_t i = 0; i < all.size(); ++i)
        std::printf("---|");
    for (const Coding& coding : kCodings) {
        std::printf("\n| %s |", coding.name);
        for (const DepthPictures& depth : all) {
            const Cost cost = cost_of(coding, depth);
            std::printf(" %.1f kB, %.2f, %.2f |", cost.bytes / 1e3, cost.write_ms, cost.read_ms);
        }
    }
    std::printf("\n");
}

}  // namespace bench
