// An MQTT broker of our own on a loopback port, for a site that runs on one machine.
#pragma once

#include <sys/types.h>

#include <string>

namespace host {

class BrokerProcess {
  public:
    // Starts mosquitto and waits until it answers on the port; its configuration and log are files
    // in `folder`. It ends with the calling thread at the latest, but does not hear the terminal's
    // Ctrl-C, so that the devices can take leave first. Throws std::runtime_error with one
    // sentence when it does not start.
    BrokerProcess(const std::string& folder, int port);
    ~BrokerProcess();
    BrokerProcess(const BrokerProcess&) = delete;
    BrokerProcess& operator=(const BrokerProcess&) = delete;

    // Ends the process and waits for its end.
    void stop();
    int port() const { return port_; }
    pid_t process_id() const { return pid_; }  // -1 when stopped

  private:
    void wait_until_up(const std::string& log);

    int port_;
    pid_t pid_ = -1;
};

// A port of the loopback interface that nobody uses at the moment.
int free_loopback_port();

}  // namespace host
