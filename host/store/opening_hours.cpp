// Reading of days and hours.
#include "host/store/opening_hours.h"

#include <algorithm>
#include <optional>

#include "host/base/input_error.h"

namespace host {
namespace {

using Rule = OpeningHours::Rule;

constexpr int kDayMinutes = 24 * 60;
constexpr const auto& kDays = OpeningHours::kDays;

[[noreturn]] void refuse(const Placed<std::string>& given) {
    throw InputError(given.place + " is \"" + given.value +
                     "\"; write opening hours such as 09:00-20:00, mon-fri 09:00-20:00 or "
                     "sat, sun 10:00-14:00");
}

std::optional<std::size_t> day_index(const std::string& name) {
    const auto* const found = std::find(kDays.begin(), kDays.end(), name);
    if (found == kDays.end()) return std::nullopt;
    return static_cast<std::size_t>(found - kDays.begin());
}

// "mon" or "fri-mon".
void add_days(Rule& rule, const std::string& text, const Placed<std::string>& given) {
    const std::size_t minus = text.find('-');
    const auto first = day_index(text.substr(0, minus));
    const auto last = minus == std::string::npos ? first : day_index(text.substr(minus + 1));
    if (!first || !last) refuse(given);
    for (std::size_t day = *first;; day = (day + 1) % kDays.size()) {
        rule.days[day] = true;
        if (day == *last) return;
    }
}

void read_days(Rule& rule, std::string text, const Placed<std::string>& given) {
    std::erase(text, ' ');
    if (text.empty()) {
        rule.days.fill(true);
        return;
    }
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t comma = std::min(text.find(',', at), text.size());
        add_days(rule, text.substr(at, comma - at), given);
        at = comma + 1;
    }
}

Rule parse_rule(const Placed<std::string>& given) {
    constexpr std::size_t kHours = 11;  // characters of "09:00-20:00"
    const std::string& text = given.value;
    if (text.size() < kHours || text[text.size() - 6] != '-') refuse(given);
    const std::size_t hours = text.size() - kHours;
    if (hours > 0 && text[hours - 1] != ' ') refuse(given);
    Rule rule;
    read_days(rule, text.substr(0, hours), given);
    rule.from_minutes = parse_time_of_day(text.substr(hours, 5), given.place);
    rule.to_minutes = parse_time_of_day(text.substr(hours + 6), given.place);
    if (rule.from_minutes == kDayMinutes) refuse(given);
    if (rule.to_minutes <= rule.from_minutes) rule.to_minutes += kDayMinutes;
    return rule;
}

// Minutes of the week; those of Sunday night go on beyond its end.
bool overlap(const Rule& one, const Rule& other) {
    constexpr int kWeek = 7 * kDayMinutes;
    for (std::size_t i = 0; i < kDays.size(); ++i) {
        for (std::size_t k = 0; k < kDays.size(); ++k) {
            if (!one.days[i] || !other.days[k]) continue;
            const int from = static_cast<int>(i) * kDayMinutes + one.from_minutes;
            const int to = static_cast<int>(i) * kDayMinutes + one.to_minutes;
            for (const int weeks : {-kWeek, 0, kWeek}) {
                const int begin = static_cast<int>(k) * kDayMinutes + weeks;
                const bool same = &one == &other && i == k && weeks == 0;
                if (!same && from < begin + other.to_minutes && begin + other.from_minutes < to)
                    return true;
            }
        }
    }
    return false;
}

}  // namespace

std::string Rule::days_text() const {
    std::string text;
    for (std::size_t day = 0; day < kDays.size(); ++day)
        if (days[day]) text += (text.empty() ? "" : ", ") + std::string(kDays[day]);
    return text;
}

OpeningHours::OpeningHours(const std::vector<Placed<std::string>>& given) {
    for (const Placed<std::string>& text : given)
        rules_.push_back(parse_rule(text));
    for (std::size_t i = 0; i < rules_.size(); ++i) {
        for (std::size_t k = 0; k <= i; ++k) {
            if (!overlap(rules_[i], rules_[k])) continue;
            throw InputError(given[i].place + " is \"" + given[i].value +
                             "\"; opening hours must not overlap");
        }
    }
}

std::vector<TimeSpan> OpeningHours::spans(const TimeZone& zone, const Date& date) const {
    if (rules_.empty()) return {zone.day(date)};
    const auto day = static_cast<std::size_t>(day_of_week(date));
    std::vector<TimeSpan> spans;
    for (const Rule& rule : rules_) {
        if (!rule.days[day]) continue;
        const bool next = rule.to_minutes > kDayMinutes;
        const TimeSpan span{zone.at(date, rule.from_minutes),
                            next ? zone.at(zone.next(date), rule.to_minutes - kDayMinutes)
                                 : zone.at(date, rule.to_minutes)};
        if (span.from_us < span.to_us) spans.push_back(span);
    }
    std::sort(spans.begin(), spans.end(),
              [](const TimeSpan& a, const TimeSpan& b) { return a.from_us < b.from_us; });
    return spans;
}

}  // namespace host
