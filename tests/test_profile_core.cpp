#include <Functions.h>

#include "ProfileCore_p.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <thread>

namespace {

std::vector<double> extract(std::vector<float> v, ClcDirection dir, float percent, float minStrength, int maxCount)
{
    std::vector<double> positions;
    oneDimEdgeExtraction(v.data(), static_cast<int>(v.size()), dir, percent, minStrength, maxCount, positions);
    return positions;
}

std::vector<cv::Point2d> segmentPoints(cv::Mat strip, int segmentAxis, int scanDirection, int transition, int width,
                                       int step, int start = 0, int maxSegments = 1024, int sigma = 1,
                                       float percent = 50, float minStrength = 5, int maxEdges = 1)
{
    std::vector<cv::Point2d> points;
    clcSegmentPoints(strip, static_cast<ClcDirection>(segmentAxis), static_cast<ClcDirection>(scanDirection),
                     static_cast<EdgeTransition>(transition), width, step, start, maxSegments, sigma, percent,
                     minStrength, points, maxEdges);
    return points;
}

// Grey strip dark (20) left of column `edge`, bright (200) from it on.
cv::Mat verticalStep(cv::Size size, int edge)
{
    cv::Mat strip(size, CV_8U, cv::Scalar(20));
    strip.colRange(edge, size.width).setTo(200);
    return strip;
}

} // namespace

// Must stay the only test of this program that touches the kernel table: every test runs
// in its own process, so here the eight threads really race to build it.
TEST(GaussianKernelTable, FirstUseFromEightThreadsIsBuiltOnce)
{
    constexpr int kThreads = 8;
    std::atomic<int> ready{0};
    std::vector<const float*> seen(kThreads * 101);
    // What each thread read right after receiving a kernel; kernel k at offset k*k.
    std::vector<std::vector<float>> copies(kThreads, std::vector<float>(101 * 101));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            ++ready;
            while (ready.load() < kThreads) {
            }
            for (int k = 0; k <= 100; ++k) {
                const int kernel = (k + 13 * t) % 101; // each thread starts elsewhere
                const float* taps = getOneDimGaussianKernel(kernel);
                seen[t * 101 + kernel] = taps;
                std::copy(taps, taps + 2 * kernel + 1, copies[t].begin() + kernel * kernel);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (int t = 1; t < kThreads; ++t) {
        for (int k = 0; k <= 100; ++k)
            EXPECT_EQ(seen[t * 101 + k], seen[k]) << "thread " << t << " kernel " << k;
        EXPECT_EQ(copies[t], copies[0]);
    }
    EXPECT_NEAR(copies[0][5 * 5 + 5], 0.200565, 5e-7);
}

TEST(GaussianKernelTable, TellingValuesSymmetryAndSums)
{
    const float* k0 = getOneDimGaussianKernel(0);
    ASSERT_NE(k0, nullptr);
    EXPECT_EQ(k0[0], 1.0f);

    const struct {
        int k;
        std::vector<double> firstTaps; // up to and including the centre
    } rows[] = {
        {1, {0.238994, 0.522011}},
        {2, {0.070766, 0.244460, 0.369546}},
        {3, {0.028995, 0.103818, 0.223173, 0.288026}},
    };
    for (const auto& row : rows)
        for (size_t j = 0; j < row.firstTaps.size(); ++j)
            EXPECT_NEAR(getOneDimGaussianKernel(row.k)[j], row.firstTaps[j], 5e-7) << "k " << row.k << " tap " << j;

    for (int k = 1; k <= 100; ++k) {
        const float* kernel = getOneDimGaussianKernel(k);
        double sum = 0;
        for (int j = 0; j <= 2 * k; ++j) {
            sum += kernel[j];
            EXPECT_EQ(kernel[j], kernel[2 * k - j]) << "k " << k;
        }
        EXPECT_NEAR(sum, 1.0, 2e-6) << "k " << k;
        // Neighbouring taps of the centre fix sigma = 0.3 (k - 1) + 0.8.
        const double sigma = 0.3 * (k - 1) + 0.8;
        EXPECT_NEAR(kernel[k + 1] / kernel[k], std::exp(-0.5 / (sigma * sigma)), 1e-6) << "k " << k;
    }
    EXPECT_EQ(getOneDimGaussianKernel(101), nullptr);
    EXPECT_EQ(getOneDimGaussianKernel(-1), nullptr);
    EXPECT_EQ(getOneDimGaussianKernel(std::numeric_limits<int>::min()), nullptr);
}

TEST(GaussianKernelTable, CuttingKeepsTheCentreRenormalised)
{
    const float* kernel5 = getOneDimGaussianKernel(5);
    float cut[5];
    cutOneDimGaussianKernel(kernel5, 5, cut, 2);
    double sum = 0;
    for (int j = 0; j < 5; ++j)
        sum += cut[j];
    EXPECT_NEAR(sum, 1.0, 1e-6);
    for (int j = 0; j < 5; ++j)
        EXPECT_NEAR(cut[j] / cut[2], kernel5[3 + j] / kernel5[5], 1e-6);

    // Untouched: equal or larger half-width, a negative one, a zero-sum centre, null buffers.
    const std::vector<float> sentinel(5, -7.0f);
    std::vector<float> dst = sentinel;
    cutOneDimGaussianKernel(kernel5, 5, dst.data(), 5);
    cutOneDimGaussianKernel(getOneDimGaussianKernel(1), 1, dst.data(), 2);
    cutOneDimGaussianKernel(kernel5, 5, dst.data(), -1);
    const float hollow[3] = {0.5f, 0.0f, 0.5f};
    cutOneDimGaussianKernel(hollow, 1, dst.data(), 0);
    cutOneDimGaussianKernel(nullptr, 5, dst.data(), 0);
    EXPECT_EQ(dst, sentinel);
    cutOneDimGaussianKernel(kernel5, 5, nullptr, 0);
}

TEST(GaussianSmoothing, PaddingAndImpulseResponse)
{
    const float* kernel1 = getOneDimGaussianKernel(1);
    const float k0 = kernel1[0], k1 = kernel1[1];

    // An impulse gives the kernel back, centred on it.
    std::vector<float> impulse(21, 0.0f);
    impulse[10] = 1.0f;
    oneDimArrayGaussianFilter(impulse.data(), 21, getOneDimGaussianKernel(3), 3, false);
    for (int i = 0; i < 21; ++i)
        EXPECT_EQ(impulse[i], std::abs(i - 10) <= 3 ? getOneDimGaussianKernel(3)[i - 7] : 0.0f) << i;

    // Replication repeats each end sample; wrapping mixes the first and last samples.
    std::vector<float> replicated = {10, 0, 0, 0, 20};
    std::vector<float> wrapped = replicated;
    oneDimArrayGaussianFilter(replicated.data(), 5, kernel1, 1, false);
    oneDimArrayGaussianFilter(wrapped.data(), 5, kernel1, 1, true);
    EXPECT_FLOAT_EQ(replicated[0], 10 * k0 + 10 * k1);
    EXPECT_FLOAT_EQ(replicated[4], 20 * k1 + 20 * k0);
    EXPECT_FLOAT_EQ(wrapped[0], 20 * k0 + 10 * k1);
    EXPECT_FLOAT_EQ(wrapped[4], 20 * k1 + 10 * k0);
    EXPECT_EQ(replicated[2], 0.0f);

    // Profiles not longer than the half-width, and invalid arguments, are left alone.
    std::vector<float> shortProfile = {1, 5, 2};
    oneDimArrayGaussianFilter(shortProfile.data(), 3, getOneDimGaussianKernel(3), 3, false);
    oneDimArrayGaussianFilter(shortProfile.data(), 3, kernel1, -1, false);
    oneDimArrayGaussianFilter(shortProfile.data(), 3, nullptr, 1, false);
    oneDimArrayGaussianFilter(shortProfile.data(), -3, kernel1, 1, false);
    EXPECT_EQ(shortProfile, (std::vector<float>{1, 5, 2}));
    oneDimArrayGaussianFilter(nullptr, 0, kernel1, 1, false);
    oneDimArrayGaussianFilter(nullptr, 5, kernel1, 1, true);
}

TEST(Derivative, DifferencesAndStrength)
{
    std::vector<float> src = {1, 4, 9, 16};
    std::vector<float> d(4);
    clcOneDimDeriv(src.data(), d.data(), 4, false);
    EXPECT_EQ(d, (std::vector<float>{3, 8, 12, 7})); // interior not halved, ends one-sided
    clcOneDimDeriv(src.data(), d.data(), 4, true);
    EXPECT_EQ(d, (std::vector<float>{-12, 8, 12, -8}));
    float single = 5;
    clcOneDimDeriv(&single, &single, 1, false);
    EXPECT_EQ(single, 0.0f);
    clcOneDimDeriv(nullptr, nullptr, 0, false);

    const struct {
        int dir, transition;
        std::vector<float> expected;
    } cases[] = {
        {LeftToRight, DarkToLight, {0, 0, 3}},  {LeftToRight, LightToDark, {2, 0, 0}},
        {RightToLeft, DarkToLight, {2, 0, 0}},  {RightToLeft, LightToDark, {0, 0, 3}},
        {LeftToRight, BothTransitions, {2, 0, 3}}, {RightToLeft, 7, {2, 0, 3}},
        {TopToBottom, DarkToLight, {0, 0, 3}}, // only RightToLeft negates
    };
    for (const auto& c : cases) {
        std::vector<float> strength = {-2, 0, 3};
        clcOneDimDerivDir(strength.data(), 3, static_cast<ClcDirection>(c.dir),
                          static_cast<EdgeTransition>(c.transition));
        EXPECT_EQ(strength, c.expected) << "dir " << c.dir << " transition " << c.transition;
    }
    clcOneDimDerivDir(nullptr, 0, RightToLeft, LightToDark);
}

TEST(EdgeExtraction, PeaksPlateausEndsAndCounts)
{
    std::vector<float> flatTop(20, 0.0f); // 1, 3, then a flat top over 10..12, then 2
    flatTop[8] = 1, flatTop[9] = 3, flatTop[10] = flatTop[11] = flatTop[12] = 5, flatTop[13] = 2;
    std::vector<float> twoPeaks(20, 0.0f);
    twoPeaks[4] = 1, twoPeaks[5] = 3, twoPeaks[6] = 1;
    twoPeaks[14] = 4, twoPeaks[15] = 9, twoPeaks[16] = 4;
    const float nan = std::nanf("");
    const struct {
        const char* what;
        std::vector<float> v;
        float percent, minStrength;
        int maxCount;
        std::vector<double> forward, reverse;
    } rows[] = {
        {"parabola vertex", {0, 1, 4, 3, 0}, 50, 0, 5, {2.25}, {2.25}},
        {"flat top centre", flatTop, 50, 0, 5, {11.0}, {11.0}},
        {"falling: first sample", {5, 3, 1, 0}, 10, 0, 5, {0.0}, {0.0}},
        {"minStrength above the top", {0, 1, 4, 3, 0}, 0, 4.5f, 5, {}, {}},
        {"minStrength equal to the top", {0, 1, 4, 3, 0}, 0, 4.0f, 5, {2.25}, {2.25}},
        {"NaN thresholds", {0, 1, 4, 3, 0}, nan, nan, 5, {}, {}},
        {"first in scan order, not strongest", twoPeaks, 10, 0, 1, {5.0}, {15.0}},
        {"all in scan order", twoPeaks, 10, 0, 9, {5.0, 15.0}, {15.0, 5.0}},
        {"zero count", twoPeaks, 10, 0, 0, {}, {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(extract(row.v, LeftToRight, row.percent, row.minStrength, row.maxCount), row.forward) << row.what;
        EXPECT_EQ(extract(row.v, RightToLeft, row.percent, row.minStrength, row.maxCount), row.reverse) << row.what;
    }

    std::vector<double> positions = {-1.0};
    oneDimEdgeExtraction(twoPeaks.data(), 20, LeftToRight, 10, 0, std::numeric_limits<int>::max(), positions);
    EXPECT_EQ(positions, (std::vector<double>{-1.0, 5.0, 15.0})); // appended
    EXPECT_LT(positions.capacity(), 100u); // a huge maxCount does not reserve as much
    oneDimEdgeExtraction(nullptr, 0, LeftToRight, 10, 0, 5, positions);
    EXPECT_EQ(positions.size(), 3u);
}

namespace {

// The extraction rule transcribed directly: every sample in scan order, the ones below
// the threshold skipped.
std::vector<double> referenceExtraction(const std::vector<float>& v, bool forward, float percent, float minStrength,
                                        int maxCount)
{
    const int n = static_cast<int>(v.size());
    std::vector<double> out;
    float top = 0;
    for (float x : v)
        top = x > top ? x : top;
    if (n < 2 || maxCount < 1 || minStrength > top)
        return out;
    const float relative = percent / 100.0f * top;
    const float thr = relative > minStrength ? relative : minStrength;
    const int step = forward ? 1 : -1;
    bool rising = true;
    int plateau = -1;
    for (int k = 0; k < n && static_cast<int>(out.size()) < maxCount; ++k) {
        const int i = forward ? k : n - 1 - k;
        if (!(v[i] >= thr))
            continue;
        if (k > 0) {
            const float slope = v[i] - v[i - step];
            rising = slope > 0 ? true : slope < 0 ? false : rising;
        }
        if (!rising)
            continue;
        const auto centre = [&] { return static_cast<double>(static_cast<float>(i + plateau) * 0.5f); };
        if (k == n - 1) {
            out.push_back(plateau < 0 ? i : centre());
        } else if (v[i + step] > v[i]) {
            plateau = -1;
        } else if (v[i + step] == v[i]) {
            plateau = plateau < 0 ? i : plateau;
        } else if (v[i] > v[i + step]) {
            out.push_back(plateau < 0 ? oneDimEdgeParabolaExtremum(v.data(), n, i) : centre());
            plateau = -1;
        }
    }
    return out;
}

} // namespace

TEST(EdgeExtraction, MatchesTheRuleSampleBySample)
{
    // Curves of every kind the rule distinguishes: plateaus (small integers), smooth
    // peaks, ends above the threshold, NaN and infinite samples; long enough to span
    // several mask words.
    cv::RNG rng(5);
    for (int trial = 0; trial < 3000; ++trial) {
        const int n = rng.uniform(0, 4) == 0 ? rng.uniform(0, 300) : rng.uniform(0, 40);
        std::vector<float> v(n);
        const int kind = rng.uniform(0, 3);
        for (int i = 0; i < n; ++i) {
            v[i] = kind == 0 ? static_cast<float>(rng.uniform(0, 4))
                             : static_cast<float>(rng.uniform(0.0, 50.0) * (1 + std::sin(i * 0.4)));
            if (rng.uniform(0, 200) == 0)
                v[i] = rng.uniform(0, 2) ? std::numeric_limits<float>::quiet_NaN() : INFINITY;
        }
        const float percent = static_cast<float>(rng.uniform(0.0, 100.0));
        const float minStrength = kind == 2 ? static_cast<float>(rng.uniform(0.0, 60.0)) : 0.0f;
        const int maxCount = rng.uniform(0, 4) == 0 ? std::numeric_limits<int>::max() : rng.uniform(0, 6);
        for (const bool forward : {true, false}) {
            const std::vector<double> expected = referenceExtraction(v, forward, percent, minStrength, maxCount);
            const std::vector<double> found =
                extract(v, forward ? LeftToRight : RightToLeft, percent, minStrength, maxCount);
            ASSERT_EQ(found.size(), expected.size()) << "trial " << trial;
            for (size_t k = 0; k < found.size(); ++k) // memcmp: NaN positions compare too
                ASSERT_EQ(std::memcmp(&found[k], &expected[k], sizeof(double)), 0) << "trial " << trial;
        }
    }
}

TEST(Parabola, VertexAndDegenerateCases)
{
    // y = 2x^2 - 3x + 1
    const auto y = [](double x) { return 2 * x * x - 3 * x + 1; };
    double a = 0, b = 0, c = 0;
    threePointParabola({-1, y(-1)}, {0.5, y(0.5)}, {4, y(4)}, a, b, c);
    EXPECT_LT(cv::norm(cv::Vec3d(a, b, c) - cv::Vec3d(2, -3, 1)), 1e-12);
    EXPECT_NEAR(threePointParabolaExtremum({-1, y(-1)}, {0.5, y(0.5)}, {4, y(4)}), 0.75, 1e-12);
    EXPECT_DOUBLE_EQ(parabolaExtremum(2, -3), 0.75);
    EXPECT_EQ(parabolaExtremum(0, 5), 0.0);

    // Repeated abscissas, and abscissas of equal square (x0 = -x1), are degenerate.
    a = b = c = 9;
    threePointParabola({1, 1}, {1, 2}, {3, 5}, a, b, c);
    threePointParabola({-1, 1}, {1, 2}, {3, 5}, a, b, c);
    EXPECT_EQ(cv::Vec3d(a, b, c), cv::Vec3d(9, 9, 9));
    EXPECT_EQ(threePointParabolaExtremum({1, 1}, {1, 2}, {3, 5}), 0.0);
    EXPECT_EQ(threePointParabolaExtremum({0, 1}, {1, 2}, {2, 3}), 0.0); // a straight line

    const float rising[] = {1.0f, 2.0f, 2.9f};
    EXPECT_NEAR(oneDimEdgeParabolaExtremum(rising, 3, 1), 10.5f, 1e-3f); // no clamp to [0, 2]
    EXPECT_EQ(oneDimEdgeParabolaExtremum(rising, 3, 0), 0.0f);
    EXPECT_EQ(oneDimEdgeParabolaExtremum(rising, 3, 7), 7.0f);
    const float infinite[] = {INFINITY, INFINITY, 1.0f};
    EXPECT_EQ(oneDimEdgeParabolaExtremum(infinite, 3, 1), 1.0f); // NaN vertex
}

TEST(ExtremeSearch, FirstExtremeFromIndexOne)
{
    std::vector<double> values;
    EXPECT_EQ(findMinMaxPos(values, true), -1);
    values = {5};
    EXPECT_EQ(findMinMaxPos(values, false), 0);
    values = {9, 1, 7, 1, 7};
    EXPECT_EQ(findMinMaxPos(values, true), 1);
    EXPECT_EQ(findMinMaxPos(values, false), 2); // element 0 is never compared
    values = {3, -1, 0, -2};
    EXPECT_EQ(findMinMaxPos(values, false), 0); // the maximum starts above zero
    EXPECT_EQ(findMinMaxPos(values, true), 3);

    cv::Mat response = (cv::Mat_<float>(3, 4) << 0, 1, 2, 3, 4, 5, 9, 7, -1, 9, 6, 5);
    int row = -5, col = -5;
    findMaxValuePos(response, 0, 3, 0, 4, row, col);
    EXPECT_EQ(cv::Point(col, row), cv::Point(2, 1)); // first of the equal maxima
    findMaxValuePos(response, 2, 3, 0, 2, row, col);
    EXPECT_EQ(cv::Point(col, row), cv::Point(1, 2));
    findMaxValuePos(response, -10, 100, 3, 100, row, col); // clipped to the matrix
    EXPECT_EQ(cv::Point(col, row), cv::Point(3, 1));

    row = col = -5;
    findMaxValuePos(response, 2, 2, 0, 4, row, col);
    cv::Mat bytes(3, 4, CV_8U, cv::Scalar(1));
    findMaxValuePos(bytes, 0, 3, 0, 4, row, col);
    cv::Mat negative(2, 2, CV_32F, cv::Scalar(-std::numeric_limits<float>::max()));
    findMaxValuePos(negative, 0, 2, 0, 2, row, col);
    EXPECT_EQ(cv::Point(col, row), cv::Point(-5, -5));
}

TEST(SegmentPoints, BandLayoutAndAxes)
{
    // Vertical bands of width 10, step 5 over 30 columns; the edge runs across at row 20.
    cv::Mat strip(40, 30, CV_8U, cv::Scalar(30));
    strip.rowRange(20, 40).setTo(180);
    std::vector<cv::Point2d> points = segmentPoints(strip, LeftToRight, TopToBottom, DarkToLight, 10, 5);
    ASSERT_EQ(points.size(), 5u);
    for (size_t s = 0; s < 5; ++s) {
        EXPECT_EQ(points[s].x, 5.0 + 5 * s);
        EXPECT_NEAR(points[s].y, 19.5, 0.01);
    }

    // Horizontal bands across a vertical step: x at the step, y at the band centre.
    cv::Mat vertical = verticalStep({60, 24}, 31);
    points = segmentPoints(vertical, TopToBottom, LeftToRight, DarkToLight, 8, 8);
    ASSERT_EQ(points.size(), 3u);
    for (size_t s = 0; s < 3; ++s) {
        EXPECT_NEAR(points[s].x, 30.5, 0.01);
        EXPECT_EQ(points[s].y, 4.0 + 8 * s);
    }

    // A colour strip is read with the first channel weighted as red: of a first-channel
    // step at 20 and a third-channel step at 40, the first is the stronger edge.
    cv::Mat colour(24, 60, CV_8UC3, cv::Scalar(0, 0, 0));
    colour.colRange(20, 60).setTo(cv::Scalar(255, 0, 0));
    colour.colRange(40, 60).setTo(cv::Scalar(255, 0, 255));
    cv::Mat grey;
    cv::cvtColor(colour, grey, cv::COLOR_RGB2GRAY);
    points = segmentPoints(colour, TopToBottom, LeftToRight, DarkToLight, 8, 8);
    ASSERT_EQ(points.size(), 3u);
    EXPECT_NEAR(points[0].x, 19.5, 0.01);
    EXPECT_EQ(points, segmentPoints(grey, TopToBottom, LeftToRight, DarkToLight, 8, 8));
}

TEST(SegmentPoints, SegmentCapAndAppending)
{
    // The cap is the larger of maxSegments and the row count.
    cv::Mat across(30, 200, CV_8U, cv::Scalar(20));
    across.rowRange(15, 30).setTo(200);
    EXPECT_EQ(segmentPoints(across, LeftToRight, TopToBottom, DarkToLight, 1, 1, 0, 5).size(), 30u);
    EXPECT_EQ(segmentPoints(across, LeftToRight, TopToBottom, DarkToLight, 1, 1, 0, 100).size(), 100u);
    EXPECT_EQ(segmentPoints(across, LeftToRight, TopToBottom, DarkToLight, 1, 1, 0, 1000).size(), 200u);

    // Points are appended, never cleared: a bright bar gives two edges per call.
    cv::Mat bar(10, 60, CV_8U, cv::Scalar(20));
    bar.colRange(20, 40).setTo(200);
    std::vector<cv::Point2d> collected = {{-1, -1}};
    for (int call = 0; call < 2; ++call)
        clcSegmentPoints(bar, TopToBottom, LeftToRight, BothTransitions, 10, 10, 0, 1024, 1, 50, 5, collected, 5);
    ASSERT_EQ(collected.size(), 5u);
    EXPECT_EQ(collected[0], cv::Point2d(-1, -1));
    EXPECT_EQ(collected[1], collected[3]);
    EXPECT_EQ(collected[2], collected[4]);
}

TEST(SegmentPoints, SlidingAndDirectSumsAgreeBitForBit)
{
    // Both summations, over lines narrower and wider than a vector block and widths on
    // both sides of the 16-bit limit, against sums taken one line at a time.
    using profile_core::Summation;
    cv::RNG rng(11);
    for (int trial = 0; trial < 300; ++trial) {
        const int width = trial % 10 == 0 ? rng.uniform(100, 300) : rng.uniform(1, 40);
        const int step = rng.uniform(1, width + 3);
        const int first = rng.uniform(0, 4), count = rng.uniform(1, 30);
        cv::Mat lines(step * (first + count - 1) + width, rng.uniform(1, 70), CV_8U);
        rng.fill(lines, cv::RNG::UNIFORM, trial % 2 ? 0 : 250, 256);
        const size_t pitch = lines.cols + rng.uniform(0, 5);
        std::vector<float> sliding(pitch * count), direct(pitch * count);
        profile_core::averageSegments(lines, width, step, first, count, Summation::SlidingWindow, sliding.data(), pitch);
        profile_core::averageSegments(lines, width, step, first, count, Summation::Direct, direct.data(), pitch);
        for (int s = 0; s < count; ++s) {
            const int a = (first + s) * step;
            for (int j = 0; j < lines.cols; ++j) {
                int sum = 0;
                for (int k = a; k < a + width; ++k)
                    sum += lines.at<uchar>(k, j);
                const float expected = static_cast<float>(sum) * static_cast<float>(1.0 / width);
                ASSERT_EQ(sliding[s * pitch + j], expected) << "trial " << trial << " segment " << s << " column " << j;
                ASSERT_EQ(direct[s * pitch + j], expected) << "trial " << trial << " segment " << s << " column " << j;
            }
        }
    }
}

TEST(SegmentPoints, MatchesThePlainPipelineBitForBit)
{
    // The caliper's shortcuts (sliding sums, in-place padding, fused passes, the bit-mask
    // walk of the extraction) against the plain pipeline: exported smoothing and
    // derivative, the extraction rule above. Random strips and settings: kernels of every
    // size, cut for profiles not longer than sigma; odd and even widths; steps below and
    // above the width; both axes and senses; every polarity.
    cv::RNG rng(23);
    for (int trial = 0; trial < 400; ++trial) {
        const bool vertical = rng.uniform(0, 2) == 0;
        const bool shortProfiles = rng.uniform(0, 3) == 0;
        cv::Mat strip(rng.uniform(1, shortProfiles ? 12 : 300), rng.uniform(1, 90), CV_8U);
        if (vertical == (rng.uniform(0, 2) == 0))
            cv::transpose(cv::Mat(strip.t()), strip);
        rng.fill(strip, cv::RNG::UNIFORM, 0, 256);
        cv::GaussianBlur(strip, strip, cv::Size(0, 0), rng.uniform(0.3, 3.0));
        const int width = rng.uniform(1, 13), step = rng.uniform(1, 16), start = rng.uniform(0, 4);
        const int scan = rng.uniform(0, 4), transition = rng.uniform(0, 4), sigma = rng.uniform(0, 101);
        const int maxEdges = rng.uniform(1, 6);
        const float percent = static_cast<float>(rng.uniform(0.0, 100.0));
        const float minStrength = static_cast<float>(rng.uniform(0.0, 20.0));
        const auto points = segmentPoints(strip, vertical ? LeftToRight : TopToBottom, scan, transition, width, step,
                                          start, 1024, sigma, percent, minStrength, maxEdges);
        // Vertical profiles run forward for TopToBottom only; horizontal ones take the value as it is.
        const ClcDirection dir = vertical ? (scan == TopToBottom ? LeftToRight : RightToLeft) : ClcDirection(scan);

        const cv::Mat lines = vertical ? cv::Mat(strip.t()) : strip;
        const int length = lines.cols;
        const int half = std::min(sigma, length - 1);
        std::vector<float> kernel(getOneDimGaussianKernel(sigma), getOneDimGaussianKernel(sigma) + 2 * sigma + 1);
        cutOneDimGaussianKernel(getOneDimGaussianKernel(sigma), sigma, kernel.data(), half);
        std::vector<cv::Point2d> expected;
        const int count = std::min((lines.rows - start - width) / step + 1, std::max(1024, strip.rows));
        for (int a = start; a + width <= lines.rows && (a - start) / step < count; a += step) {
            std::vector<float> profile(length), derivative(length);
            for (int j = 0; j < length; ++j) {
                int sum = 0;
                for (int k = a; k < a + width; ++k)
                    sum += lines.at<uchar>(k, j);
                profile[j] = static_cast<float>(sum) * static_cast<float>(1.0 / width);
            }
            oneDimArrayGaussianFilter(profile.data(), length, kernel.data(), half, false);
            clcOneDimDeriv(profile.data(), derivative.data(), length, false);
            clcOneDimDerivDir(derivative.data(), length, dir, static_cast<EdgeTransition>(transition));
            const double centre = static_cast<float>(a + width * 0.5);
            for (double p : referenceExtraction(derivative, dir == LeftToRight, percent, minStrength, maxEdges)) {
                const double along = static_cast<float>(p);
                expected.push_back(vertical ? cv::Point2d(centre, along) : cv::Point2d(along, centre));
            }
        }
        ASSERT_EQ(points, expected) << "trial " << trial;
    }
}

TEST(SegmentPoints, BadArgumentsAddNothing)
{
    cv::Mat strip = verticalStep({40, 20}, 20);
    const std::vector<cv::Point2d> sentinel = {{7, 7}};
    const auto call = [&](cv::Mat image, int width, int step, int start, int maxSegments, int sigma,
                          int maxEdges, float percent = 50) {
        std::vector<cv::Point2d> points = sentinel;
        clcSegmentPoints(image, TopToBottom, LeftToRight, DarkToLight, width, step, start, maxSegments, sigma,
                         percent, 5, points, maxEdges);
        return points;
    };
    EXPECT_EQ(call(strip, 4, 4, 0, 10, 1, 1).size(), 6u); // the reference call works
    EXPECT_EQ(call(cv::Mat(), 4, 4, 0, 10, 1, 1), sentinel);
    EXPECT_EQ(call(cv::Mat(20, 40, CV_16U, cv::Scalar(9)), 4, 4, 0, 10, 1, 1), sentinel);
    EXPECT_EQ(call(cv::Mat(20, 40, CV_8UC2, cv::Scalar(9)), 4, 4, 0, 10, 1, 1), sentinel);
    EXPECT_EQ(call(strip, 21, 4, 0, 10, 1, 1), sentinel);
    EXPECT_EQ(call(strip, 4, 4, 0, 10, 1, 1, std::nanf("")).size(), 6u); // NaN percent: minStrength rules

    const int extremes[] = {std::numeric_limits<int>::min(), -1, 0, 1, 3, 19, 20, 21, 100,
                            std::numeric_limits<int>::max()};
    const int sigmas[] = {-1, 0, 7, 100, 101};
    int round = 0;
    for (int width : extremes)
        for (int step : extremes)
            for (int start : extremes)
                for (int other : extremes) {
                    const int sigma = sigmas[round++ % 5];
                    const auto points = call(strip, width, step, start, other, sigma, other);
                    if (width < 1 || step < 1 || start < 0 || other < 1 || sigma < 0 || sigma > 100) {
                        ASSERT_EQ(points, sentinel);
                        continue;
                    }
                    for (size_t k = 1; k < points.size(); ++k) {
                        ASSERT_GE(points[k].x, 0);
                        ASSERT_LE(points[k].x, 39);
                        ASSERT_GE(points[k].y, 0);
                        ASSERT_LE(points[k].y, 20);
                    }
                }
}
