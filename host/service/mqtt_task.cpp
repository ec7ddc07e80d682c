// Devices as the file has them, and how each stands.
#include "host/service/mqtt_task.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <optional>
#include <utility>

#include "host/base/input_error.h"
#include "host/base/utc.h"
#include "host/service/health.h"
#include "host/service/place.h"
#include "host/store/store_readers.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kLook{100};
constexpr std::chrono::seconds kShow{1};

// Everything that devices have in common; a password that has been changed is something else.
std::string definition_of(const ServiceFile& file, const MqttSettings& broker) {
    return file.place + '\n' + file.time_zone.value + '\n' + file.folder + '\n' + broker.host +
           '\n' + std::to_string(broker.port) + '\n' + broker.user + '\n' + broker.password + '\n' +
           (broker.tls ? "tls" : "") + '\n' + broker.ca_file + '\n' + broker.certificate + '\n' +
           broker.key + '\n' + (file.mqtt->home_assistant ? "found" : "") + '\n' +
           (file.mqtt->allow_reset ? "reset" : "");
}

// Where a browser finds the page; an address that stands for all of this machine's is no address
// for others.
std::string page_of(const ServiceFile& file) {
    if (!file.web || file.web->port == 0) return "";
    ServiceWeb web = *file.web;
    if (web.address == "0.0.0.0" || web.address == "::") {
        std::array<char, 256> name{};
        if (::gethostname(name.data(), name.size() - 1) != 0) return "";
        web.address = name.data();
    }
    return web_address(web);
}

}  // namespace

struct MqttTask::Device {
    std::string name;
    std::unique_ptr<MqttDevice> mqtt;
    // What the camera has, as its process told last.
    std::optional<CameraFigures> figures;
    StoreReaders stores;  // of the camera; of the place's device all
};

MqttTask::MqttTask(LivePlace& place, Say say)
    : place_(place),
      say_(std::move(say)),
      thread_([this](const std::stop_token& stop) { run(stop); }) {}

MqttTask::~MqttTask() = default;

void MqttTask::wake() {
    const std::lock_guard lock(mutex_);
    woken_ = true;
    changed_.notify_all();
}

void MqttTask::run(const std::stop_token& stop) {
    auto next = std::chrono::steady_clock::now();
    while (!stop.stop_requested()) {
        attempt("", [this] { take_over(place_.file()); });
        for (const auto& each : devices_)
            attempt(each.first, [&each] { each.second->mqtt->send_events(); });
        if (const auto now = std::chrono::steady_clock::now(); now >= next) {
            next = now + kShow;
            show();
        }
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, stop, kLook, [this] { return woken_; });
        woken_ = false;
    }
    devices_.clear();
}

// Publishing may fail; the place goes on.
void MqttTask::attempt(const std::string& device, const std::function<void()>& work) {
    try {
        work();
        complaints_.erase(device);
    } catch (const std::exception& fault) {
        const std::string complaint = std::string("cannot publish: ") + fault.what();
        if (complaint != std::exchange(complaints_[device], complaint))
            say_(LogLevel::kWarning, device == kPlaceDevice ? "" : device, complaint);
    }
}

void MqttTask::take_over(std::shared_ptr<const ServiceFile> file) {
    if (file == file_) return;
    if (!file->mqtt) {
        devices_.clear();
        file_ = std::move(file);
        return;
    }
    const MqttSettings broker = mqtt_settings(file->mqtt->broker);
    std::string definition = definition_of(*file, broker);
    if (definition != std::exchange(definition_, definition)) devices_.clear();
    file_ = std::move(file);
    std::erase_if(devices_, [&](const auto& device) {
        return device.first != kPlaceDevice && find_camera(*file_, device.first) == nullptr;
    });
    for (const ServiceCamera& camera : file_->cameras)
        add_device(camera.name, broker);
    add_device(kPlaceDevice, broker);
    devices_[kPlaceDevice]->stores = StoreReaders(area_databases(*file_));
}

void MqttTask::add_device(const std::string& name, const MqttSettings& broker) {
    if (devices_.contains(name)) return;
    const bool place = name == kPlaceDevice;
    MqttDeviceSetup setup;
    setup.broker = broker;
    setup.place = file_->place;
    setup.name = name;
    setup.role = place ? MqttRole::kPlace : MqttRole::kCamera;
    setup.database = database_of(*file_, name);
    setup.time_zone = file_->time_zone.value;
    setup.home_assistant = file_->mqtt->home_assistant;
    setup.say = [this, name, place](LogLevel level, const std::string& sentence) {
        say_(level, place ? "" : name, sentence);
    };
    setup.wake = [this] { wake(); };
    if (place && file_->mqtt->allow_reset)
        setup.reset = [this](const std::string& area) { place_.ask_to_reset(area); };
    StoreReaders stores({setup.database});
    devices_[name] = std::make_unique<Device>(
        Device{name, std::make_unique<MqttDevice>(std::move(setup)), {}, std::move(stores)});
}

void MqttTask::show() {
    for (const auto& each : devices_) {
        attempt(each.first, [&] {
            Device& device = *each.second;
            if (!device.mqtt->ready()) return;
            device.mqtt->show(each.first == kPlaceDevice ? now_of_place(device) : now_of(device));
        });
    }
}

MqttDeviceNow MqttTask::now_of(Device& device) const {
    const MqttTopics& topics = device.mqtt->topics();
    const LiveCamera camera = place_.camera(device.name);
    if (camera.figures) device.figures = camera.figures;
    MqttDeviceNow now;
    now.status = camera_stand_name(camera.stand);
    const std::string database = database_of(*file_, device.name);
    now.states = {health_state(topics, camera_state(database, utc_now_us()).faults)};
    if (!device.figures) return now;
    DiscoveredDevice described{file_->place, device.name, page_of(*file_), {}, {}, {}, false};
    for (const LineFigures& line : device.figures->lines)
        described.lines.push_back({line.name, line.directions});
    for (const RegionFigures& region : device.figures->regions)
        described.regions.push_back(region.name);
    for (MqttState& state : region_states(topics, *device.figures))
        now.states.push_back(std::move(state));
    try {
        device.stores.open();
        const TimeZone zone(file_->time_zone.value);
        for (const StoreReader& store : device.stores.stores())
            for (MqttState& state : line_states(topics, store, described.lines, zone))
                now.states.push_back(std::move(state));
        now.described = std::move(described);
    } catch (const std::runtime_error&) {
        // The database cannot be read, which its health tells; the totals stay as they were told.
    }
    return now;
}

MqttDeviceNow MqttTask::now_of_place(Device& device) const {
    const MqttTopics& topics = device.mqtt->topics();
    const std::int64_t now_us = utc_now_us();
    MqttDeviceNow now;
    now.status = mqtt_status::kOnline;
    std::vector<HealthNote> faults;
    for (const std::string& database : databases_of(*file_)) {
        const CameraState state = camera_state(database, now_us);
        for (HealthNote fault : state.faults) {
            fault.text = state.name + ": " + fault.text;
            faults.push_back(std::move(fault));
        }
    }
    for (HealthNote& fault : place_faults(*file_, now_us))
        faults.push_back(std::move(fault));
    now.states = {health_state(topics, faults)};
    for (const auto& [name, other] : devices_)
        now.ids.insert(other->mqtt->topics().id());
    const std::vector<Area> areas = areas_of(*file_);
    try {
        device.stores.open();
        const TimeZone zone(file_->time_zone.value);
        for (const Area& area : areas) {
            now.states.push_back(
                area_state(topics, area, area_balance(device.stores.stores(), area, zone, now_us)));
        }
        now.described = DiscoveredDevice{file_->place, file_->place, page_of(*file_),         {},
                                         {},           areas,        file_->mqtt->allow_reset};
    } catch (const std::runtime_error&) {
        // As with a camera.
    }
    return now;
}

}  // namespace host
