// One query that reads every page.
#include "host/store/background_check.h"

#include <utility>

namespace host {
namespace {

constexpr int kBusy_ms = 1000;

}  // namespace

BackgroundCheck::BackgroundCheck(const std::string& path, std::function<void()> damaged)
    : path_(path), damaged_(std::move(damaged)), thread_([this] { run(); }) {}

BackgroundCheck::~BackgroundCheck() {
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
        if (database_) database_->interrupt();
    }
    thread_.join();
}

void BackgroundCheck::run() {
    try {
        auto database = std::make_unique<Database>(path_, Database::Access::kRead, kBusy_ms);
        {
            const std::lock_guard lock(mutex_);
            if (stop_) return;
            database_ = std::move(database);
        }
        const bool good = database_->text("PRAGMA quick_check(1)") == "ok";
        if (!good) damaged_();
    } catch (const StoreError& error) {
        if (error.fault == StoreFault::kDamaged) damaged_();
    }
    const std::lock_guard lock(mutex_);
    database_.reset();
}

}  // namespace host
