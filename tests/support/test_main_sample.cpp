// A test program whose cases fail when they follow each other in one process, and one that fails
// anyway; how the common main function deals with them is a test of its own.
#include <gtest/gtest.h>

namespace {

int cases_so_far = 0;

TEST(Fresh, FirstCase) {
    EXPECT_EQ(++cases_so_far, 1);
}

TEST(Fresh, SecondCase) {
    EXPECT_EQ(++cases_so_far, 1);
}

TEST(Wrong, Case) {
    EXPECT_EQ(++cases_so_far, 2);
}

}  // namespace
