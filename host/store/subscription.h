// What a subscriber has not had yet, in its order. How far it has confirmed the events is kept in
// the database, so that it goes on there after a restart.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/store/store_reader.h"

namespace host {

// Forgets those whose names begin so and are not among these. Throws InputError and StoreError.
void forget_subscribers(const std::string& database, const std::string& begin,
                        const std::vector<std::string>& but);

class Subscription {
  public:
    enum class Begin { kFirst, kNow };
    struct Setup {
        std::string database;
        std::string subscriber;                // its name; two with one name share a cursor
        Begin begin = Begin::kFirst;           // of one that has no cursor yet
        std::chrono::milliseconds save{1000};  // no more often than this
    };

    // Throws InputError for what is not such a database; StoreError, as its calls do.
    explicit Subscription(Setup setup);

    // Those after what was taken last, at most so many. A database that has been put in the place
    // of the one before is gone on with from its own cursor.
    std::vector<ToldEvent> take(int most);
    // Everything up to here has arrived. Saved now or a little later; a lost save only means that
    // messages are sent again.
    void confirm(const Committed& number);
    // Takes once more what is not confirmed, as after a connection that broke.
    void go_back() { taken_ = confirmed_; }
    // Saves what is confirmed, where that is possible; false where not.
    bool save();

    const Committed& confirmed() const { return confirmed_; }
    // Events that were removed as too old before they were taken.
    std::int64_t lost() const { return lost_; }

  private:
    using Clock = std::chrono::steady_clock;

    void begin();
    void note_lost(const Committed& before, const Committed& next);

    Setup setup_;
    StoreReader store_;
    Committed confirmed_;
    Committed taken_;
    bool unsaved_ = false;
    std::optional<Clock::time_point> saved_;
    std::int64_t lost_ = 0;
};

}  // namespace host
