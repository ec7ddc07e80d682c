// Which of the library's slots each counting line and region has, while they change under people
// who stand on them.
//
// A track remembers by slot on which side of its line it is. So a line that stays as it is keeps
// its slot, whatever else changes and in whatever order lines are given. One that is new, moved or
// flipped gets a slot of which no track in view remembers anything: it then counts as if everybody
// had just come into view. While there is no such slot the line waits and counts nobody.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/base/counting_places.h"
#include "host/engine/sink.h"
#include "vca/config.h"

namespace host {

class PlaceSlots final : public Sink {
  public:
    // Those of the beginning, in the slots of their order; at most as many as there are slots.
    PlaceSlots(const std::vector<CountingLine>& lines, const std::vector<CountingRegion>& regions);

    // What is to be counted from now on. Call it, like settle(), while no pass is running and all
    // events have been told.
    void want(std::vector<CountingLine> lines, std::vector<CountingRegion> regions);
    // Gives slots to those that wait, as far as there are clean ones. Returns whether it could.
    bool settle();
    // Whether settle() would change something; on the thread of the events.
    bool could_settle() const;

    // By slot; one without points counts nobody and has the name of what was there last.
    const std::vector<CountingLine>& lines() const { return lines_in_force_; }
    const std::vector<CountingRegion>& regions() const { return regions_in_force_; }
    // Names of lines and of regions that wait for a slot.
    std::vector<std::string> waiting_lines() const;
    std::vector<std::string> waiting_regions() const;

    void on_event(const Event& event) override;
    void end_frame(const PassReport& report) override;

  private:
    using Track = std::pair<int, int>;  // list and number

    // What tracks may remember of a slot.
    struct Traces {
        bool unused = true;     // since the beginning
        bool parked = true;     // through a pass at least, if it was used
        std::set<Track> sides;  // tracks that have come to its line
        std::set<int> groups;   // that are open on it

        bool is_clean() const { return unused || (parked && sides.empty() && groups.empty()); }
    };

    template <typename Place, std::size_t kSize>
    static void take_out(std::vector<Place>& in_force, std::vector<Place>& wanted,
                         std::array<Traces, kSize>& traces);
    template <typename Place, std::size_t kSize>
    static bool put_in(std::vector<Place>& in_force, std::vector<Place>& waiting,
                       std::array<Traces, kSize>& traces);
    template <typename Place, std::size_t kSize>
    static bool has_room(const std::vector<Place>& in_force, const std::vector<Place>& waiting,
                         const std::array<Traces, kSize>& traces);
    void note(const Decision& decision);

    std::vector<CountingLine> lines_in_force_;
    std::vector<CountingRegion> regions_in_force_;
    std::vector<CountingLine> waiting_lines_;
    std::vector<CountingRegion> waiting_regions_;
    std::array<Traces, VCA_LINE_NUM> line_traces_;
    std::array<Traces, VCA_RGN_NUM> region_traces_;
};

}  // namespace host
