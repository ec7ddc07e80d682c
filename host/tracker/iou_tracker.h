// Follows people from frame to frame: by where their heads are expected on the floor plan where
// both are known from depth, else by the overlap of boxes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/base/head_place.h"
#include "host/tracker/assignment.h"
#include "vca/platform.h"

namespace host {

class IouTracker {
  public:
    // `max_lost`: frames a target is kept without a match. `min_hits`: matches in a row that a new
    // target needs before it is reported.
    IouTracker(int max_lost, int min_hits);

    // Detections scoring at least `hi` are matched first and start targets; those from `lo` to `hi`
    // are offered to the targets that are left; those below `lo` are ignored.
    void set_conf_thresh(float lo, float hi);

    void reset_objects() { inputs_.clear(); }

    // Copies a detection of this frame, with its head where depth shows it; a head that is not seen
    // is where it was expected. False when the box cannot be followed (not a number, empty,
    // absurdly large) or there are too many.
    bool add_object(const IOU_TRK_OBJ_S& object, const std::optional<HeadPlace>& head = {},
                    bool head_seen = true);

    // Advances by one frame, `interval_s` after the last. Reports the targets matched now, by
    // rising id.
    void update(IOU_TRK_RSLT_S& result, float interval_s = kUsualInterval_s);

    // Where the heads of the reported targets should be one frame from now.
    std::vector<ExpectedHead> expected_heads() const;

    // Ids continue from here; for a tracker that replaces another one.
    void set_next_id(int id) { next_id_ = id; }
    int next_id() const { return next_id_; }

    static constexpr float kUsualInterval_s = 1.0f / 15.0f;

  private:
    static constexpr std::size_t kMaxInputs = 256;
    static constexpr std::size_t kMaxTargets = 256;

    // Middle and size, pixels.
    struct Place {
        float x = 0.0f;
        float y = 0.0f;
        float w = 0.0f;
        float h = 0.0f;
    };

    struct Input {
        IOU_TRK_OBJ_S object;
        Place place;
        std::optional<HeadPlace> head;
        bool head_seen = true;
        bool taken = false;
    };

    struct Target {
        int id = 0;  // 0 until confirmed
        Place place;
        Place expected;
        float vx = 0.0f;  // pixels per frame
        float vy = 0.0f;
        std::optional<HeadPlace> head;  // expected
        float head_vx = 0.0f;           // mm/s
        float head_vy = 0.0f;
        float unseen_s = 0.0f;    // since the head itself was seen
        float unfound_s = 0.0f;   // since a sure detection
        float followed_s = 0.0f;  // since the first match
        int hits = 0;             // matches in a row
        int age = 0;              // matches in total
        int lost = 0;             // frames since the last match
        int input = -1;
    };

    static float overlap(const Place& a, const Place& b);
    float likeness(const Target& target, const Input& input) const;
    float head_likeness(const Target& target, const Input& input) const;

    void predict();
    void match_by_overlap(float score_from, float score_below);
    void match_by_distance();
    void take(Target& target, std::size_t input);
    void take_head(Target& target, const Input& input) const;
    bool is_confirmed(const Target& target) const;
    void drop_lost();
    void start_targets();
    void report(IOU_TRK_RSLT_S& result);

    int max_lost_;
    int min_hits_;
    float lo_ = 0.0f;
    float hi_ = 0.0f;
    int next_id_ = 1;
    float interval_s_ = kUsualInterval_s;
    std::vector<Input> inputs_;
    std::vector<Target> targets_;
    std::vector<std::size_t> free_targets_, free_inputs_;
    Assignment assignment_;
};

}  // namespace host
