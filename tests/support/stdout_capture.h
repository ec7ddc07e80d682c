// Captures what the process writes to standard output.
#ifndef TESTS_SUPPORT_STDOUT_CAPTURE_H
#define TESTS_SUPPORT_STDOUT_CAPTURE_H

#include <string>

namespace test {

// Sends standard output to a file while it lives; one at a time.
class StdoutCapture {
  public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // Everything written since construction or the last clear().
    std::string text() const;
    // Forgets what was written so far.
    void clear();

  private:
    int saved_fd_ = -1;
    int file_fd_ = -1;
    long start_ = 0;
};

// Bytes written since the running capture began, 0 without one.
size_t captured_bytes();

}  // namespace test

#endif
