#include <Functions.h>

#include "Synthetic.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

namespace {

constexpr double kPi = 3.141592653589793;
const cv::Point2d kCentre(200.37, 199.61);
constexpr double kRadius = 100.4;

// 400 x 400: a disc on a plain background, slightly blurred, optionally noisy.
cv::Mat discImage(double inside, double outside, double noise = 0, cv::Point2d centre = kCentre,
                  double radius = kRadius)
{
    synthetic::Scene scene(cv::Size(400, 400), outside);
    scene.fillDisc(centre, radius, inside);
    return scene.toGrey(1.0, noise);
}

// A contour of radius kRadius + amplitude * cos(lobes * angle) about kCentre: its outer
// crests lie on one circle, its inner crests on another.
cv::Mat scallopedImage(double amplitude, int lobes)
{
    synthetic::Scene scene(cv::Size(400, 400), 40);
    // The radial distance overestimates the true one by at most this factor.
    const double slope = std::hypot(1.0, amplitude * lobes / (kRadius - amplitude));
    scene.fill(
        [=](double x, double y) {
            const double a = std::atan2(y - kCentre.y, x - kCentre.x);
            return (std::hypot(x - kCentre.x, y - kCentre.y) - kRadius - amplitude * std::cos(lobes * a)) / slope;
        },
        200);
    return scene.toGrey(1.0, 0);
}

template <typename Record>
Record record(ROI* roi, int direction, int transition, int width = 3, int step = 3)
{
    Record r;
    r.direction = direction;
    r.transition = transition;
    r.percent = 30;
    r.sigma = 2;
    r.minStrength = 5;
    r.segmentWidth = width;
    r.segmentStep = step;
    r.roi = static_cast<decltype(r.roi)>(roi);
    return r;
}

double worstRadialError(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius)
{
    double worst = 0;
    for (const cv::Point2d& p : points)
        worst = std::max(worst, std::abs(std::hypot(p.x - centre.x, p.y - centre.y) - radius));
    return worst;
}

// Y-up degrees about centre of the point where the ray from origin at y-up angle a
// meets the circle (centre, radius): the truth for an arc's ends.
double rayCrossingAngle(cv::Point2d origin, double a, cv::Point2d centre, double radius)
{
    const cv::Point2d u(std::cos(a * kPi / 180), -std::sin(a * kPi / 180));
    const cv::Point2d w = origin - centre;
    const double b = u.dot(w);
    const double t = -b + std::sqrt(b * b - (w.dot(w) - radius * radius));
    const cv::Point2d p = origin + t * u;
    const double deg = std::atan2(-(p.y - centre.y), p.x - centre.x) * 180 / kPi;
    return deg < 0 ? deg + 360 : deg;
}

} // namespace

TEST(CircleTool, RingsAndArcsInEitherSenseAndPolarity)
{
    const cv::Point2d arcCentre(197.6, 203.1);
    for (const bool brightDisc : {true, false}) {
        cv::Mat image = brightDisc ? discImage(200, 40) : discImage(40, 200);
        for (const int direction : {0, 1}) {
            // Outwards a bright disc falls to the background; inwards it rises.
            const int transition = (direction == 0) == brightDisc ? LightToDark : DarkToLight;
            for (const auto& [r1, r2] : {std::pair{80.0f, 125.0f}, std::pair{125.0f, 80.0f}}) {
                RingROI roi(203.2, 197.8, r1, r2);
                auto param = record<_CircleDetParam>(&roi, direction, transition);
                ASSERT_TRUE(clcCirclePointsAndFit(image, param, 0, false, 0, -1.0));
                EXPECT_NEAR(param.centre.x, kCentre.x, 0.05);
                EXPECT_NEAR(param.centre.y, kCentre.y, 0.05);
                EXPECT_NEAR(param.radius, kRadius, 0.05);
                EXPECT_LT(worstRadialError(param.edgePoints, kCentre, kRadius), 0.2);
                EXPECT_EQ(param.cropRect, cv::Rect(203 - 125, 197 - 125, 251, 251));
                EXPECT_EQ(param.roiImage.size(), cv::Size(251, 251));

                // The other polarity sees no edge: the outputs are cleared, not kept.
                param.transition = transition == LightToDark ? DarkToLight : LightToDark;
                EXPECT_FALSE(clcCirclePointsAndFit(image, param, 0, false, 0, -1.0));
                EXPECT_FALSE(param.success);
                EXPECT_TRUE(param.edgePoints.empty());
            }
            // Arcs drawn about another point, one of them through 0 degrees (start above end).
            for (const auto& [a1, a2] : {std::pair{30.0f, 120.0f}, std::pair{320.0f, 25.0f}}) {
                ArcROI arc(arcCentre.x, arcCentre.y, 125, 80, a1, a2);
                auto param = record<_ArcDetParam>(&arc, direction, transition);
                ASSERT_TRUE(clcArcPointsAndFit(image, param, 0, true, 0, -1.0));
                // Along the axis of a short arc the centre trades against the radius: a
                // few hundredths of radial scatter move both by a tenth.
                EXPECT_NEAR(param.centre.x, kCentre.x, 0.15);
                EXPECT_NEAR(param.centre.y, kCentre.y, 0.15);
                EXPECT_NEAR(param.radius, kRadius, 0.15);
                EXPECT_LT(worstRadialError(param.edgePoints, kCentre, kRadius), 0.1);
                EXPECT_NEAR(param.arcStartAngle, rayCrossingAngle(arcCentre, a1, kCentre, kRadius), 0.1);
                EXPECT_NEAR(param.arcEndAngle, rayCrossingAngle(arcCentre, a2, kCentre, kRadius), 0.1);
            }
        }
    }
}

TEST(CircleTool, PointsReplaceThePreviousOnesAndColourIsConverted)
{
    cv::Mat grey = discImage(200, 40);
    RingROI roi(203.2, 197.8, 80, 125);
    auto param = record<_CirclePointsDetParam>(&roi, 0, LightToDark);
    ASSERT_TRUE(clcCirclePoints(grey, param));
    const std::vector<cv::Point2d> first = param.edgePoints;
    EXPECT_LT(worstRadialError(first, kCentre, kRadius), 0.2);
    cv::Mat colour;
    cv::cvtColor(grey, colour, cv::COLOR_GRAY2BGRA);
    ASSERT_TRUE(clcCirclePoints(colour, param)); // replaced, not appended
    EXPECT_EQ(param.edgePoints, first);
    EXPECT_EQ(param.roiImage.channels(), 1);
}

namespace {

// A ring's road through the circle tool in plain steps: crop, unwrap, first rows
// appended across the seam, calipers, polar points mapped back.
std::vector<cv::Point2d> referenceRingPoints(cv::Mat& image, const RingROI& ring, bool clockwise, int startAngle,
                                             int scan, int transition, int width, int step, int sigma)
{
    const int outer = static_cast<int>(std::max(ring.radius1, ring.radius2));
    const int inner = static_cast<int>(std::min(ring.radius1, ring.radius2));
    const int cx = static_cast<int>(ring.centreX), cy = static_cast<int>(ring.centreY);
    const int rows = static_cast<int>(std::ceil(outer * 2.0 * kPi));
    cv::Rect crop(cx - outer, cy - outer, 2 * outer + 1, 2 * outer + 1);
    cv::Mat roiImage, polar;
    copyStaticROIImage(image, crop, roiImage, cv::Scalar(0));
    warpPolarImg(roiImage, startAngle, startAngle, cv::Point2d(outer, outer), inner, outer,
                 cv::Size(outer - inner + 1, rows), clockwise, false, polar);
    const int lastStart = step * (rows % step == 0 ? rows / step - 1 : rows / step);
    if (lastStart - rows + width > 0)
        cv::vconcat(polar, polar.rowRange(0, lastStart - rows + width), polar);
    std::vector<cv::Point2d> points;
    clcSegmentPoints(polar, TopToBottom, static_cast<ClcDirection>(scan), static_cast<EdgeTransition>(transition),
                     width, step, 0, 1024, sigma, 30.0f, 5.0f, points, 1);
    const double start = std::fmod(std::fmod(startAngle, 360.0) + 360.0, 360.0);
    const double rowAngle = (clockwise ? 1 : -1) * (360.0 / rows * kPi / 180.0);
    for (cv::Point2d& p : points) {
        const double theta = start * kPi / 180.0 + rowAngle * p.y, r = inner + p.x;
        p = cv::Point2d(r * std::cos(theta) + cx, r * std::sin(theta) + cy);
    }
    return points;
}

} // namespace

TEST(CircleTool, RingsMatchThePlainRoadBitForBit)
{
    cv::RNG rng(19);
    for (int trial = 0; trial < 40; ++trial) {
        const cv::Point2d centre(rng.uniform(150.0, 250.0), rng.uniform(150.0, 250.0));
        const double radius = rng.uniform(40.0, 120.0);
        cv::Mat image = discImage(rng.uniform(120, 250), rng.uniform(0, 100), 2.0, centre, radius);
        RingROI roi(centre.x + rng.uniform(-3.0, 3.0), centre.y + rng.uniform(-3.0, 3.0),
                    static_cast<float>(radius - rng.uniform(2.0, 30.0)), static_cast<float>(radius + rng.uniform(2.0, 30.0)));
        const bool clockwise = rng.uniform(0, 2) == 0;
        const int startAngle = rng.uniform(-400, 400), scan = rng.uniform(0, 2), transition = rng.uniform(0, 3);
        const int width = rng.uniform(1, 12), step = rng.uniform(1, 12), sigma = rng.uniform(0, 6);
        cv::Mat roiImage;
        cv::Rect crop;
        std::vector<cv::Point2d> polarPoints, points;
        clcCircleSegmentPoints(image, &roi, clockwise, startAngle, static_cast<ClcDirection>(scan),
                               static_cast<EdgeTransition>(transition), width, step, 1024, sigma, 30, 5, roiImage, crop,
                               polarPoints, points, false, 0, -1.0);
        ASSERT_EQ(points, referenceRingPoints(image, roi, clockwise, startAngle, scan, transition, width, step, sigma))
            << "trial " << trial;

        // The fitting entry, which starts at 0 degrees clockwise, fits exactly those points.
        auto param = record<_CircleDetParam>(&roi, scan, transition, width, step);
        param.sigma = sigma;
        points = referenceRingPoints(image, roi, true, 0, scan, transition, width, step, sigma);
        cv::Point2d expectedCentre;
        double expectedRadius = 0;
        const bool expectedOk = points.size() >= 3 && fitCircle(points, expectedCentre, expectedRadius, FitCircleHuber);
        ASSERT_EQ(clcCirclePointsAndFit(image, param, 0, false, 0, -1.0), expectedOk) << "trial " << trial;
        ASSERT_EQ(param.edgePoints, points) << "trial " << trial;
        if (expectedOk) {
            EXPECT_EQ(param.centre, expectedCentre);
            EXPECT_EQ(param.radius, expectedRadius);
        }
    }
}

TEST(CircleTool, CrestModesLieAgainstTheOuterOrInnerCrests)
{
    const double amplitude = 4;
    cv::Mat image = scallopedImage(amplitude, 6);
    RingROI roi(kCentre.x, kCentre.y, 80, 125);
    const double expected[] = {kRadius, kRadius + amplitude, kRadius - amplitude};
    for (int mode = 0; mode < 3; ++mode) {
        // Sparse calipers: with one per row, the rounding of neighbouring points makes
        // spurious dips along the flanks that mode 2 would take for crests.
        auto param = record<_CircleDetParam>(&roi, 0, LightToDark, 3, 8);
        ASSERT_TRUE(clcCirclePointsAndFit(image, param, mode, false, 0, -1.0)) << mode;
        EXPECT_NEAR(param.radius, expected[mode], mode == 0 ? 1.0 : 0.1) << mode;
        EXPECT_NEAR(param.centre.x, kCentre.x, 0.1) << mode;
        EXPECT_NEAR(param.centre.y, kCentre.y, 0.1) << mode;
    }

    // An arc whose ends sit on outer crests (y-up 300 and 60, through 0) gives the outer
    // circle in mode 1; one whose ends sit in valleys (330 and 90) the inner one in mode 2.
    for (const auto& [mode, a1, a2] : {std::tuple{1, 300.0f, 60.0f}, std::tuple{2, 330.0f, 90.0f}}) {
        ArcROI arc(kCentre.x, kCentre.y, 80, 125, a1, a2);
        auto param = record<_ArcDetParam>(&arc, 0, LightToDark, 1, 1);
        ASSERT_TRUE(clcArcPointsAndFit(image, param, mode, false, 0, -1.0)) << mode;
        EXPECT_NEAR(param.radius, expected[mode], 0.15) << mode;
        EXPECT_NEAR(param.centre.x, kCentre.x, 0.15) << mode;
        EXPECT_NEAR(param.centre.y, kCentre.y, 0.15) << mode;
    }
}

TEST(CircleTool, BestEdgePerCaliperAndOutlierRemovalDropSpurs)
{
    // A dark hole with bright specks inside it near its rim: scanning outwards with either
    // polarity, the first edge of some calipers is a speck.
    synthetic::Scene scene(cv::Size(400, 400), 200);
    scene.fillDisc(kCentre, kRadius, 40);
    for (int k = 0; k < 8; ++k)
        scene.fillDisc(kCentre + 86.0 * cv::Point2d(std::cos(k * 0.8), std::sin(k * 0.8)), 4, 200);
    cv::Mat image = scene.toGrey(1.0, 0);
    RingROI roi(203.2, 197.8, 70, 125);

    auto param = record<_CircleDetParam>(&roi, 0, BothTransitions);
    ASSERT_TRUE(clcCirclePointsAndFit(image, param, 0, false, 0, -1.0));
    const size_t all = param.edgePoints.size();
    EXPECT_GT(worstRadialError(param.edgePoints, kCentre, kRadius), 10.0);

    ASSERT_TRUE(clcCirclePointsAndFit(image, param, 0, true, 0, -1.0));
    EXPECT_EQ(param.edgePoints.size(), all); // one point per caliper, the right one
    EXPECT_LT(worstRadialError(param.edgePoints, kCentre, kRadius), 0.2);

    ASSERT_TRUE(clcCirclePointsAndFit(image, param, 0, false, 0, 3.0));
    EXPECT_LT(param.edgePoints.size(), all);
    EXPECT_LT(worstRadialError(param.edgePoints, kCentre, kRadius), 0.2);
    EXPECT_NEAR(param.radius, kRadius, 0.05);
}

TEST(CircleTool, AngularSmoothingQuietsNoiseAndNeedsThreeRadii)
{
    cv::Mat image = discImage(200, 40, 25.0);
    RingROI roi(203.2, 197.8, 80, 125);
    auto param = record<_CircleDetParam>(&roi, 0, LightToDark, 1, 1);
    ASSERT_TRUE(clcCirclePointsAndFit(image, param, 0, false, 0, -1.0));
    const double rough = worstRadialError(param.edgePoints, kCentre, kRadius);
    ASSERT_TRUE(clcCirclePointsAndFit(image, param, 0, false, 9, -1.0));
    EXPECT_LT(worstRadialError(param.edgePoints, kCentre, kRadius), rough * 0.6);
    EXPECT_NEAR(param.radius, kRadius, 0.1);

    // Radii 100 and 101.5 unwrap two columns: too few to smooth across.
    RingROI thin(kCentre.x, kCentre.y, 100, 101.5f);
    param.roi = &thin;
    EXPECT_FALSE(clcCirclePointsAndFit(image, param, 0, false, 3, -1.0));
    EXPECT_TRUE(param.edgePoints.empty());
}

TEST(CircleTool, InlierCheckNeedsTenPointsNearTheCircle)
{
    cv::Mat image = discImage(200, 40);
    // 197 rows (ceil(125 * 2pi / 4)): width 5 with step 21 gives 10 calipers, step 24 gives 9.
    ArcROI arc(kCentre.x, kCentre.y, 80, 125, 0, 90);
    for (const auto& [step, count] : {std::pair{21, 10}, std::pair{24, 9}}) {
        auto circle = record<_CircleDetParam>(&arc, 0, LightToDark, 5, step);
        EXPECT_EQ(clcCirclePointsAndFit(image, circle, 0, true, 0, -1.0), count == 10) << step;
        ASSERT_EQ(circle.edgePoints.size(), static_cast<size_t>(count));
        // Checked only in mode 0 and only with the best edge per caliper.
        EXPECT_TRUE(clcCirclePointsAndFit(image, circle, 0, false, 0, -1.0));
        EXPECT_TRUE(clcCirclePointsAndFit(image, circle, 2, true, 0, -1.0));

        auto param = record<_ArcDetParam>(&arc, 0, LightToDark, 5, step);
        EXPECT_EQ(clcArcPointsAndFit(image, param, 0, true, 0, -1.0), count == 10) << step;
        EXPECT_EQ(param.success, count == 10);
        // Accepted or not, the record holds a circle near the truth (the first estimate
        // when the check refused the fit).
        EXPECT_NEAR(param.radius, kRadius, 0.5);
    }
}

TEST(ArcTool, AnglesFallBackToTheRoiCirclesAndNeedAnArcRoi)
{
    // A circle crossing neither boundary ray (along the x axis) but the ROI's outer
    // circle at (+-18.2, -98.3): the part inside the ROI is its lower part.
    ArcROI arc(0, 0, 50, 100, 0, 180);
    _ArcDetParam param;
    param.roi = &arc;
    param.centre = cv::Point2d(0, -90);
    param.radius = 20;
    findArcAngle(param);
    const double right = std::atan2(8.333, 18.2) * 180 / kPi;
    EXPECT_NEAR(param.arcStartAngle, 180 - right, 0.05);
    EXPECT_NEAR(param.arcEndAngle, right, 0.05);

    // Wholly inside the band: no crossing at all leaves the angles as they were.
    param.centre = cv::Point2d(0, -75);
    param.radius = 10;
    findArcAngle(param);
    EXPECT_NEAR(param.arcEndAngle, right, 0.05);

    // A ring handed over as an arc is refused, by the tool and by the angle search.
    RingROI ring(0, 0, 50, 100);
    param.roi = reinterpret_cast<ArcROI*>(static_cast<ROI*>(&ring));
    param.centre = cv::Point2d(0, -90);
    param.radius = 20;
    param.arcStartAngle = -1;
    findArcAngle(param);
    EXPECT_EQ(param.arcStartAngle, -1);
    cv::Mat image = discImage(200, 40);
    EXPECT_FALSE(clcArcPointsAndFit(image, param, 0, false, 0, -1.0));
    EXPECT_EQ(param.radius, 20);
}

TEST(CircleTool, BadInputFailsWithoutOutput)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    cv::Mat grey = discImage(200, 40);
    cv::Mat wide;
    grey.convertTo(wide, CV_16U);
    cv::Mat twoChannels(grey.size(), CV_8UC2, cv::Scalar(40, 40));
    cv::Mat empty;

    RingROI good(203.2, 197.8, 80, 125);
    CircleROI circle(QRectF(100, 100, 200, 200));
    RingROI equal(203.2, 197.8, 100, 100), negative(203.2, 197.8, -10, 125);
    RingROI nanCentre(nan, 197.8, 80, 125), infRadius(203.2, 197.8, 80, inf);
    // Outer radius 16383: the crop would be 32767 wide, more than a remap reads; a full
    // ring of 5216 would need 32774 rows.
    RingROI huge(203.2, 197.8, 80, 1e30f), limit(203.2, 197.8, 80, 16383), longRing(203.2, 197.8, 5100, 5216);
    RingROI farAway(3e9, 197.8, 80, 125), outside(-500, -500, 80, 125);
    ArcROI nanAngle(203.2, 197.8, 80, 125, nan, 90), infAngle(203.2, 197.8, 80, 125, 0, inf);

    struct Case {
        const char* what;
        cv::Mat* image;
        ROI* roi;
        int sigma = 2;
        int width = 3;
    };
    const Case cases[] = {
        {"null roi", &grey, nullptr},       {"circle roi", &grey, &circle},   {"empty image", &empty, &good},
        {"16-bit", &wide, &good},           {"2 channels", &twoChannels, &good}, {"equal radii", &grey, &equal},
        {"negative", &grey, &negative},     {"nan centre", &grey, &nanCentre}, {"inf radius", &grey, &infRadius},
        {"huge radius", &grey, &huge},      {"radius limit", &grey, &limit},  {"too many rows", &grey, &longRing},
        {"far centre", &grey, &farAway},    {"outside", &grey, &outside},     {"nan angle", &grey, &nanAngle},
        {"inf angle", &grey, &infAngle},    {"sigma -1", &grey, &good, -1},   {"sigma 101", &grey, &good, 101},
        {"ring wider than its rows", &grey, &good, 2, 800},
    };
    for (const Case& c : cases) {
        auto param = record<_CircleDetParam>(c.roi, 0, LightToDark, c.width, 3);
        param.sigma = c.sigma;
        param.edgePoints.assign(5, cv::Point2d(1, 1));
        param.success = true;
        EXPECT_FALSE(clcCirclePointsAndFit(*c.image, param, 0, false, 0, -1.0)) << c.what;
        EXPECT_FALSE(param.success) << c.what;
        EXPECT_TRUE(param.edgePoints.empty()) << c.what;
    }
    // Refused before anything was cut or allocated.
    auto param = record<_CircleDetParam>(&limit, 0, LightToDark);
    clcCirclePointsAndFit(grey, param, 0, false, 0, -1.0);
    EXPECT_TRUE(param.roiImage.empty());
    EXPECT_EQ(param.cropRect, cv::Rect());

    // Widths and steps below 1 count as 1.
    auto one = record<_CirclePointsDetParam>(&good, 0, LightToDark, 1, 1);
    auto nonPositive = record<_CirclePointsDetParam>(&good, 0, LightToDark, 0, -4);
    ASSERT_TRUE(clcCirclePoints(grey, one));
    ASSERT_TRUE(clcCirclePoints(grey, nonPositive));
    EXPECT_EQ(one.edgePoints, nonPositive.edgePoints);
}
