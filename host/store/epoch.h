// Names of epochs.
#pragma once

#include <string>

namespace host {

// 64 random bits as 16 hexadecimal digits: among a million databases two are the same with a
// probability of 3e-8.
std::string new_epoch();

}  // namespace host
