// Where frames come from: simulated scenes, recorded walks, folders and recordings of a depth
// camera.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/camera.h"
#include "host/base/counting_places.h"
#include "host/base/input_error.h"
#include "host/base/picture.h"
#include "host/base/placed.h"
#include "host/frames/depth_camera.h"
#include "host/frames/input_notice.h"
#include "host/frames/live_figures.h"
#include "host/platform/frame_pool.h"

namespace host {

// Scenes begin at 2026-01-01 00:00 UTC, so that runs repeat exactly.
inline constexpr std::int64_t kSceneStart_us = 1767225600LL * 1000000;

// A person who is really there.
struct TruePerson {
    int id = 0;
    PixelBox box;  // head and shoulders
    double height_mm = 0.0;
    bool clear = false;    // well inside the picture and mostly unhidden: has to be found
    PicturePoint place{};  // floor point, or head top when positions are at head height
    bool in_view = false;  // the head top is inside the picture
    bool staff = false;    // wears the staff vest
};

// A crossing that really happened.
struct TrueCrossing {
    int line = 0;
    int person = 0;
    std::int64_t frame = 0;
    int direction = 0;
};

struct SourceFrame {
    std::int64_t number = 0;
    double time_s = 0.0;      // scene time in whole microseconds; not derived from the number
    std::int64_t utc_us = 0;  // since 1970, by the system's clock; 0 when the source is not live
    FramePlanes planes;
    std::vector<TruePerson> people;
    std::vector<TrueCrossing> crossings;
};

struct SourceInfo {
    std::string kind;         // name in the table of sources
    std::string name;         // scene, file or folder
    std::string description;  // one line
    double frames_per_second = 15.0;
    double duration_s = 0.0;  // 0 when not known
    CameraModel camera;
    RecordingCamera sensor;               // as the pictures were taken; its width 0: not known
    std::vector<CountingLine> lines;      // the source's own, in the user's coordinates
    std::vector<CountingRegion> regions;  // likewise
    bool group_counting = false;
    bool live = false;     // frames come when they come; those that nobody takes are lost
    bool crowded = false;  // too dense to be counted without errors
    bool has_truth = false;
    bool has_colour = false;   // the colour image shows more than the depth does
    double black_mm = 0.0;     // distance that the depth image draws black
    std::optional<Tilt> tilt;  // of the camera, once it has been found or set
    int user_width = 960;      // size of the picture in which a user gives points
    int user_height = 544;
    std::int64_t start_us = kSceneStart_us;  // of scene time 0, in microseconds since 1970
    std::string settings;  // text of a file for --config that a live stream carries; may be empty
};

// What is known of a recording's source from its camera, with a line across the middle.
void describe_camera(const RecordingCamera& camera, const RecordingView& view, SourceInfo& info);

// Recordings keep scene times in microseconds, and a run over one sees the very same number.
double whole_microseconds(double time_s);

struct SourceOptions {
    std::string source = "scene";
    std::string scene = "entrance";
    std::uint64_t seed = 1;
    std::string trajectories;
    std::string folder;
    std::vector<std::string> recordings;      // one after the other
    std::optional<double> from_s;             // scene time at which a recording is entered
    std::optional<double> to_s;               // and left
    std::string live_depth;                   // where the pictures of a live camera come from
    std::string depth_format;                 // of them; empty: found out
    std::string live_colour;                  // colour pictures beside them; empty: none but theirs
    std::string camera_file;                  // empty: that of the folder, recording or stream
    std::optional<Placed<double>> height_mm;  // given by the user
    std::optional<PicturePoint> camera_at;    // metres in the trajectory file's coordinates
    std::optional<double> frames_per_second;
    std::string noise = "plain";    // of a simulated depth sensor
    Tilt camera_tilt;               // of a simulated camera
    std::optional<double> seconds;  // length of a run; scenes last that long if it is longer
    bool foot_point = true;         // positions are on the floor, else at head height
    const std::atomic<bool>* stop = nullptr;  // ends waiting for a live camera; outlives the source
};

// Frame sets one after the other, with rising numbers and scene times.
class FrameFeed {
  public:
    virtual ~FrameFeed() = default;
    // False at the end. Throws InputError when a recording cannot be read.
    virtual bool next(SourceFrame& frame) = 0;
};

class FrameSource : public FrameFeed {
  public:
    const SourceInfo& info() const { return info_; }

    // Skips frames, or all that are left when there are fewer.
    virtual void skip(std::int64_t frames) {
        SourceFrame unused;
        while (frames-- > 0 && next(unused)) {
        }
    }

    // Maps a point that a user gave to the picture.
    virtual PicturePoint to_picture(const PicturePoint& user_point) const { return user_point; }

    // Makes frames carry the true crossings of these lines; does nothing without truth.
    virtual void count_truth(const std::vector<CountingLine>& /*lines*/) {}

    // After the last frame: the crossings of people who are still inside a U-turn area, judged by
    // the side of the line that they stand on, just as when their tracks end.
    virtual std::vector<TrueCrossing> settle_truth() { return {}; }

    // What a reader of the results must know about the lines whose truth is counted; one sentence
    // each.
    virtual std::vector<std::string> warnings() const { return {}; }

    // After count_truth() and before the first frame: finds out what info() can only say once
    // frames were looked at. They are kept; next() does it when nobody else did.
    virtual void begin() {}

    // Whether what was to be seen has ended with the last frame; otherwise people may still have
    // been on their way.
    virtual bool ends_the_scene() const { return true; }

    // What is missing from the frames given so far to such an extent that the counts are
    // incomplete; one sentence each.
    virtual std::vector<std::string> losses() const { return {}; }

    // Calls the listener, within next(), when something happens to a live input; what happened
    // before is told at once. An empty one ends it.
    virtual void listen(const std::function<void(const InputNotice&)>& /*listener*/) {}

    // What became of the frames of a live input so far.
    virtual std::optional<LiveFigures> live_figures() const { return std::nullopt; }

  protected:
    SourceInfo info_;
};

// Frames without any measurement fed after the end of a source. Five end the tracks, which settles
// people just past a line and U-turns; a group is reported at the latest 81 frames after its last
// member joined.
inline constexpr int kClosingFrames = 6 + 81;

// Makes a frame set that shows nothing, fed after the end of a source; its number and time are left
// to the caller.
void make_blank(SourceFrame& frame);

// Names of the sources, for messages and help.
std::vector<std::string> source_names();

// Opens a source. Throws InputError.
std::unique_ptr<FrameSource> open_source(const SourceOptions& options);

}  // namespace host
