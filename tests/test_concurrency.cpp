#include <Functions.h>

#include "Synthetic.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <atomic>
#include <functional>
#include <thread>

// Hosts call the library from several inspection threads at once. Each job below runs a
// tool or operator on its own record; the inputs are shared and only read. Run under the
// thread sanitizer this also checks that the calls share no unguarded state.

namespace {

// A result flattened to numbers, so that every job compares the same way.
using Outcome = std::vector<double>;
using Job = std::function<Outcome()>;

void append(Outcome& outcome, const cv::Mat& image)
{
    outcome.push_back(image.rows);
    outcome.push_back(image.cols);
    const cv::Mat bytes = image.isContinuous() ? image : image.clone();
    outcome.insert(outcome.end(), bytes.data, bytes.data + bytes.total() * bytes.elemSize());
}

void append(Outcome& outcome, const std::vector<cv::Point2d>& points)
{
    outcome.push_back(static_cast<double>(points.size()));
    for (const cv::Point2d& p : points) {
        outcome.push_back(p.x);
        outcome.push_back(p.y);
    }
}

// Dark discs and a tilted bar on a bright background, blurred and noisy.
cv::Mat sceneImage()
{
    synthetic::Scene scene(cv::Size(240, 180), 200);
    scene.fillDisc({60, 60}, 30.3, 40);
    scene.fillDisc({170, 120}, 42.7, 60);
    scene.fillDisc({120, 40}, 9.2, 30);
    scene.fillRotatedRect({80, 140}, 90, 14, 12, 50);
    return scene.toGrey(1.0, 2.0, 7);
}

// The caliper settings the segment-based tools' records share.
template <typename Record, typename Shape>
Record segmentSettings(Shape* roi)
{
    Record r;
    r.transition = BothTransitions;
    r.percent = 30;
    r.sigma = 2;
    r.minStrength = 5;
    r.segmentWidth = 3;
    r.segmentStep = 3;
    r.roi = roi;
    return r;
}

// Each job returns an empty outcome when its tool finds nothing, which fails the test.
std::vector<Job> jobs(const cv::Mat& grey, const cv::Mat& regions)
{
    return {
        // The Gaussian table: whichever thread comes first builds it.
        [] {
            Outcome o;
            for (int k = 0; k <= 100; k += 3) {
                const float* kernel = getOneDimGaussianKernel(k);
                o.insert(o.end(), kernel, kernel + 2 * k + 1);
            }
            return o;
        },
        [&grey] {
            cv::Mat strip = grey(cv::Rect(20, 20, 90, 80)).clone();
            std::vector<cv::Point2d> points;
            clcSegmentPoints(strip, LeftToRight, TopToBottom, BothTransitions, 5, 3, 0, 100, 4, 30.0f, 5.0f, points,
                             3);
            Outcome o;
            if (!points.empty())
                append(o, points);
            return o;
        },
        [&grey] {
            RotateRectROI roi(60, 60, 20.0f, 80.0f, 9.0f);
            _EdgePointDetParam param;
            param.transition = LightToDark;
            param.threshold = 40;
            param.smoothWidth = 3;
            param.roi = &roi;
            cv::Mat image = grey;
            if (!clcEdgePoint(image, param))
                return Outcome();
            Outcome o{param.x, param.y, param.maxGradient};
            append(o, param.image);
            return o;
        },
        // The segment-based tools: the first disc's left side, the bar's upper edge, the
        // second disc as a ring and as an arc over its top, and its diameters.
        [&grey] {
            RotateRectROI roi(30, 60, 0.0f, 30.0f, 40.0f);
            _EdgePointsDetParam param = segmentSettings<_EdgePointsDetParam>(&roi);
            param.transition = LightToDark;
            cv::Mat image = grey;
            Outcome o;
            if (clcEdgePointsAndTransform(image, param))
                append(o, param.points);
            return o;
        },
        [&grey] {
            RotateRectROI roi(81.46, 133.15, 102.0f, 16.0f, 60.0f);
            _EdgeLineDetParam param = segmentSettings<_EdgeLineDetParam>(&roi);
            cv::Mat image = grey;
            if (!clcEdgeLineAndFit(image, param, 0))
                return Outcome();
            Outcome o{param.line[0], param.line[1], param.line[2], param.line[3]};
            append(o, param.edgePoints);
            append(o, param.startEndPoints);
            return o;
        },
        [&grey] {
            RingROI roi(170, 120, 35.0f, 50.0f);
            _CircleDetParam param = segmentSettings<_CircleDetParam>(&roi);
            cv::Mat image = grey;
            if (!clcCirclePointsAndFit(image, param, 0, false, 0, -1.0))
                return Outcome();
            Outcome o{param.centre.x, param.centre.y, param.radius};
            append(o, param.edgePoints);
            return o;
        },
        [&grey] {
            ArcROI roi(170, 120, 35.0f, 50.0f, 30.0f, 150.0f);
            _ArcDetParam param = segmentSettings<_ArcDetParam>(&roi);
            cv::Mat image = grey;
            if (!clcArcPointsAndFit(image, param, 0, false, 0, -1.0))
                return Outcome();
            Outcome o{param.centre.x, param.centre.y, param.radius, param.arcStartAngle, param.arcEndAngle};
            append(o, param.edgePoints);
            return o;
        },
        // The second disc's diameters, the ROI 2 px off so that the calipers are re-aimed.
        [&grey] {
            RingROI roi(171.6, 119.1, 33.0f, 52.0f);
            _CircleDiameterDetParam param = segmentSettings<_CircleDiameterDetParam>(&roi);
            param.caliperCount = 120;
            cv::Mat image = grey;
            if (!clcCircleMulPoints(image, param))
                return Outcome();
            Outcome o{param.centre.x, param.centre.y, param.radius, param.meanDiameter, param.minDiameter,
                      param.minDiameterAngle, param.maxDiameter, param.maxDiameterAngle, param.roundness};
            append(o, param.edgePoints);
            o.insert(o.end(), param.diameters.begin(), param.diameters.end());
            append(o, param.polarImage);
            return o;
        },
        [&regions] {
            cv::Mat selected;
            const QVector<SelectShapeInfo> criteria{{Area, 200, 1e9}, {Rectangularity, 0.5, 1}};
            const QList<ContourLayer> kept = select_shape(regions, selected, criteria, Or);
            Outcome o{static_cast<double>(kept.size())};
            append(o, selected);
            return o;
        },
        [&grey] {
            cv::Mat dst;
            var_threshold(grey, cv::Mat(), dst, 15, 11, 0.5f, 10.0f, Dark);
            Outcome o;
            append(o, dst);
            return o;
        },
        [&regions] {
            Outcome o;
            for (ShapeTransType type : {BoundingRectangle, EnclosingCircle, ConvexHull}) {
                cv::Mat dst;
                shape_trans(regions, dst, type);
                append(o, dst);
            }
            return o;
        },
    };
}

} // namespace

TEST(Concurrency, EightThreadsGetTheSingleThreadedResults)
{
    const cv::Mat grey = sceneImage();
    cv::Mat regions;
    threshold_min_max(grey, regions, 0, 120, cv::Mat());
    const std::vector<Job> work = jobs(grey, regions);
    const size_t jobCount = work.size();

    // The threads start together, each with the jobs in its own rotated order, so that
    // different jobs overlap and the kernel table's first use is contended. Nothing above
    // has touched the table yet.
    constexpr int kThreads = 8;
    constexpr int kRounds = 3;
    std::atomic<bool> go{false};
    std::vector<std::vector<Outcome>> outcomes(kThreads * kRounds, std::vector<Outcome>(jobCount));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            while (!go.load())
                std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round)
                for (size_t k = 0; k < jobCount; ++k) {
                    const size_t job = (k + t) % jobCount;
                    outcomes[t * kRounds + round][job] = work[job]();
                }
        });
    }
    go = true;
    for (std::thread& thread : threads)
        thread.join();

    for (size_t job = 0; job < jobCount; ++job) {
        const Outcome expected = work[job]();
        ASSERT_FALSE(expected.empty()) << "job " << job << " found nothing";
        for (const std::vector<Outcome>& run : outcomes)
            EXPECT_EQ(run[job], expected) << "job " << job;
    }
}
