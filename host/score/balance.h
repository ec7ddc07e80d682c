// The balance of the area inside a closed line: entries - exits + people who appeared inside -
// people who vanished inside = people whose feet are inside.
//
// It is kept for each person by itself, so that what is wrong has a name: a person's own count, of
// where they appeared and of what was reported of them since then, must be where their feet are,
// in every frame in which they do not stand on the line, and when they vanish. Somebody stands on
// the line while nearer to it than a crossing needs, past it without having come far enough, or
// followed for so short a time that the place of the feet is not settled.
//
// People come into view head first. One who appears with the head outside and the feet inside may
// have come in or been there; the first count, or the first frame off the line, tells which. One
// who vanishes on the line is where the counts have them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/base/counting_places.h"
#include "host/engine/sink.h"
#include "host/score/story.h"

namespace host {

// One person whose feet and counts did not agree.
struct BalanceFault {
    int track = -1;
    double from_s = 0.0;
    std::optional<double> until_s;  // empty: they never agreed again
    bool inside = false;            // where the feet were
    int counted = 0;                // people inside by this person's counts; right are 0 and 1
    bool vanished = false;          // found when the track ended
    std::string why{};              // the story of the person
};

struct Balance {
    static constexpr std::size_t kMostTold = 100;

    std::string line;
    std::int64_t entries = 0;
    std::int64_t exits = 0;
    std::int64_t appeared = 0;  // inside
    std::int64_t vanished = 0;  // inside
    std::int64_t inside = 0;    // feet, when the run ended
    std::int64_t checks = 0;    // frames with people, nobody on the line
    std::int64_t checks_off = 0;
    std::int64_t fault_count = 0;
    std::vector<BalanceFault> faults;  // the first kMostTold of them

    // People by the counts beyond those by their feet, when the run ended.
    std::int64_t difference() const { return entries - exits + appeared - vanished - inside; }
    bool is_exact() const { return difference() == 0 && fault_count == 0; }
};

// "12 came in, 11 went out, ..."
std::string balance_text(const Balance& balance);
// "track 7 stood inside from 12.3 to 12.5 s, by the counts outside: ..."
std::string fault_text(const BalanceFault& fault);

struct BalanceSetup {
    std::vector<CountingLine> lines;  // in picture coordinates; those that are not closed are left
    StoryNames names;
    bool foot_point = true;
    double camera_mm = 0.0;  // height over the floor
};

// Its memory does not grow with the run, beyond the faults that are told.
class BalanceMeter {
  public:
    explicit BalanceMeter(const BalanceSetup& setup);

    void add(const Event& event);
    void end_frame(const PassReport& report);
    void finish();

    // Complete after finish().
    const std::vector<Balance>& balances() const { return balances_; }

  private:
    struct Area {
        int line = 0;
        int inward = 0;  // direction of an entry
        std::vector<PicturePoint> corners;
    };
    // Of one person in one area.
    struct Account {
        std::optional<bool> began;  // inside; empty while nobody can say
        int net = 0;                // entries - exits
        bool near = false;          // on the line, when last seen
        bool told_near = false;     // in this frame, by the library
        bool waits = false;         // crossed, decided on leaving the U-turn area
        std::optional<std::size_t> fault;
        bool in_fault = false;
    };
    struct Person {
        PicturePoint head{};
        PicturePoint feet{};
        double crossing_px = 0.0;  // hysteresis of the line
        int updates = 0;
        bool seen = false;  // in this frame
        bool countable = false;
        bool height_out = false;
        std::optional<Decision> ended;
        std::vector<Account> accounts;  // by area
    };
    struct FaultPlace {
        std::size_t area = 0;
        std::size_t fault = 0;
    };

    void decide(const Decision& decision);
    void count(const PersonCounted& counted);
    void show(const TracksShown& shown);
    Account* account_at(int track, int line);
    PicturePoint feet_of(const ShownTrack& track) const;
    void check_frame(const PassReport& report);
    void check_area(std::size_t area, double time_s);
    bool agree(int track, Person& person, std::size_t area, bool clear, double time_s);
    void settle_ended(double time_s);
    void settle(int track, const Person& person, std::size_t area, double time_s);
    void end_fault(Account& account, std::size_t area, double time_s);
    void find_fault(int track, Account& account, std::size_t area, BalanceFault fault);
    void tell(const Story& story);

    BalanceSetup setup_;
    std::vector<Area> areas_;
    std::vector<Balance> balances_;  // by area
    std::map<int, Person> people_;   // by track
    StoryBook book_;
    std::map<int, std::vector<FaultPlace>> untold_;  // by track
};

}  // namespace host
