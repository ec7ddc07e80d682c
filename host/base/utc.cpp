// Calendar days by the C library.
#include "host/base/utc.h"

#include <array>
#include <cctype>
#include <chrono>
#include <ctime>

#include "host/base/text.h"

namespace host {
namespace {

constexpr const char* kForm = "0000-00-00T00-00-00.000Z";  // 0 for a digit

}  // namespace

std::int64_t utc_now_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

std::string utc_name(std::int64_t us) {
    const std::int64_t ms = us / 1000 - (us % 1000 < 0 ? 1 : 0);
    const std::int64_t within = (ms % 1000 + 1000) % 1000;
    const std::time_t seconds = (ms - within) / 1000;
    std::tm calendar{};
    if (gmtime_r(&seconds, &calendar) == nullptr) return kForm;
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H-%M-%S", &calendar);
    return text.data() + format_text(".%03dZ", static_cast<int>(within));
}

bool is_utc_name(const std::string& text) {
    const std::string form = kForm;
    if (text.size() != form.size()) return false;
    for (std::size_t i = 0; i < form.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (form[i] == '0' ? !digit : text[i] != form[i]) return false;
    }
    return true;
}

}  // namespace host
