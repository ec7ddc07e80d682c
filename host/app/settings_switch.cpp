// From a file that has changed to a configuration of the library.
#include "host/app/settings_switch.h"

#include <algorithm>
#include <utility>

namespace host {
namespace {

// Somebody who stands on a line may do so for hours; then a new start costs less than waiting.
constexpr double kLongestWait_s = 60.0;

// What can change between two frames is taken over, so that the rest can be compared.
RunOptions with_places_of(RunOptions options, const RunOptions& other) {
    options.lines = other.lines;
    options.regions = other.regions;
    options.no_regions = other.no_regions;
    options.exclusions = other.exclusions;
    options.group_counting = other.group_counting;
    options.group_min = other.group_min;
    options.group_max = other.group_max;
    return options;
}

bool differ_in_places_only(const RunOptions& a, const RunOptions& b) {
    return config_text(with_places_of(a, b)) == config_text(b);
}

}  // namespace

SettingsSwitch::SettingsSwitch(RunPlan& plan, std::atomic<bool>& asked,
                               std::function<RunOptions()> read, SettingsListener& listener)
    : plan_(plan),
      asked_(asked),
      read_(std::move(read)),
      listener_(listener),
      slots_(plan.lines, plan.regions) {
    plan_.lines = slots_.lines();
    plan_.regions = slots_.regions();
    plan_.park_unused_lines = true;
}

void SettingsSwitch::end_frame(const PassReport& report) {
    slots_.end_frame(report);
    ready_ = slots_.could_settle();
}

void SettingsSwitch::before_frame(Session& session, double time_s) {
    last_s_ = time_s;
    if (asked_.exchange(false)) read_again(session, time_s);
    if (waiting_.empty()) return;
    if (ready_) settle(session, time_s);
    const bool too_long = std::any_of(waiting_.begin(), waiting_.end(), [&](const Waiting& each) {
        return time_s - each.since_s > kLongestWait_s;
    });
    if (too_long) listener_.needs_restart("somebody has stood on a changed line for too long");
}

// Nothing changes before everything is known to be right.
void SettingsSwitch::read_again(Session& session, double time_s) {
    try {
        const RunOptions options = read_();
        PlanPlaces places = settle_places(options, *plan_.source);
        listener_.accepted();
        if (config_text(options) == config_text(plan_.options)) return;
        if (!differ_in_places_only(options, plan_.options))
            return listener_.needs_restart("other settings than lines, regions and groups changed");
        switch_to(session, options, std::move(places), time_s);
    } catch (const InputError& error) {
        listener_.refused(error.what());
    }
}

void SettingsSwitch::switch_to(Session& session, const RunOptions& options, PlanPlaces places,
                               double time_s) {
    session.finish_frames();
    plan_.options = with_places_of(plan_.options, options);
    plan_.exclusions = std::move(places.exclusions);
    slots_.want(std::move(places.lines), std::move(places.regions));
    put_in_force(session, time_s);
    listener_.changed(time_s);
    note_waiting(time_s);
}

void SettingsSwitch::settle(Session& session, double time_s) {
    session.finish_frames();
    if (!slots_.settle()) return;
    put_in_force(session, time_s);
    listener_.moved(time_s);
    note_waiting(time_s);
}

void SettingsSwitch::put_in_force(Session& session, double time_s) {
    plan_.lines = slots_.lines();
    plan_.regions = slots_.regions();
    session.configure(plan_config(plan_));
    ready_ = false;
    last_s_ = time_s;
}

// Those that wait no longer were not counted until now; those that begin to wait are noted.
void SettingsSwitch::note_waiting(double time_s) {
    std::vector<Waiting> now;
    for (const std::string& name : slots_.waiting_lines())
        now.push_back({"line \"" + name + "\"", time_s});
    for (const std::string& name : slots_.waiting_regions())
        now.push_back({"region \"" + name + "\"", time_s});
    for (const Waiting& before : std::exchange(waiting_, {})) {
        const auto still = std::find(now.begin(), now.end(), before);
        if (still == now.end()) {
            tell_not_counted(before, time_s);
        } else {
            still->since_s = before.since_s;
        }
    }
    waiting_ = std::move(now);
}

void SettingsSwitch::tell_not_counted(const Waiting& waiting, double until_s) {
    listener_.not_counted(waiting.since_s, until_s,
                          waiting.what +
                              " was not counted after a change of the settings, until nobody in "
                              "view had been on its place in the library");
}

void SettingsSwitch::finish() {
    for (const Waiting& waiting : std::exchange(waiting_, {}))
        tell_not_counted(waiting, last_s_);
}

}  // namespace host
