#include "ImageSampling.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr double kPi = 3.141592653589793;

// OpenCV's remap refuses outputs of 32767 or more rows or columns.
constexpr int kMaxPolarSide = 32767;

// Most 8-bit values a 32-bit signed sum can take.
constexpr int64_t kMaxBytesFor32BitSums = INT32_MAX / 255;

// Copies rect of source into dst, padding with fill outside source. strictOverlap treats
// an overlap one pixel wide or high as none. Returns true when rect crossed the border
// and dst was padded.
bool copyPadded(cv::Mat& src, const cv::Rect& rect, cv::Mat& dst, const cv::Scalar& fill, bool strictOverlap)
{
    // A header of our own keeps the source alive should dst be the same object or a view
    // of it: dst is then given fresh memory rather than overwriting the source with fill.
    const cv::Mat source = src;
    if (dst.datastart && dst.datastart == source.datastart)
        dst.release();
    dst.create(rect.height, rect.width, source.type());

    // 64-bit, so that rectangles near the int range cannot overflow.
    const int64_t x = rect.x, y = rect.y, w = rect.width, h = rect.height;
    const int64_t cols = source.cols, rows = source.rows;
    const int64_t xs = std::max<int64_t>(x, 0);
    const int64_t ys = std::max<int64_t>(y, 0);
    const int64_t xe = std::min(x + w, cols) - 1;
    const int64_t ye = std::min(y + h - 1, rows - 1);
    const bool clipped = x < 0 || y < 0 || x + w - 1 > cols - 1 || y + h - 1 > rows - 1;
    const bool overlaps = strictOverlap ? (xs < xe && ys < ye) : (xs <= xe && ys <= ye);
    if (!overlaps) {
        dst.setTo(fill);
        return false;
    }
    if (!clipped) {
        source(rect).copyTo(dst);
        return false;
    }
    dst.setTo(fill);
    const cv::Rect inside(static_cast<int>(xs), static_cast<int>(ys), static_cast<int>(xe - xs + 1),
                          static_cast<int>(ye - ys + 1));
    const cv::Rect target(static_cast<int>(x < 0 ? -x : 0), static_cast<int>(y < 0 ? -y : 0), inside.width,
                          inside.height);
    source(inside).copyTo(dst(target));
    return true;
}

// Degrees taken modulo 360 into [0, 360), then radians.
double normalisedRadians(double degrees)
{
    double r = std::fmod(degrees, 360.0);
    if (r < 0)
        r += 360.0;
    return r * kPi / 180.0;
}

// The bytes the averages read: a 3-channel image as grey, any other 8-bit image as it is.
bool averagedBytes(const cv::Mat& src, cv::Mat& bytes)
{
    if (src.empty() || src.dims != 2 || src.depth() != CV_8U)
        return false;
    if (src.channels() == 3)
        cv::cvtColor(src, bytes, cv::COLOR_RGB2GRAY);
    else
        bytes = src;
    return true;
}

// Sum of n bytes. 32-bit partial sums keep the loop vectorisable; chunks keep them from
// overflowing on absurdly long rows.
int64_t sumBytes(const uchar* bytes, int n)
{
    int64_t total = 0;
    for (int64_t begin = 0; begin < n; begin += kMaxBytesFor32BitSums) {
        const int64_t end = std::min<int64_t>(n, begin + kMaxBytesFor32BitSums);
        int32_t partial = 0;
        for (int64_t k = begin; k < end; ++k)
            partial += bytes[k];
        total += partial;
    }
    return total;
}

} // namespace

bool copyStaticROIImage(cv::Mat& src, cv::Rect& rect, cv::Mat& dst, cv::Scalar fill)
{
    if (rect.width <= 0 || rect.height <= 0)
        return false;
    return copyPadded(src, rect, dst, fill, false);
}

namespace UtilityFunctions {

void CopyImage(cv::Mat& src, cv::Rect& rect, cv::Mat& dst, cv::Scalar fill)
{
    if (rect.x < 0 || rect.y < 0 || rect.width <= 0 || rect.height <= 0)
        return;
    copyPadded(src, rect, dst, fill, true);
}

} // namespace UtilityFunctions

void warpPolarImg(cv::Mat& src, double startAngle, double endAngle, cv::Point2d centre, int minRadius,
                  int maxRadius, cv::Size dsize, bool clockwiseFromStart, bool logPolar, cv::Mat& dst)
{
    if (src.empty() || dsize.width < 1 || dsize.height < 1 || dsize.width >= kMaxPolarSide ||
        dsize.height >= kMaxPolarSide)
        return;

    const double a1 = normalisedRadians(startAngle);
    double a2 = normalisedRadians(endAngle);
    double span = 2.0 * kPi;
    if (std::fabs(a1 - a2) >= std::numeric_limits<double>::epsilon()) {
        if (a1 > a2)
            a2 += 2.0 * kPi;
        span = a2 - a1;
    }
    const double angleStep = span / dsize.height;

    // Radii are single precision by definition; they are widened once here rather than in
    // every entry of the maps.
    const int columns = dsize.width;
    const double radialSpan = static_cast<double>(maxRadius) - minRadius + 1.0;
    cv::AutoBuffer<double> radius(columns);
    for (int j = 0; j < columns; ++j)
        radius[j] = logPolar ? static_cast<float>(std::exp(j * std::log(radialSpan) / columns + minRadius) - 1.0)
                             : static_cast<float>(j * (radialSpan / columns) + minRadius);

    cv::Mat mapX(dsize, CV_32FC1);
    cv::Mat mapY(dsize, CV_32FC1);
    for (int i = 0; i < dsize.height; ++i) {
        const double theta = clockwiseFromStart ? a1 + i * angleStep : a2 - i * angleStep;
        const double c = std::cos(theta);
        const double s = std::sin(theta);
        float* xs = mapX.ptr<float>(i);
        float* ys = mapY.ptr<float>(i);
        for (int j = 0; j < columns; ++j) {
            xs[j] = static_cast<float>(radius[j] * c + centre.x);
            ys[j] = static_cast<float>(radius[j] * s + centre.y);
        }
    }
    cv::remap(src, dst, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
}

void getImageColAverage(cv::Mat& src, float* out)
{
    cv::Mat bytes;
    if (!out || !averagedBytes(src, bytes))
        return;
    const int rows = bytes.rows;
    const int cols = bytes.cols;
    std::vector<int64_t> totals(cols, 0);
    std::vector<int32_t> partial(cols);
    for (int64_t begin = 0; begin < rows; begin += kMaxBytesFor32BitSums) {
        const int end = static_cast<int>(std::min<int64_t>(rows, begin + kMaxBytesFor32BitSums));
        std::fill(partial.begin(), partial.end(), 0);
        int32_t* sums = partial.data();
        for (int r = static_cast<int>(begin); r < end; ++r) {
            const uchar* row = bytes.ptr<uchar>(r);
            for (int c = 0; c < cols; ++c)
                sums[c] += row[c];
        }
        for (int c = 0; c < cols; ++c)
            totals[c] += sums[c];
    }
    for (int c = 0; c < cols; ++c)
        out[c] = static_cast<float>(totals[c]) / static_cast<float>(rows);
}

void getImageRowAverage(cv::Mat& src, float* out)
{
    cv::Mat bytes;
    if (!out || !averagedBytes(src, bytes))
        return;
    for (int r = 0; r < bytes.rows; ++r)
        out[r] = static_cast<float>(sumBytes(bytes.ptr<uchar>(r), bytes.cols)) / static_cast<float>(bytes.cols);
}

namespace {

// Coefficients 1..5 (gradient x, y; second-order dx^2, dx*dy, dy^2) of the least-squares
// quadratic over a 3x3 neighbourhood, as weights of its nine values in raster order.
// The constant term is not needed. The basis centres dx^2 and dy^2 (minus 2/3) so that
// every column is orthogonal to the constant.
using FitWeights = std::array<std::array<double, 9>, 6>;

FitWeights quadraticFitWeights()
{
    cv::Mat design(9, 6, CV_64F);
    for (int k = 0; k < 9; ++k) {
        const double dx = k % 3 - 1;
        const double dy = k / 3 - 1;
        double* row = design.ptr<double>(k);
        row[0] = 1.0;
        row[1] = dx;
        row[2] = dy;
        row[3] = dx * dx - 2.0 / 3.0;
        row[4] = dx * dy;
        row[5] = dy * dy - 2.0 / 3.0;
    }
    cv::Mat normalInverse;
    cv::invert(design.t() * design, normalInverse, cv::DECOMP_LU);
    const cv::Mat projection = normalInverse * design.t();
    FitWeights weights;
    for (int m = 0; m < 6; ++m)
        for (int k = 0; k < 9; ++k)
            weights[m][k] = projection.at<double>(m, k);
    return weights;
}

} // namespace

void criticalPointsDetection(cv::Mat& image, double threshold, double sigma, std::vector<cv::Point2f>& points)
{
    const int channels = image.channels();
    if (image.empty() || image.dims != 2 || image.depth() != CV_8U || (channels != 1 && channels != 3) ||
        image.rows < 3 || image.cols < 3)
        return;
    // A blur wider than the image only flattens it, and a huge one would take forever.
    if (!std::isfinite(sigma) || sigma > std::max(image.rows, image.cols))
        return;

    cv::Mat grey;
    if (channels == 3)
        cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    else
        grey = image;
    if (sigma > 0) {
        cv::Mat blurred;
        cv::GaussianBlur(grey, blurred, cv::Size(0, 0), sigma, sigma, cv::BORDER_REPLICATE);
        grey = blurred;
    }

    const FitWeights weights = quadraticFitWeights();
    const int inner = grey.cols - 2;
    // Coefficients 1..5 for one row of interior pixels; tap-major accumulation keeps each
    // pixel's sums in tap order while the inner loop runs along the row and vectorises.
    std::vector<double> coefficients(5 * static_cast<size_t>(inner));
    double* c[5];
    for (int m = 0; m < 5; ++m)
        c[m] = coefficients.data() + m * static_cast<size_t>(inner);

    for (int y = 1; y < grey.rows - 1; ++y) {
        std::fill(coefficients.begin(), coefficients.end(), 0.0);
        for (int k = 0; k < 9; ++k) {
            // Tap k of interior pixel x (x = i + 1) is the pixel (i + k % 3, y - 1 + k / 3).
            const uchar* tap = grey.ptr<uchar>(y - 1 + k / 3) + k % 3;
            for (int m = 0; m < 5; ++m) {
                const double weight = weights[m + 1][k];
                double* sums = c[m];
                for (int i = 0; i < inner; ++i)
                    sums[i] += weight * tap[i];
            }
        }
        for (int i = 0; i < inner; ++i) {
            const double gx = c[0][i], gy = c[1][i];
            const double cxx = c[2][i], cxy = c[3][i], cyy = c[4][i];
            // Eigenvalues of the Hessian [[2cxx, cxy], [cxy, 2cyy]].
            const double mean = cxx + cyy;
            const double radius = std::sqrt((cxx - cyy) * (cxx - cyy) + cxy * cxy);
            const double l1 = mean + radius;
            const double l2 = mean - radius;
            if (!(l1 * l2 < 0.0) || !(std::fabs(l1) > threshold) || !(std::fabs(l2) > threshold))
                continue;
            const double norm = std::sqrt(gx * gx + gy * gy);
            if (norm == 0.0)
                continue;
            const double ux = gx / norm, uy = gy / norm;
            const double q = cxy * ux * uy + cxx * ux * ux + cyy * uy * uy;
            if (q == 0.0)
                continue;
            const double t = -(gy * uy + gx * ux) / (2.0 * q);
            if (!(std::fabs(t) < 1.0))
                continue;
            const int x = i + 1;
            points.emplace_back(static_cast<float>(x + t * ux), static_cast<float>(y + t * uy));
        }
    }
}
