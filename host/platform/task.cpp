// Tasks and mutexes of the library on the threads of the operating system. The objects live inside
// the caller's 64-byte records; a magic word tells a constructed record from a foreign one.
#include <pthread.h>

#include <cstdlib>
#include <mutex>
#include <new>
#include <string>
#include <thread>

#include "vca/platform.h"

namespace {

constexpr std::uint32_t kMutexMagic = 0x4d555458;
constexpr std::uint32_t kTaskMagic = 0x5441534b;

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

MutexBox* mutex_of(TQ_MUTEX_S* record) {
    if (record == nullptr) return nullptr;
    auto* box = std::launder(reinterpret_cast<MutexBox*>(record->opaque));
    return box->magic == kMutexMagic ? box : nullptr;
}

TaskBox* task_of(TQ_TASK_S* record) {
    if (record == nullptr) return nullptr;
    auto* box = std::launder(reinterpret_cast<TaskBox*>(record->opaque));
    return box->magic == kTaskMagic ? box : nullptr;
}

}  // namespace

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
    box->magic = 0;
    box->~MutexBox();
    return 0;
}

int tq_task_create_join(TQ_TASK_S* task, void* (*entry)(void*), void* arg) {
    if (task == nullptr || entry == nullptr) return -1;
    auto* box = new (task->opaque) TaskBox;
    try {
        box->thread = std::thread([entry, arg] { entry(arg); });
    } catch (const std::system_error&) {
        box->magic = 0;
        box->~TaskBox();
        return -1;
    }
    return 0;
}

int tq_task_join(TQ_TASK_S* task) {
    TaskBox* box = task_of(task);
    if (box == nullptr) return -1;
    box->thread.join();
    box->magic = 0;
    box->~TaskBox();
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
