// Sinks and results of a run.
#include "host/app/run_command.h"

#include <cstdio>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/app/run.h"
#include "host/app/run_store.h"
#include "host/base/exit_status.h"
#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/engine/optional_sink.h"
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

LiveVideo::Setup live_setup(const RunPlan& plan, const OutputFolder& folder) {
    const SourceInfo& info = plan.source->info();
    return {folder.file(kLiveFile),
            info.frames_per_second,
            {info.name, plan.lines, plan.regions, plan.exclusions}};
}

// Results that a run can do without: a failure leaves a sentence, and no file except one that had
// already grown.
class OptionalResults {
  public:
    explicit OptionalResults(OutputFolder& folder) : folder_(folder) {}

    void write(const char* name, const std::function<void(const std::string& path)>& write) {
        try {
            write(folder_.file(name));
        } catch (const std::exception& error) {
            fail(name, error.what());
        }
    }
    void look_at(const char* name, const OptionalSink& sink) {
        if (!sink.failure().empty()) fail(name, sink.failure());
    }
    void give_names() {
        try {
            folder_.commit();
        } catch (const std::exception& error) {
            missing_.emplace_back(error.what());
        }
    }

    const std::vector<std::string>& missing() const { return missing_; }

  private:
    void fail(const char* name, const std::string& why) {
        folder_.leave_out(name);
        missing_.push_back(std::string(name) + ": " + why);
    }

    OutputFolder& folder_;
    std::vector<std::string> missing_;
};

// A run that failed keeps what it had counted; one that could not begin leaves nothing.
RunFacts run_into(OutputFolder& folder, RunPlan& plan, const std::vector<Sink*>& sinks,
                  const std::atomic<bool>& stop) {
    try {
        return run(plan, sinks, stop);
    } catch (const InputError&) {
        folder.discard();
        throw;
    } catch (const std::exception& error) {
        throw std::runtime_error(std::string(error.what()) +
                                 "; what was counted until then is in \"" + plan.output + "\"");
    }
}

}  // namespace

int run_command(const RunOptions& options, const std::atomic<bool>& stop, void (*keep_results)()) {
    RunPlan plan = prepare_run(options);
    const std::vector<std::unique_ptr<Sink>> store = open_run_store(plan);
    plan.heat_by_hour = !store.empty();
    OutputFolder folder(plan.output, {std::begin(kRunFiles), std::end(kRunFiles)});
    settle_height(plan, stop);
    folder.begin();
    if (!options.live) folder.leave_out(kLiveFile);
    StandardOutput output(folder.file(kLogFile));
    ProgressDisplay display(stderr, {""}, options.quiet);

    OptionalSink events([&] { return std::make_unique<EventFile>(folder.file(kEventsFile)); });
    OptionalSink people(
        [&] { return std::make_unique<PeopleFile>(folder.file(kPeopleFile), story_names(plan)); });
    ScoreSink scores(score_setup(plan),
                     {folder.file(kCrossingsFile), folder.file(kTrueCrossingsFile),
                      folder.file(kRegionsFile), folder.file(kStaysFile)});
    SnapshotSink snapshot;
    ProgressSink progress(display, {plan.source->info().frames_per_second, expected_frames(plan)});
    std::vector<Sink*> sinks{&events, &people, &scores, &snapshot, &progress};
    for (const std::unique_ptr<Sink>& sink : store)
        sinks.push_back(sink.get());
    std::optional<OptionalSink> live;
    if (options.live) {
        live.emplace([&] { return std::make_unique<LiveVideo>(live_setup(plan, folder)); });
        sinks.push_back(&*live);
    }

    RunFacts facts = run_into(folder, plan, sinks, stop);
    output.restore();
    OptionalResults optional(folder);
    optional.look_at(kEventsFile, events);
    optional.look_at(kPeopleFile, people);
    if (live) optional.look_at(kLiveFile, *live);
    const auto all_missing = [&] {
        std::vector<std::string> list = plan.source->losses();
        list.insert(list.end(), optional.missing().begin(), optional.missing().end());
        return list;
    };
    facts.missing = all_missing();
    const Evidence& evidence = snapshot.evidence();
    optional.write(kSummaryFile, [&](const std::string& path) {
        write_summary(facts, scores.scores(), evidence, path);
    });
    optional.write(kPictureFile, [&](const std::string& path) {
        write_picture(facts, scores.scores(), evidence, path);
    });
    optional.write(kHeatDwellFile, [&](const std::string& path) {
        write_heat_picture(evidence, HeatKind::kDwell, path);
    });
    optional.write(kHeatMotionFile, [&](const std::string& path) {
        write_heat_picture(evidence, HeatKind::kMotion, path);
    });
    keep_results();
    optional.give_names();
    facts.missing = all_missing();
    write_text(output.host(), summary_text(facts, scores.scores(), evidence) +
                                  "  results in           " + visible(plan.output) + "\n");
    if (const std::string left = left_over_text(facts.left); !left.empty()) {
        std::fprintf(stderr, "vca: %s\n", left.c_str());
        return kExitFailure;
    }
    return facts.missing.empty() ? kExitOk : kExitIncomplete;
}

}  // namespace host
