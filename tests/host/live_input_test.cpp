// Names of live cameras.
#include "host/frames/live_input.h"

#include <gtest/gtest.h>

namespace {

TEST(LiveName, IsWhatTheStreamCallsItsCamera) {
    EXPECT_EQ(host::live_name("/run/cameras/door.fifo", "entrance"), "entrance");
    EXPECT_EQ(host::live_name("-", "Halle 3/links"), "Halle-3-links");
}

TEST(LiveName, IsElseTheEndOfTheAddress) {
    EXPECT_EQ(host::live_name("/run/cameras/door.fifo", ""), "door");
    EXPECT_EQ(host::live_name("tcp://camera-7:7000", ""), "camera-7-7000");
    EXPECT_EQ(host::live_name("tcp://[::1]:7000?listen", ""), "1--7000");
    EXPECT_EQ(host::live_name("-", ""), "standard-input");
    EXPECT_EQ(host::live_name("/dev/video2", ""), "video2");
}

TEST(LiveName, LeadsNowhereElse) {
    EXPECT_EQ(host::live_name("-", "../../etc"), "etc");
    EXPECT_EQ(host::live_name("-", "/"), "live");
    EXPECT_EQ(host::live_name("-", ".."), "live");
    EXPECT_EQ(host::live_name("-", std::string(500, 'x')).size(), 64u);
}

}  // namespace
