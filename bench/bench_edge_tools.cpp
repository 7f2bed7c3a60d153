// Edge point tools on a 200 x 40 caliper (one averaged caliper, and the segment caliper
// with segments 5 wide every 5 lines), against the perspective warp of the same ROI (the
// straightening they cannot avoid), measured in the same run: x_warp is the ratio.

#include <Functions.h>

#include "Synthetic.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>

namespace {

struct EdgeScene {
    cv::Mat image;
    RotateRectROI roi{640.0, 512.0, 17.0f, 200.0f, 40.0f};
    EdgeScene()
    {
        synthetic::Scene scene(cv::Size(1280, 1024), 40);
        scene.fillHalfPlane({640.3, 512.6}, 17.0, 200);
        image = scene.toGrey(1.0, 2.0);
    }
};

const EdgeScene& edgeScene()
{
    static const EdgeScene scene;
    return scene;
}

// The warp the tools perform, alone.
struct RoiWarp {
    cv::Mat transform;
    explicit RoiWarp(RotateRectROI roi)
    {
        QPolygonF corners = getCornerPoints(&roi);
        cv::Point2f src[4], dst[4] = {{0, 0}, {200, 0}, {200, 40}, {0, 40}};
        for (int i = 0; i < 4; ++i)
            src[i] = cv::Point2f(static_cast<float>(corners[i].x()), static_cast<float>(corners[i].y()));
        transform = cv::getPerspectiveTransform(src, dst);
    }
    void operator()(const cv::Mat& image, cv::Mat& out) const
    {
        cv::warpPerspective(image, out, transform, cv::Size(200, 40), cv::INTER_LINEAR, cv::BORDER_CONSTANT, 0);
    }
};

using Clock = std::chrono::steady_clock;

double microsecondsSince(Clock::time_point start, int64_t iterations)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / static_cast<double>(iterations);
}

// Times the tool call, then reports its ratio to the warp from interleaved batches: the
// fastest batch of each kind, so that load from other processes on a shared machine hits
// both alike.
template <typename Call>
void timeAgainstWarp(benchmark::State& state, const EdgeScene& scene, Call&& call)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(call());

    const RoiWarp warp(scene.roi);
    cv::Mat out;
    constexpr int kBatch = 100;
    double fastestWarp = 1e300, fastestCall = 1e300;
    for (int round = 0; round < 30; ++round) {
        auto start = Clock::now();
        for (int k = 0; k < kBatch; ++k)
            warp(scene.image, out);
        fastestWarp = std::min(fastestWarp, microsecondsSince(start, kBatch));
        start = Clock::now();
        for (int k = 0; k < kBatch; ++k)
            benchmark::DoNotOptimize(call());
        fastestCall = std::min(fastestCall, microsecondsSince(start, kBatch));
    }
    state.counters["tool_us"] = fastestCall;
    state.counters["warp_us"] = fastestWarp;
    state.counters["x_warp"] = fastestCall / fastestWarp;
}

void BM_clcEdgePoint(benchmark::State& state)
{
    EdgeScene scene = edgeScene();
    _EdgePointDetParam param;
    param.direction = LeftToRight;
    param.transition = DarkToLight;
    param.threshold = 50;
    param.smoothWidth = 3;
    param.roi = &scene.roi;
    timeAgainstWarp(state, scene, [&] { return clcEdgePoint(scene.image, param); });
    if (!param.found)
        state.SkipWithError("edge not found");
}
BENCHMARK(BM_clcEdgePoint)->Unit(benchmark::kMicrosecond);

void BM_clcEdgePoints(benchmark::State& state)
{
    EdgeScene scene = edgeScene();
    _EdgePointsDetParam param;
    param.scanAxis = 0;
    param.transition = DarkToLight;
    param.percent = 50;
    param.sigma = 2;
    param.minStrength = 5;
    param.segmentWidth = 5;
    param.segmentStep = 5;
    param.roi = &scene.roi;
    timeAgainstWarp(state, scene, [&] { return clcEdgePoints(scene.image, param, false); });
    if (param.points.size() != 8)
        state.SkipWithError("expected one edge in each of the 8 segments");
}
BENCHMARK(BM_clcEdgePoints)->Unit(benchmark::kMicrosecond);

// The floor: warping the ROI alone, as the tools do.
void BM_warpPerspectiveOfRoi(benchmark::State& state)
{
    EdgeScene scene = edgeScene();
    const RoiWarp warp(scene.roi);
    cv::Mat out;
    for (auto _ : state) {
        warp(scene.image, out);
        benchmark::DoNotOptimize(out.data);
    }
}
BENCHMARK(BM_warpPerspectiveOfRoi)->Unit(benchmark::kMicrosecond);

} // namespace
