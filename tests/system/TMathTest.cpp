// TMath: rounding, clamping and NaN rules, and the exact results that callers compare against.
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <kestal/TMath.h>
#include <limits>
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

TEST(TMath, MulDivRoundsHalfUpOnlyForPositiveQuotients) {
    EXPECT_EQ(TMath::MulDiv(7, 3, 0), -1);
    EXPECT_EQ(TMath::MulDiv(3, 1, 2), 2);
    EXPECT_EQ(TMath::MulDiv(1, 1, 3), 0);
    EXPECT_EQ(TMath::MulDiv(2, 1, 3), 1);
    EXPECT_EQ(TMath::MulDiv(-3, 1, 2), -1); // (-3 + 1) / 2, truncated
    EXPECT_EQ(TMath::MulDiv(3, 1, -2), -1); // (3 + -1) / -2
    EXPECT_EQ(TMath::MulDiv(-3, 1, -2), 2); // (-3 + -1) / -2
    // The product is taken in 64 bits, then clamped.
    EXPECT_EQ(TMath::MulDiv(INT_MAX, INT_MAX, 1), INT_MAX);
    EXPECT_EQ(TMath::MulDiv(INT_MIN, INT_MAX, 1), INT_MIN);
    EXPECT_EQ(TMath::MulDiv(INT_MIN, INT_MIN, -1), INT_MIN);
    EXPECT_EQ(TMath::MulDiv(INT_MAX, INT_MAX, INT_MAX), INT_MAX);
    EXPECT_EQ(TMath::MulDiv(100000, 100000, 7), 1428571429);
    EXPECT_EQ(TMath::MulDiv(INT_MIN, 1, -1), INT_MAX); // 2^31 does not fit
}

TEST(TMath, IdenticalTreatsNaNAsEqualAndSignedZerosAsEqual) {
    EXPECT_TRUE(TMath::identical(0.0, -0.0));
    EXPECT_TRUE(TMath::identical(kNaN, kNaN));
    EXPECT_FALSE(TMath::identical(kNaN, 1.0) || TMath::identical(1.0, kNaN));
    EXPECT_FALSE(TMath::identical(1.0, std::nextafter(1.0, 2.0)));

    using V = std::vector<double>;
    EXPECT_TRUE(TMath::identical(V{1.0, kNaN, -0.0}, V{1.0, kNaN, 0.0}));
    EXPECT_FALSE(TMath::identical(V{1.0}, V{1.0, 1.0}));
    EXPECT_FALSE(TMath::identical(V{1.0, 2.0}, V{1.0, 3.0}));

    using M = std::vector<V>;
    EXPECT_TRUE(TMath::identical(M{}, M{}));
    EXPECT_TRUE(TMath::identical(M{{}, {kNaN}}, M{{}, {kNaN}}));
    EXPECT_FALSE(TMath::identical(M{{1.0}}, M{{1.0}, {}}));
    EXPECT_FALSE(TMath::identical(M{{1.0}, {2.0}}, M{{1.0}, {2.0, 3.0}}));
}

TEST(TMath, Round2TiesGoAwayFromZeroAndNoNegativeZeroComesOut) {
    EXPECT_EQ(TMath::round2(2.5, 0), 3.0);
    EXPECT_EQ(TMath::round2(-2.5, 0), -3.0);
    EXPECT_EQ(TMath::round2(2.4999, 0), 2.0);
    EXPECT_EQ(TMath::round2(1.005, 2), 1.0); // 1.005 is just below the tie in binary
    EXPECT_EQ(TMath::round2(-1.25, 1), -1.3);
    EXPECT_EQ(TMath::round2(0.125, 2), 0.13);

    for (double v : {-0.4, -0.0, 0.0, -1e-9}) {
        double const r = TMath::round2(v, 0);
        EXPECT_TRUE(r == 0.0 && !std::signbit(r)) << v;
    }
    EXPECT_TRUE(std::isnan(TMath::round2(kNaN, 2)));
    // Digits outside the table use exp10.
    EXPECT_EQ(TMath::round2(1234.0, -2), 1200.0);
    EXPECT_EQ(TMath::round2(1250.0, -2), 1300.0);
    EXPECT_EQ(TMath::round2(-1250.0, -2), -1300.0);
    EXPECT_EQ(TMath::round2(0.5, 15), 0.5);
    EXPECT_EQ(TMath::round2(0.1234567890123456789, 16),
              std::floor(std::fma(0.1234567890123456789, 1e16, 0.5)) / 1e16);
    EXPECT_EQ(TMath::round2(3.0, 16), 3.0);
}
