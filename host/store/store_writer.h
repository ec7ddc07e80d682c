// Writes to a database on a thread of its own, so that nobody who counts waits for a disk.
//
// What cannot be written waits in memory until it can: while the disk is full or may not be written
// to, and while another program has the database locked. When too much waits, add() waits too,
// which makes a camera take fewer frames; nothing is ever left out. A damaged database is moved
// aside and a new one goes on with its totals.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "host/store/background_check.h"
#include "host/store/records.h"
#include "host/store/store.h"
#include "host/store/writer_lock.h"

namespace host {

struct StoreWriterSetup {
    StoreSetup store;
    // After each transaction, on the writer's thread: everything up to here is safe.
    std::function<void(const Committed&)> committed;
    // What goes wrong and when it is over, on the writer's thread.
    std::function<void(const HealthNote&)> told;
    std::size_t most_waiting = 100'000;        // records; of about 500 bytes each
    std::chrono::milliseconds gather{100};     // how long one transaction is filled
    std::chrono::milliseconds retry{1000};     // until the next attempt
    std::chrono::milliseconds patience{5000};  // with faults when it is to end
};

class StoreWriter {
  public:
    // Throws InputError for a path that cannot become right by waiting.
    explicit StoreWriter(StoreWriterSetup setup);
    // Without finish(), what waits is lost.
    ~StoreWriter();
    StoreWriter(const StoreWriter&) = delete;
    StoreWriter& operator=(const StoreWriter&) = delete;

    // Any thread. Waits while too much waits already. Throws std::runtime_error when nothing can be
    // written any more.
    void add(Batch&& batch);
    // Writes what waits and ends in order. Throws std::runtime_error when something could not be
    // written.
    void finish();

  private:
    using Clock = std::chrono::steady_clock;

    void run();
    bool take(Batch& work);
    bool write(const Batch& work);
    Committed write_once(const Batch& work);
    void take_over(const Batch& written);
    void open();
    bool replace_damaged(const std::string& why);
    void give_up(const std::string& why);
    bool wait_for_better();
    void note_trouble(const StoreError& error);
    void note(HealthLevel level, const std::string& fault, const std::string& text);
    void over();

    const StoreWriterSetup setup_;
    StoreSetup store_setup_;  // with the settings of the last batch; the thread's own
    const WriterLock lock_;

    std::mutex mutex_;
    std::condition_variable changed_;
    Batch waiting_;
    bool stopping_ = false;
    bool abandon_ = false;  // without patience
    bool damaged_ = false;  // as the background check has found
    std::string failure_;   // why nothing is written any more
    Clock::time_point stopped_;

    // The thread's own.
    std::unique_ptr<Store> store_;
    std::unique_ptr<BackgroundCheck> check_;
    std::optional<std::int64_t> before_attempt_;  // batches, when the last attempt began
    std::string trouble_;                         // the fault that lasts
    std::thread thread_;
};

}  // namespace host
