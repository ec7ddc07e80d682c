// A way back in for whoever may read the service's files.
#include "host/app/users_command.h"

#include <algorithm>
#include <filesystem>

#include "host/app/place_web.h"
#include "host/base/input_error.h"
#include "host/base/text.h"
#include "host/store/schema.h"

namespace host {
namespace {

void check_is_known(const std::vector<UserEntry>& users, const std::string& name) {
    std::string known;
    for (const UserEntry& user : users) {
        if (user.name == name) return;
        known += (known.empty() ? "" : ", ") + user.name;
    }
    throw InputError("there is no user \"" + name + "\"; known are " + known);
}

std::string reset(const std::string& database, const std::string& name) {
    Accounts accounts({database});
    check_is_known(accounts.users(), name);
    return "one-time password of " + visible(name) + ": " + accounts.reset_password(name) + "\n";
}

}  // namespace

std::string reset_user_command(const ResetUserOptions& options) {
    const std::string database = service_database(read_service_file(options.file));
    if (!std::filesystem::exists(database)) {
        throw InputError(
            "nobody may log in yet: the first start of vca serve with a table [web] in \"" +
            options.file + "\" makes the first user");
    }
    try {
        return reset(database, options.name);
    } catch (const StoreError& error) {
        throw std::runtime_error("the database \"" + database + "\": " + error.what());
    } catch (const ForeignDatabase& error) {
        throw std::runtime_error("the database \"" + database + "\" " + error.what());
    }
}

}  // namespace host
