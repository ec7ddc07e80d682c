// The balance of a closed line as JSON, in the summary of a run and in an audit.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "host/score/balance.h"

namespace host {

nlohmann::ordered_json balance_json(const Balance& balance);

}  // namespace host
