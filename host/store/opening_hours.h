// When a place is open, by the clock on its wall.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "host/base/placed.h"
#include "host/store/local_time.h"

namespace host {

class OpeningHours {
  public:
    static constexpr std::array<const char*, 7> kDays{"mon", "tue", "wed", "thu",
                                                      "fri", "sat", "sun"};

    // On some days of the week, Monday first.
    struct Rule {
        std::array<bool, 7> days{};
        int from_minutes = 0;  // after midnight
        int to_minutes = 0;    // later than `from_minutes`; beyond 24:00 of the next day

        std::string days_text() const;  // "mon, tue"
    };

    // Each is "09:00-20:00", "mon-fri 09:00-20:00" or "sat, sun 10:00-14:00"; hours that end before
    // they begin end on the next day. Throws InputError for anything else, and for hours of a day
    // that overlap.
    explicit OpeningHours(const std::vector<Placed<std::string>>& given = {});

    // None: open all the time.
    const std::vector<Rule>& rules() const { return rules_; }
    // When it is open of those hours that begin on a day, in their order.
    std::vector<TimeSpan> spans(const TimeZone& zone, const Date& date) const;

  private:
    std::vector<Rule> rules_;
};

}  // namespace host
