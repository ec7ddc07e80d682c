// The databases of several devices, for those who only read them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/store/store_reader.h"

namespace host {

class StoreReaders {
  public:
    explicit StoreReaders(std::vector<std::string> paths) : paths_(std::move(paths)) {}

    // Opens those that have come, or have been put in the place of others. Throws InputError and
    // StoreError.
    void open();
    const std::vector<StoreReader>& stores() const { return stores_; }
    // Changes with what is committed.
    std::vector<std::int64_t> versions() const;

  private:
    bool is_open(const std::string& path) const;

    std::vector<std::string> paths_;
    std::vector<StoreReader> stores_;
};

}  // namespace host
