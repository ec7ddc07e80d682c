// A device behind the system calls. No real one is needed, and none was there.
#include "host/media/v4l2_device.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/fake_v4l2.h"

namespace {

using test::FakeDevice;

const auto kNever = [] { return false; };

std::string refusal(FakeDevice& fake) {
    try {
        const host::V4l2Device device("/dev/video9", kNever, fake.calls());
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(fake.open_files, 0);
        EXPECT_EQ(fake.mapped, 0);
        return error.what();
    }
    return "";
}

TEST(V4l2Device, GivesPicturesWithoutTheEndsOfTheirRows) {
    FakeDevice fake;
    {
        host::V4l2Device device("/dev/video9", kNever, fake.calls());
        EXPECT_TRUE(fake.streams);
        EXPECT_EQ(device.width(), 32);
        EXPECT_EQ(device.height(), 16);
        EXPECT_EQ(device.frames_per_second(), 15.0);
        std::vector<std::uint8_t> picture;
        for (std::uint32_t number = 1000; number < 1010; ++number) {
            fake.take(number);
            ASSERT_TRUE(device.next(picture));
            ASSERT_EQ(picture.size(), 32u * 16 * 2);
            EXPECT_EQ(picture.front() | picture[1] << 8, static_cast<int>(number));
            EXPECT_EQ(picture[picture.size() - 2] | picture.back() << 8, static_cast<int>(number));
        }
        EXPECT_EQ(device.missed(), 0);
    }
    EXPECT_FALSE(fake.streams);
    EXPECT_EQ(fake.open_files, 0);
    EXPECT_EQ(fake.mapped, 0);
}

TEST(V4l2Device, CountsWhatNobodyFetchedAndWhatIsDamaged) {
    FakeDevice fake;
    host::V4l2Device device("/dev/video9", kNever, fake.calls());
    std::vector<std::uint8_t> picture;
    fake.take(1);
    fake.take(5);
    ASSERT_TRUE(device.next(picture));
    ASSERT_TRUE(device.next(picture));
    EXPECT_EQ(device.missed(), 3);
    fake.take(6, true);
    fake.take(7);
    ASSERT_TRUE(device.next(picture));
    EXPECT_EQ(picture.front(), 7);
    EXPECT_EQ(device.missed(), 4);
    fake.bytes_used = 100;  // cut
    fake.take(8);
    fake.bytes_used = 0;
    fake.take(9);
    ASSERT_TRUE(device.next(picture));
    EXPECT_EQ(device.missed(), 5);
}

TEST(V4l2Device, SetsDepthWhereTheDeviceHasIt) {
    FakeDevice fake;
    fake.pixels = V4L2_PIX_FMT_YUYV;
    fake.can_be_set_to = V4L2_PIX_FMT_Y16;
    EXPECT_EQ(refusal(fake), "");
}

TEST(V4l2Device, RefusesWhatIsNoDepthCamera) {
    FakeDevice colour;
    colour.pixels = V4L2_PIX_FMT_YUYV;
    EXPECT_EQ(refusal(colour), "it has no depth: neither Z16 nor Y16");
    FakeDevice output;
    output.capabilities = V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING;
    EXPECT_EQ(refusal(output), "it takes no pictures");
    FakeDevice plain;
    plain.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_READWRITE;
    EXPECT_EQ(refusal(plain), "its pictures cannot be mapped");
    EXPECT_THROW(host::V4l2Device("/dev/null", kNever), std::runtime_error);
    EXPECT_THROW(host::V4l2Device("/no/such/device", kNever), std::runtime_error);
}

TEST(V4l2Device, EndsWhenItIsUnpluggedOrStopped) {
    FakeDevice fake;
    bool stop = false;
    host::V4l2Device device(
        "/dev/video9", [&stop] { return stop; }, fake.calls());
    std::vector<std::uint8_t> picture;
    fake.gone = true;
    EXPECT_FALSE(device.next(picture));
    fake.gone = false;
    stop = true;
    EXPECT_FALSE(device.next(picture));
}

}  // namespace
