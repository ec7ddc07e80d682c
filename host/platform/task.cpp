// Tasks and mutexes of the library on the threads of the operating system. The objects live inside
// the caller's 64-byte records; a magic word tells a constructed record from a foreign one.
#include "host/platform/task.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <thread>

#include "vca/platform.h"

namespace {

constexpr std::uint32_t kMutexMagic = 0x4d555458;
constexpr std::uint32_t kTaskMagic = 0x5441534b;

std::atomic<int> failed_starts{0};

struct MutexBox {
    std::uint32_t magic = kMutexMagic;
    std::mutex mutex;
};

struct TaskBox {
    std::uint32_t magic = kTaskMagic;
    std::thread thread;
};

static_assert(sizeof(MutexBox) <= sizeof(TQ_MUTEX_S) && alignof(MutexBox) <= 16);
static_assert(sizeof(TaskBox) <= sizeof(TQ_TASK_S) && alignof(TaskBox) <= 16);

// The object in a record, null when there is none. The magic word is the object's first member and
// is read as bytes, because the record may hold anything.
template <typename Box>
Box* box_in(std::uint8_t* opaque, std::uint32_t magic) {
    std::uint32_t found = 0;
    std::memcpy(&found, opaque, sizeof found);
    return found == magic ? std::launder(reinterpret_cast<Box*>(opaque)) : nullptr;
}

MutexBox* mutex_of(TQ_MUTEX_S* record) {
    return record == nullptr ? nullptr : box_in<MutexBox>(record->opaque, kMutexMagic);
}

TaskBox* task_of(TQ_TASK_S* record) {
    return record == nullptr ? nullptr : box_in<TaskBox>(record->opaque, kTaskMagic);
}

// Ends the object and wipes its record; in the opposite order the compiler may leave out the
// wiping, since nobody can read an object that is gone.
template <typename Box, typename Record>
void destroy(Box* box, Record* record) {
    box->~Box();
    std::memset(record->opaque, 0, sizeof record->opaque);
}

}  // namespace

int host::failed_task_starts() {
    return failed_starts;
}

extern "C" {

int tq_mutex_init(TQ_MUTEX_S* mutex) {
    if (mutex == nullptr) return -1;
    new (mutex->opaque) MutexBox;
    return 0;
}

int tq_mutex_lock(TQ_MUTEX_S* mutex) {
    MutexBox* box = mutex_of(mutex);
    if (box == nullptr) return -1;
    box->mutex.lock();
    return 0;
}

int tq_mutex_unlock(TQ_MUTEX_S* mutex) {
    MutexBox* box = mutex_of(mutex);
    if (box == nullptr) return -1;
    box->mutex.unlock();
    return 0;
}

int tq_mutex_uninit(TQ_MUTEX_S* mutex) {
    MutexBox* box = mutex_of(mutex);
    if (box == nullptr) return -1;
    destroy(box, mutex);
    return 0;
}

int tq_task_create_join(TQ_TASK_S* task, void* (*entry)(void*), void* arg) {
    if (task == nullptr || entry == nullptr) return -1;
    auto* box = new (task->opaque) TaskBox;
    try {
        box->thread = std::thread([entry, arg] { entry(arg); });
    } catch (const std::system_error&) {
        ++failed_starts;
        destroy(box, task);
        return -1;
    }
    return 0;
}

int tq_task_join(TQ_TASK_S* task) {
    TaskBox* box = task_of(task);
    if (box == nullptr) return -1;
    box->thread.join();
    destroy(box, task);
    return 0;
}

int tq_task_set_name(const char* name) {
    if (name == nullptr) return -1;
    // The kernel keeps 15 characters and refuses longer names.
    return pthread_setname_np(pthread_self(), std::string(name).substr(0, 15).c_str());
}

int tq_system(const char* command) {
    return command == nullptr ? -1 : std::system(command);
}

}  // extern "C"
