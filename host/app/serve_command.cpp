// What the service does before and after its cameras run.
#include "host/app/serve_command.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "host/app/place_web.h"
#include "host/base/exit_status.h"
#include "host/base/log_lines.h"
#include "host/base/utc.h"
#include "host/net/service_manager.h"
#include "host/net/ticker.h"
#include "host/report/output_folder.h"
#include "host/service/health.h"
#include "host/service/mqtt_task.h"
#include "host/service/service_check.h"
#include "host/service/supervisor.h"
#include "host/service/webhook_task.h"
#include "host/store/schema.h"
#include "host/store/writer_lock.h"

namespace host {
namespace {

namespace fs = std::filesystem;

void make_folder(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (!fs::is_directory(path)) {
        throw InputError("cannot make the folder \"" + path +
                         "\" for the databases: " + error.message());
    }
}

// Two services would start each camera twice.
std::unique_ptr<WriterLock> lock_folder(const ServiceFile& file) {
    try {
        return std::make_unique<WriterLock>(service_database(file));
    } catch (const InputError&) {
        throw InputError("another service runs in the folder \"" + file.folder +
                         "\"; name another folder in [store], or end that one");
    }
}

// Counting goes on without a page that cannot be shown. Null where there is none.
std::unique_ptr<PlaceWeb> open_web(LivePlace& place, LivePictures& pictures, const Say& say) {
    const auto file = place.file();
    if (!file->web) return nullptr;
    if (!file->web->on_loopback() && !file->web->tls.given()) {
        say(LogLevel::kWarning, "",
            "whoever shares a network with " + file->web->address +
                " can read passwords and pictures on their way: give certificate and key in "
                "[web], or put a reverse proxy with TLS in front of the service");
    }
    const std::string without =
        "there is no page, because the database \"" + service_database(*file) + "\" ";
    try {
        auto web = std::make_unique<PlaceWeb>(place, pictures);
        write_text(stdout, web->welcome());
        return web;
    } catch (const StoreError& error) {
        say(LogLevel::kError, "", without + "cannot be used: " + error.what());
    } catch (const ForeignDatabase& error) {
        say(LogLevel::kError, "", without + error.what());
    }
    return nullptr;
}

// Null where nobody wants to know.
std::unique_ptr<Ticker> tell_status(const ServiceManager& manager, const LivePlace& place) {
    constexpr std::chrono::seconds kEach{10};
    if (!manager.listens()) return nullptr;
    return std::make_unique<Ticker>(kEach, [&manager, &place] {
        manager.status(health_sentence(place_health(*place.file(), utc_now_us())));
    });
}

}  // namespace

int serve_command(const ServeOptions& options, const std::atomic<bool>& stop,
                  std::atomic<bool>& reload) {
    const ServiceFile file = read_service_file(options.file);
    check_service(file);
    make_folder(file.folder);
    const auto alone = lock_folder(file);
    write_text(stdout, describe_service(file) + "what is counted today: vca counts --config " +
                           file.path + "\n");
    LogLines log;
    const Say say = [&log](LogLevel level, const std::string& about, const std::string& sentence) {
        log.write(level, about, sentence);
    };
    ServiceManager manager;
    LivePlace place(file);
    LivePictures pictures;
    const MqttTask mqtt(place, say);
    const WebhookTask webhooks(place, say);
    const auto web = open_web(place, pictures, say);
    std::fflush(stdout);
    const auto told = tell_status(manager, place);
    Supervisor(place, pictures, manager, say).run(stop, reload);
    return kExitOk;
}

std::string check_service_file(const std::string& path) {
    const ServiceFile file = read_service_file(path);
    check_service(file);
    return describe_service(file);
}

}  // namespace host
