// How many wrong passwords are put up with.
#include "host/web/login_limit.h"

#include <gtest/gtest.h>

namespace {

using host::Blob;
using host::LoginLimit;

constexpr std::int64_t kNow_us = 1'000'000'000'000;
constexpr std::int64_t kSecond_us = 1'000'000;
constexpr const char* kHere = "192.0.2.1";
constexpr const char* kThere = "192.0.2.2";

class LoginLimitTest : public ::testing::Test {
  protected:
    void fail(int times, const std::string& name, const std::string& address,
              std::int64_t now_us = kNow_us) {
        for (int i = 0; i < times; ++i)
            limit_.failed(name, address, now_us);
    }
    LoginLimit limit_{Blob(32, 7)};
};

TEST_F(LoginLimitTest, AFewMistakesAreForgiven) {
    fail(LoginLimit::kMostOfName - 1, "anna", kHere);
    EXPECT_EQ(limit_.wait_s("anna", kHere, kNow_us), 0);
    fail(1, "anna", kHere);
    EXPECT_EQ(limit_.wait_s("anna", kHere, kNow_us), 30);
    EXPECT_EQ(limit_.wait_s("anna", kHere, kNow_us + 29 * kSecond_us), 1);
    EXPECT_EQ(limit_.wait_s("anna", kHere, kNow_us + 30 * kSecond_us), 0);
}

TEST_F(LoginLimitTest, OneAttemptIsLeftForEachHalfMinute) {
    fail(LoginLimit::kMostOfName, "anna", kHere);
    const std::int64_t later_us = kNow_us + 30 * kSecond_us;
    fail(1, "anna", kHere, later_us);
    EXPECT_EQ(limit_.wait_s("anna", kHere, later_us), 30);
}

TEST_F(LoginLimitTest, ANameIsGuardedFromAllAddresses) {
    for (int i = 0; i < LoginLimit::kMostOfName; ++i)
        fail(1, "anna", "198.51.100." + std::to_string(i));
    EXPECT_GT(limit_.wait_s("anna", kThere, kNow_us), 0);
    EXPECT_EQ(limit_.wait_s("tom", kThere, kNow_us), 0);
}

TEST_F(LoginLimitTest, AnAddressIsGuardedForAllNames) {
    for (int i = 0; i < LoginLimit::kMostOfAddress; ++i)
        fail(1, "user" + std::to_string(i), kHere);
    EXPECT_GT(limit_.wait_s("tom", kHere, kNow_us), 0);
    EXPECT_EQ(limit_.wait_s("tom", kThere, kNow_us), 0);
}

TEST_F(LoginLimitTest, AddressesOfOneNetworkAreOne) {
    fail(LoginLimit::kMostOfAddress, "anna", "2001:db8:1:2:3::4");
    EXPECT_GT(limit_.wait_s("tom", "2001:db8:1:2:9::9", kNow_us), 0);
    EXPECT_EQ(limit_.wait_s("tom", "2001:db8:1:3::4", kNow_us), 0);
}

TEST_F(LoginLimitTest, TheRightPasswordForgivesTheNameAlone) {
    fail(LoginLimit::kMostOfAddress, "anna", kHere);
    limit_.succeeded("anna");
    EXPECT_EQ(limit_.wait_s("anna", kThere, kNow_us), 0);
    EXPECT_GT(limit_.wait_s("tom", kHere, kNow_us), 0);
}

TEST_F(LoginLimitTest, AClockThatIsSetBackLocksNobodyOut) {
    fail(LoginLimit::kMostOfName, "anna", kHere);
    const std::int64_t earlier_us = kNow_us - 3'600 * kSecond_us;
    EXPECT_EQ(limit_.wait_s("anna", kHere, earlier_us), 30);
    EXPECT_EQ(limit_.wait_s("anna", kHere, earlier_us + 30 * kSecond_us), 0);
}

TEST_F(LoginLimitTest, WhatHasChangedIsKeptAndTakenBack) {
    fail(LoginLimit::kMostOfName, "anna", kHere);
    const auto changed = limit_.changed();
    EXPECT_EQ(changed.size(), 2u) << "one for the name, one for the address";
    limit_.kept();
    EXPECT_TRUE(limit_.changed().empty());
    LoginLimit next{Blob(32, 7)};
    for (const auto& bucket : changed)
        next.restore(bucket);
    EXPECT_EQ(next.wait_s("anna", kThere, kNow_us), 30);
}

TEST_F(LoginLimitTest, AnythingCanBeTriedWithoutGrowingFurther) {
    constexpr int kTried = 400'000;
    for (int i = 0; i < kTried; ++i)
        limit_.failed(std::to_string(i), kHere, kNow_us);
    EXPECT_LE(limit_.changed().size(), 65'537u);
}

}  // namespace
