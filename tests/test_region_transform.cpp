#include <Functions.h>

#include "RegionReference.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cstdint>

namespace {

cv::Mat ringImage()
{
    cv::Mat image = cv::Mat::zeros(100, 100, CV_8UC1);
    cv::circle(image, cv::Point(50, 50), 30, cv::Scalar(255), cv::FILLED);
    cv::circle(image, cv::Point(50, 50), 15, cv::Scalar(0), cv::FILLED);
    return image;
}

int differingPixels(const cv::Mat& a, const cv::Mat& b)
{
    return cv::countNonZero(a != b);
}

// True when no 2 x 2 block is fully set: lines are at most one pixel thick.
bool isThin(const cv::Mat& image)
{
    for (int y = 0; y + 1 < image.rows; ++y)
        for (int x = 0; x + 1 < image.cols; ++x)
            if (image.at<uchar>(y, x) && image.at<uchar>(y, x + 1) && image.at<uchar>(y + 1, x) &&
                image.at<uchar>(y + 1, x + 1))
                return false;
    return true;
}

int componentCount(const cv::Mat& image)
{
    cv::Mat labels;
    return cv::connectedComponents(image, labels, 8) - 1;
}

} // namespace

TEST(ShapeTrans, PaintsBoxesCirclesAndHullsOfOuterContours)
{
    const cv::Mat ring = ringImage();
    cv::Mat dst;
    shape_trans(ring, dst, BoundingRectangle);
    EXPECT_EQ(cv::countNonZero(dst), 61 * 61);
    EXPECT_EQ(cv::countNonZero(dst(cv::Rect(20, 20, 61, 61))), 61 * 61);

    // L shape: the hull closes the notch along the diagonal.
    cv::Mat ell = cv::Mat::zeros(60, 60, CV_8UC1);
    ell(cv::Rect(10, 10, 10, 40)).setTo(255);
    ell(cv::Rect(10, 40, 40, 10)).setTo(255);
    shape_trans(ell, dst, ConvexHull);
    EXPECT_EQ(dst.at<uchar>(35, 25), 255);
    EXPECT_EQ(dst.at<uchar>(15, 45), 0);
    EXPECT_EQ(cv::countNonZero(ell & ~dst), 0);

    // Two pixels: centre (10.5, 10) rounds to the even 10, radius 0.5 truncates to 0; the
    // pair one further right rounds its centre 12.5 to 12.
    cv::Mat pair = cv::Mat::zeros(20, 30, CV_8UC1);
    pair.at<uchar>(10, 10) = pair.at<uchar>(10, 11) = 255;
    pair.at<uchar>(5, 12) = pair.at<uchar>(5, 13) = 255;
    shape_trans(pair, dst, EnclosingCircle);
    EXPECT_EQ(cv::countNonZero(dst), 2);
    EXPECT_EQ(dst.at<uchar>(10, 10), 255);
    EXPECT_EQ(dst.at<uchar>(5, 12), 255);

    // In place: the contours are found before the output replaces the input.
    cv::Mat inPlace = ring.clone();
    shape_trans(inPlace, inPlace, BoundingRectangle);
    EXPECT_EQ(cv::countNonZero(inPlace), 61 * 61);

    cv::Mat none(3, 3, CV_8UC1, cv::Scalar(1));
    shape_trans(ring, none, static_cast<ShapeTransType>(3));
    EXPECT_EQ(none.size(), ring.size());
    EXPECT_EQ(cv::countNonZero(none), 0);
}

TEST(ShapeTrans, StripesAddUpToOneSerialPassForAnyThreadCount)
{
    // Overlapping shapes of many small regions and a few large ones, some cut by the border.
    cv::RNG rng(5);
    cv::Mat image = cv::Mat::zeros(240, 320, CV_8UC1);
    for (int k = 0; k < 400; ++k)
        cv::ellipse(image, cv::Point(rng.uniform(-10, 330), rng.uniform(-10, 250)),
                    cv::Size(rng.uniform(1, 4), rng.uniform(1, 12)), rng.uniform(0, 180), 0, 360, cv::Scalar(255), 1);
    for (int k = 0; k < 6; ++k)
        cv::ellipse(image, cv::Point(rng.uniform(0, 320), rng.uniform(0, 240)),
                    cv::Size(rng.uniform(20, 90), rng.uniform(5, 40)), rng.uniform(0, 180), 0, 300, cv::Scalar(255), 2);
    const int threads = cv::getNumThreads();
    for (ShapeTransType type : {BoundingRectangle, EnclosingCircle, ConvexHull}) {
        const cv::Mat expected = reference::serialShapes(image, static_cast<int>(type));
        for (int n : {1, 2, 3, 8}) {
            cv::setNumThreads(n);
            cv::Mat dst;
            shape_trans(image, dst, type);
            EXPECT_EQ(differingPixels(dst, expected), 0) << "type " << type << ", " << n << " threads";
        }
    }
    cv::setNumThreads(threads);
}

TEST(FillUp, FillsHolesAndKeepsEmptyImagesEmpty)
{
    cv::Mat disc = cv::Mat::zeros(100, 100, CV_8UC1);
    cv::circle(disc, cv::Point(50, 50), 30, cv::Scalar(255), cv::FILLED);
    cv::Mat dst;
    fill_up(ringImage(), dst);
    EXPECT_EQ(differingPixels(dst, disc), 0);
    fill_up(cv::Mat::zeros(10, 12, CV_8UC1), dst);
    EXPECT_EQ(dst.size(), cv::Size(12, 10));
    EXPECT_EQ(cv::countNonZero(dst), 0);

    fill_up(cv::Mat(), dst);
    EXPECT_TRUE(dst.empty());
    dst = disc.clone();
    shape_trans(cv::Mat(10, 10, CV_8UC3, cv::Scalar::all(255)), dst, BoundingRectangle);
    EXPECT_TRUE(dst.empty());
}

TEST(AreaCenter, CountsPixelsAndAveragesTheirCoordinates)
{
    cv::Mat image = cv::Mat::zeros(10, 12, CV_8UC1);
    image.at<uchar>(3, 7) = 1;
    int area = -1;
    cv::Point2f centre(-1, -1);
    area_center(image, area, centre);
    EXPECT_EQ(area, 1);
    EXPECT_EQ(centre, cv::Point2f(7, 3));

    image(cv::Rect(0, 0, 4, 2)).setTo(200); // 8 more pixels, mean (1.5, 0.5)
    area_center(image, area, centre);
    EXPECT_EQ(area, 9);
    EXPECT_FLOAT_EQ(centre.x, (7 + 8 * 1.5f) / 9);
    EXPECT_FLOAT_EQ(centre.y, (3 + 8 * 0.5f) / 9);

    for (const cv::Mat& unusable :
         {cv::Mat(), cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(9)), cv::Mat(cv::Mat::zeros(5, 5, CV_8UC1))}) {
        area = -1;
        centre = cv::Point2f(-1, -1);
        area_center(unusable, area, centre);
        EXPECT_EQ(area, 0);
        EXPECT_EQ(centre, cv::Point2f(0, 0));
    }
}

TEST(ConnectedMoments, RawMomentsOfOneLabel)
{
    cv::Mat image = cv::Mat::zeros(40, 50, CV_8UC1);
    cv::circle(image, cv::Point(12, 15), 7, cv::Scalar(255), cv::FILLED);
    image(cv::Rect(30, 5, 12, 25)).setTo(255);
    cv::Mat labels;
    ASSERT_EQ(cv::connectedComponents(image, labels, 8, CV_32S), 3);
    for (int label = 1; label <= 2; ++label) {
        const cv::Moments m = cv::moments(labels == label, true);
        double m00, m10, m01, m20, m11, m02;
        connectedMoments(labels, label, m00, m10, m01, m20, m11, m02);
        EXPECT_EQ(m00, m.m00);
        EXPECT_EQ(m10, m.m10);
        EXPECT_EQ(m01, m.m01);
        EXPECT_EQ(m20, m.m20);
        EXPECT_EQ(m11, m.m11);
        EXPECT_EQ(m02, m.m02);
    }

    double m[6] = {1, 1, 1, 1, 1, 1};
    connectedMoments(labels, 7, m[0], m[1], m[2], m[3], m[4], m[5]);
    for (double v : m)
        EXPECT_EQ(v, 0);
    cv::Mat bytes = image.clone();
    std::fill(m, m + 6, 1.0);
    connectedMoments(bytes, 255, m[0], m[1], m[2], m[3], m[4], m[5]);
    for (double v : m)
        EXPECT_EQ(v, 0);

    // Squares of coordinates beyond 46340 wrap in 32 bits.
    cv::Mat wide = cv::Mat::zeros(1, 46342, CV_32SC1);
    wide.at<int>(0, 46341) = 1;
    connectedMoments(wide, 1, m[0], m[1], m[2], m[3], m[4], m[5]);
    EXPECT_EQ(m[1], 46341.0);
    EXPECT_EQ(m[3], static_cast<double>(static_cast<int32_t>(46341u * 46341u)));
    EXPECT_LT(m[3], 0);
}

TEST(CvThin, ThinsToConnectedOnePixelLinesAndKeepsTheBorder)
{
    // Two pixels thick, the first sub-pass takes the south-east side, leaving the upper row
    // of a lying bar and the left column of a standing one.
    cv::Mat lying = cv::Mat::zeros(12, 16, CV_8UC1), standing, dst;
    lying(cv::Rect(3, 5, 8, 2)).setTo(255);
    cvThin(lying, dst, 10);
    EXPECT_EQ(cv::countNonZero(dst.row(5)), cv::countNonZero(dst));
    EXPECT_GT(cv::countNonZero(dst), 4);
    cv::transpose(lying, standing);
    cvThin(standing, dst, 10);
    EXPECT_EQ(cv::countNonZero(dst.col(5)), cv::countNonZero(dst));
    EXPECT_GT(cv::countNonZero(dst), 4);

    // Blobs thin to one-pixel lines, stay connected, and a round stops early.
    cv::Mat shapes = cv::Mat::zeros(80, 100, CV_8UC1);
    cv::circle(shapes, cv::Point(30, 40), 20, cv::Scalar(255), cv::FILLED);
    cv::rectangle(shapes, cv::Rect(60, 10, 25, 60), cv::Scalar(255), cv::FILLED);
    shapes.row(0).colRange(5, 30).setTo(255); // on the border: never changed
    cvThin(shapes, dst, 1000);
    EXPECT_TRUE(isThin(dst(cv::Rect(1, 1, 98, 78))));
    EXPECT_EQ(componentCount(dst), componentCount(shapes));
    EXPECT_EQ(cv::countNonZero(dst & ~shapes), 0);
    EXPECT_EQ(differingPixels(dst.row(0), shapes.row(0)), 0);
    cv::Mat again = dst.clone();
    cvThin(again, again, 5); // in place, nothing left to remove
    EXPECT_EQ(differingPixels(again, dst), 0);
    cv::Mat once;
    cvThin(shapes, once, 1);
    EXPECT_GT(cv::countNonZero(once), cv::countNonZero(dst));

    // Removed pixels become 0, the others keep their value.
    cv::Mat grey = shapes / 255 * 7;
    cvThin(grey, dst, 1000);
    EXPECT_EQ(cv::countNonZero(dst), cv::countNonZero(again));
    EXPECT_EQ(cv::countNonZero((dst != 0) & (dst != 7)), 0);

    cvThin(shapes, dst, 0);
    EXPECT_EQ(differingPixels(dst, shapes), 0);
    cv::Mat untouched(2, 2, CV_8UC1, cv::Scalar(3));
    cvThin(cv::Mat(20, 20, CV_16UC1, cv::Scalar(1)), untouched, 5);
    EXPECT_EQ(untouched.size(), cv::Size(2, 2));
    cvThin(cv::Mat(), untouched, 5); // an empty image is copied like any other
    EXPECT_TRUE(untouched.empty());
    cvThin(cv::Mat(2, 2, CV_8UC1, cv::Scalar(255)), dst, 5); // no interior pixel
    EXPECT_EQ(cv::countNonZero(dst), 4);
}

TEST(LineGauss, ExtractsDarkOrLightLinesAsThinLines)
{
    cv::Mat image(60, 80, CV_8UC1, cv::Scalar(200));
    cv::line(image, cv::Point(5, 30), cv::Point(75, 30), cv::Scalar(60), 3);
    cv::Mat dst;
    line_gauss(image, cv::Mat(), dst, DarkLines, cv::Size(5, 5), 1.0, 1.0, 5, 5.0, 100);
    EXPECT_TRUE(isThin(dst));
    EXPECT_EQ(cv::countNonZero(dst.colRange(15, 65)), 50);         // one pixel per column ...
    EXPECT_EQ(cv::countNonZero(dst.row(30).colRange(15, 65)), 50); // ... on the line

    // Light lines of the same image lie beside the dark one, not on it.
    line_gauss(image, cv::Mat(), dst, LightLines, cv::Size(5, 5), 1.0, 1.0, 5, 5.0, 100);
    EXPECT_EQ(cv::countNonZero(dst.row(30).colRange(10, 70)), 0);
    EXPECT_GT(cv::countNonZero(dst), 0);

    // The mask limits the lines before thinning.
    cv::Mat mask = cv::Mat::zeros(image.size(), CV_8UC1);
    mask.colRange(0, 40).setTo(255);
    line_gauss(image, mask, dst, DarkLines, cv::Size(5, 5), 1.0, 1.0, 5, 5.0, 100);
    EXPECT_EQ(cv::countNonZero(dst.colRange(40, 80)), 0);
    EXPECT_GT(cv::countNonZero(dst.row(30)), 25);

    // The block is 2 * blockHalf + 1 wide: across a dark bar five rows thick, a block of 5
    // sees only the bar at its middle row, a block of 7 sees the ground too.
    cv::Mat bar(40, 80, CV_8UC1, cv::Scalar(200));
    bar.rowRange(18, 23).setTo(60);
    line_gauss(bar, cv::Mat(), dst, DarkLines, cv::Size(1, 1), 0.0, 0.0, 2, 5.0, 0);
    EXPECT_EQ(cv::countNonZero(dst.row(20).colRange(20, 60)), 0);
    line_gauss(bar, cv::Mat(), dst, DarkLines, cv::Size(1, 1), 0.0, 0.0, 3, 5.0, 0);
    EXPECT_EQ(cv::countNonZero(dst.row(20).colRange(20, 60)), 40);

    EXPECT_THROW(line_gauss(image, cv::Mat(), dst, DarkLines, cv::Size(4, 4), 1.0, 1.0, 5, 5.0, 1), cv::Exception);
    EXPECT_THROW(line_gauss(image, cv::Mat(), dst, DarkLines, cv::Size(5, 5), 1.0, 1.0, 0, 5.0, 1), cv::Exception);
    EXPECT_THROW(line_gauss(image, cv::Mat(), dst, DarkLines, cv::Size(5, 5), 1.0, 1.0, INT32_MIN, 5.0, 1),
                 cv::Exception);
    line_gauss(image, cv::Mat(), dst, DarkLines, cv::Size(5, 5), 1.0, 1.0, INT32_MAX, 5.0, 1);
    EXPECT_TRUE(dst.empty());
    EXPECT_THROW(line_gauss(cv::Mat(60, 80, CV_16UC1), cv::Mat(), dst, DarkLines, cv::Size(5, 5), 1.0, 1.0, 5, 5.0, 1),
                 cv::Exception);
}
