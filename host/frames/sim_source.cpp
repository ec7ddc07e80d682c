// Adapter from the simulator to the host's frames and truth.
#include "host/frames/sim_source.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>

#include "host/base/readable_file.h"
#include "sim/crossings.h"

namespace host {
namespace {

constexpr double kWalksHeight_m = 6.0;
constexpr int kBorder_px = 20;  // boxes nearer to the picture's edge need not be found
constexpr double kTallest_m = 2.1;
constexpr double kMostlySeen = 0.5;  // share of head and shoulders that nothing hides

class SimSource final : public FrameSource {
  public:
    SimSource(sim::Simulator simulator, std::string kind, bool foot_point)
        : simulator_(std::move(simulator)),
          plane_m_(foot_point ? 0.0 : simulator_.info().line_height_m) {
        const sim::SceneInfo& scene = simulator_.info();
        info_.kind = std::move(kind);
        info_.name = scene.name;
        info_.description = scene.description;
        info_.frames_per_second = scene.fps;
        info_.duration_s = scene.duration_s;
        info_.camera = depth_camera(scene.camera);
        info_.sensor = {
            kDepthWidth,     kDepthHeight,           info_.camera.fx,
            info_.camera.fy, info_.camera.cx,        info_.camera.cy,
            scene.fps,       info_.camera.height_mm, PictureSize{kColourWidth, kColourHeight}};
        for (const sim::CountingLine& line : scene.lines)
            info_.lines.push_back(to_pixels(line));
        for (const sim::CountingRegion& region : scene.regions)
            info_.regions.push_back({region.name, to_pixels(region.points)});
        info_.group_counting = scene.group_counting;
        info_.crowded = scene.crowded;
        info_.has_truth = true;
        info_.has_colour = true;
        info_.black_mm = 1100.0 * scene.camera.height_m;
        simulator_.leave_out_bgr();
    }

    bool next(SourceFrame& frame) override {
        frame_.nv12.swap(frame.planes.colour_nv12);
        frame_.depth_nv12.swap(frame.planes.depth_nv12);
        frame_.raw_mm.swap(frame.planes.raw_mm);
        frame_.nv12.resize(kColourWidth * kColourHeight * 3 / 2);
        const bool more = simulator_.next(frame_);
        frame_.nv12.swap(frame.planes.colour_nv12);
        frame_.depth_nv12.swap(frame.planes.depth_nv12);
        frame_.raw_mm.swap(frame.planes.raw_mm);
        if (!more) return false;
        frame.number = frame_.index;
        frame.time_s = whole_microseconds(frame_.time_s);
        frame.planes.taken.width = 0;
        frame.planes.blank = false;
        copy_truth(frame);
        return true;
    }

    void skip(std::int64_t frames) override {
        while (frames-- > 0 && simulator_.next_truth(frame_)) {
        }
    }

    void count_truth(const std::vector<CountingLine>& lines) override {
        counted_.clear();
        warnings_.clear();
        for (const CountingLine& line : lines) {
            const sim::CountingLine on_floor = to_floor(line);
            counted_.push_back({on_floor, sim::CrossingCounter({on_floor}), line.flip});
            warn_of_edge(on_floor);
        }
    }

    std::vector<std::string> warnings() const override { return warnings_; }

    std::vector<TrueCrossing> settle_truth() override {
        std::vector<TrueCrossing> crossings;
        for (std::size_t i = 0; i < counted_.size(); ++i) {
            if (counted_[i].line.uturn_area.empty()) continue;
            sim::Frame gone;
            gone.index = frame_.index + 1;
            for (sim::PersonTruth person : frame_.truth) {
                if (!person.in_view) continue;
                walk_away(counted_[i].line.points, person);
                gone.truth.push_back(person);
            }
            add_crossings(i, gone, crossings);
        }
        return crossings;
    }

  private:
    // The depth image shows the same field as the 960 x 544 picture. Pixel (u, v) of the picture
    // is depth pixel (u * 480 / 960, v * 256 / 544).
    static CameraModel depth_camera(const sim::Camera& camera) {
        const double sx = static_cast<double>(sim::kDepthWidth) / sim::kColourWidth;
        const double sy = static_cast<double>(sim::kDepthHeight) / sim::kColourHeight;
        return {camera.focal_px * sx, camera.focal_px * sy, sim::kCentreU * sx, sim::kCentreV * sy,
                camera.height_m * 1000.0};
    }

    std::vector<PicturePoint> to_pixels(const std::vector<sim::Point>& points) const {
        std::vector<PicturePoint> pixels;
        for (const sim::Point& p : points) {
            const sim::Pixel pixel = simulator_.info().camera.project(p.x_m, p.y_m, plane_m_);
            pixels.push_back({pixel.u, pixel.v});
        }
        return pixels;
    }

    CountingLine to_pixels(const sim::CountingLine& line) const {
        return {line.name, to_pixels(line.points), !line.uturn_area.empty(),
                to_pixels(line.uturn_area), false};
    }

    std::vector<sim::Point> to_floor(const std::vector<PicturePoint>& pixels) const {
        std::vector<sim::Point> points;
        for (const PicturePoint& p : pixels) {
            points.push_back(simulator_.info().camera.unproject(p.x, p.y, plane_m_));
        }
        return points;
    }

    sim::CountingLine to_floor(const CountingLine& line) const {
        std::vector<sim::Point> area = to_floor(line.uturn_area);
        if (line.uturn_filter && area.empty()) {
            // The filter without an area judges a person's whole way through the picture. This is
            // the part of the floor over which even the tallest heads are in view.
            const sim::Camera& camera = simulator_.info().camera;
            const sim::Point half = camera.half_view(std::min(kTallest_m, 0.7 * camera.height_m));
            area = {{-half.x_m, -half.y_m},
                    {half.x_m, -half.y_m},
                    {half.x_m, half.y_m},
                    {-half.x_m, half.y_m}};
        }
        return {line.name, to_floor(line.points), std::move(area)};
    }

    // Nobody can be followed across a line if one side of it lies where heads have left the
    // picture, though the truth goes on counting there.
    void warn_of_edge(const sim::CountingLine& line) {
        const std::optional<sim::Point> hidden = hidden_place(line.points);
        if (!hidden) return;
        const sim::Pixel at = simulator_.info().camera.project(hidden->x_m, hidden->y_m, plane_m_);
        warnings_.push_back(
            "people who cross \"" + line.name + "\" near " + std::to_string(std::lround(at.u)) +
            "," + std::to_string(std::lround(at.v)) +
            " have their heads outside the picture, so what is counted there may differ from the "
            "truth; keep the line farther from the picture's edge");
    }

    // The first place on a line from which a person's head, a little way to either side, is out of
    // the picture.
    std::optional<sim::Point> hidden_place(const std::vector<sim::Point>& line) const {
        constexpr double kStep_m = 0.05;
        for (std::size_t i = 1; i < line.size(); ++i) {
            const sim::Point& a = line[i - 1];
            const sim::Point way{line[i].x_m - a.x_m, line[i].y_m - a.y_m};
            const double length = std::hypot(way.x_m, way.y_m);
            if (length == 0.0) continue;
            const sim::Point aside{sim::kCrossingDepth_m * way.y_m / length,
                                   -sim::kCrossingDepth_m * way.x_m / length};
            const int steps = static_cast<int>(std::ceil(length / kStep_m));
            for (int k = 0; k <= steps; ++k) {
                const double part = static_cast<double>(k) / steps;
                const sim::Point at{a.x_m + part * way.x_m, a.y_m + part * way.y_m};
                if (!head_seen({at.x_m + aside.x_m, at.y_m + aside.y_m}) ||
                    !head_seen({at.x_m - aside.x_m, at.y_m - aside.y_m})) {
                    return at;
                }
            }
        }
        return std::nullopt;
    }

    bool head_seen(const sim::Point& at) const {
        constexpr double kHead_m = 1.7;
        constexpr double kRounding_px = 1.0;  // lines end where the picture does
        const sim::Camera& camera = simulator_.info().camera;
        const sim::Pixel head =
            camera.project(at.x_m, at.y_m, std::min(kHead_m, 0.7 * camera.height_m));
        return shown_within(head, -kRounding_px);
    }

    // Whether a pixel is this far inside the level picture, and inside the one that is taken.
    bool shown_within(const sim::Pixel& level, double border_px) const {
        const auto inside = [border_px](const sim::Pixel& p) {
            return p.u >= border_px && p.v >= border_px && p.u <= sim::kColourWidth - border_px &&
                   p.v <= sim::kColourHeight - border_px;
        };
        const std::optional<sim::Pixel> taken = simulator_.shown_at(level);
        return inside(level) && taken && inside(*taken);
    }

    void copy_truth(SourceFrame& frame) {
        frame.people.clear();
        for (const sim::PersonTruth& person : frame_.truth) {
            const PixelBox box{person.box.x, person.box.y, person.box.w, person.box.h};
            const double right = box.x + box.w;
            const double lower = box.y + box.h;
            bool inside = true;
            for (const double u : {static_cast<double>(box.x), right})
                for (const double v : {static_cast<double>(box.y), lower})
                    inside = inside && shown_within({u, v}, kBorder_px);
            if (box.w <= 0 || box.h <= 0) continue;
            const sim::Pixel place =
                simulator_.info().camera.project(person.x_m, person.y_m, plane_m_);
            frame.people.push_back({person.id,
                                    box,
                                    person.height_mm,
                                    person.in_view && inside && person.visible >= kMostlySeen,
                                    {place.u, place.v},
                                    person.in_view,
                                    person.staff});
        }
        frame.crossings.clear();
        for (std::size_t i = 0; i < counted_.size(); ++i) {
            add_crossings(i, frame_, frame.crossings);
        }
    }

    void add_crossings(std::size_t line, const sim::Frame& frame,
                       std::vector<TrueCrossing>& crossings) {
        Counted& counted = counted_[line];
        for (const sim::Crossing& c : counted.counter.update(frame)) {
            crossings.push_back({static_cast<int>(line), c.person, c.frame,
                                 counted.flip ? 3 - c.direction : c.direction});
        }
    }

    // Moves a person straight away from the line, far beyond any area.
    static void walk_away(const std::vector<sim::Point>& line, sim::PersonTruth& person) {
        constexpr double kFar_m = 100.0;
        const double dx = line.back().x_m - line.front().x_m;
        const double dy = line.back().y_m - line.front().y_m;
        const double length = std::hypot(dx, dy);
        if (length == 0.0) return;
        const double side =
            sim::signed_distance(line, {person.x_m, person.y_m}) < 0.0 ? -kFar_m : kFar_m;
        person.x_m += side * dy / length;
        person.y_m -= side * dx / length;
    }

    struct Counted {
        sim::CountingLine line;  // floor metres
        sim::CrossingCounter counter;
        bool flip = false;
    };

    sim::Simulator simulator_;
    double plane_m_;  // height above the floor that picture coordinates refer to
    sim::Frame frame_;
    std::vector<Counted> counted_;
    std::vector<std::string> warnings_;
};

// With its camera as crooked as asked for.
sim::Simulator hung(sim::Simulator simulator, const SourceOptions& options) {
    simulator.tilt({options.camera_tilt.roll_deg, options.camera_tilt.pitch_deg});
    return simulator;
}

}  // namespace

std::unique_ptr<FrameSource> open_simulator(sim::Simulator simulator, bool foot_point) {
    return std::make_unique<SimSource>(std::move(simulator), "scene", foot_point);
}

std::unique_ptr<FrameSource> open_scene(const SourceOptions& options) {
    try {
        // A shorter run is ended by its caller: what follows from the scene's own length, such as
        // where its floor is measured, does not depend on how much of it is run.
        std::optional<double> longer = options.seconds;
        if (longer && *longer <= sim::scene_info(options.scene).duration_s) longer.reset();
        const sim::CaptureOptions capture{options.frames_per_second,
                                          sim::noise_from(options.noise)};
        return open_simulator(
            hung(sim::make_scene(options.scene, options.seed, longer, capture), options),
            options.foot_point);
    } catch (const std::invalid_argument& e) {
        throw InputError(e.what());
    }
}

std::unique_ptr<FrameSource> open_walks(const SourceOptions& options) {
    if (options.trajectories.empty()) {
        throw InputError("the source walks needs --trajectories FILE");
    }
    if (const std::string why = why_unreadable(options.trajectories); !why.empty()) {
        throw InputError("cannot read the walks \"" + options.trajectories + "\": " + why +
                         "; --trajectories needs a text file of lines \"id frame x y z\"");
    }
    sim::TrajectoryOptions walks;
    walks.camera_height_m = options.height_mm ? options.height_mm->value / 1000.0 : kWalksHeight_m;
    walks.fps = options.frames_per_second.value_or(0.0);
    walks.seed = options.seed;
    walks.noise = sim::noise_from(options.noise);
    if (options.camera_at) {
        walks.centre_given = true;
        walks.centre = {options.camera_at->x, options.camera_at->y};
    }
    try {
        return std::make_unique<SimSource>(
            hung(sim::make_trajectory_scene(options.trajectories, walks), options), "walks",
            options.foot_point);
    } catch (const std::out_of_range& e) {
        throw InputError(e.what());
    } catch (const std::invalid_argument& e) {
        throw InputError(std::string("--height: ") + e.what());
    } catch (const std::runtime_error& e) {
        throw InputError(std::string("--trajectories: ") + e.what());
    }
}

std::vector<SceneEntry> scene_list() {
    std::vector<SceneEntry> list;
    for (const std::string& name : sim::scene_names()) {
        const sim::SceneInfo info = sim::scene_info(name);
        list.push_back({name, info.description, info.duration_s, info.fps, info.lines.size(),
                        info.regions.size(), info.crowded});
    }
    return list;
}

std::vector<std::string> simulated_sensors() {
    return sim::noise_names();
}

}  // namespace host
