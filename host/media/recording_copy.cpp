// Packets from file to file.
#include "host/media/recording_copy.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "host/media/matroska_file.h"
#include "host/media/recording_format.h"

namespace host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path, const std::string& why) {
    throw std::runtime_error("cannot copy the recording \"" + path.string() + "\": " + why);
}

libav::Input open_input(const fs::path& path) {
    AVFormatContext* opened = nullptr;
    const int result =
        avformat_open_input(&opened, libav::file_url(path.string()).c_str(), nullptr, nullptr);
    if (result < 0) fail(path, libav::error_text(result));
    return libav::Input(opened);
}

const char* text_of(const AVDictionary* dictionary, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(dictionary, key, nullptr, 0);
    return entry == nullptr ? "" : entry->value;
}

std::int64_t first_time_us(const AVFormatContext& input) {
    return std::atoll(text_of(input.metadata, kTimeTag));
}

// The same tracks in the same order; attachments come after them.
void copy_head(const AVFormatContext& input, MatroskaFile& output) {
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        const AVStream& stream = *input.streams[i];
        const AVCodecParameters& codec = *stream.codecpar;
        if (codec.codec_type == AVMEDIA_TYPE_VIDEO) {
            output.add_track(codec, text_of(stream.metadata, "title"), stream.avg_frame_rate);
        } else if (codec.codec_type == AVMEDIA_TYPE_SUBTITLE) {
            output.add_text_track(text_of(stream.metadata, "title"));
        } else if (codec.codec_type == AVMEDIA_TYPE_ATTACHMENT) {
            output.attach({text_of(stream.metadata, "filename"),
                           text_of(stream.metadata, "mimetype"),
                           std::string(reinterpret_cast<const char*>(codec.extradata),
                                       static_cast<std::size_t>(codec.extradata_size))});
        }
    }
    Tags tags;
    for (const char* const tag :
         {kFormatTag, kUnitTag, kTimeTag, kStartTag, kProgramTag, kPlaceTag, kCameraTag}) {
        const std::string value = text_of(input.metadata, tag);
        if (!value.empty()) tags.emplace_back(tag, value);
    }
    output.open(tags);
}

bool is_end_line(const AVPacket& packet) {
    const std::string_view text(reinterpret_cast<const char*>(packet.data),
                                static_cast<std::size_t>(packet.size));
    return text.starts_with(kEndLine);
}

}  // namespace

void join_recordings(const std::vector<fs::path>& files, const std::string& path) {
    libav::silence();
    const libav::Packet packet(av_packet_alloc());
    if (packet == nullptr) fail(path, "no memory");
    libav::Input input = open_input(files.front());
    const std::int64_t first_us = first_time_us(*input);
    MatroskaFile output(path + kUnfinishedExtension);
    copy_head(*input, output);
    std::int64_t last_ms = 0;
    int text_track = -1;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (i > 0) input = open_input(files[i]);
        const std::int64_t shift_ms =
            av_rescale_q(first_time_us(*input) - first_us, kMicroseconds, kMilliseconds);
        while (av_read_frame(input.get(), packet.get()) >= 0) {
            const int track = packet->stream_index;
            const AVStream& stream = *input->streams[static_cast<std::size_t>(track)];
            const bool text = stream.codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE;
            if (text) text_track = track;
            if (text && is_end_line(*packet)) {
                av_packet_unref(packet.get());
                continue;
            }
            av_packet_rescale_ts(packet.get(), stream.time_base, kMilliseconds);
            last_ms = packet->pts += shift_ms;
            packet->dts = packet->pts;
            packet->pos = -1;
            output.write(track, *packet);
        }
    }
    if (text_track >= 0)
        output.write_text(text_track, last_ms, 1, end_line(RecordingEnd::kStopped));
    output.finish_as(path);
}

}  // namespace host
