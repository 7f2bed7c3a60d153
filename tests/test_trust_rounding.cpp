// The records' rounding of values to a step takes a direct division where the decimal
// text round trip it replaces would read back the same double; this pins the two together.

#include <Trust.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <sstream>

namespace {

// The rule as first written: print the rounded value with the step's decimals, read it back.
double textRoundTrip(double v, double step)
{
    const double r = std::round(v / step) * step;
    std::ostringstream text;
    text.precision(static_cast<int>(std::max(0.0, -std::floor(std::log10(step)))));
    text << std::fixed << r;
    return std::stod(text.str());
}

bool sameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

class Rounding : public ::testing::TestWithParam<double> {};

TEST_P(Rounding, MatchesTheDecimalTextRoundTrip)
{
    const double step = GetParam();
    std::mt19937_64 random(42);
    std::uniform_real_distribution<double> exponent(-9.0, 17.0), mantissa(1.0, 10.0), fraction(0.0, 1.0);
    for (int i = 0; i < 50000; ++i) {
        double v = 0;
        switch (i % 3) {
        case 0: v = mantissa(random) * std::pow(10.0, exponent(random)); break;
        // Near the half-way points between two steps, where the rounding direction flips.
        case 1: v = (std::floor(fraction(random) * 1e7) + 0.5) * step + (fraction(random) - 0.5) * 1e-12 * step; break;
        default: v = std::round(fraction(random) * 1e9) * step; break;
        }
        if (i % 2)
            v = -v;
        const double fast = frontend::rounded(v, step).get<double>();
        ASSERT_TRUE(sameBits(fast, textRoundTrip(v, step))) << "v " << v << " step " << step;
    }
}

INSTANTIATE_TEST_SUITE_P(Steps, Rounding, ::testing::Values(1e-4, 1e-6, 1e-2, 1.0, 0.5, 25.0, 1e3));

} // namespace
