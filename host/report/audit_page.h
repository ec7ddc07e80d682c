// audit.html: an audit as one page that needs nothing else, to be read, sent and printed.
#pragma once

#include <string>

#include "host/report/audit_facts.h"

namespace host {

// Throws std::runtime_error when it cannot be written.
void write_audit_page(const AuditFacts& facts, const AuditInput& input, const Audit& audit,
                      const std::string& path);

}  // namespace host
