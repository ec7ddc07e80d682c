// Buckets that leak.
#include "host/web/login_limit.h"

#include <algorithm>

#include "host/web/secrets.h"

namespace host {
namespace {

constexpr int kBuckets = 1 << 16;  // of each kind

// Somebody with a line of their own has all addresses of its network.
std::string network_of(const std::string& address) {
    constexpr int kPartsOfNetwork = 4;
    if (address.find(':') == std::string::npos) return address;
    std::size_t end = 0;
    for (int i = 0; i < kPartsOfNetwork && end != std::string::npos; ++i)
        end = address.find(':', end + 1);
    return address.substr(0, end);
}

}  // namespace

int LoginLimit::name_bucket(const std::string& name) const {
    return bucket_of("name " + name, key_);
}

int LoginLimit::address_bucket(const std::string& address) const {
    return kBuckets + bucket_of("address " + network_of(address), key_);
}

// A clock that has been set back keeps nobody waiting for longer than a full bucket does.
std::int64_t LoginLimit::wait_us(int bucket, int most, std::int64_t now_us) {
    const auto found = empty_us_.find(bucket);
    if (found == empty_us_.end()) return 0;
    std::int64_t& empty_us = found->second;
    empty_us = std::min(empty_us, now_us + most * kForgotten_us);
    // One more failure must fit in.
    return std::max<std::int64_t>(0, empty_us - now_us - (most - 1) * kForgotten_us);
}

int LoginLimit::wait_s(const std::string& name, const std::string& address, std::int64_t now_us) {
    constexpr std::int64_t kSecond_us = 1'000'000;
    const std::int64_t longer_us =
        std::max(wait_us(name_bucket(name), kMostOfName, now_us),
                 wait_us(address_bucket(address), kMostOfAddress, now_us));
    return static_cast<int>((longer_us + kSecond_us - 1) / kSecond_us);
}

void LoginLimit::failed(const std::string& name, const std::string& address, std::int64_t now_us) {
    add(name_bucket(name), now_us);
    add(address_bucket(address), now_us);
}

void LoginLimit::add(int bucket, std::int64_t now_us) {
    std::int64_t& empty_us = empty_us_[bucket];
    empty_us = std::max(empty_us, now_us) + kForgotten_us;
    changed_.insert(bucket);
}

void LoginLimit::succeeded(const std::string& name) {
    const int bucket = name_bucket(name);
    if (empty_us_.erase(bucket) > 0) changed_.insert(bucket);
}

std::vector<LoginLimit::Bucket> LoginLimit::changed() const {
    std::vector<Bucket> list;
    for (const int bucket : changed_) {
        const auto found = empty_us_.find(bucket);
        list.emplace_back(bucket, found == empty_us_.end() ? 0 : found->second);
    }
    return list;
}

}  // namespace host
