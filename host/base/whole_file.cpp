// Written beside it, then renamed.
#include "host/base/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path) {
    throw std::runtime_error("cannot write \"" + path +
                             "\": " + std::generic_category().message(errno));
}

// False with the reason in errno.
bool write_synced(const std::string& path, const std::string& text) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) return false;
    std::size_t written = 0;
    bool well = true;
    while (well && written < text.size()) {
        const ssize_t count = ::write(file, text.data() + written, text.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else {
            well = errno == EINTR;
        }
    }
    well = well && ::fsync(file) == 0;
    const int error = errno;
    ::close(file);
    errno = error;
    return well;
}

// A name that was changed is safe once its folder is.
void sync_folder(const fs::path& folder) {
    const int file = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (file < 0) return;
    ::fsync(file);
    ::close(file);
}

}  // namespace

void write_whole_file(const std::string& path, const std::string& text) {
    const fs::path folder = fs::absolute(path).parent_path();
    std::error_code error;
    fs::create_directories(folder, error);
    const std::string part = path + ".part";
    if (!write_synced(part, text) || ::rename(part.c_str(), path.c_str()) != 0) {
        const int why = errno;
        fs::remove(part, error);
        errno = why;
        fail(path);
    }
    sync_folder(folder);
}

}  // namespace host
