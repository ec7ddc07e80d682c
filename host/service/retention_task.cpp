// One database after the other.
#include "host/service/retention_task.h"

#include <chrono>
#include <filesystem>
#include <utility>

#include "host/base/utc.h"
#include "host/service/place.h"
#include "host/store/database.h"
#include "host/store/retention.h"

namespace host {
namespace {

constexpr std::chrono::hours kEach{1};

}  // namespace

RetentionTask::RetentionTask(const ServiceFile& file, Say say)
    : say_(std::move(say)), file_(file), ticker_(kEach, [this] { work(); }) {}

void RetentionTask::change(const ServiceFile& file) {
    const std::lock_guard lock(mutex_);
    file_ = file;
}

void RetentionTask::work() {
    ServiceFile file;
    {
        const std::lock_guard lock(mutex_);
        file = file_;
    }
    for (const std::string& database : databases_of(file))
        prune_one(database, file.keep);
    prune_one(place_database(file), file.keep);
}

void RetentionTask::prune_one(const std::string& database, const Retention& keep) {
    std::error_code error;
    if (!std::filesystem::exists(database, error)) return;
    try {
        for (const std::string& lost : prune(database, keep, utc_now_us()).lost)
            say_(LogLevel::kWarning, "", lost);
    } catch (const StoreError& fault) {
        const std::string complaint =
            "cannot remove old records of \"" + database + "\": " + fault.what();
        if (complaint != std::exchange(complaint_, complaint))
            say_(LogLevel::kWarning, "", complaint);
    }
}

}  // namespace host
