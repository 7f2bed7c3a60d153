// Edge point tools on a 200 x 40 caliper (one averaged caliper, and the segment caliper
// with segments 5 wide every 5 lines), against the perspective warp of the same ROI (the
// straightening they cannot avoid), measured in the same run: x_warp is the ratio.

#include <Functions.h>

#include "BenchSupport.h"
#include "Synthetic.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>


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

// Times the tool call, then reports its ratio to the warp of its ROI alone.
template <typename Call>
void timeAgainstWarp(benchmark::State& state, const EdgeScene& scene, Call&& call)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(call());

    const bench::RoiWarp warp(scene.roi);
    cv::Mat out;
    const auto [toolTime, warpTime] = bench::fastestInterleaved(
        30, 100, [&] { benchmark::DoNotOptimize(call()); }, [&] { warp(scene.image, out); });
    state.counters["tool_us"] = toolTime * 1e6;
    state.counters["warp_us"] = warpTime * 1e6;
    state.counters["x_warp"] = toolTime / warpTime;
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

} // namespace
