#include <Functions.h>

#include "Synthetic.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>

namespace {

constexpr double kPi = 3.141592653589793;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

cv::Point2d unit(double degrees)
{
    return {std::cos(degrees * kPi / 180.0), std::sin(degrees * kPi / 180.0)};
}

// A ROI's own axes in the image.
struct RoiFrame {
    cv::Point2d centre, x, y;
    explicit RoiFrame(const RotateRectROI& roi)
        : centre(roi.centreX, roi.centreY), x(unit(roi.angle)), y(unit(roi.angle + 90.0))
    {
    }
    cv::Point2d toImage(double u, double v) const { return centre + u * x + v * y; }
    double u(cv::Point2d p) const { return (p - centre).dot(x); }
    double v(cv::Point2d p) const { return (p - centre).dot(y); }
};

// Straight edge through point with its normal at normalAngle; bright on the normal's side.
cv::Mat edgeImage(cv::Point2d point, double normalAngle, double dark, double bright)
{
    synthetic::Scene scene(cv::Size(240, 200), dark);
    scene.fillHalfPlane(point, normalAngle, bright);
    return scene.toGrey(0.8);
}

_EdgeLineDetParam lineParam(RotateRectROI* roi, int direction, int transition, int width = 5, int step = 5)
{
    _EdgeLineDetParam p;
    p.direction = direction;
    p.transition = transition;
    p.percent = 30;
    p.sigma = 2;
    p.minStrength = 10;
    p.segmentWidth = width;
    p.segmentStep = step;
    p.roi = roi;
    return p;
}

double angleBetween(cv::Point2d a, cv::Point2d b)
{
    return std::asin(std::min(1.0, std::abs(a.cross(b)) / (cv::norm(a) * cv::norm(b)))) * 180.0 / kPi;
}

// Signed distance to a convex polygon (negative inside), as the renderer takes it.
double convexDistance(const std::vector<cv::Point2d>& polygon, cv::Point2d p)
{
    double area2 = 0;
    for (size_t i = 0; i < polygon.size(); ++i)
        area2 += polygon[i].cross(polygon[(i + 1) % polygon.size()]);
    double d = -1e300;
    for (size_t i = 0; i < polygon.size(); ++i) {
        const cv::Point2d a = polygon[i], e = polygon[(i + 1) % polygon.size()] - a;
        const cv::Point2d outward = (area2 > 0 ? 1.0 : -1.0) * cv::Point2d(e.y, -e.x) / cv::norm(e);
        d = std::max(d, (p - a).dot(outward));
    }
    return d;
}

cv::Point2d direction(const cv::Vec4d& line)
{
    return {line[0], line[1]};
}

cv::Point2d base(const cv::Vec4d& line)
{
    return {line[2], line[3]};
}

} // namespace

TEST(LineTool, FitsStraightEdgesAtRoiAnglesScanDirectionsAndPolarities)
{
    for (float angle : {0.0f, 0.001f, 17.0f, 90.0f, -135.0f}) {
        RotateRectROI roi(120.0, 100.0, angle, 120.0f, 80.0f);
        const RoiFrame frame(roi);
        // Off the centre and tilted by 2 degrees, as a real edge in a drawn ROI would be.
        const cv::Point2d onEdge = frame.toImage(3.3, 0.0);
        const cv::Point2d normal = unit(angle + 2.0);
        for (bool brightAhead : {true, false}) {
            cv::Mat image = brightAhead ? edgeImage(onEdge, angle + 2.0, 40, 200)
                                        : edgeImage(onEdge, angle + 2.0, 200, 40);
            for (int scan : {0, 1}) {
                SCOPED_TRACE(testing::Message() << "angle " << angle << " bright ahead " << brightAhead << " scan "
                                                << scan);
                const bool rising = (scan == 0) == brightAhead;
                _EdgeLineDetParam p = lineParam(&roi, scan, rising ? DarkToLight : LightToDark);
                ASSERT_TRUE(clcEdgeLineAndFit(image, p, 0));
                ASSERT_EQ(p.edgePoints.size(), 16u); // (80 - 5) / 5 + 1 calipers

                EXPECT_NEAR(90.0 - angleBetween(direction(p.line), normal), 0.0, 0.01);
                EXPECT_NEAR((base(p.line) - onEdge).dot(normal), 0.0, 0.03);
                // Directed from the first caliper (the ROI's top) to the last.
                EXPECT_GT(direction(p.line).dot(frame.y), 0.99);
                // Start and end: where the true edge crosses the ROI's top and bottom.
                ASSERT_EQ(p.startEndPoints.size(), 2u);
                for (int k = 0; k < 2; ++k) {
                    EXPECT_NEAR((p.startEndPoints[k] - onEdge).dot(normal), 0.0, 0.05);
                    EXPECT_NEAR(frame.v(p.startEndPoints[k]), k == 0 ? -40.0 : 40.0, 1e-4); // float corners
                }

                // The other polarity sees no edge: a failure with cleared outputs.
                p.transition = rising ? LightToDark : DarkToLight;
                EXPECT_FALSE(clcEdgeLineAndFit(image, p, 0));
                EXPECT_FALSE(p.success);
                EXPECT_TRUE(p.edgePoints.empty());
                EXPECT_TRUE(p.startEndPoints.empty());
            }
        }
    }
}

TEST(LineTool, RecordRulesAndTheEmptyImageExit)
{
    RotateRectROI roi(120.0, 100.0, 0.0f, 120.7f, 80.0f);
    cv::Mat image = edgeImage({123.3, 100.0}, 2.0, 40, 200);
    _EdgeLineDetParam p = lineParam(&roi, 0, DarkToLight);
    ASSERT_TRUE(clcEdgeLineAndFit(image, p, 0));
    EXPECT_EQ(p.roiImage.size(), cv::Size(120, 80)); // the fractional width is truncated

    // An empty image changes nothing, not even the flag ...
    const _EdgeLineDetParam before = p;
    cv::Mat empty;
    EXPECT_FALSE(clcLineEdgePoints(empty, p));
    EXPECT_TRUE(p.success);
    EXPECT_EQ(p.edgePoints, before.edgePoints);
    EXPECT_EQ(p.roiImage.data, before.roiImage.data);

    // ... so the line tool fits whatever points the record holds.
    p.success = false;
    p.edgePoints = {{30, 70}, {31, 60}, {32, 50}};
    ASSERT_TRUE(clcEdgeLineAndFit(empty, p, 0));
    EXPECT_TRUE(p.success);
    EXPECT_LT(angleBetween(direction(p.line), {1, -10}), 1e-9);
    EXPECT_GT(direction(p.line).dot({1, -10}), 0); // from the first point to the last
    p.edgePoints.resize(1);
    EXPECT_FALSE(clcEdgeLineAndFit(empty, p, 0));
    EXPECT_FALSE(p.success);
}

TEST(LineTool, CrestModesLieAgainstTheTipsOfARaggedEdge)
{
    RotateRectROI roi(120.0, 100.0, 25.0f, 60.0f, 120.0f);
    const RoiFrame frame(roi);
    // Bright right of u = 4 in the ROI's frame, with triangular teeth of depth 6 and
    // period 17 reaching left to u = -2. The rows sample v = -60 .. 59; the crests a mode
    // keeps include the first and last point of its side, so one image has tips there and
    // the other valleys.
    const auto raggedEdge = [&](double firstTip) {
        std::vector<std::vector<cv::Point2d>> shapes{
            {frame.toImage(4, -300), frame.toImage(300, -300), frame.toImage(300, 300), frame.toImage(4, 300)}};
        for (double tip = firstTip - 17; tip < 80; tip += 17)
            shapes.push_back({frame.toImage(4, tip - 8.5), frame.toImage(4, tip + 8.5), frame.toImage(-2, tip)});
        synthetic::Scene scene(cv::Size(240, 200), 40);
        scene.fill(
            [&](double x, double y) {
                double inside = 1e300;
                for (const auto& shape : shapes)
                    inside = std::min(inside, convexDistance(shape, {x, y}));
                return inside;
            },
            200);
        return scene.toGrey(0.5);
    };
    const cv::Mat tipsAtEnds = raggedEdge(-60), valleysAtEnds = raggedEdge(-51.5);

    const auto fit = [&](const cv::Mat& image, int mode) {
        _EdgeLineDetParam p = lineParam(&roi, 0, DarkToLight, 1, 1);
        cv::Mat input = image;
        EXPECT_TRUE(clcEdgeLineAndFit(input, p, mode));
        EXPECT_EQ(p.edgePoints.size(), 120u);
        EXPECT_NEAR(90.0 - angleBetween(direction(p.line), frame.x), 0.0, 0.1) << mode;
        EXPECT_GT(direction(p.line).dot(frame.y), 0.99) << mode;
        return p.line;
    };
    // Right of the line's way (mode 1) lie the tips, left of it (mode 2) the valleys.
    EXPECT_NEAR(frame.u(base(fit(tipsAtEnds, 1))), -2, 0.4);
    EXPECT_NEAR(frame.u(base(fit(valleysAtEnds, 2))), 4, 0.4);
    for (const cv::Mat& image : {tipsAtEnds, valleysAtEnds}) {
        const cv::Vec4d plain = fit(image, 0);
        EXPECT_NEAR(frame.u(base(plain)), 1, 0.1); // through the middle
        EXPECT_EQ(fit(image, 3), plain);
        EXPECT_EQ(fit(image, -1), plain);
    }
}

TEST(LineTool, UnusableInputFailsCleanly)
{
    RotateRectROI roi(120.0, 100.0, 10.0f, 120.0f, 80.0f);
    cv::Mat grey = edgeImage(RoiFrame(roi).toImage(3.3, 0), 10.0, 40, 200);
    // Outputs left by an earlier call are cleared before the failure.
    const auto fails = [&](cv::Mat image, _EdgeLineDetParam p) {
        p.success = true;
        p.edgePoints = {{1, 1}, {2, 2}};
        p.startEndPoints = {{1, 1}, {2, 2}};
        const bool result = clcEdgeLineAndFit(image, p, 1);
        return !result && !p.success && p.edgePoints.empty() && p.startEndPoints.empty();
    };
    EXPECT_TRUE(fails(grey, lineParam(nullptr, 0, DarkToLight)));
    const float inf = std::numeric_limits<float>::infinity();
    for (RotateRectROI bad : {RotateRectROI(120, 100, 10, 0.5f, 80), RotateRectROI(120, 100, 10, 120, 0),
                              RotateRectROI(120, 100, 10, -120, 80), RotateRectROI(120, 100, 10, 40000, 80),
                              RotateRectROI(120, 100, static_cast<float>(kNaN), 120, 80),
                              RotateRectROI(kNaN, 100, 10, 120, 80), RotateRectROI(120, 100, 10, inf, 80),
                              RotateRectROI(-900, -900, 10, 120, 80)}) // wholly outside: all black
        EXPECT_TRUE(fails(grey, lineParam(&bad, 0, DarkToLight))) << bad.centreX << " " << bad.width;
    for (int setting : {0, -1}) {
        EXPECT_TRUE(fails(grey, lineParam(&roi, 0, DarkToLight, setting, 5)));
        EXPECT_TRUE(fails(grey, lineParam(&roi, 0, DarkToLight, 5, setting)));
    }
    EXPECT_TRUE(fails(grey, lineParam(&roi, 0, DarkToLight, 81, 5))); // wider than the ROI is high
    for (int sigma : {101, -1}) {
        _EdgeLineDetParam p = lineParam(&roi, 0, DarkToLight);
        p.sigma = sigma;
        EXPECT_TRUE(fails(grey, p)) << sigma;
    }
    cv::Mat wide, twoChannels;
    grey.convertTo(wide, CV_16U);
    cv::merge(std::vector<cv::Mat>{grey, grey}, twoChannels);
    for (const cv::Mat& image : {wide, twoChannels})
        EXPECT_TRUE(fails(image, lineParam(&roi, 0, DarkToLight)));

    // Transitions outside 0..2 take either polarity (here the backward scan sees a fall).
    _EdgeLineDetParam backward = lineParam(&roi, 1, -2);
    EXPECT_TRUE(clcEdgeLineAndFit(grey, backward, 0));

    // Colour is converted with the first channel weighted as red: a step of 200 there
    // passes minStrength 25, the same step in the third (blue) channel does not.
    _EdgeLineDetParam strict = lineParam(&roi, 0, DarkToLight);
    strict.minStrength = 25;
    const cv::Mat step = edgeImage(RoiFrame(roi).toImage(3.3, 0), 10.0, 0, 200), zero = cv::Mat::zeros(step.size(), CV_8U);
    cv::Mat red, blue;
    cv::merge(std::vector<cv::Mat>{step, zero, zero, zero}, red);
    cv::merge(std::vector<cv::Mat>{zero, zero, step}, blue);
    EXPECT_TRUE(clcEdgeLineAndFit(red, strict, 0));
    EXPECT_FALSE(clcEdgeLineAndFit(blue, strict, 0));

    // A ROI hanging over the image's bottom edge: the rows outside read 0 and find
    // nothing, the rows inside still give the edge.
    RotateRectROI overhang(120.0, 190.0, 0.0f, 120.0f, 80.0f);
    cv::Mat upright = edgeImage({123.3, 190.0}, 0.0, 40, 200);
    _EdgeLineDetParam p = lineParam(&overhang, 0, DarkToLight);
    ASSERT_TRUE(clcEdgeLineAndFit(upright, p, 0));
    EXPECT_LT(p.edgePoints.size(), 16u);
    EXPECT_GE(p.edgePoints.size(), 9u);
    EXPECT_NEAR(p.line[2], 123.3, 0.05);
}

TEST(LineTool, ClippingKeepsTheTieRule)
{
    const std::vector<cv::Point2f> corners{{30, 20}, {70, 20}, {70, 40}, {30, 40}};
    const cv::Point2d centre(50, 30);
    std::vector<cv::Point2d> ends{{-1, -1}};

    // Off the centre: the two border crossings, ordered along the line.
    getLineStartEndPointByROI(corners, centre, {1, 4, 52, 30}, ends);
    EXPECT_EQ(ends, (std::vector<cv::Point2d>{{49.5, 20}, {54.5, 40}}));
    getLineStartEndPointByROI(corners, centre, {-1, -4, 52, 30}, ends);
    EXPECT_EQ(ends, (std::vector<cv::Point2d>{{54.5, 40}, {49.5, 20}}));

    // Through the exact centre both crossings tie: the end is the nearest point at another
    // distance, here on the extension of the top side, not the opposite crossing.
    getLineStartEndPointByROI(corners, centre, {4, 1, 50, 30}, ends);
    EXPECT_EQ(ends, (std::vector<cv::Point2d>{{10, 20}, {70, 35}}));
    getLineStartEndPointByROI(corners, centre, {-4, -1, 50, 30}, ends);
    EXPECT_EQ(ends, (std::vector<cv::Point2d>{{70, 35}, {10, 20}}));
    // With only the two tied crossings there is no other distance: two equal points.
    getLineStartEndPointByROI(corners, centre, {1, 0, 50, 30}, ends);
    EXPECT_EQ(ends, (std::vector<cv::Point2d>{{70, 30}, {70, 30}}));

    // No meeting point at all: empty.
    getLineStartEndPointByROI(corners, centre, {0, 0, 50, 30}, ends);
    EXPECT_TRUE(ends.empty());
    ends = {{1, 1}};
    getLineStartEndPointByROI(corners, centre, {kNaN, 1, 50, 30}, ends);
    EXPECT_TRUE(ends.empty());
}

TEST(LineTool, NoiseRemovalIsOnePassAgainstTheFirstFit)
{
    RotateRectROI roi(50.0, 50.0, 0.0f, 100.0f, 100.0f);
    _EdgeLineDetParam p = lineParam(&roi, 0, DarkToLight);
    // Points on y = 0.5 x + 20 (alternately 0.2 off) with two adjacent far outliers.
    for (int i = 0; i < 20; ++i)
        p.edgePoints.emplace_back(4.0 * i, 2.0 * i + 20 + (i % 2 ? 0.2 : -0.2) + (i == 7 || i == 8 ? 9 : 0));
    const std::vector<cv::Point2d> all = p.edgePoints;

    // A NaN or zero distance keeps fewer than two points: nothing changes.
    for (double distance : {kNaN, 0.0}) {
        EXPECT_FALSE(removeEdgeLineNoise(p, distance));
        EXPECT_EQ(p.edgePoints, all);
        EXPECT_TRUE(p.startEndPoints.empty());
    }

    p.edgePoints.assign(all.rbegin(), all.rend()); // run from the last point back to the first
    ASSERT_TRUE(removeEdgeLineNoise(p, 1.0));
    EXPECT_FALSE(p.success); // not touched
    ASSERT_EQ(p.edgePoints.size(), 18u);
    for (const cv::Point2d& q : p.edgePoints)
        EXPECT_LT(std::abs(q.y - 0.5 * q.x - 20), 0.3);
    EXPECT_NEAR(direction(p.line).dot(cv::Point2d(-2, -1) / std::sqrt(5.0)), 1.0, 1e-6);
    ASSERT_EQ(p.startEndPoints.size(), 2u);
    EXPECT_NEAR(p.startEndPoints[0].x, 100, 0.2); // the right side first, then the left
    EXPECT_NEAR(p.startEndPoints[1].x, 0, 0.2);

    // One pass: points 0.5 either side of the line, the first three 1.7 off and the last
    // 0.7 off. The lifted points pull the first fit towards the last one, which stays;
    // the refit without them leaves it beyond the limit, so a second call drops it.
    p.edgePoints.clear();
    for (int i = 0; i < 20; ++i) {
        const double off = i == 19 ? 0.7 : i < 3 ? 1.7 : (i % 2 ? 0.5 : -0.5);
        p.edgePoints.emplace_back(4.0 * i, 2.0 * i + 20 + off);
    }
    ASSERT_TRUE(removeEdgeLineNoise(p, 1.0));
    ASSERT_EQ(p.edgePoints.size(), 19u);
    EXPECT_EQ(p.edgePoints.back(), cv::Point2d(76, 58.7));
    EXPECT_GT(pointToLineDistance(p.edgePoints.back(), p.line, false), 1.0);
    ASSERT_TRUE(removeEdgeLineNoise(p, 1.0));
    EXPECT_LT(p.edgePoints.size(), 19u);
    EXPECT_NE(p.edgePoints.back(), cv::Point2d(76, 58.7));

    p.roi = nullptr;
    EXPECT_FALSE(removeEdgeLineNoise(p, 1.0));
}

TEST(LinePair, CentralLineOfParallelAndCrossingLines)
{
    _EdgeLineDetParam first, second, central;
    first.line = {1, 0, 50, 10};
    first.startEndPoints = {{0, 10}, {100, 10}};
    second.line = {-1, 0, 70, 30};
    second.startEndPoints = {{120, 30}, {20, 30}};
    ASSERT_TRUE(findLineLineCentralLine(first, second, central, false));
    EXPECT_TRUE(central.success);
    EXPECT_EQ(central.line, cv::Vec4d(1, 0, 50, 20));
    EXPECT_EQ(central.startEndPoints, (std::vector<cv::Point2d>{{0, 20}, {120, 20}}));
    // Ordered like the first segment; appended, not replaced.
    std::swap(first.startEndPoints[0], first.startEndPoints[1]);
    ASSERT_TRUE(findLineLineCentralLine(first, second, central, false));
    EXPECT_EQ(central.startEndPoints,
              (std::vector<cv::Point2d>{{0, 20}, {120, 20}, {120, 20}, {0, 20}}));

    // Without two start/end points on both, each line's point and point + direction count.
    second.startEndPoints.push_back({0, 0});
    central.startEndPoints.clear();
    ASSERT_TRUE(findLineLineCentralLine(first, second, central, false));
    EXPECT_EQ(central.startEndPoints, (std::vector<cv::Point2d>{{50, 20}, {70, 20}}));

    // Crossing at (10, 10): the bisector of the angle towards both lines' points, or the
    // other one when flipped; both point the way of the first line.
    first.line = {1, 0, 50, 10};
    second.line = {0, 1, 10, 50};
    for (bool flip : {false, true}) {
        central = _EdgeLineDetParam();
        ASSERT_TRUE(findLineLineCentralLine(first, second, central, flip));
        const double h = std::sqrt(0.5);
        EXPECT_LT(cv::norm(direction(central.line) - cv::Point2d(h, flip ? -h : h)), 1e-12);
        EXPECT_NEAR(pointToLineDistance({10, 10}, central.line, false), 0, 1e-9);
    }

    // No bisector for a zero direction: false, central untouched.
    second.line = {0, 0, 10, 50};
    central = _EdgeLineDetParam();
    central.line = {9, 9, 9, 9};
    EXPECT_FALSE(findLineLineCentralLine(first, second, central, false));
    EXPECT_EQ(central.line, cv::Vec4d(9, 9, 9, 9));
    EXPECT_TRUE(central.startEndPoints.empty());
}

TEST(LinePair, ExtremePointsAndTheirStartValues)
{
    cv::Point2d lt(-7, -7), rb(-7, -7);
    findLtPointAndRbPoint({}, lt, rb);
    EXPECT_EQ(lt, rb);
    EXPECT_EQ(rb, cv::Point2d(-7, -7));

    findLtPointAndRbPoint({{5, 3}, {1, 9}, {1, 2}, {5, 8}, {1, 2}, {5, 8}}, lt, rb);
    EXPECT_EQ(lt, cv::Point2d(1, 2));
    EXPECT_EQ(rb, cv::Point2d(5, 8));

    // No x above the smallest positive double: the first point is the right-bottom one.
    findLtPointAndRbPoint({{-3, 1}, {-1, 5}, {0, 2}}, lt, rb);
    EXPECT_EQ(lt, rb);
    EXPECT_EQ(rb, cv::Point2d(-3, 1));
}
