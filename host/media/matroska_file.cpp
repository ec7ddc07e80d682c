// The container.
#include "host/media/matroska_file.h"

#include <cstring>
#include <filesystem>
#include <stdexcept>

extern "C" {
#include <libavutil/opt.h>
}

namespace host {
namespace {

// Whatever happens, at most this much is not in the file yet.
constexpr std::int64_t kLongestCluster_ms = 1000;

}  // namespace

MatroskaFile::MatroskaFile(std::string path) : path_(std::move(path)), text_(av_packet_alloc()) {
    libav::silence();
    if (text_ == nullptr) fail("no memory");
    AVFormatContext* opened = nullptr;
    check(avformat_alloc_output_context2(&opened, nullptr, "matroska", nullptr));
    format_.reset(opened);
    format_->flags |= AVFMT_FLAG_BITEXACT | AVFMT_FLAG_FLUSH_PACKETS;
    check(av_opt_set_int(format_->priv_data, "cluster_time_limit", kLongestCluster_ms, 0));
}

int MatroskaFile::add_track(const AVCodecParameters& codec, const std::string& title,
                            AVRational frames_per_second) {
    AVStream* const stream = avformat_new_stream(format_.get(), nullptr);
    if (stream == nullptr) fail("no memory");
    check(avcodec_parameters_copy(stream->codecpar, &codec));
    stream->codecpar->codec_tag = 0;
    stream->time_base = kMilliseconds;
    if (frames_per_second.num > 0) stream->avg_frame_rate = frames_per_second;
    check(av_dict_set(&stream->metadata, "title", title.c_str(), 0));
    return stream->index;
}

int MatroskaFile::add_text_track(const std::string& title) {
    AVCodecParameters text{};
    text.codec_type = AVMEDIA_TYPE_SUBTITLE;
    text.codec_id = AV_CODEC_ID_TEXT;
    return add_track(text, title, {0, 1});
}

void MatroskaFile::attach(const Attachment& attachment) {
    AVStream* const stream = avformat_new_stream(format_.get(), nullptr);
    if (stream == nullptr) fail("no memory");
    AVCodecParameters& content = *stream->codecpar;
    content.codec_type = AVMEDIA_TYPE_ATTACHMENT;
    content.codec_id = AV_CODEC_ID_BIN_DATA;
    const std::size_t size = attachment.text.size();
    content.extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (content.extradata == nullptr) fail("no memory");
    content.extradata_size = static_cast<int>(size);
    std::memcpy(content.extradata, attachment.text.data(), size);
    check(av_dict_set(&stream->metadata, "filename", attachment.name.c_str(), 0));
    check(av_dict_set(&stream->metadata, "mimetype", attachment.mime_type.c_str(), 0));
}

void MatroskaFile::open(const Tags& tags) {
    for (const auto& [name, value] : tags)
        check(av_dict_set(&format_->metadata, name.c_str(), value.c_str(), 0));
    check(avio_open(&format_->pb, libav::file_url(path_).c_str(), AVIO_FLAG_WRITE));
    check(avformat_write_header(format_.get(), nullptr));
    flush();
}

void MatroskaFile::write(int track, AVPacket& packet) {
    packet.stream_index = track;
    av_packet_rescale_ts(&packet, kMilliseconds,
                         format_->streams[static_cast<std::size_t>(track)]->time_base);
    check(av_write_frame(format_.get(), &packet));
    av_packet_unref(&packet);
}

void MatroskaFile::write_text(int track, std::int64_t time_ms, std::int64_t duration_ms,
                              const std::string& text) {
    check(av_new_packet(text_.get(), static_cast<int>(text.size())));
    std::memcpy(text_->data, text.data(), text.size());
    text_->pts = text_->dts = time_ms;
    text_->duration = duration_ms;
    write(track, *text_);
}

void MatroskaFile::flush() {
    check(av_write_frame(format_.get(), nullptr));
    avio_flush(format_->pb);
    check(format_->pb->error);
}

void MatroskaFile::finish_as(const std::string& path) {
    check(av_write_trailer(format_.get()));
    check(avio_closep(&format_->pb));
    std::error_code error;
    std::filesystem::rename(path_, path, error);
    if (error) fail(error.message());
}

std::int64_t MatroskaFile::size() const {
    return format_->pb == nullptr ? 0 : avio_tell(format_->pb);
}

void MatroskaFile::check(int result) const {
    if (result < 0) fail(libav::error_text(result));
}

void MatroskaFile::fail(const std::string& why) const {
    throw std::runtime_error("cannot write the recording \"" + path_ + "\": " + why);
}

}  // namespace host
