// What somebody may do.
#pragma once

#include <optional>
#include <string>

namespace host {

// Each may do what those before it may.
enum class Role { kNobody, kViewer, kOperator, kAdmin };

// "viewer", "operator", "admin"; empty for nobody.
std::string role_name(Role role);
// Nothing for any other text.
std::optional<Role> role_named(const std::string& name);

}  // namespace host
