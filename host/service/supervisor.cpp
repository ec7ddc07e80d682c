// Start, watch and end of the processes.
#include "host/service/supervisor.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "host/base/exit_status.h"
#include "host/base/utc.h"
#include "host/settings/command_line.h"

namespace host {
namespace {

constexpr int kMoment_ms = 100;
constexpr std::chrono::seconds kEndTime{10};  // for what is counted to be written

}  // namespace

Supervisor::Supervisor(ServiceFile file, Say say) : file_(std::move(file)), say_(std::move(say)) {
    for (const ServiceCamera& camera : file_.cameras)
        cameras_.push_back(std::make_unique<Camera>(camera));
}

Supervisor::~Supervisor() {
    end_all();
}

void Supervisor::run(const std::atomic<bool>& stop) {
    while (!stop && !all_at_end()) {
        const auto now = CameraWatch::Clock::now();
        for (const auto& camera : cameras_) {
            if (!camera->process && !camera->at_end && now >= camera->start_at) start(*camera);
        }
        wait_for_news();
        for (const auto& camera : cameras_)
            look_after(*camera);
    }
    end_all();
}

bool Supervisor::all_at_end() const {
    return std::all_of(cameras_.begin(), cameras_.end(),
                       [](const auto& camera) { return camera->at_end; });
}

void Supervisor::start(Camera& camera) {
    try {
        const auto [ours, theirs] = MessageSocket::open_pair();
        camera.socket = std::make_unique<MessageSocket>(ours);
        const MessageSocket handed(theirs);  // closed here once the process has it
        camera.process =
            std::make_unique<ChildProcess>(std::vector<std::string>{kCameraProcessCommand}, theirs);
    } catch (const std::runtime_error& error) {
        camera.socket.reset();
        camera.start_at = camera.watch.end(CameraWatch::Clock::now());
        say_(camera.what.name, error.what());
        return;
    }
    camera.watch.begin(CameraWatch::Clock::now());
    const CameraBegin begin{file_.path, file_.text, camera.what.name, camera.ended_us,
                            camera.ended_why};
    camera.socket->send({to_text(begin), {}});
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
    if (const auto why = camera.watch.hangs(CameraWatch::Clock::now()); why) {
        camera.hung_why = *why + " and was ended";
        camera.process->end_now();
    }
}

void Supervisor::hear(Camera& camera) {
    for (const std::string& line : camera.process->read_lines()) {
        // What happens again and again, such as a camera that is not there, is said once.
        if (line.empty() || line == std::exchange(camera.complaint, line)) continue;
        say_(camera.what.name, line);
    }
    for (const SocketMessage& message : camera.socket->receive())
        hear_message(camera, message.text);
    camera.socket->flush();
}

void Supervisor::hear_message(Camera& camera, const std::string& text) {
    const auto message = camera_message(text);
    if (!message) return;
    if (const auto* beat = std::get_if<CameraBeat>(&*message)) {
        if (beat->counting && !camera.watch.last().counting) {
            say_(camera.what.name, "counts");
            // The process has noted why the one before ended.
            camera.ended_us = 0;
            camera.ended_why.clear();
        }
        camera.watch.hear(*beat, CameraWatch::Clock::now());
    } else if (const auto* committed = std::get_if<CameraCommitted>(&*message)) {
        camera.committed = *committed;
    } else if (const auto* settings = std::get_if<CameraSettings>(&*message)) {
        say_(camera.what.name, settings->text);
    }
}

void Supervisor::note_end(Camera& camera, int status) {
    camera.process.reset();
    camera.socket.reset();
    const auto next = camera.watch.end(CameraWatch::Clock::now());
    if (WIFEXITED(status) && WEXITSTATUS(status) == kExitOk) {
        camera.at_end = true;
        say_(camera.what.name, "has come to the end of its recording");
        return;
    }
    camera.start_at = next;
    std::string why = std::exchange(camera.hung_why, {});
    if (why.empty()) why = "ended with " + end_text(status);
    why = "the camera's process " + why;
    const auto pause = std::chrono::round<std::chrono::seconds>(next - CameraWatch::Clock::now());
    say_(camera.what.name,
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
