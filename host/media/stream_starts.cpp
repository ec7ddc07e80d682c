// A stream begins with the mark of EBML, and soon after it the name of the container: 12 bytes that
// do not occur by chance.
#include "host/media/stream_starts.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace host {
namespace {

constexpr std::array<std::uint8_t, 4> kMark{0x1A, 0x45, 0xDF, 0xA3};
constexpr std::string_view kName = "matroska";
constexpr std::size_t kHeaderBytes = 64;  // within which the name stands

bool has_name(std::span<const std::uint8_t> header) {
    const auto end =
        header.begin() + static_cast<std::ptrdiff_t>(std::min(header.size(), kHeaderBytes));
    return std::search(header.begin(), end, kName.begin(), kName.end()) != end;
}

}  // namespace

void StreamStarts::take(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& out) {
    // The mark may have been cut in two. Its first bytes have then been given out already, for no
    // frame waits for what may follow it; the stream that ends there does not mind.
    std::vector<std::uint8_t> all = std::move(kept_);
    kept_.clear();
    const bool was_kept = !all.empty();
    const std::size_t repeated = was_kept ? repeated_ : tail_.size();
    if (!was_kept) all = tail_;
    all.insert(all.end(), bytes.begin(), bytes.end());
    const bool at_beginning = !was_kept && given_ == tail_.size();
    const auto from = all.begin() + (at_beginning && !all.empty() ? 1 : 0);
    auto start = std::search(from, all.end(), kMark.begin(), kMark.end());
    while (start != all.end() && all.end() - start >= static_cast<std::ptrdiff_t>(kHeaderBytes) &&
           !has_name({start, all.end()}))
        start = std::search(start + 1, all.end(), kMark.begin(), kMark.end());
    const auto given_from = all.begin() + static_cast<std::ptrdiff_t>(repeated);
    if (start > given_from) {
        out.insert(out.end(), given_from, start);
        given_ += static_cast<std::size_t>(start - given_from);
    }
    repeated_ = start < given_from ? static_cast<std::size_t>(given_from - start) : 0;
    kept_.assign(start, all.end());
    found_ = has_name(kept_);
    const auto tail_size = std::min<std::ptrdiff_t>(kMark.size() - 1, start - all.begin());
    tail_.assign(start - tail_size, start);
}

void StreamStarts::begin_next(std::vector<std::uint8_t>& out) {
    const std::vector<std::uint8_t> bytes = std::exchange(kept_, {});
    tail_.clear();
    given_ = 0;
    found_ = false;
    take(bytes, out);
}

}  // namespace host
