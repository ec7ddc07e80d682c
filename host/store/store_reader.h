// The database of one camera, for those who only read it, also while it is being written.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/store/local_time.h"
#include "host/store/records.h"

namespace host {

struct PeopleCount {
    std::int64_t adult = 0;
    std::int64_t child = 0;
    std::int64_t staff = 0;
    std::int64_t groups = 0;
    std::int64_t group_members = 0;

    PeopleCount& operator+=(const PeopleCount& more);
    bool operator==(const PeopleCount&) const = default;
};

// One line in one direction.
struct LineCount {
    std::string line;
    int direction = 0;
    PeopleCount people;
    std::int64_t watched_minutes = 0;
    std::int64_t provisional_minutes = 0;  // of them, with a clock that was not synchronised
    std::int64_t since_us = 0;             // of totals: when they were 0
};

// An event as it is told to others.
struct ToldEvent {
    std::string device;
    Committed number;
    std::int64_t time_us = 0;
    std::string kind;
    std::string place;
    std::optional<int> direction;
    std::optional<int> track;
    std::string person;
    int people = 0;
    std::string json;  // as it was sent
    std::string why;   // the sentence of a gap, a step of the clock or a fault
};

// Who reads the events, and how far behind it is.
struct Subscriber {
    std::string name;
    std::int64_t waiting = 0;               // events that it has not confirmed
    std::optional<std::int64_t> oldest_us;  // the time of the first of them
};

class StoreReader {
  public:
    // Throws InputError for what is not such a database; StoreError, as its calls do.
    explicit StoreReader(const std::string& path);
    ~StoreReader();
    StoreReader(StoreReader&&) noexcept;
    StoreReader& operator=(StoreReader&&) noexcept;

    const std::string& path() const { return path_; }
    const std::string& device() const { return device_; }
    Committed last() const;
    // Where a reader of all events that are kept begins.
    Committed before_first() const;
    // The time of the last event; empty where none is kept.
    std::optional<std::int64_t> last_event_us() const;
    // When something was watched last; empty for never.
    std::optional<std::int64_t> watched_until_us() const;

    // All lines in both directions in a span of whole minutes, lines with nothing too.
    std::vector<LineCount> counts(const TimeSpan& span) const;
    // Since when, and how many; these only grow.
    std::vector<LineCount> totals() const;
    // What somebody says is missing in an area; negative for too many.
    std::int64_t corrections(const std::string& area, const TimeSpan& span) const;

    // What has been removed of an area's balance because somebody has said that nobody is inside.
    std::int64_t removed(const std::string& area, const TimeSpan& span) const;

    // Times in which nothing was watched, as far as they lie in a span, in their order.
    std::vector<StoredGap> gaps(const TimeSpan& span) const;
    // Faults that have begun and not ended, in the order of their beginning.
    std::vector<HealthNote> open_faults() const;

    // What a subscriber has confirmed; nothing for one that is not known.
    std::optional<Committed> cursor(const std::string& subscriber) const;
    std::vector<Subscriber> subscribers() const;

    bool has_epoch(const std::string& epoch) const { return epoch_id(epoch).has_value(); }
    // The events after a number, in their order, at most so many. An empty epoch is the beginning.
    // Throws InputError for an epoch that this database does not have.
    std::vector<ToldEvent> events_after(const Committed& number, int most) const;
    // The last ones up to a number, in their order, at most so many; without gaps, steps of the
    // clock, faults and resets of areas.
    std::vector<ToldEvent> newest_counts(const Committed& number, int most) const;
    // Those of a span by time, one after the other.
    void events_in(const TimeSpan& span, const std::function<void(const ToldEvent&)>& take) const;

    // Changes with each transaction of somebody else.
    std::int64_t version() const;
    // Another file has been put in its place.
    bool replaced() const;

  private:
    std::optional<std::int64_t> epoch_id(const std::string& epoch) const;

    std::string path_;
    std::string device_;
    std::uint64_t file_ = 0;
    std::unique_ptr<Database> database_;
};

}  // namespace host
