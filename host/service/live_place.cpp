// What is kept of the messages.
#include "host/service/live_place.h"

#include <algorithm>

namespace host {
namespace {

constexpr std::size_t kBeats = 6;  // for the rate: 5 s

}  // namespace

const char* camera_stand_name(CameraStand stand) {
    switch (stand) {
        case CameraStand::kOnline:
            return "online";
        case CameraStand::kStopped:
            return "stopped";
        case CameraStand::kOffline:
            break;
    }
    return "offline";
}

LivePlace::LivePlace(ServiceFile file)
    : file_(std::make_shared<const ServiceFile>(std::move(file))) {}

std::shared_ptr<const ServiceFile> LivePlace::file() const {
    const std::lock_guard lock(mutex_);
    return file_;
}

LiveCamera LivePlace::camera(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = cameras_.find(name);
    return found == cameras_.end() ? LiveCamera{} : found->second.now;
}

void LivePlace::take_over(const ServiceFile& file) {
    auto next = std::make_shared<const ServiceFile>(file);
    const std::lock_guard lock(mutex_);
    file_ = std::move(next);
    const auto unknown = [this](const auto& camera) {
        return find_camera(*file_, camera.first) == nullptr;
    };
    std::erase_if(cameras_, unknown);
    std::erase_if(noted_, unknown);
}

void LivePlace::hear(const std::string& camera, const CameraMessage& message) {
    const std::lock_guard lock(mutex_);
    // It may be one that the place has no more.
    if (find_camera(*file_, camera) == nullptr) return;
    Known& known = cameras_[camera];
    if (const auto* beat = std::get_if<CameraBeat>(&message)) {
        hear_beat(known, *beat);
    } else if (const auto* figures = std::get_if<CameraFigures>(&message)) {
        known.now.figures = *figures;
    } else if (const auto* about = std::get_if<CameraAbout>(&message)) {
        known.now.about = *about;
    } else if (const auto* measured = std::get_if<CameraMeasured>(&message)) {
        known.now.measured = *measured;
    } else if (const auto* committed = std::get_if<CameraCommitted>(&message)) {
        known.now.committed = *committed;
    } else if (const auto* settings = std::get_if<CameraSettings>(&message)) {
        const auto noted = noted_.find(camera);
        if (settings->refused && noted != noted_.end()) noted->second.refusal = settings->text;
    }
}

void LivePlace::hear_beat(Known& known, const CameraBeat& beat) {
    known.finished.emplace_back(std::chrono::steady_clock::now(), beat.finished);
    if (known.finished.size() > kBeats) known.finished.pop_front();
    const auto& [from, first] = known.finished.front();
    const auto& [to, last] = known.finished.back();
    const double time_s = std::chrono::duration<double>(to - from).count();
    known.now.frames_per_second = time_s > 0.0 ? static_cast<double>(last - first) / time_s : 0.0;
    known.now.stand = beat.counting ? CameraStand::kOnline : CameraStand::kOffline;
}

void LivePlace::ended(const std::string& camera, CameraStand stand) {
    const std::lock_guard lock(mutex_);
    const auto found = cameras_.find(camera);
    if (found == cameras_.end()) return;
    const CameraCommitted committed = found->second.now.committed;
    found->second = {};
    found->second.now.stand = stand;
    found->second.now.committed = committed;
}

void LivePlace::ask_to_measure(const std::string& camera) {
    const std::lock_guard lock(mutex_);
    to_measure_.insert(camera);
}

void LivePlace::ask_to_reset(const std::string& area) {
    const std::lock_guard lock(mutex_);
    const auto known = [&area](const ServiceArea& each) { return each.name == area; };
    if (std::any_of(file_->areas.begin(), file_->areas.end(), known)) to_reset_.insert(area);
}

std::vector<std::string> LivePlace::take_to_reset() {
    const std::lock_guard lock(mutex_);
    const std::set<std::string> asked = std::exchange(to_reset_, {});
    return {asked.begin(), asked.end()};
}

std::vector<std::string> LivePlace::take_to_measure() {
    const std::lock_guard lock(mutex_);
    const std::set<std::string> asked = std::exchange(to_measure_, {});
    return {asked.begin(), asked.end()};
}

void LivePlace::note_settings(const std::string& camera, const std::string& text,
                              SettingsAuthor by) {
    const std::lock_guard lock(mutex_);
    noted_[camera] = {text, std::move(by), ""};
}

SettingsAuthor LivePlace::author_of(const std::string& camera, const std::string& text) const {
    const std::lock_guard lock(mutex_);
    const auto found = noted_.find(camera);
    if (found == noted_.end() || found->second.text != text) return {};
    return found->second.by;
}

std::string LivePlace::refusal(const std::string& camera) const {
    const std::lock_guard lock(mutex_);
    const auto found = noted_.find(camera);
    return found == noted_.end() ? std::string() : found->second.refusal;
}

}  // namespace host
