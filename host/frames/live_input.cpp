// Frame sets of the newest pictures.
#include "host/frames/live_input.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

#include "host/base/text.h"
#include "host/frames/live_reader.h"
#include "host/frames/media_pictures.h"
#include "host/media/recording_format.h"

namespace host {
namespace {

// One frame in twenty may be lost before the counts are said to be incomplete.
constexpr std::int64_t kLeastOfLoss = 20;
constexpr std::chrono::seconds kColourWait{3};  // at the beginning
constexpr std::chrono::milliseconds kMoment{20};
constexpr std::int64_t kMostColourApart_us = 1'000'000;  // from the depth that it belongs to
constexpr double kUnknownHeight_mm = 4000.0;             // for the grey of the picture only

void say_on_stderr(const std::string& sentence) {
    std::fprintf(stderr, "vca: %s\n", visible(sentence).c_str());
}

LiveReader::Setup reader_setup(const SourceOptions& options) {
    if (options.live_depth.empty()) throw InputError("the source live needs --depth URL");
    if (options.live_depth == options.live_colour) {
        throw InputError("depth and colour both come from \"" + options.live_depth +
                         "\"; leave out the address of the colour where one stream has both");
    }
    LiveReader::Setup setup;
    setup.address = options.live_depth;
    setup.raw = parse_depth_format(options.depth_format);
    setup.stop = [stop = options.stop] { return stop != nullptr && *stop; };
    setup.say = say_on_stderr;
    return setup;
}

std::unique_ptr<LiveReader> open_colour(const SourceOptions& options) {
    if (options.live_colour.empty()) return nullptr;
    LiveReader::Setup setup = reader_setup(options);
    setup.address = options.live_colour;
    setup.raw.reset();
    setup.colour = true;
    return std::make_unique<LiveReader>(setup);
}

// The last part of the address that people know it by.
std::string part_of_address(const std::string& address) {
    constexpr const char* kTcp = "tcp://";
    if (address == "-") return "standard-input";
    if (!address.starts_with(kTcp)) return std::filesystem::path(address).stem().string();
    const std::string place = address.substr(std::string(kTcp).size());
    return place.substr(0, place.find('?'));
}

class LiveInput final : public FrameSource {
  public:
    explicit LiveInput(const SourceOptions& options)
        : address_(options.live_depth),
          reader_(reader_setup(options)),
          colour_(open_colour(options)) {
        MediaInfo media = first_stream();
        if (colour_ != nullptr) take_colour_size(media);
        const RecordingCamera camera = camera_of_media(media, address_, options.camera_file);
        check_media_size(media, camera, address_);
        view_.emplace(camera);
        info_.kind = "live";
        info_.name = live_name(address_, tag_of(media, kCameraTag));
        if (const auto text = media.attachments.find(kSettingsAttachment);
            text != media.attachments.end())
            info_.settings = text->second;
        info_.description = "live depth camera";
        info_.live = true;
        info_.frames_per_second = camera.frames_per_second;
        describe_camera(camera, *view_, info_);
        if (const auto note = settle_colour(media, info_)) notes_.push_back(*note);
        info_.black_mm =
            options.height_mm.value_or(camera.height_mm.value_or(kUnknownHeight_mm)).value * 1.1;
        if (!wait_for_frame()) throw_no_frame();
        info_.start_us = live_.utc_us - live_.time_us;
        first_waits_ = true;
    }

    bool next(SourceFrame& frame) override {
        if (!std::exchange(first_waits_, false) && !wait_for_frame()) return false;
        frame.number = live_.number;
        frame.time_s = static_cast<double>(live_.time_us) / 1e6;
        frame.utc_us = live_.utc_us;
        if (colour_ != nullptr) pair_colour();
        pictures_.fill(live_.media, info_, frame);
        return true;
    }

    PicturePoint to_picture(const PicturePoint& p) const override { return view_->to_picture(p); }
    std::vector<std::string> warnings() const override { return notes_; }
    bool ends_the_scene() const override { return ended_; }
    std::optional<LiveFigures> live_figures() const override {
        LiveFigures figures = reader_.figures();
        figures.colourless = colourless_;
        return figures;
    }

    void listen(const std::function<void(const InputNotice&)>& listener) override {
        listener_ = listener;
        if (!listener_) return;
        for (const InputNotice& notice : std::exchange(untold_, {}))
            listener_(notice);
    }

    std::vector<std::string> losses() const override {
        const LiveFigures f = reader_.figures();
        std::vector<std::string> list;
        const std::int64_t lost = f.missing + f.damaged + f.dropped;
        const std::int64_t all = f.frames + f.missing + f.damaged;
        if (lost * kLeastOfLoss > all) {
            list.push_back(std::to_string(lost) + " of " + std::to_string(all) +
                           " frames of the live input are missing, damaged or came too fast");
        }
        if (colourless_ * kLeastOfLoss > f.frames) {
            list.push_back(std::to_string(colourless_) + " of " + std::to_string(f.frames) +
                           " frames came without colour");
        }
        if (f.gaps > 0) {
            list.push_back(format_text("the live input was interrupted %lld times, for %.1f s",
                                       static_cast<long long>(f.gaps),
                                       static_cast<double>(f.gap_us) / 1e6));
        }
        return list;
    }

  private:
    MediaInfo first_stream() {
        auto media = reader_.wait_opened();
        if (!media) throw_no_frame();
        return std::move(*media);
    }

    [[noreturn]] void throw_no_frame() const {
        if (const std::string why = reader_.failure(); !why.empty()) throw InputError(why);
        if (reader_.has_ended()) throw InputError("\"" + address_ + "\" ended before a frame came");
        throw std::runtime_error("stopped before a frame came");
    }

    // False at the end.
    bool wait_for_frame() {
        while (true) {
            InputNotice notice;
            switch (reader_.next(live_, notice)) {
                case LiveReader::Came::kFrame:
                    return true;
                case LiveReader::Came::kEnd:
                    ended_ = reader_.has_ended();
                    return false;
                case LiveReader::Came::kNotice:
                    tell(notice);
                    break;
            }
        }
    }

    void tell(const InputNotice& notice) {
        if (listener_) {
            listener_(notice);
        } else {
            untold_.push_back(notice);
        }
    }

    // Colour that has not come by then may come later; until then it is grey.
    void take_colour_size(MediaInfo& media) const {
        using std::chrono::steady_clock;
        media.colour_width = kColourWidth;
        media.colour_height = kColourHeight;
        const auto limit = steady_clock::now() + kColourWait;
        for (; steady_clock::now() < limit; std::this_thread::sleep_for(kMoment)) {
            if (const auto colour = colour_->opened()) {
                media.colour_width = colour->width;
                media.colour_height = colour->height;
                return;
            }
            if (colour_->has_ended()) return;
        }
    }

    // Counting never waits for colour.
    void pair_colour() {
        MediaFrame& media = live_.media;
        const auto apart_us = colour_->nearest(live_.arrival_us, media);
        const bool fits = apart_us && *apart_us <= kMostColourApart_us &&
                          media.colour_width == kColourWidth &&
                          media.colour_height == kColourHeight;
        if (fits == !no_colour_) return count_colour(fits);
        if (!fits) {
            no_colour_ = InputFault{InputFaultKind::kNoColour, "no colour pictures come",
                                    live_.time_us, std::nullopt};
            tell(*no_colour_);
        } else {
            no_colour_->until_us = live_.time_us;
            tell(*std::exchange(no_colour_, std::nullopt));
        }
        count_colour(fits);
    }

    void count_colour(bool has) {
        if (has) return;
        live_.media.has_colour = false;
        pictures_.forget_colour();
        ++colourless_;
    }

    std::string address_;
    std::vector<std::string> notes_;
    std::function<void(const InputNotice&)> listener_;
    std::vector<InputNotice> untold_;  // before there was a listener
    std::optional<RecordingView> view_;
    MediaPictures pictures_;
    LiveFrame live_;
    bool first_waits_ = false;  // in live_, for next()
    bool ended_ = false;
    std::int64_t colourless_ = 0;
    std::optional<InputFault> no_colour_;
    LiveReader reader_;
    std::unique_ptr<LiveReader> colour_;  // null without a stream of its own
};

}  // namespace

std::string live_name(const std::string& address, const std::string& camera) {
    constexpr std::size_t kMostCharacters = 64;
    std::string name;
    for (const char c : camera.empty() ? part_of_address(address) : camera) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
        if (name.size() < kMostCharacters) name += plain ? c : '-';
    }
    const std::size_t first = name.find_first_not_of("-.");
    return first == std::string::npos ? "live" : name.substr(first);
}

std::unique_ptr<FrameSource> open_live(const SourceOptions& options) {
    return std::make_unique<LiveInput>(options);
}

}  // namespace host
