#include "Profile.h"

#include "Messages.h"
#include "ToolDefinition.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace frontend {

namespace {

cv::Mat greyOf(const cv::Mat& sampled)
{
    // Sampled first and converted after, in the order the tools do it, so the rounding
    // of the interpolation and of the conversion match theirs.
    if (sampled.channels() == 1)
        return sampled;
    cv::Mat grey;
    cv::cvtColor(sampled, grey, cv::COLOR_RGB2GRAY);
    return grey;
}

// One sample per pixel along the line from its start, as the line-ROI edge tool takes them.
cv::Mat sampleLine(const cv::Mat& image, const LineROI& line, Profile& profile)
{
    const double dx = line.x2 - line.x1, dy = line.y2 - line.y1;
    const double length = std::sqrt(dx * dx + dy * dy);
    if (!std::isfinite(length) || !std::isfinite(line.x1) || !std::isfinite(line.y1))
        throw InputError("profile: the line's end points must be finite");
    if (!(length > 0))
        throw InputError("profile: the line has no length");
    if (std::ceil(length) > kMaxProfileSamples)
        throw InputError("profile: the line is " + formatNumber(length) + " px long, at most " +
                         std::to_string(kMaxProfileSamples) + " px can be sampled");
    const int samples = static_cast<int>(std::ceil(length));
    const double ux = dx / length, uy = dy / length;
    cv::Mat mapX(1, samples, CV_32F), mapY(1, samples, CV_32F);
    profile.samplePoints.resize(samples);
    for (int k = 0; k < samples; ++k) {
        mapX.at<float>(k) = static_cast<float>(k * ux + line.x1);
        mapY.at<float>(k) = static_cast<float>(k * uy + line.y1);
        profile.samplePoints[k] = {k * ux + line.x1, k * uy + line.y1};
    }
    cv::Mat sampled;
    cv::remap(image, sampled, mapX, mapY, cv::INTER_CUBIC, cv::BORDER_CONSTANT, cv::Scalar(0));
    return greyOf(sampled);
}

// The rectangle upright, as the calipers see it: a perspective warp of its corners, or
// at an angle of exactly 0 when asked a copy of the truncated integer rectangle.
cv::Mat straighten(const cv::Mat& image, RotateRectROI& roi, bool copyUpright)
{
    if (!std::isfinite(roi.centreX) || !std::isfinite(roi.centreY) || !std::isfinite(roi.angle) ||
        !std::isfinite(roi.width) || !std::isfinite(roi.height))
        throw InputError("profile: the rectangle's centre, angle and sides must be finite");
    if (!(roi.width >= 1 && roi.height >= 1))
        throw InputError("profile: the rectangle's sides must be at least 1 px, got " + formatNumber(roi.width) +
                         " x " + formatNumber(roi.height));
    if (roi.width > kMaxProfileSamples || roi.height > kMaxProfileSamples)
        throw InputError("profile: the rectangle's sides must be at most " + std::to_string(kMaxProfileSamples) +
                         " px, got " + formatNumber(roi.width) + " x " + formatNumber(roi.height));
    cv::Mat upright;
    if (copyUpright && roi.angle == 0.0f) {
        cv::Rect box(static_cast<int>(roi.centreX - roi.width / 2), static_cast<int>(roi.centreY - roi.height / 2),
                     static_cast<int>(roi.width), static_cast<int>(roi.height));
        // The tools copy such a rectangle pixel for pixel and take nothing from one that
        // starts left of or above the image.
        if (box.x < 0 || box.y < 0)
            throw InputError("profile: a rectangle at angle 0 must not start left of or above the image, its corner "
                             "is at (" + std::to_string(box.x) + ", " + std::to_string(box.y) + ")");
        cv::Mat source = image;
        UtilityFunctions::CopyImage(source, box, upright, cv::Scalar::all(0));
        return upright;
    }
    std::vector<cv::Point2f> corners;
    getCornerPoints(&roi, corners);
    const cv::Point2f targets[4] = {{0.0f, 0.0f}, {roi.width, 0.0f}, {roi.width, roi.height}, {0.0f, roi.height}};
    cv::warpPerspective(image, upright, cv::getPerspectiveTransform(corners.data(), targets),
                        cv::Size(static_cast<int>(roi.width), static_cast<int>(roi.height)), cv::INTER_LINEAR,
                        cv::BORDER_CONSTANT, cv::Scalar::all(0));
    return upright;
}

// Column means over the whole height, summed in float and scaled by the float reciprocal
// as the calipers average a band (integer sums stay exact in float up to 65793 rows).
std::vector<float> columnMeans(const cv::Mat& grey)
{
    std::vector<float> sums(grey.cols, 0.0f);
    for (int r = 0; r < grey.rows; ++r) {
        const uchar* row = grey.ptr<uchar>(r);
        for (int c = 0; c < grey.cols; ++c)
            sums[c] += row[c];
    }
    const float scale = static_cast<float>(1.0 / grey.rows);
    for (float& s : sums)
        s *= scale;
    return sums;
}

// The analysis every segment caliper runs on one profile: smooth, differentiate, turn to
// the scan and polarity, extract.
void analyse(Profile& profile, const ProfileSettings& settings)
{
    const int n = static_cast<int>(profile.grey.size());
    profile.smoothed = profile.grey;
    // A profile not longer than the kernel's half-width gets the kernel cut to fit it.
    int half = settings.sigma;
    const float* kernel = getOneDimGaussianKernel(half);
    if (!kernel)
        throw InputError("profile: sigma must be 0 .. 100, got " + std::to_string(settings.sigma));
    std::vector<float> cut;
    if (n < half + 1) {
        cut.resize(2 * static_cast<size_t>(n - 1) + 1);
        cutOneDimGaussianKernel(kernel, half, cut.data(), n - 1);
        kernel = cut.data();
        half = n - 1;
    }
    oneDimArrayGaussianFilter(profile.smoothed.data(), n, kernel, half, false);

    profile.derivative.assign(n, 0.0f);
    clcOneDimDeriv(profile.smoothed.data(), profile.derivative.data(), n, false);
    profile.strength = profile.derivative;
    const ClcDirection scan = settings.reverse ? RightToLeft : LeftToRight;
    clcOneDimDerivDir(profile.strength.data(), n, scan, settings.transition);

    // The same top and threshold the extraction computes, for display.
    float top = 0.0f;
    for (float s : profile.strength)
        top = std::max(top, s);
    const float percent = static_cast<float>(settings.percent), minStrength = static_cast<float>(settings.minStrength);
    profile.top = top;
    profile.threshold = std::max(percent / 100.0f * top, minStrength);

    std::vector<double> positions;
    oneDimEdgeExtraction(profile.strength.data(), n, scan, percent, minStrength, n, positions);
    for (double p : positions) {
        const int nearest = std::clamp(static_cast<int>(std::lround(p)), 0, n - 1);
        ProfileEdge edge;
        edge.position = static_cast<float>(p); // the calipers keep positions in single precision
        edge.strength = profile.strength[nearest];
        edge.darkToLight = (profile.derivative[nearest] > 0) != settings.reverse;
        profile.edges.push_back(edge);
    }
}

} // namespace

Profile measureProfile(const cv::Mat& image, const ROI& roi, const ProfileSettings& settings)
{
    if (image.empty() || image.depth() != CV_8U || (image.channels() != 1 && image.channels() != 3))
        throw InputError("profile: the image must be 8-bit with 1 or 3 channels");
    Profile profile;
    if (const auto* line = dynamic_cast<const LineROI*>(&roi)) {
        const cv::Mat grey = sampleLine(image, *line, profile);
        profile.grey.assign(grey.ptr<uchar>(0), grey.ptr<uchar>(0) + grey.cols);
        analyse(profile, settings);
        const double dx = line->x2 - line->x1, dy = line->y2 - line->y1;
        const double length = std::sqrt(dx * dx + dy * dy);
        const double ux = dx / length, uy = dy / length;
        for (ProfileEdge& edge : profile.edges)
            edge.point = {edge.position * ux + line->x1, edge.position * uy + line->y1};
        return profile;
    }
    const auto* rotated = dynamic_cast<const RotateRectROI*>(&roi);
    if (!rotated)
        throw InputError("profile: only a line or a rotated rectangle can be probed");
    RotateRectROI rect = *rotated;
    const cv::Mat grey = greyOf(straighten(image, rect, settings.copyUpright));
    profile.grey = columnMeans(grey);
    profile.linesAveraged = grey.rows;
    analyse(profile, settings);

    // Points sit on the band's centre line and are narrowed to float before they are
    // mapped, as the calipers store them.
    const double centre = static_cast<float>(grey.rows * 0.5);
    std::vector<cv::Point2d> local;
    for (int k = 0; k < grey.cols; ++k)
        local.emplace_back(k, centre);
    for (const ProfileEdge& edge : profile.edges)
        local.emplace_back(static_cast<float>(edge.position), centre);
    std::vector<cv::Point2d> mapped(local.size());
    transformPoints(local, mapped, &rect);
    profile.samplePoints.assign(mapped.begin(), mapped.begin() + grey.cols);
    for (size_t i = 0; i < profile.edges.size(); ++i)
        profile.edges[i].point = mapped[grey.cols + i];
    return profile;
}

const ToolDefinition& probeDefinition()
{
    static const ToolDefinition definition{
        "probe",
        "Grey-value profile along a line or across a rotated rectangle (columns averaged over its height), its "
        "smoothing, derivative and edge strength, and the edges the settings find",
        {"line", "rotated_rect"},
        {
            ParamDefinition::choice("direction", "LeftToRight", {"LeftToRight", "RightToLeft"},
                                    "scan from the line's start (the rectangle's left side) or from its end"),
            transitionParam(),
            ParamDefinition::ranged("percent", ParamType::Integer, 30, 0, 100,
                                    "edges below this percent of the strongest response are ignored"),
            sigmaParam(),
            ParamDefinition::ranged("minStrength", ParamType::Integer, 20, 0, 510,
                                    "absolute edge threshold (grey-level difference across two pixels)"),
        },
        nullptr,
        nullptr,
    };
    return definition;
}

ProfileSettings profileSettings(const ToolInput& input)
{
    ProfileSettings settings;
    settings.reverse = input.choice("direction") == 1;
    settings.transition = static_cast<EdgeTransition>(input.choice("transition"));
    settings.sigma = input.integer("sigma");
    settings.percent = input.integer("percent");
    settings.minStrength = input.integer("minStrength");
    return settings;
}

} // namespace frontend
