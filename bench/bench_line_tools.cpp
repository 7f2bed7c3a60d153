// Line tool on a 300 x 60 ROI at 17 degrees (calipers 5 wide, 5 apart) in a 1280 x 1024
// image, against the perspective warp of that ROI alone: the straightening the tool cannot
// avoid. The ratio is taken from calls interleaved in one loop, so both see the same
// machine load.

#include <Functions.h>

#include "Synthetic.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <chrono>

namespace {

struct LineScene {
    cv::Mat image;
    RotateRectROI roi{640.0, 512.0, 17.0f, 300.0f, 60.0f};
    LineScene()
    {
        synthetic::Scene scene(cv::Size(1280, 1024), 40);
        scene.fillHalfPlane({652.3, 515.6}, 18.0, 200); // a little off the ROI's axis
        image = scene.toGrey(1.0, 2.0);
    }
};

const LineScene& lineScene()
{
    static const LineScene scene;
    return scene;
}

_EdgeLineDetParam lineParam(RotateRectROI& roi)
{
    _EdgeLineDetParam p;
    p.direction = LeftToRight;
    p.transition = DarkToLight;
    p.percent = 30;
    p.sigma = 2;
    p.minStrength = 20;
    p.segmentWidth = 5;
    p.segmentStep = 5;
    p.roi = &roi;
    return p;
}

// The warp the tool makes, with its transform computed once.
struct RoiWarp {
    cv::Mat transform;
    cv::Size size;
    explicit RoiWarp(RotateRectROI& roi) : size(static_cast<int>(roi.width), static_cast<int>(roi.height))
    {
        std::vector<cv::Point2f> corners;
        getCornerPoints(&roi, corners);
        const cv::Point2f targets[4] = {{0, 0}, {roi.width, 0}, {roi.width, roi.height}, {0, roi.height}};
        transform = cv::getPerspectiveTransform(corners.data(), targets);
    }
    void operator()(const cv::Mat& image, cv::Mat& out) const
    {
        cv::warpPerspective(image, out, transform, size, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
    }
};

void BM_clcEdgeLineAndFit(benchmark::State& state)
{
    LineScene scene = lineScene();
    _EdgeLineDetParam param = lineParam(scene.roi);
    for (auto _ : state)
        benchmark::DoNotOptimize(clcEdgeLineAndFit(scene.image, param, 0));
    if (!param.success || param.edgePoints.size() != 12)
        state.SkipWithError("line not found on every caliper");
}
BENCHMARK(BM_clcEdgeLineAndFit)->Unit(benchmark::kMicrosecond);

void BM_warpPerspectiveOfRoi(benchmark::State& state)
{
    LineScene scene = lineScene();
    const RoiWarp warp(scene.roi);
    cv::Mat out;
    for (auto _ : state) {
        warp(scene.image, out);
        benchmark::DoNotOptimize(out.data);
    }
}
BENCHMARK(BM_warpPerspectiveOfRoi)->Unit(benchmark::kMicrosecond);

// Both in one loop; counters: tool_us, warp_us and their ratio (target: at most 2).
void BM_lineToolOverWarp(benchmark::State& state)
{
    using Clock = std::chrono::steady_clock;
    LineScene scene = lineScene();
    _EdgeLineDetParam param = lineParam(scene.roi);
    const RoiWarp warp(scene.roi);
    cv::Mat out;
    Clock::duration toolTime{}, warpTime{};
    for (auto _ : state) {
        const auto t0 = Clock::now();
        benchmark::DoNotOptimize(clcEdgeLineAndFit(scene.image, param, 0));
        const auto t1 = Clock::now();
        warp(scene.image, out);
        benchmark::DoNotOptimize(out.data);
        const auto t2 = Clock::now();
        toolTime += t1 - t0;
        warpTime += t2 - t1;
    }
    const double n = static_cast<double>(state.iterations());
    const double toolUs = std::chrono::duration<double, std::micro>(toolTime).count() / n;
    const double warpUs = std::chrono::duration<double, std::micro>(warpTime).count() / n;
    state.counters["tool_us"] = toolUs;
    state.counters["warp_us"] = warpUs;
    state.counters["ratio"] = toolUs / warpUs;
}
BENCHMARK(BM_lineToolOverWarp)->Unit(benchmark::kMicrosecond);

} // namespace
