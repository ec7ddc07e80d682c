// Files and credentials.
#include "host/settings/secret_file.h"

#include <cstdlib>
#include <fstream>

#include "host/base/input_error.h"
#include "host/base/readable_file.h"
#include "host/settings/file_values.h"

namespace host {
namespace {

constexpr std::string_view kCredential = "credential:";
constexpr const char* kCredentialFolder = "CREDENTIALS_DIRECTORY";

std::string secret_path(const std::string& secret, const std::string& what,
                        const std::string& place) {
    if (!secret.starts_with(kCredential)) return secret;
    const char* const folder = std::getenv(kCredentialFolder);
    if (folder == nullptr) {
        throw InputError(place + " takes its " + what +
                         " from a credential, and the program was started without any; name a "
                         "file, or start it by its unit");
    }
    return folder + ("/" + secret.substr(kCredential.size()));
}

}  // namespace

std::string secret_value(const TomlValue& value, const std::string& folder) {
    std::string text = value.text();
    if (text.starts_with(kCredential)) return text;
    return path_beside(folder, text);
}

std::string read_secret(const std::string& secret, const std::string& what,
                        const std::string& place) {
    const std::string path = secret_path(secret, what, place);
    const std::string file = ": the " + what + " file \"" + path + "\"";
    if (const std::string why = why_unreadable(path); !why.empty())
        throw InputError(place + file + " cannot be read: " + why);
    std::string line;
    std::ifstream in(path);
    std::getline(in, line);
    if (line.empty()) throw InputError(place + file + " is empty");
    return line;
}

}  // namespace host
