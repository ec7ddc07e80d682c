// Flows of all doors, minute by minute.
#include "host/store/area_history.h"

#include <algorithm>
#include <map>

namespace host {
namespace {

// The level as time goes on; nobody is inside after a reset.
class Level {
  public:
    Level(const Area& area, const TimeZone& zone, std::map<std::int64_t, std::int64_t> flow,
          std::int64_t begin_us)
        : area_(area), zone_(zone), flow_(std::move(flow)), next_(flow_.begin()) {
        set_next_reset(begin_us);
    }

    // Goes on to a moment and tells the most at or after another one.
    std::int64_t advance(std::int64_t from_us, std::int64_t to_us) {
        pass(from_us);
        pass_resets(from_us);
        const std::int64_t most = inside();
        return std::max(most, pass(to_us));
    }
    // Whoever was inside before the cameras began has left uncounted ones behind.
    std::int64_t inside() const { return std::max<std::int64_t>(0, balance_); }

  private:
    // All minutes before a moment. The most after one of them.
    std::int64_t pass(std::int64_t to_us) {
        std::int64_t most = 0;
        while (next_ != flow_.end() && next_->first * kMinute_us < to_us) {
            pass_resets(next_->first * kMinute_us);
            balance_ += next_->second;
            most = std::max(most, inside());
            ++next_;
        }
        pass_resets(to_us - 1);
        return most;
    }
    void pass_resets(std::int64_t now_us) {
        if (now_us < reset_us_) return;
        balance_ = 0;
        set_next_reset(now_us);
    }
    void set_next_reset(std::int64_t now_us) {
        Date date = zone_.date_of(now_us);
        reset_us_ = zone_.at(date, area_.reset_minutes);
        for (; reset_us_ <= now_us; reset_us_ = zone_.at(date, area_.reset_minutes))
            date = zone_.next(date);
    }

    const Area& area_;
    const TimeZone& zone_;
    const std::map<std::int64_t, std::int64_t> flow_;  // by the minute
    std::map<std::int64_t, std::int64_t>::const_iterator next_;
    std::int64_t balance_ = 0;
    std::int64_t reset_us_ = 0;
};

std::vector<bool> watched_spans(const std::vector<HistoryReader>& stores, const Area& area,
                                const std::vector<HistorySpan>& spans) {
    std::vector<bool> watched(spans.size(), false);
    for (const HistoryReader& store : stores) {
        for (const LineHistory& line : store.lines(spans)) {
            const bool door = std::any_of(
                area.doors.begin(), area.doors.end(),
                [&](const Door& each) { return each.is_line(store.device(), line.line); });
            for (std::size_t i = 0; door && i < spans.size(); ++i)
                watched[i] = watched[i] || line.watched_minutes[i] > 0;
        }
    }
    return watched;
}

}  // namespace

std::vector<std::optional<AreaSpan>> area_history(const std::vector<HistoryReader>& stores,
                                                  const Area& area, const TimeZone& zone,
                                                  const std::vector<HistorySpan>& spans,
                                                  std::int64_t now_us) {
    std::vector<std::optional<AreaSpan>> list(spans.size());
    if (spans.empty()) return list;
    const TimeSpan all{last_reset_us(area, zone, spans.front().span.from_us),
                       spans.back().span.to_us};
    std::map<std::int64_t, std::int64_t> flow;
    for (const HistoryReader& store : stores)
        for (const MinuteFlow& minute : store.flow(area.doors, all))
            flow[minute.minute] += minute.people;
    for (const HistoryReader& store : stores)
        for (const MinuteFlow& minute : store.removed(area.name, all))
            flow[minute.minute] -= minute.people;
    Level level(area, zone, std::move(flow), all.from_us);
    const std::vector<bool> watched = watched_spans(stores, area, spans);
    for (std::size_t i = 0; i < spans.size(); ++i) {
        const std::int64_t most =
            level.advance(spans[i].span.from_us, std::min(spans[i].span.to_us, now_us + 1));
        if (watched[i]) list[i] = AreaSpan{most, level.inside()};
    }
    return list;
}

}  // namespace host
