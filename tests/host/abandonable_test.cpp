// Work that is waited for, and work that is left to itself.
#include "host/base/abandonable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

const auto kNever = [] { return false; };

TEST(Abandonable, GivesTheResultOrThrowsTheError) {
    EXPECT_EQ(host::do_abandonable<std::string>([] { return std::string("found"); }, kNever),
              "found");
    const auto fails = []() -> int { throw std::runtime_error("no answer"); };
    EXPECT_THROW(host::do_abandonable<int>(fails, kNever), std::runtime_error);
}

TEST(Abandonable, LeavesWorkThatDoesNotEnd) {
    const auto release = std::make_shared<std::promise<void>>();
    const auto ended = std::make_shared<std::promise<void>>();
    std::atomic<bool> stop{false};
    std::thread stopper([&stop] { stop = true; });
    const auto result = host::do_abandonable<int>(
        [released = release->get_future().share(), ended] {
            released.wait();
            ended->set_value();
            return 1;
        },
        [&stop] { return stop.load(); });
    EXPECT_FALSE(result);
    stopper.join();
    release->set_value();  // only now could it end
    ended->get_future().wait();
}

}  // namespace
