// What identifies a file, and bytes as text.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace host {

// SHA-256 in 64 small hexadecimal digits. Throws InputError when the file cannot be read.
std::string sha256_of_file(const std::string& path);
std::string sha256_of_text(const std::string& text);

// RFC 4648, without line breaks.
std::string base64_text(std::span<const std::uint8_t> bytes);

}  // namespace host
