// Walkers with predictive side-stepping, short-range repulsion, and a position correction that
// keeps bodies apart whatever the steering did.
#include "sim/walkers.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace sim {
namespace {

constexpr double kStep_s = 1.0 / 60.0;      // longest step of the motion
constexpr double kRelax_s = 0.45;           // time in which a walker reaches the wanted velocity
constexpr double kBodyGap_m = 0.53;         // centre distance the correction keeps
constexpr double kTrolleyGap_m = 0.74;      // person to the middle of a trolley
constexpr double kTrolleyPairGap_m = 1.02;  // trolley to trolley
constexpr double kComfort_m = 0.85;         // steering keeps this if it can
constexpr double kLookAhead_s = 2.2;
constexpr double kSway_m = 0.014;
constexpr double kTurnRate = 3.2;  // rad/s of the body
constexpr int kCorrections = 40;

// Two groups abreast can fill the passage and push each other back and forth, and two people can
// each keep the other from the place where both want to stop, for hours if allowed to. People who
// merely pass through a crowd are held up for less than this.
constexpr double kPatience_s = 60.0;
constexpr double kHeadway_m = 0.3;  // anything less is just being pushed about
constexpr double kFile_m = 0.65;    // spacing in a group that walks in single file

struct Walker {
    Pose pose;
    double along = 0.0;  // position in the passage
    double across = 0.0;
    double v_along = 0.0;
    double v_across = 0.0;
    double goal = 1.0;        // -1 or 1: the end of the passage being walked to
    double speed = 1.2;       // m/s, wanted
    double lane = 0.0;        // across, wanted
    double face_along = 0.0;  // unit vector
    double face_across = 0.0;
    double sway_phase = 0.0;
    int group = 0;             // id of the group's first walker
    double slot_along = 0.0;   // place in the group, relative to the first walker
    double stop_at = 0.0;      // place of a stop or a turn
    double wait_s = 0.0;       // time to stand there
    bool stops = false;        // still to come
    bool turns = false;        // still to come
    bool waits = false;        // has come to the place of the stop or turn
    double look_across = 0.0;  // -1 or 1: side to look towards at the place of a stop; else 0
    double lane_after = 0.0;   // across, wanted after a stop at such a place
    double got_to = -std::numeric_limits<double>::infinity();  // towards goal, at last headway
    double held_s = 0.0;                                       // since then
    bool pushes() const { return is_pushed(pose.load); }
};

// A disc that others keep away from: a body, or the trolley in front of one.
struct Disc {
    std::size_t owner;
    bool trolley;
};

double gap(const Disc& a, const Disc& b) {
    if (a.trolley && b.trolley) return kTrolleyPairGap_m;
    return a.trolley || b.trolley ? kTrolleyGap_m : kBodyGap_m;
}

class Walkers : public World {
  public:
    Walkers(const WalkerPlan& plan, double fps, std::uint64_t seed)
        : plan_(plan), frame_s_(1.0 / fps), time_s_(-plan.warm_up_s), rng_(seed ^ 0x3A1C'0000ULL) {
        for (double t = 0.0; t < plan_.warm_up_s; t += frame_s_)
            advance();
    }

    void step(std::vector<Pose>& people) override {
        if (started_) advance();
        started_ = true;
        people.clear();
        for (const Walker& w : walkers_)
            people.push_back(world_pose(w));
        std::sort(people.begin(), people.end(),
                  [](const Pose& a, const Pose& b) { return a.id < b.id; });
    }

  private:
    void advance() {
        const int parts = static_cast<int>(std::ceil(frame_s_ / kStep_s - 1e-9));
        for (int i = 0; i < parts; ++i)
            move(frame_s_ / parts);
    }

    void move(double dt) {
        time_s_ += dt;
        if (time_s_ < plan_.arrivals_end_s) admit(dt);
        for (Walker& w : walkers_)
            steer(w, dt);
        const std::vector<Walker> before = walkers_;
        for (Walker& w : walkers_) {
            w.along += w.v_along * dt;
            w.across += w.v_across * dt;
        }
        keep_apart();
        for (std::size_t i = 0; i < walkers_.size(); ++i) {
            settle(walkers_[i], before[i], dt);
            mind_headway(walkers_[i], dt);
        }
        std::erase_if(walkers_,
                      [this](const Walker& w) { return w.along * w.goal > plan_.half_length_m; });
    }

    // Arrivals.
    void admit(double dt) {
        if (rng_.chance(plan_.arrivals_per_s * dt) && waiting_.size() < 3) prepare_arrival();
        if (waiting_.empty()) return;
        const std::vector<Walker>& next = waiting_.front();
        if (static_cast<int>(walkers_.size() + next.size()) > plan_.max_people) return;
        for (const Walker& w : next) {
            for (const Walker& other : walkers_) {
                const double room = w.pushes() || other.pushes() ? 2.0 : 0.9;
                if (std::abs(w.along - other.along) < room &&
                    std::abs(w.across - other.across) < room) {
                    waiting_.erase(waiting_.begin());  // the next arrival takes another place
                    return;
                }
            }
        }
        walkers_.insert(walkers_.end(), next.begin(), next.end());
        waiting_.erase(waiting_.begin());
    }

    Walker single(double height_m) {
        Walker w;
        w.pose.id = ++last_id_;
        w.pose.look = random_look(rng_, height_m);
        w.group = w.pose.id;
        w.goal = rng_.chance(0.5) ? 1.0 : -1.0;
        w.speed = clamp(1.2 + 0.18 * rng_.normal(), 0.8, 1.6);
        w.along = -w.goal * plan_.half_length_m;
        w.lane = rng_.uniform(-1.0, 1.0) * plan_.half_width_m;
        w.across = w.lane;
        w.face_along = w.goal;
        w.v_along = w.goal * w.speed;
        w.pose.phase = rng_.uniform(0.0, 2.0 * kPi);
        w.sway_phase = rng_.uniform(0.0, 2.0 * kPi);
        return w;
    }

    void prepare_arrival() {
        std::vector<Walker> party;
        Walker first = single(random_adult_height(rng_));
        const double kind = rng_.uniform();
        if (kind < plan_.children) {
            const int count = 1 + rng_.below(2);
            party.push_back(first);
            for (int i = 0; i < count; ++i) {
                party.push_back(member(first, rng_.uniform(1.0, 1.4)));
            }
            place_abreast(party);
        } else if (kind < plan_.children + plan_.groups) {
            const int count = 2 + rng_.below(3);
            party.push_back(first);
            for (int i = 1; i < count; ++i) {
                party.push_back(member(first, random_adult_height(rng_)));
            }
            if (rng_.chance(plan_.groups_in_file)) {
                place_in_file(party);
            } else {
                place_abreast(party);
            }
        } else {
            make_individual(first);
            party.push_back(first);
        }
        waiting_.push_back(party);
    }

    Walker member(const Walker& first, double height_m) {
        Walker w = single(height_m);
        w.group = first.group;
        w.goal = first.goal;
        w.speed = first.speed;
        w.along = first.along;
        w.face_along = first.face_along;
        w.v_along = first.v_along;
        return w;
    }

    void place_abreast(std::vector<Walker>& party) {
        const double spacing = rng_.uniform(0.58, 0.70);
        const double width = spacing * static_cast<double>(party.size() - 1);
        const double room = std::max(plan_.half_width_m - 0.5 * width, 0.0);
        const double middle = clamp(party[0].lane, -room, room);
        for (std::size_t i = 0; i < party.size(); ++i) {
            Walker& w = party[i];
            w.lane = middle + spacing * static_cast<double>(i) - 0.5 * width;
            w.across = w.lane;
            w.slot_along = i == 0 ? 0.0 : rng_.uniform(-0.08, 0.08);
        }
    }

    void place_in_file(std::vector<Walker>& party) {
        const double spacing = rng_.uniform(0.60, 0.70);
        for (std::size_t i = 0; i < party.size(); ++i) {
            Walker& w = party[i];
            w.lane = party[0].lane;
            w.across = w.lane;
            w.slot_along = -w.goal * spacing * static_cast<double>(i);
            w.along += w.slot_along;
        }
    }

    void make_individual(Walker& w) {
        // No random number is drawn for a zero share, so scenes without staff stay unchanged.
        if (plan_.staff > 0.0 && rng_.chance(plan_.staff)) {
            put_on_vest(rng_, w.pose.look);
        } else {
            if (plan_.vivid_tops > 0.0 && rng_.chance(plan_.vivid_tops)) {
                w.pose.look.top = random_vivid_top(rng_);
            }
            give_load(w);
            if (w.pushes()) return;
        }
        give_pause(w);
    }

    void give_load(Walker& w) {
        if (!plan_.burdens.empty() && rng_.chance(plan_.burdened)) {
            const int kinds = static_cast<int>(plan_.burdens.size());
            w.pose.load = plan_.burdens[static_cast<std::size_t>(rng_.below(kinds))];
            if (w.pushes()) slow_down(w);
            return;
        }
        const double kind = rng_.uniform();
        if (kind < plan_.trolleys) {
            w.pose.load = rng_.chance(0.7) ? Load::kTrolley : Load::kCart;
            slow_down(w);
            return;
        }
        if (kind < plan_.trolleys + plan_.bags) {
            constexpr Load kBags[] = {Load::kHandbag, Load::kBackpack, Load::kSuitcase};
            w.pose.load = kBags[rng_.below(3)];
        }
    }

    void slow_down(Walker& w) const {
        w.speed = std::min(w.speed, 1.1);
        w.v_along = w.goal * w.speed;
        const double room = std::max(plan_.half_width_m - 0.1, 0.0);
        w.lane = clamp(w.lane, -room, room);
        w.across = w.lane;
    }

    void give_pause(Walker& w) {
        if (rng_.chance(plan_.uturns)) {
            w.turns = true;
            w.stop_at = w.goal * rng_.uniform(-0.35, 0.45);
            w.wait_s = rng_.uniform(0.2, 1.6);
        } else if (rng_.chance(plan_.stops)) {
            w.stops = true;
            w.stop_at = rng_.uniform(-0.45, 0.45) * plan_.half_length_m;
            w.wait_s = rng_.uniform(plan_.stop_least_s, plan_.stop_most_s);
            if (!plan_.stop_places.empty()) choose_place(w);
        }
    }

    void choose_place(Walker& w) {
        constexpr double kSpreadAlong_m = 0.3;
        constexpr double kSpreadAcross_m = 0.1;
        const int places = static_cast<int>(plan_.stop_places.size());
        const StopPlace& place = plan_.stop_places[static_cast<std::size_t>(rng_.below(places))];
        w.lane_after = w.lane;
        w.stop_at = place.along + rng_.uniform(-kSpreadAlong_m, kSpreadAlong_m);
        w.lane = place.across + rng_.uniform(-kSpreadAcross_m, kSpreadAcross_m);
        w.look_across = place.across < 0.0 ? -1.0 : 1.0;
        w.turns = rng_.chance(plan_.returns);
    }

    // Steering.
    void steer(Walker& w, double dt) {
        double want_along = w.goal * w.speed;
        double want_across = clamp(0.8 * (w.lane - w.across), -0.35, 0.35);
        if (w.stops || w.turns) {
            const double left = (w.stop_at - w.along) * w.goal;
            if (left < 0.5) want_along = w.goal * std::max(left, 0.0) * w.speed * 2.0;
            w.waits = left < 0.05;
            if (w.waits) {
                if (w.look_across == 0.0) want_across = 0.0;
                w.wait_s -= dt;
                if (w.wait_s <= 0.0) go_on(w);
            }
        }
        if (w.group != w.pose.id) follow(w, want_along);
        double push_along = 0.0;
        double push_across = 0.0;
        for (const Walker& other : walkers_) {
            if (&other != &w && other.group != w.group) {
                avoid(w, other, push_along, push_across);
            }
        }
        w.v_along += dt * ((want_along - w.v_along) / kRelax_s + push_along);
        w.v_across += dt * ((want_across - w.v_across) / kRelax_s + push_across);
        const double speed = std::sqrt(w.v_along * w.v_along + w.v_across * w.v_across);
        const double limit = 1.25 * w.speed;
        if (speed > limit) {
            w.v_along *= limit / speed;
            w.v_across *= limit / speed;
        }
    }

    static void go_on(Walker& w) {
        if (w.turns) w.goal = -w.goal;
        if (w.look_across != 0.0) w.lane = w.lane_after;
        w.turns = false;
        w.stops = false;
        w.waits = false;
        note_headway(w);
    }

    static void note_headway(Walker& w) {
        w.got_to = w.along * w.goal;
        w.held_s = 0.0;
    }

    void mind_headway(Walker& w, double dt) const {
        if (w.waits || w.along * w.goal > w.got_to + kHeadway_m) {
            note_headway(w);
            return;
        }
        w.held_s += dt;
        if (w.held_s > kPatience_s) make_way(w);
    }

    // Gives up a place that cannot be reached; otherwise keeps to the right, groups in single file,
    // so that people coming the other way find the other side free.
    void make_way(Walker& w) const {
        if (w.stops || w.turns) {
            go_on(w);
            return;
        }
        w.lane = w.goal * plan_.half_width_m;
        w.slot_along = -w.goal * kFile_m * (w.pose.id - w.group);
        note_headway(w);
    }

    void follow(const Walker& w, double& want_along) const {
        for (const Walker& first : walkers_) {
            if (first.pose.id != w.group) continue;
            const double behind = first.along + w.slot_along - w.along;
            want_along = first.v_along + clamp(1.5 * behind, -0.5, 0.5);
            return;
        }
    }

    static void avoid(const Walker& w, const Walker& other, double& along, double& across) {
        const double other_along =
            other.along + (other.pushes() ? 0.5 * kTrolleyAhead_m * other.face_along : 0.0);
        const double own_ahead = w.pushes() ? 0.5 * kTrolleyAhead_m * w.face_along : 0.0;
        const double r_along = other_along - w.along - own_ahead;
        const double r_across = other.across - w.across;
        const double distance = std::sqrt(r_along * r_along + r_across * r_across) + 1e-6;
        if (distance > 4.0) return;
        const double extra = (w.pushes() ? 0.25 : 0.0) + (other.pushes() ? 0.25 : 0.0);
        const double comfort = kComfort_m + extra;
        if (distance < comfort) {
            const double strength = 4.0 * (comfort - distance) / distance;
            along -= strength * r_along;
            across -= strength * r_across;
        }
        // Where the two will be closest if both keep their velocity.
        const double u_along = other.v_along - w.v_along;
        const double u_across = other.v_across - w.v_across;
        const double closing = -(r_along * u_along + r_across * u_across);
        const double square = u_along * u_along + u_across * u_across;
        if (closing <= 0.0 || square < 1e-4) return;
        const double time = closing / square;
        if (time > kLookAhead_s) return;
        const double miss = r_across + time * u_across;
        const double miss_along = r_along + time * u_along;
        if (std::sqrt(miss * miss + miss_along * miss_along) > comfort) return;
        // Everyone keeps to the right when someone is coming straight at them.
        const double side = std::abs(miss) > 0.05 ? (miss > 0.0 ? -1.0 : 1.0) : w.goal;
        across += side * 2.4 * (1.0 - time / kLookAhead_s) * (comfort - std::abs(miss)) / comfort;
    }

    // The correction.
    Point disc_centre(const Disc& d) const {
        const Walker& w = walkers_[d.owner];
        const double ahead = d.trolley ? kTrolleyAhead_m : 0.0;
        return {w.along + ahead * w.face_along, w.across + ahead * w.face_across};
    }

    void keep_apart() {
        std::vector<Disc> discs;
        for (std::size_t i = 0; i < walkers_.size(); ++i) {
            discs.push_back({i, false});
            if (walkers_[i].pushes()) discs.push_back({i, true});
        }
        for (int round = 0; round < kCorrections; ++round) {
            bool moved = false;
            for (std::size_t i = 0; i < discs.size(); ++i) {
                for (std::size_t k = i + 1; k < discs.size(); ++k) {
                    if (discs[i].owner != discs[k].owner) moved |= separate(discs[i], discs[k]);
                }
            }
            for (Walker& w : walkers_) {
                w.across = clamp(w.across, -plan_.half_width_m, plan_.half_width_m);
            }
            if (!moved) return;
        }
    }

    bool separate(const Disc& a, const Disc& b) {
        const Point p = disc_centre(a);
        const Point q = disc_centre(b);
        const double want = gap(a, b);
        double along = q.x_m - p.x_m;
        const double across = q.y_m - p.y_m;
        const double square = along * along + across * across;
        if (square >= want * want) return false;
        double distance = std::sqrt(square);
        if (distance < 1e-6) along = distance = 1e-6;
        const double push = 0.5 * (want - distance) / distance;
        walkers_[a.owner].along -= push * along;
        walkers_[a.owner].across -= push * across;
        walkers_[b.owner].along += push * along;
        walkers_[b.owner].across += push * across;
        return true;
    }

    // The step's effect on a walker: actual velocity, body direction, gait.
    void settle(Walker& w, const Walker& before, double dt) {
        w.v_along = (w.along - before.along) / dt;
        w.v_across = (w.across - before.across) / dt;
        const double speed = std::sqrt(w.v_along * w.v_along + w.v_across * w.v_across);
        if (w.waits && w.look_across != 0.0) {
            turn_body(w, 0.0, w.look_across, dt);
        } else if (speed > 0.15) {
            turn_body(w, w.v_along / speed, w.v_across / speed, dt);
        }
        const double walk = std::min(speed, 1.6);
        w.pose.stride += clamp(walk / 1.3 - w.pose.stride, -3.0 * dt, 3.0 * dt);
        // A pair of steps is about 0.83 of the body height at full stride, shorter when slow.
        const double pair_m = 0.83 * w.pose.look.height_m * (0.45 + 0.55 * walk / 1.3);
        w.pose.phase += 2.0 * kPi * walk * dt / pair_m;
        w.sway_phase = 0.5 * w.pose.phase;
    }

    // Turns by at most kTurnRate; trolleys turn a quarter as fast.
    static void turn_body(Walker& w, double along, double across, double dt) {
        const double most = kTurnRate * dt * (w.pushes() ? 0.25 : 1.0);
        const double cross = w.face_along * across - w.face_across * along;
        const double dot = w.face_along * along + w.face_across * across;
        double turn = dot < 0.0 ? (cross < 0.0 ? -1.0 : 1.0) : cross;
        turn = clamp(turn * 0.2, -most, most);
        const double c = cosine(turn);
        const double s = sine(turn);
        const double face_along = c * w.face_along - s * w.face_across;
        w.face_across = s * w.face_along + c * w.face_across;
        w.face_along = face_along;
    }

    Pose world_pose(const Walker& w) const {
        Pose p = w.pose;
        const double across = w.across + kSway_m * w.pose.stride * sine(w.sway_phase);
        // (along, across) is (-y, x) or (x, y): in both, right turns stay right turns.
        p.x_m = plan_.along_x ? w.along : across;
        p.y_m = plan_.along_x ? across : -w.along;
        p.dir_x = plan_.along_x ? w.face_along : w.face_across;
        p.dir_y = plan_.along_x ? w.face_across : -w.face_along;
        return p;
    }

    WalkerPlan plan_;
    double frame_s_;
    double time_s_;  // since the first frame
    Rng rng_;
    bool started_ = false;
    int last_id_ = 0;
    std::vector<Walker> walkers_;
    std::vector<std::vector<Walker>> waiting_;
};

}  // namespace

double settle_length(WalkerPlan& plan, double own_s, double clearing_s,
                     std::optional<double> seconds) {
    const double length_s = seconds.value_or(own_s);
    if (!(length_s > 0.0)) {
        throw std::invalid_argument("a scene cannot last " + std::to_string(length_s) +
                                    " s; its length must be above 0");
    }
    plan.arrivals_end_s = std::max(own_s, length_s) - clearing_s;
    return length_s;
}

std::unique_ptr<World> make_walkers(const WalkerPlan& plan, double fps, std::uint64_t seed) {
    return std::make_unique<Walkers>(plan, fps, seed);
}

}  // namespace sim
