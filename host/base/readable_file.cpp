// The system's reason why a file cannot be read.
#include "host/base/readable_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

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

}  // namespace host
