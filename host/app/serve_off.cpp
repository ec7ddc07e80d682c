// For a program that was built without the service.
#include "host/app/camera_process.h"
#include "host/app/serve_command.h"
#include "host/app/settings_command.h"
#include "host/app/users_command.h"
#include "host/base/input_error.h"

namespace host {
namespace {

[[noreturn]] void refuse() {
    throw InputError("this program was built without the service of a place");
}

}  // namespace

int serve_command(const ServeOptions&, const std::atomic<bool>&, std::atomic<bool>&) {
    refuse();
}

std::string check_service_file(const std::string&) {
    refuse();
}

std::string settings_command(const SettingsOptions&) {
    refuse();
}

std::string reset_user_command(const ResetUserOptions&) {
    refuse();
}

int camera_process(const std::atomic<bool>&) {
    refuse();
}

}  // namespace host
