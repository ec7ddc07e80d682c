// The one stand-in for a camera's platform: the bodies of all functions that the library asks of
// its host, for tests, benchmarks and fuzzers. It lends frame sets and images, keeps the books of
// what is out and reports what the library does wrong. What a camera would see and its models would
// answer comes from the program: it derives from Platform and defines fake::platform().
#ifndef TESTS_SUPPORT_FAKE_PLATFORM_H
#define TESTS_SUPPORT_FAKE_PLATFORM_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "vca/vca.h"

namespace fake {

// Model numbers that vca_cvai_init writes into the control block.
constexpr NN_MODEL_TYPE_E kColourModel = 101;
constexpr NN_MODEL_TYPE_E kDepthModel = 102;
constexpr NN_MODEL_TYPE_E kAttrModel = 103;
constexpr NN_MODEL_TYPE_E kStaffModel = 104;

// Size of the colour picture, in which crops must lie, and of the raw depth picture.
constexpr uint32_t kColourWidth = 960;
constexpr uint32_t kColourHeight = 544;
constexpr uint32_t kRawWidth = 480;
constexpr uint32_t kRawHeight = 256;

// A picture of a frame set as it is lent.
struct Picture {
    bool has_block = false;
    const void* pixels = nullptr;  // null: the picture has no address
    uint32_t bytes = 0;            // size of the mapping
    uint64_t word0 = 0;
};

struct FrameSet {
    Picture real, depth, raw;
    uint32_t flag = 0;
};

// What went out and came back since the start of the process.
struct Books {
    int64_t blocks_lent = 0;
    int64_t blocks_returned = 0;
    int64_t mappings_lent = 0;
    int64_t mappings_returned = 0;
    int64_t images_created = 0;
    int64_t images_refused = 0;
    int64_t images_destroyed = 0;
    int64_t empty_images_destroyed = 0;  // all-zero records
    int64_t locks = 0;
    int64_t unlocks = 0;
    int64_t tasks_started = 0;
    int64_t tasks_ended = 0;
};

class Platform {
  public:
    virtual ~Platform() = default;
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    // The size of the raw depth picture that vca_mem_init writes.
    uint32_t raw_width = kRawWidth, raw_height = kRawHeight;

    // Gives a message to the library's handler; false when none is registered.
    bool deliver(int id, const void* payload);
    // Runs the analysis task on the calling thread, of a platform without threads.
    void run_task();
    // Forgets the blocks and mappings that are out: the library will never give them back.
    void write_off_frames();

    // ---- The books; safe at any time ----
    Books books() const;
    size_t blocks_held() const;
    size_t mappings_held() const;
    size_t images_alive() const;
    bool mutex_alive() const;
    bool mutex_locked() const;
    bool on_task() const;
    std::vector<SOCK_REQUEST_S> handler_table() const;
    std::vector<IOU_TRK_OBJ_S> added_objects(int inst) const;  // since the last reset

    // ---- What the program answers; called without the guard ----

    // A call as text, "name" or "name(arguments)", before it takes effect. The control block is
    // written "ctrl", the algorithm mutex "algo", other pointers "other".
    virtual void called(const std::string& /*text*/) {}
    // The library broke the rules; ends the process unless a program takes note of it.
    virtual void misuse(const std::string& what);
    virtual void before_lock() {}
    virtual int run_command(const char* /*command*/) { return -1; }
    // A message that has the shape of its number.
    virtual int message(int channel, int id, const void* payload, int length) = 0;
    virtual const NN_MODEL_CFG_S* model_config(NN_MODEL_TYPE_E) { return nullptr; }
    virtual int detect(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image, void* result) = 0;
    virtual int classify(NN_MODEL_TYPE_E, const VCA_IMAGE_S*, void* /*result*/) { return -1; }
    virtual bool refuses_image() { return false; }
    virtual void image_destroyed(uint64_t /*handle*/) {}
    virtual int crop(const VCA_IMAGE_S&, const VCA_RGN_S&, VCA_IMAGE_S& /*dst*/) { return 0; }
    virtual int save(const VCA_IMAGE_S&, const char* /*path*/) { return -1; }
    virtual FrameSet next_set() = 0;
    virtual void set_lent(const AVS_IVE_ALL_S&) {}
    // The last block that was out came back.
    virtual void all_blocks_returned() {}
    virtual void tracker_started(int /*inst*/) {}
    // The targets of this frame, at most VCA_TRK_MAX, from all detections that were added.
    virtual IOU_TRK_RSLT_S track(int inst, std::span<const IOU_TRK_OBJ_S> added) = 0;

    // ---- What the functions of the platform do ----

    template <class... Args>
    void note(const char* format, Args... args) {
        if (!traits_.reports_calls) return;
        char text[256];
        std::snprintf(text, sizeof(text), format, args...);
        called(text);
    }
    void note(const char* name) {
        if (traits_.reports_calls) called(name);
    }
    void note_pointer(const char* name, const void* pointer);
    void note_detection(NN_MODEL_TYPE_E model, const VCA_IMAGE_S* image);
    void set_up_mutex(TQ_MUTEX_S& mutex);
    void tear_down_mutex(TQ_MUTEX_S& mutex);
    void lock(TQ_MUTEX_S& mutex);
    void unlock(TQ_MUTEX_S& mutex);
    void start_task(TQ_TASK_S& task, void* (*entry)(void*), void* arg);
    void join_task(TQ_TASK_S& task);
    void register_handlers(const SOCK_REQUEST_S* table, int rows);
    void unregister_handlers(const SOCK_REQUEST_S* table, int rows);
    int send(int channel, int id, const void* payload, int length);
    int create_image(VCA_IMAGE_S& image, int type, int width, int height);
    void destroy_image(VCA_IMAGE_S& image);
    int crop_letter(const VCA_IMAGE_S& src, const VCA_RGN_S& region, VCA_IMAGE_S& dst);
    AVS_IVE_ALL_S lend_set();
    void take_back_block(uint32_t block);
    void take_back_mapping(const void* addr, uint32_t size);
    void reset_objects(int inst);
    void add_object(int inst, const IOU_TRK_OBJ_S& object);
    IOU_TRK_RSLT_S update_tracker(int inst);

  protected:
    // How a program wants its platform for the whole process.
    struct Traits {
        bool threads =
            false;  // tasks are threads and mutexes lock; else the task waits for run_task
        bool reports_calls = false;  // called() hears of every call
        bool image_memory = false;   // images have pixels
    };
    explicit Platform(Traits traits);

    // Guards the books while there are threads, and what the program keeps beside them.
    std::unique_lock<std::mutex> guard() const {
        return traits_.threads ? std::unique_lock(guard_) : std::unique_lock<std::mutex>();
    }
    // The pixels of an image; none for a record that is not this platform's.
    std::vector<uint8_t> image_bytes(const VCA_IMAGE_S& image) const;

  private:
    AVS_IVE_FRAME_S lend(const Picture& picture);
    // Whether an image is there, or its record says that there is none.
    bool is_known(const VCA_IMAGE_S& image) const;
    void set_mutex_alive(bool alive);
    void set_task_id(std::thread::id id);

    const Traits traits_;
    mutable std::mutex guard_;
    Books books_;
    // Few enough to be searched from the front, and with their room kept: lending takes no memory.
    std::vector<uint32_t> blocks_;
    std::vector<std::pair<uint64_t, uint32_t>> mappings_;
    std::map<uint64_t, std::vector<uint8_t>> images_;
    std::vector<IOU_TRK_OBJ_S> added_[2];
    const SOCK_REQUEST_S* table_ = nullptr;
    int table_rows_ = 0;
    void* (*task_)(void*) = nullptr;
    void* task_arg_ = nullptr;
    std::thread::id task_id_;
    bool mutex_alive_ = false;
    bool mutex_locked_ = false;
    uint32_t next_block_ = 1;
    uint64_t next_image_ = 1;
};

// The platform of this process, defined by the program.
Platform& platform();

// A message that the library sends: its size, and how many entries its list may have.
struct MessageShape {
    int bytes = -1;  // -1: there is no such message
    size_t count_offset = 0;
    int32_t count_max = 0;  // 0: no list
};
MessageShape shape_of_message(int id);

// Whether an image has sizes of which a rectangle can lie inside.
bool is_picture(const VCA_IMAGE_S& image);

}  // namespace fake

#endif
