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

TEST(EdgePoint, DirectionAndPolarityPickTheStep)
{
    cv::Mat image = stepImage(50, 20, 200);
    RotateRectROI roi(50, 30, 0, 40, 10);

    // Forward, dark to light: the step's first bright column, on the centre line.
    auto p = makeParam(&roi, LeftToRight, DarkToLight, 50);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_TRUE(p.found);
    EXPECT_DOUBLE_EQ(p.x, 50);
    EXPECT_DOUBLE_EQ(p.y, 30);
    EXPECT_DOUBLE_EQ(p.maxGradient, 180);
    EXPECT_EQ(p.image.size(), cv::Size(40, 10));
    ASSERT_EQ(p.gradient.size(), 40u);
    EXPECT_EQ(p.gradient[0], 0); // the first sample in scan order has no predecessor

    // Reverse scan sees the step falling: dark-to-light finds nothing, light-to-dark finds
    // the last dark column.
    p = makeParam(&roi, RightToLeft, DarkToLight, 50);
    EXPECT_FALSE(clcEdgePoint(image, p));
    EXPECT_FALSE(p.found);
    p = makeParam(&roi, RightToLeft, LightToDark, 50);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.x, 49);

    // Both transitions take the magnitude; out-of-range transitions act as dark-to-light.
    p = makeParam(&roi, RightToLeft, BothTransitions, 50);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.x, 49);
    p = makeParam(&roi, LeftToRight, 7, 50);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.x, 50);
    p = makeParam(&roi, RightToLeft, -3, 50);
    EXPECT_FALSE(clcEdgePoint(image, p));
}

TEST(EdgePoint, ThresholdDividesByHundredAndAHalf)
{
    cv::Mat image = stepImage(50, 20, 200);
    RotateRectROI roi(50, 30, 0, 40, 10);
    auto p = makeParam(&roi, LeftToRight, DarkToLight, 100);
    EXPECT_TRUE(clcEdgePoint(image, p)); // 100 * 180 / 100.5 < 180: the peak still passes
    p = makeParam(&roi, LeftToRight, DarkToLight, 101);
    EXPECT_FALSE(clcEdgePoint(image, p));
    // Nothing found, yet the straightened image and the strength curve are there to show.
    EXPECT_EQ(p.image.size(), cv::Size(40, 10));
    EXPECT_EQ(p.gradient.size(), 40u);
    EXPECT_DOUBLE_EQ(p.maxGradient, 180);
    EXPECT_EQ(p.x, 0);
}

TEST(EdgePoint, PlateausGiveTheirCentreAndTheLastSampleCanWin)
{
    RotateRectROI roi(50, 30, 0, 40, 10);

    // Two equal strongest differences at columns 10 and 11 of the caliper.
    std::vector<int> ramp(40, 100);
    for (int c = 0; c < 10; ++c)
        ramp[c] = 0;
    ramp[10] = 50;
    cv::Mat image = columnsImage(ramp);
    auto p = makeParam(&roi, LeftToRight, DarkToLight, 50);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_DOUBLE_EQ(p.x, 30 + 10.5);

    // Strength rising to the very end of the scan: the last sample is taken.
    std::vector<int> convex(20);
    for (int c = 0; c < 20; ++c)
        convex[c] = c * (c + 1) / 2;
    RotateRectROI shortRoi(40, 30, 0, 20, 10);
    image = columnsImage(convex);
    p = makeParam(&shortRoi, LeftToRight, DarkToLight, 10);
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

TEST(EdgePoint, ColourIsReadWithRedFirstWeights)
{
    // A step only in the first channel: red-first weights give 0.299 * 200 = 60 grey
    // levels; blue-first weights would give 23.
    cv::Mat image(60, 100, CV_8UC3, cv::Scalar(0, 0, 0));
    image.colRange(50, 100).setTo(cv::Scalar(200, 0, 0));
    RotateRectROI roi(50, 30, 0, 40, 10);
    auto p = makeParam(&roi, LeftToRight, DarkToLight, 50);
    ASSERT_TRUE(clcEdgePoint(image, p));
    EXPECT_EQ(p.image.channels(), 1);
    EXPECT_DOUBLE_EQ(p.maxGradient, 60);
}

TEST(EdgePoint, BadInputIsRefusedWithoutTouchingTheOutputs)
{
    cv::Mat image = stepImage(50, 20, 200);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const float nanf = std::numeric_limits<float>::quiet_NaN();
    std::vector<RotateRectROI> refused = {
        {50, 30, 0, 0.5f, 10}, {50, 30, 0, 40, 0.99f}, {50, 30, 0, nanf, 10},    {50, 30, nanf, 40, 10},
        {nan, 30, 0, 40, 10},  {50, 30, 0, 1e9f, 10},  {50, 30, 0, 40, 40000.0f}, {1e300, 30, 0, 40, 10},
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
