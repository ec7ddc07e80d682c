// Processes of a site and the pipes between them.
#include "bench/lockstep.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/base/picture.h"
#include "host/engine/session.h"
#include "host/score/samples.h"
#include "host/score/site_scene.h"
#include "host/settings/site_config.h"
#include "host/settings/site_map.h"
#include "host/sinks/event_file.h"
#include "vca/vca.h"

namespace bench {
namespace {

// Frames without anybody after the last one: five end the tracks, and slaves say that all have gone
// a few frames before.
constexpr int kClosingFrames = 30;

// ---- Pipes ----

class End {
  public:
    explicit End(int fd) : fd_(fd) {}
    End(End&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    End& operator=(End&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~End() { close_now(); }
    int fd() const { return fd_; }
    void close_now() {
        if (fd_ >= 0) close(std::exchange(fd_, -1));
    }

  private:
    int fd_;
};

struct Pipe {
    End read_end{-1};
    End write_end{-1};
};

Pipe make_pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    Pipe made;
    made.read_end = End(ends[0]);
    made.write_end = End(ends[1]);
    return made;
}

void write_all(int fd, const void* data, std::size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = write(fd, at, size);
        if (n <= 0) throw std::runtime_error("a pipe was closed");
        at += n;
        size -= static_cast<std::size_t>(n);
    }
}

bool read_all(int fd, void* data, std::size_t size) {
    char* at = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t n = read(fd, at, size);
        if (n <= 0) return false;
        at += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

std::string read_text(int fd) {
    std::string text;
    char buffer[65536];
    for (ssize_t n = 0; (n = read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(n));
    return text;
}

// ---- One device in its process ----

// A slave's message of one frame; most frames without people have none.
struct Report {
    std::int64_t frame = 0;
    std::int64_t sent = 0;  // 1: there was a message
    SLAVE_MSG_S message{};
};
static_assert(std::is_trivially_copyable_v<Report>);

// A device's frames with the closing frames behind them.
class Frames final : public host::FrameFeed {
  public:
    Frames(const host::Site& site, const host::SiteDevice& device)
        : fps_(site.frames_per_second.value),
          source_(host::open_site_view(host::view_setup(site, device))) {}

    bool next(host::SourceFrame& frame) override {
        if (closing_ == 0 && source_->next(frame)) {
            last_ = frame.number;
            return true;
        }
        if (closing_ == kClosingFrames) return false;
        host::make_blank(frame);
        frame.number = last_ + ++closing_;
        // They go on as those of the simulated site, which begins at 0.
        frame.time_s = static_cast<double>(frame.number) / fps_;
        return true;
    }

    const host::CameraModel& camera() const { return source_->info().camera; }

  private:
    double fps_;
    std::unique_ptr<host::FrameSource> source_;
    std::int64_t last_ = -1;
    int closing_ = 0;
};

host::SessionSetup setup_of(const host::Site& site, const host::SiteDevice& device,
                            host::SiteRole role, const Frames& frames) {
    host::SessionSetup setup;
    setup.config = host::device_config(site, device, role);
    setup.camera = frames.camera();
    return setup;
}

// The sinks of a process: its own, and a file of its events where there is a folder for these.
class Sinks {
  public:
    Sinks(host::Sink& own, const std::string& folder, const std::string& who) {
        list_.push_back(&own);
        if (folder.empty()) return;
        file_.emplace(folder + "/" + who + ".jsonl");
        list_.push_back(&*file_);
    }
    const std::vector<host::Sink*>& list() const { return list_; }

  private:
    std::optional<host::EventFile> file_;
    std::vector<host::Sink*> list_;
};

// Sends one report for every frame, as soon as the frame's messages are complete.
class Reporter final : public host::Sink {
  public:
    explicit Reporter(int fd) : fd_(fd) {}

    void on_event(const host::Event& event) override {
        if (const auto* tracks = std::get_if<host::SlaveTracks>(&event.payload)) {
            pending_.sent = 1;
            pending_.message = *tracks->message;
        }
    }

    void end_frame(const host::PassReport& report) override {
        pending_.frame = report.number;
        write_all(fd_, &pending_, sizeof pending_);
        pending_ = Report{};
    }

  private:
    int fd_;
    Report pending_;
};

void be_slave(const host::Site& site, const host::SiteDevice& device, const std::string& events,
              int fd) {
    Frames frames(site, device);
    Reporter reporter(fd);
    const Sinks sinks(reporter, events, device.name);
    host::Session session(setup_of(site, device, host::SiteRole::kTogether, frames), sinks.list());
    session.feed(frames);
    session.close();
}

// What master and lone cameras tell the parent, as lines of text: "track FRAME ID X Y HEIGHT",
// "count LINE DIRECTION" and "lag MEAN".
class Notes final : public host::Sink {
  public:
    void on_event(const host::Event& event) override {
        if (const auto* counted = std::get_if<host::PersonCounted>(&event.payload)) {
            text << "count " << counted->line << ' ' << counted->direction << '\n';
        }
        const auto* shown = std::get_if<host::TracksShown>(&event.payload);
        if (shown == nullptr || shown->detected) return;
        for (const host::MergedTrack& track : host::merged_tracks(*shown)) {
            text << "track " << event.frame_number << ' ' << track.id << ' ' << track.foot.x << ' '
                 << track.foot.y << ' ' << track.height_mm << '\n';
        }
    }
    std::ostringstream text;
};

void be_alone(const host::Site& site, const host::SiteDevice& device, const std::string& events,
              int fd) {
    Frames frames(site, device);
    Notes notes;
    const Sinks sinks(notes, events, device.name + "-alone");
    host::Session session(setup_of(site, device, host::SiteRole::kAlone, frames), sinks.list());
    session.feed(frames);
    session.close();
    const std::string text = notes.text.str();
    write_all(fd, text.data(), text.size());
}

struct Slave {
    int index = 0;
    int fd = -1;
};

// The slaves' reports on their way into the master's library.
class Deliverer {
  public:
    Deliverer(const host::Site& site, std::vector<Slave> slaves, int delay_frames)
        : site_(site), slaves_(std::move(slaves)), delay_frames_(delay_frames) {}

    // Takes what the slaves sent `delay` frames before this one. No pass may run meanwhile.
    void before_frame(std::int64_t frame) {
        if (frame < delay_frames_) return;
        for (const Slave& slave : slaves_) {
            Report report;
            if (!read_all(slave.fd, &report, sizeof report) ||
                report.frame != frame - delay_frames_) {
                throw std::runtime_error("a slave ended early");
            }
            if (report.sent != 0) deliver(slave.index, report.message, frame);
        }
    }

    // Reads what nobody waits for any more, so that the slaves can end.
    void after_last_frame() {
        for (const Slave& slave : slaves_) {
            Report unused;
            while (read_all(slave.fd, &unused, sizeof unused)) {
            }
        }
    }

    double mean_lag_frames() const {
        return delivered_ == 0 ? 0.0 : lag_frames_ / static_cast<double>(delivered_);
    }

  private:
    void deliver(int index, const SLAVE_MSG_S& message, std::int64_t frame) {
        MASTER_MSG_S delivered{};
        delivered.slave_idx = static_cast<std::uint32_t>(index);
        delivered.msg = message;
        host::map_to_master(site_, index, delivered.msg);
        auto* mutex = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
        tq_mutex_lock(mutex);
        dev_cscd_master_recive_slave_track(0, &delivered);
        tq_mutex_unlock(mutex);
        if (message.count == 0) return;
        ++delivered_;
        lag_frames_ += static_cast<double>(frame) - message.frame;
    }

    const host::Site& site_;
    std::vector<Slave> slaves_;
    int delay_frames_;
    std::int64_t delivered_ = 0;
    double lag_frames_ = 0.0;
};

// A master's frames one by one: each takes what the slaves sent before it.
class OneFrame final : public host::FrameFeed {
  public:
    OneFrame(Frames& frames, Deliverer& deliverer) : frames_(frames), deliverer_(deliverer) {}

    bool next(host::SourceFrame& frame) override {
        if (made_ || !frames_.next(frame)) return false;
        made_ = true;
        deliverer_.before_frame(frame.number);
        return true;
    }

  private:
    Frames& frames_;
    Deliverer& deliverer_;
    bool made_ = false;
};

void be_master(const host::Site& site, std::vector<Slave> slaves, int delay_frames,
               const std::string& events, int fd) {
    const host::SiteDevice& master = host::master_of(site);
    Frames frames(site, master);
    Notes notes;
    const Sinks sinks(notes, events, master.name);
    Deliverer deliverer(site, std::move(slaves), delay_frames);
    host::Session session(setup_of(site, master, host::SiteRole::kTogether, frames), sinks.list());
    // Each pass has ended before the next reports come.
    while (true) {
        OneFrame frame(frames, deliverer);
        if (session.feed(frame) < 0) break;
    }
    session.close();
    deliverer.after_last_frame();
    notes.text << "lag " << deliverer.mean_lag_frames() << '\n';
    const std::string text = notes.text.str();
    write_all(fd, text.data(), text.size());
}

// ---- The family ----

struct Child {
    std::string who;
    pid_t pid = -1;
};

// Runs `work` in a process of its own, whose library prints to nowhere.
Child start(const std::string& who, const std::function<void()>& work) {
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) throw std::runtime_error("no process for " + who);
    if (pid > 0) return {who, pid};
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDOUT_FILENO);
    try {
        work();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", who.c_str(), e.what());
        _exit(1);
    }
    _exit(0);
}

void wait_for(const std::vector<Child>& children) {
    std::string failed;
    for (const Child& child : children) {
        int status = 0;
        waitpid(child.pid, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) failed += " " + child.who;
    }
    if (!failed.empty()) throw std::runtime_error("ended abnormally:" + failed);
}

// Nobody but the master keeps a read end of the slaves' reports, so that they notice its death. The
// lists are of the parent; in a child they are its own copies.
struct Family {
    std::vector<Child> children;
    std::vector<std::pair<const host::SiteDevice*, End>> alone;  // read by the parent
    End merged{-1};
};

Family start_all(const host::Site& site, int delay_frames, const std::string& events) {
    Family family;
    std::vector<Slave> slaves;
    std::vector<End> ends;  // the master's, of its slaves' reports
    for (const host::SiteDevice& device : site.devices) {
        if (device.master) continue;
        Pipe pipe = make_pipe();
        family.children.push_back(start(device.name, [&] {
            ends.clear();
            pipe.read_end.close_now();
            be_slave(site, device, events, pipe.write_end.fd());
        }));
        slaves.push_back({device.index, pipe.read_end.fd()});
        ends.push_back(std::move(pipe.read_end));
    }
    Pipe merged = make_pipe();
    family.children.push_back(start(host::master_of(site).name, [&] {
        be_master(site, slaves, delay_frames, events, merged.write_end.fd());
    }));
    family.merged = std::move(merged.read_end);
    merged.write_end.close_now();
    ends.clear();
    for (const host::SiteDevice& device : site.devices) {
        Pipe pipe = make_pipe();
        family.children.push_back(start(
            device.name + " alone", [&] { be_alone(site, device, events, pipe.write_end.fd()); }));
        family.alone.emplace_back(&device, std::move(pipe.read_end));
    }
    return family;
}

// ---- Results ----

struct Told {
    std::map<std::int64_t, std::vector<host::MergedTrack>> tracks;  // by frame
    std::vector<std::pair<std::size_t, std::size_t>> counts;        // line, direction from 0
    double lag_frames = 0.0;
};

Told parse(const std::string& text) {
    Told told;
    std::istringstream lines(text);
    std::string word;
    while (lines >> word) {
        if (word == "track") {
            std::int64_t frame = 0;
            host::MergedTrack track;
            lines >> frame >> track.id >> track.foot.x >> track.foot.y >> track.height_mm;
            told.tracks[frame].push_back(track);
        } else if (word == "count") {
            std::size_t line = 0;
            std::size_t direction = 0;
            lines >> line >> direction;
            told.counts.emplace_back(line, direction - 1);
        } else {
            lines >> told.lag_frames;
        }
    }
    return told;
}

host::LineCounts counted(const std::string& who, const Told& told,
                         const std::vector<host::CountingLine>& lines) {
    host::LineCounts counts{who, {}};
    for (const host::CountingLine& line : lines) {
        counts.lines.emplace_back();
        if (!line.points.empty()) counts.lines.back() = std::array<int, 2>{};
    }
    for (const auto& [line, direction] : told.counts)
        if (counts.lines.at(line)) ++counts.lines[line]->at(direction);
    return counts;
}

// Floor over which at least one camera has heads in view, by points 5 cm apart.
double seen_floor_m2(const host::Site& site) {
    constexpr double kStep_m = 0.05;
    host::SitePoint low{1e9, 1e9};
    host::SitePoint high{-1e9, -1e9};
    for (const host::SiteDevice& device : site.devices) {
        for (const host::SitePoint& p : host::view_outline(device, host::kHead_m)) {
            low = {std::min(low.x_m, p.x_m), std::min(low.y_m, p.y_m)};
            high = {std::max(high.x_m, p.x_m), std::max(high.y_m, p.y_m)};
        }
    }
    std::int64_t seen = 0;
    for (double y = low.y_m + 0.5 * kStep_m; y < high.y_m; y += kStep_m)
        for (double x = low.x_m + 0.5 * kStep_m; x < high.x_m; x += kStep_m)
            seen += std::any_of(site.devices.begin(), site.devices.end(),
                                [&](const auto& d) {
                                    return sees(d, {x, y}, host::kHead_m);
                                })
                        ? 1
                        : 0;
    return static_cast<double>(seen) * kStep_m * kStep_m;
}

// Compares what the master told with everybody's true way.
void judge(const host::Site& site, const Told& told, SiteRun& run) {
    host::SiteScene scene(site);
    host::SiteTruth truth(site);
    host::MergeMeter meter(site);
    std::vector<host::TrueCrossing> crossings;
    std::set<int> people;
    std::vector<double> in_view;
    host::SiteFrame frame;
    while (scene.next(frame)) {
        const auto tracks = told.tracks.find(frame.number);
        frame.tracks.clear();
        if (tracks != told.tracks.end()) frame.tracks = tracks->second;
        meter.add_frame(frame);
        for (const host::TrueCrossing& c : truth.add_frame(frame))
            crossings.push_back(c);
        in_view.push_back(0.0);
        for (const host::SitePerson& person : frame.people) {
            if (person.cameras == 0) continue;
            in_view.back() += 1.0;
            people.insert(person.id);
        }
    }
    const double floor_m2 = seen_floor_m2(site);
    run.people = static_cast<int>(people.size());
    run.most_per_m2 = *std::max_element(in_view.begin(), in_view.end()) / floor_m2;
    run.median_per_m2 = host::quantile(in_view, 0.5) / floor_m2;
    run.result.truth = host::count_truth(site, crossings);
    run.result.merge = meter.score();
}

}  // namespace

SiteRun run_site(const host::Site& site, int delay_frames, const std::string& events) {
    Family family = start_all(site, delay_frames, events);
    SiteRun run;
    const Told merged = parse(read_text(family.merged.fd()));
    for (const auto& [device, end] : family.alone) {
        run.result.alone.push_back(
            counted(device->name, parse(read_text(end.fd())), host::own_lines(site, *device)));
    }
    wait_for(family.children);
    run.result.merged = counted("merged", merged, host::master_lines(site));
    run.slave_lag_frames = merged.lag_frames;
    judge(site, merged, run);
    return run;
}

}  // namespace bench
