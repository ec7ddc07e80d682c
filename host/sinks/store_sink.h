// Keeps what is counted in a database: each count as soon as it is made, regions minute by minute,
// stories when their tracks have ended. It never drops an event; when the database's writer has too
// much to do, the sink waits and the camera takes fewer frames.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/engine/sink.h"
#include "host/score/identities.h"
#include "host/score/stay_meter.h"
#include "host/score/story.h"
#include "host/store/store_writer.h"

namespace host {

struct StoreSinkSetup {
    StoreWriterSetup writer;
    std::int64_t start_us = 0;  // of scene time 0, in microseconds since 1970
    // Asked minute by minute; null where times are not those of a clock on the wall.
    std::function<bool()> clock_synchronised;
    double frames_per_second = 15.0;
    std::vector<CountingRegion> regions;
    StoryNames names;
    double child_below_mm = 1300.0;  // people who are less tall count as children
};

class StoreSink final : public Sink {
  public:
    // Throws InputError for a path that cannot be right.
    explicit StoreSink(const StoreSinkSetup& setup);

    void on_frame(const FrameView& frame) override;
    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;
    // Throws std::runtime_error when something could not be written.
    void finish() override;

    // A fault begins or ends, as a row and an event; any thread.
    void note(const HealthNote& note);
    // Between these scene times something was not watched; any thread.
    void note_gap(double from_s, double to_s, const std::string& why);
    // The wall clock's time of a scene time; any thread.
    std::int64_t time_us(double time_s) const;

    // While nothing happens: other lines and regions from this scene time on, by number; those
    // without points count nobody. With `settings` they are a new version with a text of its own.
    struct Change {
        std::vector<CountingLine> lines;
        std::vector<CountingRegion> regions;
        std::string settings;
        std::string author;
        std::string name{};  // what the author calls them
    };
    void change(double time_s, const Change& change);

  private:
    void add_gap(const InputGap& gap);
    void add_clock_step(const Event& event, const ClockStep& step);
    void begin_minute(std::int64_t minute);
    std::string line_name(int line) const;
    void add_settings(double time_s, const StoredSettings& settings);
    void add_crossing(const Event& event, const PersonCounted& count, EventKind kind);
    void add_group(const Event& event, const GroupCounted& group);
    void add_story(const Story& story);
    void add_stays(bool all);
    void add_region_frames(std::int64_t minute);
    void end_minute();
    void hand_over();

    const StoreSinkSetup setup_;
    StoryNames names_;
    std::vector<CountingRegion> regions_;
    std::set<std::size_t> unwatched_;  // of the regions
    StoreWriter writer_;
    Batch batch_;
    StoryBook book_;
    StayMeter stays_;
    const Identities nobody_{1};             // whom the stays of a real camera are compared with
    std::optional<RegionsReported> report_;  // of the frame in progress
    std::atomic<std::int64_t> start_us_;     // of scene time 0; moves when the clock is set
    std::optional<std::int64_t> minute_;     // the last one that was watched
    bool unsure_ = false;                    // the clock was not synchronised when it began
    std::int64_t until_us_ = 0;
    std::int64_t handed_us_ = 0;               // as far as the writer knows
    std::map<std::size_t, RegionMinute> now_;  // the regions in it
};

// Times and passages of the library's heat map, 5 x 5 of its cells in one.
HeatGrid coarse_heat(const HeatMapReported& heat, std::int64_t hour);

}  // namespace host
