#include "CircleDiameterTool.h"

#include "Fitting.h"
#include "ProfileCore.h"
#include "ToolSupport_p.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

constexpr double kPi = 3.141592653589793;

constexpr int kMinCalipers = 6; // three opposite pairs, the fewest that measure anything
constexpr int kMinPairs = 3;
// OpenCV's remap takes sources and destinations with sides below this.
constexpr int kMaxRemapSide = 32767;
// The crop, 2 * outer + 4 pixels wide, is the remap's source.
constexpr double kMaxOuterRadius = 16380.0;
constexpr int64_t kMaxPolarPixels = int64_t(1) << 25;
// Far enough for any image, near enough that the crop's corners stay inside int.
constexpr double kMaxCentreCoordinate = 1e9;
// Three samples of radius, the fewest a sub-pixel edge needs, whatever a caliper's offset.
constexpr double kMinBandWidth = 3.0;
// A CircleROI is searched this far either side of its circle.
constexpr double kCircleMarginFraction = 0.2;
constexpr double kMinCircleMargin = 4.0;
// Re-aim the calipers when a diameter through the unwrap centre could come out this much
// short (pixels).
constexpr double kMaxChordShortening = 0.005;
// Readings either side of an extreme one that refine its direction (degrees): half the
// way to where an oval's opposite extreme lies.
constexpr double kDirectionWindow = 45.0;

// Where the edge is searched: a centre and a band of radii about it.
struct Band {
    cv::Point2d centre;
    double inner = 0, outer = 0;
};

// How the turn is divided into calipers and each caliper into radial lines.
struct CaliperLayout {
    int count = 0;    // calipers over the full turn, even
    int lines = 0;    // radial lines per caliper, one polar row each
    double width = 0; // angular width of a caliper, degrees

    int pairs() const { return count / 2; }
    int rows() const { return count * lines; }
    double spacing() const { return 360.0 / count; }
    double angleOf(int caliper) const { return caliper * 360.0 / count; }

    // Where a caliper's radial samples start beyond the inner radius. A sub-pixel edge is
    // biased by where it falls between two samples, periodically with the sample spacing;
    // opposite calipers sample half a pixel apart, so that the first and by far largest
    // term of that bias cancels in their sum.
    double radialOffset(int caliper) const { return caliper < pairs() ? 0.0 : 0.5; }
};

// Samples of radius along each line: one per pixel, within the band whatever the offset.
int polarColumns(const Band& band)
{
    return static_cast<int>(band.outer - band.inner - 0.5) + 1;
}

bool usableCentre(cv::Point2d c)
{
    return std::abs(c.x) <= kMaxCentreCoordinate && std::abs(c.y) <= kMaxCentreCoordinate;
}

// Reads the ROI's centre and band; false for other shapes and for bands the tool cannot
// or should not unwrap. The comparisons are written so that NaN fails them.
bool readBand(ROI* roi, Band& band)
{
    if (const auto* ring = tool_support::shapeAs<RingROI>(roi, RingROIType)) {
        if (!std::isfinite(ring->radius1) || !std::isfinite(ring->radius2))
            return false;
        band.centre = {ring->centreX, ring->centreY};
        band.inner = std::min(ring->radius1, ring->radius2);
        band.outer = std::max(ring->radius1, ring->radius2);
    } else if (const auto* circle = tool_support::shapeAs<CircleROI>(roi, CircleROIType)) {
        const QRectF& rect = circle->rect;
        if (!(rect.width() > 0 && rect.height() > 0))
            return false;
        const double radius = (rect.width() + rect.height()) / 4.0;
        const double margin = std::max(kCircleMarginFraction * radius, kMinCircleMargin);
        band.centre = {rect.center().x(), rect.center().y()};
        band.inner = std::max(radius - margin, 0.0);
        band.outer = radius + margin;
    } else {
        return false;
    }
    return band.inner >= 0 && band.outer - band.inner >= kMinBandWidth && band.outer < kMaxOuterRadius &&
           usableCentre(band.centre);
}

// The record's caliper settings brought into range; false when the unwrapped image would
// exceed the remap's or the memory limit.
bool caliperLayout(const _CircleDiameterDetParam& param, int columns, CaliperLayout& layout)
{
    int64_t count = std::max<int64_t>(param.caliperCount, kMinCalipers);
    count += count % 2;
    const int64_t lines = std::max(param.segmentWidth, 1);
    const int64_t rows = count * lines;
    if (rows >= kMaxRemapSide || rows * columns > kMaxPolarPixels)
        return false;
    layout.count = static_cast<int>(count);
    layout.lines = static_cast<int>(lines);
    layout.width = std::isnan(param.caliperAngle) ? 0.0 : std::clamp(param.caliperAngle, 0.0, layout.spacing());
    return true;
}

double radians(double degrees) { return degrees * kPi / 180.0; }

// Unit vectors (cos, sin; y up) of the calipers, or of their radial lines, for the first
// half of the turn; the second half is the first turned half a turn, negated exactly, so
// that opposite calipers share one line through the centre.
std::vector<cv::Point2d> halfTurnMirrored(const std::vector<cv::Point2d>& firstHalf)
{
    std::vector<cv::Point2d> all(firstHalf);
    for (const cv::Point2d& u : firstHalf)
        all.push_back(-u);
    return all;
}

std::vector<cv::Point2d> caliperDirections(const CaliperLayout& layout)
{
    std::vector<cv::Point2d> half;
    for (int k = 0; k < layout.pairs(); ++k) {
        const double a = radians(layout.angleOf(k));
        half.emplace_back(std::cos(a), std::sin(a));
    }
    return halfTurnMirrored(half);
}

std::vector<cv::Point2d> lineDirections(const CaliperLayout& layout)
{
    std::vector<cv::Point2d> half;
    for (int k = 0; k < layout.pairs(); ++k)
        for (int i = 0; i < layout.lines; ++i) {
            const double offset = ((i + 0.5) / layout.lines - 0.5) * layout.width;
            const double a = radians(layout.angleOf(k) + offset);
            half.emplace_back(std::cos(a), std::sin(a));
        }
    return halfTurnMirrored(half);
}

// Unwraps the band about centre into polar (one row per radial line, one column per
// pixel of radius from band.inner plus the caliper's offset) with one remap. crop
// receives the square of image pixels the remap reads; only its part inside the image is
// handed to the remap, as a view, so nothing is copied and missing pixels read as 0.
void unwrapBand(const cv::Mat& image, cv::Point2d centre, const Band& band, const CaliperLayout& layout,
                const std::vector<cv::Point2d>& lines, cv::Rect& crop, cv::Mat& polar)
{
    const int rows = static_cast<int>(lines.size());
    const int cols = polarColumns(band);
    // Bilinear samples within outer of the centre read pixels floor(c - outer) up to
    // floor(c + outer) + 1; one more either side absorbs the maps' rounding.
    const int left = static_cast<int>(std::floor(centre.x - band.outer)) - 1;
    const int top = static_cast<int>(std::floor(centre.y - band.outer)) - 1;
    const int right = static_cast<int>(std::floor(centre.x + band.outer)) + 2;
    const int bottom = static_cast<int>(std::floor(centre.y + band.outer)) + 2;
    crop = cv::Rect(left, top, right - left + 1, bottom - top + 1);
    const cv::Rect inside = crop & cv::Rect(0, 0, image.cols, image.rows);
    if (inside.empty()) {
        polar = cv::Mat::zeros(rows, cols, CV_8UC1);
        return;
    }

    cv::Mat mapX(rows, cols, CV_32FC1), mapY(rows, cols, CV_32FC1);
    const double originX = centre.x - inside.x, originY = centre.y - inside.y;
    for (int r = 0; r < rows; ++r) {
        const double c = lines[r].x, s = lines[r].y;
        const double first = band.inner + layout.radialOffset(r / layout.lines);
        // Image y grows downwards: a y-up direction (c, s) walks (c, -s) in the image. The
        // steps along the line are taken in single precision, which the maps hold anyway:
        // within the crop that is far finer than the remap's 1/32 pixel.
        const float x0 = static_cast<float>(originX + first * c), y0 = static_cast<float>(originY - first * s);
        const float dx = static_cast<float>(c), dy = static_cast<float>(-s);
        float* mx = mapX.ptr<float>(r);
        float* my = mapY.ptr<float>(r);
        for (int j = 0; j < cols; ++j) {
            mx[j] = x0 + static_cast<float>(j) * dx;
            my[j] = y0 + static_cast<float>(j) * dy;
        }
    }
    const cv::Mat source = image(inside);
    if (source.channels() == 1) {
        cv::remap(source, polar, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
    } else {
        // The polar image holds fewer pixels than the crop: convert after the unwrap.
        cv::Mat colour;
        cv::remap(source, colour, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar::all(0));
        cv::cvtColor(colour, polar, cv::COLOR_RGB2GRAY);
    }
}

// One measurement of the band about one centre.
struct Pass {
    cv::Point2d centre;              // of the unwrap
    std::vector<double> radii;       // per caliper: edge distance from centre, or -1 for none
    int pairs = 0;                   // opposite pairs that both found an edge
    std::vector<cv::Point2d> points; // edge points in caliper order
    cv::Point2d fitCentre;           // of the circle through the points
    double fitRadius = 0;
    bool fitted = false;             // enough pairs and a usable circle
};

// Runs the calipers over the polar image: one segment of `lines` rows per caliper, the
// first edge in scan order of each.
void measureCalipers(cv::Mat& polar, const CaliperLayout& layout, const _CircleDiameterDetParam& param,
                     const Band& band, const std::vector<cv::Point2d>& calipers, Pass& pass)
{
    std::vector<cv::Point2d> found;
    clcSegmentPoints(polar, TopToBottom, param.direction == 1 ? RightToLeft : LeftToRight,
                     static_cast<EdgeTransition>(param.transition), layout.lines, layout.lines, 0, layout.count,
                     param.sigma, static_cast<float>(param.percent), static_cast<float>(param.minStrength), found,
                     1);
    pass.radii.assign(layout.count, -1.0);
    // A segment's centre row is k * lines + lines / 2: caliper k.
    for (const cv::Point2d& f : found) {
        const int caliper = static_cast<int>(f.y) / layout.lines;
        pass.radii[caliper] = band.inner + layout.radialOffset(caliper) + f.x;
    }

    pass.points.clear();
    for (int k = 0; k < layout.count; ++k)
        if (pass.radii[k] >= 0)
            pass.points.emplace_back(pass.centre.x + pass.radii[k] * calipers[k].x,
                                     pass.centre.y - pass.radii[k] * calipers[k].y);
    pass.pairs = 0;
    for (int k = 0; k < layout.pairs(); ++k)
        pass.pairs += pass.radii[k] >= 0 && pass.radii[k + layout.pairs()] >= 0;
}

// The circle through the pass's edge points; false when it is unusable (the points lie on
// a line or a point, or the centre lies beyond where a crop can be cut about it).
bool fitPass(Pass& pass)
{
    return fitCircle(pass.points, pass.fitCentre, pass.fitRadius, FitCircleTaubin) && usableCentre(pass.fitCentre) &&
           pass.fitRadius > 0 && std::isfinite(pass.fitRadius);
}

double normalisedAxis(double degrees)
{
    const double d = std::fmod(degrees, 180.0);
    return d < 0 ? d + 180.0 : d;
}

// The direction, in [0, 180), of the extreme of the diameters around the extreme reading
// (the lowest or the highest): where the oval c0 + c1 cos 2t + c2 sin 2t, fitted by least
// squares to the readings within kDirectionWindow of it (t their angle from it), has its
// own extreme. An oval part's diameters follow that curve closely, and fitting many
// readings steadies a direction that the single extreme reading, on the flat top of the
// curve, leaves to the measuring noise. The extreme reading's own direction is kept when
// fewer than three readings are there or the oval's extreme lies beyond them. byPair holds
// one reading per pair of calipers, NaN where none was measured.
double extremeDirection(const std::vector<double>& byPair, int extreme, const CaliperLayout& layout, bool lowest)
{
    const int pairs = static_cast<int>(byPair.size());
    const double spacing = layout.spacing();
    // At least the neighbours, and never a pair twice round the turn.
    const int reach = std::min(std::max(1, static_cast<int>(kDirectionWindow / spacing)), (pairs - 1) / 2);
    cv::Matx33d normal = cv::Matx33d::zeros();
    cv::Vec3d rhs(0, 0, 0);
    int used = 0;
    double first = 0, last = 0;
    for (int j = -reach; j <= reach; ++j) {
        const double reading = byPair[(extreme + j + pairs) % pairs];
        if (std::isnan(reading))
            continue;
        const double t = j * spacing;
        const cv::Vec3d basis(1.0, std::cos(radians(2 * t)), std::sin(radians(2 * t)));
        normal += basis * basis.t();
        // Differences from the extreme reading keep the sums of the same order as the terms.
        rhs += (reading - byPair[extreme]) * basis;
        first = used == 0 ? t : first;
        last = t;
        ++used;
    }
    const double own = layout.angleOf(extreme);
    if (used < 3)
        return own;
    // A singular system solves to zeros, which leaves no extreme.
    const cv::Vec3d c = normal.solve(rhs, cv::DECOMP_LU);
    if (c[1] == 0 && c[2] == 0)
        return own;
    // c1 cos 2t + c2 sin 2t is highest at 2t = atan2(c2, c1) and lowest half a turn on.
    const double highest = std::atan2(c[2], c[1]) * 90.0 / kPi;
    const double t = normalisedAxis((lowest ? highest + 90.0 : highest) + 90.0) - 90.0;
    if (!(t >= first && t <= last))
        return own;
    return normalisedAxis(own + t);
}

void clearResults(_CircleDiameterDetParam& param)
{
    param.success = false;
    param.centre = cv::Point2d();
    param.radius = 0;
    param.meanDiameter = 0;
    param.minDiameter = param.maxDiameter = 0;
    param.minDiameterAngle = param.maxDiameterAngle = 0;
    param.roundness = 0;
    param.edgePoints.clear();
    param.edgeAngles.clear();
    param.diameters.clear();
    param.diameterAngles.clear();
}

void writeResults(const Pass& pass, const CaliperLayout& layout, _CircleDiameterDetParam& param)
{
    param.centre = pass.fitCentre;
    param.radius = pass.fitRadius;
    param.edgePoints = pass.points;
    double nearest = HUGE_VAL, farthest = 0;
    for (const cv::Point2d& p : pass.points) {
        const double d = std::hypot(p.x - pass.fitCentre.x, p.y - pass.fitCentre.y);
        nearest = std::min(nearest, d);
        farthest = std::max(farthest, d);
    }
    param.roundness = farthest - nearest;

    // The edge point of each caliper, by caliper.
    std::vector<int> pointOf(layout.count, -1);
    for (int k = 0, found = 0; k < layout.count; ++k)
        if (pass.radii[k] >= 0) {
            pointOf[k] = found++;
            param.edgeAngles.push_back(layout.angleOf(k));
        }

    const int half = layout.pairs();
    std::vector<double> byPair(half, std::nan(""));
    int lowest = -1, highest = -1;
    double sum = 0;
    for (int k = 0; k < half; ++k) {
        if (pointOf[k] < 0 || pointOf[k + half] < 0)
            continue;
        const cv::Point2d chord = pass.points[pointOf[k]] - pass.points[pointOf[k + half]];
        byPair[k] = std::hypot(chord.x, chord.y);
        sum += byPair[k];
        param.diameters.push_back(byPair[k]);
        param.diameterAngles.push_back(layout.angleOf(k));
        if (lowest < 0 || byPair[k] < byPair[lowest])
            lowest = k;
        if (highest < 0 || byPair[k] > byPair[highest])
            highest = k;
    }
    param.meanDiameter = sum / static_cast<double>(param.diameters.size());
    param.minDiameter = byPair[lowest];
    param.maxDiameter = byPair[highest];
    param.minDiameterAngle = extremeDirection(byPair, lowest, layout, true);
    param.maxDiameterAngle = extremeDirection(byPair, highest, layout, false);
}

} // namespace

bool clcCircleMulPoints(cv::Mat& image, _CircleDiameterDetParam& param)
{
    // Our own header keeps the pixels alive should the image be the record's polarImage.
    const cv::Mat source = image;
    clearResults(param);
    param.cropRect = cv::Rect();
    param.polarImage.release();

    Band band;
    CaliperLayout layout;
    if (!tool_support::isReadableImage(source) || !readBand(param.roi, band) ||
        !caliperLayout(param, polarColumns(band), layout))
        return false;
    const std::vector<cv::Point2d> calipers = caliperDirections(layout);
    const std::vector<cv::Point2d> lines = lineDirections(layout);

    const auto measureAbout = [&](cv::Point2d centre) {
        Pass pass;
        pass.centre = centre;
        unwrapBand(source, centre, band, layout, lines, param.cropRect, param.polarImage);
        measureCalipers(param.polarImage, layout, param, band, calipers, pass);
        pass.fitted = pass.pairs >= kMinPairs && fitPass(pass);
        return pass;
    };
    Pass pass = measureAbout(band.centre);
    if (!pass.fitted)
        return false;
    // A pair's line passes `offset` from the part's centre: its diameter is a chord, short
    // by up to offset^2 / radius.
    const cv::Point2d offset = pass.fitCentre - pass.centre;
    if (offset.dot(offset) / pass.fitRadius > kMaxChordShortening) {
        pass = measureAbout(pass.fitCentre);
        if (!pass.fitted)
            return false;
    }
    writeResults(pass, layout, param);
    param.success = true;
    return true;
}
