// Parts of a day, and their rows.
#include "host/store/count_table.h"

#include <algorithm>

#include "host/store/visitors.h"

namespace host {
namespace {

TimeSpan common(const TimeSpan& one, const TimeSpan& other) {
    return {std::max(one.from_us, other.from_us), std::min(one.to_us, other.to_us)};
}

}  // namespace

std::vector<CountedPart> open_hours(const TimeZone& zone, const Date& date,
                                    const std::vector<TimeSpan>& open) {
    std::vector<LocalHour> hours = zone.hours(date);
    if (!open.empty() && open.back().to_us > hours.back().span.to_us) {
        for (LocalHour& hour : zone.hours(zone.next(date))) {
            hour.label = "+1 " + hour.label;
            hours.push_back(std::move(hour));
        }
    }
    std::vector<CountedPart> parts;
    for (const LocalHour& hour : hours) {
        CountedPart part{hour.label, {}};
        for (const TimeSpan& each : open) {
            const TimeSpan span = common(hour.span, each);
            if (span.from_us < span.to_us) part.spans.push_back(span);
        }
        if (!part.spans.empty()) parts.push_back(std::move(part));
    }
    return parts;
}

std::vector<StoredGap> gaps_in(const StoreReader& store, const std::vector<TimeSpan>& spans) {
    std::vector<StoredGap> gaps;
    for (const TimeSpan& span : spans) {
        const std::vector<StoredGap> more = store.gaps(span);
        gaps.insert(gaps.end(), more.begin(), more.end());
    }
    return gaps;
}

std::string not_watched_text(const std::vector<StoredGap>& gaps, const TimeZone& zone) {
    constexpr std::size_t kMost = 3;
    // Of 2026-03-29T03:00:00.000+02:00.
    const auto clock = [&zone](std::int64_t time_us) { return zone.text(time_us).substr(11, 8); };
    std::string text;
    for (std::size_t i = 0; i < std::min(gaps.size(), kMost); ++i) {
        text += (i == 0 ? "" : "; ") + clock(gaps[i].from_us) + " to " + clock(gaps[i].to_us) +
                " " + gaps[i].why;
    }
    if (gaps.size() > kMost) text += "; and " + std::to_string(gaps.size() - kMost) + " more";
    return text;
}

ResultTable line_table(const std::vector<StoreReader>& stores,
                       const std::vector<CountedPart>& parts, const TimeZone& zone, bool hours) {
    using namespace count_column;
    ResultTable table;
    table.columns = {kDevice,  kLine,    kDirection,           "adult", "child", "staff",
                     "groups", kWatched, "provisional_minutes"};
    if (hours) {
        table.columns.insert(table.columns.begin(), kHour);
        table.columns.emplace_back(kNotWatched);
    }
    for (const CountedPart& part : parts) {
        for (const StoreReader& store : stores) {
            const std::string gaps = not_watched_text(gaps_in(store, part.spans), zone);
            for (const LineCount& count : counts_in(store, part.spans)) {
                const PeopleCount& p = count.people;
                std::vector<ResultTable::Cell> row{store.device(),
                                                   count.line,
                                                   std::int64_t{count.direction},
                                                   p.adult,
                                                   p.child,
                                                   p.staff,
                                                   p.groups,
                                                   count.watched_minutes,
                                                   count.provisional_minutes};
                if (hours) {
                    row.insert(row.begin(), part.label);
                    row.emplace_back(gaps);
                }
                table.rows.push_back(std::move(row));
            }
        }
    }
    return table;
}

}  // namespace host
