// By title first, then by what a track holds.
#include "host/media/recording_tracks.h"

#include <span>
#include <string_view>

#include "host/media/recording_format.h"

namespace host {
namespace {

// More than a recording has; the rest is left alone.
constexpr std::size_t kMostAttachments = 64;
constexpr std::size_t kMostTags = 256;

std::span<AVStream* const> streams_of(const AVFormatContext& format) {
    return {format.streams, format.nb_streams};
}

std::string_view text_of(const AVDictionary* dictionary, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(dictionary, key, nullptr, 0);
    return entry == nullptr ? std::string_view() : std::string_view(entry->value);
}

bool is_grey16(int pixels) {
    return pixels == AV_PIX_FMT_GRAY16LE || pixels == AV_PIX_FMT_GRAY16BE;
}

// FFV1 says what pixels it has only when it is decoded.
bool may_be_depth(const AVStream& stream) {
    const AVCodecParameters& codec = *stream.codecpar;
    if (codec.codec_type != AVMEDIA_TYPE_VIDEO) return false;
    return is_grey16(codec.format) || codec.codec_id == AV_CODEC_ID_FFV1;
}

int find_depth(const AVFormatContext& format) {
    for (const AVStream* stream : streams_of(format)) {
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
            text_of(stream->metadata, "title") == kDepthTrack)
            return stream->index;
    }
    for (const AVStream* stream : streams_of(format))
        if (may_be_depth(*stream)) return stream->index;
    return -1;
}

int find_colour(const AVFormatContext& format) {
    for (const AVStream* stream : streams_of(format)) {
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
            text_of(stream->metadata, "title") == kColourTrack)
            return stream->index;
    }
    return -1;
}

int find_text(const AVFormatContext& format) {
    for (const AVStream* stream : streams_of(format))
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE) return stream->index;
    return -1;
}

void read_attachments(const AVFormatContext& format, MediaInfo& info) {
    for (const AVStream* stream : streams_of(format)) {
        const AVCodecParameters& content = *stream->codecpar;
        if (content.codec_type != AVMEDIA_TYPE_ATTACHMENT) continue;
        const std::string name(text_of(stream->metadata, "filename"));
        const auto size = static_cast<std::size_t>(content.extradata_size);
        if (name.empty() || info.attachments.size() == kMostAttachments) continue;
        if (size > kMostTextBytes) {
            info.left_out.push_back(name);
        } else {
            info.attachments.emplace(
                name, std::string(reinterpret_cast<const char*>(content.extradata), size));
        }
    }
}

double rate_of(const AVStream& stream) {
    const AVRational rate =
        stream.avg_frame_rate.num > 0 ? stream.avg_frame_rate : stream.r_frame_rate;
    return rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0.0;
}

}  // namespace

RecordingTracks find_tracks(const AVFormatContext& format, bool want_colour) {
    RecordingTracks tracks;
    tracks.depth = find_depth(format);
    if (want_colour) tracks.colour = find_colour(format);
    tracks.text = find_text(format);
    return tracks;
}

RecordingTracks find_colour_track(const AVFormatContext& format) {
    RecordingTracks tracks;
    tracks.colour = find_colour(format);
    for (const AVStream* stream : streams_of(format)) {
        if (tracks.colour < 0 && stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
            !is_grey16(stream->codecpar->format))
            tracks.colour = stream->index;
    }
    return tracks;
}

MediaInfo describe(const AVFormatContext& format, const RecordingTracks& tracks) {
    MediaInfo info;
    const int main = tracks.depth >= 0 ? tracks.depth : tracks.colour;
    const AVStream& pictures = *format.streams[static_cast<std::size_t>(main)];
    info.width = pictures.codecpar->width;
    info.height = pictures.codecpar->height;
    info.frames_per_second = rate_of(pictures);
    if (tracks.colour >= 0) {
        const AVStream& colour = *format.streams[static_cast<std::size_t>(tracks.colour)];
        info.colour_width = colour.codecpar->width;
        info.colour_height = colour.codecpar->height;
    }
    info.has_text = tracks.text >= 0;
    if (format.duration > 0) info.duration_s = static_cast<double>(format.duration) / 1e6;
    const AVDictionaryEntry* tag = nullptr;
    while ((tag = av_dict_get(format.metadata, "", tag, AV_DICT_IGNORE_SUFFIX)) != nullptr &&
           info.tags.size() < kMostTags)
        info.tags.emplace(tag->key, tag->value);
    read_attachments(format, info);
    return info;
}

}  // namespace host
