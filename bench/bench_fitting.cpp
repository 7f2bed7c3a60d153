// Fits on 1,000 noisy edge points. Line and ellipse fits run interleaved with their
// OpenCV peers in the same benchmark, so the reported ratio ours_over_peer is taken under
// the same machine load; circle fits have no peer and report points per second.

#include <Functions.h>

#include "BenchSupport.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {

constexpr int kPoints = 1000;

// Points of an ellipse (or circle, or with one huge axis nearly a line) with seeded noise
// and 5% outliers, as a caliper scan of a real edge gives them.
std::vector<cv::Point2d> noisyPoints(double a, double b, double arcDeg)
{
    cv::RNG rng(5);
    std::vector<cv::Point2d> pts;
    for (int i = 0; i < kPoints; ++i) {
        const double t = (i * arcDeg / kPoints - arcDeg / 2) * CV_PI / 180;
        const double off = rng.gaussian(0.3) + (i % 20 == 7 ? rng.uniform(5.0, 20.0) : 0.0);
        const double x = a * std::cos(t), y = b * std::sin(t);
        const double n = std::hypot(b * std::cos(t), a * std::sin(t));
        pts.emplace_back(640 + x + off * b * std::cos(t) / n, 512 + y + off * a * std::sin(t) / n);
    }
    return pts;
}

std::vector<cv::Point2d> linePoints()
{
    // A 0.2 degree arc of a huge circle, rotated: a line of about 500 px with a gentle sag
    // below the noise.
    std::vector<cv::Point2d> pts = noisyPoints(150000, 150000, 0.2);
    for (cv::Point2d& p : pts)
        p = cv::Point2d(p.y, p.x - 150000 + 100);
    return pts;
}

std::vector<cv::Point2f> toFloat(const std::vector<cv::Point2d>& pts)
{
    return std::vector<cv::Point2f>(pts.begin(), pts.end());
}

// Times our fit in the loop, then reports it against the peer's from interleaved rounds.
template <typename Ours, typename Peer>
void interleaved(benchmark::State& state, Ours ours, Peer peer)
{
    for (auto _ : state)
        ours();
    const auto [oursTime, peerTime] = bench::fastestInterleaved(30, 20, ours, peer);
    state.counters["ours_us"] = oursTime * 1e6;
    state.counters["peer_us"] = peerTime * 1e6;
    state.counters["ours_over_peer"] = oursTime / peerTime;
}

void lineAgainstPeer(benchmark::State& state, FitLineType type, cv::DistanceTypes peerDistance)
{
    std::vector<cv::Point2d> pts = linePoints();
    const std::vector<cv::Point2f> ptsF = toFloat(pts);
    cv::Vec4d line;
    cv::Vec4f peerLine;
    interleaved(
        state, [&] { fitLine(pts, line, type, 0); benchmark::DoNotOptimize(line); },
        [&] { cv::fitLine(ptsF, peerLine, peerDistance, 0, 0.01, 0.01); benchmark::DoNotOptimize(peerLine); });
}

void BM_fitLineLeastSquares_vs_cvL2(benchmark::State& state)
{
    lineAgainstPeer(state, FitLineLeastSquares, cv::DIST_L2);
}
BENCHMARK(BM_fitLineLeastSquares_vs_cvL2)->Unit(benchmark::kMicrosecond);

void BM_fitLineTukey_vs_cvHuber(benchmark::State& state) { lineAgainstPeer(state, FitLineTukey, cv::DIST_HUBER); }
BENCHMARK(BM_fitLineTukey_vs_cvHuber)->Unit(benchmark::kMicrosecond);

void BM_fitEllipseLeastSquares_vs_cvDirect(benchmark::State& state)
{
    std::vector<cv::Point2d> pts = noisyPoints(180, 95, 360);
    const std::vector<cv::Point2f> ptsF = toFloat(pts);
    cv::RotatedRect box, peerBox;
    interleaved(
        state, [&] { benchmark::DoNotOptimize(fitEllipse(pts, box, FitEllipseLeastSquares, 0)); },
        [&] { peerBox = cv::fitEllipseDirect(ptsF); benchmark::DoNotOptimize(peerBox); });
}
BENCHMARK(BM_fitEllipseLeastSquares_vs_cvDirect)->Unit(benchmark::kMicrosecond);

void BM_fitCircle(benchmark::State& state)
{
    std::vector<cv::Point2d> pts = noisyPoints(150, 150, 360);
    const auto type = static_cast<FitCircleType>(state.range(0));
    cv::Point2d centre;
    double radius = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(fitCircle(pts, centre, radius, type));
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(BM_fitCircle)->ArgName("type")->Arg(FitCircleLeastSquares)->Arg(FitCircleTukey)->Arg(FitCircleTaubin)
    ->Unit(benchmark::kMicrosecond);

} // namespace
