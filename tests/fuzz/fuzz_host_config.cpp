// The configuration file, the site file, the command line and the values in them. Whatever is
// wrong with them must be said in an InputError.
#include <string>
#include <vector>

#include "host/settings/command_line.h"
#include "host/settings/installation_check.h"
#include "host/settings/site.h"
#include "host/settings/site_check.h"
#include "host/settings/site_config.h"
#include "host/settings/site_map.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/fuzz/memory_file.h"

namespace {

fuzz::MemoryFile& file() {
    static fuzz::MemoryFile the_file;
    return the_file;
}

void read_config(std::span<const uint8_t> bytes) {
    file().write(bytes);
    host::RunOptions options;
    host::read_config_file(file().path(), options);
    host::check_installation(options);
    host::describe_installation(options);
}

// A sound site must also lead to sound configurations of all its devices.
void read_site(std::span<const uint8_t> bytes) {
    file().write(bytes);
    host::is_site_file(file().path());
    const host::Site site = host::read_site_file(file().path());
    host::describe_site(site);
    for (const host::SiteDevice& device : site.devices) {
        host::device_config(site, device, host::SiteRole::kTogether);
        host::device_config(site, device, host::SiteRole::kAlone);
        if (device.master) continue;
        SLAVE_MSG_S message{};
        message.count = 1;
        host::map_to_master(site, device.index, message);
    }
    host::master_area(site);
}

// Arguments stand one below the other. Files that the input names are not opened: only the one in
// memory, which holds a sound configuration.
void read_command_line(const std::string& text) {
    std::vector<std::string> words{"vca"};
    std::string word;
    for (const char c : text + '\n') {
        if (c != '\n' && c != '\0') {
            word += c;
            continue;
        }
        for (const std::string option : {"--config", "--recording"}) {
            if (words.back() == option) word = file().path();
            if (word.starts_with(option + "=")) word = option + "=" + file().path();
        }
        words.push_back(std::move(word));
        word.clear();
    }
    words.pop_back();
    static constexpr char kSound[] = "[[line]]\npoints = [[1, 2], [300, 4]]\n";
    file().write({reinterpret_cast<const uint8_t*>(kSound), sizeof(kSound) - 1});
    std::vector<const char*> arguments;
    for (const std::string& each : words)
        arguments.push_back(each.c_str());
    host::parse_command_line(static_cast<int>(arguments.size()), arguments.data());
}

void read_values(const std::string& text) {
    try {
        host::parse_points(text, "--line");
    } catch (const host::InputError&) {
    }
    try {
        host::parse_broker(text);
    } catch (const host::InputError&) {
    }
    try {
        host::parse_start_at(text);
    } catch (const host::InputError&) {
    }
    try {
        host::check_name(text, "the name");
    } catch (const host::InputError&) {
    }
    if (const auto number = host::to_number(text)) host::checked_height_mm(*number, "--height");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteReader in(data, size);
    const uint8_t choice = in.u8();
    const std::span<const uint8_t> bytes(in.rest(), in.left());
    const std::string text(bytes.begin(), bytes.end());
    try {
        switch (choice % 4) {
            case 0:
                read_config(bytes);
                break;
            case 1:
                read_site(bytes);
                break;
            case 2:
                read_command_line(text);
                break;
            default:
                read_values(text);
                break;
        }
    } catch (const host::InputError& error) {
        if (std::string(error.what()).empty()) std::abort();
    }
    return 0;
}
