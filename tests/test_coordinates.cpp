#include <Functions.h>

#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cmath>
#include <limits>
#include <random>

using AlgorithmUtility::transformImage;
using AlgorithmUtility::transformInvertXY;
using AlgorithmUtility::transformXY;

namespace {

constexpr double kPi = 3.141592653589793;

// Fields in order: reference x, y, angle, then current x, y, angle.
CoordinateTransformer pose(float refX, float refY, float refAngle, float curX, float curY, float curAngle)
{
    return CoordinateTransformer{refX, refY, refAngle, curX, curY, curAngle};
}

// Reference -> current in double, as the header states it.
cv::Point2d toCurrent(const CoordinateTransformer& t, double x, double y)
{
    const double d = (static_cast<double>(t.curAngle) - t.refAngle) * kPi / 180.0;
    return {t.curX + std::cos(d) * (x - t.refX) - std::sin(d) * (y - t.refY),
            t.curY + std::sin(d) * (x - t.refX) + std::cos(d) * (y - t.refY)};
}

// A 60 x 100 plate of 200 with a single 255 marker pixel.
cv::Mat plateWithMarker(cv::Point marker)
{
    cv::Mat image(60, 100, CV_8U, cv::Scalar(200));
    image.at<uchar>(marker) = 255;
    return image;
}

void expectNear(double x, double y, cv::Point2d expected, double tolerance)
{
    EXPECT_NEAR(x, expected.x, tolerance);
    EXPECT_NEAR(y, expected.y, tolerance);
}

cv::Point brightest(const cv::Mat& image)
{
    cv::Point where;
    cv::minMaxLoc(image, nullptr, nullptr, nullptr, &where);
    return where;
}

} // namespace

TEST(CoordinateTransformer, PointsFollowTheClosedFormulaBothWays)
{
    // A quarter turn of the pose is clockwise on screen.
    CoordinateTransformer quarter = pose(0, 0, 0, 0, 0, 90);
    float x = 10, y = 0;
    transformInvertXY(x, y, quarter);
    expectNear(x, y, {0, 10}, 1e-5);

    // Random poses: the inverse matches the formula, and the round trip returns the start.
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> position(-500, 1500), angle(-360, 360);
    for (int i = 0; i < 200; ++i) {
        CoordinateTransformer t = pose(position(rng), position(rng), angle(rng), position(rng), position(rng),
                                       angle(rng));
        const float x0 = position(rng), y0 = position(rng);
        float px = x0, py = y0;
        transformInvertXY(px, py, t);
        const cv::Point2d expected = toCurrent(t, x0, y0);
        expectNear(px, py, expected, 2e-3);
        transformXY(px, py, t);
        expectNear(px, py, {x0, y0}, 2e-3);
    }
}

TEST(CoordinateTransformer, PointListsRoundToFloatAndMatchTheSinglePointForm)
{
    CoordinateTransformer t = pose(12.5f, -3, 17, 400, 300, -41);
    std::vector<cv::Point2d> points{{0.1, 0.2}, {123.456789012, -98.7654321}, {1e6 + 0.3, 7}};
    std::vector<cv::Point2d> namespaced = points, free = points;
    AlgorithmUtility::transPointsToCurImage(t, namespaced);
    transPointsToCurImage(t, free);
    ASSERT_EQ(namespaced.size(), points.size());
    for (size_t i = 0; i < points.size(); ++i) {
        float x = static_cast<float>(points[i].x), y = static_cast<float>(points[i].y);
        transformInvertXY(x, y, t);
        EXPECT_EQ(namespaced[i], cv::Point2d(x, y));
        EXPECT_EQ(free[i], cv::Point2d(x, y));
    }

    // With equal poses the only change is the rounding to float.
    std::vector<cv::Point2d> same{{0.1, 0.2}};
    transPointsToCurImage(pose(5, 6, 7, 5, 6, 7), same);
    EXPECT_EQ(same[0], cv::Point2d(0.1f, 0.2f));
    EXPECT_NE(same[0].x, 0.1);

    std::vector<cv::Point2d> none;
    transPointsToCurImage(t, none);
    EXPECT_TRUE(none.empty());

    // Nothing is checked: a NaN angle gives NaN points rather than a failure.
    float x = 1, y = 2;
    CoordinateTransformer broken = pose(0, 0, std::numeric_limits<float>::quiet_NaN(), 0, 0, 0);
    transformInvertXY(x, y, broken);
    EXPECT_TRUE(std::isnan(x) && std::isnan(y));
}

TEST(TransformImage, AngleTurnsCounterClockwiseAboutTheCentreThenShifts)
{
    // Centre of a 60 x 100 image is (50, 30); the marker sits 20 px to its right.
    cv::Mat src = plateWithMarker({70, 30}), dst;
    transformImage(src, dst, 0, 0, 90);
    ASSERT_EQ(dst.size(), src.size());
    EXPECT_EQ(brightest(dst), cv::Point(50, 10)); // above the centre: counter-clockwise
    EXPECT_EQ(dst.at<uchar>(30, 0), 0);           // uncovered by the turned plate
    EXPECT_EQ(dst.at<uchar>(30, 50), 200);

    transformImage(src, dst, 5, -3, 0);
    EXPECT_EQ(brightest(dst), cv::Point(75, 27));

    // About a given centre: the marker itself stays, the plate's corner swings away.
    transformImage(src, dst, 0, 0, cv::Point2f(70, 30), 90);
    EXPECT_EQ(brightest(dst), cv::Point(70, 30));
    EXPECT_EQ(dst.at<uchar>(0, 99), 0);
}

TEST(TransformImage, TransformerWarpAgreesWithTransformXY)
{
    CoordinateTransformer t = pose(40, 25, 0, 50, 35, 90);
    cv::Mat src = plateWithMarker({60, 35}), dst;
    transformImage(src, dst, t);
    EXPECT_EQ(brightest(dst), cv::Point(40, 15)); // where transformXY puts (60, 35)

    cv::Mat empty;
    EXPECT_THROW(transformImage(empty, dst, t), cv::Exception);
    EXPECT_THROW(transformImage(empty, dst, 1, 2, 3), cv::Exception);
    EXPECT_THROW(transformImage(empty, dst, 1, 2, cv::Point2f(0, 0), 3), cv::Exception);
}

TEST(TransformPainter, PainterDrawsFromPoseAtToPose)
{
    QImage canvas(64, 64, QImage::Format_ARGB32);
    QPainter painter(&canvas);
    ObjPos from{30, 40, 10}, to{120, 90, 55};
    AlgorithmUtility::transformPainter(&painter, from, to);
    const QTransform map = painter.transform();

    const QPointF origin = map.map(QPointF(30, 40));
    expectNear(origin.x(), origin.y(), {120, 90}, 1e-4);
    // A step along +x from the from pose turns by 45 degrees clockwise on screen.
    const QPointF step = map.map(QPointF(40, 40)) - origin;
    expectNear(step.x(), step.y(), {10 * std::cos(kPi / 4), 10 * std::sin(kPi / 4)}, 1e-4);
    painter.end();

    AlgorithmUtility::transformPainter(nullptr, from, to); // ignored
}

TEST(CaptureMapping, GrabBeforePhotoTurnsTheReferencesAboutThePoint)
{
    const QPointF p(100, 100), first(110, 100), second(200, 50);
    const auto near = [](QPointF got, cv::Point2d expected) { expectNear(got.x(), got.y(), expected, 1e-3); };
    // Without rotate the angles play no part.
    for (float angle : {0.0f, 37.0f, -170.0f})
        near(grabBeforePhoto(p, angle, 20, true, false, first, second, angle, 5), {190, 50});
    near(grabBeforePhoto(p, 30, 10, false, true, p, p, 10, 5), {100, 100});

    // a = (30 - 10) + 5 = 25, b = 10: first turns about p by -25, second by -35; mirrored
    // turns them the other way.
    for (bool mirrored : {false, true}) {
        const float sense = mirrored ? -1.0f : 1.0f;
        const cv::Point2d f = toCurrent(pose(100, 100, 0, 100, 100, -25 * sense), 110, 100);
        const cv::Point2d s = toCurrent(pose(100, 100, 0, 100, 100, -35 * sense), 200, 50);
        near(grabBeforePhoto(p, 30, 10, mirrored, true, first, second, 10, 5), cv::Point2d(100, 100) + s - f);
    }
}

TEST(CaptureMapping, PhotoBeforeGrabKeepsTheSignWhenMirrored)
{
    const QPointF origin(0, 0);
    QPointF q = photoBeforeGrab(QPointF(10, 0), false, true, origin, origin, 90, 0, 0);
    expectNear(q.x(), q.y(), {0, -10}, 1e-5);
    q = photoBeforeGrab(QPointF(10, 0), true, true, origin, origin, 90, 0, 0);
    expectNear(q.x(), q.y(), {0, 10}, 1e-5);

    // Offsets move the point before it is mapped; without rotate the mapping is a shift.
    q = photoBeforeGrab(QPointF(50, 60), true, false, QPointF(5, 5), QPointF(20, -10), 90, 3, -4);
    expectNear(q.x(), q.y(), {68, 41}, 1e-4);
    q = photoBeforeGrab(QPointF(50, 60), false, true, QPointF(5, 5), QPointF(20, -10), 30, 3, -4);
    const cv::Point2d expected = toCurrent(pose(5, 5, 0, 20, -10, -30), 53, 56);
    expectNear(q.x(), q.y(), expected, 1e-3);
}
