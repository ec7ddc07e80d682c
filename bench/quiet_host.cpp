#include "bench/quiet_host.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "tests/support/fake_platform.h"
#include "vca/messages.h"

namespace {

constexpr int kSlaves = 2;
constexpr int kDepthShift_px = 3;  // between what the two detectors make of a person

bool is_merged_instance(int inst) {
    return inst != 0;
}

class QuietHost : public fake::Platform {
  public:
    QuietHost() : Platform({}) {}

    void begin_run(const bench::Crowd& crowd, int frames, bench::PassObserver& observer) {
        crowd_ = &crowd;
        observer_ = &observer;
        frame_ = -1;
        frames_ = frames;
        for (int& count : sent_)
            count = 0;
    }

    void show_frame(const bench::Crowd& crowd, int frame) {
        crowd_ = &crowd;
        frame_ = frame;
    }

    int sent(int id) const { return sent_[id - VCA_MSG_LINE_COUNT]; }

  private:
    int message(int, int id, const void*, int) override {
        ++sent_[id - VCA_MSG_LINE_COUNT];
        return 0;
    }

    int detect(NN_MODEL_TYPE_E model, const VCA_IMAGE_S*, void* result) override {
        if (model != fake::kColourModel && model != fake::kDepthModel) return -1;
        observer_->pause();
        bench::detect_crowd(*crowd_, frame_, model == fake::kColourModel ? 0 : kDepthShift_px,
                            static_cast<VCA_NN_RESULT_S*>(result)->objects);
        observer_->resume();
        return 0;
    }

    bool refuses_image() override { return true; }

    fake::FrameSet next_set() override {
        if (++frame_ == frames_) {
            vca_get_pCtrl_param()->algo_running = 0;
            return {};
        }
        deliver_reports();
        const fake::Picture picture = {true, crowd_->depth_mm(frame_),
                                       fake::kRawWidth * fake::kRawHeight * sizeof(uint16_t), 0};
        return {picture, picture, picture, static_cast<uint32_t>(frame_) + 1};
    }
    void set_lent(const AVS_IVE_ALL_S& set) override {
        if (set.flag != 0) observer_->begin();
    }
    void all_blocks_returned() override { observer_->end(); }

    IOU_TRK_RSLT_S track(int inst, std::span<const IOU_TRK_OBJ_S> added) override {
        IOU_TRK_RSLT_S targets;
        targets.num = 0;
        for (const IOU_TRK_OBJ_S& obj : added) {
            const POINT_POS_S centre = {obj.x + obj.w / 2, obj.y + obj.h / 2};
            const int place = is_merged_instance(inst) ? crowd_->place_of_feet(centre)
                                                       : crowd_->place_of_box(centre);
            const int32_t id = crowd_->id_at(place, frame_);
            if (id == 0 || targets.num == VCA_TRK_MAX) continue;
            IOU_TRK_OBJ_S& target = targets.objs[targets.num++];
            target = obj;
            target.id = id;
        }
        return targets;
    }

    void deliver_reports() const {
        if (crowd_->mode() != VCA_WORK_MASTER) return;
        for (int slave = 0; slave < kSlaves; ++slave) {
            MASTER_MSG_S report = crowd_->report_of_slave(slave, frame_);
            dev_cscd_master_recive_slave_track(0, &report);
        }
    }

    const bench::Crowd* crowd_ = nullptr;
    bench::PassObserver* observer_ = nullptr;
    int frame_ = -1;
    int frames_ = 0;
    int sent_[VCA_MSG_DETECTED_TRACKS - VCA_MSG_LINE_COUNT + 1] = {};
};

QuietHost host;

}  // namespace

fake::Platform& fake::platform() {
    return host;
}

bench::Muted::Muted() {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    close(null);
}

bench::Muted::~Muted() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
}

void bench::run_library(const Crowd& crowd, const VCA_ALGO_CFG_S& cfg, int frames,
                        PassObserver& observer) {
    host.begin_run(crowd, frames, observer);
    vca_base_init();
    VCA_ALGO_CFG_S message = cfg;
    vca_algo_set_cfg_params(0, &message);
    int32_t show_detections = cfg.ShowDetectBox;
    vca_set_draw_exclusion_alive(0, &show_detections);
    vca_algo_init();
    host.run_task();
    vca_algo_uninit();
    vca_base_uninit();
}

int bench::messages_sent(int id) {
    return host.sent(id);
}

void bench::show_frame(const Crowd& crowd, int frame) {
    host.show_frame(crowd, frame);
    VCA_IMAGE_S& raw = vca_get_pCtrl_param()->raw_img;
    raw.plane_addr = reinterpret_cast<uintptr_t>(crowd.depth_mm(frame));
}

void bench::detect_crowd(const Crowd& crowd, int frame, int shift_px, DET_OBJECTS_S& found) {
    found.num = 0;
    const View view = crowd.own_view();
    for (int place = view.first; place < view.last; ++place) {
        if (crowd.id_at(place, frame) == 0) continue;
        DET_OBJ_S& box = found.objs[found.num];
        box = crowd.box_at(place, frame);
        box.x += shift_px;
        found.raw_objs[found.num++] = box;
    }
}

// The analysis task sleeps after each pass; here the next one follows at once.
extern "C" int usleep(useconds_t) {
    return 0;
}
