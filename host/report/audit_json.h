// audit.json: the numbers of an audit for programs.
#pragma once

#include <string>

#include "host/report/audit_facts.h"

namespace host {

// Throws std::runtime_error when it cannot be written.
void write_audit_json(const AuditFacts& facts, const AuditInput& input, const Audit& audit,
                      const std::string& path);

}  // namespace host
