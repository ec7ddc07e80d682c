// Quantiles of few values and of many.
#include "host/score/samples.h"

#include <gtest/gtest.h>

namespace {

TEST(Quantile, Interpolates) {
    EXPECT_DOUBLE_EQ(host::quantile({}, 0.5), 0.0);
    EXPECT_DOUBLE_EQ(host::quantile({3.0}, 0.95), 3.0);
    EXPECT_DOUBLE_EQ(host::quantile({4.0, 1.0, 2.0}, 0.5), 2.0);
    EXPECT_DOUBLE_EQ(host::quantile({1.0, 2.0}, 0.25), 1.25);
    EXPECT_DOUBLE_EQ(host::quantile({1.0, 2.0}, 2.0), 2.0);
}

}  // namespace
