// Compares a run with the truth while it goes on, and writes its tables.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/base/csv_file.h"
#include "host/engine/sink.h"
#include "host/score/balance.h"
#include "host/score/identities.h"
#include "host/score/scores.h"
#include "host/score/stay_meter.h"

namespace host {

// What people and tracks are compared with.
struct ScoreSetup {
    std::vector<CountingLine> lines;      // in picture coordinates
    std::vector<CountingRegion> regions;  // likewise
    double frames_per_second = 15.0;
    bool has_truth = false;
    BalanceSetup balance{};  // of closed lines
};

// Where the tables go; one with an empty path is not written.
struct ScoreTables {
    std::string crossings;       // one row for each person counted
    std::string true_crossings;  // one for each who truly crossed a line; empty without truth
    std::string regions;         // people in each region, second by second
    std::string stays;           // each stay in a region, when it has ended
};

// Its memory does not grow with the run: anyone not seen for a minute is forgotten.
class ScoreSink final : public Sink {
  public:
    // Throws std::runtime_error when a table cannot be opened.
    ScoreSink(const ScoreSetup& setup, const ScoreTables& tables);

    void on_frame(const FrameView& frame) override;
    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;
    void finish() override;

    // Complete after finish().
    const Scores& scores() const { return scores_; }

  private:
    void count_true(const TrueCrossing& crossing);
    void count(const Event& event, const PersonCounted& counted);
    void count_tracks(const PassReport& report);
    void write_places(bool all);
    DirectionCount* cell(int line, int direction);
    std::string region_name(int region) const;

    const ScoreSetup setup_;
    const std::int64_t memory_frames_;
    CsvFile crossings_file_;
    CsvFile true_crossings_file_;
    CsvFile regions_file_;
    CsvFile stays_file_;

    DetectionMeter detection_;
    TrackingMeter tracking_;
    Identities identities_;
    RegionMeter regions_;
    StayMeter stays_;
    StaffMeter staff_;
    BalanceMeter balance_;
    std::map<int, std::int64_t> track_seen_;  // frame in which each track was last reported

    std::vector<TruePerson> people_;  // of the current frame
    std::vector<Event> counted_;      // people counted in it
    Scores scores_;
};

}  // namespace host
