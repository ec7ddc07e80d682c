// What a camera's process and the service of its place tell each other.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/base/camera.h"
#include "host/sinks/camera_figures.h"

namespace host {

// Who has written the file of a camera's settings, and what they call them.
struct SettingsAuthor {
    std::string author = "file";  // whoever edits it by hand
    std::string name{};           // empty for nothing
};

// The first message, from the service: who the process is. Its settings are read from their file.
struct CameraBegin {
    std::string path;  // of the place's file
    std::string text;  // of it, as it is in force
    std::string camera;
    std::int64_t ended_us = 0;  // when the process before ended by itself, since 1970; 0 for none
    std::string ended_why;      // a sentence
    int broker_port = 0;        // of the service's own broker on this machine; 0: the site's
    std::int64_t start_ms = 0;  // since 1970, when the scene of a simulated site begins
    SettingsAuthor settings_by{};
};

// The answer.
struct CameraHello {
    std::string version;  // of the program
};

// Each second, from the beginning on.
struct CameraBeat {
    bool counting = false;      // the source has been opened
    std::int64_t taken = 0;     // frames that came from the source
    std::int64_t finished = 0;  // of them, through the analysis
};

// What a camera is, once its first frame has come.
struct CameraAbout {
    std::string source;    // in words
    int sensor_width = 0;  // of the depth pictures as they are taken
    int sensor_height = 0;
    int width = 0;  // of the picture in which a user gives points
    int height = 0;
    double frames_per_second = 0.0;     // that ought to come
    bool colour = false;                // the picture that is shown is in colour
    CameraModel model;                  // its height is the one in force
    std::string height_from;            // "settings", "measured" or "source"
    std::optional<Tilt> tilt;           // as found or set in the beginning
    std::vector<std::string> warnings;  // a sentence each
};

// How the camera hangs, as its frames show it. What was not found is empty.
struct CameraMeasured {
    std::optional<double> progress;  // 0 to 1 while it measures
    std::optional<double> floor_mm;  // below the lens
    std::optional<double> noise_mm;  // of a pixel, as a standard deviation
    std::optional<Tilt> tilt;
};

// From the service: measure again how the camera hangs, beside counting.
struct MeasureAgain {};

// Everything up to this event is safe in the camera's database.
struct CameraCommitted {
    std::string epoch;
    std::int64_t sequence = 0;
};

// What became of the settings that a camera was told to read again.
struct CameraSettings {
    std::string text;  // a sentence
    bool refused = false;
};

// From the service: the file of the settings has changed.
struct ReadSettings {
    SettingsAuthor by;
};

// Figures come each second while frames do.
using CameraMessage =
    std::variant<CameraBegin, CameraHello, CameraAbout, CameraMeasured, CameraBeat, CameraFigures,
                 CameraCommitted, CameraSettings, ReadSettings, MeasureAgain>;

// JSON.
std::string to_text(const CameraMessage& message);
// Empty for what is none.
std::optional<CameraMessage> camera_message(const std::string& text);

}  // namespace host
