// The error that means wrong input of the user.
#pragma once

#include <stdexcept>

namespace host {

// Wrong input of the user; the text is one sentence that names the place and says what is right.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace host
