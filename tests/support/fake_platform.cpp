#include "tests/support/fake_platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace fake {
namespace {

// What is out at once in a frame set.
constexpr size_t kPictures = 3;

std::string name_of(const void* pointer) {
    if (pointer == vca_get_pCtrl_param()) return "ctrl";
    return pointer == get_vca_algo_mutex() ? "algo" : "other";
}

std::mutex& mutex_in(TQ_MUTEX_S& record) {
    return *std::launder(reinterpret_cast<std::mutex*>(record.opaque));
}

std::thread& thread_in(TQ_TASK_S& record) {
    return *std::launder(reinterpret_cast<std::thread*>(record.opaque));
}

static_assert(sizeof(std::mutex) <= sizeof(TQ_MUTEX_S));
static_assert(sizeof(std::thread) <= sizeof(TQ_TASK_S));

bool lies_inside(const VCA_RGN_S& region, const VCA_IMAGE_S& image) {
    return region.x >= 0 && region.y >= 0 && region.width >= 1 && region.height >= 1 &&
           region.width <= static_cast<int32_t>(image.width) - region.x &&
           region.height <= static_cast<int32_t>(image.height) - region.y;
}

template <class T>
bool erase(std::vector<T>& list, const T& value) {
    const auto it = std::find(list.begin(), list.end(), value);
    if (it == list.end()) return false;
    list.erase(it);
    return true;
}

}  // namespace

Platform::Platform(Traits traits) : traits_(traits) {
    blocks_.reserve(kPictures);
    mappings_.reserve(kPictures);
    for (auto& list : added_)
        list.reserve(VCA_DET_MAX);
}

void Platform::misuse(const std::string& what) {
    std::fprintf(stderr, "the library broke its promise: %s\n", what.c_str());
    std::abort();
}

bool Platform::deliver(int id, const void* payload) {
    void (*handler)(int, void*) = nullptr;
    for (const SOCK_REQUEST_S& row : handler_table()) {
        if (row.id == id) handler = row.handler;
    }
    if (handler == nullptr) return false;
    handler(0, const_cast<void*>(payload));
    return true;
}

void Platform::run_task() {
    if (task_(task_arg_) != nullptr) misuse("task did not return null");
}

void Platform::write_off_frames() {
    const auto held = guard();
    blocks_.clear();
    mappings_.clear();
}

Books Platform::books() const {
    const auto held = guard();
    return books_;
}

size_t Platform::blocks_held() const {
    const auto held = guard();
    return blocks_.size();
}

size_t Platform::mappings_held() const {
    const auto held = guard();
    return mappings_.size();
}

size_t Platform::images_alive() const {
    const auto held = guard();
    return images_.size();
}

bool Platform::mutex_alive() const {
    const auto held = guard();
    return mutex_alive_;
}

bool Platform::mutex_locked() const {
    const auto held = guard();
    return mutex_locked_;
}

bool Platform::on_task() const {
    const auto held = guard();
    return std::this_thread::get_id() == task_id_;
}

std::vector<SOCK_REQUEST_S> Platform::handler_table() const {
    const auto held = guard();
    return {table_, table_ + table_rows_};
}

std::vector<IOU_TRK_OBJ_S> Platform::added_objects(int inst) const {
    const auto held = guard();
    return added_[inst & 1];
}

bool Platform::is_known(const VCA_IMAGE_S& image) const {
    if (image.host_handle == 0) return true;
    const auto held = guard();
    return images_.contains(image.host_handle);
}

std::vector<uint8_t> Platform::image_bytes(const VCA_IMAGE_S& image) const {
    const auto held = guard();
    const auto it = images_.find(image.host_handle);
    return it == images_.end() ? std::vector<uint8_t>() : it->second;
}

void Platform::note_pointer(const char* name, const void* pointer) {
    if (traits_.reports_calls) called(std::string(name) + "(" + name_of(pointer) + ")");
}

void Platform::note_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image) {
    if (!traits_.reports_calls) return;
    const VCA_CTRL_S* ctrl = vca_get_pCtrl_param();
    note("vca_nn_detection(%d,%s)", model,
         image == &ctrl->real_img    ? "real_img"
         : image == &ctrl->depth_img ? "depth_img"
                                     : "other");
}

void Platform::set_up_mutex(TQ_MUTEX_S& mutex) {
    const bool wrong = mutex_alive();
    new (mutex.opaque) std::mutex;
    set_mutex_alive(true);
    if (wrong) misuse("mutex set up twice");
}

void Platform::tear_down_mutex(TQ_MUTEX_S& mutex) {
    const bool wrong = !mutex_alive() || mutex_locked();
    set_mutex_alive(false);
    mutex_in(mutex).~mutex();
    if (wrong) misuse("mutex in use torn down");
}

void Platform::set_mutex_alive(bool alive) {
    const auto held = guard();
    mutex_alive_ = alive;
}

void Platform::lock(TQ_MUTEX_S& mutex) {
    before_lock();
    if (traits_.threads)
        mutex_in(mutex).lock();
    else if (!mutex_alive_ || mutex_locked_)
        misuse("mutex locked twice");
    const auto held = guard();
    ++books_.locks;
    mutex_locked_ = true;
}

void Platform::unlock(TQ_MUTEX_S& mutex) {
    bool wrong = false;
    {
        const auto held = guard();
        wrong = !mutex_locked_;
        ++books_.unlocks;
        mutex_locked_ = false;
    }
    if (wrong) misuse("mutex unlocked twice");
    if (traits_.threads) mutex_in(mutex).unlock();
}

void Platform::set_task_id(std::thread::id id) {
    const auto held = guard();
    task_id_ = id;
}

void Platform::start_task(TQ_TASK_S& task, void* (*entry)(void*), void* arg) {
    {
        const auto held = guard();
        ++books_.tasks_started;
        task_ = entry;
        task_arg_ = arg;
    }
    if (!traits_.threads) return;
    new (task.opaque) std::thread([this] {
        set_task_id(std::this_thread::get_id());
        run_task();
        set_task_id({});
    });
}

void Platform::join_task(TQ_TASK_S& task) {
    if (traits_.threads) {
        thread_in(task).join();
        thread_in(task).~thread();
    }
    const auto held = guard();
    ++books_.tasks_ended;
}

void Platform::register_handlers(const SOCK_REQUEST_S* table, int rows) {
    const auto held = guard();
    table_ = table;
    table_rows_ = rows;
}

void Platform::unregister_handlers(const SOCK_REQUEST_S* table, int rows) {
    const bool wrong = static_cast<int>(handler_table().size()) != rows;
    if (wrong || table == nullptr) misuse("wrong unregister");
    register_handlers(nullptr, 0);
}

int Platform::send(int channel, int id, const void* payload, int length) {
    const MessageShape shape = shape_of_message(id);
    int32_t count = 0;
    bool right = channel == VCA_CHANNEL && length == shape.bytes;
    if (right && shape.count_max > 0) {
        std::memcpy(&count, static_cast<const uint8_t*>(payload) + shape.count_offset,
                    sizeof(count));
        right = count >= 0 && count <= shape.count_max;
    }
    if (right) return message(channel, id, payload, length);
    misuse("message " + std::to_string(id) + " of " + std::to_string(length) +
           " bytes with a list of " + std::to_string(count));
    return -1;
}

int Platform::create_image(VCA_IMAGE_S& image, int type, int width, int height) {
    image = {};
    const bool refused = refuses_image();
    const auto held = guard();
    ++(refused ? books_.images_refused : books_.images_created);
    if (refused) return -1;
    auto& bytes = images_[next_image_];
    const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
    if (traits_.image_memory) bytes.assign(luma + luma / 2, 0);
    image.type = type;
    image.width = image.stride = static_cast<uint32_t>(width);
    image.height = static_cast<uint32_t>(height);
    image.plane_addr = image.map_addr = reinterpret_cast<uintptr_t>(bytes.data());
    image.host_handle = next_image_++;
    return 0;
}

void Platform::destroy_image(VCA_IMAGE_S& image) {
    const uint64_t handle = image.host_handle;
    image = {};
    bool known = true;
    {
        const auto held = guard();
        if (handle == 0) {
            ++books_.empty_images_destroyed;
            return;
        }
        known = images_.erase(handle) == 1;
        ++books_.images_destroyed;
    }
    if (!known) misuse("image destroyed twice");
    image_destroyed(handle);
}

int Platform::crop_letter(const VCA_IMAGE_S& src, const VCA_RGN_S& region, VCA_IMAGE_S& dst) {
    if (is_picture(src) && !lies_inside(region, src)) misuse("crop outside the picture");
    if (!is_known(dst)) misuse("crop into an image that is not there");
    return crop(src, region, dst);
}

AVS_IVE_FRAME_S Platform::lend(const Picture& picture) {
    AVS_IVE_FRAME_S frame{};
    frame.vb_blk = VCA_VB_NONE;
    if (picture.has_block) {
        frame.word0 = picture.word0;
        if (next_block_ == VCA_VB_NONE) next_block_ = 1;
        frame.vb_blk = next_block_++;
        blocks_.push_back(frame.vb_blk);
        ++books_.blocks_lent;
    }
    if (picture.pixels == nullptr) return frame;
    frame.vir_addr = reinterpret_cast<uintptr_t>(picture.pixels);
    frame.map_size = picture.bytes;
    mappings_.emplace_back(frame.vir_addr, frame.map_size);
    ++books_.mappings_lent;
    return frame;
}

AVS_IVE_ALL_S Platform::lend_set() {
    const FrameSet next = next_set();
    AVS_IVE_ALL_S set{};
    {
        const auto held = guard();
        set.real = lend(next.real);
        set.depth = lend(next.depth);
        set.raw = lend(next.raw);
        set.flag = next.flag;
    }
    set_lent(set);
    return set;
}

void Platform::take_back_block(uint32_t block) {
    bool known = false;
    bool last = false;
    {
        const auto held = guard();
        known = erase(blocks_, block);
        books_.blocks_returned += known;
        last = blocks_.empty();
    }
    if (!known) return misuse("unknown block released");
    if (last) all_blocks_returned();
}

void Platform::take_back_mapping(const void* addr, uint32_t size) {
    bool known = false;
    {
        const auto held = guard();
        known = erase(mappings_, {reinterpret_cast<uintptr_t>(addr), size});
        books_.mappings_returned += known;
    }
    if (!known) misuse("unknown mapping unmapped");
}

void Platform::reset_objects(int inst) {
    const auto held = guard();
    added_[inst & 1].clear();
}

void Platform::add_object(int inst, const IOU_TRK_OBJ_S& object) {
    const auto held = guard();
    added_[inst & 1].push_back(object);
}

// The list is touched by the task alone while the task runs.
IOU_TRK_RSLT_S Platform::update_tracker(int inst) {
    return track(inst, added_[inst & 1]);
}

bool is_picture(const VCA_IMAGE_S& image) {
    constexpr uint32_t kSideMin = 8;
    constexpr uint32_t kSideMax = 1u << 30;
    return image.width >= kSideMin && image.height >= kSideMin && image.width < kSideMax &&
           image.height < kSideMax;
}

MessageShape shape_of_message(int id) {
    switch (id) {
        case VCA_MSG_LINE_COUNT:
            return {sizeof(LINE_COUNT_MSG_S)};
        case VCA_MSG_TRACKS:
        case VCA_MSG_DETECTED_TRACKS:
            return {sizeof(SHOW_MSG_S), offsetof(SHOW_MSG_S, num), VCA_SHOW_MAX};
        case VCA_MSG_REGIONS:
            return {sizeof(RGN_MSG_S), offsetof(RGN_MSG_S, num), VCA_RGN_PERSON_MAX};
        case VCA_MSG_INSTALL_HEIGHT:
        case VCA_MSG_FRAME_COUNT:
            return {sizeof(int32_t)};
        case VCA_MSG_CONFIG:
            return {VCA_CONFIG_REQUEST_BYTES};
        case VCA_MSG_GROUP_COUNT:
            return {sizeof(GROUP_COUNT_MSG_S)};
        case VCA_MSG_HEAT_MAP:
            return {sizeof(HEAT_MAP_MSG_S)};
        case VCA_MSG_SLAVE_TRACKS:
            return {sizeof(SLAVE_MSG_S), offsetof(SLAVE_MSG_S, count), VCA_SLAVE_TRACK_MAX};
        case VCA_MSG_DETECTIONS:
            return {sizeof(DET_SHOW_MSG_S), offsetof(DET_SHOW_MSG_S, merge_num), VCA_DET_SHOW_MAX};
        case VCA_MSG_TRACK_BORN:
        case VCA_MSG_TRACK_REMOVED:
            return {sizeof(TRK_SHOW_MSG_S)};
        default:
            return {};
    }
}

}  // namespace fake
