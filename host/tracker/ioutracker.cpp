// The tracker functions that the analysis calls, on two independent instances.
#include <chrono>
#include <optional>

#include "host/inference/models.h"
#include "host/platform/pass_observer.h"
#include "host/tracker/iou_tracker.h"
#include "host/tracker/tracking.h"

namespace {

struct Instance {
    std::optional<host::IouTracker> tracker;
    std::vector<IOU_TRK_OBJ_S> objects;  // of this frame, for the observer
    int next_id = 1;                     // survives a restart, so that an id never means two people
    std::optional<double> updated_s;     // scene time of the last frame
};

// The instance that follows what the device's own camera sees; the other one follows the people of
// all devices.
constexpr int kOwnCamera = 0;

double frame_time_s = 0.0;

Instance* instance(int inst) {
    static Instance instances[2];
    return inst == 0 || inst == 1 ? &instances[inst] : nullptr;
}

host::IouTracker* running(int inst) {
    Instance* const found = instance(inst);
    return found != nullptr && found->tracker ? &*found->tracker : nullptr;
}

// Since the last frame of this instance, as far as the times of the frames tell.
float interval_s(Instance& one) {
    const double last_s = one.updated_s.value_or(frame_time_s);
    one.updated_s = frame_time_s;
    return frame_time_s > last_s ? static_cast<float>(frame_time_s - last_s)
                                 : host::IouTracker::kUsualInterval_s;
}

}  // namespace

void host::set_tracking_time(double scene_s) {
    frame_time_s = scene_s;
}

std::vector<host::ExpectedHead> host::expected_heads() {
    const IouTracker* const tracker = running(kOwnCamera);
    return tracker != nullptr ? tracker->expected_heads() : std::vector<ExpectedHead>{};
}

extern "C" {

int ioutracker_init(int inst, int max_lost, int min_hits) {
    Instance* const found = instance(inst);
    if (found == nullptr) return -1;
    if (found->tracker) found->next_id = found->tracker->next_id();
    found->tracker.emplace(max_lost, min_hits);
    found->tracker->set_next_id(found->next_id);
    found->updated_s.reset();
    return 0;
}

int ioutracker_set_conf_thresh(int inst, float lo, float hi) {
    host::IouTracker* const tracker = running(inst);
    if (tracker == nullptr) return -1;
    tracker->set_conf_thresh(lo, hi);
    return 0;
}

int ioutracker_objects_reset(int inst) {
    host::IouTracker* const tracker = running(inst);
    if (tracker == nullptr) return -1;
    tracker->reset_objects();
    instance(inst)->objects.clear();
    return 0;
}

int ioutracker_add_object(int inst, const IOU_TRK_OBJ_S* obj) {
    host::IouTracker* const tracker = running(inst);
    if (tracker == nullptr || obj == nullptr) return -1;
    const host::FoundHead* const head =
        inst == kOwnCamera ? host::head_in_box(obj->x + obj->w / 2, obj->y + obj->h / 2) : nullptr;
    const bool added = head != nullptr ? tracker->add_object(*obj, head->at, head->seen)
                                       : tracker->add_object(*obj);
    if (!added) return -1;
    if (host::pass_observer() != nullptr) instance(inst)->objects.push_back(*obj);
    return 0;
}

IOU_TRK_RSLT_S ioutracker_update(int inst) {
    IOU_TRK_RSLT_S result{};
    host::IouTracker* const tracker = running(inst);
    const auto start = std::chrono::steady_clock::now();
    if (tracker != nullptr) tracker->update(result, interval_s(*instance(inst)));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    host::PassObserver* const observer = host::pass_observer();
    if (tracker != nullptr && observer != nullptr) {
        observer->tracked(inst, instance(inst)->objects, result, elapsed);
    }
    return result;
}

int ioutracker_uninit(int inst) {
    Instance* const found = instance(inst);
    if (found == nullptr) return -1;
    if (found->tracker) found->next_id = found->tracker->next_id();
    found->tracker.reset();
    return 0;
}

}  // extern "C"
