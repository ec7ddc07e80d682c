// How long each kind of record is kept.
#pragma once

#include <array>
#include <optional>

namespace host {

// In days; empty: for ever. Totals and corrections are always kept.
struct Retention {
    std::optional<int> events = 400;
    std::optional<int> minutes;  // of lines and regions
    std::optional<int> people = 30;
    std::optional<int> heat = 400;
    std::optional<int> gaps = 400;
    std::optional<int> health = 400;
    std::optional<int> settings;  // the version in force is always kept
};

// A kind as settings and options name it.
struct RetentionKind {
    const char* name;
    std::optional<int> Retention::*days;
    const char* what;  // after "Days for which" and before "are kept"
};

inline constexpr std::array kRetentionKinds{
    RetentionKind{"events", &Retention::events, "events"},
    RetentionKind{"minutes", &Retention::minutes, "minutes of lines and regions"},
    RetentionKind{"people", &Retention::people, "the stories of people"},
    RetentionKind{"heat", &Retention::heat, "heat maps"},
    RetentionKind{"gaps", &Retention::gaps, "gaps"},
    RetentionKind{"health", &Retention::health, "faults"},
    RetentionKind{"settings", &Retention::settings, "versions of the settings"},
};
inline constexpr int kMostDaysKept = 36'500;
inline constexpr const char* kKeptForEver = "forever";

}  // namespace host
