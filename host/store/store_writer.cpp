// The writer's thread, and what it does about each fault.
#include "host/store/store_writer.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "host/base/input_error.h"
#include "host/base/utc.h"
#include "host/store/recovery.h"
#include "host/store/schema.h"

namespace host {
namespace {

constexpr const char* kTotalsNote = "totals_carried_over";

const char* fault_name(StoreFault fault) {
    switch (fault) {
        case StoreFault::kFull:
            return "disk_full";
        case StoreFault::kReadOnly:
            return "disk_read_only";
        case StoreFault::kBusy:
            return "database_locked";
        case StoreFault::kDamaged:
            return "database_damaged";
        default:
            return "database_error";
    }
}

// A wrong path does not become right by waiting.
void check_path(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path parent = fs::absolute(path).parent_path();
    if (!fs::is_directory(parent, error)) {
        throw InputError("there is no folder \"" + parent.string() + "\" for the database");
    }
    if (fs::is_directory(path, error)) {
        throw InputError("\"" + path + "\" is a folder; name a file for the database");
    }
}

Batch settings_event() {
    StoredEvent event;
    event.kind = EventKind::kSettings;
    event.time_us = utc_now_us();
    event.json = nlohmann::json{{"message", "settings_changed"}}.dump();
    Batch batch;
    batch.events.push_back(event);
    return batch;
}

}  // namespace

StoreWriter::StoreWriter(StoreWriterSetup setup)
    : setup_(std::move(setup)),
      store_setup_(setup_.store),
      lock_((check_path(setup_.store.path), setup_.store.path)) {
    try {
        open();
    } catch (const ForeignDatabase& error) {
        throw InputError("the database \"" + setup_.store.path + "\" " + error.what());
    } catch (const StoreError& error) {
        store_.reset();
        const bool damaged = error.fault == StoreFault::kDamaged;
        if (damaged && !lock_.found()) {
            throw InputError("\"" + setup_.store.path + "\" is not a database; name another file");
        }
        // Otherwise the thread goes on with it.
        if (!damaged || !replace_damaged(error.what())) note_trouble(error);
    }
    thread_ = std::thread([this] { run(); });
}

StoreWriter::~StoreWriter() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = abandon_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void StoreWriter::add(Batch&& batch) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] {
        return waiting_.size() < setup_.most_waiting || stopping_ || !failure_.empty();
    });
    if (!failure_.empty()) throw std::runtime_error(failure_);
    waiting_.append(std::move(batch));
    changed_.notify_all();
}

void StoreWriter::finish() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        stopped_ = Clock::now();
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
    if (!failure_.empty()) throw std::runtime_error(failure_);
}

void StoreWriter::run() {
    Batch work;
    while (take(work)) {
        if (!write(work)) return;
        work = {};
    }
    check_.reset();
    try {
        if (store_) store_->close();
    } catch (const StoreError&) {
        // Everything is written; only the next opening will look through it once more.
    }
    store_.reset();
}

// Waits for something to write, and a little longer for what belongs into the same transaction.
bool StoreWriter::take(Batch& work) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !waiting_.empty() || stopping_; });
    changed_.wait_for(lock, setup_.gather,
                      [&] { return stopping_ || waiting_.size() >= setup_.most_waiting; });
    work = std::exchange(waiting_, {});
    changed_.notify_all();
    return !work.empty();
}

// Until it is written; false when that is given up.
bool StoreWriter::write(const Batch& work) {
    while (true) {
        try {
            const Committed done = write_once(work);
            before_attempt_.reset();
            take_over(work);
            over();
            if (setup_.committed) setup_.committed(done);
            return true;
        } catch (const StoreError& error) {
            store_.reset();
            if (error.fault == StoreFault::kDamaged && replace_damaged(error.what())) continue;
            note_trouble(error);
            if (wait_for_better()) continue;
            give_up("could not be written: " + std::string(error.what()) + "; its last " +
                    std::to_string(work.events.size()) + " events are lost");
            return false;
        } catch (const ForeignDatabase& error) {
            give_up(error.what());
            return false;
        }
    }
}

// A database that is opened again has what was in force last.
void StoreWriter::take_over(const Batch& written) {
    for (const StoredSettings& settings : written.settings) {
        store_setup_.lines = settings.lines;
        store_setup_.regions = settings.regions;
        if (settings.text.empty()) continue;
        store_setup_.settings = settings.text;
        store_setup_.author = settings.author;
    }
}

void StoreWriter::give_up(const std::string& why) {
    {
        const std::lock_guard lock(mutex_);
        failure_ = "the database \"" + setup_.store.path + "\" " + why;
    }
    changed_.notify_all();
}

Committed StoreWriter::write_once(const Batch& work) {
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(damaged_, false)) {
            throw StoreError(StoreFault::kDamaged, "the check after an unclean end found damage");
        }
    }
    if (!store_) open();
    // An attempt that failed may have been written all the same.
    if (before_attempt_ && store_->batches() > *before_attempt_) return store_->last();
    before_attempt_ = store_->batches();
    return store_->commit(work);
}

void StoreWriter::open() {
    check_.reset();
    StoreSetup setup = store_setup_;
    // An attempt that failed may have written newer ones.
    if (before_attempt_) setup.settings.clear();
    store_ = std::make_unique<Store>(setup);
    const OpenedStore& opened = store_->opened();
    if (!opened.totals_from.empty()) {
        note(HealthLevel::kOk, kTotalsNote,
             "the totals of a new database are those of \"" + opened.totals_from + "\"");
    }
    if (opened.settings_changed) {
        const std::lock_guard lock(mutex_);
        waiting_.append(settings_event());
    }
    // After an attempt that failed it is this program that has not ended in order.
    if (!opened.unclean || before_attempt_) return;
    check_ = std::make_unique<BackgroundCheck>(setup_.store.path, [this] {
        {
            const std::lock_guard lock(mutex_);
            damaged_ = true;
        }
        changed_.notify_all();
    });
}

// False when even that cannot be done.
bool StoreWriter::replace_damaged(const std::string& why) {
    check_.reset();
    try {
        const std::string aside = set_aside(setup_.store.path, utc_now_us(), kDamagedEnding);
        before_attempt_.reset();
        note(HealthLevel::kFailed, fault_name(StoreFault::kDamaged),
             "the database was damaged (" + why + ") and is kept as \"" + aside +
                 "\"; a new one begins");
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

// False when the end has come and there is no patience left.
bool StoreWriter::wait_for_better() {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, setup_.retry, [&] { return abandon_; });
    return !abandon_ && (!stopping_ || Clock::now() < stopped_ + setup_.patience);
}

void StoreWriter::note_trouble(const StoreError& error) {
    const std::string fault = fault_name(error.fault);
    if (fault == trouble_) return;
    trouble_ = fault;
    note(HealthLevel::kDegraded, fault,
         std::string("cannot write to the database: ") + error.what() +
             "; counts are kept in memory until it is over");
}

void StoreWriter::note(HealthLevel level, const std::string& fault, const std::string& text) {
    const HealthNote note{utc_now_us(), level, fault, text};
    if (setup_.told) setup_.told(note);
    // Written when that is possible again.
    const std::lock_guard lock(mutex_);
    waiting_.health.push_back(note);
}

void StoreWriter::over() {
    if (trouble_.empty()) return;
    note(HealthLevel::kOk, std::exchange(trouble_, {}),
         "the database can be written again; nothing was lost");
}

}  // namespace host
