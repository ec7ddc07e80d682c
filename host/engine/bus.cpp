// Queue, delivery thread and handler table of the bus.
#include "host/engine/bus.h"

#include <atomic>
#include <cstring>
#include <optional>
#include <utility>

#include "vca/cascade.h"
#include "vca/config.h"
#include "vca/heat_map.h"
#include "vca/messages.h"

namespace host {
namespace {

std::atomic<Bus*> active_bus{nullptr};

std::vector<std::uint8_t> copy_bytes(const void* payload, std::size_t length) {
    std::vector<std::uint8_t> bytes(length);
    if (length > 0) std::memcpy(bytes.data(), payload, length);
    return bytes;
}

// Bytes of a message to the library; nothing for numbers that it does not define.
std::optional<std::size_t> size_to_library(int id) {
    switch (id) {
        case VCA_MSG_CONFIG:
            return sizeof(VCA_ALGO_CFG_S);
        case VCA_MSG_INSTALL_HEIGHT:
        case VCA_MSG_HEAT_RESET:
        case VCA_MSG_ASK_FRAME_COUNT:
            return 0;
        case VCA_MSG_HEAT_MAP:
            return VCA_HEAT_REQUEST_BYTES;
        case VCA_MSG_SLAVE_TRACKS:
            return sizeof(MASTER_MSG_S);
        case VCA_MSG_SHOW_DETECTION:
        case VCA_MSG_FRAME_COUNT:
            return sizeof(std::int32_t);
        default:
            return std::nullopt;
    }
}

class HandlerLock {
  public:
    explicit HandlerLock(TQ_MUTEX_S* mutex) : mutex_(mutex) {
        if (mutex_ != nullptr) tq_mutex_lock(mutex_);
    }
    ~HandlerLock() {
        if (mutex_ != nullptr) tq_mutex_unlock(mutex_);
    }
    HandlerLock(const HandlerLock&) = delete;
    HandlerLock& operator=(const HandlerLock&) = delete;

  private:
    TQ_MUTEX_S* mutex_;
};

}  // namespace

Bus::Bus(BusClient& client) : client_(client), thread_([this] { work(); }) {}

Bus::~Bus() {
    {
        const std::lock_guard lock(queue_mutex_);
        stopping_ = true;
        queued_.notify_one();
    }
    thread_.join();
}

void Bus::send_to_library(int id, const void* payload, std::size_t length) {
    const std::optional<std::size_t> right = size_to_library(id);
    const std::lock_guard lock(queue_mutex_);
    if ((right && length != *right) || (payload == nullptr && length > 0)) {
        ++refused_;
        return;
    }
    push({true, id, {}, copy_bytes(payload, length), {}});
}

void Bus::call(std::function<void()> function) {
    const std::lock_guard lock(queue_mutex_);
    push({false, 0, {}, {}, std::move(function)});
}

// With the mutex held. A thread that is at work looks for more by itself.
void Bus::push(Message&& message) {
    queue_.push_back(std::move(message));
    if (std::exchange(waiting_, false)) queued_.notify_one();
}

int Bus::queue_from_library(int id, const void* payload, int length) {
    if (length < 0 || (payload == nullptr && length > 0)) return -1;
    Message message{
        false, id, client_.stamp(), copy_bytes(payload, static_cast<std::size_t>(length)), {}};
    const std::lock_guard lock(queue_mutex_);
    push(std::move(message));
    return 0;
}

void Bus::wait_idle() {
    std::unique_lock lock(queue_mutex_);
    idle_.wait(lock, [this] { return queue_.empty() && !busy_; });
}

int Bus::undelivered() const {
    const std::lock_guard lock(queue_mutex_);
    return undelivered_;
}

int Bus::refused() const {
    const std::lock_guard lock(queue_mutex_);
    return refused_;
}

int Bus::add_handlers(const SOCK_REQUEST_S* table, int count) {
    if (table == nullptr || count < 0) return -1;
    const std::lock_guard lock(handlers_mutex_);
    for (int i = 0; i < count; ++i)
        handlers_[table[i].id] = table[i].handler;
    return 0;
}

int Bus::remove_handlers(const SOCK_REQUEST_S* table, int count) {
    if (table == nullptr || count < 0) return -1;
    const std::lock_guard lock(handlers_mutex_);
    for (int i = 0; i < count; ++i)
        handlers_.erase(table[i].id);
    return 0;
}

void Bus::work() {
    std::deque<Message> taken;
    std::unique_lock lock(queue_mutex_);
    while (true) {
        waiting_ = true;
        queued_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        waiting_ = false;
        if (queue_.empty()) return;
        taken.swap(queue_);
        busy_ = true;
        lock.unlock();
        for (Message& message : taken)
            deliver(message);
        taken.clear();
        lock.lock();
        busy_ = false;
        idle_.notify_all();
    }
}

void Bus::deliver(Message& message) {
    if (message.call) {
        message.call();
        return;
    }
    if (!message.to_library) {
        client_.on_event({message.id, message.stamp.frame_number, message.stamp.time_s,
                          decode_message(message.id, message.bytes), message.stamp.feed_count,
                          message.stamp.utc_us, message.stamp.blank});
        return;
    }
    const std::lock_guard handlers_lock(handlers_mutex_);
    const auto found = handlers_.find(message.id);
    if (found == handlers_.end() || found->second == nullptr) {
        const std::lock_guard lock(queue_mutex_);
        ++undelivered_;
        return;
    }
    // Handlers are registered only while the algorithm stage is up, so its mutex exists here.
    const HandlerLock handler_lock(client_.handler_mutex());
    found->second(0, message.bytes.data());
}

void set_bus(Bus* bus) {
    active_bus = bus;
}

}  // namespace host

extern "C" {

int tq_sock_send_msg(int channel, int id, void* payload, int length) {
    host::Bus* bus = host::active_bus;
    return bus == nullptr || channel != 1 ? -1 : bus->queue_from_library(id, payload, length);
}

int sock_request_register(const SOCK_REQUEST_S* table, int count) {
    host::Bus* bus = host::active_bus;
    return bus == nullptr ? -1 : bus->add_handlers(table, count);
}

int sock_request_unregister(const SOCK_REQUEST_S* table, int count) {
    host::Bus* bus = host::active_bus;
    return bus == nullptr ? -1 : bus->remove_handlers(table, count);
}

}  // extern "C"
