// The database of one camera, for the one who writes it.
//
// A batch is written whole or not at all, and a batch that is written again after an error, because
// nobody could tell whether it had been written, is found to be there.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/store/database.h"
#include "host/store/records.h"
#include "host/store/recovery.h"

namespace host {

struct StoreSetup {
    std::string path;
    std::string device;  // of a new database
    // Those that get a row for each watched minute, in both directions.
    std::vector<std::string> lines;
    std::vector<std::string> regions;
    std::string settings;  // as text; a version of its own when it differs from the last one
    std::string author;    // of the settings
    std::string name;      // what the author calls them; empty for nothing
    int busy_ms = 250;     // how long another program's lock is waited for
};

// What was found at the opening.
struct OpenedStore {
    Committed last;
    bool created = false;
    bool copied = false;   // was a backup, so a new epoch has begun
    bool unclean = false;  // the one before did not end in order
    bool settings_changed = false;
    std::string totals_from;  // the file whose totals a new one has taken over
    std::optional<std::int64_t> watched_until_us;
};

class Store {
  public:
    // Opens or creates it. The totals of a new one are those of the newest copy beside it.
    // Throws StoreError and ForeignDatabase.
    explicit Store(const StoreSetup& setup);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    const OpenedStore& opened() const { return opened_; }

    // Numbers the events and writes everything in one transaction, which is safe on return. Throws
    // StoreError; the store is to be opened again then and given the same batch.
    Committed commit(const Batch& batch);
    // How many batches were written, which tells after an error whether one was.
    std::int64_t batches() const { return batch_; }
    Committed last() const { return {epoch_, sequence_}; }

    // Notes an orderly end. Throws StoreError.
    void close();

  private:
    struct Statements;

    void open_rows();
    void create();
    void carry_over(const CarriedTotals& totals);
    void begin_epoch(const char* why);
    void read_state();
    void add_places();
    void note_settings();
    void write_settings(const StoredSettings& settings);
    void add_version(const StoredSettings& settings);
    std::int64_t place(const char* kind, const std::string& name);
    void write_event(const StoredEvent& event, std::int64_t sequence);
    void count(const StoredEvent& event);
    void watch_minute(std::int64_t minute);
    void write_region(const RegionMinute& minute);
    void write_heat(const HeatGrid& grid);
    void write_gap(const StoredGap& gap);
    std::optional<StoredGap> gap_before(const Batch& batch) const;
    void mark_unsure(std::int64_t minute);
    void write_rest(const Batch& batch);

    StoreSetup setup_;
    OpenedStore opened_;
    Database database_;
    std::unique_ptr<Statements> sql_;
    std::string epoch_;
    std::int64_t epoch_id_ = 0;
    std::int64_t sequence_ = 0;
    std::int64_t batch_ = 0;
};

}  // namespace host
