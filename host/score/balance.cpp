// Accounts of people, frame by frame.
#include "host/score/balance.h"

#include <algorithm>
#include <cmath>

#include "host/base/text.h"
#include "host/engine/line_sides.h"
#include "host/settings/line_checks.h"
#include "vca/messages.h"

namespace host {
namespace {

// Until a track has had so many updates, the library may take the head's place for that of the
// feet.
constexpr int kUnsettledUpdates = 5;

// Twice the area of the polygon, positive when its corners follow each other clockwise in the
// picture.
double winding(const std::vector<PicturePoint>& corners) {
    double sum = 0.0;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const PicturePoint& a = corners[i];
        const PicturePoint& b = corners[(i + 1) % corners.size()];
        sum += a.x * b.y - b.x * a.y;
    }
    return sum;
}

// Direction 1 ends on the left-hand side of somebody who walks along the line, which is outside
// when the line goes clockwise.
int direction_inward(const CountingLine& line) {
    const bool clockwise = winding(line.points) > 0.0;
    return clockwise != line.flip ? VCA_DIR_2 : VCA_DIR_1;
}

std::string people_text(std::int64_t count) {
    return std::to_string(count) + (count == 1 ? " person" : " people");
}

}  // namespace

std::string balance_text(const Balance& b) {
    const std::int64_t by_counts = b.inside + b.difference();
    return std::to_string(b.entries) + " came in, " + std::to_string(b.exits) + " went out, " +
           std::to_string(b.appeared) + " appeared inside, " + std::to_string(b.vanished) +
           " vanished inside: " + people_text(by_counts) + " left by the counts, " +
           std::to_string(b.inside) + " by their feet";
}

std::string fault_text(const BalanceFault& fault) {
    std::string text = "track " + std::to_string(fault.track);
    text += fault.vanished ? " vanished " : " stood ";
    text += fault.inside ? "inside" : "outside";
    if (fault.vanished) {
        text += format_text(" at %.1f s", fault.from_s);
    } else if (fault.until_s) {
        text += format_text(" from %.1f to %.1f s", fault.from_s, *fault.until_s);
    } else {
        text += format_text(" from %.1f s on", fault.from_s);
    }
    text += ", by the counts ";
    if (fault.counted == 0 || fault.counted == 1) {
        text += fault.counted == 1 ? "inside" : "outside";
    } else {
        text += std::to_string(fault.counted) + " times inside";
    }
    return fault.why.empty() ? text : text + ": " + fault.why;
}

BalanceMeter::BalanceMeter(const BalanceSetup& setup) : setup_(setup) {
    for (std::size_t i = 0; i < setup.lines.size(); ++i) {
        const CountingLine& line = setup.lines[i];
        if (!is_closed(line.points)) continue;
        areas_.push_back({static_cast<int>(i),
                          direction_inward(line),
                          {line.points.begin(), line.points.end() - 1}});
        balances_.emplace_back().line = line.name;
    }
}

void BalanceMeter::add(const Event& event) {
    if (areas_.empty()) return;
    for (const Story& story : book_.add(event))
        tell(story);
    if (const auto* const decision = std::get_if<Decision>(&event.payload)) {
        decide(*decision);
    } else if (const auto* const appeared = std::get_if<TrackAppeared>(&event.payload)) {
        const auto person = people_.find(appeared->track);
        if (person == people_.end() || !setup_.foot_point) return;
        const PicturePoint feet{1.0 * appeared->foot_x, 1.0 * appeared->foot_y};
        person->second.feet = feet;
        for (std::size_t i = 0; i < areas_.size(); ++i) {
            std::optional<bool>& began = person->second.accounts[i].began;
            if (began != is_inside(areas_[i].corners, feet)) began.reset();
        }
    } else if (const auto* const counted = std::get_if<PersonCounted>(&event.payload)) {
        count(*counted);
    } else if (const auto* const shown = std::get_if<TracksShown>(&event.payload)) {
        if (!shown->detected) show(*shown);
    }
}

BalanceMeter::Account* BalanceMeter::account_at(int track, int line) {
    const auto person = people_.find(track);
    if (person == people_.end()) return nullptr;
    for (std::size_t i = 0; i < areas_.size(); ++i)
        if (areas_[i].line == line) return &person->second.accounts[i];
    return nullptr;
}

void BalanceMeter::decide(const Decision& decision) {
    if (decision.kind == VCA_DECISION_BORN) {
        Person person;
        person.head = person.feet = {1.0 * decision.x, 1.0 * decision.y};
        for (const Area& area : areas_)
            person.accounts.emplace_back().began = is_inside(area.corners, person.head);
        people_[decision.track] = std::move(person);
        return;
    }
    const auto found = people_.find(decision.track);
    if (found == people_.end()) return;
    switch (decision.kind) {
        case VCA_DECISION_COUNTABLE:
            found->second.countable = true;
            break;
        case VCA_DECISION_HEIGHT_OUT:
            found->second.height_out = true;
            break;
        case VCA_DECISION_HEIGHT_BACK:
            found->second.height_out = false;
            break;
        case VCA_DECISION_ENDED:
            found->second.ended = decision;
            break;
        case VCA_DECISION_NEAR_LINE:
            if (auto* const account = account_at(decision.track, decision.place))
                account->told_near = true;
            break;
        case VCA_DECISION_WAITS:
            if (auto* const account = account_at(decision.track, decision.place))
                account->waits = true;
            break;
        case VCA_DECISION_COUNTED:
        case VCA_DECISION_TURNED_BACK:
            if (auto* const account = account_at(decision.track, decision.place))
                account->waits = false;
            break;
        default:
            break;
    }
}

void BalanceMeter::count(const PersonCounted& counted) {
    for (std::size_t i = 0; i < areas_.size(); ++i) {
        if (areas_[i].line != counted.line) continue;
        const bool entry = counted.direction == areas_[i].inward;
        ++(entry ? balances_[i].entries : balances_[i].exits);
        const auto person = people_.find(counted.track);
        if (person == people_.end()) return;
        Account& account = person->second.accounts[i];
        if (!account.began) account.began = !entry;
        account.net += entry ? 1 : -1;
    }
}

// As the library finds it: the middle of the box, brought to the floor below it.
PicturePoint BalanceMeter::feet_of(const ShownTrack& track) const {
    const PicturePoint head{1.0 * (track.x + track.w / 2), 1.0 * (track.y + track.h / 2)};
    if (!setup_.foot_point || setup_.camera_mm <= 0.0) return head;
    const double share = 1.0 - track.height_mm / setup_.camera_mm;
    const auto towards_middle = [share](double at, int size) {
        return std::trunc(size / 2 + share * (at - size / 2));
    };
    return {towards_middle(head.x, kColourWidth), towards_middle(head.y, kColourHeight)};
}

void BalanceMeter::show(const TracksShown& shown) {
    for (const ShownTrack& track : shown.tracks) {
        const auto person = people_.find(track.track);
        if (person == people_.end()) continue;
        person->second.feet = feet_of(track);
        person->second.crossing_px = track.crossing_px;
    }
}

void BalanceMeter::end_frame(const PassReport& report) {
    if (areas_.empty()) return;
    if (!report.blank) check_frame(report);
    settle_ended(report.time_s);
    for (auto& [track, person] : people_)
        for (Account& account : person.accounts)
            account.told_near = false;
}

void BalanceMeter::check_frame(const PassReport& report) {
    for (auto& [track, person] : people_)
        person.seen = false;
    for (const TrackedBox& track : report.tracks) {
        const auto found = people_.find(track.id);
        if (found == people_.end()) continue;
        found->second.seen = true;
        ++found->second.updates;
        for (std::size_t i = 0; i < areas_.size(); ++i) {
            Account& account = found->second.accounts[i];
            const double apart_px = distance_px(
                setup_.lines[static_cast<std::size_t>(areas_[i].line)].points, found->second.feet);
            account.near = account.told_near || apart_px <= found->second.crossing_px;
        }
    }
    for (std::size_t i = 0; i < areas_.size(); ++i)
        check_area(i, report.time_s);
}

void BalanceMeter::check_area(std::size_t area, double time_s) {
    bool anybody = false;
    bool all_clear = true;
    bool all_agree = true;
    for (auto& [track, person] : people_) {
        if (!person.countable || person.height_out) continue;
        anybody = true;
        const Account& account = person.accounts[area];
        const bool clear =
            person.seen && person.updates > kUnsettledUpdates && !account.near && !account.waits;
        all_clear = all_clear && clear;
        all_agree = agree(track, person, area, clear, time_s) && all_agree;
    }
    if (!anybody || !all_clear) return;
    ++balances_[area].checks;
    if (!all_agree) ++balances_[area].checks_off;
}

// Nobody is blamed for where they are while they stand on the line.
bool BalanceMeter::agree(int track, Person& person, std::size_t area, bool clear, double time_s) {
    Account& account = person.accounts[area];
    const bool inside = is_inside(areas_[area].corners, person.feet);
    if (!account.began && clear) account.began = inside;
    if (!account.began) return true;
    const int counted = (*account.began ? 1 : 0) + account.net;
    if (counted == (inside ? 1 : 0)) {
        end_fault(account, area, time_s);
        return true;
    }
    if (clear) find_fault(track, account, area, {track, time_s, {}, inside, counted});
    return false;
}

void BalanceMeter::end_fault(Account& account, std::size_t area, double time_s) {
    if (account.in_fault && account.fault) balances_[area].faults[*account.fault].until_s = time_s;
    account.in_fault = false;
}

void BalanceMeter::find_fault(int track, Account& account, std::size_t area, BalanceFault fault) {
    if (account.in_fault) return;
    account.in_fault = true;
    account.fault.reset();
    Balance& balance = balances_[area];
    ++balance.fault_count;
    if (balance.faults.size() >= Balance::kMostTold) return;
    account.fault = balance.faults.size();
    untold_[track].push_back({area, balance.faults.size()});
    balance.faults.push_back(std::move(fault));
}

// The counts that a track's end makes come after the decision that it has ended.
void BalanceMeter::settle_ended(double time_s) {
    for (auto at = people_.begin(); at != people_.end();) {
        if (!at->second.ended) {
            ++at;
            continue;
        }
        if (at->second.countable)
            for (std::size_t i = 0; i < areas_.size(); ++i)
                settle(at->first, at->second, i, time_s);
        at = people_.erase(at);
    }
}

void BalanceMeter::settle(int track, const Person& person, std::size_t area, double time_s) {
    Account account = person.accounts[area];
    if (!account.began) return;  // on the line all the time, and not counted
    const std::vector<PicturePoint>& corners = areas_[area].corners;
    const PicturePoint last{1.0 * person.ended->x, 1.0 * person.ended->y};
    const bool by_feet = is_inside(corners, person.feet);
    const int counted = (*account.began ? 1 : 0) + account.net;
    const bool on_line =
        account.near || account.waits || person.height_out || is_inside(corners, last) != by_feet;
    const bool inside = on_line && (counted == 0 || counted == 1) ? counted == 1 : by_feet;
    if (counted == (inside ? 1 : 0)) {
        end_fault(account, area, time_s);
    } else {
        find_fault(track, account, area, {track, time_s, {}, inside, counted, true});
    }
    Balance& balance = balances_[area];
    balance.appeared += *account.began ? 1 : 0;
    if (!inside) return;
    ++(person.ended->detail == VCA_ENDED_STOPPED ? balance.inside : balance.vanished);
}

void BalanceMeter::tell(const Story& story) {
    const auto untold = untold_.find(story.track);
    if (untold == untold_.end()) return;
    for (const auto& [area, fault] : untold->second)
        balances_[area].faults[fault].why = story_sentence(story, setup_.names);
    untold_.erase(untold);
}

void BalanceMeter::finish() {
    settle_ended(0.0);
    for (const Story& story : book_.rest())
        tell(story);
}

}  // namespace host
