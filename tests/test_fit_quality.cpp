// Fit quality: residual statistics, parameter uncertainties and their 95 % intervals,
// per-point residuals and the inlier rules.

#include <Functions.h>

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <functional>
#include <numeric>
#include <tuple>
#include <vector>

namespace {

constexpr double kPi = 3.141592653589793;

cv::Point2d onCircle(cv::Point2d centre, double radius, double degrees)
{
    const double t = degrees * kPi / 180.0;
    return centre + cv::Point2d(std::cos(t), std::sin(t)) * radius;
}

std::vector<cv::Point2d> circlePoints(cv::Point2d centre, double radius, int count, double span = 360.0)
{
    std::vector<cv::Point2d> points;
    for (int k = 0; k < count; ++k)
        points.push_back(onCircle(centre, radius, 17.0 + span * k / count));
    return points;
}

// Points evenly spread in the parameter of the ellipse box.
std::vector<cv::Point2d> ellipsePoints(const cv::RotatedRect& box, int count)
{
    const double phi = box.angle * kPi / 180.0;
    const cv::Point2d u(std::cos(phi), std::sin(phi)), v(-u.y, u.x), c(box.center.x, box.center.y);
    std::vector<cv::Point2d> points;
    for (int k = 0; k < count; ++k) {
        const double t = 2 * kPi * k / count + 0.3;
        points.push_back(c + u * (0.5 * box.size.width * std::cos(t)) + v * (0.5 * box.size.height * std::sin(t)));
    }
    return points;
}

std::vector<cv::Point2d> linePoints(cv::Point2d start, double degrees, int count)
{
    std::vector<cv::Point2d> points;
    for (int k = 0; k < count; ++k)
        points.push_back(onCircle(start, 2.0 * k, degrees));
    return points;
}

// ---------------------------------------------------------------------------------
// Student's t quantile
// ---------------------------------------------------------------------------------

using QuantileCase = std::tuple<double, int, double>; // probability, degrees of freedom, quantile

class StudentT : public ::testing::TestWithParam<QuantileCase> {};

TEST_P(StudentT, MatchesPublishedTables)
{
    const auto [probability, dof, expected] = GetParam();
    double t = 0;
    ASSERT_TRUE(getStudentTQuantile(probability, dof, t));
    EXPECT_NEAR(t, expected, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Table, StudentT,
                         ::testing::Values(QuantileCase{0.975, 1, 12.7062047361747},
                                           QuantileCase{0.975, 2, 4.30265272974946},
                                           QuantileCase{0.975, 3, 3.18244630528371},
                                           QuantileCase{0.975, 10, 2.22813885198627},
                                           QuantileCase{0.975, 30, 2.04227245630124},
                                           QuantileCase{0.995, 7, 3.49948329735051},
                                           QuantileCase{0.025, 10, -2.22813885198627},
                                           QuantileCase{0.5, 4, 0.0},
                                           QuantileCase{0.975, 100000, 1.95998771}));

TEST(StudentTQuantile, ExpansionJoinsTheClosedFormAndBadInputFails)
{
    // Across the switch to the expansion the quantile keeps falling smoothly.
    double closed = 0, expanded = 0, far = 0;
    ASSERT_TRUE(getStudentTQuantile(0.975, 1000, closed));
    ASSERT_TRUE(getStudentTQuantile(0.975, 1001, expanded));
    ASSERT_TRUE(getStudentTQuantile(0.975, 1002, far));
    EXPECT_GT(closed, expanded);
    EXPECT_NEAR(closed - expanded, expanded - far, 1e-8);

    double untouched = 7;
    EXPECT_FALSE(getStudentTQuantile(0.975, 0, untouched));
    EXPECT_FALSE(getStudentTQuantile(1.0, 5, untouched));
    EXPECT_FALSE(getStudentTQuantile(std::nan(""), 5, untouched));
    EXPECT_EQ(untouched, 7);
}

// ---------------------------------------------------------------------------------
// Quality of exact and noisy fits
// ---------------------------------------------------------------------------------

TEST(FitQuality, ExactPointsGiveZeroResidualsAndUncertainty)
{
    LineFitQuality line;
    ASSERT_TRUE(getLineFitQuality(linePoints({100, 50}, 30.0, 20), {std::cos(kPi / 6), std::sin(kPi / 6), 100, 50},
                                  FitLineLeastSquares, 0, line));
    EXPECT_EQ(line.residuals.pointCount, 20);
    EXPECT_EQ(line.residuals.degreesOfFreedom, 18);
    EXPECT_NEAR(line.angle.value, 30.0, 1e-9);
    // Normal (-1/2, sqrt(3)/2) at (100, 50).
    EXPECT_NEAR(line.offset.value, -50.0 + 25.0 * std::sqrt(3.0), 1e-9);
    EXPECT_NEAR(line.anchor.x, 100 + 19 * std::cos(kPi / 6), 1e-9);
    for (double v : {line.residuals.rms, line.residuals.maxAbs, line.angle.sigma, line.offset.halfWidth95})
        EXPECT_NEAR(v, 0.0, 1e-9);

    CircleFitQuality circle;
    ASSERT_TRUE(getCircleFitQuality(circlePoints({300, 200}, 40, 12, 90), {300, 200}, 40, FitCircleHuber, circle));
    EXPECT_EQ(circle.residuals.degreesOfFreedom, 9);
    EXPECT_EQ(circle.radius.value, 40);
    for (double v : {circle.residuals.maxAbs, circle.centreX.sigma, circle.centreY.sigma, circle.radius.sigma})
        EXPECT_NEAR(v, 0.0, 1e-9);

    const cv::RotatedRect box({250, 180}, {90, 50}, 25);
    EllipseFitQuality ellipse;
    ASSERT_TRUE(getEllipseFitQuality(ellipsePoints(box, 30), box, FitEllipseTukey, 0, ellipse));
    EXPECT_EQ(ellipse.residuals.degreesOfFreedom, 25);
    EXPECT_EQ(ellipse.width.value, 90);
    EXPECT_EQ(ellipse.angle.value, 25);
    for (double v : {ellipse.residuals.maxAbs, ellipse.centreX.sigma, ellipse.width.sigma, ellipse.height.sigma,
                     ellipse.angle.sigma})
        EXPECT_NEAR(v, 0.0, 1e-7);
}

// The spread of each fitted parameter over many noisy draws against the mean standard
// uncertainty reported for it: the covariance must describe the fit's real scatter.
struct ScatterCheck {
    std::vector<double> values, sigmas;

    void add(double value, double sigma)
    {
        values.push_back(value);
        sigmas.push_back(sigma);
    }

    double ratio() const
    {
        const double n = static_cast<double>(values.size());
        const double mean = std::accumulate(values.begin(), values.end(), 0.0) / n;
        double squares = 0;
        for (double v : values)
            squares += (v - mean) * (v - mean);
        const double reported = std::accumulate(sigmas.begin(), sigmas.end(), 0.0) / n;
        return std::sqrt(squares / (n - 1)) / reported;
    }
};

constexpr int kDraws = 400;
constexpr double kNoise = 0.5;

std::vector<cv::Point2d> noisy(const std::vector<cv::Point2d>& exact, cv::RNG& rng)
{
    std::vector<cv::Point2d> points = exact;
    for (cv::Point2d& p : points)
        p += cv::Point2d(rng.gaussian(kNoise), rng.gaussian(kNoise));
    return points;
}

void expectScatterMatches(const char* name, const ScatterCheck& check)
{
    SCOPED_TRACE(name);
    EXPECT_NEAR(check.ratio(), 1.0, 0.15);
}

TEST(FitQuality, ReportedUncertaintyMatchesScatterOverDraws)
{
    cv::RNG rng(12345);
    ScatterCheck angle, offset, robustAngle, robustOffset, cx, cy, radius, ex, ey, width, height, tilt;
    const std::vector<cv::Point2d> line = linePoints({200, 300}, -20.0, 30);
    const std::vector<cv::Point2d> arc = circlePoints({400, 300}, 50, 40, 180);
    const cv::RotatedRect box({500, 400}, {100, 60}, 35);
    const std::vector<cv::Point2d> ellipse = ellipsePoints(box, 40);
    for (int draw = 0; draw < kDraws; ++draw) {
        std::vector<cv::Point2d> points = noisy(line, rng);
        cv::Vec4d fittedLine;
        fitLine(points, fittedLine, FitLineLeastSquares, 0);
        LineFitQuality lq;
        ASSERT_TRUE(getLineFitQuality(points, fittedLine, FitLineLeastSquares, 0, lq));
        angle.add(lq.angle.value, lq.angle.sigma);
        // The position across the true line at the anchor, where the sigma applies.
        const cv::Point2d normal(-std::sin(-20 * kPi / 180), std::cos(-20 * kPi / 180));
        offset.add(normal.dot(lq.anchor - line[0]), lq.offset.sigma);
        // Tukey's fit scatters more than least squares: its sigma must say so.
        fitLine(points, fittedLine, FitLineTukey, 0);
        ASSERT_TRUE(getLineFitQuality(points, fittedLine, FitLineTukey, 0, lq));
        robustAngle.add(lq.angle.value, lq.angle.sigma);
        robustOffset.add(normal.dot(lq.anchor - line[0]), lq.offset.sigma);

        points = noisy(arc, rng);
        cv::Point2d centre;
        double r = 0;
        ASSERT_TRUE(fitCircle(points, centre, r, FitCircleTaubin));
        CircleFitQuality cq;
        ASSERT_TRUE(getCircleFitQuality(points, centre, r, FitCircleTaubin, cq));
        cx.add(centre.x, cq.centreX.sigma);
        cy.add(centre.y, cq.centreY.sigma);
        radius.add(r, cq.radius.sigma);

        points = noisy(ellipse, rng);
        const cv::RotatedRect fittedBox = cv::fitEllipseDirect(std::vector<cv::Point2f>(points.begin(), points.end()));
        EllipseFitQuality eq;
        ASSERT_TRUE(getEllipseFitQuality(points, fittedBox, FitEllipseLeastSquares, 0, eq));
        ex.add(fittedBox.center.x, eq.centreX.sigma);
        ey.add(fittedBox.center.y, eq.centreY.sigma);
        width.add(fittedBox.size.width, eq.width.sigma);
        height.add(fittedBox.size.height, eq.height.sigma);
        tilt.add(fittedBox.angle, eq.angle.sigma);
    }
    expectScatterMatches("line angle", angle);
    expectScatterMatches("line offset", offset);
    expectScatterMatches("Tukey line angle", robustAngle);
    expectScatterMatches("Tukey line offset", robustOffset);
    expectScatterMatches("circle centre x", cx);
    expectScatterMatches("circle centre y", cy);
    expectScatterMatches("circle radius", radius);
    expectScatterMatches("ellipse centre x", ex);
    expectScatterMatches("ellipse centre y", ey);
    expectScatterMatches("ellipse width", width);
    expectScatterMatches("ellipse height", height);
    expectScatterMatches("ellipse angle", tilt);
}

TEST(FitQuality, UndeterminedShapesFailAndLeaveTheRecord)
{
    CircleFitQuality circle;
    circle.radius.value = -1;
    EXPECT_FALSE(getCircleFitQuality(circlePoints({0, 0}, 10, 3), {0, 0}, 10, FitCircleLeastSquares, circle)); // no degree of freedom
    EXPECT_FALSE(getCircleFitQuality(linePoints({5, 5}, 10.0, 8), {5, 100}, 95, FitCircleLeastSquares, circle));
    EXPECT_FALSE(getCircleFitQuality(circlePoints({0, 0}, 10, 8), {0, 0}, std::nan(""), FitCircleLeastSquares, circle));
    EXPECT_EQ(circle.radius.value, -1);

    LineFitQuality line;
    line.angle.value = -1;
    EXPECT_FALSE(getLineFitQuality({{1, 1}, {1, 1}, {1, 1}}, {1, 0, 1, 1}, FitLineLeastSquares, 0, line)); // angle undetermined
    EXPECT_FALSE(getLineFitQuality(linePoints({0, 0}, 0.0, 5), {0, 0, 0, 0}, FitLineLeastSquares, 0, line));
    EXPECT_EQ(line.angle.value, -1);

    // A circle's orientation is not determined, nor is an ellipse through collinear points.
    const cv::RotatedRect round({50, 50}, {40, 40}, 0);
    EllipseFitQuality ellipse;
    ellipse.angle.value = -1;
    EXPECT_FALSE(getEllipseFitQuality(ellipsePoints(round, 20), round, FitEllipseLeastSquares, 0, ellipse));
    EXPECT_FALSE(getEllipseFitQuality(linePoints({5, 5}, 10.0, 8), cv::RotatedRect({10, 6}, {20, 4}, 10),
                                      FitEllipseLeastSquares, 0, ellipse));
    EXPECT_EQ(ellipse.angle.value, -1);
}

// ---------------------------------------------------------------------------------
// Edge pair widths
// ---------------------------------------------------------------------------------

TEST(EdgePairWidthQuality, SpreadOfThePairsAlongTheScanAxis)
{
    _MulEdgePointDetParam param;
    param.segmentAxis = 1; // vertical bands: widths along y
    param.firstEdges = {{5, 10}, {15, 10.5}, {25, 9.5}, {35, 99}};
    param.secondEdges = {{5, 20}, {15, 21.5}, {25, 21.5}}; // the unpaired first edge is ignored
    EdgePairWidthQuality quality;
    ASSERT_TRUE(getEdgePairWidthQuality(param, quality));
    EXPECT_EQ(quality.pairCount, 3);
    EXPECT_DOUBLE_EQ(quality.width.value, 11.0);
    EXPECT_DOUBLE_EQ(quality.spread, 1.0);
    EXPECT_DOUBLE_EQ(quality.width.sigma, 1.0 / std::sqrt(3.0));
    EXPECT_NEAR(quality.width.halfWidth95, 4.30265272974946 / std::sqrt(3.0), 1e-9);
    EXPECT_EQ(quality.minWidth, 10.0);
    EXPECT_EQ(quality.maxWidth, 12.0);

    param.secondEdges.resize(1);
    EXPECT_FALSE(getEdgePairWidthQuality(param, quality));
    EXPECT_EQ(quality.pairCount, 3);
}

// ---------------------------------------------------------------------------------
// Per-point residuals and inlier rules
// ---------------------------------------------------------------------------------

TEST(PointDiagnostics, SignedResidualsFollowTheDocumentedSides)
{
    std::vector<PointDiagnostic> d;
    // A line along +x: its normal (0, 1) points down the image.
    ASSERT_TRUE(getLineDiagnostics({{3, 12}, {7, 9}}, {2, 0, 0, 10}, d));
    ASSERT_EQ(d.size(), 2u);
    EXPECT_DOUBLE_EQ(d[0].residual, 2.0);
    EXPECT_DOUBLE_EQ(d[1].residual, -1.0);

    ASSERT_TRUE(getCircleDiagnostics({{13, 0}, {0, 9}}, {0, 0}, 10, d));
    EXPECT_DOUBLE_EQ(d[0].residual, 3.0);
    EXPECT_DOUBLE_EQ(d[1].residual, -1.0);

    // Outside and inside the ends of both axes, and a point off the axes whose nearest
    // ellipse point is not along the ray from the centre.
    const cv::RotatedRect box({0, 0}, {40, 20}, 90); // long axis along y
    ASSERT_TRUE(getEllipseDiagnostics({{0, 23}, {0, -18}, {12, 0}, {0, 0}}, box, d));
    EXPECT_NEAR(d[0].residual, 3.0, 1e-12);
    EXPECT_NEAR(d[1].residual, -2.0, 1e-12);
    EXPECT_NEAR(d[2].residual, 2.0, 1e-12);
    EXPECT_NEAR(d[3].residual, -10.0, 1e-12);
    const cv::Point2d offAxes(15, 20);
    ASSERT_TRUE(getEllipseDiagnostics({offAxes}, box, d));
    double nearest = 1e9;
    for (int k = 0; k < 100000; ++k) {
        const double t = 2 * kPi * k / 100000;
        nearest = std::min(nearest, cv::norm(offAxes - cv::Point2d(10 * std::cos(t), 20 * std::sin(t))));
    }
    EXPECT_NEAR(d[0].residual, nearest, 1e-6);
}

TEST(PointDiagnostics, PlantedOutlierIsFlaggedByEachRule)
{
    // Radii alternating 0.2 px either side, so that no good point lies beyond twice the
    // median residual, where Tukey's weight ends.
    std::vector<cv::Point2d> points;
    for (int k = 0; k < 30; ++k)
        points.push_back(onCircle({250, 150}, k % 2 ? 60.2 : 59.8, 17.0 + 12.0 * k));
    points[11] = onCircle({250, 150}, 70, 17.0 + 360.0 * 11 / 30); // 10 px outside
    cv::Point2d centre;
    double radius = 0;
    ASSERT_TRUE(fitCircle(points, centre, radius, FitCircleTukey));

    std::vector<PointDiagnostic> d;
    ASSERT_TRUE(getCircleDiagnostics(points, centre, radius, d));
    EXPECT_EQ(markTukeyInliers(d, 0.0), 29);
    EXPECT_FALSE(d[11].inlier);
    EXPECT_EQ(markInliersWithin(d, 3.0), 29);
    EXPECT_FALSE(d[11].inlier);
    EXPECT_EQ(markTukeyInliers(d, 20.0), 30); // a fixed scale beyond the outlier keeps it
}

} // namespace
