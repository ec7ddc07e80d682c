// Random bits of the operating system.
#include "host/store/epoch.h"

#include <sodium.h>

#include <array>
#include <stdexcept>

namespace host {

std::string new_epoch() {
    if (sodium_init() < 0) throw std::runtime_error("the system has no random numbers");
    std::array<unsigned char, 8> bits{};
    randombytes_buf(bits.data(), bits.size());
    std::array<char, 2 * bits.size() + 1> text{};
    sodium_bin2hex(text.data(), text.size(), bits.data(), bits.size());
    return text.data();
}

}  // namespace host
