// The host functions of the library, played by the test host.
#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>

#include "tests/support/scripted_host.h"

namespace test {

std::string describe(const void* pointer);

// The host functions' way to the records of the host.
struct HostAccess {
    static std::mutex& mutex() { return host().mutex_; }

    static void set_task_id(std::thread::id id) {
        std::lock_guard lock(mutex());
        host().task_id_ = id;
    }

    static void count_lock(bool lock_call) {
        std::lock_guard lock(mutex());
        ++(lock_call ? host().locks_ : host().unlocks_);
    }

    static void set_mutex_live(bool live) {
        std::lock_guard lock(mutex());
        if (host().mutex_live_ == live) host().errors_.push_back("algorithm mutex set up twice");
        host().mutex_live_ = live;
    }

    static void set_table(const SOCK_REQUEST_S* table, int count) {
        std::lock_guard lock(mutex());
        host().table_ = table;
        host().table_count_ = count;
    }

    static void add_message(Message message) {
        std::lock_guard lock(mutex());
        message.frame = host().frames_read_ - 1;
        message.on_task = std::this_thread::get_id() == host().task_id_;
        host().messages_.push_back(std::move(message));
    }

    struct Plane {
        bool present;
        bool mapped;
        const void* pixels;
        uint32_t size;
    };

    static AVS_IVE_FRAME_S make_frame(const Plane& plane, const Frame& script, uint64_t word0) {
        AVS_IVE_FRAME_S frame{};
        frame.vb_blk = VCA_VB_NONE;
        if (plane.present) {
            frame.word0 = word0;
            frame.vb_blk = host().next_block_++;
            host().blocks_.insert(frame.vb_blk);
        }
        const bool mapped =
            plane.present ? script.mapped && plane.mapped : script.map_without_block;
        if (!mapped) return frame;
        frame.vir_addr = reinterpret_cast<uint64_t>(plane.pixels);
        frame.map_size = plane.size;
        host().mappings_.insert({frame.vir_addr, frame.map_size});
        return frame;
    }

    static AVS_IVE_ALL_S next_set(std::function<void()>& hook) {
        std::lock_guard lock(mutex());
        Host& h = host();
        AVS_IVE_ALL_S set{};
        set.real.vb_blk = set.depth.vb_blk = set.raw.vb_blk = VCA_VB_NONE;
        if (h.frames_.empty()) {
            h.current_.reset();
            ++h.idle_reads_;
            hook = h.on_idle_read;
            return set;
        }
        h.current_ = std::move(h.frames_.front());
        h.frames_.pop_front();
        ++h.frames_read_;
        h.clock_us_ += h.clock_step_us;
        hook = h.current_->on_read;
        h.last_set_ = fill_set();
        return h.last_set_;
    }

    static AVS_IVE_ALL_S fill_set() {
        Host& h = host();
        const Frame& f = *h.current_;
        // Never moves while the task runs: the library may keep the address between passes.
        h.raw_pixels_.resize(size_t{h.raw_width} * h.raw_height);
        std::fill(h.raw_pixels_.begin(), h.raw_pixels_.end(), h.floor_mm);
        std::copy_n(f.raw.begin(), std::min(f.raw.size(), h.raw_pixels_.size()),
                    h.raw_pixels_.begin());
        AVS_IVE_ALL_S set{};
        const auto word = static_cast<uint64_t>(h.frames_read_) * 16;
        uint8_t* const image = h.image_pixels_.data();
        set.real = make_frame({f.has_real, f.real_mapped, image, 1001}, f, word + 1);
        set.depth = make_frame({f.has_depth, f.depth_mapped, image + 8, 1002}, f, word + 2);
        set.raw = make_frame({f.has_raw, f.raw_mapped, h.raw_pixels_.data(), 1003}, f, word + 3);
        set.flag = f.flag;
        return set;
    }

    static void notify() { host().changed_.notify_all(); }

    static bool give_back_block(uint32_t block) {
        std::lock_guard lock(mutex());
        return host().blocks_.erase(block) == 1;
    }

    static bool give_back_mapping(uint64_t addr, uint32_t size) {
        std::lock_guard lock(mutex());
        auto it = host().mappings_.find({addr, size});
        if (it == host().mappings_.end()) return false;
        host().mappings_.erase(it);
        return true;
    }

    static std::vector<Person> detections(NN_MODEL_TYPE_E model) {
        std::lock_guard lock(mutex());
        if (!host().current_) return {};
        if (model == kColourModel) return host().current_->colour;
        if (model == kDepthModel) return host().current_->depth;
        return {};
    }

    static std::vector<Person> persons() {
        std::lock_guard lock(mutex());
        std::vector<Person> all = host().persons_;
        if (!host().current_) return all;
        const Frame& f = *host().current_;
        all.insert(all.end(), f.colour.begin(), f.colour.end());
        all.insert(all.end(), f.depth.begin(), f.depth.end());
        return all;
    }

    static std::vector<IOU_TRK_OBJ_S>& added(int inst) { return host().added_[inst & 1]; }

    static std::optional<IOU_TRK_RSLT_S> scripted_result(int inst) {
        std::lock_guard lock(mutex());
        auto& queue = host().tracker_results_[inst & 1];
        if (queue.empty()) return std::nullopt;
        IOU_TRK_RSLT_S result = queue.front();
        queue.pop_front();
        return result;
    }

    static int create_image(VCA_IMAGE_S* img, int type, int width, int height) {
        std::lock_guard lock(mutex());
        Host& h = host();
        *img = {};
        const int nth = h.images_tried_++;
        if (h.image_fails && h.image_fails(nth)) return -1;
        const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
        auto& buffer = h.images_[h.next_image_];
        buffer.bytes.assign(luma + luma / 2, 0);
        *img = {.type = type,
                .width = static_cast<uint32_t>(width),
                .height = static_cast<uint32_t>(height),
                .stride = static_cast<uint32_t>(width),
                .frame_word = 0,
                .plane_addr = reinterpret_cast<uint64_t>(buffer.bytes.data()),
                .map_addr = reinterpret_cast<uint64_t>(buffer.bytes.data()),
                .host_handle = h.next_image_++};
        ++h.images_created_;
        return 0;
    }

    static bool destroy_image(const VCA_IMAGE_S& img) {
        std::lock_guard lock(mutex());
        if (img.host_handle == 0) {
            ++host().zero_images_;
            return true;
        }
        ++host().images_destroyed_;
        host().destroyed_.push_back(img.host_handle);
        return host().images_.erase(img.host_handle) == 1;
    }

    // The pixels of an image that this host has created; the library's own records have none.
    static std::vector<uint8_t> pixels_of(const VCA_IMAGE_S& img) {
        const auto it = host().images_.find(img.host_handle);
        const bool wanted = host().record_pixels && it != host().images_.end();
        return wanted ? it->second.bytes : std::vector<uint8_t>();
    }

    static void add_attr_call(AttrCall::Kind kind, const VCA_IMAGE_S& image, const VCA_RGN_S& rgn,
                              const void* src) {
        std::lock_guard lock(mutex());
        host().attr_calls_.push_back({kind, image, rgn, src, &image, pixels_of(image)});
    }

    static void add_saved(const VCA_IMAGE_S* image, const char* path) {
        std::lock_guard lock(mutex());
        host().saved_.push_back({image, *image, path});
    }

    template <class Answer>
    static std::optional<Answer> take(std::deque<Answer>& queue, std::optional<Answer> after) {
        if (queue.empty()) return after;
        const Answer answer = queue.front();
        queue.pop_front();
        return answer;
    }

    static const NN_MODEL_CFG_S* model_config(NN_MODEL_TYPE_E model) {
        auto it = host().model_cfg.find(model);
        return it == host().model_cfg.end() ? nullptr : &it->second;
    }
};

namespace {

template <class... Args>
void note(const char* format, Args... args) {
    char text[256];
    std::snprintf(text, sizeof(text), format, args...);
    host().record(text);
}

void note(const char* name) {
    host().record(name);
}

void note_ctrl(const char* name, const VCA_CTRL_S* ctrl) {
    note("%s(%s)", name, describe(ctrl).c_str());
}

void write_detections(const std::vector<Person>& persons, VCA_NN_RESULT_S& result) {
    const size_t count = std::min<size_t>(persons.size(), VCA_DET_MAX);
    result.objects.num = static_cast<int32_t>(count);
    for (size_t i = 0; i < count; ++i) {
        const Person& p = persons[i];
        DET_OBJ_S& obj = result.objects.objs[i];
        obj = {};
        obj.x = p.x;
        obj.y = p.y;
        obj.w = p.w;
        obj.h = p.h;
        obj.area = p.w * p.h;
        obj.class_id = p.class_id;
        obj.score = p.score;
        result.objects.raw_objs[i] = obj;
    }
}

// The person whose box centre is nearest to the box given to the tracker: the wrapper enlarges
// boxes about their centres, so the centre is what survives.
int nearest_id(const IOU_TRK_OBJ_S& obj, const std::vector<Person>& persons) {
    int id = obj.det_idx + 1;
    int64_t best = std::numeric_limits<int64_t>::max();
    for (const auto& p : persons) {
        const int64_t dx = (int64_t{2} * p.x + p.w) - (int64_t{2} * obj.x + obj.w);
        const int64_t dy = (int64_t{2} * p.y + p.h) - (int64_t{2} * obj.y + obj.h);
        const int64_t distance = (dx < 0 ? -dx : dx) + (dy < 0 ? -dy : dy);
        if (distance >= best) continue;
        best = distance;
        id = p.id;
    }
    return id;
}

IOU_TRK_RSLT_S track(const std::vector<IOU_TRK_OBJ_S>& added) {
    const auto persons = HostAccess::persons();
    IOU_TRK_RSLT_S result{};
    for (const auto& obj : added) {
        if (result.num == VCA_TRK_MAX) break;
        IOU_TRK_OBJ_S& out = result.objs[result.num++];
        out = obj;
        out.id = nearest_id(obj, persons);
    }
    return result;
}

// Eight bytes, and no more, as the platform header has it.
int judge_staff(const VCA_IMAGE_S& image, void* result) {
    HostAccess::add_attr_call(AttrCall::kStaff, image, {}, nullptr);
    const auto answer = HostAccess::take(host().staff_answers, host().staff_answer);
    if (!answer) return -1;
    std::memcpy(result, &*answer, sizeof(StaffAnswer));
    return 0;
}

// Sixteen bytes; the last four have no meaning.
int judge_gender(const VCA_IMAGE_S& image, void* result) {
    HostAccess::add_attr_call(AttrCall::kGender, image, {}, nullptr);
    const auto answer = HostAccess::take(host().gender_answers, host().gender_answer);
    if (!answer) return -1;
    const uint32_t filler = 0x5A5A5A5Au;
    std::memcpy(result, &*answer, sizeof(GenderAnswer));
    std::memcpy(static_cast<uint8_t*>(result) + sizeof(GenderAnswer), &filler, sizeof(filler));
    return 0;
}

static_assert(sizeof(GenderAnswer) == 12 && sizeof(StaffAnswer) == 8);

std::mutex* mutex_in(TQ_MUTEX_S* record) {
    return std::launder(reinterpret_cast<std::mutex*>(record->opaque));
}

std::thread** thread_in(TQ_TASK_S* record) {
    return std::launder(reinterpret_cast<std::thread**>(record->opaque));
}

static_assert(sizeof(std::mutex) <= sizeof(TQ_MUTEX_S));

}  // namespace
}  // namespace test

using test::describe;
using test::host;
using test::HostAccess;
using test::note;

extern "C" {

int tq_mutex_init(TQ_MUTEX_S* mutex) {
    note("tq_mutex_init(%s)", describe(mutex).c_str());
    new (mutex->opaque) std::mutex;
    HostAccess::set_mutex_live(true);
    return 0;
}

int tq_mutex_lock(TQ_MUTEX_S* mutex) {
    note("tq_mutex_lock(%s)", describe(mutex).c_str());
    test::mutex_in(mutex)->lock();
    HostAccess::count_lock(true);
    return 0;
}

int tq_mutex_unlock(TQ_MUTEX_S* mutex) {
    note("tq_mutex_unlock(%s)", describe(mutex).c_str());
    HostAccess::count_lock(false);
    test::mutex_in(mutex)->unlock();
    return 0;
}

int tq_mutex_uninit(TQ_MUTEX_S* mutex) {
    note("tq_mutex_uninit(%s)", describe(mutex).c_str());
    HostAccess::set_mutex_live(false);
    test::mutex_in(mutex)->~mutex();
    return 0;
}

int tq_task_create_join(TQ_TASK_S* task, void* (*entry)(void*), void* arg) {
    note("tq_task_create_join(%s,%s)", entry == vca_algo_main_task ? "main_task" : "other",
         arg == nullptr ? "null" : "arg");
    auto* thread = new std::thread([entry, arg] {
        HostAccess::set_task_id(std::this_thread::get_id());
        if (entry(arg) != nullptr) host().error("task did not return null");
        HostAccess::set_task_id({});
    });
    new (task->opaque) std::thread*(thread);
    return 0;
}

int tq_task_join(TQ_TASK_S* task) {
    note("tq_task_join");
    std::thread* thread = *test::thread_in(task);
    thread->join();
    delete thread;
    return 0;
}

int tq_task_set_name(const char* name) {
    note("tq_task_set_name(%s)", name);
    return 0;
}

int tq_system(const char* command) {
    note("tq_system(%s)", command);
    return host().on_system ? host().on_system(command) : 0;
}

int sock_request_register(const SOCK_REQUEST_S* table, int count) {
    note("sock_request_register(%d)", count);
    HostAccess::set_table(table, count);
    return 0;
}

int sock_request_unregister(const SOCK_REQUEST_S* table, int count) {
    note("sock_request_unregister(%d)", count);
    const auto rows = host().handler_table();
    if (static_cast<int>(rows.size()) != count || table == nullptr)
        host().error("wrong unregister");
    HostAccess::set_table(nullptr, 0);
    return 0;
}

int tq_sock_send_msg(int channel, int id, void* payload, int length) {
    note("tq_sock_send_msg(%d,%d,%d)", channel, id, length);
    if (host().send_fails && host().send_fails(id)) return -1;
    const auto* bytes = static_cast<const uint8_t*>(payload);
    test::Message message;
    message.channel = channel;
    message.id = id;
    message.bytes.assign(bytes, bytes + length);
    HostAccess::add_message(std::move(message));
    return 0;
}

int vca_mem_init(VCA_CTRL_S* ctrl) {
    test::note_ctrl("vca_mem_init", ctrl);
    ctrl->real_img = {VCA_IMAGE_NV12, 960, 544, 960, 0, 0, 0, 0};
    ctrl->depth_img = {VCA_IMAGE_NV12, 960, 544, 960, 0, 0, 0, 0};
    ctrl->raw_img = {
        VCA_IMAGE_U16, host().raw_width, host().raw_height, host().raw_width * 2, 0, 0, 0, 0};
    return 0;
}

int vca_mem_uninit(VCA_CTRL_S* ctrl) {
    test::note_ctrl("vca_mem_uninit", ctrl);
    return 0;
}

int vca_cvai_init(VCA_CTRL_S* ctrl) {
    test::note_ctrl("vca_cvai_init", ctrl);
    ctrl->real_model = test::kColourModel;
    ctrl->depth_model = test::kDepthModel;
    ctrl->attr_model = test::kAttrModel;
    ctrl->staff_model = test::kStaffModel;
    return 0;
}

int vca_cvai_uninit(VCA_CTRL_S* ctrl) {
    test::note_ctrl("vca_cvai_uninit", ctrl);
    return 0;
}

int avs_set_conf_thr(int percent) {
    note("avs_set_conf_thr(%d)", percent);
    return 0;
}

const NN_MODEL_CFG_S* vca_nn_get_pModel_cfg(NN_MODEL_TYPE_E model) {
    note("vca_nn_get_pModel_cfg(%d)", model);
    return HostAccess::model_config(model);
}

int vca_nn_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) {
    const VCA_CTRL_S* ctrl = vca_get_pCtrl_param();
    const char* name = image == &ctrl->real_img    ? "real_img"
                       : image == &ctrl->depth_img ? "depth_img"
                                                   : "other";
    note("vca_nn_detection(%d,%s)", model, name);
    const bool fails = host().model_fails && host().model_fails(model);
    if (!fails && (model == test::kColourModel || model == test::kDepthModel)) {
        test::write_detections(HostAccess::detections(model),
                               *static_cast<VCA_NN_RESULT_S*>(result));
    }
    int status = fails ? -1 : 0;
    if (!fails && model == test::kStaffModel) status = test::judge_staff(*image, result);
    if (host().on_detection) host().on_detection(model, image, result);
    return status;
}

int vca_nn_classification(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) {
    note("vca_nn_classification(%d)", model);
    const bool fails = host().model_fails && host().model_fails(model);
    const int status = fails ? -1 : test::judge_gender(*image, result);
    if (host().on_classification) host().on_classification(model, image, result);
    return status;
}

int vca_create_image(VCA_IMAGE_S* img, int type, int width, int height) {
    note("vca_create_image(%d,%d,%d)", type, width, height);
    return HostAccess::create_image(img, type, width, height);
}

int vca_destroy_image(VCA_IMAGE_S* img) {
    note("vca_destroy_image");
    if (!HostAccess::destroy_image(*img)) host().error("image destroyed twice");
    *img = {};
    return 0;
}

int vca_image_crop_letter(const VCA_IMAGE_S* src, const VCA_RGN_S* rgn, VCA_IMAGE_S* dst) {
    note("vca_image_crop_letter(%d,%d,%d,%d)", rgn->x, rgn->y, rgn->width, rgn->height);
    HostAccess::add_attr_call(test::AttrCall::kCrop, *dst, *rgn, src);
    return host().crop_fails ? -1 : 0;
}

int vca_save_yuv_image(const VCA_IMAGE_S* img, const char* path) {
    note("vca_save_yuv_image(%ux%u,%s)", img->width, img->height, path);
    HostAccess::add_saved(img, path);
    return 0;
}

AVS_IVE_ALL_S avs_read_all_ive(void) {
    note("avs_read_all_ive");
    std::function<void()> hook;
    const AVS_IVE_ALL_S set = HostAccess::next_set(hook);
    HostAccess::notify();
    if (hook) hook();
    return set;
}

int ss_mpi_vb_release_blk(uint32_t block) {
    note("ss_mpi_vb_release_blk(%u)", block);
    if (!HostAccess::give_back_block(block)) host().error("unknown block released");
    return 0;
}

int ss_mpi_sys_munmap(void* addr, uint32_t size) {
    note("ss_mpi_sys_munmap(%u)", size);
    if (!HostAccess::give_back_mapping(reinterpret_cast<uint64_t>(addr), size))
        host().error("unknown mapping unmapped");
    return 0;
}

int ioutracker_init(int inst, int max_lost, int min_hits) {
    note("ioutracker_init(%d,%d,%d)", inst, max_lost, min_hits);
    return 0;
}

int ioutracker_set_conf_thresh(int inst, float lo, float hi) {
    note("ioutracker_set_conf_thresh(%d,%.9g,%.9g)", inst, static_cast<double>(lo),
         static_cast<double>(hi));
    return 0;
}

int ioutracker_objects_reset(int inst) {
    note("ioutracker_objects_reset(%d)", inst);
    std::lock_guard lock(HostAccess::mutex());
    HostAccess::added(inst).clear();
    return 0;
}

int ioutracker_add_object(int inst, const IOU_TRK_OBJ_S* obj) {
    note("ioutracker_add_object(%d,%d)", inst, obj->det_idx);
    std::lock_guard lock(HostAccess::mutex());
    HostAccess::added(inst).push_back(*obj);
    return 0;
}

IOU_TRK_RSLT_S ioutracker_update(int inst) {
    note("ioutracker_update(%d)", inst);
    if (auto scripted = HostAccess::scripted_result(inst)) return *scripted;
    const auto added = host().added_objects(inst);
    return host().on_update ? host().on_update(inst, added) : test::track(added);
}

int ioutracker_uninit(int inst) {
    note("ioutracker_uninit(%d)", inst);
    return 0;
}

}  // extern "C"
