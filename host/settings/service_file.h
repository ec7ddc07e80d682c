// The file of a place: its cameras, what its entrances lead to, and where counts are kept.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/base/placed.h"
#include "host/frames/frame_source.h"
#include "host/net/tls_files.h"
#include "host/settings/broker_options.h"
#include "host/settings/retention_options.h"
#include "host/settings/webhook_options.h"

namespace host {

inline constexpr std::size_t kMostCameras = 128;  // each is a process
inline constexpr const char* kSettingsFolder = "cameras";
inline constexpr const char* kWholePlace = "place";  // the area when none is named
// Databases of these names are not a camera's: accounts, and what happens to the place as a whole.
inline constexpr const char* kServiceDatabase = "service";
inline constexpr const char* kPlaceDevice = "place";
// Neither is this what is published of a camera.
inline constexpr const char* kOccupancyTopic = "occupancy";

// Part of a cascade: a device of a site file.
struct CascadeRole {
    std::string site;    // path; empty: the camera counts by itself
    std::string device;  // its name there
};

struct ServiceCamera {
    std::string name;
    SourceOptions source;         // without what its settings say
    bool loop = false;            // a recording begins again when it has ended
    bool fast = false;            // as fast as it goes: its times run ahead of the clock
    bool colour_picture = false;  // pages show what it sees; otherwise coloured depth
    std::string settings;         // path of its settings, which need not exist; of its site's file
    CascadeRole role;
    std::string place;       // where it was given, for messages
    std::string definition;  // says the same as long as nothing of it changes

    bool in_cascade() const { return !role.site.empty(); }
};

// A line through which people come in.
struct ServiceEntrance {
    std::string camera;
    std::string line;
    int in = 1;        // direction of those who come in
    std::string area;  // that it leads into
    std::string place;
};

// What entrances lead into.
struct ServiceArea {
    std::string name;
    Placed<std::string> reset{"04:00"};  // local time at which nobody is inside
    std::optional<int> capacity;         // people
};

// Where the service answers over HTTP.
struct ServiceWeb {
    std::string address = "127.0.0.1";  // numeric; 0.0.0.0 and :: are all of the machine's
    int port = 8080;                    // 0: any that is free
    std::vector<std::string> hosts;     // names under which it is known, in lower case
    bool open_metrics = false;          // everybody may read them
    TlsFiles tls;                       // not given: it answers without
    std::string place;                  // of the table, as messages name it

    bool on_every_address() const { return address == "0.0.0.0" || address == "::"; }
    bool on_loopback() const { return address == "::1" || address.starts_with("127."); }
};

// "http://127.0.0.1:8080/", or https.
std::string web_address(const ServiceWeb& web);

// What is published to an MQTT broker.
struct ServiceMqtt {
    BrokerOptions broker;
    bool home_assistant = true;  // with the messages by which it finds the cameras
    bool allow_reset = false;    // whoever may publish there may set areas to nobody inside
};

struct ServiceFile {
    std::string path;
    std::string text;                       // of the file
    std::string place;                      // its name, which topics begin with
    Placed<std::string> time_zone;          // empty: the machine's
    std::vector<Placed<std::string>> open;  // "mon-fri 09:00-20:00", local; empty: all the time
    std::vector<ServiceCamera> cameras;
    std::vector<ServiceEntrance> entrances;
    std::vector<ServiceArea> areas;  // at least one when there are entrances
    std::string folder;              // of the databases
    Retention keep;
    std::optional<ServiceWeb> web;  // empty: it does not
    std::optional<ServiceMqtt> mqtt;
    std::vector<WebhookOptions> webhooks;
};

// Null when no camera has this name.
const ServiceCamera* find_camera(const ServiceFile& file, const std::string& name);

// The path of a camera's database.
std::string database_of(const ServiceFile& file, const std::string& camera);

// Whether a file describes a place: it has a key that only these files have. Throws InputError when
// it cannot be read.
bool is_service_file(const std::string& path);

// Reads and checks the file by itself. Throws InputError that names file and line.
ServiceFile read_service_file(const std::string& path);
// The same from the text of one; other files are looked for beside `path`.
ServiceFile parse_service_file(const std::string& text, const std::string& path);

}  // namespace host
