// The segment caliper on a 512 x 64 strip (width 8, step 4, sigma 2), against the bare
// cost of reading the strip once into floats, and saddle-point detection on a 640 x 480
// chessboard in pixels per second.
//
// The ratio counters are measured in the same run by alternating short timed rounds of
// the caliper and of the lower bound and comparing their fastest rounds, which keeps them
// meaningful on a shared, noisy machine: "x_read" against a plain loop built with the
// library's flags, "x_convertTo" against OpenCV's conversion to float (which picks the
// widest SIMD the processor has at run time).

#include <Functions.h>

#include "BenchSupport.h"
#include "Synthetic.h"

#include <benchmark/benchmark.h>

#include <algorithm>

namespace {

// 512 x 64 strip with a blurred, noisy edge across every profile of the given axis.
cv::Mat edgeStrip(bool verticalProfiles)
{
    synthetic::Scene scene(cv::Size(512, 64), 40);
    if (verticalProfiles)
        scene.fillHalfPlane({0, 31.4}, 91.0, 200);
    else
        scene.fillHalfPlane({256.3, 0}, 3.0, 200);
    return scene.toGrey(1.0, 2.0);
}

// The lower bound: every pixel read once and accumulated into a float profile, by a plain
// loop built with the library's own compiler flags.
void readIntoFloatProfile(const cv::Mat& strip, std::vector<float>& profile)
{
    std::fill(profile.begin(), profile.end(), 0.0f);
    float* sums = profile.data();
    for (int r = 0; r < strip.rows; ++r) {
        const uchar* row = strip.ptr<uchar>(r);
        for (int c = 0; c < strip.cols; ++c)
            sums[c] += row[c];
    }
}

void segmentScan(benchmark::State& state, bool verticalProfiles)
{
    cv::Mat strip = edgeStrip(verticalProfiles);
    const ClcDirection axis = verticalProfiles ? LeftToRight : TopToBottom;
    const ClcDirection scan = verticalProfiles ? TopToBottom : LeftToRight;
    std::vector<cv::Point_<double>> points;
    const auto caliper = [&] {
        points.clear();
        clcSegmentPoints(strip, axis, scan, DarkToLight, 8, 4, 0, 1024, 2, 50.0f, 5.0f, points, 1);
        benchmark::DoNotOptimize(points.data());
    };
    std::vector<float> profile(strip.cols);
    const auto read = [&] {
        readIntoFloatProfile(strip, profile);
        benchmark::DoNotOptimize(profile.data());
    };
    cv::Mat floats;
    const auto convert = [&] {
        strip.convertTo(floats, CV_32F);
        benchmark::DoNotOptimize(floats.data);
    };

    for (auto _ : state)
        caliper();
    const size_t expected = verticalProfiles ? (512 - 8) / 4 + 1 : (64 - 8) / 4 + 1;
    if (points.size() != expected)
        state.SkipWithError("not one edge per segment");

    const auto [caliperTime, readTime, convertTime] = bench::fastestInterleaved(100, 100, caliper, read, convert);
    state.counters["segments"] = static_cast<double>(points.size());
    state.counters["caliper_us"] = caliperTime * 1e6;
    state.counters["read_us"] = readTime * 1e6;
    state.counters["x_read"] = caliperTime / readTime;
    state.counters["x_convertTo"] = caliperTime / convertTime;
}

// Horizontal bands (profiles of 512 samples), as the line tools scan their strips.
void BM_clcSegmentPoints_HorizontalBands(benchmark::State& state)
{
    segmentScan(state, false);
}
BENCHMARK(BM_clcSegmentPoints_HorizontalBands)->Unit(benchmark::kMicrosecond);

// Vertical bands (profiles of 64 samples): the same strip read the other way.
void BM_clcSegmentPoints_VerticalBands(benchmark::State& state)
{
    segmentScan(state, true);
}
BENCHMARK(BM_clcSegmentPoints_VerticalBands)->Unit(benchmark::kMicrosecond);

// The lower bound on its own, for reference.
void BM_ReadStripIntoFloatProfile(benchmark::State& state)
{
    const cv::Mat strip = edgeStrip(false);
    std::vector<float> profile(strip.cols);
    for (auto _ : state) {
        readIntoFloatProfile(strip, profile);
        benchmark::DoNotOptimize(profile.data());
    }
}
BENCHMARK(BM_ReadStripIntoFloatProfile)->Unit(benchmark::kMicrosecond);

void BM_criticalPointsDetection(benchmark::State& state)
{
    const int cell = 40;
    synthetic::Scene scene(cv::Size(640, 480), 40);
    for (int y = 0; y < 480; y += cell)
        for (int x = (y / cell) % 2 * cell; x < 640; x += 2 * cell)
            scene.fillRotatedRect({x + cell * 0.5 - 0.3, y + cell * 0.5 - 0.6}, cell, cell, 0, 200);
    cv::Mat board = scene.toGrey(0.0, 2.0);
    std::vector<cv::Point2f> points;
    for (auto _ : state) {
        points.clear();
        criticalPointsDetection(board, 5.0, 1.5, points);
        benchmark::DoNotOptimize(points.data());
    }
    if (points.empty())
        state.SkipWithError("no saddle points");
    state.counters["points"] = static_cast<double>(points.size());
    state.counters["pixels_per_s"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * 640 * 480, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_criticalPointsDetection)->Unit(benchmark::kMillisecond);

} // namespace
