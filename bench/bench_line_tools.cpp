// Line tool on a 300 x 60 ROI at 17 degrees (calipers 5 wide, 5 apart) in a 1280 x 1024
// image, against the perspective warp of that ROI alone: the straightening the tool cannot
// avoid. The ratio is taken from interleaved rounds of both, so both see the same
// machine load.

#include <Functions.h>

#include "BenchSupport.h"
#include "Synthetic.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>


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

// Both interleaved; counters: tool_us, warp_us and their ratio (target: at most 2).
void BM_lineToolOverWarp(benchmark::State& state)
{
    LineScene scene = lineScene();
    _EdgeLineDetParam param = lineParam(scene.roi);
    const bench::RoiWarp warp(scene.roi);
    cv::Mat out;
    const auto tool = [&] { benchmark::DoNotOptimize(clcEdgeLineAndFit(scene.image, param, 0)); };
    for (auto _ : state)
        tool();
    if (!param.success || param.edgePoints.size() != 12)
        state.SkipWithError("line not found on every caliper");
    const auto [toolTime, warpTime] = bench::fastestInterleaved(30, 50, tool, [&] { warp(scene.image, out); });
    state.counters["tool_us"] = toolTime * 1e6;
    state.counters["warp_us"] = warpTime * 1e6;
    state.counters["x_warp"] = toolTime / warpTime;
}
BENCHMARK(BM_lineToolOverWarp)->Unit(benchmark::kMicrosecond);

} // namespace
