// The debug switch table and how it follows its flag files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "tests/support/flag_file.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"

namespace {

using test::FlagFile;
using testing::ElementsAre;
using testing::IsEmpty;

const char* const kPaths[25] = {
    "/tmp/vca",        "/tmp/vca-tm",    "/tmp/img-gray",   "/tmp/dev-cscd", "/tmp/sv-dat",
    "/tmp/rd-dat",     "/tmp/rd-oni",    "/tmp/obj-nn",     "/tmp/obj-det",  "/tmp/obj-trk",
    "/tmp/obj-info",   "/tmp/obj-attr",  "/tmp/obj-attr-t", "/tmp/obj-show", "/tmp/obj-height",
    "/tmp/evt-msk",    "/tmp/evt-lin",   "/tmp/evt-ling",   "/tmp/evt-rgn",  "/tmp/evt-hmp",
    "/tmp/tilt-angle", "/tmp/depth-map", "/tmp/save-hd",    "/tmp/net-info", "/tmp/save-one"};

LOG_DBG_S* table() {
    return reinterpret_cast<LOG_DBG_S*>(vca_get_logs_dbg());
}

LOG_DBG_S entry(const char* path, uint8_t on = 0) {
    LOG_DBG_S e{};
    e.on = on;
    std::snprintf(e.path, sizeof(e.path), "%s", path);
    return e;
}

TEST(DebugSwitches, TableAtLoad) {
    const uint8_t* bytes = vca_get_logs_dbg();
    for (int i = 0; i < 25; ++i) {
        EXPECT_EQ(bytes[17 * i], 0) << i;
        EXPECT_STREQ(reinterpret_cast<const char*>(bytes + 17 * i + 1), kPaths[i]) << i;
    }
}

TEST(DebugSwitches, FileSwitchesOnAndOffOnce) {
    auto file = std::make_unique<FlagFile>("/tmp/vt-sw-a");
    LOG_DBG_S switches[1] = {entry("/tmp/vt-sw-a")};
    test::StdoutCapture out;
    for (int i = 0; i < 6; ++i)
        avs_log_debug_update_status(switches, 1);
    EXPECT_EQ(switches[0].on, 1);
    EXPECT_THAT(test::log_bodies(out.text()), ElementsAre("open /tmp/vt-sw-a!"));
    file.reset();
    for (int i = 0; i < 6; ++i)
        avs_log_debug_update_status(switches, 1);
    EXPECT_EQ(switches[0].on, 0);
    EXPECT_THAT(test::log_bodies(out.text()),
                ElementsAre("open /tmp/vt-sw-a!", "close /tmp/vt-sw-a!"));
    for (const auto& line : test::parse_log(out.text())) {
        EXPECT_EQ(line.function, "avs_log_debug_check");
        EXPECT_GT(line.line, 0);
    }
    EXPECT_EQ(test::without_log(out.text()), "");
}

TEST(DebugSwitches, LineFormatToTheByte) {
    FlagFile file("/tmp/vt-sw-b");
    LOG_DBG_S switches[1] = {entry("/tmp/vt-sw-b")};
    test::StdoutCapture out;
    avs_log_debug_update_status(switches, 1);
    EXPECT_THAT(out.text(), testing::MatchesRegex("\t\x1b\\[1;32mopen /tmp/vt-sw-b!\x1b\\[0;39m "
                                                  "\\[[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9] "
                                                  "avs_log_debug_check:[1-9][0-9]*\\]\n"));
}

TEST(DebugSwitches, FilesAreLookedAtOnEverySecondCall) {
    LOG_DBG_S switches[1] = {entry("/tmp/vt-sw-c")};
    test::StdoutCapture out;
    avs_log_debug_update_status(switches, 1);  // counter 0, even: looks, nothing there
    FlagFile file("/tmp/vt-sw-c");
    avs_log_debug_update_status(switches, 1);  // 1
    EXPECT_EQ(switches[0].on, 0);
    avs_log_debug_update_status(switches, 1);  // 2
    EXPECT_EQ(switches[0].on, 1);
}

TEST(DebugSwitches, CallsWithoutEntriesCountToo) {
    FlagFile file("/tmp/vt-sw-d");
    LOG_DBG_S switches[1] = {entry("/tmp/vt-sw-d")};
    test::StdoutCapture out;
    avs_log_debug_update_status(switches, 0);  // 0, nothing to look at
    avs_log_debug_update_status(switches, 1);  // 1, odd
    EXPECT_EQ(switches[0].on, 0);
    avs_log_debug_update_status(switches, 1);  // 2
    EXPECT_EQ(switches[0].on, 1);
}

TEST(DebugSwitches, OnlyTheFirstCountEntriesInOrder) {
    FlagFile a("/tmp/vt-sw-e");
    FlagFile b("/tmp/vt-sw-f");
    FlagFile c("/tmp/vt-sw-g");
    LOG_DBG_S switches[4] = {entry("/tmp/vt-sw-f"), entry("/tmp/vt-no-such", 1),
                             entry("/tmp/vt-sw-e"), entry("/tmp/vt-sw-g")};
    test::StdoutCapture out;
    avs_log_debug_update_status(switches, 3);
    EXPECT_THAT(test::log_bodies(out.text()),
                ElementsAre("open /tmp/vt-sw-f!", "close /tmp/vt-no-such!", "open /tmp/vt-sw-e!"));
    EXPECT_EQ(switches[3].on, 0);
}

TEST(DebugSwitches, SwitchThatAgreesWithItsFileIsNotAnnounced) {
    FlagFile file("/tmp/vt-sw-h");
    LOG_DBG_S switches[2] = {entry("/tmp/vt-sw-h", 1), entry("/tmp/vt-no-such", 0)};
    test::StdoutCapture out;
    avs_log_debug_update_status(switches, 2);
    EXPECT_EQ(out.text(), "");
}

TEST(DebugSwitches, WithoutATableNothingIsLookedAt) {
    test::StdoutCapture out;
    avs_log_debug_update_status(nullptr, 3);
    avs_log_debug_update_status(nullptr, 3);
    EXPECT_EQ(out.text(), "");
}

TEST(DebugSwitches, DirectoryCountsAsAFile) {
    // The test is existence only.
    LOG_DBG_S switches[1] = {entry("/tmp")};
    test::StdoutCapture out;
    avs_log_debug_update_status(switches, 1);
    EXPECT_EQ(switches[0].on, 1);
}

TEST(DebugSwitches, EveryRealPathSwitchesItsOwnEntry) {
    for (int i = 0; i < 25; ++i)
        std::remove(kPaths[i]);
    test::StdoutCapture out;
    for (int i = 0; i < 25; ++i) {
        {
            FlagFile file(kPaths[i]);
            avs_log_debug_update_status(table(), 25);
            avs_log_debug_update_status(table(), 25);
            for (int k = 0; k < 25; ++k)
                EXPECT_EQ(table()[k].on, k == i) << kPaths[i] << " " << k;
        }
        avs_log_debug_update_status(table(), 25);
        avs_log_debug_update_status(table(), 25);
        EXPECT_EQ(table()[i].on, 0) << kPaths[i];
    }
    const auto bodies = test::log_bodies(out.text());
    ASSERT_EQ(bodies.size(), 50u);
    for (size_t i = 0; i < 25; ++i) {
        EXPECT_EQ(bodies[2 * i], std::string("open ") + kPaths[i] + "!");
        EXPECT_EQ(bodies[2 * i + 1], std::string("close ") + kPaths[i] + "!");
    }
}

TEST(DebugSwitches, RunningTaskFollowsTheFileWithinTwoPasses) {
    std::remove("/tmp/obj-trk");
    test::StdoutCapture out;
    test::start_library();
    ASSERT_TRUE(test::host().wait_idle_reads(2));
    EXPECT_EQ(test::count_log(out.text(), "open /tmp/obj-trk!"), 0);
    {
        FlagFile file("/tmp/obj-trk");
        // The read of a pass that began before the file existed, then two whole passes.
        ASSERT_TRUE(test::host().wait_idle_reads(4));
        EXPECT_EQ(test::count_log(out.text(), "open /tmp/obj-trk!"), 1);
        ASSERT_TRUE(test::host().wait_idle_reads(6));
        EXPECT_EQ(test::count_log(out.text(), "open /tmp/obj-trk!"), 1);
    }
    ASSERT_TRUE(test::host().wait_idle_reads(4));
    EXPECT_EQ(test::count_log(out.text(), "close /tmp/obj-trk!"), 1);
    test::stop_library();
}

}  // namespace
