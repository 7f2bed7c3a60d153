#include "FittingSupport_p.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace fitting_support {

void drawSample(cv::RNG& rng, double* weights, int n, int count, int* drawn)
{
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
