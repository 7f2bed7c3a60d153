#pragma once

/// \file
/// Plane geometry (\ref geometry).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup geometry Plane geometry
 *
 * Plane geometry on double-precision image coordinates (x right, y down, pixels):
 * lengths, angles, distances, feet of perpendiculars, side tests, intersections of lines
 * and circles, bisectors and rotated rectangles built from points on their sides.
 *
 * Lines come in three forms, and each function says which it takes:
 *  - two points (a, b), running from a to b;
 *  - coefficients (A, B, C) of A*x + B*y + C = 0 as made by getLineABC (not normalised);
 *  - cv::Vec4d (vx, vy, x0, y0): a direction, not necessarily of unit length, and a point.
 *
 * Angles are degrees unless a name says radian. getAngle_180 gives atan2(dy, dx) in
 * (-180, 180]; since y grows downward a positive angle turns clockwise on screen.
 * getAngle_360 gives the same direction measured counter-clockwise on screen, in [0, 360).
 *
 * Nothing here throws or divides by zero: a degenerate line yields the documented
 * fallback (distance 0, foot (0, 0), side 0, false or a zero count).
 * @{
 */

// ---------------------------------------------------------------------------------
// Points, vectors and angles
// ---------------------------------------------------------------------------------

/// Euclidean distance between p1 and p2.
FUNCTIONS_EXPORT double Length(cv::Point2d p1, cv::Point2d p2);

/// Cross product of the vectors a1->a2 and b1->b2 (z component, y downward).
FUNCTIONS_EXPORT double calculateVectorsCross(cv::Point2d a1, cv::Point2d a2, cv::Point2d b1, cv::Point2d b2);
/// Cross product of the directions (first two components) of two lines.
FUNCTIONS_EXPORT double calculateVectorsCross(cv::Vec4d u, cv::Vec4d v);

/// Dot product of the vectors a1->a2 and b1->b2.
FUNCTIONS_EXPORT double calculateVectorsInner(cv::Point2d a1, cv::Point2d a2, cv::Point2d b1, cv::Point2d b2);
/// Dot product of the directions (first two components) of two lines.
FUNCTIONS_EXPORT double calculateVectorsInner(cv::Vec4d u, cv::Vec4d v);

/// Coefficients of the line through p1 and p2: A = p2.y - p1.y, B = p1.x - p2.x,
/// C = p2.x*p1.y - p1.x*p2.y. Coincident points give A = B = C = 0.
FUNCTIONS_EXPORT void getLineABC(cv::Point2d p1, cv::Point2d p2, double& A, double& B, double& C);

/// Degrees to radians.
FUNCTIONS_EXPORT double getRadian(double deg);
/// atan2(y, x) in radians, (-pi, pi]. Note the order: x first.
FUNCTIONS_EXPORT double getRadian(double x, double y);
/// Direction of p1->p2 in radians, (-pi, pi].
FUNCTIONS_EXPORT double getRadian(cv::Point2d p1, cv::Point2d p2);

/// atan2(y, x) in degrees, (-180, 180]; positive is clockwise on screen.
FUNCTIONS_EXPORT double getAngle_180(double x, double y);
/// Direction of p1->p2 in degrees, (-180, 180].
FUNCTIONS_EXPORT double getAngle_180(cv::Point2d p1, cv::Point2d p2);

/// Converts a signed angle of the getAngle_180 range to counter-clockwise degrees on
/// screen: a < 0 gives -a, a > 0 gives 360 - a, 0 stays 0 and NaN passes through.
/// So -90 (up on screen) becomes 90 and 90 (down) becomes 270.
FUNCTIONS_EXPORT double getAngle_360(double a);
/// getAngle_360(getAngle_180(x, y)).
FUNCTIONS_EXPORT double getAngle_360(double x, double y);
/// getAngle_360(getAngle_180(p1, p2)).
FUNCTIONS_EXPORT double getAngle_360(cv::Point2d p1, cv::Point2d p2);

/// a + b (Addition) or a - b (any other value), folded into [-180, 180] by one
/// correction only: above 180 subtracts 360, below -180 adds 360. Sums further out stay
/// partly unwrapped (500 + 100 gives 240); exactly -180 and 180 are kept.
FUNCTIONS_EXPORT double getAngleCalculation_180(double a, double b, ArithmeticSign s);
/// The same arithmetic folded once into [0, 360]: above 360 subtracts 360, below 0
/// adds 360. Exactly 360 stays 360.
FUNCTIONS_EXPORT double getAngleCalculation_360(double a, double b, ArithmeticSign s);

// ---------------------------------------------------------------------------------
// Distances, feet and sides
// ---------------------------------------------------------------------------------

/// Distance from p to the line A*x + B*y + C = 0: (A*p.x + B*p.y + C) / sqrt(A^2 + B^2),
/// its absolute value unless isSigned. When sqrt(A^2 + B^2) rounds to 0 in single
/// precision the result is 0.
FUNCTIONS_EXPORT double pointToLineDistance(cv::Point2d p, double A, double B, double C, bool isSigned);
/// Distance from p to the line through l1 and l2 (coefficients as getLineABC). The sign
/// is positive on the side where the cross product (l2 - l1) x (p - l1) is negative,
/// i.e. the side 2 of pointOnLineLeftOrRight(p, l1, l2). Coincident points give 0.
FUNCTIONS_EXPORT double pointToLineDistance(cv::Point2d p, cv::Point2d l1, cv::Point2d l2, bool isSigned);
/// Distance from p to the line (vx, vy, x0, y0), taken as the two-point form with
/// l1 = (x0 - vx, y0 - vy) and l2 = (x0 + vx, y0 + vy), which fixes the sign.
FUNCTIONS_EXPORT double pointToLineDistance(cv::Point2d p, cv::Vec4d line, bool isSigned);

/// Foot of the perpendicular from p on A*x + B*y + C = 0; (0, 0) when A = B = 0.
FUNCTIONS_EXPORT void getFooDrop(cv::Point2d p, double A, double B, double C, cv::Point2d& foot);
/// Foot of the perpendicular from p on the line through l1 and l2; (0, 0) when they coincide.
FUNCTIONS_EXPORT void getFooDrop(cv::Point2d p, cv::Point2d l1, cv::Point2d l2, cv::Point2d& foot);
/// Foot of the perpendicular from p on the line (vx, vy, x0, y0); (0, 0) for a zero direction.
FUNCTIONS_EXPORT void getFooDrop(cv::Point2d p, cv::Vec4d line, cv::Point2d& foot);

/// Side of p relative to the line a-b by the sign of c = (a - p) x (b - p) (y downward):
/// 1 when c > 0, 2 when c < 0, 0 when p is on the line (or a == b), -1 when c is NaN.
FUNCTIONS_EXPORT int pointOnLineLeftOrRight(cv::Point2d p, cv::Point2d a, cv::Point2d b);

/// Splits pts, in order, by the side test of pointOnLineLeftOrRight: side 1 is appended
/// to side1, side 2 to side2; points on the line and NaN points are dropped. The outputs
/// are appended to, not cleared.
FUNCTIONS_EXPORT void LineLeftOrRight(std::vector<cv::Point2d> pts, cv::Point2d a, cv::Point2d b,
                                      std::vector<cv::Point2d>& side1, std::vector<cv::Point2d>& side2);

/// Appends, for every point in order, its unsigned distance to the line l1-l2 (0 for all
/// points when l1 and l2 coincide). dist is appended to, not cleared.
FUNCTIONS_EXPORT void PointsLineDis(std::vector<cv::Point2d> pts, cv::Point2d l1, cv::Point2d l2,
                                    std::vector<double>& dist);

/// True when p lies on the closed segment a-b: p must not be off the line by more than
/// 1e-6 on the side where (b - a) x (b - p) is positive, and must project between a and
/// b. The collinearity test is one-sided on purpose: the tools that call it pass points
/// that are already on the line up to rounding, and their results depend on accepting
/// the other side. A NaN coordinate gives false.
FUNCTIONS_EXPORT bool onSegement(cv::Point2d p, cv::Point2d a, cv::Point2d b);

// ---------------------------------------------------------------------------------
// Intersections and constructions
// ---------------------------------------------------------------------------------

/// Meeting point of the lines (a1, b1, x1, y1) and (a2, b2, x2, y2). False, p untouched,
/// when the directions are exactly parallel (a2*b1 - a1*b2 == 0) or the point is not
/// finite.
FUNCTIONS_EXPORT bool clcLineLineIntersection(cv::Vec4d l1, cv::Vec4d l2, cv::Point2d& p);

/// Meeting point of the line through a1, a2 with the line through b1, b2. False, p
/// untouched, when the determinant is below the double epsilon in magnitude (parallel or
/// degenerate lines) or the point is not finite.
FUNCTIONS_EXPORT bool clcLinesIntersection(cv::Point2d a1, cv::Point2d a2, cv::Point2d b1, cv::Point2d b2,
                                           cv::Point2d& p);

/// Meeting points of two circles, appended to pts. Returns their number: 0 (apart, one
/// inside the other, or concentric), 1 (touching, when both computed points coincide
/// exactly), 2, or -1 for the same circle (centres and radii within 1e-10). Tangency
/// within 1e-10 counts as meeting. The cosine of the half angle is not clamped, so circles
/// that touch only within the tolerance may yield two NaN points. Non-finite input gives 0.
FUNCTIONS_EXPORT int getCircleCircleIntersection(cv::Point2d c1, double r1, cv::Point2d c2, double r2,
                                                 std::vector<cv::Point2d>& pts);

/// Meeting points of the circle (c, r) and the line through p1, p2, appended to pts.
/// Returns 0, 1 (the foot of c, when its distance to the line equals r exactly) or 2.
/// For a line that is not vertical the root with the larger x comes first; for a vertical
/// line the upper point (smaller y) comes first. A tangent within rounding gives two
/// nearly equal points. Coincident p1, p2 are taken as the vertical line x = 0 (their
/// foot falls back to the origin). Non-finite input gives 0.
FUNCTIONS_EXPORT int getLineCircleIntersection(cv::Point2d c, double r, cv::Point2d p1, cv::Point2d p2,
                                               std::vector<cv::Point2d>& pts);

/// Point of the circle (c, r) at angle degrees counter-clockwise on screen (y downward):
/// 0 is to the right, 90 straight above the centre. The angle is folded into [0, 360)
/// once; angles below -360 or from 720 on, and NaN, give (0, 0).
FUNCTIONS_EXPORT cv::Point2d findCirclePoint(cv::Point2d c, double r, double angle);

/// Bisector of two lines, as (wx, wy, x0, y0) with a unit direction pointing the way of
/// l1's direction. Of the two bisectors of crossing lines, flip false gives the one
/// inside the angle that opens from the crossing towards both lines' points (each point
/// taken one direction step further on), and flip true the other one. For exactly
/// parallel directions the result is the middle line: l1's direction (as given) through
/// the midpoint of l1's point and its foot on l2. False, bisector untouched, for a zero
/// or non-finite direction or when no finite bisector results.
FUNCTIONS_EXPORT bool getAngularBisector(cv::Vec4d l1, cv::Vec4d l2, cv::Vec4d& bisector, bool flip);

/// Rectangle at angle degrees (the direction u = (cos, sin) of its width) whose sides run
/// through p1 (along u), p2 (across), p3 (along u) and p4 (across). Corners C1 = side(p1)
/// x side(p2), C2 = side(p2) x side(p3), C3 = side(p3) x side(p4); centre (C1 + C3)/2,
/// width |C3 - C2|, height |C2 - C1|. False, rr untouched, when a corner cannot be found.
FUNCTIONS_EXPORT bool getRotatedRectByAngleAndFourPoints(double angle, cv::Point2d p1, cv::Point2d p2,
                                                         cv::Point2d p3, cv::Point2d p4, cv::RotatedRect& rr);

/// The four-point form with p4 replaced by the corner side(p1) x side(p2) moved by
/// -height along the across direction v = (cos(angle + 90), sin(angle + 90)). That point
/// lies on p2's side line, so the rectangle's width collapses to (nearly) zero and its
/// height is the distance between the sides through p1 and p3; this is the host's
/// established result and is kept. False, rr untouched, when a corner cannot be found.
FUNCTIONS_EXPORT bool getRotatedRectByAngleThreePointsHeight(double angle, cv::Point2d p1, cv::Point2d p2,
                                                             cv::Point2d p3, double height, cv::RotatedRect& rr);

/// Rectangle of the given width and height at angle degrees, placed from four side
/// points: p1 and p4 on the two sides across u (p1 on the side at +width/2 along u), p2
/// and p3 on the two sides along u. The corners K1 = (p1, p2), K2 = (p1, p3), K3 = (p4, p2)
/// and K4 = (p4, p3) each give a centre estimate: K - width/2*u - height/2*v for K1 and
/// K2, K + width/2*u - height/2*v for K3 and K4. Subtracting the half height for all four
/// is the host's established rule (the centre lands half a height off the symmetric
/// estimate) and is kept. The centre is their mean. Appended to dist: the unsigned
/// distance of p1 to the side at centre + width/2*u, of p2 to the side at
/// centre + height/2*v, of p3 to the side at centre - height/2*v and of p4 to the side at
/// centre - width/2*u. False, rr and dist untouched, when a corner cannot be found.
FUNCTIONS_EXPORT bool getRotatedRectByAngleWidthHeightFourPoints(double angle, cv::Point2d p1, cv::Point2d p2,
                                                                 cv::Point2d p3, cv::Point2d p4, double width,
                                                                 double height, cv::RotatedRect& rr,
                                                                 std::vector<double>& dist);

/// Meeting point of two lines in space, each given by a direction and a point: the
/// midpoint of their common perpendicular (the meeting point itself for lines that
/// cross). When the directions are nearly parallel (|d1.x*d2.y - d2.x*d1.y| < 1e-6 and
/// the signed d1.x*d2.z - d2.x*d1.z < 1e-6, in single precision) p is first set to the
/// midpoint of p1 and p2; the construction then overwrites it only when it is defined
/// (non-parallel directions and a finite result). Otherwise p is untouched.
FUNCTIONS_EXPORT void calcIntersectionof2Line3d(cv::Vec3f d1, cv::Point3d p1, cv::Vec3f d2, cv::Point3d p2,
                                                cv::Point3d& p);

/// @}
