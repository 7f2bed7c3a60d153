#include <Functions.h>

#include "Synthetic.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

// 100 x 60 grey image whose columns take the given values from x = 30 on (the columns
// an upright 40-wide caliper centred at x = 50 reads); other columns copy the nearest.
cv::Mat columnsImage(const std::vector<int>& fromX30)
{
    cv::Mat image(60, 100, CV_8U);
    for (int x = 0; x < 100; ++x) {
        const int k = std::min(std::max(x - 30, 0), static_cast<int>(fromX30.size()) - 1);
        image.col(x).setTo(fromX30[k]);
    }
    return image;
}

cv::Mat stepImage(int stepColumn, int dark, int bright)
{
    cv::Mat image(60, 100, CV_8U, cv::Scalar(dark));
    image.colRange(stepColumn, 100).setTo(bright);
    return image;
}

_EdgePointDetParam makeParam(RotateRectROI* roi, int direction, int transition, int threshold)
{
    _EdgePointDetParam p;
    p.direction = static_cast<ClcDirection>(direction);
    p.transition = static_cast<EdgeTransition>(transition);
    p.threshold = threshold;
    p.roi = roi;
    return p;
}

} // namespace

TEST(EdgePoint, DirectionPolarityAndThresholdPickTheStep)
{
    cv::Mat image = stepImage(50, 20, 200);
    RotateRectROI roi(50, 30, 0, 40, 10);

    // Forward, dark to light: the step's first bright column, on the centre line.
    auto p = makeParam(&roi, LeftToRight, DarkToLight, 50);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.y, 30);
    EXPECT_DOUBLE_EQ(p.maxGradient, 180);
    EXPECT_EQ(p.image.size(), cv::Size(40, 10));
    ASSERT_EQ(p.gradient.size(), 40u);
    EXPECT_EQ(p.gradient[0], 0); // the first sample in scan order has no predecessor

    // A reverse scan sees the step falling and finds the last dark column; both transitions
    // take the magnitude; out-of-range transitions act as dark-to-light. The threshold is
    // divided by 100.5: 100 * 180 / 100.5 < 180 still passes, 101 does not.
    const struct {
        int direction, transition, threshold;
        double x; // 0: nothing found
    } rows[] = {{LeftToRight, DarkToLight, 50, 50}, {RightToLeft, DarkToLight, 50, 0}, {RightToLeft, LightToDark, 50, 49},
                {RightToLeft, BothTransitions, 50, 49}, {LeftToRight, 7, 50, 50},     {RightToLeft, -3, 50, 0},
                {LeftToRight, DarkToLight, 100, 50}, {LeftToRight, DarkToLight, 101, 0}};
    for (const auto& row : rows) {
        p = makeParam(&roi, row.direction, row.transition, row.threshold);
        EXPECT_EQ(clcEdgePoint(image, p), row.x > 0) << row.direction << " " << row.transition << " " << row.threshold;
        EXPECT_EQ(p.found, row.x > 0);
        EXPECT_DOUBLE_EQ(p.x, row.x) << row.direction << " " << row.transition << " " << row.threshold;
    }
    // Nothing found, yet the straightened image and the strength curve are there to show.
    EXPECT_EQ(p.image.size(), cv::Size(40, 10));
    EXPECT_EQ(p.gradient.size(), 40u);
    EXPECT_DOUBLE_EQ(p.maxGradient, 180);
}

TEST(EdgePoint, TheLastSampleCanWin)
{
    // Strength rising to the very end of the scan (plateau centres are pinned by the
    // multi-edge tool, whose first peak this tool shares).
    std::vector<int> convex(20);
    for (int c = 0; c < 20; ++c)
        convex[c] = c * (c + 1) / 2;
    RotateRectROI shortRoi(40, 30, 0, 20, 10);
    cv::Mat image = columnsImage(convex);
    auto p = makeParam(&shortRoi, LeftToRight, DarkToLight, 10);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.x, 30 + 19);
}

TEST(EdgePoint, CleaningAndSmoothingShapeTheCurve)
{
    cv::Mat image = stepImage(50, 20, 200);
    RotateRectROI roi(50, 30, 0, 40, 10);

    // A width-3 average spreads the single peak over three equal samples: centre stays.
    auto p = makeParam(&roi, LeftToRight, DarkToLight, 50);
    p.smoothWidth = 3;
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.maxGradient, 60);
    EXPECT_DOUBLE_EQ(p.gradient[19], 60);
    EXPECT_DOUBLE_EQ(p.gradient[21], 60);
    EXPECT_DOUBLE_EQ(p.x, 50);

    // An even width leans left (window i-2 .. i+1): the spike spreads over 19..22.
    p.smoothWidth = 4;
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.gradient[18], 0);
    EXPECT_DOUBLE_EQ(p.gradient[19], 45);
    EXPECT_DOUBLE_EQ(p.gradient[22], 45);
    EXPECT_DOUBLE_EQ(p.gradient[23], 0);
    EXPECT_DOUBLE_EQ(p.x, 50.5);

    // Truncated windows at the ends divide by the samples present: a step at the very
    // first column of a 40-wide caliper gives a spike at 1, averaged over [0, 1] at 0.
    cv::Mat early = stepImage(31, 20, 200);
    p.smoothWidth = 3;
    ASSERT_TRUE(clcEdgePoint(early, p));
    EXPECT_DOUBLE_EQ(p.gradient[0], 90);
    EXPECT_DOUBLE_EQ(p.gradient[1], 60);

    // A minimum strength above every response leaves an all-zero curve.
    p = makeParam(&roi, LeftToRight, DarkToLight, 0);
    p.minGradient = 181;
    EXPECT_FALSE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.maxGradient, 0);
}

TEST(EdgePoint, RotatedCalipersMapBackThroughTheirAngle)
{
    // At 90 degrees the caliper walks down the image.
    cv::Mat image(60, 100, CV_8U, cv::Scalar(20));
    image.rowRange(35, 60).setTo(200);
    RotateRectROI down(50, 30, 90, 40, 10);
    auto p = makeParam(&down, LeftToRight, DarkToLight, 50);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_NEAR(p.x, 50, 1e-5);
    EXPECT_NEAR(p.y, 35, 1e-5);

    // An anti-aliased edge at 30 degrees through (160.3, 120.7): the point lies on the
    // caliper's centre line within half a sample (whole samples or plateau centres).
    for (double angle : {30.0, -137.0}) {
        const cv::Point2d edge(160.3, 120.7);
        synthetic::Scene scene(cv::Size(320, 240), 30);
        scene.fillHalfPlane(edge, angle, 210);
        cv::Mat grey = scene.toGrey(0.7);
        RotateRectROI roi(edge.x, edge.y, static_cast<float>(angle), 60, 12);
        p = makeParam(&roi, LeftToRight, DarkToLight, 50);
        ASSERT_TRUE(clcEdgePoint(grey, p)) << angle;
        EXPECT_LT(std::hypot(p.x - edge.x, p.y - edge.y), 0.75) << angle;
    }
}

TEST(EdgePoint, BadInputIsRefusedWithoutTouchingTheOutputs)
{
    cv::Mat image = stepImage(50, 20, 200);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const float nanf = std::numeric_limits<float>::quiet_NaN();
    std::vector<RotateRectROI> refused = {
        {50, 30, 0, 0.5f, 10}, {50, 30, 0, 40, 0.99f}, {50, 30, 0, nanf, 10},    {50, 30, nanf, 40, 10},
        {nan, 30, 0, 40, 10},  {50, 30, 0, 1e9f, 10},  {50, 30, 0, 40, 40000.0f}, {1e300, 30, 0, 40, 10}, {1e10, 30, 0, 40, 10},
    };
    for (RotateRectROI& roi : refused) {
        auto p = makeParam(&roi, LeftToRight, DarkToLight, 50);
        p.found = true;
        p.gradient = {1, 2, 3};
        p.x = 7;
        EXPECT_FALSE(clcEdgePoint(image, p));
        EXPECT_FALSE(p.found);
        EXPECT_TRUE(p.image.empty());
        EXPECT_EQ(p.gradient.size(), 3u);
        EXPECT_EQ(p.x, 7);
    }

    RotateRectROI roi(50, 30, 0, 40, 10);
    auto p = makeParam(nullptr, LeftToRight, DarkToLight, 50);
    EXPECT_FALSE(clcEdgePoint(image, p));
    p.roi = &roi;
    cv::Mat empty;
    EXPECT_FALSE(clcEdgePoint(empty, p));
    cv::Mat floating(60, 100, CV_32F, cv::Scalar(1));
    EXPECT_FALSE(clcEdgePoint(floating, p));
    cv::Mat twoChannels(60, 100, CV_8UC2, cv::Scalar(1, 1));
    EXPECT_FALSE(clcEdgePoint(twoChannels, p));

    // A ROI wholly outside the image reads the zero border: nothing to find, no crash.
    RotateRectROI outside(-500, -500, 20, 40, 10);
    p.roi = &outside;
    EXPECT_FALSE(clcEdgePoint(image, p));
    cv::Mat tiny(1, 1, CV_8U, cv::Scalar(255));
    RotateRectROI overTiny(0, 0, 0, 10, 3);
    p.roi = &overTiny;
    EXPECT_TRUE(clcEdgePoint(tiny, p)); // the lone bright pixel rises out of the zero border
}

namespace {

_EdgesDetParam edgesParam(ROI* roi, int direction, int transition, int threshold)
{
    _EdgesDetParam p;
    p.direction = static_cast<ClcDirection>(direction);
    p.transition = static_cast<EdgeTransition>(transition);
    p.threshold = threshold;
    p.roi = roi;
    return p;
}

// Bright (200) image with dark (40) vertical slots over the given column ranges.
cv::Mat slotsImage(const std::vector<std::pair<int, int>>& slots)
{
    cv::Mat image(100, 200, CV_8U, cv::Scalar(200));
    for (auto [from, to] : slots)
        image.colRange(from, to).setTo(40);
    return image;
}

_MulEdgePointDetParam pairsParam(RotateRectROI* roi, int segmentWidth, int segmentStep)
{
    _MulEdgePointDetParam p;
    p.transition = BothTransitions;
    p.threshold = 50;
    p.segmentWidth = segmentWidth;
    p.segmentStep = segmentStep;
    p.roi = roi;
    return p;
}

} // namespace

TEST(Edges, EveryPeakInScanOrderWithItsPolarity)
{
    // Columns from x = 30: 20 up to 10, a bright bar 10..19, 20 again, 120 from 30 on.
    std::vector<int> bar(40, 20);
    for (int c = 10; c < 20; ++c)
        bar[c] = 200;
    for (int c = 30; c < 40; ++c)
        bar[c] = 120;
    cv::Mat image = columnsImage(bar);
    RotateRectROI roi(50, 30, 0, 40, 10);
    auto p = edgesParam(&roi, LeftToRight, BothTransitions, 30);
    ASSERT_TRUE(clcEdges(image, p));
    EXPECT_EQ(p.positions, (std::vector<float>{10, 20, 30}));
    EXPECT_EQ(p.polarities, (std::vector<int>{-1, 1, -1}));
    EXPECT_FLOAT_EQ(p.maxGradient, 180);
    // Backwards the same walls come in reverse order, measured from the other side.
    p = edgesParam(&roi, RightToLeft, BothTransitions, 30);
    ASSERT_TRUE(clcEdges(image, p));
    EXPECT_EQ(p.positions, (std::vector<float>{29, 19, 9}));
    EXPECT_EQ(p.polarities, (std::vector<int>{1, -1, 1}));
    p = edgesParam(&roi, LeftToRight, DarkToLight, 30);
    ASSERT_TRUE(clcEdges(image, p));
    EXPECT_EQ(p.positions, (std::vector<float>{10, 30}));

    // Row profiles (directions 2 and 3) of the transposed picture give the same positions.
    cv::Mat transposed = image.t();
    RotateRectROI upright(30, 50, 0, 10, 40);
    p = edgesParam(&upright, BottomToTop, BothTransitions, 30);
    ASSERT_TRUE(clcEdges(transposed, p));
    EXPECT_EQ(p.positions, (std::vector<float>{29, 19, 9}));
    EXPECT_EQ(p.gradient.size(), 40u);

    // A plateau gives its centre and the polarity of its first sample; once past a peak the
    // curve must rise again: strengths 100, 80, 80 give one peak, not a second at the flat.
    std::vector<int> profile = {0, 0, 0, 0, 0, 25, 50, 75, 100, 100, 100, 150, 190, 230};
    profile.resize(40, 230);
    image = columnsImage(profile);
    p = edgesParam(&roi, LeftToRight, DarkToLight, 10);
    ASSERT_TRUE(clcEdges(image, p));
    EXPECT_EQ(p.positions, (std::vector<float>{6.5, 11}));
    EXPECT_EQ(p.polarities, (std::vector<int>{-1, -1}));

    // Nothing above the threshold: the curve is there to show, the lists start empty.
    p.threshold = 101;
    EXPECT_FALSE(clcEdges(image, p));
    EXPECT_TRUE(p.positions.empty() && p.polarities.empty());
    EXPECT_EQ(p.gradient.size(), 40u);

    // An upright RectROI reads the same columns.
    RectROI rect(QRectF(30, 25, 40, 10));
    p = edgesParam(&rect, LeftToRight, DarkToLight, 10);
    ASSERT_TRUE(clcEdges(image, p));
    EXPECT_EQ(p.positions, (std::vector<float>{6.5, 11}));
}

TEST(Edges, FirstPeakIsTheEdgePointToolsPeak)
{
    // Both tools share one peak search; on random profiles the single-caliper tool's point
    // is the first of all the peaks, in either direction and for every cleaning setting.
    cv::RNG rng(5);
    RotateRectROI roi(50, 30, 0, 40, 10);
    for (int trial = 0; trial < 500; ++trial) {
        std::vector<int> columns(40);
        for (int& v : columns)
            v = rng.uniform(0, 6) * 40;
        cv::Mat image = columnsImage(columns);
        auto single = makeParam(&roi, rng.uniform(0, 2), rng.uniform(0, 3), rng.uniform(0, 101));
        single.smoothWidth = rng.uniform(0, 6);
        single.minGradient = rng.uniform(0, 60);
        auto many = edgesParam(&roi, single.direction, single.transition, single.threshold);
        many.smoothWidth = single.smoothWidth;
        many.minGradient = single.minGradient;
        const bool found = clcEdgePoint(image, single);
        ASSERT_EQ(clcEdges(image, many), found) << trial;
        if (found) {
            ASSERT_FLOAT_EQ(static_cast<float>(single.x - 30), many.positions.front()) << trial;
        }
    }
}

TEST(MulEdgePoints, PairsPerBand)
{
    // Two dark slots, columns 40..59 and 100..139 of a bright picture; the ROI covers
    // columns 20..179 (rows 10..89): walls at 20, 40, 80 and 120 along its profiles.
    cv::Mat image = slotsImage({{40, 60}, {100, 140}});
    RotateRectROI roi(100, 50, 0, 160, 80);
    // The outermost or middle pair, leading peaks skipped, backwards scans, pair distance.
    struct Case {
        int pairMode, direction, skipCount;
        float minPairDistance;
        double lo, hi; // 0, 0: no pair
    };
    _MulEdgePointDetParam p;
    for (const Case& c : {Case{0, 0, 0, 0, 20, 120}, Case{1, 0, 0, 0, 40, 80}, Case{0, 0, 1, 0, 40, 120}, Case{1, 0, 1, 0, 80, 120},
                          Case{0, 1, 0, 0, 19, 119}, Case{0, 1, 1, 0, 19, 79}, Case{0, 0, 2, 0, 80, 120},
                          Case{0, 0, 3, 0, 0, 0}, Case{1, 0, 0, 39.9f, 40, 80}, Case{1, 0, 0, 40, 0, 0},
                          Case{0, 0, -4, 0, 20, 120}}) {
        p = pairsParam(&roi, 10, 20);
        p.pairMode = c.pairMode;
        p.direction = c.direction;
        p.skipCount = c.skipCount;
        p.minPairDistance = c.minPairDistance;
        EXPECT_EQ(clcMulEdgePoints(image, p), c.hi > 0) << c.pairMode << c.direction << c.skipCount;
        if (c.hi > 0) {
            ASSERT_EQ(p.firstEdges.size(), 4u); // bands start at 0, 20, 40, 60
            EXPECT_EQ(p.firstEdges.front(), cv::Point2d(c.lo, 5));
            EXPECT_EQ(p.secondEdges.back(), cv::Point2d(c.hi, 65));
        }
    }

    // Vertical bands across horizontal slots give (band centre, position).
    cv::Mat turned = image.t();
    RotateRectROI upright(50, 100, 0, 80, 160);
    p = pairsParam(&upright, 10, 20);
    p.segmentAxis = 1;
    ASSERT_TRUE(clcMulEdgePoints(turned, p));
    EXPECT_EQ(p.firstEdges.front(), cv::Point2d(5, 20));
    EXPECT_EQ(p.secondEdges.back(), cv::Point2d(65, 120));

    // A rotated, anti-aliased slot 40 px wide: every band measures 40 within a sample.
    for (double angle : {1e-3, 23.0}) {
        synthetic::Scene scene(cv::Size(320, 240), 200);
        scene.fillRotatedRect({160.4, 120.3}, 40, 300, angle, 40);
        cv::Mat grey = scene.toGrey(0.7, 1.0);
        RotateRectROI across(160.4, 120.3, static_cast<float>(angle), 100, 60);
        p = pairsParam(&across, 5, 5);
        ASSERT_TRUE(clcMulEdgePoints(grey, p)) << angle;
        ASSERT_EQ(p.firstEdges.size(), 12u);
        for (size_t k = 0; k < 12; ++k) {
            EXPECT_NEAR(p.secondEdges[k].x - p.firstEdges[k].x, 40, 1.0) << angle;
            EXPECT_NEAR(p.firstEdges[k].x, 30.5, 1.0) << angle; // one-sided difference: half a sample on
        }
    }

    // Bands wider than the rectangle, or no width or step, give nothing; the lists are
    // cleared all the same.
    for (auto [width, step] : {std::pair{81, 5}, {0, 5}, {10, 0}, {-1, 5}}) {
        p = pairsParam(&roi, width, step);
        p.firstEdges = {{1, 1}};
        EXPECT_FALSE(clcMulEdgePoints(image, p));
        EXPECT_TRUE(p.firstEdges.empty());
    }
}

TEST(EdgesAndPairs, BadInputIsRefused)
{
    cv::Mat image = slotsImage({{40, 60}});
    const float nanf = std::numeric_limits<float>::quiet_NaN();
    RotateRectROI thin(100, 50, 0, 0.5f, 80), notANumber(100, 50, nanf, 160, 80), huge(100, 50, 0, 40000, 80),
        leftOfImage(50, 50, 0, 160, 80), good(100, 50, 0, 160, 80);
    RectROI nanRect(QRectF(nanf, 10, 100, 40)), negative(QRectF(-5, 10, 100, 40));
    CircleROI circle(QRectF(10, 10, 40, 40));
    auto* circleAsRect = reinterpret_cast<RotateRectROI*>(static_cast<ROI*>(&circle));
    cv::Mat empty, wide(image.size(), CV_16U, cv::Scalar(1)), twoChannels(image.size(), CV_8UC2);

    // clcEdges clears its lists first; clcMulEdgePoints leaves them on ROI errors.
    for (auto [roi, img] : {std::pair<ROI*, cv::Mat*>{nullptr, &image}, {&thin, &image}, {&notANumber, &image},
                            {&huge, &image}, {&leftOfImage, &image}, {&nanRect, &image}, {&negative, &image},
                            {&circle, &image}, {&good, &empty}, {&good, &wide}, {&good, &twoChannels}}) {
        auto p = edgesParam(roi, LeftToRight, BothTransitions, 50);
        p.positions = {1};
        p.found = true;
        EXPECT_FALSE(clcEdges(*img, p));
        EXPECT_FALSE(p.found);
        EXPECT_TRUE(p.positions.empty());
    }
    for (auto [roi, img] : {std::pair<RotateRectROI*, cv::Mat*>{nullptr, &image}, {&thin, &image}, {&notANumber, &image},
                            {&huge, &image}, {circleAsRect, &image}, {&good, &empty}, {&good, &wide},
                            {&good, &twoChannels}}) {
        auto p = pairsParam(roi, 10, 10);
        p.firstEdges = {{1, 1}};
        p.found = true;
        EXPECT_FALSE(clcMulEdgePoints(*img, p));
        EXPECT_FALSE(p.found);
        EXPECT_EQ(p.firstEdges.size(), 1u);
    }

    // Colour is read red-first by all three tools: 0.299 * 200 (blue-first would give 23).
    cv::Mat colour;
    cv::merge(std::vector<cv::Mat>{image, image * 0, image * 0}, colour);
    auto p = edgesParam(&good, LeftToRight, BothTransitions, 50);
    auto q = pairsParam(&good, 10, 10);
    auto single = makeParam(&good, LeftToRight, BothTransitions, 50);
    ASSERT_TRUE(clcEdges(colour, p) && clcMulEdgePoints(colour, q) && clcEdgePoint(colour, single));
    EXPECT_EQ(p.image.at<uchar>(0, 0), 60);
    EXPECT_EQ(q.image.at<uchar>(0, 0), 60);
    EXPECT_EQ(single.image.at<uchar>(0, 0), 60);
}
