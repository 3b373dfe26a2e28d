// Conversions at and beyond the bounds of 32 bits.
#include "numbers.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(Numbers, TruncationSaturatesAndTakesNoNumberForZero) {
    struct {
        double value;
        std::int32_t result;
    } const cases[] = {
        {1.9, 1},
        {-1.9, -1},
        {2147483646.9, 2147483646},
        {2147483647.0, INT32_MAX},
        {1e300, INT32_MAX},
        {-2147483647.9, -2147483647},
        {-2147483648.0, INT32_MIN},
        {-1e300, INT32_MIN},
        {std::numeric_limits<double>::infinity(), INT32_MAX},
        {-std::numeric_limits<double>::infinity(), INT32_MIN},
        {std::numeric_limits<double>::quiet_NaN(), 0},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(truncateToInt32(each.value), each.result) << each.value;
    }
}

TEST(Numbers, WideIntegersAreCutOrSaturated) {
    struct {
        std::int64_t value;
        std::int32_t cut, saturated;
    } const cases[] = {
        {5, 5, 5},
        {-5, -5, -5},
        {0x1'0000'0007, 7, INT32_MAX},
        {0x8000'0000LL, INT32_MIN, INT32_MAX},
        {-0x8000'0001LL, INT32_MAX, INT32_MIN},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(cutToInt32(each.value), each.cut) << each.value;
        EXPECT_EQ(saturateToInt32(each.value), each.saturated) << each.value;
    }
}

}  // namespace
