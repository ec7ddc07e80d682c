// Frame by frame: poses, truth, images.
#include "sim/simulator.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "sim/renderer.h"
#include "sim/tilt.h"
#include "sim/world.h"

namespace sim {
namespace {

Box clipped(const Rect& r) {
    const int x0 = std::clamp(r.x0, 0, kColourWidth);
    const int y0 = std::clamp(r.y0, 0, kColourHeight);
    const int x1 = std::clamp(r.x1, x0, kColourWidth);
    const int y1 = std::clamp(r.y1, y0, kColourHeight);
    return {x0, y0, x1 - x0, y1 - y0};
}

// A person's head and shoulders, as large as they are straight below the camera, about a pixel.
Rect box_about(const Pixel& middle, const Camera& camera, Pose pose) {
    pose.x_m = pose.y_m = 0.0;
    Model alone;
    const Rect r = add_person(camera, pose, alone).box;
    const int u = static_cast<int>(std::floor(middle.u));
    const int v = static_cast<int>(std::floor(middle.v));
    const int half_w = (r.x1 - r.x0) / 2;
    const int half_h = (r.y1 - r.y0) / 2;
    return {u - half_w, v - half_h, u + half_w, v + half_h};
}

PersonTruth truth_of(const Camera& camera, const Turn& turn, const Pose& pose) {
    PersonTruth t;
    t.id = pose.id;
    t.x_m = pose.x_m;
    t.y_m = pose.y_m;
    t.height_mm = 1000.0 * pose.look.height_m;
    const Pixel head = camera.project(pose.x_m, pose.y_m, pose.look.height_m);
    t.head_u = head.u;
    t.head_v = head.v;
    t.box = clipped(box_about(head, camera, pose));
    const std::optional<Pixel> shown = turn.pixel(camera, head);
    t.in_view = in_image(head) && shown && in_image(*shown);
    t.staff = pose.look.vest != Vest::kNone;
    return t;
}

// The pose in the world of a camera that hangs somewhere over the site.
Pose as_seen(const CameraPlace& place, const Pose& pose) {
    Pose seen = pose;
    const Point at = to_camera(place, {pose.x_m, pose.y_m});
    const Point direction = direction_to_camera(place, {pose.dir_x, pose.dir_y});
    seen.x_m = at.x_m;
    seen.y_m = at.y_m;
    seen.dir_x = direction.x_m;
    seen.dir_y = direction.y_m;
    return seen;
}

bool leaves_trace(const Outline& outline) {
    const Box seen = clipped(outline.box);
    return seen.w > 0 && seen.h > 0;
}

}  // namespace

Simulator::Simulator(SceneInfo info, std::unique_ptr<World> world, std::uint64_t seed)
    : info_(std::move(info)),
      seed_(seed),
      world_(std::move(world)),
      turn_(std::make_unique<Turn>(Tilt{})) {}

Simulator::~Simulator() = default;
Simulator::Simulator(Simulator&&) noexcept = default;
Simulator& Simulator::operator=(Simulator&&) noexcept = default;

void Simulator::tilt(const Tilt& tilt) {
    constexpr double kMost_deg = 20.0;
    for (const double angle : {tilt.roll_deg, tilt.pitch_deg}) {
        if (!(std::abs(angle) <= kMost_deg))
            throw std::invalid_argument("a camera can hang crooked by at most 20 degrees each way");
    }
    *turn_ = Turn(tilt);
}

std::optional<Pixel> Simulator::shown_at(const Pixel& level) const {
    return turn_->pixel(info_.camera, level);
}

bool Simulator::next(Frame& frame) {
    return produce(frame, true);
}

bool Simulator::next_truth(Frame& frame) {
    return produce(frame, false);
}

bool Simulator::produce(Frame& frame, bool images) {
    if (static_cast<double>(next_index_) >= std::floor(info_.duration_s * info_.fps + 0.5)) {
        return false;
    }
    frame.index = next_index_++;
    frame.time_s = static_cast<double>(frame.index) / info_.fps;
    std::vector<Pose> people;
    world_->step(people);
    std::vector<Point> on_site;
    for (Pose& pose : people) {
        on_site.push_back({pose.x_m, pose.y_m});
        if (info_.place) pose = as_seen(*info_.place, pose);
    }

    Model model;
    model.materials.push_back({});
    std::vector<Outline> outlines;
    for (const Pose& pose : people)
        outlines.push_back(add_person(info_.camera, pose, model));
    add_things(info_.camera, world_->things(), model);
    if (images && !turn_->is_level()) model = (*turn_)(info_.camera, model);
    if (images) {
        if (!renderer_)
            renderer_ = std::make_unique<Renderer>(info_.camera, *turn_, seed_, info_.noise);
        renderer_->render(model, people, colours_, frame);
    }
    frame.truth.clear();
    for (std::size_t i = 0; i < people.size(); ++i) {
        PersonTruth t = truth_of(info_.camera, *turn_, people[i]);
        t.site = on_site[i];
        if (!leaves_trace(outlines[i]) && !info_.place) continue;
        if (images) {
            const Outline shown =
                turn_->is_level() ? outlines[i] : Turn::outline(outlines[i], model);
            t.visible = renderer_->visible_share(model, shown);
        }
        frame.truth.push_back(t);
    }
    return true;
}

}  // namespace sim
