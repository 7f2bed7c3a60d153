#include <Functions.h>

#include "RegionReference.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <climits>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>

namespace {

// Random test image mixing the cases that matter to thresholds: flat patches (zero
// deviation), two or three grey levels (a window with as many of each of two levels puts
// the bright ones exactly on mean + deviation), full-range noise, a ramp.
cv::Mat testImage(cv::RNG& rng, cv::Size size)
{
    cv::Mat image(size, CV_8UC1);
    switch (rng.uniform(0, 5)) {
    case 0:
        rng.fill(image, cv::RNG::UNIFORM, 0, 256);
        break;
    case 1:
        rng.fill(image, cv::RNG::UNIFORM, 0, 3);
        image = image * 40 + 60;
        break;
    case 4:
        rng.fill(image, cv::RNG::UNIFORM, 0, 2);
        image = image * (2 * rng.uniform(1, 60)) + rng.uniform(0, 100);
        break;
    case 2:
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                image.at<uchar>(y, x) = cv::saturate_cast<uchar>(3 * x + 2 * y + rng.uniform(-2, 3));
        break;
    default:
        rng.fill(image, cv::RNG::UNIFORM, 200, 256);
        break;
    }
    // A flat patch so that some windows have no spread at all.
    const cv::Rect patch(rng.uniform(0, size.width / 2), rng.uniform(0, size.height / 2), size.width / 3,
                         size.height / 3);
    image(patch).setTo(rng.uniform(0, 256));
    return image;
}

// An empty mask (everywhere), a random scatter, or blocks, as 0 / non-zero.
cv::Mat testMask(cv::RNG& rng, cv::Size size)
{
    const int kind = rng.uniform(0, 3);
    if (kind == 0)
        return cv::Mat();
    cv::Mat mask(size, CV_8UC1);
    if (kind == 1) {
        rng.fill(mask, cv::RNG::UNIFORM, 0, 2);
        mask *= rng.uniform(1, 256);
    } else {
        mask.setTo(0);
        for (int k = 0; k < 4; ++k)
            mask(cv::Rect(rng.uniform(0, size.width - 4), rng.uniform(0, size.height - 4),
                          rng.uniform(1, size.width / 2), rng.uniform(1, size.height / 2)) &
                 cv::Rect(cv::Point(), size))
                .setTo(255);
    }
    return mask;
}

cv::Mat rampImage()
{
    cv::Mat image(16, 16, CV_8UC1);
    for (int i = 0; i < 256; ++i)
        image.at<uchar>(i / 16, i % 16) = static_cast<uchar>(i);
    return image;
}

bool sameImage(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::countNonZero(a != b) == 0;
}

} // namespace

TEST(ThresholdMinMax, BandIsInclusiveWhateverTheOrderOfBounds)
{
    const cv::Mat ramp = rampImage();
    cv::Mat forward, backward;
    threshold_min_max(ramp, forward, 100, 150, cv::Mat());
    threshold_min_max(ramp, backward, 150, 100, cv::Mat());
    EXPECT_EQ(cv::countNonZero(forward), 51);
    EXPECT_EQ(forward.at<uchar>(100 / 16, 100 % 16), 255);
    EXPECT_EQ(forward.at<uchar>(150 / 16, 150 % 16), 255);
    EXPECT_EQ(forward.at<uchar>(99 / 16, 99 % 16), 0);
    EXPECT_TRUE(sameImage(forward, backward));

    // Bounds beyond the 8-bit range neither overflow nor lose the end values.
    cv::Mat all, none;
    threshold_min_max(ramp, all, INT_MIN, INT_MAX, cv::Mat());
    EXPECT_EQ(cv::countNonZero(all), 256);
    threshold_min_max(ramp, none, 256, INT_MAX, cv::Mat());
    EXPECT_EQ(cv::countNonZero(none), 0);
    threshold_min_max(ramp, none, INT_MIN, -1, cv::Mat());
    EXPECT_EQ(cv::countNonZero(none), 0);
}

TEST(ThresholdMinMax, MaskLimitsWhatIsWritten)
{
    const cv::Mat ramp = rampImage();
    cv::Mat mask = cv::Mat::zeros(ramp.size(), CV_8UC1);
    mask.rowRange(0, 8).setTo(7);
    cv::Mat fresh;
    threshold_min_max(ramp, fresh, 0, 255, mask);
    EXPECT_EQ(cv::countNonZero(fresh), 128);
    EXPECT_EQ(cv::countNonZero(fresh.rowRange(8, 16)), 0);

    // An output of the right size and type keeps its values outside the mask.
    cv::Mat reused(ramp.size(), CV_8UC1, cv::Scalar(9));
    threshold_min_max(ramp, reused, 0, 10, mask);
    EXPECT_EQ(reused.at<uchar>(0, 5), 255);
    EXPECT_EQ(reused.at<uchar>(0, 11), 0);
    EXPECT_EQ(reused.at<uchar>(12, 3), 9);
}

TEST(DynThreshold, MatchesThePlainRuleForEveryTypeAndOffset)
{
    // Every pair of grey and reference values, at the offsets where the 8-bit range ends.
    cv::Mat grey(256, 256, CV_8UC1), level(256, 256, CV_8UC1);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            grey.at<uchar>(y, x) = static_cast<uchar>(x);
            level.at<uchar>(y, x) = static_cast<uchar>(y);
        }
    for (int offset : {-257, -256, -255, -254, -1, 0, 1, 2, 254, 255, 256, 257, INT_MIN, INT_MAX})
        for (int type = 0; type <= 3; ++type) {
            cv::Mat expected = cv::Mat::zeros(grey.size(), CV_8UC1);
            reference::dynThresholdRows(grey, level, expected, offset, type, 0, 256);
            cv::Mat dst;
            dyn_threshold(grey, level, dst, offset, static_cast<ThresholdType>(type));
            ASSERT_TRUE(sameImage(dst, expected)) << "type " << type << " offset " << offset;
        }

    // Views into wider images, so that rows are not contiguous.
    cv::RNG rng(61);
    const int offsets[] = {0, 1, -1, 5, -7, 200, 255, 256, -255, -256, 1000, -1000, INT_MAX, INT_MIN};
    for (int round = 0; round < 40; ++round) {
        const cv::Size size(rng.uniform(1, 70), rng.uniform(2, 50));
        const cv::Rect part(3, 0, size.width, size.height);
        const cv::Mat src = testImage(rng, size + cv::Size(5, 0))(part);
        cv::Mat ref(size + cv::Size(5, 0), CV_8UC1);
        if (round % 2 == 0) {
            cv::blur(src, ref, cv::Size(5, 5));
        } else {
            rng.fill(ref, cv::RNG::UNIFORM, 0, 256);
            ref = ref(part);
        }
        ASSERT_FALSE(src.isContinuous());
        for (int type = -1; type <= 4; ++type) {
            const int offset = round < 14 ? offsets[round] : rng.uniform(-300, 300);
            cv::Mat expected = cv::Mat::zeros(size, CV_8UC1);
            reference::dynThresholdRows(src, ref, expected, offset, type, 0, size.height);
            cv::Mat dst;
            dyn_threshold(src, ref, dst, offset, static_cast<ThresholdType>(type));
            ASSERT_TRUE(sameImage(dst, expected)) << "round " << round << " type " << type << " offset " << offset;
        }
    }
}

TEST(VarThreshold, MatchesThePlainRuleOnRandomImagesMasksAndWindows)
{
    cv::RNG rng(2024);
    const int windowSizes[] = {0, 1, 2, 3, 4, 5, 8, 9, 15, 16, 200};
    const float scales[] = {0.0f, 0.5f, 1.0f, 2.0f, -0.3f, -1.0f, -4.0f, std::numeric_limits<float>::quiet_NaN()};
    const float absolutes[] = {0.0f, 1.0f, 3.5f, 12.0f, -2.0f, -20.0f};
    int compared = 0;
    for (int round = 0; round < 480; ++round) {
        const cv::Size size(rng.uniform(1, 48), rng.uniform(1, 40));
        const cv::Mat src = testImage(rng, size);
        const cv::Mat mask = size.width > 8 && size.height > 8 ? testMask(rng, size) : cv::Mat();
        const int width = windowSizes[rng.uniform(0, 11)];
        const int height = windowSizes[rng.uniform(0, 11)];
        const float scale = scales[round % 8];
        const float absolute = absolutes[rng.uniform(0, 6)];
        const int type = round % 6 == 5 ? 7 : round % 4; // every fifth: out of range
        cv::Mat expected = cv::Mat::zeros(size, CV_8UC1);
        reference::varThresholdRows(src, mask, expected, width, height, scale, absolute, type, 0, size.height);
        cv::Mat dst;
        var_threshold(src, mask, dst, width, height, scale, absolute, static_cast<ThresholdType>(type));
        ASSERT_TRUE(sameImage(dst, expected)) << "round " << round << " window " << width << "x" << height << " scale "
                                              << scale << " abs " << absolute << " type " << type;
        compared += cv::countNonZero(expected);
    }
    // The comparison must have covered selected pixels, not only empty outputs.
    EXPECT_GT(compared, 10000);
}

TEST(VarThreshold, BrightPixelExactlyAtMeanPlusTwoDeviationsIsSelected)
{
    // Window 0, 0, 80, 0, 0: mean 16, deviation 32, so 80 = 16 + 2 * 32 exactly; a
    // deviation one float step off would change the decision.
    const cv::Mat bright = (cv::Mat_<uchar>(1, 5) << 0, 0, 80, 0, 0);
    cv::Mat dst;
    var_threshold(bright, cv::Mat(), dst, 5, 1, 2.0f, 0.0f, Light);
    EXPECT_EQ(dst.at<uchar>(0, 2), 255);
    var_threshold(bright, cv::Mat(), dst, 5, 1, std::nextafter(2.0f, 3.0f), 0.0f, Light);
    EXPECT_EQ(dst.at<uchar>(0, 2), 0);
    // The same below the mean: 0 = 64 - 2 * 32.
    const cv::Mat dark = (cv::Mat_<uchar>(1, 5) << 80, 80, 0, 80, 80);
    var_threshold(dark, cv::Mat(), dst, 5, 1, 2.0f, 0.0f, Dark);
    EXPECT_EQ(dst.at<uchar>(0, 2), 255);
    var_threshold(dark, cv::Mat(), dst, 5, 1, 2.0f, 0.0f, NotEqual);
    EXPECT_EQ(dst.at<uchar>(0, 2), 0);
    // A negative scale takes the smaller of the two: t = min(-1, -64), so 0 >= 64 - 64
    // (the larger, -1, would not select it).
    var_threshold(dark, cv::Mat(), dst, 5, 1, -2.0f, -1.0f, Light);
    EXPECT_EQ(dst.at<uchar>(0, 2), 255);
}

TEST(FastThreshold, MatchesThePlainSeedRule)
{
    cv::RNG rng(77);
    for (int round = 0; round < 120; ++round) {
        const cv::Size size(rng.uniform(1, 60), rng.uniform(1, 45));
        const cv::Mat src = testImage(rng, size);
        const cv::Mat mask = size.width > 8 && size.height > 8 ? testMask(rng, size) : cv::Mat();
        const int lo = rng.uniform(0, 256), hi = rng.uniform(0, 256);
        const int minSizes[] = {-1, 0, 1, 2, 3, 5, 9, size.height - 1, size.height, size.height + 3};
        const int minSize = minSizes[round % 10];
        cv::Mat expected = cv::Mat::zeros(size, CV_8UC1);
        reference::fastThreshold(src, mask, expected, lo, hi, minSize);
        cv::Mat dst;
        fast_threshold(src, mask, dst, lo, hi, minSize);
        ASSERT_TRUE(sameImage(dst, expected))
            << "round " << round << " band " << lo << ".." << hi << " minSize " << minSize;
    }
}

TEST(FastThreshold, TopBorderDropsSeedsWhileBottomAndRightClip)
{
    // A band along the top two rows: its only seeds sit on row 0, within minSize of the top.
    cv::Mat src = cv::Mat::zeros(20, 20, CV_8UC1);
    src.rowRange(0, 2).setTo(100);
    cv::Mat dst;
    fast_threshold(src, cv::Mat(), dst, 90, 110, 1);
    EXPECT_EQ(cv::countNonZero(dst), 0);

    // The same band at the bottom-right corner is found up to the border.
    cv::Mat corner = cv::Mat::zeros(20, 20, CV_8UC1);
    corner(cv::Rect(14, 14, 6, 6)).setTo(100);
    fast_threshold(corner, cv::Mat(), dst, 90, 110, 3);
    EXPECT_EQ(cv::countNonZero(dst), 36);
}

TEST(Thresholds, OutputIsReplacedEvenWhenItIsAnInputOrAView)
{
    cv::RNG rng(12);
    cv::Mat src(30, 40, CV_8UC1), ref;
    rng.fill(src, cv::RNG::UNIFORM, 0, 256);
    cv::blur(src, ref, cv::Size(5, 5));
    cv::Mat expectedVar, expectedDyn, expectedFast;
    var_threshold(src, cv::Mat(), expectedVar, 5, 5, 1.0f, 2.0f, Light);
    dyn_threshold(src, ref, expectedDyn, 3, Light);
    fast_threshold(src, cv::Mat(), expectedFast, 100, 200, 2);
    ASSERT_GT(cv::countNonZero(expectedVar), 0);
    ASSERT_GT(cv::countNonZero(expectedFast), 0);

    cv::Mat inPlace = src.clone();
    var_threshold(inPlace, cv::Mat(), inPlace, 5, 5, 1.0f, 2.0f, Light);
    EXPECT_TRUE(sameImage(inPlace, expectedVar));
    inPlace = src.clone();
    fast_threshold(inPlace, cv::Mat(), inPlace, 100, 200, 2);
    EXPECT_TRUE(sameImage(inPlace, expectedFast));
    inPlace = ref.clone();
    dyn_threshold(src, inPlace, inPlace, 3, Light);
    EXPECT_TRUE(sameImage(inPlace, expectedDyn));

    // A view into a larger image is replaced, not written through.
    cv::Mat larger(60, 80, CV_8UC1, cv::Scalar(7));
    cv::Mat view = larger(cv::Rect(5, 5, 40, 30));
    dyn_threshold(src, ref, view, 3, Light);
    EXPECT_TRUE(sameImage(view, expectedDyn));
    EXPECT_EQ(cv::countNonZero(larger != 7), 0);
}

TEST(Thresholds, RefuseUnusableInputWithAnEmptyOutput)
{
    // Each call takes an image and a second input: the mask, or dyn_threshold's reference
    // (the image itself when none is given).
    using Call = std::function<void(const cv::Mat&, const cv::Mat&, cv::Mat&)>;
    const Call calls[] = {
        [](const cv::Mat& s, const cv::Mat& m, cv::Mat& d) { threshold_min_max(s, d, 0, 255, m); },
        [](const cv::Mat& s, const cv::Mat& m, cv::Mat& d) { var_threshold(s, m, d, 3, 3, 1.0f, 0.0f, Light); },
        [](const cv::Mat& s, const cv::Mat& m, cv::Mat& d) { fast_threshold(s, m, d, 0, 255, 2); },
        [](const cv::Mat& s, const cv::Mat& r, cv::Mat& d) { dyn_threshold(s, r.empty() ? s : r, d, 0, Light); },
    };
    const cv::Mat grey = rampImage();
    const std::pair<cv::Mat, cv::Mat> unusable[] = {
        {cv::Mat(), cv::Mat()},
        {cv::Mat(16, 16, CV_8UC3, cv::Scalar::all(5)), cv::Mat()},
        {cv::Mat(16, 16, CV_16UC1, cv::Scalar(5)), cv::Mat()},
        {cv::Mat(16, 16, CV_32FC1, cv::Scalar(5)), cv::Mat()},
        {grey, cv::Mat(15, 16, CV_8UC1, cv::Scalar(1))},
        {grey, cv::Mat(16, 16, CV_16UC1, cv::Scalar(1))},
    };
    for (size_t c = 0; c < std::size(calls); ++c)
        for (size_t u = 0; u < std::size(unusable); ++u) {
            cv::Mat dst(2, 2, CV_8UC1, cv::Scalar(1));
            calls[c](unusable[u].first, unusable[u].second, dst);
            EXPECT_TRUE(dst.empty()) << "call " << c << " input " << u;
        }

    // Negative window sizes are refused; the largest ones are a whole-image window.
    const auto refused = [&grey](int width, int height) {
        cv::Mat dst(2, 2, CV_8UC1, cv::Scalar(1));
        var_threshold(grey, cv::Mat(), dst, width, height, 1.0f, 0.0f, Light);
        return dst.empty();
    };
    EXPECT_TRUE(refused(-1, 3));
    EXPECT_TRUE(refused(3, -2));
    EXPECT_TRUE(refused(INT_MIN, INT_MIN));
    EXPECT_FALSE(refused(INT_MAX, INT_MAX - 1));
}
