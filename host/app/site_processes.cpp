// Start, display and end of the processes of a site.
#include "host/app/site_processes.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "host/base/progress_display.h"
#include "host/net/child_process.h"

namespace host {
namespace {

using std::chrono::steady_clock;

constexpr int kPoll_ms = 50;

// A device shows its progress once a second; one that shows none for this long hangs.
constexpr std::chrono::seconds kSilence{20};

std::vector<std::string> names_of(const ProcessRun& run) {
    std::vector<std::string> names;
    for (const ProcessPlan& plan : run.plans)
        names.push_back(plan.name);
    return names;
}

class Watch {
  public:
    explicit Watch(const ProcessRun& run)
        : run_(run),
          display_(run.out, names_of(run), run.quiet),
          children_(run.plans.size()),
          heard_(run.plans.size()),
          ended_(run.plans.size()) {}

    std::vector<ProcessEnd> work() {
        while (true) {
            if (*run_.stop) ask_all_to_end();
            start_some();
            if (running() == 0) break;
            wait_for_output();
            for (std::size_t i = 0; i < started_; ++i)
                look_after(i);
        }
        display_.finish();
        return ends_in_order();
    }

  private:
    std::size_t running() const {
        return static_cast<std::size_t>(
            std::count_if(children_.begin(), children_.end(),
                          [](const auto& child) { return child != nullptr; }));
    }

    void start_some() {
        while (!asked_ && started_ < run_.plans.size() && running() < run_.most_at_once) {
            children_[started_] = std::make_unique<ChildProcess>(run_.plans[started_].arguments);
            heard_[started_] = steady_clock::now();
            display_.begin(started_);
            ++started_;
        }
    }

    void ask_all_to_end() {
        if (asked_) return;
        asked_ = true;
        for (const auto& child : children_) {
            if (child) child->ask_to_end();
        }
    }

    void wait_for_output() const {
        std::vector<pollfd> files;
        for (const auto& child : children_) {
            if (child && child->output() >= 0) files.push_back({child->output(), POLLIN, 0});
        }
        ::poll(files.data(), files.size(), kPoll_ms);
    }

    void look_after(std::size_t i) {
        if (!children_[i]) return;
        // Check first whether it has ended: what it wrote before is then complete.
        const std::optional<int> status = children_[i]->end_status();
        for (const std::string& line : children_[i]->read_lines()) {
            heard_[i] = steady_clock::now();
            show(i, line);
        }
        if (!status) return end_if_silent(i);
        children_[i].reset();
        ended_[i] = status;
        if (!left_results(*status)) {
            const bool last = running() == 0;
            display_.say(i, "ended with " + end_text(*status) +
                                (last || asked_ ? "" : "; the others go on"));
        }
        display_.end(i);
    }

    void end_if_silent(std::size_t i) {
        if (steady_clock::now() - heard_[i] < kSilence) return;
        display_.say(
            i, "gave no sign of life for " + std::to_string(kSilence.count()) + " s and is ended");
        children_[i]->end_now();
        heard_[i] = steady_clock::now();
    }

    // Lines of progress begin with a blank, sentences do not.
    void show(std::size_t i, const std::string& line) {
        if (line.empty()) return;
        if (line.front() == ' ') {
            display_.update(i, line);
        } else {
            display_.say(i, line);
        }
    }

    std::vector<ProcessEnd> ends_in_order() const {
        std::vector<ProcessEnd> ends;
        for (std::size_t i = 0; i < ended_.size(); ++i) {
            if (ended_[i]) ends.push_back({run_.plans[i].name, *ended_[i]});
        }
        return ends;
    }

    const ProcessRun& run_;
    ProgressDisplay display_;
    std::vector<std::unique_ptr<ChildProcess>> children_;
    std::vector<steady_clock::time_point> heard_;
    std::vector<std::optional<int>> ended_;
    std::size_t started_ = 0;
    bool asked_ = false;
};

}  // namespace

std::vector<ProcessEnd> run_processes(const ProcessRun& run) {
    return Watch(run).work();
}

}  // namespace host
