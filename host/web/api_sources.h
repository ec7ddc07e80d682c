// Where the handlers of the API find what they tell; functions are called on any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/base/camera.h"
#include "host/service/health.h"
#include "host/service/live_place.h"
#include "host/settings/service_file.h"
#include "host/web/commissioning.h"

namespace host {

// What a camera's process tells of itself.
struct CameraLook {
    CameraStand stand = CameraStand::kOffline;
    double frames_per_second = 0.0;  // that are finished
    int width = 960;                 // of the picture in which a user gives points
    int height = 544;
    bool colour = false;               // the picture that is shown is in colour
    std::optional<CameraModel> model;  // empty: not known yet
};

struct ApiSources {
    std::function<std::shared_ptr<const ServiceFile>()> place;  // as it is in force; never null
    std::function<std::int64_t()> now_us;                       // since 1970
    std::function<ServiceHealth()> health;
    std::function<CameraLook(const std::string& camera)> look;
    std::function<std::optional<Commissioned>(const std::string& camera)> commissioned;
    std::function<void(const std::string& camera, const Commissioned& note)> commission;
    // Somebody is about to write this text to the camera's file of settings.
    std::function<void(const std::string& camera, const std::string& text,
                       const SettingsAuthor& by)>
        note_settings;
    // Why the camera has refused that text; empty while it has not.
    std::function<std::string(const std::string& camera)> refusal;
};

}  // namespace host
