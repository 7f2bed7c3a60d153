// The circle tool on a ring of radii 120 and 160 around a blurred, noisy disc in a
// 1280 x 1024 image, against the floor it cannot avoid: the remap that unwraps the ring
// (1006 angles x 41 radii) with maps prepared beforehand.
//
// The ratio x_remap is measured in the same run: short rounds of the tool and of the
// remap alternate, and the fastest round of each is compared, which keeps the ratio
// meaningful on a shared, noisy machine.

#include <Functions.h>

#include "BenchSupport.h"
#include "Synthetic.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {

constexpr double kPi = 3.141592653589793;

struct RingScene {
    cv::Mat image;
    RingROI roi{641.0, 511.0, 120.0f, 160.0f};
    RingScene()
    {
        synthetic::Scene scene(cv::Size(1280, 1024), 40);
        scene.fillDisc({640.4, 511.7}, 140.3, 200);
        image = scene.toGrey(1.0, 2.0);
    }
};

const RingScene& ringScene()
{
    static const RingScene scene;
    return scene;
}

// The crop the tool unwraps and the maps of its unwrap: one row per angle, one column
// per radius, about the crop's centre.
struct Unwrap {
    cv::Mat crop, mapX, mapY, polar;
    explicit Unwrap(const RingScene& scene)
    {
        const int outer = 160, inner = 120, rows = static_cast<int>(std::ceil(outer * 2 * kPi));
        scene.image(cv::Rect(641 - outer, 511 - outer, 2 * outer + 1, 2 * outer + 1)).copyTo(crop);
        mapX.create(rows, outer - inner + 1, CV_32FC1);
        mapY.create(rows, outer - inner + 1, CV_32FC1);
        for (int i = 0; i < rows; ++i) {
            const double theta = 2 * kPi * i / rows;
            for (int j = 0; j < mapX.cols; ++j) {
                mapX.at<float>(i, j) = static_cast<float>((inner + j) * std::cos(theta) + outer);
                mapY.at<float>(i, j) = static_cast<float>((inner + j) * std::sin(theta) + outer);
            }
        }
    }
    void run()
    {
        cv::remap(crop, polar, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
        benchmark::DoNotOptimize(polar.data);
    }
};

void circleTool(benchmark::State& state, bool bestEdgePerCaliper, double outlierDistance)
{
    RingScene scene = ringScene();
    _CircleDetParam param;
    param.direction = LeftToRight;
    param.transition = LightToDark;
    param.percent = 30;
    param.sigma = 2;
    param.minStrength = 10;
    param.segmentWidth = 3;
    param.segmentStep = 2;
    param.roi = &scene.roi;
    const auto tool = [&] {
        benchmark::DoNotOptimize(clcCirclePointsAndFit(scene.image, param, 0, bestEdgePerCaliper, 0, outlierDistance));
    };
    Unwrap unwrap(scene);

    for (auto _ : state)
        tool();
    if (!param.success || std::abs(param.radius - 140.3) > 0.1)
        state.SkipWithError("circle not found");

    const auto [toolTime, remapTime] = bench::fastestInterleaved(50, 10, tool, [&] { unwrap.run(); });
    state.counters["points"] = static_cast<double>(param.edgePoints.size());
    state.counters["tool_us"] = toolTime * 1e6;
    state.counters["remap_us"] = remapTime * 1e6;
    state.counters["x_remap"] = toolTime / remapTime;
}

// One edge per caliper, no outlier removal: the plain circle tool.
void BM_clcCirclePointsAndFit(benchmark::State& state)
{
    circleTool(state, false, -1.0);
}
BENCHMARK(BM_clcCirclePointsAndFit)->Unit(benchmark::kMicrosecond);

// Every edge of every caliper, the best kept, and outliers beyond 3 px removed.
void BM_clcCirclePointsAndFit_BestEdgeAndOutliers(benchmark::State& state)
{
    circleTool(state, true, 3.0);
}
BENCHMARK(BM_clcCirclePointsAndFit_BestEdgeAndOutliers)->Unit(benchmark::kMicrosecond);

} // namespace
