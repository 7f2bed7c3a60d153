// Edge point tool on a 200 x 40 caliper, against the perspective warp of the same ROI
// (the straightening it cannot avoid), measured in the same run.

#include <Functions.h>

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

void BM_clcEdgePoint(benchmark::State& state)
{
    EdgeScene scene = edgeScene();
    _EdgePointDetParam param;
    param.direction = LeftToRight;
    param.transition = DarkToLight;
    param.threshold = 50;
    param.smoothWidth = 3;
    param.roi = &scene.roi;
    for (auto _ : state) {
        benchmark::DoNotOptimize(clcEdgePoint(scene.image, param));
    }
    if (!param.found)
        state.SkipWithError("edge not found");
}
BENCHMARK(BM_clcEdgePoint)->Unit(benchmark::kMicrosecond);

// The floor: warping the ROI alone, as the tool does.
void BM_warpPerspectiveOfRoi(benchmark::State& state)
{
    EdgeScene scene = edgeScene();
    QPolygonF corners = getCornerPoints(&scene.roi);
    cv::Point2f src[4], dst[4] = {{0, 0}, {200, 0}, {200, 40}, {0, 40}};
    for (int i = 0; i < 4; ++i)
        src[i] = cv::Point2f(static_cast<float>(corners[i].x()), static_cast<float>(corners[i].y()));
    const cv::Mat m = cv::getPerspectiveTransform(src, dst);
    cv::Mat out;
    for (auto _ : state) {
        cv::warpPerspective(scene.image, out, m, cv::Size(200, 40), cv::INTER_LINEAR, cv::BORDER_CONSTANT, 0);
        benchmark::DoNotOptimize(out.data);
    }
}
BENCHMARK(BM_warpPerspectiveOfRoi)->Unit(benchmark::kMicrosecond);

} // namespace
