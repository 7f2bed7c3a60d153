// Segment-based edge tools: clcEdgePoints, clcEdgePointsAndTransform, clcEdgePoint_Line.

#include <Functions.h>

#include "Synthetic.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr double kPi = 3.141592653589793;

// Signed distance of p from the line through point with the given normal angle.
double offsetFromLine(cv::Point2d p, cv::Point2d point, double normalAngle)
{
    const double t = normalAngle * kPi / 180.0;
    return (p.x - point.x) * std::cos(t) + (p.y - point.y) * std::sin(t);
}

// Dark (40) everywhere, bright (200) on the side of the half-plane the normal points to.
cv::Mat halfPlaneImage(cv::Point2d point, double normalAngle, double blur = 0.8, double noise = 2.0)
{
    synthetic::Scene scene(cv::Size(320, 240), 40);
    scene.fillHalfPlane(point, normalAngle, 200);
    return scene.toGrey(blur, noise);
}

_EdgePointsDetParam pointsParam(ROI* roi, int scanAxis = 0, int segmentWidth = 5, int segmentStep = 5)
{
    _EdgePointsDetParam p;
    p.scanAxis = scanAxis;
    p.transition = DarkToLight;
    p.percent = 50;
    p.sigma = 2;
    p.minStrength = 5;
    p.segmentWidth = segmentWidth;
    p.segmentStep = segmentStep;
    p.roi = roi;
    return p;
}

double worstOffset(const std::vector<cv::Point2d>& points, cv::Point2d edge, double normalAngle)
{
    double worst = 0;
    for (const cv::Point2d& q : points)
        worst = std::max(worst, std::abs(offsetFromLine(q, edge, normalAngle)));
    return worst;
}

} // namespace

TEST(EdgePoints, StraightEdgeIsFoundAtEveryAngleAlongEitherAxis)
{
    // ROI centre (160, 120), sides 80 x 60: the angle-0 copy lies on whole pixels.
    const cv::Point2d edge(160.3, 120.6);
    for (double angle : {0.0, 1e-3, 17.0, 90.0, -135.0}) {
        cv::Mat image = halfPlaneImage(edge, angle);
        // Along the width of a ROI whose x axis is the edge normal, or along the height of
        // one turned a quarter back; scanned backwards the edge falls.
        RotateRectROI across(160, 120, static_cast<float>(angle), 80, 60);
        RotateRectROI along(160, 120, static_cast<float>(angle - 90), 60, 80);
        for (auto [roi, scanAxis, direction] : {std::tuple{&across, 0, 0}, {&along, 1, 0}, {&along, 1, 1}}) {
            auto p = pointsParam(roi, scanAxis);
            p.direction = direction;
            p.transition = direction == 1 ? LightToDark : DarkToLight;
            ASSERT_TRUE(clcEdgePointsAndTransform(image, p)) << angle;
            EXPECT_EQ(p.points.size(), 12u) << angle; // (60 - 5) / 5 + 1 segments
            EXPECT_LT(worstOffset(p.points, edge, angle), 0.1) << angle;
            p.transition = direction == 1 ? DarkToLight : LightToDark;
            EXPECT_FALSE(clcEdgePoints(image, p, false)) << angle;
        }
    }
}

TEST(EdgePoints, UprightRectanglesAreCopiedAndStrictlyInside)
{
    cv::Mat image = halfPlaneImage({160.3, 120.6}, 0);

    // Angle exactly 0 copies the truncated rectangle byte for byte; a tiny angle warps.
    RotateRectROI copied(160.5, 120.5, 0, 80, 60);
    auto p = pointsParam(&copied);
    ASSERT_TRUE(clcEdgePoints(image, p, false));
    EXPECT_EQ(cv::norm(p.image, image(cv::Rect(120, 90, 80, 60)), cv::NORM_INF), 0);
    RotateRectROI warped(160.5, 120.5, 1e-4f, 80, 60);
    p = pointsParam(&warped);
    ASSERT_TRUE(clcEdgePoints(image, p, false));
    EXPECT_GT(cv::norm(p.image, image(cv::Rect(120, 90, 80, 60)), cv::NORM_INF), 0);
    EXPECT_DOUBLE_EQ(p.angle, 1e-4f);
    EXPECT_EQ(p.halfWidth, 40);
    EXPECT_EQ(p.centreX, 160.5);

    // An upright RectROI must end before the last column and row (here scanned down across
    // a horizontal edge at y = 120.6, so that every accepted rectangle finds it).
    const cv::Point2d horizontal(160.3, 120.6);
    image = halfPlaneImage(horizontal, 90);
    for (auto [x, y, width, height, accepted] :
         {std::tuple{120.0, 90.0, 80.0, 60.0, true}, {240.0, 90.0, 79.0, 60.0, true}, {240.0, 90.0, 80.0, 60.0, false},
          {240.7, 90.0, 79.9, 60.0, true}, {-0.5, 90.0, 80.0, 60.0, true}, {-1.0, 90.0, 80.0, 60.0, false},
          {120.0, 100.0, 80.0, 139.0, true}, {120.0, 100.0, 80.0, 140.0, false}}) {
        RectROI rect(QRectF(x, y, width, height));
        p = pointsParam(&rect, 1);
        EXPECT_EQ(clcEdgePointsAndTransform(image, p), accepted) << x << " " << y << " " << width << " " << height;
        EXPECT_EQ(p.found, accepted);
        if (accepted) {
            EXPECT_EQ(p.image.size(), cv::Size(static_cast<int>(width), static_cast<int>(height)));
            EXPECT_EQ(p.centreX, static_cast<float>(x + width / 2));
            // Mapped back by the rectangle's own left and top.
            EXPECT_LT(worstOffset(p.points, horizontal, 90), x == std::trunc(x) ? 0.1 : 0.6);
            EXPECT_NEAR(p.points.front().x, x + 2.5, 1.0);
        }
    }
}

TEST(EdgePoints, MultiEdgeModeKeepsOneContourPerSegment)
{
    // A vertical edge at x = 160.3 broken by a jump of 40 px at image row 119.5, scanned by
    // segments 2 rows apart: the jump ends a run (its distance exceeds the limit of 20).
    auto jumpImage = [](double jumpRow) {
        synthetic::Scene scene(cv::Size(320, 240), 40);
        scene.fillConvexPolygon({{160.3, -1}, {400, -1}, {400, jumpRow}, {160.3, jumpRow}}, 200);
        scene.fillConvexPolygon({{200.3, jumpRow}, {400, jumpRow}, {400, 241}, {200.3, 241}}, 200);
        return scene.toGrey(0.8, 1.0);
    };
    RotateRectROI roi(180, 120, 0, 100, 100); // rows 70..169, segments start every 2 rows
    auto p = pointsParam(&roi, 0, 2, 2);

    // 25 segments on each side: both runs are longer than 20 and both are kept, in order.
    cv::Mat image = jumpImage(119.5);
    ASSERT_TRUE(clcEdgePoints(image, p, true));
    ASSERT_EQ(p.points.size(), 50u);
    for (size_t i = 0; i < 50; ++i) {
        // The median filter rounds the jump's corners in the two segments either side.
        EXPECT_NEAR(p.points[i].x, i < 25 ? 30.3 : 70.3, std::abs(i - 24.5) < 2 ? 1.5 : 0.15) << i;
        EXPECT_EQ(p.points[i].y, 1.0 + 2.0 * i);
    }
    // 15 above, 35 below: only the longer run survives, the other side is too far to walk to.
    image = jumpImage(99.5);
    ASSERT_TRUE(clcEdgePoints(image, p, true));
    ASSERT_EQ(p.points.size(), 35u);
    EXPECT_NEAR(p.points.back().x, 70.3, 0.15);
    EXPECT_EQ(p.points.front().y, 31.0);

    // Clutter: bright specks left of the edge give extra edges in their segments. The walk
    // outwards keeps the contour's edge of each of those segments.
    synthetic::Scene scene(cv::Size(320, 240), 40);
    scene.fillHalfPlane({160.3, 0}, 0, 200);
    for (int k = 0; k < 3; ++k)
        scene.fillDisc({140.0 - 5 * k, 85.0 + 35 * k}, 3.5, 200);
    image = scene.toGrey(0.8, 1.0);
    RotateRectROI cluttered(160, 120, 0, 80, 100);
    p = pointsParam(&cluttered, 0, 5, 5);
    ASSERT_TRUE(clcEdgePoints(image, p, false));
    EXPECT_GT(worstOffset(p.points, {40.3, 0}, 0), 5); // first edges fall on specks
    ASSERT_TRUE(clcEdgePoints(image, p, true));
    EXPECT_EQ(p.points.size(), 20u);
    EXPECT_LT(worstOffset(p.points, {40.3, 0}, 0), 0.15);

    // A segment without any edge (a dark gap of 5 rows) stays inside the run, whose
    // smoothing then moves the segment coordinates around the gap: 1/4, 1/2, 1/4 weights
    // on values already smoothed.
    synthetic::Scene gapped(cv::Size(320, 240), 40);
    gapped.fillHalfPlane({160.3, 0}, 0, 200);
    gapped.fillConvexPolygon({{-1, 119.5}, {400, 119.5}, {400, 124.5}, {-1, 124.5}}, 40);
    image = gapped.toGrey(0, 0);
    p = pointsParam(&cluttered, 0, 5, 5);
    ASSERT_TRUE(clcEdgePoints(image, p, true));
    ASSERT_EQ(p.points.size(), 19u);
    EXPECT_EQ(p.points[9].y, 47.5 + 1.25);
    EXPECT_EQ(p.points[10].y, 47.5 + 9.0625);
    EXPECT_LT(worstOffset(p.points, {40.3, 0}, 0), 0.5); // the filter rounds the gap's corners

    // Three edges form no run of four: refused; two edges are kept as they are.
    image = halfPlaneImage({160.3, 0}, 0);
    RotateRectROI three(160, 120, 0, 80, 15), two(160, 120, 0, 80, 10);
    p = pointsParam(&three);
    EXPECT_TRUE(clcEdgePoints(image, p, false));
    EXPECT_FALSE(clcEdgePoints(image, p, true) || !p.points.empty());
    p = pointsParam(&two);
    EXPECT_TRUE(clcEdgePoints(image, p, true) && p.points.size() == 2);
}

TEST(EdgePointLine, FirstEdgeFromEitherEndOfTheLine)
{
    // A bright band 80.4 px wide between two lines whose normal is at 20 degrees.
    const double angle = 20;
    const double t = angle * kPi / 180;
    const cv::Point2d n(std::cos(t), std::sin(t));
    const cv::Point2d rise(100.4, 100), fall = rise + 80.4 * n;
    synthetic::Scene scene(cv::Size(320, 240), 40);
    scene.fill([&](double x, double y) { return std::max((cv::Point2d(x, y) - fall).dot(n), -(cv::Point2d(x, y) - rise).dot(n)); },
               200);
    cv::Mat image = scene.toGrey(0.8, 2.0);

    LineROI line(rise.x - 40 * n.x, rise.y - 40 * n.y, fall.x + 40 * n.x, fall.y + 40 * n.y);
    _EdgePointDetParam_Line p;
    p.transition = BothTransitions;
    p.percent = 50;
    p.sigma = 2;
    p.minStrength = 5;
    p.roi = &line;
    ASSERT_TRUE(clcEdgePoint_Line(image, p));
    EXPECT_EQ(p.image.size(), cv::Size(161, 1)); // ceil(160.4) samples
    EXPECT_LT(std::abs(offsetFromLine({p.x, p.y}, rise, angle)), 0.1);
    EXPECT_NEAR(offsetFromLine({p.x, p.y}, rise, angle + 90), 0, 1e-9); // on the line
    p.direction = 1;
    ASSERT_TRUE(clcEdgePoint_Line(image, p));
    EXPECT_LT(std::abs(offsetFromLine({p.x, p.y}, fall, angle)), 0.1);

    // Colour is read red-first: the band in the first channel only gives 0.299 * 200.
    cv::Mat colour(image.size(), CV_8UC3, cv::Scalar(0, 0, 0));
    colour.setTo(cv::Scalar(200, 0, 0), image > 120);
    ASSERT_TRUE(clcEdgePoint_Line(colour, p));
    EXPECT_EQ(p.image.type(), CV_8UC1);
    EXPECT_EQ(p.image.at<uchar>(0, p.image.cols / 2), 60);

    // Refusals: an empty image leaves found as it was; every other refusal clears it.
    p.found = true;
    cv::Mat empty, wide(image.size(), CV_16U, cv::Scalar(1)), flat = image.clone().setTo(40);
    EXPECT_FALSE(clcEdgePoint_Line(empty, p));
    EXPECT_TRUE(p.found);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // Just above 32766 the strip would take 32767 samples, one more than the remap allows.
    LineROI point(50, 50, 50, 50), notANumber(nan, 50, 80, 50), tooLong(0, 0, 1e6, 0), far(1e10, 10, 1e10 + 100, 10),
        justTooLong(0, 10, 32766.5, 10);
    for (auto [roi, sigma, img] : {std::tuple{&point, 2, &image}, {&notANumber, 2, &image}, {&tooLong, 2, &image},
                                   {&justTooLong, 2, &image},
                                   {&far, 2, &image}, {static_cast<LineROI*>(nullptr), 2, &image}, {&line, -1, &image},
                                   {&line, 101, &image}, {&line, 2, &flat}, {&line, 2, &wide}}) {
        p.roi = roi;
        p.sigma = sigma;
        p.found = true;
        EXPECT_FALSE(clcEdgePoint_Line(*img, p));
        EXPECT_FALSE(p.found);
    }
}

TEST(EdgePoints, BadInputFailsWithClearedOutputs)
{
    cv::Mat image = halfPlaneImage({160.3, 120.6}, 0, 0.8, 0.0);
    const float nanf = std::numeric_limits<float>::quiet_NaN();
    RotateRectROI tooThin(160, 120, 0, 0.5f, 60), notANumber(160, 120, nanf, 80, 60), huge(160, 120, 0, 4e4f, 60),
        outside(-500, -500, 10, 80, 60), leftOfImage(30, 120, 0, 80, 60), good(160, 120, 0, 80, 60);
    RectROI nanRect(QRectF(nanf, 90, 80, 60));
    LineROI line(0, 0, 10, 10);
    CircleROI circle(QRectF(100, 100, 40, 40));
    std::vector<ROI*> refused = {nullptr, &tooThin, &notANumber, &huge, &outside, &leftOfImage, &nanRect, &line, &circle};
    auto expectRefused = [](cv::Mat& img, _EdgePointsDetParam p) {
        for (bool multi : {false, true}) {
            p.found = true;
            p.points = {{1, 2}};
            EXPECT_FALSE(clcEdgePoints(img, p, multi));
            EXPECT_FALSE(p.found);
            EXPECT_TRUE(p.points.empty());
        }
        EXPECT_FALSE(clcEdgePointsAndTransform(img, p));
    };
    for (ROI* roi : refused)
        expectRefused(image, pointsParam(roi));

    // Settings the caliper refuses, and images the tool cannot read.
    for (auto [width, step, sigma] : {std::tuple{0, 5, 2}, {5, 0, 2}, {5, -3, 2}, {5, 5, 101}, {5, 5, -1}, {100, 5, 2}}) {
        auto p = pointsParam(&good, 0, width, step);
        p.sigma = sigma;
        expectRefused(image, p);
    }
    cv::Mat empty, wide(image.size(), CV_16U, cv::Scalar(1)), twoChannels(image.size(), CV_8UC2);
    for (cv::Mat* bad : {&empty, &wide, &twoChannels})
        expectRefused(*bad, pointsParam(&good));

    // Colour is converted red-first; the frame stays untouched by a refused ROI.
    cv::Mat colour;
    cv::merge(std::vector<cv::Mat>{image, image * 0, image * 0, image * 0}, colour);
    auto p = pointsParam(&good);
    p.minStrength = 0;
    ASSERT_TRUE(clcEdgePoints(colour, p, true));
    EXPECT_EQ(p.image.type(), CV_8UC1);
    EXPECT_EQ(p.image.at<uchar>(30, 70), 60);
    p.roi = &circle;
    EXPECT_FALSE(clcEdgePoints(image, p, false));
    EXPECT_EQ(p.centreX, 160);
}
