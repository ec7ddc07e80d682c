// What a camera's process and the service of its place tell each other.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "host/sinks/camera_figures.h"

namespace host {

// The first message, from the service: who the process is. Its settings are read from their file.
struct CameraBegin {
    std::string path;  // of the place's file
    std::string text;  // of it, as it is in force
    std::string camera;
    std::int64_t ended_us = 0;  // when the process before ended by itself, since 1970; 0 for none
    std::string ended_why;      // a sentence
    int broker_port = 0;        // of the service's own broker on this machine; 0: the site's
    std::int64_t start_ms = 0;  // since 1970, when the scene of a simulated site begins
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
    std::string author;
};

// Figures come each second while frames do.
using CameraMessage = std::variant<CameraBegin, CameraHello, CameraBeat, CameraFigures,
                                   CameraCommitted, CameraSettings, ReadSettings>;

// JSON.
std::string to_text(const CameraMessage& message);
// Empty for what is none.
std::optional<CameraMessage> camera_message(const std::string& text);

}  // namespace host
