// A broker that is away for an hour in which a camera counts.
#include <chrono>
#include <fstream>

#include "tests/scenario/publish_fixture.h"

namespace {

using test::eventually;
using test::Publish;

// kB that a process has had in memory at most.
long most_memory_kb(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        long value = 0;
        if (word == "VmHWM:" && status >> value) return value;
    }
    return -1;
}

TEST_F(Publish, ABrokerThatIsAwayForAnHourMissesNothing) {
    camera_ = "fast = true\n";
    place();
    start();
    // Seconds of the scene in which something was counted.
    const auto counted_s = [this] {
        return number("door", "SELECT (max(time_us) - min(time_us)) / 1000000 FROM events");
    };
    while (counted_s() < 3600) {
        const std::int64_t before_s = counted_s();
        ASSERT_TRUE(eventually([&] { return counted_s() > before_s; })) << err();
    }
    const std::int64_t waiting = counted();
    EXPECT_GT(waiting, 1000);
    open_broker();
    admit();
    expect_all(waiting);
    constexpr long kMost_kb = 200'000;
    EXPECT_LT(most_memory_kb(service_), kMost_kb);
    EXPECT_GT(most_memory_kb(service_), 0);
    EXPECT_EQ(stop(), 0);
}

}  // namespace
