// Preparation and sequence of a run.
#include "host/app/run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "host/app/hourly_frames.h"
#include "host/base/text.h"
#include "host/media/recording_format.h"
#include "host/report/output_folder.h"
#include "host/score/samples.h"
#include "host/settings/library_config.h"
#include "host/settings/place_warnings.h"
#include "vca/object.h"

namespace host {
namespace {

// Height for the first configuration when the true one is to be measured.
constexpr double kUnmeasuredHeight_mm = 3000.0;

// The library measures afresh only when more than 12 frames have passed since the last time.
constexpr int kMeasurements = 9;
constexpr std::size_t kLeastMeasurements = 5;
constexpr int kFramesPerMeasurement = 13;
constexpr double kMeasuredTime_s = 60.0;  // from the source's beginning
constexpr double kWidestSpread_mm = 200.0;
// What the library answers where the depth sensor sees no floor.
constexpr int kNoFloor_mm = INT32_MAX;

std::vector<PicturePoint> map_points(const FrameSource& source,
                                     const std::vector<PicturePoint>& points) {
    std::vector<PicturePoint> mapped;
    for (const PicturePoint& p : points)
        mapped.push_back(source.to_picture(p));
    return mapped;
}

// A recording larger than the analysis' picture is scaled down, which can make points coincide.
constexpr const char* kOnThePicture = ", scaled to the 960 x 544 picture of the analysis,";

std::vector<CountingLine> settle_lines(const RunOptions& options, const FrameSource& source) {
    const SourceInfo& info = source.info();
    std::vector<CountingLine> lines;
    if (options.lines.empty()) {
        for (CountingLine line : info.lines) {
            line.points = map_points(source, line.points);
            line.uturn_area = map_points(source, line.uturn_area);
            lines.push_back(std::move(line));
        }
        return lines;
    }
    for (const PlacedLine& given : options.lines) {
        CountingLine line = given.value;
        const std::string place = given.place_or("the line \"" + line.name + "\"");
        const std::string area = given.area_place.empty() ? "its U-turn area" : given.area_place;
        check_inside(line.points, info.user_width, info.user_height, place);
        check_inside(line.uturn_area, info.user_width, info.user_height, area);
        const auto check_line =
            is_closed(line.points) ? check_closed_line_points : check_line_points;
        line.points = map_points(source, line.points);
        line.uturn_area = map_points(source, line.uturn_area);
        check_line(line.points, place + kOnThePicture);
        if (!line.uturn_area.empty()) check_area_points(line.uturn_area, area + kOnThePicture);
        lines.push_back(std::move(line));
    }
    return lines;
}

// Maps a polygon of the user to the picture; `place` names where it was given.
std::vector<PicturePoint> settle_polygon(const std::vector<PicturePoint>& points,
                                         const std::string& place, const std::string& what,
                                         const FrameSource& source) {
    check_inside(points, source.info().user_width, source.info().user_height, place);
    std::vector<PicturePoint> mapped = map_points(source, points);
    check_polygon(mapped, place + kOnThePicture, what);
    return mapped;
}

std::vector<CountingRegion> settle_regions(const RunOptions& options, const FrameSource& source) {
    if (options.no_regions) return {};
    std::vector<CountingRegion> regions;
    if (options.regions.empty()) {
        for (const CountingRegion& own : source.info().regions)
            regions.push_back({own.name, map_points(source, own.points)});
        return regions;
    }
    for (const Placed<CountingRegion>& given : options.regions) {
        const auto& [name, points] = given.value;
        const std::string place = given.place_or("the region \"" + name + "\"");
        regions.push_back({name, settle_polygon(points, place, "a counting region", source)});
    }
    return regions;
}

std::vector<std::vector<PicturePoint>> settle_exclusions(const RunOptions& options,
                                                         const FrameSource& source) {
    std::vector<std::vector<PicturePoint>> areas;
    for (const auto& given : options.exclusions) {
        areas.push_back(settle_polygon(given.value, given.place_or("an exclusion area"),
                                       "an exclusion area", source));
    }
    return areas;
}

// People whose middle lies in an exclusion area are left alone by the analysis, so the truth it is
// measured against has to leave them out too: they need not be found and count in no region.
void leave_out_excluded(const RunPlan& plan, std::vector<TruePerson>& people) {
    for (TruePerson& person : people) {
        const PicturePoint middle{person.box.x + person.box.w / 2.0,
                                  person.box.y + person.box.h / 2.0};
        for (const std::vector<PicturePoint>& area : plan.exclusions) {
            if (!is_inside(area, middle)) continue;
            person.clear = false;
            person.in_view = false;
        }
    }
}

VCA_ALGO_CFG_S config_of(const RunPlan& plan, double height_mm) {
    const RunOptions& options = plan.options;
    LibrarySettings settings;
    settings.height_mm = height_mm;
    settings.target_min_mm = options.target_min_mm;
    settings.target_max_mm = options.target_max_mm;
    settings.foot_point = options.source.foot_point;
    settings.detect = options.detect.value;
    settings.group_counting = options.group_counting.value_or(plan.source->info().group_counting);
    settings.group_min = options.group_min;
    settings.group_max = options.group_max;
    settings.gender = options.gender != kNoModel;
    settings.staff = uses_staff_model(options);
    settings.lines = plan.lines;
    settings.regions = plan.regions;
    settings.exclusions = plan.exclusions;
    settings.park_unused_lines = plan.park_unused_lines;
    return library_config(settings);
}

SessionSetup to_setup(const RunPlan& plan, double height_mm) {
    SessionSetup setup;
    setup.config = plan.config ? *plan.config : config_of(plan, height_mm);
    setup.camera = plan.source->info().camera;
    if (plan.source->info().live) setup.frames = FramePolicy::kNewest;
    setup.attributes = &plan.attributes;
    setup.late_counts = plan.options.late_counts;
    setup.sensor = plan.options.sensor;
    return setup;
}

// Frames to leave out between two measurements.
std::int64_t frames_between(const SourceInfo& info) {
    const double time_s = std::min(info.duration_s, kMeasuredTime_s);
    const auto frames = static_cast<std::int64_t>(time_s * info.frames_per_second);
    return std::max<std::int64_t>(frames / kMeasurements - kFramesPerMeasurement, 0);
}

// People only make the floor look nearer, so the far ones of the measurements are the floor; the
// very farthest may be noise.
double floor_distance_mm(const std::vector<double>& measured) {
    if (measured.size() < kLeastMeasurements) {
        throw InputError(
            "--height auto got " + std::to_string(measured.size()) +
            " measurements of the floor and needs 5, each of 13 frames; give --height MM");
    }
    const double median = quantile(measured, 0.5);
    const double farthest = quantile(measured, 1.0);
    if (farthest - median > kWidestSpread_mm) {
        throw InputError(
            "--height auto measured " + std::to_string(std::lround(median)) + " to " +
            std::to_string(std::lround(farthest)) +
            " mm, because the floor under the camera is hardly ever free, or hardly measured; give "
            "--height MM");
    }
    return std::round(quantile(measured, 0.8));
}

// The next frames of a source, up to a given number.
class FirstFrames final : public FrameFeed {
  public:
    FirstFrames(FrameFeed& frames, int left) : frames_(frames), left_(left) {}
    bool next(SourceFrame& frame) override { return left_-- > 0 && frames_.next(frame); }

  private:
    FrameFeed& frames_;
    int left_;
};

// Lets the library measure its distance to the floor several times, spread over the source, which
// is opened only for this.
double measure_height_mm(const RunPlan& plan, const std::atomic<bool>& stop) {
    RunPlan trial;
    trial.options = plan.options;
    // A live camera cannot be opened twice, and its frames go on anyway.
    const bool live = plan.source->info().live;
    if (!live) trial.source = level_source(open_source(plan.options.source), plan.options.tilt);
    FrameSource& source = live ? *plan.source : *trial.source;
    source.begin();
    const StandardOutput nowhere("/dev/null");  // for what the library prints
    Session session(to_setup(live ? plan : trial, kUnmeasuredHeight_mm), {});
    std::vector<double> measured;
    for (int i = 0; i < kMeasurements && !stop; ++i) {
        session.request_install_height();
        FirstFrames frames(source, kFramesPerMeasurement);
        if (session.feed(frames) < 0) break;
        const int answer_mm = session.install_height_mm();
        if (answer_mm > 0 && answer_mm < kNoFloor_mm) measured.push_back(answer_mm);
        source.skip(frames_between(source.info()));
    }
    if (stop) throw std::runtime_error("stopped before the installation height was measured");
    return checked_height_mm(floor_distance_mm(measured), "the measured installation height");
}

// The frames of the source as far as the options allow.
class RunFrames final : public FrameFeed {
  public:
    // What ended them.
    enum class End { kStopped, kLimit, kSource };

    RunFrames(const RunPlan& plan, Session& session, const std::atomic<bool>& stop)
        : plan_(plan),
          session_(session),
          stop_(stop),
          most_(plan.options.frames.value_or(INT64_MAX)),
          until_s_(plan.options.seconds.value_or(INFINITY)) {}

    bool next(SourceFrame& frame) override {
        if (stop_) return false;
        if (!plan_.source->next(frame)) {
            if (!stop_) end_ = End::kSource;
            return false;
        }
        if (++made_ > most_ || frame.time_s >= until_s_) {
            end_ = End::kLimit;
            return false;
        }
        if (plan_.before_frame) plan_.before_frame(session_, frame.time_s);
        leave_out_excluded(plan_, frame.people);
        time_s_ = frame.time_s;
        return true;
    }

    End end() const { return end_; }
    double time_s() const { return time_s_; }  // of the last frame

  private:
    const RunPlan& plan_;
    Session& session_;
    const std::atomic<bool>& stop_;
    const std::int64_t most_;
    const double until_s_;
    std::int64_t made_ = 0;
    double time_s_ = 0.0;
    End end_ = End::kStopped;
};

// Frames without anything after the end of the source. The first of them carries the truth's
// verdict on those who were still under way.
class ClosingFrames final : public FrameFeed {
  public:
    ClosingFrames(const RunPlan& plan, std::int64_t last, double time_s)
        : fps_(plan.source->info().frames_per_second),
          number_(last),
          time_s_(time_s),
          crossings_(plan.source->settle_truth()) {}

    // At wall-clock pace they take a while, which a user may want to cut short.
    void end_with(const std::atomic<bool>& stop) { stop_ = &stop; }

    bool next(SourceFrame& frame) override {
        if (left_-- == 0 || (stop_ != nullptr && *stop_)) return false;
        make_blank(frame);
        frame.number = ++number_;
        frame.time_s = time_s_ += 1.0 / fps_;
        frame.crossings = std::exchange(crossings_, {});
        return true;
    }

  private:
    const double fps_;
    std::int64_t number_;
    double time_s_;
    std::vector<TrueCrossing> crossings_;
    const std::atomic<bool>* stop_ = nullptr;
    int left_ = kClosingFrames;
};

// Returns the number of the last frame.
std::int64_t feed_by_hour(Session& session, FrameFeed& frames, const RunPlan& plan) {
    if (!plan.heat_by_hour) return session.feed(frames, plan.pace);
    HourlyFrames hourly(frames, plan.source->info().start_us);
    std::int64_t last = session.feed(hourly, plan.pace);
    while (hourly.more()) {
        session.request_heat_map();
        last = session.feed(hourly, plan.pace);
    }
    return last;
}

// The link of a device of a site, while its library is up.
class SiteLink {
  public:
    SiteLink(Session& session, const LinkSetup& setup)
        : session_(session), link_(make_device_link(session, setup)) {
        session_.add_sink(*link_);
    }
    ~SiteLink() { session_.remove_sink(*link_); }
    SiteLink(const SiteLink&) = delete;
    SiteLink& operator=(const SiteLink&) = delete;

    // All devices of a site end with the same frame. A slave that left at once would be reported as
    // missing by a master that is still running.
    void take_leave() {
        constexpr std::chrono::milliseconds kFarewell{500};
        if (!link_->figures().master) std::this_thread::sleep_for(kFarewell);
        link_->stop();
    }
    LinkFigures figures() const { return link_->figures(); }

  private:
    Session& session_;
    std::unique_ptr<DeviceLink> link_;
};

RunFacts facts_of(const RunPlan& plan, double height_mm) {
    RunFacts facts;
    facts.source = plan.source->info();
    facts.options = plan.options;
    facts.lines = plan.lines;
    facts.regions = plan.regions;
    facts.exclusions = plan.exclusions;
    facts.height_measured = plan.options.measure_height;
    facts.install_height_mm = height_mm;
    return facts;
}

// The lines or regions that count somebody.
template <typename Place>
std::vector<Place> with_points(std::vector<Place> places) {
    std::erase_if(places, [](const Place& place) { return place.points.empty(); });
    return places;
}

// A built-in scene lasts for as many frames as are asked for.
void stretch_scene(RunOptions& options, std::unique_ptr<FrameSource>& source) {
    const SourceInfo& info = source->info();
    if (!options.frames || info.kind != "scene") return;
    const double asked_s = static_cast<double>(*options.frames) / info.frames_per_second;
    if (asked_s <= info.duration_s) return;
    options.source.seconds = asked_s;
    source = open_source(options.source);
}

// A source that cannot last as long as was asked for.
std::optional<std::string> short_source_warning(const RunPlan& plan, double scene_s) {
    const double interval_s = 1.0 / plan.source->info().frames_per_second;
    if (!plan.options.seconds || scene_s + interval_s >= *plan.options.seconds) return std::nullopt;
    return "the source ends after " + plain_number(scene_s) + " s; " +
           plain_number(*plan.options.seconds) + " s were asked for";
}

}  // namespace

// Where the truth is known the source itself warns of lines at the edge, and the places of a site
// may lie in the view of another camera.
std::vector<std::string> run_warnings(const RunPlan& plan) {
    const std::vector<CountingLine> lines = with_points(plan.lines);
    const std::vector<CountingRegion> regions = with_points(plan.regions);
    const CountedPlaces places{lines, regions, plan.exclusions};
    const SourceInfo& info = plan.source->info();
    std::vector<PlaceWarning> doubts = place_warnings(places);
    const auto add = [&doubts](const std::vector<PlaceWarning>& more) {
        doubts.insert(doubts.end(), more.begin(), more.end());
    };
    if (!plan.config) add(region_edge_warnings(places, kColourWidth, kColourHeight));
    if (!info.has_truth && !plan.config) {
        add(line_edge_warnings(places, kColourWidth, kColourHeight, info.camera,
                               plan.options.source.foot_point));
        add(unseen_line_warnings(places, info.camera, plan.options.source.foot_point));
    }
    std::vector<std::string> warnings = texts_of(doubts);
    const std::vector<std::string> of_source = plan.source->warnings();
    warnings.insert(warnings.end(), of_source.begin(), of_source.end());
    return warnings;
}

PlanPlaces settle_places(const RunOptions& options, const FrameSource& source) {
    return {settle_lines(options, source), settle_regions(options, source),
            settle_exclusions(options, source)};
}

VCA_ALGO_CFG_S plan_config(const RunPlan& plan) {
    return config_of(plan, plan.height_mm.value_or(0.0));
}

int height_correction_mm(const RunPlan& plan, double height_mm) {
    const StandardOutput nowhere("/dev/null");  // for what the library prints
    const Session session(to_setup(plan, height_mm), {});
    return dev_obj_height_compen_by_install();
}

RunPlan prepare_run(const RunOptions& given) {
    check_options(given);
    RunOptions options = given;
    options.source.seconds = options.seconds;
    std::unique_ptr<FrameSource> source = open_source(options.source);
    take_carried_settings(source->info().settings,
                          options.source.live_depth + ": " + kSettingsAttachment, options);
    stretch_scene(options, source);
    return prepare_run(options, std::move(source));
}

RunPlan prepare_run(const RunOptions& options, std::unique_ptr<FrameSource> source) {
    check_options(options);
    RunPlan plan;
    plan.options = options;
    plan.source = level_source(std::move(source), options.tilt);
    plan.output = options.output;
    const SourceInfo& info = plan.source->info();
    if (options.source.height_mm && info.kind == "scene") {
        throw InputError(options.source.height_mm->place_or("--height") +
                         " goes with walks and recordings; the scene \"" + info.name +
                         "\" has its camera at " +
                         std::to_string(std::lround(info.camera.height_mm.value_or(0.0))) + " mm");
    }
    if ((info.kind == "recording" || info.live) && !info.has_colour)
        check_goes_without_colour(options);
    PlanPlaces places = settle_places(options, *plan.source);
    plan.lines = std::move(places.lines);
    plan.regions = std::move(places.regions);
    plan.exclusions = std::move(places.exclusions);
    plan.source->count_truth(plan.lines);
    if (!options.measure_height && !options.source.height_mm && !info.camera.height_mm) {
        throw InputError(
            "the camera's height is not known; give it with --height MM or have it "
            "measured with --height auto");
    }
    plan.attributes = open_attribute_models(options.gender, options.staff);
    if (plan.output.empty()) plan.output = "out/" + info.name;
    return plan;
}

double expected_frames(const RunPlan& plan) {
    const SourceInfo& info = plan.source->info();
    double frames = info.duration_s * info.frames_per_second;
    const auto limit = [&frames](double most) {
        if (frames <= 0.0 || most < frames) frames = most;
    };
    if (plan.options.frames) limit(static_cast<double>(*plan.options.frames));
    if (plan.options.seconds) limit(*plan.options.seconds * info.frames_per_second);
    return frames;
}

BalanceSetup balance_setup(const RunPlan& plan) {
    // Tracks of several devices begin and end where one camera's picture does.
    std::vector<CountingLine> lines;
    if (!plan.link) lines = plan.lines;
    return {std::move(lines), story_names(plan), plan.options.source.foot_point,
            std::round(plan.height_mm.value_or(0.0))};
}

ScoreSetup score_setup(const RunPlan& plan) {
    const SourceInfo& info = plan.source->info();
    return {plan.lines, plan.regions, info.frames_per_second, info.has_truth, balance_setup(plan)};
}

StoryNames story_names(const RunPlan& plan) {
    StoryNames names;
    names.counts_merged = plan.link.has_value();
    for (const CountingLine& line : plan.lines)
        names.lines.push_back(line.name);
    for (const CountingRegion& region : plan.regions)
        names.regions.push_back(region.name);
    return names;
}

void settle_height(RunPlan& plan, const std::atomic<bool>& stop) {
    if (plan.height_mm) return;
    if (plan.options.measure_height) {
        plan.height_mm = measure_height_mm(plan, stop);
    } else if (plan.options.source.height_mm) {
        plan.height_mm = plan.options.source.height_mm->value;
    } else {
        plan.height_mm = plan.source->info().camera.height_mm.value_or(0.0);
    }
}

RunFacts run(RunPlan& plan, const std::vector<Sink*>& sinks, const std::atomic<bool>& stop) {
    const auto start = std::chrono::steady_clock::now();
    settle_height(plan, stop);
    plan.source->begin();
    const double height_mm = *plan.height_mm;
    RunFacts facts = facts_of(plan, height_mm);
    TimingSink timing;
    std::vector<Sink*> all{&timing};
    all.insert(all.end(), sinks.begin(), sinks.end());
    Session session(to_setup(plan, height_mm), all);
    std::optional<SiteLink> link;
    if (plan.link) link.emplace(session, *plan.link);
    if (plan.options.show_detected) session.show_detected(true);
    RunFrames frames(plan, session, stop);
    plan.source->listen([&session](const InputNotice& notice) { session.tell_input(notice); });
    const std::int64_t last = feed_by_hour(session, frames, plan);
    plan.source->listen({});
    facts.interrupted = frames.end() == RunFrames::End::kStopped;
    // Only the end of the scene also ends the tracks of the people in it.
    if (frames.end() == RunFrames::End::kSource && plan.source->ends_the_scene()) {
        ClosingFrames closing(plan, last, frames.time_s());
        if (plan.pace != nullptr) closing.end_with(stop);
        session.feed(closing, plan.pace);
    }
    if (link) link->take_leave();
    session.request_heat_map();
    facts.left = session.close();
    if (link) facts.link = link->figures();
    if (plan.pace != nullptr) facts.pace = plan.pace->figures();
    facts.warnings = run_warnings(plan);
    facts.input = plan.source->live_figures();
    facts.timings = timing.timings();
    facts.scene_s = static_cast<double>(facts.timings.frames) / facts.source.frames_per_second;
    if (frames.end() == RunFrames::End::kSource) {
        if (const auto warning = short_source_warning(plan, facts.scene_s)) {
            facts.warnings.push_back(*warning);
        }
    }
    facts.wall_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return facts;
}

RunOutcome run_for_scores(RunPlan& plan, const std::vector<Sink*>& more) {
    const std::atomic<bool> never{false};
    settle_height(plan, never);
    SnapshotSink evidence;
    ScoreSink scores(score_setup(plan), {});
    std::vector<Sink*> sinks{&evidence, &scores};
    sinks.insert(sinks.end(), more.begin(), more.end());
    RunFacts facts = run(plan, sinks, never);
    return {std::move(facts), evidence.evidence(), scores.scores()};
}

}  // namespace host
