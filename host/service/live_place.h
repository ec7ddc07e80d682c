// What the service knows at this moment: the place's file in force, and what its cameras have told
// last. The supervisor writes it; whoever answers questions reads it. Any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/service/camera_message.h"
#include "host/settings/service_file.h"
#include "host/sinks/camera_figures.h"

namespace host {

enum class CameraStand {
    kOffline,  // it ought to count, and does not
    kStopped,  // its recording has come to an end
    kOnline,   // it counts
};
// "offline", "stopped" or "online".
const char* camera_stand_name(CameraStand stand);

struct LiveCamera {
    CameraStand stand = CameraStand::kOffline;
    double frames_per_second = 0.0;  // of the last seconds
    // Of the process that runs; nothing before it has told, and when there is none.
    std::optional<CameraFigures> figures;
    std::optional<CameraAbout> about;
    std::optional<CameraMeasured> measured;
    CameraCommitted committed;  // the last that is safe; no epoch: nothing is known
};

class LivePlace {
  public:
    explicit LivePlace(ServiceFile file);

    // Never null.
    std::shared_ptr<const ServiceFile> file() const;
    // One that nothing is known of is offline.
    LiveCamera camera(const std::string& name) const;

    // Cameras that the file does not have are forgotten.
    void take_over(const ServiceFile& file);
    void hear(const std::string& camera, const CameraMessage& message);
    // The process of a camera is gone, for good when it has come to the end of its recording.
    void ended(const std::string& camera, CameraStand stand);

    // A camera is to measure again how it hangs; the supervisor takes what was asked for.
    void ask_to_measure(const std::string& camera);
    std::vector<std::string> take_to_measure();
    // Nobody is in an area, somebody says; one that the place does not have is left out.
    void ask_to_reset(const std::string& area);
    std::vector<std::string> take_to_reset();

    // Somebody is about to write a file of settings with this text for a camera.
    void note_settings(const std::string& camera, const std::string& text, SettingsAuthor by);
    // Who has written one with this text.
    SettingsAuthor author_of(const std::string& camera, const std::string& text) const;
    // Why the camera has refused what was noted last; empty while it has not.
    std::string refusal(const std::string& camera) const;

  private:
    using Time = std::chrono::steady_clock::time_point;
    struct Known {
        LiveCamera now;
        std::deque<std::pair<Time, std::int64_t>> finished;  // frames, beat by beat
    };

    void hear_beat(Known& known, const CameraBeat& beat);

    mutable std::mutex mutex_;
    std::shared_ptr<const ServiceFile> file_;
    std::map<std::string, Known> cameras_;
    std::set<std::string> to_measure_;
    std::set<std::string> to_reset_;
    struct Noted {
        std::string text;
        SettingsAuthor by;
        std::string refusal;
    };
    std::map<std::string, Noted> noted_;  // the last, by camera
};

}  // namespace host
