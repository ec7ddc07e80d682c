// By what the system knows of the file.
#include "host/base/file_stamp.h"

#include <sys/stat.h>

#include <utility>

namespace host {

std::string file_stamp(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return "";
    return std::to_string(info.st_ino) + " " + std::to_string(info.st_size) + " " +
           std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec);
}

FileWatch::FileWatch(std::string path) : path_(std::move(path)) {
    was_read();
}

bool FileWatch::look() {
    const std::string now = file_stamp(path_);
    if (now != std::exchange(last_, now) || now == read_) return false;
    read_ = now;
    return true;
}

void FileWatch::was_read() {
    read_ = last_ = file_stamp(path_);
}

}  // namespace host
