#include "FittingSupport_p.h"

#include "Contract_p.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace fitting_support {

namespace {

bool containsNaN(const double* values, int n)
{
    return std::any_of(values, values + n, [](double v) { return std::isnan(v); });
}

} // namespace

void drawSample(cv::RNG& rng, double* weights, int n, int count, int* drawn)
{
    // More distinct draws than points would never end.
    FUNCTIONS_ASSERT(count > 0 && count <= n);
    std::fill(weights, weights + n, 0.0);
    for (int k = 0; k < count;) {
        const unsigned index = rng.next() % static_cast<unsigned>(n);
        if (weights[index] >= FLT_EPSILON)
            continue;
        weights[index] = 1.0;
        if (drawn)
            drawn[k] = static_cast<int>(index);
        ++k;
    }
}

double upperMedian(double* values, int n)
{
    // NaN breaks the ordering nth_element relies on, which may then read past the end.
    FUNCTIONS_ASSERT(n > 0 && !containsNaN(values, n));
    // Selection gives the same element a full sort would put at n/2, in linear time.
    double* middle = values + n / 2;
    std::nth_element(values, middle, values + n);
    return *middle;
}

void normaliseWeights(double* weights, int n)
{
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += weights[i];
    if (std::abs(sum) > FLT_EPSILON) {
        for (int i = 0; i < n; ++i)
            weights[i] /= sum;
    } else {
        std::fill(weights, weights + n, 1.0);
    }
}

} // namespace fitting_support
