// People in regions, their stay, the heat map and the staff decisions, measured against the truth.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/frames/frame_source.h"
#include "host/sinks/region_log.h"

namespace host {

struct FrameRecord;
struct RunResult;

// Which person each track lay on, frame by frame.
class Identities {
  public:
    void add_frame(std::int64_t frame, const std::map<int, int>& track_of_person,
                   const std::vector<TruePerson>& people);

    // The person under a track at a frame, or at the last frame before it with anybody under it.
    std::optional<int> person_of(int track, std::int64_t frame) const;
    // The person under a track on most of the frames from first to last.
    std::optional<int> person_during(int track, std::int64_t first, std::int64_t last) const;

    double height_mm(int person) const { return traits_.at(person).height_mm; }
    bool staff(int person) const { return traits_.at(person).staff; }
    bool any_staff() const;

  private:
    struct Traits {
        double height_mm = 0.0;
        bool staff = false;
    };

    std::map<int, std::map<std::int64_t, int>> on_;
    std::map<int, Traits> traits_;
};

// People in one region over the frames of the source.
struct Occupancy {
    double mean = 0.0;
    int peak = 0;
    double true_mean = 0.0;
    int true_peak = 0;
    double mean_abs_error = 0.0;    // of the number of people on a frame
    double inside_mean = 0.0;       // the same for those whose time is running, which leaves out
    double inside_abs_error = 0.0;  // those who have stepped out and are still on the edge
    int stays = 0;                  // reported
};

// People in one region during one second, mean of its frames.
struct RegionSecond {
    std::int64_t second = 0;
    int region = 0;
    double people = 0.0;
    double inside = 0.0;  // whose time is running
    double true_people = 0.0;
};

// Decisions on tracks that were shown for at least two seconds.
struct StaffScore {
    int right_staff = 0;  // decided staff, and it is
    int wrong_staff = 0;  // decided staff, and it is not
    int missed = 0;       // staff, not decided so
    int right_others = 0;

    int tracks() const { return right_staff + wrong_staff + missed + right_others; }
    double precision() const;  // 1 when nobody was decided staff
    double recall() const;     // 1 when nobody was staff
    double accuracy() const;   // 1 without any track
};

struct RegionStats {
    std::vector<Occupancy> regions;
    std::vector<RegionSecond> seconds;  // region by region within a second
    std::vector<RegionStay> stays;      // with person and truth filled in
    std::vector<double> stay_errors_s;  // reported minus true
    std::vector<double> stay_error_sizes_s;
    int true_long_stays = 0;          // of a second or more
    int true_long_stays_missed = 0;   // of which nothing was reported
    double true_view_s = 0.0;         // person-seconds of everybody in view
    std::optional<StaffScore> staff;  // when some of the people are staff
};

RegionStats measure_regions(const RunResult& result, const Identities& identities);

// Mean of one figure over the regions; 0 without regions.
double mean_of_regions(const RegionStats& stats, double Occupancy::*figure);

// Person-seconds in a heat map: the milliseconds of all cells over the cells that each contribution
// is added to.
double heat_seconds(const HeatMapReported& heat);

// Tables with one header line. Throw std::runtime_error when the file cannot be written.
void write_regions_csv(const RunResult& result, const std::string& path);
void write_stays_csv(const RunResult& result, const std::string& path);

}  // namespace host
