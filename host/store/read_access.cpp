// Opening, with sentences for people.
#include "host/store/read_access.h"

#include <filesystem>

#include "host/base/input_error.h"
#include "host/store/schema.h"

namespace host {
namespace {

constexpr int kBusy_ms = 5000;

}  // namespace

std::unique_ptr<Database> open_to_read(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        throw InputError("there is no database \"" + path + "\"");
    try {
        auto database = std::make_unique<Database>(path, Database::Access::kRead, kBusy_ms);
        check_schema(*database);
        return database;
    } catch (const ForeignDatabase& error_text) {
        throw InputError("\"" + path + "\" " + error_text.what());
    } catch (const StoreError& error_text) {
        throw InputError("cannot read the database \"" + path + "\": " + error_text.what());
    }
}

}  // namespace host
