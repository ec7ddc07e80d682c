// People in regions: how many, frame by frame and second by second.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "host/base/counting_places.h"
#include "host/frames/frame_source.h"
#include "vca/region.h"

namespace host {

// A number for each region that the library knows.
using RegionArray = std::array<int, VCA_RGN_NUM>;

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

class RegionMeter {
  public:
    explicit RegionMeter(std::vector<CountingRegion> regions);

    // What the analysis reports for the frame that is added next: people in each region, and those
    // of them whose time kept running. A frame without a report has nobody.
    void add_report(const RegionArray& people, const RegionArray& inside);
    // A frame of the source and who was in it.
    void add_frame(double time_s, const std::vector<TruePerson>& people);

    // The seconds that ended since the last call, region by region; with `all` the last one too.
    std::vector<RegionSecond> take_seconds(bool all = false);
    // Without stays.
    std::vector<Occupancy> occupancy() const;
    // Frames times people in view.
    std::int64_t true_view_frames() const { return true_view_frames_; }

  private:
    struct Count {
        int people = 0;
        int inside = 0;
        int true_people = 0;
    };

    // Sums over the frames of the current second.
    struct Second {
        std::int64_t number = 0;
        int frames = 0;
        std::vector<RegionSecond> sums;
    };

    void count_truth(const std::vector<TruePerson>& people);
    void end_second();

    const std::vector<CountingRegion> regions_;
    std::vector<Count> now_;
    std::vector<Occupancy> sums_;
    std::int64_t frames_ = 0;
    std::int64_t true_view_frames_ = 0;
    Second second_;
    std::vector<RegionSecond> ended_;
};

}  // namespace host
