// Region operators against their peers, measured in the same run:
//  - var_threshold (1024 x 1024, full mask, window 15 x 15) against the plain rule that
//    gathers a list per pixel, parallel over rows in the same way;
//  - dyn_threshold against cv::compare of the same images;
//  - select_shape with two criteria on 2,000 blobs against connected-component statistics
//    with the same filtering and painting;
//  - shape_trans on the same blobs against one serial pass painting every shape.
// Each library benchmark reports peer_seconds / library_seconds as "speedup" (above 1: the
// library is faster), both timed in interleaved rounds after the loop.

#include <Functions.h>

#include "../tests/RegionReference.h"
#include "BenchSupport.h"
#include "Synthetic.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>


namespace {

// Times the loop, then reports the peer's time over the library's from interleaved rounds
// of one call each (`rounds` of them: the plain rules take long).
template <typename Peer, typename Body>
void timeAgainstPeer(benchmark::State& state, int rounds, Peer peer, Body body)
{
    for (auto _ : state)
        body();
    const auto [ours, theirs] = bench::fastestInterleaved(rounds, 1, body, peer);
    state.counters["peer_ms"] = theirs * 1e3;
    state.counters["speedup"] = theirs / ours;
}

// A textured part: bright and dark shapes on a mid-grey ground, blurred, with noise.
const cv::Mat& texturedImage()
{
    static const cv::Mat image = [] {
        synthetic::Scene scene(cv::Size(1024, 1024), 110);
        cv::RNG rng(4);
        for (int k = 0; k < 60; ++k)
            scene.fillDisc({rng.uniform(0.0, 1024.0), rng.uniform(0.0, 1024.0)}, rng.uniform(5.0, 60.0),
                           rng.uniform(20.0, 240.0));
        return scene.toGrey(1.5, 6.0, 3);
    }();
    return image;
}

// The plain rule, parallel over rows with as many stripes as the library uses.
void plainVarThreshold(const cv::Mat& src, cv::Mat& dst)
{
    dst = cv::Mat::zeros(src.size(), CV_8UC1);
    const int stripes = std::min(src.rows, std::max(1, std::min(cv::getNumberOfCPUs(), cv::getNumThreads())));
    cv::parallel_for_(
        cv::Range(0, src.rows),
        [&](const cv::Range& r) {
            reference::varThresholdRows(src, cv::Mat(), dst, 15, 15, 0.6f, 4.0f, Light, r.start, r.end);
        },
        stripes);
}

void BM_var_threshold(benchmark::State& state)
{
    const cv::Mat& src = texturedImage();
    const cv::Mat mask(src.size(), CV_8UC1, cv::Scalar(255));
    cv::Mat plain, dst;
    plainVarThreshold(src, plain);
    var_threshold(src, mask, dst, 15, 15, 0.6f, 4.0f, Light);
    if (cv::countNonZero(dst != plain) != 0) {
        state.SkipWithError("output differs from the plain rule");
        return;
    }
    timeAgainstPeer(state, 2, [&] { plainVarThreshold(src, plain); }, [&] {
        var_threshold(src, mask, dst, 15, 15, 0.6f, 4.0f, Light);
        benchmark::DoNotOptimize(dst.data);
    });
    state.counters["selected"] = cv::countNonZero(dst);
}
BENCHMARK(BM_var_threshold)->Unit(benchmark::kMillisecond);

void BM_var_threshold_plainRule(benchmark::State& state)
{
    const cv::Mat& src = texturedImage();
    cv::Mat dst;
    for (auto _ : state) {
        plainVarThreshold(src, dst);
        benchmark::DoNotOptimize(dst.data);
    }
}
BENCHMARK(BM_var_threshold_plainRule)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_dyn_threshold(benchmark::State& state)
{
    const cv::Mat& src = texturedImage();
    cv::Mat ref, dst, compared;
    cv::blur(src, ref, cv::Size(31, 31));
    const auto compare = [&] { cv::compare(src, ref, compared, cv::CMP_GE); };
    compare();
    dyn_threshold(src, ref, dst, 0, Light);
    if (cv::countNonZero(dst != compared) != 0) {
        state.SkipWithError("output differs from cv::compare");
        return;
    }
    timeAgainstPeer(state, 20, compare, [&] {
        dyn_threshold(src, ref, dst, 0, Light);
        benchmark::DoNotOptimize(dst.data);
    });
}
BENCHMARK(BM_dyn_threshold)->Unit(benchmark::kMicrosecond);

void BM_compare(benchmark::State& state)
{
    const cv::Mat& src = texturedImage();
    cv::Mat ref, dst;
    cv::blur(src, ref, cv::Size(31, 31));
    for (auto _ : state) {
        cv::compare(src, ref, dst, cv::CMP_GE);
        benchmark::DoNotOptimize(dst.data);
    }
}
BENCHMARK(BM_compare)->Unit(benchmark::kMicrosecond);

// 2,000 blobs (rectangles and discs of assorted sizes, some with a hole) in a 50 x 40 grid.
const cv::Mat& blobImage()
{
    static const cv::Mat image = [] {
        cv::Mat blobs = cv::Mat::zeros(1000, 1000, CV_8UC1);
        cv::RNG rng(8);
        for (int row = 0; row < 40; ++row)
            for (int column = 0; column < 50; ++column) {
                const cv::Point corner(column * 20 + 2, row * 25 + 2);
                if (rng.uniform(0, 2) == 0) {
                    const cv::Rect box(corner, cv::Size(rng.uniform(2, 17), rng.uniform(2, 21)));
                    blobs(box).setTo(255);
                    if (box.width > 8 && box.height > 8)
                        blobs(cv::Rect(box.x + 3, box.y + 3, 3, 3)).setTo(0);
                } else {
                    cv::circle(blobs, corner + cv::Point(8, 10), rng.uniform(1, 9), cv::Scalar(255), cv::FILLED);
                }
            }
        return blobs;
    }();
    return image;
}

// Two selections: width 8..14 with area 40..150 keeps about a quarter of the blobs; width
// 16 with area 200..260 keeps a few. Every kept region carries a full copy of the contour
// list, which the first selection pays for 500-odd times.
struct Selection {
    int minWidth, maxWidth;
    double minArea, maxArea;
};
constexpr Selection kSelections[] = {{8, 14, 40, 150}, {16, 16, 200, 260}};

void componentSelection(const cv::Mat& image, const Selection& selection, cv::Mat& selected)
{
    cv::Mat labels, stats, centroids;
    const int n = cv::connectedComponentsWithStats(image, labels, stats, centroids, 8, CV_32S);
    std::vector<uchar> keep(n, 0);
    for (int i = 1; i < n; ++i) {
        const int width = stats.at<int>(i, cv::CC_STAT_WIDTH);
        const int area = stats.at<int>(i, cv::CC_STAT_AREA);
        keep[i] = width >= selection.minWidth && width <= selection.maxWidth && area >= selection.minArea &&
                  area <= selection.maxArea;
    }
    selected.create(image.size(), CV_8UC1);
    for (int y = 0; y < image.rows; ++y) {
        const int* l = labels.ptr<int>(y);
        uchar* s = selected.ptr<uchar>(y);
        for (int x = 0; x < image.cols; ++x)
            s[x] = keep[l[x]] ? 255 : 0;
    }
}

void BM_select_shape(benchmark::State& state)
{
    const cv::Mat& image = blobImage();
    const Selection& selection = kSelections[state.range(0)];
    const QVector<SelectShapeInfo> criteria{
        {Width, static_cast<double>(selection.minWidth), static_cast<double>(selection.maxWidth)},
        {Area, selection.minArea, selection.maxArea}};
    cv::Mat selected, peerSelected;
    int kept = 0;
    timeAgainstPeer(state, 10, [&] { componentSelection(image, selection, peerSelected); }, [&] {
        kept = select_shape(image, selected, criteria, And).size();
        benchmark::DoNotOptimize(selected.data);
    });
    state.counters["kept"] = kept;
}
BENCHMARK(BM_select_shape)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The parallel stripes each paint into an image of their own, merged afterwards; the
// serial pass paints straight into one.
void BM_shape_trans(benchmark::State& state)
{
    const cv::Mat& image = blobImage();
    const auto type = static_cast<ShapeTransType>(state.range(0));
    cv::Mat shapes;
    timeAgainstPeer(state, 10, [&] { benchmark::DoNotOptimize(reference::serialShapes(image, type).data); }, [&] {
        shape_trans(image, shapes, type);
        benchmark::DoNotOptimize(shapes.data);
    });
}
BENCHMARK(BM_shape_trans)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void BM_componentSelection(benchmark::State& state)
{
    const cv::Mat& image = blobImage();
    cv::Mat selected;
    for (auto _ : state) {
        componentSelection(image, kSelections[state.range(0)], selected);
        benchmark::DoNotOptimize(selected.data);
    }
    state.counters["regions"] = cv::connectedComponents(image, selected) - 1;
}
BENCHMARK(BM_componentSelection)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace
