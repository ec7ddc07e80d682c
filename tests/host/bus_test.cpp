// Order, delivery and clean removal of handlers on the message bus.
#include "host/engine/bus.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/support/bus_functions.h"
#include "vca/messages.h"

namespace {

using host::Bus;
using host::Event;
using test::BusFunctions;

struct Received {
    std::mutex mutex;
    std::vector<int> values;
    std::atomic<int> first_argument{-1};
    std::atomic<bool> blocked{false};
    std::atomic<bool> in_handler{false};
    TQ_MUTEX_S* algo_mutex = nullptr;
    std::atomic<bool> mutex_was_free{false};
    std::thread other;
};

Received& received() {
    static Received instance;
    return instance;
}

void take_value(int channel, void* payload) {
    Received& r = received();
    r.first_argument = channel;
    int value = 0;
    std::memcpy(&value, payload, sizeof value);
    const std::lock_guard lock(r.mutex);
    r.values.push_back(value);
}

void take_slowly(int, void*) {
    Received& r = received();
    r.in_handler = true;
    while (r.blocked)
        std::this_thread::yield();
    r.in_handler = false;
}

constexpr SOCK_REQUEST_S kTable[] = {{100, 0, take_value, 0}, {101, 0, take_slowly, 0}};

class BusTest : public ::testing::Test {
  protected:
    void SetUp() override { received().values.clear(); }
};

void wait_for(const std::atomic<bool>& flag) {
    while (!flag)
        std::this_thread::yield();
}

TEST_F(BusTest, DeliversToTheHandlerInOrderWithZeroAsFirstArgument) {
    BusFunctions client;
    Bus bus(client);
    bus.add_handlers(kTable, 2);
    for (int i = 0; i < 50; ++i)
        bus.send_to_library(100, &i, sizeof i);
    bus.wait_idle();
    ASSERT_EQ(received().values.size(), 50u);
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(received().values[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(received().first_argument, 0);
    EXPECT_EQ(bus.undelivered(), 0);
}

TEST_F(BusTest, DropsAndCountsMessagesWithoutHandler) {
    BusFunctions client;
    Bus bus(client);
    const int value = 7;
    bus.send_to_library(100, &value, sizeof value);
    bus.wait_idle();
    bus.add_handlers(kTable, 2);
    bus.send_to_library(999, &value, sizeof value);
    bus.wait_idle();
    EXPECT_TRUE(received().values.empty());
    EXPECT_EQ(bus.undelivered(), 2);
}

TEST_F(BusTest, CallsComeInTheirTurn) {
    std::vector<int> seen;
    BusFunctions client([&seen](const Event& event) { seen.push_back(event.id); });
    Bus bus(client);
    for (int i = 1; i <= 20; ++i) {
        bus.queue_from_library(1000 + i, nullptr, 0);
        bus.call([&seen, i] { seen.push_back(i); });
    }
    bus.wait_idle();
    ASSERT_EQ(seen.size(), 40u);
    for (int i = 1; i <= 20; ++i) {
        EXPECT_EQ(seen[static_cast<std::size_t>(2 * i - 2)], 1000 + i);
        EXPECT_EQ(seen[static_cast<std::size_t>(2 * i - 1)], i);
    }
    EXPECT_EQ(bus.undelivered(), 0);
}

void count_call(int, void*) {
    ++received().first_argument;
}

TEST_F(BusTest, RefusesMessagesOfTheWrongSize) {
    const SOCK_REQUEST_S table[] = {{VCA_MSG_CONFIG, 0, count_call, 0},
                                    {VCA_MSG_INSTALL_HEIGHT, 0, count_call, 0},
                                    {VCA_MSG_HEAT_MAP, 0, count_call, 0},
                                    {VCA_MSG_HEAT_RESET, 0, count_call, 0},
                                    {VCA_MSG_SHOW_DETECTION, 0, count_call, 0}};
    received().first_argument = 0;
    BusFunctions client;
    Bus bus(client);
    bus.add_handlers(table, 5);
    const std::vector<std::uint8_t> bytes(2000);
    for (const std::size_t length : {0u, 4u, 1915u, 1917u, 2000u})
        bus.send_to_library(VCA_MSG_CONFIG, bytes.data(), length);
    bus.send_to_library(VCA_MSG_INSTALL_HEIGHT, bytes.data(), 4);
    bus.send_to_library(VCA_MSG_SHOW_DETECTION, bytes.data(), 1);
    bus.send_to_library(VCA_MSG_SHOW_DETECTION, nullptr, 4);
    for (const std::size_t length : {0u, 23u, 25u})
        bus.send_to_library(VCA_MSG_HEAT_MAP, bytes.data(), length);
    bus.send_to_library(VCA_MSG_HEAT_RESET, bytes.data(), 24);
    bus.wait_idle();
    EXPECT_EQ(received().first_argument, 0);
    EXPECT_EQ(bus.refused(), 12);
    bus.send_to_library(VCA_MSG_CONFIG, bytes.data(), 1916);
    bus.send_to_library(VCA_MSG_INSTALL_HEIGHT, nullptr, 0);
    bus.send_to_library(VCA_MSG_SHOW_DETECTION, bytes.data(), 4);
    bus.send_to_library(VCA_MSG_HEAT_MAP, bytes.data(), 24);
    bus.send_to_library(VCA_MSG_HEAT_RESET, nullptr, 0);
    bus.wait_idle();
    EXPECT_EQ(received().first_argument, 5);
    EXPECT_EQ(bus.refused(), 12);
    EXPECT_EQ(bus.undelivered(), 0);
}

TEST_F(BusTest, TheLinksMessagesHaveTheirSizes) {
    const SOCK_REQUEST_S table[] = {{VCA_MSG_SLAVE_TRACKS, 0, count_call, 0},
                                    {VCA_MSG_FRAME_COUNT, 0, count_call, 0},
                                    {VCA_MSG_ASK_FRAME_COUNT, 0, count_call, 0}};
    received().first_argument = 0;
    BusFunctions client;
    Bus bus(client);
    bus.add_handlers(table, 3);
    const std::vector<std::uint8_t> bytes(7000);
    for (const std::size_t length : {0u, 4u, 6136u, 6143u, 6145u})
        bus.send_to_library(VCA_MSG_SLAVE_TRACKS, bytes.data(), length);
    for (const std::size_t length : {0u, 3u, 5u, 6144u})
        bus.send_to_library(VCA_MSG_FRAME_COUNT, bytes.data(), length);
    for (const std::size_t length : {1u, 4u, 6144u})
        bus.send_to_library(VCA_MSG_ASK_FRAME_COUNT, bytes.data(), length);
    bus.wait_idle();
    EXPECT_EQ(received().first_argument, 0);
    EXPECT_EQ(bus.refused(), 12);
    bus.send_to_library(VCA_MSG_SLAVE_TRACKS, bytes.data(), 6144);
    bus.send_to_library(VCA_MSG_FRAME_COUNT, bytes.data(), 4);
    bus.send_to_library(VCA_MSG_ASK_FRAME_COUNT, nullptr, 0);
    bus.wait_idle();
    EXPECT_EQ(received().first_argument, 3);
    EXPECT_EQ(bus.refused(), 12);
}

TEST_F(BusTest, NoHandlerRunsAfterRemoval) {
    BusFunctions client;
    Bus bus(client);
    bus.add_handlers(kTable, 2);
    received().blocked = true;
    bus.send_to_library(101, nullptr, 0);
    wait_for(received().in_handler);
    std::atomic<bool> removed{false};
    std::thread remover([&] {
        bus.remove_handlers(kTable, 2);
        removed = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(removed);
    received().blocked = false;
    remover.join();
    EXPECT_FALSE(received().in_handler);
    bus.send_to_library(101, nullptr, 0);
    bus.wait_idle();
    EXPECT_EQ(bus.undelivered(), 1);
}

void try_mutex(int, void*) {
    Received& r = received();
    r.other = std::thread([&r] {
        tq_mutex_lock(r.algo_mutex);
        r.mutex_was_free = true;
        tq_mutex_unlock(r.algo_mutex);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    r.first_argument = r.mutex_was_free ? 1 : 0;
}

TEST_F(BusTest, HoldsTheMutexWhileAHandlerRuns) {
    TQ_MUTEX_S mutex{};
    tq_mutex_init(&mutex);
    received().algo_mutex = &mutex;
    BusFunctions client({}, {}, [&mutex] { return &mutex; });
    Bus bus(client);
    const SOCK_REQUEST_S table[] = {{5, 0, try_mutex, 0}};
    bus.add_handlers(table, 1);
    bus.send_to_library(5, nullptr, 0);
    bus.wait_idle();
    EXPECT_EQ(received().first_argument, 0);
    received().other.join();  // it was given back
    EXPECT_TRUE(received().mutex_was_free);
}

TEST_F(BusTest, SendingNeverWaitsForTheMutexOrAListener) {
    TQ_MUTEX_S mutex{};
    tq_mutex_init(&mutex);
    std::atomic<int> seen{0};
    BusFunctions client([&](const Event&) { ++seen; }, {}, [&mutex] { return &mutex; });
    Bus bus(client);
    bus.add_handlers(kTable, 2);
    tq_mutex_lock(&mutex);  // a frame pass in work
    const int value = 3;
    bus.send_to_library(100, &value, sizeof value);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(bus.queue_from_library(6077, &value, 4), 0);
    EXPECT_EQ(seen, 0);  // queued behind the delivery, which waits for the pass
    tq_mutex_unlock(&mutex);
    bus.wait_idle();
    EXPECT_EQ(seen, 100);
}

TEST_F(BusTest, CopiesThePayloadAndStampsTheMessage) {
    std::vector<Event> events;
    BusFunctions client([&events](const Event& event) { events.push_back(event); },
                        [] {
                            return host::FrameStamp{12, 0.8, 345};
                        });
    Bus bus(client);
    int height_mm = 3100;
    bus.queue_from_library(VCA_MSG_INSTALL_HEIGHT, &height_mm, 4);
    height_mm = 0;
    bus.queue_from_library(4711, nullptr, 0);
    bus.wait_idle();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].id, 6077);
    EXPECT_EQ(events[0].frame_number, 12);
    EXPECT_EQ(events[0].feed_count, 345);
    EXPECT_DOUBLE_EQ(events[0].time_s, 0.8);
    EXPECT_EQ(std::get<host::InstallHeight>(events[0].payload).height_mm, 3100);
    EXPECT_EQ(std::get<host::UnknownMessage>(events[1].payload).length, 0u);
}

TEST_F(BusTest, AListenerMayAnswer) {
    Bus* answering = nullptr;
    const int answer = 77;
    BusFunctions client([&](const Event&) { answering->send_to_library(100, &answer, 4); });
    Bus bus(client);
    answering = &bus;
    bus.add_handlers(kTable, 2);
    bus.queue_from_library(1, nullptr, 0);
    bus.wait_idle();
    EXPECT_EQ(received().values, std::vector<int>{77});
}

TEST_F(BusTest, PlatformFunctionsReachTheActiveBus) {
    int value = 5;
    EXPECT_EQ(tq_sock_send_msg(1, 6077, &value, 4), -1);  // no bus yet
    std::atomic<int> seen{0};
    BusFunctions client([&](const Event&) { ++seen; });
    Bus bus(client);
    host::set_bus(&bus);
    EXPECT_EQ(tq_sock_send_msg(1, 6077, &value, 4), 0);
    EXPECT_EQ(tq_sock_send_msg(2, 6077, &value, 4), -1);  // no such channel
    EXPECT_EQ(tq_sock_send_msg(1, 6077, &value, -4), -1);
    EXPECT_EQ(tq_sock_send_msg(1, 6077, nullptr, 4), -1);
    EXPECT_EQ(sock_request_register(kTable, 2), 0);
    EXPECT_EQ(sock_request_register(nullptr, 2), -1);
    bus.send_to_library(100, &value, sizeof value);
    bus.wait_idle();
    EXPECT_EQ(sock_request_unregister(kTable, 2), 0);
    bus.send_to_library(100, &value, sizeof value);
    bus.wait_idle();
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(received().values, std::vector<int>{5});
    host::set_bus(nullptr);
}

}  // namespace
