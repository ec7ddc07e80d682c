// From packets to frames.
#include "host/media/recording_reader.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>
#include <thread>

#include "host/base/input_error.h"
#include "host/media/libav.h"
#include "host/media/matroska_file.h"
#include "host/media/media_damage.h"
#include "host/media/recording_format.h"
#include "host/media/recording_tracks.h"
#include "host/media/slice_checksums.h"

namespace host {
namespace {

// Containers that recordings and streams of depth come in, and what they may be read through.
// Others could make the program open further files and addresses.
constexpr const char* kFormats = "matroska,webm,nut,rawvideo";
constexpr const char* kProtocols = "file,pipe,tcp,unix";

// A packet of 16-bit pixels is never much longer than the pixels themselves.
constexpr std::int64_t kMostBesidePixels = 1 << 20;
// Between two frames; a recording has a few thousand bytes there.
constexpr std::size_t kMostLines = 4096;
constexpr std::size_t kMostLineBytes = 4u << 20;
// Reading ends where so many attempts in a row fail.
constexpr int kMostFailures = 100;
// Numbers and microseconds beyond this, 31 years, are no times.
constexpr std::int64_t kMostTime_us = 1'000'000'000'000'000;
// Timestamps are whole milliseconds.
constexpr std::int64_t kRounding_us = 1000;

bool is_depth_size(int width, int height) {
    const auto fits = [](int size) {
        return size >= kLeastDepthPixels && size <= kMostDepthPixels;
    };
    return fits(width) && fits(height);
}

// A decoder of one thread, so that pictures come out in order and at once.
libav::Codec open_decoder(const AVStream& stream) {
    const AVCodec* const decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    libav::Codec codec(decoder == nullptr ? nullptr : avcodec_alloc_context3(decoder));
    if (codec == nullptr) return nullptr;
    if (avcodec_parameters_to_context(codec.get(), stream.codecpar) < 0) return nullptr;
    codec->thread_count = 1;
    codec->flags |= AV_CODEC_FLAG_LOW_DELAY;
    codec->max_pixels = std::int64_t{kMostDepthPixels} * kMostDepthPixels;
    codec->err_recognition = AV_EF_CRCCHECK | AV_EF_EXPLODE;
    if (avcodec_open2(codec.get(), decoder, nullptr) < 0) return nullptr;
    return codec;
}

// Depth as numbers of this machine.
void take_depth(const AVFrame& picture, MediaFrame& frame) {
    frame.width = picture.width;
    frame.height = picture.height;
    const auto width = static_cast<std::size_t>(picture.width);
    frame.depth_mm.resize(width * static_cast<std::size_t>(picture.height));
    for (int row = 0; row < picture.height; ++row) {
        std::uint16_t* const to = frame.depth_mm.data() + static_cast<std::size_t>(row) * width;
        const std::uint8_t* const from = picture.data[0] + row * picture.linesize[0];
        if (picture.format == AV_PIX_FMT_GRAY16LE) {
            std::memcpy(to, from, width * sizeof *to);
            continue;
        }
        for (std::size_t column = 0; column < width; ++column)
            to[column] = static_cast<std::uint16_t>(from[2 * column] << 8 | from[2 * column + 1]);
    }
}

void take_colour(const AVFrame& picture, MediaFrame& frame) {
    const int width = frame.colour_width = picture.width;
    const int height = frame.colour_height = picture.height;
    frame.colour_nv12.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                             3 / 2);
    std::uint8_t* to = frame.colour_nv12.data();
    for (int row = 0; row < height; ++row, to += width)
        std::memcpy(to, picture.data[0] + row * picture.linesize[0],
                    static_cast<std::size_t>(width));
    for (int row = 0; row < height / 2; ++row) {
        const std::uint8_t* u = picture.data[1] + row * picture.linesize[1];
        if (picture.format == AV_PIX_FMT_NV12) {
            to = std::copy(u, u + width, to);
            continue;
        }
        const std::uint8_t* v = picture.data[2] + row * picture.linesize[2];
        for (int column = 0; column < width / 2; ++column) {
            *to++ = *u++;
            *to++ = *v++;
        }
    }
}

bool is_usable_colour(const AVFrame& picture) {
    const bool known = picture.format == AV_PIX_FMT_YUV420P ||
                       picture.format == AV_PIX_FMT_YUVJ420P || picture.format == AV_PIX_FMT_NV12;
    return known && picture.width % 2 == 0 && picture.height % 2 == 0 &&
           is_depth_size(picture.width, picture.height) && picture.decode_error_flags == 0 &&
           (picture.flags & AV_FRAME_FLAG_CORRUPT) == 0;
}

std::optional<std::int64_t> whole_number(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_integer()) return std::nullopt;
    const auto value = found->get<std::int64_t>();
    if (value < 0 || value > kMostTime_us) return std::nullopt;
    return value;
}

}  // namespace

struct RecordingReader::Input {
    explicit Input(const Setup& given) : setup(given) {
        libav::silence();
        open();
        tracks = setup.colour_only ? find_colour_track(*format)
                                   : find_tracks(*format, setup.want_colour);
        check_tracks();
        choose_streams();
        info = describe(*format, tracks);
        check_size();
        if (tracks.colour >= 0) colour = open_decoder(stream(tracks.colour));
        if (tracks.depth >= 0) open_depth();
        if (const auto tag = info.tags.find(kTimeTag); tag != info.tags.end())
            first_us = std::clamp<std::int64_t>(std::atoll(tag->second.c_str()), 0, kMostTime_us);
        packet.reset(av_packet_alloc());
        picture.reset(av_frame_alloc());
        if (packet == nullptr || picture == nullptr) throw InputError("no memory");
    }

    void check_tracks() const {
        if (setup.colour_only && tracks.colour < 0)
            throw InputError(setup.name + " has no colour pictures");
        if (setup.colour_only || tracks.depth >= 0) return;
        throw InputError(setup.name +
                         " has no depth: it needs a track of 16-bit grey pictures in millimetres");
    }

    void open_depth() {
        const AVCodecParameters& codec = *stream(tracks.depth).codecpar;
        depth = open_decoder(stream(tracks.depth));
        if (depth == nullptr) throw InputError(setup.name + " has a depth track of unknown coding");
        has_sums = codec.codec_id == AV_CODEC_ID_FFV1 && codec.extradata_size > 0;
    }

    static int asks_to_stop(void* input) {
        const auto& stop = static_cast<Input*>(input)->setup.stop;
        return stop && stop() ? 1 : 0;
    }

    static int take_bytes(void* input, std::uint8_t* to, int most) {
        const int taken = static_cast<Input*>(input)->setup.read(to, most);
        return taken > 0 ? taken : AVERROR_EOF;
    }

    AVIOContext* open_bytes() {
        constexpr int kBuffer = 1 << 16;
        auto* const buffer = static_cast<unsigned char*>(av_malloc(kBuffer));
        if (buffer == nullptr) throw InputError("no memory");
        bytes_in.reset(avio_alloc_context(buffer, kBuffer, 0, this, take_bytes, nullptr, nullptr));
        if (bytes_in == nullptr) av_free(buffer);
        return bytes_in.get();
    }

    void open() {
        AVFormatContext* opened = avformat_alloc_context();
        if (opened == nullptr) throw InputError("no memory");
        opened->interrupt_callback = {asks_to_stop, this};
        if (setup.read) opened->pb = open_bytes();
        AVDictionary* options = nullptr;
        av_dict_set(&options, "format_whitelist", kFormats, 0);
        av_dict_set(&options, "protocol_whitelist", kProtocols, 0);
        for (const auto& [name, value] : setup.options)
            av_dict_set(&options, name.c_str(), value.c_str(), 0);
        const AVInputFormat* const kind =
            setup.format.empty() ? nullptr : av_find_input_format(setup.format.c_str());
        const int result = avformat_open_input(&opened, setup.url.c_str(), kind, &options);
        av_dict_free(&options);
        if (result < 0) {
            throw InputError(setup.name +
                             " cannot be read as a recording: " + libav::error_text(result));
        }
        format.reset(opened);
    }

    AVStream& stream(int number) { return *format->streams[static_cast<std::size_t>(number)]; }

    void choose_streams() {
        for (unsigned i = 0; i < format->nb_streams; ++i) {
            const int number = static_cast<int>(i);
            const bool used =
                number == tracks.depth || number == tracks.colour || number == tracks.text;
            format->streams[i]->discard = used ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        }
    }

    void check_size() const {
        if (is_depth_size(info.width, info.height)) return;
        throw InputError(setup.name + (setup.colour_only ? " has colour" : " has depth") +
                         " pictures of " + std::to_string(info.width) + " x " +
                         std::to_string(info.height) + " pixels; each side must be 16 to 8192");
    }

    // False at the end.
    bool read_packet() {
        av_packet_unref(packet.get());
        for (int failures = 0; failures < kMostFailures; ++failures) {
            const int result = av_read_frame(format.get(), packet.get());
            if (result >= 0) return true;
            if (result == AVERROR_EOF || result == AVERROR_EXIT || asks_to_stop(this) != 0)
                return false;
            if (result == AVERROR(EAGAIN)) {
                failures = -1;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            damage.note(MediaFault::kContainer, last_us);
        }
        return false;
    }

    // Microseconds, when the packet has a time that can be one.
    std::optional<std::int64_t> time_of_packet() {
        if (packet->pts == AV_NOPTS_VALUE) return std::nullopt;
        const std::int64_t us =
            av_rescale_q(packet->pts, stream(packet->stream_index).time_base, kMicroseconds);
        if (us == INT64_MIN || us < -kMostTime_us || us > kMostTime_us) return std::nullopt;
        return us;
    }

    // A picture of the packet; false when there is none.
    bool decode(AVCodecContext* codec) {
        av_frame_unref(picture.get());
        if (codec == nullptr || packet->size <= 0) return false;
        int sent = avcodec_send_packet(codec, packet.get());
        if (sent == AVERROR(EAGAIN)) {
            // A damaged packet had more than one picture.
            avcodec_flush_buffers(codec);
            sent = avcodec_send_packet(codec, packet.get());
        }
        if (sent < 0) return false;
        return avcodec_receive_frame(codec, picture.get()) >= 0;
    }

    void read_text(MediaFrame& frame) {
        const std::string_view line(reinterpret_cast<const char*>(packet->data),
                                    static_cast<std::size_t>(std::max(packet->size, 0)));
        const bool fits = line.size() <= kMostTextBytes && frame.lines.size() < kMostLines &&
                          line_bytes + line.size() <= kMostLineBytes;
        if (!fits) {
            damage.note(MediaFault::kText, last_us);
        } else if (line.starts_with(kFrameLine)) {
            read_frame_line(line);
        } else if (line.starts_with(kEndLine)) {
            read_end_line(line);
        } else {
            line_bytes += line.size();
            frame.lines.emplace_back(line);
        }
    }

    void read_frame_line(std::string_view line) {
        const nlohmann::json object = nlohmann::json::parse(line, nullptr, false);
        announced.reset();
        if (object.is_object()) {
            const auto number = whole_number(object, "frame");
            const auto time_us = whole_number(object, "time_us");
            if (number && time_us) announced = {*number, *time_us, has_other_size(object)};
        }
        if (!announced) damage.note(MediaFault::kText, last_us);
    }

    // FFV1 does not say with each picture how large it is, and decodes one of another size without
    // complaint.
    bool has_other_size(const nlohmann::json& object) const {
        return whole_number(object, "width").value_or(info.width) != info.width ||
               whole_number(object, "height").value_or(info.height) != info.height;
    }

    void read_end_line(std::string_view line) {
        const nlohmann::json object = nlohmann::json::parse(line, nullptr, false);
        const auto why = object.is_object() ? object.find("end") : object.end();
        if (why != object.end() && why->is_string()) {
            end = why->get<std::string>();
        } else {
            damage.note(MediaFault::kText, last_us);
        }
    }

    void read_colour(MediaFrame& frame) {
        const bool stands_alone = stream(tracks.colour).codecpar->codec_id == AV_CODEC_ID_FFV1;
        if (stands_alone && time_of_packet().value_or(0) + first_us.value_or(0) < from_us) return;
        const bool whole = !stands_alone || colour_sums.is_whole(bytes());
        if (whole && decode(colour.get()) && is_usable_colour(*picture)) {
            take_colour(*picture, frame);
            frame.has_colour = true;
        } else {
            damage.note(MediaFault::kColour, last_us);
        }
    }

    void place_colour(MediaFrame& frame) {
        frame.number = ++last_number;
        frame.time_us = last_us = time_of_packet().value_or(last_us + step_us());
        frame.width = frame.colour_width;
        frame.height = frame.colour_height;
    }

    std::span<const std::uint8_t> bytes() const {
        return {packet->data, static_cast<std::size_t>(std::max(packet->size, 0))};
    }

    // Number and time of the depth in the packet. False when they contradict each other, or what
    // came before.
    bool stamp(MediaFrame& frame) {
        const auto announcement = std::exchange(announced, std::nullopt);
        const std::int64_t index = ++depth_packets - 1;
        const auto packet_us = time_of_packet();
        std::int64_t time_us = last_us + step_us();
        if (packet_us) time_us = *packet_us + first_us.value_or(0);
        if (announcement && first_us && packet_us &&
            std::abs(announcement->time_us - time_us) > kRounding_us) {
            damage.note(MediaFault::kTime, last_us);
            return false;
        }
        if (announcement && announcement->other_size) {
            damage.note(MediaFault::kSize, announcement->time_us);
            return false;
        }
        frame.number = first_us ? last_number + steps_to(time_us) : index;
        frame.time_us = time_us;
        if (announcement) {
            frame.number = announcement->number;
            frame.time_us = announcement->time_us;
        }
        if (!setup.live && any && (frame.number <= last_number || frame.time_us <= last_us)) {
            damage.note(MediaFault::kOrder, frame.time_us);
            return false;
        }
        any = true;
        last_number = frame.number;
        last_us = frame.time_us;
        return true;
    }

    std::int64_t step_us() const {
        return std::llround(1e6 / std::clamp(info.frames_per_second, 1.0, 1000.0));
    }

    // How many frames later a time is, for a frame whose line was lost.
    std::int64_t steps_to(std::int64_t time_us) const {
        const std::int64_t late_us = time_us - last_us + step_us() / 2;
        return any ? std::max<std::int64_t>(late_us / step_us(), 1) : 1;
    }

    bool read_depth(MediaFrame& frame) {
        if (!stamp(frame) || frame.time_us < from_us) return false;
        const std::int64_t most = std::int64_t{4} * info.width * info.height + kMostBesidePixels;
        if (packet->size > most || (has_sums && !sums.is_whole(bytes())) || !decode(depth.get())) {
            damage.note(MediaFault::kDepth, frame.time_us);
            return false;
        }
        if (picture->format != AV_PIX_FMT_GRAY16LE && picture->format != AV_PIX_FMT_GRAY16BE) {
            damage.note(MediaFault::kPixels, frame.time_us);
            return false;
        }
        if (!setup.live && (picture->width != info.width || picture->height != info.height)) {
            damage.note(MediaFault::kSize, frame.time_us);
            return false;
        }
        take_depth(*picture, frame);
        return true;
    }

    bool next(MediaFrame& frame) {
        frame.has_colour = false;
        frame.lines = std::exchange(last_lines, {});
        line_bytes = 0;
        while (read_packet()) {
            const int track = packet->stream_index;
            if (track == tracks.text) {
                read_text(frame);
            } else if (track == tracks.colour) {
                read_colour(frame);
                if (setup.colour_only && frame.has_colour) {
                    place_colour(frame);
                    return true;
                }
            } else if (track == tracks.depth) {
                if (read_depth(frame)) return true;
                frame.has_colour = false;
                if (last_us < from_us) {
                    frame.lines.clear();
                    line_bytes = 0;
                }
            }
        }
        last_lines = std::exchange(frame.lines, {});
        return false;
    }

    struct Announcement {
        std::int64_t number = 0;
        std::int64_t time_us = 0;
        bool other_size = false;
    };

    Setup setup;
    libav::Bytes bytes_in;  // outlives what reads from it
    libav::Input format;
    RecordingTracks tracks;
    MediaInfo info;
    libav::Codec depth;
    libav::Codec colour;
    libav::Packet packet;
    libav::Frame picture;
    bool has_sums = false;
    SliceChecksums sums;
    SliceChecksums colour_sums;
    MediaDamage damage;
    std::optional<std::int64_t> first_us;   // scene time of timestamp 0, in recordings of ours
    std::optional<Announcement> announced;  // by the line of a frame whose depth comes next
    std::int64_t from_us = INT64_MIN;
    std::int64_t depth_packets = 0;
    bool any = false;  // frame yet
    std::int64_t last_number = -1;
    std::int64_t last_us = 0;
    std::size_t line_bytes = 0;
    std::vector<std::string> last_lines;
    std::string end;
};

RecordingReader::Setup RecordingReader::file(const std::string& path) {
    Setup setup;
    setup.url = libav::file_url(path);
    setup.name = '"' + path + '"';
    return setup;
}

RecordingReader::RecordingReader(const Setup& setup) : input_(std::make_unique<Input>(setup)) {}

RecordingReader::~RecordingReader() = default;

const MediaInfo& RecordingReader::info() const {
    return input_->info;
}

bool RecordingReader::next(MediaFrame& frame) {
    return input_->next(frame);
}

void RecordingReader::skip_to(std::int64_t time_us) {
    input_->from_us = time_us;
}

const std::vector<std::string>& RecordingReader::last_lines() const {
    return input_->last_lines;
}

const std::string& RecordingReader::end() const {
    return input_->end;
}

std::int64_t RecordingReader::lost_frames() const {
    std::int64_t sum = 0;
    for (const MediaFault fault : {MediaFault::kDepth, MediaFault::kSize, MediaFault::kPixels,
                                   MediaFault::kOrder, MediaFault::kTime})
        sum += input_->damage.count(fault);
    return sum;
}

std::vector<std::string> RecordingReader::damage() const {
    return input_->damage.sentences(input_->setup.name);
}

}  // namespace host
