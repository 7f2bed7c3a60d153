#include "Geometry.h"

#include <cfloat>
#include <cmath>

namespace {

constexpr double kPi = 3.141592653589793;

bool isFinite(cv::Point2d p) { return std::isfinite(p.x) && std::isfinite(p.y); }

bool isFinite(const cv::Vec4d& v)
{
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]) && std::isfinite(v[3]);
}

double dot(cv::Point2d a, cv::Point2d b) { return a.x * b.x + a.y * b.y; }

// (a - p) x (b - p): the side of p relative to a->b, positive on side 1.
double sideProduct(cv::Point2d p, cv::Point2d a, cv::Point2d b)
{
    return (a.x - p.x) * (b.y - p.y) - (a.y - p.y) * (b.x - p.x);
}

cv::Point2d unit(cv::Point2d v) { return v / std::sqrt(dot(v, v)); }

// The angle's direction u and the direction v a quarter turn further, both normalised,
// as the rectangle constructions use them.
struct RectAxes {
    cv::Point2d u;
    cv::Point2d v;
};

RectAxes rectAxes(double angle)
{
    const double a = angle * kPi / 180.0;
    const double b = (angle + 90.0) * kPi / 180.0;
    return {unit({std::cos(a), std::sin(a)}), unit({std::cos(b), std::sin(b)})};
}

// Meeting point of the line through p along dp with the line through q along dq.
bool sidesMeet(cv::Point2d p, cv::Point2d dp, cv::Point2d q, cv::Point2d dq, cv::Point2d& corner)
{
    return clcLinesIntersection(p, p + dp, q, q + dq, corner);
}

cv::RotatedRect makeRotatedRect(cv::Point2d centre, double width, double height, double angle)
{
    return cv::RotatedRect(cv::Point2f(static_cast<float>(centre.x), static_cast<float>(centre.y)),
                           cv::Size2f(static_cast<float>(width), static_cast<float>(height)),
                           static_cast<float>(angle));
}

} // namespace

// ---------------------------------------------------------------------------------
// Points, vectors and angles
// ---------------------------------------------------------------------------------

double Length(cv::Point2d p1, cv::Point2d p2)
{
    return std::sqrt((p1.x - p2.x) * (p1.x - p2.x) + (p1.y - p2.y) * (p1.y - p2.y));
}

double calculateVectorsCross(cv::Point2d a1, cv::Point2d a2, cv::Point2d b1, cv::Point2d b2)
{
    return (a2.x - a1.x) * (b2.y - b1.y) - (a2.y - a1.y) * (b2.x - b1.x);
}

double calculateVectorsCross(cv::Vec4d u, cv::Vec4d v) { return u[0] * v[1] - u[1] * v[0]; }

double calculateVectorsInner(cv::Point2d a1, cv::Point2d a2, cv::Point2d b1, cv::Point2d b2)
{
    return (a2.x - a1.x) * (b2.x - b1.x) + (a2.y - a1.y) * (b2.y - b1.y);
}

double calculateVectorsInner(cv::Vec4d u, cv::Vec4d v) { return u[0] * v[0] + u[1] * v[1]; }

void getLineABC(cv::Point2d p1, cv::Point2d p2, double& A, double& B, double& C)
{
    A = p2.y - p1.y;
    B = p1.x - p2.x;
    C = p2.x * p1.y - p1.x * p2.y;
}

double getRadian(double deg) { return deg * kPi / 180.0; }

double getRadian(double x, double y) { return std::atan2(y, x); }

double getRadian(cv::Point2d p1, cv::Point2d p2) { return std::atan2(p2.y - p1.y, p2.x - p1.x); }

double getAngle_180(double x, double y) { return std::atan2(y, x) / kPi * 180.0; }

double getAngle_180(cv::Point2d p1, cv::Point2d p2) { return getAngle_180(p2.x - p1.x, p2.y - p1.y); }

double getAngle_360(double a)
{
    if (a < 0.0)
        return -a;
    if (a > 0.0)
        return 360.0 - a;
    return a;
}

double getAngle_360(double x, double y) { return getAngle_360(getAngle_180(x, y)); }

double getAngle_360(cv::Point2d p1, cv::Point2d p2) { return getAngle_360(getAngle_180(p1, p2)); }

double getAngleCalculation_180(double a, double b, ArithmeticSign s)
{
    const double r = s == Addition ? a + b : a - b;
    if (r > 180.0)
        return r - 360.0;
    if (r < -180.0)
        return r + 360.0;
    return r;
}

double getAngleCalculation_360(double a, double b, ArithmeticSign s)
{
    const double r = s == Addition ? a + b : a - b;
    if (r > 360.0)
        return r - 360.0;
    if (r < 0.0)
        return r + 360.0;
    return r;
}

// ---------------------------------------------------------------------------------
// Distances, feet and sides
// ---------------------------------------------------------------------------------

double pointToLineDistance(cv::Point2d p, double A, double B, double C, bool isSigned)
{
    const double norm = std::sqrt(A * A + B * B);
    // A norm too small to survive single precision (below about 1e-45) counts as no
    // line: dividing by it would only magnify rounding.
    if (static_cast<float>(norm) == 0.0f)
        return 0.0;
    const double d = A * p.x + B * p.y + C;
    return isSigned ? d / norm : std::abs(d) / norm;
}

double pointToLineDistance(cv::Point2d p, cv::Point2d l1, cv::Point2d l2, bool isSigned)
{
    double A, B, C;
    getLineABC(l1, l2, A, B, C);
    return pointToLineDistance(p, A, B, C, isSigned);
}

double pointToLineDistance(cv::Point2d p, cv::Vec4d line, bool isSigned)
{
    const cv::Point2d l1(line[2] - line[0], line[3] - line[1]);
    const cv::Point2d l2(line[2] + line[0], line[3] + line[1]);
    return pointToLineDistance(p, l1, l2, isSigned);
}

void getFooDrop(cv::Point2d p, double A, double B, double C, cv::Point2d& foot)
{
    foot = cv::Point2d(0.0, 0.0);
    const double D = A * A + B * B;
    if (D == 0.0)
        return;
    foot.x = (B * B * p.x - A * B * p.y - A * C) / D;
    foot.y = (A * A * p.y - A * B * p.x - B * C) / D;
}

void getFooDrop(cv::Point2d p, cv::Point2d l1, cv::Point2d l2, cv::Point2d& foot)
{
    double A, B, C;
    getLineABC(l1, l2, A, B, C);
    getFooDrop(p, A, B, C, foot);
}

void getFooDrop(cv::Point2d p, cv::Vec4d line, cv::Point2d& foot)
{
    foot = cv::Point2d(0.0, 0.0);
    const double vx = line[0], vy = line[1], x0 = line[2], y0 = line[3];
    const double D = vx * vx + vy * vy;
    if (D == 0.0)
        return;
    foot.x = (vx * vx * p.x + vx * vy * p.y + vy * vy * x0 - vx * vy * y0) / D;
    foot.y = (vy * vy * p.y + vx * vy * p.x + vx * vx * y0 - vx * vy * x0) / D;
}

int pointOnLineLeftOrRight(cv::Point2d p, cv::Point2d a, cv::Point2d b)
{
    const double c = sideProduct(p, a, b);
    if (c == 0.0)
        return 0;
    if (c > 0.0)
        return 1;
    if (c < 0.0)
        return 2;
    return -1;
}

void LineLeftOrRight(std::vector<cv::Point2d> pts, cv::Point2d a, cv::Point2d b, std::vector<cv::Point2d>& side1,
                     std::vector<cv::Point2d>& side2)
{
    for (const cv::Point2d& p : pts) {
        const double c = sideProduct(p, a, b);
        if (c > 0.0)
            side1.push_back(p);
        else if (c < 0.0)
            side2.push_back(p);
    }
}

void PointsLineDis(std::vector<cv::Point2d> pts, cv::Point2d l1, cv::Point2d l2, std::vector<double>& dist)
{
    double A, B, C;
    getLineABC(l1, l2, A, B, C);
    dist.reserve(dist.size() + pts.size());
    for (const cv::Point2d& p : pts)
        dist.push_back(pointToLineDistance(p, A, B, C, false));
}

bool onSegement(cv::Point2d p, cv::Point2d a, cv::Point2d b)
{
    const cv::Point2d e = b - a;
    const double t = (b.y - p.y) * e.x - (b.x - p.x) * e.y;
    // Written so that every comparison with a NaN lands on false.
    if (!(t <= 1e-6))
        return false;
    const double d1 = dot(a - p, e);
    const double d2 = dot(b - p, e);
    return (d1 <= 0.0 && d2 >= 0.0) || (d1 >= 0.0 && d2 <= 0.0);
}

// ---------------------------------------------------------------------------------
// Intersections and constructions
// ---------------------------------------------------------------------------------

bool clcLineLineIntersection(cv::Vec4d l1, cv::Vec4d l2, cv::Point2d& p)
{
    const double a1 = l1[0], b1 = l1[1], x1 = l1[2], y1 = l1[3];
    const double a2 = l2[0], b2 = l2[1], x2 = l2[2], y2 = l2[3];
    const double den = a2 * b1 - a1 * b2;
    if (den == 0.0)
        return false;
    const cv::Point2d meet((a1 * a2 * (y2 - y1) - a1 * b2 * x2 + a2 * b1 * x1) / den,
                           (b1 * b2 * (x1 - x2) + a2 * b1 * y2 - a1 * b2 * y1) / den);
    if (!isFinite(meet))
        return false;
    p = meet;
    return true;
}

bool clcLinesIntersection(cv::Point2d a1, cv::Point2d a2, cv::Point2d b1, cv::Point2d b2, cv::Point2d& p)
{
    const double den = (b1.x - b2.x) * (a2.y - a1.y) - (b2.y - b1.y) * (a1.x - a2.x);
    if (!(std::abs(den) >= DBL_EPSILON))
        return false;
    const double c1 = a1.y * a2.x - a1.x * a2.y;
    const double c2 = b1.y * b2.x - b1.x * b2.y;
    const cv::Point2d meet((c2 * (a1.x - a2.x) - (b1.x - b2.x) * c1) / den,
                           ((b2.y - b1.y) * c1 - c2 * (a2.y - a1.y)) / den);
    if (!isFinite(meet))
        return false;
    p = meet;
    return true;
}

int getCircleCircleIntersection(cv::Point2d c1, double r1, cv::Point2d c2, double r2, std::vector<cv::Point2d>& pts)
{
    if (!isFinite(c1) || !isFinite(c2) || !std::isfinite(r1) || !std::isfinite(r2))
        return 0;
    constexpr double eps = 1e-10;
    const double d = Length(c1, c2);
    if (d < eps)
        return std::abs(r1 - r2) < eps ? -1 : 0;
    const double apart = r1 + r2 - d;
    if (std::abs(apart) >= eps && apart < 0.0)
        return 0;
    const double nested = std::abs(r1 - r2) - d;
    if (std::abs(nested) >= eps && nested >= 0.0)
        return 0;
    const double alpha = std::atan2(c2.y - c1.y, c2.x - c1.x);
    if (2.0 * r1 * d == 0.0)
        return 0;
    const double beta = std::acos((d * d + r1 * r1 - r2 * r2) / (2.0 * r1 * d));
    const cv::Point2d first = c1 + r1 * cv::Point2d(std::cos(alpha - beta), std::sin(alpha - beta));
    const cv::Point2d second = c1 + r1 * cv::Point2d(std::cos(alpha + beta), std::sin(alpha + beta));
    pts.push_back(first);
    if (second == first)
        return 1;
    pts.push_back(second);
    return 2;
}

int getLineCircleIntersection(cv::Point2d c, double r, cv::Point2d p1, cv::Point2d p2, std::vector<cv::Point2d>& pts)
{
    if (!isFinite(c) || !std::isfinite(r) || !isFinite(p1) || !isFinite(p2))
        return 0;
    cv::Point2d foot;
    getFooDrop(c, p1, p2, foot);
    const double d = Length(c, foot);
    if (d > r)
        return 0;
    if (d == r) {
        pts.push_back(foot);
        return 1;
    }
    if (p2.x != p1.x) {
        const double k = (p2.y - p1.y) / (p2.x - p1.x);
        const double m = p2.y - k * p2.x;
        const double u = m - c.y;
        const double b = 2.0 * c.x - 2.0 * k * u;
        // Near tangency the discriminant cancels; a rounding below zero means the two
        // roots coincide, not that the line misses the circle (d <= r was checked).
        const double disc = std::max(
            0.0, (2.0 * k * u - 2.0 * c.x) * (2.0 * k * u - 2.0 * c.x) - 4.0 * (k * k + 1.0) * (u * u + c.x * c.x - r * r));
        const double root = std::sqrt(disc);
        const double xPlus = (b + root) / (2.0 * k * k + 2.0);
        const double xMinus = (b - root) / (2.0 * k * k + 2.0);
        pts.emplace_back(xPlus, k * xPlus + m);
        pts.emplace_back(xMinus, k * xMinus + m);
        return 2;
    }
    const double h = std::sqrt(r * r - d * d);
    pts.emplace_back(foot.x, foot.y - h);
    pts.emplace_back(foot.x, foot.y + h);
    return 2;
}

cv::Point2d findCirclePoint(cv::Point2d c, double r, double angle)
{
    double a = angle;
    if (a >= 360.0)
        a -= 360.0;
    else if (a < 0.0)
        a += 360.0;
    if (a >= 0.0 && a < 180.0)
        return c + r * cv::Point2d(std::cos(-a * kPi / 180.0), std::sin(-a * kPi / 180.0));
    if (a >= 180.0 && a < 360.0)
        return c + r * cv::Point2d(std::cos((360.0 - a) * kPi / 180.0), std::sin((360.0 - a) * kPi / 180.0));
    return cv::Point2d(0.0, 0.0);
}

bool getAngularBisector(cv::Vec4d l1, cv::Vec4d l2, cv::Vec4d& bisector, bool flip)
{
    const cv::Point2d d1(l1[0], l1[1]), d2(l2[0], l2[1]);
    const cv::Point2d p1(l1[2], l1[3]), p2(l2[2], l2[3]);
    if (!isFinite(l1) || !isFinite(l2) || d1 == cv::Point2d() || d2 == cv::Point2d())
        return false;

    cv::Vec4d result;
    if (d1.x * d2.y - d1.y * d2.x == 0.0) {
        cv::Point2d foot;
        getFooDrop(p1, l2, foot);
        const cv::Point2d mid = (p1 + foot) * 0.5;
        result = cv::Vec4d(d1.x, d1.y, mid.x, mid.y);
    } else {
        cv::Point2d crossing;
        if (!clcLineLineIntersection(l1, l2, crossing))
            return false;
        // Each line's unit direction is turned to point from the crossing towards a
        // reference point one step along the line from its own point; flipping mirrors
        // l2's reference point through the crossing, which selects the other bisector.
        const cv::Point2d ref1 = p1 + d1;
        const cv::Point2d ref2 = flip ? 2.0 * crossing - (p2 + d2) : p2 + d2;
        cv::Point2d u1 = unit(d1), u2 = unit(d2);
        if (dot(u1, ref1 - crossing) < 0.0)
            u1 = -u1;
        if (dot(u2, ref2 - crossing) < 0.0)
            u2 = -u2;
        cv::Point2d w = unit(u1 + u2);

        // A line across the bisector cuts both lines at mirror images of each other, so
        // the midpoint of those cuts lies on the bisector.
        cv::Point2d cut;
        if (!clcLineLineIntersection(l2, cv::Vec4d(-w.y, w.x, p1.x, p1.y), cut))
            return false;
        const cv::Point2d mid = (p1 + cut) * 0.5;
        if (dot(w, d1) < 0.0)
            w = -w;
        result = cv::Vec4d(w.x, w.y, mid.x, mid.y);
    }
    if (!isFinite(result))
        return false;
    bisector = result;
    return true;
}

bool getRotatedRectByAngleAndFourPoints(double angle, cv::Point2d p1, cv::Point2d p2, cv::Point2d p3,
                                        cv::Point2d p4, cv::RotatedRect& rr)
{
    const RectAxes axes = rectAxes(angle);
    cv::Point2d c1, c2, c3;
    if (!sidesMeet(p1, axes.u, p2, axes.v, c1) || !sidesMeet(p2, axes.v, p3, axes.u, c2)
        || !sidesMeet(p3, axes.u, p4, axes.v, c3))
        return false;
    rr = makeRotatedRect((c1 + c3) * 0.5, Length(c3, c2), Length(c2, c1), angle);
    return true;
}

bool getRotatedRectByAngleThreePointsHeight(double angle, cv::Point2d p1, cv::Point2d p2, cv::Point2d p3,
                                            double height, cv::RotatedRect& rr)
{
    const RectAxes axes = rectAxes(angle);
    cv::Point2d corner;
    if (!sidesMeet(p1, axes.u, p2, axes.v, corner))
        return false;
    return getRotatedRectByAngleAndFourPoints(angle, p1, p2, p3, corner - height * axes.v, rr);
}

bool getRotatedRectByAngleWidthHeightFourPoints(double angle, cv::Point2d p1, cv::Point2d p2, cv::Point2d p3,
                                                cv::Point2d p4, double width, double height, cv::RotatedRect& rr,
                                                std::vector<double>& dist)
{
    const RectAxes axes = rectAxes(angle);
    const cv::Point2d u = axes.u, v = axes.v;
    cv::Point2d k1, k2, k3, k4;
    if (!sidesMeet(p1, v, p2, u, k1) || !sidesMeet(p1, v, p3, u, k2) || !sidesMeet(p4, v, p2, u, k3)
        || !sidesMeet(p4, v, p3, u, k4))
        return false;
    const cv::Point2d halfU = (width / 2.0) * u;
    const cv::Point2d halfV = (height / 2.0) * v;
    const cv::Point2d centre =
        ((k1 - halfU - halfV) + (k2 - halfU - halfV) + (k3 + halfU - halfV) + (k4 + halfU - halfV)) * 0.25;

    const cv::Point2d side1 = centre + halfU, side2 = centre + halfV;
    const cv::Point2d side3 = centre - halfV, side4 = centre - halfU;
    dist.push_back(pointToLineDistance(p1, side1, side1 + v, false));
    dist.push_back(pointToLineDistance(p2, side2, side2 + u, false));
    dist.push_back(pointToLineDistance(p3, side3, side3 + u, false));
    dist.push_back(pointToLineDistance(p4, side4, side4 + v, false));
    rr = makeRotatedRect(centre, width, height, angle);
    return true;
}

void calcIntersectionof2Line3d(cv::Vec3f d1, cv::Point3d p1, cv::Vec3f d2, cv::Point3d p2, cv::Point3d& p)
{
    // The parallel test is made on the single-precision directions as given; its second
    // term is signed on purpose (the host's established behaviour).
    const float crossZ = d1[0] * d2[1] - d2[0] * d1[1];
    const float crossY = d1[0] * d2[2] - d2[0] * d1[2];
    if (std::abs(crossZ) < 1e-6 && crossY < 1e-6)
        p = (p1 + p2) * 0.5;

    const cv::Vec3d a(d1), b(d2);
    cv::Vec3d n = a.cross(b);
    const double length = cv::norm(n);
    n = length > 0.0 ? n / length : cv::Vec3d();
    // Each line meets the plane that holds the other line and the common normal at the
    // foot of the common perpendicular.
    const cv::Vec3d normal1 = a.cross(n), normal2 = b.cross(n);
    const double den1 = a.dot(normal2), den2 = b.dot(normal1);
    if (den1 == 0.0 || den2 == 0.0)
        return;
    const cv::Vec3d q1 = cv::Vec3d(p1) + a * (cv::Vec3d(p2 - p1).dot(normal2) / den1);
    const cv::Vec3d q2 = cv::Vec3d(p2) + b * (cv::Vec3d(p1 - p2).dot(normal1) / den2);
    const cv::Vec3d mid = (q1 + q2) * 0.5;
    if (std::isfinite(mid[0]) && std::isfinite(mid[1]) && std::isfinite(mid[2]))
        p = cv::Point3d(mid[0], mid[1], mid[2]);
}
