// The messages as JSON.
#include "host/service/camera_message.h"

#include <nlohmann/json.hpp>

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kMessage = "message";
constexpr const char* kBegin = "begin";
constexpr const char* kHello = "hello";
constexpr const char* kBeat = "beat";
constexpr const char* kFigures = "figures";
constexpr const char* kCommitted = "committed";
constexpr const char* kSettings = "settings";
constexpr const char* kReadSettings = "read_settings";
constexpr const char* kPath = "path";
constexpr const char* kCamera = "camera";
constexpr const char* kEnded_us = "ended_us";
constexpr const char* kEndedWhy = "ended_why";
constexpr const char* kBrokerPort = "broker_port";
constexpr const char* kStart_ms = "start_ms";
constexpr const char* kCounting = "counting";
constexpr const char* kVersion = "version";
constexpr const char* kTaken = "taken";
constexpr const char* kFinished = "finished";
constexpr const char* kEpoch = "epoch";
constexpr const char* kSequence = "sequence";
constexpr const char* kText = "text";
constexpr const char* kRefused = "refused";
constexpr const char* kAuthor = "author";

Json as_json(const CameraBegin& begin) {
    return {{kMessage, kBegin},
            {kPath, begin.path},
            {kText, begin.text},
            {kCamera, begin.camera},
            {kEnded_us, begin.ended_us},
            {kEndedWhy, begin.ended_why},
            {kBrokerPort, begin.broker_port},
            {kStart_ms, begin.start_ms}};
}
Json as_json(const CameraHello& hello) {
    return {{kMessage, kHello}, {kVersion, hello.version}};
}
Json as_json(const CameraBeat& beat) {
    return {{kMessage, kBeat},
            {kCounting, beat.counting},
            {kTaken, beat.taken},
            {kFinished, beat.finished}};
}
Json as_json(const CameraFigures& figures) {
    return {{kMessage, kFigures}, {kFigures, Json::parse(to_json(figures))}};
}
Json as_json(const CameraCommitted& done) {
    return {{kMessage, kCommitted}, {kEpoch, done.epoch}, {kSequence, done.sequence}};
}
Json as_json(const CameraSettings& settings) {
    return {{kMessage, kSettings}, {kText, settings.text}, {kRefused, settings.refused}};
}
Json as_json(const ReadSettings& read) {
    return {{kMessage, kReadSettings}, {kAuthor, read.author}};
}

CameraMessage from_json(const Json& json) {
    const std::string kind = json.at(kMessage);
    if (kind == kBegin) {
        return CameraBegin{json.at(kPath),     json.at(kText),     json.at(kCamera),
                           json.at(kEnded_us), json.at(kEndedWhy), json.at(kBrokerPort),
                           json.at(kStart_ms)};
    }
    if (kind == kHello) return CameraHello{json.at(kVersion)};
    if (kind == kBeat) return CameraBeat{json.at(kCounting), json.at(kTaken), json.at(kFinished)};
    if (kind == kFigures) return parse_camera_figures(json.at(kFigures).dump());
    if (kind == kCommitted) return CameraCommitted{json.at(kEpoch), json.at(kSequence)};
    if (kind == kSettings) return CameraSettings{json.at(kText), json.at(kRefused)};
    if (kind == kReadSettings) return ReadSettings{json.at(kAuthor)};
    throw std::invalid_argument(kind);
}

}  // namespace

std::string to_text(const CameraMessage& message) {
    // Texts of the system may hold bytes that are not UTF-8.
    return std::visit([](const auto& each) { return as_json(each); }, message)
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<CameraMessage> camera_message(const std::string& text) {
    try {
        return from_json(Json::parse(text));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace host
