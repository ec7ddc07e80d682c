// From what the service says to a run that does not end.
#include "host/app/camera_process.h"

#include <optional>

#include "host/app/plan_store.h"
#include "host/app/run.h"
#include "host/base/exit_status.h"
#include "host/base/utc.h"
#include "host/frames/played_source.h"
#include "host/net/child_process.h"
#include "host/report/output_folder.h"
#include "host/service/camera_options.h"
#include "host/service/service_check.h"
#include "host/service/service_link.h"
#include "host/sinks/store_sink.h"

namespace host {
namespace {

constexpr const char* kEnded = "camera_ended";

// Tells the service that frames are finished.
class BeatSink final : public Sink {
  public:
    explicit BeatSink(ServiceLink& link) : link_(link) {}
    void end_frame(const PassReport&) override { link_.count_finished(); }

  private:
    ServiceLink& link_;
};

RunPlan plan_of(const ServiceCamera& camera, const std::atomic<bool>& stop) {
    RunOptions options = camera_options(camera);
    options.source.stop = &stop;
    if (options.source.source == "live") return prepare_run(options);
    return prepare_run(
        options, open_played(options.source, camera.loop || options.source.source == "scene"));
}

StoreSinkSetup store_of(const ServiceFile& file, const ServiceCamera& camera, const RunPlan& plan,
                        ServiceLink& link) {
    StoreSinkSetup setup = store_setup(plan, database_of(file, camera.name));
    setup.areas = areas_of(file, camera.name);
    setup.time_zone = file.time_zone.value;
    setup.writer.store.author = camera.settings;
    setup.writer.committed = [&link](const Committed& done) {
        link.tell(CameraCommitted{done.epoch, done.sequence});
    };
    return setup;
}

// The process before this one ended by itself.
void note_end(const CameraBegin& begun, StoreSink& store) {
    if (begun.ended_us == 0) return;
    store.note({begun.ended_us, HealthLevel::kFailed, kEnded, begun.ended_why});
    store.note({utc_now_us(), HealthLevel::kOk, kEnded, "the camera counts again"});
}

}  // namespace

int camera_process(const std::atomic<bool>& stop) {
    ServiceLink link(ChildProcess::kHandedFile);
    const CameraBegin& begun = link.begun();
    const ServiceFile file = parse_service_file(begun.text, begun.path);
    const ServiceCamera& camera = *find_camera(file, begun.camera);
    link.start([](const ReadSettings&) {});
    const StandardOutput nowhere("/dev/null");  // for what the library prints
    RunPlan plan = plan_of(camera, stop);
    settle_height(plan, stop);
    const StoreSinkSetup kept = store_of(file, camera, plan, link);
    StoreSink store(kept);
    CameraHealth health(health_setup(plan, kept, store));
    plan.heat_by_hour = true;
    note_end(begun, store);
    BeatSink beat(link);
    Pace pace(plan.source->info().frames_per_second, std::nullopt, stop);
    if (!plan.source->info().live) plan.pace = &pace;
    plan.taken = [&link] { link.count_taken(); };
    link.set_counting();
    const RunFacts facts = run(plan, {&store, &health, &beat}, stop);
    // A live camera has no end that would not be a fault.
    return facts.interrupted || plan.source->info().live ? kExitIncomplete : kExitOk;
}

}  // namespace host
