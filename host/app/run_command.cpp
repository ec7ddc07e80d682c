// Sinks and results of a run.
#include "host/app/run_command.h"

#include <cstdio>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "host/app/exit_status.h"
#include "host/app/run.h"
#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/report/output_folder.h"
#include "host/report/picture.h"
#include "host/report/report.h"
#include "host/report/summary.h"
#include "host/sinks/event_file.h"
#include "host/sinks/live_video.h"
#include "host/sinks/people_file.h"
#include "host/sinks/progress_sink.h"

namespace host {
namespace {

std::vector<std::string> names_of_results(const RunOptions& options) {
    std::vector<std::string> names(std::begin(kRunFiles), std::end(kRunFiles));
    if (!options.live) std::erase(names, kLiveFile);
    return names;
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

std::unique_ptr<LiveVideo> live_video(const RunPlan& plan, const OutputFolder& folder) {
    if (!plan.options.live) return nullptr;
    const SourceInfo& info = plan.source->info();
    return std::make_unique<LiveVideo>(LiveVideo::Setup{folder.temporary(kLiveFile),
                                                        info.frames_per_second,
                                                        {info.name, plan.lines, plan.regions}});
}

}  // namespace

int run_command(const RunOptions& options, const std::atomic<bool>& stop, void (*keep_results)()) {
    RunPlan plan = prepare_run(options);
    plan.decisions = true;
    OutputFolder folder(plan.output, names_of_results(options));
    StandardOutput output(folder.temporary(kLogFile));
    ProgressDisplay display(output.host(), {""}, options.quiet);

    EventFile events(folder.temporary(kEventsFile));
    ScoreSink scores(score_setup(plan),
                     {folder.temporary(kCrossingsFile), folder.temporary(kTrueCrossingsFile),
                      folder.temporary(kRegionsFile), folder.temporary(kStaysFile)});
    PeopleFile people(folder.temporary(kPeopleFile), story_names(plan));
    SnapshotSink snapshot(snapshot_from_s(plan.source->info()));
    ProgressSink progress(display, {plan.source->info().frames_per_second, expected_frames(plan)});
    std::vector<Sink*> sinks{&events, &people, &scores, &snapshot, &progress};
    const std::unique_ptr<LiveVideo> live = live_video(plan, folder);
    if (live) sinks.push_back(live.get());

    const RunFacts facts = run(plan, sinks, stop);
    output.restore();
    const Evidence& evidence = snapshot.evidence();
    write_summary(facts, scores.scores(), evidence, folder.temporary(kSummaryFile));
    write_picture(facts, scores.scores(), evidence, folder.temporary(kPictureFile));
    write_heat_pictures(evidence, folder.temporary(kHeatDwellFile),
                        folder.temporary(kHeatMotionFile));
    keep_results();
    folder.commit();
    write_text(output.host(), summary_text(facts, scores.scores(), evidence) +
                                  "  results in           " + visible(plan.output) + "\n");
    if (const std::string left = left_over_text(facts.left); !left.empty()) {
        std::fprintf(stderr, "vca: %s\n", left.c_str());
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace host
