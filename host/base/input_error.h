// The error that reports wrong user input.
#pragma once

#include <stdexcept>

namespace host {

// Wrong user input; the text is one sentence that names the place and says what would be right.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace host
