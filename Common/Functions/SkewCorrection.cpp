#include "SkewCorrection.h"

#include "SkewVotes_p.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kPi = 3.141592653589793;

bool rowHasSetPixel(const cv::Mat& image, int y)
{
    const uchar* row = image.ptr<uchar>(y);
    return std::any_of(row, row + image.cols, [](uchar value) { return value != 0; });
}

} // namespace

double clcHorizontalSkew(cv::Mat& image)
{
    if (image.type() != CV_8UC1)
        return std::numeric_limits<double>::quiet_NaN();
    cv::Mat edges, accumulator;
    skew_votes::horizontalEdges(image, edges);
    skew_votes::vote(edges, accumulator);
    return skew_votes::peakAngle(accumulator);
}

void skewCorrectionRot(cv::Mat& src, cv::Mat& dst, double angle, cv::Scalar borderValue)
{
    if (!std::isfinite(angle)) {
        dst.release();
        return;
    }
    const double a = angle * kPi / 180.0;
    const double s = std::abs(std::sin(a));
    const double c = std::abs(std::cos(a));
    const double width = src.rows * s + src.cols * c;
    const double height = src.rows * c + src.cols * s;

    cv::Mat m = cv::getRotationMatrix2D(cv::Point2f(static_cast<float>(width * 0.5), static_cast<float>(height * 0.5)),
                                        angle, 1.0);
    // Shift src's centre onto the canvas centre before turning: the shift goes through the
    // rotation part of m only.
    const cv::Mat shift = (cv::Mat_<double>(3, 1) << (width - src.cols) * 0.5, (height - src.rows) * 0.5, 0.0);
    const cv::Mat turnedShift = m * shift;
    m.at<double>(0, 2) += turnedShift.at<double>(0);
    m.at<double>(1, 2) += turnedShift.at<double>(1);
    cv::warpAffine(src, dst, m, cv::Size(static_cast<int>(width), static_cast<int>(height)), cv::INTER_LINEAR,
                   cv::BORDER_CONSTANT, borderValue);
}

bool cutCharacterTopBottom(cv::Mat& image, int& top, int& bottom)
{
    if (image.type() != CV_8UC1)
        return false;
    top = 0;
    for (int y = 0; y < image.rows; ++y) {
        if (rowHasSetPixel(image, y)) {
            top = y;
            break;
        }
    }
    bottom = image.rows - 1;
    for (int y = image.rows - 1; y >= 0; --y) {
        if (rowHasSetPixel(image, y)) {
            bottom = y;
            break;
        }
    }
    return top < bottom;
}
