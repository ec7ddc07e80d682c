// What every user of libavformat and libavcodec needs: owning pointers and error texts.
#pragma once

#include <array>
#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace host::libav {

struct FreeCodec {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeOutput {
    void operator()(AVFormatContext* format) const {
        if (format->pb != nullptr) avio_closep(&format->pb);
        avformat_free_context(format);
    }
};
struct CloseInput {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
struct FreeBytes {
    void operator()(AVIOContext* bytes) const {
        av_freep(&bytes->buffer);
        avio_context_free(&bytes);
    }
};

using Bytes = std::unique_ptr<AVIOContext, FreeBytes>;
using Codec = std::unique_ptr<AVCodecContext, FreeCodec>;
using Frame = std::unique_ptr<AVFrame, FreeFrame>;
using Packet = std::unique_ptr<AVPacket, FreePacket>;
using Output = std::unique_ptr<AVFormatContext, FreeOutput>;
using Input = std::unique_ptr<AVFormatContext, CloseInput>;

// The libraries print nothing; what matters comes as an error.
inline void silence() {
    av_log_set_level(AV_LOG_QUIET);
}

inline std::string error_text(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

// A local file, whatever characters its name has.
inline std::string file_url(const std::string& path) {
    return "file:" + path;
}

}  // namespace host::libav
