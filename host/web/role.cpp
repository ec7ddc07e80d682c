// Names of roles, as the API and the database have them.
#include "host/web/role.h"

namespace host {

std::string role_name(Role role) {
    switch (role) {
        case Role::kNobody:
            return "";
        case Role::kViewer:
            return "viewer";
        case Role::kOperator:
            return "operator";
        case Role::kAdmin:
            return "admin";
    }
    return "";
}

std::optional<Role> role_named(const std::string& name) {
    for (const Role role : {Role::kViewer, Role::kOperator, Role::kAdmin})
        if (name == role_name(role)) return role;
    return std::nullopt;
}

}  // namespace host
