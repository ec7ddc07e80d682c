// Counts at a closed line that cannot be. Whoever is outside an area can only come in, and whoever
// is inside can only go out; but somebody who walks along a side near a corner, nearer to it than
// a crossing needs, may cross the next side far enough, and is then counted out without having been
// counted in. Which side somebody is on is known from where the track began and from the counts
// since then. Whoever appears with head and feet on different sides may be on either: the first
// count tells.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <vector>

#include "host/engine/events.h"
#include "vca/config.h"

namespace host {

class ClosedLineFilter {
  public:
    // Of a device that counts alone; the tracks of several begin where one camera's picture ends.
    explicit ClosedLineFilter(const VCA_ALGO_CFG_S& config);

    // Takes every event in the order in which the library sent them, and leaves out counts to the
    // side where the person was already, or was not.
    void check(Event& event);

    // The configuration has changed: nothing is known any more of those who are in view.
    void change();

  private:
    // A side is told by the direction that ends there.
    struct Sides {
        std::array<std::optional<int>, VCA_LINE_NUM> on{};
        std::array<int, VCA_LINE_NUM> counted_at{};  // where the last count was decided
    };

    int side_at(int line, int x, int y) const;
    void note(const Decision& decision);
    void note(const TrackAppeared& appeared);
    void judge(Event& event);

    const VCA_ALGO_CFG_S& config_;
    std::vector<int> lines_;       // the closed ones
    std::map<int, Sides> people_;  // by track
    std::vector<int> ended_;       // tracks of this pass, whose last counts may follow
    int ended_frame_ = 0;
};

}  // namespace host
