// Sums over doors.
#include "host/store/visitors.h"

namespace host {
namespace {

// The next one after a moment. A local day is at most 25 hours long.
std::int64_t next_reset_us(const Area& area, const TimeZone& zone, std::int64_t now_us) {
    Date date = zone.date_of(now_us);
    std::int64_t reset_us = zone.at(date, area.reset_minutes);
    while (reset_us <= now_us) {
        date = zone.next(date);
        reset_us = zone.at(date, area.reset_minutes);
    }
    return reset_us;
}

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
                const bool other = !door.device.empty() && door.device != store.device();
                if (other || door.line != count.line) continue;
                (count.direction == door.in ? flow.in : flow.out) += p.adult + p.child + p.staff;
            }
        }
    }
    return flow;
}

}  // namespace

Visitors visitors_of(const std::vector<LineCount>& counts, const std::vector<Door>& doors) {
    Visitors sum;
    for (const LineCount& count : counts) {
        for (const Door& door : doors) {
            if (door.line != count.line || door.in != count.direction) continue;
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
    const Flow before = flow_of(stores, area, {last_reset_us(area, zone, reset_us - 1), reset_us});
    result.drift = before.in - before.out;
    for (const StoreReader& store : stores)
        result.corrections += store.corrections(area.name, result.since);
    return result;
}

void AreaMeter::begin(std::int64_t time_us, std::int64_t inside) {
    inside_ = inside;
    next_reset_us_ = next_reset_us(area_, zone_, time_us);
}

AreaMeter::Change AreaMeter::add(std::int64_t time_us, const std::string& line, int direction) {
    const bool was_full = full();
    if (time_us >= next_reset_us_) {
        if (next_reset_us_ != INT64_MIN) drift_ = inside_;
        inside_ = 0;
        next_reset_us_ = next_reset_us(area_, zone_, time_us);
    }
    for (const Door& door : area_.doors)
        if (door.line == line) inside_ += direction == door.in ? 1 : -1;
    if (full() == was_full) return Change::kNone;
    return full() ? Change::kFull : Change::kFree;
}

}  // namespace host
