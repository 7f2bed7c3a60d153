#include <Functions.h>

#include <Eigen/Dense>
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Points on an ellipse (a circle when the semi-axes agree) at uneven angles, with
// optional seeded noise along the normal.
std::vector<cv::Point2d> ellipsePoints(cv::Point2d centre, double a, double b, double angleDeg, int n,
                                       double noise = 0.0, double arcDeg = 360.0)
{
    cv::RNG rng(7);
    const double t = angleDeg * kPi / 180;
    std::vector<cv::Point2d> pts;
    for (int i = 0; i < n; ++i) {
        const double s = (i + 0.3 * std::sin(i * 1.7)) * arcDeg / n * kPi / 180;
        const double scale = 1 + noise * rng.uniform(-1.0, 1.0) / std::min(a, b);
        const double x = a * std::cos(s) * scale, y = b * std::sin(s) * scale;
        pts.emplace_back(centre.x + x * std::cos(t) - y * std::sin(t), centre.y + x * std::sin(t) + y * std::cos(t));
    }
    return pts;
}

// Points along a line with seeded noise across it; every tenth point (from the third on)
// is pushed `outlier` pixels to one side.
std::vector<cv::Point2d> linePoints(cv::Point2d origin, double angleDeg, int n, double noise, double outlier)
{
    cv::RNG rng(11);
    const cv::Point2d u(std::cos(angleDeg * kPi / 180), std::sin(angleDeg * kPi / 180)), v(-u.y, u.x);
    std::vector<cv::Point2d> pts;
    for (int i = 0; i < n; ++i) {
        const double off = noise * rng.uniform(-1.0, 1.0) + (i % 10 == 3 ? outlier : 0.0);
        pts.push_back(origin + (i - n / 2) * 0.5 * u + off * v);
    }
    return pts;
}

double lineAngleErrorDeg(const cv::Vec4d& line, double angleDeg)
{
    const double fitted = std::atan2(line[1], line[0]) * 180 / kPi;
    return std::abs(std::remainder(fitted - angleDeg, 180.0));
}

} // namespace

TEST(FitLine, ExactPointsGiveTheLineWithDirectionToTheRight)
{
    for (const double angle : {25.0, 115.0, -80.0}) {
        std::vector<cv::Point2d> pts = linePoints({100.5, 200.25}, angle, 50, 0.0, 0.0);
        cv::Point2d mean;
        for (const cv::Point2d& p : pts)
            mean += p / 50.0;
        for (const FitLineType type : {FitLineLeastSquares, FitLineHuber, FitLineTukey}) {
            for (const double param : {0.0, 0.5}) {
                cv::Vec4d line;
                fitLine(pts, line, type, param);
                EXPECT_GE(line[0], 0.0);
                EXPECT_NEAR(std::hypot(line[0], line[1]), 1.0, 1e-12);
                EXPECT_LT(lineAngleErrorDeg(line, angle), 1e-9);
                // Rounding-level residuals make the robust weights uneven, which moves
                // the weighted centroid along the line but never off it.
                EXPECT_LT(pointToLineDistance({line[2], line[3]}, pts.front(), pts.back(), false), 1e-9 * 200);
                if (type == FitLineLeastSquares) {
                    EXPECT_NEAR(line[2], mean.x, 1e-9 * 100);
                    EXPECT_NEAR(line[3], mean.y, 1e-9 * 200);
                }
            }
        }
    }

    // Points on a vertical line: sxx = sxy = 0 gives theta = 180 degrees.
    std::vector<cv::Point2d> vertical;
    for (int y = 0; y < 10; ++y)
        vertical.emplace_back(5, y);
    cv::Vec4d line;
    fitLine(vertical, line, FitLineLeastSquares, 0);
    EXPECT_GE(line[0], 0.0);
    EXPECT_LT(line[0], 1e-15);
    EXPECT_EQ(line[1], 1.0);
    EXPECT_EQ(line[2], 5.0);
    EXPECT_EQ(line[3], 4.5);
}

TEST(FitLine, RobustTypesKeepToTheLineDespiteOutliers)
{
    std::vector<cv::Point2d> pts = linePoints({300, 150}, 12, 200, 0.1, 25);
    cv::Vec4d plain, huber, tukey, other;
    fitLine(pts, plain, FitLineLeastSquares, 0);
    fitLine(pts, huber, FitLineHuber, 0);
    fitLine(pts, tukey, FitLineTukey, 0);
    fitLine(pts, other, static_cast<FitLineType>(9), 0);
    EXPECT_GT(pointToLineDistance({300, 150}, plain, false), 2.0); // least squares is dragged
    EXPECT_LT(pointToLineDistance({300, 150}, huber, false), 0.2);
    EXPECT_LT(pointToLineDistance({300, 150}, tukey, false), 0.05);
    EXPECT_LT(lineAngleErrorDeg(tukey, 12), 0.05);
    EXPECT_EQ(other, tukey); // unknown types act as Tukey

    // One point 10 px off a line of 20, at the middle, fixed scale 0.5: Tukey rejects it
    // outright; Huber keeps it with weight 0.5/10, which settles the line exactly at
    // y = 0.025 (20 * y = w * (10 - y) with w = 0.5 / (10 - y)).
    std::vector<cv::Point2d> single;
    for (int x = 0; x < 20; ++x)
        single.emplace_back(x, 0);
    single.emplace_back(9.5, 10);
    fitLine(single, tukey, FitLineTukey, 0.5);
    fitLine(single, huber, FitLineHuber, 0.5);
    EXPECT_NEAR(tukey[3], 0.0, 1e-12);
    EXPECT_NEAR(tukey[1], 0.0, 1e-12);
    EXPECT_NEAR(huber[3], 0.025, 1e-6);
}

namespace {

// The reweighting rule transcribed directly, with a full sort for the median, to check
// that the library's selection-based median and single-precision 1/c give the same
// lines to the last bit.
cv::Vec4d referenceRobustLine(const std::vector<cv::Point2d>& pts, bool huber, double param)
{
    const size_t n = pts.size();
    std::vector<double> w(n, 1.0), r(n);
    const auto fit = [&] {
        double sw = 0, sx = 0, sy = 0, sxx = 0, sxy = 0, syy = 0;
        for (size_t i = 0; i < n; ++i) {
            const double x = pts[i].x, y = pts[i].y;
            sw += w[i], sx += w[i] * x, sy += w[i] * y, sxx += w[i] * x * x, sxy += w[i] * x * y, syy += w[i] * y * y;
        }
        const double mx = sx / sw, my = sy / sw;
        const double theta = std::atan2(2 * (sxy / sw - mx * my), (sxx / sw - mx * mx) - (syy / sw - my * my));
        return cv::Vec4d(std::cos(theta / 2), std::sin(theta / 2), mx, my);
    };
    cv::Vec4d line = fit();
    for (int step = 0; step < 30; ++step) {
        for (size_t i = 0; i < n; ++i)
            r[i] = std::abs((pts[i].x - line[2]) * line[1] - (pts[i].y - line[3]) * line[0]);
        double c = param;
        if (param <= 0) {
            std::vector<double> sorted = r;
            std::sort(sorted.begin(), sorted.end());
            c = 2 * (sorted[n / 2] / 0.6745);
            c = c > 2.220446049250313e-16 ? c : 1.0;
        }
        const double k = static_cast<float>(1 / c);
        for (size_t i = 0; i < n; ++i)
            w[i] = huber ? (r[i] <= c ? 1 : c / r[i]) : (r[i] <= c ? std::pow(1 - std::pow(r[i] * k, 2), 2) : 0);
        const cv::Vec4d next = fit();
        const bool converged = std::abs(std::acos(next[0] * line[0] + next[1] * line[1])) < 1e-6
                               && std::max(std::abs(line[2] - next[2]), std::abs(line[3] - next[3])) < 1e-6;
        line = next;
        if (converged)
            break;
    }
    return line;
}

} // namespace

TEST(FitLine, RobustFitsMatchTheReweightingRuleExactly)
{
    cv::RNG rng(2024);
    for (int trial = 0; trial < 60; ++trial) {
        const int n = rng.uniform(2, 400);
        std::vector<cv::Point2d> pts =
            linePoints({rng.uniform(0.0, 1000.0), rng.uniform(0.0, 1000.0)}, rng.uniform(-180.0, 180.0), n,
                       rng.uniform(0.0, 2.0), rng.uniform(-30.0, 30.0));
        const double param = trial % 3 == 0 ? rng.uniform(0.2, 3.0) : 0.0;
        for (const bool huber : {true, false}) {
            cv::Vec4d line;
            fitLine(pts, line, huber ? FitLineHuber : FitLineTukey, param);
            const cv::Vec4d expected = referenceRobustLine(pts, huber, param);
            for (int k = 0; k < 4; ++k) {
                if (std::isnan(expected[k])) // every point rejected: both NaN
                    EXPECT_TRUE(std::isnan(line[k])) << trial;
                else
                    EXPECT_EQ(line[k], expected[k]) << trial << " " << huber << " n=" << n;
            }
        }
    }
}

TEST(FitLine, DegenerateInputGivesDocumentedLines)
{
    std::vector<cv::Point2d> pts;
    cv::Vec4d line(9, 9, 9, 9);
    fitLine(pts, line, FitLineTukey, 0);
    EXPECT_EQ(line, cv::Vec4d(0, 0, 0, 0));

    pts = {{3, 4}, {3, 4}, {3, 4}};
    for (const FitLineType type : {FitLineLeastSquares, FitLineHuber, FitLineTukey}) {
        fitLine(pts, line, type, 0);
        EXPECT_EQ(line, cv::Vec4d(1, 0, 3, 4));
    }

    pts = {{1, 1}, {kNaN, 2}, {3, 3}};
    fitLine(pts, line, FitLineHuber, 0);
    EXPECT_EQ(line, cv::Vec4d(0, 0, 0, 0));
    pts = {{1, 1}, {std::numeric_limits<double>::infinity(), 2}, {3, 3}};
    fitLine(pts, line, FitLineLeastSquares, 0);
    EXPECT_EQ(line, cv::Vec4d(0, 0, 0, 0));

    // A Tukey scale that rejects every point: the NaN line comes back, in bounded time.
    pts = linePoints({0, 0}, 30, 40, 0.5, 0);
    fitLine(pts, line, FitLineTukey, 1e-9);
    EXPECT_TRUE(std::isnan(line[0]));
}

TEST(FitCircle, ExactPointsAreRecoveredByEveryType)
{
    // A full circle, a quarter arc and exactly three points; type 7 is out of range.
    const cv::Point2d centre(320.25, 240.75);
    struct {
        std::vector<cv::Point2d> pts;
        cv::Point2d centre;
        double radius;
    } sets[] = {{ellipsePoints(centre, 87.5, 87.5, 0, 50), centre, 87.5},
                {ellipsePoints(centre, 87.5, 87.5, 0, 50, 0.0, 90.0), centre, 87.5},
                {{{0, 5}, {5, 0}, {-5, 0}}, {0, 0}, 5}};
    for (size_t set = 0; set < 3; ++set) {
        for (const int type : {0, 1, 2, 3, 7}) {
            cv::Point2d c;
            double r = 0;
            ASSERT_TRUE(fitCircle(sets[set].pts, c, r, static_cast<FitCircleType>(type))) << type;
            EXPECT_LT(cv::norm(c - sets[set].centre), 1e-9 * 400) << set << " type " << type;
            EXPECT_NEAR(r, sets[set].radius, 1e-9 * 87.5) << set << " type " << type;
        }
    }
    cv::Point2d c;
    double r = 0;
    // Only the first three points count; off the origin, so that every term of the centre shows.
    ASSERT_TRUE(threePointFitCircle({{15.5, -7.25}, {12.5, -4.25}, {9.5, -7.25}, {99, 99}}, c, r));
    EXPECT_LT(cv::norm(c - cv::Point2d(12.5, -7.25)), 1e-12);
    EXPECT_NEAR(r, 3, 1e-12);
}

TEST(FitCircle, RobustTypesIgnoreSpuriousEdges)
{
    // A noisy circle with every tenth point 15 px inside it.
    std::vector<cv::Point2d> pts = ellipsePoints({400, 300}, 120, 120, 0, 300, 0.05);
    for (size_t i = 3; i < pts.size(); i += 10)
        pts[i] = cv::Point2d(400, 300) + (pts[i] - cv::Point2d(400, 300)) * (105.0 / 120.0);

    cv::Point2d c;
    double r = 0;
    ASSERT_TRUE(fitCircle(pts, c, r, FitCircleLeastSquares));
    EXPECT_GT(std::abs(r - 120), 1.0);
    ASSERT_TRUE(fitCircle(pts, c, r, FitCircleTaubin));
    EXPECT_GT(std::abs(r - 120), 1.0);
    for (const FitCircleType type : {FitCircleHuber, FitCircleTukey}) {
        ASSERT_TRUE(fitCircle(pts, c, r, type));
        EXPECT_LT(std::abs(r - 120), 0.1) << type;
        EXPECT_LT(cv::norm(c - cv::Point2d(400, 300)), 0.1) << type;
    }
}

namespace {

// The robust circle rule in its plainest form, to check the library's shortcuts (sums
// over the sample only, fused passes, selection for the median) to the last bit: every
// point in every sum, a full sort for the median, the normal equations solved with the
// same LU. Products are formed in the order the results are defined by.
bool referenceRobustCircle(const std::vector<cv::Point2d>& pts, int type, cv::Point2d& centre, double& radius)
{
    const int n = static_cast<int>(pts.size());
    std::vector<double> w(n), e(n);
    cv::Point2d c, previousC;
    double r = 0, previousR = 0;
    const auto fit = [&] {
        double s[10] = {};
        for (int i = 0; i < n; ++i) {
            const double x = pts[i].x, y = pts[i].y, wx = w[i] * x, wy = w[i] * y;
            const double terms[10] = {w[i], wx, wy, wx * x, wx * y, wy * y, wx * x * x, wy * y * x, wx * x * y, wy * y * y};
            for (int k = 0; k < 10; ++k)
                s[k] += terms[k];
        }
        Eigen::Matrix3d m;
        m << s[3], s[4], s[1], s[4], s[5], s[2], s[1], s[2], s[0];
        if (!(m.determinant() > 1e-12))
            return false;
        const Eigen::Vector3d d = m.partialPivLu().solve(Eigen::Vector3d(-s[6] - s[7], -s[8] - s[9], -s[3] - s[5]));
        c = cv::Point2d(-d[0] / 2, -d[1] / 2);
        r = std::sqrt(c.x * c.x + c.y * c.y - d[2]);
        return true;
    };
    cv::RNG rng;
    double best = DBL_MAX, error = 0;
    bool firstStep = true;
    for (int trial = 0; trial < 20; ++trial) {
        std::fill(w.begin(), w.end(), 0.0);
        for (int drawn = 0; drawn < std::min(n, 20);) {
            const unsigned k = rng.next() % static_cast<unsigned>(n);
            if (w[k] < FLT_EPSILON) {
                w[k] = 1;
                ++drawn;
            }
        }
        if (!fit())
            return false;
        for (int step = 0; step < 30; ++step) {
            if (!firstStep && std::abs(r - previousR) < 0.01 && cv::norm(c - previousC) < 0.01)
                break;
            firstStep = false;
            error = 0;
            for (int i = 0; i < n; ++i) {
                e[i] = std::abs(cv::norm(pts[i] - c) - r);
                error += e[i];
            }
            std::vector<double> sorted = e;
            std::sort(sorted.begin(), sorted.end());
            const double scale = 2 * (sorted[n / 2] / 0.6745);
            const double k = static_cast<float>(1 / scale);
            for (int i = 0; i < n; ++i) {
                const double t = e[i] * k;
                if (type == FitCircleHuber)
                    w[i] = e[i] <= scale ? 1 : scale / e[i];
                else if (type == FitCircleTukey && scale != 0)
                    w[i] = e[i] <= scale ? (1 - t * t) * (1 - t * t) : 0;
                else if (type > FitCircleTaubin)
                    w[i] = 1;
            }
            double sum = 0;
            for (double v : w)
                sum += v;
            for (double& v : w)
                v = std::abs(sum) > FLT_EPSILON ? v / sum : 1;
            previousC = c;
            previousR = r;
            if (!fit())
                return false;
        }
        if (best > error) {
            centre = c;
            radius = r;
            best = error;
            if (error < static_cast<float>(n) * FLT_EPSILON)
                break;
        }
    }
    return true;
}

} // namespace

TEST(FitCircle, RobustFitsMatchTheRuleExactly)
{
    // Random arcs with noise and a share of spurious points, 3 to 2000 points, and exact
    // lattice circles whose residuals vanish (a zero scale).
    cv::RNG rng(77);
    std::vector<std::vector<cv::Point2d>> sets;
    for (int trial = 0; trial < 60; ++trial) {
        const int n = static_cast<int>(std::exp(rng.uniform(std::log(3.0), std::log(2000.0))));
        const cv::Point2d centre(rng.uniform(-50.0, 1500.0), rng.uniform(-50.0, 1500.0));
        const double r = std::exp(rng.uniform(0.0, 6.5)), noise = rng.uniform(0.0, 0.5);
        const double from = rng.uniform(0.0, 2 * kPi), arc = rng.uniform(0.5, 2 * kPi);
        const double outliers = rng.uniform(0.0, 0.4);
        std::vector<cv::Point2d> pts;
        for (int i = 0; i < n; ++i) {
            const double a = from + arc * rng.uniform(0.0, 1.0);
            const double d = r + noise * rng.gaussian(1.0) + (rng.uniform(0.0, 1.0) < outliers ? rng.uniform(-r, r) : 0);
            pts.emplace_back(centre.x + d * std::cos(a), centre.y + d * std::sin(a));
        }
        sets.push_back(pts);
    }
    std::vector<cv::Point2d> lattice; // every integer point on the circle of radius 65
    for (int x = -65; x <= 65; ++x)
        for (int y = -65; y <= 65; ++y)
            if (x * x + y * y == 65 * 65)
                lattice.emplace_back(x + 100, y - 7);
    sets.push_back(lattice);
    lattice.emplace_back(100, -7);
    sets.push_back(lattice);
    sets.push_back({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {7, 7}}); // fails in the first fit

    for (size_t set = 0; set < sets.size(); ++set) {
        for (const int type : {1, 2, 4}) {
            cv::Point2d centre(-1, -1), expectedCentre(-1, -1);
            double radius = -1, expectedRadius = -1;
            const bool ok = fitCircle(sets[set], centre, radius, static_cast<FitCircleType>(type));
            const bool expectedOk = referenceRobustCircle(sets[set], type, expectedCentre, expectedRadius);
            ASSERT_EQ(ok, expectedOk) << set << " type " << type;
            ASSERT_EQ(centre, expectedCentre) << set << " type " << type << " n=" << sets[set].size();
            ASSERT_EQ(radius, expectedRadius) << set << " type " << type << " n=" << sets[set].size();
        }
    }
}

TEST(FitCircle, DegenerateInputFails)
{
    const cv::Point2d staleCentre(-7, -7);
    std::vector<cv::Point2d> bad[] = {
        {{0, 0}, {1, 1}}, {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {5, 5}}, std::vector<cv::Point2d>(5, cv::Point2d(4, 4)),
        {{0, 5}, {5, 0}, {-5, 0}, {kNaN, 1}}};
    for (const int type : {0, 1, 2, 3, 4}) {
        for (size_t i = 0; i < 4; ++i) {
            cv::Point2d c = staleCentre;
            double r = -7;
            EXPECT_FALSE(fitCircle(bad[i], c, r, static_cast<FitCircleType>(type))) << i << " type " << type;
            EXPECT_EQ(c, staleCentre);
            EXPECT_EQ(r, -7);
        }
    }

    cv::Point2d c(3, 3);
    double r = 3;
    EXPECT_FALSE(threePointFitCircle({{0, 0}, {1, 1}, {2, 2}}, c, r));
    EXPECT_EQ(c, cv::Point2d(0, 0));
    EXPECT_EQ(r, -1);
    r = 3;
    EXPECT_FALSE(threePointFitCircle({{0, 0}, {1, 1}}, c, r));
    EXPECT_EQ(r, -1);
    EXPECT_FALSE(threePointFitCircle({{0, 0}, {1, kNaN}, {2, 5}}, c, r));
    EXPECT_EQ(r, -1);
}

TEST(FitEllipse, AxesAreWholePixelsAndExactDataIsRecovered)
{
    // Six points of an axis-aligned ellipse; axes a hair below 41 and a hair above 20,
    // whose truncation to 81 x 40 holds only if the fit is accurate to about 1e-9 of the
    // axis; a vertical major axis, which the width still takes.
    struct {
        std::vector<cv::Point2d> pts;
        cv::Point2f centre;
        double angle;
        cv::Size2f size;
    } rows[] = {
        {ellipsePoints({100, 60}, 40.7, 20.2, 0, 6), {100, 60}, 0, {81, 40}},
        {ellipsePoints({250.5, 180.25}, 41 - 1e-8, 20 + 1e-8, 35, 60), {250.5f, 180.25f}, 35, {81, 40}},
        {ellipsePoints({50, 50}, 10.6, 30.6, 0, 30), {50, 50}, 90, {61, 21}},
    };
    for (size_t row = 0; row < 3; ++row) {
        for (const FitEllipseType type : {FitEllipseLeastSquares, FitEllipseHuber, FitEllipseTukey}) {
            cv::RotatedRect box;
            ASSERT_TRUE(fitEllipse(rows[row].pts, box, type, 0)) << row << " type " << type;
            EXPECT_EQ(box.size, rows[row].size) << row << " type " << type;
            EXPECT_LT(cv::norm(box.center - rows[row].centre), 1e-4) << row << " type " << type;
            EXPECT_NEAR(std::remainder(box.angle - rows[row].angle, 180.0), 0, 1e-4) << row << " type " << type;
        }
    }
}

TEST(FitEllipse, RobustTypesResistOutliers)
{
    std::vector<cv::Point2d> pts = ellipsePoints({300, 200}, 80, 45, -20, 200, 0.05);
    for (size_t i = 5; i < pts.size(); i += 8)
        pts[i] += cv::Point2d(25, 10);
    cv::RotatedRect plain, huber, tukey;
    ASSERT_TRUE(fitEllipse(pts, plain, FitEllipseLeastSquares, 0));
    ASSERT_TRUE(fitEllipse(pts, huber, FitEllipseHuber, 0));
    ASSERT_TRUE(fitEllipse(pts, tukey, FitEllipseTukey, 0));
    EXPECT_GT(cv::norm(plain.center - cv::Point2f(300, 200)), 1.0);
    EXPECT_LT(cv::norm(tukey.center - cv::Point2f(300, 200)), 0.1);
    EXPECT_LT(cv::norm(huber.center - cv::Point2f(300, 200)), cv::norm(plain.center - cv::Point2f(300, 200)) / 2);
    EXPECT_NEAR(tukey.size.width, 160, 1);
    EXPECT_NEAR(tukey.size.height, 90, 1);
}

TEST(FitEllipse, DegenerateInputFails)
{
    const cv::RotatedRect stale(cv::Point2f(1, 2), cv::Size2f(3, 4), 5);
    std::vector<std::vector<cv::Point2d>> bad{
        ellipsePoints({0, 0}, 10, 5, 0, 5),                   // five points
        {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {6, 6}},     // collinear, slanted
        {{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 1}, {6, 1}},     // no spread in y
        std::vector<cv::Point2d>(8, cv::Point2d(3, 3)),       // one point
        {{1, 1}, {-1, -1}, {2, 0.5}, {-2, -0.5}, {4, 0.25}, {-4, -0.25}, {0.5, 2}, {-0.5, -2}}, // hyperbola xy = 1
    };
    std::vector<cv::Point2d> withNaN = ellipsePoints({0, 0}, 10, 5, 0, 12);
    withNaN[4].y = kNaN;
    bad.push_back(withNaN);
    for (size_t i = 0; i < bad.size(); ++i) {
        for (const FitEllipseType type : {FitEllipseLeastSquares, FitEllipseTukey}) {
            cv::RotatedRect box = stale;
            EXPECT_FALSE(fitEllipse(bad[i], box, type, 0)) << i;
            EXPECT_EQ(box.center, stale.center) << i;
        }
    }
}

TEST(FitPlane, ExactAndRobustPlanes)
{
    // z = 0.3 x - 0.2 y + 5 on a 100 x 100 grid, a fifth of it lifted by 10 as outliers.
    std::vector<cv::Point3d> pts;
    for (int i = 0; i < 100; ++i) {
        const double x = i % 10 * 11.0 - 47, y = i / 10 * 11.0 + 1;
        pts.emplace_back(x, y, 0.3 * x - 0.2 * y + 5);
    }
    const cv::Vec3d normal = cv::normalize(cv::Vec3d(-0.3, 0.2, 1));

    cv::Vec6d plane;
    ASSERT_TRUE(fitPlane(pts, plane));
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(plane[k], normal[k], 1e-9);
    EXPECT_NEAR(plane[5], 5, 1e-9);
    EXPECT_EQ(plane[3], 0);

    ASSERT_TRUE(fitPlane3D_Huber(pts, plane, 0));
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(plane[k], normal[k], 1e-9);
    EXPECT_NEAR(0.3 * plane[3] - 0.2 * plane[4] + 5 - plane[5], 0, 1e-9); // point on the plane

    for (int i = 3; i < 100; i += 5)
        pts[i].z += 10;
    // Least squares moves by the outliers' mean lift (2); Huber weights k/r leave each
    // outlier a pull of k, about 20 * 1.345 / 80 = 0.34 in all.
    ASSERT_TRUE(fitPlane(pts, plane));
    EXPECT_NEAR(plane[5] - 5, 2.0, 0.1);
    ASSERT_TRUE(fitPlane3D_Huber(pts, plane, 0));
    EXPECT_GT(normal.dot(cv::Vec3d(plane[0], plane[1], plane[2])), std::cos(0.01));
    EXPECT_LT(std::abs(0.3 * plane[3] - 0.2 * plane[4] + 5 - plane[5]), 0.45);
}

TEST(FitPlane, DegenerateInputFails)
{
    const cv::Vec6d stale(1, 2, 3, 4, 5, 6);
    std::vector<std::vector<cv::Point3d>> bad{
        {{0, 0, 0}, {1, 0, 0}},                            // two points
        {{0, 0, 1}, {1, 2, 2}, {2, 4, 3}, {3, 6, 4}},      // one line
        std::vector<cv::Point3d>(5, cv::Point3d(1, 2, 3)), // one point
        {{0, 0, 0}, {1, 0, 0}, {0, 1, kNaN}},
    };
    for (size_t i = 0; i < bad.size(); ++i) {
        cv::Vec6d plane = stale;
        EXPECT_FALSE(fitPlane(bad[i], plane)) << i;
        EXPECT_FALSE(fitPlane3D_Huber(bad[i], plane, 0)) << i;
        EXPECT_EQ(plane, stale) << i;
    }
}

TEST(MeanDepth, HuberMeanUnderTheMask)
{
    cv::Mat depth(20, 30, CV_32FC1), mask = cv::Mat::zeros(20, 30, CV_8UC1);
    cv::RNG rng(3);
    rng.fill(depth, cv::RNG::UNIFORM, 99.0, 101.0);
    mask(cv::Rect(5, 5, 10, 10)).setTo(255);
    depth(cv::Rect(5, 5, 10, 2)).setTo(1000); // a fifth of the selection far off
    depth.at<float>(8, 8) = std::numeric_limits<float>::quiet_NaN();
    depth(cv::Rect(20, 0, 10, 20)).setTo(-5000); // outside the mask
    const double plainMean = cv::mean(depth, mask & (depth == depth))[0];
    EXPECT_GT(plainMean, 250);
    EXPECT_NEAR(meanDepth_Huber(depth, mask), 100, 1.0);

    cv::Mat depth16(20, 30, CV_16UC1, cv::Scalar(500));
    depth16(cv::Rect(5, 5, 10, 1)).setTo(60000);
    EXPECT_EQ(meanDepth_Huber(depth16, mask), 500.0f); // over half equal: that value

    cv::Mat empty = cv::Mat::zeros(20, 30, CV_8UC1), wrongMask(20, 30, CV_16UC1), small(5, 5, CV_8UC1, 255);
    cv::Mat wrongDepth(20, 30, CV_8UC1, 7), nothing;
    EXPECT_EQ(meanDepth_Huber(depth, empty), 0.0f);
    EXPECT_EQ(meanDepth_Huber(depth, wrongMask), 0.0f);
    EXPECT_EQ(meanDepth_Huber(depth, small), 0.0f);
    EXPECT_EQ(meanDepth_Huber(wrongDepth, mask), 0.0f);
    EXPECT_EQ(meanDepth_Huber(nothing, nothing), 0.0f);
}
