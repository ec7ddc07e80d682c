// Sums over doors.
#include "host/store/visitors.h"

#include <algorithm>

namespace host {
namespace {

// Those who came in less those who went out.
struct Flow {
    std::int64_t in = 0;
    std::int64_t out = 0;
};

Flow flow_of(const std::vector<StoreReader>& stores, const Area& area, const TimeSpan& span) {
    Flow flow;
    for (const StoreReader& store : stores) {
        for (const LineCount& count : store.counts(span)) {
            const PeopleCount& p = count.people;
            for (const Door& door : area.doors) {
                if (!door.is_line(store.device(), count.line)) continue;
                (count.direction == door.in ? flow.in : flow.out) += p.adult + p.child + p.staff;
            }
        }
    }
    return flow;
}

}  // namespace

std::vector<LineCount> counts_in(const StoreReader& store, const std::vector<TimeSpan>& spans) {
    // Without a span, what there is to be counted.
    if (spans.empty()) return store.counts({0, 0});
    std::vector<LineCount> sum;
    for (const TimeSpan& span : spans) {
        const std::vector<LineCount> counts = store.counts(span);
        if (sum.empty()) {
            sum = counts;
            continue;
        }
        for (std::size_t i = 0; i < std::min(sum.size(), counts.size()); ++i) {
            sum[i].people += counts[i].people;
            sum[i].watched_minutes += counts[i].watched_minutes;
            sum[i].provisional_minutes += counts[i].provisional_minutes;
        }
    }
    return sum;
}

Visitors visitors_of(const std::string& device, const std::vector<LineCount>& counts,
                     const std::vector<Door>& doors) {
    Visitors sum;
    for (const LineCount& count : counts) {
        for (const Door& door : doors) {
            if (!door.is_line(device, count.line) || door.in != count.direction) continue;
            const PeopleCount& p = count.people;
            sum.adults += p.adult;
            sum.children += p.child;
            sum.together += p.adult + p.child - p.group_members + p.groups;
        }
    }
    return sum;
}

std::int64_t last_reset_us(const Area& area, const TimeZone& zone, std::int64_t now_us) {
    const Date today = zone.date_of(now_us);
    const std::int64_t reset_us = zone.at(today, area.reset_minutes);
    if (reset_us <= now_us) return reset_us;
    const Date yesterday = zone.date_of(zone.day(today).from_us - 1);
    return zone.at(yesterday, area.reset_minutes);
}

AreaBalance area_balance(const std::vector<StoreReader>& stores, const Area& area,
                         const TimeZone& zone, std::int64_t now_us) {
    AreaBalance result;
    const std::int64_t reset_us = last_reset_us(area, zone, now_us);
    // The minute in progress belongs to it.
    result.since = {reset_us, now_us + 1};
    const Flow flow = flow_of(stores, area, result.since);
    result.in = flow.in;
    result.out = flow.out;
    const TimeSpan day_before{last_reset_us(area, zone, reset_us - 1), reset_us};
    const Flow before = flow_of(stores, area, day_before);
    result.drift = before.in - before.out;
    for (const StoreReader& store : stores) {
        result.corrections += store.corrections(area.name, result.since);
        result.removed += store.removed(area.name, result.since);
        result.drift -= store.removed(area.name, day_before);
    }
    return result;
}

}  // namespace host
