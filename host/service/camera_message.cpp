// The messages as JSON.
#include "host/service/camera_message.h"

#include <nlohmann/json.hpp>

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kMessage = "message";
constexpr const char* kBegin = "begin";
constexpr const char* kHello = "hello";
constexpr const char* kAbout = "about";
constexpr const char* kMeasured = "measured";
constexpr const char* kMeasure = "measure";
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
constexpr const char* kName = "name";
constexpr const char* kSource = "source";
constexpr const char* kSensor = "sensor";
constexpr const char* kPicture = "picture";
constexpr const char* kRate = "frames_per_second";
constexpr const char* kColour = "colour";
constexpr const char* kModel = "model";
constexpr const char* kHeight_mm = "height_mm";
constexpr const char* kHeightFrom = "height_from";
constexpr const char* kTilt = "tilt";
constexpr const char* kLevelled = "levelled";
constexpr const char* kWarnings = "warnings";
constexpr const char* kProgress = "progress";
constexpr const char* kFloor_mm = "floor_mm";
constexpr const char* kNoise_mm = "noise_mm";

Json number_json(const std::optional<double>& number) {
    return number ? Json(*number) : Json();
}
std::optional<double> number_of(const Json& json) {
    if (json.is_null()) return std::nullopt;
    return json.get<double>();
}

Json tilt_json(const std::optional<Tilt>& tilt) {
    return tilt ? Json::array({tilt->roll_deg, tilt->pitch_deg}) : Json();
}
std::optional<Tilt> tilt_of(const Json& json) {
    if (json.is_null()) return std::nullopt;
    return Tilt{json.at(0), json.at(1)};
}

Json author_json(const SettingsAuthor& by) {
    return {{kAuthor, by.author}, {kName, by.name}};
}
SettingsAuthor author_of(const Json& json) {
    return {json.at(kAuthor), json.at(kName)};
}

Json as_json(const CameraBegin& begin) {
    return {{kMessage, kBegin},
            {kPath, begin.path},
            {kText, begin.text},
            {kCamera, begin.camera},
            {kEnded_us, begin.ended_us},
            {kEndedWhy, begin.ended_why},
            {kBrokerPort, begin.broker_port},
            {kStart_ms, begin.start_ms},
            {kSettings, author_json(begin.settings_by)}};
}
Json as_json(const CameraHello& hello) {
    return {{kMessage, kHello}, {kVersion, hello.version}};
}
Json as_json(const CameraAbout& about) {
    const CameraModel& model = about.model;
    return {{kMessage, kAbout},
            {kSource, about.source},
            {kSensor, {about.sensor_width, about.sensor_height}},
            {kPicture, {about.width, about.height}},
            {kRate, about.frames_per_second},
            {kColour, about.colour},
            {kModel, {model.fx, model.fy, model.cx, model.cy}},
            {kHeight_mm, number_json(model.height_mm)},
            {kLevelled, tilt_json(model.levelled)},
            {kHeightFrom, about.height_from},
            {kTilt, tilt_json(about.tilt)},
            {kWarnings, about.warnings}};
}
CameraAbout about_of(const Json& json) {
    CameraAbout about;
    about.source = json.at(kSource);
    about.sensor_width = json.at(kSensor).at(0);
    about.sensor_height = json.at(kSensor).at(1);
    about.width = json.at(kPicture).at(0);
    about.height = json.at(kPicture).at(1);
    about.frames_per_second = json.at(kRate);
    about.colour = json.at(kColour);
    const Json& model = json.at(kModel);
    about.model = {model.at(0),
                   model.at(1),
                   model.at(2),
                   model.at(3),
                   number_of(json.at(kHeight_mm)),
                   tilt_of(json.at(kLevelled))};
    about.height_from = json.at(kHeightFrom);
    about.tilt = tilt_of(json.at(kTilt));
    about.warnings = json.at(kWarnings).get<std::vector<std::string>>();
    return about;
}
Json as_json(const CameraMeasured& measured) {
    return {{kMessage, kMeasured},
            {kProgress, number_json(measured.progress)},
            {kFloor_mm, number_json(measured.floor_mm)},
            {kNoise_mm, number_json(measured.noise_mm)},
            {kTilt, tilt_json(measured.tilt)}};
}
Json as_json(const MeasureAgain&) {
    return {{kMessage, kMeasure}};
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
    return {{kMessage, kReadSettings}, {kSettings, author_json(read.by)}};
}

CameraMessage from_json(const Json& json) {
    const std::string kind = json.at(kMessage);
    if (kind == kBegin) {
        return CameraBegin{json.at(kPath),     json.at(kText),
                           json.at(kCamera),   json.at(kEnded_us),
                           json.at(kEndedWhy), json.at(kBrokerPort),
                           json.at(kStart_ms), author_of(json.at(kSettings))};
    }
    if (kind == kHello) return CameraHello{json.at(kVersion)};
    if (kind == kAbout) return about_of(json);
    if (kind == kMeasured) {
        return CameraMeasured{number_of(json.at(kProgress)), number_of(json.at(kFloor_mm)),
                              number_of(json.at(kNoise_mm)), tilt_of(json.at(kTilt))};
    }
    if (kind == kMeasure) return MeasureAgain{};
    if (kind == kBeat) return CameraBeat{json.at(kCounting), json.at(kTaken), json.at(kFinished)};
    if (kind == kFigures) return parse_camera_figures(json.at(kFigures).dump());
    if (kind == kCommitted) return CameraCommitted{json.at(kEpoch), json.at(kSequence)};
    if (kind == kSettings) return CameraSettings{json.at(kText), json.at(kRefused)};
    if (kind == kReadSettings) return ReadSettings{author_of(json.at(kSettings))};
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
