// Asking for frames, and keeping the newest ones.
#include "host/service/live_pictures.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/base/input_error.h"
#include "host/service/live_link.h"

namespace host {
namespace {

constexpr int kMoment_ms = 500;
// A frame is known to be finished when the next one has begun already, so that is asked for before.
constexpr int kMostAsked = 2;
constexpr std::int64_t kMostFrames = std::int64_t{1} << 40;  // of a process
// 4 s at 60 frames a second: 10 MB of pictures of half a megapixel.
constexpr std::size_t kMostKept = 240;

}  // namespace

LivePictures::LivePictures() : wake_file_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (wake_file_ < 0) throw std::runtime_error("cannot open an event file");
    thread_ = std::jthread([this](const std::stop_token& stop) { work(stop); });
}

LivePictures::~LivePictures() {
    thread_.request_stop();
    wake();
    thread_.join();
    ::close(wake_file_);
}

void LivePictures::wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wake_file_, &one, sizeof one);
}

void LivePictures::connect(const std::string& camera, int file) {
    auto socket = std::make_shared<MessageSocket>(file);
    {
        const std::lock_guard lock(mutex_);
        Camera& known = cameras_[camera];
        known.socket = std::move(socket);
        known.asked = 0;
        known.first = known.last + 1;
    }
    wake();
}

void LivePictures::disconnect(const std::string& camera) {
    const std::lock_guard lock(mutex_);
    const auto found = cameras_.find(camera);
    if (found != cameras_.end()) found->second.socket.reset();
}

void LivePictures::listen(Listener listener) {
    const std::lock_guard lock(telling_);
    listener_ = std::move(listener);
}

LivePictures::Watch::Watch(LivePictures& pictures, std::string camera)
    : pictures_(pictures), camera_(std::move(camera)) {
    {
        const std::lock_guard lock(pictures_.mutex_);
        ++pictures_.cameras_[camera_].watches;
    }
    pictures_.wake();
}

LivePictures::Watch::~Watch() {
    const std::lock_guard lock(pictures_.mutex_);
    --pictures_.cameras_[camera_].watches;
}

std::shared_ptr<const LiveFrame> LivePictures::frame(const std::string& camera,
                                                     std::int64_t number) const {
    const std::lock_guard lock(mutex_);
    const auto found = cameras_.find(camera);
    if (found == cameras_.end()) return nullptr;
    for (const Kept& kept : found->second.kept)
        if (kept.frame->number == number) return kept.frame;
    return nullptr;
}

std::shared_ptr<const LiveFrame> LivePictures::newest(const std::string& camera,
                                                      std::chrono::milliseconds wait) {
    std::optional<Watch> watch;
    std::unique_lock lock(mutex_);
    Camera& known = cameras_[camera];
    if (known.watches == 0) {
        // What is left of an earlier watch is not the newest.
        known.kept.clear();
        lock.unlock();
        watch.emplace(*this, camera);
        lock.lock();
    }
    came_.wait_for(lock, wait, [&] { return !cameras_[camera].kept.empty(); });
    const std::deque<Kept>& kept = cameras_[camera].kept;
    std::shared_ptr<const LiveFrame> frame = kept.empty() ? nullptr : kept.back().frame;
    lock.unlock();
    return frame;
}

void LivePictures::work(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        ask_and_forget();
        wait_for_frames();
    }
}

void LivePictures::ask_and_forget() {
    const std::lock_guard lock(mutex_);
    const auto old = Clock::now() - kKept;
    for (auto& [name, camera] : cameras_) {
        while (!camera.kept.empty() &&
               (camera.kept.front().came < old || camera.kept.size() > kMostKept))
            camera.kept.pop_front();
        if (!camera.socket || camera.watches == 0) continue;
        while (camera.asked < kMostAsked && camera.socket->send({kWantFrame, {}}))
            ++camera.asked;
    }
    // Cameras that the place has no more; their numbers are not needed again.
    std::erase_if(cameras_, [](const auto& each) {
        const Camera& camera = each.second;
        return !camera.socket && camera.watches == 0 && camera.kept.empty() && camera.last < 0;
    });
}

void LivePictures::wait_for_frames() {
    std::vector<pollfd> files{{wake_file_, POLLIN, 0}};
    std::vector<std::pair<std::string, std::shared_ptr<MessageSocket>>> sockets;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [name, camera] : cameras_) {
            if (!camera.socket || camera.socket->is_closed()) continue;
            files.push_back({camera.socket->file(), POLLIN, 0});
            sockets.emplace_back(name, camera.socket);
        }
    }
    if (::poll(files.data(), files.size(), kMoment_ms) <= 0) return;
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t read = ::read(wake_file_, &count, sizeof count);
    for (std::size_t i = 0; i < sockets.size(); ++i)
        if (files[i + 1].revents != 0) hear(sockets[i].first, sockets[i].second);
}

// What cannot be read is as if it had not come; the next is asked for.
void LivePictures::hear(const std::string& name, const std::shared_ptr<MessageSocket>& socket) {
    for (SocketMessage& message : socket->receive()) {
        {
            const std::lock_guard lock(mutex_);
            Camera& camera = cameras_[name];
            if (camera.socket != socket) return;
            camera.asked = std::max(camera.asked - 1, 0);
        }
        try {
            LiveFrame frame = parse_live_frame(message.text);
            frame.jpeg = std::move(message.bytes);
            if (frame.jpeg.empty() || frame.number < 0 || frame.number > kMostFrames) continue;
            keep(name, std::move(frame));
        } catch (const InputError&) {
            continue;
        }
    }
}

void LivePictures::keep(const std::string& name, LiveFrame frame) {
    Frame kept;
    {
        const std::lock_guard lock(mutex_);
        Camera& camera = cameras_[name];
        frame.number += camera.first;
        if (frame.number <= camera.last) return;
        camera.last = frame.number;
        kept = std::make_shared<const LiveFrame>(std::move(frame));
        camera.kept.push_back({Clock::now(), kept});
    }
    came_.notify_all();
    const std::lock_guard lock(telling_);
    if (listener_) listener_(name, kept);
}

}  // namespace host
