// The message bus between library and host: one thread that decodes what the library sent and
// delivers what the host sends, both in the order of queueing.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "host/engine/events.h"
#include "vca/platform.h"

namespace host {

// The frame being processed, asked for whenever the library sends a message.
struct FrameStamp {
    std::int64_t frame_number = -1;
    double time_s = 0.0;
    std::int32_t feed_count = 0;  // the library's feed frame counter
    std::int64_t utc_us = 0;      // 0 when the source is not live
    bool blank = false;           // fed after the end of the source
};

// The client of the bus.
class BusClient {
  public:
    virtual ~BusClient() = default;
    // The mutex to hold while a handler of the library runs; null for none.
    virtual TQ_MUTEX_S* handler_mutex() { return nullptr; }
    // Stamps outgoing messages; called by the sending thread.
    virtual FrameStamp stamp() { return {}; }
    // Every decoded message, on the bus thread; may call send_to_library().
    virtual void on_event(Event event) = 0;
};

class Bus {
  public:
    explicit Bus(BusClient& client);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    // Queues a copy of a message for the library's handler of this number; it is dropped when its
    // size is wrong, or no handler is registered at the time of delivery.
    void send_to_library(int id, const void* payload, std::size_t length);
    // Queues a call that the bus thread makes when everything queued before it has been dealt with.
    void call(std::function<void()> function);
    // Waits until everything queued so far, and whatever it led to, has been dealt with. Must not
    // be called on the bus thread.
    void wait_idle();
    // Messages for which no handler was registered.
    int undelivered() const;
    // Messages that were not delivered because the library defines another size for them: its
    // handlers read the whole record without asking for the length.
    int refused() const;

    // Behind the functions of the platform header.
    int queue_from_library(int id, const void* payload, int length);
    int add_handlers(const SOCK_REQUEST_S* table, int count);
    int remove_handlers(const SOCK_REQUEST_S* table, int count);

  private:
    struct Message {
        bool to_library = false;
        int id = 0;
        FrameStamp stamp;
        std::vector<std::uint8_t> bytes;
        std::function<void()> call;  // in place of a message
    };

    void push(Message&& message);
    void work();
    void deliver(Message& message);

    BusClient& client_;
    mutable std::mutex queue_mutex_;
    std::condition_variable queued_;
    std::condition_variable idle_;
    std::deque<Message> queue_;
    bool waiting_ = false;  // the thread, for something to do
    bool busy_ = false;
    bool stopping_ = false;
    int undelivered_ = 0;
    int refused_ = 0;
    // Held while a handler runs, so that remove_handlers() returns only when none is running.
    std::mutex handlers_mutex_;
    std::map<int, void (*)(int, void*)> handlers_;
    std::thread thread_;
};

// The bus behind the platform functions; null for none. Change it only while the library is down.
void set_bus(Bus* bus);

}  // namespace host
