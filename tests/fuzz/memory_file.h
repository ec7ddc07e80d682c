// A file that lives in memory, for readers that take a path.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

namespace fuzz {

class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("fuzz", 0)) {
        if (descriptor_ < 0) std::abort();
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void write(std::span<const uint8_t> bytes) {
        const auto length = static_cast<off_t>(bytes.size());
        if (ftruncate(descriptor_, 0) != 0 ||
            pwrite(descriptor_, bytes.data(), bytes.size(), 0) != length)
            std::abort();
    }

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  private:
    int descriptor_;
};

}  // namespace fuzz
