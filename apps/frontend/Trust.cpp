#include "Trust.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace frontend {

json rounded(double v, double step)
{
    if (!std::isfinite(v))
        return nullptr;
    // The value is the one its decimal text reads back as, so records print 12.3 rather
    // than 12.300000000000001: the step's decimals suffice.
    const double steps = std::round(v / step);
    const int decimals = static_cast<int>(std::max(0.0, -std::floor(std::log10(step))));
    // For a step of 10^-p (10^p exact in a double up to p = 22) and |steps| well below
    // 2^53, the text holds exactly `steps` in units of the step, and reading it back gives
    // the double nearest to steps / 10^p, which the division gives directly. Records hold
    // thousands of such values, and the text round trip cost microseconds each.
    static const double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    if (decimals <= 22 && step == 1.0 / powersOfTen[decimals] && std::abs(steps) < 0x1p50)
        return steps / powersOfTen[decimals];
    std::ostringstream text;
    text.precision(decimals);
    text << std::fixed << steps * step;
    return std::stod(text.str());
}

json finiteOrNull(double v)
{
    return std::isfinite(v) ? json(v) : json(nullptr);
}

json fittedJson(const FittedValue& v, double factor)
{
    const double value = v.value * factor, half = v.halfWidth95 * factor;
    return {{"value", finiteOrNull(value)},
            {"sigma", finiteOrNull(v.sigma * factor)},
            {"ci95", json::array({finiteOrNull(value - half), finiteOrNull(value + half)})}};
}

json residualsJson(const FitResiduals& r)
{
    return {{"points", r.pointCount},
            {"dof", r.degreesOfFreedom},
            {"rmsResidual", finiteOrNull(r.rms)},
            {"maxResidual", finiteOrNull(r.maxAbs)}};
}

json lineQualityJson(const LineFitQuality& q)
{
    json out = residualsJson(q.residuals);
    out["angle"] = fittedJson(q.angle);
    out["offset"] = fittedJson(q.offset);
    out["anchor"] = json::array({finiteOrNull(q.anchor.x), finiteOrNull(q.anchor.y)});
    return out;
}

json circleQualityJson(const CircleFitQuality& q)
{
    json out = residualsJson(q.residuals);
    out["centreX"] = fittedJson(q.centreX);
    out["centreY"] = fittedJson(q.centreY);
    out["radius"] = fittedJson(q.radius);
    out["diameter"] = fittedJson(q.radius, 2.0);
    return out;
}

json widthQualityJson(const EdgePairWidthQuality& q)
{
    return {{"pairs", q.pairCount},
            {"dof", q.degreesOfFreedom},
            {"width", fittedJson(q.width)},
            {"spread", finiteOrNull(q.spread)},
            {"minWidth", finiteOrNull(q.minWidth)},
            {"maxWidth", finiteOrNull(q.maxWidth)},
            {"rounding", finiteOrNull(q.rounding)}};
}

json diagnosticsJson(const std::vector<PointDiagnostic>& points, bool listPoints)
{
    json list = json::array();
    if (listPoints)
        list.get_ref<json::array_t&>().reserve(points.size());
    int inliers = 0;
    for (const PointDiagnostic& d : points) {
        if (listPoints) {
            // Member by member: an initializer list per point doubles the cost of the record.
            json item = json::object();
            item["point"] = json::array({finiteOrNull(d.point.x), finiteOrNull(d.point.y)});
            item["residual"] = finiteOrNull(d.residual);
            item["inlier"] = d.inlier;
            list.push_back(std::move(item));
        }
        inliers += d.inlier;
    }
    json out = {{"inliers", inliers}, {"outliers", static_cast<int>(points.size()) - inliers}};
    if (listPoints)
        out["points"] = std::move(list);
    return out;
}

std::vector<PointDiagnostic> unjudged(const std::vector<cv::Point2d>& points)
{
    std::vector<PointDiagnostic> out;
    for (const cv::Point2d& p : points)
        out.push_back({p, std::nan(""), true});
    return out;
}

double strongestCaliperResponse(const cv::Mat& strip, int width, int step, int sigma, ClcDirection scan,
                                EdgeTransition transition)
{
    const float* kernel = getOneDimGaussianKernel(sigma);
    if (strip.empty() || !kernel || width < 1 || step < 1)
        return 0;
    cv::Mat grey = strip;
    if (strip.channels() != 1)
        cv::cvtColor(strip, grey, cv::COLOR_RGB2GRAY);
    const int n = grey.cols;
    std::vector<float> profile(n), strength(n);
    double strongest = 0;
    for (int top = 0; top + width <= grey.rows; top += step) {
        cv::Mat band = grey.rowRange(top, top + width).clone();
        getImageColAverage(band, profile.data());
        oneDimArrayGaussianFilter(profile.data(), n, kernel, sigma, false);
        clcOneDimDeriv(profile.data(), strength.data(), n, false);
        clcOneDimDerivDir(strength.data(), n, scan, transition);
        for (float s : strength)
            strongest = std::max(strongest, static_cast<double>(s));
    }
    return strongest;
}

cv::Mat polarStrip(const cv::Mat& image, const ROI& roi)
{
    double cx = 0, cy = 0, start = 0, end = 0;
    float r1 = 0, r2 = 0;
    if (const auto* ring = dynamic_cast<const RingROI*>(&roi)) {
        cx = ring->centreX, cy = ring->centreY, r1 = ring->radius1, r2 = ring->radius2;
    } else if (const auto* arc = dynamic_cast<const ArcROI*>(&roi)) {
        cx = arc->centreX, cy = arc->centreY, r1 = arc->radius1, r2 = arc->radius2;
        start = 360.0 - arc->angle2;
        end = 360.0 - arc->angle1;
    } else {
        return {};
    }
    const int outer = static_cast<int>(std::max(r1, r2)), inner = static_cast<int>(std::min(r1, r2));
    double span = std::fmod(end - start + 720.0, 360.0);
    if (span == 0)
        span = 360.0;
    const int rows = static_cast<int>(std::ceil(outer * 2 * CV_PI * span / 360.0));
    if (outer < 1 || outer < inner || rows < 1)
        return {};
    cv::Mat source = image, square, polar;
    cv::Rect crop(static_cast<int>(cx) - outer, static_cast<int>(cy) - outer, 2 * outer + 1, 2 * outer + 1);
    copyStaticROIImage(source, crop, square, cv::Scalar(0));
    warpPolarImg(square, start, end, cv::Point2d(outer, outer), inner, outer, cv::Size(outer - inner + 1, rows), true,
                 false, polar);
    return polar;
}

std::string tooFewPointsReason(size_t found, size_t needed, double strongest, int minStrength)
{
    std::ostringstream text;
    text.precision(3);
    if (strongest < minStrength)
        text << "no caliper's strongest response reached minStrength " << minStrength << ", the strongest was "
             << strongest;
    else
        text << found << " edge point" << (found == 1 ? " was" : "s were") << " found, " << needed
             << " are needed (the strongest response was " << strongest << " against minStrength " << minStrength
             << ")";
    return text.str();
}

std::string minGradientReason(double strongest, int minGradient)
{
    std::ostringstream text;
    text.precision(3);
    text << "no step reached minGradient " << minGradient << ", the strongest was " << strongest
         << " (grey levels between neighbouring samples, with the polarity asked for)";
    return text.str();
}

} // namespace frontend
