// Numeric helpers whose rounding and NaN rules callers depend on, and unit-conversion constants.
// All functions are pure, reentrant and never throw.
#pragma once

#include <kestal/KestalExport.h>
#include <vector>

namespace TMath {

KESTAL_API extern double const PI;                  ///< 3.141592653589793
KESTAL_API extern double const CentimetersPerInch;  ///< 2.54
KESTAL_API extern double const InchesPerFoot;       ///< 12
KESTAL_API extern double const FeetPerMile;         ///< 5280
KESTAL_API extern double const CentimetersPerMeter; ///< 100
KESTAL_API extern double const CentimetersPerFoot;  ///< 30.48
KESTAL_API extern double const FeetPerCentimeter;   ///< 0.03280839895013123
KESTAL_API extern double const InchesPerMeter;      ///< 39.37007874015748
KESTAL_API extern double const FeetPerMeter;        ///< 3.2808398950131235
KESTAL_API extern double const MetersPerFoot;       ///< 0.3048
KESTAL_API extern double const MetersPerMile;       ///< 1609.344

/// (v * PI) / 180, multiplied first: DegreesToRadians(180) is exactly PI.
KESTAL_API double DegreesToRadians(double v) noexcept;

/// (v * 180) / PI, multiplied first: RadiansToDegrees(PI) is exactly 180.
KESTAL_API double RadiansToDegrees(double v) noexcept;

/// (a * b + d / 2) / d in 64 bits, truncated toward zero and clamped to the int range; -1 when d is 0.
/// Only a positive product over a positive divisor rounds to nearest: MulDiv(-3, 1, 2) is -1.
KESTAL_API int MulDiv(int a, int b, int d) noexcept;

/// True when a == b (so 0.0 and -0.0 match) or both are NaN.
KESTAL_API bool identical(double a, double b) noexcept;

/// True when the sizes match and each pair of elements is identical.
KESTAL_API bool identical(std::vector<double> const& a, std::vector<double> const& b) noexcept;

/// True when the row counts match and each pair of rows is identical.
KESTAL_API bool identical(std::vector<std::vector<double>> const& a,
                          std::vector<std::vector<double>> const& b) noexcept;

/// `value` rounded to `digits` decimal places (negative: to tens, hundreds, ...), ties away from zero,
/// with one fused multiply-add. NaN stays NaN; a zero result is always +0.0.
KESTAL_API double round2(double value, short digits) noexcept;

} // namespace TMath
