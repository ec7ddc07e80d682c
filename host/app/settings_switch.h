// Other settings for a camera while it counts: lines, regions, exclusion areas and groups change
// from one frame to the next; what else is different needs a new start of the camera.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/app/run.h"
#include "host/engine/place_slots.h"
#include "host/engine/session.h"

namespace host {

// What is told about changes, on the thread that feeds the frames, while no pass is running.
struct SettingsListener {
    virtual ~SettingsListener() = default;
    // The plan has them already; they are in force from the frame at this scene time on.
    virtual void changed(double time_s) = 0;
    // Something of the plan's lines or regions has come into force, or gone out of it.
    virtual void moved(double time_s) = 0;
    // What was read is right, whether it changes something or not.
    virtual void accepted() = 0;
    // Nothing has changed, with a sentence.
    virtual void refused(const std::string& why) = 0;
    // A line or region was not counted between these scene times, with a sentence.
    virtual void not_counted(double from_s, double to_s, const std::string& why) = 0;
    // The camera is to end, and to be started again with them.
    virtual void needs_restart(const std::string& why) = 0;
};

class SettingsSwitch final : public Sink {
  public:
    // `read` gives the settings, or throws InputError; it is called when `asked` has turned true,
    // which is then false again. The plan must be prepared, and outlive this.
    SettingsSwitch(RunPlan& plan, std::atomic<bool>& asked, std::function<RunOptions()> read,
                   SettingsListener& listener);

    // Between two frames, on the thread that feeds them; `time_s` is the scene time of the next
    // one.
    void before_frame(Session& session, double time_s);

    void on_event(const Event& event) override { slots_.on_event(event); }
    void end_frame(const PassReport& report) override;
    // What waits until now was not counted.
    void finish() override;

  private:
    struct Waiting {
        std::string what;  // such as: line "door"
        double since_s = 0.0;
        bool operator==(const Waiting& other) const { return what == other.what; }
    };

    void read_again(Session& session, double time_s);
    void switch_to(Session& session, const RunOptions& options, PlanPlaces places, double time_s);
    void settle(Session& session, double time_s);
    void put_in_force(Session& session, double time_s);
    void note_waiting(double time_s);
    void tell_not_counted(const Waiting& waiting, double until_s);

    RunPlan& plan_;
    std::atomic<bool>& asked_;
    const std::function<RunOptions()> read_;
    SettingsListener& listener_;
    PlaceSlots slots_;
    std::atomic<bool> ready_{false};  // a line or region that waits could get a slot
    std::vector<Waiting> waiting_;
    double last_s_ = 0.0;
};

}  // namespace host
