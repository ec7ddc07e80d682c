// Layout of audit.json.
#include "host/report/audit_json.h"

#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/base/utc.h"
#include "host/report/balance_json.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

template <typename Value>
Json or_null(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json file_json(const AuditedFile& file) {
    return {{"file", file.name}, {"sha256", file.sha256}};
}

Json bias_json(const BiasTest& test) {
    return {{"verdict", bias_verdict_name(test.verdict)},
            {"limit", kMostBias},
            {"bias", or_null(test.bias)},
            {"deviation", or_null(test.deviation)},
            {"margin_975", or_null(test.margin_975)},
            {"margin_95", or_null(test.margin_95)},
            {"crossings_for_power", test.crossings_for_power},
            {"crossings_still_needed", test.crossings_still_needed}};
}

Json kinds_json(const std::array<int, kAuditErrors>& kinds) {
    Json out;
    for (std::size_t i = 0; i < kinds.size(); ++i)
        out[audit_error_name(static_cast<AuditError>(i))] = kinds[i];
    return out;
}

Json row_json(const AuditRow& row, bool with_kinds) {
    Json out;
    if (!row.line.empty()) {
        out["line"] = row.line;
        out["direction"] = row.direction;
    }
    const CountErrors& e = row.errors;
    const auto share = [&e](std::int64_t intervals) {
        return e.intervals == 0
                   ? Json(nullptr)
                   : Json(static_cast<double>(intervals) / static_cast<double>(e.intervals));
    };
    out["manual"] = e.manual;
    out["counted"] = e.counted;
    out["balanced_error"] = or_null(e.balanced);
    out["unbalanced_error"] = or_null(e.unbalanced);
    out["intervals"] = e.intervals;
    out["exact"] = share(e.exact);
    out["within_1"] = share(e.within_one);
    out["within_2"] = share(e.within_two);
    if (with_kinds) out["errors"] = kinds_json(row.kinds);
    out["bias"] = bias_json(row.bias);
    return out;
}

double rounded(double value) {
    return std::round(value * 1e6) / 1e6;
}

Json mismatch_json(const Mismatch& mismatch, const AuditInput& input) {
    Json out{{"kind", audit_error_name(mismatch.kind)}, {"time_s", rounded(mismatch.time_s)}};
    if (mismatch.label) {
        const Label& label = input.labels->crossings[*mismatch.label];
        out["label"] = {{"time_s", label.time_s},
                        {"line", label.line},
                        {"direction", label.direction},
                        {"note", label.note},
                        {"labeller", label.labeller}};
    }
    if (mismatch.count) {
        const CountedCrossing& count = input.counts[*mismatch.count];
        out["count"] = {{"time_s", rounded(count.time_s)},
                        {"line", count.line},
                        {"direction", count.direction},
                        {"track", count.track}};
    }
    out["why"] = mismatch.why;
    return out;
}

}  // namespace

void write_audit_json(const AuditFacts& facts, const AuditInput& input, const Audit& audit,
                      const std::string& path) {
    Json root;
    for (const AuditedFile& file : facts.recordings)
        root["recordings"].push_back(file_json(file));
    root["labels"] = file_json(facts.labels);
    root["labels"]["rows"] = facts.label_rows;
    root["labels"]["by_interval"] = facts.by_interval;
    root["labels"]["labellers"] = facts.labellers;
    root["program"] = facts.program;
    root["settings_sha256"] = facts.settings_sha256;
    root["recorded"] = utc_name(facts.recorded_us);
    root["audited"] = utc_name(facts.audited_us);
    root["from_s"] = facts.from_s;
    root["end_s"] = facts.end_s;
    root["frames"] = facts.frames;
    root["interval_s"] = facts.by_interval ? Json(nullptr) : Json(facts.interval_s);
    root["same_crossing_s"] = kSameCrossing_s;
    root["warnings"] = facts.warnings;
    root["total"] = row_json(audit.total, !facts.by_interval);
    root["lines"] = Json::array();
    for (const AuditRow& row : audit.rows)
        root["lines"].push_back(row_json(row, !facts.by_interval));
    for (const Balance& balance : facts.balances)
        root["balances"].push_back(balance_json(balance));
    root["mismatches"] = Json::array();
    for (const Mismatch& mismatch : audit.mismatches)
        root["mismatches"].push_back(mismatch_json(mismatch, input));
    std::ofstream out(path);
    out << root.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    out.flush();
    if (!out) throw std::runtime_error("cannot write \"" + path + "\"");
}

}  // namespace host
