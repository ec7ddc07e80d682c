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
    // When something was watched last; empty for never.
    std::optional<std::int64_t> watched_until_us() const;

    // All lines in both directions in a span of whole minutes, lines with nothing too.
    std::vector<LineCount> counts(const TimeSpan& span) const;
    // Since when, and how many; these only grow.
    std::vector<LineCount> totals() const;
    // What somebody says is missing in an area; negative for too many.
    std::int64_t corrections(const std::string& area, const TimeSpan& span) const;

    bool has_epoch(const std::string& epoch) const { return epoch_id(epoch).has_value(); }
    // The events after a number, in their order, at most so many. An empty epoch is the beginning.
    // Throws InputError for an epoch that this database does not have.
    std::vector<ToldEvent> events_after(const Committed& number, int most) const;
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
