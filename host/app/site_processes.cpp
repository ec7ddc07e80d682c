// Start, display and end of the processes of a site.
#include "host/app/site_processes.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "host/app/child_process.h"

namespace host {
namespace {

using std::chrono::steady_clock;

constexpr int kPoll_ms = 50;
constexpr std::chrono::seconds kLinesEvery{5};
constexpr std::chrono::seconds kPatience{10};

// One line for each process: on a terminal they stay at the bottom and are written anew, elsewhere
// they come every few seconds.
class Display {
  public:
    Display(const ProcessRun& run)
        : out_(run.out), quiet_(run.quiet), terminal_(::isatty(::fileno(run.out)) == 1) {
        for (const ProcessPlan& plan : run.plans) {
            names_.push_back(plan.name);
            width_ = std::max(width_, plan.name.size());
        }
        lines_.resize(names_.size());
        active_.resize(names_.size());
    }

    void take(std::size_t process, const std::string& line) {
        if (line.empty()) return;
        if (line.front() != ' ') return say(process, line);
        lines_[process] = line;
        if (quiet_) return;
        terminal_ ? draw() : print_round();
    }

    void begin(std::size_t process) {
        active_[process] = true;
        patience_ = steady_clock::now() + kPatience;
    }

    void say(std::size_t process, const std::string& sentence) {
        if (quiet_) return;
        erase();
        std::fprintf(out_, "%s: %s\n", names_[process].c_str(), sentence.c_str());
        draw();
    }

    void end(std::size_t process) {
        active_[process] = false;
        lines_[process].clear();
        draw();
    }

    void finish() {
        erase();
        std::fflush(out_);
    }

  private:
    std::string text(std::size_t i) const {
        return "  " + names_[i] + std::string(width_ - names_[i].size(), ' ') + lines_[i];
    }

    // Those of one round come together, also the first ones, unless somebody has none for long.
    void print_round() {
        const auto now = steady_clock::now();
        bool complete = true;
        for (std::size_t i = 0; i < lines_.size(); ++i)
            complete = complete && (!active_[i] || !lines_[i].empty());
        if (now < next_ || (!complete && now < patience_)) return;
        next_ = now + kLinesEvery;
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            if (!lines_[i].empty()) std::fprintf(out_, "%s\n", text(i).c_str());
        }
        std::fflush(out_);
    }

    void erase() {
        if (drawn_ > 0) std::fprintf(out_, "\033[%dA\r\033[J", drawn_);
        drawn_ = 0;
    }

    void draw() {
        if (!terminal_ || quiet_) {
            std::fflush(out_);
            return;
        }
        erase();
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            if (lines_[i].empty()) continue;
            std::fprintf(out_, "%s\n", text(i).c_str());
            ++drawn_;
        }
        std::fflush(out_);
    }

    std::FILE* out_;
    bool quiet_;
    bool terminal_;
    std::size_t width_ = 0;
    std::vector<std::string> names_;
    std::vector<std::string> lines_;
    std::vector<bool> active_;
    int drawn_ = 0;
    steady_clock::time_point next_{};
    steady_clock::time_point patience_{};
};

class Watch {
  public:
    explicit Watch(const ProcessRun& run)
        : run_(run), display_(run), children_(run.plans.size()), ended_(run.plans.size()) {}

    std::vector<ProcessEnd> work() {
        while (true) {
            if (run_.stop()) ask_all_to_end();
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
        // First whether it has ended: what it wrote before is then complete.
        const std::optional<int> status = children_[i]->end_status();
        for (const std::string& line : children_[i]->read_lines())
            display_.take(i, line);
        if (!status) return;
        children_[i].reset();
        ended_[i] = status;
        if (*status != 0) {
            const bool last = running() == 0;
            display_.say(i, "ended with " + end_text(*status) +
                                (last || asked_ ? "" : "; the others go on"));
        }
        display_.end(i);
    }

    std::vector<ProcessEnd> ends_in_order() const {
        std::vector<ProcessEnd> ends;
        for (std::size_t i = 0; i < ended_.size(); ++i) {
            if (ended_[i]) ends.push_back({run_.plans[i].name, *ended_[i]});
        }
        return ends;
    }

    const ProcessRun& run_;
    Display display_;
    std::vector<std::unique_ptr<ChildProcess>> children_;
    std::vector<std::optional<int>> ended_;
    std::size_t started_ = 0;
    bool asked_ = false;
};

}  // namespace

std::vector<ProcessEnd> run_processes(const ProcessRun& run) {
    return Watch(run).work();
}

}  // namespace host
