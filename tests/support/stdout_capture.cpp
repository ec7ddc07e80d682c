// Captures what the process writes to standard output in an anonymous file.
#include "tests/support/stdout_capture.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

namespace test {
namespace {

constexpr long kReplayBytes = 30000;

std::atomic<int> capture_fd{-1};

long file_size(int fd) {
    struct stat info {};
    return fstat(fd, &info) == 0 ? static_cast<long>(info.st_size) : 0;
}

}  // namespace

StdoutCapture::StdoutCapture() {
    std::fflush(stdout);
    saved_fd_ = dup(STDOUT_FILENO);
    file_fd_ = memfd_create("stdout", 0);
    dup2(file_fd_, STDOUT_FILENO);
    capture_fd = file_fd_;
}

StdoutCapture::~StdoutCapture() {
    // Failures of the test were written into the capture too, so its end is passed on.
    start_ = std::max(0L, file_size(file_fd_) - kReplayBytes);
    const std::string tail = text();
    capture_fd = -1;
    dup2(saved_fd_, STDOUT_FILENO);
    std::fwrite(tail.data(), 1, tail.size(), stdout);
    std::fflush(stdout);
    close(saved_fd_);
    close(file_fd_);
}

std::string StdoutCapture::text() const {
    std::fflush(stdout);
    const long end = file_size(file_fd_);
    std::string content(static_cast<size_t>(end - start_), '\0');
    const ssize_t got = pread(file_fd_, content.data(), content.size(), start_);
    content.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return content;
}

void StdoutCapture::clear() {
    std::fflush(stdout);
    start_ = file_size(file_fd_);
}

size_t captured_bytes() {
    const int fd = capture_fd;
    if (fd < 0) return 0;
    std::fflush(stdout);
    return static_cast<size_t>(file_size(fd));
}

}  // namespace test
