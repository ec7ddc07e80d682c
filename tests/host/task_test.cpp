// Mutexes and tasks in the library's opaque records.
#include "host/platform/task.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "vca/platform.h"

namespace {

struct Shared {
    TQ_MUTEX_S mutex{};
    int counter = 0;
};

void* count_up(void* arg) {
    auto* shared = static_cast<Shared*>(arg);
    for (int i = 0; i < 20000; ++i) {
        tq_mutex_lock(&shared->mutex);
        ++shared->counter;
        tq_mutex_unlock(&shared->mutex);
    }
    return nullptr;
}

TEST(Task, AFailedStartIsCounted) {
    pthread_attr_t usual;
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    pthread_attr_init(&attributes);
    // No address space holds a stack of this size.
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{1} << 50), 0);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    TQ_TASK_S task{};
    EXPECT_EQ(host::failed_task_starts(), 0);
    EXPECT_EQ(tq_task_create_join(&task, count_up, nullptr), -1);
    EXPECT_EQ(host::failed_task_starts(), 1);
    EXPECT_EQ(tq_task_join(&task), -1);
    pthread_setattr_default_np(&usual);
    pthread_attr_destroy(&usual);
    pthread_attr_destroy(&attributes);
}

TEST(Mutex, KeepsThreadsApart) {
    Shared shared;
    ASSERT_EQ(tq_mutex_init(&shared.mutex), 0);
    std::array<TQ_TASK_S, 3> tasks{};
    for (TQ_TASK_S& task : tasks)
        ASSERT_EQ(tq_task_create_join(&task, count_up, &shared), 0);
    for (TQ_TASK_S& task : tasks)
        EXPECT_EQ(tq_task_join(&task), 0);
    EXPECT_EQ(shared.counter, 60000);
    EXPECT_EQ(tq_mutex_uninit(&shared.mutex), 0);
}

TEST(Mutex, WaitsForTheHolder) {
    TQ_MUTEX_S mutex{};
    tq_mutex_init(&mutex);
    tq_mutex_lock(&mutex);
    std::atomic<bool> entered{false};
    std::thread other([&] {
        tq_mutex_lock(&mutex);
        entered = true;
        tq_mutex_unlock(&mutex);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(entered);
    tq_mutex_unlock(&mutex);
    other.join();
    EXPECT_TRUE(entered);
    tq_mutex_uninit(&mutex);
}

TEST(Mutex, RefusesRecordsThatWereNotConstructed) {
    TQ_MUTEX_S mutex{};
    EXPECT_EQ(tq_mutex_lock(&mutex), -1);
    EXPECT_EQ(tq_mutex_unlock(&mutex), -1);
    EXPECT_EQ(tq_mutex_uninit(&mutex), -1);
    EXPECT_EQ(tq_mutex_init(nullptr), -1);
    tq_mutex_init(&mutex);
    tq_mutex_uninit(&mutex);
    EXPECT_EQ(tq_mutex_lock(&mutex), -1);
}

void* store_name(void* arg) {
    tq_task_set_name("a-name-of-more-than-15");
    std::ifstream("/proc/thread-self/comm") >> *static_cast<std::string*>(arg);
    return nullptr;
}

TEST(Task, RunsWithItsArgumentAndCarriesAName) {
    std::string name;
    TQ_TASK_S task{};
    ASSERT_EQ(tq_task_create_join(&task, store_name, &name), 0);
    ASSERT_EQ(tq_task_join(&task), 0);
    EXPECT_EQ(name, "a-name-of-more-");
}

TEST(Task, RefusesWhatCannotRun) {
    TQ_TASK_S task{};
    EXPECT_EQ(tq_task_create_join(&task, nullptr, nullptr), -1);
    EXPECT_EQ(tq_task_join(&task), -1);
    EXPECT_EQ(tq_task_set_name(nullptr), -1);
}

TEST(System, GivesTheExitStatusOfTheCommand) {
    EXPECT_EQ(tq_system("exit 0"), 0);
    EXPECT_EQ(WEXITSTATUS(tq_system("exit 3")), 3);
    EXPECT_EQ(tq_system(nullptr), -1);
}

}  // namespace
