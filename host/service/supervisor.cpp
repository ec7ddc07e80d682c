// Start, watch and end of the processes.
#include "host/service/supervisor.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

#include "host/base/exit_status.h"
#include "host/base/input_error.h"
#include "host/base/utc.h"
#include "host/service/service_check.h"
#include "host/settings/command_line.h"

namespace host {
namespace {

constexpr int kMoment_ms = 100;
constexpr std::chrono::seconds kEndTime{10};  // for what is counted to be written
constexpr std::chrono::seconds kLook{1};      // at files
// By then all cameras of a site are ready.
constexpr std::int64_t kSceneDelay_ms = 3000;

}  // namespace

Supervisor::Supervisor(LivePlace& place, LivePictures& pictures, ServiceManager& manager, Say say)
    : place_(place),
      pictures_(pictures),
      manager_(manager),
      file_(*place.file()),
      say_(std::move(say)),
      file_watch_(file_.path),
      retention_(file_, say_),
      areas_(file_, say_) {
    for (const ServiceCamera& camera : file_.cameras)
        cameras_.push_back(std::make_unique<Camera>(camera));
    start_broker();
}

Supervisor::~Supervisor() {
    end_all();
}

void Supervisor::run(const std::atomic<bool>& stop, std::atomic<bool>& reload) {
    bool ready = false;
    while (!stop && !all_at_end()) {
        manager_.alive();
        if (!ready && all_have_told()) {
            ready = true;
            manager_.ready();
        }
        const auto now = CameraWatch::Clock::now();
        const bool asked = reload.exchange(false);
        if (asked || now >= next_look_) {
            next_look_ = now + kLook;
            look_at_files(asked);
        }
        for (const auto& camera : cameras_) {
            if (!camera->process && !camera->at_end && now >= camera->start_at) start(*camera);
        }
        pass_on_requests();
        wait_for_news();
        for (const auto& camera : cameras_)
            look_after(*camera);
        std::erase_if(cameras_,
                      [](const auto& camera) { return camera->leaves && !camera->process; });
    }
    manager_.stopping();
    end_all();
}

// The settings of a camera are its own to read; the place's file is read here.
void Supervisor::look_at_files(bool all) {
    if (file_watch_.look() || all) read_file();
    for (const auto& camera : cameras_) {
        if ((camera->settings.look() || all) && camera->process)
            camera->socket->send({to_text(ReadSettings{settings_author(*camera)}), {}});
    }
}

// One that is wrong changes nothing.
void Supervisor::read_file() {
    try {
        ServiceFile next = read_service_file(file_.path);
        if (next.text == file_.text) return;
        if (next.folder != file_.folder) {
            throw InputError(
                "\"" + file_.path +
                "\" names another folder for the databases, which needs a new start of "
                "the service");
        }
        check_service(next);
        take_over(std::move(next));
        say_(LogLevel::kNews, "", "has taken over \"" + file_.path + "\"");
    } catch (const InputError& error) {
        say_(LogLevel::kWarning, "",
             std::string(error.what()) + "; what was set before stays in force");
    }
}

void Supervisor::take_over(ServiceFile next) {
    for (const auto& camera : cameras_) {
        const ServiceCamera* const now = find_camera(next, camera->what.name);
        camera->leaves = camera->leaves || now == nullptr;
        const bool other = now != nullptr && now->definition != camera->what.definition;
        if (now != nullptr) camera->what = *now;
        if (other) {
            camera->settings = FileWatch(now->settings);
            camera->at_end = false;
        }
        if (!camera->leaves && !other) continue;
        camera->restarts = true;
        if (camera->process) ask_to_end(*camera);
    }
    for (const ServiceCamera& camera : next.cameras) {
        const bool known = std::any_of(cameras_.begin(), cameras_.end(), [&](const auto& each) {
            return each->what.name == camera.name && !each->leaves;
        });
        if (!known) cameras_.push_back(std::make_unique<Camera>(camera));
    }
    file_ = std::move(next);
    place_.take_over(file_);
    retention_.change(file_);
    areas_.change(file_);
    start_broker();
}

// Its files lie beside the databases.
void Supervisor::start_broker() {
    if (broker_ || !has_whole_cascade(file_)) return;
    broker_ = std::make_unique<BrokerProcess>(file_.folder, free_loopback_port());
}

// All cameras of a simulated site see the same moment, also one that is started again later.
std::int64_t Supervisor::start_of(const ServiceCamera& camera) {
    const auto [start, first] = starts_ms_.try_emplace(camera.role.site, 0);
    if (first) start->second = utc_now_us() / 1000 + kSceneDelay_ms;
    return start->second;
}

void Supervisor::ask_to_end(Camera& camera) const {
    camera.process->ask_to_end();
    camera.end_by = CameraWatch::Clock::now() + kEndTime;
}

bool Supervisor::all_at_end() const {
    return std::all_of(cameras_.begin(), cameras_.end(),
                       [](const auto& camera) { return camera->at_end; });
}

bool Supervisor::all_have_told() const {
    return std::all_of(cameras_.begin(), cameras_.end(),
                       [](const auto& camera) { return camera->told; });
}

void Supervisor::start(Camera& camera) {
    try {
        const auto [ours, theirs] = MessageSocket::open_pair();
        camera.socket = std::make_unique<MessageSocket>(ours);
        const MessageSocket handed(theirs);  // closed here once the process has it
        const auto [watching, watched] = MessageSocket::open_pair();
        pictures_.connect(camera.what.name, watching);
        const MessageSocket handed_too(watched);
        camera.process = std::make_unique<ChildProcess>(
            std::vector<std::string>{kCameraProcessCommand}, std::vector<int>{theirs, watched});
    } catch (const std::runtime_error& error) {
        camera.socket.reset();
        camera.start_at = camera.watch.end(CameraWatch::Clock::now());
        camera.told = true;
        say_(LogLevel::kError, camera.what.name, error.what());
        return;
    }
    camera.watch.begin(CameraWatch::Clock::now());
    camera.settings.was_read();
    camera.restarts = false;
    CameraBegin begin{file_.path, file_.text, camera.what.name, camera.ended_us, camera.ended_why};
    if (camera.what.in_cascade()) {
        begin.start_ms = start_of(camera.what);
        if (broker_ && is_whole_cascade(file_, camera.what.role.site))
            begin.broker_port = broker_->port();
    }
    begin.settings_by = settings_author(camera);
    camera.socket->send({to_text(begin), {}});
}

SettingsAuthor Supervisor::settings_author(const Camera& camera) const {
    const std::ifstream file(camera.what.settings, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return place_.author_of(camera.what.name, text.str());
}

void Supervisor::pass_on_requests() {
    for (const std::string& area : place_.take_to_reset())
        areas_.reset(area);
    for (const std::string& name : place_.take_to_measure()) {
        for (const auto& camera : cameras_)
            if (camera->what.name == name && camera->process)
                camera->socket->send({to_text(MeasureAgain{}), {}});
    }
}

void Supervisor::wait_for_news() const {
    std::vector<pollfd> files;
    for (const auto& camera : cameras_) {
        if (!camera->process) continue;
        if (camera->process->output() >= 0) files.push_back({camera->process->output(), POLLIN, 0});
        if (!camera->socket->is_closed()) files.push_back({camera->socket->file(), POLLIN, 0});
    }
    ::poll(files.data(), files.size(), kMoment_ms);
}

void Supervisor::look_after(Camera& camera) {
    if (!camera.process) return;
    // Asked first: what it wrote before its end is then complete.
    const std::optional<int> status = camera.process->end_status();
    hear(camera);
    if (status) return note_end(camera, *status);
    const auto now = CameraWatch::Clock::now();
    if (camera.restarts && now > camera.end_by) return camera.process->end_now();
    if (const auto why = camera.watch.hangs(now); why) {
        camera.hung_why = *why + " and was ended";
        camera.process->end_now();
    }
}

void Supervisor::hear(Camera& camera) {
    for (const std::string& line : camera.process->read_lines()) {
        // What happens again and again, such as a camera that is not there, is said once.
        if (line.empty() || line == std::exchange(camera.complaint, line)) continue;
        say_(LogLevel::kWarning, camera.what.name, line);
    }
    for (const SocketMessage& received : camera.socket->receive())
        if (const auto message = camera_message(received.text)) hear_message(camera, *message);
    camera.socket->flush();
}

void Supervisor::hear_message(Camera& camera, const CameraMessage& message) {
    if (const auto* beat = std::get_if<CameraBeat>(&message)) {
        if (beat->counting && !camera.watch.last().counting) {
            say_(LogLevel::kNews, camera.what.name, "counts");
            // The process has noted why the one before ended.
            camera.ended_us = 0;
            camera.ended_why.clear();
        }
        camera.watch.hear(*beat, CameraWatch::Clock::now());
        camera.told = true;
    } else if (const auto* settings = std::get_if<CameraSettings>(&message)) {
        say_(settings->refused ? LogLevel::kWarning : LogLevel::kNews, camera.what.name,
             settings->text);
    }
    if (!camera.leaves) place_.hear(camera.what.name, message);
}

void Supervisor::note_end(Camera& camera, int status) {
    camera.process.reset();
    camera.socket.reset();
    camera.told = true;
    pictures_.disconnect(camera.what.name);
    if (!camera.leaves) place_.ended(camera.what.name, CameraStand::kOffline);
    const bool asked_itself = WIFEXITED(status) && WEXITSTATUS(status) == kExitRestart;
    if (camera.restarts || asked_itself) {
        camera.start_at = {};
        return;
    }
    const auto next = camera.watch.end(CameraWatch::Clock::now());
    if (WIFEXITED(status) && WEXITSTATUS(status) == kExitOk) {
        camera.at_end = true;
        place_.ended(camera.what.name, CameraStand::kStopped);
        say_(LogLevel::kNews, camera.what.name, "has come to the end of its recording");
        return;
    }
    camera.start_at = next;
    std::string why = std::exchange(camera.hung_why, {});
    if (why.empty()) why = "ended with " + end_text(status);
    why = "the camera's process " + why;
    const auto pause = std::chrono::round<std::chrono::seconds>(next - CameraWatch::Clock::now());
    say_(LogLevel::kError, camera.what.name,
         why + "; it is started again in " + std::to_string(pause.count()) + " s");
    if (camera.ended_us != 0) return;
    camera.ended_us = utc_now_us();
    camera.ended_why = why;
}

// In order, and what does not end in time at once.
void Supervisor::end_all() {
    for (const auto& camera : cameras_)
        if (camera->process) camera->process->ask_to_end();
    const auto end = CameraWatch::Clock::now() + kEndTime;
    for (const auto& camera : cameras_) {
        while (camera->process && !camera->process->end_status()) {
            if (CameraWatch::Clock::now() > end) camera->process->end_now();
            wait_for_news();
            hear(*camera);
        }
        if (camera->process) hear(*camera);
        camera->process.reset();
        camera->socket.reset();
    }
}

}  // namespace host
