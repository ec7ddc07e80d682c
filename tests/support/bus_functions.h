// A client of the message bus that is made of functions.
#ifndef TESTS_SUPPORT_BUS_FUNCTIONS_H
#define TESTS_SUPPORT_BUS_FUNCTIONS_H

#include <functional>
#include <utility>

#include "host/engine/bus.h"

namespace test {

// Functions that are not given do nothing.
class BusFunctions final : public host::BusClient {
  public:
    BusFunctions() = default;
    explicit BusFunctions(std::function<void(const host::Event&)> on_event,
                          std::function<host::FrameStamp()> stamp = {},
                          std::function<TQ_MUTEX_S*()> mutex = {})
        : on_event_(std::move(on_event)), stamp_(std::move(stamp)), mutex_(std::move(mutex)) {}

    void on_event(host::Event event) override {
        if (on_event_) on_event_(event);
    }
    host::FrameStamp stamp() override { return stamp_ ? stamp_() : host::FrameStamp{}; }
    TQ_MUTEX_S* handler_mutex() override { return mutex_ ? mutex_() : nullptr; }

  private:
    std::function<void(const host::Event&)> on_event_;
    std::function<host::FrameStamp()> stamp_;
    std::function<TQ_MUTEX_S*()> mutex_;
};

}  // namespace test

#endif
