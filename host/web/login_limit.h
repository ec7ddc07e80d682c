// How many wrong passwords are put up with, by name and by address.
//
// Each failure goes into two buckets, and each bucket forgets one after a while. A bucket is known
// by a few bits of a keyed hash, so there is a bound to their number, whatever is tried, and nobody
// outside can tell which names share one.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/store/database.h"

namespace host {

// All times are microseconds since 1970.
class LoginLimit {
  public:
    static constexpr int kMostOfName = 5;
    static constexpr int kMostOfAddress = 20;
    static constexpr std::int64_t kForgotten_us = 30'000'000;  // one failure

    // The key keeps others from finding names that fall into the bucket of somebody else.
    explicit LoginLimit(Blob key) : key_(std::move(key)) {}

    // Seconds until somebody may try again; 0 for now.
    int wait_s(const std::string& name, const std::string& address, std::int64_t now_us);
    void failed(const std::string& name, const std::string& address, std::int64_t now_us);
    // Whoever knows a password is forgiven for having mistyped it.
    void succeeded(const std::string& name);

    // For keeping it over a restart: when a bucket will have forgotten everything.
    using Bucket = std::pair<int, std::int64_t>;
    // Those that have changed since they were kept.
    std::vector<Bucket> changed() const;
    void kept() { changed_.clear(); }
    void restore(const Bucket& bucket) { empty_us_.insert(bucket); }

  private:
    int name_bucket(const std::string& name) const;
    int address_bucket(const std::string& address) const;
    std::int64_t wait_us(int bucket, int most, std::int64_t now_us);
    void add(int bucket, std::int64_t now_us);

    Blob key_;
    std::map<int, std::int64_t> empty_us_;
    std::set<int> changed_;
};

}  // namespace host
