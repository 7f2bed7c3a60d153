#include <Functions.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

void expectPointNear(cv::Point2d actual, cv::Point2d expected, double tolerance)
{
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
}

template <typename Vec>
void expectVecNear(const Vec& actual, const Vec& expected, double tolerance)
{
    EXPECT_LT(cv::norm(actual - expected), tolerance) << actual << " expected " << expected;
}

} // namespace

TEST(Geometry, VectorProductsAndLineCoefficients)
{
    EXPECT_DOUBLE_EQ(Length({1, 2}, {4, 6}), 5.0);
    // (3, 1) x (-1, 2) = 7 and (3, 1) . (-1, 2) = -1, from shifted origins.
    EXPECT_DOUBLE_EQ(calculateVectorsCross({1, 1}, {4, 2}, {0, 0}, {-1, 2}), 7.0);
    EXPECT_DOUBLE_EQ(calculateVectorsInner({1, 1}, {4, 2}, {0, 0}, {-1, 2}), -1.0);
    // The line forms use only the directions.
    EXPECT_DOUBLE_EQ(calculateVectorsCross(cv::Vec4d(3, 1, 100, 100), cv::Vec4d(1, 2, -7, 9)), 5.0);
    EXPECT_DOUBLE_EQ(calculateVectorsInner(cv::Vec4d(3, 1, 100, 100), cv::Vec4d(1, 2, -7, 9)), 5.0);

    double A = 1, B = 1, C = 1;
    getLineABC({1, 2}, {4, 6}, A, B, C);
    EXPECT_EQ(cv::Vec3d(A, B, C), cv::Vec3d(4, -3, 2));
    getLineABC({3, 3}, {3, 3}, A, B, C);
    EXPECT_EQ(cv::Vec3d(A, B, C), cv::Vec3d(0, 0, 0));
}

TEST(Geometry, AnglesAndTheirRanges)
{
    EXPECT_DOUBLE_EQ(getRadian(180.0), 3.141592653589793);
    EXPECT_DOUBLE_EQ(getRadian(0.0, 1.0), 3.141592653589793 / 2); // x first
    EXPECT_DOUBLE_EQ(getRadian(cv::Point2d(1, 1), cv::Point2d(0, 1)), 3.141592653589793);
    EXPECT_DOUBLE_EQ(getAngle_180(1.0, 1.0), 45.0);
    EXPECT_DOUBLE_EQ(getAngle_180(-1.0, 0.0), 180.0);
    EXPECT_DOUBLE_EQ(getAngle_180(cv::Point2d(5, 5), cv::Point2d(5, 2)), -90.0);

    EXPECT_EQ(getAngle_360(0.0), 0.0);
    EXPECT_EQ(getAngle_360(-180.0), 180.0);
    EXPECT_EQ(getAngle_360(180.0), 180.0);
    EXPECT_EQ(getAngle_360(-0.5), 0.5);
    EXPECT_EQ(getAngle_360(0.5), 359.5);
    EXPECT_TRUE(std::isnan(getAngle_360(kNaN)));
    // Up on screen (y decreasing) is 90, down is 270.
    EXPECT_DOUBLE_EQ(getAngle_360(0.0, -1.0), 90.0);
    EXPECT_DOUBLE_EQ(getAngle_360(cv::Point2d(5, 5), cv::Point2d(5, 9)), 270.0);
    EXPECT_DOUBLE_EQ(getAngle_360(cv::Point2d(5, 5), cv::Point2d(4, 4)), 135.0);
}

TEST(Geometry, AngleArithmeticCorrectsOnlyOnce)
{
    EXPECT_EQ(getAngleCalculation_180(170, 20, Addition), -170.0);
    EXPECT_EQ(getAngleCalculation_180(-170, 20, Subtraction), 170.0);
    EXPECT_EQ(getAngleCalculation_180(500, 100, Addition), 240.0);
    EXPECT_EQ(getAngleCalculation_180(90, 90, Addition), 180.0);
    EXPECT_EQ(getAngleCalculation_180(-90, 90, Subtraction), -180.0);
    // Any value other than Addition subtracts.
    EXPECT_EQ(getAngleCalculation_180(30, 10, static_cast<ArithmeticSign>(7)), 20.0);

    EXPECT_EQ(getAngleCalculation_360(350, 10, Addition), 360.0);
    EXPECT_EQ(getAngleCalculation_360(10, 20, Subtraction), 350.0);
    EXPECT_EQ(getAngleCalculation_360(700, 100, Addition), 440.0);
}

TEST(Geometry, DistancesAgreeAcrossLineFormsAndKeepTheirSign)
{
    // Horizontal line y = 2 running to the right; (3, 5) is below it on screen.
    const cv::Point2d l1(0, 2), l2(10, 2), below(3, 5), above(3, -1);
    EXPECT_DOUBLE_EQ(pointToLineDistance(below, l1, l2, false), 3.0);
    EXPECT_DOUBLE_EQ(pointToLineDistance(above, l1, l2, false), 3.0);
    const double signedBelow = pointToLineDistance(below, l1, l2, true);
    const double signedAbove = pointToLineDistance(above, l1, l2, true);
    EXPECT_DOUBLE_EQ(std::abs(signedBelow), 3.0);
    EXPECT_DOUBLE_EQ(signedAbove, -signedBelow);
    // The positive side is side 2 of the side test.
    EXPECT_EQ(pointOnLineLeftOrRight(signedBelow > 0 ? below : above, l1, l2), 2);

    // The vector form is the two-point form through x0 -/+ v: same sign as l1 -> l2.
    EXPECT_DOUBLE_EQ(pointToLineDistance(below, cv::Vec4d(2.5, 0, 4, 2), true), signedBelow);
    EXPECT_DOUBLE_EQ(pointToLineDistance(below, cv::Vec4d(-2.5, 0, 4, 2), true), -signedBelow);

    EXPECT_DOUBLE_EQ(pointToLineDistance({0, 0}, {2, 0}, {0, 2}, false), std::sqrt(2.0));
    // No line: zero, also for a norm that only single precision rounds to zero.
    EXPECT_EQ(pointToLineDistance({7, 8}, {1, 1}, {1, 1}, true), 0.0);
    EXPECT_EQ(pointToLineDistance({7, 8}, cv::Vec4d(0, 0, 1, 1), false), 0.0);
    EXPECT_EQ(pointToLineDistance({7, 8}, 1e-46, 1e-46, 5.0, false), 0.0);
    EXPECT_GT(pointToLineDistance({7, 8}, 1e-30, 0.0, 5.0, false), 0.0);
}

TEST(Geometry, FeetOfPerpendicularsAndTheirFallbacks)
{
    cv::Point2d foot(9, 9);
    getFooDrop({3, 5}, {0, 2}, {10, 2}, foot);
    expectPointNear(foot, {3, 2}, 1e-12);
    getFooDrop({0, 0}, {2, 0}, {0, 2}, foot);
    expectPointNear(foot, {1, 1}, 1e-12);
    getFooDrop({0, 0}, cv::Vec4d(-3, 3, 2, 0), foot); // unnormalised direction
    expectPointNear(foot, {1, 1}, 1e-12);
    getFooDrop({4, 7}, 1.0, 0.0, -2.0, foot); // x = 2
    expectPointNear(foot, {2, 7}, 1e-12);

    // No line: the foot is reset to (0, 0).
    cv::Point2d feet[3] = {{9, 9}, {9, 9}, {9, 9}};
    getFooDrop({4, 7}, {1, 1}, {1, 1}, feet[0]);
    getFooDrop({4, 7}, cv::Vec4d(0, 0, 5, 5), feet[1]);
    getFooDrop({4, 7}, 0.0, 0.0, 3.0, feet[2]);
    for (const cv::Point2d& f : feet)
        EXPECT_EQ(f, cv::Point2d(0, 0));
}

TEST(Geometry, SideTestsSplitAndAppend)
{
    const cv::Point2d a(0, 0), b(10, 0);
    const int sideBelow = pointOnLineLeftOrRight({5, 3}, a, b);
    const int sideAbove = pointOnLineLeftOrRight({5, -3}, a, b);
    // (a - p) x (b - p) for p = (5, 3): (-5)(-3) - (-3)(5) = 30 > 0.
    EXPECT_EQ(sideBelow, 1);
    EXPECT_EQ(sideAbove, 2);
    EXPECT_EQ(pointOnLineLeftOrRight({25, 0}, a, b), 0);
    EXPECT_EQ(pointOnLineLeftOrRight({5, 3}, a, a), 0);
    EXPECT_EQ(pointOnLineLeftOrRight({kNaN, 3}, a, b), -1);

    std::vector<cv::Point2d> side1{{-1, -1}}, side2;
    LineLeftOrRight({{5, 3}, {2, 0}, {5, -3}, {kNaN, 1}, {7, 1}}, a, b, side1, side2);
    EXPECT_EQ(side1, (std::vector<cv::Point2d>{{-1, -1}, {5, 3}, {7, 1}})); // appended
    EXPECT_EQ(side2, (std::vector<cv::Point2d>{{5, -3}}));

    std::vector<double> dist{42};
    PointsLineDis({{5, 3}, {5, -4}, {2, 0}}, a, b, dist);
    EXPECT_EQ(dist, (std::vector<double>{42, 3, 4, 0}));
    PointsLineDis({{5, 3}}, a, a, dist);
    EXPECT_EQ(dist.back(), 0.0);
}

TEST(Geometry, OnSegmentRejectsOnlyOneSideOfTheLine)
{
    const cv::Point2d a(0, 0), b(10, 0);
    EXPECT_TRUE(onSegement({5, 0}, a, b));
    EXPECT_TRUE(onSegement(b, a, b));
    EXPECT_FALSE(onSegement({-0.5, 0}, a, b));
    // (b - a) x (b - p) is positive above the line on screen (y < 0): rejected there,
    // while a point far below but between the ends in projection passes.
    EXPECT_FALSE(onSegement({5, -1}, a, b));
    EXPECT_FALSE(onSegement({5, -2e-7}, a, b));
    EXPECT_TRUE(onSegement({5, 50}, a, b));
    EXPECT_FALSE(onSegement({15, 50}, a, b));
    EXPECT_FALSE(onSegement({kNaN, 0}, a, b));
}

TEST(Geometry, LineIntersectionsAndParallelFailures)
{
    cv::Point2d p(-1, -1);
    // y = x through (1, 1) and the vertical x = 4 through (4, -2).
    ASSERT_TRUE(clcLineLineIntersection(cv::Vec4d(2, 2, 1, 1), cv::Vec4d(0, 3, 4, -2), p));
    expectPointNear(p, {4, 4}, 1e-12);
    // No zero component, so every term of the formula counts.
    ASSERT_TRUE(clcLineLineIntersection(cv::Vec4d(1, -2, 0, 6), cv::Vec4d(1, 1, -1, -1), p));
    expectPointNear(p, {2, 2}, 1e-12);

    p = {-1, -1};
    EXPECT_FALSE(clcLineLineIntersection(cv::Vec4d(1, 2, 0, 0), cv::Vec4d(-2, -4, 5, 0), p));
    EXPECT_FALSE(clcLineLineIntersection(cv::Vec4d(1, 2, kNaN, 0), cv::Vec4d(1, 0, 5, 0), p));
    EXPECT_EQ(p, cv::Point2d(-1, -1));

    ASSERT_TRUE(clcLinesIntersection({0, 6}, {1, 4}, {0, 0}, {3, 3}, p));
    expectPointNear(p, {2, 2}, 1e-12);

    p = {-1, -1};
    EXPECT_FALSE(clcLinesIntersection({0, 0}, {10, 1}, {0, 5}, {10, 6}, p));
    EXPECT_FALSE(clcLinesIntersection({0, 0}, {10, 1}, {0, kInf}, {10, 6}, p));
    EXPECT_EQ(p, cv::Point2d(-1, -1));
}

TEST(Geometry, CircleCircleIntersectionCounts)
{
    std::vector<cv::Point2d> pts;
    ASSERT_EQ(getCircleCircleIntersection({0, 0}, 5, {8, 0}, 5, pts), 2);
    ASSERT_EQ(pts.size(), 2u);
    expectPointNear(pts[0], {4, -3}, 1e-12); // alpha - beta first
    expectPointNear(pts[1], {4, 3}, 1e-12);

    // Touching externally: both computed points coincide exactly.
    pts.clear();
    EXPECT_EQ(getCircleCircleIntersection({0, 0}, 1, {2, 0}, 1, pts), 1);
    ASSERT_EQ(pts.size(), 1u);
    expectPointNear(pts[0], {1, 0}, 1e-15);

    pts.clear();
    EXPECT_EQ(getCircleCircleIntersection({0, 0}, 1, {3, 0}, 1, pts), 0);  // apart
    EXPECT_EQ(getCircleCircleIntersection({0, 0}, 5, {1, 0}, 1, pts), 0);  // inside
    EXPECT_EQ(getCircleCircleIntersection({2, 2}, 3, {2, 2}, 3, pts), -1); // same circle
    EXPECT_EQ(getCircleCircleIntersection({2, 2}, 3, {2, 2}, 4, pts), 0);  // concentric
    EXPECT_EQ(getCircleCircleIntersection({kNaN, 0}, 3, {2, 2}, 4, pts), 0);
    EXPECT_TRUE(pts.empty());

    // Random-looking circles: every point returned lies on both.
    pts.clear();
    const cv::Point2d c1(13.7, -4.2), c2(21.1, 3.9);
    ASSERT_EQ(getCircleCircleIntersection(c1, 9.5, c2, 6.25, pts), 2);
    for (const cv::Point2d& q : pts) {
        EXPECT_NEAR(Length(q, c1), 9.5, 1e-12);
        EXPECT_NEAR(Length(q, c2), 6.25, 1e-12);
    }
}

TEST(Geometry, LineCircleIntersectionOrderAndTangency)
{
    std::vector<cv::Point2d> pts;
    // Through the centre: the + root (larger x for a rising line) first.
    ASSERT_EQ(getLineCircleIntersection({10, 20}, 5, {0, 10}, {20, 30}, pts), 2);
    ASSERT_EQ(pts.size(), 2u);
    EXPECT_GT(pts[0].x, pts[1].x);
    for (const cv::Point2d& q : pts) {
        EXPECT_NEAR(Length(q, {10, 20}), 5, 1e-12);
        EXPECT_NEAR(q.y - q.x, 10, 1e-12);
    }

    // A vertical line: upper point first.
    pts.clear();
    ASSERT_EQ(getLineCircleIntersection({0, 0}, 5, {3, -100}, {3, 100}, pts), 2);
    expectPointNear(pts[0], {3, -4}, 1e-12);
    expectPointNear(pts[1], {3, 4}, 1e-12);

    // Exactly tangent: the foot alone.
    pts.clear();
    ASSERT_EQ(getLineCircleIntersection({0, 0}, 5, {-10, 5}, {10, 5}, pts), 1);
    EXPECT_EQ(pts[0], cv::Point2d(0, 5));

    // Tangent within rounding (the discriminant cancels to slightly below zero): two
    // nearly equal points, not NaN.
    pts.clear();
    const cv::Point2d centre(-28.340060286938662, -7.788342441728268);
    const double radius = 2.13259071541985;
    ASSERT_EQ(getLineCircleIntersection(centre, radius, {-21.073176823095984, -6.927907736230663},
                                        {-36.82075141182349, -4.0970254404677835}, pts),
              2);
    expectPointNear(pts[0], pts[1], 1e-6);
    EXPECT_NEAR(Length(pts[0], centre), radius, 1e-9);

    pts.clear();
    EXPECT_EQ(getLineCircleIntersection({0, 0}, 5, {-10, 6}, {10, 6}, pts), 0);
    EXPECT_EQ(getLineCircleIntersection({0, 0}, kNaN, {-10, 1}, {10, 1}, pts), 0);
    EXPECT_TRUE(pts.empty());
}

TEST(Geometry, CirclePointsAreCounterClockwiseOnScreen)
{
    const cv::Point2d c(100, 50);
    expectPointNear(findCirclePoint(c, 10, 0), {110, 50}, 1e-12);
    expectPointNear(findCirclePoint(c, 10, 90), {100, 40}, 1e-12);
    expectPointNear(findCirclePoint(c, 10, -90), {100, 60}, 1e-12);
    expectPointNear(findCirclePoint(c, 10, 450), {100, 40}, 1e-12);
    // Only one fold.
    EXPECT_EQ(findCirclePoint(c, 10, -400), cv::Point2d(0, 0));
    EXPECT_EQ(findCirclePoint(c, 10, 720), cv::Point2d(0, 0));
    EXPECT_EQ(findCirclePoint(c, 10, kNaN), cv::Point2d(0, 0));
}

TEST(Geometry, BisectorsOfCrossingAndParallelLines)
{
    cv::Vec4d bisector(-1, -1, -1, -1);
    const double h = std::sqrt(0.5);
    // The x axis with its point at (5, 0), the y axis with its point at (0, 5).
    ASSERT_TRUE(getAngularBisector(cv::Vec4d(1, 0, 5, 0), cv::Vec4d(0, 1, 0, 5), bisector, false));
    expectVecNear(bisector, cv::Vec4d(h, h, 2.5, 2.5), 1e-12);

    ASSERT_TRUE(getAngularBisector(cv::Vec4d(1, 0, 5, 0), cv::Vec4d(0, 1, 0, 5), bisector, true));
    expectVecNear(bisector, cv::Vec4d(h, -h, 2.5, -2.5), 1e-12);

    // The result points the way of l1, whatever the lengths and senses of the inputs.
    ASSERT_TRUE(getAngularBisector(cv::Vec4d(-4, 0, 5, 0), cv::Vec4d(0, -0.5, 0, 5), bisector, false));
    expectPointNear({bisector[0], bisector[1]}, {-h, -h}, 1e-15);
    EXPECT_NEAR(bisector[3] - bisector[2], 0, 1e-12);

    // Two lines at 60 degrees crossing at (10, 20): the bisector is at 30 degrees.
    const double s = std::sqrt(3.0);
    ASSERT_TRUE(getAngularBisector(cv::Vec4d(1, 0, 13, 20), cv::Vec4d(0.5, s / 2, 11, 20 + s), bisector, false));
    expectPointNear({bisector[0], bisector[1]}, {s / 2, 0.5}, 1e-12);
    EXPECT_NEAR((bisector[3] - 20) / (bisector[2] - 10), 1 / s, 1e-12);

    // Parallel lines: the middle line with l1's direction as given.
    ASSERT_TRUE(getAngularBisector(cv::Vec4d(2, 0, 3, 1), cv::Vec4d(-1, 0, 50, 7), bisector, false));
    EXPECT_EQ(bisector, cv::Vec4d(2, 0, 3, 4));

    bisector = cv::Vec4d(-1, -1, -1, -1);
    EXPECT_FALSE(getAngularBisector(cv::Vec4d(0, 0, 3, 1), cv::Vec4d(1, 0, 50, 7), bisector, false));
    EXPECT_FALSE(getAngularBisector(cv::Vec4d(1, 0, 3, 1), cv::Vec4d(1, kNaN, 50, 7), bisector, false));
    EXPECT_EQ(bisector, cv::Vec4d(-1, -1, -1, -1));
}

TEST(Geometry, RotatedRectanglesFromSidePoints)
{
    // A 40 x 20 rectangle at 30 degrees centred on (100, 50).
    const double angle = 30;
    const double a = angle * 3.141592653589793 / 180;
    const cv::Point2d u(std::cos(a), std::sin(a)), v(-std::sin(a), std::cos(a)), centre(100, 50);

    cv::RotatedRect rr;
    ASSERT_TRUE(getRotatedRectByAngleAndFourPoints(angle, centre - 10 * v + 5 * u, centre - 20 * u + 3 * v,
                                                   centre + 10 * v - 7 * u, centre + 20 * u - 2 * v, rr));
    expectPointNear(rr.center, centre, 1e-4);
    expectPointNear(cv::Point2f(rr.size), {40, 20}, 1e-4);
    EXPECT_EQ(rr.angle, 30.0f);

    // The fourth point of the three-point form lands on p2's side: the width collapses
    // and the rectangle is the p2 side between the p1 and p3 sides.
    ASSERT_TRUE(getRotatedRectByAngleThreePointsHeight(angle, centre - 10 * v + 5 * u, centre - 20 * u + 3 * v,
                                                       centre + 10 * v - 7 * u, 15, rr));
    expectPointNear(cv::Point2f(rr.size), {0, 20}, 1e-4);
    expectPointNear(rr.center, centre - 20 * u, 1e-4);

    // Given size: p1 at +width/2 along u, p4 at -width/2, p2 at +height/2 along v, p3
    // at -height/2. The centre comes out half a height towards -v.
    std::vector<double> dist{-1};
    ASSERT_TRUE(getRotatedRectByAngleWidthHeightFourPoints(angle, centre + 20 * u + 4 * v, centre + 10 * v + 6 * u,
                                                           centre - 10 * v - 5 * u, centre - 20 * u - 3 * v, 40,
                                                           20, rr, dist));
    expectPointNear(rr.center, centre - 10 * v, 1e-4);
    EXPECT_EQ(rr.size, cv::Size2f(40, 20));
    ASSERT_EQ(dist.size(), 5u);
    expectVecNear(cv::Vec4d(dist[1], dist[2], dist[3], dist[4]), cv::Vec4d(0, 10, 10, 0), 1e-9);

    // Sides that cannot meet leave the outputs alone.
    const cv::RotatedRect before = rr;
    EXPECT_FALSE(getRotatedRectByAngleAndFourPoints(kNaN, {0, 0}, {1, 0}, {1, 1}, {0, 1}, rr));
    EXPECT_FALSE(getRotatedRectByAngleThreePointsHeight(kNaN, {0, 0}, {1, 0}, {1, 1}, 3, rr));
    EXPECT_FALSE(getRotatedRectByAngleWidthHeightFourPoints(kNaN, {0, 0}, {1, 0}, {1, 1}, {0, 1}, 2, 2, rr, dist));
    EXPECT_EQ(rr.center, before.center);
    EXPECT_EQ(dist.size(), 5u);
}

TEST(Geometry, MeetingPointOfLinesInSpace)
{
    cv::Point3d p(-1, -1, -1);
    // Two crossing lines meet at (1, 2, 3).
    calcIntersectionof2Line3d(cv::Vec3f(1, 1, 0), {1, 2, 3}, cv::Vec3f(0, 1, 1), {1, 4, 5}, p);
    expectVecNear(cv::Vec3d(p), cv::Vec3d(1, 2, 3), 1e-12);

    // Skew lines: the midpoint of the common perpendicular.
    calcIntersectionof2Line3d(cv::Vec3f(1, 0, 0), {7, 0, 0}, cv::Vec3f(0, 2, 0), {0, -3, 2}, p);
    expectVecNear(cv::Vec3d(p), cv::Vec3d(0, 0, 1), 1e-12);

    // Parallel lines: the midpoint of the two given points.
    calcIntersectionof2Line3d(cv::Vec3f(0, 0, 1), {0, 0, 0}, cv::Vec3f(0, 0, 2), {4, 2, 6}, p);
    EXPECT_EQ(p, cv::Point3d(2, 1, 3));

    // Undefined input leaves p alone.
    calcIntersectionof2Line3d(cv::Vec3f(1, std::nanf(""), 0), {0, 0, 0}, cv::Vec3f(0, 1, 0), {4, 2, 6}, p);
    EXPECT_EQ(p, cv::Point3d(2, 1, 3));
}
