// From events to records.
#include "host/sinks/store_sink.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/sinks/story_json.h"
#include "vca/heat_map.h"

namespace host {
namespace {

constexpr double kMemory_s = 60.0;
// After a crash no more than this of what was watched counts as not watched.
constexpr std::int64_t kHeartbeat_us = 10'000'000;

PersonKind kind_of(const ReportedBox& box, double child_below_mm) {
    if (box.staff == 1) return PersonKind::kStaff;
    return box.height_mm < child_below_mm ? PersonKind::kChild : PersonKind::kAdult;
}

HeatGrid::Cells coarse(const std::vector<std::int32_t>& fine) {
    static_assert(VCA_HEAT_COLS % HeatGrid::kColumns == 0 && VCA_HEAT_ROWS % HeatGrid::kRows == 0);
    constexpr int kAcross = VCA_HEAT_COLS / HeatGrid::kColumns;
    constexpr int kDown = VCA_HEAT_ROWS / HeatGrid::kRows;
    HeatGrid::Cells cells(std::size_t{HeatGrid::kColumns} * HeatGrid::kRows, 0);
    for (std::size_t i = 0; i < fine.size(); ++i) {
        const std::size_t row = i / VCA_HEAT_COLS / kDown;
        const std::size_t column = i % VCA_HEAT_COLS / kAcross;
        cells.at(row * HeatGrid::kColumns + column) += fine[i];
    }
    return cells;
}

}  // namespace

HeatGrid coarse_heat(const HeatMapReported& heat, std::int64_t hour) {
    return {hour, coarse(heat.dwell_ms), coarse(heat.motion)};
}

StoreSink::StoreSink(const StoreSinkSetup& setup)
    : setup_(setup),
      names_(setup.names),
      regions_(setup.regions),
      writer_(setup.writer),
      stays_(setup.regions, setup.frames_per_second, false,
             std::llround(kMemory_s * setup.frames_per_second)),
      start_us_(setup.start_us) {}

std::int64_t StoreSink::time_us(double time_s) const {
    return start_us_ + std::llround(time_s * 1e6);
}

std::string StoreSink::line_name(int line) const {
    return story_name(names_.lines, line);
}

void StoreSink::on_frame(const FrameView& frame) {
    report_.reset();
    // After the end of the source nothing is watched any more.
    if (frame.planes.blank) return;
    const std::int64_t now_us = time_us(frame.time_s);
    if (!minute_) batch_.watched_from_us = now_us;
    if (const std::int64_t minute = minute_of(now_us); minute != minute_) {
        end_minute();
        begin_minute(minute);
    }
    until_us_ = now_us;
}

void StoreSink::begin_minute(std::int64_t minute) {
    minute_ = minute;
    unsure_ = setup_.clock_synchronised && !setup_.clock_synchronised();
    batch_.watched_minutes.push_back(minute);
    if (unsure_) batch_.unsure_minutes.push_back(minute);
}

void StoreSink::on_event(const Event& event) {
    for (const Story& story : book_.add(event))
        add_story(story);
    if (const auto* counted = std::get_if<PersonCounted>(&event.payload)) {
        add_crossing(event, *counted, EventKind::kCrossing);
    } else if (const auto* late = std::get_if<CountLeftOut>(&event.payload)) {
        add_crossing(event, late->count, EventKind::kCrossingLeftOut);
    } else if (const auto* group = std::get_if<GroupCounted>(&event.payload)) {
        add_group(event, *group);
    } else if (const auto* regions = std::get_if<RegionsReported>(&event.payload)) {
        stays_.add_report(event.frame_number, event.time_s, *regions);
        report_ = *regions;
    } else if (const auto* heat = std::get_if<HeatMapReported>(&event.payload)) {
        batch_.heat.push_back(coarse_heat(*heat, hour_of(until_us_)));
    } else if (const auto* gap = std::get_if<InputGap>(&event.payload)) {
        add_gap(*gap);
    } else if (const auto* step = std::get_if<ClockStep>(&event.payload)) {
        add_clock_step(event, *step);
    }
    // A count is not kept waiting for the end of its frame.
    if (!batch_.events.empty()) hand_over();
}

void StoreSink::add_gap(const InputGap& gap) {
    batch_.add_gap({start_us_ + gap.from_us, start_us_ + gap.to_us, gap.why});
}

// From here on times are those that the clock shows now. Minutes that come twice add up; those that
// were left out are explained.
void StoreSink::add_clock_step(const Event& event, const ClockStep& step) {
    const std::int64_t before_us = start_us_ + step.at_us;
    start_us_ += step.by_us;
    StoredEvent stored;
    stored.kind = EventKind::kClockStep;
    stored.time_us = before_us + step.by_us;
    stored.scene_us = step.at_us;
    nlohmann::ordered_json json = nlohmann::ordered_json::parse(to_json_line(event));
    json[kWhyKey] = clock_step_text(step.by_us);
    stored.json = json.dump();
    batch_.events.push_back(std::move(stored));
    if (step.by_us >= kMinute_us)
        batch_.add_gap({before_us, before_us + step.by_us, clock_step_text(step.by_us)});
}

void StoreSink::add_crossing(const Event& event, const PersonCounted& count, EventKind kind) {
    StoredEvent stored;
    stored.kind = kind;
    stored.time_us = time_us(event.time_s);
    stored.scene_us = stored.time_us - start_us_;
    stored.place = line_name(count.line);
    stored.direction = count.direction;
    stored.track = count.track;
    stored.person = kind_of(count.box, setup_.child_below_mm);
    stored.json = to_json_line(event);
    batch_.events.push_back(std::move(stored));
}

void StoreSink::add_group(const Event& event, const GroupCounted& group) {
    StoredEvent stored;
    stored.kind = EventKind::kGroup;
    stored.time_us = time_us(event.time_s);
    stored.scene_us = stored.time_us - start_us_;
    stored.place = line_name(group.line);
    stored.direction = group.direction;
    stored.people = group.members;
    stored.json = to_json_line(event);
    batch_.events.push_back(std::move(stored));
}

void StoreSink::add_story(const Story& story) {
    batch_.people.push_back(
        {time_us(story.steps.front().time_s), time_us(story.steps.back().time_s), story.track,
         story.list == VCA_LIST_MERGED, story_sentence(story, names_), story_json(story, names_)});
}

void StoreSink::end_frame(const PassReport& report) {
    stays_.add_frame(report.number, {}, nobody_);
    if (!report.blank && minute_) add_region_frames(*minute_);
    add_stays(false);
    if (!batch_.empty() || until_us_ >= handed_us_ + kHeartbeat_us) hand_over();
}

void StoreSink::add_region_frames(std::int64_t minute) {
    for (std::size_t r = 0; r < regions_.size(); ++r) {
        if (unwatched_.contains(r)) continue;
        RegionMinute& now = now_[r];
        now.minute = minute;
        now.region = regions_[r].name;
        const int people = report_ && r < report_->inside.size() ? report_->inside[r] : 0;
        ++now.frames;
        now.people_frames += people;
        now.most = std::max<std::int64_t>(now.most, people);
    }
}

void StoreSink::add_stays(bool all) {
    for (const RegionStay& stay : stays_.take_settled(all)) {
        const auto at = static_cast<std::size_t>(stay.region);
        if (at >= regions_.size()) continue;
        StoredEvent stored;
        stored.kind = EventKind::kStay;
        stored.time_us = time_us(stay.entered_s + stay.stay_s);
        stored.scene_us = stored.time_us - start_us_;
        stored.place = regions_[at].name;
        stored.track = stay.track;
        const std::int64_t stay_ms = std::llround(stay.stay_s * 1000.0);
        stored.json = nlohmann::ordered_json{{"message", "stay"},
                                             {"frame", stay.last_frame},
                                             {"time_s", stay.entered_s + stay.stay_s},
                                             {"track", stay.track},
                                             {"region", stay.region},
                                             {"stay_ms", stay_ms}}
                          .dump();
        batch_.regions.push_back(
            {minute_of(stored.time_us), regions_[at].name, 0, 0, 0, 1, stay_ms});
        batch_.events.push_back(std::move(stored));
    }
}

void StoreSink::end_minute() {
    for (auto& [region, minute] : std::exchange(now_, {})) {
        if (unsure_) batch_.unsure_minutes.push_back(minute.minute);
        batch_.regions.push_back(std::move(minute));
    }
}

void StoreSink::hand_over() {
    if (minute_) batch_.watched_until_us = until_us_;
    handed_us_ = until_us_;
    writer_.add(std::exchange(batch_, {}));
}

void StoreSink::note(const HealthNote& note) {
    Batch batch;
    batch.add_health(note);
    writer_.add(std::move(batch));
}

void StoreSink::note_gap(double from_s, double to_s, const std::string& why) {
    Batch batch;
    batch.add_gap({time_us(from_s), time_us(to_s), why});
    writer_.add(std::move(batch));
}

void StoreSink::change(double time_s, const Change& change) {
    end_minute();
    names_.lines.clear();
    names_.regions.clear();
    StoredSettings settings{{}, {}, change.settings, change.author, time_us(time_s), change.name};
    for (const CountingLine& line : change.lines) {
        names_.lines.push_back(line.name);
        if (!line.points.empty()) settings.lines.push_back(line.name);
    }
    regions_ = change.regions;
    unwatched_.clear();
    for (std::size_t r = 0; r < regions_.size(); ++r) {
        names_.regions.push_back(regions_[r].name);
        if (regions_[r].points.empty()) {
            unwatched_.insert(r);
        } else {
            settings.regions.push_back(regions_[r].name);
        }
    }
    // A line that is new was watched in this minute, too.
    if (minute_) batch_.watched_minutes.push_back(*minute_);
    add_settings(time_s, settings);
    hand_over();
}

void StoreSink::add_settings(double time_s, const StoredSettings& settings) {
    batch_.settings.push_back(settings);
    if (settings.text.empty()) return;
    StoredEvent stored;
    stored.kind = EventKind::kSettings;
    stored.time_us = settings.applied_us;
    stored.scene_us = stored.time_us - start_us_;
    stored.json = nlohmann::ordered_json{{"message", "settings_changed"},
                                         {"time_s", time_s},
                                         {"author", settings.author},
                                         {"lines", settings.lines},
                                         {"regions", settings.regions}}
                      .dump();
    batch_.events.push_back(std::move(stored));
}

void StoreSink::finish() {
    for (const Story& story : book_.rest())
        add_story(story);
    add_stays(true);
    end_minute();
    hand_over();
    writer_.finish();
}

}  // namespace host
