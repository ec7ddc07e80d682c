// People who walk as recorded in a trajectory file.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "sim/simulator.h"
#include "sim/trajectory.h"
#include "sim/world.h"

namespace sim {
namespace {

constexpr double kSmooth_s = 0.8;        // window of the walking direction
constexpr double kLeastMotion_m = 0.12;  // less within a window is swaying on the spot
constexpr double kCrowded_per_m2 = 1.0;
constexpr double kLowestCamera_m = 1.5;
constexpr double kHighestCamera_m = 15.0;
constexpr double kHeadRoom_m = 0.2;     // between the tallest head and the camera
constexpr double kTypicalHead_m = 1.7;  // above the floor

struct Step {
    Point at;
    Point direction;  // unit vector
    double speed = 0.0;
    double phase = 0.0;
};

// One person's track without gaps.
struct Track {
    int id = 0;
    std::int64_t first = 0;  // frame
    std::vector<Step> steps;
    Look look;
};

using Samples = std::vector<TrajectorySample>;

// From the file's axes (y up) to the world's (y down the image), in metres below the camera.
class Placement {
  public:
    Placement(const Samples& samples, const TrajectoryOptions& options)
        : centre_(options.centre), rotate_(options.rotate_90) {
        if (options.centre_given) return;
        Point low{1e300, 1e300};
        Point high{-1e300, -1e300};
        for (const TrajectorySample& s : samples) {
            low = {std::min(low.x_m, s.x_m), std::min(low.y_m, s.y_m)};
            high = {std::max(high.x_m, s.x_m), std::max(high.y_m, s.y_m)};
        }
        centre_ = {0.5 * (low.x_m + high.x_m), 0.5 * (low.y_m + high.y_m)};
    }

    Point operator()(const TrajectorySample& s) const {
        const double right = s.x_m - centre_.x_m;
        const double up = s.y_m - centre_.y_m;
        return rotate_ ? Point{-up, -right} : Point{right, -up};
    }

  private:
    Point centre_;
    bool rotate_;
};

double norm(const Point& p) {
    return std::sqrt(p.x_m * p.x_m + p.y_m * p.y_m);
}

void find_motion(Track& track, double fps) {
    const auto count = static_cast<std::int64_t>(track.steps.size());
    const auto half = std::max<std::int64_t>(1, static_cast<std::int64_t>(0.5 * kSmooth_s * fps));
    const auto step = [&track](std::int64_t i) -> Step& {
        return track.steps[static_cast<std::size_t>(i)];
    };
    Point direction{0.0, 0.0};
    std::int64_t undirected = 0;  // steps before the first clear motion
    double phase = 0.0;
    for (std::int64_t i = 0; i < count; ++i) {
        const std::int64_t a = std::max<std::int64_t>(0, i - half);
        const std::int64_t b = std::min(count - 1, i + half);
        const Point move{step(b).at.x_m - step(a).at.x_m, step(b).at.y_m - step(a).at.y_m};
        const double length = norm(move);
        if (length > kLeastMotion_m) {
            direction = {move.x_m / length, move.y_m / length};
            for (; undirected < i; ++undirected)
                step(undirected).direction = direction;
            undirected = count;
        }
        if (undirected == count) step(i).direction = direction;
        step(i).speed = b > a ? length * fps / static_cast<double>(b - a) : 0.0;
        const double pair_m = track.look.height_m * (0.37 + 0.35 * std::min(step(i).speed, 1.6));
        phase += 2.0 * kPi * step(i).speed / fps / pair_m;
        step(i).phase = phase;
    }
    if (undirected != count) {
        for (Step& s : track.steps)
            s.direction = {0.0, 1.0};
    }
}

// Samples [begin, end) belong to one person. Single missing frames are filled in, longer gaps end
// the track.
void add_tracks(const Samples& samples, std::size_t begin, std::size_t end, const Placement& place,
                double fps, std::uint64_t seed, std::vector<Track>& tracks) {
    Track track;
    track.id = samples[begin].id;
    double height = 0.0;
    for (std::size_t i = begin; i < end; ++i)
        height = std::max(height, samples[i].z_m);
    Rng rng(seed ^ mix64(static_cast<std::uint64_t>(track.id)));
    track.look = random_look(rng, height);
    const auto finish = [&] {
        find_motion(track, fps);
        tracks.push_back(track);
        track.steps.clear();
    };
    for (std::size_t i = begin; i < end; ++i) {
        const Point at = place(samples[i]);
        if (i > begin) {
            const std::int64_t missing = samples[i].frame - samples[i - 1].frame - 1;
            if (missing == 1) {
                const Point last = track.steps.back().at;
                track.steps.push_back(
                    {{0.5 * (last.x_m + at.x_m), 0.5 * (last.y_m + at.y_m)}, {}, 0.0, 0.0});
            } else if (missing > 1) {
                finish();
            }
        }
        if (track.steps.empty()) track.first = samples[i].frame;
        track.steps.push_back({at, {}, 0.0, 0.0});
    }
    finish();
}

std::vector<Track> make_tracks(const TrajectoryFile& file, const TrajectoryOptions& options) {
    const Placement place(file.samples, options);
    std::vector<Track> tracks;
    std::size_t begin = 0;
    for (std::size_t i = 1; i <= file.samples.size(); ++i) {
        if (i < file.samples.size() && file.samples[i].id == file.samples[begin].id) continue;
        add_tracks(file.samples, begin, i, place, file.fps, options.seed, tracks);
        begin = i;
    }
    return tracks;
}

class Replay : public World {
  public:
    Replay(std::vector<Track> tracks, std::int64_t first_frame)
        : tracks_(std::move(tracks)), frame_(first_frame) {}

    void step(std::vector<Pose>& people) override {
        people.clear();
        for (const Track& track : tracks_) {
            const std::int64_t i = frame_ - track.first;
            if (i < 0 || i >= static_cast<std::int64_t>(track.steps.size())) continue;
            people.push_back(pose_of(track, track.steps[static_cast<std::size_t>(i)]));
        }
        ++frame_;
    }

  private:
    static Pose pose_of(const Track& track, const Step& step) {
        Pose pose;
        pose.id = track.id;
        pose.x_m = step.at.x_m;
        pose.y_m = step.at.y_m;
        pose.dir_x = step.direction.x_m;
        pose.dir_y = step.direction.y_m;
        pose.phase = step.phase;
        pose.stride = clamp(step.speed / 1.3, 0.0, 1.2);
        pose.look = track.look;
        return pose;
    }

    std::vector<Track> tracks_;
    std::int64_t frame_;
};

// Half of what is seen at head height, or well below a camera that hangs barely higher.
Point half_view_of_heads(const Camera& camera) {
    return camera.half_view(std::min(kTypicalHead_m, 0.7 * camera.height_m));
}

std::string in_mm(double metres) {
    return std::to_string(std::lround(1000.0 * metres)) + " mm";
}

void check_range(double camera_height_m) {
    if (camera_height_m >= kLowestCamera_m && camera_height_m <= kHighestCamera_m) return;
    throw std::invalid_argument("the camera's height over the floor is " + in_mm(camera_height_m) +
                                "; it must be 1500 to 15000 mm");
}

void check_head_room(const TrajectoryFile& file, double camera_height_m) {
    const auto tallest = std::max_element(
        file.samples.begin(), file.samples.end(),
        [](const TrajectorySample& a, const TrajectorySample& b) { return a.z_m < b.z_m; });
    const double least_m = tallest->z_m + kHeadRoom_m;
    if (camera_height_m >= least_m) return;
    throw std::invalid_argument("a camera at " + in_mm(camera_height_m) +
                                " does not hang clear of person " + std::to_string(tallest->id) +
                                ", who is " + in_mm(tallest->z_m) + " tall; at least " +
                                in_mm(least_m) + " are needed");
}

// A line below the camera, across the axis along which people move more.
CountingLine default_line(const std::vector<Track>& tracks, const Camera& camera) {
    double along_x = 0.0;
    double along_y = 0.0;
    for (const Track& track : tracks) {
        along_x += std::abs(track.steps.back().at.x_m - track.steps.front().at.x_m);
        along_y += std::abs(track.steps.back().at.y_m - track.steps.front().at.y_m);
    }
    const Point half = half_view_of_heads(camera);
    if (along_x > along_y) return {"middle", {{0.0, -half.y_m}, {0.0, half.y_m}}, {}};
    return {"middle", {{-half.x_m, 0.0}, {half.x_m, 0.0}}, {}};
}

// Most people at once in the rectangle seen at head height, per square metre.
double peak_density(const std::vector<Track>& tracks, const Camera& camera, std::int64_t first,
                    std::int64_t last) {
    const Point half = half_view_of_heads(camera);
    std::vector<int> counts(static_cast<std::size_t>(last - first + 1));
    for (const Track& track : tracks) {
        for (std::size_t i = 0; i < track.steps.size(); ++i) {
            const Point& at = track.steps[i].at;
            if (std::abs(at.x_m) > half.x_m || std::abs(at.y_m) > half.y_m) continue;
            ++counts[static_cast<std::size_t>(track.first - first) + i];
        }
    }
    return *std::max_element(counts.begin(), counts.end()) / (4.0 * half.x_m * half.y_m);
}

[[noreturn]] void fail_nobody_in_view(const TrajectoryFile& file) {
    double least[2] = {INFINITY, INFINITY};
    double most[2] = {-INFINITY, -INFINITY};
    for (const TrajectorySample& sample : file.samples) {
        const double at[2] = {sample.x_m, sample.y_m};
        for (int axis = 0; axis < 2; ++axis) {
            least[axis] = std::min(least[axis], at[axis]);
            most[axis] = std::max(most[axis], at[axis]);
        }
    }
    std::ostringstream text;
    text << "nobody comes into the camera's view; the walks go from " << least[0] << "," << least[1]
         << " to " << most[0] << "," << most[1] << " m, give --camera-at X,Y among them";
    throw std::out_of_range(text.str());
}

}  // namespace

Simulator make_trajectory_scene(const std::string& path, const TrajectoryOptions& options) {
    check_range(options.camera_height_m);
    const TrajectoryFile file = read_trajectory_file(path, options.fps);
    check_head_room(file, options.camera_height_m);
    const auto [low, high] = std::minmax_element(
        file.samples.begin(), file.samples.end(),
        [](const TrajectorySample& a, const TrajectorySample& b) { return a.frame < b.frame; });
    const std::int64_t first = low->frame;
    const std::int64_t last = high->frame;
    std::vector<Track> tracks = make_tracks(file, options);

    SceneInfo info;
    info.name = std::filesystem::path(path).stem().string();
    info.description = "Walks recorded in " + std::filesystem::path(path).filename().string();
    info.camera.height_m = options.camera_height_m;
    info.noise = options.noise;
    info.line_height_m = std::min(info.line_height_m, 0.7 * options.camera_height_m);
    info.fps = file.fps;
    info.duration_s = static_cast<double>(last - first + 1) / file.fps;
    info.lines = options.lines;
    if (info.lines.empty()) info.lines.push_back(default_line(tracks, info.camera));
    const double peak_per_m2 = peak_density(tracks, info.camera, first, last);
    if (peak_per_m2 == 0.0) fail_nobody_in_view(file);
    info.crowded = peak_per_m2 > kCrowded_per_m2;
    auto world = std::make_unique<Replay>(std::move(tracks), first);
    return {std::move(info), std::move(world), options.seed};
}

}  // namespace sim
