// Headers by name.
#include "host/net/http_message.h"

#include <strings.h>

namespace host {

std::string HttpRequest::header(const std::string& name) const {
    for (const auto& [key, value] : headers)
        if (::strcasecmp(key.c_str(), name.c_str()) == 0) return value;
    return {};
}

}  // namespace host
