// What the build writes into a header of its own.
#include "host/base/version.h"

#include "host_version.h"

namespace host {

std::string version_number() {
    return VCA_HOST_VERSION;
}

std::string version_commit() {
    return VCA_HOST_COMMIT;
}

std::string version_build_type() {
    return VCA_HOST_BUILD_TYPE;
}

}  // namespace host
