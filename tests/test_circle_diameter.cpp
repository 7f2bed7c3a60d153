#include <Functions.h>

#include "Synthetic.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>
#include <vector>

namespace {

constexpr double kPi = 3.141592653589793;
const cv::Point2d kCentre(200.37, 199.61);
constexpr double kRadius = 60.3;

// A bright disc on a dark background, blurred by 1 px, with extra shapes painted over it.
template <typename Paint>
cv::Mat discImage(Paint paintMore)
{
    synthetic::Scene scene(cv::Size(400, 400), 40);
    scene.fillDisc(kCentre, kRadius, 200);
    paintMore(scene);
    return scene.toGrey(1.0, 0.0);
}

cv::Mat discImage()
{
    return discImage([](synthetic::Scene&) {});
}

// Calipers walking outwards from the bright part onto the dark background.
_CircleDiameterDetParam outwardRecord(ROI* roi, int calipers = 360)
{
    _CircleDiameterDetParam param;
    param.direction = LeftToRight;
    param.transition = LightToDark;
    param.percent = 30;
    param.sigma = 2;
    param.minStrength = 20;
    param.segmentWidth = 3;
    param.caliperCount = calipers;
    param.caliperAngle = 1.0;
    param.roi = roi;
    return param;
}

// Signed difference of two directions (axes), folded into [-90, 90).
double axisDifference(double a, double b)
{
    const double d = std::fmod(a - b + 90.0, 180.0);
    return (d < 0 ? d + 180.0 : d) - 90.0;
}

} // namespace

TEST(CircleDiameter, DiscMeasuresItsDiameterInEveryDirection)
{
    const cv::Mat grey = discImage();
    cv::Mat colour;
    cv::cvtColor(grey, colour, cv::COLOR_GRAY2BGR);
    const float nan = std::numeric_limits<float>::quiet_NaN();

    struct Case {
        const char* what;
        ROI* roi;
        int direction, transition;
        int calipers = 360, lines = 3;
        double angle = 1.0;
        const cv::Mat* image;
    };
    RingROI centred(200.5, 199.5, 45, 75), swapped(200.5, 199.5, 75, 45);
    // Four pixels off: a diameter through the ROI's centre would come out up to 0.27 px short.
    RingROI offCentre(kCentre.x + 3.1, kCentre.y - 2.6, 45, 75);
    CircleROI drawn(QRectF(kCentre.x - 62, kCentre.y - 62, 124, 124));
    const Case cases[] = {
        {"outwards", &centred, LeftToRight, LightToDark, 360, 3, 1.0, &grey},
        {"inwards, radii swapped", &swapped, RightToLeft, DarkToLight, 360, 3, 1.0, &grey},
        {"roi off centre", &offCentre, LeftToRight, LightToDark, 360, 3, 1.0, &grey},
        {"circle roi, colour", &drawn, LeftToRight, LightToDark, 360, 3, 1.0, &colour},
        // 7 calipers become 8, a width below 1 one line, a NaN angle no angular width.
        {"settings out of range", &centred, LeftToRight, LightToDark, 7, 0, nan, &grey},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto param = outwardRecord(c.roi, c.calipers);
        param.direction = c.direction;
        param.transition = c.transition;
        param.segmentWidth = c.lines;
        param.caliperAngle = c.angle;
        cv::Mat image = *c.image;
        ASSERT_TRUE(clcCircleMulPoints(image, param));
        EXPECT_TRUE(param.success);
        const int calipers = c.calipers == 7 ? 8 : c.calipers;
        EXPECT_EQ(param.polarImage.rows, calipers * std::max(c.lines, 1));
        EXPECT_EQ(param.polarImage.type(), CV_8UC1);
        ASSERT_EQ(param.edgePoints.size(), static_cast<size_t>(calipers));
        ASSERT_EQ(param.diameters.size(), static_cast<size_t>(calipers / 2));
        // Blur moves a disc's steepest edge inwards by about sigma^2 / (2 radius), here with
        // sigma^2 about 1.25: the image's blur, the pixels' area and the unwrap's
        // interpolation.
        const double diameter = 2 * kRadius - 1.25 / kRadius;
        EXPECT_NEAR(param.meanDiameter, diameter, 0.01);
        EXPECT_NEAR(param.minDiameter, diameter, 0.07);
        EXPECT_NEAR(param.maxDiameter, diameter, 0.07);
        EXPECT_NEAR(param.radius, diameter / 2, 0.02);
        EXPECT_NEAR(param.centre.x, kCentre.x, 0.02);
        EXPECT_NEAR(param.centre.y, kCentre.y, 0.02);
        EXPECT_LT(param.roundness, 0.12);
        for (size_t k = 0; k < param.edgePoints.size(); ++k) {
            EXPECT_DOUBLE_EQ(param.edgeAngles[k], k * 360.0 / calipers);
            const cv::Point2d p = param.edgePoints[k] - kCentre;
            EXPECT_NEAR(cv::norm(p), diameter / 2, 0.05) << k;
            EXPECT_NEAR(axisDifference(std::atan2(-p.y, p.x) * 180 / kPi, param.edgeAngles[k]), 0.0, 0.25) << k;
        }
        for (size_t k = 0; k < param.diameters.size(); ++k) {
            EXPECT_DOUBLE_EQ(param.diameterAngles[k], k * 360.0 / calipers);
            EXPECT_DOUBLE_EQ(param.diameters[k], cv::norm(param.edgePoints[k] - param.edgePoints[k + calipers / 2]));
        }
    }
}

TEST(CircleDiameter, EllipseGivesItsAxesAndTheirDirections)
{
    // Axes of 122 and 120 px: the diameter at direction t from the major axis is
    // 2ab / sqrt((b cos t)^2 + (a sin t)^2).
    const double a = 61.0, b = 60.0;
    for (const double major : {31.7, 179.6}) { // degrees, counter-clockwise with y up
        SCOPED_TRACE(major);
        synthetic::Scene scene(cv::Size(400, 400), 40);
        scene.fillEllipse(kCentre, a, b, -major, 200);
        cv::Mat image = scene.toGrey(1.0, 0.0);
        RingROI roi(kCentre.x + 1.4, kCentre.y + 0.9, 45, 75);
        auto param = outwardRecord(&roi);
        ASSERT_TRUE(clcCircleMulPoints(image, param));

        double meanTruth = 0;
        for (double direction : param.diameterAngles) {
            const double t = (direction - major) * kPi / 180.0;
            meanTruth += 2 * a * b / std::hypot(b * std::cos(t), a * std::sin(t)) / param.diameterAngles.size();
        }
        EXPECT_NEAR(param.meanDiameter, meanTruth, 0.03);
        EXPECT_NEAR(param.minDiameter, 2 * b, 0.1);
        EXPECT_NEAR(param.maxDiameter, 2 * a, 0.1);
        EXPECT_NEAR(axisDifference(param.maxDiameterAngle, major), 0.0, 1.0);
        EXPECT_NEAR(axisDifference(param.minDiameterAngle, major + 90), 0.0, 1.0);
        EXPECT_GE(param.minDiameterAngle, 0.0);
        EXPECT_LT(param.maxDiameterAngle, 180.0);
        // Edge points lie between b and a from the centre.
        EXPECT_NEAR(param.roundness, a - b, 0.1);
        EXPECT_NEAR(param.centre.x, kCentre.x, 0.03);
        EXPECT_NEAR(param.centre.y, kCentre.y, 0.03);
    }
}

TEST(CircleDiameter, CalipersThatLoseTheirPartnerDropOnlyTheirPair)
{
    // The rim between -20.5 and 20.5 degrees is covered by a bright wedge reaching past the
    // ROI: the calipers there find no edge, those opposite still do.
    const auto wedge = [](double halfAngle) {
        return [halfAngle](synthetic::Scene& scene) {
            const double h = halfAngle * kPi / 180.0;
            scene.fillConvexPolygon({kCentre, kCentre + 300 * cv::Point2d(std::cos(h), -std::sin(h)),
                                     kCentre + 300 * cv::Point2d(std::cos(h), std::sin(h))},
                                    200);
        };
    };
    cv::Mat image = discImage(wedge(20.5));
    RingROI roi(kCentre.x, kCentre.y, 45, 75);
    auto param = outwardRecord(&roi);
    ASSERT_TRUE(clcCircleMulPoints(image, param));
    std::vector<bool> found(360, false);
    for (double angle : param.edgeAngles)
        found[static_cast<int>(std::lround(angle))] = true;
    int lost = 0;
    for (int k = 0; k < 360; ++k) {
        const int fromZero = std::min(k, 360 - k);
        if (fromZero <= 19) {
            EXPECT_FALSE(found[k]) << k;
        } else if (fromZero >= 22) {
            EXPECT_TRUE(found[k]) << k;
        }
        lost += !found[k];
    }
    // Every caliper that found nothing costs exactly its own pair.
    EXPECT_EQ(param.diameters.size(), static_cast<size_t>(180 - lost));
    for (size_t k = 0; k < param.diameters.size(); ++k) {
        const double fromZero = std::min(param.diameterAngles[k], 180 - param.diameterAngles[k]);
        EXPECT_GT(fromZero, 19.0);
        // Next to the wedge's sides the rim is partly hidden and its edge moves.
        if (fromZero >= 23) {
            EXPECT_NEAR(param.diameters[k], 2 * kRadius - 1.25 / kRadius, 0.07) << param.diameterAngles[k];
        }
    }
    EXPECT_NEAR(param.centre.x, kCentre.x, 0.03);
    EXPECT_NEAR(param.radius, kRadius, 0.03);

    // Six calipers, one of them lost: two pairs are not enough.
    cv::Mat oneLost = discImage(wedge(10));
    param = outwardRecord(&roi, 6);
    EXPECT_FALSE(clcCircleMulPoints(oneLost, param));
    EXPECT_EQ(param.edgePoints.size(), 0u);
    EXPECT_EQ(param.polarImage.rows, 18); // shown for display all the same
    cv::Mat whole = discImage();
    EXPECT_TRUE(clcCircleMulPoints(whole, param));
}

TEST(CircleDiameter, BadInputFailsWithEveryResultCleared)
{
    cv::Mat grey = discImage();
    cv::Mat blank(400, 400, CV_8UC1, cv::Scalar(40));
    cv::Mat wide;
    grey.convertTo(wide, CV_16U);
    cv::Mat empty;
    const float nan = std::numeric_limits<float>::quiet_NaN();

    RingROI good(200.5, 199.5, 45, 75);
    RingROI narrow(200.5, 199.5, 59, 61.9), negative(200.5, 199.5, -5, 75), nanRadius(200.5, 199.5, 45, nan);
    // Outer radii from 16380 px on are refused: the crop, about 2 * outer + 4 pixels wide,
    // must stay below the 32767 a remap reads.
    RingROI limit(200.5, 199.5, 45, 16380), farAway(2e9, 199.5, 45, 75);
    CircleROI flat(QRectF(140, 140, 0, 120));
    ArcROI arc(200.5, 199.5, 45, 75, 0, 180);
    RotateRectROI rotated(200, 200, 0, 100, 100);

    struct Case {
        const char* what;
        cv::Mat* image;
        ROI* roi;
        int calipers = 360;
        int lines = 3;
        int sigma = 2;
    };
    const Case cases[] = {
        {"empty image", &empty, &good},
        {"16-bit image", &wide, &good},
        {"null roi", &grey, nullptr},
        {"arc roi", &grey, &arc},
        {"rotated rectangle", &grey, &rotated},
        {"band below 3 px", &grey, &narrow},
        {"negative radius", &grey, &negative},
        {"nan radius", &grey, &nanRadius},
        {"flat circle roi", &grey, &flat},
        {"radius limit", &grey, &limit},
        {"far centre", &grey, &farAway},
        {"rows beyond a remap", &grey, &good, 4096, 8},
        {"no edge at all", &blank, &good},
        {"sigma beyond the kernel table", &grey, &good, 360, 3, 101},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto param = outwardRecord(c.roi, c.calipers);
        param.segmentWidth = c.lines;
        param.sigma = c.sigma;
        // Results of an earlier call, which must not survive a failure.
        param.success = true;
        param.centre = {1, 2};
        param.radius = param.meanDiameter = param.minDiameter = param.maxDiameter = 3;
        param.minDiameterAngle = param.maxDiameterAngle = param.roundness = 4;
        param.edgePoints.assign(5, {1, 1});
        param.edgeAngles.assign(5, 1);
        param.diameters.assign(2, 1);
        param.diameterAngles.assign(2, 1);
        param.cropRect = {1, 2, 3, 4};
        param.polarImage = cv::Mat(2, 2, CV_8UC1);

        EXPECT_FALSE(clcCircleMulPoints(*c.image, param));
        EXPECT_FALSE(param.success);
        EXPECT_EQ(param.centre, cv::Point2d());
        for (double v : {param.radius, param.meanDiameter, param.minDiameter, param.maxDiameter,
                         param.minDiameterAngle, param.maxDiameterAngle, param.roundness})
            EXPECT_EQ(v, 0.0);
        EXPECT_TRUE(param.edgePoints.empty() && param.edgeAngles.empty());
        EXPECT_TRUE(param.diameters.empty() && param.diameterAngles.empty());
        // Only a call that got as far as the unwrap shows it.
        const bool unwrapped = c.image == &blank || c.sigma != 2;
        EXPECT_EQ(param.polarImage.empty(), !unwrapped);
        EXPECT_EQ(param.cropRect.empty(), !unwrapped);
    }
}
