// Sinks of a recording, and what is said of it.
#include "host/app/record_command.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/app/run.h"
#include "host/base/exit_status.h"
#include "host/base/text.h"
#include "host/base/version.h"
#include "host/report/output_folder.h"
#include "host/report/report.h"
#include "host/sinks/clip_sink.h"
#include "host/sinks/picture_folder.h"
#include "host/sinks/progress_sink.h"
#include "host/sinks/recording_sink.h"

namespace host {
namespace {

std::vector<Attachment> attachments_of(const RunPlan& plan) {
    const SourceInfo& info = plan.source->info();
    RecordingCamera camera = info.sensor;
    camera.height_mm = plan.height_mm;
    return {{kCameraAttachment, kTextType, recording_camera_text(camera)},
            {kSettingsAttachment, kTextType, recorded_settings_text(plan.options, info)}};
}

RecordingSetup setup_of(const RecordOptions& options, const RunPlan& plan) {
    const SourceInfo& info = plan.source->info();
    RecordingSetup setup;
    setup.folder = plan.output;
    setup.colour = options.colour;
    setup.frames_per_second = info.frames_per_second;
    setup.start_us = info.start_us;
    setup.keep_hours = options.keep_hours;
    setup.tags = {{kProgramTag, "vca " + version_number() + " " + version_commit()},
                  {kCameraTag, info.name}};
    if (!options.place.empty()) setup.tags.emplace_back(kPlaceTag, options.place);
    setup.attachments = attachments_of(plan);
    return setup;
}

std::string size_text(std::int64_t bytes) {
    return format_text("%.1f MB", static_cast<double>(bytes) / 1e6);
}

std::string of_many(std::int64_t count, const std::string& one) {
    return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

// The sink that was asked for, and the sentence about what it did.
struct Recorder {
    virtual ~Recorder() = default;
    virtual Sink& sink() = 0;
    virtual std::string told() const = 0;
};

struct WholeRecorder final : Recorder {
    explicit WholeRecorder(RecordingSetup setup) : recording(std::move(setup)) {}
    Sink& sink() override { return recording; }
    std::string told() const override {
        const RecordingFigures& f = recording.figures();
        return of_many(f.frames, "frame") + ", " + size_text(f.bytes) + " in " +
               of_many(f.files, "file") +
               (f.removed > 0 ? "; " + of_many(f.removed, "older file") + " removed" : "");
    }
    RecordingSink recording;
};

struct ClipRecorder final : Recorder {
    ClipRecorder(const RecordingSetup& setup, double around_s) : clips(setup, around_s) {}
    Sink& sink() override { return clips; }
    std::string told() const override {
        const ClipFigures& f = clips.figures();
        return of_many(f.clips, "clip") + ", " + size_text(f.bytes) +
               (f.too_late > 0 ? "; " + std::to_string(f.too_late) +
                                     " wanted when their pictures were gone in part"
                               : "") +
               (f.removed > 0 ? "; " + of_many(f.removed, "older file") + " removed" : "");
    }
    ClipSink clips;
};

struct FolderRecorder final : Recorder {
    explicit FolderRecorder(const RunPlan& plan) : folder(plan.output, attachments_of(plan)) {}
    Sink& sink() override { return folder; }
    std::string told() const override { return of_many(folder.frames(), "picture"); }
    PictureFolder folder;
};

std::unique_ptr<Recorder> make_recorder(const RecordOptions& options, const RunPlan& plan) {
    if (options.to_folder) return std::make_unique<FolderRecorder>(plan);
    const RecordingSetup setup = setup_of(options, plan);
    if (options.clip_s) return std::make_unique<ClipRecorder>(setup, *options.clip_s);
    return std::make_unique<WholeRecorder>(setup);
}

}  // namespace

int record_command(const RecordOptions& options, const std::atomic<bool>& stop) {
    RunPlan plan = prepare_run(options.run);
    const SourceInfo& info = plan.source->info();
    if (info.sensor.width == 0) {
        throw InputError("the source " + info.kind + " takes no pictures that could be recorded");
    }
    if (options.colour != RecordedColour::kNone && !info.has_colour) {
        throw InputError("--colour: the source has no colour pictures; leave it out");
    }
    if (options.run.output.empty()) plan.output = "recordings/" + info.name;
    settle_height(plan, stop);
    ProgressDisplay display(stderr, {""}, options.run.quiet);
    ProgressSink progress(display, {info.frames_per_second, expected_frames(plan)});
    const std::unique_ptr<Recorder> recorder = make_recorder(options, plan);
    StandardOutput output("/dev/null");  // what the library prints
    const RunFacts facts = run(plan, {&recorder->sink(), &progress}, stop);
    output.restore();
    std::string text = "recorded " + recorder->told() + " in " + visible(plan.output) + "\n";
    for (const std::string& warning : facts.warnings)
        text += "  warning: " + visible(warning) + "\n";
    write_text(output.host(), text);
    const std::vector<std::string> losses = plan.source->losses();
    for (const std::string& loss : losses)
        std::fprintf(stderr, "vca: %s\n", visible(loss).c_str());
    return losses.empty() ? kExitOk : kExitIncomplete;
}

}  // namespace host
