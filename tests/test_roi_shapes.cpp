#include <Functions.h>

#include <gtest/gtest.h>

#include <memory>

TEST(RoiShapes, TypeCodesAndClonesKeepTheirFields)
{
    RotateRectROI rr(1.5, 2.5, 30.0f, 40.0f, 20.0f);
    std::unique_ptr<ROI> copy(rr.clone());
    auto* back = dynamic_cast<RotateRectROI*>(copy.get());
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(copy->type(), 128);
    EXPECT_EQ(back->centreX, 1.5);
    EXPECT_EQ(back->height, 20.0f);

    EXPECT_EQ(RectROI().type(), 1);
    EXPECT_EQ(LineROI().type(), 2);
    EXPECT_EQ(CircleROI().type(), 4);
    EXPECT_EQ(RingROI().type(), 32);
    EXPECT_EQ(ArcROI().type(), 64);
    ArcROI arc(1, 2, 3, 4, 5, 6);
    std::unique_ptr<ROI> arcCopy(arc.clone());
    EXPECT_EQ(dynamic_cast<ArcROI*>(arcCopy.get())->angle2, 6.0f);
}

TEST(RoiShapes, CornersComeInStraighteningOrder)
{
    RotateRectROI upright(100, 50, 0, 40, 20);
    std::vector<cv::Point2f> corners{{9, 9}}; // stale content is replaced
    getCornerPoints(&upright, corners);
    ASSERT_EQ(corners.size(), 4u);
    EXPECT_EQ(corners[0], cv::Point2f(80, 40));
    EXPECT_EQ(corners[1], cv::Point2f(120, 40));
    EXPECT_EQ(corners[2], cv::Point2f(120, 60));
    EXPECT_EQ(corners[3], cv::Point2f(80, 60));

    // At 90 degrees the shape's x axis points down: the first corner is (cx + hh, cy - hw).
    RotateRectROI turned(100, 50, 90, 40, 20);
    getCornerPoints(&turned, corners);
    EXPECT_NEAR(corners[0].x, 110, 1e-5);
    EXPECT_NEAR(corners[0].y, 30, 1e-5);

    // The polygon overload gives the same corners without the final narrowing.
    RotateRectROI fine(1000000.25, 0.125, 33, 7, 3);
    const QPolygonF polygon = getCornerPoints(&fine);
    getCornerPoints(&fine, corners);
    ASSERT_EQ(polygon.size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(static_cast<float>(polygon[i].x()), corners[i].x);
        EXPECT_EQ(static_cast<float>(polygon[i].y()), corners[i].y);
    }
    EXPECT_NE(polygon[0].x(), static_cast<double>(corners[0].x)); // the double keeps the quarter pixel

    EXPECT_TRUE(getCornerPoints(static_cast<RotateRectROI*>(nullptr)).isEmpty());
}

TEST(RoiShapes, TransformPointsIsSizedByOutAndDispatchesOnType)
{
    std::vector<cv::Point2d> in{{20, 10}, {0, 0}, {5, 5}};
    RotateRectROI rr(100, 50, 37, 40, 20);

    std::vector<cv::Point2d> none;
    transformPoints(in, none, &rr);
    EXPECT_TRUE(none.empty());

    // Only out.size() points are processed; the local centre maps onto the ROI centre.
    std::vector<cv::Point2d> two(2, cv::Point2d(-1, -1));
    transformPoints(in, two, &rr);
    EXPECT_NEAR(two[0].x, 100, 1e-9);
    EXPECT_NEAR(two[0].y, 50, 1e-9);
    std::vector<cv::Point2f> corners;
    getCornerPoints(&rr, corners);
    EXPECT_NEAR(two[1].x, corners[0].x, 1e-3); // local origin is the top-left corner
    EXPECT_NEAR(two[1].y, corners[0].y, 1e-3);

    // An out longer than in would read past in's end: refused, nothing written.
    std::vector<cv::Point2d> tooLong(5, cv::Point2d(-7, -7));
    transformPoints(in, tooLong, &rr);
    EXPECT_EQ(tooLong[0], cv::Point2d(-7, -7));

    // RectROI adds its top-left narrowed to float.
    RectROI rect(QRectF(0.1, 1e8 + 0.5, 10, 10));
    std::vector<cv::Point2d> out(1);
    transformPoints(in, out, &rect);
    EXPECT_EQ(out[0].x, 20 + static_cast<double>(0.1f));
    EXPECT_EQ(out[0].y, 10 + static_cast<double>(static_cast<float>(1e8 + 0.5)));

    // Rings read polar (radius, angle in radians) points about their centre.
    RingROI ring(10, 20, 5, 9);
    std::vector<cv::Point2d> polar{{4, CV_PI / 2}};
    transformPoints(polar, out, &ring);
    EXPECT_NEAR(out[0].x, 10, 1e-9);
    EXPECT_NEAR(out[0].y, 24, 1e-9);
    CircleROI circle(QRectF(0, 0, 20, 20));
    transformPoints(polar, out, &circle);
    EXPECT_NEAR(out[0].x, 10, 1e-9);
    EXPECT_NEAR(out[0].y, 14, 1e-9);

    // Arcs, lines and null shapes leave out as it was.
    out[0] = cv::Point2d(3, 3);
    ArcROI arc(0, 0, 1, 2, 0, 90);
    transformPoints(in, out, &arc);
    transformPoints(in, out, nullptr);
    EXPECT_EQ(out[0], cv::Point2d(3, 3));
}

TEST(RoiShapes, PointRotationTurnsXTowardsY)
{
    cv::Point2d r;
    pointRotation({11, 5}, {1, 5}, 90, r);
    EXPECT_NEAR(r.x, 1, 1e-12);
    EXPECT_NEAR(r.y, 15, 1e-12);
    pointRotation({11, 5}, {1, 5}, -450, r);
    EXPECT_NEAR(r.x, 1, 1e-12);
    EXPECT_NEAR(r.y, -5, 1e-12);
}
