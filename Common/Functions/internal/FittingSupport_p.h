#pragma once

// Pieces shared by the robust fits; internal to the library (not installed).

#include <opencv2/core.hpp>

namespace fitting_support {

/// Zeroes weights[0..n) and sets count distinct entries to 1, drawing index
/// rng.next() % n and drawing again when that weight is already set. With the generator
/// in its default state the sample depends on n alone, so fits are repeatable. The drawn
/// indices, in the order drawn, go to drawn[0..count) when it is given.
/// Requires 0 < count <= n.
void drawSample(cv::RNG& rng, double* weights, int n, int count, int* drawn = nullptr);

/// The element at index n/2 of values[0..n) in ascending order (the upper median for
/// even n). Reorders values. Requires n > 0 and no NaN.
double upperMedian(double* values, int n);

/// Divides the weights by their sum when its magnitude exceeds FLT_EPSILON; otherwise
/// (every point rejected) sets them all to 1 so the next fit still has data.
void normaliseWeights(double* weights, int n);

} // namespace fitting_support
