// For a program that was built without the service.
#include "host/app/store_commands.h"
#include "host/base/input_error.h"

namespace host {

int store_command(const CommandLine&, const std::atomic<bool>&) {
    throw InputError("this program was built without a database");
}

}  // namespace host
