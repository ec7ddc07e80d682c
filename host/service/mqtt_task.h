// Publishes what the cameras of a place count to an MQTT broker, each camera as a device of its
// own, and the place as one more.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "host/base/log_lines.h"
#include "host/publish/mqtt_device.h"
#include "host/service/live_place.h"

namespace host {

class MqttTask {
  public:
    // Follows the place's file, which may have no broker. `say` is told when connections come and
    // go and what is wrong, on any thread. Both must outlive it.
    MqttTask(LivePlace& place, Say say);
    ~MqttTask();
    MqttTask(const MqttTask&) = delete;
    MqttTask& operator=(const MqttTask&) = delete;

  private:
    struct Device;

    void run(const std::stop_token& stop);
    void take_over(std::shared_ptr<const ServiceFile> file);
    void add_device(const std::string& name, const MqttSettings& broker);
    void attempt(const std::string& device, const std::function<void()>& work);
    void show();
    MqttDeviceNow now_of(Device& device) const;
    MqttDeviceNow now_of_place(Device& device) const;
    void wake();

    LivePlace& place_;
    const Say say_;

    std::mutex mutex_;
    std::condition_variable_any changed_;
    bool woken_ = false;

    // The thread's own.
    std::shared_ptr<const ServiceFile> file_;
    std::string definition_;  // of what all devices have in common
    std::map<std::string, std::unique_ptr<Device>> devices_;
    std::map<std::string, std::string> complaints_;  // the last one of each device, said once

    std::jthread thread_;
};

}  // namespace host
