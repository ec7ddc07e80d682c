// Occupancy from reports and truth.
#include "host/score/region_meter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "host/settings/line_checks.h"

namespace host {

RegionMeter::RegionMeter(std::vector<CountingRegion> regions)
    : regions_(std::move(regions)), now_(regions_.size()), sums_(regions_.size()) {}

void RegionMeter::add_report(const RegionArray& people, const RegionArray& inside) {
    for (std::size_t r = 0; r < now_.size(); ++r) {
        now_[r].people = people[r];
        now_[r].inside = inside[r];
    }
}

void RegionMeter::count_truth(const std::vector<TruePerson>& people) {
    for (const TruePerson& person : people) {
        if (!person.in_view) continue;
        ++true_view_frames_;
        for (std::size_t r = 0; r < now_.size(); ++r)
            now_[r].true_people += is_inside(regions_[r].points, person.place) ? 1 : 0;
    }
}

void RegionMeter::add_frame(double time_s, const std::vector<TruePerson>& people) {
    count_truth(people);
    const auto number = static_cast<std::int64_t>(std::floor(time_s));
    if (second_.frames > 0 && second_.number != number) end_second();
    ++frames_;
    ++second_.frames;
    second_.number = number;
    second_.sums.resize(now_.size());
    for (std::size_t r = 0; r < now_.size(); ++r) {
        const Count& count = now_[r];
        Occupancy& o = sums_[r];
        o.mean += count.people;
        o.peak = std::max(o.peak, count.people);
        o.true_mean += count.true_people;
        o.true_peak = std::max(o.true_peak, count.true_people);
        o.mean_abs_error += std::abs(count.people - count.true_people);
        o.inside_mean += count.inside;
        o.inside_abs_error += std::abs(count.inside - count.true_people);
        RegionSecond& sum = second_.sums[r];
        sum.people += count.people;
        sum.inside += count.inside;
        sum.true_people += count.true_people;
    }
    now_.assign(now_.size(), {});
}

void RegionMeter::end_second() {
    for (std::size_t r = 0; r < second_.sums.size(); ++r) {
        const RegionSecond& sum = second_.sums[r];
        ended_.push_back({second_.number, static_cast<int>(r), sum.people / second_.frames,
                          sum.inside / second_.frames, sum.true_people / second_.frames});
    }
    second_ = {};
}

std::vector<RegionSecond> RegionMeter::take_seconds(bool all) {
    if (all && second_.frames > 0) end_second();
    return std::exchange(ended_, {});
}

std::vector<Occupancy> RegionMeter::occupancy() const {
    std::vector<Occupancy> means = sums_;
    if (frames_ == 0) return means;
    const auto frames = static_cast<double>(frames_);
    for (Occupancy& o : means) {
        o.mean /= frames;
        o.true_mean /= frames;
        o.mean_abs_error /= frames;
        o.inside_mean /= frames;
        o.inside_abs_error /= frames;
    }
    return means;
}

}  // namespace host
