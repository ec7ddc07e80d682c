// The system's reason why a file cannot be read.
#include "host/base/readable_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "host/base/input_error.h"

namespace host {
namespace fs = std::filesystem;

std::string why_unreadable(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error) return error.message();
    if (fs::is_directory(status)) return "it is a folder";
    if (!fs::is_regular_file(status)) return "it is not a regular file";
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return std::generic_category().message(errno);
    ::close(file);
    return "";
}

std::string read_text_file(const std::string& path, const std::string& kind,
                           const std::string& remedy) {
    const std::string name = kind + " \"" + path + "\"";
    std::error_code error;
    if (fs::status(path, error).type() == fs::file_type::not_found) {
        throw InputError("there is no " + name + "; " + remedy);
    }
    if (const std::string why = why_unreadable(path); !why.empty()) {
        throw InputError("cannot read the " + name + ": " + why + "; " + remedy);
    }
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace host
