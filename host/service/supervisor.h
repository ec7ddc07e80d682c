// The processes of a place: one for each camera, started again when it dies or hangs.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/file_stamp.h"
#include "host/base/log_lines.h"
#include "host/net/broker_process.h"
#include "host/net/child_process.h"
#include "host/net/message_socket.h"
#include "host/net/service_manager.h"
#include "host/service/area_watch.h"
#include "host/service/camera_message.h"
#include "host/service/camera_watch.h"
#include "host/service/live_pictures.h"
#include "host/service/live_place.h"
#include "host/service/retention_task.h"
#include "host/settings/service_file.h"

namespace host {

class Supervisor {
  public:
    // Runs the cameras of the place's file; the place is told what becomes of them, the pictures
    // are connected with them, and the manager hears when each has told of itself once, whether it
    // counts or not, and that the loop turns. All outlive this.
    Supervisor(LivePlace& place, LivePictures& pictures, ServiceManager& manager, Say say);
    ~Supervisor();
    Supervisor(const Supervisor&) = delete;
    Supervisor& operator=(const Supervisor&) = delete;

    // Until `stop` turns true, or all cameras have come to the end of their recordings. Files that
    // change are read again, and all of them when `reload` turns true, which is then false again.
    // Call it on the thread that lives as long as the program: the processes end with it.
    void run(const std::atomic<bool>& stop, std::atomic<bool>& reload);

  private:
    struct Camera {
        explicit Camera(ServiceCamera given) : what(std::move(given)), settings(what.settings) {}

        ServiceCamera what;
        FileWatch settings;
        std::unique_ptr<ChildProcess> process;
        std::unique_ptr<MessageSocket> socket;
        CameraWatch watch;
        CameraWatch::Time start_at{};
        std::string hung_why;       // and was therefore ended
        std::int64_t ended_us = 0;  // since when it does not count; 0 while it does
        std::string ended_why;
        std::string complaint;       // its last one, which is said once
        bool told = false;           // of itself, or ended before
        bool at_end = false;         // of its recording
        bool leaves = false;         // the place has it no more
        bool restarts = false;       // with another source
        CameraWatch::Time end_by{};  // when it was asked to end
    };

    void look_at_files(bool all);
    void read_file();
    void take_over(ServiceFile next);
    void start_broker();
    std::int64_t start_of(const ServiceCamera& camera);
    void ask_to_end(Camera& camera) const;
    void start(Camera& camera);
    SettingsAuthor settings_author(const Camera& camera) const;
    void pass_on_requests();
    void wait_for_news() const;
    void look_after(Camera& camera);
    void hear(Camera& camera);
    void hear_message(Camera& camera, const CameraMessage& message);
    void note_end(Camera& camera, int status);
    void end_all();
    bool all_at_end() const;
    bool all_have_told() const;

    LivePlace& place_;
    LivePictures& pictures_;
    ServiceManager& manager_;
    ServiceFile file_;
    const Say say_;
    FileWatch file_watch_;
    CameraWatch::Time next_look_{};
    RetentionTask retention_;
    AreaWatch areas_;
    std::unique_ptr<BrokerProcess> broker_;          // for cascades that are here as a whole
    std::map<std::string, std::int64_t> starts_ms_;  // of scenes, by the file of their site
    std::vector<std::unique_ptr<Camera>> cameras_;
};

}  // namespace host
