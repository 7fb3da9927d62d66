// Numeric helpers and unit constants.
#include <cmath>
#include <cstdint>
#include <kestal/TMath.h>

namespace {

template <typename T>
struct power10;

// Exact powers for the usual digit counts; exp10 covers the rest.
template <>
struct power10<double> {
    static constexpr double values[16] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                          1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
};

} // namespace

namespace TMath {

double const PI = 3.141592653589793;
double const CentimetersPerInch = 2.54;
double const InchesPerFoot = 12;
double const FeetPerMile = 5280;
double const CentimetersPerMeter = 100;
double const CentimetersPerFoot = 30.48;
double const FeetPerCentimeter = 0.03280839895013123;
double const InchesPerMeter = 39.37007874015748;
double const FeetPerMeter = 3.2808398950131235;
double const MetersPerFoot = 0.3048;
double const MetersPerMile = 1609.344;

// Multiply first, then divide: the order fixes the last bits and callers compare exactly.
double DegreesToRadians(double v) noexcept {
    return (v * PI) / 180.0;
}

double RadiansToDegrees(double v) noexcept {
    return (v * 180.0) / PI;
}

int MulDiv(int a, int b, int d) noexcept {
    if (d == 0) return -1;
    // The half divisor is added whatever the signs; the asymmetry for negative values is kept on purpose.
    std::int64_t const q = (static_cast<std::int64_t>(a) * b + d / 2) / d;
    if (q > INT32_MAX) return INT32_MAX;
    if (q < INT32_MIN) return INT32_MIN;
    return static_cast<int>(q);
}

bool identical(double a, double b) noexcept {
    return a == b || (std::isnan(a) && std::isnan(b));
}

bool identical(std::vector<double> const& a, std::vector<double> const& b) noexcept {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!identical(a[i], b[i])) return false;
    }
    return true;
}

bool identical(std::vector<std::vector<double>> const& a,
               std::vector<std::vector<double>> const& b) noexcept {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!identical(a[i], b[i])) return false;
    }
    return true;
}

double round2(double value, short digits) noexcept {
    double const p = (digits >= 0 && digits <= 15) ? power10<double>::values[digits] : ::exp10(digits);
    // NaN is not negative, so it takes the floor branch and stays NaN.
    double const r = value < 0 ? std::ceil(std::fma(value, p, -0.5)) : std::floor(std::fma(value, p, 0.5));
    double const q = r / p;
    return q == 0.0 ? 0.0 : q;
}

} // namespace TMath
