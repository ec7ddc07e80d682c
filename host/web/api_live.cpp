// Pictures and figures as answers.
#include "host/web/api_live.h"

#include <atomic>
#include <charconv>
#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "host/web/api_answer.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kAccepted = 202;
constexpr int kNotFound = 404;
constexpr int kUnavailable = 503;
constexpr const char* kCamera = "camera";
constexpr const char* kFrame = "frame";
constexpr const char* kFrameHeader = "Frame";
constexpr const char* kJpegType = "image/jpeg";
// A camera has a frame for whoever has just begun to watch after a tenth of a second.
constexpr std::chrono::milliseconds kPatience{1500};
// Others get their answers meanwhile.
constexpr int kMostWaiting = 2;

// Throws ApiError when the place has no such camera.
std::string camera_of(const LivePlace& place, const std::string& name) {
    if (find_camera(*place.file(), name) == nullptr)
        throw ApiError(kNotFound, "there is no camera \"" + name + "\"");
    return name;
}

std::string camera_of(const LivePlace& place, const ApiCall& call) {
    return camera_of(place, call.names.at(kCamera));
}

std::optional<std::string> field(const HttpRequest& request, const char* name) {
    const auto fields = query_fields(request.query);
    for (const auto& [key, value] : fields)
        if (key != name) throw ApiError(kBadRequest, "\"" + key + "\" is not known here");
    const auto found = fields.find(name);
    if (found == fields.end()) return std::nullopt;
    return found->second;
}

std::int64_t frame_number(const std::string& text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end || number < 0)
        throw ApiError(kBadRequest, "\"frame\" is not the number of a frame");
    return number;
}

HttpResponse live_page(const LiveRoutes& parts, const HttpRequest& request) {
    const auto camera = field(request, kCamera);
    if (camera) camera_of(parts.place, *camera);
    return parts.feed.open(request, camera);
}

// A worker waits for it.
std::shared_ptr<const LiveFrame> newest_frame(const LiveRoutes& parts, const std::string& camera) {
    static std::atomic<int> waiting{0};
    struct Counted {
        Counted() : before(waiting++) {}
        ~Counted() { --waiting; }
        const int before;
    };
    if (parts.place.camera(camera).stand != CameraStand::kOnline) return nullptr;
    const Counted counted;
    if (counted.before >= kMostWaiting)
        throw ApiError(kUnavailable, "too many ask for the newest picture at once; ask again");
    return parts.pictures.newest(camera, kPatience);
}

HttpResponse picture_page(const LiveRoutes& parts, const ApiCall& call) {
    const std::string camera = camera_of(parts.place, call);
    const auto asked = field(call.request, kFrame);
    const auto frame =
        asked ? parts.pictures.frame(camera, frame_number(*asked)) : newest_frame(parts, camera);
    if (!frame) {
        throw ApiError(kNotFound, asked ? "this frame is gone; frames are kept for a few seconds "
                                          "while somebody watches"
                                        : "no frames come from the camera \"" + camera + "\"");
    }
    HttpResponse response;
    response.type = kJpegType;
    response.headers.emplace_back(kFrameHeader, std::to_string(frame->number));
    response.body.assign(frame->jpeg.begin(), frame->jpeg.end());
    return response;
}

double rounded(double value, double to) {
    return std::round(value * to) / to;
}

Json whole_json(const std::optional<double>& number) {
    return number ? Json(std::llround(*number)) : Json();
}

Json tilt_json(const std::optional<Tilt>& tilt) {
    if (!tilt) return {};
    return {{"roll_deg", rounded(tilt->roll_deg, 10)}, {"pitch_deg", rounded(tilt->pitch_deg, 10)}};
}

Json note_json(const std::string& warning) {
    return {{"level", "warning"},
            {"code", "camera_warning"},
            {"text", warning},
            {"values", Json::object()}};
}

Json status_json(const std::string& name, const LiveCamera& camera) {
    const CameraAbout about = camera.about.value_or(CameraAbout{});
    const CameraMeasured measured = camera.measured.value_or(CameraMeasured{});
    Json valid;
    if (camera.figures) valid = rounded(camera.figures->depth_valid_ratio, 1000);
    Json noise;
    if (measured.noise_mm) noise = rounded(*measured.noise_mm, 10);
    Json from;
    if (!about.height_from.empty()) from = about.height_from;
    Json measuring;
    if (measured.progress) measuring = rounded(*measured.progress, 100);
    Json notes = Json::array();
    for (const std::string& warning : about.warnings)
        notes.push_back(note_json(warning));
    return {{"camera", name},
            {"state", camera_stand_name(camera.stand)},
            {"source", about.source},
            {"width", about.sensor_width},
            {"height", about.sensor_height},
            {"frames_per_second", rounded(camera.frames_per_second, 10)},
            {"valid_share", std::move(valid)},
            {"floor_mm", whole_json(measured.floor_mm)},
            {"noise_mm", std::move(noise)},
            {"height_mm", whole_json(about.model.height_mm)},
            {"height_from", std::move(from)},
            {"tilt", tilt_json(measured.tilt ? measured.tilt : about.tilt)},
            {"levelled", about.model.levelled.has_value()},
            {"measuring", std::move(measuring)},
            {"notes", std::move(notes)}};
}

HttpResponse measure_page(LivePlace& place, const std::string& camera) {
    if (place.camera(camera).stand != CameraStand::kOnline)
        throw ApiError(kUnavailable, "the camera \"" + camera + "\" does not run");
    place.ask_to_measure(camera);
    HttpResponse response;
    response.status = kAccepted;
    return response;
}

}  // namespace

void add_live_routes(Router& router, const LiveRoutes& parts) {
    router.add("GET", kLivePath, Role::kViewer,
               [parts](const ApiCall& call) { return live_page(parts, call.request); });
    router.add("GET", kPicturePath, Role::kViewer,
               [parts](const ApiCall& call) { return picture_page(parts, call); });
    router.add("GET", kStatusPath, Role::kViewer, [parts](const ApiCall& call) {
        const std::string camera = camera_of(parts.place, call);
        return json_answer(status_json(camera, parts.place.camera(camera)));
    });
    router.add("POST", kMeasurePath, Role::kOperator, [parts](const ApiCall& call) {
        return measure_page(parts.place, camera_of(parts.place, call));
    });
}

}  // namespace host
