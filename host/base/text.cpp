// Widths of texts in tables.
#include "host/base/text.h"

namespace host {

std::string fitted(const std::string& text, std::size_t width) {
    std::string out;
    std::size_t characters = 0;
    for (const char byte : text) {
        const bool begins = (static_cast<unsigned char>(byte) & 0xC0u) != 0x80u;
        if (begins && characters == width) break;
        if (begins) ++characters;
        out += byte;
    }
    return out.append(width - characters, ' ');
}

}  // namespace host
