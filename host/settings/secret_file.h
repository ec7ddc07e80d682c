// Passwords and keys, which stand in files of their own and never among the settings: those are
// shown and kept.
#pragma once

#include <string>

#include "host/base/toml_reader.h"

namespace host {

// The path of a file whose first line is the secret, or "credential:NAME", which is looked for
// where the system's manager of services puts what a unit is handed.
std::string secret_value(const TomlValue& value, const std::string& folder);

// The secret that such a value names. `what` is its name in messages, which begin with `place`.
// Throws InputError when it cannot be read or is empty.
std::string read_secret(const std::string& secret, const std::string& what,
                        const std::string& place);

}  // namespace host
