// The circle diameter tool, 360 calipers of three lines over 1 degree, on a ring of radii
// 130 and 170 around a blurred, noisy disc of radius 150 in a 1280 x 1024 image, against
// the floor it cannot avoid: one remap that unwraps the same ring into as many rows
// (1080 angles x 40 radii), from the image, with maps prepared beforehand.
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
constexpr int kCalipers = 360;
constexpr int kLines = 3;
const cv::Point2d kDiscCentre(640.4, 511.7);
constexpr double kDiscRadius = 150.3;

struct RingScene {
    cv::Mat image;
    RingScene()
    {
        synthetic::Scene scene(cv::Size(1280, 1024), 40);
        scene.fillDisc(kDiscCentre, kDiscRadius, 200);
        image = scene.toGrey(1.0, 2.0);
    }
};

const RingScene& ringScene()
{
    static const RingScene scene;
    return scene;
}

// The unwrap of the ring alone: one row per radial line, one column per pixel of radius.
struct Unwrap {
    cv::Mat source, mapX, mapY, polar;
    Unwrap(const RingScene& scene, const RingROI& roi)
    {
        const int rows = kCalipers * kLines, cols = static_cast<int>(roi.radius2 - roi.radius1);
        const cv::Rect crop(static_cast<int>(roi.centreX - roi.radius2) - 1,
                            static_cast<int>(roi.centreY - roi.radius2) - 1, 2 * static_cast<int>(roi.radius2) + 4,
                            2 * static_cast<int>(roi.radius2) + 4);
        source = scene.image(crop);
        mapX.create(rows, cols, CV_32FC1);
        mapY.create(rows, cols, CV_32FC1);
        for (int i = 0; i < rows; ++i) {
            const double theta = 2 * kPi * i / rows;
            for (int j = 0; j < cols; ++j) {
                const double r = roi.radius1 + j;
                mapX.at<float>(i, j) = static_cast<float>(roi.centreX - crop.x + r * std::cos(theta));
                mapY.at<float>(i, j) = static_cast<float>(roi.centreY - crop.y - r * std::sin(theta));
            }
        }
    }
    void run()
    {
        cv::remap(source, polar, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
        benchmark::DoNotOptimize(polar.data);
    }
};

void diameterTool(benchmark::State& state, cv::Point2d roiOffset)
{
    RingScene scene = ringScene();
    RingROI roi(kDiscCentre.x + roiOffset.x, kDiscCentre.y + roiOffset.y, 130.0f, 170.0f);
    _CircleDiameterDetParam param;
    param.direction = LeftToRight;
    param.transition = LightToDark;
    param.percent = 30;
    param.sigma = 2;
    param.minStrength = 10;
    param.segmentWidth = kLines;
    param.caliperCount = kCalipers;
    param.caliperAngle = 1.0;
    param.roi = &roi;
    const auto tool = [&] { benchmark::DoNotOptimize(clcCircleMulPoints(scene.image, param)); };
    Unwrap unwrap(scene, roi);

    for (auto _ : state)
        tool();
    if (!param.success || std::abs(param.meanDiameter - 2 * kDiscRadius) > 0.1)
        state.SkipWithError("diameter not measured");

    const auto [toolTime, remapTime] = bench::fastestInterleaved(50, 10, tool, [&] { unwrap.run(); });
    state.counters["diameters"] = static_cast<double>(param.diameters.size());
    state.counters["tool_us"] = toolTime * 1e6;
    state.counters["remap_us"] = remapTime * 1e6;
    state.counters["x_remap"] = toolTime / remapTime;
}

// The ROI within a pixel of the disc's centre: one unwrap.
void BM_clcCircleMulPoints(benchmark::State& state)
{
    diameterTool(state, {0.4, -0.3});
}
BENCHMARK(BM_clcCircleMulPoints)->Unit(benchmark::kMicrosecond);

// The ROI 3 px off: the calipers are re-aimed through the fitted centre, a second unwrap.
void BM_clcCircleMulPoints_Reaimed(benchmark::State& state)
{
    diameterTool(state, {2.4, -1.8});
}
BENCHMARK(BM_clcCircleMulPoints_Reaimed)->Unit(benchmark::kMicrosecond);

} // namespace
