// Names in a recording, which its writer and its readers share.
#pragma once

#include <string>

namespace host {

inline constexpr const char* kDepthTrack = "DEPTH";
inline constexpr const char* kColourTrack = "COLOR";
inline constexpr const char* kTextTrack = "EVENTS";

inline constexpr const char* kCameraAttachment = "camera.toml";
inline constexpr const char* kSettingsAttachment = "settings.toml";
inline constexpr const char* kTextType = "text/plain";

inline constexpr const char* kFormatTag = "VCA_FORMAT";
inline constexpr const char* kUnitTag = "VCA_UNIT";
inline constexpr const char* kProgramTag = "VCA_PROGRAM";
inline constexpr const char* kPlaceTag = "VCA_PLACE";
inline constexpr const char* kCameraTag = "VCA_CAMERA";
inline constexpr const char* kStartTag = "VCA_START_US";  // since 1970, of scene time 0
inline constexpr const char* kTimeTag = "VCA_TIME_US";    // scene time of timestamp 0

inline constexpr const char* kFormatVersion = "1";
inline constexpr const char* kMillimetres = "mm";

// The last line of a file says why it ends there.
enum class RecordingEnd {
    kNextFile,  // the recording goes on in another file
    kSource,    // there was nothing more to record
    kStopped,   // there was, but recording ended
};

constexpr const char* recording_end_name(RecordingEnd end) {
    if (end == RecordingEnd::kNextFile) return "next file";
    return end == RecordingEnd::kSource ? "source" : "stopped";
}

// How the lines begin that a frame and the end of a file have.
inline constexpr const char* kFrameLine = "{\"frame\":";
inline constexpr const char* kEndLine = "{\"end\":";

inline std::string end_line(RecordingEnd end) {
    return std::string(kEndLine) + "\"" + recording_end_name(end) + "\"}";
}

inline constexpr const char* kRecordingExtension = ".mkv";
inline constexpr const char* kUnfinishedExtension = ".part";

}  // namespace host
