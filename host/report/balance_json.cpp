#include "host/report/balance_json.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace host {
namespace {

using Json = nlohmann::ordered_json;

double milliseconds_kept(double time_s) {
    return std::round(time_s * 1000.0) / 1000.0;
}

Json fault_json(const BalanceFault& fault) {
    return {{"track", fault.track},
            {"from_s", milliseconds_kept(fault.from_s)},
            {"until_s", fault.until_s ? Json(milliseconds_kept(*fault.until_s)) : Json(nullptr)},
            {"feet_inside", fault.inside},
            {"counted_inside", fault.counted},
            {"vanished", fault.vanished},
            {"why", fault.why}};
}

}  // namespace

Json balance_json(const Balance& balance) {
    Json out{{"line", balance.line},
             {"entries", balance.entries},
             {"exits", balance.exits},
             {"appeared_inside", balance.appeared},
             {"vanished_inside", balance.vanished},
             {"inside_at_end", balance.inside},
             {"difference", balance.difference()},
             {"checks", balance.checks},
             {"checks_off", balance.checks_off},
             {"violations", balance.fault_count},
             {"told", Json::array()}};
    for (const BalanceFault& fault : balance.faults)
        out["told"].push_back(fault_json(fault));
    return out;
}

}  // namespace host
