// Which person each track lies on.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "host/frames/frame_source.h"

namespace host {

// Tracks and people not seen for longer than anything remembers them are forgotten: their numbers
// do not come back.
class Identities {
  public:
    // Anything not seen for `memory_frames` frames may be forgotten.
    explicit Identities(std::int64_t memory_frames) : memory_frames_(memory_frames) {}

    // Frames come with rising numbers.
    void add_frame(std::int64_t frame, const std::map<int, int>& track_of_person,
                   const std::vector<TruePerson>& people);

    // The person under a track now, or the last one who was.
    std::optional<int> person_of(int track) const;
    // The person under a track in the frame that was added last.
    std::optional<int> person_now(int track) const;
    // The person under a track in most of its frames; on a tie the one with the lower number.
    std::optional<int> person_mostly(int track) const;
    // For a person who has been seen; 0 and false for others.
    double height_mm(int person) const;
    bool staff(int person) const;
    bool any_staff() const { return any_staff_; }  // among everybody so far

  private:
    struct Track {
        int person = 0;
        std::int64_t last_frame = 0;
        std::map<int, int> frames;  // by person
    };

    struct Traits {
        double height_mm = 0.0;
        bool staff = false;
        std::int64_t last_frame = 0;
    };

    void forget();

    std::int64_t memory_frames_;
    std::int64_t frame_ = -1;
    std::int64_t next_forgetting_ = 0;
    std::map<int, Track> tracks_;
    std::map<int, Traits> traits_;
    bool any_staff_ = false;
};

// The key with the greatest number; of equal ones the lowest key.
std::optional<int> most_frequent(const std::map<int, int>& counts);

}  // namespace host
