// Texts in tables.
#pragma once

#include <cstddef>
#include <string>

namespace host {

// Text cut or filled with blanks to a number of UTF-8 characters.
std::string fitted(const std::string& text, std::size_t width);

}  // namespace host
