// Skew estimate on a 1280 x 1024 page of print against the direct rule it replaces (cos
// and sin per vote), and the grid ordering of 400 matching results against the n log n
// simple order, each pair measured in the same run.

#include <Functions.h>

#include "SkewVotes_p.h"
#include "Synthetic.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

const cv::Mat& printedPage()
{
    static const cv::Mat page = [] {
        synthetic::Scene scene(cv::Size(1280, 1024), 40);
        for (int line = 0; line < 10; ++line)
            scene.drawText("LOT 2611 A7  SN 0042-" + std::to_string(17 * line) + "  REV C", {640, 100.0 + 90 * line},
                           30, 3.0, 220);
        return scene.toGrey(0.8, 2.0);
    }();
    return page;
}

// The whole estimate with the direct vote: the same edge image, one cos and sin per vote.
double skewByDirectRule(const cv::Mat& image)
{
    cv::Mat edges, accumulator;
    skew_votes::horizontalEdges(image, edges);
    skew_votes::voteDirect(edges, accumulator);
    return skew_votes::peakAngle(accumulator);
}

void BM_clcHorizontalSkew(benchmark::State& state)
{
    cv::Mat image = printedPage().clone();
    double skew = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(skew = clcHorizontalSkew(image));
    if (skew != skewByDirectRule(image))
        state.SkipWithError("differs from the direct rule");
    state.counters["skew_deg"] = skew;
}
BENCHMARK(BM_clcHorizontalSkew)->Unit(benchmark::kMillisecond);

// Baseline: the direct rule.
void BM_clcHorizontalSkewDirectRule(benchmark::State& state)
{
    const cv::Mat& image = printedPage();
    for (auto _ : state)
        benchmark::DoNotOptimize(skewByDirectRule(image));
}
BENCHMARK(BM_clcHorizontalSkewDirectRule)->Unit(benchmark::kMillisecond);

// 400 results in a 20 x 20 grid, pitch 60, turned 6 degrees counter-clockwise on screen,
// jittered by up to 4 px and shuffled.
const std::vector<_MatchingResult>& matchedGrid()
{
    static const std::vector<_MatchingResult> results = [] {
        const double t = 6.0 * 3.141592653589793 / 180.0;
        std::mt19937 rng(5);
        std::uniform_int_distribution<int> jitter(-4, 4);
        std::vector<_MatchingResult> v;
        for (int r = 0; r < 20; ++r) {
            for (int c = 0; c < 20; ++c) {
                _MatchingResult m;
                m.x = static_cast<int>(std::lround(100 + 60 * c * std::cos(t) + 60 * r * std::sin(t))) + jitter(rng);
                m.y = static_cast<int>(std::lround(200 - 60 * c * std::sin(t) + 60 * r * std::cos(t))) + jitter(rng);
                m.reserved = r * 20 + c;
                v.push_back(m);
            }
        }
        std::shuffle(v.begin(), v.end(), rng);
        return v;
    }();
    return results;
}

void BM_sortMatchingResultSerpentine(benchmark::State& state)
{
    std::vector<_MatchingResult> v;
    for (auto _ : state) {
        v = matchedGrid();
        sortMatchingResult(v, SortSnakeRowsYAscendXAscend, 6.0f, static_cast<int>(state.range(0)));
        benchmark::DoNotOptimize(v.data());
    }
    for (size_t i = 0; i < v.size(); ++i) {
        const int row = static_cast<int>(i) / 20, step = static_cast<int>(i) % 20;
        if (v[i].reserved != row * 20 + (row % 2 == 0 ? step : 19 - step)) {
            state.SkipWithError("not a serpentine");
            break;
        }
    }
}
// -1: automatic tolerance (adds the all-pairs distance search); 20: given.
BENCHMARK(BM_sortMatchingResultSerpentine)->Arg(-1)->Arg(20)->Unit(benchmark::kMicrosecond);

// Peer: the n log n simple order on the same records.
void BM_sortMatchingResultByY(benchmark::State& state)
{
    std::vector<_MatchingResult> v;
    for (auto _ : state) {
        v = matchedGrid();
        sortMatchingResult(v, SortCenterYAscend);
        benchmark::DoNotOptimize(v.data());
    }
}
BENCHMARK(BM_sortMatchingResultByY)->Unit(benchmark::kMicrosecond);

} // namespace
