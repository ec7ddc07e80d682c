// Meters fed frame by frame.
#include "host/sinks/score_sink.h"

#include <algorithm>
#include <cmath>

#include "vca/base.h"

namespace host {
namespace {

constexpr double kMemory_s = 60.0;

std::int64_t memory_of(const ScoreSetup& setup) {
    return std::max(std::llround(kMemory_s * setup.frames_per_second), 1LL);
}

}  // namespace

// Identities are asked for tracks that the other meters have just given up.
ScoreSink::ScoreSink(const ScoreSetup& setup, const ScoreTables& tables)
    : setup_(setup),
      memory_frames_(memory_of(setup)),
      crossings_file_(tables.crossings,
                      "frame,time_s,line,direction,track,height_mm,staff,person,true_height_mm"),
      true_crossings_file_(tables.true_crossings, "frame,line,direction,person"),
      regions_file_(tables.regions, "second,region,people,inside,true_people"),
      stays_file_(tables.stays, "track,region,entered_s,stay_s,person,true_stay_s"),
      tracking_(memory_frames_),
      identities_(2 * memory_frames_),
      regions_(setup.regions),
      stays_(setup.regions, setup.frames_per_second, setup.has_truth, memory_frames_),
      staff_(memory_frames_),
      balance_(setup.balance) {
    scores_.counts.resize(setup.lines.size());
}

void ScoreSink::on_frame(const FrameView& frame) {
    people_ = frame.people;
    for (const TrueCrossing& crossing : frame.crossings)
        count_true(crossing);
}

void ScoreSink::on_event(const Event& event) {
    balance_.add(event);
    if (std::holds_alternative<PersonCounted>(event.payload)) {
        counted_.push_back(event);
    } else if (const auto* left_out = std::get_if<CountLeftOut>(&event.payload)) {
        ++(left_out->why == LeftOut::kCorner ? scores_.corner_crossings : scores_.late_crossings);
    } else if (const auto* group = std::get_if<GroupCounted>(&event.payload)) {
        ++scores_.groups.groups;
        scores_.groups.members += group->members;
    } else if (const auto* report = std::get_if<RegionsReported>(&event.payload)) {
        regions_.add_report(report->inside,
                            stays_.add_report(event.frame_number, event.time_s, *report));
    } else if (const auto* shown = std::get_if<TracksShown>(&event.payload)) {
        staff_.add_shown(event.frame_number, event.time_s, *shown);
    }
}

void ScoreSink::end_frame(const PassReport& report) {
    balance_.end_frame(report);
    count_tracks(report);
    if (!report.blank) {
        if (setup_.has_truth) {
            detection_.add_frame(people_, report.detections);
            identities_.add_frame(report.number, tracking_.add_frame(people_, report.tracks),
                                  people_);
        }
        regions_.add_frame(report.time_s, people_);
        stays_.add_frame(report.number, people_, identities_);
    }
    for (const Event& event : std::exchange(counted_, {}))
        count(event, std::get<PersonCounted>(event.payload));
    staff_.judge_ended(report.number, identities_);
    write_places(false);
}

DirectionCount* ScoreSink::cell(int line, int direction) {
    if (line < 0 || static_cast<std::size_t>(line) >= scores_.counts.size()) return nullptr;
    if (direction != VCA_DIR_1 && direction != VCA_DIR_2) return nullptr;
    return &scores_.counts[static_cast<std::size_t>(line)]
                          [static_cast<std::size_t>(direction - VCA_DIR_1)];
}

void ScoreSink::count_true(const TrueCrossing& crossing) {
    if (DirectionCount* const count = cell(crossing.line, crossing.direction)) {
        ++count->truth;
        ++scores_.totals[static_cast<std::size_t>(crossing.direction - 1)].truth;
    }
    true_crossings_file_.add_row({std::to_string(crossing.frame), std::to_string(crossing.line),
                                  std::to_string(crossing.direction),
                                  std::to_string(crossing.person)});
}

void ScoreSink::count(const Event& event, const PersonCounted& counted) {
    Crossing crossing;
    crossing.frame = event.frame_number;
    crossing.time_s = event.time_s;
    crossing.track = counted.track;
    crossing.line = counted.line;
    crossing.direction = counted.direction;
    crossing.height_mm = counted.box.height_mm;
    crossing.staff = counted.box.staff == 1;
    crossing.person = identities_.person_of(counted.track);
    ++scores_.crossings;
    if (crossing.staff) ++scores_.staff_crossings;
    if (DirectionCount* const count = cell(crossing.line, crossing.direction)) {
        ++count->counted;
        ++scores_.totals[static_cast<std::size_t>(crossing.direction - 1)].counted;
    }
    scores_.heights_mm.add(crossing.height_mm);
    if (crossing.person) {
        crossing.true_height_mm = identities_.height_mm(*crossing.person);
        const double error_mm = crossing.height_mm - *crossing.true_height_mm;
        scores_.height_errors_mm.add(error_mm);
        scores_.height_error_sizes_mm.add(std::abs(error_mm));
    }
    crossings_file_.add_row({std::to_string(crossing.frame), csv_seconds(crossing.time_s),
                             std::to_string(crossing.line), std::to_string(crossing.direction),
                             std::to_string(crossing.track), csv_number(crossing.height_mm),
                             crossing.staff ? "1" : "0", csv_number(crossing.person),
                             csv_number(crossing.true_height_mm)});
}

// The tracker never gives a number twice.
void ScoreSink::count_tracks(const PassReport& report) {
    for (const TrackedBox& track : report.tracks) {
        if (track_seen_.insert_or_assign(track.id, report.number).second) ++scores_.tracks;
    }
    if (report.number % memory_frames_ != 0) return;
    std::erase_if(track_seen_,
                  [&](const auto& entry) { return entry.second + memory_frames_ < report.number; });
}

// Reports name regions by number; those beyond the configured ones have no name.
std::string ScoreSink::region_name(int region) const {
    const auto at = static_cast<std::size_t>(region);
    return at < setup_.regions.size() ? setup_.regions[at].name : "";
}

void ScoreSink::write_places(bool all) {
    for (const RegionSecond& second : regions_.take_seconds(all)) {
        regions_file_.add_row({std::to_string(second.second), region_name(second.region),
                               csv_number(second.people), csv_number(second.inside),
                               setup_.has_truth ? csv_number(second.true_people) : ""});
    }
    for (const RegionStay& stay : stays_.take_settled(all)) {
        const auto at = static_cast<std::size_t>(stay.region);
        if (scores_.regions.size() <= at) scores_.regions.resize(at + 1);
        ++scores_.regions[at].stays;
        if (stay.true_stay_s) {
            const double error_s = stay.stay_s - *stay.true_stay_s;
            scores_.stays.errors_s.add(error_s);
            scores_.stays.error_sizes_s.add(std::abs(error_s));
        }
        stays_file_.add_row({std::to_string(stay.track), region_name(stay.region),
                             csv_seconds(stay.entered_s), csv_seconds(stay.stay_s),
                             csv_number(stay.person), csv_number(stay.true_stay_s)});
    }
}

void ScoreSink::finish() {
    for (const Event& event : std::exchange(counted_, {}))
        count(event, std::get<PersonCounted>(event.payload));
    write_places(true);
    balance_.finish();
    scores_.balances = balance_.balances();
    std::vector<Occupancy> regions = regions_.occupancy();
    for (std::size_t r = 0; r < regions.size() && r < scores_.regions.size(); ++r)
        regions[r].stays = scores_.regions[r].stays;
    scores_.regions = std::move(regions);
    scores_.detection = detection_.score();
    scores_.tracking = tracking_.score();
    scores_.stays.true_long_stays = stays_.true_long_stays();
    scores_.stays.true_long_stays_missed = stays_.true_long_stays_missed();
    scores_.true_view_s =
        static_cast<double>(regions_.true_view_frames()) / setup_.frames_per_second;
    staff_.judge_ended(0, identities_, true);
    if (identities_.any_staff()) scores_.staff = staff_.score();
    for (CsvFile* file : {&crossings_file_, &true_crossings_file_, &regions_file_, &stays_file_})
        file->finish();
}

}  // namespace host
