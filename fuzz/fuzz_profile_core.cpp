// The caliper core on random profiles: kernels, smoothing, derivative, edge extraction,
// extreme searches, and the segment caliper on random strips.

#include "FuzzSupport.h"

#include <ProfileCore.h>

using namespace fuzz_support;

namespace {

constexpr int kMaxProfile = 300;
constexpr int kMaxKernelHalf = 100;

// Finite samples, or with wild on, samples that may be NaN, infinite or huge.
std::vector<float> profile(FuzzedDataProvider& in, bool wild)
{
    const int n = in.ConsumeIntegralInRange<int>(0, kMaxProfile);
    std::vector<float> values(n);
    for (float& v : values)
        v = wild ? wildFloat(in, 300.0f) : static_cast<float>(in.ConsumeIntegral<uint8_t>());
    return values;
}

bool allFinite(const std::vector<float>& values)
{
    return std::all_of(values.begin(), values.end(), [](float v) { return std::isfinite(v); });
}

void checkKernels(FuzzedDataProvider& in)
{
    const int k = wildInt(in, -3, kMaxKernelHalf + 3);
    const float* kernel = getOneDimGaussianKernel(k);
    FUZZ_CHECK((kernel == nullptr) == (k < 0 || k > kMaxKernelHalf));
    if (!kernel)
        return;
    double sum = 0;
    for (int j = 0; j <= 2 * k; ++j) {
        FUZZ_CHECK(kernel[j] >= 0 && kernel[j] == kernel[2 * k - j]);
        sum += kernel[j];
    }
    FUZZ_CHECK(std::abs(sum - 1) < 1e-5);

    const int cut = wildInt(in, -2, k + 1);
    std::vector<float> dst(2 * kMaxKernelHalf + 1, -7.0f);
    cutOneDimGaussianKernel(kernel, k, dst.data(), cut);
    if (cut < 0 || cut >= k) {
        FUZZ_CHECK(std::all_of(dst.begin(), dst.end(), [](float v) { return v == -7.0f; }));
        return;
    }
    double cutSum = 0;
    for (int j = 0; j <= 2 * cut; ++j)
        cutSum += dst[j];
    FUZZ_CHECK(std::abs(cutSum - 1) < 1e-5);
    FUZZ_CHECK(dst[2 * cut + 1] == -7.0f);
}

// Smoothing is a weighted mean: finite samples stay within their own range.
void checkSmoothing(FuzzedDataProvider& in, std::vector<float> values)
{
    const int half = in.ConsumeIntegralInRange<int>(0, kMaxKernelHalf);
    const bool circular = in.ConsumeBool();
    const std::vector<float> before = values;
    oneDimArrayGaussianFilter(values.data(), static_cast<int>(values.size()), getOneDimGaussianKernel(half), half,
                              circular);
    if (values.size() < static_cast<size_t>(half) + 1) {
        FUZZ_CHECK(sameBits(values, before));
        return;
    }
    if (!allFinite(before))
        return;
    const auto range = std::minmax_element(before.begin(), before.end());
    const float slack = 1e-4f * std::max(std::abs(*range.first), std::abs(*range.second)) + 1e-4f;
    for (float v : values)
        FUZZ_CHECK(v >= *range.first - slack && v <= *range.second + slack);
}

void checkDerivativeAndEdges(FuzzedDataProvider& in, const std::vector<float>& values)
{
    const int n = static_cast<int>(values.size());
    std::vector<float> src = values;
    std::vector<float> d(n, -7.0f);
    const bool circular = in.ConsumeBool();
    clcOneDimDeriv(src.data(), d.data(), n, circular);
    FUZZ_CHECK(sameBits(src, values));
    for (int i = 1; i + 1 < n; ++i)
        FUZZ_CHECK(sameValue(d[i], values[i + 1] - values[i - 1]));
    if (n == 1)
        FUZZ_CHECK(d[0] == 0.0f);

    const auto dir = static_cast<ClcDirection>(wildInt(in, 0, 3));
    const auto transition = static_cast<EdgeTransition>(wildInt(in, 0, 3));
    clcOneDimDerivDir(d.data(), n, dir, transition);
    if (allFinite(values))
        for (float v : d)
            FUZZ_CHECK(v >= 0);

    const float percent = wildFloat(in, 150.0f);
    const float minStrength = wildFloat(in, 300.0f);
    const int maxCount = wildInt(in, -1, 10);
    std::vector<double> positions{-1e9}; // extraction appends
    const std::vector<float> strength = d;
    oneDimEdgeExtraction(d.data(), n, dir, percent, minStrength, maxCount, positions);
    FUZZ_CHECK(sameBits(d, strength));
    FUZZ_CHECK(positions.front() == -1e9);
    const size_t found = positions.size() - 1;
    FUZZ_CHECK(found <= static_cast<size_t>(std::max(0, std::min(maxCount, n))));
    for (size_t k = 1; k < positions.size(); ++k) {
        // Peaks are local maxima, so the parabola vertex stays within half a sample.
        FUZZ_CHECK(positions[k] >= -0.5 && positions[k] <= n - 0.5);
        if (k > 1)
            FUZZ_CHECK(dir == LeftToRight ? positions[k] >= positions[k - 1] : positions[k] <= positions[k - 1]);
    }

    const int i = wildInt(in, -1, n);
    const float vertex = oneDimEdgeParabolaExtremum(d.data(), n, i);
    FUZZ_CHECK(!std::isnan(vertex));
    if (i <= 0 || i >= n - 1)
        FUZZ_CHECK(vertex == static_cast<float>(i));
}

void checkExtremes(FuzzedDataProvider& in, const std::vector<float>& values)
{
    std::vector<double> wide(values.begin(), values.end());
    const int index = findMinMaxPos(wide, in.ConsumeBool());
    FUZZ_CHECK(wide.empty() ? index == -1 : index >= 0 && index < static_cast<int>(wide.size()));

    const int rows = in.ConsumeIntegralInRange<int>(0, 17);
    const int cols = rows == 0 ? 0 : static_cast<int>(values.size()) / rows;
    cv::Mat response;
    if (rows * cols > 0)
        response = cv::Mat(rows, cols, CV_32FC1, const_cast<float*>(values.data())).clone();
    const int r0 = wildInt(in, -3, rows + 3), r1 = wildInt(in, -3, rows + 3);
    const int c0 = wildInt(in, -3, cols + 3), c1 = wildInt(in, -3, cols + 3);
    int maxRow = -77, maxCol = -77;
    findMaxValuePos(response, r0, r1, c0, c1, maxRow, maxCol);
    FUZZ_CHECK((maxRow == -77) == (maxCol == -77));
    if (maxRow != -77) {
        FUZZ_CHECK(maxRow >= std::max(r0, 0) && maxRow < std::min(r1, rows));
        FUZZ_CHECK(maxCol >= std::max(c0, 0) && maxCol < std::min(c1, cols));
    }
}

void checkSegmentPoints(FuzzedDataProvider& in)
{
    cv::Mat strip = image(in, 40, true);
    const auto axis = static_cast<ClcDirection>(wildInt(in, 0, 3));
    const auto scan = static_cast<ClcDirection>(wildInt(in, 0, 3));
    const auto transition = static_cast<EdgeTransition>(wildInt(in, 0, 3));
    const int width = wildInt(in, -1, 45), step = wildInt(in, -1, 45), start = wildInt(in, -1, 45);
    const int maxSegments = wildInt(in, -1, 60), sigma = wildInt(in, -1, kMaxKernelHalf + 1);
    const float percent = wildFloat(in, 150.0f), minStrength = wildFloat(in, 300.0f);
    const int maxEdges = wildInt(in, -1, 5);
    const cv::Mat before = strip.clone();

    std::vector<cv::Point2d> points{{-1e9, -1e9}};
    clcSegmentPoints(strip, axis, scan, transition, width, step, start, maxSegments, sigma, percent, minStrength,
                     points, maxEdges);
    FUZZ_CHECK(strip.empty() || cv::norm(strip, before, cv::NORM_INF) == 0);
    FUZZ_CHECK(points.front() == cv::Point2d(-1e9, -1e9));
    if (points.size() == 1)
        return;
    const bool vertical = axis == LeftToRight;
    const int length = vertical ? strip.rows : strip.cols;
    const int extent = vertical ? strip.cols : strip.rows;
    const int64_t segments = std::min<int64_t>((extent - start - width) / step + 1, std::max(maxSegments, strip.rows));
    FUZZ_CHECK(static_cast<int64_t>(points.size() - 1) <= segments * std::min(maxEdges, length));
    for (size_t k = 1; k < points.size(); ++k) {
        const double along = vertical ? points[k].y : points[k].x;
        const double across = vertical ? points[k].x : points[k].y;
        FUZZ_CHECK(along >= -0.5 && along <= length - 0.5);
        FUZZ_CHECK(across >= start + width / 2.0 && across <= extent - width / 2.0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    checkKernels(in);
    const bool wild = in.ConsumeBool();
    const std::vector<float> values = profile(in, wild);
    checkSmoothing(in, values);
    checkDerivativeAndEdges(in, values);
    checkExtremes(in, values);
    checkSegmentPoints(in);
    return 0;
}
