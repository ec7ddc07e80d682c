// What an audit report says beside its numbers.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/score/audit.h"
#include "host/score/balance.h"

namespace host {

struct AuditedFile {
    std::string name;
    std::string sha256;
};

// The pictures of a mismatch, from a second before it to a second after it; as many as the
// recording has. JPEG as base64.
inline constexpr std::array<double, 5> kStripTimes_s{-1.0, -0.5, 0.0, 0.5, 1.0};
using Strip = std::vector<std::pair<double, std::string>>;  // time after the mismatch

struct AuditFacts {
    std::vector<AuditedFile> recordings;
    AuditedFile labels;
    std::vector<std::string> labellers;  // may be empty
    bool by_interval = false;
    std::int64_t label_rows = 0;
    std::string program;           // version and commit
    std::string settings_sha256;   // of the settings as a file
    std::string settings;          // their text
    std::int64_t recorded_us = 0;  // UTC, of the first frame
    std::int64_t audited_us = 0;
    std::int64_t frames = 0;
    double from_s = 0.0;
    double end_s = 0.0;
    double interval_s = 0.0;
    std::string camera;
    double install_height_mm = 0.0;
    std::vector<std::string> warnings;
    std::vector<Balance> balances;        // of the closed lines
    std::map<std::size_t, Strip> strips;  // by mismatch
};

}  // namespace host
