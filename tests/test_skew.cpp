#include <Functions.h>

#include "SkewVotes_p.h"
#include "Synthetic.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

// A bright 240 x 320 field crossed by a dark bar turned by angle degrees (clockwise on
// screen), the kind of edge a line of print leaves.
cv::Mat tiltedBar(double angle)
{
    synthetic::Scene scene(cv::Size(320, 240), 200);
    scene.fillRotatedRect({160, 120}, 260, 24, angle, 30);
    return scene.toGrey(0.7, 1.0);
}

} // namespace

TEST(HorizontalSkew, MeasuresTheBarAngleClockwisePositive)
{
    cv::Mat stripe(100, 400, CV_8U, cv::Scalar(200));
    stripe.rowRange(40, 60).setTo(30);
    EXPECT_EQ(clcHorizontalSkew(stripe), 0.0);
    // Shorter edges cannot tell a quarter degree from level: the tie goes to the first bin.
    cv::Mat shortStripe = stripe.colRange(0, 200);
    EXPECT_EQ(clcHorizontalSkew(shortStripe), -0.25);

    for (double angle : {5.0, -7.0, 12.5}) {
        cv::Mat image = tiltedBar(angle);
        const double skew = clcHorizontalSkew(image);
        // One-pixel distance bins over a two-pixel-wide edge band: about half a degree.
        EXPECT_NEAR(skew, angle, 0.6) << angle;

        // The measured angle, fed to the correction, levels the bar.
        cv::Mat levelled;
        skewCorrectionRot(image, levelled, skew, cv::Scalar(200));
        EXPECT_NEAR(clcHorizontalSkew(levelled), 0.0, 0.6) << angle;
    }
}

TEST(HorizontalSkew, NothingToVoteOrRefusedInput)
{
    cv::Mat flat(50, 50, CV_8U, cv::Scalar(90));
    EXPECT_EQ(clcHorizontalSkew(flat), -90.0);
    cv::Mat tiny(2, 2, CV_8U, cv::Scalar(0));
    tiny.at<uchar>(1, 1) = 255;
    EXPECT_EQ(clcHorizontalSkew(tiny), -90.0);

    cv::Mat colour(50, 50, CV_8UC3, cv::Scalar(0, 0, 0)), deep(50, 50, CV_16U, cv::Scalar(0));
    colour.rowRange(25, 50).setTo(cv::Scalar(255, 255, 255));
    deep.rowRange(25, 50).setTo(60000);
    EXPECT_TRUE(std::isnan(clcHorizontalSkew(colour)));
    EXPECT_TRUE(std::isnan(clcHorizontalSkew(deep)));
    cv::Mat empty;
    EXPECT_THROW(clcHorizontalSkew(empty), cv::Exception);
}

TEST(HorizontalSkew, HoistedVotingMatchesTheDirectRuleExactly)
{
    const double ties[] = {0.5, 1.5, 2.5, -0.5, -2.5, 0.49999999999999994, 1e9 + 0.5, 7.499999999999999, 3.0};
    for (double value : ties)
        EXPECT_EQ(skew_votes::roundHalfAwayFromZero(value), static_cast<int>(std::round(value))) << value;

    // Random edge maps of random sizes, odd and even, sparse and dense.
    std::mt19937 rng(2024);
    std::uniform_int_distribution<int> side(1, 90);
    std::uniform_real_distribution<double> density(0.0, 0.3);
    for (int trial = 0; trial <= 40; ++trial) {
        // The last map votes everywhere: every (u, v), the centre lines included, meets
        // every angle.
        const bool full = trial == 40;
        cv::Mat edges(full ? 121 : side(rng), full ? 160 : side(rng), CV_8U);
        std::bernoulli_distribution on(full ? 1.0 : density(rng));
        for (int y = 0; y < edges.rows; ++y)
            for (int x = 0; x < edges.cols; ++x)
                edges.at<uchar>(y, x) = on(rng) ? 255 : static_cast<uchar>(rng() % 255);
        cv::Mat fast, direct;
        skew_votes::vote(edges, fast);
        skew_votes::voteDirect(edges, direct);
        ASSERT_EQ(fast.size(), direct.size());
        EXPECT_EQ(cv::countNonZero(fast != direct), 0) << edges.size();
    }
}

TEST(SkewCorrectionRot, CanvasHoldsTheTurnedImage)
{
    cv::Mat src(100, 200, CV_8U, cv::Scalar(120)), dst;
    src.at<uchar>(5, 10) = 255;
    skewCorrectionRot(src, dst, 0, cv::Scalar(0));
    ASSERT_EQ(dst.size(), src.size());
    EXPECT_EQ(cv::countNonZero(dst != src), 0);

    // A quarter turn counter-clockwise: 200 rows x 100 columns, (x, y) lands at (y, 200 - x).
    skewCorrectionRot(src, dst, 90, cv::Scalar(0));
    ASSERT_EQ(dst.size(), cv::Size(100, 200));
    cv::Point peak;
    cv::minMaxLoc(dst, nullptr, nullptr, nullptr, &peak);
    EXPECT_EQ(peak, cv::Point(5, 190));

    // At 45 degrees the canvas corners are uncovered and take the border value; the
    // image's centre stays at the canvas centre.
    skewCorrectionRot(src, dst, 45, cv::Scalar(7));
    EXPECT_EQ(dst.size(), cv::Size(212, 212));
    EXPECT_EQ(dst.at<uchar>(0, 0), 7);
    EXPECT_EQ(dst.at<uchar>(106, 106), 120);

    skewCorrectionRot(src, dst, std::numeric_limits<double>::quiet_NaN(), cv::Scalar(0));
    EXPECT_TRUE(dst.empty());
    cv::Mat empty;
    EXPECT_THROW(skewCorrectionRot(empty, dst, 10, cv::Scalar(0)), cv::Exception);
}

TEST(CutCharacterTopBottom, FirstAndLastRowsWithASetPixel)
{
    int top = -5, bottom = -5;
    cv::Mat blank = cv::Mat::zeros(10, 20, CV_8U);
    EXPECT_TRUE(cutCharacterTopBottom(blank, top, bottom));
    EXPECT_EQ(top, 0);
    EXPECT_EQ(bottom, 9);

    cv::Mat one = blank.clone();
    one.at<uchar>(4, 13) = 1;
    EXPECT_FALSE(cutCharacterTopBottom(one, top, bottom));
    EXPECT_EQ(top, 4);
    EXPECT_EQ(bottom, 4);

    // A view into a larger image (rows not contiguous) is read row by row.
    cv::Mat page = cv::Mat::zeros(40, 40, CV_8U);
    page(cv::Rect(5, 12, 3, 6)).setTo(255);
    cv::Mat view = page(cv::Rect(4, 2, 10, 30));
    EXPECT_TRUE(cutCharacterTopBottom(view, top, bottom));
    EXPECT_EQ(top, 10);
    EXPECT_EQ(bottom, 15);

    cv::Mat empty;
    EXPECT_FALSE(cutCharacterTopBottom(empty, top, bottom));
    EXPECT_EQ(bottom, -1);
    top = bottom = 3;
    cv::Mat colour(10, 10, CV_8UC3, cv::Scalar(255, 255, 255));
    EXPECT_FALSE(cutCharacterTopBottom(colour, top, bottom));
    EXPECT_EQ(top, 3);
    EXPECT_EQ(bottom, 3);
}
