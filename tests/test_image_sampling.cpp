#include <Functions.h>

#include "Synthetic.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>

namespace {

// 10 x 10 image whose pixel (x, y) holds 10*y + x.
cv::Mat numbered()
{
    cv::Mat image(10, 10, CV_8U);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x)
            image.at<uchar>(y, x) = static_cast<uchar>(10 * y + x);
    return image;
}

bool identical(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

// Grey image with a chessboard of square cells whose corners lie at origin + cell*(i, j).
cv::Mat chessboard(cv::Size size, cv::Point2d origin, double cell, std::vector<cv::Point2d>& innerCorners)
{
    synthetic::Scene scene(size, 40);
    // Cells start left of and above the image so that every crossing inside is a full one.
    const int firstRow = -static_cast<int>(std::ceil(origin.y / cell));
    const int firstColumn = -static_cast<int>(std::ceil(origin.x / cell));
    for (int j = firstRow; origin.y + cell * j < size.height; ++j)
        for (int i = firstColumn; origin.x + cell * i < size.width; ++i) {
            const cv::Point2d corner = origin + cell * cv::Point2d(i, j);
            if ((i + j) % 2 != 0)
                scene.fillRotatedRect(corner + cv::Point2d(cell, cell) * 0.5, cell, cell, 0, 200);
            if (corner.x > 2 && corner.y > 2 && corner.x < size.width - 3 && corner.y < size.height - 3)
                innerCorners.push_back(corner);
        }
    return scene.toGrey();
}

// Distance of each point to its nearest corner; means receives, per corner, the mean of
// the points nearest to it (NaN for none).
std::vector<double> nearestCorners(const std::vector<cv::Point2f>& points, const std::vector<cv::Point2d>& corners,
                                   std::vector<cv::Point2d>& means)
{
    std::vector<double> distances;
    std::vector<cv::Point2d> sums(corners.size());
    std::vector<int> counts(corners.size(), 0);
    for (const cv::Point2f& p : points) {
        size_t which = 0;
        for (size_t c = 1; c < corners.size(); ++c)
            if (cv::norm(cv::Point2d(p) - corners[c]) < cv::norm(cv::Point2d(p) - corners[which]))
                which = c;
        distances.push_back(cv::norm(cv::Point2d(p) - corners[which]));
        sums[which] += cv::Point2d(p);
        ++counts[which];
    }
    means.assign(corners.size(), cv::Point2d(NAN, NAN));
    for (size_t c = 0; c < corners.size(); ++c)
        if (counts[c] > 0)
            means[c] = sums[c] / counts[c];
    return distances;
}

} // namespace

TEST(CopyImage, PaddingBordersAndTheReturnedFlag)
{
    cv::Mat src = numbered();
    cv::Mat dst;
    cv::Rect inside(2, 3, 4, 5);
    EXPECT_FALSE(copyStaticROIImage(src, inside, dst, 255)); // false: nothing was padded
    EXPECT_TRUE(identical(dst, src(inside)));

    cv::Rect topLeft(-2, -2, 4, 4);
    EXPECT_TRUE(copyStaticROIImage(src, topLeft, dst, 255));
    cv::Mat expected(4, 4, CV_8U, cv::Scalar(255));
    src(cv::Rect(0, 0, 2, 2)).copyTo(expected(cv::Rect(2, 2, 2, 2)));
    EXPECT_TRUE(identical(dst, expected));

    cv::Rect bottomRight(8, 9, 3, 2);
    EXPECT_TRUE(copyStaticROIImage(src, bottomRight, dst, 7));
    expected = cv::Mat(2, 3, CV_8U, cv::Scalar(7));
    src(cv::Rect(8, 9, 2, 1)).copyTo(expected(cv::Rect(0, 0, 2, 1)));
    EXPECT_TRUE(identical(dst, expected));

    cv::Rect outside(20, 20, 3, 3);
    EXPECT_FALSE(copyStaticROIImage(src, outside, dst, 9));
    EXPECT_TRUE(identical(dst, cv::Mat(3, 3, CV_8U, cv::Scalar(9))));

    // Colour fill, and dst being the source itself.
    cv::Mat colour(4, 4, CV_8UC3, cv::Scalar(1, 2, 3));
    cv::Rect overhang(2, 2, 4, 4);
    EXPECT_TRUE(copyStaticROIImage(colour, overhang, colour, cv::Scalar(7, 8, 9)));
    ASSERT_EQ(colour.size(), cv::Size(4, 4));
    EXPECT_EQ(colour.at<cv::Vec3b>(0, 0), cv::Vec3b(1, 2, 3));
    EXPECT_EQ(colour.at<cv::Vec3b>(3, 3), cv::Vec3b(7, 8, 9));

    // Degenerate rectangles leave dst alone; huge origins do not overflow.
    dst = cv::Mat(1, 1, CV_8U, cv::Scalar(42));
    for (cv::Rect rect : {cv::Rect(0, 0, 0, 5), cv::Rect(0, 0, 5, -1)}) {
        EXPECT_FALSE(copyStaticROIImage(src, rect, dst, 0));
        EXPECT_EQ(dst.at<uchar>(0, 0), 42);
    }
    cv::Rect far(std::numeric_limits<int>::max() - 1, std::numeric_limits<int>::min(), 2, 2);
    EXPECT_FALSE(copyStaticROIImage(src, far, dst, 3));
    EXPECT_TRUE(identical(dst, cv::Mat(2, 2, CV_8U, cv::Scalar(3))));
    cv::Mat empty;
    EXPECT_FALSE(copyStaticROIImage(empty, inside, dst, 3));
    EXPECT_EQ(dst.size(), inside.size());
}

TEST(CopyImage, UtilityVariantRefusesNegativeOriginsAndThinOverlaps)
{
    cv::Mat src = numbered();
    cv::Mat untouched(1, 1, CV_8U, cv::Scalar(42));
    cv::Mat dst = untouched.clone();
    cv::Rect topLeft(-2, -2, 4, 4);
    UtilityFunctions::CopyImage(src, topLeft, dst, 255);
    EXPECT_TRUE(identical(dst, untouched));
    cv::Rect empty(3, 3, 0, 2);
    UtilityFunctions::CopyImage(src, empty, dst, 255);
    EXPECT_TRUE(identical(dst, untouched));

    // Overlap one column wide (the image's last column): all fill.
    cv::Rect lastColumn(9, 2, 3, 4);
    UtilityFunctions::CopyImage(src, lastColumn, dst, 255);
    EXPECT_TRUE(identical(dst, cv::Mat(4, 3, CV_8U, cv::Scalar(255))));
    // Even inside the image a one-pixel-wide rectangle counts as no overlap, where the
    // static copy does copy it.
    cv::Rect thin(3, 3, 1, 4);
    UtilityFunctions::CopyImage(src, thin, dst, 255);
    EXPECT_TRUE(identical(dst, cv::Mat(4, 1, CV_8U, cv::Scalar(255))));
    EXPECT_FALSE(copyStaticROIImage(src, thin, dst, 255));
    EXPECT_TRUE(identical(dst, src(thin)));

    // Wider overlaps behave like the static copy: plain copy inside, padding outside.
    cv::Rect inside(2, 3, 4, 5);
    UtilityFunctions::CopyImage(src, inside, dst, 0);
    EXPECT_TRUE(identical(dst, src(inside)));
    cv::Rect bottomRight(8, 8, 4, 4);
    cv::Mat reference;
    copyStaticROIImage(src, bottomRight, reference, 5);
    UtilityFunctions::CopyImage(src, bottomRight, dst, 5);
    EXPECT_TRUE(identical(dst, reference));
}

TEST(PolarWarp, SpansSensesAndLimits)
{
    // Bright only in the quadrant right of and below the centre (screen angles 0..90).
    cv::Mat src(101, 101, CV_8U, cv::Scalar(0));
    src(cv::Rect(51, 51, 50, 50)).setTo(200);
    const cv::Point2d centre(50, 50);
    // Value at radius 20 of each output row.
    const auto ringAt20 = [&](double start, double end, int rows, bool clockwise) {
        cv::Mat dst;
        warpPolarImg(src, start, end, centre, 0, 39, cv::Size(40, rows), clockwise, false, dst);
        EXPECT_EQ(dst.size(), cv::Size(40, rows));
        std::vector<int> column;
        for (int i = 0; i < dst.rows; ++i)
            column.push_back(dst.at<uchar>(i, 20));
        return column;
    };
    const auto bright = [](const std::vector<int>& column, int i) { return column[i] == 200; };
    const auto dark = [](const std::vector<int>& column, int i) { return column[i] == 0; };

    // Equal angles: a full turn in 360 rows of one degree.
    std::vector<int> turn = ringAt20(30, 30 + 720, 360, true);
    for (int i = 0; i < 360; ++i) {
        const int degrees = (30 + i) % 360;
        if (degrees > 5 && degrees < 85) {
            EXPECT_TRUE(bright(turn, i)) << i;
        } else if (degrees > 95 && degrees < 355) {
            EXPECT_TRUE(dark(turn, i)) << i;
        }
    }
    // Counter-clockwise rows run back from the end angle.
    turn = ringAt20(0, 0, 360, false);
    EXPECT_TRUE(bright(turn, 300));
    EXPECT_TRUE(dark(turn, 60));

    // 350 to 10 runs through 0 in 20 rows of one degree: above the axis up to row 10,
    // then below it (fully inside the quadrant from 3 degrees on).
    std::vector<int> wedge = ringAt20(350, 10, 20, true);
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(i <= 10 ? dark(wedge, i) : (i < 13 || bright(wedge, i))) << i;

    // Output sizes at the limits leave dst untouched.
    cv::Mat dst(3, 3, CV_8U, cv::Scalar(9));
    for (cv::Size size : {cv::Size(0, 5), cv::Size(5, 0), cv::Size(40000, 5), cv::Size(5, 32767), cv::Size(-1, -1)}) {
        warpPolarImg(src, 0, 90, centre, 0, 10, size, true, false, dst);
        EXPECT_EQ(dst.size(), cv::Size(3, 3));
    }
    cv::Mat empty;
    warpPolarImg(empty, 0, 90, centre, 0, 10, cv::Size(5, 5), true, false, dst);
    EXPECT_EQ(dst.size(), cv::Size(3, 3));
    // A centre that is not a number samples nothing but the zero border.
    warpPolarImg(src, 0, 90, cv::Point2d(NAN, 50), 0, 10, cv::Size(5, 5), true, true, dst);
    EXPECT_EQ(cv::countNonZero(dst), 0);
}

TEST(PolarWarp, LinearAndLogarithmicRadii)
{
    // Column of the brightest sample when unwrapping a thin ring of the given radius.
    const auto ringColumn = [](double radius, int minRadius, int maxRadius, int columns, bool logPolar) {
        synthetic::Scene scene({160, 160}, 0);
        scene.fillDisc({80, 80}, radius + 0.75, 200);
        scene.fillDisc({80, 80}, radius - 0.75, 0);
        cv::Mat src = scene.toGrey(), dst;
        warpPolarImg(src, 0, 0, {80, 80}, minRadius, maxRadius, cv::Size(columns, 36), true, logPolar, dst);
        cv::Mat profile;
        cv::reduce(dst, profile, 0, cv::REDUCE_AVG, CV_32F);
        cv::Point best;
        cv::minMaxLoc(profile, nullptr, nullptr, nullptr, &best);
        return best.x;
    };
    // Linear: column j at radius j * R / W + minRadius.
    EXPECT_EQ(ringColumn(15, 5, 24, 20, false), 10);
    EXPECT_EQ(ringColumn(30, 10, 49, 20, false), 10); // two radii per column
    // Logarithmic: exp(j ln R / W + minRadius) - 1; R = 64, W = 6 gives 2^j - 1 ...
    EXPECT_EQ(ringColumn(15, 0, 63, 6, true), 4);
    // ... and minRadius 1 sits in the exponent: e * 2^j - 1, 20.75 at j = 3.
    EXPECT_EQ(ringColumn(20.75, 1, 64, 6, true), 3);
}

namespace {

// The polar unwrap transcribed plainly: every map entry computed on its own, in double,
// stored as float, then one remap.
cv::Mat referencePolar(const cv::Mat& src, double start, double end, cv::Point2d centre, int minRadius, int maxRadius,
                       cv::Size size, bool clockwise, bool logPolar)
{
    const double pi = 3.141592653589793;
    const auto radians = [&](double degrees) {
        const double r = std::fmod(degrees, 360.0);
        return (r < 0 ? r + 360.0 : r) * pi / 180.0;
    };
    const double a1 = radians(start);
    double a2 = radians(end), span = 2 * pi;
    if (!(std::abs(a1 - a2) < 2.220446049250313e-16)) {
        a2 += a1 > a2 ? 2 * pi : 0;
        span = a2 - a1;
    }
    const double R = static_cast<double>(maxRadius) - minRadius + 1.0, W = size.width;
    cv::Mat mapX(size, CV_32F), mapY(size, CV_32F), dst;
    for (int i = 0; i < size.height; ++i) {
        const double theta = clockwise ? a1 + i * (span / size.height) : a2 - i * (span / size.height);
        for (int j = 0; j < size.width; ++j) {
            const float r = logPolar ? static_cast<float>(std::exp(j * std::log(R) / W + minRadius) - 1.0)
                                     : static_cast<float>(j * (R / W) + minRadius);
            mapX.at<float>(i, j) = static_cast<float>(r * std::cos(theta) + centre.x);
            mapY.at<float>(i, j) = static_cast<float>(r * std::sin(theta) + centre.y);
        }
    }
    cv::remap(src, dst, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
    return dst;
}

} // namespace

TEST(PolarWarp, MatchesThePlainRuleBitForBit)
{
    // Random sectors: both senses, linear and logarithmic radii, full turns (equal
    // angles, also given 360 apart), spans through zero, centres off the pixel grid and
    // off the image, grey and colour sources, output widths that are no multiple of four.
    cv::RNG rng(31);
    for (int trial = 0; trial < 150; ++trial) {
        cv::Mat src(rng.uniform(1, 200), rng.uniform(1, 200), trial % 5 ? CV_8UC1 : CV_8UC3);
        rng.fill(src, cv::RNG::UNIFORM, 0, 256);
        const double start = rng.uniform(-720.0, 720.0);
        const int kind = rng.uniform(0, 4);
        const double end = kind == 0 ? start : kind == 1 ? start + 360 : kind == 2 ? start - rng.uniform(0.0, 40.0)
                                                                                     : rng.uniform(-720.0, 720.0);
        const cv::Point2d centre(rng.uniform(-20.0, src.cols + 20.0), rng.uniform(-20.0, src.rows + 20.0));
        const int minRadius = rng.uniform(0, 60), maxRadius = minRadius + rng.uniform(-3, 120);
        const bool logPolar = rng.uniform(0, 3) == 0;
        const cv::Size size(rng.uniform(1, 90), rng.uniform(1, 400));
        const bool clockwise = rng.uniform(0, 2) == 0;
        cv::Mat dst;
        const int logMin = logPolar ? minRadius % 5 : minRadius; // keeps the exponent's radii in the image
        warpPolarImg(src, start, end, centre, logMin, maxRadius, size, clockwise, logPolar, dst);
        const cv::Mat expected = referencePolar(src, start, end, centre, logMin, maxRadius, size, clockwise, logPolar);
        ASSERT_TRUE(identical(dst, expected)) << "trial " << trial;
    }
}

TEST(ImageAverages, ColumnsRowsAndChannels)
{
    cv::Mat grey = (cv::Mat_<uchar>(2, 3) << 1, 2, 3, 4, 6, 9);
    float cols[3], rows[3];
    getImageColAverage(grey, cols);
    getImageRowAverage(grey, rows);
    EXPECT_EQ(std::vector<float>(cols, cols + 3), (std::vector<float>{2.5f, 4.0f, 6.0f}));
    EXPECT_EQ(std::vector<float>(rows, rows + 2), (std::vector<float>{2.0f, 19.0f / 3.0f}));

    // Three channels are weighted as red, green, blue in that order.
    cv::Mat colour(2, 2, CV_8UC3, cv::Scalar(255, 0, 0));
    getImageColAverage(colour, cols);
    EXPECT_EQ(cols[0], 76.0f);

    // Four channels are read as raw bytes: the first cols bytes of each row.
    cv::Mat rgba(2, 2, CV_8UC4);
    for (int y = 0; y < 2; ++y)
        for (int b = 0; b < 8; ++b)
            rgba.ptr<uchar>(y)[b] = static_cast<uchar>(10 * y + b);
    getImageColAverage(rgba, cols);
    EXPECT_EQ(cols[0], 5.0f);
    EXPECT_EQ(cols[1], 6.0f);
    getImageRowAverage(rgba, rows);
    EXPECT_EQ(rows[1], 10.5f);

    // Non-contiguous rows: a view into a wider image.
    cv::Mat wide(3, 8, CV_8U, cv::Scalar(100));
    wide.colRange(2, 5).setTo(10);
    cv::Mat view = wide.colRange(2, 5);
    getImageRowAverage(view, rows);
    EXPECT_EQ(rows[0], 10.0f);

    // Empty, non-8-bit, or no output buffer: nothing written.
    float sentinel[2] = {-1, -1};
    cv::Mat empty, shorts(2, 2, CV_16U, cv::Scalar(1000));
    getImageColAverage(empty, sentinel);
    getImageRowAverage(shorts, sentinel);
    getImageColAverage(shorts, sentinel);
    EXPECT_EQ(sentinel[0], -1.0f);
    EXPECT_EQ(sentinel[1], -1.0f);
    getImageColAverage(grey, nullptr);
    getImageRowAverage(grey, nullptr);
}

TEST(CriticalPoints, ChessboardCornersWithinOnePixel)
{
    std::vector<cv::Point2d> corners;
    cv::Mat board = chessboard({200, 160}, {20.3, 30.6}, 40, corners);
    ASSERT_EQ(corners.size(), 20u); // 5 x 4 crossings, partial cells included
    std::vector<cv::Point2f> points = {{-5, -5}};
    criticalPointsDetection(board, 5, 1.5, points);
    ASSERT_GT(points.size(), 1u);
    EXPECT_EQ(points[0], cv::Point2f(-5, -5)); // existing entries are kept
    points.erase(points.begin());

    std::vector<cv::Point2d> means;
    for (double nearest : nearestCorners(points, corners, means))
        EXPECT_LT(nearest, 1.0);
    for (size_t c = 0; c < corners.size(); ++c)
        EXPECT_FALSE(std::isnan(means[c].x)) << "no point at " << corners[c];

    // Corners on pixel borders are found symmetrically: the points average to the corner.
    std::vector<cv::Point2d> symmetric;
    cv::Mat aligned = chessboard({120, 96}, {30.5, 24.5}, 20, symmetric);
    std::vector<cv::Point2f> alignedPoints;
    criticalPointsDetection(aligned, 5, 1.0, alignedPoints);
    nearestCorners(alignedPoints, symmetric, means);
    for (size_t c = 0; c < symmetric.size(); ++c)
        EXPECT_LT(cv::norm(means[c] - symmetric[c]), 0.01) << symmetric[c];

    // A colour copy gives the same points.
    cv::Mat colour;
    cv::cvtColor(board, colour, cv::COLOR_GRAY2BGR);
    std::vector<cv::Point2f> fromColour;
    criticalPointsDetection(colour, 5, 1.5, fromColour);
    EXPECT_EQ(fromColour, points);
    // A threshold above every eigenvalue keeps nothing.
    std::vector<cv::Point2f> none;
    criticalPointsDetection(board, 1e6, 1.5, none);
    EXPECT_TRUE(none.empty());
}

TEST(CriticalPoints, FlatRampAndBadInputGiveNothing)
{
    cv::Mat ramp(40, 40, CV_8U);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x)
            ramp.at<uchar>(y, x) = static_cast<uchar>(2 * x + 3 * y);
    const cv::Mat inputs[] = {
        cv::Mat(40, 40, CV_8U, cv::Scalar(90)), ramp, cv::Mat(), cv::Mat(2, 40, CV_8U, cv::Scalar(0)),
        cv::Mat(40, 40, CV_16U, cv::Scalar(9)), cv::Mat(40, 40, CV_8UC4, cv::Scalar(9)),
    };
    for (cv::Mat image : inputs)
        for (double sigma : {0.0, 1.0}) {
            std::vector<cv::Point2f> points;
            criticalPointsDetection(image, 0.0, sigma, points);
            EXPECT_TRUE(points.empty()) << image.size() << " type " << image.type() << " sigma " << sigma;
        }

    // Blur widths that are not numbers, infinite, or wider than the image add nothing and
    // return at once; the caller's image is never blurred in place.
    std::vector<cv::Point2f> corners;
    std::vector<cv::Point2d> truth;
    cv::Mat board = chessboard({60, 60}, {30, 30}, 20, truth);
    const cv::Mat before = board.clone();
    for (double sigma : {std::nan(""), std::numeric_limits<double>::infinity(), 1e12}) {
        criticalPointsDetection(board, 1, sigma, corners);
        EXPECT_TRUE(corners.empty()) << sigma;
    }
    criticalPointsDetection(board, 1, 2.0, corners);
    EXPECT_FALSE(corners.empty());
    EXPECT_TRUE(identical(board, before));
}
