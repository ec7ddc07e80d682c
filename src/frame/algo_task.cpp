// The analysis task: one pass per frame set, from frame acquisition to frame release.
#include <unistd.h>

#include "base/decision.h"
#include "base/log.h"
#include "base/numeric.h"
#include "base/send.h"
#include "frame/frame_state.h"
#include "track/track_list.h"
#include "vca/cascade.h"
#include "vca/config.h"
#include "vca/depth.h"
#include "vca/display.h"
#include "vca/event.h"
#include "vca/heat_map.h"
#include "vca/region.h"
#include "vca/track.h"

using vca::debug_on;
using vca::elapsed_ms;
using vca::flag_get;
using vca::flag_set;

namespace {

constexpr char kLogName[] = "vca_algo_main_task";

constexpr useconds_t kIdleSleepUs = 800000;
constexpr useconds_t kPassSleepUs = 1000;

// What the task keeps from pass to pass, and the detections of the current one.
struct TaskState {
    VCA_CTRL_S& ctrl = vca::control_block();
    const VCA_DEV_CFG_S& cfg = *dev_get_config();
    VCA_NN_RESULT_S real_rslt{};
    VCA_NN_RESULT_S depth_rslt{};
    VCA_NN_RESULT_S merged_rslt{};
    VCA_NN_RESULT_S master_rslt{};              // a master's objects of all devices
    std::vector<TRACKER_RSLT_S> local_tracks;   // of this device
    std::vector<TRACKER_RSLT_S> merged_tracks;  // a master's, of all devices; without images

    // Room for a full picture and some who were just lost.
    TaskState() {
        local_tracks.reserve(VCA_DET_MAX);
        merged_tracks.reserve(VCA_DET_MAX);
    }
};

// When the pass started and whether its timing lines are on.
struct PassClock {
    int64_t start_ms;
    bool log;
};

void release_local(TaskState& task) {
    vca::decision_state().list = VCA_LIST_LOCAL;
    vca_trk_obj_list_release(task.local_tracks);
}

void idle(TaskState& task) {
    VCA_LOG_AS(kLogName, "Algo module is initializing...");
    release_local(task);
    usleep(kIdleSleepUs);
}

void detect(TaskState& task, const PassClock& tm) {
    const int32_t model = task.cfg.DetectModel;
    task.real_rslt.objects.num = 0;
    if (model == VCA_DETECT_BOTH || model == VCA_DETECT_COLOUR) {
        vca_nn_detection(task.ctrl.real_model, &task.ctrl.real_img, &task.real_rslt);
        if (tm.log)
            VCA_LOG_AS(kLogName, "Tm: detection-%d real rgb=%ld", task.real_rslt.objects.num,
                       elapsed_ms(tm.start_ms));
    }
    task.depth_rslt.objects.num = 0;
    if (model == VCA_DETECT_BOTH || model == VCA_DETECT_DEPTH) {
        vca_nn_detection(task.ctrl.depth_model, &task.ctrl.depth_img, &task.depth_rslt);
        if (tm.log)
            VCA_LOG_AS(kLogName, "Tm: detection-%d depth rgb=%ld", task.depth_rslt.objects.num,
                       elapsed_ms(tm.start_ms));
    }
    task.merged_rslt.objects.num = 0;
    vca_obj_merge_real_depth_rslt(&task.real_rslt.objects, &task.depth_rslt.objects,
                                  &task.merged_rslt.objects);
}

void track(TaskState& task, const PassClock& tm) {
    vca_obj_proc_tracking(&task.merged_rslt, task.local_tracks, task.ctrl.trk_local, false);
    if (tm.log)
        VCA_LOG_AS(kLogName, "Tm: vca obj-%d tracking(%ld)=%ld", task.merged_rslt.objects.num,
                   static_cast<long>(task.local_tracks.size()), elapsed_ms(tm.start_ms));
    if (flag_get(vca::frame_state().show_detection) != 0)
        vca_local_dev_sync_detect_obj_show(task.local_tracks);
}

// A master tracks once more, the merged people of all devices.
void merge_devices(TaskState& task, const PassClock& tm) {
    dev_cascade_local_master_merge_slave_obj(&task.master_rslt, task.local_tracks);
    if (tm.log) VCA_LOG_AS(kLogName, "Tm: master_merge_slave=%ld", elapsed_ms(tm.start_ms));
    vca_obj_proc_tracking(&task.master_rslt, task.merged_tracks, task.ctrl.trk_merged, true);
    if (tm.log)
        VCA_LOG_AS(kLogName, "Tm: merge(%d) tracking(%ld)=%ld", task.master_rslt.objects.num,
                   static_cast<long>(task.merged_tracks.size()), elapsed_ms(tm.start_ms));
}

void count(std::vector<TRACKER_RSLT_S>& tracks, const PassClock& tm) {
    vca_local_dev_sync_tracking_info_show(tracks);
    if (tm.log) VCA_LOG_AS(kLogName, "Tm: sync_tracking_info=%ld", elapsed_ms(tm.start_ms));
    vca_event_counting_line_uturn_proc(tracks);
    vca_event_counting_region_stay_proc(tracks);
    vca_event_heat_map_dwell_and_motion(tracks);
    if (tm.log) VCA_LOG_AS(kLogName, "Tm: procese event=%ld", elapsed_ms(tm.start_ms));
    vca_event_counting_refresh_line_result();
    vca_event_counting_refresh_rgn_result(tracks);
    vca_event_heat_map_refresh_total_result(tracks);
    if (tm.log) VCA_LOG_AS(kLogName, "Tm: procese message=%ld", elapsed_ms(tm.start_ms));
}

// Counting happens on stand-alone devices and masters; a slave leaves it to its master.
void report(TaskState& task, const PassClock& tm) {
    const int32_t mode = vca_dev_get_work_mode();
    if (mode == VCA_WORK_SLAVE) {
        dev_cascade_slave_send_track_to_master(task.local_tracks);
        return;
    }
    if (mode == VCA_WORK_MASTER) merge_devices(task, tm);
    count(mode == VCA_WORK_MASTER ? task.merged_tracks : task.local_tracks, tm);
}

// Within 12 frames of a measurement the measured value is sent again.
void answer_install_height(TaskState& task) {
    auto& state = vca::frame_state();
    if (flag_get(task.ctrl.base_ready) == 0 || flag_get(state.height_requested) == 0) return;
    const int32_t frame = vca_feed_frm_cnt_get();
    if (vca::wrap_sub(frame, state.last_height_frame) > 12) {
        const VCA_IMAGE_S& raw = task.ctrl.raw_img;
        state.install_height_mm = depth_calc_install_height_by_raw_dist16(
            vca::raw_depth(task.ctrl), static_cast<int>(raw.width), static_cast<int>(raw.height));
        state.last_height_frame = frame;
    }
    vca::send_record(VCA_MSG_INSTALL_HEIGHT, state.install_height_mm);
    flag_set<uint8_t>(state.height_requested, 0);
}

void run_pass(TaskState& task) {
    auto& state = vca::frame_state();
    PassClock tm{avs_get_timestamp(), false};
    avs_log_debug_update_status(reinterpret_cast<LOG_DBG_S*>(vca_get_logs_dbg()),
                                VCA_LOG_DBG_COUNT);
    tm.log = vca::is_timing_frame(vca_feed_frm_cnt_get()) && debug_on(vca::kDbgTiming);
    if (flag_get(task.ctrl.base_ready) == 0) {
        idle(task);
        return;
    }

    tq_mutex_lock(&state.algo_mutex);
    if (flag_get(task.ctrl.base_ready) == 0) {  // the host took the base stage down meanwhile
        tq_mutex_unlock(&state.algo_mutex);
        return;
    }
    if (vca_data_get_real_depth(&task.ctrl) != 0) {
        tq_mutex_unlock(&state.algo_mutex);
        usleep(kPassSleepUs);
        return;
    }
    if (tm.log)
        VCA_LOG_AS(kLogName, "\nTm: data_update_real_depth=%ld H=%d", elapsed_ms(tm.start_ms),
                   vca_dev_get_install_height());
    vca_update_depth_map(vca::raw_depth(task.ctrl));
    detect(task, tm);
    track(task, tm);
    report(task, tm);
    answer_install_height(task);
    vca_data_put_real_depth(&task.ctrl);
    tq_mutex_unlock(&state.algo_mutex);
    usleep(kPassSleepUs);

    flag_set(state.loop_ms, static_cast<int32_t>(avs_get_timestamp() - tm.start_ms));
    if (tm.log) VCA_LOG_AS(kLogName, "Tm: Loop=%d", state.loop_ms);
    vca_feed_frm_cnt_add(1);
}

}  // namespace

void* vca_algo_main_task(void*) {
    tq_task_set_name("vca-algo");
    TaskState task;
    while (flag_get(task.ctrl.algo_running) != 0)
        run_pass(task);
    release_local(task);
    vca::decision_state().list = VCA_LIST_MERGED;
    for (const TRACKER_RSLT_S& trk : task.merged_tracks)
        vca::tell_end(trk, VCA_ENDED_STOPPED, vca::kLostMax);
    VCA_LOG("Algo task proc exited...");
    return nullptr;
}
