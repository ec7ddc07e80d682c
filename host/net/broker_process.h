// An MQTT broker of our own on a loopback port, for a site that runs on one machine.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace host {

class BrokerProcess {
  public:
    // Starts mosquitto and waits until it answers on the port; its configuration and log are files
    // in `folder`. It ends with the calling thread at the latest, but does not receive the
    // terminal's Ctrl-C, so that the devices can say goodbye first. If it ends by itself it is
    // restarted. Throws std::runtime_error with one sentence when the first start fails.
    BrokerProcess(const std::string& folder, int port);
    ~BrokerProcess();
    BrokerProcess(const BrokerProcess&) = delete;
    BrokerProcess& operator=(const BrokerProcess&) = delete;

    // Ends the process and waits for it to exit.
    void stop();
    int port() const { return port_; }
    pid_t process_id() const { return pid_; }  // -1 when stopped
    // How often it ended by itself and was restarted.
    int restarts() const { return restarts_; }

  private:
    void start();
    void wait_until_up();
    void keep_up();

    const int port_;
    const std::string configuration_;
    const std::string log_;
    std::atomic<pid_t> pid_{-1};
    std::atomic<int> restarts_{0};
    std::mutex mutex_;
    std::condition_variable stop_changed_;
    bool stopping_ = false;
    std::thread keeper_;
};

// A port of the loopback interface that is free at the moment.
int free_loopback_port();

}  // namespace host
