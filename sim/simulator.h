// An overhead colour + depth camera over walking people, with ground truth.
//
// Every image depends only on the scene and the seed: the same pair gives the same bytes in every
// build. A Simulator is not thread-safe; several may run side by side.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/camera.h"
#include "sim/noise.h"

namespace sim {

struct PersonTruth {
    int id = 0;        // from 1, never reused within a scene; for trajectories, the id in the file
    double x_m = 0.0;  // floor position straight below the head
    double y_m = 0.0;
    Point site;              // the same in site metres; x_m, y_m when there is no site
    double height_mm = 0.0;  // head top above the floor
    double head_u = 0.0;     // projected head top, colour pixels
    double head_v = 0.0;
    Box box;               // as large as head and shoulders are straight below the camera, with the
                           // head's top in the middle, hidden parts included; clipped
    bool in_view = false;  // the head top is inside the image, also that of a crooked camera
    bool staff = false;    // wears the staff vest
    double visible = -1.0;  // share of the head-and-shoulder pixels inside the image that are
                            // unobstructed, 0 to 1; -1 when the frame was not rendered
};

struct Frame {
    std::int64_t index = 0;
    double time_s = 0.0;                   // index / fps
    std::vector<std::uint8_t> bgr;         // 960 x 544 x 3, see Simulator::leave_out_bgr()
    std::vector<std::uint8_t> nv12;        // 960 x 544 x 3/2, BT.601 limited range
    std::vector<std::uint8_t> depth_nv12;  // 480 x 256 x 3/2: luma 235 (at the camera) to 16 (10 %
                                           // below the floor, or missing), chroma 128
    std::vector<std::uint16_t> raw_mm;     // 480 x 256, distance along the optical axis, 0 missing
    std::vector<PersonTruth> truth;  // people with any chance of being seen, sorted by id; for a
                                     // camera of a site, everyone on the site
};

struct CountingLine {
    std::string name;
    std::vector<Point> points;      // polyline on the floor, at least two points
    std::vector<Point> uturn_area;  // polygon around the line; empty when there is none
};

struct CountingRegion {
    std::string name;
    std::vector<Point> points;  // polygon on the floor, at least three points
};

struct SceneInfo {
    std::string name;
    std::string description;  // one line
    Camera camera;            // as if it hung level
    double fps = 15.0;
    double duration_s = 60.0;
    std::vector<CountingLine> lines;
    std::vector<CountingRegion> regions;
    double line_height_m = 1.6;   // project lines and regions to pixels at this height (head level)
    bool crowded = false;         // too dense for counting without errors
    bool group_counting = false;  // a host should count groups in this scene
    std::optional<CameraPlace> place{};  // for a camera of a site: where it hangs
    Noise noise = Noise::kPlain;         // of the depth sensor
};

// Names of the built-in scenes.
std::vector<std::string> scene_names();

// Description of a built-in scene. Throws std::invalid_argument listing the known names.
SceneInfo scene_info(const std::string& name);

struct TrajectoryOptions {
    double camera_height_m = 4.0;  // 1.5 to 15, and 0.2 above the tallest head
    bool centre_given = false;     // false: the camera hangs over the middle of all points
    Point centre;                  // metres in the file's coordinates, below the camera
    bool rotate_90 = false;        // turns the scene by 90 degrees: the file's x runs up the image
    double fps = 0.0;              // 0: from the file's comments, else 25
    std::uint64_t seed = 1;        // looks of the people and sensor noise
    std::vector<CountingLine> lines;  // empty: one line below the camera, across the main motion
    Noise noise = Noise::kPlain;      // of the depth sensor
};

class World;
class Renderer;
class Turn;

// Which colour images of a frame are rendered.
enum class Colours { kNone, kNv12, kAll };

class Simulator {
  public:
    Simulator(SceneInfo info, std::unique_ptr<World> world, std::uint64_t seed);
    ~Simulator();
    Simulator(Simulator&&) noexcept;
    Simulator& operator=(Simulator&&) noexcept;

    const SceneInfo& info() const { return info_; }

    // Renders the next frame. False at the end of the scene; the frame is then unchanged.
    bool next(Frame& frame);

    // Before the first frame: makes the camera hang crooked. Only what is rendered changes; truth,
    // lines and info().camera stay those of a level camera at the same place. Throws
    // std::invalid_argument beyond 20 degrees either way.
    void tilt(const Tilt& tilt);

    // Where the pictures show what a level camera's show at a pixel; empty where they cannot.
    std::optional<Pixel> shown_at(const Pixel& level) const;

    // From now on frames are rendered without their bgr image, for callers that only read nv12.
    void leave_out_bgr() { colours_ = std::min(colours_, Colours::kNv12); }

    // From now on frames are rendered with their depth images only, for callers that look at
    // nothing else; what is in bgr and nv12 is left as it is.
    void leave_out_colours() { colours_ = Colours::kNone; }

    // Advances by one frame like next() but leaves the images untouched; much faster.
    bool next_truth(Frame& frame);

  private:
    bool produce(Frame& frame, bool images);

    SceneInfo info_;
    std::uint64_t seed_;  // of floor and noise
    std::unique_ptr<World> world_;
    std::unique_ptr<Turn> turn_;
    std::unique_ptr<Renderer> renderer_;  // made at the first rendered frame
    std::int64_t next_index_ = 0;
    Colours colours_ = Colours::kAll;
};

// How a built-in scene is taken.
struct CaptureOptions {
    std::optional<double> fps;    // the scene's own
    Noise noise = Noise::kPlain;  // of the depth sensor
};

// A built-in scene that lasts for `seconds`, which must be above 0, or for its own time when they
// are not given; with infinity it never ends. People arrive until shortly before the end, or before
// the end of the scene's own time if that is later: a shorter scene is the beginning of the full
// one. Throws std::invalid_argument like scene_info(), and for any other length.
Simulator make_scene(const std::string& name, std::uint64_t seed = 1,
                     std::optional<double> seconds = {}, const CaptureOptions& capture = {});

// What is about in the scene "clutter": "chairs", "prams" and so on.
std::vector<std::string> clutter_names();

// The scene "clutter" with only some of it. Throws std::invalid_argument for an unknown kind too.
Simulator make_clutter(const std::vector<std::string>& kinds, std::uint64_t seed = 1,
                       std::optional<double> seconds = {}, const CaptureOptions& capture = {});

// People who walk under a camera with this height and lens, both ways through a passage as wide as
// the picture is at the height of heads, over a line across it.
Simulator make_siting_scene(const Camera& camera, std::uint64_t seed = 1,
                            const CaptureOptions& capture = {});

// Names of the built-in sites: places for several cameras.
std::vector<std::string> site_names();

// What one camera sees of a site. The people and their paths depend only on site and seed; floor
// and sensor noise also depend on the camera. A line runs below the camera from one long side of
// the site towards the other; lines and regions are in the camera's own world. `seconds` is as in
// make_scene(). Throws std::invalid_argument for an unknown site (listing the known ones), when the
// camera hangs lower than 2.2 m or higher than 15 m, or for an invalid length.
Simulator make_site_view(const std::string& site, std::uint64_t seed, const CameraPlace& place,
                         std::optional<double> seconds = {});

// People who walk as recorded in a trajectory file (sim/trajectory.h). Throws std::out_of_range
// when none of them comes into view, std::runtime_error naming file and line when the file cannot
// be read, std::invalid_argument for an impossible camera height.
Simulator make_trajectory_scene(const std::string& path, const TrajectoryOptions& options = {});

}  // namespace sim
