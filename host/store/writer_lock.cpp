// A file of its own, because closing the database's file would give up SQLite's locks on it.
#include "host/store/writer_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "host/base/input_error.h"

namespace host {

WriterLock::WriterLock(const std::string& database) {
    const std::string path = database + "-writer";
    found_ = ::access(path.c_str(), F_OK) == 0;
    file_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (file_ < 0 || ::flock(file_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
    ::close(file_);
    throw InputError("another program writes to \"" + database +
                     "\"; name another file, or end that one");
}

WriterLock::~WriterLock() {
    if (file_ >= 0) ::close(file_);
}

}  // namespace host
