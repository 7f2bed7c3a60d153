#include "RegionOperators.h"

#include "RegionSupport_p.h"

#include <opencv2/imgproc.hpp>

#include <cstdint>
#include <vector>

using namespace region_support;

namespace {

void paintShape(cv::Mat& dst, const std::vector<cv::Point>& contour, ShapeTransType type)
{
    const cv::Scalar white(255);
    switch (type) {
    case BoundingRectangle:
        cv::rectangle(dst, cv::boundingRect(contour), white, cv::FILLED, cv::LINE_8, 0);
        break;
    case EnclosingCircle: {
        cv::Point2f centre;
        float radius = 0;
        cv::minEnclosingCircle(contour, centre, radius);
        // cvRound rounds half to even; the radius is truncated.
        cv::circle(dst, cv::Point(cvRound(centre.x), cvRound(centre.y)), static_cast<int>(radius), white, cv::FILLED,
                   cv::LINE_8, 0);
        break;
    }
    case ConvexHull: {
        std::vector<cv::Point> hull;
        cv::convexHull(contour, hull, false, true);
        cv::fillPoly(dst, std::vector<std::vector<cv::Point>>{hull}, white, cv::LINE_8, 0);
        break;
    }
    }
}

// A fresh all-0 dst and the outer contours of src; false, with dst released, for an image
// that is empty or has several channels.
bool startFromOuterContours(const cv::Mat& src, cv::Mat& dst, std::vector<std::vector<cv::Point>>& contours)
{
    if (!isSingleChannel(src)) {
        dst.release();
        return false;
    }
    dst = freshZeros(src.size());
    cv::findContours(src, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    return true;
}

bool isShapeType(ShapeTransType type)
{
    return type == BoundingRectangle || type == EnclosingCircle || type == ConvexHull;
}

// The eight neighbours of an interior pixel, each 0 or 1, clockwise from north:
// p[0] = p2 (north), p[1] = p3 (north-east), ..., p[7] = p9 (north-west).
struct Neighbours {
    int p[8];

    Neighbours(const uchar* above, const uchar* row, const uchar* below, int x)
    {
        p[0] = above[x] != 0;
        p[1] = above[x + 1] != 0;
        p[2] = row[x + 1] != 0;
        p[3] = below[x + 1] != 0;
        p[4] = below[x] != 0;
        p[5] = below[x - 1] != 0;
        p[6] = row[x - 1] != 0;
        p[7] = above[x - 1] != 0;
    }

    int count() const { return p[0] + p[1] + p[2] + p[3] + p[4] + p[5] + p[6] + p[7]; }

    int riseCount() const
    {
        int rises = 0;
        for (int k = 0; k < 8; ++k)
            rises += p[k] == 0 && p[(k + 1) % 8] == 1;
        return rises;
    }
};

// One thinning sub-pass deciding on a snapshot of image; returns whether it removed a pixel.
// The first sub-pass requires p2*p4*p6 = 0 and p4*p6*p8 = 0, the second p2*p4*p8 = 0 and
// p2*p6*p8 = 0.
bool thinSubPass(cv::Mat& image, bool first)
{
    const cv::Mat snapshot = image.clone();
    bool removed = false;
    for (int y = 1; y < image.rows - 1; ++y) {
        const uchar* above = snapshot.ptr<uchar>(y - 1);
        const uchar* row = snapshot.ptr<uchar>(y);
        const uchar* below = snapshot.ptr<uchar>(y + 1);
        uchar* out = image.ptr<uchar>(y);
        for (int x = 1; x < image.cols - 1; ++x) {
            if (!row[x])
                continue;
            const Neighbours n(above, row, below, x);
            const int b = n.count();
            const int p2 = n.p[0], p4 = n.p[2], p6 = n.p[4], p8 = n.p[6];
            const bool open =
                first ? (p2 * p4 * p6 == 0 && p4 * p6 * p8 == 0) : (p2 * p4 * p8 == 0 && p2 * p6 * p8 == 0);
            if (b >= 2 && b <= 6 && n.riseCount() == 1 && open) {
                out[x] = 0;
                removed = true;
            }
        }
    }
    return removed;
}

// Larger blocks are far wider than any image and make OpenCV's filter buffers run into
// gigabytes.
constexpr int kMaxBlockHalf = 1 << 16;

// Products in 32 bits with wrap-around, as the moments are defined, without signed overflow.
int32_t product32(int a, int b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

} // namespace

void shape_trans(cv::Mat src, cv::Mat& dst, ShapeTransType type)
{
    std::vector<std::vector<cv::Point>> contours;
    if (!startFromOuterContours(src, dst, contours))
        return;
    const int n = static_cast<int>(contours.size());
    if (n == 0 || !isShapeType(type))
        return;
    // Shapes of different contours overlap, so stripes sharing one image would write the
    // same pixels. Each stripe paints its share of the contours into an image of its own
    // (the first one into dst), and the others are merged into dst band by band.
    const int stripes = stripeCount(n);
    std::vector<cv::Mat> painted(stripes);
    painted[0] = dst;
    for (int s = 1; s < stripes; ++s)
        painted[s] = freshZeros(dst.size());
    cv::parallel_for_(
        cv::Range(0, stripes),
        [&](const cv::Range& range) {
            for (int s = range.start; s < range.end; ++s) {
                const int end = static_cast<int>(static_cast<int64_t>(s + 1) * n / stripes);
                for (int i = static_cast<int>(static_cast<int64_t>(s) * n / stripes); i < end; ++i)
                    paintShape(painted[s], contours[i], type);
            }
        },
        stripes);
    if (stripes == 1)
        return;
    cv::parallel_for_(
        cv::Range(0, dst.rows),
        [&](const cv::Range& rows) {
            cv::Mat band = dst.rowRange(rows.start, rows.end);
            for (int s = 1; s < stripes; ++s)
                cv::bitwise_or(band, painted[s].rowRange(rows.start, rows.end), band);
        },
        stripeCount(dst.rows));
}

void fill_up(cv::Mat src, cv::Mat& dst)
{
    std::vector<std::vector<cv::Point>> contours;
    if (startFromOuterContours(src, dst, contours))
        cv::drawContours(dst, contours, -1, cv::Scalar(255), cv::FILLED, cv::LINE_8);
}

void area_center(cv::Mat src, int& area, cv::Point2f& center)
{
    area = 0;
    center = cv::Point2f(0, 0);
    if (!isSingleChannel(src))
        return;
    std::vector<cv::Point> points;
    cv::findNonZero(src, points);
    area = static_cast<int>(points.size());
    if (area == 0)
        return;
    const cv::Scalar mean = cv::mean(points);
    center = cv::Point2f(static_cast<float>(mean[0]), static_cast<float>(mean[1]));
}

void connectedMoments(cv::Mat& labels, int label, double& m00, double& m10, double& m01, double& m20, double& m11,
                      double& m02)
{
    m00 = m10 = m01 = m20 = m11 = m02 = 0;
    if (labels.rows == 0 || labels.type() != CV_32SC1)
        return;
    for (int y = 0; y < labels.rows; ++y) {
        const int* row = labels.ptr<int>(y);
        for (int x = 0; x < labels.cols; ++x) {
            if (row[x] != label)
                continue;
            m00 += 1;
            m10 += x;
            m01 += y;
            m20 += product32(x, x);
            m11 += product32(x, y);
            m02 += product32(y, y);
        }
    }
}

void cvThin(cv::Mat src, cv::Mat& dst, int iterations)
{
    if (src.type() != CV_8UC1)
        return;
    if (dst.data != src.data || dst.size() != src.size() || dst.type() != src.type())
        src.copyTo(dst);
    for (int i = 0; i < iterations; ++i) {
        const bool firstRemoved = thinSubPass(dst, true);
        const bool secondRemoved = thinSubPass(dst, false);
        if (!firstRemoved && !secondRemoved)
            break;
    }
}

void line_gauss(cv::Mat src, cv::Mat mask, cv::Mat& dst, LineGaussType type, cv::Size ksize, double sigmaX,
                double sigmaY, int blockHalf, double c, int thinIterations)
{
    if (blockHalf > kMaxBlockHalf) {
        dst.release();
        return;
    }
    cv::Mat blurred, binary;
    cv::GaussianBlur(src, blurred, ksize, sigmaX, sigmaY, cv::BORDER_DEFAULT);
    const int thresholdType = type == DarkLines ? cv::THRESH_BINARY_INV : cv::THRESH_BINARY;
    // A block below 3 (blockHalf below 1) is OpenCV's to refuse; keep the size from wrapping.
    const int blockSize = blockHalf < 0 ? -1 : 2 * blockHalf + 1;
    cv::adaptiveThreshold(blurred, binary, 255, cv::ADAPTIVE_THRESH_GAUSSIAN_C, thresholdType, blockSize, c);
    if (!mask.empty())
        cv::bitwise_and(binary, mask, binary);
    cvThin(binary, dst, thinIterations);
}
