// TMath: rounding, clamping and NaN rules, and the exact results that callers compare against.
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <kestal/TMath.h>
#include <limits>
#include <tuple>
#include <vector>

namespace {
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
}

TEST(TMath, AngleConversionsAreExactAtPi) {
    EXPECT_EQ(TMath::DegreesToRadians(180.0), TMath::PI);
    EXPECT_EQ(TMath::RadiansToDegrees(TMath::PI), 180.0);
    // Multiplying first: the product overflows before the division could bring it back.
    EXPECT_TRUE(std::isinf(TMath::RadiansToDegrees(1e307)));
}

// Half up only for positive quotients, else (a*b + c/2) truncated; the product is taken in 64
// bits, then clamped (2^31 does not fit); a zero divisor gives -1.
TEST(TMath, MulDivRoundsHalfUpOnlyForPositiveQuotients) {
    // clang-format off
    const int rows[][4] = {{7, 3, 0, -1}, {3, 1, 2, 2}, {1, 1, 3, 0}, {2, 1, 3, 1}, {-3, 1, 2, -1},
                           {3, 1, -2, -1}, {-3, 1, -2, 2}, {INT_MAX, INT_MAX, 1, INT_MAX},
                           {INT_MIN, INT_MAX, 1, INT_MIN}, {INT_MIN, INT_MIN, -1, INT_MIN},
                           {INT_MAX, INT_MAX, INT_MAX, INT_MAX}, {100000, 100000, 7, 1428571429},
                           {INT_MIN, 1, -1, INT_MAX}};
    // clang-format on
    for (auto const& r : rows)
        EXPECT_EQ(TMath::MulDiv(r[0], r[1], r[2]), r[3]) << r[0] << " " << r[1] << " " << r[2];
}

TEST(TMath, IdenticalTreatsNaNAsEqualAndSignedZerosAsEqual) {
    EXPECT_TRUE(TMath::identical(0.0, -0.0) && TMath::identical(kNaN, kNaN));
    EXPECT_FALSE(TMath::identical(kNaN, 1.0) || TMath::identical(1.0, kNaN));
    EXPECT_FALSE(TMath::identical(1.0, std::nextafter(1.0, 2.0)));
    using V = std::vector<double>;
    using M = std::vector<V>;
    EXPECT_TRUE(TMath::identical(V{1.0, kNaN, -0.0}, V{1.0, kNaN, 0.0}));
    EXPECT_FALSE(TMath::identical(V{1.0}, V{1.0, 1.0}) || TMath::identical(V{1.0, 2.0}, V{1.0, 3.0}));
    EXPECT_TRUE(TMath::identical(M{}, M{}) && TMath::identical(M{{}, {kNaN}}, M{{}, {kNaN}}));
    EXPECT_FALSE(TMath::identical(M{{1.0}}, M{{1.0}, {}}));
    EXPECT_FALSE(TMath::identical(M{{1.0}, {2.0}}, M{{1.0}, {2.0, 3.0}}));
}

// 1.005 is just below the tie in binary; digits outside the table (below 0, above 15) use exp10.
TEST(TMath, Round2TiesGoAwayFromZeroAndNoNegativeZeroComesOut) {
    // clang-format off
    const std::tuple<double, int, double> rows[] = {
        {2.5, 0, 3.0}, {-2.5, 0, -3.0}, {2.4999, 0, 2.0}, {1.005, 2, 1.0}, {-1.25, 1, -1.3}, {0.125, 2, 0.13},
        {1234.0, -2, 1200.0}, {1250.0, -2, 1300.0}, {-1250.0, -2, -1300.0}, {0.5, 15, 0.5}, {3.0, 16, 3.0},
        {-0.4, 0, 0.0}, {-0.0, 0, 0.0}, {-1e-9, 0, 0.0}};
    // clang-format on
    for (auto const& [value, digits, rounded] : rows) {
        const double r = TMath::round2(value, digits);
        EXPECT_TRUE(r == rounded && std::signbit(r) == std::signbit(rounded))
            << value << " " << digits << " gives " << r;
    }
    const double x = 0.1234567890123456789;
    EXPECT_EQ(TMath::round2(x, 16), std::floor(std::fma(x, 1e16, 0.5)) / 1e16);
    EXPECT_TRUE(std::isnan(TMath::round2(kNaN, 2)));
}
